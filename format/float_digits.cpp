// Decimal digits for the formatter's floating-point conversions, produced by
// the standard library's correctly rounded std::to_chars with an explicit
// precision and then trimmed to the digits-and-point form the fields need.
#include "format/float_digits.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace kx::format {

namespace {

// Drops trailing zeros, keeping at least `keep` digits.
void TrimTrailingZeros(DecimalDigits *out, int keep) {
  while (out->count > keep && out->digits[out->count - 1] == '0') --out->count;
}

}  // namespace

void SignificantDigits(double value, int64_t significant, DecimalDigits *out) {
  const int precision =
      static_cast<int>(std::clamp<int64_t>(significant, 1, kMaxSignificantDigits)) - 1;
  // Scientific text "d.ddde+XX" (no point when precision is 0).
  char text[kMaxSignificantDigits + 16];
  const std::to_chars_result result =
      std::to_chars(text, text + sizeof text, value, std::chars_format::scientific, precision);
  if (result.ec != std::errc{}) {  // cannot happen with this buffer; print 0
    out->digits[0] = '0';
    out->count = 1;
    out->point = 1;
    return;
  }
  const char *end = result.ptr;

  int count = 0;
  const char *cursor = text;
  for (; cursor < end && *cursor != 'e'; ++cursor) {
    if (*cursor != '.') out->digits[count++] = *cursor;
  }
  int exponent = 0;
  bool negative_exponent = false;
  if (cursor < end) ++cursor;  // 'e'
  if (cursor < end && (*cursor == '-' || *cursor == '+')) negative_exponent = *cursor++ == '-';
  for (; cursor < end; ++cursor) exponent = exponent * 10 + (*cursor - '0');

  out->count = count;
  out->point = (negative_exponent ? -exponent : exponent) + 1;
  TrimTrailingZeros(out, 1);
}

void FixedDigits(double value, int64_t places, DecimalDigits *out) {
  const int precision = static_cast<int>(std::clamp<int64_t>(places, 0, kMaxFractionDigits));
  char *text = out->digits;
  const std::to_chars_result result =
      std::to_chars(text, text + sizeof out->digits, value, std::chars_format::fixed, precision);
  // The buffer holds the largest double at the largest precision; were the
  // conversion to refuse anyway, the value would print as rounding to nothing.
  const int length = result.ec == std::errc{} ? static_cast<int>(result.ptr - text) : 0;

  // "iii.fff": the point sits after the integer digits; remove it in place.
  const char *dot = static_cast<const char *>(std::memchr(text, '.', length));
  int count = length;
  int point = length;
  if (dot != nullptr) {
    point = static_cast<int>(dot - text);
    std::memmove(text + point, text + point + 1, length - point - 1);
    --count;
  }
  // Leading zeros move the point left ("0.0012" is 12 with point -2).
  int leading = 0;
  while (leading < count && text[leading] == '0') ++leading;
  if (leading == count) {
    out->count = 0;
    out->point = static_cast<int>(-std::min<int64_t>(places, INT32_MAX));
    return;
  }
  if (leading > 0) std::memmove(text, text + leading, count - leading);
  out->count = count - leading;
  out->point = point - leading;
  TrimTrailingZeros(out, 1);
}

}  // namespace kx::format
