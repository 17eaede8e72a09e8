// Unnamed mutexes over POSIX thread mutexes, with the library's polling
// time-out: a bounded wait tries the lock, sleeps 1 ms and counts 4 ms per try,
// so a wait of T milliseconds sleeps about T / 4 times.
#include "os/mutex.h"

#include <time.h>

#include <cstdlib>
#include <new>

#include "kxsupt/base.h"

namespace kx::os {

namespace {

// Units of the time-out count added per poll, and the real sleep between polls.
constexpr uint32_t kPollStep = 4;
constexpr long kPollSleepNs = 1000 * 1000;

void SleepOnePoll() {
  timespec pause{0, kPollSleepNs};
  nanosleep(&pause, nullptr);
}

// The handle checks shared by every operation on a mutex.
uint32_t CheckHandle(const MutexHandle *mutex) {
  if (mutex == nullptr) return SM_STATUS_INVALID_PARAMETER;
  if (mutex->kind != kIpcKindMutex) return SM_STATUS_OS_FAILURE;
  return SM_STATUS_SUCCESS;
}

}  // namespace

MutexHandle *MutexCreate(const char *name) {
  // Named mutexes need the IPC directory and its lock files.
  if (name != nullptr) return nullptr;

  auto *mutex = static_cast<MutexHandle *>(std::malloc(sizeof(MutexHandle)));
  if (mutex == nullptr) return nullptr;
  if (pthread_mutex_init(&mutex->local, nullptr) != 0) {
    std::free(mutex);
    return nullptr;
  }
  mutex->kind = kIpcKindMutex;
  mutex->name = nullptr;
  mutex->lock_fd = -1;
  mutex->writable = 0;
  return mutex;
}

uint32_t MutexLock(MutexHandle *mutex, uint32_t timeout_ms) {
  if (uint32_t status = CheckHandle(mutex); status != SM_STATUS_SUCCESS) return status;

  if (timeout_ms == kWaitForever) {
    if (pthread_mutex_lock(&mutex->local) != 0) return SM_STATUS_ERROR;
    return SM_STATUS_SUCCESS;
  }
  // The count advances by 4 per 1 ms sleep: that pacing is part of the
  // contract, so a bound of 40 gives up after about ten sleeps.
  uint64_t elapsed = 0;
  while (pthread_mutex_trylock(&mutex->local) != 0) {
    if (elapsed >= timeout_ms) return SM_STATUS_TIMEOUT;
    elapsed += kPollStep;
    SleepOnePoll();
  }
  return SM_STATUS_SUCCESS;
}

uint32_t MutexUnlock(MutexHandle *mutex) {
  if (uint32_t status = CheckHandle(mutex); status != SM_STATUS_SUCCESS) return status;
  pthread_mutex_unlock(&mutex->local);
  return SM_STATUS_SUCCESS;
}

void MutexDestroy(MutexHandle *mutex) {
  if (CheckHandle(mutex) != SM_STATUS_SUCCESS) return;
  pthread_mutex_destroy(&mutex->local);
  std::free(mutex);
}

}  // namespace kx::os
