// Locks, roll-back, temporary names and the crash-safe rewrite of shared
// configuration files. The rewrite never edits a file in place: a complete
// copy is written beside it (unnamed where the file system allows) and swapped
// in through the backup name, and every session first rolls back a swap that
// a dead writer left half done, so the old content wins.
#include "config/file_rewrite.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <new>

namespace kx::config {

namespace {

constexpr char kNameAlphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
constexpr int kNameLength = 8;
constexpr int kNameTries = 100;
constexpr int kMaxLinkHops = 40;

// The name generator: a per-process seed from the clock and the process id,
// taken again whenever the process id changes (after a fork), and a shared
// counter stepped through a mixing function, so that threads and processes
// started together draw different names.
std::atomic<pid_t> g_seed_pid{0};
std::atomic<uint64_t> g_seed{0};
std::atomic<uint64_t> g_draws{0};

uint64_t Mix(uint64_t x) {
  x += 0x9E3779B97F4A7C15ull;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
  return x ^ (x >> 31);
}

uint64_t NextRandom() {
  const pid_t pid = getpid();
  if (g_seed_pid.load(std::memory_order_acquire) != pid) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    uint64_t seed =
        Mix(static_cast<uint64_t>(now.tv_sec) * 1000000000ull + static_cast<uint64_t>(now.tv_nsec));
    g_seed.store(Mix(seed ^ (static_cast<uint64_t>(pid) << 32)), std::memory_order_relaxed);
    g_seed_pid.store(pid, std::memory_order_release);
  }
  return Mix(g_seed.load(std::memory_order_relaxed) +
             g_draws.fetch_add(1, std::memory_order_relaxed));
}

void DrawName(char name[kNameLength + 1]) {
  for (int i = 0; i < kNameLength; ++i) name[i] = kNameAlphabet[NextRandom() % 62];
  name[kNameLength] = '\0';
}

std::atomic<RewriteSeam> g_seam{nullptr};
std::atomic<bool> g_unnamed_copies{true};

void Report(RewriteStep step, uint64_t detail = 0) {
  if (RewriteSeam seam = g_seam.load(std::memory_order_acquire)) seam(step, detail);
}

// The directory part of a path: "." without a slash, "/" for a slash at the
// front only.
std::string DirectoryOf(const std::string &path) {
  size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

bool WriteAll(int fd, std::string_view content) {
  // Small pieces while a test watches, so that it can stop the writer inside
  // the copy; otherwise as few calls as the kernel allows.
  const size_t piece = g_seam.load(std::memory_order_acquire) != nullptr ? 512 : content.size();
  size_t written = 0;
  while (written < content.size()) {
    Report(RewriteStep::kTempWriting, written);
    size_t want = std::min(piece, content.size() - written);
    ssize_t done = write(fd, content.data() + written, want);
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) return false;
    written += static_cast<size_t>(done);
  }
  return true;
}

}  // namespace

Status GetTmpFile(const char *dir, char *name, uint32_t *size) {
  if (dir == nullptr || name == nullptr || size == nullptr) return Status::kInvalidArgs;
  if (*size <= kNameLength) {
    *size = kNameLength + 1;
    return Status::kBufferTooSmall;
  }
  try {
    for (int attempt = 0; attempt < kNameTries; ++attempt) {
      char candidate[kNameLength + 1];
      DrawName(candidate);
      std::string path = std::string(dir) + "/" + candidate;
      if (access(path.c_str(), F_OK) != 0) {
        std::memcpy(name, candidate, sizeof candidate);
        *size = kNameLength + 1;
        return Status::kSuccess;
      }
    }
  } catch (const std::bad_alloc &) {
    return Status::kNoMemory;
  }
  return Status::kError;
}

std::string BackupName(std::string_view path) {
  const size_t slash = path.rfind('/');
  const size_t final_start = slash == std::string_view::npos ? 0 : slash + 1;
  std::string backup;
  if (path.size() >= 251 && final_start <= 252) {
    // Long paths keep their first 252 bytes (as a 256-byte copy with "bak"
    // at 252 to 254 does), as long as the cut stays in the final component.
    backup.assign(path.substr(0, 252));
    backup.append("bak");
  } else if (size_t dot = path.rfind('.'); dot != std::string_view::npos && dot >= final_start) {
    backup.assign(path.substr(0, dot + 1));
    backup.append("bak");
  } else {
    backup.assign(path);
    backup.append(".bak");
  }
  // Never the file itself: renaming it "to its backup" would be a no-op and
  // removing the backup would remove the file.
  if (backup == path) backup.append(".bak");
  return backup;
}

std::string CanonicalPath(const std::string &path) {
  std::string current = path;
  for (int hop = 0; hop < kMaxLinkHops; ++hop) {
    const size_t slash = current.rfind('/');
    const std::string base = slash == std::string::npos ? current : current.substr(slash + 1);
    if (base.empty()) return current;
    char resolved[PATH_MAX];
    if (realpath(DirectoryOf(current).c_str(), resolved) == nullptr) return current;
    std::string directory = resolved;
    if (directory == "/") directory.clear();
    std::string candidate = directory + "/" + base;
    // Follow the file's own link text; a missing file (or one renamed away
    // to its backup name by a writer at this moment) is its own spelling.
    char link[PATH_MAX];
    ssize_t length = readlink(candidate.c_str(), link, sizeof link);
    if (length < 0 || static_cast<size_t>(length) >= sizeof link) return candidate;
    std::string target(link, static_cast<size_t>(length));
    current = target.front() == '/' ? target : directory + "/" + target;
  }
  return current;
}

Status MakeParentDirectory(const std::string &directory) {
  if (mkdir(directory.c_str(), 0755) == 0) return Status::kSuccess;
  struct stat info;
  return stat(directory.c_str(), &info) == 0 ? Status::kSuccess : Status::kError;
}

ConfigFileSession::~ConfigFileSession() {
  for (FileLockHandle *lock : {canonical_, given_}) {
    if (lock == nullptr) continue;
    (void)FileLockUnlock(lock);
    FileLockClose(lock);
  }
}

Status ConfigFileSession::Begin(const char *path, uint32_t mode, uint32_t flags) {
  const uint32_t timeout = FileLockTimeoutForFlags(flags);
  target_ = CanonicalPath(path);
  given_ = FileLockOpen(path);
  if (given_ == nullptr) return Status::kNoMemory;
  if (Status status = FileLockLock(given_, mode, timeout); !Ok(status)) {
    FileLockClose(given_);
    given_ = nullptr;
    return status;
  }
  if (target_ != path) {
    canonical_ = FileLockOpen(target_.c_str());
    if (canonical_ == nullptr) return Status::kNoMemory;
    if (Status status = FileLockLock(canonical_, mode, timeout); !Ok(status)) {
      FileLockClose(canonical_);
      canonical_ = nullptr;
      return status;
    }
  }
  // A writer that died between its two renames left the old content under
  // the backup name: it wins.
  const std::string backup = BackupName(target_);
  if (access(backup.c_str(), F_OK) == 0) rename(backup.c_str(), target_.c_str());
  return Status::kSuccess;
}

Status ReadConfigFile(const std::string &path, std::string *content, bool *exists) {
  content->clear();
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    *exists = errno != ENOENT;
    return *exists ? Status::kFileOpenFailed : Status::kSuccess;
  }
  *exists = true;
  struct stat info;
  if (fstat(fd, &info) == 0 && info.st_size > 0)
    content->reserve(static_cast<size_t>(info.st_size));
  char block[65536];
  for (;;) {
    ssize_t got = read(fd, block, sizeof block);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      close(fd);
      return Status::kReadFailed;
    }
    if (got == 0) break;
    content->append(block, static_cast<size_t>(got));
  }
  close(fd);
  return Status::kSuccess;
}

Status LoadConfigFile(const char *path, uint32_t flags, std::string *bytes) {
  ConfigFileSession session;
  if (Status status = session.Begin(path, kFileLockRead, flags); !Ok(status)) return status;
  bool exists = false;
  if (Status status = ReadConfigFile(session.target(), bytes, &exists); !Ok(status)) return status;
  return exists ? Status::kSuccess : Status::kFileOpenFailed;
}

namespace {

// The copy of a rewrite until it becomes the file. Where the file system
// allows, it is an unnamed file (O_TMPFILE) that gets its name only by being
// linked onto the path: a writer killed before that leaves nothing behind.
// Elsewhere it is a file with a fresh name beside the target, removed on
// every failure.
class RewriteCopy {
 public:
  ~RewriteCopy() {
    if (fd_ >= 0) close(fd_);
    if (!name_.empty()) unlink(name_.c_str());
  }

  // Statuses: 7 when no copy can be created, all ones when no name is free.
  Status Create(const std::string &directory, mode_t mode) {
    // Linking an unnamed file goes through its /proc entry.
    if (g_unnamed_copies.load(std::memory_order_relaxed) && access("/proc/self/fd", X_OK) == 0) {
      fd_ = open(directory.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode);
      if (fd_ >= 0) return Status::kSuccess;
      if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) return Status::kNotFound;
    }
    for (int attempt = 0; attempt < kNameTries; ++attempt) {
      char name[kNameLength + 1];
      DrawName(name);
      const std::string candidate = directory + "/" + name;
      fd_ = open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
      if (fd_ >= 0) {
        name_ = candidate;
        return Status::kSuccess;
      }
      if (errno != EEXIST) return Status::kNotFound;
    }
    return Status::kError;
  }

  int fd() const { return fd_; }

  // Closes a named copy (its last chance to report a write error); an
  // unnamed one stays open until it is linked.
  bool Finish() {
    if (name_.empty()) return true;
    const int fd = fd_;
    fd_ = -1;
    return close(fd) == 0;
  }

  // Puts the copy at `path`, which must not exist.
  bool MoveTo(const std::string &path) {
    if (!name_.empty()) {
      if (rename(name_.c_str(), path.c_str()) != 0) return false;
      name_.clear();
      return true;
    }
    char link[32];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd_);
    return linkat(AT_FDCWD, link, AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0;
  }

 private:
  int fd_ = -1;
  std::string name_;  // empty for an unnamed copy
};

}  // namespace

Status ReplaceConfigFile(const std::string &path, std::string_view content, bool existed) {
  mode_t mode = 0644;
  if (struct stat info; existed && stat(path.c_str(), &info) == 0) mode = info.st_mode & 07777;

  RewriteCopy copy;
  // A new file gets the creation mode a plain open would give it.
  if (Status status = copy.Create(DirectoryOf(path), existed ? 0600 : 0666); !Ok(status)) {
    return status;
  }
  if (existed) fchmod(copy.fd(), mode);
  Report(RewriteStep::kTempCreated);
  const bool written = WriteAll(copy.fd(), content);
  if (!copy.Finish() || !written) return Status::kWriteFailed;
  Report(RewriteStep::kTempWritten);

  const std::string backup = BackupName(path);
  if (existed) {
    if (rename(path.c_str(), backup.c_str()) != 0) return Status::kError;
    Report(RewriteStep::kFileMovedToBackup);
  }
  if (!copy.MoveTo(path)) {
    if (existed) rename(backup.c_str(), path.c_str());
    return Status::kInUse;
  }
  Report(RewriteStep::kTempMovedToFile);
  if (existed && unlink(backup.c_str()) != 0) return Status::kAccessDenied;
  Report(RewriteStep::kBackupRemoved);
  return Status::kSuccess;
}

void SetRewriteSeam(RewriteSeam seam) {
  g_seam.store(seam, std::memory_order_release);
}

void SetUnnamedCopiesForTesting(bool allowed) {
  g_unnamed_copies.store(allowed, std::memory_order_relaxed);
}

}  // namespace kx::config
