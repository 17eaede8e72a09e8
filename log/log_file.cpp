// The event logs' file plumbing: the write lock, backup rotation, directory
// creation and whole writes.
#include "log/log_file.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>

namespace kx::log {

namespace {

std::atomic<const LogTestHooks *> g_hooks{nullptr};

}  // namespace

LogFileLock::LogFileLock(const char *path) : lock_(config::FileLockOpen(path)) {
  held_ =
      lock_ != nullptr && Ok(config::FileLockLock(lock_, config::kFileLockWrite, os::kWaitForever));
}

LogFileLock::~LogFileLock() {
  if (held_) (void)config::FileLockUnlock(lock_);
  config::FileLockClose(lock_);
}

std::string BackupName(const std::string &path) {
  std::string backup = path;
  if (!backup.empty()) backup.back() = '_';
  return backup;
}

uint64_t FileSizeOf(const char *path) {
  struct stat facts {};
  if (stat(path, &facts) != 0) return 0;
  return static_cast<uint64_t>(facts.st_size);
}

mode_t PermissionOf(const char *path) {
  struct stat facts {};
  if (stat(path, &facts) != 0) return kLogFileMode;
  return facts.st_mode & 07777;
}

bool MakeLogDirectory(const char *path) {
  const std::string text(path);
  const size_t slash = text.find_last_of('/');
  if (slash == std::string::npos || slash == 0) return true;  // the current or root directory
  const std::string directory = text.substr(0, slash);
  if (mkdir(directory.c_str(), 0755) == 0) return true;
  struct stat facts {};
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

bool RotateIfFull(const char *path, uint64_t estimate, uint32_t max_size) {
  if (FileSizeOf(path) + estimate < max_size) return false;
  LogFileLock lock(path);
  if (!lock.ok()) return false;
  // Another appender may have rotated while this one waited for the lock.
  if (FileSizeOf(path) + estimate < max_size) return false;
  const std::string backup = BackupName(path);
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
