// The XML buffer's exact output: creation and re-allocation, the literal
// pieces of tags and attributes, every value type, the element left open by a
// failing value, growth, and the multi-pass escaper.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/memory.h"
#include "kxsupt/base.h"
#include "kxsupt/xml.h"
#include "text/xgbuf.h"
#include "../values/xlt_test_support.h"

namespace {

using kx::text::AsXmlBuffer;

const char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

// Owns an SMXGBuf for one test.
class Buffer {
 public:
  explicit Buffer(uint32_t capacity = 0, uint32_t declaration = 0)
      : buffer_(SMXGBufAlloc(capacity, declaration)) {}
  ~Buffer() { SMXGBufFree(buffer_); }
  Buffer(const Buffer &) = delete;
  Buffer &operator=(const Buffer &) = delete;

  SMXGBuf *get() const { return buffer_; }
  std::string text() const {
    const auto *record = AsXmlBuffer(buffer_);
    return record->text == nullptr ? std::string() : std::string(record->text, record->length);
  }
  uint32_t capacity() const { return AsXmlBuffer(buffer_)->capacity; }

 private:
  SMXGBuf *buffer_;
};

TEST(XmlBuffer, creation_raises_the_capacity_to_64_and_may_declare) {
  Buffer declared(10, 1);
  ASSERT_NE(declared.get(), nullptr);
  EXPECT_EQ(declared.capacity(), 64u);
  EXPECT_EQ(declared.text(), kDeclaration);
  EXPECT_EQ(AsXmlBuffer(declared.get())->length, 38u);
  Buffer plain(10, 0);
  EXPECT_EQ(plain.capacity(), 64u);
  EXPECT_EQ(plain.text(), "");
  EXPECT_EQ(Buffer(100, 2).capacity(), 100u);
  EXPECT_EQ(Buffer(100, 2).text(), "") << "only the flag 1 declares";
}

TEST(XmlBuffer, reallocation_replaces_the_content_without_a_minimum) {
  Buffer buffer(64, 1);
  ASSERT_EQ(SMXGBufCatEmptyNode(buffer.get(), "x", nullptr), 0u);
  char *content = SMXGBufReAllocContent(buffer.get(), 10, 0);
  ASSERT_NE(content, nullptr);
  EXPECT_EQ(buffer.capacity(), 10u);
  EXPECT_EQ(buffer.text(), "");
  // The declaration outgrows 10 bytes: one doubling is short, so exactly 39.
  ASSERT_NE(SMXGBufReAllocContent(buffer.get(), 10, 1), nullptr);
  EXPECT_EQ(buffer.text(), kDeclaration);
  EXPECT_EQ(buffer.capacity(), 39u);
  // Capacity 0: no content; appends then do nothing and still succeed.
  EXPECT_EQ(SMXGBufReAllocContent(buffer.get(), 0, 1), nullptr);
  EXPECT_EQ(AsXmlBuffer(buffer.get())->text, nullptr);
  EXPECT_EQ(SMXGBufCatBeginNode(buffer.get(), "a", nullptr), 0u);
  EXPECT_EQ(buffer.text(), "");
  EXPECT_NE(SMXGBufReAllocContent(buffer.get(), 1, 0), nullptr);
  EXPECT_EQ(SMXGBufReAllocContent(nullptr, 64, 0), nullptr);
}

TEST(XmlBuffer, content_can_be_taken_and_freed_by_the_caller) {
  SMXGBuf *buffer = SMXGBufAlloc(0, 0);
  ASSERT_NE(buffer, nullptr);
  SMXGBufCatEmptyNode(buffer, "done", nullptr);
  char *content = SMXGBufFreeGetContent(buffer);
  ASSERT_NE(content, nullptr);
  EXPECT_STREQ(content, "<done />");
  SMXGBufFreeContent(content);
  SMXGBufFreeContent(nullptr);
  SMXGBufFree(nullptr);
  EXPECT_EQ(SMXGBufFreeGetContent(nullptr), nullptr);
}

TEST(XmlBuffer, literal_pieces_of_tags_and_attributes) {
  Buffer attributes;
  Buffer empty_list;
  const char *one = "1";
  const char *two = "two words";
  ASSERT_EQ(SMXGBufCatAttribute(attributes.get(), "a", one, 0, 13, nullptr), 0u);
  EXPECT_EQ(attributes.text(), "a=\"1\"") << "the first attribute has no space";
  ASSERT_EQ(SMXGBufCatAttribute(attributes.get(), "b", two, 0, 13, nullptr), 0u);
  EXPECT_EQ(attributes.text(), "a=\"1\" b=\"two words\"");

  struct Row {
    const char *expected;
    std::function<uint32_t(SMXGBuf *)> append;
  };
  const Row rows[] = {
      {"<n>", [](SMXGBuf *b) { return SMXGBufCatBeginNode(b, "n", nullptr); }},
      {"<n>", [&](SMXGBuf *b) { return SMXGBufCatBeginNode(b, "n", empty_list.get()); }},
      {"<n a=\"1\" b=\"two words\">",
       [&](SMXGBuf *b) { return SMXGBufCatBeginNode(b, "n", attributes.get()); }},
      {"<n />", [](SMXGBuf *b) { return SMXGBufCatEmptyNode(b, "n", nullptr); }},
      {"<n />", [&](SMXGBuf *b) { return SMXGBufCatEmptyNode(b, "n", empty_list.get()); }},
      {"<n a=\"1\" b=\"two words\" />",
       [&](SMXGBuf *b) { return SMXGBufCatEmptyNode(b, "n", attributes.get()); }},
      {"</n>", [](SMXGBuf *b) { return SMXGBufCatEndNode(b, "n"); }},
      {"<a&b>", [](SMXGBuf *b) { return SMXGBufCatBeginNode(b, "a&b", nullptr); }},
      {"<n a=\"1\" b=\"two words\">x</n>",
       [&](SMXGBuf *b) { return SMXGBufCatNode(b, "n", attributes.get(), "x", 0, 13, nullptr); }},
  };
  for (const Row &row : rows) {
    Buffer buffer;
    EXPECT_EQ(row.append(buffer.get()), 0u);
    EXPECT_EQ(buffer.text(), row.expected);
  }
}

TEST(XmlBuffer, null_arguments) {
  Buffer buffer;
  const int32_t value = 1;
  EXPECT_EQ(SMXGBufCatBeginNode(nullptr, "n", nullptr), 271u);
  EXPECT_EQ(SMXGBufCatBeginNode(buffer.get(), nullptr, nullptr), 271u);
  EXPECT_EQ(SMXGBufCatEndNode(nullptr, "n"), 271u);
  EXPECT_EQ(SMXGBufCatEndNode(buffer.get(), nullptr), 271u);
  EXPECT_EQ(SMXGBufCatEmptyNode(nullptr, "n", nullptr), 271u);
  EXPECT_EQ(SMXGBufCatEmptyNode(buffer.get(), nullptr, nullptr), 271u);
  EXPECT_EQ(SMXGBufCatNodeValue(nullptr, &value, 4, 3, nullptr), 271u);
  EXPECT_EQ(SMXGBufCatNodeValue(buffer.get(), nullptr, 4, 3, nullptr), 256u);
  EXPECT_EQ(SMXGBufCatNode(nullptr, "n", nullptr, &value, 4, 3, nullptr), 271u);
  EXPECT_EQ(SMXGBufCatNode(buffer.get(), nullptr, nullptr, &value, 4, 3, nullptr), 271u);
  EXPECT_EQ(SMXGBufCatAttribute(nullptr, "a", &value, 4, 3, nullptr), 271u);
  EXPECT_EQ(SMXGBufCatAttribute(buffer.get(), nullptr, &value, 4, 3, nullptr), 271u);
  EXPECT_EQ(SMXGBufCatAttribute(buffer.get(), "a", nullptr, 4, 3, nullptr), 271u);
  EXPECT_EQ(buffer.text(), "");
  // A null value in a node: an empty element, closed.
  EXPECT_EQ(SMXGBufCatNode(buffer.get(), "n", nullptr, nullptr, 0, 3, nullptr), 0u);
  EXPECT_EQ(buffer.text(), "<n></n>");
}

// One node per value type: the text between the tags, or the status.
TEST(XmlBuffer, value_types_and_their_text) {
  xlt_test::ScopedTimeZone utc("UTC");
  const uint16_t yes = 1, two = 2;
  const int8_t minus_one = -1;
  const int16_t short_value = -300;
  const int32_t int_value = -5;
  const int64_t long_value = -9000000000;
  const uint8_t byte_value = 200;
  const uint32_t unsigned_value = 4000000000u;
  const uint64_t huge = 18000000000000000000u;
  const double number = 1.5, large = 1e40;
  const uint32_t language = 1031, epoch = 0;
  const char *utf8 = "caf\xC3\xA9 <&>";
  const uint16_t ucs2[] = {'A', 0xE9, '<', 0};
  const uint16_t *ucs2_pointer = ucs2;
  const char *null_text = nullptr;
  const SMXGBufFormat hex{1024, 0, 0};
  const SMXGBufFormat escape{0, 0, 1};
  const SMXGBufFormat binary{256, 0, 0};
  const SMXGBufFormat octal{512, 0, 0};
  const uint8_t ipv4[4] = {10, 0, 0, 1};

  struct Row {
    uint32_t type;
    const void *value;
    uint32_t size;
    const SMXGBufFormat *format;
    uint32_t status;
    const char *expected;
  };
  const Row rows[] = {
      {0, &yes, 2, nullptr, 0, "<v>true</v>"},
      {0, &two, 2, nullptr, 0, "<v>false</v>"},
      {1, &minus_one, 1, nullptr, 0, "<v>-1</v>"},
      {1, &minus_one, 1, &hex, 0, "<v>0xffffffff</v>"},
      {1, &minus_one, 1, &binary, 0, "<v>11111111111111111111111111111111</v>"},
      {2, &short_value, 2, nullptr, 0, "<v>-300</v>"},
      {3, &int_value, 4, nullptr, 0, "<v>-5</v>"},
      {3, &int_value, 4, &octal, 0, "<v>37777777773</v>"},
      {4, &long_value, 8, nullptr, 0, "<v>-9000000000</v>"},
      {5, &byte_value, 1, nullptr, 0, "<v>200</v>"},
      {7, &unsigned_value, 4, nullptr, 0, "<v>4000000000</v>"},
      {8, &huge, 8, nullptr, 0, "<v>18000000000000000000</v>"},
      {9, &number, 8, nullptr, 0, "<v>1.500</v>"},
      {9, &large, 8, nullptr, 0, "<v>10000000000000000303786028427003666890752.000</v>"},
      {10, &language, 4, nullptr, 0, "<v>de</v>"},
      {11, &epoch, 4, nullptr, 0, "<v>Thu Jan  1 00:00:00 1970</v>"},
      {12, ucs2, 8, nullptr, 0, "<v>A\xC3\xA9<</v>"},
      {12, ucs2, 8, &escape, 0, "<v>A\xC3\xA9&lt;</v>"},
      {12, ucs2, 8, &hex, 0, "<v>0x41,0x00,0xE9,0x00,0x3C,0x00,0x00,0x00,</v>"},
      {13, utf8, 0, nullptr, 0, "<v>caf\xC3\xA9 <&></v>"},
      {13, utf8, 0, &escape, 0, "<v>caf\xC3\xA9 &lt;&amp;&gt;</v>"},
      {14, ucs2, 8, &escape, 0, "<v>A\xC3\xA9&lt;</v>"},
      {48, &utf8, 8, &escape, 0, "<v>caf\xC3\xA9 &lt;&amp;&gt;</v>"},
      {50, &utf8, 8, nullptr, 0, "<v>caf\xC3\xA9 <&></v>"},
      {49, &ucs2_pointer, 8, nullptr, 0, "<v>A\xC3\xA9<</v>"},
      {48, &null_text, 8, nullptr, 0, "<v></v>"},
      // Variants 33-35 and 37-40 are the codes 32 below; 36 is not written.
      {33, &minus_one, 1, nullptr, 0, "<v>-1</v>"},
      {35, &int_value, 4, &hex, 0, "<v>0xfffffffb</v>"},
      {37, &byte_value, 1, nullptr, 0, "<v>200</v>"},
      {40, &huge, 8, nullptr, 0, "<v>18000000000000000000</v>"},
      {36, &long_value, 8, nullptr, 0, "<v></v>"},
      // Types that are not written leave an empty element.
      {15, ipv4, 4, nullptr, 0, "<v></v>"},
      {16, ipv4, 4, nullptr, 0, "<v></v>"},
      {32, &yes, 2, nullptr, 0, "<v></v>"},
      {41, &yes, 2, nullptr, 0, "<v></v>"},
      {47, &yes, 2, nullptr, 0, "<v></v>"},
      {51, &yes, 2, nullptr, 0, "<v></v>"},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.type);
    Buffer buffer;
    EXPECT_EQ(SMXGBufCatNode(buffer.get(), "v", nullptr, row.value, row.size, row.type, row.format),
              row.status);
    EXPECT_EQ(buffer.text(), row.expected);
  }
}

TEST(XmlBuffer, a_failing_value_leaves_the_element_open) {
  const uint16_t broken[] = {0xDC00, 0};  // a surrogate the conversion refuses
  Buffer buffer;
  EXPECT_EQ(SMXGBufCatNode(buffer.get(), "v", nullptr, broken, 4, 14, nullptr), 257u);
  EXPECT_EQ(buffer.text(), "<v>");
  // A flag word whose low byte changes the code past the last one.
  const int32_t value = 1;
  const SMXGBufFormat bad_flags{0x0010, 0, 0};
  Buffer other;
  EXPECT_EQ(SMXGBufCatNode(other.get(), "v", nullptr, &value, 4, 3, &bad_flags), 2u);
  EXPECT_EQ(other.text(), "<v>");
  // A code-12 selector the translation does not write.
  const SMXGBufFormat octal{512, 0, 0};
  Buffer third;
  EXPECT_EQ(SMXGBufCatNode(third.get(), "v", nullptr, broken, 4, 12, &octal), 2u);
  EXPECT_EQ(third.text(), "<v>");
}

TEST(XmlBuffer, attribute_closes_its_quote_whatever_the_value_status) {
  Buffer attributes;
  const uint16_t broken[] = {0xDC00, 0};
  EXPECT_EQ(SMXGBufCatAttribute(attributes.get(), "a", broken, 4, 14, nullptr), 257u);
  EXPECT_EQ(SMXGBufCatAttribute(attributes.get(), "b", broken, 4, 20, nullptr), 256u);
  const char *quoted = "say \"hi\"";
  const SMXGBufFormat escape{0, 0, 1};
  EXPECT_EQ(SMXGBufCatAttribute(attributes.get(), "c", quoted, 0, 13, &escape), 0u);
  EXPECT_EQ(attributes.text(), "a=\"\" b=\"\" c=\"say &quot;hi&quot;\"");
}

TEST(XmlBuffer, a_buffer_may_serve_as_its_own_attribute_list) {
  Buffer buffer(64, 0);
  const char *value = "v";
  ASSERT_EQ(SMXGBufCatAttribute(buffer.get(), "k", value, 0, 13, nullptr), 0u);
  // Growth moves the content while it is being copied into itself.
  for (int i = 0; i < 6; ++i) ASSERT_EQ(SMXGBufCatBeginNode(buffer.get(), "n", buffer.get()), 0u);
  std::string expected = "k=\"v\"";
  for (int i = 0; i < 6; ++i) expected += "<n " + expected + ">";
  EXPECT_EQ(buffer.text(), expected);
}

TEST(XmlBuffer, content_grows_by_doubling_then_by_a_quarter) {
  Buffer buffer(64, 0);
  std::vector<uint32_t> capacities{64};
  const std::string chunk(1000, 'x');
  for (int i = 0; i < 2100; ++i) {
    ASSERT_EQ(SMXGBufCatNodeValue(buffer.get(), chunk.c_str(), 0, 13, nullptr), 0u);
    if (buffer.capacity() != capacities.back()) capacities.push_back(buffer.capacity());
  }
  EXPECT_EQ(AsXmlBuffer(buffer.get())->length, 2100000u);
  const std::vector<uint32_t> expected{64,    1001,   2002,   4004,   8008,    16016,   32032,
                                       64064, 128128, 256256, 512512, 1025024, 2050048, 2562560};
  EXPECT_EQ(capacities, expected);
}

std::string EscapeOnce(const std::string &text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '"':
        out += "&quot;";
        break;
      case '&':
        out += "&amp;";
        break;
      case '\'':
        out += "&apos;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

TEST(XmlEscape, exact_outputs_per_pass_count) {
  struct Row {
    const char *text;
    uint32_t passes;
    const char *expected;
  };
  const Row rows[] = {
      {"&", 1, "&amp;"},
      {"&", 2, "&amp;amp;"},
      {"&", 3, "&amp;amp;amp;"},
      {"<a href=\"x\">'b'</a>", 1, "&lt;a href=&quot;x&quot;&gt;&apos;b&apos;&lt;/a&gt;"},
      {"\"", 2, "&amp;quot;"},
      {"'", 2, "&amp;apos;"},
      {"<>", 2, "&amp;lt;&amp;gt;"},
      {"plain text", 5, "plain text"},
      {"caf\xC3\xA9 \xE2\x82\xAC & \xF0\x9F\x98\x80", 1,
       "caf\xC3\xA9 \xE2\x82\xAC &amp; \xF0\x9F\x98\x80"},
      {"", 1, ""},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(std::string(row.text) + " x" + std::to_string(row.passes));
    uint32_t size = 1;  // a capacity too small for anything: the text still fits
    char *escaped = SMXGEscapeXMLUTF8Str(row.text, &size, row.passes);
    ASSERT_NE(escaped, nullptr);
    EXPECT_STREQ(escaped, row.expected);
    EXPECT_EQ(size, std::strlen(row.expected));
    kx::frame::FreeMem(escaped);
  }
}

TEST(XmlEscape, pass_count_limits_and_null_results) {
  uint32_t size = 10;
  EXPECT_EQ(SMXGEscapeXMLUTF8Str("&", &size, 0), nullptr);
  EXPECT_EQ(SMXGEscapeXMLUTF8Str(nullptr, &size, 1), nullptr);
  EXPECT_EQ(SMXGEscapeXMLUTF8Str("&", nullptr, 1), nullptr);
  size = 0;
  EXPECT_EQ(SMXGEscapeXMLUTF8Str("&", &size, 1), nullptr) << "no buffer to append to";
  size = 1;
  EXPECT_EQ(SMXGEscapeXMLUTF8Str("", &size, 2), nullptr) << "the second pass gets capacity 0";
  // Passes above 16 are 16.
  std::string expected = "<&>'\"";
  for (int i = 0; i < 16; ++i) expected = EscapeOnce(expected);
  for (uint32_t passes : {16u, 17u, 20u, 0xFFFFFFFFu}) {
    size = 6;
    char *escaped = SMXGEscapeXMLUTF8Str("<&>'\"", &size, passes);
    ASSERT_NE(escaped, nullptr);
    EXPECT_EQ(std::string(escaped), expected);
    EXPECT_EQ(size, expected.size());
    kx::frame::FreeMem(escaped);
  }
}

}  // namespace
