// MD5: the exported host-order digest against OpenSSL (whole and split
// messages), the RFC 1321 vectors, the context layout and its count, and the
// big-endian variant against a plain reference MD5 written here from the
// algorithm's description (sine constants, loop form, either byte order).
#include "codec/md5.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kxsupt/codec.h"

namespace {

using Digest = std::vector<uint8_t>;
using kx::codec::Md5Order;

Digest OpenSsl(const uint8_t *data, size_t length) {
  Digest out(16);
  unsigned int size = 0;
  EXPECT_EQ(EVP_Digest(data, length, out.data(), &size, EVP_md5(), nullptr), 1);
  return out;
}

Digest Exported(const uint8_t *data, size_t length) {
  SMRFC1321Context context;
  SMRFC1321Load(&context);
  SMRFC1321AddMsg(&context, data, static_cast<uint32_t>(length));
  SMRFC1321ComputeMsgDigest(&context);
  return Digest(context.digest, context.digest + 16);
}

// Feeds the message in random pieces (empty ones included).
template <typename Add>
void FeedInPieces(std::mt19937_64 &rng, const uint8_t *data, size_t length, Add add) {
  size_t at = 0;
  while (at < length) {
    size_t piece = rng() % 4 == 0 ? 0 : rng() % std::min<size_t>(length - at + 1, 150);
    add(data + at, piece);
    at += piece;
  }
}

std::string Hex(const Digest &d) {
  static const char kHex[] = "0123456789abcdef";
  std::string s;
  for (uint8_t b : d) {
    s += kHex[b >> 4];
    s += kHex[b & 15];
  }
  return s;
}

std::vector<uint8_t> RandomBytes(std::mt19937_64 &rng, size_t n) {
  std::vector<uint8_t> bytes(n);
  for (auto &b : bytes) b = static_cast<uint8_t>(rng());
  return bytes;
}

// ---- Reference MD5 ----------------------------------------------------------

// A deliberately plain MD5: constants from the sine, one loop per step, and
// words, bit count and digest in the requested byte order.
Digest ReferenceMd5(const uint8_t *data, size_t length, bool big_endian) {
  uint32_t t[64];
  for (int i = 0; i < 64; ++i) {
    t[i] = static_cast<uint32_t>(std::floor(4294967296.0 * std::fabs(std::sin(i + 1.0))));
  }
  const int shifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
  std::vector<uint8_t> message(data, data + length);
  uint64_t bits = uint64_t{length} * 8;
  message.push_back(0x80);
  while (message.size() % 64 != 56) message.push_back(0);
  for (int i = 0; i < 8; ++i) {
    int shift = big_endian ? 56 - 8 * i : 8 * i;
    message.push_back(static_cast<uint8_t>(bits >> shift));
  }
  auto word = [&](const uint8_t *p) {
    return big_endian
               ? (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3]
               : (uint32_t{p[3]} << 24) | (uint32_t{p[2]} << 16) | (uint32_t{p[1]} << 8) | p[0];
  };
  uint32_t h[4] = {0x67452301u, 0xefcdab89u, 0x98badcfeu, 0x10325476u};
  for (size_t block = 0; block < message.size(); block += 64) {
    uint32_t x[16];
    for (int i = 0; i < 16; ++i) x[i] = word(&message[block + 4 * i]);
    uint32_t a = h[0], b = h[1], c = h[2], d = h[3];
    for (int i = 0; i < 64; ++i) {
      uint32_t f;
      int k;
      switch (i / 16) {
        case 0:
          f = (b & c) | (~b & d), k = i;
          break;
        case 1:
          f = (b & d) | (c & ~d), k = (1 + 5 * i) % 16;
          break;
        case 2:
          f = b ^ c ^ d, k = (5 + 3 * i) % 16;
          break;
        default:
          f = c ^ (b | ~d), k = (7 * i) % 16;
          break;
      }
      uint32_t sum = a + f + x[k] + t[i];
      int s = shifts[i / 16][i % 4];
      uint32_t rotated = (sum << s) | (sum >> (32 - s));
      a = d;
      d = c;
      c = b;
      b = b + rotated;
    }
    h[0] += a, h[1] += b, h[2] += c, h[3] += d;
  }
  Digest out;
  for (uint32_t v : h) {
    for (int i = 0; i < 4; ++i)
      out.push_back(static_cast<uint8_t>(v >> (big_endian ? 24 - 8 * i : 8 * i)));
  }
  return out;
}

// ---- Host order ----------------------------------------------------------------

TEST(Md5, rfc1321_vectors) {
  struct Case {
    const char *message, *digest;
  } cases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
       "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890"
       "123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const Case &c : cases) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(c.message);
    EXPECT_EQ(Hex(Exported(bytes, std::strlen(c.message))), c.digest) << c.message;
  }
}

TEST(Md5, padding_boundaries_match_openssl) {
  std::mt19937_64 rng(11);
  std::vector<uint8_t> data = RandomBytes(rng, 200);
  for (size_t n : {0u, 1u, 55u, 56u, 57u, 63u, 64u, 65u, 119u, 120u, 127u, 128u, 129u}) {
    EXPECT_EQ(Exported(data.data(), n), OpenSsl(data.data(), n)) << n;
  }
}

TEST(Md5, random_messages_whole_and_split_match_openssl) {
  std::mt19937_64 rng(12);
  for (int round = 0; round < 300; ++round) {
    size_t n = round < 200 ? rng() % 400 : rng() % 200000;
    std::vector<uint8_t> data = RandomBytes(rng, n);
    Digest expected = OpenSsl(data.data(), n);
    ASSERT_EQ(Exported(data.data(), n), expected) << "whole, length " << n;

    SMRFC1321Context context;
    SMRFC1321Load(&context);
    FeedInPieces(rng, data.data(), n, [&](const uint8_t *p, size_t k) {
      SMRFC1321AddMsg(&context, p, static_cast<uint32_t>(k));
    });
    SMRFC1321ComputeMsgDigest(&context);
    ASSERT_EQ(Digest(context.digest, context.digest + 16), expected) << "split, length " << n;
  }
}

TEST(Md5, byte_at_a_time_matches_one_call) {
  std::mt19937_64 rng(13);
  std::vector<uint8_t> data = RandomBytes(rng, 1000);
  SMRFC1321Context context;
  SMRFC1321Load(&context);
  for (uint8_t b : data) SMRFC1321AddMsg(&context, &b, 1);
  SMRFC1321ComputeMsgDigest(&context);
  EXPECT_EQ(Digest(context.digest, context.digest + 16), OpenSsl(data.data(), data.size()));
}

// ---- The context --------------------------------------------------------------

TEST(Md5Context, layout_is_the_fixed_108_bytes) {
  EXPECT_EQ(sizeof(SMRFC1321Context), 108u);
  EXPECT_EQ(offsetof(SMRFC1321Context, bitCountHigh), 0u);
  EXPECT_EQ(offsetof(SMRFC1321Context, bitCountLow), 4u);
  EXPECT_EQ(offsetof(SMRFC1321Context, state), 8u);
  EXPECT_EQ(offsetof(SMRFC1321Context, bufferedBytes), 24u);
  EXPECT_EQ(offsetof(SMRFC1321Context, digest), 28u);
  EXPECT_EQ(offsetof(SMRFC1321Context, block), 44u);
}

TEST(Md5Context, load_count_and_unload) {
  SMRFC1321Context context;
  std::memset(&context, 0xA5, sizeof context);
  SMRFC1321Load(&context);
  EXPECT_EQ(context.bitCountHigh, 0u);
  EXPECT_EQ(context.bitCountLow, 0u);
  EXPECT_EQ(context.state[0], 0x67452301u);
  EXPECT_EQ(context.state[1], 0xEFCDAB89u);
  EXPECT_EQ(context.state[2], 0x98BADCFEu);
  EXPECT_EQ(context.state[3], 0x10325476u);
  EXPECT_EQ(context.bufferedBytes, 0u);
  for (uint8_t b : context.digest) EXPECT_EQ(b, 0);

  uint8_t data[150] = {};
  SMRFC1321AddMsg(&context, data, 0);  // nothing
  EXPECT_EQ(context.bitCountLow, 0u);
  SMRFC1321AddMsg(&context, data, 10);
  EXPECT_EQ(context.bufferedBytes, 10u);
  SMRFC1321AddMsg(&context, data, 140);
  EXPECT_EQ(context.bitCountLow, 150u * 8);
  EXPECT_EQ(context.bufferedBytes, 150u % 64);

  // The low word carries into the high one.
  context.bitCountLow = 0xFFFFFFF8u;
  SMRFC1321AddMsg(&context, data, 3);
  EXPECT_EQ(context.bitCountHigh, 1u);
  EXPECT_EQ(context.bitCountLow, 16u);

  SMRFC1321UnLoad(&context);
  const auto *raw = reinterpret_cast<const uint8_t *>(&context);
  for (size_t i = 0; i < sizeof context; ++i) ASSERT_EQ(raw[i], 0) << i;
}

TEST(Md5Context, null_arguments_are_ignored) {
  SMRFC1321Load(nullptr);
  SMRFC1321AddMsg(nullptr, "x", 1);
  SMRFC1321ComputeMsgDigest(nullptr);
  SMRFC1321UnLoad(nullptr);
  SMRFC1321Context context;
  SMRFC1321Load(&context);
  SMRFC1321AddMsg(&context, nullptr, 5);
  SMRFC1321ComputeMsgDigest(&context);
  EXPECT_EQ(Hex(Digest(context.digest, context.digest + 16)), "d41d8cd98f00b204e9800998ecf8427e");
}

// ---- Both byte orders against the reference --------------------------------------

template <Md5Order kOrder>
Digest Internal(std::mt19937_64 &rng, const uint8_t *data, size_t length, bool split) {
  SMRFC1321Context context;
  kx::codec::Md5Load(&context);
  if (split) {
    FeedInPieces(rng, data, length,
                 [&](const uint8_t *p, size_t k) { kx::codec::Md5Add<kOrder>(&context, p, k); });
  } else {
    kx::codec::Md5Add<kOrder>(&context, data, length);
  }
  kx::codec::Md5Finish<kOrder>(&context);
  return Digest(context.digest, context.digest + 16);
}

TEST(Md5ByteOrder, reference_agrees_with_openssl_in_little_endian) {
  std::mt19937_64 rng(14);
  for (int round = 0; round < 100; ++round) {
    std::vector<uint8_t> data = RandomBytes(rng, rng() % 300);
    ASSERT_EQ(ReferenceMd5(data.data(), data.size(), false), OpenSsl(data.data(), data.size()));
  }
}

TEST(Md5ByteOrder, both_orders_match_the_reference) {
  std::mt19937_64 rng(15);
  for (int round = 0; round < 200; ++round) {
    std::vector<uint8_t> data = RandomBytes(rng, round < 150 ? rng() % 300 : rng() % 20000);
    const uint8_t *p = data.data();
    size_t n = data.size();
    Digest little = ReferenceMd5(p, n, false), big = ReferenceMd5(p, n, true);
    ASSERT_EQ((Internal<Md5Order::kLittle>(rng, p, n, false)), little) << n;
    ASSERT_EQ((Internal<Md5Order::kLittle>(rng, p, n, true)), little) << n;
    ASSERT_EQ((Internal<Md5Order::kBig>(rng, p, n, false)), big) << n;
    ASSERT_EQ((Internal<Md5Order::kBig>(rng, p, n, true)), big) << n;
  }
}

TEST(Md5ByteOrder, big_endian_digest_differs_from_the_rfc_one) {
  // The big-endian form reads words, count and digest the other way round,
  // so it must not coincide with the standard digest.
  const auto *abc = reinterpret_cast<const uint8_t *>("abc");
  std::mt19937_64 rng(16);
  Digest big = Internal<Md5Order::kBig>(rng, abc, 3, false);
  EXPECT_NE(Hex(big), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(big, ReferenceMd5(abc, 3, true));
}

}  // namespace
