// Counting semaphores by name or without one. A named semaphore is a System
// V set of one semaphore whose key the IPC key registry gives to
// "kxsupsmp<digest>"; an unnamed one is the process-private semaphore of
// os/semaphore.h, to which these routines send unnamed handles.
#pragma once

#include <cstdint>

#include "base/status.h"
#include "os/semaphore.h"

namespace kx::ipc {

// SMSemaphoreCreate / SMSemaphoreCreate_s: a semaphore holding
// initial_count (below 32768). Named: the set of the name's key, created
// with the access-rights word's permission or, when it exists, opened and
// set to initial_count. Null on any failure; the caller owns the handle.
os::SemaphoreHandle *SemaphoreCreate(const char *name, uint32_t initial_count,
                                     uint32_t access_rights);

// SMSemaphoreOpen: the existing set of a name (the name gets a key in the
// registry even when there is no set). Null for a null or empty name or when
// no set exists. The handle does not remove the set when destroyed.
os::SemaphoreHandle *SemaphoreOpen(const char *name);

// SMSemaphoreAcquireWait: takes one count within timeout_ms (all ones waits,
// 0 takes only what is there). A named semaphore's count is taken without
// undo: a process that dies keeps it taken. 0; 271 null; 257 another kind;
// 3 time-out; all ones for other failures.
Status SemaphoreAcquireWait(os::SemaphoreHandle *semaphore, uint32_t timeout_ms);

// SMSemaphoreRelease: adds count (1 to 32767) after storing the value before
// the release in *previous when it is not null. 271 for a count out of range
// or a null handle; 257 another kind; all ones when the value cannot grow.
Status SemaphoreRelease(os::SemaphoreHandle *semaphore, int32_t count, int32_t *previous);

// SMSemaphoreDestroy: a handle that created its object removes it (a named
// set with its "Semaphore List" entry); every handle is freed. Null and other
// kinds are left alone.
void SemaphoreDestroy(os::SemaphoreHandle *semaphore);

}  // namespace kx::ipc
