// Base64: the encoder against a bit-at-a-time encoder written here (standard
// and caller alphabets), the decoder against a one-group-at-a-time model of
// its rules, round trips, the stated vectors and quirks. Outputs go to heap
// buffers of exactly the documented size so that the sanitizer build catches
// any write or read past them.
#include "codec/base64.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kxsupt/codec.h"

namespace {

const std::string kStandard = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Standard Base64 built bit by bit: the input as a bit string, six bits per
// character, zero-filled at the end, "=" to a multiple of four.
std::string ReferenceEncode(const std::vector<uint8_t> &in, const std::string &alphabet) {
  std::vector<int> bits;
  for (uint8_t b : in) {
    for (int i = 7; i >= 0; --i) bits.push_back((b >> i) & 1);
  }
  std::string out;
  for (size_t i = 0; i < bits.size(); i += 6) {
    int v = 0;
    for (size_t k = i; k < i + 6; ++k) v = v * 2 + (k < bits.size() ? bits[k] : 0);
    out += alphabet[v];
  }
  while (out.size() % 4 != 0) out += '=';
  return out;
}

// The decoder's rules one group at a time: 6-bit values from the standard
// alphabet (255 otherwise), bytes truncated, "=" rules as documented.
std::vector<uint8_t> ModelDecode(const std::string &in) {
  auto value = [](unsigned char c) -> unsigned {
    size_t at = kStandard.find(static_cast<char>(c));
    return c < 128 && c != 0 && at != std::string::npos ? static_cast<unsigned>(at) : 255u;
  };
  std::vector<uint8_t> out;
  for (size_t g = 0; g + 4 <= in.size(); g += 4) {
    const auto *c = reinterpret_cast<const unsigned char *>(in.data() + g);
    if (c[0] == '=' || c[1] == '=') continue;
    unsigned s0 = value(c[0]), s1 = value(c[1]), s2 = value(c[2]), s3 = value(c[3]);
    out.push_back(static_cast<uint8_t>((s0 << 2) | ((s1 >> 4) & 3)));
    if (c[2] == '=') continue;
    out.push_back(static_cast<uint8_t>((s1 << 4) | ((s2 >> 2) & 15)));
    if (c[3] == '=') continue;
    out.push_back(static_cast<uint8_t>((s2 << 6) | s3));
  }
  return out;
}

using kx::codec::Base64Engine;

// Runs an engine's encoder with the input at the very end of a heap buffer,
// followed by `after` when the contract reads one byte past it.
std::string Encode(Base64Engine engine, const std::vector<uint8_t> &in, const char *alphabet,
                   uint8_t after = 0) {
  size_t n = in.size();
  bool reads_past = n % 3 == 1;
  auto input = std::make_unique<uint8_t[]>(n + (reads_past ? 1 : 0));
  std::copy(in.begin(), in.end(), input.get());
  if (reads_past) input[n] = after;
  size_t size = 4 * ((n + 2) / 3) + 1;
  auto out = std::make_unique<char[]>(size);
  kx::codec::Base64EncodeWith(engine, out.get(), input.get(), static_cast<int32_t>(n), alphabet);
  EXPECT_EQ(out[size - 1], '\0');
  return std::string(out.get(), size - 1);
}

// Runs an engine's decoder into a buffer of exactly the expected size.
std::vector<uint8_t> Decode(Base64Engine engine, const std::string &in, size_t expected_size) {
  auto input = std::make_unique<char[]>(in.size());
  std::copy(in.begin(), in.end(), input.get());
  auto out = std::make_unique<uint8_t[]>(expected_size + 1);
  size_t produced =
      kx::codec::Base64DecodeWith(engine, out.get(), input.get(), static_cast<int32_t>(in.size()));
  EXPECT_EQ(produced, expected_size);
  EXPECT_EQ(out[expected_size], 0) << "NUL after the bytes produced";
  return std::vector<uint8_t>(out.get(), out.get() + expected_size);
}

std::vector<uint8_t> Bytes(const std::string &s) {
  return {s.begin(), s.end()};
}

std::vector<uint8_t> RandomBytes(std::mt19937_64 &rng, size_t n) {
  std::vector<uint8_t> bytes(n);
  for (auto &b : bytes) b = static_cast<uint8_t>(rng());
  return bytes;
}

class Base64EngineTest : public ::testing::TestWithParam<Base64Engine> {
 protected:
  void SetUp() override {
    if (GetParam() == Base64Engine::kAvx2 && !kx::codec::HasBase64Avx2()) {
      GTEST_SKIP() << "AVX2 not supported here";
    }
  }
  std::string Encode(const std::vector<uint8_t> &in, const char *alphabet, uint8_t after = 0) {
    return ::Encode(GetParam(), in, alphabet, after);
  }
  std::vector<uint8_t> Decode(const std::string &in, size_t expected_size) {
    return ::Decode(GetParam(), in, expected_size);
  }
};

// ---- Stated vectors ----------------------------------------------------------

TEST(Base64Exports, stated_vectors) {
  struct Case {
    const char *plain, *text;
  } cases[] = {{"Man", "TWFu"}, {"Ma", "TWE="}, {"M", "TQ=="}, {"", ""}};
  for (const Case &c : cases) {
    char text[8];
    size_t n = std::strlen(c.plain);
    EXPECT_EQ(SMBase64Encode(text, reinterpret_cast<const uint8_t *>(c.plain),
                             static_cast<int32_t>(n), nullptr),
              0u);
    EXPECT_STREQ(text, c.text);
    uint8_t bytes[8];
    std::memset(bytes, 0xEE, sizeof bytes);
    EXPECT_EQ(SMBase64Decode(bytes, c.text, static_cast<int32_t>(std::strlen(c.text))), 0u);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(bytes), n + 1), std::string(c.plain, n + 1));
  }
}

TEST_P(Base64EngineTest, stated_vectors) {
  struct Case {
    const char *plain, *text;
  } cases[] = {{"Man", "TWFu"}, {"Ma", "TWE="}, {"M", "TQ=="}, {"", ""}};
  for (const Case &c : cases) {
    EXPECT_EQ(Encode(Bytes(c.plain), nullptr), c.text) << c.plain;
    EXPECT_EQ(Decode(c.text, std::strlen(c.plain)), Bytes(c.plain)) << c.text;
  }
}

TEST_P(Base64EngineTest, decoder_quirks) {
  struct Case {
    std::string text;
    std::vector<uint8_t> bytes;
  } cases[] = {
      {"TWFuTQ", Bytes("Man")},            // trailing characters ignored
      {"TWFuTQ=", Bytes("Man")},           //
      {"=AAATWFu", Bytes("Man")},          // a group opening with "=" yields nothing
      {"A=AATWFu", Bytes("Man")},          // so does "=" second
      {"TQ=ATWFu", Bytes("MMan")},         // "=" third: one byte, the fourth is not read
      {"!!!!", {0xFF, 0xFF, 0xFF}},        // outside the alphabet: 255, no error
      {"AA\x80\x80", {0x00, 0x0F, 0xFF}},  // codes of 128 and more too
      {"AAA!", {0x00, 0x00, 0xFF}},        // an invalid fourth forces the third byte
      {"AAA\xff", {0x00, 0x00, 0xFF}},     //
      {"!AAA", {0xFC, 0x00, 0x00}},        //
      {"====", {}},                        //
      {std::string("AA\0A", 4), {0x00, 0x0F, 0xC0}},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(Decode(c.text, c.bytes.size()), c.bytes) << c.text;
    EXPECT_EQ(ModelDecode(c.text), c.bytes) << "model disagrees with the stated rule: " << c.text;
  }
}

TEST(Base64Exports, non_positive_lengths_write_only_the_nul) {
  for (int32_t length : {0, -1, -2, -3, -100, INT32_MIN}) {
    char out[4] = {'x', 'x', 'x', 'x'};
    uint8_t in[4] = {1, 2, 3, 0};
    EXPECT_EQ(SMBase64Encode(out, in, length, nullptr), 0u);
    EXPECT_EQ(out[0], '\0');
    EXPECT_EQ(out[1], 'x');
    uint8_t bytes[4] = {9, 9, 9, 9};
    EXPECT_EQ(SMBase64Decode(bytes, "TWFu", length), 0u);
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(bytes[1], 9);
  }
}

TEST(Base64Exports, null_buffers_do_nothing) {
  char out[2] = {'x', 'x'};
  EXPECT_EQ(SMBase64Encode(nullptr, reinterpret_cast<const uint8_t *>("ab"), 2, nullptr), 0u);
  EXPECT_EQ(SMBase64Encode(out, nullptr, 2, nullptr), 0u);
  EXPECT_EQ(out[0], '\0');
  uint8_t bytes[2] = {9, 9};
  EXPECT_EQ(SMBase64Decode(nullptr, "TWFu", 4), 0u);
  EXPECT_EQ(SMBase64Decode(bytes, nullptr, 4), 0u);
  EXPECT_EQ(bytes[0], 0);
}

// ---- The byte after the input -------------------------------------------------------

TEST_P(Base64EngineTest, one_byte_tail_reads_the_following_byte) {
  // Its upper four bits enter the second character; a zero keeps it standard.
  EXPECT_EQ(Encode(Bytes("M"), nullptr, 0x00), "TQ==");
  EXPECT_EQ(Encode(Bytes("M"), nullptr, 0xF0), "Tf==");
  EXPECT_EQ(Encode(Bytes("M"), nullptr, 0x0F), "TQ==");
  EXPECT_EQ(Encode(Bytes("abcM"), nullptr, 0x50), "YWJjTV==");
  // Two bytes left: the third character uses b2 = 0, nothing past is read
  // (the input ends the heap block here).
  EXPECT_EQ(Encode(Bytes("Ma"), nullptr), "TWE=");
}

// ---- Differential ---------------------------------------------------------------------

TEST_P(Base64EngineTest, encoding_matches_the_reference_for_every_short_length) {
  std::mt19937_64 rng(21);
  for (size_t n = 0; n <= 300; ++n) {
    std::vector<uint8_t> data = RandomBytes(rng, n);
    ASSERT_EQ(Encode(data, nullptr), ReferenceEncode(data, kStandard)) << n;
  }
}

TEST_P(Base64EngineTest, encoding_matches_the_reference_for_large_inputs) {
  std::mt19937_64 rng(22);
  for (size_t n : {6000u, 6001u, 6002u, 100000u, 1000003u}) {
    std::vector<uint8_t> data = RandomBytes(rng, n);
    ASSERT_EQ(Encode(data, nullptr), ReferenceEncode(data, kStandard)) << n;
  }
}

TEST_P(Base64EngineTest, caller_alphabet_is_used_for_encoding_only) {
  std::mt19937_64 rng(23);
  std::string reversed(kStandard.rbegin(), kStandard.rend());
  std::string url = kStandard.substr(0, 62) + "-_";
  for (const std::string &alphabet : {reversed, url, kStandard}) {
    // Short inputs and inputs long enough for the pair-table path.
    for (size_t n : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 100u, 6143u, 6144u, 6145u, 50000u}) {
      std::vector<uint8_t> data = RandomBytes(rng, n);
      std::string text = Encode(data, alphabet.c_str());
      ASSERT_EQ(text, ReferenceEncode(data, alphabet)) << n;
      // The decoder reads the standard alphabet whatever encoded the text.
      std::vector<uint8_t> model = ModelDecode(text);
      ASSERT_EQ(Decode(text, model.size()), model) << n;
    }
  }
}

TEST_P(Base64EngineTest, round_trips) {
  std::mt19937_64 rng(24);
  for (int round = 0; round < 400; ++round) {
    size_t n = round < 300 ? rng() % 200 : rng() % 100000;
    std::vector<uint8_t> data = RandomBytes(rng, n);
    std::string text = Encode(data, nullptr);
    ASSERT_EQ(Decode(text, n), data) << n;
  }
}

TEST_P(Base64EngineTest, decoding_arbitrary_text_matches_the_model) {
  // Mostly alphabet characters with "=" and foreign bytes sprinkled in, so
  // groups of every padding shape appear between clean stretches.
  std::mt19937_64 rng(25);
  const std::string extras = std::string("=!*\x80\xff \n", 7) + std::string(1, '\0');
  for (int round = 0; round < 2000; ++round) {
    size_t n = round < 1500 ? rng() % 64 : rng() % 5000;
    unsigned noise = 1 + rng() % 40;
    std::string text(n, 'A');
    for (char &c : text) {
      c = rng() % noise == 0 ? extras[rng() % extras.size()] : kStandard[rng() % 64];
    }
    std::vector<uint8_t> model = ModelDecode(text);
    ASSERT_EQ(Decode(text, model.size()), model) << text;
  }
}

TEST_P(Base64EngineTest, every_character_in_every_block_position_matches_the_model) {
  // Sixteen clean groups, then each byte value in each of the first 32
  // places: covers the whole character classification of a wide block.
  std::mt19937_64 rng(26);
  std::string clean(64, 'A');
  for (char &c : clean) c = kStandard[rng() % 64];
  for (size_t at = 0; at < 32; ++at) {
    for (int value = 0; value < 256; ++value) {
      std::string text = clean;
      text[at] = static_cast<char>(value);
      std::vector<uint8_t> model = ModelDecode(text);
      ASSERT_EQ(Decode(text, model.size()), model) << "place " << at << " value " << value;
    }
  }
}

TEST(Base64Exports, decode_reports_the_bytes_produced) {
  std::vector<uint8_t> out(16);
  EXPECT_EQ(kx::codec::Base64Decode(out.data(), "TWFuTWE=TQ==", 12), 6u);
  EXPECT_EQ(kx::codec::Base64Decode(out.data(), "=AAA", 4), 0u);
}

INSTANTIATE_TEST_SUITE_P(Engines, Base64EngineTest,
                         ::testing::Values(Base64Engine::kPortable, Base64Engine::kAvx2),
                         [](const auto &info) {
                           return info.param == Base64Engine::kAvx2 ? "avx2" : "portable";
                         });

}  // namespace
