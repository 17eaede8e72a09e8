// Self-sizing strings: the growth numbers, same-encoding appends against
// std::string / std::u16string, appends across encodings with their scratch
// sizes, and every failure mode (which must leave the string as it was).
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kxsupt/text.h"
#include "text/sstring.h"

namespace {

std::string Utf8Of(const SMSSStr &ss) {
  return std::string(static_cast<const char *>(ss.pStr), ss.length);
}

std::u16string Ucs2Of(const SMSSStr &ss) {
  const auto *units = static_cast<const uint16_t *>(ss.pStr);
  return std::u16string(units, units + ss.length);
}

bool Terminated(const SMSSStr &ss, bool wide) {
  return wide ? static_cast<const uint16_t *>(ss.pStr)[ss.length] == 0
              : static_cast<const char *>(ss.pStr)[ss.length] == 0;
}

TEST(SelfSizingGrowth, doubles_up_to_0xFFFFF_then_adds_a_quarter) {
  struct Case {
    uint32_t capacity;
    uint32_t needed;
    uint32_t grown;
  };
  const Case cases[] = {
      {4, 5, 8},
      {1, 2, 2},
      {0, 1, 1},       // doubling 0 falls short: exactly the need
      {16, 100, 100},  // one step falls short: exactly the need
      {0xFFFFF, 0x100000, 0x1FFFFE},
      {0x100000, 0x100001, 0x140000},
      {0x100000, 0x140001, 0x140001},
      {0x200000, 0x200001, 0x280000},
      {1000003, 1000004, 2000006},           // below 0xFFFFF (1048575): still doubling
      {0x100001, 0x100002, 0x140001},        // 1048577 * 125 / 100 = 1310721
      {0xF0000000, 0xF0000001, 0xFFFFFFFF},  // the quarter step saturates
  };
  for (const Case &c : cases) {
    EXPECT_EQ(kx::text::SsGrownCapacity(c.capacity, c.needed), c.grown)
        << c.capacity << " needing " << c.needed;
  }
}

TEST(SelfSizingGrowth, appends_grow_exactly_as_stated) {
  SMSSStr ss;
  ASSERT_NE(SMSSUTF8StrAlloc(&ss, 4), nullptr);
  EXPECT_EQ(ss.capacity, 4u);
  SMSSUTF8StrCatUTF8Str(&ss, "abc");  // needs 0 + 1 + 3 = 4: no growth
  EXPECT_EQ(ss.capacity, 4u);
  SMSSUTF8StrCatUTF8Str(&ss, "d");  // needs 5
  EXPECT_EQ(ss.capacity, 8u);
  SMSSUTF8StrCatUTF8Str(&ss, std::string(100, 'x').c_str());  // needs 105; 16 falls short
  EXPECT_EQ(ss.capacity, 105u);
  EXPECT_EQ(ss.length, 104u);
  SMSSUTF8StrFree(&ss);

  // UCS-2 counts (length + 1 + n) * 2 bytes.
  ASSERT_NE(SMSSUCS2StrAlloc(&ss, 8), nullptr);
  const uint16_t three[] = {'a', 'b', 'c', 0};
  SMSSUCS2StrCatUCS2Str(&ss, three);
  EXPECT_EQ(ss.capacity, 8u);
  SMSSUCS2StrNCatUCS2Str(&ss, three, 1);
  EXPECT_EQ(ss.capacity, 16u);
  EXPECT_EQ(Ucs2Of(ss), u"abca");
  SMSSUCS2StrFree(&ss);

  ASSERT_NE(SMSSUTF8StrAlloc(&ss, 0x100000), nullptr);
  const std::string big(0x100000 - 1, 'b');
  SMSSUTF8StrCatUTF8Str(&ss, big.c_str());
  EXPECT_EQ(ss.capacity, 0x100000u);
  SMSSUTF8StrCatUTF8Str(&ss, "!");
  EXPECT_EQ(ss.capacity, 0x140000u);
  EXPECT_EQ(ss.length, 0x100000u);
  SMSSUTF8StrFree(&ss);
}

TEST(SelfSizingAppend, same_encoding_appends_follow_the_model) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    SMSSStr narrow;
    SMSSStr wide;
    const uint32_t initial = 1 + random() % 40;
    ASSERT_NE(SMSSUTF8StrAlloc(&narrow, initial), nullptr);
    ASSERT_NE(SMSSUCS2StrAlloc(&wide, initial), nullptr);
    std::string narrow_model;
    std::u16string wide_model;
    uint32_t narrow_capacity = initial;
    uint32_t wide_capacity = initial;
    for (int step = 0; step < 30; ++step) {
      std::string piece(random() % 30, 'a');
      for (char &c : piece) c = static_cast<char>('a' + random() % 26);
      const std::u16string wide_piece(piece.begin(), piece.end());
      std::vector<uint16_t> terminated(wide_piece.begin(), wide_piece.end());
      terminated.push_back(0);
      const uint32_t n = random() % 3 == 0 ? 0 : random() % (piece.size() + 1);
      const size_t taken = n == 0 ? piece.size() : n;

      const uint32_t narrow_needed = narrow_model.size() + 1 + taken;
      if (narrow_needed > narrow_capacity) {
        narrow_capacity = kx::text::SsGrownCapacity(narrow_capacity, narrow_needed);
      }
      const uint32_t wide_needed = (wide_model.size() + 1 + taken) * 2;
      if (wide_needed > wide_capacity) {
        wide_capacity = kx::text::SsGrownCapacity(wide_capacity, wide_needed);
      }
      char *narrow_buffer = n == 0 && random() % 2
                                ? SMSSUTF8StrCatUTF8Str(&narrow, piece.c_str())
                                : SMSSUTF8StrNCatUTF8Str(&narrow, piece.c_str(), n);
      uint16_t *wide_buffer = n == 0 && random() % 2
                                  ? SMSSUCS2StrCatUCS2Str(&wide, terminated.data())
                                  : SMSSUCS2StrNCatUCS2Str(&wide, terminated.data(), n);
      narrow_model += piece.substr(0, taken);
      wide_model += wide_piece.substr(0, taken);

      ASSERT_EQ(narrow_buffer, narrow.pStr);
      ASSERT_EQ(wide_buffer, wide.pStr);
      ASSERT_EQ(Utf8Of(narrow), narrow_model);
      ASSERT_EQ(Ucs2Of(wide), wide_model);
      ASSERT_TRUE(Terminated(narrow, false));
      ASSERT_TRUE(Terminated(wide, true));
      ASSERT_EQ(narrow.capacity, narrow_capacity);
      ASSERT_EQ(wide.capacity, wide_capacity);
    }
    SMSSUTF8StrFree(&narrow);
    SMSSUCS2StrFree(&wide);
  }
}

TEST(SelfSizingAppend, a_count_copies_exactly_that_many_units_even_past_a_terminator) {
  SMSSStr ss;
  SMSSUTF8StrAlloc(&ss, 2);
  SMSSUTF8StrNCatUTF8Str(&ss, "ab\0cd", 5);
  EXPECT_EQ(ss.length, 5u);
  EXPECT_EQ(Utf8Of(ss), std::string("ab\0cd", 5));
  SMSSUTF8StrFree(&ss);

  SMSSUCS2StrAlloc(&ss, 2);
  const uint16_t units[] = {'x', 0, 'y', 0};
  SMSSUCS2StrNCatUCS2Str(&ss, units, 3);
  EXPECT_EQ(Ucs2Of(ss), std::u16string(u"x\0y", 3));
  SMSSUCS2StrFree(&ss);
}

TEST(SelfSizingAppend, appending_a_string_to_itself_survives_growth) {
  SMSSStr ss;
  SMSSUTF8StrAlloc(&ss, 4);
  SMSSUTF8StrCatUTF8Str(&ss, "abc");
  for (int i = 0; i < 5; ++i) SMSSUTF8StrCatUTF8Str(&ss, static_cast<const char *>(ss.pStr));
  std::string expected = "abc";
  for (int i = 0; i < 5; ++i) expected += expected;
  EXPECT_EQ(Utf8Of(ss), expected);
  SMSSUTF8StrFree(&ss);

  SMSSUCS2StrAlloc(&ss, 2);
  const uint16_t start[] = {'q', 'r', 0};
  SMSSUCS2StrCatUCS2Str(&ss, start);
  for (int i = 0; i < 4; ++i) SMSSUCS2StrCatUCS2Str(&ss, static_cast<const uint16_t *>(ss.pStr));
  std::u16string wide_expected = u"qr";
  for (int i = 0; i < 4; ++i) wide_expected += wide_expected;
  EXPECT_EQ(Ucs2Of(ss), wide_expected);
  SMSSUCS2StrFree(&ss);
}

TEST(SelfSizingAcross, utf8_into_ucs2_appends_n_units_of_the_conversion) {
  struct Case {
    const char *source;
    uint32_t n;
    std::u16string appended;
  };
  const Case cases[] = {
      {"abc", 0, u"abc"},
      {"\xC3\xA9", 0, std::u16string(u"\xE9\0", 2)},  // n = 2 bytes: the unit and a zero
      {"\xE2\x82\xAC!", 0, std::u16string(u"\x20AC!\0\0", 4)},
      {"ab", 4, std::u16string(u"ab\0\0", 4)},  // past the conversion: zeros
      {"abcdef", 2, u""},                       // (2 + 1) * 2 bytes cannot hold it
      {"abc", 3, u"abc"},
      {"\xC3", 0, u""},  // malformed: nothing
      {"", 0, u""},
  };
  for (const Case &c : cases) {
    SMSSStr ss;
    SMSSUCS2StrAlloc(&ss, 4);
    const uint16_t start[] = {'>', 0};
    SMSSUCS2StrCatUCS2Str(&ss, start);
    uint16_t *result = c.n == 0 ? SMSSUCS2StrCatUTF8Str(&ss, c.source)
                                : SMSSUCS2StrNCatUTF8Str(&ss, c.source, c.n);
    EXPECT_EQ(result, ss.pStr);
    EXPECT_EQ(Ucs2Of(ss), u">" + c.appended) << c.source;
    EXPECT_TRUE(Terminated(ss, true));
    SMSSUCS2StrFree(&ss);
  }
}

TEST(SelfSizingAcross, ucs2_into_utf8_fits_only_ascii_in_n_plus_one_bytes) {
  struct Case {
    std::vector<uint16_t> source;
    uint32_t n;
    std::string appended;
  };
  const Case cases[] = {
      {{'a', 'b', 'c'}, 0, "abc"},
      {{0xE9}, 0, ""},  // C3 A9 needs 3 bytes, the block has 2
      {{'a', 0xE9}, 0, ""},
      {{0xE9}, 2, "\xC3\xA9"},  // a larger n leaves room for it
      {{'a', 'b'}, 4, std::string("ab\0\0", 4)},
      {{'a', 'b', 'c'}, 1, ""},  // the whole source must convert
      {{0xDC00}, 0, ""},         // unresolvable surrogate
      {{}, 0, ""},
  };
  for (const Case &c : cases) {
    std::vector<uint16_t> source = c.source;
    source.push_back(0);
    SMSSStr ss;
    SMSSUTF8StrAlloc(&ss, 4);
    SMSSUTF8StrCatUTF8Str(&ss, ">");
    char *result = c.n == 0 ? SMSSUTF8StrCatUCS2Str(&ss, source.data())
                            : SMSSUTF8StrNCatUCS2Str(&ss, source.data(), c.n);
    EXPECT_EQ(result, ss.pStr);
    EXPECT_EQ(Utf8Of(ss), ">" + c.appended);
    EXPECT_TRUE(Terminated(ss, false));
    SMSSUTF8StrFree(&ss);
  }
}

TEST(SelfSizingFailures, no_buffer_or_no_source_appends_nothing) {
  SMSSStr ss{};
  const uint16_t units[] = {'a', 0};
  EXPECT_EQ(SMSSUTF8StrCatUTF8Str(&ss, "a"), nullptr);
  EXPECT_EQ(SMSSUTF8StrCatUCS2Str(&ss, units), nullptr);
  EXPECT_EQ(SMSSUCS2StrCatUCS2Str(&ss, units), nullptr);
  EXPECT_EQ(SMSSUCS2StrCatUTF8Str(&ss, "a"), nullptr);
  EXPECT_EQ(ss.length, 0u);
  EXPECT_EQ(SMSSUCS2StrAlloc(&ss, 0), nullptr);
  EXPECT_EQ(ss.pStr, nullptr);
  EXPECT_EQ(SMSSUTF8StrAlloc(&ss, 0), nullptr);
  EXPECT_EQ(ss.pStr, nullptr);

  char *buffer = SMSSUTF8StrAlloc(&ss, 8);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(SMSSUTF8StrCatUTF8Str(&ss, nullptr), buffer);
  EXPECT_EQ(SMSSUTF8StrNCatUCS2Str(&ss, nullptr, 3), buffer);
  EXPECT_EQ(ss.length, 0u);
  SMSSUTF8StrFree(&ss);
  EXPECT_EQ(ss.pStr, nullptr);
  EXPECT_EQ(ss.capacity, 0u);
  EXPECT_EQ(ss.length, 0u);
  SMSSUTF8StrFree(&ss);                          // a second free is harmless
  EXPECT_NE(SMSSUCS2StrAlloc(&ss, 1), nullptr);  // the record can be allocated again
  SMSSUCS2StrCatUCS2Str(&ss, units);
  EXPECT_EQ(Ucs2Of(ss), u"a");
  SMSSUCS2StrFree(&ss);
}

TEST(SelfSizingFailures, counts_too_large_to_size_append_nothing) {
  SMSSStr ss;
  const uint16_t units[] = {'a', 0};
  uint16_t *wide = SMSSUCS2StrAlloc(&ss, 8);
  EXPECT_EQ(SMSSUCS2StrNCatUCS2Str(&ss, units, 0x80000000u), wide);  // bytes overflow 32 bits
  EXPECT_EQ(SMSSUCS2StrNCatUTF8Str(&ss, "a", 0x80000000u), wide);
  EXPECT_EQ(ss.length, 0u);
  SMSSUCS2StrFree(&ss);
  char *narrow = SMSSUTF8StrAlloc(&ss, 8);
  EXPECT_EQ(SMSSUTF8StrNCatUCS2Str(&ss, units, 0xFFFFFFFFu), narrow);
  EXPECT_EQ(ss.length, 0u);
  SMSSUTF8StrFree(&ss);
}

// A heap that refuses after a number of successful requests.
int g_budget = 0;
void *Allocate(uint32_t size) {
  return g_budget-- > 0 ? std::malloc(size) : nullptr;
}
void *Resize(void *block, uint32_t size) {
  return g_budget-- > 0 ? std::realloc(block, size) : nullptr;
}

class SelfSizingHeapFailures : public testing::Test {
 protected:
  void SetUp() override { previous_ = kx::text::SetSsHeapForTesting({Allocate, Resize}); }
  void TearDown() override { kx::text::SetSsHeapForTesting(previous_); }
  kx::text::SsHeap previous_{};
};

TEST_F(SelfSizingHeapFailures, allocation_failure_leaves_a_record_without_buffer) {
  SMSSStr ss;
  g_budget = 0;
  EXPECT_EQ(SMSSUTF8StrAlloc(&ss, 16), nullptr);
  EXPECT_EQ(ss.pStr, nullptr);
  EXPECT_EQ(SMSSUCS2StrAlloc(&ss, 16), nullptr);
  EXPECT_EQ(ss.pStr, nullptr);
}

TEST_F(SelfSizingHeapFailures, growth_failure_is_silent_and_changes_nothing) {
  SMSSStr ss;
  g_budget = 1;
  char *buffer = SMSSUTF8StrAlloc(&ss, 4);
  ASSERT_NE(buffer, nullptr);
  SMSSUTF8StrCatUTF8Str(&ss, "abc");
  EXPECT_EQ(SMSSUTF8StrCatUTF8Str(&ss, "defg"), buffer);  // would need 8
  EXPECT_EQ(ss.pStr, buffer);
  EXPECT_EQ(ss.capacity, 4u);
  EXPECT_EQ(ss.length, 3u);
  EXPECT_STREQ(buffer, "abc");
  g_budget = 1;
  SMSSUTF8StrCatUTF8Str(&ss, "defg");
  EXPECT_EQ(Utf8Of(ss), "abcdefg");
  SMSSUTF8StrFree(&ss);

  g_budget = 1;
  uint16_t *wide = SMSSUCS2StrAlloc(&ss, 2);
  const uint16_t units[] = {'z', 0};
  EXPECT_EQ(SMSSUCS2StrCatUCS2Str(&ss, units), wide);
  EXPECT_EQ(ss.length, 0u);
  EXPECT_EQ(wide[0], 0);
  SMSSUCS2StrFree(&ss);
}

TEST_F(SelfSizingHeapFailures, scratch_failure_appends_nothing) {
  SMSSStr narrow;
  SMSSStr wide;
  g_budget = 2;
  SMSSUTF8StrAlloc(&narrow, 64);
  SMSSUCS2StrAlloc(&wide, 64);
  const uint16_t units[] = {'a', 0};
  EXPECT_EQ(SMSSUTF8StrCatUCS2Str(&narrow, units), narrow.pStr);
  EXPECT_EQ(SMSSUCS2StrCatUTF8Str(&wide, "a"), wide.pStr);
  EXPECT_EQ(narrow.length, 0u);
  EXPECT_EQ(wide.length, 0u);
  g_budget = 2;
  SMSSUTF8StrCatUCS2Str(&narrow, units);
  SMSSUCS2StrCatUTF8Str(&wide, "a");
  EXPECT_EQ(Utf8Of(narrow), "a");
  EXPECT_EQ(Ucs2Of(wide), u"a");
  SMSSUTF8StrFree(&narrow);
  SMSSUCS2StrFree(&wide);
}

}  // namespace
