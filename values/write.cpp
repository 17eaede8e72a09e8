// Typed value to text: the minimum room per code, the presentation selectors
// of the integer codes, and the text forms of every code. Integers and
// doubles are formatted by the library's own printf engine.
#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <limits>

#include "base/memory.h"
#include "format/format.h"
#include "text/utf.h"
#include "values/forms.h"
#include "values/translation.h"

namespace kx::values {

namespace {

// Room for any fixed-size text form: "%.3f" of the largest double needs 314.
constexpr uint32_t kScratchSize = 400;
// A byte array is written for at most this many bytes.
constexpr uint32_t kMaxHexBytes = 63;
// ctime's text lands in a block of this size before it is copied.
constexpr uint32_t kCtimeBlock = 32;

constexpr bool IsNarrowInteger(uint32_t code) {
  return (code >= kInt8 && code <= kInt32) || (code >= kUInt8 && code <= kUInt32);
}

// The size a buffer must exceed before anything is written (0: none). The
// bounds are what the widest text of each code needed where the library was
// first built, so they are kept even where this host's texts are shorter:
// callers size their buffers by them.
uint32_t RoomBound(uint32_t code, uint32_t selector) {
  if (IsNarrowInteger(code) && selector == kSelectBinary) return 32;
  switch (code) {
    case kInt8:
    case kInt16:
    case kInt32:
      return 16;
    case kUInt8:
    case kUInt16:
    case kUInt32:
      return 15;
    case kInt64:
      return 32;
    case kUInt64:
    case kDouble:
      return 31;
    case kLanguageId:
      return 15;
    case kTime:
      return 63;
    default:
      return 0;
  }
}

template <typename T>
T Load(const void *value) {
  T v;
  std::memcpy(&v, value, sizeof v);
  return v;
}

// Signed codes are widened with their sign, unsigned ones with zeros: the 32
// bits that the selectors print.
uint32_t NarrowIntegerBits(const void *value, uint32_t code) {
  switch (code) {
    case kInt8:
      return static_cast<uint32_t>(static_cast<int32_t>(Load<int8_t>(value)));
    case kInt16:
      return static_cast<uint32_t>(static_cast<int32_t>(Load<int16_t>(value)));
    case kInt32:
      return static_cast<uint32_t>(Load<int32_t>(value));
    case kUInt8:
      return Load<uint8_t>(value);
    case kUInt16:
      return Load<uint16_t>(value);
    default:
      return Load<uint32_t>(value);
  }
}

// Base 2 as _ltoa_s writes it for a 32-bit long: the bit pattern, no leading
// zeros, "0" for zero.
uint32_t FormatBinary(uint32_t bits, char *out) {
  const int width = bits == 0 ? 1 : 32 - __builtin_clz(bits);
  for (int i = 0; i < width; ++i) out[i] = static_cast<char>('0' + ((bits >> (width - 1 - i)) & 1));
  return static_cast<uint32_t>(width);
}

uint32_t FormatNarrowInteger(const void *value, uint32_t code, uint32_t selector, char *out) {
  const uint32_t bits = NarrowIntegerBits(value, code);
  const bool is_signed = code <= kInt32;
  switch (selector) {
    case kSelectBinary:
      return FormatBinary(bits, out);
    case kSelectOctal:
      return static_cast<uint32_t>(kx::format::snprintf(out, kScratchSize, "%o", bits));
    case kSelectHex:
      return static_cast<uint32_t>(kx::format::snprintf(out, kScratchSize, "%#x", bits));
    default:
      if (is_signed) {
        return static_cast<uint32_t>(
            kx::format::snprintf(out, kScratchSize, "%d", static_cast<int32_t>(bits)));
      }
      return static_cast<uint32_t>(kx::format::snprintf(out, kScratchSize, "%u", bits));
  }
}

constexpr char kHexDigits[] = "0123456789ABCDEF";

uint32_t FormatHexBytes(const uint8_t *bytes, uint32_t count, char *out) {
  count = std::min(count, kMaxHexBytes);
  for (uint32_t i = 0; i < count; ++i) {
    out[2 * i] = kHexDigits[bytes[i] >> 4];
    out[2 * i + 1] = kHexDigits[bytes[i] & 0xF];
  }
  return 2 * count;
}

// ctime's 24-character local time, without its line feed; false when the C
// library cannot convert the time.
bool FormatCtime(uint32_t seconds, char *out, uint32_t *length) {
  char block[kCtimeBlock];
  const std::time_t when = seconds;
  if (ctime_r(&when, block) == nullptr) return false;
  size_t n = std::strlen(block);
  if (n > 0 && block[n - 1] == '\n') --n;
  std::memcpy(out, block, n);
  *length = static_cast<uint32_t>(n);
  return true;
}

// Hands a finished text to the caller: measured for a null buffer (the size
// needed is then at least the code's bound + 1), else copied when it fits.
Status Deliver(const char *source, size_t length, char *text, uint32_t *size, uint32_t bound) {
  if (length >= std::numeric_limits<uint32_t>::max()) return Status::kInvalidParameter;
  const auto needed = static_cast<uint32_t>(length + 1);
  if (text == nullptr) {
    *size = std::max(needed, bound + 1);
    return Status::kSuccess;
  }
  if (*size < needed) {
    *size = needed;
    return Status::kBufferTooSmall;
  }
  std::memcpy(text, source, length);
  text[length] = 0;
  *size = needed;
  return Status::kSuccess;
}

// A UCS-2 string as the conversion routines need it: aligned and terminated.
// Holds an aligned copy only when the caller's string is not aligned.
class Ucs2View {
 public:
  explicit Ucs2View(const void *value) {
    if (reinterpret_cast<uintptr_t>(value) % alignof(uint16_t) == 0) {
      units_ = static_cast<const uint16_t *>(value);
      return;
    }
    const auto *bytes = static_cast<const unsigned char *>(value);
    size_t count = 0;
    while (bytes[2 * count] != 0 || bytes[2 * count + 1] != 0) ++count;
    copy_ = static_cast<uint16_t *>(kx::base::AllocMem(static_cast<uint32_t>(2 * (count + 1))));
    if (copy_ != nullptr) std::memcpy(copy_, value, 2 * (count + 1));
    units_ = copy_;
  }
  ~Ucs2View() { kx::base::FreeMem(copy_); }
  Ucs2View(const Ucs2View &) = delete;
  Ucs2View &operator=(const Ucs2View &) = delete;

  const uint16_t *units() const { return units_; }  // null when the copy failed

 private:
  const uint16_t *units_ = nullptr;
  uint16_t *copy_ = nullptr;
};

// UCS-2 text to UTF-8 in the caller's buffer, reporting the size needed.
Status WriteUcs2AsUtf8(const void *value, char *text, uint32_t *size) {
  const Ucs2View source(value);
  if (source.units() == nullptr) return Status::kNoMemory;
  uint32_t needed = 0;
  Status status = text::UCS2StrToUTF8Str(nullptr, &needed, source.units());
  if (!Ok(status) || text == nullptr) {
    if (Ok(status)) *size = needed;
    return status;
  }
  if (*size < needed) {
    *size = needed;
    return Status::kBufferTooSmall;
  }
  uint32_t room = needed;
  status = text::UCS2StrToUTF8Str(text, &room, source.units());
  if (Ok(status)) *size = room;
  return status;
}

// Code 12 under selector 256 (a dump of 16 bytes a line, each line headed by
// its offset) or 1024 (a list "0x%02X," per byte) of `count` bytes; a count of
// 0 covers the string and its terminator.
Status WriteUcs2Dump(const void *value, uint32_t count, uint32_t selector, char *text,
                     uint32_t *size) {
  const auto *bytes = static_cast<const unsigned char *>(value);
  if (count == 0) {
    size_t units = 0;
    while (bytes[2 * units] != 0 || bytes[2 * units + 1] != 0) ++units;
    if (units >= std::numeric_limits<uint32_t>::max() / 2) return Status::kInvalidParameter;
    count = static_cast<uint32_t>(2 * (units + 1));
  }
  // "0x%08X: " (12), then "%02X" bytes with a blank between, then "\n".
  const uint64_t lines = (uint64_t{count} + 15) / 16;
  const uint64_t length =
      selector == kSelectHex ? 5 * uint64_t{count} : 12 * lines + 3 * uint64_t{count};
  if (length >= std::numeric_limits<uint32_t>::max()) return Status::kInvalidParameter;
  const auto needed = static_cast<uint32_t>(length + 1);
  if (text == nullptr || *size < needed) {
    const Status status = text == nullptr ? Status::kSuccess : Status::kBufferTooSmall;
    *size = needed;
    return status;
  }
  char *out = text;
  for (uint32_t i = 0; i < count; ++i) {
    if (selector == kSelectHex) {
      *out++ = '0';
      *out++ = 'x';
      *out++ = kHexDigits[bytes[i] >> 4];
      *out++ = kHexDigits[bytes[i] & 0xF];
      *out++ = ',';
      continue;
    }
    if (i % 16 == 0) {
      out += kx::format::snprintf(out, 13, "0x%08X: ", i);
    } else {
      *out++ = ' ';
    }
    *out++ = kHexDigits[bytes[i] >> 4];
    *out++ = kHexDigits[bytes[i] & 0xF];
    if (i % 16 == 15 || i + 1 == count) *out++ = '\n';
  }
  *out = 0;
  *size = needed;
  return Status::kSuccess;
}

}  // namespace

Status XLTTypeValueToUTF8(const void *value, uint32_t value_size, char *text, uint32_t *size,
                          uint32_t type) {
  if (size == nullptr || value == nullptr) return Status::kInvalidParameter;
  const uint32_t code = CodeOf(type);
  const uint32_t selector = SelectorOf(type);
  if (code > kLastCode) return Status::kInvalidArgs;

  const uint32_t bound = RoomBound(code, selector);
  if (text != nullptr && *size <= bound) {
    *size = bound + 1;
    return Status::kBufferTooSmall;
  }

  char scratch[kScratchSize];
  uint32_t length = 0;
  switch (code) {
    case kBoolean: {
      const char *word = Load<uint16_t>(value) == 1 ? "true" : "false";
      return Deliver(word, std::strlen(word), text, size, bound);
    }
    case kInt8:
    case kInt16:
    case kInt32:
    case kUInt8:
    case kUInt16:
    case kUInt32:
      length = FormatNarrowInteger(value, code, selector, scratch);
      break;
    case kInt64:
      length = static_cast<uint32_t>(
          std::to_chars(scratch, scratch + kScratchSize, Load<int64_t>(value)).ptr - scratch);
      break;
    case kUInt64:
      length = static_cast<uint32_t>(
          std::to_chars(scratch, scratch + kScratchSize, Load<uint64_t>(value)).ptr - scratch);
      break;
    case kDouble:
      length = static_cast<uint32_t>(
          kx::format::snprintf(scratch, kScratchSize, "%.3f", Load<double>(value)));
      break;
    case kLanguageId: {
      const char *name = LanguageName(Load<uint32_t>(value));
      return Deliver(name, std::strlen(name), text, size, bound);
    }
    case kTime:
      if (!FormatCtime(Load<uint32_t>(value), scratch, &length)) return Status::kError;
      break;
    case kUcs2:
      if (selector == 0) return WriteUcs2AsUtf8(value, text, size);
      if (selector == kSelectBinary || selector == kSelectHex) {
        return WriteUcs2Dump(value, value_size, selector, text, size);
      }
      return Status::kInvalidArgs;
    case kUtf8: {
      const auto *string = static_cast<const char *>(value);
      return Deliver(string, std::strlen(string), text, size, bound);
    }
    case kUcs2Converted:
      return WriteUcs2AsUtf8(value, text, size);
    case kIPv4:
      length = FormatDottedIPv4(Load<uint32_t>(value), scratch);
      break;
    case kBytes:
      length = FormatHexBytes(static_cast<const uint8_t *>(value), value_size, scratch);
      break;
    default:
      return Status::kInvalidArgs;
  }
  return Deliver(scratch, length, text, size, bound);
}

}  // namespace kx::values
