// Correctly rounded decimal digits of a double for the formatter's e, f and g
// conversions. Both forms return the digits without trailing zeros and the
// position of the decimal point, the way the formatter assembles its fields.
#pragma once

#include <cstdint>

namespace kx::format {

// Significant digits of a finite double's exact value: a few more than the
// 767 a double can carry. Requests above this only add zeros.
inline constexpr int kMaxSignificantDigits = 780;
// Fraction digits that can be non-zero: the smallest subnormal has 1074.
inline constexpr int kMaxFractionDigits = 1080;

struct DecimalDigits {
  // Room for 309 integer digits and every possible fraction digit, or for the
  // largest significant-digit request, plus to_chars' point and exponent.
  char digits[kMaxFractionDigits + 320];
  int count;  // digits in use; 0 when a fixed form rounds to nothing
  // The value is 0.d1d2d3... x 10^point. A fixed form that rounds to nothing
  // reports -places, so that "0." and the zeros still fill the places.
  int point;
};

// The value (finite, not negative) rounded to `significant` significant digits
// (at least 1), half to even on exact ties. Zero gives "0" with point 1.
void SignificantDigits(double value, int64_t significant, DecimalDigits *out);

// The value (finite, not negative) rounded to `places` digits after the
// decimal point (0 or more), half to even. Leading and trailing zeros are
// dropped; a value that rounds to zero gives no digits at all.
void FixedDigits(double value, int64_t places, DecimalDigits *out);

}  // namespace kx::format
