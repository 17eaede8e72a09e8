// UTF-8 byte-string routines. Trimming writes zeros into the caller's buffer;
// case change uses the C library's single-byte tables of the current locale.
#include "text/utf8.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <limits>

#include "base/memory.h"

namespace kx::text {

namespace {

constexpr unsigned char FoldAscii(unsigned char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

}  // namespace

char *UTF8ltrim(char *s) {
  if (s == nullptr) return nullptr;
  // Zeroing as it goes leaves the caller's original pointer at an empty
  // string; callers use the result.
  while (IsTrimSpace(static_cast<unsigned char>(*s))) *s++ = 0;
  return s;
}

char *UTF8rtrim(char *s) {
  if (s == nullptr) return nullptr;
  char *end = s + std::strlen(s);
  while (end > s && IsTrimSpace(static_cast<unsigned char>(end[-1]))) *--end = 0;
  return s;
}

char *UTF8trim(char *s) {
  return UTF8rtrim(UTF8ltrim(s));
}

char *UTF8StrUpperCase(char *s) {
  if (s == nullptr) return nullptr;
  for (char *p = s; *p != 0; ++p)
    *p = static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
  return s;
}

char *UTF8StrLowerCase(char *s) {
  if (s == nullptr) return nullptr;
  for (char *p = s; *p != 0; ++p)
    *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
  return s;
}

void UTF8Strrev(char *s) {
  if (s == nullptr) return;
  std::reverse(s, s + std::strlen(s));
}

char *UTF8Strdup(const char *s) {
  if (s == nullptr) return nullptr;
  const size_t size = std::strlen(s) + 1;
  if (size > std::numeric_limits<uint32_t>::max()) return nullptr;
  auto *copy = static_cast<char *>(base::AllocMem(static_cast<uint32_t>(size)));
  if (copy != nullptr) std::memcpy(copy, s, size);
  return copy;
}

int32_t UTF8Strnicmp(const char *a, const char *b, uint32_t n) {
  if (n == 0) return 0;
  const auto *ua = reinterpret_cast<const unsigned char *>(a);
  const auto *ub = reinterpret_cast<const unsigned char *>(b);
  unsigned char ca;
  unsigned char cb;
  do {
    ca = FoldAscii(*ua++);
    cb = FoldAscii(*ub++);
  } while (--n != 0 && ca != 0 && ca == cb);
  return int32_t{ca} - int32_t{cb};
}

char *UTF8Strstri(const char *haystack, const char *needle) {
  if (haystack == nullptr || needle == nullptr) return nullptr;
  const size_t n = std::strlen(needle);
  if (n == 0) return const_cast<char *>(haystack);
  const size_t h = std::strlen(haystack);
  if (h < n) return nullptr;
  for (size_t at = 0; at <= h - n; ++at) {
    if (strncasecmp(haystack + at, needle, n) == 0) return const_cast<char *>(haystack + at);
  }
  return nullptr;
}

}  // namespace kx::text
