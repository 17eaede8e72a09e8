// Conversions between the INI engine's value types and their stored texts.
// Integers are written through the typed value translation and the library's
// formatter; the 32-bit readers follow the "%lu" / "%ld" scan of a 32-bit
// long (leading white space, a sign, the digits up to the first other byte,
// saturating as strtoul / strtol do), the 64-bit readers the typed values'
// strict decimal grammar, the double reader strtod.
#include "config/ini_values.h"

#include <strings.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "format/format.h"
#include "values/translation.h"

namespace kx::config {

namespace {

// "0x%02X" for each byte, joined by ','.
std::string HexList(const uint8_t *bytes, uint32_t count) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(count * 5);
  for (uint32_t i = 0; i < count; ++i) {
    if (i > 0) text.push_back(',');
    text.append("0x");
    text.push_back(kDigits[bytes[i] >> 4]);
    text.push_back(kDigits[bytes[i] & 15]);
  }
  return text;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// One byte token: an optional "0x" and hexadecimal digits worth at most 255.
bool ParseHexByte(std::string_view token, uint8_t *byte) {
  if (token.size() >= 2 && token[0] == '0' && (token[1] == 'x' || token[1] == 'X')) {
    token.remove_prefix(2);
  }
  if (token.empty()) return false;
  uint32_t value = 0;
  for (char c : token) {
    int digit = HexDigit(c);
    if (digit < 0) return false;
    value = value * 16 + static_cast<uint32_t>(digit);
    if (value > 255) return false;
  }
  *byte = static_cast<uint8_t>(value);
  return true;
}

Status HexListToBytes(std::string_view text, uint8_t *out, uint32_t *size) {
  // Every byte takes five bytes of text with its separator.
  if ((text.size() + 1) % 5 != 0) return Status::kError;
  uint32_t count = 0;
  uint8_t scratch = 0;
  size_t at = 0;
  while (at <= text.size()) {
    size_t comma = text.find(',', at);
    if (comma == std::string_view::npos) comma = text.size();
    std::string_view token = text.substr(at, comma - at);
    at = comma + 1;
    if (token.empty()) continue;  // empty tokens separate nothing
    if (!ParseHexByte(token, &scratch)) return Status::kError;
    if (count < *size) out[count] = scratch;
    ++count;
  }
  if (count == 0) return Status::kBadValue;
  if (count > *size) {
    *size = count;
    return Status::kBufferTooSmall;
  }
  *size = count;
  return Status::kSuccess;
}

// The "%lu" / "%ld" scan as a 32-bit long host performs it. False when no
// digit follows the optional white space and sign.
bool Scan32(std::string_view text, bool is_signed, uint32_t *bits) {
  size_t at = 0;
  while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at]))) ++at;
  bool negative = false;
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) negative = text[at++] == '-';
  if (at >= text.size() || !std::isdigit(static_cast<unsigned char>(text[at]))) return false;
  uint64_t magnitude = 0;
  bool overflow = false;
  for (; at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])); ++at) {
    magnitude = magnitude * 10 + static_cast<uint64_t>(text[at] - '0');
    if (magnitude > 0xFFFFFFFFull) {
      // Past the 32-bit range every further digit changes nothing.
      overflow = true;
      magnitude = 0x100000000ull;
    }
  }
  if (is_signed) {
    int64_t value = negative ? -static_cast<int64_t>(magnitude) : static_cast<int64_t>(magnitude);
    if (value > INT32_MAX) value = INT32_MAX;
    if (value < INT32_MIN) value = INT32_MIN;
    *bits = static_cast<uint32_t>(static_cast<int32_t>(value));
  } else if (overflow) {
    *bits = 0xFFFFFFFFu;  // strtoul saturates before applying the sign
  } else {
    *bits = negative ? static_cast<uint32_t>(0u - static_cast<uint32_t>(magnitude))
                     : static_cast<uint32_t>(magnitude);
  }
  return true;
}

Status XltText(const void *value, uint32_t width, uint32_t code, std::string *text) {
  char buffer[64];
  uint32_t size = sizeof buffer;
  if (!Ok(values::XLTTypeValueToUTF8(value, width, buffer, &size, code))) {
    return Status::kBadValue;
  }
  text->assign(buffer);
  return Status::kSuccess;
}

template <typename T>
T Load(const void *value) {
  T loaded;
  std::memcpy(&loaded, value, sizeof loaded);
  return loaded;
}

}  // namespace

uint32_t IniTypeWidth(uint32_t type) {
  switch (type) {
    case kIniBoolean:
      return 2;
    case kIniUInt32:
    case kIniInt32:
      return 4;
    case kIniUInt64:
    case kIniInt64:
    case kIniDouble:
      return 8;
    default:
      return 0;
  }
}

Status IniValueToText(uint32_t type, const void *value, uint32_t size, std::string *text) {
  if (!IsIniType(type)) return Status::kInvalidArgs;
  if (type >= kIniBoolean && size < IniTypeWidth(type)) return Status::kBadValue;
  switch (type) {
    case kIniText: {
      const size_t length = strnlen(static_cast<const char *>(value), size);
      if (length + 1 != size) return Status::kBadValue;
      text->assign(static_cast<const char *>(value), length);
      break;
    }
    case kIniUcs2: {
      if (size > kIniMaxUcs2Size || size < 2 || size % 2 != 0) return Status::kBadValue;
      const uint32_t units = size / 2;
      uint32_t length = 0;
      while (length < units && Load<uint16_t>(static_cast<const uint8_t *>(value) + 2 * length)) {
        ++length;
      }
      if (length + 1 != units) return Status::kBadValue;
      *text = HexList(static_cast<const uint8_t *>(value), size);
      break;
    }
    case kIniBytes:
      if (size == 0 || static_cast<uint64_t>(size) * 5 > kIniMaxValueSize) return Status::kBadValue;
      *text = HexList(static_cast<const uint8_t *>(value), size);
      break;
    case kIniBoolean:
      text->assign(Load<uint16_t>(value) == 1 ? "TRUE" : "FALSE");
      break;
    case kIniUInt32:
      return XltText(value, 4, values::kUInt32, text);
    case kIniInt32:
      return XltText(value, 4, values::kInt32, text);
    case kIniUInt64:
      return XltText(value, 8, values::kUInt64, text);
    case kIniInt64:
      return XltText(value, 8, values::kInt64, text);
    case kIniDouble: {
      // The largest double has 309 integral digits.
      char buffer[400];
      format::snprintf(buffer, sizeof buffer, "%.8f", Load<double>(value));
      text->assign(buffer);
      break;
    }
  }
  if (text->size() + 1 > kIniMaxValueSize) return Status::kBadValue;
  return Status::kSuccess;
}

Status IniTextToValue(uint32_t type, std::string_view text, void *value, uint32_t *size) {
  const uint32_t width = IniTypeWidth(type);
  if (width != 0 && *size < width) {
    *size = width;
    return Status::kBufferTooSmall;
  }
  switch (type) {
    case kIniUcs2:
    case kIniBytes:
      return HexListToBytes(text, static_cast<uint8_t *>(value), size);
    case kIniBoolean: {
      std::string_view token = text.substr(std::min(text.find_first_not_of(' '), text.size()));
      token = token.substr(0, token.find(' '));
      uint16_t flag;
      if (token.size() == 4 && strncasecmp(token.data(), "TRUE", 4) == 0) {
        flag = 1;
      } else if (token.size() == 5 && strncasecmp(token.data(), "FALSE", 5) == 0) {
        flag = 0;
      } else {
        return Status::kBadValue;
      }
      std::memcpy(value, &flag, sizeof flag);
      break;
    }
    case kIniUInt32:
    case kIniInt32: {
      uint32_t bits;
      if (!Scan32(text, type == kIniInt32, &bits)) return Status::kBadValue;
      std::memcpy(value, &bits, sizeof bits);
      break;
    }
    case kIniUInt64:
    case kIniInt64: {
      const std::string terminated(text);
      uint64_t bits;
      uint32_t room = sizeof bits;
      const Status status = values::XLTUTF8ToTypeValue(
          terminated.c_str(), &bits, &room, type == kIniInt64 ? values::kInt64 : values::kUInt64);
      if (status == Status::kOverflow || status == Status::kUnderflow) return status;
      if (!Ok(status)) return Status::kBadValue;
      std::memcpy(value, &bits, sizeof bits);
      break;
    }
    case kIniDouble: {
      const std::string terminated(text);
      char *end = nullptr;
      double number = std::strtod(terminated.c_str(), &end);
      if (end == terminated.c_str()) return Status::kBadValue;
      std::memcpy(value, &number, sizeof number);
      break;
    }
    default:
      return Status::kInvalidArgs;
  }
  *size = width;
  return Status::kSuccess;
}

}  // namespace kx::config
