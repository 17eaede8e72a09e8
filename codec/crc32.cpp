// CRC-32: the portable slicing-by-16 engine, the choice of engine at first
// use, the string forms, the bit-serial SMGenerateCRC32 rule and the attach
// step's library-wide table. The checksums never depend on that table, so
// they stay correct in a process whose attach chain failed.
#include "codec/crc32.h"

#include <atomic>
#include <bit>
#include <cctype>
#include <cstring>

#include "base/memory.h"

namespace kx::codec {

namespace {

// kSlices[k][i]: the register after i is followed by k zero bytes, so that
// sixteen bytes are folded with sixteen independent lookups.
constexpr std::array<std::array<uint32_t, 256>, 16> kSlices = [] {
  std::array<std::array<uint32_t, 256>, 16> slices{};
  slices[0] = kCrc32Table;
  for (size_t k = 1; k < 16; ++k) {
    for (size_t i = 0; i < 256; ++i) {
      uint32_t prev = slices[k - 1][i];
      slices[k][i] = (prev >> 8) ^ kCrc32Table[prev & 0xFF];
    }
  }
  return slices;
}();

inline uint32_t LoadLittle32(const uint8_t *p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  if constexpr (std::endian::native == std::endian::big) v = __builtin_bswap32(v);
  return v;
}

using Engine = uint32_t (*)(uint32_t, const uint8_t *, size_t);

Engine ChooseEngine() {
  if (HasCrc32Vpclmul()) return &Crc32RawVpclmul;
  if (HasCrc32Clmul()) return &Crc32RawClmul;
  return &Crc32RawPortable;
}

// Sixteen bytes folded into the register with sixteen independent lookups.
inline uint32_t Slice16(uint32_t crc, const uint8_t *data) {
  const auto &t = kSlices;
  uint32_t a = LoadLittle32(data) ^ crc;
  uint32_t b = LoadLittle32(data + 4);
  uint32_t c = LoadLittle32(data + 8);
  uint32_t d = LoadLittle32(data + 12);
  return t[15][a & 0xFF] ^ t[14][(a >> 8) & 0xFF] ^ t[13][(a >> 16) & 0xFF] ^ t[12][a >> 24] ^
         t[11][b & 0xFF] ^ t[10][(b >> 8) & 0xFF] ^ t[9][(b >> 16) & 0xFF] ^ t[8][b >> 24] ^
         t[7][c & 0xFF] ^ t[6][(c >> 8) & 0xFF] ^ t[5][(c >> 16) & 0xFF] ^ t[4][c >> 24] ^
         t[3][d & 0xFF] ^ t[2][(d >> 8) & 0xFF] ^ t[1][(d >> 16) & 0xFF] ^ t[0][d >> 24];
}

// Long buffers run three stretches side by side, so that no register waits
// on another's lookups, and join them by shifting the earlier registers over
// the following stretches: raw(c, A B) = raw(c, A) * x^(8|B|) + raw(0, B).
constexpr size_t kStretch = 512;

// Register polynomials: bit 31 is x^0 and bit 0 is x^31.
// Product a * b modulo the polynomial.
constexpr uint32_t MultModP(uint32_t a, uint32_t b) {
  uint32_t product = 0;
  for (uint32_t m = 1u << 31; m != 0; m >>= 1) {
    if (a & m) product ^= b;
    b = (b >> 1) ^ ((b & 1u) ? kCrc32Polynomial : 0u);
  }
  return product;
}

// kXPow2[k] = x^(2^k) modulo the polynomial.
constexpr std::array<uint32_t, 64> kXPow2 = [] {
  std::array<uint32_t, 64> table{};
  table[0] = 1u << 30;  // x^1
  for (size_t k = 1; k < table.size(); ++k) table[k] = MultModP(table[k - 1], table[k - 1]);
  return table;
}();

// kStretchShift[k][b]: the byte b at bits 8k..8k+7 of a register, shifted
// through kStretch zero bytes (a multiplication by x^(8 * kStretch)), built
// from the shifted single bits.
constexpr std::array<std::array<uint32_t, 256>, 4> kStretchShift = [] {
  static_assert(kStretch == 512, "x^(8 * 512) is x^(2^12)");
  std::array<std::array<uint32_t, 256>, 4> shift{};
  for (size_t k = 0; k < 4; ++k) {
    for (uint32_t b = 1; b < 256; ++b) {
      uint32_t low_bit = b & (0u - b);
      shift[k][b] = shift[k][b ^ low_bit] ^ MultModP(kXPow2[12], low_bit << (8 * k));
    }
  }
  return shift;
}();

inline uint32_t ShiftStretch(uint32_t c) {
  const auto &s = kStretchShift;
  return s[0][c & 0xFF] ^ s[1][(c >> 8) & 0xFF] ^ s[2][(c >> 16) & 0xFF] ^ s[3][c >> 24];
}

}  // namespace

uint32_t Crc32RawPortable(uint32_t crc, const uint8_t *data, size_t length) {
  while (length >= 3 * kStretch) {
    uint32_t c0 = crc, c1 = 0, c2 = 0;
    for (size_t i = 0; i < kStretch; i += 16) {
      c0 = Slice16(c0, data + i);
      c1 = Slice16(c1, data + kStretch + i);
      c2 = Slice16(c2, data + 2 * kStretch + i);
    }
    crc = ShiftStretch(ShiftStretch(c0) ^ c1) ^ c2;
    data += 3 * kStretch;
    length -= 3 * kStretch;
  }
  for (; length >= 16; data += 16, length -= 16) crc = Slice16(crc, data);
  while (length-- > 0) crc = (crc >> 8) ^ kCrc32Table[(crc ^ *data++) & 0xFF];
  return crc;
}

uint32_t Crc32(uint32_t previous, const void *data, size_t length) {
  if (data == nullptr || length == 0) return previous;
  static const Engine engine = ChooseEngine();
  return ~engine(~previous, static_cast<const uint8_t *>(data), length);
}

uint32_t CRC32Compute_vn(const void *data, uint32_t length) {
  return Crc32(0, data, length);
}

uint32_t CRC32Compute_str(const char *text) {
  if (text == nullptr) return 0;
  return Crc32(0, text, std::strlen(text));
}

uint32_t CRC32Compute_strncase(const char *text) {
  if (text == nullptr) return 0;
  // Lower-case through a small window so the string is read once and the
  // checksum still runs over long stretches.
  uint8_t window[512];
  uint32_t crc = 0;
  for (;;) {
    size_t n = 0;
    while (n < sizeof window && text[n] != '\0') {
      window[n] = static_cast<uint8_t>(std::tolower(static_cast<unsigned char>(text[n])));
      ++n;
    }
    crc = Crc32(crc, window, n);
    if (n < sizeof window) return crc;
    text += n;
  }
}

// ---- SMGenerateCRC32 ------------------------------------------------------
//
// Each bit step compares the register's low bit with the whole remaining byte
// value v (not with v's low bit) and then sets v = (bit ^ v) >> 1. Stored
// checksums depend on that rule, so it is reproduced exactly. It stays affine
// in the register: v takes the values byte >> k whatever the register holds,
// and while v >= 2 the comparison always differs, so those first m steps are
// a plain shift plus the polynomial; the remaining 8 - m steps are ordinary
// CRC steps. One byte therefore moves the register to
//     (c >> 8) ^ zero_steps[8 - m][(c >> m) low 8 - m bits] ^ byte_term[byte],
// with byte_term[byte] the step taken from a zero register.

namespace {

// One byte through the eight bit steps exactly as the rule states them.
constexpr uint32_t GenerateStep(uint32_t c, uint32_t v) {
  for (int k = 0; k < 8; ++k) {
    uint32_t bit = c & 1u;
    c >>= 1;
    if (bit != v) c ^= kCrc32Polynomial;
    v = (bit ^ v) >> 1;
  }
  return c;
}

// Steps taken while the remaining byte value is still 2 or more.
constexpr uint8_t ForcedSteps(uint32_t byte) {
  return byte < 2 ? 0 : std::bit_width(byte) - 1;
}

// zero_steps for n = 1..8 packed at [(1 << n) + i]: i through n zero-bit steps.
constexpr std::array<uint32_t, 512> kZeroSteps = [] {
  std::array<uint32_t, 512> table{};
  for (uint32_t n = 1; n <= 8; ++n) {
    for (uint32_t i = 0; i < (1u << n); ++i) {
      uint32_t c = i;
      for (uint32_t k = 0; k < n; ++k) c = (c >> 1) ^ ((c & 1u) ? kCrc32Polynomial : 0u);
      table[(1u << n) + i] = c;
    }
  }
  return table;
}();

constexpr std::array<uint32_t, 256> kByteTerm = [] {
  std::array<uint32_t, 256> table{};
  for (uint32_t b = 0; b < 256; ++b) table[b] = GenerateStep(0, b);
  return table;
}();

constexpr std::array<uint8_t, 256> kForcedSteps = [] {
  std::array<uint8_t, 256> table{};
  for (uint32_t b = 0; b < 256; ++b) table[b] = ForcedSteps(b);
  return table;
}();

inline uint32_t GenerateByte(uint32_t c, uint8_t byte) {
  uint32_t m = kForcedSteps[byte];
  uint32_t n = 8 - m;
  return (c >> 8) ^ kZeroSteps[(1u << n) + ((c >> m) & ((1u << n) - 1))] ^ kByteTerm[byte];
}

// The register after `zeros` zero bytes: c * x^(8 * zeros), in O(log zeros).
uint32_t ShiftZeroBytes(uint32_t c, uint64_t zeros) {
  uint32_t power = 1u << 31;  // x^0
  for (size_t k = 3; zeros != 0; zeros >>= 1, ++k) {
    if (zeros & 1u) power = MultModP(kXPow2[k], power);
  }
  return MultModP(power, c);
}

}  // namespace

uint32_t GenerateCRC32(const uint8_t *data, uint32_t data_length, uint32_t total_length) {
  uint32_t c = 0xFFFFFFFFu;
  uint32_t take = data == nullptr ? 0 : (data_length < total_length ? data_length : total_length);
  for (uint32_t i = 0; i < take; ++i) c = GenerateByte(c, data[i]);
  // A zero byte is one ordinary CRC byte step, so the padding is a
  // multiplication by a power of x rather than a loop over every zero.
  uint32_t zeros = total_length - take;
  if (zeros < 64) {
    for (uint32_t i = 0; i < zeros; ++i) c = (c >> 8) ^ kCrc32Table[c & 0xFF];
  } else {
    c = ShiftZeroBytes(c, zeros);
  }
  return c;
}

// ---- Attach step ------------------------------------------------------------

namespace {

std::atomic<uint32_t *> g_table{nullptr};

}  // namespace

int Crc32TableAttach() {
  if (g_table.load(std::memory_order_acquire) != nullptr) return 1;
  auto *table = static_cast<uint32_t *>(base::AllocMem(256 * sizeof(uint32_t)));
  if (table == nullptr) return 0;
  // Built by powers of two: entry p holds the register for the single bit p,
  // and every entry p + 2p*k is entry 2p*k with that bit added.
  table[0] = 0;
  uint32_t c = 1;
  for (uint32_t p = 128; p >= 1; p >>= 1) {
    c = (c >> 1) ^ ((c & 1u) ? kCrc32Polynomial : 0u);
    for (uint32_t base = 0; p + base < 256; base += 2 * p) table[p + base] = table[base] ^ c;
  }
  g_table.store(table, std::memory_order_release);
  return 1;
}

void Crc32TableDetach() {
  base::FreeMem(g_table.exchange(nullptr, std::memory_order_acq_rel));
}

const uint32_t *Crc32AttachedTable() {
  return g_table.load(std::memory_order_acquire);
}

}  // namespace kx::codec
