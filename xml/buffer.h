// The XML generation buffer: a heap record laid out as the self-sizing UTF-8
// string (text, capacity, length) to which tags, attributes and typed values
// are appended, and the multi-pass XML escaper. No locks: one buffer belongs
// to one thread at a time.
#pragma once

#include <cstdint>

#include "kxsupt/xml.h"

namespace kx::xml {

// The record behind an SMXGBuf: the self-sizing string's fields in order.
struct XmlBuffer {
  char *text;         // terminated UTF-8; null when there is no content
  uint32_t capacity;  // bytes of `text`
  uint32_t length;    // bytes before the terminator
};

inline XmlBuffer *AsXmlBuffer(SMXGBuf *buffer) {
  return reinterpret_cast<XmlBuffer *>(buffer);
}
inline const XmlBuffer *AsXmlBuffer(const SMXGBuf *buffer) {
  return reinterpret_cast<const XmlBuffer *>(buffer);
}

// Initial capacity below which a new buffer is not made.
inline constexpr uint32_t kXmlMinimumCapacity = 64;
// The declaration that a buffer made with the flag 1 begins with.
inline constexpr char kXmlDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

// New buffer with max(capacity, 64) bytes of content, starting with the
// declaration when `declaration` is 1; null when memory runs out.
XmlBuffer *XmlAlloc(uint32_t capacity, uint32_t declaration);
// Replaces the content by exactly `capacity` new bytes (plus the declaration
// when `declaration` is 1) and returns it; null for a null buffer, capacity 0
// or no memory, and the buffer is then left without content.
char *XmlReAllocContent(XmlBuffer *buffer, uint32_t capacity, uint32_t declaration);
// Frees content and record; null is ignored.
void XmlFree(XmlBuffer *buffer);
// Frees the record and returns its content, which the caller now owns.
char *XmlFreeGetContent(XmlBuffer *buffer);
// Frees content taken with XmlFreeGetContent; null is ignored.
void XmlFreeContent(char *content);

// Appends exactly n bytes of `source`, growing by the self-sizing policy;
// nothing when there is no content or growth fails (silently).
void XmlAppend(XmlBuffer *buffer, const char *source, uint32_t n);

// Tag pieces; 271 for a null buffer or name, else 0.
uint32_t XmlBeginNode(XmlBuffer *buffer, const char *name, const XmlBuffer *attributes);
uint32_t XmlEndNode(XmlBuffer *buffer, const char *name);
uint32_t XmlEmptyNode(XmlBuffer *buffer, const char *name, const XmlBuffer *attributes);

// A typed value's text (see the family header for types and statuses).
uint32_t XmlNodeValue(XmlBuffer *buffer, const void *value, uint32_t value_size,
                      uint32_t value_type, const SMXGBufFormat *format);
uint32_t XmlNode(XmlBuffer *buffer, const char *name, const XmlBuffer *attributes,
                 const void *value, uint32_t value_size, uint32_t value_type,
                 const SMXGBufFormat *format);
uint32_t XmlAttribute(XmlBuffer *attributes, const char *name, const void *value,
                      uint32_t value_size, uint32_t value_type, const SMXGBufFormat *format);

// Escapes the five XML characters `passes` times (capped at 16). `*size` is
// the first pass's initial capacity (0: null) and receives the final length.
// Returns heap text (the library's free releases it) or null.
char *EscapeXml(const char *text, uint32_t *size, uint32_t passes);

}  // namespace kx::xml
