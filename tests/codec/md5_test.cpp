// MD5: the exported host-order digest against OpenSSL (whole and split
// messages, every padding boundary), the context layout, count and wipe, and
// the big-endian variant against a plain reference MD5 written here from the
// algorithm's description (sine constants, loop form, either byte order).
#include "codec/md5.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cmath>
#include <cstddef>
#include <cstring>

#include "codec_test_util.h"
#include "kxsupt/codec.h"

namespace {

using Digest = std::vector<uint8_t>;
using kx::codec::Md5Order;

Digest OpenSsl(const std::vector<uint8_t> &data) {
  Digest out(16);
  EXPECT_EQ(EVP_Digest(data.data(), data.size(), out.data(), nullptr, EVP_md5(), nullptr), 1);
  return out;
}

// Feeds the message in random pieces (empty ones included), some within a
// block, some across several.
template <typename Add>
void FeedInPieces(std::mt19937_64 &rng, const std::vector<uint8_t> &data, Add add) {
  for (size_t at = 0, piece; at < data.size(); at += piece) {
    piece = rng() % 4 == 0 ? 0 : rng() % std::min<size_t>(data.size() - at + 1, 150);
    add(data.data() + at, piece);
  }
}

// A deliberately plain MD5: constants from the sine, one loop per step, and
// words, bit count and digest in the requested byte order.
Digest ReferenceMd5(const std::vector<uint8_t> &data, bool big_endian) {
  uint32_t t[64];
  for (int i = 0; i < 64; ++i) {
    t[i] = static_cast<uint32_t>(std::floor(4294967296.0 * std::fabs(std::sin(i + 1.0))));
  }
  const int shifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
  const int kStep[4] = {1, 5, 3, 7}, kStart[4] = {0, 1, 5, 0};  // message word k = step*i+start
  std::vector<uint8_t> message = data;
  uint64_t bits = uint64_t{data.size()} * 8;
  message.push_back(0x80);
  while (message.size() % 64 != 56) message.push_back(0);
  for (int i = 0; i < 8; ++i) message.push_back(bits >> (big_endian ? 56 - 8 * i : 8 * i));
  auto word = [&](const uint8_t *p) {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v |= uint32_t{p[i]} << (big_endian ? 24 - 8 * i : 8 * i);
    return v;
  };
  uint32_t h[4] = {0x67452301u, 0xefcdab89u, 0x98badcfeu, 0x10325476u};
  for (size_t block = 0; block < message.size(); block += 64) {
    uint32_t a = h[0], b = h[1], c = h[2], d = h[3];
    for (int i = 0; i < 64; ++i) {
      int r = i / 16, k = (kStep[r] * i + kStart[r]) % 16;
      uint32_t f = r == 0   ? (b & c) | (~b & d)
                   : r == 1 ? (b & d) | (c & ~d)
                   : r == 2 ? b ^ c ^ d
                            : c ^ (b | ~d);
      uint32_t sum = a + f + word(&message[block + 4 * k]) + t[i];
      int s = shifts[r][i % 4];
      a = d, d = c, c = b;
      b += (sum << s) | (sum >> (32 - s));
    }
    h[0] += a, h[1] += b, h[2] += c, h[3] += d;
  }
  Digest out;
  for (uint32_t v : h) {
    for (int i = 0; i < 4; ++i) out.push_back(v >> (big_endian ? 24 - 8 * i : 8 * i));
  }
  return out;
}

Digest Finish(SMRFC1321Context &context) {
  SMRFC1321ComputeMsgDigest(&context);
  return Digest(context.digest, context.digest + 16);
}

// ---- The exported host-order digest --------------------------------------------

TEST(Md5, whole_and_split_messages_match_openssl) {
  std::mt19937_64 rng(12);
  // Every length over the first padding boundaries, then random long ones.
  for (size_t round = 0; round < 400; ++round) {
    std::vector<uint8_t> data = RandomBytes(rng, round < 300 ? round : rng() % 200000);
    Digest expected = OpenSsl(data);
    SMRFC1321Context context;
    std::memset(&context, 0xA5, sizeof context);  // Load sets up every field
    SMRFC1321Load(&context);
    SMRFC1321AddMsg(&context, data.data(), static_cast<uint32_t>(data.size()));
    ASSERT_EQ(Finish(context), expected) << "whole, length " << data.size();
    SMRFC1321Load(&context);
    FeedInPieces(rng, data, [&](const uint8_t *p, size_t k) {
      SMRFC1321AddMsg(&context, p, static_cast<uint32_t>(k));
    });
    ASSERT_EQ(Finish(context), expected) << "split, length " << data.size();
  }
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

TEST(Md5Context, count_carries_nulls_are_ignored_and_unload_zeroes) {
  uint8_t data[150] = {};
  SMRFC1321Context context;
  // Null arguments are ignored.
  SMRFC1321Load(nullptr);
  SMRFC1321AddMsg(nullptr, data, 1);
  SMRFC1321ComputeMsgDigest(nullptr);
  SMRFC1321Load(&context);
  SMRFC1321AddMsg(&context, nullptr, 5);
  EXPECT_EQ(Finish(context), OpenSsl({}));
  SMRFC1321Load(&context);
  SMRFC1321AddMsg(&context, data, 150);
  EXPECT_EQ(context.bitCountLow, 150u * 8);
  EXPECT_EQ(context.bufferedBytes, 150u % 64);
  // The low word carries into the high one.
  context.bitCountLow = 0xFFFFFFF8u;
  SMRFC1321AddMsg(&context, data, 3);
  EXPECT_EQ(context.bitCountHigh, 1u);
  EXPECT_EQ(context.bitCountLow, 16u);

  SMRFC1321UnLoad(&context);
  SMRFC1321UnLoad(nullptr);
  const auto *raw = reinterpret_cast<const uint8_t *>(&context);
  for (size_t i = 0; i < sizeof context; ++i) ASSERT_EQ(raw[i], 0) << i;
}

// ---- Both byte orders against the reference --------------------------------------

template <Md5Order kOrder>
Digest Internal(std::mt19937_64 &rng, const std::vector<uint8_t> &data) {
  SMRFC1321Context context;
  kx::codec::RFC1321Load(&context);
  FeedInPieces(rng, data, [&](const uint8_t *p, size_t k) {
    kx::codec::RFC1321AddMsg<kOrder>(&context, p, k);
  });
  kx::codec::RFC1321ComputeMsgDigest<kOrder>(&context);
  return Digest(context.digest, context.digest + 16);
}

TEST(Md5ByteOrder, both_orders_match_the_reference) {
  std::mt19937_64 rng(15);
  for (int round = 0; round < 200; ++round) {
    std::vector<uint8_t> data = RandomBytes(rng, round < 150 ? rng() % 300 : rng() % 20000);
    Digest little = ReferenceMd5(data, false);
    ASSERT_EQ(little, OpenSsl(data)) << "the reference itself is wrong";
    ASSERT_EQ(Internal<Md5Order::kLittle>(rng, data), little) << data.size();
    ASSERT_EQ(Internal<Md5Order::kBig>(rng, data), ReferenceMd5(data, true)) << data.size();
  }
}

}  // namespace
