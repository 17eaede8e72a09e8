// Mutexes: the kind-1 IPC handle. An unnamed mutex is a process-local thread
// mutex and is the lock behind every module of the library; the named form (the
// same thread mutex paired with an advisory lock on a lock file shared between
// processes) arrives with the IPC layer and fills the lock-file fields below.
#pragma once

#include <pthread.h>

#include <cstdint>

namespace kx::os {

// Kind word at the head of a mutex handle. Every IPC handle starts with its
// kind and its operating-system name so that each family can refuse the
// handles of the others.
inline constexpr uint32_t kIpcKindMutex = 1;

// Time-out that waits for ever; 0 tries once. Other values are milliseconds.
inline constexpr uint32_t kWaitForever = 0xFFFFFFFFu;

struct MutexHandle {
  uint32_t kind;     // kIpcKindMutex
  const char *name;  // lock-file path kept behind the record; null when unnamed
  // The in-process lock: all of an unnamed mutex, the first half of a named one.
  pthread_mutex_t local;
  // The inter-process half, used only when name is set: the open lock file
  // (-1 when closed) and whether it was opened for writing (write locks) or
  // only for reading (shared locks).
  int lock_fd;
  uint16_t writable;
};

// Creates a mutex. A null name gives an unnamed, process-local mutex; named
// mutexes are not available yet and give null. Null on any failure.
MutexHandle *MutexCreate(const char *name);

// Takes the mutex. timeout_ms is kWaitForever, 0 (one try) or a bound that is
// polled with a 1 ms sleep per 4 units. Statuses: 0; 271 for a null handle;
// 257 for a handle of another kind; 3 when the time-out expires; all ones when
// the blocking lock itself fails.
uint32_t MutexLock(MutexHandle *mutex, uint32_t timeout_ms);

// Releases the mutex held by the caller. 0, or 271 / 257 as for MutexLock.
uint32_t MutexUnlock(MutexHandle *mutex);

// Destroys a mutex and frees its handle. Null and handles of another kind are
// left alone.
void MutexDestroy(MutexHandle *mutex);

}  // namespace kx::os
