// File plumbing shared by the text and XML event logs: the cross-process write
// lock on a log's path, the append journal that undoes a write cut short by a
// killed writer, the backup name and the backup rotation (with its size check
// repeated under the lock), directory creation, permission restoring, whole
// writes, and the seams through which tests stop an append at a chosen step
// or watch a backup before it is deleted.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

#include "base/status.h"
#include "config/file_lock.h"
#include "log/log_strings.h"

namespace kx::log {

// Runs `body` (returning a Status); an allocation that fails inside it is
// status 272, so that no exception leaves the library.
template <typename Body>
Status CatchNoMemory(Body body) {
  try {
    return body();
  } catch (const std::bad_alloc &) {
    return Status::kNoMemory;
  }
}

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
String BackupName(const String &path);

// The size of the file at `path`, 0 when it cannot be examined.
uint64_t FileSizeOf(const char *path);

// Opens the log at `path` with `flags` (an access mode, O_APPEND or not),
// creating it when it does not exist with the bits kLogFileMode whatever the
// umask: a log keeps the permission bits it has, and a new one gets 0664.
// -1 when it cannot be opened or created.
int OpenLog(const char *path, int flags);

// Creates the directory that holds `path` (mode 0755) unless it exists;
// false when it does not exist afterwards.
bool MakeLogDirectory(const char *path);

// Writes all of `bytes` at `offset` (or at the end when offset is negative
// and the file was opened for appending), retrying interrupted and partial
// writes; false on any failure.
bool WriteWhole(int fd, const void *bytes, size_t count, off_t offset);
// Reads exactly `count` bytes at `offset`; false on failure or end of file.
bool ReadWhole(int fd, char *bytes, size_t count, off_t offset);

// The append journal. A write into a regular file is copied page by page, and
// a writer killed by SIGKILL in the middle of the copy leaves the pages copied
// so far: a record cut at a page boundary, or an XML log whose closing tag has
// been overwritten by the first part of an element. So before writing, the
// writer records on the log itself (an extended attribute) the file's size
// and the bytes it is about to overwrite, and removes that record once the
// write is complete. The next writer, holding the lock, finds a record left
// behind and puts the file back as it was before the cut write. Where the file
// system keeps no extended attributes the write goes ahead unjournaled.
//
// Undoes the write that a killed writer left unfinished, if any. The caller
// holds the log's lock and opened the file for writing.
void RecoverInterruptedWrite(int fd);
// Writes `count` bytes at `offset` (negative: the end of a file opened for
// appending) under the journal. `old_size` is the file's size now. Bytes of
// the file from `offset` up to `old_size` are saved first (at most 4 KiB;
// more is written unjournaled). `path` names the log for the test seams.
// False on a failed write.
bool JournaledWrite(int fd, const char *path, const void *bytes, size_t count, off_t offset,
                    uint64_t old_size);

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
  kTorn,     // half of the record is written (only with tear_writes set)
  kWritten,  // the record is written and committed, the file still open and locked
};

// Test seams; null members do nothing. at_step runs at each step of every
// append; before_backup_delete runs under the lock with the backup's path
// just before a rotation deletes it. With tear_writes set, every journaled
// write stops at kTorn after half of its bytes, as a write cut short by a
// signal would.
struct LogTestHooks {
  void (*at_step)(AppendStep step, const char *path);
  void (*before_backup_delete)(const char *backup_path);
  bool tear_writes;
};
void SetLogTestHooksForTesting(const LogTestHooks *hooks);
// Runs the at_step seam, if any.
void ReachStep(AppendStep step, const char *path);

}  // namespace kx::log
