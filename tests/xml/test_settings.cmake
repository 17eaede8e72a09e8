# The XML buffer's output is parsed back with libxml2.
find_package(LibXml2 REQUIRED)
target_link_libraries(kxsupt_test_xml PRIVATE LibXml2::LibXml2)
