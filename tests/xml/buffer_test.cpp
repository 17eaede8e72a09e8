// The XML generation buffer: creation and re-allocation, the literal pieces
// of tags and attributes, each value type, the element left open by a failing
// value, growth, the multi-pass escaper's exact strings, and random element
// trees written with the buffer, parsed back with libxml2 and compared.
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstdlib>
#include <ctime>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "base/memory.h"
#include "kxsupt/values.h"
#include "kxsupt/xml.h"
#include "xml/buffer.h"

namespace {

const char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

// Owns an SMXGBuf for one test and reads its record.
class Buffer {
 public:
  explicit Buffer(uint32_t capacity = 0, uint32_t declaration = 0)
      : buffer_(SMXGBufAlloc(capacity, declaration)) {}
  ~Buffer() { SMXGBufFree(buffer_); }
  SMXGBuf *get() const { return buffer_; }
  std::string text() const {
    const auto *record = kx::xml::AsBuffer(buffer_);
    return record->text == nullptr ? std::string() : std::string(record->text, record->length);
  }
  uint32_t capacity() const { return kx::xml::AsBuffer(buffer_)->capacity; }

 private:
  SMXGBuf *buffer_;
};

TEST(XmlBuffer, creation_reallocation_and_taking_the_content) {
  Buffer buffer(10, 1);
  EXPECT_EQ(buffer.capacity(), 64u);
  EXPECT_EQ(buffer.text(), kDeclaration);
  EXPECT_EQ(Buffer(100, 2).capacity(), 100u);
  EXPECT_EQ(Buffer(100, 2).text(), "") << "only the flag 1 declares";
  // Re-allocation has no minimum: 10 bytes, grown to exactly the 39 that the
  // declaration needs (one doubling is short).
  ASSERT_NE(SMXGBufReAllocContent(buffer.get(), 10, 0), nullptr);
  EXPECT_EQ(buffer.capacity(), 10u);
  EXPECT_EQ(buffer.text(), "");
  ASSERT_NE(SMXGBufReAllocContent(buffer.get(), 10, 1), nullptr);
  EXPECT_EQ(buffer.text(), kDeclaration);
  EXPECT_EQ(buffer.capacity(), 39u);
  // Capacity 0: no content; appends then do nothing and still succeed.
  EXPECT_EQ(SMXGBufReAllocContent(buffer.get(), 0, 1), nullptr);
  EXPECT_EQ(SMXGBufCatBeginNode(buffer.get(), "a", nullptr), SM_STATUS_SUCCESS);
  EXPECT_EQ(buffer.text(), "");
  EXPECT_EQ(SMXGBufReAllocContent(nullptr, 64, 0), nullptr);
  SMXGBuf *taken = SMXGBufAlloc(0, 0);
  SMXGBufCatEmptyNode(taken, "done", nullptr);
  char *content = SMXGBufFreeGetContent(taken);
  EXPECT_STREQ(content, "<done />");
  SMXGBufFreeContent(content);
  SMXGBufFreeContent(nullptr);
  SMXGBufFree(nullptr);
  EXPECT_EQ(SMXGBufFreeGetContent(nullptr), nullptr);
}

TEST(XmlBuffer, literal_pieces_of_tags_and_attributes) {
  Buffer attributes, empty_list, buffer;
  ASSERT_EQ(SMXGBufCatAttribute(attributes.get(), "a", "1", 0, 13, nullptr), SM_STATUS_SUCCESS);
  EXPECT_EQ(attributes.text(), "a=\"1\"") << "the first attribute has no space";
  ASSERT_EQ(SMXGBufCatAttribute(attributes.get(), "b", "two words", 0, 13, nullptr),
            SM_STATUS_SUCCESS);
  const std::string list = "a=\"1\" b=\"two words\"";
  EXPECT_EQ(attributes.text(), list);
  for (SMXGBuf *given : {static_cast<SMXGBuf *>(nullptr), empty_list.get(), attributes.get()}) {
    EXPECT_EQ(SMXGBufCatBeginNode(buffer.get(), "n", given), SM_STATUS_SUCCESS);
    EXPECT_EQ(SMXGBufCatEmptyNode(buffer.get(), "n", given), SM_STATUS_SUCCESS);
  }
  EXPECT_EQ(SMXGBufCatEndNode(buffer.get(), "a&b"), SM_STATUS_SUCCESS);  // names are not escaped
  EXPECT_EQ(SMXGBufCatNode(buffer.get(), "n", attributes.get(), "x", 0, 13, nullptr),
            SM_STATUS_SUCCESS);
  // A null value leaves an empty element, closed.
  EXPECT_EQ(SMXGBufCatNode(buffer.get(), "e", nullptr, nullptr, 0, 3, nullptr), SM_STATUS_SUCCESS);
  EXPECT_EQ(buffer.text(),
            "<n><n /><n><n /><n " + list + "><n " + list + " /></a&b><n " + list + ">x</n><e></e>");
  SMXGBuf *const b = empty_list.get();  // stays empty: nothing is appended below
  const int32_t value = 1;
  EXPECT_EQ(SMXGBufCatBeginNode(nullptr, "n", nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXGBufCatBeginNode(b, nullptr, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXGBufCatEndNode(nullptr, "n"), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXGBufCatEndNode(b, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXGBufCatEmptyNode(nullptr, "n", nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXGBufCatEmptyNode(b, nullptr, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXGBufCatNodeValue(nullptr, &value, 4, 3, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXGBufCatNodeValue(b, nullptr, 4, 3, nullptr), SM_STATUS_NOT_AVAILABLE);
  EXPECT_EQ(SMXGBufCatNode(nullptr, "n", nullptr, &value, 4, 3, nullptr),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXGBufCatNode(b, nullptr, nullptr, &value, 4, 3, nullptr),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXGBufCatAttribute(nullptr, "a", &value, 4, 3, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXGBufCatAttribute(b, nullptr, &value, 4, 3, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXGBufCatAttribute(b, "a", nullptr, 4, 3, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(empty_list.text(), "");
}

// The text between the tags per value type. Numeric types and their variants
// 33-35 and 37-40 write what the translation writes for the code with the
// format's flag word (also where the scratch block must grow); the others are
// written here, escaped for the format's passes.
TEST(XmlBuffer, value_types_and_their_text) {
  setenv("TZ", "UTC", 1);
  tzset();
  const int64_t minus_one = -1, language = 1031;
  const double large = 1e40;
  const SMXGBufFormat none{0, 0, 0}, binary{256, 0, 0}, hex{1024, 0, 0}, escape{0, 0, 1};
  const void *const values[] = {&minus_one, &large, &language};
  for (const void *value : values) {
    for (const SMXGBufFormat *format : {&none, &binary, &hex}) {
      for (uint32_t type : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 33, 34, 35, 37, 38, 39, 40}) {
        Buffer buffer;
        EXPECT_EQ(SMXGBufCatNode(buffer.get(), "v", nullptr, value, 8, type, format),
                  SM_STATUS_SUCCESS);
        const uint32_t code = (type > 32 ? type - 32 : type) | format->flags;
        char text[64];
        uint32_t size = sizeof text;
        ASSERT_EQ(SMXLTTypeValueToUTF8(value, 8, text, &size, code), SM_STATUS_SUCCESS);
        EXPECT_EQ(buffer.text(), "<v>" + std::string(text) + "</v>") << type;
      }
    }
  }
  const uint16_t yes = 1, two = 2, ucs2[] = {'A', 0xE9, '<', 0}, *ucs2_pointer = ucs2;
  const char *utf8 = "caf\xC3\xA9 <&>", *null_text = nullptr;
  const std::tuple<uint32_t, const void *, const SMXGBufFormat *, const char *> rows[] = {
      {0, &yes, nullptr, "true"},
      {0, &two, &escape, "false"},
      {12, ucs2, &escape, "A\xC3\xA9&lt;"},
      {12, ucs2, &hex, "0x41,0x00,0xE9,0x00,0x3C,0x00,0x00,0x00,"},
      {13, utf8, nullptr, "caf\xC3\xA9 <&>"},
      {13, utf8, &escape, "caf\xC3\xA9 &lt;&amp;&gt;"},
      {14, ucs2, &escape, "A\xC3\xA9&lt;"},
      {48, &utf8, &escape, "caf\xC3\xA9 &lt;&amp;&gt;"},
      {50, &utf8, nullptr, "caf\xC3\xA9 <&>"},
      {49, &ucs2_pointer, nullptr, "A\xC3\xA9<"},
      {48, &null_text, nullptr, ""}};
  for (uint32_t type : {15, 16, 32, 36, 41, 47, 51}) {  // not written: an empty element
    Buffer buffer;
    EXPECT_EQ(SMXGBufCatNode(buffer.get(), "v", nullptr, &yes, 8, type, nullptr),
              SM_STATUS_SUCCESS);
    EXPECT_EQ(buffer.text(), "<v></v>") << type;
  }
  for (const auto &[type, value, format, expected] : rows) {
    Buffer buffer;
    EXPECT_EQ(SMXGBufCatNode(buffer.get(), "v", nullptr, value, 8, type, format),
              SM_STATUS_SUCCESS);
    EXPECT_EQ(buffer.text(), "<v>" + std::string(expected) + "</v>") << type;
  }
}

TEST(XmlBuffer, a_failing_value_leaves_the_element_open_and_the_attribute_closed) {
  const uint16_t broken[] = {0xDC00, 0};  // a surrogate the conversion refuses
  const SMXGBufFormat past_last_code{0x0010, 0, 0}, octal{512, 0, 0};
  const std::tuple<uint32_t, const SMXGBufFormat *, uint32_t> rows[] = {
      {14, nullptr, SM_STATUS_OS_FAILURE},
      {3, &past_last_code, SM_STATUS_INVALID_ARGS},
      {12, &octal, SM_STATUS_INVALID_ARGS}};
  for (const auto &[type, format, status] : rows) {
    Buffer buffer;
    EXPECT_EQ(SMXGBufCatNode(buffer.get(), "v", nullptr, broken, 4, type, format), status);
    EXPECT_EQ(buffer.text(), "<v>");
  }
  Buffer attributes;
  EXPECT_EQ(SMXGBufCatAttribute(attributes.get(), "a", broken, 4, 14, nullptr),
            SM_STATUS_OS_FAILURE);
  EXPECT_EQ(SMXGBufCatAttribute(attributes.get(), "b", broken, 4, 20, nullptr),
            SM_STATUS_NOT_AVAILABLE);
  EXPECT_EQ(attributes.text(), "a=\"\" b=\"\"");
}

TEST(XmlBuffer, growth_and_a_buffer_that_is_its_own_attribute_list) {
  Buffer buffer(64, 0);
  ASSERT_EQ(SMXGBufCatAttribute(buffer.get(), "k", "v", 0, 13, nullptr), SM_STATUS_SUCCESS);
  // Growth moves the content while it is being copied into itself.
  std::string expected = "k=\"v\"";
  for (int i = 0; i < 6; ++i) {
    ASSERT_EQ(SMXGBufCatBeginNode(buffer.get(), "n", buffer.get()), SM_STATUS_SUCCESS);
    expected += "<n " + expected + ">";
  }
  EXPECT_EQ(buffer.text(), expected);
  // Growth as the self-sizing string grows: what is needed, or double.
  Buffer grown(64, 0);
  const std::string chunk(1000, 'x');
  for (uint32_t capacity : {1001u, 2002u, 4004u, 4004u}) {
    ASSERT_EQ(SMXGBufCatNodeValue(grown.get(), chunk.c_str(), 0, 13, nullptr), SM_STATUS_SUCCESS);
    EXPECT_EQ(grown.capacity(), capacity);
  }
  EXPECT_EQ(grown.text(), chunk + chunk + chunk + chunk);
}

// The escaped text, "null" for a null result; the size out is its length.
std::string Escape(const char *text, uint32_t passes, uint32_t size = 1) {
  char *escaped = SMXGEscapeXMLUTF8Str(text, &size, passes);
  const std::string result = escaped == nullptr ? "null" : escaped;
  EXPECT_TRUE(escaped == nullptr || size == result.size()) << text;
  kx::base::FreeMem(escaped);
  return result;
}

// A heap that refuses: no new buffer; tags that would need growth append
// nothing (silently, as every failed growth); a value whose scratch text
// cannot be had reports 272; the escaper gives null. The buffer stays usable.
TEST(XmlBuffer, refused_allocations_give_null_no_memory_or_nothing_appended) {
  Buffer buffer(64);
  ASSERT_EQ(SMXGBufCatBeginNode(buffer.get(), "a", nullptr), SM_STATUS_SUCCESS);
  const std::string before = buffer.text();
  const std::string long_name(100, 'n');
  const int32_t number = 42;
  uint32_t size = 4;
  {
    kx::base::testing::AllocationBudget budget(0);
    EXPECT_EQ(SMXGBufAlloc(64, 1), nullptr);
    EXPECT_EQ(SMXGBufCatEmptyNode(buffer.get(), long_name.c_str(), nullptr), SM_STATUS_SUCCESS);
    EXPECT_EQ(SMXGBufCatNodeValue(buffer.get(), &number, sizeof number, SM_XLT_INT32, nullptr),
              SM_STATUS_NO_MEMORY);
    EXPECT_EQ(SMXGEscapeXMLUTF8Str("a<b", &size, 1), nullptr);
    EXPECT_EQ(size, 4u);
  }
  EXPECT_EQ(buffer.text(), before);
  EXPECT_EQ(SMXGBufCatNodeValue(buffer.get(), &number, sizeof number, SM_XLT_INT32, nullptr),
            SM_STATUS_SUCCESS);
  EXPECT_EQ(buffer.text(), before + "42");
}

TEST(XmlEscape, exact_outputs_per_pass_count_and_limits) {
  // A first capacity too small for anything: the text still fits.
  EXPECT_EQ(Escape("&", 1), "&amp;");
  EXPECT_EQ(Escape("&", 3), "&amp;amp;amp;");
  EXPECT_EQ(Escape("<a href=\"x\">'b'</a>", 1),
            "&lt;a href=&quot;x&quot;&gt;&apos;b&apos;&lt;/a&gt;");
  EXPECT_EQ(Escape("<&>'\"", 2), "&amp;lt;&amp;amp;&amp;gt;&amp;apos;&amp;quot;");
  EXPECT_EQ(Escape("caf\xC3\xA9 \xF0\x9F\x98\x80", 5), "caf\xC3\xA9 \xF0\x9F\x98\x80");
  EXPECT_EQ(Escape("", 1), "");
  // Passes above 16 are 16.
  EXPECT_NE(Escape("&", 16), Escape("&", 15));
  EXPECT_EQ(Escape("&", 17), Escape("&", 16));
  EXPECT_EQ(Escape("&", 0xFFFFFFFF), Escape("&", 16));
  EXPECT_EQ(Escape("&", 0), "null");
  EXPECT_EQ(Escape("&", 1, 0), "null") << "no buffer to append to";
  EXPECT_EQ(Escape("", 2), "null") << "the second pass gets capacity 0";
  uint32_t size = 10;
  EXPECT_EQ(SMXGEscapeXMLUTF8Str(nullptr, &size, 1), nullptr);
  EXPECT_EQ(SMXGEscapeXMLUTF8Str("&", nullptr, 1), nullptr);
}

struct Element {
  std::string name;
  std::map<std::string, std::string> attributes;
  bool has_value = false;
  std::string text;  // the value of a leaf written with one
  std::vector<Element> children;
};

struct TreeGenerator {
  Element Make(int depth) {
    Element e;
    e.name = Name();
    for (int i = Pick(4); i > 0; --i) e.attributes[Name()] = Text();
    if (depth < 4 && Pick(3) != 0) {
      for (int i = 1 + Pick(4); i > 0; --i) e.children.push_back(Make(depth + 1));
    } else if (Pick(4) != 0) {
      e.has_value = true;
      e.text = Text();
    }
    return e;
  }
  int Pick(int n) { return static_cast<int>(rng() % static_cast<uint64_t>(n)); }
  std::string Name() {
    std::string name(1, "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_"[Pick(53)]);
    for (int i = Pick(8); i > 0; --i) name += "abcdefghijklmnopqrstuvwxyz0123456789-._"[Pick(39)];
    return name;
  }
  // Every character that needs escaping and multi-byte UTF-8, but no control
  // characters (attribute values would have them normalised).
  std::string Text() {
    static const char *const kPieces[] = {"<", ">", "&", "\"",    "'",   " ",    "a", "Z",   "9",
                                          "é", "€", "😀", "&amp;", "]]>", "<!--", "ü", "x y", ";"};
    std::string text;
    for (int i = Pick(12); i > 0; --i) text += kPieces[Pick(std::size(kPieces))];
    return text;
  }
  std::mt19937_64 rng;
};

// Attributes escaped once, a value as a composite node, children between
// begin and end tags, else an empty element.
void Write(SMXGBuf *buffer, const Element &e) {
  const SMXGBufFormat escape{0, 0, 1};
  SMXGBuf *attributes = SMXGBufAlloc(0, 0);
  for (const auto &[name, value] : e.attributes) {
    ASSERT_EQ(SMXGBufCatAttribute(attributes, name.c_str(), value.c_str(), 0, 13, &escape),
              SM_STATUS_SUCCESS);
  }
  if (e.has_value) {
    ASSERT_EQ(SMXGBufCatNode(buffer, e.name.c_str(), attributes, e.text.c_str(), 0, 13, &escape),
              SM_STATUS_SUCCESS);
  } else if (e.children.empty()) {
    ASSERT_EQ(SMXGBufCatEmptyNode(buffer, e.name.c_str(), attributes), SM_STATUS_SUCCESS);
  } else {
    ASSERT_EQ(SMXGBufCatBeginNode(buffer, e.name.c_str(), attributes), SM_STATUS_SUCCESS);
    for (const Element &child : e.children) Write(buffer, child);
    ASSERT_EQ(SMXGBufCatEndNode(buffer, e.name.c_str()), SM_STATUS_SUCCESS);
  }
  SMXGBufFree(attributes);
}

std::string Str(const xmlChar *text) {
  return text == nullptr ? std::string() : std::string(reinterpret_cast<const char *>(text));
}

void Compare(const xmlNode *node, const Element &e) {
  ASSERT_EQ(Str(node->name), e.name);
  std::map<std::string, std::string> attributes;
  for (const xmlAttr *a = node->properties; a != nullptr; a = a->next) {
    xmlChar *value = xmlNodeListGetString(node->doc, a->children, 1);
    attributes[Str(a->name)] = Str(value);
    xmlFree(value);
  }
  ASSERT_EQ(attributes, e.attributes) << e.name;
  std::vector<const xmlNode *> elements;
  std::string text;
  for (const xmlNode *child = node->children; child != nullptr; child = child->next) {
    if (child->type == XML_ELEMENT_NODE) elements.push_back(child);
    if (child->type == XML_TEXT_NODE) text += Str(child->content);
  }
  ASSERT_EQ(text, e.text) << e.name;
  ASSERT_EQ(elements.size(), e.children.size()) << e.name;
  for (size_t i = 0; i < elements.size(); ++i) Compare(elements[i], e.children[i]);
}

TEST(XmlBufferWithLibxml2, random_trees_parse_back_to_the_same_elements) {
  for (uint64_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE(seed);
    const Element root = TreeGenerator{std::mt19937_64(seed)}.Make(0);
    SMXGBuf *buffer = SMXGBufAlloc(16, seed % 2 == 0 ? 1 : 0);
    Write(buffer, root);
    char *content = SMXGBufFreeGetContent(buffer);
    const std::string text = content;
    SMXGBufFreeContent(content);
    EXPECT_EQ(text.find('\n'), std::string::npos) << "no line breaks are written";
    xmlDoc *doc = xmlReadMemory(text.data(), static_cast<int>(text.size()), "buffer.xml", nullptr,
                                XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    ASSERT_NE(doc, nullptr) << text;
    Compare(xmlDocGetRootElement(doc), root);
    xmlFreeDoc(doc);
  }
}

}  // namespace
