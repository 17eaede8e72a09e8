// Text to typed value: argument checks, the room each type asks for, the
// grammar per selector, range statuses at every boundary, the number
// conversions against the C library's strtol/strtoul/strtod, and the readers
// of booleans, strings, byte arrays, addresses, languages and times.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include "kxsupt/base.h"
#include "kxsupt/values.h"
#include "text/xlt.h"
#include "text/xlt_forms.h"
#include "xlt_test_support.h"

namespace {

using kx::text::NumberGrammar;
using xlt_test::Parse;

TEST(XltParse, refuses_null_text_size_and_value_and_unknown_codes) {
  uint32_t size = 8;
  int32_t value = 0;
  EXPECT_EQ(kx::text::XltTextToValue(nullptr, &value, &size, 3), 271u);
  EXPECT_EQ(kx::text::XltTextToValue("1", &value, nullptr, 3), 271u);
  EXPECT_EQ(kx::text::XltTextToValue("1", &value, &size, 17), 2u);
  EXPECT_EQ(kx::text::XltTextToValue("1", &value, &size, 0x4FF), 2u);
  EXPECT_EQ(kx::text::XltTextToValue("1", nullptr, &size, 3), 271u);
  // A null value with too little room is answered with the room needed.
  size = 0;
  EXPECT_EQ(kx::text::XltTextToValue("1", nullptr, &size, 3), 16u);
  EXPECT_EQ(size, 4u);
  // Bits above the selector byte are ignored.
  size = 8;
  EXPECT_EQ(kx::text::XltTextToValue("7", &value, &size, 0xFFFF0003u & ~0xFF00u), 0u);
  EXPECT_EQ(value, 7);
}

// Each fixed-size code with one valid text: room one short gives 16 and the
// size, exact room succeeds with the size out.
TEST(XltParse, fixed_codes_need_room_for_their_size) {
  xlt_test::ScopedTimeZone utc("UTC");
  struct Row {
    uint32_t code;
    const char *text;
    uint32_t size;
  };
  const Row rows[] = {
      {0, "true", 2},     {1, "-5", 1},  {2, "-5", 2},  {3, "-5", 4},
      {4, "-5", 8},       {5, "5", 1},   {6, "5", 2},   {7, "5", 4},
      {8, "5", 8},        {9, "1.5", 8}, {10, "de", 4}, {11, "Thu Jan  1 00:00:00 1970", 4},
      {15, "1.2.3.4", 4},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.code);
    auto short_room = Parse(row.text, row.code, row.size - 1);
    EXPECT_EQ(short_room.status, 16u);
    EXPECT_EQ(short_room.size, row.size);
    EXPECT_EQ(short_room.bytes[0], 0xAA) << "nothing may be written";
    auto exact = Parse(row.text, row.code, row.size);
    EXPECT_EQ(exact.status, 0u);
    EXPECT_EQ(exact.size, row.size);
  }
}

TEST(XltParse, strings_and_byte_arrays_first_need_the_text_length_plus_one) {
  // UTF-8 copy: length + 1.
  EXPECT_EQ(Parse("abc", 13, 3).status, 16u);
  EXPECT_EQ(Parse("abc", 13, 3).size, 4u);
  auto copy = Parse("abc", 13, 4);
  EXPECT_EQ(copy.status, 0u);
  EXPECT_EQ(copy.size, 4u);
  EXPECT_STREQ(reinterpret_cast<const char *>(copy.bytes.data()), "abc");
  // Byte array: asks for length + 1 although it writes half of that.
  EXPECT_EQ(Parse("0A0B", 16, 4).status, 16u);
  EXPECT_EQ(Parse("0A0B", 16, 4).size, 5u);
  auto bytes = Parse("0A0B", 16, 5);
  EXPECT_EQ(bytes.status, 0u);
  EXPECT_EQ(bytes.size, 2u);
  EXPECT_EQ(bytes.bytes[0], 0x0A);
  EXPECT_EQ(bytes.bytes[1], 0x0B);
  // Code 12 passes the first check with length + 1 and then needs the UCS-2
  // size: 16 again, now with the size the conversion needs.
  EXPECT_EQ(Parse("abc", 12, 3).size, 4u);
  auto ucs2_short = Parse("abc", 12, 4);
  EXPECT_EQ(ucs2_short.status, 16u);
  EXPECT_EQ(ucs2_short.size, 8u);
  EXPECT_EQ(Parse("abc", 12, 8).status, 0u);
  // Code 14 has no first check: the conversion alone decides.
  auto converted_short = Parse("abc", 14, 7);
  EXPECT_EQ(converted_short.status, 16u);
  EXPECT_EQ(converted_short.size, 8u);
  auto converted = Parse("abc", 14, 8);
  EXPECT_EQ(converted.status, 0u);
  EXPECT_EQ(converted.size, 8u);
}

struct GrammarRow {
  uint32_t type;
  const char *text;
  uint32_t status;
  int64_t value;  // checked when status is 0, read at the code's width
};

int64_t ReadInteger(const xlt_test::Parsed &p, uint32_t code) {
  switch (code) {
    case 1:
      return p.As<int8_t>();
    case 2:
      return p.As<int16_t>();
    case 3:
      return p.As<int32_t>();
    case 4:
      return p.As<int64_t>();
    case 5:
      return p.As<uint8_t>();
    case 6:
      return p.As<uint16_t>();
    case 7:
      return p.As<uint32_t>();
    default:
      return static_cast<int64_t>(p.As<uint64_t>());
  }
}

void CheckRows(const GrammarRow *rows, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const GrammarRow &row = rows[i];
    SCOPED_TRACE(std::string("type ") + std::to_string(row.type) + " text \"" + row.text + "\"");
    const auto p = Parse(row.text, row.type);
    ASSERT_EQ(p.status, row.status);
    if (row.status == 0) {
      EXPECT_EQ(ReadInteger(p, row.type & 0xFF), row.value);
    }
  }
}

TEST(XltParse, grammar_per_selector) {
  constexpr uint32_t kDec = 0, kAlt = 768, kOct = 512, kHex = 1024;
  const GrammarRow rows[] = {
      // Decimal: optional sign, digits to the end; a sign alone is 0.
      {3 | kDec, "12", 0, 12},
      {3 | kDec, "+12", 0, 12},
      {3 | kDec, "-12", 0, -12},
      {3 | kDec, "+", 0, 0},
      {3 | kDec, "-", 0, 0},
      {3 | kDec, "007", 0, 7},
      {3 | kAlt, "-34", 0, -34},
      {3 | kDec, "", 271, 0},
      {3 | kDec, " 12", 271, 0},
      {3 | kDec, "12 ", 271, 0},
      {3 | kDec, "12abc", 271, 0},
      {3 | kDec, "1.5", 271, 0},
      {3 | kDec, "0x1F", 271, 0},
      {3 | kDec, "++1", 271, 0},
      {3 | kDec, "1-", 271, 0},
      {3 | kAlt, "", 271, 0},
      // Octal: digits 0-7 only, at least one, no sign.
      {3 | kOct, "17", 0, 15},
      {3 | kOct, "0", 0, 0},
      {7 | kOct, "37777777777", 0, 0xFFFFFFFF},
      {3 | kOct, "8", 271, 0},
      {3 | kOct, "-1", 271, 0},
      {3 | kOct, "+1", 271, 0},
      {3 | kOct, "", 271, 0},
      {3 | kOct, "0x1", 271, 0},
      // Hexadecimal: optional 0x / 0X, then 1 to 8 digits of either case.
      {3 | kHex, "0x1F", 0, 31},
      {3 | kHex, "0X1f", 0, 31},
      {3 | kHex, "1F", 0, 31},
      {3 | kHex, "0x12345678", 0, 0x12345678},
      {3 | kHex, "ffffffff", 0, -1},
      {7 | kHex, "FFFFFFFF", 0, 0xFFFFFFFF},
      {3 | kHex, "0x", 271, 0},
      {3 | kHex, "", 271, 0},
      {3 | kHex, "123456789", 271, 0},
      {3 | kHex, "0x123456789", 271, 0},
      {3 | kHex, "g", 271, 0},
      {3 | kHex, "-1", 271, 0},
      {3 | kHex, " 1", 271, 0},
      {3 | kHex, "0x0x1", 271, 0},
      // No other selector picks a grammar.
      {3 | 256, "1", 271, 0},
      {3 | 0x0800, "1", 271, 0},
      {3 | 0x0500, "1", 271, 0},
      {5 | 256, "1", 271, 0},
      // The 64-bit codes: decimal only, other radixes refused with 1.
      {4 | kOct, "1", 1, 0},
      {4 | kHex, "1", 1, 0},
      {8 | kOct, "1", 1, 0},
      {8 | kHex, "1", 1, 0},
      {4 | 256, "1", 271, 0},
      {4 | kAlt, "-9", 0, -9},
      {8 | kDec, "+", 0, 0},
      {4 | kDec, "1e3", 271, 0},
      {8 | kDec, " 1", 271, 0},
  };
  CheckRows(rows, std::size(rows));
}

TEST(XltParse, range_statuses_at_each_types_boundaries) {
  const GrammarRow rows[] = {
      {1, "-129", 291, 0},
      {1, "-128", 0, -128},
      {1, "127", 0, 127},
      {1, "128", 290, 0},
      {2, "-32769", 291, 0},
      {2, "-32768", 0, -32768},
      {2, "32767", 0, 32767},
      {2, "32768", 290, 0},
      // Unsigned codes read through strtoul: a minus sign wraps to a huge
      // value, so below the minimum is also above the maximum.
      {5, "-1", 290, 0},
      {5, "-0", 0, 0},
      {5, "0", 0, 0},
      {5, "255", 0, 255},
      {5, "256", 290, 0},
      {6, "-1", 290, 0},
      {6, "0", 0, 0},
      {6, "65535", 0, 65535},
      {6, "65536", 290, 0},
      // The 32-bit codes keep the low 32 bits of what the conversion gave.
      {3, "-2147483649", 0, 2147483647},
      {3, "-2147483648", 0, -2147483648LL},
      {3, "2147483647", 0, 2147483647},
      {3, "2147483648", 0, -2147483648LL},
      {7, "-1", 0, 0xFFFFFFFF},
      {7, "0", 0, 0},
      {7, "4294967295", 0, 0xFFFFFFFF},
      {7, "4294967296", 0, 0},
      {3, "99999999999999999999999", 0, -1},  // saturated at LONG_MAX
      {7, "-99999999999999999999999", 0, 0xFFFFFFFF},
      // Saturated values fall outside the narrow ranges.
      {1, "99999999999999999999999", 290, 0},
      {1, "-99999999999999999999999", 291, 0},
      {5, "-99999999999999999999999", 290, 0},
      {1 | 1024, "0x7F", 0, 127},
      {1 | 1024, "0xFF", 290, 0},
      {2 | 1024, "8000", 290, 0},
      {1 | 512, "177", 0, 127},
      {1 | 512, "200", 290, 0},
      {5 | 1024, "FF", 0, 255},
      {5 | 1024, "100", 290, 0},
      // The library's own 64-bit reader.
      {4, "-9223372036854775809", 291, 0},
      {4, "-9223372036854775808", 0, std::numeric_limits<int64_t>::min()},
      {4, "9223372036854775807", 0, std::numeric_limits<int64_t>::max()},
      {4, "9223372036854775808", 290, 0},
      {4, "-99999999999999999999999", 291, 0},
      {8, "-1", 291, 0},
      {8, "-0", 0, 0},
      {8, "0", 0, 0},
      {8, "18446744073709551615", 0, -1},
      {8, "18446744073709551616", 290, 0},
  };
  CheckRows(rows, std::size(rows));
}

// Random texts of each grammar: the conversions must agree with the C
// library, saturation and wrapping included.
TEST(XltParse, number_conversions_agree_with_strtol_and_strtoul) {
  std::mt19937_64 rng(20240607);
  auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<uint64_t>(n)); };
  const char *const kHexDigits = "0123456789abcdefABCDEF";
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    NumberGrammar grammar;
    int base;
    switch (pick(3)) {
      case 0: {
        grammar = NumberGrammar::kDecimal;
        base = 10;
        const int sign = pick(3);
        if (sign == 1) text += '-';
        if (sign == 2) text += '+';
        const int digits = 1 + pick(25);
        for (int i = 0; i < digits; ++i) text += static_cast<char>('0' + pick(10));
        break;
      }
      case 1: {
        grammar = NumberGrammar::kOctal;
        base = 8;
        const int digits = 1 + pick(25);
        for (int i = 0; i < digits; ++i) text += static_cast<char>('0' + pick(8));
        break;
      }
      default: {
        grammar = NumberGrammar::kHex;
        base = 16;
        if (pick(2) == 0) text += pick(2) == 0 ? "0x" : "0X";
        const int digits = 1 + pick(8);
        for (int i = 0; i < digits; ++i) text += kHexDigits[pick(22)];
        break;
      }
    }
    SCOPED_TRACE(text);
    kx::text::NumberText number;
    ASSERT_TRUE(kx::text::ReadNumberText(text.c_str(), grammar, &number));
    ASSERT_EQ(kx::text::StrtolValue(number), std::strtol(text.c_str(), nullptr, base));
    ASSERT_EQ(kx::text::StrtoulValue(number), std::strtoul(text.c_str(), nullptr, base));
    // And the 32-bit codes store exactly the low bits of the C library's
    // result under the selector of the grammar.
    const uint32_t selector = base == 10 ? 0 : base == 8 ? 512 : 1024;
    const auto as_int32 = Parse(text.c_str(), 3 | selector);
    ASSERT_EQ(as_int32.status, 0u);
    ASSERT_EQ(as_int32.As<int32_t>(),
              static_cast<int32_t>(std::strtol(text.c_str(), nullptr, base)));
    const auto as_uint32 = Parse(text.c_str(), 7 | selector);
    ASSERT_EQ(as_uint32.status, 0u);
    ASSERT_EQ(as_uint32.As<uint32_t>(),
              static_cast<uint32_t>(std::strtoul(text.c_str(), nullptr, base)));
  }
}

// 64-bit decimal texts near and beyond the limits against strtoll/strtoull
// with errno, which mark exactly the texts the library refuses.
TEST(XltParse, sixty_four_bit_reader_refuses_exactly_what_overflows) {
  std::mt19937_64 rng(77);
  for (int round = 0; round < 5000; ++round) {
    std::string text = rng() % 2 ? "-" : "";
    const int digits = 17 + static_cast<int>(rng() % 5);
    text += static_cast<char>('1' + rng() % 9);
    for (int i = 1; i < digits; ++i) text += static_cast<char>('0' + rng() % 10);
    SCOPED_TRACE(text);
    errno = 0;
    const long long expected = std::strtoll(text.c_str(), nullptr, 10);
    const bool out_of_range = errno == ERANGE;
    const auto p = Parse(text.c_str(), 4);
    if (out_of_range) {
      ASSERT_EQ(p.status, text[0] == '-' ? 291u : 290u);
    } else {
      ASSERT_EQ(p.status, 0u);
      ASSERT_EQ(p.As<int64_t>(), expected);
    }
    const auto u = Parse(text.c_str(), 8);
    if (text[0] == '-') {
      ASSERT_EQ(u.status, 291u);
      continue;
    }
    errno = 0;
    const unsigned long long expected_unsigned = std::strtoull(text.c_str(), nullptr, 10);
    if (errno == ERANGE) {
      ASSERT_EQ(u.status, 290u);
    } else {
      ASSERT_EQ(u.status, 0u);
      ASSERT_EQ(u.As<uint64_t>(), expected_unsigned);
    }
  }
}

TEST(XltParse, doubles_follow_their_grammar_and_agree_with_strtod) {
  const char *const accepted[] = {"1.5",
                                  "-2.25",
                                  "+0.125",
                                  "0",
                                  "1.",
                                  ".5",
                                  "1e3",
                                  "-1.5E-2",
                                  "1e+2",
                                  "00012",
                                  "+",
                                  "-",
                                  "1.7976931348623157e308",
                                  "4.9e-324",
                                  "123456789.987654321"};
  for (const char *text : accepted) {
    SCOPED_TRACE(text);
    const auto p = Parse(text, 9);
    ASSERT_EQ(p.status, 0u);
    const double expected =
        (text[1] == 0 && (text[0] == '+' || text[0] == '-')) ? 0.0 : std::strtod(text, nullptr);
    EXPECT_EQ(p.As<double>(), expected);
  }
  const char *const refused[] = {"",   ".",   "e5",  "1e",  "1e+", "1.5.2", " 1",
                                 "1 ", "0x1", "inf", "nan", "1,5", "--1",   "1e5x"};
  for (const char *text : refused) {
    SCOPED_TRACE(text);
    EXPECT_EQ(Parse(text, 9).status, 271u);
  }
  EXPECT_EQ(Parse("1e309", 9).status, 290u);
  EXPECT_EQ(Parse("-1e309", 9).status, 291u);
  EXPECT_EQ(Parse("123456789e99999999999", 9).status, 290u);
  const auto tiny = Parse("-1e-400", 9);
  EXPECT_EQ(tiny.status, 0u);
  EXPECT_EQ(tiny.As<double>(), 0.0);
  EXPECT_TRUE(std::signbit(tiny.As<double>()));
  EXPECT_EQ(Parse("0.000e999999", 9).status, 0u);
  EXPECT_EQ(Parse("1.5", 9 | 512).status, 1u);
  EXPECT_EQ(Parse("1.5", 9 | 1024).status, 1u);
  EXPECT_EQ(Parse("1.5", 9 | 256).status, 271u);
  EXPECT_EQ(Parse("1.5", 9 | 768).status, 0u);
}

TEST(XltParse, booleans_are_true_or_false_in_any_case) {
  const std::pair<const char *, uint16_t> accepted[] = {{"true", 1},  {"TRUE", 1},  {"True", 1},
                                                        {"false", 0}, {"False", 0}, {"fALSE", 0}};
  for (const auto &[text, value] : accepted) {
    const auto p = Parse(text, 0);
    EXPECT_EQ(p.status, 0u) << text;
    EXPECT_EQ(p.size, 2u);
    EXPECT_EQ(p.As<uint16_t>(), value) << text;
    EXPECT_EQ(p.bytes[2], 0xAA) << "a boolean is two bytes";
  }
  for (const char *text : {"yes", "1", "0", "", "true ", " true", "truee", "tru", "falsey"}) {
    EXPECT_EQ(Parse(text, 0).status, 271u) << text;
  }
}

TEST(XltParse, ucs2_strings_under_both_converters_and_refused_selectors) {
  const char *text = "h\xC3\xA9llo \xE2\x82\xAC";  // "héllo €"
  const uint16_t expected[] = {'h', 0xE9, 'l', 'l', 'o', ' ', 0x20AC, 0};
  for (uint32_t type : {12u, 12u | 1024u, 14u, 14u | 512u}) {
    SCOPED_TRACE(type);
    const auto p = Parse(text, type);
    ASSERT_EQ(p.status, 0u);
    EXPECT_EQ(p.size, sizeof expected);
    EXPECT_EQ(std::memcmp(p.bytes.data(), expected, sizeof expected), 0);
  }
  EXPECT_EQ(Parse(text, 12 | 256).status, 2u);
  EXPECT_EQ(Parse(text, 12 | 512).status, 2u);
  EXPECT_EQ(Parse(text, 12 | 768).status, 2u);
  EXPECT_EQ(Parse("\xC3", 12).status, 257u);
  EXPECT_EQ(Parse("\x80", 14).status, 257u);
  // A value block that is not aligned for 16-bit units is filled all the same.
  alignas(4) uint8_t block[40];
  uint32_t size = 39;
  ASSERT_EQ(kx::text::XltTextToValue(text, block + 1, &size, 12), 0u);
  EXPECT_EQ(size, sizeof expected);
  EXPECT_EQ(std::memcmp(block + 1, expected, sizeof expected), 0);
}

TEST(XltParse, byte_arrays_read_pairs_of_hexadecimal_digits) {
  const auto p = Parse("00ffA07e", 16);
  ASSERT_EQ(p.status, 0u);
  EXPECT_EQ(p.size, 4u);
  EXPECT_EQ(p.bytes[0], 0x00);
  EXPECT_EQ(p.bytes[1], 0xFF);
  EXPECT_EQ(p.bytes[2], 0xA0);
  EXPECT_EQ(p.bytes[3], 0x7E);
  EXPECT_EQ(Parse("", 16).status, 0u);
  EXPECT_EQ(Parse("", 16).size, 0u);
  for (const char *text : {"0", "abc", "0G", "0x00", " 00", "00 ", "-1"}) {
    EXPECT_EQ(Parse(text, 16).status, 271u) << text;
  }
  // The reader itself (as the network helpers use it) asks only for the bytes.
  uint8_t out[16];
  uint32_t size = 0;
  EXPECT_EQ(kx::text::HexTextToBytes("fe800000000000000000000000000001", nullptr, &size), 0u);
  EXPECT_EQ(size, 16u);
  size = 15;
  EXPECT_EQ(kx::text::HexTextToBytes("fe800000000000000000000000000001", out, &size), 16u);
  EXPECT_EQ(size, 16u);
  EXPECT_EQ(kx::text::HexTextToBytes("fe800000000000000000000000000001", out, &size), 0u);
  EXPECT_EQ(out[0], 0xFE);
  EXPECT_EQ(out[15], 0x01);
}

TEST(XltParse, dotted_addresses_as_the_address_reader_reads_them) {
  auto address = [](const char *text) {
    const auto p = Parse(text, 15);
    EXPECT_EQ(p.status, 0u) << text;
    return p.As<uint32_t>();
  };
  EXPECT_EQ(address("192.168.001.010"), inet_addr("192.168.1.10"));
  EXPECT_EQ(address("010.0.0.1"), inet_addr("10.0.0.1"));
  EXPECT_EQ(address("0.0.0.0"), 0u);
  EXPECT_EQ(address("00.000.0.00"), 0u);
  EXPECT_EQ(address("255.255.255.255"), 0xFFFFFFFFu);
  EXPECT_EQ(address("0XFF.0XFF.0XFF.0XFF"), 0xFFFFFFFFu);
  EXPECT_EQ(address("0xff.0xff.0xff.0xff"), 0xFFFFFFFFu);
  for (const char *text : {"300.1.1.1", "0x0a.0.0.1", "a.b.c.d", "", "1.2.3.4.5", "-1.2.3.4"}) {
    const auto p = Parse(text, 15);
    EXPECT_EQ(p.status, 0xFFFFFFFFu) << text;
    EXPECT_EQ(p.bytes[0], 0xAA) << "the address is left untouched";
  }
}

TEST(XltParse, language_names_map_to_their_identifiers) {
  const std::pair<const char *, uint32_t> rows[] = {
      {"en_US", 1033}, {"en_GB", 2057}, {"de", 1031},    {"es", 1034},         {"fr", 1036},
      {"ja", 1041},    {"ko", 2066},    {"pt_BR", 1046}, {"zh", 2052},         {"zh_TW", 1028},
      {"fr_FR", 1033}, {"DE", 1033},    {"", 1033},      {"en_US.UTF-8", 1033}};
  for (const auto &[text, id] : rows) {
    const auto p = Parse(text, 10);
    EXPECT_EQ(p.status, 0u) << text;
    EXPECT_EQ(p.As<uint32_t>(), id) << text;
  }
}

TEST(XltParse, times_read_the_ctime_form_in_local_time) {
  xlt_test::ScopedTimeZone utc("UTC");
  const std::pair<const char *, uint32_t> accepted[] = {
      {"Thu Jan  1 00:00:00 1970", 0},
      {"Sun Sep  9 01:46:40 2001", 1000000000},
      {"Sun Feb  7 06:28:15 2106", 0xFFFFFFFF},
      {"Tue Feb 29 12:00:00 2000", 951825600},
  };
  for (const auto &[text, seconds] : accepted) {
    const auto p = Parse(text, 11);
    EXPECT_EQ(p.status, 0u) << text;
    EXPECT_EQ(p.As<uint32_t>(), seconds) << text;
  }
  EXPECT_EQ(Parse("Wed Dec 31 23:59:59 1969", 11).status, 291u);
  EXPECT_EQ(Parse("Sun Feb  7 06:28:16 2106", 11).status, 290u);
  const char *const refused[] = {
      "Fri Jan  1 00:00:00 1970",    // wrong weekday
      "Thu Feb 30 00:00:00 1970",    // no such day
      "Thu Jan 01 00:00:00 1970x",   // trailing text
      "Thu Jan  1 00:00:00 1970\n",  // ctime's line feed is not part of the form
      "thu jan  1 00:00:00 1970",    // names as ctime spells them
      "Thu Jan  1 24:00:00 1970",
      "Thu Jan  1 00:60:00 1970",
      "Thu Jan  1 0:00:00 1970",
      "1000000000",
      "",
  };
  for (const char *text : refused) EXPECT_EQ(Parse(text, 11).status, 271u) << text;
  // A zero-padded day is read too.
  EXPECT_EQ(Parse("Thu Jan 01 00:00:00 1970", 11).status, 0u);
}

TEST(XltParse, times_use_the_local_zone) {
  xlt_test::ScopedTimeZone paris("CET-1CEST,M3.5.0,M10.5.0/3");
  // 2001-09-09 03:46:40 summer time is 01:46:40 UTC.
  const auto p = Parse("Sun Sep  9 03:46:40 2001", 11);
  ASSERT_EQ(p.status, 0u);
  EXPECT_EQ(p.As<uint32_t>(), 1000000000u);
}

TEST(XltParse, exported_entry_is_the_same_routine) {
  int16_t value = 0;
  uint32_t size = sizeof value;
  EXPECT_EQ(SMXLTUTF8ToTypeValue("-300", &value, &size, SM_XLT_INT16), SM_STATUS_SUCCESS);
  EXPECT_EQ(value, -300);
  EXPECT_EQ(size, 2u);
  EXPECT_EQ(SMXLTUTF8ToTypeValue("128", &value, &size, SM_XLT_INT8), SM_STATUS_OVERFLOW);
  EXPECT_EQ(SMXLTUTF8ToTypeValue("-129", &value, &size, SM_XLT_INT8), SM_STATUS_UNDERFLOW);
}

}  // namespace
