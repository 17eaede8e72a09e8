// Text to typed value: the size check per type, the grammar per selector, the
// range checks of the narrow integer codes, and the string, byte-array,
// language, time and address readers.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "base/memory.h"
#include "kxsupt/base.h"
#include "text/utf.h"
#include "values/translation.h"
#include "values/forms.h"

namespace kx::values {

namespace {

// Bytes of a fixed-size value, or 0 for the string and array codes.
constexpr uint32_t FixedValueSize(uint32_t code) {
  constexpr uint32_t kSizes[kXltLastCode + 1] = {2, 1, 2, 4, 8, 1, 2, 4, 8, 8, 4, 4, 0, 0, 0, 4, 0};
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
    case kXltSelectDecimal:
      *grammar = NumberGrammar::kDecimal;
      return true;
    case kXltSelectOctal:
      *grammar = NumberGrammar::kOctal;
      return true;
    case kXltSelectHex:
      *grammar = NumberGrammar::kHex;
      return true;
    default:
      return false;
  }
}

// Codes 1-3 and 5-7: strtol / strtoul semantics, then the range of the 8- and
// 16-bit codes; the 32-bit codes keep the low 32 bits of what came back.
uint32_t ParseNarrowInteger(const char *text, void *value, uint32_t code, uint32_t selector) {
  NumberGrammar grammar;
  NumberText number;
  if (!GrammarOf(selector, &grammar) || !ReadNumberText(text, grammar, &number)) {
    return SM_STATUS_INVALID_PARAMETER;
  }
  if (code <= kXltInt32) {
    const int64_t v = StrtolValue(number);
    int64_t low = std::numeric_limits<int8_t>::min();
    int64_t high = std::numeric_limits<int8_t>::max();
    if (code == kXltInt16) {
      low = std::numeric_limits<int16_t>::min();
      high = std::numeric_limits<int16_t>::max();
    }
    if (code != kXltInt32) {
      if (v > high) return SM_STATUS_OVERFLOW;
      if (v < low) return SM_STATUS_UNDERFLOW;
    }
    if (code == kXltInt8) Store(value, static_cast<int8_t>(v));
    if (code == kXltInt16) Store(value, static_cast<int16_t>(v));
    if (code == kXltInt32) Store(value, static_cast<int32_t>(v));
    return SM_STATUS_SUCCESS;
  }
  // strtoul has wrapped a minus sign already: the only failure left is above.
  const uint64_t v = StrtoulValue(number);
  if (code == kXltUInt8 && v > std::numeric_limits<uint8_t>::max()) return SM_STATUS_OVERFLOW;
  if (code == kXltUInt16 && v > std::numeric_limits<uint16_t>::max()) return SM_STATUS_OVERFLOW;
  if (code == kXltUInt8) Store(value, static_cast<uint8_t>(v));
  if (code == kXltUInt16) Store(value, static_cast<uint16_t>(v));
  if (code == kXltUInt32) Store(value, static_cast<uint32_t>(v));
  return SM_STATUS_SUCCESS;
}

// Codes 4, 8 and 9 read only decimal text; octal and hexadecimal selectors
// are refused with a status of their own.
uint32_t CheckWideSelector(uint32_t selector) {
  if (selector == kXltSelectOctal || selector == kXltSelectHex) return SM_STATUS_FAILED;
  if (selector != 0 && selector != kXltSelectDecimal) return SM_STATUS_INVALID_PARAMETER;
  return SM_STATUS_SUCCESS;
}

bool EqualsIgnoringAsciiCase(const char *text, const char *word) {
  for (; *word != 0; ++text, ++word) {
    char c = *text;
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != *word) return false;
  }
  return *text == 0;
}

// UTF-8 to UCS-2 into the caller's block within `*size` bytes; status 16
// reports the size needed. A block that is not aligned for 16-bit units is
// filled through an aligned copy.
uint32_t ConvertToUcs2(const char *text, void *value, uint32_t *size) {
  uint32_t needed = 0;
  uint32_t status = text::Utf8ToUcs2(nullptr, &needed, text);
  if (status != SM_STATUS_SUCCESS) return status;
  if (*size < needed) {
    *size = needed;
    return SM_STATUS_BUFFER_TOO_SMALL;
  }
  uint32_t room = needed;
  if (reinterpret_cast<uintptr_t>(value) % alignof(uint16_t) == 0) {
    status = text::Utf8ToUcs2(static_cast<uint16_t *>(value), &room, text);
  } else {
    auto *aligned = static_cast<uint16_t *>(kx::base::AllocMem(needed));
    if (aligned == nullptr) return SM_STATUS_NO_MEMORY;
    status = text::Utf8ToUcs2(aligned, &room, text);
    if (status == SM_STATUS_SUCCESS) std::memcpy(value, aligned, needed);
    kx::base::FreeMem(aligned);
  }
  if (status == SM_STATUS_SUCCESS) *size = needed;
  return status;
}

}  // namespace

uint32_t HexTextToBytes(const char *text, uint8_t *out, uint32_t *size) {
  if (text == nullptr || size == nullptr) return SM_STATUS_INVALID_PARAMETER;
  const size_t length = std::strlen(text);
  if (length % 2 != 0) return SM_STATUS_INVALID_PARAMETER;
  auto nibble = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  for (size_t i = 0; i < length; ++i) {
    if (nibble(text[i]) < 0) return SM_STATUS_INVALID_PARAMETER;
  }
  if (length / 2 > std::numeric_limits<uint32_t>::max()) return SM_STATUS_INVALID_PARAMETER;
  const auto needed = static_cast<uint32_t>(length / 2);
  if (out != nullptr) {
    if (*size < needed) {
      *size = needed;
      return SM_STATUS_BUFFER_TOO_SMALL;
    }
    for (uint32_t i = 0; i < needed; ++i) {
      out[i] = static_cast<uint8_t>(nibble(text[2 * i]) << 4 | nibble(text[2 * i + 1]));
    }
  }
  *size = needed;
  return SM_STATUS_SUCCESS;
}

uint32_t XltTextToValue(const char *text, void *value, uint32_t *size, uint32_t type) {
  if (text == nullptr || size == nullptr) return SM_STATUS_INVALID_PARAMETER;
  const uint32_t code = XltCodeOf(type);
  const uint32_t selector = XltSelectorOf(type);
  if (code > kXltLastCode) return SM_STATUS_INVALID_ARGS;

  // Room first: the fixed size, or the text's length + 1 for strings and byte
  // arrays (even code 12, whose UCS-2 form may need more: the conversion then
  // decides within the room given). Code 14 leaves it all to the conversion.
  uint32_t needed = FixedValueSize(code);
  if (code == kXltUcs2 || code == kXltUtf8 || code == kXltBytes) {
    const size_t length = std::strlen(text);
    if (length >= std::numeric_limits<uint32_t>::max()) return SM_STATUS_INVALID_PARAMETER;
    needed = static_cast<uint32_t>(length + 1);
  }
  if (*size < needed) {
    *size = needed;
    return SM_STATUS_BUFFER_TOO_SMALL;
  }
  if (value == nullptr) return SM_STATUS_INVALID_PARAMETER;

  uint32_t status = SM_STATUS_SUCCESS;
  switch (code) {
    case kXltBoolean:
      if (EqualsIgnoringAsciiCase(text, "true")) {
        Store<uint16_t>(value, 1);
      } else if (EqualsIgnoringAsciiCase(text, "false")) {
        Store<uint16_t>(value, 0);
      } else {
        return SM_STATUS_INVALID_PARAMETER;
      }
      break;
    case kXltInt8:
    case kXltInt16:
    case kXltInt32:
    case kXltUInt8:
    case kXltUInt16:
    case kXltUInt32:
      status = ParseNarrowInteger(text, value, code, selector);
      break;
    case kXltInt64:
    case kXltUInt64: {
      status = CheckWideSelector(selector);
      if (status != SM_STATUS_SUCCESS) return status;
      NumberText number;
      if (!ReadNumberText(text, NumberGrammar::kDecimal, &number)) {
        return SM_STATUS_INVALID_PARAMETER;
      }
      uint64_t bits = 0;
      status = Decimal64Value(number, code == kXltInt64, &bits);
      if (status == SM_STATUS_SUCCESS) Store(value, bits);
      break;
    }
    case kXltDouble: {
      status = CheckWideSelector(selector);
      if (status != SM_STATUS_SUCCESS) return status;
      double parsed = 0.0;
      status = ParseDouble(text, &parsed);
      if (status == SM_STATUS_SUCCESS) Store(value, parsed);
      break;
    }
    case kXltLanguageId:
      Store<uint32_t>(value, LanguageId(text));
      break;
    case kXltTime: {
      uint32_t seconds = 0;
      status = ParseCtimeForm(text, &seconds);
      if (status == SM_STATUS_SUCCESS) Store(value, seconds);
      break;
    }
    case kXltUcs2:
      // Selector 1024 names a second converter for the same job; both are
      // the library's one UTF-8 to UCS-2 conversion here.
      if (selector != 0 && selector != kXltSelectHex) return SM_STATUS_INVALID_ARGS;
      return ConvertToUcs2(text, value, size);
    case kXltUcs2Converted:
      return ConvertToUcs2(text, value, size);
    case kXltUtf8:
      std::memcpy(value, text, needed);
      break;
    case kXltIPv4: {
      uint32_t address = 0;
      status = ParseDottedIPv4(text, &address);
      if (status == SM_STATUS_SUCCESS) Store(value, address);
      break;
    }
    case kXltBytes:
      return HexTextToBytes(text, static_cast<uint8_t *>(value), size);
    default:
      return SM_STATUS_INVALID_ARGS;
  }
  if (status == SM_STATUS_SUCCESS) *size = needed;
  return status;
}

}  // namespace kx::values
