// The nine INI value types: random values written and read back against the
// C library's own formatting, stored texts read as each type, the size rules
// of both directions and the defaults.
#include <gtest/gtest.h>
#include <kxsupt.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "sandbox.h"

namespace {

class IniValues : public ::testing::Test {
 protected:
  kxtest::Sandbox sandbox;
  std::string path = sandbox.Path("values.ini");

  SMStatus Write(uint32_t type, const void *value, uint32_t size) {
    return SMWriteINIPathFileValue("s", "k", type, value, size, path.c_str(), 1);
  }
  std::string Stored() {
    char text[16384];
    uint32_t size = sizeof text;
    EXPECT_EQ(SMReadINIPathFileValue("s", "k", 1, text, &size, nullptr, 0, path.c_str(), 1), 0u);
    return text;
  }
  void Store(const std::string &text) { kxtest::WriteFile(path, "[s]\nk=" + text + "\n"); }
  SMStatus Read(uint32_t type, void *value, uint32_t *size, const void *def = nullptr,
                uint32_t def_size = 0) {
    return SMReadINIPathFileValue("s", "k", type, value, size, def, def_size, path.c_str(), 1);
  }
};

std::string Printed(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string Printed(const char *format, ...) {
  char text[512];
  va_list args;
  va_start(args, format);
  vsnprintf(text, sizeof text, format, args);
  va_end(args);
  return text;
}

std::string HexList(const std::vector<uint8_t> &bytes) {
  std::string text;
  for (size_t i = 0; i < bytes.size(); ++i) text += Printed(i ? ",0x%02X" : "0x%02X", bytes[i]);
  return text;
}

TEST_F(IniValues, random_values_round_trip_through_their_texts) {
  // Writes `value` as `type`, expects the C library's text of it, and reads
  // it back; a double reads back as strtod reads that text.
  auto round_trip = [&](uint32_t type, auto value, const std::string &text) {
    const uint32_t width = sizeof value;
    ASSERT_EQ(Write(type, &value, width), 0u) << type;
    EXPECT_EQ(Stored(), text) << type;
    decltype(value) back{};
    uint32_t size = width;
    ASSERT_EQ(Read(type, &back, &size), 0u) << type;
    EXPECT_EQ(size, width);
    if constexpr (std::is_same_v<decltype(value), double>) {
      EXPECT_EQ(back, std::strtod(text.c_str(), nullptr));
    } else {
      EXPECT_EQ(back, value) << type;
    }
  };
  std::mt19937_64 random(9);
  for (int trial = 0; trial < 200; ++trial) {
    const uint64_t bits = random() >> (random() % 64);
    const auto u32 = static_cast<uint32_t>(bits);
    const auto i32 = static_cast<int32_t>(bits);
    const int64_t i64 = static_cast<int64_t>(bits) * (trial % 2 ? -1 : 1);
    const double d = static_cast<double>(static_cast<int64_t>(bits)) / (1u << (trial % 30));
    round_trip(5, u32, Printed("%" PRIu32, u32));
    round_trip(6, i32, Printed("%" PRId32, i32));
    round_trip(7, bits, Printed("%" PRIu64, bits));
    round_trip(8, i64, Printed("%" PRId64, i64));
    round_trip(9, d, Printed("%.8f", d));
    // 3: byte array
    std::vector<uint8_t> bytes(1 + random() % 40);
    for (uint8_t &b : bytes) b = static_cast<uint8_t>(random());
    ASSERT_EQ(Write(3, bytes.data(), static_cast<uint32_t>(bytes.size())), 0u);
    EXPECT_EQ(Stored(), HexList(bytes));
    std::vector<uint8_t> back(64);
    uint32_t size = static_cast<uint32_t>(back.size());
    ASSERT_EQ(Read(3, back.data(), &size), 0u);
    back.resize(size);
    EXPECT_EQ(back, bytes);
  }
}

TEST_F(IniValues, booleans_and_ucs2_strings) {
  const std::pair<uint16_t, const char *> flags[] = {
      {1, "TRUE"}, {0, "FALSE"}, {2, "FALSE"}, {0xFFFF, "FALSE"}};
  for (const auto &[flag, text] : flags) {
    ASSERT_EQ(Write(4, &flag, 2), 0u);
    EXPECT_EQ(Stored(), text);
    uint16_t back = 7;
    uint32_t size = 2;
    ASSERT_EQ(Read(4, &back, &size), 0u);
    EXPECT_EQ(back, flag == 1 ? 1 : 0);
  }
  const uint16_t text[] = {'h', 0x00E9, 0x4E2D, 0};
  ASSERT_EQ(Write(2, text, sizeof text), 0u);
  EXPECT_EQ(Stored(), "0x68,0x00,0xE9,0x00,0x2D,0x4E,0x00,0x00");
  uint16_t back[8] = {};
  uint32_t size = sizeof back;
  ASSERT_EQ(Read(2, back, &size), 0u);
  EXPECT_EQ(size, sizeof text);
  EXPECT_EQ(std::memcmp(back, text, sizeof text), 0);
  const uint16_t unterminated[] = {'a', 'b'};
  EXPECT_EQ(Write(2, unterminated, sizeof unterminated), SM_STATUS_BAD_VALUE);
  EXPECT_EQ(Write(2, text, sizeof text - 2), SM_STATUS_BAD_VALUE);
  // Past 2,048 bytes a string is refused; below, its stored text must still
  // fit the 8,193-byte value, which 819 code units (1,638 bytes) do.
  std::vector<uint16_t> big(1025, 'x');
  big.back() = 0;
  EXPECT_EQ(Write(2, big.data(), 2050), SM_STATUS_BAD_VALUE);
  big[1023] = 0;
  EXPECT_EQ(Write(2, big.data(), 2048), SM_STATUS_BAD_VALUE);
  big[819] = 0;
  EXPECT_EQ(Write(2, big.data(), 1640), SM_STATUS_BAD_VALUE);
  big[818] = 0;
  EXPECT_EQ(Write(2, big.data(), 1638), 0u);
}

struct StoredCase {
  const char *text;
  uint32_t type;
  SMStatus status;
  uint64_t bits;  // the value's bits, zero-extended from its width
};

TEST_F(IniValues, stored_texts_read_as_each_type) {
  const StoredCase cases[] = {
      {" 42abc", 5, 0, 42},
      {"-1", 5, 0, 0xFFFFFFFFu},
      {"-5", 5, 0, 0xFFFFFFFBu},
      {"99999999999", 5, 0, 0xFFFFFFFFu},
      {"abc", 5, 264, 0},
      {"", 5, 264, 0},
      {"+7", 6, 0, 7},
      {"-2147483649", 6, 0, 0x80000000u},
      {"2147483648", 6, 0, 0x7FFFFFFFu},
      {"\t-12 ", 6, 0, 0xFFFFFFF4u},
      {"18446744073709551615", 7, 0, UINT64_MAX},
      {"18446744073709551616", 7, 290, 0},
      {"12a", 7, 264, 0},
      {"-9223372036854775808", 8, 0, 0x8000000000000000ull},
      {"9223372036854775808", 8, 290, 0},
      {"-9223372036854775809", 8, 291, 0},
      {" true yes", 4, 0, 1},
      {"FaLsE", 4, 0, 0},
      {"TRUE\r", 4, 264, 0},
      {"maybe", 4, 264, 0},
      {"0x01,0xFF", 3, 0, 0xFF01},
      {"0x100", 3, 0xFFFFFFFFu, 0},
      {"0x01,0xZZ", 3, 0xFFFFFFFFu, 0},
      {",,,,", 3, 264, 0},
      {"", 3, 0xFFFFFFFFu, 0},
  };
  for (const StoredCase &c : cases) {
    Store(c.text);
    uint64_t bits = 0;
    uint32_t size = 8;
    EXPECT_EQ(Read(c.type, &bits, &size), c.status) << c.text << " as " << c.type;
    if (c.status == 0) {
      EXPECT_EQ(bits, c.bits) << c.text << " as " << c.type;
    }
  }
  Store("1.5e3");
  double d = 0;
  uint32_t size = 8;
  ASSERT_EQ(Read(9, &d, &size), 0u);
  EXPECT_EQ(d, 1500.0);
  Store("x1");
  EXPECT_EQ(Read(9, &d, &size), SM_STATUS_BAD_VALUE);
}

TEST_F(IniValues, size_rules_of_reads_and_writes) {
  const uint32_t widths[] = {0, 0, 0, 0, 2, 4, 4, 8, 8, 8};
  uint64_t value = 1;
  for (uint32_t type = 4; type <= 9; ++type) {
    EXPECT_EQ(Write(type, &value, widths[type] - 1), 264u) << type;
    EXPECT_EQ(Write(type, &value, widths[type]), 0u) << type;
    uint32_t size = widths[type] - 1;
    EXPECT_EQ(Read(type, &value, &size), 16u) << type;
    EXPECT_EQ(size, widths[type]);
  }
  for (uint32_t type : {0u, 10u, 0x101u}) {
    EXPECT_EQ(Write(type, &value, 8), SM_STATUS_INVALID_ARGS);
    uint32_t size = 8;
    EXPECT_EQ(Read(type, &value, &size), SM_STATUS_INVALID_ARGS);
  }
  EXPECT_EQ(Write(1, "abc", 3), SM_STATUS_BAD_VALUE);
  EXPECT_EQ(Write(1, "abc", 5), SM_STATUS_BAD_VALUE);
  EXPECT_EQ(Write(1, nullptr, 4), SM_STATUS_BAD_VALUE);
  std::string longest(8192, 'x');
  EXPECT_EQ(Write(1, longest.c_str(), 8193), 0u);
  longest += 'x';
  EXPECT_EQ(Write(1, longest.c_str(), 8194), SM_STATUS_BAD_VALUE);
  std::vector<uint8_t> bytes(1638, 0xAB);
  EXPECT_EQ(Write(3, bytes.data(), 1638), 0u);
  bytes.push_back(1);
  EXPECT_EQ(Write(3, bytes.data(), 1639), SM_STATUS_BAD_VALUE);
  // A byte array that does not fit the caller's room reports the size needed.
  bytes.pop_back();
  uint32_t size = 100;
  std::vector<uint8_t> back(100);
  EXPECT_EQ(Read(3, back.data(), &size), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 1638u);
}

TEST_F(IniValues, defaults_stand_in_and_the_status_says_so) {
  kxtest::WriteFile(path, "[s]\nother=1\n");
  char text[4] = "xyz";
  uint32_t size = sizeof text;
  EXPECT_EQ(Read(1, text, &size, "default", 8), SM_STATUS_ENTRY_NOT_FOUND);
  EXPECT_EQ(size, 4u);
  EXPECT_STREQ(text, "def");
  size = sizeof text;
  EXPECT_EQ(Read(1, text, &size), SM_STATUS_ENTRY_NOT_FOUND);
  EXPECT_EQ(size, 0u);
  EXPECT_STREQ(text, "");
  const uint32_t fallback = 77;
  uint32_t number = 0;
  size = 4;
  EXPECT_EQ(Read(5, &number, &size, &fallback, 4), SM_STATUS_ENTRY_NOT_FOUND);
  EXPECT_EQ(number, 77u);
  EXPECT_EQ(size, 4u);
  size = 4;
  EXPECT_EQ(Read(5, &number, &size, &fallback, 2),
            SM_STATUS_ENTRY_NOT_FOUND);  // default narrower than the type
  EXPECT_EQ(size, 0u);
  kxtest::WriteFile(path, "[s]\nk=many\n");
  size = 4;
  EXPECT_EQ(Read(5, &number, &size, &fallback, 4), SM_STATUS_BAD_VALUE);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(number, 77u);
  const uint8_t bytes[] = {1, 2, 3};
  uint8_t back[2] = {};
  size = 2;
  EXPECT_EQ(Read(3, back, &size, bytes, 3), 0xFFFFFFFFu);
  EXPECT_EQ(size, 2u);
  EXPECT_EQ(back[1], 2);
  kxtest::WriteFile(sandbox.Path("x"), "");
  size = sizeof text;
  EXPECT_EQ(
      SMReadINIPathFileValue("s", "k", 1, text, &size, "d", 2, sandbox.Path("none").c_str(), 1),
      260u);
  EXPECT_STREQ(text, "d");
}

}  // namespace
