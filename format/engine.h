// The formatter's interpreter: one bounded printf-style run over a format and
// its arguments, with no locking of its own (format/format.h serialises runs).
#pragma once

#include <cstdarg>
#include <cstdint>

namespace kx::format {

// Formats into dest, which holds size bytes including the terminating NUL; a
// null dest stores nothing but counts the same way. Returns the bytes stored,
// at most size - 1 (0 for a size of 0 or 1). A non-null dest always receives a
// NUL at the end of what was stored, even for size 0. When truncated is
// non-null it is cleared, then set when output had to be dropped. A %S whose
// text cannot be converted or allocated ends the run where it stands.
int32_t RunFormat(char *dest, uint32_t size, const char *format, va_list args, bool *truncated);

}  // namespace kx::format
