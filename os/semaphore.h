// Counting semaphores: the kind-2 IPC handle. An unnamed semaphore is a
// process-private POSIX semaphore, made and driven here. A named one is a
// System V semaphore set of one semaphore whose key comes from the IPC key
// registry; that half belongs to the named-IPC layer, which builds its
// handles with NewSemaphoreHandle, stores the set in object.set_id and routes
// handles with a name to its own routines. The routines here refuse them.
#pragma once

#include <semaphore.h>

#include <cstdint>

#include "base/status.h"

namespace kx::os {

// Kind word at the head of a semaphore handle (a mutex's is 1).
inline constexpr uint32_t kIpcKindSemaphore = 2;

// Counts are below this: an initial count and a release's count must be.
inline constexpr uint32_t kSemaphoreCountLimit = 32768;

struct SemaphoreHandle {
  uint32_t kind;     // kIpcKindSemaphore
  const char *name;  // operating-system name kept behind the record; null when unnamed
  union {
    int set_id;    // named: the System V semaphore-set identifier
    sem_t *local;  // unnamed: the process-private semaphore
  } object;
  // 1 when this handle created the object (and destroying it removes the
  // object), 0 when it only opened it.
  uint32_t creator;
};

// A kind-2 handle with name (null for unnamed) copied behind the record in the
// same allocation; no object yet and creator 0. Null when memory is short.
// Release with FreeSemaphoreHandle.
SemaphoreHandle *NewSemaphoreHandle(const char *name);
void FreeSemaphoreHandle(SemaphoreHandle *semaphore);

// The argument check shared by every semaphore operation: kInvalidParameter
// for null, kOsFailure for a handle of another kind, else kSuccess.
Status CheckSemaphoreHandle(const SemaphoreHandle *semaphore);

// Creates a semaphore holding initial_count (below kSemaphoreCountLimit). A
// null name makes an unnamed one; named semaphores are not made here and give
// null. Null on any failure.
SemaphoreHandle *SemaphoreCreate(const char *name, uint32_t initial_count);

// Takes one count. timeout_ms is kWaitForever, 0 (take only what is there) or
// milliseconds from now. kSuccess; kInvalidParameter / kOsFailure as for the
// handle check (kOsFailure also for a named handle); kTimeout when the time
// runs out; kError for any other failure of the wait.
Status SemaphoreAcquireWait(SemaphoreHandle *semaphore, uint32_t timeout_ms);

// Adds count (1 to 32767) to the semaphore; a non-null previous first
// receives the value before the release. kInvalidParameter for a count out
// of range or a null handle, kOsFailure for another kind or a named handle,
// kError when a post fails (the value would pass the system's maximum).
Status SemaphoreRelease(SemaphoreHandle *semaphore, int32_t count, int32_t *previous);

// Destroys an unnamed semaphore that this handle created and frees the
// handle. Null, other kinds and named handles are left alone.
void SemaphoreDestroy(SemaphoreHandle *semaphore);

}  // namespace kx::os
