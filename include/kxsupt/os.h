/*
 * Operating-system services.
 *
 * Mutexes. SMMutexCreate returns a mutex handle that the caller owns until it
 * passes it to SMMutexDestroy; null means the mutex could not be made. A null
 * name makes an unnamed mutex, private to the process, which any of its
 * threads may lock; named mutexes (shared between processes) are not
 * available in this release and give null. Every handle of the library's
 * inter-process objects begins with a kind word, so a mutex operation refuses
 * another family's handle. Time-outs are in milliseconds: 0xFFFFFFFF waits
 * for ever and 0 tries once; a bounded wait polls the lock about once per
 * 4 ms of its time-out. Statuses: 0 success, 3 (SM_STATUS_TIMEOUT) time-out
 * expired, 271 (SM_STATUS_INVALID_PARAMETER) null handle, 257
 * (SM_STATUS_OS_FAILURE) handle of another kind, 0xFFFFFFFF (SM_STATUS_ERROR)
 * the blocking lock failed.
 */
#ifndef KXSUPT_OS_H
#define KXSUPT_OS_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

/* Time-out value that waits for ever. */
#define SM_WAIT_FOREVER 0xFFFFFFFFu

/* Create a mutex; pName null for an unnamed one. Null on failure. */
KXSUPT_API void *SMMutexCreate(const char *pName);
/* Lock within timeoutMs (SM_WAIT_FOREVER, 0 = one try); status 0, 3, 271, 257. */
KXSUPT_API SMStatus SMMutexLock(void *pMutex, uint32_t timeoutMs);
/* Unlock a mutex held by the calling thread; status 0, 271, 257. */
KXSUPT_API SMStatus SMMutexUnLock(void *pMutex);
/* Destroy a mutex and free its handle; null and other kinds are ignored. */
KXSUPT_API void SMMutexDestroy(void *pMutex);

KXSUPT_END_DECLS

#endif /* KXSUPT_OS_H */
