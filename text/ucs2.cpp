// UCS-2 string routines: the C library's string classics over 16-bit units,
// the process-wide tokenizer, and escaping to 7-bit UTF-8 through a
// self-sizing string. Every unit is an opaque value here.
#include "text/ucs2.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "text/sstring.h"

namespace kx::text {

namespace {

bool Contains(const uint16_t *set, uint16_t unit) {
  for (; *set != 0; ++set) {
    if (*set == unit) return true;
  }
  return false;
}

#if defined(__SSE2__)
// Length of an even-addressed string, one aligned 16-byte block at a time. An
// aligned block never straddles a page, so reading the whole block that holds
// the terminator is safe even though its tail lies outside the string; that
// tail read is why the address sanitizer is told to look away here.
__attribute__((no_sanitize_address)) size_t AlignedLength(const uint16_t *s) {
  const auto address = reinterpret_cast<uintptr_t>(s);
  const unsigned skip = address & 15;  // bytes of the first block before s
  const auto *block = reinterpret_cast<const __m128i *>(address - skip);
  const __m128i zero = _mm_setzero_si128();
  unsigned mask = _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_load_si128(block), zero)) & (~0u << skip);
  while (mask == 0) {
    ++block;
    mask = _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_load_si128(block), zero));
  }
  const auto *end = reinterpret_cast<const char *>(block) + __builtin_ctz(mask);
  return static_cast<size_t>(end - reinterpret_cast<const char *>(s)) / 2;
}
#endif

size_t Length(const uint16_t *s) {
#if defined(__SSE2__)
  if ((reinterpret_cast<uintptr_t>(s) & 1) == 0) return AlignedLength(s);
#endif
  size_t n = 0;
  while (s[n] != 0) ++n;
  return n;
}

// The tokenizer's one saved position. It is shared by every thread on
// purpose (callers of the classic interface expect it); atomic only so that
// the sharing stays defined behaviour.
std::atomic<uint16_t *> g_token_position{nullptr};

// Appends `count` bytes to the escaping work string; false if it could not grow.
bool AppendEscaped(SMSSStr *work, const char *bytes, uint32_t count) {
  const uint32_t before = work->length;
  SSUTF8StrNCatUTF8Str(work, bytes, count);
  return work->length == before + count;
}

}  // namespace

uint32_t UCS2Strlen(const uint16_t *s) {
  return static_cast<uint32_t>(Length(s));
}

uint16_t *UCS2Strcpy(uint16_t *dst, const uint16_t *src) {
  std::memmove(dst, src, (Length(src) + 1) * sizeof(uint16_t));
  return dst;
}

uint16_t *UCS2Strcat(uint16_t *dst, const uint16_t *src) {
  UCS2Strcpy(dst + Length(dst), src);
  return dst;
}

void UCS2Strncpy(uint16_t *dst, const uint16_t *src, uint32_t n) {
  // The source need not be terminated within n units: never read past them.
  for (uint32_t i = 0; i < n; ++i) {
    dst[i] = src[i];
    if (src[i] == 0) return;
  }
}

uint16_t *UCS2Strncat(uint16_t *dst, const uint16_t *src, uint32_t n) {
  if (n == 0) return dst;
  uint16_t *end = dst + Length(dst);
  uint32_t i = 0;
  for (; i < n && src[i] != 0; ++i) end[i] = src[i];
  end[i] = 0;
  return dst;
}

uint32_t UCS2Strcmp(const uint16_t *a, const uint16_t *b) {
  while (*a != 0 && *a == *b) ++a, ++b;
  // Callers may only test for zero: the wrap turns "a below b" into a large
  // positive value, and the interface has always returned it that way.
  return (uint32_t{*a} - uint32_t{*b}) & 0xFFFF;
}

uint16_t *UCS2Strchr(const uint16_t *s, uint16_t unit) {
  for (;; ++s) {
    if (*s == unit) return const_cast<uint16_t *>(s);
    if (*s == 0) return nullptr;
  }
}

uint16_t *UCS2Strstr(const uint16_t *haystack, const uint16_t *needle) {
  const size_t n = Length(needle);
  if (n == 0) return const_cast<uint16_t *>(haystack);
  const size_t h = Length(haystack);
  if (h < n) return nullptr;
  const uint16_t *last = haystack + (h - n);
  for (const uint16_t *at = haystack; at <= last; ++at) {
    if (*at == needle[0] && std::memcmp(at, needle, n * sizeof(uint16_t)) == 0) {
      return const_cast<uint16_t *>(at);
    }
  }
  return nullptr;
}

uint32_t UCS2Strspn(const uint16_t *s, const uint16_t *accept) {
  uint32_t n = 0;
  while (s[n] != 0 && Contains(accept, s[n])) ++n;
  return n;
}

uint32_t UCS2Strcspn(const uint16_t *s, const uint16_t *reject) {
  uint32_t n = 0;
  while (s[n] != 0 && !Contains(reject, s[n])) ++n;
  return n;
}

uint16_t *UCS2Strset(uint16_t *s, uint16_t unit) {
  std::fill_n(s, Length(s), unit);
  return s;
}

void UCS2Strnset(uint16_t *s, uint16_t unit, uint32_t n) {
  std::fill_n(s, n, unit);
}

uint16_t *UCS2Strrev(uint16_t *s) {
  std::reverse(s, s + Length(s));
  return s;
}

uint16_t *UCS2Strtok(uint16_t *s, const uint16_t *delimiters) {
  if (s == nullptr) {
    s = g_token_position.load(std::memory_order_relaxed);
    if (s == nullptr) return nullptr;
  }
  while (*s != 0 && Contains(delimiters, *s)) ++s;
  if (*s == 0) {
    g_token_position.store(nullptr, std::memory_order_relaxed);
    return nullptr;
  }
  uint16_t *token = s;
  while (*s != 0 && !Contains(delimiters, *s)) ++s;
  if (*s != 0) {
    *s = 0;
    g_token_position.store(s + 1, std::memory_order_relaxed);
  } else {
    g_token_position.store(nullptr, std::memory_order_relaxed);
  }
  return token;
}

Status UCS2ToEscape(char *out, uint32_t *size, const uint16_t *in) {
  if (in == nullptr) return Status::kInvalidArgs;
  SMSSStr work{};
  if (SSUTF8StrAlloc(&work, kEscapeWorkCapacity) == nullptr) return Status::kError;
  struct Release {
    SMSSStr *ss;
    ~Release() { SSUTF8StrFree(ss); }
  } release{&work};

  static constexpr char kHex[] = "0123456789abcdef";
  char plain[64];  // a run of units copied as single bytes, flushed when full
  uint32_t plain_count = 0;
  for (const uint16_t *unit = in; *unit != 0; ++unit) {
    const uint16_t u = *unit;
    char escape[6] = {'\\'};
    uint32_t escape_length = 2;
    switch (u) {
      case 10:
        escape[1] = 'n';
        break;
      case 13:
        escape[1] = 'r';
        break;
      case 9:
        escape[1] = 't';
        break;
      case 92:
        escape[1] = '\\';
        break;
      default:
        if (u >= 32 && u <= 127) {
          plain[plain_count++] = static_cast<char>(u);
          if (plain_count == sizeof plain) {
            if (!AppendEscaped(&work, plain, plain_count)) return Status::kError;
            plain_count = 0;
          }
          continue;
        }
        escape[1] = 'u';
        for (int i = 0; i < 4; ++i) escape[2 + i] = kHex[(u >> (12 - 4 * i)) & 0xF];
        escape_length = 6;
    }
    if (plain_count != 0 && !AppendEscaped(&work, plain, plain_count)) return Status::kError;
    plain_count = 0;
    if (!AppendEscaped(&work, escape, escape_length)) return Status::kError;
  }
  if (plain_count != 0 && !AppendEscaped(&work, plain, plain_count)) return Status::kError;

  const uint32_t needed = work.length + 1;
  if (size != nullptr) {
    const uint32_t room = *size;
    *size = needed;
    if (room < needed) return Status::kBufferTooSmall;
  }
  if (out != nullptr) std::memcpy(out, work.pStr, needed);
  return Status::kSuccess;
}

}  // namespace kx::text
