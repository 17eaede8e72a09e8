/*
 * kxsupt: codec family. Checksums, message digests and text encodings over
 * caller-owned buffers. Each family below has its own section; none of them
 * needs the library's modules to be attached.
 */
#ifndef KXSUPT_CODEC_H
#define KXSUPT_CODEC_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

/* ---- CRC32 -------------------------------------------------------------
 *
 * The SMCRC32Compute_ functions return the standard CRC-32 (reflected
 * polynomial 0xEDB88320, initial value and final inversion 0xFFFFFFFF, as in
 * zlib and PKZIP; "123456789" gives 0xCBF43926). SMGenerateCRC32 is a separate
 * bit-serial checksum with rules of its own, kept because stored values depend
 * on them. All four are pure functions that may run in parallel; they return
 * the checksum itself, never a status. A null data pointer counts as no data.
 */

/* Standard CRC-32 of length bytes at pData; 0 for length 0. */
KXSUPT_API uint32_t SMCRC32Compute_vn(const void *pData, uint32_t length);
/* Standard CRC-32 of a NUL-terminated string, without its NUL. */
KXSUPT_API uint32_t SMCRC32Compute_str(const char *pStr);
/* Standard CRC-32 of the whole string after lower-casing each byte in the
 * current C locale (despite the name there is no length argument). */
KXSUPT_API uint32_t SMCRC32Compute_strncase(const char *pStr);
/* Bit-serial CRC over totalLength bytes: the dataLength bytes at pData, then
 * zero bytes up to totalLength (a smaller totalLength cuts the data short).
 * Starts from 0xFFFFFFFF and has no final inversion. In each bit step it
 * compares the register's low bit with the whole remaining byte value rather
 * than with that value's low bit, so its results differ from the textbook
 * CRC for bytes other than 0 and 1. (data, 0, 0) gives 0xFFFFFFFF. */
KXSUPT_API uint32_t SMGenerateCRC32(const void *pData, uint32_t dataLength, uint32_t totalLength);

/* ---- MD5 message digest ------------------------------------------------
 *
 * An incremental MD5 digest (RFC 1321) over a context that the caller owns.
 * Load it, add the message in as many pieces as convenient, then compute the
 * digest, which lands in the context's digest field. All 32-bit quantities
 * are handled in the host's byte order; on little-endian hosts the digests
 * are the RFC 1321 ones (MD5("abc") = 900150983cd24fb0d6963f7d28e17f72). A
 * new message needs SMRFC1321Load again. The functions return nothing; a null
 * context is ignored. Separate contexts may be used in parallel.
 */

/* The digest context: 108 bytes, fields in this order. */
typedef struct SMRFC1321Context {
  uint32_t bitCountHigh;  /* message length in bits, high word */
  uint32_t bitCountLow;   /* message length in bits, low word */
  uint32_t state[4];      /* chaining words A, B, C, D */
  uint32_t bufferedBytes; /* bytes waiting in block, 0 to 63 */
  uint8_t digest[16];     /* the result, set by SMRFC1321ComputeMsgDigest */
  uint8_t block[64];      /* partial input block */
} SMRFC1321Context;

/* Start a new message: zero count, initial state, no buffered bytes, digest
 * cleared. */
KXSUPT_API void SMRFC1321Load(SMRFC1321Context *pContext);
/* Add length bytes of the message (length 0 does nothing). */
KXSUPT_API void SMRFC1321AddMsg(SMRFC1321Context *pContext, const void *pData, uint32_t length);
/* Pad, finish and store the 16-byte digest in pContext->digest. */
KXSUPT_API void SMRFC1321ComputeMsgDigest(SMRFC1321Context *pContext);
/* Wipe the whole context to zeros. */
KXSUPT_API void SMRFC1321UnLoad(SMRFC1321Context *pContext);

/* ---- Base64 ------------------------------------------------------------
 *
 * Base64 text ("=" padding, no line breaks) between byte buffers and
 * NUL-terminated text. The caller supplies output buffers that are large
 * enough; the functions do not know their sizes. Both return 0; null buffers
 * make them do nothing.
 */

/* Encode length bytes into 4 * ((length + 2) / 3) characters and a NUL (a
 * negative length encodes nothing). pAlphabet is 64 characters, or null for
 * "A-Za-z0-9+/". When length leaves one byte in the last group, the byte
 * after the input is read and its upper four bits enter the second character
 * of that group: it must be readable, and callers pass input followed by a
 * zero byte. */
KXSUPT_API uint32_t SMBase64Encode(char *pOut, const uint8_t *pIn, int32_t length,
                                   const char *pAlphabet);
/* Decode length / 4 groups of characters (trailing ones ignored) with the
 * standard alphabet and write a NUL after the bytes produced (three per group,
 * one less for each "="; a group whose first or second character is "="
 * yields nothing). Characters
 * outside the alphabet count as the value 255, without an error. */
KXSUPT_API uint32_t SMBase64Decode(uint8_t *pOut, const char *pIn, int32_t length);

KXSUPT_END_DECLS

#endif /* KXSUPT_CODEC_H */
