# What a user of the built library meets: its header, its names, the installed tree.
set(install_tests ${CMAKE_CURRENT_LIST_DIR})
add_test(NAME headers_alone COMMAND bash ${install_tests}/header.sh
  ${PROJECT_SOURCE_DIR}/include ${CMAKE_C_COMPILER} ${CMAKE_CXX_COMPILER})
add_test(NAME exported_names COMMAND bash ${install_tests}/exports.sh
  $<TARGET_FILE:tkmjpg> ${PROJECT_SOURCE_DIR})
add_test(NAME version_in_one_place COMMAND bash ${install_tests}/version.sh
  ${PROJECT_SOURCE_DIR} ${PROJECT_VERSION})
# A library with sanitizers or counters inside asks for their runtime; that is no tree to install.
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize|--coverage")
  add_test(NAME installed_tree COMMAND bash ${install_tests}/install.sh
    ${PROJECT_BINARY_DIR} ${CMAKE_C_COMPILER})
endif()
