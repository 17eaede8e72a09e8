// Unnamed semaphores over POSIX process-private semaphores. A bounded wait is
// one timed wait against an absolute wall-clock deadline, restarted with the
// same deadline after an interruption.
#include "os/semaphore.h"

#include <time.h>

#include <cerrno>
#include <cstring>

#include "base/memory.h"
#include "os/mutex.h"

namespace kx::os {

namespace {

constexpr long kNanosecondsPerSecond = 1000000000;
constexpr long kNanosecondsPerMillisecond = 1000000;

// The unnamed semaphore behind a checked handle, null for a named handle.
sem_t *LocalSemaphore(const SemaphoreHandle *semaphore) {
  return semaphore->name == nullptr ? semaphore->object.local : nullptr;
}

// Now plus timeout_ms on the wall clock, the nanoseconds carried into seconds.
timespec DeadlineAfter(uint32_t timeout_ms) {
  timespec deadline;
  clock_gettime(CLOCK_REALTIME, &deadline);
  deadline.tv_sec += static_cast<time_t>(timeout_ms / 1000);
  deadline.tv_nsec += static_cast<long>(timeout_ms % 1000) * kNanosecondsPerMillisecond;
  if (deadline.tv_nsec > kNanosecondsPerSecond - 1) {
    deadline.tv_sec += 1;
    deadline.tv_nsec -= kNanosecondsPerSecond;
  }
  return deadline;
}

}  // namespace

SemaphoreHandle *NewSemaphoreHandle(const char *name) {
  const size_t name_size = name != nullptr ? std::strlen(name) + 1 : 0;
  auto *semaphore =
      static_cast<SemaphoreHandle *>(base::AllocMem(sizeof(SemaphoreHandle) + name_size));
  if (semaphore == nullptr) return nullptr;
  semaphore->kind = kIpcKindSemaphore;
  semaphore->name = nullptr;
  if (name != nullptr) {
    char *copy = reinterpret_cast<char *>(semaphore + 1);
    std::memcpy(copy, name, name_size);
    semaphore->name = copy;
  }
  semaphore->object.local = nullptr;
  semaphore->creator = 0;
  return semaphore;
}

void FreeSemaphoreHandle(SemaphoreHandle *semaphore) {
  base::FreeMem(semaphore);
}

Status CheckSemaphoreHandle(const SemaphoreHandle *semaphore) {
  if (semaphore == nullptr) return Status::kInvalidParameter;
  if (semaphore->kind != kIpcKindSemaphore) return Status::kOsFailure;
  return Status::kSuccess;
}

SemaphoreHandle *SemaphoreCreate(const char *name, uint32_t initial_count) {
  if (initial_count >= kSemaphoreCountLimit || name != nullptr) return nullptr;
  SemaphoreHandle *semaphore = NewSemaphoreHandle(nullptr);
  if (semaphore == nullptr) return nullptr;
  auto *local = static_cast<sem_t *>(base::AllocMem(sizeof(sem_t)));
  if (local == nullptr || sem_init(local, 0, initial_count) != 0) {
    base::FreeMem(local);
    FreeSemaphoreHandle(semaphore);
    return nullptr;
  }
  semaphore->object.local = local;
  semaphore->creator = 1;
  return semaphore;
}

Status SemaphoreAcquireWait(SemaphoreHandle *semaphore, uint32_t timeout_ms) {
  if (Status status = CheckSemaphoreHandle(semaphore); !Ok(status)) return status;
  sem_t *local = LocalSemaphore(semaphore);
  if (local == nullptr) return Status::kOsFailure;

  if (timeout_ms == kWaitForever) {
    while (sem_wait(local) != 0) {
      if (errno != EINTR) return Status::kError;
    }
    return Status::kSuccess;
  }
  const timespec deadline = DeadlineAfter(timeout_ms);
  while (sem_timedwait(local, &deadline) != 0) {
    if (errno == EINTR) continue;
    return errno == ETIMEDOUT ? Status::kTimeout : Status::kError;
  }
  return Status::kSuccess;
}

Status SemaphoreRelease(SemaphoreHandle *semaphore, int32_t count, int32_t *previous) {
  if (count < 1 || count >= static_cast<int32_t>(kSemaphoreCountLimit) || semaphore == nullptr) {
    return Status::kInvalidParameter;
  }
  if (Status status = CheckSemaphoreHandle(semaphore); !Ok(status)) return status;
  sem_t *local = LocalSemaphore(semaphore);
  if (local == nullptr) return Status::kOsFailure;

  if (previous != nullptr) {
    int value = 0;
    sem_getvalue(local, &value);
    *previous = value;
  }
  for (int32_t posted = 0; posted < count; ++posted) {
    while (sem_post(local) != 0) {
      if (errno != EINTR) return Status::kError;
    }
  }
  return Status::kSuccess;
}

void SemaphoreDestroy(SemaphoreHandle *semaphore) {
  if (!Ok(CheckSemaphoreHandle(semaphore)) || semaphore->name != nullptr) return;
  if (semaphore->creator == 1) {
    sem_destroy(semaphore->object.local);
    base::FreeMem(semaphore->object.local);
  }
  FreeSemaphoreHandle(semaphore);
}

}  // namespace kx::os
