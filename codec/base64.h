// Base64 between byte buffers and NUL-terminated text, table-driven, with an
// AVX2 engine chosen at run time. The encoder takes the caller's alphabet; the
// decoder always reads the standard one and folds characters outside it in as
// the value 255, without an error.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kx::codec {

inline constexpr char kBase64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

enum class Base64Engine { kPortable, kAvx2 };

// True when the AVX2 engine may run on this processor.
bool HasBase64Avx2();

// Writes 4 * ((length + 2) / 3) characters and a NUL to out (a negative
// length writes only the NUL). alphabet is 64 characters or null for the
// standard one. When one byte is left for the last group, in[length] is read
// and its upper four bits enter that group's second character.
void Base64Encode(char *out, const uint8_t *in, int32_t length, const char *alphabet);

// Decodes length / 4 groups (trailing characters ignored) and writes a NUL
// after the bytes produced; returns the number of bytes produced. A group
// whose first or second character is '=' yields nothing; '=' third yields one
// byte, '=' fourth two. out needs that count plus one byte, never more.
size_t Base64Decode(uint8_t *out, const char *in, int32_t length);

// The same through a chosen engine (tests and benchmarks); kAvx2 only when
// HasBase64Avx2().
void Base64EncodeWith(Base64Engine engine, char *out, const uint8_t *in, int32_t length,
                      const char *alphabet);
size_t Base64DecodeWith(Base64Engine engine, uint8_t *out, const char *in, int32_t length);

}  // namespace kx::codec
