# The tool's end-to-end tests run the built binary as a process and check its
# digests against zlib and OpenSSL.
find_package(ZLIB REQUIRED)
find_package(OpenSSL REQUIRED)
target_compile_definitions(kxsupt_test_tool PRIVATE
  KXSUPT_TOOL_PATH="$<TARGET_FILE:kxsupt_tool>" KXSUPT_PACKAGE_VERSION="${PROJECT_VERSION}")
add_dependencies(kxsupt_test_tool kxsupt_tool)
target_link_libraries(kxsupt_test_tool PRIVATE ZLIB::ZLIB OpenSSL::Crypto)
# The ipc commands' tests make their objects through the library in a sandbox
# of the IPC tests, which also checks that nothing is left behind.
target_sources(kxsupt_test_tool PRIVATE ${PROJECT_SOURCE_DIR}/tests/ipc/ipc_sandbox.cpp)
