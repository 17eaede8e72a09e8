# IPC tests. Included by tests/CMakeLists.txt after kxsupt_test_ipc is defined
# from tests/ipc/*.cpp; ${dir} is this folder.

# MD5 of OpenSSL is the independent oracle for the name digests.
find_package(OpenSSL REQUIRED)
target_link_libraries(kxsupt_test_ipc PRIVATE OpenSSL::Crypto)

# The in-process concurrency tests (threads on reader-writer locks and named
# mutexes) form their own program, labelled "concurrency", so that the
# ThreadSanitizer stage of scripts/test.sh builds and runs them.
file(GLOB kxsupt_ipc_concurrency_sources CONFIGURE_DEPENDS ${dir}/concurrency/*.cpp)
add_executable(kxsupt_test_ipc_concurrency ${kxsupt_ipc_concurrency_sources}
  ${dir}/ipc_sandbox.cpp)
target_link_libraries(kxsupt_test_ipc_concurrency PRIVATE kxsupt_core GTest::gtest
  GTest::gtest_main)
target_include_directories(kxsupt_test_ipc_concurrency PRIVATE ${dir})
gtest_discover_tests(kxsupt_test_ipc_concurrency DISCOVERY_TIMEOUT 120
  PROPERTIES LABELS concurrency)

# The out-of-memory tests reach the standard containers inside the library
# through the configuration tests' refusing operator new.
target_sources(kxsupt_test_ipc PRIVATE ${PROJECT_SOURCE_DIR}/tests/config/refusing_new.cpp)
