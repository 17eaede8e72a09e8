# MD5 of OpenSSL is the independent oracle for the IPC name digest.
find_package(OpenSSL REQUIRED)
target_link_libraries(kxsupt_test_config PRIVATE OpenSSL::Crypto)
