// Fuzz target for typed value translation. The first three bytes pick a type
// code (0-17, 17 being invalid), a selector and the room of the value buffer;
// the rest is the text. Each parse is checked against the status set and the
// size contract, integer results against the C library's strtol/strtoul, and
// successful integer parses are written back and parsed again. The same bytes
// are also written as a value of the chosen type and split as a list.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "base/memory.h"
#include "values/translation.h"
#include "values/forms.h"

namespace {

constexpr uint32_t kSelectors[] = {0, 256, 512, 768, 1024, 0x0800, 0xFF00, 0x0300 | 0x0400};

void Check(bool condition) {
  if (!condition) std::abort();
}

bool KnownStatus(uint32_t status) {
  switch (status) {
    case 0:
    case 1:
    case 2:
    case 16:
    case 257:
    case 271:
    case 272:
    case 290:
    case 291:
    case 0xFFFFFFFF:
      return true;
    default:
      return false;
  }
}

// The grammar and base the selector picks for the 8- to 32-bit codes.
bool GrammarOf(uint32_t selector, kx::values::NumberGrammar *grammar, int *base) {
  switch (selector) {
    case 0:
    case 768:
      *grammar = kx::values::NumberGrammar::kDecimal;
      *base = 10;
      return true;
    case 512:
      *grammar = kx::values::NumberGrammar::kOctal;
      *base = 8;
      return true;
    case 1024:
      *grammar = kx::values::NumberGrammar::kHex;
      *base = 16;
      return true;
    default:
      return false;
  }
}

// The narrow integer codes against the C library.
void CheckNarrowInteger(const std::string &text, uint32_t code, uint32_t selector,
                        const uint8_t *value) {
  kx::values::NumberGrammar grammar;
  int base;
  Check(GrammarOf(selector, &grammar, &base));
  kx::values::NumberText number;
  Check(kx::values::ReadNumberText(text.c_str(), grammar, &number));
  const long s = std::strtol(text.c_str(), nullptr, base);
  const unsigned long u = std::strtoul(text.c_str(), nullptr, base);
  switch (code) {
    case 1:
      Check(static_cast<int8_t>(value[0]) == s);
      break;
    case 2: {
      int16_t v;
      std::memcpy(&v, value, 2);
      Check(v == s);
      break;
    }
    case 3: {
      int32_t v;
      std::memcpy(&v, value, 4);
      Check(v == static_cast<int32_t>(s));
      break;
    }
    case 5:
      Check(value[0] == u);
      break;
    case 6: {
      uint16_t v;
      std::memcpy(&v, value, 2);
      Check(v == u);
      break;
    }
    case 7: {
      uint32_t v;
      std::memcpy(&v, value, 4);
      Check(v == static_cast<uint32_t>(u));
      break;
    }
    default:
      break;
  }
}

void RoundTrip(const uint8_t *value, uint32_t value_size, uint32_t type) {
  char text[128];
  uint32_t size = sizeof text;
  Check(kx::Ok(kx::values::XLTTypeValueToUTF8(value, value_size, text, &size, type)));
  Check(size == std::strlen(text) + 1);
  uint8_t again[8] = {};
  uint32_t room = sizeof again;
  Check(kx::Ok(kx::values::XLTUTF8ToTypeValue(text, again, &room, type)));
  Check(room == value_size && std::memcmp(again, value, value_size) == 0);
}

void FuzzParse(const std::string &text, uint32_t type, uint32_t room) {
  std::vector<uint8_t> value(room);  // exact size: an overrun is reported
  uint32_t size = room;
  const uint32_t status =
      kx::ToC(kx::values::XLTUTF8ToTypeValue(text.c_str(), value.data(), &size, type));
  Check(KnownStatus(status));
  if (status == 16) Check(size > room);
  if (status != 0) return;
  Check(size <= room);
  const uint32_t code = type & 0xFF;
  const uint32_t selector = type & 0xFF00;
  if ((code >= 1 && code <= 3) || (code >= 5 && code <= 7)) {
    CheckNarrowInteger(text, code, selector, value.data());
  }
  if (code >= 1 && code <= 8 && (selector == 0 || selector == 768)) {
    RoundTrip(value.data(), size, code);
  }
}

void FuzzWrite(const uint8_t *data, size_t size, uint32_t type, uint32_t room) {
  // The value: the bytes, zero-terminated for the string codes, aligned.
  std::vector<uint16_t> block(size / 2 + 8, 0);
  std::memcpy(block.data(), data, size);
  std::vector<char> text(room);
  uint32_t text_size = room;
  const uint32_t status =
      kx::ToC(kx::values::XLTTypeValueToUTF8(block.data(), static_cast<uint32_t>(size),
                                             room == 0 ? nullptr : text.data(), &text_size, type));
  Check(KnownStatus(status));
  if (status == 0 && room != 0) Check(text_size == std::strlen(text.data()) + 1);
  if (status == 16) Check(text_size > room);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 3) return 0;
  const uint32_t code = data[0] % 18;
  const uint32_t selector = kSelectors[data[1] % std::size(kSelectors)];
  const uint32_t room = data[2] < 250 ? data[2] : 4096;
  const std::string text(reinterpret_cast<const char *>(data + 3), size - 3);
  const std::string terminated = text.c_str();  // up to the first zero byte
  FuzzParse(terminated, code | selector, room);
  FuzzWrite(data + 3, size - 3, code | selector, room);

  uint32_t count = 0;
  uint32_t list_size = 0;
  char *list = kx::values::UTF8ConvertXSVToYSV(terminated.c_str(), static_cast<char>(data[1]), ';',
                                               &count, &list_size);
  Check(list != nullptr && list_size == std::strlen(list) + 1 &&
        list_size <= terminated.size() + 2);
  kx::base::FreeMem(list);
  return 0;
}
