// Base64 encoding and decoding: the portable engine and the entry points that
// pick an engine. Encoding turns each 12 input bits into two characters with
// one lookup in a pair table; decoding ORs together four per-position tables
// whose entries already hold each character's bits at their output place, so
// characters outside the alphabet need no branch.
#include "codec/base64.h"

#include <array>
#include <bit>
#include <cstring>

#include "codec/base64_kernels.h"

namespace kx::codec {

namespace {

constexpr bool kLittleHost = std::endian::native == std::endian::little;

inline uint64_t LoadBig64(const uint8_t *p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  if constexpr (kLittleHost) v = __builtin_bswap64(v);
  return v;
}

// ---- Encoding -------------------------------------------------------------

// Two characters for each 12-bit value, in memory order.
using PairTable = std::array<uint16_t, 4096>;

constexpr uint16_t Pair(char first, char second) {
  auto a = static_cast<uint8_t>(first), b = static_cast<uint8_t>(second);
  return kLittleHost ? static_cast<uint16_t>(a | (b << 8)) : static_cast<uint16_t>((a << 8) | b);
}

constexpr void FillPairs(PairTable &pairs, const char *alphabet) {
  for (uint32_t v = 0; v < 4096; ++v) pairs[v] = Pair(alphabet[v >> 6], alphabet[v & 63]);
}

constexpr PairTable kStandardPairs = [] {
  PairTable pairs{};
  FillPairs(pairs, kBase64Alphabet);
  return pairs;
}();

// Four 12-bit halves (high first) as eight characters in memory order.
inline uint64_t Quad(const PairTable &pairs, uint64_t bits48) {
  uint64_t p0 = pairs[(bits48 >> 36) & 0xFFF], p1 = pairs[(bits48 >> 24) & 0xFFF];
  uint64_t p2 = pairs[(bits48 >> 12) & 0xFFF], p3 = pairs[bits48 & 0xFFF];
  if constexpr (kLittleHost) return p0 | (p1 << 16) | (p2 << 32) | (p3 << 48);
  return (p0 << 48) | (p1 << 32) | (p2 << 16) | p3;
}

// Encodes `groups` whole 3-byte groups through a pair table; returns the end
// of the output.
char *EncodeWhole(char *out, const uint8_t *in, size_t groups, const PairTable &pairs) {
  // Two groups per step from one 8-byte load, while eight bytes are readable.
  while (groups >= 3) {
    uint64_t chars = Quad(pairs, LoadBig64(in) >> 16);
    std::memcpy(out, &chars, 8);
    in += 6;
    out += 8;
    groups -= 2;
  }
  for (; groups != 0; --groups, in += 3, out += 4) {
    uint32_t bits = (uint32_t{in[0]} << 16) | (uint32_t{in[1]} << 8) | in[2];
    uint16_t hi = pairs[bits >> 12], lo = pairs[bits & 0xFFF];
    std::memcpy(out, &hi, 2);
    std::memcpy(out + 2, &lo, 2);
  }
  return out;
}

// The same without a pair table, for short input in a caller's alphabet.
char *EncodeWholeDirect(char *out, const uint8_t *in, size_t groups, const char *alphabet) {
  for (; groups != 0; --groups, in += 3, out += 4) {
    out[0] = alphabet[in[0] >> 2];
    out[1] = alphabet[((in[0] << 4) & 0x30) | (in[1] >> 4)];
    out[2] = alphabet[((in[1] << 2) & 0x3C) | (in[2] >> 6)];
    out[3] = alphabet[in[2] & 0x3F];
  }
  return out;
}

// Below this many groups a caller's alphabet is used directly rather than
// spread into a pair table first.
constexpr size_t kPairTableGroups = 2048;

// ---- Decoding -------------------------------------------------------------

constexpr uint8_t kInvalid = 255;

// The 6-bit value of each standard character; everything else, including
// every code of 128 or more, is 255.
constexpr std::array<uint8_t, 256> kSextets = [] {
  std::array<uint8_t, 256> values{};
  for (auto &v : values) v = kInvalid;
  for (uint8_t i = 0; i < 64; ++i) values[static_cast<uint8_t>(kBase64Alphabet[i])] = i;
  return values;
}();

// A group's three output bytes, each truncated to eight bits, are
//   s0 << 2 | (s1 >> 4 & 3),  s1 << 4 | (s2 >> 2 & 15),  s2 << 6 | s3.
// Every byte is an OR of per-character terms, so table `position` maps a
// character straight to its terms, placed where a 4-byte store puts them.
// The 255 of an invalid character is combined like any value: as s3 it makes
// the third byte 0xFF.
constexpr uint32_t Place(uint32_t byte0, uint32_t byte1, uint32_t byte2) {
  uint32_t b0 = byte0 & 0xFF, b1 = byte1 & 0xFF, b2 = byte2 & 0xFF;
  return kLittleHost ? b0 | (b1 << 8) | (b2 << 16) : (b0 << 24) | (b1 << 16) | (b2 << 8);
}

using DecodeTable = std::array<uint32_t, 256>;

constexpr std::array<DecodeTable, 4> kDecode = [] {
  std::array<DecodeTable, 4> tables{};
  for (uint32_t c = 0; c < 256; ++c) {
    uint32_t s = kSextets[c];
    tables[0][c] = Place(s << 2, 0, 0);
    tables[1][c] = Place((s >> 4) & 3, s << 4, 0);
    tables[2][c] = Place(0, (s >> 2) & 15, s << 6);
    tables[3][c] = Place(0, 0, s);
  }
  return tables;
}();

inline uint32_t DecodeGroup(const uint8_t *c) {
  return kDecode[0][c[0]] | kDecode[1][c[1]] | kDecode[2][c[2]] | kDecode[3][c[3]];
}

// True when any of the eight bytes is '='.
inline bool HasPad(const uint8_t *c) {
  uint64_t v;
  std::memcpy(&v, c, sizeof v);
  v ^= 0x3D3D3D3D3D3D3D3Dull;
  return ((v - 0x0101010101010101ull) & ~v & 0x8080808080808080ull) != 0;
}

}  // namespace

uint8_t *DecodeGroupExact(uint8_t *out, const uint8_t *c) {
  if (c[0] == '=' || c[1] == '=') return out;
  uint8_t bytes[4];
  uint32_t group = DecodeGroup(c);
  std::memcpy(bytes, &group, 4);
  out[0] = bytes[0];
  if (c[2] == '=') return out + 1;
  out[1] = bytes[1];
  if (c[3] == '=') return out + 2;
  out[2] = bytes[2];
  return out + 3;
}

char *EncodeGroupsPortable(char *out, const uint8_t *in, size_t groups, const char *alphabet) {
  if (std::memcmp(alphabet, kBase64Alphabet, 64) == 0)
    return EncodeWhole(out, in, groups, kStandardPairs);
  if (groups >= kPairTableGroups) {
    PairTable pairs;
    FillPairs(pairs, alphabet);
    return EncodeWhole(out, in, groups, pairs);
  }
  return EncodeWholeDirect(out, in, groups, alphabet);
}

uint8_t *DecodeGroupsPortable(uint8_t *out, const uint8_t *c, size_t groups) {
  // Two groups per step. A group of three bytes may be written with a 4-byte
  // store: its fourth byte lands where the next output or the final NUL goes.
  while (groups >= 2) {
    if (__builtin_expect(HasPad(c), 0)) {
      out = DecodeGroupExact(out, c);
      out = DecodeGroupExact(out, c + 4);
    } else {
      uint32_t first = DecodeGroup(c), second = DecodeGroup(c + 4);
      std::memcpy(out, &first, 4);
      std::memcpy(out + 3, &second, 4);
      out += 6;
    }
    c += 8;
    groups -= 2;
  }
  if (groups != 0) out = DecodeGroupExact(out, c);
  return out;
}

void Base64EncodeWith(Base64Engine engine, char *out, const uint8_t *in, int32_t length,
                      const char *alphabet) {
  if (out == nullptr) return;
  if (in == nullptr || length <= 0) {
    *out = '\0';
    return;
  }
  const char *letters = alphabet != nullptr ? alphabet : kBase64Alphabet;
  size_t whole = static_cast<size_t>(length) / 3;
  size_t left = static_cast<size_t>(length) % 3;
  out = engine == Base64Engine::kAvx2 ? EncodeGroupsAvx2(out, in, whole, letters)
                                      : EncodeGroupsPortable(out, in, whole, letters);
  in += 3 * whole;
  if (left != 0) {
    // With one byte left the following byte is still read as b1: callers pass
    // input followed by a zero byte, which keeps the output standard.
    uint8_t b0 = in[0], b1 = in[1];
    out[0] = letters[b0 >> 2];
    out[1] = letters[((b0 << 4) & 0x30) | (b1 >> 4)];
    out[2] = left == 2 ? letters[(b1 << 2) & 0x3C] : '=';
    out[3] = '=';
    out += 4;
  }
  *out = '\0';
}

size_t Base64DecodeWith(Base64Engine engine, uint8_t *out, const char *in, int32_t length) {
  if (out == nullptr) return 0;
  size_t groups = in == nullptr || length <= 0 ? 0 : static_cast<size_t>(length) / 4;
  const auto *text = reinterpret_cast<const uint8_t *>(in);
  uint8_t *end = engine == Base64Engine::kAvx2 ? DecodeGroupsAvx2(out, text, groups)
                                               : DecodeGroupsPortable(out, text, groups);
  *end = '\0';
  return static_cast<size_t>(end - out);
}

namespace {

Base64Engine BestEngine() {
  static const Base64Engine engine =
      HasBase64Avx2() ? Base64Engine::kAvx2 : Base64Engine::kPortable;
  return engine;
}

}  // namespace

void Base64Encode(char *out, const uint8_t *in, int32_t length, const char *alphabet) {
  Base64EncodeWith(BestEngine(), out, in, length, alphabet);
}

size_t Base64Decode(uint8_t *out, const char *in, int32_t length) {
  return Base64DecodeWith(BestEngine(), out, in, length);
}

}  // namespace kx::codec
