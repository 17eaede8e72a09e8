/*
 * Operating-system services: threads and critical sections, shared
 * libraries, the environment, files and directories, the reference clock and
 * facts about the host. The mutexes and semaphores, unnamed and named, are
 * declared with the other inter-process objects in kxsupt/ipc.h.
 *
 * Handles. SMThreadStart and SMLibLoad return opaque handles that the caller
 * owns until it passes them to the family's release call (SMThreadStop or
 * SMThreadKill, SMLibUnLoad); null means the object could not be made, and no
 * status is given. A null handle gives 271 (SM_STATUS_INVALID_PARAMETER).
 *
 * Time-outs are unsigned milliseconds: 0xFFFFFFFF (SM_WAIT_FOREVER) waits for
 * ever, 0 tries once. A timed-out wait gives 3 (SM_STATUS_TIMEOUT); a failure
 * of the system call behind a lock or wait gives 0xFFFFFFFF (SM_STATUS_ERROR).
 *
 * Memory handed out by this family (SMEnvDup) is released with SMFreeMem.
 */
#ifndef KXSUPT_OS_H
#define KXSUPT_OS_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

/* Time-out value that waits for ever. */
#define SM_WAIT_FOREVER 0xFFFFFFFFu

/*
 * Threads. SMThreadStart runs pFunction(pArg) on a new joinable thread with a
 * 131072-byte stack (the system's default stack when that cannot be set up)
 * and returns its handle; the function's result is dropped. The handle must
 * be given exactly once to SMThreadStop, which waits for the thread to end,
 * or to SMThreadKill, which sends the thread signal 9: that signal cannot be
 * caught and ends the whole process. SMThreadStartAndRelease starts a
 * detached thread and keeps nothing.
 */

/* A thread's function: one pointer-sized argument; the result is dropped. */
typedef void *(*SMThreadFunction)(void *pArg);

/* Start pFunction(pArg) on a joinable thread; null for a null function or on
 * failure. */
KXSUPT_API void *SMThreadStart(SMThreadFunction pFunction, void *pArg);
/* Start pFunction(pArg) on a detached thread; status 0, 271 for a null
 * function, 0xFFFFFFFF when the thread cannot be made. */
KXSUPT_API SMStatus SMThreadStartAndRelease(SMThreadFunction pFunction, void *pArg);
/* Wait for the thread to end and free its handle; status 0, 271 for null,
 * 0xFFFFFFFF (handle kept) when the calling thread is the one to wait for. */
KXSUPT_API SMStatus SMThreadStop(void *pThread);
/* Send signal 9 to the thread, which ends the process; status 271 for null. */
KXSUPT_API SMStatus SMThreadKill(void *pThread);
/* Give up the processor. */
KXSUPT_API void SMThreadYield(void);
/* The calling thread's identifier (its pthread_self value). */
KXSUPT_API uint64_t SMThreadGetID(void);
/* Name the calling thread (the system keeps 15 characters); status 0, 271 for
 * null, 0xFFFFFFFF when the system refuses. */
KXSUPT_API SMStatus SMThreadSetName(const char *pName);

/*
 * Critical sections. SMCriticalSectionExecute runs pFunction(pArg) so that
 * calls of the same function never overlap, each function having its own lock
 * for as long as one of its callers is inside or waiting; different functions
 * run in parallel. timeoutMs must be SM_WAIT_FOREVER: with any other value, a
 * null function, or before the library has attached, nothing runs. The lock
 * is not recursive: a function that enters its own critical section again
 * deadlocks.
 */

/* A function run inside a critical section. */
typedef void (*SMCriticalSectionFunction)(void *pArg);

/* Run pFunction(pArg) under pFunction's own lock (see above). */
KXSUPT_API void SMCriticalSectionExecute(SMCriticalSectionFunction pFunction, void *pArg,
                                         uint32_t timeoutMs);

/*
 * Shared libraries, in two layers. The SMLib calls wrap the system loader one
 * handle at a time: SMLibLoad binds every symbol at load, and the handle is
 * released with SMLibUnLoad. The SMFLib calls keep one loaded copy of each
 * library (by path) for the whole process: SMFLibLinkToExportFN links a user
 * name to the library, loading it on first use, and caches every function
 * address looked up; SMFLibUnLoad unlinks a user name, and the library is
 * unloaded when its user count falls to 0. The count falls by one on every
 * SMFLibUnLoad of a loaded path, even for a user name that never linked. The
 * shared layer works once the library has attached; function addresses stay
 * valid until the library is unloaded.
 */

/* Load the library at pPath; null for a null path or when it cannot be
 * loaded. */
KXSUPT_API void *SMLibLoad(const char *pPath);
/* Unload and free the handle; status 0, 271 for null, 257 for another kind of
 * handle, 0xFFFFFFFF (handle kept) when the loader refuses. */
KXSUPT_API SMStatus SMLibUnLoad(void *pLib);
/* Address of the exported function pFunctionName; null for an invalid handle,
 * a null name or an absent symbol. */
KXSUPT_API void *SMLibLinkToExportFN(void *pLib, const char *pFunctionName);
/* Releases nothing; status 0, 271 for a null handle or address, 257 for
 * another kind of handle. */
KXSUPT_API SMStatus SMLibUnLinkFromExportFN(void *pLib, void *pFunction);
/* Link pUserName to the library at pLibPath and return the address of
 * pFunctionName, or with a null name the loader's handle of the library; null
 * on failure (a failed look-up leaves the user linked). */
KXSUPT_API void *SMFLibLinkToExportFN(const char *pUserName, const char *pLibPath,
                                      const char *pFunctionName);
/* Unlink pUserName from the library at pLibPath (see above); status 0, also
 * for a path not loaded; 271 for a null argument; 17 before the library has
 * attached. */
KXSUPT_API SMStatus SMFLibUnLoad(const char *pUserName, const char *pLibPath);

/* A copy of environment variable pName's value, released with SMFreeMem; null
 * when the variable is absent or empty or memory is short. pSize, when not
 * null, receives the copy's size including its terminating zero. */
KXSUPT_API char *SMEnvDup(const char *pName, uint32_t *pSize);

/*
 * Files and directories. Paths go to the system unchanged. Copy and append
 * stream the source through an 8192-byte buffer. SMFileCopy creates or
 * truncates the destination and always gives it the source's permission bits
 * (read, write, execute for owner, group, others); SMFileAppend creates the
 * destination when missing (with the source's bits, narrowed by the process's
 * file-creation mask) and copies the bits only when copyPermissions is
 * non-zero. The ...AndSync forms flush the destination to disk before closing
 * it. Their statuses: 0; 2 (SM_STATUS_INVALID_ARGS) for a null path; 7
 * (SM_STATUS_NOT_FOUND) when the source cannot be opened or is a directory;
 * 20 (SM_STATUS_SAME_FILE) when both paths name one file; 9
 * (SM_STATUS_CREATE_FAILED) when the destination cannot be opened; 19
 * (SM_STATUS_WRITE_FAILED) when the disk is full or a write, the flush or the
 * close fails; 261 (SM_STATUS_READ_FAILED) when reading the source fails;
 * 272 (SM_STATUS_NO_MEMORY). A failed copy may leave part of the data behind.
 */

/* Copy pSrcPath over pDestPath (created or truncated); statuses above. */
KXSUPT_API SMStatus SMFileCopy(const char *pSrcPath, const char *pDestPath);
/* As SMFileCopy, flushing the destination to disk before closing it. */
KXSUPT_API SMStatus SMFileCopyAndSync(const char *pSrcPath, const char *pDestPath);
/* Append pSrcPath to pDestPath (created when missing); statuses above. */
KXSUPT_API SMStatus SMFileAppend(const char *pSrcPath, const char *pDestPath,
                                 int32_t copyPermissions);
/* As SMFileAppend, flushing the destination to disk before closing it. */
KXSUPT_API SMStatus SMFileAppendAndSync(const char *pSrcPath, const char *pDestPath,
                                        int32_t copyPermissions);
/* Make a directory (permission 0755): 0 when the path exists afterwards, also
 * when something other than a directory was already there; 0xFFFFFFFF
 * otherwise. */
KXSUPT_API SMStatus SMMkDir(const char *pPath);
/* Remove an empty directory: 0; 257 when it is not empty; 256
 * (SM_STATUS_NOT_AVAILABLE) when it does not exist; 0xFFFFFFFF otherwise. */
KXSUPT_API SMStatus SMRmDir(const char *pPath);
/* Size of a file in bytes into *pSize (set to 0 first): 0; 7 when it cannot be
 * opened or is a directory; 290 (SM_STATUS_OVERFLOW) when the size needs more
 * than 32 bits; 271 for a null argument. */
KXSUPT_API SMStatus SMGetSizeOfFile(const char *pPath, uint32_t *pSize);
/* Unlink a file: 0, or 0xFFFFFFFF when it cannot be unlinked. */
KXSUPT_API SMStatus SMDeleteFile(const char *pPath);

/*
 * Reference clock. Ticks are wall-clock milliseconds; 0xFFFFFFFFFFFFFFFF is a
 * failed reading and, as a limit, no limit. SMRefTicksDiffCheckTimer checks
 * the interval from startTicks to currentTicks against limitTicks and returns
 * 1, or 0 (writing nothing) when either tick value is all ones. Through each
 * non-null pointer it stores the difference (0 when the clock went back),
 * *pElapsed = 1 when time has moved past the limit (without a limit: when it
 * has moved at all) and *pExceeded = 1 when the difference exceeds the limit.
 * Differences and limits compare with the high 32 bits signed and the low 32
 * bits unsigned, so a limit with its top bit set is exceeded at once.
 */

/* The clock's reading in milliseconds, or all ones when it cannot be read. */
KXSUPT_API uint64_t SMRefTicksGet(void);
/* Check the interval from startTicks to currentTicks against limitTicks, as
 * described above: 1, or 0 when either tick value is all ones. */
KXSUPT_API int32_t SMRefTicksDiffCheckTimer(uint64_t startTicks, uint64_t currentTicks,
                                            uint64_t limitTicks, uint64_t *pDiffTicks,
                                            uint16_t *pElapsed, uint16_t *pExceeded);

/*
 * Host facts and calls kept for other platforms.
 */

/* Operating-system type: 4 on a "VMkernel" hypervisor kernel, 3 otherwise. */
KXSUPT_API uint32_t SMOSTypeGet(void);
/* 1 when standard input has data ready now, 0 otherwise; never waits. */
KXSUPT_API int32_t SMkbhit(void);
/* Do nothing and return 0. */
KXSUPT_API int32_t SMOSShutdown(uint32_t mode);
KXSUPT_API int32_t SMLongFileNamesEnable(void);
KXSUPT_API int32_t SMLongFileNamesDisable(void);

/*
 * PCI device names. SMReadPCIDevFile looks up the vendor name and the device
 * name for the given IDs in a device-name file at pPath. Each line is a
 * record of tab-separated fields: a type ("V" vendor, "D" device, "O"
 * subsystem vendor, "S" subsystem device, in any case), a hexadecimal ID and
 * a name; ";" starts a comment, lines with fewer than three fields are
 * skipped. Device records belong to the vendor above them, subsystem records
 * to the device above them; a matching subsystem vendor's or subsystem
 * device's name replaces the device name. The search stops at the vendor
 * record after the found vendor and at the device record after the found
 * device. Each name is cut to its buffer (the last byte is always 0) and
 * *pVendorNameSize and *pDeviceNameSize come back as the lengths copied (0 for
 * a name not found). Status 0 when vendor and device were found; 7 when not,
 * or when the file cannot be opened; 271 (both sizes set to 0) for a null
 * pointer, a buffer size of 0 or an empty path; 272.
 */
KXSUPT_API SMStatus SMReadPCIDevFile(uint32_t vendorID, uint32_t deviceID, uint32_t subVendorID,
                                     uint32_t subDeviceID, const char *pPath, char *pVendorName,
                                     uint32_t *pVendorNameSize, char *pDeviceName,
                                     uint32_t *pDeviceNameSize);

KXSUPT_END_DECLS

#endif /* KXSUPT_OS_H */
