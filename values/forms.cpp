// Text forms of typed values other than plain formatting: the number grammars
// with conversions that behave as the C library's strtol / strtoul on this
// host, the 64-bit and floating-point readers, language identifiers, dotted
// IPv4 addresses and the ctime form of a calendar time.
#include "values/forms.h"

#include <arpa/inet.h>

#include <cctype>
#include <charconv>
#include <cstring>
#include <ctime>
#include <strings.h>
#include <limits>

#include "base/memory.h"

namespace kx::values {

namespace {

constexpr bool IsDecimalDigit(char c) {
  return c >= '0' && c <= '9';
}
constexpr bool IsOctalDigit(char c) {
  return c >= '0' && c <= '7';
}
// The hexadecimal test uses the locale's character class, as the grammar says.
bool IsHexDigit(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}
constexpr uint32_t DigitValue(char c) {
  if (c >= '0' && c <= '9') return static_cast<uint32_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<uint32_t>(c - 'a' + 10);
  return static_cast<uint32_t>(c - 'A' + 10);
}
constexpr bool HasHexPrefix(const char *text) {
  return text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
}

// Adds one digit to the magnitude, recording an overflow of 64 bits.
inline void Accumulate(NumberText *number, uint64_t base, uint64_t digit) {
  uint64_t next;
  if (__builtin_mul_overflow(number->magnitude, base, &next) ||
      __builtin_add_overflow(next, digit, &next)) {
    number->overflow = true;
  }
  number->magnitude = next;
}

struct Language {
  uint32_t id;
  const char *name;
};
constexpr Language kLanguages[] = {
    {1033, "en_US"}, {2057, "en_GB"}, {1031, "de"},    {1034, "es"}, {1036, "fr"},
    {1041, "ja"},    {2066, "ko"},    {1046, "pt_BR"}, {2052, "zh"}, {1028, "zh_TW"},
};
constexpr uint32_t kDefaultLanguage = 1033;

constexpr const char *kWeekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char *kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// Index of the three-letter name at `text` in `names`, or -1.
template <size_t N>
int FindName(const char *text, const char *const (&names)[N]) {
  for (size_t i = 0; i < N; ++i) {
    if (std::strncmp(text, names[i], 3) == 0) return static_cast<int>(i);
  }
  return -1;
}

// Two decimal digits at `text` (the first may be a blank when `blank_ok`),
// or -1.
int TwoDigits(const char *text, bool blank_ok) {
  if (!IsDecimalDigit(text[1])) return -1;
  if (IsDecimalDigit(text[0])) return (text[0] - '0') * 10 + (text[1] - '0');
  if (blank_ok && text[0] == ' ') return text[1] - '0';
  return -1;
}

}  // namespace

bool ReadNumberText(const char *text, NumberGrammar grammar, NumberText *number) {
  *number = NumberText{};
  switch (grammar) {
    case NumberGrammar::kDecimal:
      if (*text == '+' || *text == '-') {
        number->negative = *text++ == '-';
      } else if (*text == 0) {
        return false;
      }
      // Nineteen decimal digits always fit 64 bits: check only past them.
      for (size_t digits = 0; *text != 0; ++text, ++digits) {
        const auto digit = static_cast<unsigned char>(*text - '0');
        if (digit > 9) return false;
        if (digits < 19) {
          number->magnitude = number->magnitude * 10 + digit;
        } else {
          Accumulate(number, 10, digit);
        }
      }
      return true;
    case NumberGrammar::kOctal:
      if (*text == 0) return false;
      for (; *text != 0; ++text) {
        if (!IsOctalDigit(*text)) return false;
        Accumulate(number, 8, static_cast<uint64_t>(*text - '0'));
      }
      return true;
    case NumberGrammar::kHex: {
      if (HasHexPrefix(text)) text += 2;
      size_t digits = 0;
      for (; *text != 0; ++text, ++digits) {
        if (digits == 8 || !IsHexDigit(*text)) return false;
        Accumulate(number, 16, DigitValue(*text));
      }
      return digits >= 1;
    }
  }
  return false;
}

int64_t StrtolValue(const NumberText &number) {
  constexpr uint64_t kMaxPositive = std::numeric_limits<int64_t>::max();
  if (number.negative) {
    if (number.overflow || number.magnitude > kMaxPositive + 1) {
      return std::numeric_limits<int64_t>::min();
    }
    return static_cast<int64_t>(0 - number.magnitude);
  }
  if (number.overflow || number.magnitude > kMaxPositive) {
    return std::numeric_limits<int64_t>::max();
  }
  return static_cast<int64_t>(number.magnitude);
}

uint64_t StrtoulValue(const NumberText &number) {
  if (number.overflow) return std::numeric_limits<uint64_t>::max();
  return number.negative ? 0 - number.magnitude : number.magnitude;
}

Status Decimal64Value(const NumberText &number, bool is_signed, uint64_t *bits) {
  constexpr uint64_t kMaxPositive = std::numeric_limits<int64_t>::max();
  if (number.negative) {
    if (number.magnitude == 0 && !number.overflow) {
      *bits = 0;
      return Status::kSuccess;
    }
    if (!is_signed || number.overflow || number.magnitude > kMaxPositive + 1) {
      return Status::kUnderflow;
    }
    *bits = 0 - number.magnitude;
    return Status::kSuccess;
  }
  if (number.overflow || (is_signed && number.magnitude > kMaxPositive)) {
    return Status::kOverflow;
  }
  *bits = number.magnitude;
  return Status::kSuccess;
}

Status ParseDouble(const char *text, double *value) {
  const char *p = text;
  const bool negative = *p == '-';
  if (*p == '+' || *p == '-') ++p;
  if (*p == 0) {
    if (p == text) return Status::kInvalidParameter;  // empty
    *value = 0.0;                                     // a sign alone, as for integers
    return Status::kSuccess;
  }
  const char *mantissa = p;
  // Decimal exponent of the leading significant digit, to tell a magnitude
  // too large from one too small when the conversion reports out of range.
  int64_t lead_exponent = 0;
  bool seen_significant = false;
  size_t digits = 0;
  for (; IsDecimalDigit(*p); ++p, ++digits) {
    if (*p != '0') seen_significant = true;
    if (seen_significant) ++lead_exponent;
  }
  if (*p == '.') {
    for (++p; IsDecimalDigit(*p); ++p, ++digits) {
      if (seen_significant) continue;
      --lead_exponent;
      if (*p != '0') seen_significant = true;
    }
  }
  if (digits == 0) return Status::kInvalidParameter;
  int64_t exponent = 0;
  if (*p == 'e' || *p == 'E') {
    ++p;
    const bool exponent_negative = *p == '-';
    if (*p == '+' || *p == '-') ++p;
    if (!IsDecimalDigit(*p)) return Status::kInvalidParameter;
    for (; IsDecimalDigit(*p); ++p) {
      if (exponent < 100000000) exponent = exponent * 10 + (*p - '0');
    }
    if (exponent_negative) exponent = -exponent;
  }
  if (*p != 0) return Status::kInvalidParameter;

  double parsed = 0.0;
  const auto result = std::from_chars(mantissa, p, parsed);
  if (result.ec == std::errc::result_out_of_range) {
    if (lead_exponent + exponent > 0) return negative ? Status::kUnderflow : Status::kOverflow;
    parsed = 0.0;
  } else if (result.ec != std::errc() || result.ptr != p) {
    return Status::kInvalidParameter;
  }
  *value = negative ? -parsed : parsed;
  return Status::kSuccess;
}

const char *LanguageName(uint32_t id) {
  for (const Language &language : kLanguages) {
    if (language.id == id) return language.name;
  }
  return "en_US";
}

uint32_t LanguageId(const char *name) {
  for (const Language &language : kLanguages) {
    if (std::strcmp(language.name, name) == 0) return language.id;
  }
  return kDefaultLanguage;
}

Status ParseDottedIPv4(const char *text, uint32_t *address) {
  const size_t length = std::strlen(text);
  auto *work = static_cast<char *>(kx::base::AllocMem(static_cast<uint32_t>(length + 1)));
  if (work == nullptr) return Status::kNoMemory;
  // Drop every lower-case "x", then the leading zeros of each part (one "0"
  // stays when it is the whole part), so that no part is read as octal or
  // hexadecimal by inet_addr.
  size_t kept = 0;
  for (size_t i = 0; i < length; ++i) {
    if (text[i] != 'x') work[kept++] = text[i];
  }
  work[kept] = 0;
  size_t out = 0;
  char previous = '.';  // the text's start begins a part, as a dot does
  for (size_t i = 0; i < kept; ++i) {
    if (previous == '.') {
      while (work[i] == '0' && work[i + 1] != '.' && work[i + 1] != 0) ++i;
    }
    previous = work[i];
    work[out++] = work[i];  // out <= i: the bytes still to read are intact
  }
  work[out] = 0;
  const in_addr_t converted = inet_addr(work);
  kx::base::FreeMem(work);
  if (converted == INADDR_NONE && strcasecmp(text, "255.255.255.255") != 0 &&
      strcasecmp(text, "0xff.0xff.0xff.0xff") != 0) {
    return Status::kError;
  }
  *address = converted;
  return Status::kSuccess;
}

uint32_t FormatDottedIPv4(uint32_t address, char out[16]) {
  unsigned char bytes[4];
  std::memcpy(bytes, &address, sizeof bytes);
  char *p = out;
  for (int i = 0; i < 4; ++i) {
    if (i > 0) *p++ = '.';
    p = std::to_chars(p, out + 15, bytes[i]).ptr;
  }
  *p = 0;
  return static_cast<uint32_t>(p - out);
}

Status ParseCtimeForm(const char *text, uint32_t *seconds) {
  // "Www Mmm dd hh:mm:ss yyyy": exactly 24 characters.
  if (std::strlen(text) != 24 || text[3] != ' ' || text[7] != ' ' || text[10] != ' ' ||
      text[13] != ':' || text[16] != ':' || text[19] != ' ') {
    return Status::kInvalidParameter;
  }
  const int weekday = FindName(text, kWeekdays);
  const int month = FindName(text + 4, kMonths);
  const int day = TwoDigits(text + 8, true);
  const int hour = TwoDigits(text + 11, false);
  const int minute = TwoDigits(text + 14, false);
  const int second = TwoDigits(text + 17, false);
  const int century = TwoDigits(text + 20, false);
  const int year_in_century = TwoDigits(text + 22, false);
  if (weekday < 0 || month < 0 || day < 1 || day > 31 || hour < 0 || hour > 23 || minute < 0 ||
      minute > 59 || second < 0 || second > 59 || century < 0 || year_in_century < 0) {
    return Status::kInvalidParameter;
  }
  std::tm fields{};
  fields.tm_year = century * 100 + year_in_century - 1900;
  fields.tm_mon = month;
  fields.tm_mday = day;
  fields.tm_hour = hour;
  fields.tm_min = minute;
  fields.tm_sec = second;
  fields.tm_isdst = -1;
  const std::time_t when = std::mktime(&fields);
  // A day past the month's end is normalised into the next month: refuse it,
  // and a weekday that does not belong to the date.
  if (fields.tm_mday != day || fields.tm_mon != month || fields.tm_wday != weekday) {
    return Status::kInvalidParameter;
  }
  if (when < 0) return Status::kUnderflow;
  if (static_cast<uint64_t>(when) > std::numeric_limits<uint32_t>::max()) {
    return Status::kOverflow;
  }
  *seconds = static_cast<uint32_t>(when);
  return Status::kSuccess;
}

}  // namespace kx::values
