// File plumbing shared by the text and XML event logs: the cross-process write
// lock on a log's path, the backup name and the backup rotation (with its size
// check repeated under the lock), directory creation, permission restoring,
// whole writes, and the seams through which tests stop an append at a chosen
// step or watch a backup before it is deleted.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/status.h"
#include "config/file_lock.h"

namespace kx::log {

// Permission bits a log gets when its own cannot be read.
inline constexpr mode_t kLogFileMode = 0664;

// Holds the library's file lock on `path` in write mode, waiting without
// limit, for the life of the object. ok() is false when the lock cannot be
// made or taken; the appends and clears then report 272.
class LogFileLock {
 public:
  explicit LogFileLock(const char *path);
  ~LogFileLock();
  LogFileLock(const LogFileLock &) = delete;
  LogFileLock &operator=(const LogFileLock &) = delete;
  bool ok() const { return held_; }

 private:
  config::FileLockHandle *lock_;
  bool held_ = false;
};

// The backup name of a log: its path with the last character replaced by
// '_' ("kxsys32.log" -> "kxsys32.lo_"). The path must not be empty.
std::string BackupName(const std::string &path);

// The size of the file at `path`, 0 when it cannot be examined.
uint64_t FileSizeOf(const char *path);

// The permission bits of the file at `path`, kLogFileMode when it has none.
mode_t PermissionOf(const char *path);

// Creates the directory that holds `path` (mode 0755) unless it exists;
// false when it does not exist afterwards.
bool MakeLogDirectory(const char *path);

// Writes all of `bytes` at `offset` (or at the end when offset is negative
// and the file was opened for appending), retrying interrupted and partial
// writes; false on any failure.
bool WriteWhole(int fd, const void *bytes, size_t count, off_t offset);

// The size check and backup rotation of an append whose record is estimated
// at `estimate` bytes: when the log's size plus the estimate reaches
// `max_size`, the log is moved aside to its backup (the old backup is deleted
// first). The check is made without the lock and repeated once the lock is
// held, and the log is rotated only if it still holds: appenders that find the
// log full at the same moment would otherwise each rotate, and the later ones
// would delete the backup just made. True when the log was renamed, so the
// caller starts the new log with its "Log backup created" entry.
bool RotateIfFull(const char *path, uint64_t estimate, uint32_t max_size);

// Steps of an append at which a test may stop the process.
enum class AppendStep {
  kLocked,   // the write lock is held, the file not yet opened
  kOpened,   // the file is open, nothing written
  kWritten,  // the record is written, the file still open and locked
};

// Test seams; null members do nothing. at_step runs at each step of every
// append; before_backup_delete runs under the lock with the backup's path
// just before a rotation deletes it.
struct LogTestHooks {
  void (*at_step)(AppendStep step, const char *path);
  void (*before_backup_delete)(const char *backup_path);
};
void SetLogTestHooksForTesting(const LogTestHooks *hooks);
// Runs the at_step seam, if any.
void ReachStep(AppendStep step, const char *path);

}  // namespace kx::log
