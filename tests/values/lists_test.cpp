// Separated-value lists: the stated cases and a model-based comparison on
// random texts of separators, blanks and items.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "frame/memory.h"
#include "kxsupt/values.h"
#include "text/xlt.h"

namespace {

struct Converted {
  bool ok = false;
  std::string text;
  uint32_t count = 0xDEAD;
  uint32_t size = 0xDEAD;
};

Converted Convert(const char *text, char from, char to) {
  Converted c;
  char *result = SMUTF8ConvertXSVToYSV(text, from, to, &c.count, &c.size);
  c.ok = result != nullptr;
  if (result != nullptr) c.text = result;
  kx::frame::FreeMem(result);
  return c;
}

TEST(SeparatedValues, every_item_is_trimmed_and_followed_by_the_target) {
  const auto c = Convert("a, b,,c", ',', ';');
  ASSERT_TRUE(c.ok);
  EXPECT_EQ(c.text, "a;b;c;");
  EXPECT_EQ(c.count, 3u);
  EXPECT_EQ(c.size, 7u);
  EXPECT_EQ(Convert(" a b ,\tc\r\n", ',', '|').text, "a b|c|");
  EXPECT_EQ(Convert("x", ',', ';').text, "x;");
  EXPECT_EQ(Convert("a,b", ',', ',').text, "a,b,");
  EXPECT_EQ(Convert("\xC3\xA9t\xC3\xA9, caf\xC3\xA9", ',', ';').text,
            "\xC3\xA9t\xC3\xA9;caf\xC3\xA9;");
}

TEST(SeparatedValues, empty_lists_give_an_empty_text) {
  for (const char *text : {"", ",", " , ,\t\r\n,", "   "}) {
    const auto c = Convert(text, ',', ';');
    ASSERT_TRUE(c.ok) << text;
    EXPECT_EQ(c.text, "") << text;
    EXPECT_EQ(c.count, 0u);
    EXPECT_EQ(c.size, 1u);
  }
}

TEST(SeparatedValues, null_text_gives_null_and_zero_outs) {
  const auto c = Convert(nullptr, ',', ';');
  EXPECT_FALSE(c.ok);
  EXPECT_EQ(c.count, 0u);
  EXPECT_EQ(c.size, 0u);
  // The outs are optional.
  char *result = SMUTF8ConvertXSVToYSV("a,b", ',', ';', nullptr, nullptr);
  ASSERT_NE(result, nullptr);
  EXPECT_STREQ(result, "a;b;");
  kx::frame::FreeMem(result);
}

TEST(SeparatedValues, a_zero_source_separator_takes_the_whole_text_as_one_item) {
  const auto c = Convert("  one, two  ", '\0', ';');
  EXPECT_EQ(c.text, "one, two;");
  EXPECT_EQ(c.count, 1u);
}

TEST(SeparatedValues, a_zero_target_separator_makes_a_list_of_terminated_items) {
  uint32_t count = 0;
  uint32_t size = 0;
  char *result = kx::text::ConvertSeparatedValues(" a |b| c", '|', '\0', &count, &size);
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(size, 7u);
  EXPECT_EQ(std::string(result, size), std::string("a\0b\0c\0\0", 7));
  kx::frame::FreeMem(result);
}

// The model: split, trim the four blanks, drop empties, join with a trailing
// separator.
std::string Model(const std::string &text, char from, char to, uint32_t *count) {
  std::string result;
  *count = 0;
  size_t start = 0;
  while (start <= text.size()) {
    size_t stop = text.find(from, start);
    if (stop == std::string::npos) stop = text.size();
    std::string item = text.substr(start, stop - start);
    const char *blanks = " \t\r\n";
    const size_t first = item.find_first_not_of(blanks);
    if (first != std::string::npos) {
      item = item.substr(first, item.find_last_not_of(blanks) - first + 1);
      result += item;
      result += to;
      ++*count;
    }
    start = stop + 1;
  }
  return result;
}

TEST(SeparatedValues, random_texts_match_the_model) {
  std::mt19937 rng(2024);
  const char alphabet[] = "ab ,;|\t\r\n\xC3\xA9";
  for (int round = 0; round < 5000; ++round) {
    std::string text;
    const int length = static_cast<int>(rng() % 30);
    for (int i = 0; i < length; ++i) text += alphabet[rng() % (sizeof alphabet - 1)];
    const char from = ",;|"[rng() % 3];
    const char to = ",;|#"[rng() % 4];
    uint32_t expected_count;
    const std::string expected = Model(text, from, to, &expected_count);
    const auto c = Convert(text.c_str(), from, to);
    ASSERT_TRUE(c.ok);
    ASSERT_EQ(c.text, expected) << text;
    ASSERT_EQ(c.count, expected_count);
    ASSERT_EQ(c.size, expected.size() + 1);
  }
}

}  // namespace
