// CRC-32: every engine against zlib's crc32 (all short lengths, every
// alignment, large random lengths, continued checksums), the exported forms,
// the bit-serial SMGenerateCRC32 rule against a literal transcription of it,
// and the attach step's table.
#include "codec/crc32.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cctype>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kxsupt/codec.h"

namespace {

using kx::codec::Crc32RawClmul;
using kx::codec::Crc32RawPortable;
using kx::codec::Crc32RawVpclmul;

uint32_t Zlib(uint32_t previous, const uint8_t *data, size_t length) {
  uint32_t crc = previous;
  // zlib takes a 32-bit length; feed it in pieces.
  while (length > 0) {
    auto piece = static_cast<uInt>(std::min<size_t>(length, 1u << 30));
    crc = static_cast<uint32_t>(crc32(crc, data, piece));
    data += piece;
    length -= piece;
  }
  return crc;
}

std::vector<uint8_t> RandomBytes(std::mt19937_64 &rng, size_t n) {
  std::vector<uint8_t> bytes(n);
  for (auto &b : bytes) b = static_cast<uint8_t>(rng());
  return bytes;
}

// ---- The engines against zlib -------------------------------------------------

struct Engine {
  const char *name;
  uint32_t (*raw)(uint32_t, const uint8_t *, size_t);
  bool (*available)();
};

bool Always() {
  return true;
}

void PrintTo(const Engine &engine, std::ostream *os) {
  *os << engine.name;
}

class Crc32EngineTest : public ::testing::TestWithParam<Engine> {
 protected:
  void SetUp() override {
    if (!GetParam().available()) GTEST_SKIP() << GetParam().name << " not supported here";
  }
  // The standard checksum continued from `previous` through this engine.
  uint32_t Standard(uint32_t previous, const uint8_t *data, size_t length) {
    return ~GetParam().raw(~previous, data, length);
  }
};

TEST_P(Crc32EngineTest, every_length_up_to_4096_matches_zlib) {
  std::mt19937_64 rng(1);
  std::vector<uint8_t> data = RandomBytes(rng, 4096);
  for (size_t n = 0; n <= data.size(); ++n) {
    ASSERT_EQ(Standard(0, data.data(), n), Zlib(0, data.data(), n)) << "length " << n;
  }
}

TEST_P(Crc32EngineTest, every_alignment_matches_zlib) {
  std::mt19937_64 rng(2);
  std::vector<uint8_t> data = RandomBytes(rng, 8192 + 16);
  for (size_t offset = 0; offset < 16; ++offset) {
    for (size_t n : {1u, 15u, 16u, 17u, 63u, 64u, 65u, 255u, 256u, 257u, 1000u, 4099u, 8192u}) {
      ASSERT_EQ(Standard(0, data.data() + offset, n), Zlib(0, data.data() + offset, n))
          << "offset " << offset << " length " << n;
    }
  }
}

TEST_P(Crc32EngineTest, random_large_lengths_match_zlib) {
  std::mt19937_64 rng(3);
  std::vector<uint8_t> data = RandomBytes(rng, (3u << 20) + 64);
  for (int round = 0; round < 24; ++round) {
    size_t offset = rng() % 64;
    size_t n = rng() % (data.size() - offset);
    ASSERT_EQ(Standard(0, data.data() + offset, n), Zlib(0, data.data() + offset, n))
        << "offset " << offset << " length " << n;
  }
}

TEST_P(Crc32EngineTest, continues_from_any_previous_checksum) {
  std::mt19937_64 rng(4);
  std::vector<uint8_t> data = RandomBytes(rng, 20000);
  for (int round = 0; round < 200; ++round) {
    auto previous = static_cast<uint32_t>(rng());
    size_t n = rng() % data.size();
    ASSERT_EQ(Standard(previous, data.data(), n), Zlib(previous, data.data(), n));
  }
  // Split anywhere, the pieces chain to the whole.
  for (int round = 0; round < 50; ++round) {
    size_t cut = rng() % data.size();
    uint32_t first = Standard(0, data.data(), cut);
    EXPECT_EQ(Standard(first, data.data() + cut, data.size() - cut),
              Zlib(0, data.data(), data.size()));
  }
}

TEST_P(Crc32EngineTest, all_zero_and_all_ones_buffers_match_zlib) {
  for (uint8_t fill : {uint8_t{0x00}, uint8_t{0xFF}}) {
    std::vector<uint8_t> data(70000, fill);
    for (size_t n : {0u, 1u, 64u, 256u, 1024u, 65536u, 70000u}) {
      EXPECT_EQ(Standard(0, data.data(), n), Zlib(0, data.data(), n)) << int{fill} << " " << n;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Engines, Crc32EngineTest,
    ::testing::Values(Engine{"portable", &Crc32RawPortable, &Always},
                      Engine{"clmul", &Crc32RawClmul, &kx::codec::HasCrc32Clmul},
                      Engine{"vpclmul", &Crc32RawVpclmul, &kx::codec::HasCrc32Vpclmul}),
    [](const auto &info) { return std::string(info.param.name); });

// ---- The exported functions ---------------------------------------------------

TEST(Crc32Exports, stated_vectors) {
  const char *digits = "123456789";
  EXPECT_EQ(SMCRC32Compute_vn(digits, 9), 0xCBF43926u);
  EXPECT_EQ(SMCRC32Compute_vn(digits, 0), 0u);
  EXPECT_EQ(SMCRC32Compute_str(digits), 0xCBF43926u);
  EXPECT_EQ(SMCRC32Compute_str(""), 0u);
  EXPECT_EQ(SMCRC32Compute_strncase("ABC"), SMCRC32Compute_str("abc"));
  EXPECT_EQ(SMCRC32Compute_strncase("aBc"), SMCRC32Compute_str("abc"));
}

TEST(Crc32Exports, null_input_counts_as_empty) {
  EXPECT_EQ(SMCRC32Compute_vn(nullptr, 100), 0u);
  EXPECT_EQ(SMCRC32Compute_str(nullptr), 0u);
  EXPECT_EQ(SMCRC32Compute_strncase(nullptr), 0u);
}

TEST(Crc32Exports, compute_vn_matches_zlib_on_random_buffers) {
  std::mt19937_64 rng(5);
  std::vector<uint8_t> data = RandomBytes(rng, 1 << 20);
  for (int round = 0; round < 40; ++round) {
    size_t offset = rng() % 1024;
    size_t n = rng() % (data.size() - offset);
    if (round % 2 == 0) n %= 600;  // many short ones too
    ASSERT_EQ(SMCRC32Compute_vn(data.data() + offset, static_cast<uint32_t>(n)),
              Zlib(0, data.data() + offset, n));
  }
}

TEST(Crc32Exports, string_forms_match_zlib_over_long_strings) {
  std::mt19937_64 rng(6);
  for (size_t n : {1u, 511u, 512u, 513u, 1024u, 5000u}) {
    std::string text(n, 'x');
    for (char &c : text) c = static_cast<char>(1 + rng() % 255);  // no NUL inside
    std::string lowered = text;
    for (char &c : lowered) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    auto bytes = [](const std::string &s) { return reinterpret_cast<const uint8_t *>(s.data()); };
    EXPECT_EQ(SMCRC32Compute_str(text.c_str()), Zlib(0, bytes(text), n)) << n;
    EXPECT_EQ(SMCRC32Compute_strncase(text.c_str()), Zlib(0, bytes(lowered), n)) << n;
  }
}

// ---- SMGenerateCRC32 ------------------------------------------------------------

// The rule exactly as stated, one bit at a time.
uint32_t LiteralGenerate(const uint8_t *data, uint32_t dataLength, uint32_t totalLength) {
  uint32_t c = 0xFFFFFFFFu;
  for (uint32_t i = 0; i < totalLength; ++i) {
    uint32_t v = i < dataLength ? data[i] : 0;
    for (int k = 0; k < 8; ++k) {
      uint32_t bit = c & 1u;
      c >>= 1;
      if (bit != v) c ^= 0xEDB88320u;
      v = (bit ^ v) >> 1;
    }
  }
  return c;
}

TEST(GenerateCrc32, stated_vectors) {
  const uint8_t zeros[4] = {0, 0, 0, 0};
  const uint8_t ab[4] = {'a', 'b', 0, 0};
  struct Case {
    const void *data;
    uint32_t dataLength, totalLength, expected;
  } cases[] = {
      {"anything", 0, 0, 0xFFFFFFFFu},
      {"A", 1, 1, 0x5B2151E2u},
      {"123456789", 9, 9, 0x5B531060u},
      {zeros, 2, 2, 0xBE26ED00u},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(SMGenerateCRC32(c.data, c.dataLength, c.totalLength), c.expected)
        << static_cast<const char *>(c.data);
  }
  // Data shorter than the total is padded with zero bytes.
  EXPECT_EQ(SMGenerateCRC32("ab", 2, 4), SMGenerateCRC32(ab, 4, 4));
  // A total below the data length cuts the data.
  EXPECT_EQ(SMGenerateCRC32("abcdef", 6, 2), SMGenerateCRC32("ab", 2, 2));
}

TEST(GenerateCrc32, every_byte_value_after_random_prefixes_matches_the_literal_rule) {
  std::mt19937_64 rng(7);
  for (int round = 0; round < 64; ++round) {
    std::vector<uint8_t> data = RandomBytes(rng, 1 + rng() % 40);
    for (int b = 0; b < 256; ++b) {
      data.back() = static_cast<uint8_t>(b);
      auto n = static_cast<uint32_t>(data.size());
      ASSERT_EQ(SMGenerateCRC32(data.data(), n, n), LiteralGenerate(data.data(), n, n));
    }
  }
}

TEST(GenerateCrc32, random_data_and_total_lengths_match_the_literal_rule) {
  std::mt19937_64 rng(8);
  std::vector<uint8_t> data = RandomBytes(rng, 3000);
  for (int round = 0; round < 300; ++round) {
    auto dataLength = static_cast<uint32_t>(rng() % data.size());
    auto totalLength = static_cast<uint32_t>(rng() % 4000);
    ASSERT_EQ(SMGenerateCRC32(data.data(), dataLength, totalLength),
              LiteralGenerate(data.data(), dataLength, totalLength))
        << dataLength << " " << totalLength;
  }
  // Long zero padding takes the shortcut; it must agree with the slow way.
  for (uint32_t pad : {63u, 64u, 65u, 1000u, 123457u}) {
    ASSERT_EQ(SMGenerateCRC32(data.data(), 10, 10 + pad),
              LiteralGenerate(data.data(), 10, 10 + pad))
        << pad;
  }
}

TEST(GenerateCrc32, agrees_with_the_textbook_crc_for_bytes_of_zero_and_one) {
  // For 0/1 bytes the rule is the textbook CRC without final inversion,
  // which is the complement of zlib's standard CRC.
  std::mt19937_64 rng(9);
  for (int round = 0; round < 100; ++round) {
    std::vector<uint8_t> data(rng() % 300);
    for (auto &b : data) b = static_cast<uint8_t>(rng() & 1u);
    auto n = static_cast<uint32_t>(data.size());
    ASSERT_EQ(SMGenerateCRC32(data.data(), n, n), ~Zlib(0, data.data(), n));
  }
}

TEST(GenerateCrc32, huge_zero_padding_matches_zlib_combination) {
  // zlib's crc32_combine yields the standard CRC of any number of zero bytes
  // by doubling, independently of our shortcut.
  auto zeros_crc = [](uint64_t count) {
    uint8_t zero = 0;
    uint32_t power = static_cast<uint32_t>(crc32(0, &zero, 1));  // 1 zero byte
    uint64_t power_len = 1;
    uint32_t acc = 0;
    uint64_t acc_len = 0;
    for (; count != 0; count >>= 1) {
      if (count & 1u) {
        acc = static_cast<uint32_t>(crc32_combine(acc, power, static_cast<z_off_t>(power_len)));
        acc_len += power_len;
      }
      power = static_cast<uint32_t>(crc32_combine(power, power, static_cast<z_off_t>(power_len)));
      power_len *= 2;
    }
    return acc;
  };
  for (uint32_t total : {100000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    EXPECT_EQ(SMGenerateCRC32(nullptr, 0, total), ~zeros_crc(total)) << total;
  }
  // A 0/1 data prefix before the padding as well.
  const uint8_t bits[3] = {1, 0, 1};
  uint32_t prefix = Zlib(0, bits, 3);
  uint32_t total = 0xFFFFFFF0u;
  uint32_t whole = static_cast<uint32_t>(
      crc32_combine(prefix, zeros_crc(total - 3), static_cast<z_off_t>(total - 3)));
  EXPECT_EQ(SMGenerateCRC32(bits, 3, total), ~whole);
}

// ---- The attach step --------------------------------------------------------------

TEST(Crc32Table, attach_builds_the_standard_table_and_detach_frees_it) {
  // Tests run without a product registry, so the chain never reached this step.
  kx::codec::Crc32TableDetach();  // safe while down
  ASSERT_EQ(kx::codec::Crc32AttachedTable(), nullptr);
  ASSERT_EQ(kx::codec::Crc32TableAttach(), 1);
  const uint32_t *table = kx::codec::Crc32AttachedTable();
  ASSERT_NE(table, nullptr);
  for (size_t i = 0; i < 256; ++i) {
    ASSERT_EQ(table[i], kx::codec::kCrc32Table[i]) << i;
    ASSERT_EQ(table[i], static_cast<uint32_t>(get_crc_table()[i])) << i;
  }
  kx::codec::Crc32TableDetach();
  EXPECT_EQ(kx::codec::Crc32AttachedTable(), nullptr);
  kx::codec::Crc32TableDetach();  // a second detach is harmless too
  // Checksums never needed the table.
  EXPECT_EQ(SMCRC32Compute_vn("123456789", 9), 0xCBF43926u);
}

}  // namespace
