/*
 * Typed values and name-value parameters: text <-> typed binary values
 * (SMXLT...), separated-value lists, and name=value parameter arrays (SMNVP...).
 */
#ifndef KXSUPT_VALUES_H
#define KXSUPT_VALUES_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

/*
 * Typed value translation (SMXLT...). A type word carries the type code in its
 * low byte and a presentation selector in bits 8 to 15; other bits are
 * ignored. Codes, value sizes and text forms:
 *    0 boolean (uint16_t)  "true" for exactly 1, else "false"; parsed without
 *                          regard to case, any other word gives 271
 *    1/2/3 int8/16/32      "%d";  5/6/7 uint8/16/32  "%u"
 *    4 int64, 8 uint64     decimal (decimal grammar only)
 *    9 double              "%.3f"; parsed as [+-]digits[.digits][e[+-]digits]
 *   10 language id (u32)   its locale name ("en_US", "de", ...; en_US for an
 *                          unknown id); an unknown name parses as 1033
 *   11 time (u32 seconds)  local time as ctime writes it, without the line
 *                          feed ("Thu Jan  1 00:00:00 1970"); parsed back
 *                          from exactly that form, in local time
 *   12 UCS-2 string        UTF-8 text of it (selector 0); selector 256 writes
 *                          a dump, lines of "0x%08X: " (the offset) and up to
 *                          16 bytes "%02X" apart by blanks, each line ending
 *                          in a line feed; selector 1024 a byte list "0x%02X,"
 *                          per byte; the dumps cover the value size (0: the
 *                          string and its terminator); other selectors give 2
 *   13 UTF-8 string        the text itself
 *   14 UCS-2 string        UTF-8 text, by the plain UCS-2/UTF-8 conversion
 *   15 IPv4 address (u32, network order)  dotted text; parsed as the
 *                          library's dotted-address reader does (a leading
 *                          zero never means octal, hexadecimal parts refused)
 *   16 byte array          two upper-case hexadecimal digits a byte, no
 *                          separators, at most the first 63 bytes; parsed
 *                          from an even count of hexadecimal digits
 * The value size given to SMXLTTypeValueToUTF8 matters only for codes 12
 * (dumps) and 16; strings end at their terminator, fixed codes are read at
 * their own width (signed codes sign-extended to 32 bits).
 *
 * Selectors for the integer codes 1-3 and 5-7: writing, 256 is base 2 (of the
 * 32-bit pattern, no leading zeros), 512 is "%o", 1024 is "%#x" (so int8 -1
 * writes "0xffffffff"), anything else decimal. Parsing, 0 and 768 take an
 * optional sign and decimal digits (a sign alone is 0), 512 octal digits, 1024
 * an optional "0x" and 1 to 8 hexadecimal digits; any other selector and any
 * text outside the grammar (blanks included) give 271. Numbers convert as the
 * C library's strtol/strtoul do with this host's 64-bit long: 32-bit codes
 * keep the low 32 bits unchecked, 8- and 16-bit codes give 290 above and 291
 * below their range, and a minus sign on an unsigned code wraps (uint8 "-1"
 * is 290). Codes 4, 8 and 9 take only the decimal grammar: selectors 512 and
 * 1024 give 1, and values outside the type give 290 or 291 (a negative uint64
 * is 291; a double too small to represent reads as zero). Code 12 parses under
 * selectors 0 and 1024 only (else 2).
 *
 * Sizes are in bytes through a pointer, terminator included. Parsing needs
 * room for the type's size (16, size out = that size); strings (12, 13) and
 * byte arrays (16) first need the text's length + 1 even when the result is
 * smaller. Writing needs more than a fixed bound per code before anything is
 * written: 16 for codes 1-3, 15 for 5-7, 32 with selector 256, 32 for 4, 31
 * for 8 and 9, 15 for 10, 63 for 11 (so a 16-byte buffer never takes an int32:
 * 16 with size out 17); then the text itself must fit. Status 16 always sets
 * the size out to the size needed; a null text buffer measures (status 0,
 * size out the size a second call needs). On success the size out is the
 * value's size (parsing) or the text's length + 1 (writing). Other statuses:
 * 271 null pointers, text outside the grammar or an unsupported selector; 2
 * a code above 16 or a bad code-12 selector; 0xFFFFFFFF the local-time
 * conversion failed; parsing code 15 returns the address reader's status
 * (0xFFFFFFFF for text that is no address, 272 out of memory).
 */

#define SM_XLT_BOOLEAN 0u          /* uint16_t: "true" or "false" */
#define SM_XLT_INT8 1u             /* int8_t */
#define SM_XLT_INT16 2u            /* int16_t */
#define SM_XLT_INT32 3u            /* int32_t */
#define SM_XLT_INT64 4u            /* int64_t, decimal only */
#define SM_XLT_UINT8 5u            /* uint8_t */
#define SM_XLT_UINT16 6u           /* uint16_t */
#define SM_XLT_UINT32 7u           /* uint32_t */
#define SM_XLT_UINT64 8u           /* uint64_t, decimal only */
#define SM_XLT_DOUBLE 9u           /* double: "%.3f" */
#define SM_XLT_LANGUAGE_ID 10u     /* uint32_t language id: its locale name */
#define SM_XLT_TIME 11u            /* uint32_t seconds: local time as ctime writes it */
#define SM_XLT_UCS2_STRING 12u     /* UCS-2 string, or a dump of it by selector */
#define SM_XLT_UTF8_STRING 13u     /* UTF-8 string */
#define SM_XLT_UCS2_CONVERTED 14u  /* UCS-2 string by the plain UTF-8 conversion */
#define SM_XLT_IPV4_ADDRESS 15u    /* uint32_t IPv4 address, network order: dotted text */
#define SM_XLT_BYTE_ARRAY 16u      /* bytes: two hexadecimal digits each */
#define SM_XLT_SELECT_BINARY 256u  /* selector: base 2, writing only */
#define SM_XLT_SELECT_OCTAL 512u   /* selector: octal */
#define SM_XLT_SELECT_DECIMAL 768u /* selector: decimal, parsing; same as 0 */
#define SM_XLT_SELECT_HEX 1024u    /* selector: hexadecimal */

/* Parse UTF-8 text into a value of the given type; *pSize: room in, size out. */
KXSUPT_API SMStatus SMXLTUTF8ToTypeValue(const char *pText, void *pValue, uint32_t *pSize,
                                         uint32_t type);
/* Write a value's text form, terminated; *pSize: room in, length + 1 out. */
KXSUPT_API SMStatus SMXLTTypeValueToUTF8(const void *pValue, uint32_t valueSize, char *pText,
                                         uint32_t *pSize, uint32_t type);
/* Rewrite a list separated by `from` into one separated by `to`: each item is
 * trimmed of tab, line feed, carriage return and space, empty items are
 * dropped, and every item is followed by `to` ("a, b,,c" with ',' and ';'
 * gives "a;b;c;"). A `from` of 0 takes the whole text as one item. Returns a
 * new string (free with SMFreeMem), or null for null text or no memory; the
 * optional outs receive the item count and the length + 1 (0 on failure). */
KXSUPT_API char *SMUTF8ConvertXSVToYSV(const char *pText, char from, char to, uint32_t *pCount,
                                       uint32_t *pSize);

/*
 * Name-value parameters (SMNVP...). A parameter is a UTF-8 string "name=value"
 * in an argv-like array; a string with no "=", or whose first byte is "=", is
 * not a parameter and is skipped by every lookup. A lookup compares the given
 * name with each parameter's name and its "=": the parameter matches when the
 * given name ends there, or itself continues with "=" (so "name=x" finds
 * "name=y"). With the case flag 1 bytes are compared after tolower. The first
 * match wins. Nothing is allocated; returned pointers point into the caller's
 * strings. Statuses: 271 bad arguments, 256 parameter absent, else those of
 * SMXLTUTF8ToTypeValue. The enumeration returns 0x80000000 for bad arguments.
 */

/* A row of an enumeration table: text, value, and a word that is not used.
 * Row 0's text is never matched; its value answers a value matching no row. */
typedef struct SMEnum32Entry {
  const char *pText; /* the row's text */
  uint32_t value;    /* the row's value */
  uint32_t reserved; /* not used */
} SMEnum32Entry;

/* What SMNVPGetEnums32Value returns for bad arguments. */
#define SM_NVP_ENUM_BAD_ARGUMENTS 0x80000000u

/* 1 if the string has a name and a value (which may be empty), else 0. */
KXSUPT_API int32_t SMIsValidParam(const char *pParam);
/* Cut the string at its first "=" (written over with 0) and return it, now the
 * name alone; null (nothing written) if it is not a parameter. */
KXSUPT_API char *SMNVPGetUTF8ParamName(char *pParam);
/* The value: the byte after the first "=", or null if it is not a parameter. */
KXSUPT_API char *SMNVPGetUTF8ParamValue(const char *pParam);
/* Index of the first parameter matching pName, or -1. */
KXSUPT_API int32_t SMNVPGetParamIndexByUTF8Name(int32_t count, char **ppParams, const char *pName,
                                                uint32_t caseFlag);
/* Value of the first parameter matching pName, or null. */
KXSUPT_API char *SMNVPGetUTF8ParamValueByUTF8Name(int32_t count, char **ppParams, const char *pName,
                                                  uint32_t caseFlag);
/* Translate the matching parameter's value as SMXLTUTF8ToTypeValue does. */
KXSUPT_API SMStatus SMNVPUTF8ToTypeValue(int32_t count, char **ppParams, const char *pName,
                                         uint32_t caseFlag, void *pValue, uint32_t *pSize,
                                         uint32_t type);
/* Map the matching parameter's value through a table of rowCount rows (at
 * least 2). Absent parameter: row 1's value. Multiple flag other than 1: the
 * first row whose text equals the whole value without regard to case, else
 * row 0's value. Multiple flag 1: the value is a list split at "|" if it holds
 * one, else at ","; its trimmed items are matched without regard to case and
 * the values of every matched row are ORed (0 when none matched). */
KXSUPT_API uint32_t SMNVPGetEnums32Value(int32_t count, char **ppParams, const char *pName,
                                         uint32_t caseFlag, const SMEnum32Entry *pTable,
                                         uint32_t rowCount, uint32_t multiple);

KXSUPT_END_DECLS

#endif /* KXSUPT_VALUES_H */
