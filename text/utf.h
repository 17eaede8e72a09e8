// UCS-2 <-> UTF-8 conversion under the library's size in/out convention. Both
// directions are the engine behind the exported conversions, the self-sizing
// strings and the formatter's %S.
#pragma once

#include <cstdint>

namespace kx::text {

// Converts the zero-terminated UCS-2 string `in` to UTF-8. `*size` holds the
// room in `out` in bytes on entry and the bytes produced, terminator included,
// on success; a null `out` only measures. Statuses: 271 for a null `in` or
// `size`, 257 for a surrogate that cannot be resolved, 16 when `out` is too
// small (size left unchanged), 0 on success.
uint32_t Ucs2ToUtf8(char *out, uint32_t *size, const uint16_t *in);

// Converts the zero-terminated UTF-8 string `in` to UCS-2; sizes in bytes as
// above. 257 for a malformed or truncated sequence or a code point at or above
// 0x110000.
uint32_t Utf8ToUcs2(uint16_t *out, uint32_t *size, const char *in);

}  // namespace kx::text
