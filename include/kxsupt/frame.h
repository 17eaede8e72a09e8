/*
 * Library frame: version queries, export context and memory services.
 *
 * Memory that any kxsupt function hands to its caller comes from the process
 * heap and is released with SMFreeMem or SMFreeGeneric (the two are the same).
 * The memory functions add nothing to the heap: no header, no zeroing.
 */
#ifndef KXSUPT_FRAME_H
#define KXSUPT_FRAME_H

#include "kxsupt/base.h"

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

#endif /* KXSUPT_FRAME_H */
