// Named mutexes: a process-local mutex plus a whole-file record lock on a
// lock file in the IPC directory, both polled at the library's pace (+4 to
// the count per 1 ms sleep). Unnamed handles go to os/mutex.
//
// The record locks are open-file-description locks, as the library's file
// lock takes them: two handles on one name exclude each other between
// threads of one process too, closing one handle never drops another's lock,
// and a process that dies loses its locks with its descriptors. A handle is
// not meant to cross fork: a child shares its parent's open description.
#include "ipc/mutex.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/memory.h"
#include "config/file_lock.h"
#include "config/ipc_paths.h"

namespace kx::ipc {

namespace {

bool IsNamed(const os::MutexHandle *mutex) {
  return mutex->name != nullptr;
}

// Opens an existing lock file as the handle opened it (write-only when it is
// writable, else read-only) in place of a descriptor that went bad.
bool ReopenLockFile(void *context) {
  auto *named = static_cast<NamedMutexHandle *>(context);
  const int fd = open(named->mutex.name, (named->writable ? O_WRONLY : O_RDONLY) | O_CLOEXEC);
  if (fd < 0) return false;
  named->lock_fd = fd;
  return true;
}

// The inter-process half of a lock: the record lock over the whole lock
// file, with the same polling as the local mutex and a count of its own.
Status TakeFileLock(NamedMutexHandle *named, uint32_t timeout_ms) {
  return config::TakeRecordLock(&named->lock_fd, named->writable ? F_WRLCK : F_RDLCK, timeout_ms,
                                ReopenLockFile, named);
}

// A kind-1 handle with the lock-file path behind it and its local mutex
// ready, no file open yet. Null when the name cannot be turned into a path.
NamedMutexHandle *NewNamedHandle(const char *name) {
  auto *named = static_cast<NamedMutexHandle *>(
      config::BuildIpcHandle(name, sizeof(NamedMutexHandle), config::kIpcMutex));
  if (named == nullptr) return nullptr;
  if (pthread_mutex_init(&named->mutex.local, nullptr) != 0) {
    base::FreeMem(named);
    return nullptr;
  }
  named->lock_fd = -1;
  return named;
}

void FreeNamedHandle(NamedMutexHandle *named) {
  if (named->lock_fd >= 0) close(named->lock_fd);
  named->lock_fd = -1;
  pthread_mutex_destroy(&named->mutex.local);
  base::FreeMem(named);
}

// Opens the lock file write-only, else read-only, creating it with
// `permission` when `create` is set; records which open succeeded.
bool OpenLockFile(NamedMutexHandle *named, bool create, mode_t permission) {
  (void)config::EnsureIpcDirectory();
  const char *path = named->mutex.name;
  const bool existed = access(path, F_OK) == 0;
  const int create_flag = create ? O_CREAT : 0;
  int fd = open(path, O_WRONLY | create_flag | O_CLOEXEC, permission);
  if (fd >= 0) {
    named->writable = 1;
    // The creation mask must not narrow what the caller asked for.
    if (create && !existed) fchmod(fd, permission);
  } else {
    fd = open(path, O_RDONLY | create_flag | O_CLOEXEC, permission);
    if (fd < 0) return false;
    named->writable = 0;
  }
  named->lock_fd = fd;
  return true;
}

os::MutexHandle *NamedMutex(const char *name, bool create, uint32_t access_rights) {
  NamedMutexHandle *named = NewNamedHandle(name);
  if (named == nullptr) return nullptr;
  if (!OpenLockFile(named, create, config::PermissionFromAccessRights(access_rights))) {
    FreeNamedHandle(named);
    return nullptr;
  }
  return &named->mutex;
}

Status CheckHandle(const os::MutexHandle *mutex) {
  if (mutex == nullptr) return Status::kInvalidParameter;
  if (mutex->kind != config::kIpcMutex) return Status::kOsFailure;
  return Status::kSuccess;
}

}  // namespace

os::MutexHandle *MutexCreate(const char *name, uint32_t access_rights) {
  if (name == nullptr) return os::MutexCreate(nullptr);
  return NamedMutex(name, true, access_rights);
}

os::MutexHandle *MutexOpen(const char *name) {
  if (name == nullptr) return nullptr;
  return NamedMutex(name, false, 0);
}

Status MutexLock(os::MutexHandle *mutex, uint32_t timeout_ms) {
  if (Status status = CheckHandle(mutex); !Ok(status)) return status;
  if (Status status = os::MutexLock(mutex, timeout_ms); !Ok(status)) return status;
  if (!IsNamed(mutex)) return Status::kSuccess;
  Status status = TakeFileLock(AsNamed(mutex), timeout_ms);
  if (!Ok(status)) (void)os::MutexUnLock(mutex);
  return status;
}

Status MutexUnLock(os::MutexHandle *mutex) {
  if (Status status = CheckHandle(mutex); !Ok(status)) return status;
  if (IsNamed(mutex)) {
    while (config::SetRecordLock(AsNamed(mutex)->lock_fd, F_UNLCK, true) != 0 && errno == EINTR) {
    }
  }
  return os::MutexUnLock(mutex);
}

void MutexDestroy(os::MutexHandle *mutex) {
  if (!Ok(CheckHandle(mutex))) return;
  if (!IsNamed(mutex)) {
    os::MutexDestroy(mutex);
    return;
  }
  FreeNamedHandle(AsNamed(mutex));
}

}  // namespace kx::ipc
