// The text forms that typed value translation reads and writes besides plain
// formatting: the three number grammars and their C-library-compatible
// conversions, language identifiers, dotted IPv4 addresses and the ctime form
// of a calendar time. Shared by the two directions of translation.
#pragma once

#include <cstdint>

#include "base/status.h"

namespace kx::values {

enum class NumberGrammar {
  kDecimal,  // optional "+" or "-", then decimal digits (a sign alone is 0)
  kOctal,    // one or more digits 0-7
  kHex,      // optional "0x"/"0X", then 1 to 8 hexadecimal digits
};

// A number text read under one grammar: its magnitude and sign. `overflow`
// is set when the magnitude does not fit 64 bits (it is then meaningless).
struct NumberText {
  uint64_t magnitude = 0;
  bool negative = false;
  bool overflow = false;
};

// Checks the whole of `text` against the grammar and reads it in the same
// pass. False outside the grammar; an empty text never follows one.
bool ReadNumberText(const char *text, NumberGrammar grammar, NumberText *number);

// What strtol / strtoul return for the text, with this host's 64-bit long:
// the value saturates at the limits, and strtoul negates a minus-signed
// magnitude modulo 2^64.
int64_t StrtolValue(const NumberText &number);
uint64_t StrtoulValue(const NumberText &number);

// The library's own 64-bit decimal reader. Stores the value's bits; kOverflow
// above and kUnderflow below the signed or unsigned 64-bit range (any non-zero
// negative value is below the unsigned range).
Status Decimal64Value(const NumberText &number, bool is_signed, uint64_t *bits);

// A double from "[+-]digits[.digits][(e|E)[+-]digits]" (at least one mantissa
// digit once a point or exponent appears; a sign alone is 0).
// kInvalidParameter outside that grammar, kOverflow / kUnderflow for a
// magnitude beyond the largest double (positive / negative); too small a
// magnitude reads as a signed zero.
Status ParseDouble(const char *text, double *value);

// Locale name of a language identifier ("en_US" for any identifier not in
// the product's table) and the identifier of a name (exact, case-sensitive
// match; 1033 when none matches).
const char *LanguageName(uint32_t id);
uint32_t LanguageId(const char *name);

// Dotted IPv4 text to an address in network order, as the library's address
// reader does: lower-case "x" dropped, leading zeros of each part dropped, the
// rest read by inet_addr; the all-ones result only for the two broadcast
// spellings. Statuses kSuccess, kError (no address; *address untouched),
// kNoMemory.
Status ParseDottedIPv4(const char *text, uint32_t *address);
// Dotted text of a network-order address into `out` (16 bytes suffice);
// returns the length written before the terminator.
uint32_t FormatDottedIPv4(uint32_t address, char out[16]);

// Seconds since 1970 from the 24-character local-time form that ctime writes
// ("Thu Jan  1 00:00:00 1970"): weekday and month names as ctime spells them,
// the day padded with a blank, the weekday consistent with the date. Status
// kInvalidParameter for any other text, kOverflow / kUnderflow for a time
// past / before the 32-bit unsigned count.
Status ParseCtimeForm(const char *text, uint32_t *seconds);

}  // namespace kx::values
