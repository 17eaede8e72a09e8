// libFuzzer target for the UCS-2/UTF-8 conversions. The input is read twice:
// as a UTF-8 string (up to its first zero byte) and as UCS-2 units (up to the
// first zero unit). Each conversion must agree with a plain unit-by-unit
// decoder, measure exactly what converting then produces, refuse every short
// room with 16 and an untouched size, never write past the room, and turn
// surrogate-free UCS-2 back into itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "kxsupt/base.h"
#include "text/utf.h"

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

// The UTF-8 -> UCS-2 contract, one character at a time: status and units.
uint32_t ReferenceDecode(const unsigned char *in, size_t length, std::vector<uint16_t> *out) {
  static const struct {
    unsigned mask, mark, size;
  } kForms[] = {{0x80, 0x00, 1}, {0xE0, 0xC0, 2}, {0xF0, 0xE0, 3},
                {0xF8, 0xF0, 4}, {0xFC, 0xF8, 5}, {0xFE, 0xFC, 6}};
  for (size_t at = 0; at < length;) {
    unsigned size = 0;
    uint32_t cp = 0;
    for (const auto &form : kForms) {
      if ((in[at] & form.mask) != form.mark) continue;
      size = form.size;
      cp = in[at] & ~form.mask & 0xFF;
      break;
    }
    if (size == 0 || at + size > length) return SM_STATUS_OS_FAILURE;
    for (unsigned i = 1; i < size; ++i) cp = cp << 6 | (in[at + i] & 0x3F);
    if (cp >= 0x110000) return SM_STATUS_OS_FAILURE;
    if (cp < 0x10000) {
      out->push_back(static_cast<uint16_t>(cp));
    } else {
      out->push_back(static_cast<uint16_t>(0xD800 | (cp >> 10 & 0x3FF)));
      out->push_back(static_cast<uint16_t>(0xDC00 | (cp & 0x3FF)));
    }
    at += size;
  }
  return SM_STATUS_SUCCESS;
}

// The UCS-2 -> UTF-8 contract: surrogates stand for the input's first units.
uint32_t ReferenceEncode(const uint16_t *in, size_t length, std::vector<unsigned char> *out) {
  for (size_t at = 0; at < length; ++at) {
    uint32_t cp = in[at];
    if (cp >= 0xD800 && cp <= 0xDFFF) {
      const uint32_t first = in[0];
      const uint32_t second = in[1];  // the terminator at worst
      if (first < 0xD800 || first > 0xDFFF) {
        cp = first;
      } else if (first <= 0xDBFF && second >= 0xDC00 && second <= 0xDFFF) {
        cp = (((first & 0x3FF) << 10) | (second & 0x3FF)) + 0x10000;
      } else {
        return SM_STATUS_OS_FAILURE;
      }
    }
    if (cp < 0x80) {
      out->push_back(static_cast<unsigned char>(cp));
    } else if (cp < 0x800) {
      out->insert(out->end(), {static_cast<unsigned char>(0xC0 | cp >> 6),
                               static_cast<unsigned char>(0x80 | (cp & 0x3F))});
    } else if (cp < 0x10000) {
      out->insert(out->end(), {static_cast<unsigned char>(0xE0 | cp >> 12),
                               static_cast<unsigned char>(0x80 | (cp >> 6 & 0x3F)),
                               static_cast<unsigned char>(0x80 | (cp & 0x3F))});
    } else {
      out->insert(out->end(), {static_cast<unsigned char>(0xF0 | cp >> 18),
                               static_cast<unsigned char>(0x80 | (cp >> 12 & 0x3F)),
                               static_cast<unsigned char>(0x80 | (cp >> 6 & 0x3F)),
                               static_cast<unsigned char>(0x80 | (cp & 0x3F))});
    }
  }
  return SM_STATUS_SUCCESS;
}

// Converts into a heap block of exactly `room` bytes; returns the status and
// leaves the size in *size.
template <typename Out, typename In, typename Convert>
uint32_t ConvertInto(Convert convert, const In *in, uint32_t room, uint32_t *size,
                     std::vector<Out> *result) {
  std::unique_ptr<unsigned char[]> block(new unsigned char[room]);
  *size = room;
  const uint32_t status = kx::ToC(convert(reinterpret_cast<Out *>(block.get()), size, in));
  if (status == SM_STATUS_SUCCESS) {
    result->resize(*size / sizeof(Out));
    std::memcpy(result->data(), block.get(), *size);
  }
  return status;
}

void FuzzDecode(const uint8_t *data, size_t size, uint32_t room_hint) {
  const size_t length = strnlen(reinterpret_cast<const char *>(data), size);
  std::unique_ptr<char[]> text(new char[length + 1]);
  std::memcpy(text.get(), data, length);
  text[length] = 0;

  std::vector<uint16_t> expected;
  const uint32_t expected_status =
      ReferenceDecode(reinterpret_cast<const unsigned char *>(text.get()), length, &expected);
  uint32_t measured = 7;
  const uint32_t status = kx::ToC(kx::text::UTF8StrToUCS2Str(nullptr, &measured, text.get()));
  Check(status == expected_status);
  if (status != SM_STATUS_SUCCESS) {
    Check(measured == 7);
    uint32_t room = 0xFFFFFFF0u;
    Check(kx::ToC(kx::text::UTF8StrToUCS2Str(nullptr, &room, text.get())) == status);
    return;
  }
  Check(measured == 2 * expected.size() + 2);
  expected.push_back(0);

  std::vector<uint16_t> units;
  uint32_t produced;
  Check(ConvertInto<uint16_t>(kx::text::UTF8StrToUCS2Str, text.get(), measured, &produced,
                              &units) == SM_STATUS_SUCCESS);
  Check(produced == measured && units == expected);
  for (uint32_t room : {measured - 1, measured - 2, room_hint % measured}) {
    Check(ConvertInto<uint16_t>(kx::text::UTF8StrToUCS2Str, text.get(), room, &produced, &units) ==
          SM_STATUS_BUFFER_TOO_SMALL);
    Check(produced == room);
  }
}

void FuzzEncode(const uint8_t *data, size_t size, uint32_t room_hint) {
  std::vector<uint16_t> in(size / 2 + 1, 0);
  std::memcpy(in.data(), data, size / 2 * 2);
  size_t length = 0;
  while (in[length] != 0) ++length;
  in.resize(length + 1);

  std::vector<unsigned char> expected;
  const uint32_t expected_status = ReferenceEncode(in.data(), length, &expected);
  uint32_t measured = 7;
  const uint32_t status = kx::ToC(kx::text::UCS2StrToUTF8Str(nullptr, &measured, in.data()));
  Check(status == expected_status);
  if (status != SM_STATUS_SUCCESS) {
    Check(measured == 7);
    return;
  }
  Check(measured == expected.size() + 1);
  expected.push_back(0);

  std::vector<char> bytes;
  uint32_t produced;
  Check(ConvertInto<char>(kx::text::UCS2StrToUTF8Str, in.data(), measured, &produced, &bytes) ==
        SM_STATUS_SUCCESS);
  Check(produced == measured && std::memcmp(bytes.data(), expected.data(), measured) == 0);
  for (uint32_t room : {measured - 1, room_hint % measured}) {
    Check(ConvertInto<char>(kx::text::UCS2StrToUTF8Str, in.data(), room, &produced, &bytes) ==
          SM_STATUS_BUFFER_TOO_SMALL);
    Check(produced == room);
  }

  // Without surrogates the text comes back unchanged.
  bool has_surrogate = false;
  for (size_t i = 0; i < length; ++i) has_surrogate |= in[i] >= 0xD800 && in[i] <= 0xDFFF;
  if (has_surrogate) return;
  std::vector<uint16_t> back;
  Check(ConvertInto<uint16_t>(kx::text::UTF8StrToUCS2Str, bytes.data(), 2 * length + 2, &produced,
                              &back) == SM_STATUS_SUCCESS);
  Check(back == in);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  uint32_t room_hint = 0;
  if (size >= 4) std::memcpy(&room_hint, data + size - 4, 4);
  FuzzDecode(data, size, room_hint);
  FuzzEncode(data, size, room_hint);
  return 0;
}
