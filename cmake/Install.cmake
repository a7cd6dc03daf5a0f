# The installed tree: headers, both libraries, the command, and what pkg-config and CMake need to
# find them. Nothing in it holds an absolute path, so that it can be moved as a whole.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(TKMJPG_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tkmjpg)

install(FILES ${PROJECT_SOURCE_DIR}/include/tkmjpg.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(NOT WIN32)
  # Windows has the same in its own headers.
  install(FILES ${PROJECT_SOURCE_DIR}/include/tkmjpg_messages.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()
install(TARGETS tkmjpg tkmjpg_static EXPORT tkmjpgTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(TARGET tkmjpg_command)
  install(TARGETS tkmjpg_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

set(TKMJPG_MANUAL "" CACHE PATH "For another processor: share/ of a build for this one")
if(TKMJPG_MANUAL)
  install(DIRECTORY ${TKMJPG_MANUAL}/ DESTINATION ${CMAKE_INSTALL_DATADIR})
elseif(TARGET tkmjpg_manual_files)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/tools/manual/share/ DESTINATION ${CMAKE_INSTALL_DATADIR}
    PATTERN stamp EXCLUDE)
endif()

install(EXPORT tkmjpgTargets NAMESPACE tkmjpg:: DESTINATION ${TKMJPG_CMAKE_DIR})
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/tkmjpgConfig.cmake.in ${PROJECT_BINARY_DIR}/tkmjpgConfig.cmake
  INSTALL_DESTINATION ${TKMJPG_CMAKE_DIR}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tkmjpgConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/tkmjpgConfig.cmake ${PROJECT_BINARY_DIR}/tkmjpgConfigVersion.cmake
  DESTINATION ${TKMJPG_CMAKE_DIR})

# pkg-config knows where its file lies; everything else is told from there.
set(TKMJPG_PC_DIR ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH TKMJPG_PC_INCLUDEDIR ${TKMJPG_PC_DIR} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
file(RELATIVE_PATH TKMJPG_PC_LIBDIR ${TKMJPG_PC_DIR} ${CMAKE_INSTALL_FULL_LIBDIR})
configure_file(${CMAKE_CURRENT_LIST_DIR}/tkmjpg.pc.in ${PROJECT_BINARY_DIR}/tkmjpg.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tkmjpg.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
