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
#include "values/translation.h"

namespace kx::xml {

namespace {

constexpr uint32_t kMaxEscapePasses = 16;

// Makes room for n more bytes and the terminator; false when the buffer has
// no content or cannot grow (it is then unchanged).
bool Reserve(Buffer *buffer, uint64_t n) {
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
bool NewContent(Buffer *buffer, uint32_t capacity, uint32_t declaration) {
  buffer->text = capacity == 0 ? nullptr : static_cast<char *>(kx::base::AllocMem(capacity));
  buffer->capacity = buffer->text == nullptr ? 0 : capacity;
  buffer->length = 0;
  if (buffer->text == nullptr) return false;
  buffer->text[0] = 0;
  if (declaration == 1) AppendBytes(buffer, kDeclaration, sizeof kDeclaration - 1);
  return true;
}

// A piece of a tag. A piece that lies inside the buffer's own content (an
// attribute list that is the buffer itself) is found again after growth.
struct Piece {
  const char *data;
  size_t length;
};

// Appends all pieces or, when the buffer cannot grow, none.
void AppendPieces(Buffer *buffer, Piece *pieces, size_t count) {
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

bool HasText(const Buffer *list) {
  return list != nullptr && list->text != nullptr && list->length > 0;
}

// "<" name [" " attributes] and then `close` (">" or " />").
Status AppendOpening(Buffer *buffer, const char *name, const Buffer *attributes,
                     const char *close) {
  if (buffer == nullptr || name == nullptr) return Status::kInvalidParameter;
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
  return Status::kSuccess;
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
Status AppendTextValue(Buffer *buffer, const char *text, const SMXGBufFormat *format) {
  const size_t length = std::strlen(text);
  if (length >= std::numeric_limits<uint32_t>::max()) return Status::kInvalidParameter;
  const uint32_t passes = format != nullptr ? format->passes : 0;
  if (passes == 0 || length == 0) {
    AppendBytes(buffer, text, static_cast<uint32_t>(length));
    return Status::kSuccess;
  }
  uint32_t size = static_cast<uint32_t>(length + 1);
  char *escaped = XGEscapeXMLUTF8Str(text, &size, passes);
  if (escaped == nullptr) return Status::kNoMemory;
  AppendBytes(buffer, escaped, size);
  kx::base::FreeMem(escaped);
  return Status::kSuccess;
}

// The translation's text of a value, in a heap block of `scratch` bytes (0:
// the translation measures first) that is enlarged once to the size reported
// when it proves too small. On success *text owns the block.
Status TranslateValue(const void *value, uint32_t value_size, uint32_t type, uint32_t scratch,
                      char **text) {
  if (scratch == 0) {
    const Status status = values::XLTTypeValueToUTF8(value, value_size, nullptr, &scratch, type);
    if (!Ok(status)) return status;
  }
  auto *block = static_cast<char *>(kx::base::AllocMem(scratch));
  if (block == nullptr) return Status::kNoMemory;
  uint32_t size = scratch;
  Status status = values::XLTTypeValueToUTF8(value, value_size, block, &size, type);
  if (status == Status::kBufferTooSmall) {
    auto *larger = static_cast<char *>(kx::base::ReAllocMem(block, size));
    if (larger == nullptr) {
      kx::base::FreeMem(block);
      return Status::kNoMemory;
    }
    block = larger;
    status = values::XLTTypeValueToUTF8(value, value_size, block, &size, type);
  }
  if (!Ok(status)) {
    kx::base::FreeMem(block);
    return status;
  }
  *text = block;
  return Status::kSuccess;
}

// Scratch bytes that a numeric value type starts with (0: not numeric). The
// variants 33-35 and 37-40 stand for 1-3 and 5-8; 36 is not one of them.
uint32_t NumericScratch(uint32_t type) {
  switch (type) {
    case values::kInt8:
    case values::kInt16:
    case values::kInt32:
    case 32 + values::kInt8:
    case 32 + values::kInt16:
    case 32 + values::kInt32:
      return 17;
    case values::kInt64:
      return 33;
    case values::kUInt8:
    case values::kUInt16:
    case values::kUInt32:
    case 32 + values::kUInt8:
    case 32 + values::kUInt16:
    case 32 + values::kUInt32:
    case values::kLanguageId:
      return 16;
    case values::kUInt64:
    case 32 + values::kUInt64:
    case values::kDouble:
      return 32;
    case values::kTime:
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
Status AppendTranslatedText(Buffer *buffer, Status status, char *text,
                            const SMXGBufFormat *format) {
  if (!Ok(status)) return status;
  status = AppendTextValue(buffer, text, format);
  kx::base::FreeMem(text);
  return status;
}

}  // namespace

Buffer *XGBufAlloc(uint32_t capacity, uint32_t declaration) {
  auto *buffer = static_cast<Buffer *>(kx::base::AllocMem(sizeof(Buffer)));
  if (buffer == nullptr) return nullptr;
  if (!NewContent(buffer, std::max(capacity, kMinimumCapacity), declaration)) {
    kx::base::FreeMem(buffer);
    return nullptr;
  }
  return buffer;
}

char *XGBufReAllocContent(Buffer *buffer, uint32_t capacity, uint32_t declaration) {
  if (buffer == nullptr) return nullptr;
  kx::base::FreeMem(buffer->text);
  NewContent(buffer, capacity, declaration);
  return buffer->text;
}

void XGBufFree(Buffer *buffer) {
  if (buffer == nullptr) return;
  kx::base::FreeMem(buffer->text);
  kx::base::FreeMem(buffer);
}

char *XGBufFreeGetContent(Buffer *buffer) {
  if (buffer == nullptr) return nullptr;
  char *content = buffer->text;
  kx::base::FreeMem(buffer);
  return content;
}

void XGBufFreeContent(char *content) {
  kx::base::FreeMem(content);
}

void AppendBytes(Buffer *buffer, const char *source, uint32_t n) {
  Piece piece{source, n};
  AppendPieces(buffer, &piece, 1);
}

Status XGBufCatBeginNode(Buffer *buffer, const char *name, const Buffer *attributes) {
  return AppendOpening(buffer, name, attributes, ">");
}

Status XGBufCatEmptyNode(Buffer *buffer, const char *name, const Buffer *attributes) {
  return AppendOpening(buffer, name, attributes, " />");
}

Status XGBufCatEndNode(Buffer *buffer, const char *name) {
  if (buffer == nullptr || name == nullptr) return Status::kInvalidParameter;
  Piece pieces[] = {{"</", 2}, {name, std::strlen(name)}, {">", 1}};
  AppendPieces(buffer, pieces, 3);
  return Status::kSuccess;
}

Status XGBufCatNodeValue(Buffer *buffer, const void *value, uint32_t value_size,
                         uint32_t value_type, const SMXGBufFormat *format) {
  if (buffer == nullptr) return Status::kInvalidParameter;
  if (value == nullptr) return Status::kNotAvailable;
  const uint32_t flags = format != nullptr ? format->flags : 0;
  char *text = nullptr;
  Status status;
  switch (value_type) {
    case values::kBoolean: {
      uint16_t flag;
      std::memcpy(&flag, value, sizeof flag);
      return AppendTextValue(buffer, flag == 1 ? "true" : "false", nullptr);
    }
    case values::kUtf8:
      return AppendTextValue(buffer, static_cast<const char *>(value), format);
    case kUtf8Pointer:
    case kUtf8PointerToo: {
      const char *pointed = LoadPointer<char>(value);
      if (pointed == nullptr) return Status::kNotAvailable;
      return AppendTextValue(buffer, pointed, format);
    }
    case values::kUcs2Converted:
      status = TranslateValue(value, value_size, values::kUcs2Converted, 0, &text);
      return AppendTranslatedText(buffer, status, text, format);
    case kUcs2Pointer: {
      const uint16_t *pointed = LoadPointer<uint16_t>(value);
      if (pointed == nullptr) return Status::kNotAvailable;
      status = TranslateValue(pointed, 0, values::kUcs2Converted, 0, &text);
      return AppendTranslatedText(buffer, status, text, format);
    }
    case values::kUcs2:
      status = TranslateValue(value, value_size, values::kUcs2 | flags, 0, &text);
      return AppendTranslatedText(buffer, status, text, format);
    default:
      break;
  }
  const uint32_t scratch = NumericScratch(value_type);
  if (scratch == 0) return Status::kNotAvailable;
  const uint32_t code = value_type > 32 ? value_type - 32 : value_type;
  status = TranslateValue(value, value_size, code | flags, scratch, &text);
  if (!Ok(status)) return status;
  AppendBytes(buffer, text, static_cast<uint32_t>(std::strlen(text)));
  kx::base::FreeMem(text);
  return Status::kSuccess;
}

Status XGBufCatNode(Buffer *buffer, const char *name, const Buffer *attributes, const void *value,
                    uint32_t value_size, uint32_t value_type, const SMXGBufFormat *format) {
  const Status status = XGBufCatBeginNode(buffer, name, attributes);
  if (!Ok(status)) return status;
  const Status value_status = XGBufCatNodeValue(buffer, value, value_size, value_type, format);
  // A value that cannot be written leaves an empty element, still closed.
  if (value_status != Status::kSuccess && value_status != Status::kNotAvailable) {
    return value_status;
  }
  return XGBufCatEndNode(buffer, name);
}

Status XGBufCatAttribute(Buffer *attributes, const char *name, const void *value,
                         uint32_t value_size, uint32_t value_type, const SMXGBufFormat *format) {
  if (attributes == nullptr || name == nullptr || value == nullptr) {
    return Status::kInvalidParameter;
  }
  Piece pieces[3];
  size_t count = 0;
  if (HasText(attributes)) pieces[count++] = {" ", 1};
  pieces[count++] = {name, std::strlen(name)};
  pieces[count++] = {"=\"", 2};
  AppendPieces(attributes, pieces, count);
  const Status status = XGBufCatNodeValue(attributes, value, value_size, value_type, format);
  AppendBytes(attributes, "\"", 1);
  return status;
}

char *XGEscapeXMLUTF8Str(const char *text, uint32_t *size, uint32_t passes) {
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
