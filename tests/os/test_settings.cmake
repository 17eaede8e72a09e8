# OS services tests. Included by tests/CMakeLists.txt after kxsupt_test_os is
# defined from tests/os/*.cpp; ${dir} is this folder.

# Small loadable libraries for the library-layer tests: one with the export
# table the tests look up, one without it, one that cannot be bound at load.
set(kxsupt_os_testlibs)
foreach(testlib with_table without_table unbound)
  add_library(kxsupt_testlib_${testlib} MODULE ${dir}/testlib/${testlib}.c)
  set_target_properties(kxsupt_testlib_${testlib} PROPERTIES
    C_VISIBILITY_PRESET hidden
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/testlib)
  list(APPEND kxsupt_os_testlibs kxsupt_testlib_${testlib})
endforeach()
set(kxsupt_os_testlib_definitions
  KXSUPT_TESTLIB_WITH_TABLE="$<TARGET_FILE:kxsupt_testlib_with_table>"
  KXSUPT_TESTLIB_WITHOUT_TABLE="$<TARGET_FILE:kxsupt_testlib_without_table>"
  KXSUPT_TESTLIB_UNBOUND="$<TARGET_FILE:kxsupt_testlib_unbound>")
target_compile_definitions(kxsupt_test_os PRIVATE ${kxsupt_os_testlib_definitions})
# Whole-file helpers and the sandbox registry come from the configuration tests.
target_sources(kxsupt_test_os PRIVATE ${CMAKE_SOURCE_DIR}/tests/config/sandbox.cpp)
add_dependencies(kxsupt_test_os ${kxsupt_os_testlibs})

# The concurrency tests (mutexes, semaphores, critical sections, the shared
# library table) form their own program, labelled "concurrency", so that the
# ThreadSanitizer stage of scripts/test.sh builds and runs only them.
file(GLOB kxsupt_os_concurrency_sources CONFIGURE_DEPENDS ${dir}/concurrency/*.cpp)
add_executable(kxsupt_test_os_concurrency ${kxsupt_os_concurrency_sources})
target_link_libraries(kxsupt_test_os_concurrency PRIVATE kxsupt_core GTest::gtest GTest::gtest_main)
target_include_directories(kxsupt_test_os_concurrency PRIVATE ${dir})
target_compile_definitions(kxsupt_test_os_concurrency PRIVATE ${kxsupt_os_testlib_definitions})
add_dependencies(kxsupt_test_os_concurrency ${kxsupt_os_testlibs})
gtest_discover_tests(kxsupt_test_os_concurrency DISCOVERY_TIMEOUT 120
  PROPERTIES LABELS concurrency)
