// MD5 block transform, fully unrolled with the sixty-four additive constants
// stored (they are RFC 1321's floor(2^32 * |sin(i)|)), and the incremental
// add/finish logic over the caller's 108-byte context.
#include "codec/md5.h"

#include <cstring>

namespace kx::codec {

static_assert(sizeof(SMRFC1321Context) == 108, "the context layout is fixed");
static_assert(offsetof(SMRFC1321Context, bitCountLow) == 4);
static_assert(offsetof(SMRFC1321Context, state) == 8);
static_assert(offsetof(SMRFC1321Context, bufferedBytes) == 24);
static_assert(offsetof(SMRFC1321Context, digest) == 28);
static_assert(offsetof(SMRFC1321Context, block) == 44);

namespace {

template <Md5Order kOrder>
inline uint32_t LoadWord(const uint8_t *p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  if constexpr ((kOrder == Md5Order::kBig) != (std::endian::native == std::endian::big)) {
    v = __builtin_bswap32(v);
  }
  return v;
}

template <Md5Order kOrder>
inline void StoreWord(uint8_t *p, uint32_t v) {
  if constexpr ((kOrder == Md5Order::kBig) != (std::endian::native == std::endian::big)) {
    v = __builtin_bswap32(v);
  }
  std::memcpy(p, &v, sizeof v);
}

// The four round functions, written so that each needs few dependent
// operations: G's two terms never overlap, so they are added separately.
#define KX_MD5_F(b, c, d) ((d) ^ ((b) & ((c) ^ (d))))
#define KX_MD5_H(b, c, d) ((b) ^ (c) ^ (d))
#define KX_MD5_I(b, c, d) ((c) ^ ((b) | ~(d)))

// Message word and constant are added before the round function, whose
// inputs arrive last, so only f, the rotation and one add wait on them.
#define KX_MD5_STEP(f, a, b, c, d, x, t, s) \
  do {                                      \
    (a) += (x) + (t);                       \
    (a) += f((b), (c), (d));                \
    (a) = std::rotl((a), (s)) + (b);        \
  } while (0)
#define KX_MD5_STEP_G(a, b, c, d, x, t, s) \
  do {                                     \
    (a) += (x) + (t);                      \
    (a) += (c) & ~(d);                     \
    (a) += (b) & (d);                      \
    (a) = std::rotl((a), (s)) + (b);       \
  } while (0)

// Runs `count` 64-byte blocks through the chaining words.
template <Md5Order kOrder>
void Transform(uint32_t state[4], const uint8_t *blocks, size_t count) {
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  for (; count != 0; --count, blocks += 64) {
    uint32_t x[16];
    for (int i = 0; i < 16; ++i) x[i] = LoadWord<kOrder>(blocks + 4 * i);
    const uint32_t a0 = a, b0 = b, c0 = c, d0 = d;

    KX_MD5_STEP(KX_MD5_F, a, b, c, d, x[0], 0xd76aa478u, 7);
    KX_MD5_STEP(KX_MD5_F, d, a, b, c, x[1], 0xe8c7b756u, 12);
    KX_MD5_STEP(KX_MD5_F, c, d, a, b, x[2], 0x242070dbu, 17);
    KX_MD5_STEP(KX_MD5_F, b, c, d, a, x[3], 0xc1bdceeeu, 22);
    KX_MD5_STEP(KX_MD5_F, a, b, c, d, x[4], 0xf57c0fafu, 7);
    KX_MD5_STEP(KX_MD5_F, d, a, b, c, x[5], 0x4787c62au, 12);
    KX_MD5_STEP(KX_MD5_F, c, d, a, b, x[6], 0xa8304613u, 17);
    KX_MD5_STEP(KX_MD5_F, b, c, d, a, x[7], 0xfd469501u, 22);
    KX_MD5_STEP(KX_MD5_F, a, b, c, d, x[8], 0x698098d8u, 7);
    KX_MD5_STEP(KX_MD5_F, d, a, b, c, x[9], 0x8b44f7afu, 12);
    KX_MD5_STEP(KX_MD5_F, c, d, a, b, x[10], 0xffff5bb1u, 17);
    KX_MD5_STEP(KX_MD5_F, b, c, d, a, x[11], 0x895cd7beu, 22);
    KX_MD5_STEP(KX_MD5_F, a, b, c, d, x[12], 0x6b901122u, 7);
    KX_MD5_STEP(KX_MD5_F, d, a, b, c, x[13], 0xfd987193u, 12);
    KX_MD5_STEP(KX_MD5_F, c, d, a, b, x[14], 0xa679438eu, 17);
    KX_MD5_STEP(KX_MD5_F, b, c, d, a, x[15], 0x49b40821u, 22);

    KX_MD5_STEP_G(a, b, c, d, x[1], 0xf61e2562u, 5);
    KX_MD5_STEP_G(d, a, b, c, x[6], 0xc040b340u, 9);
    KX_MD5_STEP_G(c, d, a, b, x[11], 0x265e5a51u, 14);
    KX_MD5_STEP_G(b, c, d, a, x[0], 0xe9b6c7aau, 20);
    KX_MD5_STEP_G(a, b, c, d, x[5], 0xd62f105du, 5);
    KX_MD5_STEP_G(d, a, b, c, x[10], 0x02441453u, 9);
    KX_MD5_STEP_G(c, d, a, b, x[15], 0xd8a1e681u, 14);
    KX_MD5_STEP_G(b, c, d, a, x[4], 0xe7d3fbc8u, 20);
    KX_MD5_STEP_G(a, b, c, d, x[9], 0x21e1cde6u, 5);
    KX_MD5_STEP_G(d, a, b, c, x[14], 0xc33707d6u, 9);
    KX_MD5_STEP_G(c, d, a, b, x[3], 0xf4d50d87u, 14);
    KX_MD5_STEP_G(b, c, d, a, x[8], 0x455a14edu, 20);
    KX_MD5_STEP_G(a, b, c, d, x[13], 0xa9e3e905u, 5);
    KX_MD5_STEP_G(d, a, b, c, x[2], 0xfcefa3f8u, 9);
    KX_MD5_STEP_G(c, d, a, b, x[7], 0x676f02d9u, 14);
    KX_MD5_STEP_G(b, c, d, a, x[12], 0x8d2a4c8au, 20);

    KX_MD5_STEP(KX_MD5_H, a, b, c, d, x[5], 0xfffa3942u, 4);
    KX_MD5_STEP(KX_MD5_H, d, a, b, c, x[8], 0x8771f681u, 11);
    KX_MD5_STEP(KX_MD5_H, c, d, a, b, x[11], 0x6d9d6122u, 16);
    KX_MD5_STEP(KX_MD5_H, b, c, d, a, x[14], 0xfde5380cu, 23);
    KX_MD5_STEP(KX_MD5_H, a, b, c, d, x[1], 0xa4beea44u, 4);
    KX_MD5_STEP(KX_MD5_H, d, a, b, c, x[4], 0x4bdecfa9u, 11);
    KX_MD5_STEP(KX_MD5_H, c, d, a, b, x[7], 0xf6bb4b60u, 16);
    KX_MD5_STEP(KX_MD5_H, b, c, d, a, x[10], 0xbebfbc70u, 23);
    KX_MD5_STEP(KX_MD5_H, a, b, c, d, x[13], 0x289b7ec6u, 4);
    KX_MD5_STEP(KX_MD5_H, d, a, b, c, x[0], 0xeaa127fau, 11);
    KX_MD5_STEP(KX_MD5_H, c, d, a, b, x[3], 0xd4ef3085u, 16);
    KX_MD5_STEP(KX_MD5_H, b, c, d, a, x[6], 0x04881d05u, 23);
    KX_MD5_STEP(KX_MD5_H, a, b, c, d, x[9], 0xd9d4d039u, 4);
    KX_MD5_STEP(KX_MD5_H, d, a, b, c, x[12], 0xe6db99e5u, 11);
    KX_MD5_STEP(KX_MD5_H, c, d, a, b, x[15], 0x1fa27cf8u, 16);
    KX_MD5_STEP(KX_MD5_H, b, c, d, a, x[2], 0xc4ac5665u, 23);

    KX_MD5_STEP(KX_MD5_I, a, b, c, d, x[0], 0xf4292244u, 6);
    KX_MD5_STEP(KX_MD5_I, d, a, b, c, x[7], 0x432aff97u, 10);
    KX_MD5_STEP(KX_MD5_I, c, d, a, b, x[14], 0xab9423a7u, 15);
    KX_MD5_STEP(KX_MD5_I, b, c, d, a, x[5], 0xfc93a039u, 21);
    KX_MD5_STEP(KX_MD5_I, a, b, c, d, x[12], 0x655b59c3u, 6);
    KX_MD5_STEP(KX_MD5_I, d, a, b, c, x[3], 0x8f0ccc92u, 10);
    KX_MD5_STEP(KX_MD5_I, c, d, a, b, x[10], 0xffeff47du, 15);
    KX_MD5_STEP(KX_MD5_I, b, c, d, a, x[1], 0x85845dd1u, 21);
    KX_MD5_STEP(KX_MD5_I, a, b, c, d, x[8], 0x6fa87e4fu, 6);
    KX_MD5_STEP(KX_MD5_I, d, a, b, c, x[15], 0xfe2ce6e0u, 10);
    KX_MD5_STEP(KX_MD5_I, c, d, a, b, x[6], 0xa3014314u, 15);
    KX_MD5_STEP(KX_MD5_I, b, c, d, a, x[13], 0x4e0811a1u, 21);
    KX_MD5_STEP(KX_MD5_I, a, b, c, d, x[4], 0xf7537e82u, 6);
    KX_MD5_STEP(KX_MD5_I, d, a, b, c, x[11], 0xbd3af235u, 10);
    KX_MD5_STEP(KX_MD5_I, c, d, a, b, x[2], 0x2ad7d2bbu, 15);
    KX_MD5_STEP(KX_MD5_I, b, c, d, a, x[9], 0xeb86d391u, 21);

    a += a0;
    b += b0;
    c += c0;
    d += d0;
  }
  state[0] = a;
  state[1] = b;
  state[2] = c;
  state[3] = d;
}

#undef KX_MD5_F
#undef KX_MD5_H
#undef KX_MD5_I
#undef KX_MD5_STEP
#undef KX_MD5_STEP_G

void AddBits(SMRFC1321Context *context, size_t bytes) {
  uint64_t bits = (uint64_t{context->bitCountHigh} << 32) | context->bitCountLow;
  bits += uint64_t{bytes} * 8;
  context->bitCountHigh = static_cast<uint32_t>(bits >> 32);
  context->bitCountLow = static_cast<uint32_t>(bits);
}

}  // namespace

void RFC1321Load(SMRFC1321Context *context) {
  if (context == nullptr) return;
  context->bitCountHigh = 0;
  context->bitCountLow = 0;
  context->state[0] = 0x67452301u;
  context->state[1] = 0xEFCDAB89u;
  context->state[2] = 0x98BADCFEu;
  context->state[3] = 0x10325476u;
  context->bufferedBytes = 0;
  std::memset(context->digest, 0, sizeof context->digest);
}

template <Md5Order kOrder>
void RFC1321AddMsg(SMRFC1321Context *context, const uint8_t *data, size_t length) {
  if (context == nullptr || data == nullptr || length == 0) return;
  AddBits(context, length);
  // A corrupt waiting count must not send the copy outside the block.
  size_t waiting = context->bufferedBytes & 63u;
  if (waiting != 0) {
    size_t room = 64 - waiting;
    if (length < room) {
      std::memcpy(context->block + waiting, data, length);
      context->bufferedBytes = static_cast<uint32_t>(waiting + length);
      return;
    }
    std::memcpy(context->block + waiting, data, room);
    Transform<kOrder>(context->state, context->block, 1);
    data += room;
    length -= room;
  }
  // Whole blocks straight from the caller's memory.
  Transform<kOrder>(context->state, data, length / 64);
  data += length & ~size_t{63};
  length &= 63;
  std::memcpy(context->block, data, length);
  context->bufferedBytes = static_cast<uint32_t>(length);
}

template <Md5Order kOrder>
void RFC1321ComputeMsgDigest(SMRFC1321Context *context) {
  if (context == nullptr) return;
  size_t used = context->bufferedBytes & 63u;
  context->block[used++] = 0x80;
  // Padding reaches 56 bytes modulo 64; with no room left for the bit count
  // the padding spills into one more block.
  if (used > 56) {
    std::memset(context->block + used, 0, 64 - used);
    Transform<kOrder>(context->state, context->block, 1);
    used = 0;
  }
  std::memset(context->block + used, 0, 56 - used);
  // The 64-bit bit count in the chosen order: little-endian puts the low
  // word first, big-endian the high word.
  if constexpr (kOrder == Md5Order::kBig) {
    StoreWord<kOrder>(context->block + 56, context->bitCountHigh);
    StoreWord<kOrder>(context->block + 60, context->bitCountLow);
  } else {
    StoreWord<kOrder>(context->block + 56, context->bitCountLow);
    StoreWord<kOrder>(context->block + 60, context->bitCountHigh);
  }
  Transform<kOrder>(context->state, context->block, 1);
  for (int i = 0; i < 4; ++i) StoreWord<kOrder>(context->digest + 4 * i, context->state[i]);
}

void RFC1321UnLoad(SMRFC1321Context *context) {
  if (context == nullptr) return;
  std::memset(context, 0, sizeof *context);
}

template void RFC1321AddMsg<Md5Order::kLittle>(SMRFC1321Context *, const uint8_t *, size_t);
template void RFC1321AddMsg<Md5Order::kBig>(SMRFC1321Context *, const uint8_t *, size_t);
template void RFC1321ComputeMsgDigest<Md5Order::kLittle>(SMRFC1321Context *);
template void RFC1321ComputeMsgDigest<Md5Order::kBig>(SMRFC1321Context *);

}  // namespace kx::codec
