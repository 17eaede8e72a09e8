// Typed value translation (XLT): UTF-8 text <-> binary values described by a
// type word (code in the low byte, presentation selector in bits 8-15), and
// the separated-value list rewriter. The INI engine, property files, the
// product registry, parameters, the XML buffer and the network helpers all
// turn text into values and back through these routines.
#pragma once

#include <cstdint>

namespace kx::values {

enum XltCode : uint32_t {
  kXltBoolean = 0,
  kXltInt8 = 1,
  kXltInt16 = 2,
  kXltInt32 = 3,
  kXltInt64 = 4,
  kXltUInt8 = 5,
  kXltUInt16 = 6,
  kXltUInt32 = 7,
  kXltUInt64 = 8,
  kXltDouble = 9,
  kXltLanguageId = 10,
  kXltTime = 11,
  kXltUcs2 = 12,
  kXltUtf8 = 13,
  kXltUcs2Converted = 14,
  kXltIPv4 = 15,
  kXltBytes = 16,
};
inline constexpr uint32_t kXltLastCode = kXltBytes;

inline constexpr uint32_t kXltSelectBinary = 256;
inline constexpr uint32_t kXltSelectOctal = 512;
inline constexpr uint32_t kXltSelectDecimal = 768;
inline constexpr uint32_t kXltSelectHex = 1024;

constexpr uint32_t XltCodeOf(uint32_t type) {
  return type & 0xFFu;
}
constexpr uint32_t XltSelectorOf(uint32_t type) {
  return type & 0xFF00u;
}

// Parses `text` as the type and stores the value in `value`. `*size` is the
// room in bytes on entry and the value's size on success; status 16 sets it
// to the size needed. Statuses as the exported SMXLTUTF8ToTypeValue.
uint32_t XltTextToValue(const char *text, void *value, uint32_t *size, uint32_t type);

// Writes the value's terminated text form into `text` (`*size` bytes of room;
// length + 1 out on success, the size needed on status 16). A null `text`
// measures: status 0 and the size a second call needs.
uint32_t XltValueToText(const void *value, uint32_t value_size, char *text, uint32_t *size,
                        uint32_t type);

// Rewrites a list separated by `from` into one separated by `to` (each item
// trimmed, empty items dropped, every item followed by `to`). Returns a heap
// string (the library's free releases it) or null for null text / no memory.
// `count` gets the items written and `size` the bytes written with the
// terminator (the length + 1 when `to` is not 0); both may be null.
char *ConvertSeparatedValues(const char *text, char from, char to, uint32_t *count, uint32_t *size);

// Hexadecimal text (an even count of digits of either case, nothing else) to
// bytes. `*size` is the room on entry and the byte count on success; 16 when
// the room is short (size out = bytes needed), 271 for any other text or a
// null text or size. A null `out` measures.
uint32_t HexTextToBytes(const char *text, uint8_t *out, uint32_t *size);

}  // namespace kx::values
