// CRC-32 over the reflected polynomial 0xEDB88320: the standard checksum (a
// portable slicing-by-16 engine and carry-less-multiply folding engines chosen
// at run time), the bit-serial SMGenerateCRC32 rule, and the attach step that
// keeps the library-wide 256-entry table.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kx::codec {

inline constexpr uint32_t kCrc32Polynomial = 0xEDB88320u;

// The standard byte table: entry i is the register after shifting i through
// eight reflected polynomial steps.
inline constexpr std::array<uint32_t, 256> kCrc32Table = [] {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t c = i;
    for (int k = 0; k < 8; ++k) c = (c >> 1) ^ ((c & 1u) ? kCrc32Polynomial : 0u);
    table[i] = c;
  }
  return table;
}();

// Standard CRC-32 of data continuing from a previous CRC (0 to start):
// Crc32(Crc32(0, a), b) == Crc32(0, a + b).
uint32_t Crc32(uint32_t previous, const void *data, size_t length);
// Standard CRC-32 of length bytes (Crc32 from 0).
uint32_t CRC32Compute_vn(const void *data, uint32_t length);
// Standard CRC-32 of a NUL-terminated string without its NUL; null counts as "".
uint32_t CRC32Compute_str(const char *text);
// Standard CRC-32 of a NUL-terminated string lower-cased byte by byte through
// tolower() of the current C locale; null counts as "".
uint32_t CRC32Compute_strncase(const char *text);

// The bit-serial checksum of SMGenerateCRC32: data_length bytes of data padded
// with zero bytes to total_length (or cut to it), from 0xFFFFFFFF, no final
// inversion. Null data counts as all zero bytes.
uint32_t GenerateCRC32(const uint8_t *data, uint32_t data_length, uint32_t total_length);

// The engines behind Crc32, on the raw register (no inversions on entry or
// exit). Each gives the same result; the accelerated ones may only be called
// when their Has... query is true. Exposed for tests and benchmarks.
uint32_t Crc32RawPortable(uint32_t crc, const uint8_t *data, size_t length);
bool HasCrc32Clmul();    // 128-bit PCLMULQDQ folding
bool HasCrc32Vpclmul();  // 512-bit VPCLMULQDQ folding (AVX-512)
uint32_t Crc32RawClmul(uint32_t crc, const uint8_t *data, size_t length);
uint32_t Crc32RawVpclmul(uint32_t crc, const uint8_t *data, size_t length);

// Attach step of the CRC-32 table: allocates the library-wide table and fills
// it; 0 when the allocation fails. Detach frees it and is safe when attach
// never ran.
int Crc32TableAttach();
void Crc32TableDetach();
// The library-wide table while attached, else null.
const uint32_t *Crc32AttachedTable();

}  // namespace kx::codec
