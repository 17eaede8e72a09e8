// The library's file lock (IPC kind 6): an advisory whole-file lock on a lock
// file in the IPC directory named "<ipc dir>/.kxsupflk<digest of the name>",
// taken for reading or writing with the library's polling time-out. It guards
// files shared between processes (INI files, logs, the IPC key registry).
//
// The record locks are open-file-description locks: they conflict with each
// other and with classic record locks of other processes, so two handles on
// one name exclude each other also between threads of one process, and
// closing one handle never drops a lock that another holds.
#pragma once

#include <cstdint>

#include "base/status.h"
#include "os/mutex.h"

namespace kx::config {

inline constexpr uint32_t kFileLockRead = 1;
inline constexpr uint32_t kFileLockWrite = 2;

struct FileLockHandle {
  uint32_t kind;           // kIpcFileLock
  const char *name;        // the lock-file path, kept behind the fields
  os::MutexHandle *mutex;  // serialises the handle's users in this process
  int fd;                  // the open lock file while locked, else -1
  uint32_t mode;           // kFileLockRead or kFileLockWrite while locked, else 0
};

// A handle for the lock named `name` (any text, usually a file's path); null
// when the name is null or empty, the IPC paths are unknown or memory runs
// out. Nothing is opened until the first lock.
FileLockHandle *FileLockOpen(const char *name);

// Takes the lock in `mode` (1 read, 2 write). timeout_ms as for mutexes: all
// ones waits, 0 tries once, else polled at one 1 ms sleep per 4 units.
// Statuses: 0; 271 for a null handle, another kind or another mode; 3 when the
// time-out expires; 270 when the lock file cannot be opened for lack of
// permission; all ones for other failures.
Status FileLockLock(FileLockHandle *lock, uint32_t mode, uint32_t timeout_ms);

// Releases a held lock and closes the lock file. 271 for a null handle,
// another kind or a lock that is not held.
Status FileLockUnlock(FileLockHandle *lock);

// Releases the lock if held and frees the handle. The lock file stays.
void FileLockClose(FileLockHandle *lock);

// The record lock under every inter-process lock of the library: a lock of
// `type` (F_RDLCK, F_WRLCK or F_UNLCK) over the whole of the open file `fd`,
// waiting or not. 0, or -1 with errno, as fcntl gives them.
int SetRecordLock(int fd, short type, bool wait);

// Takes the record lock of `type` on *fd, waiting as the time-out says and
// polled at the mutexes' pace. When the descriptor has gone bad and `reopen`
// is given, reopen(context) puts a fresh one in *fd and the wait goes on.
// Statuses: 0, 3 when the time-out expires, all ones for other failures.
Status TakeRecordLock(int *fd, short type, uint32_t timeout_ms,
                      bool (*reopen)(void *context) = nullptr, void *context = nullptr);

// The time-out of a caller's wait flag: 1 waits without limit, anything
// else tries once.
constexpr uint32_t FileLockTimeoutForFlags(uint32_t flags) {
  return flags == 1 ? os::kWaitForever : 0;
}

}  // namespace kx::config
