// Self-sizing strings: the growth numbers, same-encoding appends against a
// model string, the counts appended across encodings, and the failures that
// must leave a string as it was.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "base/memory.h"
#include "kxsupt/text.h"
#include "text/sstring.h"
#include "text_test_support.h"

namespace {

using kx_text_test::Buffer;
using kx_text_test::Terminated;

// A string's text with its terminator.
std::string Utf8Of(const SMSSStr &ss) {
  return std::string(static_cast<const char *>(ss.pStr), ss.length + 1);
}

std::u16string Ucs2Of(const SMSSStr &ss) {
  const auto *units = static_cast<const uint16_t *>(ss.pStr);
  return std::u16string(units, units + ss.length + 1);
}

// Doubling, or the need itself where a step falls short; past 0xFFFFF a
// quarter more (1048577 * 125 / 100 = 1310721), saturating at 32 bits.
TEST(SelfSizingGrowth, doubles_up_to_0xFFFFF_then_adds_a_quarter) {
  const struct {
    uint32_t capacity, needed, grown;
  } cases[] = {{4, 5, 8},
               {0, 1, 1},
               {16, 100, 100},
               {0xFFFFF, 0x100000, 0x1FFFFE},
               {0x100000, 0x100001, 0x140000},
               {0x100001, 0x100002, 0x140001},
               {0xF0000000, 0xF0000001, 0xFFFFFFFF}};
  for (const auto &c : cases) {
    EXPECT_EQ(kx::text::SsGrownCapacity(c.capacity, c.needed), c.grown) << c.capacity;
  }
}

// Random pieces in both encodings, by Cat and NCat, with zeros inside the
// counted units and sometimes taken from the string's own buffer.
TEST(SelfSizingAppend, same_encoding_appends_follow_the_model) {
  std::mt19937 random(7);
  const auto grow = [](uint32_t &capacity, size_t needed) {
    if (needed > capacity) capacity = kx::text::SsGrownCapacity(capacity, needed);
  };
  for (int round = 0; round < 200; ++round) {
    SMSSStr narrow;
    SMSSStr wide;
    uint32_t narrow_capacity = 1 + random() % 40;
    uint32_t wide_capacity = narrow_capacity;
    ASSERT_NE(SMSSUTF8StrAlloc(&narrow, narrow_capacity), nullptr);
    ASSERT_NE(SMSSUCS2StrAlloc(&wide, wide_capacity), nullptr);
    std::string model;  // both strings hold this text
    for (int step = 0; step < 30; ++step) {
      const bool own = random() % 8 == 0;
      std::string piece(random() % 30, 'a');
      for (char &c : piece) c = random() % 8 == 0 ? '\0' : static_cast<char>('a' + random() % 26);
      if (own) piece = model;
      const Buffer units = Terminated(std::u16string(piece.begin(), piece.end()));
      const uint32_t n = random() % 3 == 0 ? 0 : random() % (piece.size() + 1);
      const size_t taken = n != 0 ? n : std::min(piece.find('\0'), piece.size());
      grow(narrow_capacity, model.size() + 1 + taken);
      grow(wide_capacity, (model.size() + 1 + taken) * 2);
      const char *bytes = own ? static_cast<const char *>(narrow.pStr) : piece.c_str();
      const uint16_t *wide_units = own ? static_cast<const uint16_t *>(wide.pStr) : units.data();
      const bool cat = n == 0 && random() % 2 == 0;
      ASSERT_EQ(
          cat ? SMSSUTF8StrCatUTF8Str(&narrow, bytes) : SMSSUTF8StrNCatUTF8Str(&narrow, bytes, n),
          narrow.pStr);
      ASSERT_EQ(cat ? SMSSUCS2StrCatUCS2Str(&wide, wide_units)
                    : SMSSUCS2StrNCatUCS2Str(&wide, wide_units, n),
                wide.pStr);
      model += piece.substr(0, taken);
      ASSERT_EQ(Utf8Of(narrow), model + '\0');
      ASSERT_EQ(Ucs2Of(wide), std::u16string(model.begin(), model.end()) + u'\0');
      ASSERT_EQ(narrow.capacity, narrow_capacity);
      ASSERT_EQ(wide.capacity, wide_capacity);
    }
    SMSSUTF8StrFree(&narrow);
    SMSSUCS2StrFree(&wide);
  }
}

// Across encodings the whole source converts into a scratch block of n + 1
// units, and n units of that block are appended, zeros past the conversion
// included; a conversion that does not fit appends nothing.
TEST(SelfSizingAcross, appends_n_units_of_the_converted_source) {
  // The text after appending to ">", terminator included.
  const auto into_ucs2 = [](const char *source, uint32_t n) {
    SMSSStr ss;
    SMSSUCS2StrAlloc(&ss, 4);
    SMSSUCS2StrCatUCS2Str(&ss, Terminated(u">").data());
    EXPECT_EQ(n == 0 ? SMSSUCS2StrCatUTF8Str(&ss, source) : SMSSUCS2StrNCatUTF8Str(&ss, source, n),
              ss.pStr);
    const std::u16string text = Ucs2Of(ss);
    SMSSUCS2StrFree(&ss);
    return text;
  };
  EXPECT_EQ(into_ucs2("abc", 0), std::u16string(u">abc", 5));
  EXPECT_EQ(into_ucs2("\xE2\x82\xAC!", 0), std::u16string(u">\x20AC!\0\0", 6));  // n: 4 bytes
  EXPECT_EQ(into_ucs2("ab", 4), std::u16string(u">ab\0\0", 6));
  EXPECT_EQ(into_ucs2("abcdef", 2), std::u16string(u">", 2));  // 3 units cannot hold it
  EXPECT_EQ(into_ucs2("\xC3", 0), std::u16string(u">", 2));    // malformed

  const auto into_utf8 = [](const std::u16string &source, uint32_t n) {
    SMSSStr ss;
    SMSSUTF8StrAlloc(&ss, 4);
    SMSSUTF8StrCatUTF8Str(&ss, ">");
    const Buffer units = Terminated(source);
    EXPECT_EQ(n == 0 ? SMSSUTF8StrCatUCS2Str(&ss, units.data())
                     : SMSSUTF8StrNCatUCS2Str(&ss, units.data(), n),
              ss.pStr);
    const std::string text = Utf8Of(ss);
    SMSSUTF8StrFree(&ss);
    return text;
  };
  EXPECT_EQ(into_utf8(u"abc", 0), std::string(">abc", 5));
  EXPECT_EQ(into_utf8(u"\xE9", 0), std::string(">", 2));  // C3 A9 00 in a 2-byte block
  EXPECT_EQ(into_utf8(u"\xE9", 2), std::string(">\xC3\xA9", 4));
  EXPECT_EQ(into_utf8(u"ab", 4), std::string(">ab\0\0", 6));
  EXPECT_EQ(into_utf8(u"abc", 1), std::string(">", 2));  // the whole source must convert
  EXPECT_EQ(into_utf8(u"\xDC00", 0), std::string(">", 2));
}

TEST(SelfSizingFailures, leave_the_string_as_it_was) {
  SMSSStr ss{};
  const uint16_t units[] = {'a', 0};
  EXPECT_EQ(SMSSUCS2StrAlloc(&ss, 0), nullptr);
  EXPECT_EQ(SMSSUTF8StrAlloc(&ss, 0), nullptr);
  EXPECT_EQ(SMSSUTF8StrCatUTF8Str(&ss, "a"), nullptr);  // no buffer to append to
  EXPECT_EQ(SMSSUTF8StrCatUCS2Str(&ss, units), nullptr);
  EXPECT_EQ(SMSSUCS2StrCatUCS2Str(&ss, units), nullptr);
  EXPECT_EQ(SMSSUCS2StrCatUTF8Str(&ss, "a"), nullptr);

  // A null source, or a count whose size in bytes does not fit 32 bits.
  char *narrow = SMSSUTF8StrAlloc(&ss, 8);
  EXPECT_EQ(SMSSUTF8StrCatUTF8Str(&ss, nullptr), narrow);
  EXPECT_EQ(SMSSUTF8StrNCatUCS2Str(&ss, nullptr, 3), narrow);
  EXPECT_EQ(SMSSUTF8StrNCatUCS2Str(&ss, units, 0xFFFFFFFFu), narrow);
  EXPECT_EQ(Utf8Of(ss), std::string(1, '\0'));
  SMSSUTF8StrFree(&ss);
  uint16_t *wide = SMSSUCS2StrAlloc(&ss, 8);
  EXPECT_EQ(SMSSUCS2StrNCatUCS2Str(&ss, units, 0x80000000u), wide);
  EXPECT_EQ(SMSSUCS2StrNCatUTF8Str(&ss, "a", 0x80000000u), wide);
  EXPECT_EQ(ss.length, 0u);
  SMSSUCS2StrFree(&ss);
  EXPECT_TRUE(ss.pStr == nullptr && ss.capacity == 0 && ss.length == 0);
  SMSSUCS2StrFree(&ss);  // a second free is harmless

  kx::base::testing::AllocationBudget heap(0);
  EXPECT_EQ(SMSSUTF8StrAlloc(&ss, 16), nullptr);
  EXPECT_EQ(ss.pStr, nullptr);
  heap.Grant(2);  // two buffers, then neither growth nor scratch blocks
  SMSSStr other;
  SMSSUTF8StrAlloc(&ss, 4);
  SMSSUCS2StrAlloc(&other, 64);
  SMSSUTF8StrCatUTF8Str(&ss, "abc");
  EXPECT_EQ(SMSSUTF8StrCatUTF8Str(&ss, "defg"), ss.pStr);
  SMSSUTF8StrCatUCS2Str(&ss, units);
  SMSSUCS2StrCatUTF8Str(&other, "a");
  EXPECT_EQ(Utf8Of(ss), std::string("abc", 4));
  EXPECT_EQ(ss.capacity, 4u);
  EXPECT_EQ(other.length, 0u);
  SMSSUTF8StrFree(&ss);
  SMSSUCS2StrFree(&other);
}

}  // namespace
