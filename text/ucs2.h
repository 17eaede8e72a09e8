// UCS-2 string routines: the byte-string classics over 16-bit units, with no
// surrogate, normalisation or case awareness, plus escaping to 7-bit UTF-8.
// Lengths and counts are in units. The routines trust their pointers, as the C
// library does; only UCS2ToEscape validates and reports statuses. Each `_s`
// export forwards to the routine of its plain form: it drops its size
// argument.
#pragma once

#include <cstdint>

#include "base/status.h"

namespace kx::text {

// Units before the terminator. Scans aligned 16-byte blocks, so it may read
// (never write) past the terminator, but never past the block holding it.
uint32_t UCS2Strlen(const uint16_t *s);

uint16_t *UCS2Strcpy(uint16_t *dst, const uint16_t *src);
uint16_t *UCS2Strcat(uint16_t *dst, const uint16_t *src);
// Copies until n units are copied or a terminator has been copied: no padding,
// and no terminator when n is reached first.
void UCS2Strncpy(uint16_t *dst, const uint16_t *src, uint32_t n);
// n = 0 does nothing; otherwise appends at most n units and a terminator.
uint16_t *UCS2Strncat(uint16_t *dst, const uint16_t *src, uint32_t n);
// (unit of a - unit of b) mod 65536 at the first difference or at a's
// terminator: zero means equal, and nothing else may be read from it.
uint32_t UCS2Strcmp(const uint16_t *a, const uint16_t *b);
uint16_t *UCS2Strchr(const uint16_t *s, uint16_t unit);
uint16_t *UCS2Strstr(const uint16_t *haystack, const uint16_t *needle);
uint32_t UCS2Strspn(const uint16_t *s, const uint16_t *accept);
uint32_t UCS2Strcspn(const uint16_t *s, const uint16_t *reject);
uint16_t *UCS2Strset(uint16_t *s, uint16_t unit);
// Sets exactly n units from the start, terminator or not.
void UCS2Strnset(uint16_t *s, uint16_t unit, uint32_t n);
uint16_t *UCS2Strrev(uint16_t *s);
// strtok over units, with one saved position for the whole process.
uint16_t *UCS2Strtok(uint16_t *s, const uint16_t *delimiters);

// Renders `in` as 7-bit UTF-8: \n \r \t \\ for those four, bytes 32-127 as
// themselves, every other unit as \uXXXX (lower-case hex). `size` (optional)
// receives the bytes needed with the terminator; when it is given and smaller
// on entry, the status is kBufferTooSmall. `out` (optional) receives the
// text. Statuses: kInvalidArgs for a null `in`, kBufferTooSmall, kError when
// the work buffer cannot grow, kSuccess.
Status UCS2ToEscape(char *out, uint32_t *size, const uint16_t *in);

}  // namespace kx::text
