// Mutexes by name or without one. An unnamed mutex is the process-local
// mutex of os/mutex.h; a named mutex pairs such a mutex with a whole-file
// advisory lock on "<ipc dir>/.kxsupmtx<digest>", so that threads of one
// process exclude each other through the first and processes through the
// second. These routines take both kinds and send unnamed handles to os/.
#pragma once

#include <cstdint>

#include "base/status.h"
#include "os/mutex.h"

namespace kx::ipc {

// A named mutex's handle: the fields of an unnamed one (kind 1, the
// lock-file path as its operating-system name, the process-local mutex),
// then the lock file's. The exported handle points at `mutex`, so the
// unnamed routines work on the local half of either kind.
struct NamedMutexHandle {
  os::MutexHandle mutex;
  int lock_fd;        // the open lock file, -1 once closed
  uint16_t writable;  // 1: opened for writing (write locks); 0: read-only (shared locks)
};

// The named handle behind an exported mutex handle whose name is set.
inline NamedMutexHandle *AsNamed(os::MutexHandle *mutex) {
  return reinterpret_cast<NamedMutexHandle *>(mutex);
}

// SMMutexCreate / SMMutexCreate_s: a null name makes an unnamed mutex (the
// access-rights word is then unused); a name opens its lock file, creating
// it with the word's permission bits (all ones 0664, 0 0600), write-only when
// possible and read-only otherwise. Null for an empty name, a name whose
// lock-file path is too long, unknown IPC paths or a lock file that cannot
// be opened. The caller owns the handle until MutexDestroy.
os::MutexHandle *MutexCreate(const char *name, uint32_t access_rights);

// SMMutexOpen: a named mutex whose lock file exists already (it is never
// created here). Null for a null or empty name or a missing lock file.
os::MutexHandle *MutexOpen(const char *name);

// SMMutexLock: the process-local mutex, then (named) the lock file's record
// lock: a write lock when the file was opened for writing, a shared read lock
// otherwise. Each of the two waits has the time-out: all ones waits, 0 tries
// once, else polled with a 1 ms sleep per 4 units. Statuses: 0; 271 null
// handle; 257 another kind; 3 time-out; all ones when a lock call fails or
// the lock file cannot be reopened.
Status MutexLock(os::MutexHandle *mutex, uint32_t timeout_ms);

// SMMutexUnLock: releases the record lock (named), then the local mutex.
// 0, or 271 / 257 as for MutexLock.
Status MutexUnLock(os::MutexHandle *mutex);

// SMMutexDestroy: closes the lock file (which stays on disk), destroys the
// local mutex and frees the handle. Null and other kinds are left alone.
void MutexDestroy(os::MutexHandle *mutex);

}  // namespace kx::ipc
