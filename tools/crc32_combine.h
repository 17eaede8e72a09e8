// Joining standard CRC-32 values of consecutive pieces, so that a checksum
// computed one chunk at a time equals the checksum of the whole stream.
#pragma once

#include <cstdint>

namespace kxtool {

// The CRC-32 of A followed by B, given crc(A), crc(B) and B's length. The CRC
// is linear over GF(2): crc(A||B) = crc(A) * x^(8*len(B)) mod P  XOR  crc(B).
uint32_t Crc32Combine(uint32_t crc_a, uint32_t crc_b, uint64_t length_b);

}  // namespace kxtool
