// The XML generation buffer: a heap record laid out as the self-sizing UTF-8
// string (text, capacity, length) to which tags, attributes and typed values
// are appended, and the multi-pass XML escaper. No locks: one buffer belongs
// to one thread at a time.
#pragma once

#include <cstdint>

#include "base/status.h"
#include "kxsupt/xml.h"

namespace kx::xml {

// The record behind an SMXGBuf: the self-sizing string's fields in order.
struct Buffer {
  char *text;         // terminated UTF-8; null when there is no content
  uint32_t capacity;  // bytes of `text`
  uint32_t length;    // bytes before the terminator
};

inline Buffer *AsBuffer(SMXGBuf *buffer) {
  return reinterpret_cast<Buffer *>(buffer);
}
inline const Buffer *AsBuffer(const SMXGBuf *buffer) {
  return reinterpret_cast<const Buffer *>(buffer);
}

// Initial capacity below which a new buffer is not made.
inline constexpr uint32_t kMinimumCapacity = 64;
// The declaration that a buffer made with the flag 1 begins with.
inline constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

// New buffer with max(capacity, 64) bytes of content, starting with the
// declaration when `declaration` is 1; null when memory runs out.
Buffer *XGBufAlloc(uint32_t capacity, uint32_t declaration);
// Replaces the content by exactly `capacity` new bytes (plus the declaration
// when `declaration` is 1) and returns it; null for a null buffer, capacity 0
// or no memory, and the buffer is then left without content.
char *XGBufReAllocContent(Buffer *buffer, uint32_t capacity, uint32_t declaration);
// Frees content and record; null is ignored.
void XGBufFree(Buffer *buffer);
// Frees the record and returns its content, which the caller now owns.
char *XGBufFreeGetContent(Buffer *buffer);
// Frees content taken with XGBufFreeGetContent; null is ignored.
void XGBufFreeContent(char *content);

// Appends exactly n bytes of `source`, growing by the self-sizing policy;
// nothing when there is no content or growth fails (silently).
void AppendBytes(Buffer *buffer, const char *source, uint32_t n);

// Tag pieces; kInvalidParameter for a null buffer or name, else kSuccess.
Status XGBufCatBeginNode(Buffer *buffer, const char *name, const Buffer *attributes);
Status XGBufCatEndNode(Buffer *buffer, const char *name);
Status XGBufCatEmptyNode(Buffer *buffer, const char *name, const Buffer *attributes);

// A typed value's text (see the family header for types and statuses).
Status XGBufCatNodeValue(Buffer *buffer, const void *value, uint32_t value_size,
                         uint32_t value_type, const SMXGBufFormat *format);
Status XGBufCatNode(Buffer *buffer, const char *name, const Buffer *attributes, const void *value,
                    uint32_t value_size, uint32_t value_type, const SMXGBufFormat *format);
Status XGBufCatAttribute(Buffer *attributes, const char *name, const void *value,
                         uint32_t value_size, uint32_t value_type, const SMXGBufFormat *format);

// Escapes the five XML characters `passes` times (capped at 16). `*size` is
// the first pass's initial capacity (0: null) and receives the final length.
// Returns heap text (the library's free releases it) or null.
char *XGEscapeXMLUTF8Str(const char *text, uint32_t *size, uint32_t passes);

}  // namespace kx::xml
