// The library's formatter: a bounded printf-style engine of its own (with %S
// for UCS-2 text) behind SMsnprintf and SMvsnprintf, and the module that owns
// its lock. Every run is serialised by the formatter's mutex, created at
// attach; a process where the library did not attach uses a lock of its own.
// Internal callers format through these routines, not the C library's.
#pragma once

#include <cstdarg>
#include <cstdint>

namespace kx::format {

// Formats into dest (size bytes including the NUL; a null dest stores nothing
// but counts alike) under the formatter's lock. Returns the bytes stored:
// never more than size - 1, 0 for a size of 0 or 1, never the length that
// would have been needed. A non-null truncated (for internal callers that
// must know whether the text was cut) is cleared, then set when output had to
// be dropped.
int32_t vsnprintf(char *dest, uint32_t size, const char *format, va_list args,
                  bool *truncated = nullptr) __attribute__((format(printf, 3, 0)));

// vsnprintf over a variable argument list.
int32_t snprintf(char *dest, uint32_t size, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

// Attach step: creates the formatter's mutex once (a second attach does
// nothing) and reports whether it exists. Detach destroys it; it is safe when
// attach never ran or failed, and a later attach creates it anew.
int FormatAttach();
void FormatDetach();

}  // namespace kx::format
