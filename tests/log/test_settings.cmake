# The log tests use the configuration tests' sandbox registry, and read the
# XML log back with libxml2.
target_sources(kxsupt_test_log PRIVATE ${CMAKE_SOURCE_DIR}/tests/config/sandbox.cpp)
find_package(LibXml2 REQUIRED)
target_link_libraries(kxsupt_test_log PRIVATE LibXml2::LibXml2)
