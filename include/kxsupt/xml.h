/*
 * XML generation buffer (SMXGBuf...) and XML escaping.
 */
#ifndef KXSUPT_XML_H
#define KXSUPT_XML_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

/*
 * An SMXGBuf builds an XML document as UTF-8 text by appending pieces; it is
 * a heap-allocated self-sizing UTF-8 string (the SMSSStr record of the text
 * family: text pointer, capacity, length), so appends grow it by that
 * family's policy and a failed growth is silent: the piece is simply missing.
 * No indentation and no line breaks are written. Pieces, exactly:
 *   declaration    <?xml version="1.0" encoding="UTF-8"?>
 *   begin tag      "<" name [" " attributes] ">"
 *   empty element  "<" name [" " attributes] " />"
 *   end tag        "</" name ">"
 *   attribute      [" " when the list holds text] name "=\"" value "\""
 * An attribute list is itself an SMXGBuf holding only attribute text, built
 * with SMXGBufCatAttribute and passed to the node routines (empty or null:
 * no attributes). Names are written as given, never escaped.
 *
 * Values are given as a pointer, a size and a value type:
 *   0            uint16_t; 1 is "true", anything else "false"
 *   1-11         formatted as the typed-value translation writes the same
 *                code (decimal integers, "%.3f" doubles, language names,
 *                local time, ...); 33-35 and 37-40 are the same as 1-3 and
 *                5-8 (type - 32)
 *   12           UCS-2 text, through the translation's code 12
 *   13           UTF-8 text; 14 UCS-2 text (converted to UTF-8)
 *   48, 50       the value is a pointer to UTF-8 text (const char **)
 *   49           the value is a pointer to UCS-2 text (const uint16_t **)
 *   anything else, a null value or a null text pointer: status 256
 * Text values (12, 13, 14, 48-50) are XML-escaped for the format's pass count
 * and written as they are when there is no format or the count is 0. The
 * format's flag word is ORed into the translation's type word of types 1-12:
 * its bits 8-15 are the translation's selector (256 base 2, 512 octal, 1024
 * "0x" hexadecimal for the 8-, 16- and 32-bit integers; 256 and 1024 give
 * byte dumps for type 12); keep its low byte 0, which would change the code.
 *
 * Statuses: 0; 271 null buffer, name or value pointer; 256 value not
 * writable; 272 no memory for a value's scratch text; 16 a value that did not
 * fit its scratch text even after one enlargement; other statuses of the
 * translation or the UCS-2 conversion pass through.
 *
 * Content taken with SMXGBufFreeGetContent is freed with SMXGBufFreeContent;
 * escaped text from SMXGEscapeXMLUTF8Str with SMFreeMem.
 */

struct SMSSStr;
/* An XML buffer: a self-sizing UTF-8 string (SMSSStr of kxsupt/text.h). */
typedef struct SMSSStr SMXGBuf;

/* How a value is written: selector flags for the translation and the number
 * of escaping passes for text values. */
typedef struct SMXGBufFormat {
  uint16_t flags;    /* ORed into the value type before formatting */
  uint16_t reserved; /* not used; write 0 */
  uint32_t passes;   /* escaping passes for text values; 0: none */
} SMXGBufFormat;

/* New buffer of at least 64 bytes; with declFlag 1 it starts with the XML
 * declaration. Null on failure. */
KXSUPT_API SMXGBuf *SMXGBufAlloc(uint32_t capacity, uint32_t declFlag);
/* Replace the content by a new one of exactly `capacity` bytes (declaration
 * when declFlag is 1); returns it, or null (null buffer, capacity 0, no
 * memory: the buffer then holds no content and appends do nothing). */
KXSUPT_API char *SMXGBufReAllocContent(SMXGBuf *pBuf, uint32_t capacity, uint32_t declFlag);
/* Free the content and the buffer; null is ignored. */
KXSUPT_API void SMXGBufFree(SMXGBuf *pBuf);
/* Free the buffer and hand its content (terminated UTF-8) to the caller. */
KXSUPT_API char *SMXGBufFreeGetContent(SMXGBuf *pBuf);
/* Free content obtained from SMXGBufFreeGetContent; null is ignored. */
KXSUPT_API void SMXGBufFreeContent(char *pContent);

/* Append a begin tag, an end tag or an empty element. */
KXSUPT_API SMStatus SMXGBufCatBeginNode(SMXGBuf *pBuf, const char *pName, const SMXGBuf *pAttrs);
KXSUPT_API SMStatus SMXGBufCatEndNode(SMXGBuf *pBuf, const char *pName);
KXSUPT_API SMStatus SMXGBufCatEmptyNode(SMXGBuf *pBuf, const char *pName, const SMXGBuf *pAttrs);
/* Append a value's text; pFormat may be null. */
KXSUPT_API SMStatus SMXGBufCatNodeValue(SMXGBuf *pBuf, const void *pValue, uint32_t valueSize,
                                        uint32_t valueType, const SMXGBufFormat *pFormat);
/* Begin tag, value, end tag. A value status of 0 or 256 (not writable: the
 * element stays empty) closes the element and returns 0; any other value
 * status is returned with the element left open. */
KXSUPT_API SMStatus SMXGBufCatNode(SMXGBuf *pBuf, const char *pName, const SMXGBuf *pAttrs,
                                   const void *pValue, uint32_t valueSize, uint32_t valueType,
                                   const SMXGBufFormat *pFormat);
/* Append name="value" to an attribute list; returns the value's status (the
 * closing quote is written whatever it is). Escape attribute values by giving
 * a format with one pass. */
KXSUPT_API SMStatus SMXGBufCatAttribute(SMXGBuf *pAttrs, const char *pName, const void *pValue,
                                        uint32_t valueSize, uint32_t valueType,
                                        const SMXGBufFormat *pFormat);

/* Escape " & ' < > as &quot; &amp; &apos; &lt; &gt; (other bytes, multi-byte
 * UTF-8 included, are copied), `passes` times over (at most 16): two passes
 * turn "&" into "&amp;amp;". *pSize: the initial capacity in (0 yields null),
 * the escaped length without terminator out. Returns new text (free with
 * SMFreeMem), or null for null arguments, passes 0 or no memory. Each pass
 * after the first starts from the previous length, so an empty text escaped
 * more than once yields null. */
KXSUPT_API char *SMXGEscapeXMLUTF8Str(const char *pText, uint32_t *pSize, uint32_t passes);

KXSUPT_END_DECLS

#endif /* KXSUPT_XML_H */
