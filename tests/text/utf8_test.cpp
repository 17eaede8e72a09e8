// UTF-8 byte-string routines: trimming that writes zeros, byte-wise case and
// reversal, duplication, and the ASCII-folding compare and search against
// glibc's strncasecmp and a lower-casing model (the tests run in the C locale).
#include <gtest/gtest.h>
#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <random>
#include <string>

#include "kxsupt/frame.h"
#include "kxsupt/text.h"

namespace {

TEST(Utf8Trim, left_trim_zeroes_what_it_skips) {
  char text[] = "  ab";
  char *start = SMUTF8ltrim(text);
  EXPECT_EQ(start, text + 2);
  EXPECT_STREQ(start, "ab");
  EXPECT_EQ(text[0], '\0');
  EXPECT_EQ(text[1], '\0');
  EXPECT_STREQ(text, "");  // the pointer passed in now sees an empty string
}

TEST(Utf8Trim, table) {
  struct Case {
    const char *in;
    const char *left;
    const char *right;
    const char *both;
  };
  const Case cases[] = {
      {"", "", "", ""},
      {"abc", "abc", "abc", "abc"},
      {" \t\r\nx y\n\r\t ", "x y\n\r\t ", " \t\r\nx y", "x y"},
      {" \t \n", "", "", ""},
      {"\v\fa\f\v", "\v\fa\f\v", "\v\fa\f\v", "\v\fa\f\v"},  // only tab, LF, CR, space
      {"\xC2\xA0z\xC2\xA0", "\xC2\xA0z\xC2\xA0", "\xC2\xA0z\xC2\xA0", "\xC2\xA0z\xC2\xA0"},
      {"  a  b  ", "a  b  ", "  a  b", "a  b"},
  };
  for (const Case &c : cases) {
    std::string left = c.in;
    std::string right = c.in;
    std::string both = c.in;
    EXPECT_STREQ(SMUTF8ltrim(left.data()), c.left) << c.in;
    EXPECT_EQ(SMUTF8rtrim(right.data()), right.data());
    EXPECT_STREQ(right.c_str(), c.right) << c.in;
    EXPECT_STREQ(SMUTF8trim(both.data()), c.both) << c.in;
    // Whatever was trimmed is now zeros; nothing else changed.
    for (std::string *s : {&left, &right, &both}) {
      for (size_t i = 0; i < s->size(); ++i) {
        EXPECT_TRUE((*s)[i] == c.in[i] || ((*s)[i] == 0 && std::strchr(" \t\r\n", c.in[i])));
      }
    }
  }
  EXPECT_EQ(SMUTF8ltrim(nullptr), nullptr);
  EXPECT_EQ(SMUTF8rtrim(nullptr), nullptr);
  EXPECT_EQ(SMUTF8trim(nullptr), nullptr);
}

TEST(Utf8Bytes, case_change_and_reversal_work_byte_by_byte) {
  std::string text = "Hello, W\xC3\xB6rld \xC3\x89t\xC3\xA9 123";
  EXPECT_EQ(SMUTF8StrUpperCase(text.data()), text.data());
  EXPECT_EQ(text, "HELLO, W\xC3\xB6RLD \xC3\x89T\xC3\xA9 123");
  EXPECT_EQ(SMUTF8StrLowerCase(text.data()), text.data());
  EXPECT_EQ(text, "hello, w\xC3\xB6rld \xC3\x89t\xC3\xA9 123");

  // Every byte value against the C library's tables.
  std::string all;
  for (int c = 1; c < 256; ++c) all.push_back(static_cast<char>(c));
  std::string upper = all;
  std::string lower = all;
  SMUTF8StrUpperCase(upper.data());
  SMUTF8StrLowerCase(lower.data());
  for (int c = 1; c < 256; ++c) {
    EXPECT_EQ(static_cast<unsigned char>(upper[c - 1]), std::toupper(c));
    EXPECT_EQ(static_cast<unsigned char>(lower[c - 1]), std::tolower(c));
  }

  std::string reversed = "ab\xC3\xA9";
  SMUTF8Strrev(reversed.data());
  EXPECT_EQ(reversed,
            "\xA9\xC3"
            "ba");  // the two-byte character is reversed too
  std::string empty;
  SMUTF8Strrev(empty.data());
  EXPECT_EQ(empty, "");
}

TEST(Utf8Bytes, duplicate_is_a_heap_copy) {
  const char *text = "copy \xE2\x82\xAC me";
  char *copy = SMUTF8Strdup(text);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, text);
  EXPECT_STREQ(copy, text);
  SMFreeMem(copy);
  copy = SMUTF8Strdup("");
  ASSERT_NE(copy, nullptr);
  EXPECT_STREQ(copy, "");
  SMFreeGeneric(copy);
  EXPECT_EQ(SMUTF8Strdup(nullptr), nullptr);
}

std::string RandomBytes(std::mt19937 &random, size_t max_length) {
  static const char kAlphabet[] = {'a', 'A', 'b', 'B',    'z',    'Z',    '@',
                                   '[', '`', '{', '\x80', '\xC3', '\xE9', '\xC9'};
  std::string text(random() % (max_length + 1), 'a');
  for (char &c : text) c = kAlphabet[random() % std::size(kAlphabet)];
  return text;
}

TEST(Utf8NoCase, compare_matches_strncasecmp_in_the_c_locale) {
  EXPECT_EQ(SMUTF8Strnicmp("ABC", "abd", 2), 0);
  EXPECT_EQ(SMUTF8Strnicmp("ABC", "abd", 3), -1);
  EXPECT_EQ(SMUTF8Strnicmp("x", "y", 0), 0);
  EXPECT_EQ(SMUTF8Strnicmp("", "a", 5), -'a');
  EXPECT_EQ(SMUTF8Strnicmp("a", "", 5), 'a');
  EXPECT_EQ(SMUTF8Strnicmp("\xC3", "\xE3", 1), 0xC3 - 0xE3);  // no folding above ASCII
  EXPECT_EQ(SMUTF8Strnicmp("[", "{", 1), '[' - '{');
  std::mt19937 random(5);
  for (int round = 0; round < 5000; ++round) {
    const std::string a = RandomBytes(random, 6);
    const std::string b = random() % 4 == 0 ? a : RandomBytes(random, 6);
    const uint32_t n = random() % 9;
    ASSERT_EQ(SMUTF8Strnicmp(a.c_str(), b.c_str(), n), strncasecmp(a.c_str(), b.c_str(), n))
        << a << " / " << b << " / " << n;
  }
}

std::string LowerAscii(std::string text) {
  for (char &c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

TEST(Utf8NoCase, search_finds_the_first_case_blind_match) {
  const char *hay = "Hello World";
  EXPECT_EQ(SMUTF8Strstri(hay, "WORLD"), hay + 6);
  EXPECT_EQ(SMUTF8Strstri(hay, "o"), hay + 4);
  EXPECT_EQ(SMUTF8Strstri(hay, ""), hay);
  EXPECT_EQ(SMUTF8Strstri(hay, "worlds"), nullptr);
  EXPECT_EQ(SMUTF8Strstri(hay, "Hello World!"), nullptr);
  EXPECT_EQ(SMUTF8Strstri(nullptr, "a"), nullptr);
  EXPECT_EQ(SMUTF8Strstri(hay, nullptr), nullptr);
  const char *empty = "";
  EXPECT_EQ(SMUTF8Strstri(empty, ""), empty);
  std::mt19937 random(6);
  for (int round = 0; round < 5000; ++round) {
    const std::string h = RandomBytes(random, 20);
    const std::string n = RandomBytes(random, 3);
    const size_t at = LowerAscii(h).find(LowerAscii(n));
    ASSERT_EQ(SMUTF8Strstri(h.c_str(), n.c_str()),
              at == std::string::npos ? nullptr : h.c_str() + at)
        << h << " / " << n;
  }
}

}  // namespace
