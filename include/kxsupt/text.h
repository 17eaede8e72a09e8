/*
 * kxsupt text: UCS-2 strings, UTF-8 strings and the conversions between them,
 * and self-sizing strings that grow as text is appended.
 */
#ifndef KXSUPT_TEXT_H
#define KXSUPT_TEXT_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

/*
 * UCS-2 strings (SMUCS2Str...). A UCS-2 string is an array of uint16_t code
 * units in host byte order ended by the unit 0; lengths and counts are in
 * units. Every unit is treated alike: no surrogate pairs, no case folding.
 * The routines mirror the C library's byte-string routines, work in the
 * caller's buffers and do not check their pointers. Each _s variant ignores
 * its size argument and behaves exactly like its plain form (no bounds check,
 * no truncation, no error). SMUCS2Strtok and SMUCS2Strtok_s share one saved
 * position for the whole process. Only SMUCS2ToEscape allocates and returns
 * a status: 2 (null input), 16 (output too small), 0xFFFFFFFF (no memory).
 */

/* Units before the terminator. */
KXSUPT_API uint32_t SMUCS2Strlen(const uint16_t *pStr);
/* Copy src with its terminator; returns dst. */
KXSUPT_API uint16_t *SMUCS2Strcpy(uint16_t *pDst, const uint16_t *pSrc);
KXSUPT_API uint16_t *SMUCS2Strcpy_s(uint16_t *pDst, uint32_t dstSize, const uint16_t *pSrc);
/* Append src at dst's terminator; returns dst. */
KXSUPT_API uint16_t *SMUCS2Strcat(uint16_t *pDst, const uint16_t *pSrc);
KXSUPT_API uint16_t *SMUCS2Strcat_s(uint16_t *pDst, uint32_t dstSize, const uint16_t *pSrc);
/* Copy until n units or a terminator have been copied; no padding, and no
 * terminator when n comes first. */
KXSUPT_API void SMUCS2Strncpy(uint16_t *pDst, const uint16_t *pSrc, uint32_t n);
KXSUPT_API void SMUCS2Strncpy_s(uint16_t *pDst, uint32_t dstSize, const uint16_t *pSrc, uint32_t n);
/* n = 0 does nothing; else append at most n units and always a terminator. */
KXSUPT_API uint16_t *SMUCS2Strncat(uint16_t *pDst, const uint16_t *pSrc, uint32_t n);
KXSUPT_API uint16_t *SMUCS2Strncat_s(uint16_t *pDst, uint32_t dstSize, const uint16_t *pSrc,
                                     uint32_t n);
/* (a - b) modulo 65536 at the first differing unit: 0 means equal; the value
 * says nothing about order (A against B gives 65535). */
KXSUPT_API uint32_t SMUCS2Strcmp(const uint16_t *pA, const uint16_t *pB);
/* First unit equal to c (the terminator for c = 0), or null. */
KXSUPT_API uint16_t *SMUCS2Strchr(const uint16_t *pStr, uint16_t c);
/* First occurrence of needle; haystack for an empty needle; null if absent. */
KXSUPT_API uint16_t *SMUCS2Strstr(const uint16_t *pHaystack, const uint16_t *pNeedle);
/* Length of the leading run of units that occur (do not occur) in the set. */
KXSUPT_API uint32_t SMUCS2Strspn(const uint16_t *pStr, const uint16_t *pAccept);
KXSUPT_API uint32_t SMUCS2Strcspn(const uint16_t *pStr, const uint16_t *pReject);
/* Set every unit before the terminator to c; returns the string. */
KXSUPT_API uint16_t *SMUCS2Strset(uint16_t *pStr, uint16_t c);
KXSUPT_API uint16_t *SMUCS2Strset_s(uint16_t *pStr, uint32_t size, uint16_t c);
/* Set exactly n units from the start to c, without looking for the terminator. */
KXSUPT_API void SMUCS2Strnset(uint16_t *pStr, uint16_t c, uint32_t n);
KXSUPT_API void SMUCS2Strnset_s(uint16_t *pStr, uint32_t size, uint16_t c, uint32_t n);
/* Reverse the units in place; returns the string. */
KXSUPT_API uint16_t *SMUCS2Strrev(uint16_t *pStr);
/* Next token of pStr (null: continue the process-wide saved position); the
 * delimiter after the token is overwritten with 0. The context is ignored. */
KXSUPT_API uint16_t *SMUCS2Strtok(uint16_t *pStr, const uint16_t *pDelimiters);
KXSUPT_API uint16_t *SMUCS2Strtok_s(uint16_t *pStr, const uint16_t *pDelimiters,
                                    uint16_t **ppContext);
/* Escape to 7-bit UTF-8: \n \r \t \\, bytes 32-127 as they are, others as
 * \uXXXX (lower-case hex). A given size receives the bytes needed (terminator
 * included) and yields 16 when it was smaller; a null pOut only measures. */
KXSUPT_API SMStatus SMUCS2ToEscape(char *pOut, uint32_t *pSize, const uint16_t *pIn);

/*
 * UTF-8 strings and conversions. A UTF-8 string is a byte string ended by 0.
 * The two conversions take a size in/out in bytes, terminator included, for
 * both encodings: room in the output on entry, bytes produced on success; a
 * null output only measures. UTF-8 is the classic form of up to six bytes;
 * overlong forms are accepted and continuation bytes give their low six bits.
 * A supplementary code point becomes the units 0xD800 | (cp >> 10 & 0x3FF)
 * and 0xDC00 | (cp & 0x3FF), without subtracting 0x10000 first; every
 * surrogate unit of a UCS-2 input stands for the pair (or plain unit) at the
 * start of that input. Statuses: 271 (null input or size pointer), 257
 * (malformed or truncated UTF-8, a code point at or above 0x110000, or a
 * surrogate that the input's first units cannot resolve), 16 (output too
 * small; the size is left unchanged). The byte routines know nothing of
 * multi-byte sequences; case changes use the current C locale. Whitespace for
 * the trim routines is tab, line feed, carriage return and space.
 */

/* UCS-2 text to UTF-8 in pUTF8Out, with the sizes and statuses above. */
KXSUPT_API SMStatus SMUCS2StrToUTF8Str(char *pUTF8Out, uint32_t *pSize, const uint16_t *pUCS2In);
/* UTF-8 text to UCS-2 in pUCS2Out, with the sizes and statuses above. */
KXSUPT_API SMStatus SMUTF8StrToUCS2Str(uint16_t *pUCS2Out, uint32_t *pSize, const char *pUTF8In);
/* Overwrite leading whitespace with 0 and return the first other byte; use
 * the returned pointer (null for null). */
KXSUPT_API char *SMUTF8ltrim(char *pStr);
/* Overwrite trailing whitespace with 0; returns pStr (null for null). */
KXSUPT_API char *SMUTF8rtrim(char *pStr);
/* SMUTF8rtrim(SMUTF8ltrim(pStr)). */
KXSUPT_API char *SMUTF8trim(char *pStr);
/* Map every byte through the C library's upper (lower) case table; returns pStr. */
KXSUPT_API char *SMUTF8StrUpperCase(char *pStr);
KXSUPT_API char *SMUTF8StrLowerCase(char *pStr);
/* Reverse the bytes in place (multi-byte characters included). */
KXSUPT_API void SMUTF8Strrev(char *pStr);
/* Heap copy, freed with SMFreeMem; null for null or no memory. */
KXSUPT_API char *SMUTF8Strdup(const char *pStr);
/* Compare at most n bytes folding only A-Z; returns the signed difference of
 * the folded bytes where the comparison stopped (0 for n = 0). */
KXSUPT_API int32_t SMUTF8Strnicmp(const char *pA, const char *pB, uint32_t n);
/* First case-insensitive occurrence of needle; haystack for an empty needle;
 * null for a null argument or no match. */
KXSUPT_API char *SMUTF8Strstri(const char *pHaystack, const char *pNeedle);

/*
 * Self-sizing strings (SMSS...). The caller owns the SMSSStr record; the
 * library owns its buffer, which stays terminated and grows as text is
 * appended: doubling while the capacity is at most 0xFFFFF bytes, then by a
 * quarter, or straight to the size needed when one step is not enough. An
 * append returns the buffer pointer; a null source or a string without buffer
 * appends nothing. A count n of 0 means the whole source. Growth failure is
 * silent (the string is left as it was): compare the length before and after.
 * Appending across encodings converts the whole source into a scratch block
 * and then appends n units or bytes of it; UCS-2 into UTF-8 gives that block
 * n + 1 bytes, so non-ASCII text appends nothing. Free with SMSS...StrFree.
 */

/* A self-sizing string: the record is the caller's, the buffer the library's. */
typedef struct SMSSStr {
  void *pStr;        /* the text, always terminated; null when not allocated */
  uint32_t capacity; /* size of the buffer in bytes */
  uint32_t length;   /* units (UCS-2) or bytes (UTF-8) before the terminator */
} SMSSStr;

/* Allocate capacity bytes and make the string empty; null for capacity 0 or
 * no memory (the record then holds no buffer). An earlier buffer is not freed. */
KXSUPT_API uint16_t *SMSSUCS2StrAlloc(SMSSStr *pSS, uint32_t capacity);
KXSUPT_API char *SMSSUTF8StrAlloc(SMSSStr *pSS, uint32_t capacity);
/* Append n units (0: all) of UCS-2 text to a UCS-2 string. */
KXSUPT_API uint16_t *SMSSUCS2StrCatUCS2Str(SMSSStr *pSS, const uint16_t *pSrc);
KXSUPT_API uint16_t *SMSSUCS2StrNCatUCS2Str(SMSSStr *pSS, const uint16_t *pSrc, uint32_t n);
/* Convert UTF-8 text and append n units (0: its byte length) of the result. */
KXSUPT_API uint16_t *SMSSUCS2StrCatUTF8Str(SMSSStr *pSS, const char *pSrc);
KXSUPT_API uint16_t *SMSSUCS2StrNCatUTF8Str(SMSSStr *pSS, const char *pSrc, uint32_t n);
/* Append n bytes (0: all) of UTF-8 text to a UTF-8 string. */
KXSUPT_API char *SMSSUTF8StrCatUTF8Str(SMSSStr *pSS, const char *pSrc);
KXSUPT_API char *SMSSUTF8StrNCatUTF8Str(SMSSStr *pSS, const char *pSrc, uint32_t n);
/* Convert UCS-2 text and append n bytes (0: its unit count) of the result. */
KXSUPT_API char *SMSSUTF8StrCatUCS2Str(SMSSStr *pSS, const uint16_t *pSrc);
KXSUPT_API char *SMSSUTF8StrNCatUCS2Str(SMSSStr *pSS, const uint16_t *pSrc, uint32_t n);
/* Release the buffer and zero the record, which can be allocated again. */
KXSUPT_API void SMSSUCS2StrFree(SMSSStr *pSS);
KXSUPT_API void SMSSUTF8StrFree(SMSSStr *pSS);

KXSUPT_END_DECLS

#endif /* KXSUPT_TEXT_H */
