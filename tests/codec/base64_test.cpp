// Base64: every engine's encoder against a bit-at-a-time encoder written here
// (standard and caller alphabets), its decoder against a one-group-at-a-time
// model of the rules, the stated vectors and quirks. Outputs go to heap
// buffers of exactly the documented size so that the sanitizer build catches
// any write or read past them.
#include "codec/base64.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "codec_test_util.h"
#include "kxsupt/codec.h"

namespace {

using kx::codec::Base64Engine;

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
    return c != 0 && at != std::string::npos ? static_cast<unsigned>(at) : 255u;
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

std::vector<uint8_t> Bytes(const std::string &s) {
  return {s.begin(), s.end()};
}

class Base64Engines : public ::testing::TestWithParam<Base64Engine> {
 protected:
  void SetUp() override {
    if (GetParam() == Base64Engine::kAvx2 && !kx::codec::HasBase64Avx2()) {
      GTEST_SKIP() << "AVX2 not supported here";
    }
  }
  // Encodes with the input at the very end of its heap block, followed by
  // `after` when a one-byte tail reads the byte past it.
  std::string Encode(std::vector<uint8_t> in, const char *alphabet, uint8_t after = 0) {
    size_t n = in.size();
    if (n % 3 == 1) in.push_back(after);
    in.shrink_to_fit();
    std::vector<char> out(4 * ((n + 2) / 3) + 1, 'x');
    kx::codec::Base64EncodeWith(GetParam(), out.data(), in.data(), static_cast<int32_t>(n),
                                alphabet);
    EXPECT_EQ(out.back(), '\0');
    return std::string(out.data(), out.size() - 1);
  }
  // Decodes into a buffer of exactly the expected size plus its NUL.
  std::vector<uint8_t> Decode(const std::string &text, size_t expected_size) {
    std::vector<char> in(text.begin(), text.end());
    std::vector<uint8_t> out(expected_size + 1, 0xEE);
    EXPECT_EQ(kx::codec::Base64DecodeWith(GetParam(), out.data(), in.data(),
                                          static_cast<int32_t>(in.size())),
              expected_size);
    EXPECT_EQ(out.back(), 0) << "NUL after the bytes produced";
    out.pop_back();
    return out;
  }
  // Decodes `text` and compares with the model.
  void CheckDecode(const std::string &text) {
    std::vector<uint8_t> model = ModelDecode(text);
    ASSERT_EQ(Decode(text, model.size()), model) << text;
  }
};

// ---- Stated vectors and quirks ----------------------------------------------------

struct Vector {
  const char *plain, *text;
} const kVectors[] = {{"Man", "TWFu"}, {"Ma", "TWE="}, {"M", "TQ=="}, {"", ""}};

TEST(Base64Exports, stated_vectors_and_bad_arguments) {
  for (const Vector &v : kVectors) {
    char text[8];
    uint8_t bytes[8];
    std::memset(bytes, 0xEE, sizeof bytes);
    auto n = static_cast<int32_t>(std::strlen(v.plain));
    EXPECT_EQ(SMBase64Encode(text, reinterpret_cast<const uint8_t *>(v.plain), n, nullptr), 0u);
    EXPECT_STREQ(text, v.text);
    EXPECT_EQ(SMBase64Decode(bytes, v.text, static_cast<int32_t>(std::strlen(v.text))), 0u);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(bytes), n + 1), std::string(v.plain, n + 1));
  }
  // A non-positive length or a null source writes only the NUL; a null
  // destination nothing.
  for (int32_t length : {0, -1, INT32_MIN, 4}) {
    char out[2] = {'x', 'x'};
    uint8_t bytes[2] = {9, 9};
    const uint8_t *in = length > 0 ? nullptr : bytes;
    const char *text = length > 0 ? nullptr : "TWFu";
    EXPECT_EQ(SMBase64Encode(nullptr, bytes, length, nullptr), 0u);
    EXPECT_EQ(SMBase64Encode(out, in, length, nullptr), 0u);
    EXPECT_EQ(SMBase64Decode(nullptr, "TWFu", length), 0u);
    EXPECT_EQ(SMBase64Decode(bytes, text, length), 0u);
    EXPECT_EQ(std::string(out, 2), std::string("\0x", 2));
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(bytes[1], 9);
  }
}

TEST_P(Base64Engines, stated_quirks) {
  // A one-byte tail reads the following byte: its upper four bits enter the
  // second character.
  EXPECT_EQ(Encode(Bytes("M"), nullptr, 0xF0), "Tf==");
  EXPECT_EQ(Encode(Bytes("M"), nullptr, 0x0F), "TQ==");
  EXPECT_EQ(Encode(Bytes("abcM"), nullptr, 0x50), "YWJjTV==");
  struct Case {
    std::string text;
    std::vector<uint8_t> bytes;
  } cases[] = {
      {"TWFuTQ=", Bytes("Man")},           // trailing characters ignored
      {"=AAATWFu", Bytes("Man")},          // a group opening with "=" yields nothing
      {"A=AATWFu", Bytes("Man")},          // so does "=" second
      {"TQ=ATWFu", Bytes("MMan")},         // "=" third: one byte, the fourth is not read
      {"!!!!", {0xFF, 0xFF, 0xFF}},        // outside the alphabet: 255, no error
      {"AA\x80\x80", {0x00, 0x0F, 0xFF}},  // codes of 128 and more too
      {"AAA!", {0x00, 0x00, 0xFF}},        // an invalid fourth forces the third byte
      {"!AAA", {0xFC, 0x00, 0x00}},        //
      {"====", {}},                        //
      {std::string("AA\0A", 4), {0x00, 0x0F, 0xC0}},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(Decode(c.text, c.bytes.size()), c.bytes) << c.text;
    EXPECT_EQ(ModelDecode(c.text), c.bytes) << "model disagrees with the stated rule: " << c.text;
  }
}

// ---- Differential ---------------------------------------------------------------------

TEST_P(Base64Engines, encoding_matches_the_reference_and_decodes_back) {
  std::mt19937_64 rng(21);
  std::string reversed(kStandard.rbegin(), kStandard.rend());
  std::string url = kStandard.substr(0, 62) + "-_";
  for (const std::string &alphabet : {kStandard, reversed, url}) {
    // Every short length, and lengths around and past the pair-table path.
    std::vector<size_t> lengths = {6143, 6144, 6145, 100000, 1000003};
    for (size_t n = 0; n <= 300; ++n) lengths.push_back(n);
    for (size_t n : lengths) {
      std::vector<uint8_t> data = RandomBytes(rng, n);
      std::string text = Encode(data, alphabet.c_str());
      ASSERT_EQ(text, ReferenceEncode(data, alphabet)) << n;
      // The decoder reads the standard alphabet whatever encoded the text.
      if (alphabet == kStandard) {
        ASSERT_EQ(Decode(text, n), data) << n;
      } else {
        ASSERT_NO_FATAL_FAILURE(CheckDecode(text));
      }
    }
  }
}

TEST_P(Base64Engines, decoding_arbitrary_text_matches_the_model) {
  // Mostly alphabet characters with "=" and foreign bytes sprinkled in, so
  // groups of every padding shape appear between clean stretches.
  std::mt19937_64 rng(25);
  const std::string extras("=!*\x80\xff \n\0", 8);
  for (int round = 0; round < 2000; ++round) {
    size_t n = round < 1500 ? rng() % 64 : rng() % 5000;
    unsigned noise = 1 + rng() % 40;
    std::string text(n, 'A');
    for (char &c : text) {
      c = rng() % noise == 0 ? extras[rng() % extras.size()] : kStandard[rng() % 64];
    }
    ASSERT_NO_FATAL_FAILURE(CheckDecode(text));
  }
  // Each byte value in each of the first 32 places of 64 clean characters:
  // the whole character classification of a wide block.
  std::string clean(64, 'A');
  for (char &c : clean) c = kStandard[rng() % 64];
  for (size_t at = 0; at < 32; ++at) {
    for (int value = 0; value < 256; ++value) {
      std::string text = clean;
      text[at] = static_cast<char>(value);
      ASSERT_NO_FATAL_FAILURE(CheckDecode(text));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Engines, Base64Engines,
                         ::testing::Values(Base64Engine::kPortable, Base64Engine::kAvx2),
                         [](const auto &info) {
                           return info.param == Base64Engine::kAvx2 ? "avx2" : "portable";
                         });

}  // namespace
