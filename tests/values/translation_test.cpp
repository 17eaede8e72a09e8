// Typed value translation in both directions: arguments and the room each code
// needs, range statuses at every boundary, accepted and refused texts, random
// texts and values against the C library (strtol family, strtod, snprintf,
// ctime_r, inet_ntop), round trips for every code and selector, UCS-2 forms.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <bitset>
#include <cerrno>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "kxsupt/values.h"

namespace {

struct Parsed {
  uint32_t status, size;
  std::vector<uint8_t> bytes;  // the value buffer after the call, pre-filled with 0xAA
  // The value's bytes are the low bytes of `expected`.
  bool Holds(uint64_t expected) const { return std::memcmp(bytes.data(), &expected, size) == 0; }
};

// Buffers are of exactly the room given, so that overruns are caught.
Parsed Parse(const char *text, uint32_t type, uint32_t room = 64) {
  Parsed p{0, room, std::vector<uint8_t>(std::max(room, 1u), 0xAA)};
  p.status = SMXLTUTF8ToTypeValue(text, p.bytes.data(), &p.size, type);
  return p;
}

struct Written {
  uint32_t status, size;
  std::string text;  // set on success
};

// Room 0 passes a null buffer: the call measures.
Written Write(const void *value, uint32_t value_size, uint32_t type, uint32_t room = 512) {
  std::vector<char> buffer(room, '\x7f');
  Written w{0, room, ""};
  w.status = SMXLTTypeValueToUTF8(value, value_size, room ? buffer.data() : nullptr, &w.size, type);
  if (w.status == SM_STATUS_SUCCESS && room != 0) w.text = buffer.data();
  return w;
}

template <typename T>
std::string WriteText(T value, uint32_t type) {
  return Write(&value, sizeof value, type).text;
}

template <typename... Args>
std::string Printf(const char *format, Args... args) {
  char text[400];
  std::snprintf(text, sizeof text, format, args...);
  return text;
}

void UseTimeZone(const char *zone) {
  setenv("TZ", zone, 1);
  tzset();
}

TEST(ValueParse, arguments_and_the_room_each_code_asks_for) {
  uint32_t size = 8;
  int32_t value = 0;
  EXPECT_EQ(SMXLTUTF8ToTypeValue(nullptr, &value, &size, 3), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXLTUTF8ToTypeValue("1", &value, nullptr, 3), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXLTUTF8ToTypeValue("1", nullptr, &size, 3), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXLTUTF8ToTypeValue("1", &value, &size, 17), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMXLTUTF8ToTypeValue("7", &value, &size, 0xFFFF0003u), SM_STATUS_SUCCESS)
      << "high bits ignored";
  EXPECT_EQ(value, 7);
  size = 0;  // the room is checked before the value pointer
  EXPECT_EQ(SMXLTUTF8ToTypeValue("1", nullptr, &size, 3), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 4u);
  // One byte short: 16 with the size needed, nothing written. Exact room: the
  // size out. Codes 13 and 16 ask for the text's length + 1 (16 then gives
  // the byte count); 12 asks for that and then, as 14 does, for UCS-2 room.
  UseTimeZone("UTC");
  const char *texts[] = {"true", "-5",  "-5",  "-5",      "-5",  "5",
                         "5",    "5",   "5",   "1.5",     "de",  "Thu Jan  1 00:00:00 1970",
                         "abc",  "abc", "abc", "1.2.3.4", "0A0B"};
  const uint32_t needed[] = {2, 1, 2, 4, 8, 1, 2, 4, 8, 8, 4, 4, 8, 4, 8, 4, 5};
  for (uint32_t code = 0; code <= 16; ++code) {
    const auto short_room = Parse(texts[code], code, needed[code] - 1);
    EXPECT_EQ(short_room.status, SM_STATUS_BUFFER_TOO_SMALL) << code;
    EXPECT_EQ(short_room.size, needed[code]) << code;
    EXPECT_EQ(short_room.bytes[0], 0xAA) << code;
    const auto exact = Parse(texts[code], code, needed[code]);
    EXPECT_EQ(exact.status, SM_STATUS_SUCCESS) << code;
    EXPECT_EQ(exact.size, code == 16 ? 2 : needed[code]) << code;
  }
  EXPECT_EQ(Parse("abc", 12, 3).size, 4u);
}

// Each integer code at min - 1, min, max and max + 1: the statuses below and
// above the range (unsigned codes read through strtoul, which wraps a minus
// sign, so below is above; 32-bit codes keep the low 32 bits of what the
// conversion gave), and the value where it is accepted.
TEST(ValueParse, range_statuses_at_each_types_boundaries) {
  const std::tuple<uint32_t, uint32_t, uint32_t, const char *> rows[] = {
      {1, SM_STATUS_UNDERFLOW, SM_STATUS_OVERFLOW, "-129 -128 127 128"},
      {2, SM_STATUS_UNDERFLOW, SM_STATUS_OVERFLOW, "-32769 -32768 32767 32768"},
      {3, SM_STATUS_SUCCESS, SM_STATUS_SUCCESS, "-2147483649 -2147483648 2147483647 2147483648"},
      {4, SM_STATUS_UNDERFLOW, SM_STATUS_OVERFLOW,
       "-9223372036854775809 -9223372036854775808 9223372036854775807 9223372036854775808"},
      {5, SM_STATUS_OVERFLOW, SM_STATUS_OVERFLOW, "-1 0 255 256"},
      {6, SM_STATUS_OVERFLOW, SM_STATUS_OVERFLOW, "-1 0 65535 65536"},
      {7, SM_STATUS_SUCCESS, SM_STATUS_SUCCESS, "-1 0 4294967295 4294967296"},
      {8, SM_STATUS_UNDERFLOW, SM_STATUS_OVERFLOW,
       "-1 0 18446744073709551615 18446744073709551616"}};
  for (const auto &[code, below, above, texts] : rows) {
    std::istringstream words(texts);
    std::string text;
    for (int i = 0; words >> text; ++i) {
      const auto p = Parse(text.c_str(), code);
      ASSERT_EQ(p.status, i == 0   ? below
                          : i == 3 ? above
                                   : SM_STATUS_SUCCESS)
          << code << " " << text;
      // strtoull negates modulo 2^64: the low bytes of a negative value too.
      EXPECT_TRUE(p.status != SM_STATUS_SUCCESS ||
                  p.Holds(std::strtoull(text.c_str(), nullptr, 10)))
          << text;
    }
  }
}

// Texts that the random tests below do not reach: the value where one is
// accepted, the status and nothing written where not.
TEST(ValueParse, accepted_and_refused_texts) {
  UseTimeZone("UTC");
  const std::tuple<uint32_t, const char *, uint64_t> accepted[] = {
      {0, "TRUE", 1},
      {0, "fALSE", 0},
      {10, "DE", 1033},
      {10, "fr_FR", 1033},
      {12 | 1024, "\xC3\xA9", 0xE9},
      {14 | 512, "h", 'h'},
      {16, "00ffA07e", 0x7EA0FF00},
      {15, "192.168.001.010", 0x0A01A8C0},
      {15, "010.0.0.1", 0x0100000A},
      {15, "255.255.255.255", 0xFFFFFFFF},
      {15, "0XFF.0XFF.0XFF.0XFF", 0xFFFFFFFF},
      {11, "Thu Jan 01 00:00:00 1970", 0},
      {11, "Sun Feb  7 06:28:15 2106", 0xFFFFFFFF},
      {11, "Tue Feb 29 12:00:00 2000", 951825600}};
  for (const auto &[type, text, value] : accepted) {
    const auto p = Parse(text, type);
    ASSERT_EQ(p.status, SM_STATUS_SUCCESS) << text;
    EXPECT_TRUE(p.Holds(value)) << text;
  }
  constexpr uint32_t kBin = 256, kOct = 512, kAlt = 768, kHex = 1024;
  std::vector<std::tuple<uint32_t, uint32_t, std::vector<const char *>>> refused = {
      {3, SM_STATUS_INVALID_PARAMETER, {" 12", "12 ", "12abc", "", "0x1F", "1.5", "++1", "1-"}},
      {3 | kOct, SM_STATUS_INVALID_PARAMETER, {"8", "-1", "+1", "", "0x1"}},
      {3 | kHex,
       SM_STATUS_INVALID_PARAMETER,
       {"0x", "", "123456789", "0x123456789", "g", "-1", " 1", "0x0x1"}},
      {0, SM_STATUS_INVALID_PARAMETER, {"yes", "1", "", "true ", " true", "tru", "falsey"}},
      {15, SM_STATUS_ERROR, {"300.1.1.1", "0x0a.0.0.1", "a.b.c.d", "", "1.2.3.4.5", "-1.2.3.4"}},
      {16, SM_STATUS_INVALID_PARAMETER, {"0", "abc", "0G", "0x00", " 00", "00 ", "-1"}},
      {12, SM_STATUS_OS_FAILURE, {"\xC3"}},
      {14, SM_STATUS_OS_FAILURE, {"\x80"}},
      {11, SM_STATUS_UNDERFLOW, {"Wed Dec 31 23:59:59 1969"}},
      {11, SM_STATUS_OVERFLOW, {"Sun Feb  7 06:28:16 2106"}},
      {11,
       SM_STATUS_INVALID_PARAMETER,
       {"Fri Jan  1 00:00:00 1970", "Thu Feb 30 00:00:00 1970", "thu jan  1 00:00:00 1970",
        "Thu Jan  1 00:00:00 1970\n", "Thu Jan  1 24:00:00 1970", "Thu Jan  1 0:00:00 1970",
        "Thu Jan  1 00:60:00 1970", ""}}};
  for (uint32_t type : {3 | kBin, 5 | kHex | kBin, 8 | kBin, 9 | kBin})
    refused.push_back({type, SM_STATUS_INVALID_PARAMETER, {"1"}});
  for (uint32_t type : {12 | kBin, 12 | kOct, 12 | kAlt})
    refused.push_back({type, SM_STATUS_INVALID_ARGS, {"a"}});
  // The 64-bit and double codes refuse octal and hexadecimal before the text.
  for (uint32_t type : {4 | kOct, 4 | kHex, 8 | kOct, 8 | kHex, 9 | kOct, 9 | kHex}) {
    refused.push_back({type, SM_STATUS_FAILED, {"x"}});
  }
  for (const auto &[type, status, texts] : refused) {
    for (const char *text : texts) {
      const auto p = Parse(text, type);
      EXPECT_EQ(p.status, status) << type << " \"" << text << "\"";
      EXPECT_EQ(p.bytes[0], 0xAA) << text;
    }
  }
  UseTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");  // times are local
  EXPECT_TRUE(Parse("Sun Sep  9 03:46:40 2001", 11).Holds(1000000000));
}

// Random texts in and out of each selector's grammar: accepted exactly when
// the grammar's pattern matches, then stored as the C library converts them
// (8- and 16-bit codes range-checked, 32-bit codes truncated, 64-bit codes
// refused where strtoll / strtoull report ERANGE).
TEST(ValueParse, integers_agree_with_the_grammar_and_the_strtol_family) {
  const std::tuple<uint32_t, int, std::regex, std::string, std::string> grammars[] = {
      {0, 10, std::regex("[+-]|[+-]?[0-9]+"), "0123456789", "+- x."},
      {768, 10, std::regex("[+-]|[+-]?[0-9]+"), "0123456789", "+-a"},
      {512, 8, std::regex("[0-7]+"), "01234567", "89+-x "},
      {1024, 16, std::regex("(0[xX])?[0-9a-fA-F]{1,8}"), "0123456789abcdefABCDEF", "xXg+- 0"}};
  std::mt19937_64 rng(20240607);
  auto pick = [&](size_t n) { return static_cast<size_t>(rng() % n); };
  for (int round = 0; round < 6000; ++round) {
    const auto &[selector, base, pattern, digits, junk] = grammars[pick(4)];
    std::string text;
    if (base == 16 && pick(2)) text = pick(2) ? "0x" : "0X";
    if (base == 10 && pick(3)) text = "+-"[pick(2)];
    for (size_t i = pick(base == 16 ? 10 : 26); i > 0; --i) text += digits[pick(digits.size())];
    if (pick(4) == 0) text.insert(pick(text.size() + 1), 1, junk[pick(junk.size())]);
    const bool valid = std::regex_match(text, pattern), minus = text[0] == '-';
    const long s = std::strtol(text.c_str(), nullptr, base);
    const unsigned long u = std::strtoul(text.c_str(), nullptr, base);
    errno = 0;
    const long long s64 = std::strtoll(text.c_str(), nullptr, 10);
    const bool s64_range = errno == ERANGE;
    errno = 0;
    const unsigned long long u64 = std::strtoull(text.c_str(), nullptr, 10);
    const bool u64_range = errno == ERANGE;
    for (uint32_t code = 1; code <= 8; ++code) {
      uint32_t status = SM_STATUS_SUCCESS;
      uint64_t value = code <= 3 ? static_cast<uint64_t>(s) : u;
      if ((code == 4 || code == 8) && base != 10) {
        status = SM_STATUS_FAILED;
      } else if (!valid) {
        status = SM_STATUS_INVALID_PARAMETER;
      } else if (code == 1 || code == 2) {
        const long limit = code == 1 ? 128 : 32768;
        status = s >= limit   ? SM_STATUS_OVERFLOW
                 : s < -limit ? SM_STATUS_UNDERFLOW
                              : SM_STATUS_SUCCESS;
      } else if (code == 5 || code == 6) {
        status = u >= (code == 5 ? 256u : 65536u) ? SM_STATUS_OVERFLOW : SM_STATUS_SUCCESS;
      } else if (code == 4) {
        status = s64_range ? (minus ? SM_STATUS_UNDERFLOW : SM_STATUS_OVERFLOW) : SM_STATUS_SUCCESS;
        value = s64;
      } else if (code == 8) {
        status = minus && (u64_range || u64 != 0) ? SM_STATUS_UNDERFLOW
                 : u64_range                      ? SM_STATUS_OVERFLOW
                                                  : SM_STATUS_SUCCESS;
        value = u64;
      }
      const auto p = Parse(text.c_str(), code | selector);
      ASSERT_EQ(p.status, status) << code << " " << selector << " \"" << text << "\"";
      ASSERT_TRUE(status != SM_STATUS_SUCCESS || p.Holds(value))
          << code << " " << selector << " " << text;
    }
  }
}

// Random texts in and out of the double grammar against strtod: values beyond
// the largest double are 290 / 291, smaller ones read as strtod reads them.
TEST(ValueParse, doubles_agree_with_the_grammar_and_strtod) {
  const std::regex pattern("[+-]|[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?");
  std::mt19937_64 rng(1234);
  auto pick = [&](size_t n) { return static_cast<size_t>(rng() % n); };
  auto digits = [&](size_t max) {
    std::string s(pick(max + 1), '0');
    for (char &c : s) c = "000123456789"[pick(12)];
    return s;
  };
  for (int round = 0; round < 6000; ++round) {
    std::string text = pick(3) ? "" : pick(2) ? "+" : "-";
    text += digits(20);
    if (pick(2)) text.append(".").append(digits(6));
    if (pick(2)) {
      text += std::string(1, "eE"[pick(2)]) + (pick(3) ? "" : pick(2) ? "+" : "-");
      text += std::to_string(pick(pick(8) ? 400 : 1000000000000));  // rarely beyond any cap
    }
    if (pick(4) == 0) text.insert(pick(text.size() + 1), 1, "+-.eEx 1"[pick(8)]);
    const auto p = Parse(text.c_str(), 9);
    errno = 0;
    const double expected = std::strtod(text.c_str(), nullptr);
    if (!std::regex_match(text, pattern)) {
      ASSERT_EQ(p.status, SM_STATUS_INVALID_PARAMETER) << text;
    } else if (errno == ERANGE && std::isinf(expected)) {
      ASSERT_EQ(p.status, expected < 0 ? SM_STATUS_UNDERFLOW : SM_STATUS_OVERFLOW) << text;
    } else {
      ASSERT_EQ(p.status, SM_STATUS_SUCCESS) << text;
      ASSERT_TRUE(p.Holds(std::bit_cast<uint64_t>(expected))) << text;  // the sign of zero too
    }
  }
}

TEST(ValueWrite, arguments_and_the_room_each_code_needs) {
  const uint64_t zero = 0;  // a valid value of every fixed-size code
  char text[64];
  uint32_t size = sizeof text;
  EXPECT_EQ(SMXLTTypeValueToUTF8(nullptr, 4, text, &size, 3), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXLTTypeValueToUTF8(&zero, 4, text, nullptr, 3), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMXLTTypeValueToUTF8(&zero, 4, text, &size, 17), SM_STATUS_INVALID_ARGS);
  // The room a buffer must exceed before anything is written, whatever the
  // text's length; a null buffer measures at least that room.
  UseTimeZone("UTC");
  const std::pair<uint32_t, uint32_t> bounds[] = {
      {1, 16},       {2, 16},       {3, 16},        {5, 15},       {6, 15},
      {7, 15},       {1 | 512, 16}, {3 | 1024, 16}, {7 | 768, 15}, {1 | 256, 32},
      {3 | 256, 32}, {5 | 256, 32}, {7 | 256, 32},  {4, 32},       {4 | 256, 32},
      {8, 31},       {9, 31},       {10, 15},       {11, 63}};
  for (const auto &[type, bound] : bounds) {
    EXPECT_EQ(Write(&zero, 8, type, bound).status, SM_STATUS_BUFFER_TOO_SMALL) << type;
    EXPECT_EQ(Write(&zero, 8, type, bound).size, bound + 1) << type;
    const auto accepted = Write(&zero, 8, type, bound + 1);
    EXPECT_EQ(accepted.size, accepted.text.size() + 1) << type;
    EXPECT_EQ(Write(&zero, 8, type, 0).size, bound + 1) << type;
  }
  // Texts beyond the table need their length + 1.
  const uint16_t one = 1, two = 2;  // only 1 is true
  const uint8_t bytes[] = {1, 2, 0xAB};
  const uint32_t address = htonl(0xC0A86464);
  const double large = 1e40;
  const std::tuple<const void *, uint32_t, uint32_t, std::string> texts[] = {
      {&one, 2, 0, "true"},
      {&two, 2, 0, "false"},
      {"hello", 6, 13, "hello"},
      {bytes, 3, 16, "0102AB"},
      {&address, 4, 15, "192.168.100.100"},
      {&large, 8, 9, "10000000000000000303786028427003666890752.000"}};
  for (const auto &[value, value_size, type, expected] : texts) {
    const auto length = static_cast<uint32_t>(expected.size());
    EXPECT_EQ(Write(value, value_size, type, length).status, SM_STATUS_BUFFER_TOO_SMALL)
        << expected;
    EXPECT_EQ(Write(value, value_size, type, length).size, length + 1) << expected;
    EXPECT_EQ(Write(value, value_size, type, length + 1).text, expected);
    EXPECT_EQ(Write(value, value_size, type, 0).size, length + 1) << expected;
  }
}

// Integers under every selector against printf and bitset, the 64-bit codes
// (which ignore selectors) and doubles against printf.
TEST(ValueWrite, numbers_agree_with_printf) {
  std::mt19937_64 rng(4242);
  for (int round = 0; round < 3000; ++round) {
    const uint64_t bits = round == 0   ? 0
                          : round == 1 ? ~uint64_t{0}
                          : round == 2 ? uint64_t{1} << 63
                                       : rng() >> (rng() % 64);
    for (uint32_t code : {1u, 2u, 3u, 5u, 6u, 7u}) {
      const int shift = 64 - (8 << (code <= 3 ? code - 1 : code - 5));
      // The value at the code's width, widened to the 32 bits the selectors print.
      const auto pattern = static_cast<uint32_t>(
          code <= 3 ? static_cast<int64_t>(bits << shift) >> shift : (bits << shift) >> shift);
      const std::string decimal =
          code <= 3 ? Printf("%d", static_cast<int32_t>(pattern)) : Printf("%u", pattern);
      const std::string binary = std::bitset<32>(pattern).to_string();
      for (uint32_t selector : {0u, 768u, 0x0800u}) {
        ASSERT_EQ(Write(&bits, 8, code | selector).text, decimal) << code << " " << selector;
      }
      ASSERT_EQ(Write(&bits, 8, code | 512).text, Printf("%o", pattern)) << code;
      ASSERT_EQ(Write(&bits, 8, code | 1024).text, Printf("%#x", pattern)) << code;
      ASSERT_EQ(Write(&bits, 8, code | 256).text, binary.substr(std::min(binary.find('1'), 31ul)));
    }
    ASSERT_EQ(WriteText(bits, 4 | 1024), Printf("%" PRId64, static_cast<int64_t>(bits)));
    ASSERT_EQ(WriteText(bits, 8 | 512), Printf("%" PRIu64, bits));
    const auto number = std::bit_cast<double>(bits);
    // The library's formatter prints -0.0 as 0.0, by comparison not sign bit.
    if (!std::isfinite(number)) continue;
    ASSERT_EQ(WriteText(number, 9), Printf("%.3f", number + 0.0));
  }
}

// Times against ctime_r in a zone with summer time, addresses against
// inet_ntop, byte arrays against "%02X" (at most 63 bytes are written).
TEST(ValueWrite, times_addresses_and_bytes_agree_with_the_c_library) {
  UseTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");
  std::mt19937 rng(11);
  uint8_t bytes[100];
  for (int round = 0; round < 1000; ++round) {
    const uint32_t seconds = round == 0 ? 0 : round == 1 ? 0xFFFFFFFF : rng();
    const std::time_t when = seconds;
    char expected[64];
    ASSERT_NE(ctime_r(&when, expected), nullptr);
    ASSERT_EQ(WriteText(seconds, 11) + "\n", expected);
    ASSERT_NE(inet_ntop(AF_INET, &seconds, expected, sizeof expected), nullptr);
    ASSERT_EQ(WriteText(seconds, 15), expected);
    const uint32_t count = rng() % 100;
    std::string hex;
    for (uint32_t i = 0; i < count; ++i) {
      bytes[i] = static_cast<uint8_t>(rng());
      if (i < 63) hex += Printf("%02X", bytes[i]);
    }
    ASSERT_EQ(Write(bytes, count, 16).text, hex);
  }
}

// UCS-2 strings as UTF-8 and as dumps, also one byte into a block (not
// aligned for 16-bit units), read from there and parsed into there.
TEST(ValueWrite, ucs2_strings_as_utf8_and_as_dumps) {
  alignas(4) uint16_t block[21];
  auto *text = reinterpret_cast<uint8_t *>(block) + 1;
  const uint16_t units[] = {'A', 0xE9, 0x20AC, 0};
  uint32_t size = 15;
  ASSERT_EQ(SMXLTUTF8ToTypeValue("A\xC3\xA9\xE2\x82\xAC", text, &size, 12), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, 8u);
  EXPECT_EQ(std::memcmp(text, units, sizeof units), 0);
  for (uint32_t type : {12u, 14u, 14u | 1024u}) {
    EXPECT_EQ(Write(units, 0, type).text, "A\xC3\xA9\xE2\x82\xAC") << type;
    EXPECT_EQ(Write(text, 0, type).text, "A\xC3\xA9\xE2\x82\xAC") << type;
  }
  EXPECT_EQ(Write(units, 0, 12, 6).size, 7u);
  EXPECT_EQ(Write(units, 0, 14, 0).size, 7u);
  // The dumps cover the value size, or the string and its terminator for 0.
  EXPECT_EQ(Write(text, 0, 12 | 1024).text, "0x41,0x00,0xE9,0x00,0xAC,0x20,0x00,0x00,");
  EXPECT_EQ(Write(units, 3, 12 | 1024).text, "0x41,0x00,0xE9,");
  EXPECT_EQ(Write(units, 3, 12 | 1024, 15).size, 16u);
  for (int i = 0; i < 19; ++i) block[i] = static_cast<uint16_t>(0x4130 + i);
  EXPECT_EQ(Write(block, 34, 12 | 256).text,
            "0x00000000: 30 41 31 41 32 41 33 41 34 41 35 41 36 41 37 41\n"
            "0x00000010: 38 41 39 41 3A 41 3B 41 3C 41 3D 41 3E 41 3F 41\n"
            "0x00000020: 40 41\n");
  const uint8_t zeros[176] = {};  // lines of 60 bytes; upper-case offsets
  EXPECT_EQ(Write(zeros, 176, 12 | 256, 1024).text.find("0x000000A0: "), 600u);
  for (uint32_t selector : {512u, 768u}) EXPECT_EQ(Write(units, 0, 12 | selector).status, 2u);
  const uint16_t broken[] = {0xDC00, 0};  // a lone surrogate
  EXPECT_EQ(Write(broken, 4, 12).status, SM_STATUS_OS_FAILURE);
}

// Binary text (256) is never read back, nor octal or hexadecimal (512, 1024)
// by the 64-bit and double codes; those print a negative 8- or 16-bit value
// as its 32-bit pattern, which is above the code's range.
uint32_t RoundTripStatus(uint32_t code, uint32_t selector, bool negative) {
  const bool wide = code == 4 || code == 8 || code == 9;
  if (!(code >= 1 && code <= 9) || selector == 0 || selector == 768) return SM_STATUS_SUCCESS;
  if (selector == 256) return SM_STATUS_INVALID_PARAMETER;
  if (wide) return SM_STATUS_FAILED;
  return negative && code <= 2 ? SM_STATUS_OVERFLOW : SM_STATUS_SUCCESS;
}

TEST(ValueRoundTrip, fixed_size_codes_under_every_selector) {
  UseTimeZone("UTC");
  const uint32_t sizes[] = {
      2, SM_STATUS_FAILED, SM_STATUS_INVALID_ARGS, 4, 8, 1, 2, 4, 8, 8, 4, 4, 0, 0, 0, 4};
  const uint32_t languages[] = {1033, 2057, 1031, 1034, 1036};
  std::mt19937_64 rng(31337);
  for (uint32_t code : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 10u, 11u, 15u}) {
    for (uint32_t selector : {0u, 256u, 512u, 768u, 1024u}) {
      for (int round = 0; round < 200; ++round) {
        uint64_t bits = rng() >> (rng() % 64);
        if (code == 0) bits &= 1;  // any other value is written "false"
        if (code == 9) {           // thousandths survive "%.3f"
          const auto k = static_cast<int64_t>(bits % 2000000000000) - 1000000000000;
          bits = std::bit_cast<uint64_t>(static_cast<double>(k) / 1000.0);
        }
        if (code == 10) bits = languages[bits % 5];
        std::vector<uint8_t> value(sizes[code]);
        std::memcpy(value.data(), &bits, value.size());
        const auto written = Write(value.data(), sizes[code], code | selector);
        ASSERT_EQ(written.status, SM_STATUS_SUCCESS);
        const auto parsed = Parse(written.text.c_str(), code | selector);
        const uint32_t status = RoundTripStatus(code, selector, (value.back() & 0x80) != 0);
        ASSERT_EQ(parsed.status, status) << code << " " << selector << " " << written.text;
        if (status != SM_STATUS_SUCCESS) continue;
        ASSERT_EQ(parsed.size, value.size()) << code;
        ASSERT_TRUE(parsed.Holds(bits)) << code << " " << written.text;
      }
    }
  }
}

TEST(ValueRoundTrip, language_names_both_ways) {
  const std::pair<uint32_t, const char *> table[] = {
      {1033, "en_US"}, {2057, "en_GB"}, {1031, "de"},    {1034, "es"}, {1036, "fr"},
      {1041, "ja"},    {2066, "ko"},    {1046, "pt_BR"}, {2052, "zh"}, {1028, "zh_TW"}};
  for (const auto &[id, name] : table) {
    EXPECT_EQ(WriteText(id, 10), name);
    EXPECT_TRUE(Parse(name, 10).Holds(id)) << name;
  }
  EXPECT_EQ(WriteText(uint32_t{3082}, 10), "en_US") << "unknown identifier";
}

TEST(ValueRoundTrip, strings_and_byte_arrays) {
  std::mt19937_64 rng(8080);
  for (int round = 0; round < 500; ++round) {
    // UCS-2 without surrogates converts faithfully both ways, for 12 and 14;
    // 12 parses under both of its converters.
    std::u16string ucs2(rng() % 40, u' ');
    const uint64_t limits[] = {0x7F, 0x7FF, 0xD7FF};  // one to three UTF-8 bytes
    for (char16_t &unit : ucs2) unit = static_cast<char16_t>(1 + rng() % limits[rng() % 3]);
    const auto value_size = static_cast<uint32_t>(2 * (ucs2.size() + 1));
    for (uint32_t type : {12u, 14u}) {
      const auto written = Write(ucs2.c_str(), value_size, type);
      for (uint32_t parse_type : {type, type | 1024u}) {
        const auto parsed = Parse(written.text.c_str(), parse_type, 512);
        ASSERT_EQ(parsed.status, SM_STATUS_SUCCESS);
        ASSERT_EQ(parsed.size, value_size);
        ASSERT_EQ(std::memcmp(parsed.bytes.data(), ucs2.c_str(), value_size), 0);
      }
    }
    // UTF-8 text is copied both ways; byte arrays of up to 63 bytes.
    std::string utf8(rng() % 60, ' ');
    for (char &c : utf8) c = static_cast<char>(1 + rng() % 255);
    const auto copied = Write(utf8.c_str(), static_cast<uint32_t>(utf8.size() + 1), 13);
    ASSERT_EQ(reinterpret_cast<const char *>(Parse(copied.text.c_str(), 13, 128).bytes.data()),
              utf8);
    std::vector<uint8_t> bytes(1 + rng() % 63);
    for (uint8_t &b : bytes) b = static_cast<uint8_t>(rng());
    const auto hex = Write(bytes.data(), static_cast<uint32_t>(bytes.size()), 16);
    const auto decoded = Parse(hex.text.c_str(), 16, 200);
    ASSERT_EQ(decoded.status, SM_STATUS_SUCCESS);
    ASSERT_EQ(std::vector<uint8_t>(decoded.bytes.begin(), decoded.bytes.begin() + decoded.size),
              bytes);
  }
}

}  // namespace
