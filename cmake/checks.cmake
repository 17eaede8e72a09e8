# Tests of what the project distributes, beside the unit tests: the man page
# against the tool's help, and the ABI guard against small libraries with
# known changes. (The guard itself runs on the library in scripts/test.sh.)
if(NOT KXSUPT_TESTS)
  return()
endif()

if(TARGET kxsupt_tool)
  add_test(NAME tool_man_page_matches_help
    COMMAND ${PROJECT_SOURCE_DIR}/scripts/check-manpage.sh $<TARGET_FILE:kxsupt_tool>
            ${PROJECT_SOURCE_DIR}/docs/kxsupt.1)
endif()

add_test(NAME abi_guard_accepts_additions_and_refuses_changes
  COMMAND ${PROJECT_SOURCE_DIR}/tests/abi/guard_test.sh ${CMAKE_C_COMPILER})
set_tests_properties(abi_guard_accepts_additions_and_refuses_changes PROPERTIES SKIP_RETURN_CODE 77)
