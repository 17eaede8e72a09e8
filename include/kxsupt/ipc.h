/*
 * kxsupt: ipc family. Mutexes, counting semaphores, events, shared memory and
 * reader-writer locks, each either private to the process (unnamed: a null
 * name) or shared between processes by name.
 *
 * Handles. Every creation and open call returns an opaque handle that the
 * caller owns until it passes it to the family's release call
 * (SMMutexDestroy, SMSemaphoreDestroy, SMEventDestroy, SMSharedMemFree,
 * SMRWLDestroy); null means the object could not be made or found, and no
 * status is given. A handle begins with a kind word (1 mutex, 2 semaphore, 3
 * shared memory, 4 event, 5 reader-writer lock), so every operation refuses
 * another family's handle: a null handle gives 271
 * (SM_STATUS_INVALID_PARAMETER), a handle of another kind 257
 * (SM_STATUS_OS_FAILURE). Destroy and free calls ignore both. A handle
 * belongs to the process that made it; a child made by fork opens its own.
 *
 * Names. A name is any non-empty text; the empty text is refused. The
 * library turns it into an operating-system name from the MD5 digest of the
 * name: a named mutex is a lock file "<data dir>/.ipc/.kxsupmtx<digest>"
 * (the data directory is the product registry's "mernex.vardatapath", else
 * "dulo.vardatapath"), and the other kinds are System V objects whose key
 * each name receives once, for good, from the key registry file
 * "<data dir>/.ipc/.lxsuptIPCini" (keys from 300001 up). Named objects need
 * the library attached to a product registry that names the data directory.
 *
 * Access rights. The _s creation calls take an access-rights word: all ones
 * (0xFFFFFFFF, what the calls without _s use for named objects) gives
 * permission 0664, 0 gives 0600; otherwise the nibbles at bits 24-27, 16-19
 * and 8-11 give the owner, group and other permissions: within a nibble bit 0
 * grants read, write and execute at once, else bit 1 read, bit 2 write and
 * bit 3 execute.
 *
 * Time-outs are unsigned milliseconds: 0xFFFFFFFF (SM_WAIT_FOREVER) waits for
 * ever, 0 tries once. A timed-out wait gives 3 (SM_STATUS_TIMEOUT); a failure
 * of the system call behind an operation gives 0xFFFFFFFF (SM_STATUS_ERROR).
 */
#ifndef KXSUPT_IPC_H
#define KXSUPT_IPC_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

/* Time-out value that waits for ever. */
#ifndef SM_WAIT_FOREVER
#define SM_WAIT_FOREVER 0xFFFFFFFFu
#endif

/*
 * Mutexes. An unnamed mutex is private to the process; any of its threads
 * may lock it. A named mutex excludes threads of this process through a
 * process-local mutex and processes through a record lock on its lock file,
 * taken in that order. The lock file is opened for writing when possible
 * (exclusive locking); a lock file that only opens for reading gives shared
 * locking between processes. A process that dies holding a named mutex lets
 * it go. Lock files stay on disk. A bounded wait polls about once per 4 ms
 * of its time-out, and a named mutex's two waits each have the time-out.
 */

/* Create a mutex; pName null for an unnamed one. A named mutex creates its
 * lock file (permission 0664) or opens the existing one. Null on failure. */
KXSUPT_API void *SMMutexCreate(const char *pName);
/* As SMMutexCreate, creating a missing lock file with the permission of
 * accessRights (see Access rights). Null on failure. */
KXSUPT_API void *SMMutexCreate_s(const char *pName, uint32_t accessRights);
/* Open the named mutex whose lock file exists; null when it does not or
 * cannot be opened, and for a null or empty name. */
KXSUPT_API void *SMMutexOpen(const char *pName);
/* Lock within timeoutMs. Status 0; 3 time-out; 271 null handle; 257 another
 * kind; 0xFFFFFFFF when the lock call fails. */
KXSUPT_API SMStatus SMMutexLock(void *pMutex, uint32_t timeoutMs);
/* Unlock a mutex held by the calling thread; status 0, 271, 257. */
KXSUPT_API SMStatus SMMutexUnLock(void *pMutex);
/* Close and free a mutex handle (the lock file stays); null and other kinds
 * are ignored. */
KXSUPT_API void SMMutexDestroy(void *pMutex);

/*
 * Semaphores: counting semaphores whose count stays below 32768. A named
 * semaphore is a System V semaphore shared by every process that creates or
 * opens the name; creating a name that exists takes the existing semaphore
 * over and sets its count. A count taken by a process that dies is not given
 * back. Only the handle that created a semaphore removes it.
 */

/* Create a semaphore holding initialCount (at most 32767); pName null for an
 * unnamed one; permission 0664 for a named one. Null on failure. */
KXSUPT_API void *SMSemaphoreCreate(const char *pName, uint32_t initialCount);
/* As SMSemaphoreCreate with the permission of accessRights. */
KXSUPT_API void *SMSemaphoreCreate_s(const char *pName, uint32_t initialCount,
                                     uint32_t accessRights);
/* Open the existing semaphore of a name (required); null when none exists.
 * The name keeps its key in the key registry either way. */
KXSUPT_API void *SMSemaphoreOpen(const char *pName);
/* Take one count within timeoutMs; status 0, 3, 271, 257, 0xFFFFFFFF. */
KXSUPT_API SMStatus SMSemaphoreAcquireWait(void *pSemaphore, uint32_t timeoutMs);
/* Add count (1 to 32767); pPreviousCount, when not null, first receives the
 * count before the release. Status 0; 271 for a count out of range or a null
 * handle; 257 another kind; 0xFFFFFFFF when the count cannot grow. */
KXSUPT_API SMStatus SMSemaphoreRelease(void *pSemaphore, int32_t count, int32_t *pPreviousCount);
/* Remove the semaphore if this handle created it, and free the handle; null
 * and other kinds are ignored. */
KXSUPT_API void SMSemaphoreDestroy(void *pSemaphore);

/*
 * Events. An event is signalled while its value is above 0. A manual-reset
 * event (manualReset 1) stays signalled until SMEventReset; an auto-reset
 * event (any other value) is reset by the wait that it ends, so several sets
 * before one wait count as one. Set, reset and pulse are separate steps on
 * the value: a reset that races a set may lose the set. A named event is a
 * System V semaphore shared by name (permission 0664 for SMEventCreate).
 */

/* Create an event holding initialValue (at most 32767); pName null for an
 * unnamed one. A named event that exists is taken over and its value set.
 * Null on failure. */
KXSUPT_API void *SMEventCreate(const char *pName, uint32_t manualReset, uint32_t initialValue);
/* As SMEventCreate with the permission of accessRights. */
KXSUPT_API void *SMEventCreate_s(const char *pName, uint32_t manualReset, uint32_t initialValue,
                                 uint32_t accessRights);
/* Open the existing event of a name; null when none exists. The handle is
 * manual-reset when the event was created so. */
KXSUPT_API void *SMEventOpen(const char *pName);
/* Wait up to timeoutMs for the event (0 tests once); status 0, 3, 271, 257,
 * 0xFFFFFFFF. */
KXSUPT_API SMStatus SMEventWait(void *pEvent, uint32_t timeoutMs);
/* Signal the event: its value grows by 1. Status 0, 271, 257, 0xFFFFFFFF. */
KXSUPT_API SMStatus SMEventSet(void *pEvent);
/* Make the event non-signalled (value 0). Status 0, 271, 257, 0xFFFFFFFF. */
KXSUPT_API SMStatus SMEventReset(void *pEvent);
/* Let waiters through once, then reset: a non-signalled event is set (an
 * auto-reset one once, a manual-reset one until it reads signalled), the
 * processor yielded, and the event reset; a signalled event is only reset.
 * Status of the last step; 271, 257 for bad handles. */
KXSUPT_API SMStatus SMEventPulse(void *pEvent);
/* Remove the event if this handle created it, and free the handle. */
KXSUPT_API void SMEventDestroy(void *pEvent);

/*
 * Shared memory. A named System V segment, always named. Its creator holds a
 * guard (a System V semaphore of the same key) while its handle lives, and
 * the system gives the guard back if the creator dies: a second creation
 * of a live segment fails; after the creator's death a creation takes the
 * old segment over with its contents (and keeps the guard until its process
 * ends); opening needs a live creator. The contents are not synchronised:
 * use a mutex or semaphore. The handle's segment is mapped read-write.
 */

/* Create and map size bytes (permission 0664), or take over the segment of
 * a creator that died. Null on failure, also for a null name. */
KXSUPT_API void *SMSharedMemCreate(const char *pName, uint32_t size);
/* As SMSharedMemCreate with the permission of accessRights. */
KXSUPT_API void *SMSharedMemCreate_s(const char *pName, uint32_t size, uint32_t accessRights);
/* Map the segment of a name whose creator is alive; null otherwise. */
KXSUPT_API void *SMSharedMemOpen(const char *pName);
/* The address where the segment is mapped; null for a null handle or one of
 * another kind. Valid until SMSharedMemFree. */
KXSUPT_API void *SMSharedMemGetAddressPtr(void *pSharedMem);
/* Unmap and free the handle; the creating handle also removes the segment
 * and its guard. Null and other kinds are ignored. */
KXSUPT_API void SMSharedMemFree(void *pSharedMem);

/*
 * Reader-writer locks with writer preference: many readers or one writer;
 * once a writer waits, new readers wait too. The lock's counters live in its
 * handle, so it coordinates the threads of one process; a name only makes
 * the mutex and semaphores it is built from named ones. A waiter whose wait
 * runs out waits again: the time-out bounds each wait, not the call. A named
 * lock's reader and writer gates are one System V semaphore, so a wake meant
 * for a writer may be taken by a reader, which only waits again: give the
 * waits of a named lock a bounded time-out when readers and writers meet.
 */

/* Create a free lock; pName null for an unnamed one. Null on failure. */
KXSUPT_API void *SMRWLCreate(const char *pName);
/* Take the lock for reading. Status 0; 271, 257 bad handle; 19
 * (SM_STATUS_WRITE_FAILED) when the count of waiting readers is full;
 * 0xFFFFFFFF when the lock is destroyed or the library unloaded meanwhile. */
KXSUPT_API SMStatus SMRWLReadLockGet(void *pRWL, uint32_t timeoutMs);
/* Give up a read lock, waking a waiting writer or else the waiting readers.
 * Status 0; 271, 257; 0xFFFFFFFF once the lock is being destroyed. */
KXSUPT_API SMStatus SMRWLReadLockRelease(void *pRWL);
/* Take the lock for writing; statuses as SMRWLReadLockGet (19 for waiting
 * writers). */
KXSUPT_API SMStatus SMRWLWriteLockGet(void *pRWL, uint32_t timeoutMs);
/* Give up the write lock; statuses as SMRWLReadLockRelease. */
KXSUPT_API SMStatus SMRWLWriteLockRelease(void *pRWL);
/* Wake every waiter (each returns 0xFFFFFFFF), destroy the lock and free the
 * handle; null and other kinds are ignored. */
KXSUPT_API void SMRWLDestroy(void *pRWL);

KXSUPT_END_DECLS

#endif /* KXSUPT_IPC_H */
