// Value -> text -> value for every type code and selector, on seeded random
// values: the parsed value must equal the original wherever the two
// directions are inverses, and the table states where they are not.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "text/xlt.h"
#include "xlt_test_support.h"

namespace {

using Bytes = std::vector<uint8_t>;

// What a parse of the written text must give back.
enum class Expect {
  kEqual,             // the same bytes
  kEqualIfNotBelow0,  // the same for values >= 0; 290 for negative values
  kRefused,           // the selector writes a form the parser does not read: 271
};

struct Row {
  uint32_t code;
  uint32_t selector;
  Expect expect;
};

Bytes RandomValue(uint32_t code, std::mt19937_64 &rng) {
  const uint64_t bits = rng() >> (rng() % 64);
  Bytes value(8);
  std::memcpy(value.data(), &bits, 8);
  switch (code) {
    case 0:
      value.resize(2);
      value[0] = static_cast<uint8_t>(bits & 1);
      value[1] = 0;
      break;
    case 1:
    case 5:
      value.resize(1);
      break;
    case 2:
    case 6:
      value.resize(2);
      break;
    case 3:
    case 7:
    case 11:
    case 15:
      value.resize(4);
      break;
    case 9: {
      // Thousandths round trip through "%.3f": k / 1000 for any k that %.3f
      // prints in full.
      const auto k = static_cast<int64_t>(bits % 2000000000000) - 1000000000000;
      const double number = static_cast<double>(k) / 1000.0;
      std::memcpy(value.data(), &number, 8);
      break;
    }
    case 10: {
      const uint32_t ids[] = {1033, 2057, 1031, 1034, 1036, 1041, 2066, 1046, 2052, 1028};
      value.resize(4);
      std::memcpy(value.data(), &ids[bits % 10], 4);
      break;
    }
    default:
      break;
  }
  return value;
}

int64_t SignedValue(const Bytes &value) {
  switch (value.size()) {
    case 1:
      return static_cast<int8_t>(value[0]);
    case 2: {
      int16_t v;
      std::memcpy(&v, value.data(), 2);
      return v;
    }
    default: {
      int32_t v;
      std::memcpy(&v, value.data(), 4);
      return v;
    }
  }
}

TEST(XltRoundTrip, fixed_size_codes_under_every_selector) {
  xlt_test::ScopedTimeZone utc("UTC");
  std::vector<Row> rows;
  for (uint32_t code : {1u, 2u, 3u, 5u, 6u, 7u}) {
    const bool narrow_signed = code == 1 || code == 2;
    rows.push_back({code, 0, Expect::kEqual});
    rows.push_back({code, 768, Expect::kEqual});
    // Octal and hexadecimal print the 32-bit pattern: a negative 8- or
    // 16-bit value comes back above the type's range.
    rows.push_back({code, 512, narrow_signed ? Expect::kEqualIfNotBelow0 : Expect::kEqual});
    rows.push_back({code, 1024, narrow_signed ? Expect::kEqualIfNotBelow0 : Expect::kEqual});
    rows.push_back({code, 256, Expect::kRefused});
  }
  for (uint32_t code : {0u, 4u, 8u, 9u, 10u, 11u, 15u}) {
    rows.push_back({code, 0, Expect::kEqual});
    rows.push_back({code, 768, Expect::kEqual});
  }
  std::mt19937_64 rng(31337);
  for (const Row &row : rows) {
    SCOPED_TRACE("code " + std::to_string(row.code) + " selector " + std::to_string(row.selector));
    for (int round = 0; round < 300; ++round) {
      const Bytes value = RandomValue(row.code, rng);
      const uint32_t type = row.code | row.selector;
      const auto written = xlt_test::Write(value.data(), static_cast<uint32_t>(value.size()), type);
      ASSERT_EQ(written.status, 0u);
      const auto parsed = xlt_test::Parse(written.text.c_str(), type);
      const bool negative = SignedValue(value) < 0;
      if (row.expect == Expect::kRefused) {
        ASSERT_EQ(parsed.status, 271u) << written.text;
        continue;
      }
      if (row.expect == Expect::kEqualIfNotBelow0 && negative) {
        ASSERT_EQ(parsed.status, 290u) << written.text;
        continue;
      }
      ASSERT_EQ(parsed.status, 0u) << written.text;
      ASSERT_EQ(parsed.size, value.size());
      ASSERT_EQ(Bytes(parsed.bytes.begin(), parsed.bytes.begin() + value.size()), value)
          << written.text;
    }
  }
}

TEST(XltRoundTrip, only_the_value_1_is_true) {
  for (uint16_t value : {2, 0xFFFF, 0x0100}) {
    const auto written = xlt_test::WriteValue(value, 0);
    const auto parsed = xlt_test::Parse(written.text.c_str(), 0);
    ASSERT_EQ(parsed.status, 0u);
    EXPECT_EQ(parsed.As<uint16_t>(), 0u) << value;
  }
}

TEST(XltRoundTrip, unknown_language_identifiers_come_back_as_en_us) {
  const auto written = xlt_test::WriteValue<uint32_t>(3082, 10);
  EXPECT_EQ(xlt_test::Parse(written.text.c_str(), 10).As<uint32_t>(), 1033u);
}

std::u16string RandomUcs2(std::mt19937_64 &rng) {
  std::u16string text;
  const int length = static_cast<int>(rng() % 40);
  for (int i = 0; i < length; ++i) {
    char16_t unit;
    switch (rng() % 3) {
      case 0:
        unit = static_cast<char16_t>(0x20 + rng() % 0x5F);
        break;
      case 1:
        unit = static_cast<char16_t>(0x80 + rng() % 0x780);
        break;
      default:
        unit = static_cast<char16_t>(0x800 + rng() % (0xD800 - 0x800));
        break;
    }
    text += unit;
  }
  return text;
}

TEST(XltRoundTrip, strings_and_byte_arrays) {
  std::mt19937_64 rng(8080);
  for (int round = 0; round < 500; ++round) {
    // UCS-2 without surrogates converts faithfully both ways, for 12 and 14;
    // 12 parses under both of its converters.
    const std::u16string ucs2 = RandomUcs2(rng);
    const auto value_size = static_cast<uint32_t>(2 * (ucs2.size() + 1));
    for (uint32_t type : {12u, 14u}) {
      const auto written = xlt_test::Write(ucs2.c_str(), value_size, type);
      ASSERT_EQ(written.status, 0u);
      for (uint32_t parse_type : {type, type | 1024u}) {
        const auto parsed = xlt_test::Parse(written.text.c_str(), parse_type, 512);
        ASSERT_EQ(parsed.status, 0u);
        ASSERT_EQ(parsed.size, value_size);
        ASSERT_EQ(std::memcmp(parsed.bytes.data(), ucs2.c_str(), value_size), 0);
      }
    }
    // UTF-8 text is copied both ways.
    std::string utf8;
    const int length = static_cast<int>(rng() % 60);
    for (int i = 0; i < length; ++i) utf8 += static_cast<char>(1 + rng() % 255);
    const auto copied = xlt_test::Write(utf8.c_str(), static_cast<uint32_t>(utf8.size() + 1), 13);
    ASSERT_EQ(copied.text, utf8);
    const auto back = xlt_test::Parse(copied.text.c_str(), 13, 128);
    ASSERT_EQ(back.status, 0u);
    ASSERT_EQ(std::string(reinterpret_cast<const char *>(back.bytes.data())), utf8);
    // Byte arrays of up to 63 bytes (an empty one still has an address).
    Bytes bytes(rng() % 64);
    bytes.reserve(64);
    for (uint8_t &b : bytes) b = static_cast<uint8_t>(rng());
    const auto hex = xlt_test::Write(bytes.data(), static_cast<uint32_t>(bytes.size()), 16);
    ASSERT_EQ(hex.status, 0u);
    const auto decoded = xlt_test::Parse(hex.text.c_str(), 16, 200);
    ASSERT_EQ(decoded.status, 0u);
    ASSERT_EQ(decoded.size, bytes.size());
    ASSERT_EQ(Bytes(decoded.bytes.begin(), decoded.bytes.begin() + bytes.size()), bytes);
  }
}

}  // namespace
