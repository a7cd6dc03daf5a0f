# Manual pages and completion, where they are made.
if(TARGET tkmjpg_manual_files AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize|--coverage")
  add_test(NAME manual COMMAND bash ${CMAKE_CURRENT_LIST_DIR}/manual.sh
    $<TARGET_FILE:tkmjpg_command> ${PROJECT_BINARY_DIR}/tools/manual/share ${PROJECT_VERSION})
endif()
