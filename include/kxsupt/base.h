/*
 * kxsupt base: export marker, C linkage guards, the status codes that every
 * function of the library returns, version queries, the export context and
 * memory services.
 *
 * A status is an unsigned 32-bit value; 0 is success. Functions that return a
 * status hand data back only through their out-parameters. Creation functions
 * return a handle (null on any failure) instead of a status.
 *
 * Memory that any kxsupt function hands to its caller comes from the process
 * heap and is released with SMFreeMem or SMFreeGeneric (the two are the same).
 * The memory functions add nothing to the heap: no header, no zeroing.
 */
#ifndef KXSUPT_BASE_H
#define KXSUPT_BASE_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define KXSUPT_API __attribute__((visibility("default")))
#define KXSUPT_PRINTF(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define KXSUPT_API
#define KXSUPT_PRINTF(fmt, args)
#endif

#ifdef __cplusplus
#define KXSUPT_BEGIN_DECLS extern "C" {
#define KXSUPT_END_DECLS }
#else
#define KXSUPT_BEGIN_DECLS
#define KXSUPT_END_DECLS
#endif

/* The library's one vocabulary of results. */
typedef uint32_t SMStatus;

#define SM_STATUS_SUCCESS 0u             /* the operation succeeded */
#define SM_STATUS_FAILED 1u              /* generic failure */
#define SM_STATUS_INVALID_ARGS 2u        /* a required argument is null (files, INI) */
#define SM_STATUS_TIMEOUT 3u             /* a wait or lock did not succeed in time */
#define SM_STATUS_NOT_FOUND 7u           /* the named item does not exist */
#define SM_STATUS_CREATE_FAILED 9u       /* a destination file could not be created */
#define SM_STATUS_NOT_IN_USE 12u         /* ID not in use; index not below the count */
#define SM_STATUS_BUFFER_TOO_SMALL 16u   /* caller's buffer too small */
#define SM_STATUS_NOT_READY 17u          /* the module behind the call is not attached */
#define SM_STATUS_WRITE_FAILED 19u       /* a write failed, was short, or the disk is full */
#define SM_STATUS_SAME_FILE 20u          /* copy source and destination are one file */
#define SM_STATUS_NOT_AVAILABLE 256u     /* valid lookup that found nothing usable */
#define SM_STATUS_OS_FAILURE 257u        /* the operating-system call behind it failed */
#define SM_STATUS_IN_USE 258u            /* the item is already taken */
#define SM_STATUS_FILE_OPEN_FAILED 260u  /* a configuration file cannot be opened */
#define SM_STATUS_READ_FAILED 261u       /* reading a configuration file failed */
#define SM_STATUS_END_OF_FILE 262u       /* end of file reached, section absent */
#define SM_STATUS_ENTRY_NOT_FOUND 263u   /* INI section or key absent */
#define SM_STATUS_BAD_VALUE 264u         /* INI value malformed or too large */
#define SM_STATUS_ACCESS_DENIED 270u     /* the operating system refused access */
#define SM_STATUS_INVALID_PARAMETER 271u /* null handle or pointer, mode out of range */
#define SM_STATUS_NO_MEMORY 272u         /* an allocation failed */
#define SM_STATUS_OVERFLOW 290u          /* numeric conversion above the target's maximum */
#define SM_STATUS_UNDERFLOW 291u         /* numeric conversion below the target's minimum */
#define SM_STATUS_ERROR 4294967295u      /* raw operating-system failure, untranslated */

KXSUPT_BEGIN_DECLS

/* Version of the library's interface: 1, 1 and 1. */
KXSUPT_API uint32_t SUPTGetMajorVersion(void);
KXSUPT_API uint32_t SUPTGetMinorVersion(void);
KXSUPT_API uint32_t SUPTGetRevision(void);

/* Export context: kept for source compatibility; there is no context here.
 * SMGetExportContext always stores 0; the other two do nothing. */
KXSUPT_API void SMGetExportContext(uint32_t *pContext);
KXSUPT_API void SMSetExportContext(void *pContext);
KXSUPT_API void SMResetExportContext(void);

/* Allocate size bytes (contents undefined); null on failure. */
KXSUPT_API void *SMAllocMem(uint32_t size);
/* Resize a block (may move it); null on failure, the old block stays valid. */
KXSUPT_API void *SMReAllocMem(void *pMem, uint32_t size);
/* Release a block; null is ignored. */
KXSUPT_API void SMFreeMem(void *pMem);
/* Release a block returned by any other kxsupt function; null is ignored. */
KXSUPT_API void SMFreeGeneric(void *pMem);

KXSUPT_END_DECLS

#endif /* KXSUPT_BASE_H */
