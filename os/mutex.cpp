// Unnamed mutexes over POSIX thread mutexes, with the library's polling
// time-out: a bounded wait tries the lock, sleeps 1 ms and counts 4 ms per try,
// so a wait of T milliseconds sleeps about T / 4 times.
#include "os/mutex.h"

#include <time.h>

#include "base/memory.h"

namespace kx::os {

void SleepOnePoll() {
  timespec pause{0, 1000 * 1000};
  nanosleep(&pause, nullptr);
}

namespace {

// The handle checks shared by every operation on a mutex.
Status CheckHandle(const MutexHandle *mutex) {
  if (mutex == nullptr) return Status::kInvalidParameter;
  if (mutex->kind != kIpcKindMutex) return Status::kOsFailure;
  return Status::kSuccess;
}

}  // namespace

MutexHandle *MutexCreate(const char *name) {
  // Named mutexes need the IPC directory and its lock files.
  if (name != nullptr) return nullptr;

  auto *mutex = static_cast<MutexHandle *>(base::AllocMem(sizeof(MutexHandle)));
  if (mutex == nullptr) return nullptr;
  if (pthread_mutex_init(&mutex->local, nullptr) != 0) {
    base::FreeMem(mutex);
    return nullptr;
  }
  mutex->kind = kIpcKindMutex;
  mutex->name = nullptr;
  return mutex;
}

Status MutexLock(MutexHandle *mutex, uint32_t timeout_ms) {
  if (Status status = CheckHandle(mutex); !Ok(status)) return status;

  if (timeout_ms == kWaitForever) {
    if (pthread_mutex_lock(&mutex->local) != 0) return Status::kError;
    return Status::kSuccess;
  }
  // The count advances by 4 per 1 ms sleep: that pacing is part of the
  // contract, so a bound of 40 gives up after about ten sleeps.
  uint64_t elapsed = 0;
  while (pthread_mutex_trylock(&mutex->local) != 0) {
    if (elapsed >= timeout_ms) return Status::kTimeout;
    elapsed += kPollStep;
    SleepOnePoll();
  }
  return Status::kSuccess;
}

Status MutexUnLock(MutexHandle *mutex) {
  if (Status status = CheckHandle(mutex); !Ok(status)) return status;
  pthread_mutex_unlock(&mutex->local);
  return Status::kSuccess;
}

void MutexDestroy(MutexHandle *mutex) {
  if (!Ok(CheckHandle(mutex))) return;
  pthread_mutex_destroy(&mutex->local);
  base::FreeMem(mutex);
}

}  // namespace kx::os
