# The page of a report is three texts that become C++.
foreach(text html css js)
  set(file ${CMAKE_CURRENT_SOURCE_DIR}/report/page.${text})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  file(READ ${file} page_${text})
endforeach()
configure_file(report/page_texts.cpp.in ${CMAKE_CURRENT_BINARY_DIR}/page_texts.cpp @ONLY)
target_sources(tkmjpg_tool PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/page_texts.cpp)
