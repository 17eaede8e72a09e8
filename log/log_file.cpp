// The event logs' file plumbing: the write lock, the append journal, backup
// rotation, directory creation and whole writes.
#include "log/log_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

namespace kx::log {

namespace {

std::atomic<const LogTestHooks *> g_hooks{nullptr};

// The journal record: the attribute's name, and its value: the file's size
// before the write and the write's offset (8 bytes each, little-endian), then
// the bytes that the write overwrites.
constexpr char kJournalName[] = "user.kxsupt.append";
constexpr size_t kJournalHead = 16;
constexpr size_t kJournalRoom = kJournalHead + 4096;

void PutU64(char *out, uint64_t value) {
  for (int i = 0; i < 8; ++i) out[i] = static_cast<char>(value >> (8 * i));
}

uint64_t GetU64(const char *in) {
  uint64_t value = 0;
  for (int i = 7; i >= 0; --i) value = (value << 8) | static_cast<unsigned char>(in[i]);
  return value;
}

}  // namespace

LogFileLock::LogFileLock(const char *path) : lock_(config::FileLockOpen(path)) {
  held_ =
      lock_ != nullptr && Ok(config::FileLockLock(lock_, config::kFileLockWrite, os::kWaitForever));
}

LogFileLock::~LogFileLock() {
  if (held_) (void)config::FileLockUnlock(lock_);
  config::FileLockClose(lock_);
}

String BackupName(const String &path) {
  String backup = path;
  if (!backup.empty()) backup.back() = '_';
  return backup;
}

uint64_t FileSizeOf(const char *path) {
  struct stat facts {};
  if (stat(path, &facts) != 0) return 0;
  return static_cast<uint64_t>(facts.st_size);
}

int OpenLog(const char *path, int flags) {
  for (;;) {
    const int fd = open(path, flags | O_CLOEXEC);
    if (fd >= 0 || errno != ENOENT) return fd;
    const int created = open(path, flags | O_CREAT | O_EXCL | O_CLOEXEC, kLogFileMode);
    if (created >= 0) {
      (void)fchmod(created, kLogFileMode);  // whatever the umask took away
      return created;
    }
    if (errno != EEXIST) return -1;
  }
}

bool MakeLogDirectory(const char *path) {
  const String text(path);
  const size_t slash = text.find_last_of('/');
  if (slash == String::npos || slash == 0) return true;  // the current or root directory
  const String directory = text.substr(0, slash);
  struct stat facts {};
  if (stat(directory.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode)) return true;
  if (mkdir(directory.c_str(), 0755) == 0) return true;
  return stat(directory.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

bool WriteWhole(int fd, const void *bytes, size_t count, off_t offset) {
  const auto *p = static_cast<const char *>(bytes);
  while (count > 0) {
    const ssize_t n = offset < 0 ? write(fd, p, count) : pwrite(fd, p, count, offset);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n;
    count -= static_cast<size_t>(n);
    if (offset >= 0) offset += n;
  }
  return true;
}

bool ReadWhole(int fd, char *bytes, size_t count, off_t offset) {
  while (count > 0) {
    const ssize_t n = pread(fd, bytes, count, offset);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    bytes += n;
    count -= static_cast<size_t>(n);
    offset += n;
  }
  return true;
}

void RecoverInterruptedWrite(int fd) {
  char record[kJournalRoom];
  const ssize_t n = fgetxattr(fd, kJournalName, record, sizeof record);
  if (n < 0) return;  // nothing left behind (or no attributes here)
  struct stat facts {};
  if (static_cast<size_t>(n) >= kJournalHead && fstat(fd, &facts) == 0) {
    const uint64_t old_size = GetU64(record);
    const uint64_t offset = GetU64(record + 8);
    const size_t saved = static_cast<size_t>(n) - kJournalHead;
    // Only a record that fits the file is followed: a cut write leaves the
    // file at least as long as before, and the saved bytes end where it
    // ended. Anything else (a file changed by other means since) is left as
    // it is.
    const bool fits = offset <= old_size && old_size - offset == saved &&
                      static_cast<uint64_t>(facts.st_size) >= old_size;
    if (fits && ftruncate(fd, static_cast<off_t>(old_size)) == 0 && saved > 0) {
      (void)WriteWhole(fd, record + kJournalHead, saved, static_cast<off_t>(offset));
    }
  }
  (void)fremovexattr(fd, kJournalName);
}

bool JournaledWrite(int fd, const char *path, const void *bytes, size_t count, off_t offset,
                    uint64_t old_size) {
  const uint64_t at = offset < 0 ? old_size : static_cast<uint64_t>(offset);
  const size_t saved = old_size > at ? static_cast<size_t>(old_size - at) : 0;
  bool journaled = false;
  if (kJournalHead + saved <= kJournalRoom) {
    char record[kJournalRoom];
    PutU64(record, old_size);
    PutU64(record + 8, at);
    if (saved == 0 || ReadWhole(fd, record + kJournalHead, saved, static_cast<off_t>(at))) {
      journaled = fsetxattr(fd, kJournalName, record, kJournalHead + saved, 0) == 0;
    }
  }
  const LogTestHooks *hooks = g_hooks.load();
  if (hooks != nullptr && hooks->tear_writes && count >= 4) {
    // Half of the bytes, at an even count so that UTF-16 stays aligned.
    const size_t half = count / 4 * 2;
    if (!WriteWhole(fd, bytes, half, offset)) return false;
    ReachStep(AppendStep::kTorn, path);
    bytes = static_cast<const char *>(bytes) + half;
    count -= half;
    if (offset >= 0) offset += static_cast<off_t>(half);
  }
  if (!WriteWhole(fd, bytes, count, offset)) return false;
  if (journaled) (void)fremovexattr(fd, kJournalName);
  return true;
}

bool RotateIfFull(const char *path, uint64_t estimate, uint32_t max_size) {
  if (FileSizeOf(path) + estimate < max_size) return false;
  LogFileLock lock(path);
  if (!lock.ok()) return false;
  // Another appender may have rotated while this one waited for the lock.
  if (FileSizeOf(path) + estimate < max_size) return false;
  // A write cut short in the full log is undone before the log is kept aside.
  if (const int fd = open(path, O_RDWR | O_CLOEXEC); fd >= 0) {
    RecoverInterruptedWrite(fd);
    close(fd);
  }
  const String backup = BackupName(path);
  if (const LogTestHooks *hooks = g_hooks.load(); hooks != nullptr && hooks->before_backup_delete) {
    if (access(backup.c_str(), F_OK) == 0) hooks->before_backup_delete(backup.c_str());
  }
  (void)unlink(backup.c_str());
  return rename(path, backup.c_str()) == 0;
}

void SetLogTestHooksForTesting(const LogTestHooks *hooks) {
  g_hooks.store(hooks);
}

void ReachStep(AppendStep step, const char *path) {
  if (const LogTestHooks *hooks = g_hooks.load(); hooks != nullptr && hooks->at_step) {
    hooks->at_step(step, path);
  }
}

}  // namespace kx::log
