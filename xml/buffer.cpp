// The XML generation buffer: its record and content, the literal pieces of
// tags and attributes, typed values written through the typed-value
// translation, and the multi-pass escaper.
#include "xml/buffer.h"

#include "text/sstring.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "base/memory.h"
#include "kxsupt/base.h"
#include "values/translation.h"

namespace kx::xml {

namespace {

constexpr uint32_t kMaxEscapePasses = 16;

// Makes room for n more bytes and the terminator; false when the buffer has
// no content or cannot grow (it is then unchanged).
bool Reserve(XmlBuffer *buffer, uint64_t n) {
  if (buffer->text == nullptr) return false;
  const uint64_t needed = uint64_t{buffer->length} + 1 + n;
  if (needed <= buffer->capacity) return true;
  if (needed > std::numeric_limits<uint32_t>::max()) return false;
  // A buffer grows as a self-sizing string does.
  const uint32_t capacity = text::SsGrownCapacity(buffer->capacity, static_cast<uint32_t>(needed));
  auto *grown = static_cast<char *>(kx::base::ReAllocMem(buffer->text, capacity));
  if (grown == nullptr) return false;
  buffer->text = grown;
  buffer->capacity = capacity;
  return true;
}

// Gives the record a fresh empty content of `capacity` bytes, with the
// declaration when `declaration` is 1; false (record without content) for
// capacity 0 or no memory.
bool NewContent(XmlBuffer *buffer, uint32_t capacity, uint32_t declaration) {
  buffer->text = capacity == 0 ? nullptr : static_cast<char *>(kx::base::AllocMem(capacity));
  buffer->capacity = buffer->text == nullptr ? 0 : capacity;
  buffer->length = 0;
  if (buffer->text == nullptr) return false;
  buffer->text[0] = 0;
  if (declaration == 1) XmlAppend(buffer, kXmlDeclaration, sizeof kXmlDeclaration - 1);
  return true;
}

// A piece of a tag. A piece that lies inside the buffer's own content (an
// attribute list that is the buffer itself) is found again after growth.
struct Piece {
  const char *data;
  size_t length;
};

// Appends all pieces or, when the buffer cannot grow, none.
void AppendPieces(XmlBuffer *buffer, Piece *pieces, size_t count) {
  uint64_t total = 0;
  const auto start = reinterpret_cast<uintptr_t>(buffer->text);
  ptrdiff_t offsets[8];
  for (size_t i = 0; i < count; ++i) {
    total += pieces[i].length;
    const auto address = reinterpret_cast<uintptr_t>(pieces[i].data);
    const bool inside = start != 0 && address >= start && address - start < buffer->capacity;
    offsets[i] = inside ? static_cast<ptrdiff_t>(address - start) : -1;
  }
  if (!Reserve(buffer, total)) return;
  for (size_t i = 0; i < count; ++i) {
    const char *source = offsets[i] >= 0 ? buffer->text + offsets[i] : pieces[i].data;
    std::memmove(buffer->text + buffer->length, source, pieces[i].length);
    buffer->length += static_cast<uint32_t>(pieces[i].length);
  }
  buffer->text[buffer->length] = 0;
}

bool HasText(const XmlBuffer *list) {
  return list != nullptr && list->text != nullptr && list->length > 0;
}

// "<" name [" " attributes] and then `close` (">" or " />").
uint32_t AppendOpening(XmlBuffer *buffer, const char *name, const XmlBuffer *attributes,
                       const char *close) {
  if (buffer == nullptr || name == nullptr) return SM_STATUS_INVALID_PARAMETER;
  Piece pieces[5];
  size_t count = 0;
  pieces[count++] = {"<", 1};
  pieces[count++] = {name, std::strlen(name)};
  if (HasText(attributes)) {
    pieces[count++] = {" ", 1};
    pieces[count++] = {attributes->text, attributes->length};
  }
  pieces[count++] = {close, std::strlen(close)};
  AppendPieces(buffer, pieces, count);
  return SM_STATUS_SUCCESS;
}

// One pass of escaping over `length` bytes into a new heap block; null when
// memory runs out. The caller's capacity hint only decides whether there is a
// block at all: the block is sized for the escaped text at once.
char *EscapeOnce(const char *text, size_t length, uint32_t *escaped_length) {
  uint64_t total = length;
  for (size_t i = 0; i < length; ++i) {
    switch (text[i]) {
      case '"':
      case '\'':
        total += 5;
        break;
      case '&':
        total += 4;
        break;
      case '<':
      case '>':
        total += 3;
        break;
      default:
        break;
    }
  }
  if (total >= std::numeric_limits<uint32_t>::max()) return nullptr;
  auto *out = static_cast<char *>(kx::base::AllocMem(static_cast<uint32_t>(total + 1)));
  if (out == nullptr) return nullptr;
  char *p = out;
  for (size_t i = 0; i < length; ++i) {
    const char *replacement = nullptr;
    switch (text[i]) {
      case '"':
        replacement = "&quot;";
        break;
      case '&':
        replacement = "&amp;";
        break;
      case '\'':
        replacement = "&apos;";
        break;
      case '<':
        replacement = "&lt;";
        break;
      case '>':
        replacement = "&gt;";
        break;
      default:
        *p++ = text[i];
        continue;
    }
    const size_t n = std::strlen(replacement);
    std::memcpy(p, replacement, n);
    p += n;
  }
  *p = 0;
  *escaped_length = static_cast<uint32_t>(total);
  return out;
}

// Appends a text value, escaped for the format's pass count.
uint32_t AppendTextValue(XmlBuffer *buffer, const char *text, const SMXGBufFormat *format) {
  const size_t length = std::strlen(text);
  if (length >= std::numeric_limits<uint32_t>::max()) return SM_STATUS_INVALID_PARAMETER;
  const uint32_t passes = format != nullptr ? format->passes : 0;
  if (passes == 0 || length == 0) {
    XmlAppend(buffer, text, static_cast<uint32_t>(length));
    return SM_STATUS_SUCCESS;
  }
  uint32_t size = static_cast<uint32_t>(length + 1);
  char *escaped = EscapeXml(text, &size, passes);
  if (escaped == nullptr) return SM_STATUS_NO_MEMORY;
  XmlAppend(buffer, escaped, size);
  kx::base::FreeMem(escaped);
  return SM_STATUS_SUCCESS;
}

// The translation's text of a value, in a heap block of `scratch` bytes (0:
// the translation measures first) that is enlarged once to the size reported
// when it proves too small. On success *text owns the block.
uint32_t TranslateValue(const void *value, uint32_t value_size, uint32_t xlt_type, uint32_t scratch,
                        char **text) {
  if (scratch == 0) {
    const uint32_t status = values::XltValueToText(value, value_size, nullptr, &scratch, xlt_type);
    if (status != SM_STATUS_SUCCESS) return status;
  }
  auto *block = static_cast<char *>(kx::base::AllocMem(scratch));
  if (block == nullptr) return SM_STATUS_NO_MEMORY;
  uint32_t size = scratch;
  uint32_t status = values::XltValueToText(value, value_size, block, &size, xlt_type);
  if (status == SM_STATUS_BUFFER_TOO_SMALL) {
    auto *larger = static_cast<char *>(kx::base::ReAllocMem(block, size));
    if (larger == nullptr) {
      kx::base::FreeMem(block);
      return SM_STATUS_NO_MEMORY;
    }
    block = larger;
    status = values::XltValueToText(value, value_size, block, &size, xlt_type);
  }
  if (status != SM_STATUS_SUCCESS) {
    kx::base::FreeMem(block);
    return status;
  }
  *text = block;
  return SM_STATUS_SUCCESS;
}

// Scratch bytes that a numeric value type starts with (0: not numeric). The
// variants 33-35 and 37-40 stand for 1-3 and 5-8; 36 is not one of them.
uint32_t NumericScratch(uint32_t type) {
  switch (type) {
    case values::kXltInt8:
    case values::kXltInt16:
    case values::kXltInt32:
    case 32 + values::kXltInt8:
    case 32 + values::kXltInt16:
    case 32 + values::kXltInt32:
      return 17;
    case values::kXltInt64:
      return 33;
    case values::kXltUInt8:
    case values::kXltUInt16:
    case values::kXltUInt32:
    case 32 + values::kXltUInt8:
    case 32 + values::kXltUInt16:
    case 32 + values::kXltUInt32:
    case values::kXltLanguageId:
      return 16;
    case values::kXltUInt64:
    case 32 + values::kXltUInt64:
    case values::kXltDouble:
      return 32;
    case values::kXltTime:
      return 64;
    default:
      return 0;
  }
}

// Value types of the XML buffer that are not translation codes.
constexpr uint32_t kUtf8Pointer = 48;
constexpr uint32_t kUcs2Pointer = 49;
constexpr uint32_t kUtf8PointerToo = 50;

template <typename T>
const T *LoadPointer(const void *value) {
  const T *pointer;
  std::memcpy(&pointer, value, sizeof pointer);
  return pointer;
}

// Appends a translated text (owned block) as a text value and frees it.
uint32_t AppendTranslatedText(XmlBuffer *buffer, uint32_t status, char *text,
                              const SMXGBufFormat *format) {
  if (status != SM_STATUS_SUCCESS) return status;
  status = AppendTextValue(buffer, text, format);
  kx::base::FreeMem(text);
  return status;
}

}  // namespace

XmlBuffer *XmlAlloc(uint32_t capacity, uint32_t declaration) {
  auto *buffer = static_cast<XmlBuffer *>(kx::base::AllocMem(sizeof(XmlBuffer)));
  if (buffer == nullptr) return nullptr;
  if (!NewContent(buffer, std::max(capacity, kXmlMinimumCapacity), declaration)) {
    kx::base::FreeMem(buffer);
    return nullptr;
  }
  return buffer;
}

char *XmlReAllocContent(XmlBuffer *buffer, uint32_t capacity, uint32_t declaration) {
  if (buffer == nullptr) return nullptr;
  kx::base::FreeMem(buffer->text);
  NewContent(buffer, capacity, declaration);
  return buffer->text;
}

void XmlFree(XmlBuffer *buffer) {
  if (buffer == nullptr) return;
  kx::base::FreeMem(buffer->text);
  kx::base::FreeMem(buffer);
}

char *XmlFreeGetContent(XmlBuffer *buffer) {
  if (buffer == nullptr) return nullptr;
  char *content = buffer->text;
  kx::base::FreeMem(buffer);
  return content;
}

void XmlFreeContent(char *content) {
  kx::base::FreeMem(content);
}

void XmlAppend(XmlBuffer *buffer, const char *source, uint32_t n) {
  Piece piece{source, n};
  AppendPieces(buffer, &piece, 1);
}

uint32_t XmlBeginNode(XmlBuffer *buffer, const char *name, const XmlBuffer *attributes) {
  return AppendOpening(buffer, name, attributes, ">");
}

uint32_t XmlEmptyNode(XmlBuffer *buffer, const char *name, const XmlBuffer *attributes) {
  return AppendOpening(buffer, name, attributes, " />");
}

uint32_t XmlEndNode(XmlBuffer *buffer, const char *name) {
  if (buffer == nullptr || name == nullptr) return SM_STATUS_INVALID_PARAMETER;
  Piece pieces[] = {{"</", 2}, {name, std::strlen(name)}, {">", 1}};
  AppendPieces(buffer, pieces, 3);
  return SM_STATUS_SUCCESS;
}

uint32_t XmlNodeValue(XmlBuffer *buffer, const void *value, uint32_t value_size,
                      uint32_t value_type, const SMXGBufFormat *format) {
  if (buffer == nullptr) return SM_STATUS_INVALID_PARAMETER;
  if (value == nullptr) return SM_STATUS_NOT_AVAILABLE;
  const uint32_t flags = format != nullptr ? format->flags : 0;
  char *text = nullptr;
  uint32_t status;
  switch (value_type) {
    case values::kXltBoolean: {
      uint16_t flag;
      std::memcpy(&flag, value, sizeof flag);
      return AppendTextValue(buffer, flag == 1 ? "true" : "false", nullptr);
    }
    case values::kXltUtf8:
      return AppendTextValue(buffer, static_cast<const char *>(value), format);
    case kUtf8Pointer:
    case kUtf8PointerToo: {
      const char *pointed = LoadPointer<char>(value);
      if (pointed == nullptr) return SM_STATUS_NOT_AVAILABLE;
      return AppendTextValue(buffer, pointed, format);
    }
    case values::kXltUcs2Converted:
      status = TranslateValue(value, value_size, values::kXltUcs2Converted, 0, &text);
      return AppendTranslatedText(buffer, status, text, format);
    case kUcs2Pointer: {
      const uint16_t *pointed = LoadPointer<uint16_t>(value);
      if (pointed == nullptr) return SM_STATUS_NOT_AVAILABLE;
      status = TranslateValue(pointed, 0, values::kXltUcs2Converted, 0, &text);
      return AppendTranslatedText(buffer, status, text, format);
    }
    case values::kXltUcs2:
      status = TranslateValue(value, value_size, values::kXltUcs2 | flags, 0, &text);
      return AppendTranslatedText(buffer, status, text, format);
    default:
      break;
  }
  const uint32_t scratch = NumericScratch(value_type);
  if (scratch == 0) return SM_STATUS_NOT_AVAILABLE;
  const uint32_t code = value_type > 32 ? value_type - 32 : value_type;
  status = TranslateValue(value, value_size, code | flags, scratch, &text);
  if (status != SM_STATUS_SUCCESS) return status;
  XmlAppend(buffer, text, static_cast<uint32_t>(std::strlen(text)));
  kx::base::FreeMem(text);
  return SM_STATUS_SUCCESS;
}

uint32_t XmlNode(XmlBuffer *buffer, const char *name, const XmlBuffer *attributes,
                 const void *value, uint32_t value_size, uint32_t value_type,
                 const SMXGBufFormat *format) {
  const uint32_t status = XmlBeginNode(buffer, name, attributes);
  if (status != SM_STATUS_SUCCESS) return status;
  const uint32_t value_status = XmlNodeValue(buffer, value, value_size, value_type, format);
  // A value that cannot be written leaves an empty element, still closed.
  if (value_status != SM_STATUS_SUCCESS && value_status != SM_STATUS_NOT_AVAILABLE) {
    return value_status;
  }
  return XmlEndNode(buffer, name);
}

uint32_t XmlAttribute(XmlBuffer *attributes, const char *name, const void *value,
                      uint32_t value_size, uint32_t value_type, const SMXGBufFormat *format) {
  if (attributes == nullptr || name == nullptr || value == nullptr) {
    return SM_STATUS_INVALID_PARAMETER;
  }
  Piece pieces[3];
  size_t count = 0;
  if (HasText(attributes)) pieces[count++] = {" ", 1};
  pieces[count++] = {name, std::strlen(name)};
  pieces[count++] = {"=\"", 2};
  AppendPieces(attributes, pieces, count);
  const uint32_t status = XmlNodeValue(attributes, value, value_size, value_type, format);
  XmlAppend(attributes, "\"", 1);
  return status;
}

char *EscapeXml(const char *text, uint32_t *size, uint32_t passes) {
  if (text == nullptr || size == nullptr || passes == 0) return nullptr;
  passes = std::min(passes, kMaxEscapePasses);
  // A self-sizing string of capacity 0 has no buffer to append to.
  if (*size == 0) return nullptr;
  uint32_t length = 0;
  char *current = EscapeOnce(text, std::strlen(text), &length);
  for (uint32_t pass = 1; pass < passes && current != nullptr; ++pass) {
    // The next pass starts from the previous length as its capacity.
    char *next = length == 0 ? nullptr : EscapeOnce(current, length, &length);
    kx::base::FreeMem(current);
    current = next;
  }
  if (current != nullptr) *size = length;
  return current;
}

}  // namespace kx::xml
