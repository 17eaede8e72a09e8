// CRC-32: every engine against zlib's crc32 (all short lengths, every
// alignment, large random lengths, continued checksums), the exported forms,
// the bit-serial SMGenerateCRC32 rule against a literal transcription of it,
// and the attach step's table.
#include "codec/crc32.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cctype>
#include <string>

#include "codec_test_util.h"
#include "kxsupt/codec.h"

namespace {

// zlib's checksum continued from `previous`; zlib takes a 32-bit length.
uint32_t Zlib(uint32_t previous, const uint8_t *data, size_t length) {
  uint32_t crc = previous;
  for (size_t piece; length > 0; data += piece, length -= piece) {
    piece = std::min<size_t>(length, 1u << 30);
    crc = static_cast<uint32_t>(crc32(crc, data, static_cast<uInt>(piece)));
  }
  return crc;
}

// ---- The engines against zlib -------------------------------------------------

struct Engine {
  const char *name;
  uint32_t (*raw)(uint32_t, const uint8_t *, size_t);
  bool (*available)();
};

class Crc32Engines : public ::testing::TestWithParam<Engine> {
 protected:
  void SetUp() override {
    if (!GetParam().available()) GTEST_SKIP() << GetParam().name << " not supported here";
  }
  // Checks the standard checksum, continued from `previous`, against zlib.
  void Check(uint32_t previous, const uint8_t *data, size_t length) {
    ASSERT_EQ(~GetParam().raw(~previous, data, length), Zlib(previous, data, length))
        << "length " << length << " previous " << previous;
  }
};

TEST_P(Crc32Engines, matches_zlib) {
  std::mt19937_64 rng(1);
  std::vector<uint8_t> data = RandomBytes(rng, (3u << 20) + 64);
  // Every short length, half of them continuing a random checksum.
  for (size_t n = 0; n <= 4096; ++n) {
    ASSERT_NO_FATAL_FAILURE(Check(n % 2 ? static_cast<uint32_t>(rng()) : 0, data.data(), n));
  }
  for (size_t offset = 0; offset < 16; ++offset) {
    for (size_t n : {1u, 15u, 16u, 17u, 63u, 64u, 65u, 255u, 256u, 257u, 1000u, 4099u, 8192u}) {
      ASSERT_NO_FATAL_FAILURE(Check(0, data.data() + offset, n));
    }
  }
  for (int round = 0; round < 24; ++round) {
    size_t offset = rng() % 64;
    ASSERT_NO_FATAL_FAILURE(
        Check(static_cast<uint32_t>(rng()), data.data() + offset, rng() % (data.size() - offset)));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Engines, Crc32Engines,
    ::testing::Values(Engine{"portable", &kx::codec::Crc32RawPortable, +[] { return true; }},
                      Engine{"clmul", &kx::codec::Crc32RawClmul, &kx::codec::HasCrc32Clmul},
                      Engine{"vpclmul", &kx::codec::Crc32RawVpclmul, &kx::codec::HasCrc32Vpclmul}),
    [](const auto &info) { return std::string(info.param.name); });

// ---- The exported functions ---------------------------------------------------

TEST(Crc32Exports, stated_vectors_and_null_input) {
  EXPECT_EQ(SMCRC32Compute_str("123456789"), 0xCBF43926u);
  EXPECT_EQ(SMCRC32Compute_strncase("aBC"), SMCRC32Compute_str("abc"));
  EXPECT_EQ(SMCRC32Compute_vn(nullptr, 100), 0u);
  EXPECT_EQ(SMCRC32Compute_str(nullptr), 0u);
  EXPECT_EQ(SMCRC32Compute_strncase(nullptr), 0u);
}

TEST(Crc32Exports, all_forms_match_zlib_across_the_lowering_window) {
  std::mt19937_64 rng(6);
  for (size_t n : {0u, 1u, 511u, 512u, 513u, 1024u, 5000u, 100003u}) {
    std::string text(n, 'x'), lowered(n, 'x');
    for (size_t i = 0; i < n; ++i) {
      text[i] = static_cast<char>(1 + rng() % 255);  // no NUL inside
      lowered[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
    }
    const auto *bytes = reinterpret_cast<const uint8_t *>(text.data());
    EXPECT_EQ(SMCRC32Compute_vn(bytes, static_cast<uint32_t>(n)), Zlib(0, bytes, n)) << n;
    EXPECT_EQ(SMCRC32Compute_str(text.c_str()), Zlib(0, bytes, n)) << n;
    EXPECT_EQ(SMCRC32Compute_strncase(text.c_str()),
              Zlib(0, reinterpret_cast<const uint8_t *>(lowered.data()), n))
        << n;
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

TEST(GenerateCRC32, stated_vectors) {
  const uint8_t zeros[2] = {0, 0};
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
    EXPECT_EQ(SMGenerateCRC32(c.data, c.dataLength, c.totalLength), c.expected) << c.totalLength;
  }
}

TEST(GenerateCRC32, matches_the_literal_rule) {
  std::mt19937_64 rng(8);
  std::vector<uint8_t> data = RandomBytes(rng, 3000);
  // Totals both below the data length (cut) and above it (zero padding).
  for (int round = 0; round < 300; ++round) {
    auto dataLength = static_cast<uint32_t>(rng() % data.size());
    auto totalLength = static_cast<uint32_t>(rng() % 4000);
    ASSERT_EQ(SMGenerateCRC32(data.data(), dataLength, totalLength),
              LiteralGenerate(data.data(), dataLength, totalLength))
        << dataLength << " " << totalLength;
  }
  // Every byte value after a prefix; long zero padding takes a shortcut.
  for (int b = 0; b < 256; ++b) {
    data[9] = static_cast<uint8_t>(b);
    ASSERT_EQ(SMGenerateCRC32(data.data(), 10, 10), LiteralGenerate(data.data(), 10, 10)) << b;
  }
  for (uint32_t pad : {63u, 64u, 65u, 1000u, 123457u}) {
    ASSERT_EQ(SMGenerateCRC32(data.data(), 10, 10 + pad),
              LiteralGenerate(data.data(), 10, 10 + pad))
        << pad;
  }
}

TEST(GenerateCRC32, huge_zero_padding_matches_zlib_combination) {
  // For 0/1 bytes the rule is the complement of the standard CRC, and zlib's
  // crc32_combine yields the CRC of any number of zero bytes by doubling.
  auto zeros_crc = [](uint64_t count) {
    uint8_t zero = 0;
    auto power = static_cast<uint32_t>(crc32(0, &zero, 1));
    uint32_t acc = 0;
    for (uint64_t power_len = 1; count != 0; count >>= 1, power_len *= 2) {
      if (count & 1u) acc = crc32_combine(acc, power, static_cast<z_off_t>(power_len));
      power = crc32_combine(power, power, static_cast<z_off_t>(power_len));
    }
    return acc;
  };
  for (uint32_t total : {100000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    EXPECT_EQ(SMGenerateCRC32(nullptr, 0, total), ~zeros_crc(total)) << total;
  }
}

// ---- The attach step --------------------------------------------------------------

TEST(Crc32Table, attach_builds_the_standard_table_and_detach_frees_it) {
  // Tests run without a product registry, so the chain never reached this step.
  kx::codec::Crc32TableDetach();  // safe while down
  ASSERT_EQ(kx::codec::Crc32TableAttach(), 1);
  const uint32_t *table = kx::codec::Crc32AttachedTable();
  ASSERT_NE(table, nullptr);
  for (size_t i = 0; i < 256; ++i) {
    ASSERT_EQ(table[i], static_cast<uint32_t>(get_crc_table()[i])) << i;
  }
  kx::codec::Crc32TableDetach();
  EXPECT_EQ(kx::codec::Crc32AttachedTable(), nullptr);
  kx::codec::Crc32TableDetach();  // a second detach is harmless too
}

}  // namespace
