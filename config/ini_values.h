// The INI engine's nine value types and their stored texts: 1 text, 2 UCS-2
// string and 3 byte array (both as "0x%02X" bytes joined by ','), 4 boolean
// ("TRUE"/"FALSE"), 5 and 6 32-bit, 7 and 8 64-bit integers (decimal) and
// 9 double ("%.8f").
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"

namespace kx::config {

enum IniType : uint32_t {
  kIniText = 1,
  kIniUcs2 = 2,
  kIniBytes = 3,
  kIniBoolean = 4,
  kIniUInt32 = 5,
  kIniInt32 = 6,
  kIniUInt64 = 7,
  kIniInt64 = 8,
  kIniDouble = 9,
};

// Largest stored text, terminator included.
inline constexpr uint32_t kIniMaxValueSize = 8193;
// Largest UCS-2 value, terminator included, in bytes.
inline constexpr uint32_t kIniMaxUcs2Size = 2048;

constexpr bool IsIniType(uint32_t type) {
  return type >= kIniText && type <= kIniDouble;
}

// Bytes of a value of the fixed-width types 4 to 9; 0 for the others.
uint32_t IniTypeWidth(uint32_t type);

// The stored text of a caller's value (not null). Statuses: 2 for a type
// outside 1-9; 264 when the size does not match the value (type 1: exactly
// its length + 1; type 2: its characters + 1 times 2, at most 2,048; type 3:
// non-zero; types 4-9: more than 1, 3, 3, 7, 7, 7) or the text would exceed
// 8,193 bytes with its terminator.
Status IniValueToText(uint32_t type, const void *value, uint32_t size, std::string *text);

// Converts a stored text of types 2 to 9 into the caller's value buffer
// (*size bytes of room; on success the bytes produced). Statuses: all ones
// for hexadecimal text that does not decode; 264 for an empty byte array, a
// boolean other than TRUE or FALSE and numbers without digits; 290 / 291 for
// a 64-bit number out of range; 16 (size set to what is needed) when the room
// is short.
Status IniTextToValue(uint32_t type, std::string_view text, void *value, uint32_t *size);

}  // namespace kx::config
