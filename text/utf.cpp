// UCS-2 <-> UTF-8 conversion. The UTF-8 side is the classic form of up to six
// bytes; the UCS-2 side keeps two deliberate oddities that callers exchange:
// surrogates in UCS-2 input are resolved from the first two units of the whole
// string, and a supplementary code point's high unit is formed without first
// subtracting 0x10000. Blocks of plain BMP text go through SSSE3 kernels when
// the processor has them; everything else, and every block the kernels decline,
// takes the scalar path that defines the behaviour.
#include "text/utf.h"

#include <array>
#include <cstring>

#include "text/ucs2.h"

#if defined(__x86_64__)
#define KX_TEXT_SIMD 1
#include <tmmintrin.h>
#endif

namespace kx::text {

namespace {

constexpr bool IsSurrogate(uint32_t unit) {
  return unit >= 0xD800 && unit <= 0xDFFF;
}
constexpr bool IsHighSurrogate(uint32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool IsLowSurrogate(uint32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

// The code point that every surrogate unit of `in` stands for: the pair formed
// by the string's first two units, or the first unit itself when that is not a
// surrogate. False when the first unit starts no valid pair.
bool ResolveSurrogate(const uint16_t *in, uint32_t *code_point) {
  uint32_t first = in[0];
  if (!IsSurrogate(first)) {
    *code_point = first;
    return true;
  }
  if (!IsHighSurrogate(first)) return false;
  uint32_t second = in[1];  // readable: the terminator at worst
  if (!IsLowSurrogate(second)) return false;
  *code_point = (((first & 0x3FF) << 10) | (second & 0x3FF)) + 0x10000;
  return true;
}

constexpr uint32_t Utf8Length(uint32_t code_point) {
  if (code_point < 0x80) return 1;
  if (code_point < 0x800) return 2;
  if (code_point < 0x10000) return 3;
  if (code_point < 0x200000) return 4;
  if (code_point < 0x4000000) return 5;
  return 6;
}

// Writes the classic UTF-8 form of `code_point` (length `length`) to `out`.
void EncodeUtf8(uint32_t code_point, uint32_t length, unsigned char *out) {
  static constexpr unsigned char kLeadMark[7] = {0, 0x00, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
  for (uint32_t i = length - 1; i > 0; --i) {
    out[i] = static_cast<unsigned char>(0x80 | (code_point & 0x3F));
    code_point >>= 6;
  }
  out[0] = static_cast<unsigned char>(kLeadMark[length] | code_point);
}

// Progress of a conversion: input position and output bytes so far. Each
// conversion keeps its cursor local, so that it lives in registers.
struct Cursor {
  size_t in = 0;
  uint64_t produced = 0;
};

// How a conversion loop ended: its status and, on success, the bytes made.
struct Outcome {
  Status status;
  uint64_t produced;
};

#define KX_ALWAYS_INLINE inline __attribute__((always_inline))

// Encodes in[at->in] (not the terminator). Writes when `out` is set, within
// `room`. Statuses: kOsFailure for an unresolvable surrogate, kBufferTooSmall
// when the character does not fit, kSuccess.
KX_ALWAYS_INLINE Status EncodeOneUnit(const uint16_t *in, unsigned char *out, uint64_t room,
                                      Cursor *at) {
  uint32_t code_point = in[at->in];
  if (IsSurrogate(code_point) && !ResolveSurrogate(in, &code_point)) {
    return Status::kOsFailure;
  }
  const uint32_t length = Utf8Length(code_point);
  if (out != nullptr) {
    if (at->produced + length > room) return Status::kBufferTooSmall;
    EncodeUtf8(code_point, length, out + at->produced);
  }
  at->produced += length;
  ++at->in;
  return Status::kSuccess;
}

// Decodes the character at in[at->in]; `end` is the input's terminator.
// Writes when `out` is set, within `room` bytes. Statuses: kOsFailure for a
// bad lead byte, a sequence cut by the terminator or a code point at or above
// 0x110000; kBufferTooSmall when the units do not fit; kSuccess.
KX_ALWAYS_INLINE Status DecodeOneCharacter(const unsigned char *in, size_t end, uint16_t *out,
                                           uint64_t room, Cursor *at) {
  const uint32_t lead = in[at->in];
  uint32_t length;
  uint32_t code_point;
  if (lead < 0x80) {
    length = 1, code_point = lead;
  } else if ((lead & 0xE0) == 0xC0) {
    length = 2, code_point = lead & 0x1F;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3, code_point = lead & 0x0F;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4, code_point = lead & 0x07;
  } else if ((lead & 0xFC) == 0xF8) {
    length = 5, code_point = lead & 0x03;
  } else if ((lead & 0xFE) == 0xFC) {
    length = 6, code_point = lead & 0x01;
  } else {
    return Status::kOsFailure;  // a continuation byte, 0xFE or 0xFF
  }
  // Every byte the sequence needs must come before the terminator. The bytes
  // after the lead give their low six bits; their top bits are not examined.
  if (end - at->in < length) return Status::kOsFailure;
  for (uint32_t i = 1; i < length; ++i) code_point = (code_point << 6) | (in[at->in + i] & 0x3F);
  if (code_point >= 0x110000) return Status::kOsFailure;
  const uint32_t units = code_point < 0x10000 ? 1 : 2;
  if (out != nullptr) {
    // Whole units only: an odd byte of room left over is never used.
    if (at->produced + 2 * units > room) return Status::kBufferTooSmall;
    uint16_t *dst = out + at->produced / 2;
    if (units == 1) {
      dst[0] = static_cast<uint16_t>(code_point);
    } else {
      // The high unit keeps the code point's own bits 10-19: no 0x10000 is
      // subtracted first. Callers exchange text in exactly this form.
      dst[0] = static_cast<uint16_t>(0xD800 | ((code_point >> 10) & 0x3FF));
      dst[1] = static_cast<uint16_t>(0xDC00 | (code_point & 0x3FF));
    }
  }
  at->produced += 2 * units;
  at->in += length;
  return Status::kSuccess;
}

#if defined(KX_TEXT_SIMD)

// Block kernels. Each handles one block of plain text at the cursor, or
// declines (returns false) and leaves the block to the scalar path. A writing
// kernel stores whole 16-byte vectors, so the caller guarantees 32 bytes of
// room past the output position before calling it.

#define KX_BLOCK_KERNEL __attribute__((target("ssse3,popcnt")))

using ShuffleTable = std::array<std::array<uint8_t, 16>, 256>;

// For each 8-bit mask of kept 16-bit lanes: the shuffle that packs the kept
// lanes to the front, in order.
constexpr ShuffleTable MakePackLanesTable() {
  ShuffleTable table{};
  for (unsigned mask = 0; mask < 256; ++mask) {
    unsigned out = 0;
    for (unsigned lane = 0; lane < 8; ++lane) {
      if ((mask >> lane & 1) == 0) continue;
      table[mask][out++] = static_cast<uint8_t>(2 * lane);
      table[mask][out++] = static_cast<uint8_t>(2 * lane + 1);
    }
    while (out < 16) table[mask][out++] = 0x80;
  }
  return table;
}

// For four 32-bit lanes each holding a 1-, 2- or 3-byte UTF-8 sequence: the
// index is four "at least 0x80" bits and above them four "at least 0x800"
// bits; the entry packs the sequences to the front.
constexpr ShuffleTable MakePackSequencesTable() {
  ShuffleTable table{};
  for (unsigned index = 0; index < 256; ++index) {
    unsigned out = 0;
    for (unsigned lane = 0; lane < 4; ++lane) {
      const unsigned length = 1 + (index >> lane & 1) + (index >> (lane + 4) & 1);
      for (unsigned k = 0; k < length; ++k)
        table[index][out++] = static_cast<uint8_t>(4 * lane + k);
    }
    while (out < 16) table[index][out++] = 0x80;
  }
  return table;
}

alignas(16) constexpr ShuffleTable kPackLanes = MakePackLanesTable();
alignas(16) constexpr ShuffleTable kPackSequences = MakePackSequencesTable();

inline __m128i Ones16(int value) {
  return _mm_set1_epi16(static_cast<short>(value));
}

// Up to 16 units without surrogates: all-ASCII runs of 16 become 16 bytes,
// otherwise 8 units of 1 to 3 bytes each are packed with two shuffles.
KX_BLOCK_KERNEL inline bool EncodeBlock(const uint16_t *in, size_t length, unsigned char *out,
                                        Cursor *at) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + at->in));
  if (length - at->in >= 16) {
    const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + at->in + 8));
    const __m128i high = _mm_and_si128(_mm_or_si128(v, w), Ones16(0xFF80));
    if (_mm_movemask_epi8(_mm_cmpeq_epi16(high, zero)) == 0xFFFF) {
      if (out != nullptr) {
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + at->produced), _mm_packus_epi16(v, w));
      }
      at->in += 16;
      at->produced += 16;
      return true;
    }
  }
  const __m128i top5 = _mm_and_si128(v, Ones16(0xF800));
  if (_mm_movemask_epi8(_mm_cmpeq_epi16(top5, Ones16(0xD800))) != 0) return false;
  // All-ones lanes where the unit needs a second (third) byte.
  const __m128i two = _mm_xor_si128(_mm_cmpeq_epi16(_mm_and_si128(v, Ones16(0xFF80)), zero),
                                    _mm_cmpeq_epi16(zero, zero));
  const __m128i three = _mm_xor_si128(_mm_cmpeq_epi16(top5, zero), _mm_cmpeq_epi16(zero, zero));
  const unsigned bits = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(two, three)));
  const unsigned lengths_low = (bits & 0x0F) | (bits >> 4 & 0xF0);
  const unsigned lengths_high = (bits >> 4 & 0x0F) | (bits >> 8 & 0xF0);
  const unsigned produced = 8 + __builtin_popcount(bits);
  if (out != nullptr) {
    const __m128i last = _mm_or_si128(_mm_and_si128(v, Ones16(0x3F)), Ones16(0x80));
    const __m128i middle =
        _mm_or_si128(_mm_and_si128(_mm_srli_epi16(v, 6), Ones16(0x3F)), Ones16(0x80));
    const __m128i lead2 = _mm_or_si128(_mm_srli_epi16(v, 6), Ones16(0xC0));
    const __m128i lead3 = _mm_or_si128(_mm_srli_epi16(v, 12), Ones16(0xE0));
    // Per unit the bytes b0 b1 b2: v / lead2 last / lead3 middle last.
    const __m128i b0 = _mm_or_si128(
        _mm_and_si128(three, lead3),
        _mm_andnot_si128(three, _mm_or_si128(_mm_and_si128(two, lead2), _mm_andnot_si128(two, v))));
    const __m128i b1 = _mm_or_si128(_mm_and_si128(three, middle), _mm_andnot_si128(three, last));
    const __m128i b01 = _mm_or_si128(b0, _mm_slli_epi16(b1, 8));
    const __m128i low = _mm_unpacklo_epi16(b01, last);
    const __m128i high = _mm_unpackhi_epi16(b01, last);
    const auto *table = reinterpret_cast<const __m128i *>(kPackSequences.data());
    unsigned char *dst = out + at->produced;
    _mm_storeu_si128(reinterpret_cast<__m128i *>(dst),
                     _mm_shuffle_epi8(low, _mm_load_si128(table + lengths_low)));
    const unsigned first = 4 + __builtin_popcount(lengths_low);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + first),
                     _mm_shuffle_epi8(high, _mm_load_si128(table + lengths_high)));
  }
  at->in += 8;
  at->produced += produced;
  return true;
}

// The code points of characters starting at each byte of `b0`, one per 16-bit
// lane, assuming each is a standard 1- to 3-byte sequence (lanes of other
// bytes hold junk). `b0`, `c1` and `c2` hold a lane's first byte and the low
// six bits of its second and third, zero-extended.
KX_BLOCK_KERNEL inline __m128i DecodeLanes(__m128i b0, __m128i c1, __m128i c2) {
  // Two bytes give 5 + 6 bits, three 4 + 6 + 6: the lead's surplus bits fall
  // off the top of the 16-bit lane when the three-byte form shifts again.
  const __m128i lead_and_c1 = _mm_or_si128(_mm_slli_epi16(b0, 6), c1);
  const __m128i two = _mm_and_si128(lead_and_c1, Ones16(0x7FF));
  const __m128i three = _mm_or_si128(_mm_slli_epi16(lead_and_c1, 6), c2);
  const __m128i is2 = _mm_cmpeq_epi16(_mm_and_si128(b0, Ones16(0xE0)), Ones16(0xC0));
  const __m128i is3 = _mm_cmpeq_epi16(_mm_and_si128(b0, Ones16(0xF0)), Ones16(0xE0));
  const __m128i one_or_two = _mm_or_si128(_mm_and_si128(is2, two), _mm_andnot_si128(is2, b0));
  return _mm_or_si128(_mm_and_si128(is3, three), _mm_andnot_si128(is3, one_or_two));
}

// Sixteen input bytes at the cursor, with 24 readable before the terminator;
// the first `*carried` of them continue a character that the previous block
// already decoded. The characters that start in these 16 bytes, when all are
// standard 1- to 3-byte sequences, become units (an all-ASCII block becomes 16
// at once), and `*carried` becomes the count of bytes past the block that the
// last of them takes. Anything else (longer sequences, continuation bytes out
// of place) is declined. Advancing by a fixed 16 keeps each block from waiting
// on the previous one's character lengths before it can load.
KX_BLOCK_KERNEL inline bool DecodeBlock(const unsigned char *in, uint16_t *out, Cursor *at,
                                        unsigned *carried) {
  const __m128i zero = _mm_setzero_si128();
  const auto *src = reinterpret_cast<const __m128i *>(in + at->in);
  const __m128i bytes = _mm_loadu_si128(src);
  const auto top = static_cast<unsigned>(_mm_movemask_epi8(bytes));  // bit 7 of each byte
  uint16_t *dst = out == nullptr ? nullptr : out + at->produced / 2;
  if (top == 0) {  // never with a carry: continuation bytes are not ASCII
    if (dst != nullptr) {
      _mm_storeu_si128(reinterpret_cast<__m128i *>(dst), _mm_unpacklo_epi8(bytes, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + 8), _mm_unpackhi_epi8(bytes, zero));
    }
    at->in += 16;
    at->produced += 32;
    return true;
  }
  // The same bytes from offsets 1 and 2: lane i of these holds the bytes that
  // follow byte i, up to byte 17.
  const __m128i next1 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + at->in + 1));
  const __m128i next2 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + at->in + 2));
  // Bits 6, 5 and 4 of each byte, brought to the top by 16-bit shifts.
  const auto bit6 = static_cast<unsigned>(_mm_movemask_epi8(_mm_slli_epi16(bytes, 1)));
  const auto bit5 = static_cast<unsigned>(_mm_movemask_epi8(_mm_slli_epi16(bytes, 2)));
  const auto bit4 = static_cast<unsigned>(_mm_movemask_epi8(_mm_slli_epi16(bytes, 3)));
  if ((top & bit6 & bit5 & bit4) != 0) return false;  // 11110xxx and above
  const unsigned lead2 = top & bit6 & ~bit5;
  const unsigned lead3 = top & bit6 & bit5;
  // Bytes 16 and 17 are bytes 14 and 15 of `next2`.
  const auto top2 = static_cast<unsigned>(_mm_movemask_epi8(next2));
  const auto bit6_2 = static_cast<unsigned>(_mm_movemask_epi8(_mm_slli_epi16(next2, 1)));
  const unsigned continuation = (top & ~bit6) | ((top2 & ~bit6_2) >> 14) << 16;
  // Where the carry and the leads say continuation bytes must be there must
  // be exactly the 10xxxxxx bytes: then this parse and the scalar one agree.
  // Bytes 16 and 17 matter only where a character starting in byte 14 or 15
  // reaches them.
  const unsigned reached = (lead2 << 1) | (lead3 << 1) | (lead3 << 2);
  const unsigned expected = ((1u << *carried) - 1) | reached;
  if ((continuation & (0xFFFF | expected)) != expected) return false;
  const unsigned starts = ~continuation & 0xFFFF;
  if (dst != nullptr) {
    const __m128i low6 = _mm_set1_epi8(0x3F);
    const __m128i p1 = _mm_and_si128(next1, low6);
    const __m128i p2 = _mm_and_si128(next2, low6);
    const __m128i first = DecodeLanes(_mm_unpacklo_epi8(bytes, zero), _mm_unpacklo_epi8(p1, zero),
                                      _mm_unpacklo_epi8(p2, zero));
    const __m128i second = DecodeLanes(_mm_unpackhi_epi8(bytes, zero), _mm_unpackhi_epi8(p1, zero),
                                       _mm_unpackhi_epi8(p2, zero));
    const auto *table = reinterpret_cast<const __m128i *>(kPackLanes.data());
    const unsigned first_half = starts & 0xFF;
    _mm_storeu_si128(reinterpret_cast<__m128i *>(dst),
                     _mm_shuffle_epi8(first, _mm_load_si128(table + first_half)));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + __builtin_popcount(first_half)),
                     _mm_shuffle_epi8(second, _mm_load_si128(table + (starts >> 8))));
  }
  *carried = __builtin_popcount(reached >> 16);
  at->in += 16;
  at->produced += 2 * __builtin_popcount(starts);
  return true;
}

// Conversions driven by the block kernels; the scalar steps take over for a
// declined block and near the ends of input and output.
KX_BLOCK_KERNEL Outcome EncodeWithBlocks(const uint16_t *in, size_t length, unsigned char *out,
                                         uint64_t room) {
  Cursor at;
  while (at.in < length) {
    if (length - at.in >= 8 && (out == nullptr || room - at.produced >= 32) &&
        EncodeBlock(in, length, out, &at)) {
      continue;
    }
    const size_t stop = at.in + 8 < length ? at.in + 8 : length;
    while (at.in < stop) {
      if (Status status = EncodeOneUnit(in, out, room, &at); !Ok(status)) {
        return {status, 0};
      }
    }
  }
  return {Status::kSuccess, at.produced};
}

KX_BLOCK_KERNEL Outcome DecodeWithBlocks(const unsigned char *in, size_t end, uint16_t *out,
                                         uint64_t room) {
  Cursor at;
  unsigned carried = 0;
  while (at.in < end) {
    if (end - at.in >= 18 && (out == nullptr || room - at.produced >= 32) &&
        DecodeBlock(in, out, &at, &carried)) {
      continue;
    }
    at.in += carried;  // the scalar step starts at a character
    carried = 0;
    const size_t stop = at.in + 16;
    while (at.in < end && at.in < stop) {
      if (Status status = DecodeOneCharacter(in, end, out, room, &at); !Ok(status)) {
        return {status, 0};
      }
    }
  }
  return {Status::kSuccess, at.produced};
}

bool HaveBlockKernels() {
  static const bool have = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("popcnt");
  }();
  return have;
}

#endif  // KX_TEXT_SIMD

// Encodes in[0, length) into out (null: measure only) within room bytes.
Outcome Encode(const uint16_t *in, size_t length, unsigned char *out, uint64_t room) {
#if defined(KX_TEXT_SIMD)
  if (HaveBlockKernels()) return EncodeWithBlocks(in, length, out, room);
#endif
  Cursor at;
  while (at.in < length) {
    if (Status status = EncodeOneUnit(in, out, room, &at); !Ok(status)) {
      return {status, 0};
    }
  }
  return {Status::kSuccess, at.produced};
}

// Decodes in[0, end) into out (null: measure only) within room bytes.
Outcome Decode(const unsigned char *in, size_t end, uint16_t *out, uint64_t room) {
#if defined(KX_TEXT_SIMD)
  if (HaveBlockKernels()) return DecodeWithBlocks(in, end, out, room);
#endif
  Cursor at;
  while (at.in < end) {
    if (Status status = DecodeOneCharacter(in, end, out, room, &at); !Ok(status)) {
      return {status, 0};
    }
  }
  return {Status::kSuccess, at.produced};
}

}  // namespace

Status UCS2StrToUTF8Str(char *out, uint32_t *size, const uint16_t *in) {
  if (in == nullptr || size == nullptr) return Status::kInvalidParameter;
  auto *dst = reinterpret_cast<unsigned char *>(out);
  const uint64_t room = *size;
  const Outcome encoded = Encode(in, UCS2Strlen(in), dst, room);
  if (!Ok(encoded.status)) return encoded.status;
  const uint64_t needed = encoded.produced + 1;
  if (dst != nullptr) {
    if (room < needed) return Status::kBufferTooSmall;
    dst[encoded.produced] = 0;
  }
  *size = static_cast<uint32_t>(needed);
  return Status::kSuccess;
}

Status UTF8StrToUCS2Str(uint16_t *out, uint32_t *size, const char *in) {
  if (in == nullptr || size == nullptr) return Status::kInvalidParameter;
  const auto *src = reinterpret_cast<const unsigned char *>(in);
  const uint64_t room = *size;
  const Outcome decoded = Decode(src, std::strlen(in), out, room);  // bytes of UCS-2
  if (!Ok(decoded.status)) return decoded.status;
  const uint64_t needed = decoded.produced + 2;
  if (out != nullptr) {
    if (room < needed) return Status::kBufferTooSmall;
    out[decoded.produced / 2] = 0;
  }
  *size = static_cast<uint32_t>(needed);
  return Status::kSuccess;
}

}  // namespace kx::text
