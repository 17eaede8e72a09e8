// The bulk loops behind Base64Encode and Base64Decode, shared by the portable
// and the AVX2 engine: whole 3-byte groups to characters, and 4-character
// groups to bytes. The AVX2 loops finish their remainder with the portable
// ones.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kx::codec {

// Encodes `groups` whole 3-byte groups (reading no further than 3 * groups
// bytes); alphabet is never null. Returns the end of the output.
char *EncodeGroupsPortable(char *out, const uint8_t *in, size_t groups, const char *alphabet);
char *EncodeGroupsAvx2(char *out, const uint8_t *in, size_t groups, const char *alphabet);

// Decodes `groups` 4-character groups with their padding rules, writing no
// further than the bytes produced plus one. Returns the end of the output.
uint8_t *DecodeGroupsPortable(uint8_t *out, const uint8_t *text, size_t groups);
uint8_t *DecodeGroupsAvx2(uint8_t *out, const uint8_t *text, size_t groups);

// One group with its padding rules; returns the end of its output.
uint8_t *DecodeGroupExact(uint8_t *out, const uint8_t *text);

}  // namespace kx::codec
