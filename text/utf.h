// UCS-2 <-> UTF-8 conversion under the library's size in/out convention. Both
// directions are the engine behind the exported conversions, the self-sizing
// strings and the formatter's %S.
#pragma once

#include <cstdint>

#include "base/status.h"

namespace kx::text {

// Converts the zero-terminated UCS-2 string `in` to UTF-8. `*size` holds the
// room in `out` in bytes on entry and the bytes produced, terminator included,
// on success; a null `out` only measures. Statuses: kInvalidParameter for a
// null `in` or `size`, kOsFailure for a surrogate that cannot be resolved,
// kBufferTooSmall when `out` is too small (size left unchanged), kSuccess.
Status UCS2StrToUTF8Str(char *out, uint32_t *size, const uint16_t *in);

// Converts the zero-terminated UTF-8 string `in` to UCS-2; sizes in bytes as
// above. kOsFailure for a malformed or truncated sequence or a code point at
// or above 0x110000.
Status UTF8StrToUCS2Str(uint16_t *out, uint32_t *size, const char *in);

}  // namespace kx::text
