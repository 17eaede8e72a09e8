// Self-sizing strings: an SMSSStr record owned by the caller whose heap buffer
// grows as UCS-2 or UTF-8 text is appended. Used by the exported SMSS family,
// by UCS-2 escaping and by the XML generation buffer. No locks: one string
// belongs to one thread at a time.
#pragma once

#include <cstdint>

#include "kxsupt/text.h"

namespace kx::text {

// Initial capacity of the work buffer that escaping builds its output in.
inline constexpr uint32_t kEscapeWorkCapacity = 6144;

// Gives `ss` a fresh empty buffer of `capacity` bytes and returns it; null
// (and a record without buffer) for capacity 0 or no memory. An earlier buffer
// is not released: the record is simply overwritten.
uint16_t *SSUCS2StrAlloc(SMSSStr *ss, uint32_t capacity);
char *SSUTF8StrAlloc(SMSSStr *ss, uint32_t capacity);

// Appends exactly n units or bytes of `src` (0: its whole length, which is
// what the Cat forms of the exports pass) and returns the buffer pointer. A null source or a string
// without buffer appends nothing; so does a failed growth or conversion, silently.
uint16_t *SSUCS2StrNCatUCS2Str(SMSSStr *ss, const uint16_t *src, uint32_t n);
char *SSUTF8StrNCatUTF8Str(SMSSStr *ss, const char *src, uint32_t n);
// Across encodings the whole source is converted first and n (0: the source's
// own length in its units) units or bytes of the conversion are appended.
uint16_t *SSUCS2StrNCatUTF8Str(SMSSStr *ss, const char *src, uint32_t n);
char *SSUTF8StrNCatUCS2Str(SMSSStr *ss, const uint16_t *src, uint32_t n);

// Release the buffer and zero the record; a null record is ignored. The two
// are one routine: a record does not remember its encoding.
void SSUCS2StrFree(SMSSStr *ss);
void SSUTF8StrFree(SMSSStr *ss);

// The capacity that a string of `capacity` bytes grows to when it needs
// `needed` bytes (needed > capacity): doubled up to 0xFFFFF, then a quarter
// more, or `needed` itself when the step falls short.
uint32_t SsGrownCapacity(uint32_t capacity, uint32_t needed);

}  // namespace kx::text
