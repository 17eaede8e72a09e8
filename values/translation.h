// Typed value translation (the SMXLT* exports): UTF-8 text <-> binary values
// described by a type word (code in the low byte, presentation selector in
// bits 8-15), and the separated-value list rewriter. The INI engine, property
// files, the product registry, parameters, the XML buffer and the network
// helpers all turn text into values and back through these routines.
#pragma once

#include <cstdint>

#include "base/status.h"

namespace kx::values {

enum TypeCode : uint32_t {
  kBoolean = 0,
  kInt8 = 1,
  kInt16 = 2,
  kInt32 = 3,
  kInt64 = 4,
  kUInt8 = 5,
  kUInt16 = 6,
  kUInt32 = 7,
  kUInt64 = 8,
  kDouble = 9,
  kLanguageId = 10,
  kTime = 11,
  kUcs2 = 12,
  kUtf8 = 13,
  kUcs2Converted = 14,
  kIPv4 = 15,
  kBytes = 16,
};
inline constexpr uint32_t kLastCode = kBytes;

inline constexpr uint32_t kSelectBinary = 256;
inline constexpr uint32_t kSelectOctal = 512;
inline constexpr uint32_t kSelectDecimal = 768;
inline constexpr uint32_t kSelectHex = 1024;

constexpr uint32_t CodeOf(uint32_t type) {
  return type & 0xFFu;
}
constexpr uint32_t SelectorOf(uint32_t type) {
  return type & 0xFF00u;
}

// Parses `text` as the type and stores the value in `value`. `*size` is the
// room in bytes on entry and the value's size on success; kBufferTooSmall sets
// it to the size needed. Statuses as the exported SMXLTUTF8ToTypeValue.
Status XLTUTF8ToTypeValue(const char *text, void *value, uint32_t *size, uint32_t type);

// Writes the value's terminated text form into `text` (`*size` bytes of room;
// length + 1 out on success, the size needed on kBufferTooSmall). A null
// `text` measures: kSuccess and the size a second call needs.
Status XLTTypeValueToUTF8(const void *value, uint32_t value_size, char *text, uint32_t *size,
                          uint32_t type);

// Rewrites a list separated by `from` into one separated by `to` (each item
// trimmed, empty items dropped, every item followed by `to`). Returns a heap
// string (the library's free releases it) or null for null text / no memory.
// `count` gets the items written and `size` the bytes written with the
// terminator (the length + 1 when `to` is not 0); both may be null.
char *UTF8ConvertXSVToYSV(const char *text, char from, char to, uint32_t *count, uint32_t *size);

// Hexadecimal text (an even count of digits of either case, nothing else) to
// bytes. `*size` is the room on entry and the byte count on success;
// kBufferTooSmall when the room is short (size out = bytes needed),
// kInvalidParameter for any other text or a null text or size. A null `out`
// measures.
Status HexTextToBytes(const char *text, uint8_t *out, uint32_t *size);

}  // namespace kx::values
