// Polynomial arithmetic modulo the reflected CRC-32 polynomial, used to chain
// per-chunk checksums.
#include "crc32_combine.h"

namespace kxtool {

namespace {

constexpr uint32_t kPolynomial = 0xEDB88320;  // reflected: bit 31 is x^0

// a * b modulo P, both in the reflected representation.
uint32_t MultiplyModP(uint32_t a, uint32_t b) {
  uint32_t product = 0;
  for (uint32_t bit = 1u << 31; bit != 0; bit >>= 1) {
    if (a & bit) product ^= b;
    b = (b & 1) ? (b >> 1) ^ kPolynomial : b >> 1;
  }
  return product;
}

// x^exponent mod P by square-and-multiply: cheap enough for one call a chunk.
uint32_t XPowerModP(uint64_t exponent) {
  uint32_t result = 1u << 31;  // x^0
  uint32_t square = 1u << 30;  // x^1
  while (exponent != 0) {
    if (exponent & 1) result = MultiplyModP(square, result);
    square = MultiplyModP(square, square);
    exponent >>= 1;
  }
  return result;
}

}  // namespace

uint32_t Crc32Combine(uint32_t crc_a, uint32_t crc_b, uint64_t length_b) {
  return MultiplyModP(XPowerModP(8 * length_b), crc_a) ^ crc_b;
}

}  // namespace kxtool
