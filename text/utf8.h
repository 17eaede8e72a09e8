// UTF-8 byte-string routines: trimming, case change, reversal, duplication and
// ASCII-case-insensitive compare and search. They work byte by byte and know
// nothing of multi-byte sequences.
#pragma once

#include <cstdint>

namespace kx::text {

// Whitespace for trimming: tab, line feed, carriage return and space.
constexpr bool IsTrimSpace(unsigned char c) {
  return c == 9 || c == 10 || c == 13 || c == 32;
}

// Overwrites leading whitespace with 0 and returns the first other byte;
// null for null. The pointer passed in then points at an empty string.
char *UTF8ltrim(char *s);
// Overwrites trailing whitespace with 0; returns s (null for null).
char *UTF8rtrim(char *s);
char *UTF8trim(char *s);
// Map every byte through the current C locale's toupper / tolower.
char *UTF8StrUpperCase(char *s);
char *UTF8StrLowerCase(char *s);
void UTF8Strrev(char *s);
// Heap copy (released with the library's free); null for null or no memory.
char *UTF8Strdup(const char *s);
// Compares at most n bytes folding only A-Z; the difference of the folded
// bytes (as unsigned chars) where it stopped: after n bytes, at a's
// terminator or at the first difference. 0 for n = 0.
int32_t UTF8Strnicmp(const char *a, const char *b, uint32_t n);
// First position where strncasecmp over the needle's length reports equality;
// haystack for an empty needle; null for null arguments or no match.
char *UTF8Strstri(const char *haystack, const char *needle);

}  // namespace kx::text
