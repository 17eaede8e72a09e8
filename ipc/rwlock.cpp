// Writer-preferring reader-writer locks. Every counter is read and changed
// under the guard mutex; waits on the gates happen with the guard released,
// and a woken thread re-checks its condition under the guard. Destruction
// detaches the guard first, so that every woken waiter finds it gone and
// leaves with the all-ones status.
#include "ipc/rwlock.h"

#include <sched.h>

#include <atomic>
#include <climits>

#include "base/memory.h"
#include "base/unloading.h"
#include "config/ipc_paths.h"
#include "ipc/mutex.h"
#include "ipc/semaphore.h"

namespace kx::ipc {

namespace {

enum class Side { kReader, kWriter };

Status CheckHandle(const RwLockHandle *lock) {
  if (lock == nullptr) return Status::kInvalidParameter;
  if (lock->kind != config::kIpcRwLock) return Status::kOsFailure;
  return Status::kSuccess;
}

std::atomic_ref<os::MutexHandle *> Guard(RwLockHandle *lock) {
  return std::atomic_ref<os::MutexHandle *>(lock->guard);
}

// Counts a thread inside an operation for its scope, so that destruction
// frees the handle only after every woken waiter has left it.
class Inside {
 public:
  explicit Inside(RwLockHandle *lock) : count_(lock->inside) { count_.fetch_add(1); }
  ~Inside() { count_.fetch_sub(1); }
  Inside(const Inside &) = delete;
  Inside &operator=(const Inside &) = delete;

 private:
  std::atomic_ref<int32_t> count_;
};

// Takes the guard without a time-out. A guard that is gone (destruction has
// begun) or that cannot be taken ends the operation with the all-ones status.
Status TakeGuard(RwLockHandle *lock, os::MutexHandle **guard) {
  *guard = Guard(lock).load();
  if (!Ok(ipc::MutexLock(*guard, os::kWaitForever))) return Status::kError;
  return Status::kSuccess;
}

// Releases a gate by `count` waiters, within what a release may add.
Status OpenGate(os::SemaphoreHandle *gate, int64_t count) {
  return ipc::SemaphoreRelease(gate, static_cast<int32_t>(count < INT32_MAX ? count : INT32_MAX),
                               nullptr);
}

Status LockGet(RwLockHandle *lock, uint32_t timeout_ms, Side side) {
  if (Status status = CheckHandle(lock); !Ok(status)) return status;
  Inside inside(lock);
  os::MutexHandle *guard = nullptr;
  if (!Ok(TakeGuard(lock, &guard))) return Status::kError;
  const bool reader = side == Side::kReader;
  int32_t &waiting = reader ? lock->waiting_readers : lock->waiting_writers;
  if (waiting == INT32_MAX) {
    (void)ipc::MutexUnLock(guard);
    return Status::kWriteFailed;
  }
  ++waiting;
  for (;;) {
    // Writer preference: a waiting writer keeps new readers out.
    const bool may_enter = reader ? lock->writer_active == 0 && lock->waiting_writers < 1
                                  : lock->active_readers < 1 && lock->writer_active == 0;
    if (may_enter) {
      if (reader) {
        ++lock->active_readers;
      } else {
        lock->writer_active = 1;
      }
      --waiting;
      (void)ipc::MutexUnLock(guard);
      return Status::kSuccess;
    }
    (void)ipc::MutexUnLock(guard);
    // A wait that runs out is not an answer: the loop re-checks and waits again.
    (void)ipc::SemaphoreAcquireWait(reader ? lock->reader_gate : lock->writer_gate, timeout_ms);
    if (!Ok(TakeGuard(lock, &guard))) return Status::kError;
    if (base::Unloading()) {
      (void)ipc::MutexUnLock(guard);
      return Status::kError;
    }
  }
}

Status Release(RwLockHandle *lock, Side side) {
  if (Status status = CheckHandle(lock); !Ok(status)) return status;
  Inside inside(lock);
  os::MutexHandle *guard = nullptr;
  if (!Ok(TakeGuard(lock, &guard))) return Status::kError;
  if (side == Side::kReader) {
    --lock->active_readers;
  } else {
    lock->writer_active = 0;
  }
  // A writer first if one waits, else every waiting reader; the two extra
  // let a few more through than are counted, and each re-checks anyway.
  if (lock->waiting_writers >= 1) {
    (void)ipc::MutexUnLock(guard);
    return OpenGate(lock->writer_gate, 1);
  }
  if (lock->waiting_readers >= 1) {
    const int64_t count = int64_t{lock->waiting_readers} + 2;
    (void)ipc::MutexUnLock(guard);
    return OpenGate(lock->reader_gate, count);
  }
  return ipc::MutexUnLock(guard);
}

void DestroyParts(RwLockHandle *lock, os::MutexHandle *guard) {
  ipc::SemaphoreDestroy(lock->reader_gate);
  ipc::SemaphoreDestroy(lock->writer_gate);
  ipc::MutexDestroy(guard);
}

}  // namespace

RwLockHandle *RWLCreate(const char *name) {
  auto *lock = static_cast<RwLockHandle *>(
      config::BuildIpcHandle(name, sizeof(RwLockHandle), config::kIpcRwLock));
  if (lock == nullptr) return nullptr;
  // The mutex and both gates are named with the lock's operating-system
  // name, so both gates resolve to one set when the lock is named.
  lock->guard = ipc::MutexCreate(lock->name, 0xFFFFFFFFu);
  lock->reader_gate = ipc::SemaphoreCreate(lock->name, 0, 0xFFFFFFFFu);
  lock->writer_gate = ipc::SemaphoreCreate(lock->name, 0, 0xFFFFFFFFu);
  if (lock->guard == nullptr || lock->reader_gate == nullptr || lock->writer_gate == nullptr) {
    DestroyParts(lock, lock->guard);
    base::FreeMem(lock);
    return nullptr;
  }
  return lock;
}

Status RWLReadLockGet(RwLockHandle *lock, uint32_t timeout_ms) {
  return LockGet(lock, timeout_ms, Side::kReader);
}

Status RWLWriteLockGet(RwLockHandle *lock, uint32_t timeout_ms) {
  return LockGet(lock, timeout_ms, Side::kWriter);
}

Status RWLReadLockRelease(RwLockHandle *lock) {
  return Release(lock, Side::kReader);
}

Status RWLWriteLockRelease(RwLockHandle *lock) {
  return Release(lock, Side::kWriter);
}

void RWLDestroy(RwLockHandle *lock) {
  if (!Ok(CheckHandle(lock))) return;
  os::MutexHandle *guard = Guard(lock).load();
  (void)ipc::MutexLock(guard, os::kWaitForever);
  Guard(lock).store(nullptr);
  // Wake every counted waiter; each finds the guard gone and leaves.
  if (const int32_t writers = lock->waiting_writers; writers > 0) {
    (void)ipc::MutexUnLock(guard);
    (void)OpenGate(lock->writer_gate, int64_t{writers} + 2);
    sched_yield();
    (void)ipc::MutexLock(guard, os::kWaitForever);
  }
  if (const int32_t readers = lock->waiting_readers; readers > 0) {
    (void)ipc::MutexUnLock(guard);
    (void)OpenGate(lock->reader_gate, int64_t{readers} + 2);
    sched_yield();
    (void)ipc::MutexLock(guard, os::kWaitForever);
  }
  (void)ipc::MutexUnLock(guard);
  // A thread that took the guard before it was detached may still come to
  // wait on a gate uncounted: keep both gates open until everyone has left,
  // so that nothing touches the handle once it is freed.
  std::atomic_ref<int32_t> inside(lock->inside);
  while (inside.load() > 0) {
    (void)OpenGate(lock->reader_gate, 1);
    (void)OpenGate(lock->writer_gate, 1);
    sched_yield();
  }
  DestroyParts(lock, guard);
  sched_yield();
  base::FreeMem(lock);
}

}  // namespace kx::ipc
