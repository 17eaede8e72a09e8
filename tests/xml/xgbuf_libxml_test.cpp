// Random element trees (seeded) written with the XML buffer, their texts and
// attribute values full of characters that need escaping, parsed back with
// libxml2 and compared element by element: names, attributes and text.
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kxsupt/xml.h"
#include "text/xgbuf.h"

namespace {

struct Element {
  std::string name;
  std::map<std::string, std::string> attributes;
  std::string text;  // only for leaves written with a value
  bool has_value = false;
  std::vector<Element> children;
};

class TreeGenerator {
 public:
  explicit TreeGenerator(uint64_t seed) : rng_(seed) {}

  Element Make(int depth) {
    Element e;
    e.name = Name();
    const int attributes = Pick(4);
    for (int i = 0; i < attributes; ++i) e.attributes[Name()] = Text();
    if (depth < 4 && Pick(3) != 0) {
      const int children = 1 + Pick(4);
      for (int i = 0; i < children; ++i) e.children.push_back(Make(depth + 1));
    } else if (Pick(4) != 0) {
      e.has_value = true;
      e.text = Text();
    }
    return e;
  }

 private:
  int Pick(int n) { return static_cast<int>(rng_() % static_cast<uint64_t>(n)); }
  std::string Name() {
    static const char kFirst[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_";
    static const char kRest[] = "abcdefghijklmnopqrstuvwxyz0123456789-._";
    std::string name(1, kFirst[Pick(sizeof kFirst - 1)]);
    const int length = Pick(8);
    for (int i = 0; i < length; ++i) name += kRest[Pick(sizeof kRest - 1)];
    return name;
  }
  // Text with every character that needs escaping and multi-byte UTF-8, and
  // no control characters (attribute values would have them normalised).
  std::string Text() {
    static const char *const kPieces[] = {"<", ">", "&", "\"",    "'",   " ",    "a", "Z",   "9",
                                          "é", "€", "😀", "&amp;", "]]>", "<!--", "ü", "x y", ";"};
    std::string text;
    const int length = Pick(12);
    for (int i = 0; i < length; ++i) text += kPieces[Pick(std::size(kPieces))];
    return text;
  }

  std::mt19937_64 rng_;
};

// Writes an element with the buffer: attributes escaped once, a value as a
// composite node, children between begin and end tags, else an empty element.
void Write(SMXGBuf *buffer, const Element &e) {
  const SMXGBufFormat escape{0, 0, 1};
  SMXGBuf *attributes = SMXGBufAlloc(0, 0);
  ASSERT_NE(attributes, nullptr);
  for (const auto &[name, value] : e.attributes) {
    ASSERT_EQ(SMXGBufCatAttribute(attributes, name.c_str(), value.c_str(), 0, 13, &escape), 0u);
  }
  if (e.has_value) {
    ASSERT_EQ(SMXGBufCatNode(buffer, e.name.c_str(), attributes, e.text.c_str(), 0, 13, &escape),
              0u);
  } else if (e.children.empty()) {
    ASSERT_EQ(SMXGBufCatEmptyNode(buffer, e.name.c_str(), attributes), 0u);
  } else {
    ASSERT_EQ(SMXGBufCatBeginNode(buffer, e.name.c_str(), attributes), 0u);
    for (const Element &child : e.children) Write(buffer, child);
    ASSERT_EQ(SMXGBufCatEndNode(buffer, e.name.c_str()), 0u);
  }
  SMXGBufFree(attributes);
}

std::string Str(const xmlChar *text) {
  return text == nullptr ? std::string() : std::string(reinterpret_cast<const char *>(text));
}

void Compare(const xmlNode *node, const Element &e) {
  ASSERT_EQ(node->type, XML_ELEMENT_NODE);
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

using DocPtr = std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)>;

DocPtr ParseDocument(const std::string &text) {
  return DocPtr(xmlReadMemory(text.data(), static_cast<int>(text.size()), "buffer.xml", nullptr,
                              XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING),
                &xmlFreeDoc);
}

TEST(XmlBufferWithLibxml2, random_trees_parse_back_to_the_same_elements) {
  for (uint64_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE(seed);
    TreeGenerator generator(seed);
    const Element root = generator.Make(0);
    SMXGBuf *buffer = SMXGBufAlloc(16, seed % 2 == 0 ? 1 : 0);
    ASSERT_NE(buffer, nullptr);
    Write(buffer, root);
    char *content = SMXGBufFreeGetContent(buffer);
    ASSERT_NE(content, nullptr);
    const std::string text = content;
    SMXGBufFreeContent(content);
    EXPECT_EQ(text.find('\n'), std::string::npos) << "no line breaks are written";
    const DocPtr doc = ParseDocument(text);
    ASSERT_NE(doc, nullptr) << text;
    Compare(xmlDocGetRootElement(doc.get()), root);
  }
}

// Two passes leave text that reads back as the once-escaped form.
TEST(XmlBufferWithLibxml2, a_second_pass_survives_one_parse) {
  const SMXGBufFormat twice{0, 0, 2};
  const char *text = "a<b & \"c\" 'd'>";
  SMXGBuf *buffer = SMXGBufAlloc(0, 1);
  ASSERT_EQ(SMXGBufCatNode(buffer, "r", nullptr, text, 0, 13, &twice), 0u);
  char *content = SMXGBufFreeGetContent(buffer);
  const DocPtr doc = ParseDocument(content);
  SMXGBufFreeContent(content);
  ASSERT_NE(doc, nullptr);
  xmlChar *parsed = xmlNodeGetContent(xmlDocGetRootElement(doc.get()));
  EXPECT_EQ(Str(parsed), "a&lt;b &amp; &quot;c&quot; &apos;d&apos;&gt;");
  xmlFree(parsed);
}

// Unescaped text breaks the document, which is why callers pass a format.
TEST(XmlBufferWithLibxml2, unescaped_markup_is_written_as_given) {
  SMXGBuf *buffer = SMXGBufAlloc(0, 0);
  ASSERT_EQ(SMXGBufCatNode(buffer, "r", nullptr, "<b/>", 0, 13, nullptr), 0u);
  char *content = SMXGBufFreeGetContent(buffer);
  const DocPtr doc = ParseDocument(content);
  SMXGBufFreeContent(content);
  ASSERT_NE(doc, nullptr);
  const xmlNode *root = xmlDocGetRootElement(doc.get());
  ASSERT_NE(root->children, nullptr);
  EXPECT_EQ(Str(root->children->name), "b") << "the text became an element";
}

}  // namespace
