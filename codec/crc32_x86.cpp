// CRC-32 by carry-less multiplication: the buffer is folded 128 bits at a time
// (PCLMULQDQ) or 512 bits at a time (VPCLMULQDQ with AVX-512) into one 16-byte
// remainder congruent to everything before it, which the portable engine then
// finishes together with the tail. Built with per-function target attributes
// and chosen at run time; on other processors the queries report false.
#include "codec/crc32.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

namespace kx::codec {

#if defined(__x86_64__) || defined(__i386__)

namespace {

// Folding constants. A 16-byte lane read little-endian holds the stream's
// earlier 8 bytes (E) in its low quadword and the later 8 (F) in its high
// one, bit-reflected: the lane is E * x^64 + F. Moving it D bits forward
// needs E * x^(D+64) + F * x^D. A multiplier kept in the low 32 bits of a
// quadword stands for itself times x^32, and a carry-less product of two
// reflected quadwords comes out times x, so the multipliers are x^(D+31) and
// x^(D-33) modulo the polynomial (register form: bit 31 is x^0). The product
// has at most 96 significant bits and fits the lane.
constexpr uint64_t XPowModP(unsigned n) {
  uint32_t r = 1u << 31;
  for (unsigned i = 0; i < n; ++i) r = (r >> 1) ^ ((r & 1u) ? kCrc32Polynomial : 0u);
  return r;
}

struct FoldConstants {
  uint64_t high;  // multiplies the lane's low quadword (earlier bytes)
  uint64_t low;   // multiplies the lane's high quadword (later bytes)
};

constexpr FoldConstants Fold(unsigned bits) {
  return {XPowModP(bits + 31), XPowModP(bits - 33)};
}

constexpr FoldConstants kFold128 = Fold(128);
constexpr FoldConstants kFold512 = Fold(512);
constexpr FoldConstants kFold2048 = Fold(2048);

__attribute__((target("pclmul,sse2"))) inline __m128i Constants128(FoldConstants k) {
  return _mm_set_epi64x(static_cast<long long>(k.low), static_cast<long long>(k.high));
}

// lane * x^D (congruent, at most 96 bits) plus the 16 bytes found D bits later.
__attribute__((target("pclmul,sse2"))) inline __m128i FoldInto(__m128i lane, __m128i k,
                                                               __m128i next) {
  __m128i a = _mm_clmulepi64_si128(lane, k, 0x00);
  __m128i b = _mm_clmulepi64_si128(lane, k, 0x11);
  return _mm_xor_si128(_mm_xor_si128(a, b), next);
}

__attribute__((target("pclmul,sse2"))) inline __m128i Load128(const uint8_t *p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
}

// The last folded lane stands for the whole prefix: its CRC from a zero
// register, continued over the tail, is the CRC of prefix and tail.
__attribute__((target("pclmul,sse2"))) uint32_t FinishLane(__m128i lane, const uint8_t *tail,
                                                           size_t length) {
  alignas(16) uint8_t bytes[16];
  _mm_store_si128(reinterpret_cast<__m128i *>(bytes), lane);
  return Crc32RawPortable(Crc32RawPortable(0, bytes, 16), tail, length);
}

// Folds 16-byte steps from one lane that already holds everything up to p.
__attribute__((target("pclmul,sse2"))) uint32_t FoldRest(__m128i x, const uint8_t *p,
                                                         size_t length) {
  const __m128i k128 = Constants128(kFold128);
  while (length >= 16) {
    x = FoldInto(x, k128, Load128(p));
    p += 16;
    length -= 16;
  }
  return FinishLane(x, p, length);
}

}  // namespace

bool HasCrc32Clmul() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse2");
}

bool HasCrc32Vpclmul() {
  __builtin_cpu_init();
  return HasCrc32Clmul() && __builtin_cpu_supports("avx512f") &&
         __builtin_cpu_supports("vpclmulqdq");
}

__attribute__((target("pclmul,sse2"))) uint32_t Crc32RawClmul(uint32_t crc, const uint8_t *p,
                                                              size_t length) {
  if (length < 64) return Crc32RawPortable(crc, p, length);
  // Four lanes of 16 bytes, each folded 512 bits ahead per round; the
  // register enters as the first four bytes.
  __m128i x0 = _mm_xor_si128(Load128(p), _mm_cvtsi32_si128(static_cast<int>(crc)));
  __m128i x1 = Load128(p + 16);
  __m128i x2 = Load128(p + 32);
  __m128i x3 = Load128(p + 48);
  p += 64;
  length -= 64;
  const __m128i k512 = Constants128(kFold512);
  while (length >= 64) {
    x0 = FoldInto(x0, k512, Load128(p));
    x1 = FoldInto(x1, k512, Load128(p + 16));
    x2 = FoldInto(x2, k512, Load128(p + 32));
    x3 = FoldInto(x3, k512, Load128(p + 48));
    p += 64;
    length -= 64;
  }
  const __m128i k128 = Constants128(kFold128);
  __m128i x = FoldInto(x0, k128, x1);
  x = FoldInto(x, k128, x2);
  x = FoldInto(x, k128, x3);
  return FoldRest(x, p, length);
}

// GCC 12's AVX-512 intrinsics seed their pass-through operand with a
// self-initialised "undefined" vector, which -Wmaybe-uninitialized reports.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace {

#define KX_AVX512_TARGET __attribute__((target("avx512f,vpclmulqdq,pclmul,sse2")))

KX_AVX512_TARGET inline __m512i Constants512(FoldConstants k) {
  return _mm512_broadcast_i32x4(Constants128(k));
}

KX_AVX512_TARGET inline __m512i FoldInto512(__m512i lanes, __m512i k, __m512i next) {
  __m512i a = _mm512_clmulepi64_epi128(lanes, k, 0x00);
  __m512i b = _mm512_clmulepi64_epi128(lanes, k, 0x11);
  return _mm512_ternarylogic_epi64(a, b, next, 0x96);  // a ^ b ^ next
}

KX_AVX512_TARGET inline __m512i Load512(const uint8_t *p) {
  return _mm512_loadu_si512(p);
}

}  // namespace

KX_AVX512_TARGET uint32_t Crc32RawVpclmul(uint32_t crc, const uint8_t *p, size_t length) {
  if (length < 256) return Crc32RawClmul(crc, p, length);
  // Sixteen lanes in four registers, each folded 2048 bits ahead per round.
  __m512i z0 = _mm512_xor_si512(Load512(p),
                                _mm512_zextsi128_si512(_mm_cvtsi32_si128(static_cast<int>(crc))));
  __m512i z1 = Load512(p + 64);
  __m512i z2 = Load512(p + 128);
  __m512i z3 = Load512(p + 192);
  p += 256;
  length -= 256;
  const __m512i k2048 = Constants512(kFold2048);
  while (length >= 256) {
    z0 = FoldInto512(z0, k2048, Load512(p));
    z1 = FoldInto512(z1, k2048, Load512(p + 64));
    z2 = FoldInto512(z2, k2048, Load512(p + 128));
    z3 = FoldInto512(z3, k2048, Load512(p + 192));
    p += 256;
    length -= 256;
  }
  const __m512i k512 = Constants512(kFold512);
  __m512i z = FoldInto512(z0, k512, z1);
  z = FoldInto512(z, k512, z2);
  z = FoldInto512(z, k512, z3);
  while (length >= 64) {
    z = FoldInto512(z, k512, Load512(p));
    p += 64;
    length -= 64;
  }
  const __m128i k128 = Constants128(kFold128);
  __m128i x = FoldInto(_mm512_castsi512_si128(z), k128, _mm512_extracti32x4_epi32(z, 1));
  x = FoldInto(x, k128, _mm512_extracti32x4_epi32(z, 2));
  x = FoldInto(x, k128, _mm512_extracti32x4_epi32(z, 3));
  return FoldRest(x, p, length);
}

#undef KX_AVX512_TARGET

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

#else  // not x86

bool HasCrc32Clmul() {
  return false;
}
bool HasCrc32Vpclmul() {
  return false;
}
uint32_t Crc32RawClmul(uint32_t crc, const uint8_t *p, size_t length) {
  return Crc32RawPortable(crc, p, length);
}
uint32_t Crc32RawVpclmul(uint32_t crc, const uint8_t *p, size_t length) {
  return Crc32RawPortable(crc, p, length);
}

#endif

}  // namespace kx::codec
