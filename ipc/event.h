// Events: a semaphore that is "signalled" while its value is above 0. A
// named event is a System V set keyed by the registry for
// "kxsupevt<digest>" (two semaphores for a manual-reset event, one for an
// auto-reset one; only semaphore 0 is used); an unnamed event is a
// process-private semaphore of os/semaphore.h. A manual-reset event stays
// signalled until reset; an auto-reset event is reset by the wait it ends.
#pragma once

#include <cstdint>

#include "base/status.h"
#include "os/semaphore.h"

namespace kx::ipc {

struct EventHandle {
  uint32_t kind;     // kIpcEvent
  const char *name;  // operating-system name behind the fields; null when unnamed
  union {
    int set_id;                  // named: the semaphore set
    os::SemaphoreHandle *local;  // unnamed: the process-private semaphore
  } object;
  uint32_t creator;       // 1 when this handle made the object
  uint16_t manual_reset;  // 1 for a manual-reset event
};

// SMEventCreate / SMEventCreate_s: an event (manual-reset when manual_reset
// is 1) whose value starts at initial_value (at most 32767). A named event
// whose set exists takes it over and sets its value. Null on any failure.
EventHandle *EventCreate(const char *name, uint32_t manual_reset, uint32_t initial_value,
                         uint32_t access_rights);

// SMEventOpen: the existing set of a name. The handle is manual-reset when
// the set has two semaphores (the form a manual-reset event is made with).
// Null when the name is null or empty or no set exists.
EventHandle *EventOpen(const char *name);

// SMEventWait: waits up to timeout_ms (all ones for ever, 0 tests once) for
// the event, then sets it again (manual-reset) or resets it (auto-reset).
// 0; 271 null; 257 another kind; 3 time-out; all ones for other failures.
Status EventWait(EventHandle *event, uint32_t timeout_ms);

// SMEventSet: adds 1 to the value (not capped). SMEventReset: the value
// becomes 0. SMEventPulse: signals a non-signalled event just long enough
// for a waiter to pass (auto-reset: one set and one yield; manual-reset:
// sets until the value reads above 0), then resets it; a signalled event is
// only reset. Statuses as for EventWait (no time-out); pulse returns the
// status of its last operation.
Status EventSet(EventHandle *event);
Status EventReset(EventHandle *event);
Status EventPulse(EventHandle *event);

// SMEventDestroy: the creator removes the set (and its "Semaphore List"
// entry) or the private semaphore; every handle is freed.
void EventDestroy(EventHandle *event);

}  // namespace kx::ipc
