// UCS-2 <-> UTF-8 conversion. The UTF-8 side is the classic form of up to six
// bytes; the UCS-2 side keeps two deliberate oddities that callers exchange:
// surrogates in UCS-2 input are resolved from the first two units of the whole
// string, and a supplementary code point's high unit is formed without first
// subtracting 0x10000.
#include "text/utf.h"

#include "kxsupt/base.h"

namespace kx::text {

namespace {

constexpr bool IsSurrogate(uint32_t unit) {
  return unit >= 0xD800 && unit <= 0xDFFF;
}
constexpr bool IsHighSurrogate(uint32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool IsLowSurrogate(uint32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

// The code point that every surrogate unit of `in` stands for: the pair formed
// by the string's first two units, or the first unit itself when that is not a
// surrogate. False when the first unit starts no valid pair.
bool ResolveSurrogate(const uint16_t *in, uint32_t *code_point) {
  uint32_t first = in[0];
  if (!IsSurrogate(first)) {
    *code_point = first;
    return true;
  }
  if (!IsHighSurrogate(first)) return false;
  uint32_t second = in[1];  // readable: the terminator at worst
  if (!IsLowSurrogate(second)) return false;
  *code_point = (((first & 0x3FF) << 10) | (second & 0x3FF)) + 0x10000;
  return true;
}

constexpr uint32_t Utf8Length(uint32_t code_point) {
  if (code_point < 0x80) return 1;
  if (code_point < 0x800) return 2;
  if (code_point < 0x10000) return 3;
  if (code_point < 0x200000) return 4;
  if (code_point < 0x4000000) return 5;
  return 6;
}

// Writes the classic UTF-8 form of `code_point` (length `length`) to `out`.
void EncodeUtf8(uint32_t code_point, uint32_t length, unsigned char *out) {
  static constexpr unsigned char kLeadMark[7] = {0, 0x00, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
  for (uint32_t i = length - 1; i > 0; --i) {
    out[i] = static_cast<unsigned char>(0x80 | (code_point & 0x3F));
    code_point >>= 6;
  }
  out[0] = static_cast<unsigned char>(kLeadMark[length] | code_point);
}

}  // namespace

uint32_t Ucs2ToUtf8(char *out, uint32_t *size, const uint16_t *in) {
  if (in == nullptr || size == nullptr) return SM_STATUS_INVALID_PARAMETER;
  auto *dst = reinterpret_cast<unsigned char *>(out);
  const uint64_t room = *size;
  uint64_t produced = 0;

  for (const uint16_t *unit = in; *unit != 0; ++unit) {
    uint32_t code_point = *unit;
    if (code_point < 0x80) {
      if (dst != nullptr) {
        if (produced + 1 > room) return SM_STATUS_BUFFER_TOO_SMALL;
        dst[produced] = static_cast<unsigned char>(code_point);
      }
      ++produced;
      continue;
    }
    if (IsSurrogate(code_point) && !ResolveSurrogate(in, &code_point)) {
      return SM_STATUS_OS_FAILURE;
    }
    const uint32_t length = Utf8Length(code_point);
    if (dst != nullptr) {
      if (produced + length > room) return SM_STATUS_BUFFER_TOO_SMALL;
      EncodeUtf8(code_point, length, dst + produced);
    }
    produced += length;
  }

  const uint64_t needed = produced + 1;
  if (dst != nullptr) {
    if (room < needed) return SM_STATUS_BUFFER_TOO_SMALL;
    dst[produced] = 0;
  }
  *size = static_cast<uint32_t>(needed);
  return SM_STATUS_SUCCESS;
}

uint32_t Utf8ToUcs2(uint16_t *out, uint32_t *size, const char *in) {
  if (in == nullptr || size == nullptr) return SM_STATUS_INVALID_PARAMETER;
  const auto *src = reinterpret_cast<const unsigned char *>(in);
  const uint64_t room = *size;
  uint64_t produced = 0;  // bytes of UCS-2 output

  while (*src != 0) {
    const uint32_t lead = *src;
    if (lead < 0x80) {
      if (out != nullptr) {
        if (produced + 2 > room) return SM_STATUS_BUFFER_TOO_SMALL;
        out[produced / 2] = static_cast<uint16_t>(lead);
      }
      produced += 2;
      ++src;
      continue;
    }
    uint32_t length;
    uint32_t code_point;
    if ((lead & 0xE0) == 0xC0) {
      length = 2, code_point = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
      length = 3, code_point = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
      length = 4, code_point = lead & 0x07;
    } else if ((lead & 0xFC) == 0xF8) {
      length = 5, code_point = lead & 0x03;
    } else if ((lead & 0xFE) == 0xFC) {
      length = 6, code_point = lead & 0x01;
    } else {
      return SM_STATUS_OS_FAILURE;  // a continuation byte, 0xFE or 0xFF
    }
    // Continuation bytes contribute their low six bits; their top bits are
    // not examined. A zero byte ends the input, so the sequence is truncated.
    for (uint32_t i = 1; i < length; ++i) {
      if (src[i] == 0) return SM_STATUS_OS_FAILURE;
      code_point = (code_point << 6) | (src[i] & 0x3F);
    }
    if (code_point >= 0x110000) return SM_STATUS_OS_FAILURE;
    const uint32_t units = code_point < 0x10000 ? 1 : 2;
    if (out != nullptr) {
      // Whole units only: an odd byte of room left over is never used.
      if (produced + 2 * units > room) return SM_STATUS_BUFFER_TOO_SMALL;
      uint16_t *dst = out + produced / 2;
      if (units == 1) {
        dst[0] = static_cast<uint16_t>(code_point);
      } else {
        dst[0] = static_cast<uint16_t>(0xD800 | ((code_point >> 10) & 0x3FF));
        dst[1] = static_cast<uint16_t>(0xDC00 | (code_point & 0x3FF));
      }
    }
    produced += 2 * units;
    src += length;
  }

  const uint64_t needed = produced + 2;
  if (out != nullptr) {
    if (room < needed) return SM_STATUS_BUFFER_TOO_SMALL;
    out[produced / 2] = 0;
  }
  *size = static_cast<uint32_t>(needed);
  return SM_STATUS_SUCCESS;
}

}  // namespace kx::text
