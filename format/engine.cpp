// The formatter's interpreter: scans the format, reads flags, width, precision
// and length modifiers, converts each value into a small local buffer and
// assembles the field. Every byte goes through one bounded output routine that
// drops what does not fit and still counts it for %n.
#include "format/engine.h"

#include <array>
#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>

#include "base/memory.h"
#include "format/float_digits.h"
#include "text/utf.h"

namespace kx::format {

namespace {

// Flag bits of one conversion.
enum : uint32_t {
  kAlternate = 1u << 0,   // '#'
  kHexPrefix = 1u << 1,   // "0x" or "0X" goes in front of the digits
  kLeftAdjust = 1u << 2,  // '-'
  kLong = 1u << 3,        // 'l'; a second 'l' sets the same bit
  kShort = 1u << 4,       // 'h'; a second 'h' sets the same bit
  kZeroPad = 1u << 5,     // '0' before any width digit
};

constexpr char kLowerDigits[] = "0123456789abcdef";
constexpr char kUpperDigits[] = "0123456789ABCDEF";
constexpr char kNullText[] = "(null)";

// "(null)" handed to the UCS-2 converter as it stands: its bytes read as
// 16-bit units in memory order. The seventh byte is the text's NUL; an eighth
// zero byte completes the last unit.
constexpr uint16_t BytesAsUnit(char first, char second) {
  const auto a = static_cast<uint8_t>(first);
  const auto b = static_cast<uint8_t>(second);
  return std::endian::native == std::endian::little ? static_cast<uint16_t>(a | b << 8)
                                                    : static_cast<uint16_t>(a << 8 | b);
}
constexpr uint16_t kNullTextAsUcs2[] = {BytesAsUnit('(', 'n'), BytesAsUnit('u', 'l'),
                                        BytesAsUnit('l', ')'), BytesAsUnit('\0', '\0')};

int SaturatingDigit(int value, char digit) {
  if (value > (INT_MAX - 9) / 10) return INT_MAX;
  return value * 10 + (digit - '0');
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Output state of one run. The space left is signed so that a size of 0
// means no room at all (-1); the stored length doubles as the write cursor,
// so a null destination counts exactly like a real one.
class Output {
 public:
  Output(char *dest, uint32_t size, bool *truncated)
      : dest_(dest), space_(static_cast<int64_t>(size) - 1), truncated_(truncated) {
    if (truncated_ != nullptr) *truncated_ = false;
  }

  void Put(const char *text, int64_t length) {
    produced_ += length;
    if (length <= space_) {
      if (dest_ != nullptr) std::memcpy(dest_ + stored_, text, static_cast<size_t>(length));
      stored_ += length;
      space_ -= length;
      return;
    }
    Overflow(text, length);
  }

  void PutChar(char c) { Put(&c, 1); }

  // `count` copies of c (blanks or zeros for padding).
  void Fill(char c, int64_t count) {
    if (count <= 0) return;
    produced_ += count;
    const int64_t fits = count <= space_ ? count : (space_ > 0 ? space_ : 0);
    if (dest_ != nullptr) std::memset(dest_ + stored_, c, static_cast<size_t>(fits));
    stored_ += fits;
    space_ -= fits;
    if (fits < count) Truncated();
  }

  // Terminates the destination and returns the bytes stored.
  int32_t Finish() {
    if (dest_ != nullptr) dest_[stored_] = '\0';
    return static_cast<int32_t>(stored_);
  }

  // Every byte produced so far, stored or not (the %n count).
  int64_t produced() const { return produced_; }

 private:
  void Overflow(const char *text, int64_t length) {
    const int64_t fits = space_ > 0 ? space_ : 0;
    if (dest_ != nullptr) std::memcpy(dest_ + stored_, text, static_cast<size_t>(fits));
    stored_ += fits;
    space_ -= fits;
    if (fits < length) Truncated();
  }

  void Truncated() {
    if (truncated_ != nullptr) *truncated_ = true;
  }

  char *dest_;
  int64_t space_;
  int64_t stored_ = 0;
  int64_t produced_ = 0;
  bool *truncated_;
};

// One part of a field's text: `length` bytes of `text`, or `length` zeros
// when text is null (the zeros that the alternate form adds to a digit string
// are never materialised, however large the precision).
struct Piece {
  const char *text;
  int64_t length;
};

// The pieces of one field; floating point needs at most eight.
class Pieces {
 public:
  void Add(const char *text, int64_t length) {
    if (length > 0) items_[count_++] = {text, length};
  }
  void AddZeros(int64_t length) { Add(nullptr, length); }

  int64_t Length() const {
    int64_t total = 0;
    for (int i = 0; i < count_; ++i) total += items_[i].length;
    return total;
  }
  void WriteTo(Output &out) const {
    for (int i = 0; i < count_; ++i) {
      if (items_[i].text == nullptr) {
        out.Fill('0', items_[i].length);
      } else {
        out.Put(items_[i].text, items_[i].length);
      }
    }
  }

 private:
  Piece items_[8];
  int count_ = 0;
};

struct Conversion {
  uint32_t flags = 0;
  char sign = '\0';  // '\0', ' ', '+' or '-'
  int width = 0;
  int precision = -1;  // -1 when none was given
};

// Lets helpers consume arguments from one shared list.
struct Arguments {
  va_list list;
};

// Writes the field: blanks to the width, sign, prefix, zeros to the width,
// zeros up to `min_digits` (integer precision; -1 for none), the body, and
// trailing blanks when left-adjusted. `prefix` is two characters or null.
void WriteField(Output &out, const Conversion &conv, const char *prefix, const Pieces &body,
                int64_t body_length, int64_t min_digits) {
  int64_t real_size = body_length > min_digits ? body_length : min_digits;
  if (conv.sign != '\0') ++real_size;
  if (prefix != nullptr) real_size += 2;
  const int64_t padding = conv.width - real_size;

  if ((conv.flags & (kLeftAdjust | kZeroPad)) == 0) out.Fill(' ', padding);
  if (conv.sign != '\0') out.PutChar(conv.sign);
  if (prefix != nullptr) out.Put(prefix, 2);
  if ((conv.flags & (kLeftAdjust | kZeroPad)) == kZeroPad) out.Fill('0', padding);
  out.Fill('0', min_digits - body_length);
  body.WriteTo(out);
  if (conv.flags & kLeftAdjust) out.Fill(' ', padding);
}

// A field made of one piece of text.
void WriteText(Output &out, const Conversion &conv, const char *text, int64_t length) {
  Pieces body;
  body.Add(text, length);
  WriteField(out, conv, nullptr, body, length, -1);
}

// "00" to "99": decimal digits are produced two at a time.
constexpr auto kDigitPairs = [] {
  std::array<char, 200> pairs{};
  for (int i = 0; i < 100; ++i) {
    pairs[2 * i] = static_cast<char>('0' + i / 10);
    pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return pairs;
}();

// Converts the value to digits of `base` (8, 10 or 16), ending just before
// `end`; returns the first digit.
char *ConvertUnsigned(uint64_t value, unsigned base, const char *digit_table, char *end) {
  char *cursor = end;
  switch (base) {
    case 10:
      while (value >= 100) {
        const uint64_t pair = value % 100;
        value /= 100;
        cursor -= 2;
        std::memcpy(cursor, &kDigitPairs[2 * pair], 2);
      }
      if (value >= 10) {
        cursor -= 2;
        std::memcpy(cursor, &kDigitPairs[2 * value], 2);
      } else {  // a single digit is written directly
        *--cursor = static_cast<char>('0' + value);
      }
      break;
    case 8:
      do {
        *--cursor = static_cast<char>('0' + (value & 7));
        value >>= 3;
      } while (value != 0);
      break;
    default:
      do {
        *--cursor = digit_table[value & 15];
        value >>= 4;
      } while (value != 0);
      break;
  }
  return cursor;
}

// Integer field: precision drops the zero pad, and 0 with precision 0 has no
// digits at all (not even the alternate form's octal "0").
void WriteInteger(Output &out, Conversion &conv, uint64_t magnitude, unsigned base,
                  const char *digit_table, char prefix_letter) {
  if (conv.precision >= 0) conv.flags &= ~kZeroPad;
  char buffer[24];
  char *end = buffer + sizeof buffer;
  char *start = end;
  if (magnitude != 0 || conv.precision != 0) {
    start = ConvertUnsigned(magnitude, base, digit_table, end);
    if (base == 8 && (conv.flags & kAlternate) && *start != '0') *--start = '0';
  }
  const char prefix[2] = {'0', prefix_letter};
  Pieces body;
  body.Add(start, end - start);
  WriteField(out, conv, (conv.flags & kHexPrefix) ? prefix : nullptr, body, end - start,
             conv.precision);
}

int64_t ReadSigned(Arguments &args, uint32_t flags) {
  if (flags & kLong) return va_arg(args.list, long);
  if (flags & kShort) return static_cast<short>(va_arg(args.list, int));
  return va_arg(args.list, int);
}

uint64_t ReadUnsigned(Arguments &args, uint32_t flags) {
  if (flags & kLong) return va_arg(args.list, unsigned long);
  if (flags & kShort) return static_cast<unsigned short>(va_arg(args.list, unsigned int));
  return va_arg(args.list, unsigned int);
}

// Adds digits [from, to) of the digit string, zeros standing in for the
// positions past its last digit.
void AddDigits(Pieces &body, const DecimalDigits &digits, int64_t from, int64_t to) {
  const int64_t real_end = to < digits.count ? to : digits.count;
  if (from < real_end) body.Add(digits.digits + from, real_end - from);
  const int64_t zeros_from = from > digits.count ? from : digits.count;
  if (zeros_from < to) body.AddZeros(to - zeros_from);
}

// How many digits a floating-point conversion asks for: e and E count
// significant digits (precision + 1, 7 by default); f counts places after the
// point (6 by default) and turns the alternate form on for any non-zero
// precision, so that its point and zeros always print; g and G count
// significant digits (the precision, at least 1, 6 by default).
struct FloatRequest {
  int64_t precision;
  int64_t significant;
};

inline FloatRequest ResolveFloatPrecision(Conversion &conv, char conversion) {
  int64_t precision = conv.precision;
  int64_t significant = 0;
  if (conversion == 'e' || conversion == 'E') {
    significant = precision < 0 ? 7 : precision + 1;
  } else if (conversion == 'f') {
    if (precision != 0) conv.flags |= kAlternate;
    if (precision < 0) precision = 6;
  } else {
    if (precision < 0) precision = 6;
    significant = precision > 0 ? precision : 1;
  }
  return {precision, significant};
}

// Exponent form for e and E always; for g and G when the decimal exponent is
// below -4 or above the precision (not at it: %g of 1000000 is "1000000").
inline bool UsesExponentForm(char conversion, const DecimalDigits &digits, int64_t precision) {
  if (conversion == 'e' || conversion == 'E') return true;
  if (conversion != 'g' && conversion != 'G') return false;
  const int64_t exponent = digits.point - 1;
  return exponent < -4 || exponent > precision;
}

// "d[.ddd]e+XX" from `length` digits; the exponent's text goes into
// `exponent_text` (8 bytes), which must outlive the pieces.
inline void AddExponentForm(Pieces &body, const DecimalDigits &digits, int64_t length,
                            bool alternate, bool upper_case, char *exponent_text) {
  AddDigits(body, digits, 0, 1);
  if (length > 1 || alternate) {
    body.Add(".", 1);
    AddDigits(body, digits, 1, length);
  }
  int exponent = digits.point - 1;
  char *cursor = exponent_text;
  *cursor++ = upper_case ? 'E' : 'e';
  *cursor++ = exponent < 0 ? '-' : '+';
  if (exponent < 0) exponent = -exponent;
  if (exponent >= 100) *cursor++ = static_cast<char>('0' + exponent / 100);
  *cursor++ = static_cast<char>('0' + exponent / 10 % 10);
  *cursor++ = static_cast<char>('0' + exponent % 10);
  body.Add(exponent_text, cursor - exponent_text);
}

// "ddd.ddd" from `length` digits: zero on its own ("0", or "0." and the
// precision's zeros in the alternate form), a value below 1 behind "0." and
// the zeros up to its first digit, or the integer digits (padded with zeros
// up to the point) and the fraction.
inline void AddFixedForm(Pieces &body, const DecimalDigits &digits, int64_t length, bool is_zero,
                         bool alternate, int64_t precision) {
  if (is_zero) {
    body.Add("0", 1);
    if (alternate && precision != 0) {
      body.Add(".", 1);
      body.AddZeros(precision);
    }
  } else if (digits.point <= 0) {
    body.Add("0.", 2);
    body.AddZeros(-static_cast<int64_t>(digits.point));
    AddDigits(body, digits, 0, length);
  } else if (digits.point >= length) {
    AddDigits(body, digits, 0, length);
    body.AddZeros(digits.point - length);
    if (alternate) body.Add(".", 1);
  } else {
    AddDigits(body, digits, 0, digits.point);
    body.Add(".", 1);
    AddDigits(body, digits, digits.point, length);
  }
}

// e, E, f, g and G. The digits come without trailing zeros; only the
// alternate form extends them to the full precision.
void WriteFloat(Output &out, Conversion &conv, char conversion, double value) {
  const FloatRequest request = ResolveFloatPrecision(conv, conversion);

  // Infinities and NaNs alike print "Inf"; only a value below 0 (never a
  // NaN) gets the minus sign. Zero padding still applies.
  if (!(std::fabs(value) <= DBL_MAX)) {
    if (value < 0) conv.sign = '-';
    WriteText(out, conv, "Inf", 3);
    return;
  }
  // A comparison, not the sign bit: -0.0 prints like 0.0.
  if (value < 0) conv.sign = '-';
  value = std::fabs(value);

  const bool fixed_conversion = conversion == 'f';
  const bool alternate = (conv.flags & kAlternate) != 0;
  DecimalDigits digits;
  if (fixed_conversion) {
    FixedDigits(value, request.precision, &digits);
  } else {
    SignificantDigits(value, request.significant, &digits);
  }
  int64_t length = digits.count;
  if (alternate) {
    const int64_t target =
        fixed_conversion ? digits.point + request.precision : request.significant;
    if (target > length) length = target;
  }

  Pieces body;
  char exponent_text[8];
  if (UsesExponentForm(conversion, digits, request.precision)) {
    AddExponentForm(body, digits, length, alternate, conversion == 'E' || conversion == 'G',
                    exponent_text);
  } else {
    AddFixedForm(body, digits, length, value == 0, alternate, request.precision);
  }
  WriteField(out, conv, nullptr, body, body.Length(), -1);
}

// %S: the UCS-2 text converted to UTF-8 in a buffer of its own, then printed
// as %s. Returns false when the text cannot be measured or the buffer cannot
// be had: the run then ends where it stands.
bool WriteUcs2(Output &out, Conversion &conv, const uint16_t *text) {
  if (text == nullptr) text = kNullTextAsUcs2;
  uint32_t size = 0;
  if (!Ok(text::UCS2StrToUTF8Str(nullptr, &size, text))) return false;
  auto *utf8 = static_cast<char *>(base::AllocMem(size));
  if (utf8 == nullptr) return false;
  if (!Ok(text::UCS2StrToUTF8Str(utf8, &size, text))) {
    base::FreeMem(utf8);
    return false;
  }
  const int64_t length = conv.precision >= 0 ? static_cast<int64_t>(strnlen(utf8, conv.precision))
                                             : static_cast<int64_t>(size) - 1;
  WriteText(out, conv, utf8, length);
  base::FreeMem(utf8);
  return true;
}

// Reads flags, width, precision and length modifiers in any order; returns
// the conversion character and leaves `format` just past it.
unsigned char ReadConversion(const char *&format, Conversion &conv, Arguments &args) {
  bool seen_width_digit = false;
  for (;;) {
    const auto c = static_cast<unsigned char>(*format++);
    switch (c) {
      case ' ':
        if (conv.sign == '\0') conv.sign = ' ';
        break;
      case '#':
        conv.flags |= kAlternate;
        break;
      case '*': {
        const int width = va_arg(args.list, int);
        if (width < 0) {
          conv.flags |= kLeftAdjust;
          conv.width = width == INT_MIN ? INT_MAX : -width;
        } else {
          conv.width = width;
        }
        break;
      }
      case '-':
        conv.flags |= kLeftAdjust;
        break;
      case '+':
        conv.sign = '+';
        break;
      case '.':
        if (*format == '*') {
          ++format;
          const int precision = va_arg(args.list, int);
          conv.precision = precision < 0 ? -1 : precision;
        } else {
          int precision = 0;
          while (IsDigit(*format)) precision = SaturatingDigit(precision, *format++);
          conv.precision = precision;
        }
        break;
      case '0':
        // Zero padding only before any width digit. After one, flags or
        // modifiers between them, a 0 is a width digit like the others: it
        // begins a new width, as "%5h7d" takes 7.
        if (!seen_width_digit) {
          conv.flags |= kZeroPad;
          break;
        }
        [[fallthrough]];
      case '1':
      case '2':
      case '3':
      case '4':
      case '5':
      case '6':
      case '7':
      case '8':
      case '9': {
        int width = c - '0';
        while (IsDigit(*format)) width = SaturatingDigit(width, *format++);
        conv.width = width;
        seen_width_digit = true;
        break;
      }
      case 'h':
        conv.flags |= kShort;
        break;
      case 'l':
        conv.flags |= kLong;
        break;
      case 'L':  // accepted and ignored: the value is still read as a double
        break;
      default:
        return c;
    }
  }
}

// %c: the argument's low byte; a sign flag never applies.
inline void WriteCharacter(Output &out, Conversion &conv, Arguments &args) {
  const char c = static_cast<char>(va_arg(args.list, int));
  conv.sign = '\0';
  WriteText(out, conv, &c, 1);
}

// %d and %i (and %D, a long): the magnitude with a minus sign when negative.
inline void WriteSignedDecimal(Output &out, Conversion &conv, Arguments &args) {
  const int64_t value = ReadSigned(args, conv.flags);
  uint64_t magnitude = static_cast<uint64_t>(value);
  if (value < 0) {
    conv.sign = '-';
    magnitude = 0 - magnitude;
  }
  WriteInteger(out, conv, magnitude, 10, kLowerDigits, 'x');
}

// %x and %X: the alternate form's prefix only for a value that is not 0.
inline void WriteHexadecimal(Output &out, Conversion &conv, char conversion, Arguments &args) {
  const uint64_t value = ReadUnsigned(args, conv.flags);
  conv.sign = '\0';
  if ((conv.flags & kAlternate) && value != 0) conv.flags |= kHexPrefix;
  WriteInteger(out, conv, value, 16, conversion == 'x' ? kLowerDigits : kUpperDigits, conversion);
}

// %p: the full pointer width in lower-case hexadecimal, always with "0x".
inline void WritePointer(Output &out, Conversion &conv, Arguments &args) {
  const auto value = reinterpret_cast<uintptr_t>(va_arg(args.list, void *));
  conv.sign = '\0';
  conv.flags |= kHexPrefix;
  WriteInteger(out, conv, value, 16, kLowerDigits, 'x');
}

// %s: null prints "(null)"; with a precision the text need not be
// terminated within it.
inline void WriteString(Output &out, Conversion &conv, Arguments &args) {
  const char *text = va_arg(args.list, const char *);
  if (text == nullptr) text = kNullText;
  const size_t length =
      conv.precision >= 0 ? strnlen(text, static_cast<size_t>(conv.precision)) : strlen(text);
  conv.sign = '\0';
  WriteText(out, conv, text, static_cast<int64_t>(length));
}

// %n: stores the count of everything produced, including bytes that were
// dropped, into an int (a short with h); a null slot is skipped.
inline void StoreCount(const Output &out, const Conversion &conv, Arguments &args) {
  const int64_t produced = out.produced();
  if (conv.flags & kShort) {
    if (auto *slot = va_arg(args.list, short *); slot != nullptr) {
      *slot = static_cast<short>(produced);
    }
  } else if (auto *slot = va_arg(args.list, int *); slot != nullptr) {
    *slot = static_cast<int>(produced);
  }
}

// Any other conversion character prints itself, as a one-character string:
// "%%" is "%".
inline void WriteSelf(Output &out, Conversion &conv, char conversion) {
  conv.sign = '\0';
  WriteText(out, conv, &conversion, 1);
}

}  // namespace

// The loop: literal text up to the next "%", then one conversion handed to
// its step, until the format ends, a "%" stands at its very end, or a %S
// cannot be converted.
int32_t RunFormat(char *dest, uint32_t size, const char *format, va_list list, bool *truncated) {
  Output out(dest, size, truncated);
  if (format == nullptr) return out.Finish();
  Arguments args;
  va_copy(args.list, list);

  for (;;) {
    const char *percent = strchrnul(format, '%');
    if (percent != format) out.Put(format, percent - format);
    if (*percent == '\0') break;
    format = percent + 1;

    Conversion conv;
    const unsigned char conversion = ReadConversion(format, conv, args);
    switch (conversion) {
      case '\0':  // "%" at the very end: nothing more to print
        --format;
        break;
      case 'c':
        WriteCharacter(out, conv, args);
        break;
      case 'D':
        conv.flags |= kLong;
        [[fallthrough]];
      case 'd':
      case 'i':
        WriteSignedDecimal(out, conv, args);
        break;
      case 'O':
        conv.flags |= kLong;
        [[fallthrough]];
      case 'o':
        conv.sign = '\0';
        WriteInteger(out, conv, ReadUnsigned(args, conv.flags), 8, kLowerDigits, 'o');
        break;
      case 'U':
        conv.flags |= kLong;
        [[fallthrough]];
      case 'u':
        conv.sign = '\0';
        WriteInteger(out, conv, ReadUnsigned(args, conv.flags), 10, kLowerDigits, 'u');
        break;
      case 'x':
      case 'X':
        WriteHexadecimal(out, conv, static_cast<char>(conversion), args);
        break;
      case 'p':
        WritePointer(out, conv, args);
        break;
      case 's':
        WriteString(out, conv, args);
        break;
      case 'S':
        conv.sign = '\0';
        if (!WriteUcs2(out, conv, va_arg(args.list, const uint16_t *))) {
          va_end(args.list);
          return out.Finish();
        }
        break;
      case 'e':
      case 'E':
      case 'f':
      case 'g':
      case 'G':
        WriteFloat(out, conv, static_cast<char>(conversion), va_arg(args.list, double));
        break;
      case 'n':
        StoreCount(out, conv, args);
        break;
      default:
        WriteSelf(out, conv, static_cast<char>(conversion));
        break;
    }
  }
  va_end(args.list);
  return out.Finish();
}

}  // namespace kx::format
