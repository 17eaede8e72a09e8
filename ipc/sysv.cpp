// System V semaphore operations on semaphore 0 of a set, and the table of
// replaceable calls (see ipc/sysv.h).
#include "ipc/sysv.h"

#include <errno.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <time.h>

namespace kx::ipc {

namespace {

// The fourth argument of semctl, which the C library leaves to its callers.
union SemArgument {
  int value;
  struct semid_ds *status;
  unsigned short *values;
};

int CallSemget(key_t key, int count, int flags) {
  return semget(key, count, flags);
}

// One operation on semaphore 0, retried while interrupted; `timeout` null
// waits as `flags` says.
int OperateOnce(int set_id, short delta, short flags, const timespec *timeout) {
  sembuf operation{0, delta, flags};
  return timeout == nullptr ? semop(set_id, &operation, 1)
                            : semtimedop(set_id, &operation, 1, timeout);
}

}  // namespace

SysvCalls &Sysv() {
  static SysvCalls calls{&CallSemget};
  return calls;
}

int SemaphoreValue(int set_id) {
  return semctl(set_id, 0, GETVAL);
}

bool SetSemaphoreValue(int set_id, int value) {
  SemArgument argument;
  argument.value = value;
  return semctl(set_id, 0, SETVAL, argument) == 0;
}

bool RemoveSemaphoreSet(int set_id) {
  return semctl(set_id, 0, IPC_RMID) == 0;
}

int SemaphoreCount(int set_id) {
  struct semid_ds status {};
  SemArgument argument;
  argument.status = &status;
  if (semctl(set_id, 0, IPC_STAT, argument) != 0) return 0;
  return static_cast<int>(status.sem_nsems);
}

uint64_t WallClockMs() {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

Status AcquireSetSemaphore(int set_id, uint32_t timeout_ms) {
  if (timeout_ms == 0xFFFFFFFFu) {
    while (OperateOnce(set_id, -1, 0, nullptr) != 0) {
      if (errno != EINTR) return Status::kError;
    }
    return Status::kSuccess;
  }
  if (timeout_ms == 0) {
    while (OperateOnce(set_id, -1, IPC_NOWAIT, nullptr) != 0) {
      if (errno == EINTR) continue;
      return errno == EAGAIN ? Status::kTimeout : Status::kError;
    }
    return Status::kSuccess;
  }
  const uint64_t start = WallClockMs();
  uint64_t left = timeout_ms;
  for (;;) {
    const timespec limit{static_cast<time_t>(left / 1000),
                         static_cast<long>(left % 1000) * 1000000};
    if (OperateOnce(set_id, -1, 0, &limit) == 0) return Status::kSuccess;
    if (errno == EAGAIN) return Status::kTimeout;
    if (errno != EINTR) return Status::kError;
    const uint64_t now = WallClockMs();
    const uint64_t elapsed = now > start ? now - start : 0;  // a clock set back counts nothing
    if (elapsed >= timeout_ms) return Status::kTimeout;
    left = timeout_ms - elapsed;
  }
}

Status ReleaseSetSemaphore(int set_id, int32_t count) {
  for (int32_t done = 0; done < count; ++done) {
    while (OperateOnce(set_id, 1, IPC_NOWAIT, nullptr) != 0) {
      if (errno != EINTR) return Status::kError;
    }
  }
  return Status::kSuccess;
}

}  // namespace kx::ipc
