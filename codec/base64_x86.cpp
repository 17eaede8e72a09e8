// The AVX2 Base64 engine: 24 bytes to 32 characters and back per step, with
// the decoder's rules kept exactly (characters outside the alphabet count as
// 255; blocks holding '=' go group by group through the portable rules). The
// remainder of every call is left to the portable loops.
#include <cstring>

#include "codec/base64.h"
#include "codec/base64_kernels.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

namespace kx::codec {

#if defined(__x86_64__) || defined(__i386__)

#define KX_AVX2_TARGET __attribute__((target("avx2")))

namespace {

// Sixteen 6-bit indices per lane from twelve input bytes per lane: each
// group a, b, c is spread to the bytes b, a, c, b and the four fields are cut
// out with two multiplications (one keeps high halves, one low halves).
KX_AVX2_TARGET inline __m256i SplitSextets(const uint8_t *in) {
  __m256i bytes = _mm256_inserti128_si256(
      _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in))),
      _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + 12)), 1);
  const __m256i spread = _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10, 1, 0,
                                          2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
  bytes = _mm256_shuffle_epi8(bytes, spread);
  __m256i first_third = _mm256_mulhi_epu16(_mm256_and_si256(bytes, _mm256_set1_epi32(0x0FC0FC00)),
                                           _mm256_set1_epi32(0x04000040));
  __m256i second_fourth = _mm256_mullo_epi16(_mm256_and_si256(bytes, _mm256_set1_epi32(0x003F03F0)),
                                             _mm256_set1_epi32(0x01000010));
  return _mm256_or_si256(first_third, second_fourth);
}

// Standard alphabet: each index range is one constant away from its letter.
KX_AVX2_TARGET inline __m256i StandardLetters(__m256i index) {
  const __m256i offsets =
      _mm256_setr_epi8(65, 71, -4, -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 0, 0, 65, 71, -4,
                       -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 0, 0);
  // 0..25 -> 0, 26..51 -> 1, 52..61 -> 2..11, 62 -> 12, 63 -> 13.
  __m256i range = _mm256_subs_epu8(index, _mm256_set1_epi8(51));
  range = _mm256_sub_epi8(range, _mm256_cmpgt_epi8(index, _mm256_set1_epi8(25)));
  return _mm256_add_epi8(index, _mm256_shuffle_epi8(offsets, range));
}

// A caller's alphabet: four 16-letter quarters looked up by the low four
// bits and kept where the upper two bits choose that quarter.
struct Quarters {
  __m256i letters[4];
};

KX_AVX2_TARGET inline Quarters LoadQuarters(const char *alphabet) {
  Quarters q;
  for (int k = 0; k < 4; ++k) {
    q.letters[k] = _mm256_broadcastsi128_si256(
        _mm_loadu_si128(reinterpret_cast<const __m128i *>(alphabet + 16 * k)));
  }
  return q;
}

KX_AVX2_TARGET inline __m256i CallerLetters(const Quarters &q, __m256i index) {
  __m256i quarter = _mm256_and_si256(_mm256_srli_epi16(index, 4), _mm256_set1_epi8(3));
  __m256i out = _mm256_setzero_si256();
  for (int k = 0; k < 4; ++k) {
    __m256i mine = _mm256_cmpeq_epi8(quarter, _mm256_set1_epi8(static_cast<char>(k)));
    out = _mm256_or_si256(out, _mm256_and_si256(mine, _mm256_shuffle_epi8(q.letters[k], index)));
  }
  return out;
}

}  // namespace

bool HasBase64Avx2() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2");
}

KX_AVX2_TARGET char *EncodeGroupsAvx2(char *out, const uint8_t *in, size_t groups,
                                      const char *alphabet) {
  // Eight groups per step; the second 16-byte load reads four bytes past
  // them, so two more groups must remain.
  if (std::memcmp(alphabet, kBase64Alphabet, 64) == 0) {
    for (; groups >= 10; groups -= 8, in += 24, out += 32) {
      _mm256_storeu_si256(reinterpret_cast<__m256i *>(out), StandardLetters(SplitSextets(in)));
    }
  } else {
    const Quarters quarters = LoadQuarters(alphabet);
    for (; groups >= 10; groups -= 8, in += 24, out += 32) {
      _mm256_storeu_si256(reinterpret_cast<__m256i *>(out),
                          CallerLetters(quarters, SplitSextets(in)));
    }
  }
  return EncodeGroupsPortable(out, in, groups, alphabet);
}

// The decoder's constants. Characters are classified by their upper four
// bits: one table gives the lowest and one the highest valid character of
// that row, a third the offset to its value; '/' shares its row with '+' and
// is moved by a fix-up. Rows 0 and 1 and the rows of codes 128 and up
// (negative bytes) have bounds that no character meets.
struct DecodeConstants {
  __m256i lowest, highest, offsets, nibble, slash, slash_fix, top, ab_bc, abc, pack, lanes, pad;
};

KX_AVX2_TARGET inline DecodeConstants MakeDecodeConstants() {
  DecodeConstants k;
  k.lowest = _mm256_setr_epi8(1, 0, '+', '0', 'A', 'P', 'a', 'p', 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, '+',
                              '0', 'A', 'P', 'a', 'p', 1, 1, 1, 1, 1, 1, 1, 1);
  k.highest = _mm256_setr_epi8(0, 1, '+', '9', 'O', 'Z', 'o', 'z', 0, 0, 0, 0, 0, 0, 0, 0, 0, 1,
                               '+', '9', 'O', 'Z', 'o', 'z', 0, 0, 0, 0, 0, 0, 0, 0);
  k.offsets = _mm256_setr_epi8(0, 0, 62 - '+', 52 - '0', 0 - 'A', 15 - 'P', 26 - 'a', 41 - 'p', 0,
                               0, 0, 0, 0, 0, 0, 0, 0, 0, 62 - '+', 52 - '0', 0 - 'A', 15 - 'P',
                               26 - 'a', 41 - 'p', 0, 0, 0, 0, 0, 0, 0, 0);
  k.nibble = _mm256_set1_epi8(0x0F);
  k.slash = _mm256_set1_epi8('/');
  k.slash_fix = _mm256_set1_epi8(63 - 62 - ('/' - '+'));
  k.top = _mm256_set1_epi8(63);
  k.ab_bc = _mm256_set1_epi32(0x01400140);
  k.abc = _mm256_set1_epi32(0x00011000);
  k.pack = _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1, 2, 1, 0, 6, 5,
                            4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  k.lanes = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);
  k.pad = _mm256_set1_epi8('=');
  // Opaque to the optimiser, so the constants stay in registers instead of
  // being rebuilt inside the loop.
  __asm__(""
          : "+x"(k.lowest), "+x"(k.highest), "+x"(k.offsets), "+x"(k.nibble), "+x"(k.slash),
            "+x"(k.slash_fix));
  __asm__("" : "+x"(k.top), "+x"(k.ab_bc), "+x"(k.abc), "+x"(k.pack), "+x"(k.lanes), "+x"(k.pad));
  return k;
}

// Decodes 32 characters without '=' into 24 bytes at out.
KX_AVX2_TARGET inline void DecodeBlock(const DecodeConstants &k, uint8_t *out, __m256i c) {
  __m256i row = _mm256_and_si256(_mm256_srli_epi32(c, 4), k.nibble);
  __m256i below = _mm256_cmpgt_epi8(_mm256_shuffle_epi8(k.lowest, row), c);
  __m256i above = _mm256_cmpgt_epi8(c, _mm256_shuffle_epi8(k.highest, row));
  __m256i slash = _mm256_cmpeq_epi8(c, k.slash);
  __m256i invalid = _mm256_andnot_si256(slash, _mm256_or_si256(below, above));
  __m256i values = _mm256_add_epi8(c, _mm256_shuffle_epi8(k.offsets, row));
  values = _mm256_add_epi8(values, _mm256_and_si256(slash, k.slash_fix));
  // An invalid character's 255 gives the same output bits as 63 in the
  // first three places (so it becomes 63 here); in the fourth it turns the
  // third byte into 0xFF.
  values = _mm256_min_epu8(_mm256_or_si256(values, invalid), k.top);
  __m256i words = _mm256_madd_epi16(_mm256_maddubs_epi16(values, k.ab_bc), k.abc);
  words = _mm256_or_si256(words, _mm256_srli_epi32(invalid, 24));
  // Each word holds its group's bytes as 2, 1, 0: reverse and pack the
  // twelve bytes of each lane, then store exactly 24 bytes.
  __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(words, k.pack), k.lanes);
  _mm_storeu_si128(reinterpret_cast<__m128i *>(out), _mm256_castsi256_si128(bytes));
  _mm_storel_epi64(reinterpret_cast<__m128i *>(out + 16), _mm256_extracti128_si256(bytes, 1));
}

KX_AVX2_TARGET inline bool HasPad(const DecodeConstants &k, __m256i c) {
  return _mm256_movemask_epi8(_mm256_cmpeq_epi8(c, k.pad)) != 0;
}

KX_AVX2_TARGET uint8_t *DecodeGroupsAvx2(uint8_t *out, const uint8_t *text, size_t groups) {
  while (groups >= 8) {
    // The inner loop makes no calls, so its constants stay in registers.
    const DecodeConstants k = MakeDecodeConstants();
    for (; groups >= 8; groups -= 8, text += 32, out += 24) {
      __m256i c = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(text));
      if (HasPad(k, c)) break;
      DecodeBlock(k, out, c);
    }
    if (groups < 8) break;
    // A block holding '=' goes group by group through the padding rules.
    for (int g = 0; g < 8; ++g) out = DecodeGroupExact(out, text + 4 * g);
    groups -= 8;
    text += 32;
  }
  return DecodeGroupsPortable(out, text, groups);
}

#undef KX_AVX2_TARGET

#else  // not x86

bool HasBase64Avx2() {
  return false;
}
char *EncodeGroupsAvx2(char *out, const uint8_t *in, size_t groups, const char *alphabet) {
  return EncodeGroupsPortable(out, in, groups, alphabet);
}
uint8_t *DecodeGroupsAvx2(uint8_t *out, const uint8_t *text, size_t groups) {
  return DecodeGroupsPortable(out, text, groups);
}

#endif

}  // namespace kx::codec
