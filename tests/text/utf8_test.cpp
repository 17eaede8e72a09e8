// UTF-8 byte-string routines: trimming that writes zeros, case change against
// the C library's tables, reversal and duplication byte by byte, and the
// ASCII-folding compare and search against strncasecmp and a lower-casing
// model (the tests run in the C locale).
#include <gtest/gtest.h>
#include <strings.h>

#include <cctype>
#include <cstring>
#include <random>
#include <string>

#include "base/memory.h"
#include "kxsupt/text.h"

namespace {

TEST(Utf8Trim, zeroes_leading_and_trailing_tab_lf_cr_and_space) {
  const struct {
    const char *in, *left, *right, *both;
  } cases[] = {
      {"", "", "", ""},
      {"  ab", "ab", "  ab", "ab"},
      {" \t\r\nx y\n\r\t ", "x y\n\r\t ", " \t\r\nx y", "x y"},
      {" \t \n", "", "", ""},
      {"\v\fa\xC2\xA0", "\v\fa\xC2\xA0", "\v\fa\xC2\xA0", "\v\fa\xC2\xA0"},  // no other space
  };
  for (const auto &c : cases) {
    const size_t size = std::strlen(c.in);
    const size_t lead = size - std::strlen(c.left);
    // The buffer after trimming: zeros, except for `kept` at `at`.
    const auto zeroed = [size](size_t at, const char *kept) {
      return std::string(size, '\0').replace(at, std::strlen(kept), kept);
    };
    std::string left = c.in;
    std::string right = c.in;
    std::string both = c.in;
    EXPECT_EQ(SMUTF8ltrim(left.data()), left.data() + lead);
    EXPECT_EQ(SMUTF8rtrim(right.data()), right.data());
    EXPECT_EQ(SMUTF8trim(both.data()), both.data() + lead);
    EXPECT_EQ(left, zeroed(lead, c.left));
    EXPECT_EQ(right, zeroed(0, c.right));
    EXPECT_EQ(both, zeroed(lead, c.both));
  }
  EXPECT_TRUE(!SMUTF8ltrim(nullptr) && !SMUTF8rtrim(nullptr) && !SMUTF8trim(nullptr));
}

TEST(Utf8Bytes, case_reversal_and_duplication_work_byte_by_byte) {
  std::string all;
  for (int c = 1; c < 256; ++c) all.push_back(static_cast<char>(c));
  std::string upper = all;
  std::string lower = all;
  std::string reversed = all;
  EXPECT_EQ(SMUTF8StrUpperCase(upper.data()), upper.data());
  EXPECT_EQ(SMUTF8StrLowerCase(lower.data()), lower.data());
  for (int c = 1; c < 256; ++c) {
    EXPECT_EQ(static_cast<unsigned char>(upper[c - 1]), std::toupper(c));
    EXPECT_EQ(static_cast<unsigned char>(lower[c - 1]), std::tolower(c));
  }
  SMUTF8Strrev(reversed.data());
  EXPECT_EQ(reversed, std::string(all.rbegin(), all.rend()));
  char *copy = SMUTF8Strdup(all.c_str());
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy, all);
  SMFreeMem(copy);
  EXPECT_EQ(SMUTF8Strdup(nullptr), nullptr);
  kx::base::testing::AllocationBudget budget(0);
  EXPECT_EQ(SMUTF8Strdup("copy"), nullptr);  // no memory for the copy
}

std::string RandomBytes(std::mt19937 &random, size_t max_length) {
  static const char kAlphabet[] = {'a', 'A', 'b', 'B',    'z',    'Z',    '@',
                                   '[', '`', '{', '\x80', '\xC3', '\xE9', '\xC9'};
  std::string text(random() % (max_length + 1), 'a');
  for (char &c : text) c = kAlphabet[random() % std::size(kAlphabet)];
  return text;
}

TEST(Utf8NoCase, compare_matches_strncasecmp_in_the_c_locale) {
  std::mt19937 random(5);
  for (int round = 0; round < 5000; ++round) {
    const std::string a = RandomBytes(random, 6);
    const std::string b = random() % 4 == 0 ? a : RandomBytes(random, 6);
    const uint32_t n = random() % 9;
    ASSERT_EQ(SMUTF8Strnicmp(a.c_str(), b.c_str(), n), strncasecmp(a.c_str(), b.c_str(), n))
        << a << " / " << b << " / " << n;
  }
}

TEST(Utf8NoCase, search_finds_the_first_ascii_case_blind_match) {
  const auto lower = [](std::string text) {
    for (char &c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return text;
  };
  std::mt19937 random(6);
  for (int round = 0; round < 5000; ++round) {
    const std::string h = RandomBytes(random, 20);
    const std::string n = RandomBytes(random, 3);
    const size_t at = lower(h).find(lower(n));
    ASSERT_EQ(SMUTF8Strstri(h.c_str(), n.c_str()),
              at == std::string::npos ? nullptr : h.c_str() + at)
        << h << " / " << n;
  }
  EXPECT_TRUE(!SMUTF8Strstri(nullptr, "a") && !SMUTF8Strstri("a", nullptr));
}

}  // namespace
