// The System V calls behind the named semaphores, events and shared-memory
// guards, as the library uses them: semaphore 0 of a set read, set, waited
// on and signalled, sets removed. The calls that fail rarely in real life
// (creating a set) go through a table that tests may replace, in the manner
// of a syscall table, to make them fail or hand out identifier 0.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "base/status.h"

namespace kx::ipc {

// Replaceable system calls. Tests swap an entry and put the original back.
struct SysvCalls {
  int (*semget)(key_t key, int count, int flags);
};
SysvCalls &Sysv();

// The value of semaphore 0 of a set; -1 when it cannot be read.
int SemaphoreValue(int set_id);
// Sets semaphore 0 of a set to `value`; false when refused (ERANGE above
// 32767, or the set is gone).
bool SetSemaphoreValue(int set_id, int value);
// Removes a set; false when it does not exist or may not be removed.
bool RemoveSemaphoreSet(int set_id);
// The number of semaphores in a set, or 0 when it cannot be examined.
int SemaphoreCount(int set_id);

// One -1 on semaphore 0 without undo (the count stays taken if the process
// dies). timeout_ms: all ones blocks (retried while interrupted), 0 does not
// wait, else a timed wait restarted after interruptions with the time left
// by the wall clock. 0; 3 when the time runs out or the value is 0 with no
// wait; all ones for other failures.
Status AcquireSetSemaphore(int set_id, uint32_t timeout_ms);

// `count` separate +1 operations on semaphore 0, each without waiting and
// retried while interrupted. All ones when one fails (the value would pass
// the system maximum, or the set is gone).
Status ReleaseSetSemaphore(int set_id, int32_t count);

// The wall clock in milliseconds, as the timed waits measure elapsed time.
uint64_t WallClockMs();

}  // namespace kx::ipc
