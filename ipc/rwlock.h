// Reader-writer locks with writer preference, built from one mutex and two
// counting semaphores ("gates") of this family. The counters live in the
// handle, so a lock coordinates the threads of one process; a name (whose
// operating-system name "kxsuprwl<digest>" then names the mutex and both
// gates) only makes those three objects named ones.
#pragma once

#include <cstdint>

#include "base/status.h"
#include "os/mutex.h"
#include "os/semaphore.h"

namespace kx::ipc {

struct RwLockHandle {
  uint32_t kind;                     // kIpcRwLock
  const char *name;                  // operating-system name behind the fields; null when unnamed
  os::MutexHandle *guard;            // guards the counters; null once destruction began
  os::SemaphoreHandle *reader_gate;  // where readers wait
  os::SemaphoreHandle *writer_gate;  // where writers wait
  int32_t active_readers;
  int32_t waiting_writers;
  int32_t waiting_readers;
  uint16_t writer_active;  // 1 while a writer holds the lock
  int32_t inside;          // threads inside an operation, for destruction to wait out
};

// SMRWLCreate: a free lock; null name for unnamed objects. Null when any of
// the three objects cannot be made (those made are destroyed).
RwLockHandle *RWLCreate(const char *name);

// SMRWLReadLockGet / SMRWLWriteLockGet: waits for the lock, each wait on the
// gate bounded by timeout_ms (a wait that runs out re-checks and waits
// again). A reader enters when no writer holds the lock and none waits; a
// writer when nobody holds it. 0; 271 null; 257 another kind; 19 when the
// count of waiters would overflow; all ones when the lock is being
// destroyed or the library unloaded while waiting.
Status RWLReadLockGet(RwLockHandle *lock, uint32_t timeout_ms);
Status RWLWriteLockGet(RwLockHandle *lock, uint32_t timeout_ms);

// SMRWLReadLockRelease / SMRWLWriteLockRelease: gives the lock up and wakes
// one waiting writer if any, else every waiting reader (and two more). The
// status of the last call made; all ones when the lock is being destroyed.
Status RWLReadLockRelease(RwLockHandle *lock);
Status RWLWriteLockRelease(RwLockHandle *lock);

// SMRWLDestroy: wakes every waiter (each returns all ones), destroys the
// three objects and frees the handle.
void RWLDestroy(RwLockHandle *lock);

}  // namespace kx::ipc
