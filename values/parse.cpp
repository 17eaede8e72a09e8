// Text to typed value: the size check per type, the grammar per selector, the
// range checks of the narrow integer codes, and the string, byte-array,
// language, time and address readers.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "base/memory.h"
#include "text/utf.h"
#include "values/forms.h"
#include "values/translation.h"

namespace kx::values {

namespace {

// Bytes of a fixed-size value, or 0 for the string and array codes.
constexpr uint32_t FixedValueSize(uint32_t code) {
  constexpr uint32_t kSizes[kLastCode + 1] = {2, 1, 2, 4, 8, 1, 2, 4, 8, 8, 4, 4, 0, 0, 0, 4, 0};
  return kSizes[code];
}

template <typename T>
void Store(void *value, T v) {
  std::memcpy(value, &v, sizeof v);
}

// The grammar a selector picks for the integer codes; false for a selector
// that picks none.
bool GrammarOf(uint32_t selector, NumberGrammar *grammar) {
  switch (selector) {
    case 0:
    case kSelectDecimal:
      *grammar = NumberGrammar::kDecimal;
      return true;
    case kSelectOctal:
      *grammar = NumberGrammar::kOctal;
      return true;
    case kSelectHex:
      *grammar = NumberGrammar::kHex;
      return true;
    default:
      return false;
  }
}

// Codes 1-3 and 5-7: strtol / strtoul semantics, then the range of the 8- and
// 16-bit codes; the 32-bit codes keep the low 32 bits of what came back.
Status ParseNarrowInteger(const char *text, void *value, uint32_t code, uint32_t selector) {
  NumberGrammar grammar;
  NumberText number;
  if (!GrammarOf(selector, &grammar) || !ReadNumberText(text, grammar, &number)) {
    return Status::kInvalidParameter;
  }
  if (code <= kInt32) {
    const int64_t v = StrtolValue(number);
    int64_t low = std::numeric_limits<int8_t>::min();
    int64_t high = std::numeric_limits<int8_t>::max();
    if (code == kInt16) {
      low = std::numeric_limits<int16_t>::min();
      high = std::numeric_limits<int16_t>::max();
    }
    if (code != kInt32) {
      if (v > high) return Status::kOverflow;
      if (v < low) return Status::kUnderflow;
    }
    if (code == kInt8) Store(value, static_cast<int8_t>(v));
    if (code == kInt16) Store(value, static_cast<int16_t>(v));
    if (code == kInt32) Store(value, static_cast<int32_t>(v));
    return Status::kSuccess;
  }
  // strtoul has wrapped a minus sign already: the only failure left is above.
  const uint64_t v = StrtoulValue(number);
  if (code == kUInt8 && v > std::numeric_limits<uint8_t>::max()) return Status::kOverflow;
  if (code == kUInt16 && v > std::numeric_limits<uint16_t>::max()) return Status::kOverflow;
  if (code == kUInt8) Store(value, static_cast<uint8_t>(v));
  if (code == kUInt16) Store(value, static_cast<uint16_t>(v));
  if (code == kUInt32) Store(value, static_cast<uint32_t>(v));
  return Status::kSuccess;
}

// Codes 4, 8 and 9 read only decimal text; octal and hexadecimal selectors
// are refused with a status of their own.
Status CheckWideSelector(uint32_t selector) {
  if (selector == kSelectOctal || selector == kSelectHex) return Status::kFailed;
  if (selector != 0 && selector != kSelectDecimal) return Status::kInvalidParameter;
  return Status::kSuccess;
}

bool EqualsIgnoringAsciiCase(const char *text, const char *word) {
  for (; *word != 0; ++text, ++word) {
    char c = *text;
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != *word) return false;
  }
  return *text == 0;
}

// UTF-8 to UCS-2 into the caller's block within `*size` bytes; kBufferTooSmall
// reports the size needed. A block that is not aligned for 16-bit units is
// filled through an aligned copy.
Status ConvertToUcs2(const char *text, void *value, uint32_t *size) {
  uint32_t needed = 0;
  Status status = text::UTF8StrToUCS2Str(nullptr, &needed, text);
  if (!Ok(status)) return status;
  if (*size < needed) {
    *size = needed;
    return Status::kBufferTooSmall;
  }
  uint32_t room = needed;
  if (reinterpret_cast<uintptr_t>(value) % alignof(uint16_t) == 0) {
    status = text::UTF8StrToUCS2Str(static_cast<uint16_t *>(value), &room, text);
  } else {
    auto *aligned = static_cast<uint16_t *>(kx::base::AllocMem(needed));
    if (aligned == nullptr) return Status::kNoMemory;
    status = text::UTF8StrToUCS2Str(aligned, &room, text);
    if (Ok(status)) std::memcpy(value, aligned, needed);
    kx::base::FreeMem(aligned);
  }
  if (Ok(status)) *size = needed;
  return status;
}

}  // namespace

Status HexTextToBytes(const char *text, uint8_t *out, uint32_t *size) {
  if (text == nullptr || size == nullptr) return Status::kInvalidParameter;
  const size_t length = std::strlen(text);
  if (length % 2 != 0) return Status::kInvalidParameter;
  auto nibble = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  for (size_t i = 0; i < length; ++i) {
    if (nibble(text[i]) < 0) return Status::kInvalidParameter;
  }
  if (length / 2 > std::numeric_limits<uint32_t>::max()) return Status::kInvalidParameter;
  const auto needed = static_cast<uint32_t>(length / 2);
  if (out != nullptr) {
    if (*size < needed) {
      *size = needed;
      return Status::kBufferTooSmall;
    }
    for (uint32_t i = 0; i < needed; ++i) {
      out[i] = static_cast<uint8_t>(nibble(text[2 * i]) << 4 | nibble(text[2 * i + 1]));
    }
  }
  *size = needed;
  return Status::kSuccess;
}

Status XLTUTF8ToTypeValue(const char *text, void *value, uint32_t *size, uint32_t type) {
  if (text == nullptr || size == nullptr) return Status::kInvalidParameter;
  const uint32_t code = CodeOf(type);
  const uint32_t selector = SelectorOf(type);
  if (code > kLastCode) return Status::kInvalidArgs;

  // Room first: the fixed size, or the text's length + 1 for strings and byte
  // arrays (even code 12, whose UCS-2 form may need more: the conversion then
  // decides within the room given). Code 14 leaves it all to the conversion.
  uint32_t needed = FixedValueSize(code);
  if (code == kUcs2 || code == kUtf8 || code == kBytes) {
    const size_t length = std::strlen(text);
    if (length >= std::numeric_limits<uint32_t>::max()) return Status::kInvalidParameter;
    needed = static_cast<uint32_t>(length + 1);
  }
  if (*size < needed) {
    *size = needed;
    return Status::kBufferTooSmall;
  }
  if (value == nullptr) return Status::kInvalidParameter;

  Status status = Status::kSuccess;
  switch (code) {
    case kBoolean:
      if (EqualsIgnoringAsciiCase(text, "true")) {
        Store<uint16_t>(value, 1);
      } else if (EqualsIgnoringAsciiCase(text, "false")) {
        Store<uint16_t>(value, 0);
      } else {
        return Status::kInvalidParameter;
      }
      break;
    case kInt8:
    case kInt16:
    case kInt32:
    case kUInt8:
    case kUInt16:
    case kUInt32:
      status = ParseNarrowInteger(text, value, code, selector);
      break;
    case kInt64:
    case kUInt64: {
      status = CheckWideSelector(selector);
      if (!Ok(status)) return status;
      NumberText number;
      if (!ReadNumberText(text, NumberGrammar::kDecimal, &number)) {
        return Status::kInvalidParameter;
      }
      uint64_t bits = 0;
      status = Decimal64Value(number, code == kInt64, &bits);
      if (Ok(status)) Store(value, bits);
      break;
    }
    case kDouble: {
      status = CheckWideSelector(selector);
      if (!Ok(status)) return status;
      double parsed = 0.0;
      status = ParseDouble(text, &parsed);
      if (Ok(status)) Store(value, parsed);
      break;
    }
    case kLanguageId:
      Store<uint32_t>(value, LanguageId(text));
      break;
    case kTime: {
      uint32_t seconds = 0;
      status = ParseCtimeForm(text, &seconds);
      if (Ok(status)) Store(value, seconds);
      break;
    }
    case kUcs2:
      // Selector 1024 names a second converter for the same job; both are
      // the library's one UTF-8 to UCS-2 conversion here.
      if (selector != 0 && selector != kSelectHex) return Status::kInvalidArgs;
      return ConvertToUcs2(text, value, size);
    case kUcs2Converted:
      return ConvertToUcs2(text, value, size);
    case kUtf8:
      std::memcpy(value, text, needed);
      break;
    case kIPv4: {
      uint32_t address = 0;
      status = ParseDottedIPv4(text, &address);
      if (Ok(status)) Store(value, address);
      break;
    }
    case kBytes:
      return HexTextToBytes(text, static_cast<uint8_t *>(value), size);
    default:
      return Status::kInvalidArgs;
  }
  if (Ok(status)) *size = needed;
  return status;
}

}  // namespace kx::values
