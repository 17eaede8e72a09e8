# The codec tests check against independent oracles: zlib's crc32 and
# OpenSSL's MD5.
find_package(ZLIB REQUIRED)
find_package(OpenSSL REQUIRED)
target_link_libraries(kxsupt_test_codec PRIVATE ZLIB::ZLIB OpenSSL::Crypto)
