// File locks over open-file-description record locks on lock files in the IPC
// directory, polled at the mutexes' pace: +4 to the count per 1 ms sleep.
#include "config/file_lock.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>

#include "base/memory.h"
#include "config/ipc_paths.h"

namespace kx::config {

namespace {

bool Valid(const FileLockHandle *lock) {
  return lock != nullptr && lock->kind == kIpcFileLock;
}

// Kernels without open-file-description locks refuse the command; the
// classic process-wide record locks stand in for them there.
std::atomic<bool> g_classic_locks{false};

}  // namespace

int SetRecordLock(int fd, short type, bool wait) {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = 0;
  range.l_len = 0;  // the whole file, however it grows
  if (!g_classic_locks.load(std::memory_order_relaxed)) {
    int result = fcntl(fd, wait ? F_OFD_SETLKW : F_OFD_SETLK, &range);
    if (result == 0 || errno != EINVAL) return result;
    g_classic_locks.store(true, std::memory_order_relaxed);
  }
  return fcntl(fd, wait ? F_SETLKW : F_SETLK, &range);
}

Status TakeRecordLock(int *fd, short type, uint32_t timeout_ms, bool (*reopen)(void *context),
                      void *context) {
  uint64_t elapsed = 0;
  const bool wait = timeout_ms == os::kWaitForever;
  for (;;) {
    if (SetRecordLock(*fd, type, wait) == 0) return Status::kSuccess;
    switch (errno) {
      case EINTR:
      case EDEADLK:
        continue;
      case EAGAIN:
      case EACCES:
        if (wait) continue;
        if (elapsed >= timeout_ms) return Status::kTimeout;
        elapsed += os::kPollStep;
        os::SleepOnePoll();
        continue;
      case EBADF:
        if (reopen != nullptr && reopen(context)) continue;
        return Status::kError;
      default:
        return Status::kError;
    }
  }
}

FileLockHandle *FileLockOpen(const char *name) {
  if (name == nullptr) return nullptr;
  auto *lock =
      static_cast<FileLockHandle *>(BuildIpcHandle(name, sizeof(FileLockHandle), kIpcFileLock));
  if (lock == nullptr) return nullptr;
  lock->mutex = os::MutexCreate(nullptr);
  if (lock->mutex == nullptr) {
    base::FreeMem(lock);
    return nullptr;
  }
  lock->fd = -1;
  lock->mode = 0;
  return lock;
}

Status FileLockLock(FileLockHandle *lock, uint32_t mode, uint32_t timeout_ms) {
  if (!Valid(lock)) return Status::kInvalidParameter;
  if (Status locked = os::MutexLock(lock->mutex, timeout_ms); !Ok(locked)) return locked;
  Status status = Status::kSuccess;
  int fd = -1;
  if (mode != kFileLockRead && mode != kFileLockWrite) {
    status = Status::kInvalidParameter;
  } else {
    // The IPC directory appears on first use.
    (void)EnsureIpcDirectory();
    const int access_mode = mode == kFileLockRead ? O_RDONLY : O_WRONLY;
    fd = open(lock->name, access_mode | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
      status = errno == EACCES ? Status::kAccessDenied : Status::kError;
    } else {
      status = TakeRecordLock(&fd, mode == kFileLockRead ? F_RDLCK : F_WRLCK, timeout_ms);
    }
  }
  if (!Ok(status)) {
    if (fd >= 0) close(fd);
    (void)os::MutexUnLock(lock->mutex);
    return status;
  }
  lock->fd = fd;
  lock->mode = mode;
  return Status::kSuccess;
}

Status FileLockUnlock(FileLockHandle *lock) {
  if (!Valid(lock) || lock->mode == 0) return Status::kInvalidParameter;
  while (SetRecordLock(lock->fd, F_UNLCK, true) != 0 && errno == EINTR) {
  }
  close(lock->fd);
  lock->fd = -1;
  lock->mode = 0;
  (void)os::MutexUnLock(lock->mutex);
  return Status::kSuccess;
}

void FileLockClose(FileLockHandle *lock) {
  if (!Valid(lock)) return;
  if (lock->mode != 0) (void)FileLockUnlock(lock);
  os::MutexDestroy(lock->mutex);
  base::FreeMem(lock);
}

}  // namespace kx::config
