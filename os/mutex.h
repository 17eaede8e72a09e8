// Mutexes: the kind-1 IPC handle. An unnamed mutex is a process-local thread
// mutex and is the lock behind every module of the library; the named form
// (shared between processes) belongs to the named IPC objects and is refused
// here.
#pragma once

#include <pthread.h>

#include <cstdint>

#include "base/status.h"

namespace kx::os {

// Kind word at the head of a mutex handle. Every IPC handle starts with its
// kind and its operating-system name so that each family can refuse the
// handles of the others.
inline constexpr uint32_t kIpcKindMutex = 1;

// Time-out that waits for ever; 0 tries once. Other values are milliseconds.
inline constexpr uint32_t kWaitForever = 0xFFFFFFFFu;

// The library's polling pace for bounded waits: each failed try sleeps 1 ms
// and adds kPollStep to the count compared with the time-out.
inline constexpr uint32_t kPollStep = 4;
void SleepOnePoll();

struct MutexHandle {
  uint32_t kind;     // kIpcKindMutex
  const char *name;  // the operating-system name; null for an unnamed mutex
  pthread_mutex_t local;
};

// Creates a mutex. A null name gives an unnamed, process-local mutex; named
// mutexes are not available yet and give null. Null on any failure.
MutexHandle *MutexCreate(const char *name);

// Takes the mutex. timeout_ms is kWaitForever, 0 (one try) or a bound that is
// polled with a 1 ms sleep per 4 units. Statuses: kSuccess; kInvalidParameter
// for a null handle; kOsFailure for a handle of another kind; kTimeout when the
// time-out expires; kError when the blocking lock itself fails.
Status MutexLock(MutexHandle *mutex, uint32_t timeout_ms);

// Releases the mutex held by the caller: kSuccess, or the handle statuses of
// MutexLock.
Status MutexUnLock(MutexHandle *mutex);

// Destroys a mutex and frees its handle. Null and handles of another kind are
// left alone.
void MutexDestroy(MutexHandle *mutex);

}  // namespace kx::os
