// Typed value to text: the room table, measuring, short buffers, every
// code's text form against an independent oracle (snprintf, bitset, ctime_r,
// inet_ntop, the UCS-2 conversion) and the dumps of code 12.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <bitset>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <random>
#include <string>

#include "kxsupt/base.h"
#include "kxsupt/values.h"
#include "text/xlt.h"
#include "xlt_test_support.h"

namespace {

using xlt_test::Write;
using xlt_test::WriteValue;

TEST(XltWrite, refuses_null_pointers_and_unknown_codes) {
  int32_t value = 1;
  char text[64];
  uint32_t size = sizeof text;
  EXPECT_EQ(kx::text::XltValueToText(nullptr, 4, text, &size, 3), 271u);
  EXPECT_EQ(kx::text::XltValueToText(&value, 4, text, nullptr, 3), 271u);
  EXPECT_EQ(kx::text::XltValueToText(&value, 4, text, &size, 17), 2u);
  EXPECT_EQ(kx::text::XltValueToText(&value, 4, text, &size, 0x4FF), 2u);
  EXPECT_EQ(size, sizeof text);
}

// Room a buffer must exceed per code and selector, and the size reported.
TEST(XltWrite, room_table_applies_before_anything_is_written) {
  struct Row {
    uint32_t type;
    uint32_t bound;
  };
  const Row rows[] = {
      {1, 16},       {2, 16},       {3, 16},        {5, 15},       {6, 15},
      {7, 15},       {1 | 512, 16}, {3 | 1024, 16}, {7 | 768, 15}, {1 | 256, 32},
      {3 | 256, 32}, {5 | 256, 32}, {7 | 256, 32},  {4, 32},       {4 | 256, 32},
      {8, 31},       {9, 31},       {10, 15},       {11, 63},
  };
  xlt_test::ScopedTimeZone utc("UTC");
  const uint64_t zero = 0;  // every code reads a zero as a valid value
  for (const Row &row : rows) {
    SCOPED_TRACE(row.type);
    const auto refused = Write(&zero, 8, row.type, row.bound);
    EXPECT_EQ(refused.status, 16u);
    EXPECT_EQ(refused.size, row.bound + 1);
    const auto accepted = Write(&zero, 8, row.type, row.bound + 1);
    EXPECT_EQ(accepted.status, 0u);
    EXPECT_EQ(accepted.size, accepted.text.size() + 1);
  }
  // Even a short number needs the full room: 16 bytes never take an int32.
  const auto short_number = WriteValue<int32_t>(5, 3, 16);
  EXPECT_EQ(short_number.status, 16u);
  EXPECT_EQ(short_number.size, 17u);
}

TEST(XltWrite, texts_without_a_bound_need_their_length_plus_one) {
  EXPECT_EQ(WriteValue<uint16_t>(1, 0, 4).status, 16u);
  EXPECT_EQ(WriteValue<uint16_t>(1, 0, 4).size, 5u);
  EXPECT_EQ(WriteValue<uint16_t>(1, 0, 5).text, "true");
  EXPECT_EQ(WriteValue<uint16_t>(0, 0, 5).status, 16u);
  EXPECT_EQ(WriteValue<uint16_t>(0, 0, 5).size, 6u);
  EXPECT_EQ(WriteValue<uint16_t>(0, 0, 6).text, "false");
  const char *string = "hello";
  EXPECT_EQ(Write(string, 6, 13, 5).size, 6u);
  EXPECT_EQ(Write(string, 6, 13, 6).text, "hello");
  const uint8_t bytes[] = {1, 2, 3};
  EXPECT_EQ(Write(bytes, 3, 16, 6).status, 16u);
  EXPECT_EQ(Write(bytes, 3, 16, 6).size, 7u);
  EXPECT_EQ(Write(bytes, 3, 16, 7).text, "010203");
  uint32_t address = 0;
  inet_pton(AF_INET, "192.168.100.100", &address);
  EXPECT_EQ(WriteValue(address, 15, 15).size, 16u);
  EXPECT_EQ(WriteValue(address, 15, 16).text, "192.168.100.100");
  // A double longer than its bound passes the bound and then asks for more.
  const auto large = WriteValue(1e40, 9, 32);
  EXPECT_EQ(large.status, 16u);
  EXPECT_EQ(large.size, 46u);
  EXPECT_EQ(WriteValue(1e40, 9, 46).text, "10000000000000000303786028427003666890752.000");
}

// A null text buffer measures: status 0 and the size a second call needs.
TEST(XltWrite, null_text_measures_the_size_a_second_call_needs) {
  auto measure = [](const void *value, uint32_t value_size, uint32_t type) {
    uint32_t size = 0;
    EXPECT_EQ(kx::text::XltValueToText(value, value_size, nullptr, &size, type), 0u);
    return size;
  };
  const int32_t five = 5;
  EXPECT_EQ(measure(&five, 4, 3), 17u);
  EXPECT_EQ(measure(&five, 4, 3 | 256), 33u);
  const double large = 1e40;
  EXPECT_EQ(measure(&large, 8, 9), 46u);
  const uint16_t ucs2[] = {'a', 0xE9, 0};
  EXPECT_EQ(measure(ucs2, 6, 12), 4u);
  EXPECT_EQ(measure(ucs2, 6, 14), 4u);
  EXPECT_EQ(measure("abc", 4, 13), 4u);
  const uint16_t one = 1;
  EXPECT_EQ(measure(&one, 2, 0), 5u);
}

// The integer selectors against the C library's printf and std::bitset.
TEST(XltWrite, integer_selectors_agree_with_printf_and_bitset) {
  std::mt19937_64 rng(4242);
  for (int round = 0; round < 4000; ++round) {
    const uint64_t bits = rng() >> (rng() % 64);
    for (uint32_t code : {1u, 2u, 3u, 5u, 6u, 7u}) {
      int64_t number;  // the value read at the code's width
      switch (code) {
        case 1:
          number = static_cast<int8_t>(bits);
          break;
        case 2:
          number = static_cast<int16_t>(bits);
          break;
        case 3:
          number = static_cast<int32_t>(bits);
          break;
        case 5:
          number = static_cast<uint8_t>(bits);
          break;
        case 6:
          number = static_cast<uint16_t>(bits);
          break;
        default:
          number = static_cast<uint32_t>(bits);
          break;
      }
      const auto pattern = static_cast<uint32_t>(number);  // sign-extended to 32
      char expected[64];
      SCOPED_TRACE(std::to_string(code) + " " + std::to_string(number));
      if (code <= 3) {
        std::snprintf(expected, sizeof expected, "%d", static_cast<int>(number));
      } else {
        std::snprintf(expected, sizeof expected, "%u", pattern);
      }
      ASSERT_EQ(Write(&bits, 8, code).text, expected);
      ASSERT_EQ(Write(&bits, 8, code | 768).text, expected);
      ASSERT_EQ(Write(&bits, 8, code | 0x0800).text, expected);
      std::snprintf(expected, sizeof expected, "%o", pattern);
      ASSERT_EQ(Write(&bits, 8, code | 512).text, expected);
      std::snprintf(expected, sizeof expected, "%#x", pattern);
      ASSERT_EQ(Write(&bits, 8, code | 1024).text, expected);
      std::string binary = std::bitset<32>(pattern).to_string();
      binary.erase(0, std::min(binary.find('1'), binary.size() - 1));
      ASSERT_EQ(Write(&bits, 8, code | 256).text, binary);
    }
  }
  EXPECT_EQ(WriteValue<int8_t>(-1, 1 | 1024).text, "0xffffffff");
  EXPECT_EQ(WriteValue<int8_t>(-1, 1 | 256).text, std::string(32, '1'));
  EXPECT_EQ(WriteValue<uint8_t>(0, 5 | 256).text, "0");
  EXPECT_EQ(WriteValue<int32_t>(0, 3 | 1024).text, "0");
}

TEST(XltWrite, wide_integers_and_doubles_agree_with_printf) {
  std::mt19937_64 rng(99);
  char expected[400];
  for (int round = 0; round < 4000; ++round) {
    const uint64_t bits = rng() >> (rng() % 64);
    std::snprintf(expected, sizeof expected, "%" PRId64, static_cast<int64_t>(bits));
    ASSERT_EQ(WriteValue(bits, 4).text, expected);
    std::snprintf(expected, sizeof expected, "%" PRIu64, bits);
    ASSERT_EQ(WriteValue(bits, 8).text, expected);
    // The selectors do not apply to the 64-bit codes.
    ASSERT_EQ(WriteValue(bits, 8 | 1024).text, expected);
    double number;
    std::memcpy(&number, &bits, sizeof number);
    if (!std::isfinite(number)) continue;
    std::snprintf(expected, sizeof expected, "%.3f", number);
    const auto written = WriteValue(number, 9, 400);
    ASSERT_EQ(written.status, 0u);
    ASSERT_EQ(written.text, expected);
  }
  EXPECT_EQ(WriteValue(std::numeric_limits<int64_t>::min(), 4).text, "-9223372036854775808");
  EXPECT_EQ(WriteValue(0.0005, 9).text, "0.001");
  EXPECT_EQ(WriteValue(0.125, 9).text, "0.125");
  EXPECT_EQ(WriteValue(-2.0, 9).text, "-2.000");
}

TEST(XltWrite, booleans_languages_and_addresses) {
  EXPECT_EQ(WriteValue<uint16_t>(1, 0).text, "true");
  EXPECT_EQ(WriteValue<uint16_t>(2, 0).text, "false");
  EXPECT_EQ(WriteValue<uint16_t>(0x0101, 0).text, "false");
  const std::pair<uint32_t, const char *> languages[] = {
      {1033, "en_US"}, {2057, "en_GB"}, {1031, "de"}, {1034, "es"},
      {1036, "fr"},    {1041, "ja"},    {2066, "ko"}, {1046, "pt_BR"},
      {2052, "zh"},    {1028, "zh_TW"}, {0, "en_US"}, {1040, "en_US"}};
  for (const auto &[id, name] : languages) EXPECT_EQ(WriteValue(id, 10).text, name);
  std::mt19937 rng(5);
  for (int round = 0; round < 1000; ++round) {
    const uint32_t address = rng();
    char expected[INET_ADDRSTRLEN];
    ASSERT_NE(inet_ntop(AF_INET, &address, expected, sizeof expected), nullptr);
    ASSERT_EQ(WriteValue(address, 15).text, expected);
  }
}

TEST(XltWrite, times_are_ctime_without_its_line_feed) {
  xlt_test::ScopedTimeZone paris("CET-1CEST,M3.5.0,M10.5.0/3");
  std::mt19937 rng(11);
  for (int round = 0; round < 500; ++round) {
    const uint32_t seconds = round == 0 ? 0 : round == 1 ? 0xFFFFFFFF : rng();
    const std::time_t when = seconds;
    char expected[32];
    ASSERT_NE(ctime_r(&when, expected), nullptr);
    expected[std::strlen(expected) - 1] = 0;
    const auto written = WriteValue(seconds, 11);
    ASSERT_EQ(written.status, 0u);
    ASSERT_EQ(written.text, expected);
    ASSERT_EQ(written.size, 25u);
  }
}

TEST(XltWrite, byte_arrays_write_at_most_63_bytes) {
  uint8_t bytes[100];
  for (int i = 0; i < 100; ++i) bytes[i] = static_cast<uint8_t>(i * 37 + 5);
  std::string expected;
  for (int i = 0; i < 63; ++i) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02X", bytes[i]);
    expected += pair;
  }
  EXPECT_EQ(Write(bytes, 63, 16).text, expected);
  EXPECT_EQ(Write(bytes, 100, 16).text, expected);
  EXPECT_EQ(Write(bytes, 62, 16).text, expected.substr(0, 124));
  EXPECT_EQ(Write(bytes, 0, 16).text, "");
  EXPECT_EQ(Write(bytes, 0, 16).size, 1u);
}

TEST(XltWrite, ucs2_strings_as_utf8_and_as_dumps) {
  const uint16_t text[] = {'A', 0xE9, 0x20AC, 0};
  EXPECT_EQ(Write(text, sizeof text, 12).text, "A\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(Write(text, sizeof text, 14).text, "A\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(Write(text, 0, 14 | 1024).text, "A\xC3\xA9\xE2\x82\xAC");
  // Too short: the size needed, then success with it.
  EXPECT_EQ(Write(text, sizeof text, 12, 6).status, 16u);
  EXPECT_EQ(Write(text, sizeof text, 12, 6).size, 7u);
  EXPECT_EQ(Write(text, sizeof text, 14, 7).status, 0u);
  // The dumps cover the value size, or the string and its terminator for 0.
  EXPECT_EQ(Write(text, 0, 12 | 1024).text, "0x41,0x00,0xE9,0x00,0xAC,0x20,0x00,0x00,");
  EXPECT_EQ(Write(text, 3, 12 | 1024).text, "0x41,0x00,0xE9,");
  EXPECT_EQ(Write(text, 0, 12 | 256).text, "0x00000000: 41 00 E9 00 AC 20 00 00\n");
  uint16_t longer[20];
  for (int i = 0; i < 19; ++i) longer[i] = static_cast<uint16_t>(0x4130 + i);
  longer[19] = 0;
  EXPECT_EQ(Write(longer, 34, 12 | 256).text,
            "0x00000000: 30 41 31 41 32 41 33 41 34 41 35 41 36 41 37 41\n"
            "0x00000010: 38 41 39 41 3A 41 3B 41 3C 41 3D 41 3E 41 3F 41\n"
            "0x00000020: 40 41\n");
  EXPECT_EQ(Write(text, 0, 12 | 512).status, 2u);
  EXPECT_EQ(Write(text, 0, 12 | 768).status, 2u);
  // Dumps honour the room rule too.
  EXPECT_EQ(Write(text, 3, 12 | 1024, 15).size, 16u);
  EXPECT_EQ(Write(text, 3, 12 | 1024, 16).status, 0u);
  // A surrogate that cannot be resolved is the conversion's failure.
  const uint16_t broken[] = {0xDC00, 0};
  EXPECT_EQ(Write(broken, 4, 12).status, 257u);
}

TEST(XltWrite, unaligned_ucs2_strings_are_read_all_the_same) {
  alignas(4) uint8_t block[16] = {};
  const uint16_t text[] = {'h', 0xE9, 0};
  std::memcpy(block + 1, text, sizeof text);
  EXPECT_EQ(Write(block + 1, 0, 12).text, "h\xC3\xA9");
  EXPECT_EQ(Write(block + 1, 0, 12 | 1024).text, "0x68,0x00,0xE9,0x00,0x00,0x00,");
}

TEST(XltWrite, exported_entry_is_the_same_routine) {
  const int8_t value = -1;
  char text[17];
  uint32_t size = sizeof text;
  EXPECT_EQ(SMXLTTypeValueToUTF8(&value, 1, text, &size, SM_XLT_INT8 | SM_XLT_SELECT_HEX),
            SM_STATUS_SUCCESS);
  EXPECT_STREQ(text, "0xffffffff");
  EXPECT_EQ(size, 11u);
}

}  // namespace
