// Copy and append over one routine that streams the source through an 8192-byte
// buffer, plus the directory, size and delete calls. Every status is decided
// here; the exported entries only forward.
#include "os/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "base/memory.h"

namespace kx::os {

namespace {

constexpr uint32_t kCopyBufferSize = 8192;
// The permission bits a copy carries over: read, write and execute for owner,
// group and others. Set-ID and sticky bits are not copied.
constexpr mode_t kPermissionBits = 0777;
constexpr mode_t kNewDirectoryMode = 0755;

enum class DestMode { kTruncate, kAppend };

// An open descriptor closed on scope exit unless Close() took it first.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  bool valid() const { return fd_ >= 0; }
  int get() const { return fd_; }
  // Closes now and reports whether the close succeeded (a delayed write error
  // shows up here).
  bool Close() {
    const int fd = fd_;
    fd_ = -1;
    return close(fd) == 0;
  }

 private:
  int fd_;
};

struct FreeMemDeleter {
  void operator()(void *block) const { base::FreeMem(block); }
};

// Reads up to size bytes, retrying an interrupted read. Bytes read, 0 at the
// end, -1 on failure.
ssize_t ReadRetrying(int fd, char *buffer, size_t size) {
  for (;;) {
    const ssize_t got = read(fd, buffer, size);
    if (got >= 0 || errno != EINTR) return got;
  }
}

// Writes all size bytes, retrying interruptions and continuing short writes.
// False when the system refuses a write or accepts nothing.
bool WriteWhole(int fd, const char *buffer, size_t size) {
  while (size > 0) {
    const ssize_t put = write(fd, buffer, size);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    buffer += put;
    size -= static_cast<size_t>(put);
  }
  return true;
}

// The one routine behind copy and append. A source that is a directory cannot
// be read as a file and counts as not found; a destination that is the source
// itself is refused before it is opened, since opening it would truncate (or
// endlessly extend) the source.
Status CopyOrAppend(const char *src, const char *dest, DestMode mode, bool copy_permissions,
                    bool sync) {
  if (src == nullptr || dest == nullptr) return Status::kInvalidArgs;

  Descriptor in(open(src, O_RDONLY | O_CLOEXEC));
  if (!in.valid()) return Status::kNotFound;
  struct stat src_info;
  if (fstat(in.get(), &src_info) != 0 || S_ISDIR(src_info.st_mode)) return Status::kNotFound;
  struct stat dest_info;
  if (stat(dest, &dest_info) == 0 && dest_info.st_dev == src_info.st_dev &&
      dest_info.st_ino == src_info.st_ino) {
    return Status::kSameFile;
  }

  const mode_t permissions = src_info.st_mode & kPermissionBits;
  const int flags =
      O_RDWR | O_CREAT | O_CLOEXEC | (mode == DestMode::kTruncate ? O_TRUNC : O_APPEND);
  Descriptor out(open(dest, flags, permissions));
  if (!out.valid()) return errno == ENOSPC ? Status::kWriteFailed : Status::kCreateFailed;

  std::unique_ptr<char, FreeMemDeleter> buffer(
      static_cast<char *>(base::AllocMem(kCopyBufferSize)));
  if (buffer == nullptr) return Status::kNoMemory;
  for (;;) {
    const ssize_t got = ReadRetrying(in.get(), buffer.get(), kCopyBufferSize);
    if (got < 0) return Status::kReadFailed;
    if (got == 0) break;
    if (!WriteWhole(out.get(), buffer.get(), static_cast<size_t>(got))) {
      return Status::kWriteFailed;
    }
  }

  // The bits may not be changeable (a destination owned by someone else that
  // we may append to): the data is in place, so that is not a failure.
  if (copy_permissions) (void)fchmod(out.get(), permissions);
  if (sync && fsync(out.get()) != 0) return Status::kWriteFailed;
  if (!out.Close()) return Status::kWriteFailed;
  return Status::kSuccess;
}

}  // namespace

Status FileCopy(const char *src, const char *dest) {
  return CopyOrAppend(src, dest, DestMode::kTruncate, true, false);
}

Status FileCopyAndSync(const char *src, const char *dest) {
  return CopyOrAppend(src, dest, DestMode::kTruncate, true, true);
}

Status FileAppend(const char *src, const char *dest, int32_t copy_permissions) {
  return CopyOrAppend(src, dest, DestMode::kAppend, copy_permissions != 0, false);
}

Status FileAppendAndSync(const char *src, const char *dest, int32_t copy_permissions) {
  return CopyOrAppend(src, dest, DestMode::kAppend, copy_permissions != 0, true);
}

Status MkDir(const char *path) {
  if (path == nullptr) return Status::kError;
  if (mkdir(path, kNewDirectoryMode) == 0 || errno == EEXIST) return Status::kSuccess;
  // Another reason (a read-only file system, say) may still leave the path in
  // place: what the caller needs is that it exists.
  struct stat info;
  return stat(path, &info) == 0 ? Status::kSuccess : Status::kError;
}

Status RmDir(const char *path) {
  if (path == nullptr) return Status::kError;
  if (rmdir(path) == 0) return Status::kSuccess;
  switch (errno) {
    case ENOTEMPTY:
    case EEXIST:  // what some file systems report for a non-empty directory
      return Status::kOsFailure;
    case ENOENT:
      return Status::kNotAvailable;
    default:
      return Status::kError;
  }
}

Status GetSizeOfFile(const char *path, uint32_t *size) {
  if (size != nullptr) *size = 0;
  if (path == nullptr || size == nullptr) return Status::kInvalidParameter;
  Descriptor file(open(path, O_RDONLY | O_CLOEXEC));
  if (!file.valid()) return Status::kNotFound;
  struct stat info;
  if (fstat(file.get(), &info) != 0 || S_ISDIR(info.st_mode)) return Status::kNotFound;
  const off_t end = lseek(file.get(), 0, SEEK_END);
  if (end < 0) return Status::kError;
  if (static_cast<uint64_t>(end) > UINT32_MAX) return Status::kOverflow;
  *size = static_cast<uint32_t>(end);
  return Status::kSuccess;
}

Status DeleteFile(const char *path) {
  if (path == nullptr || unlink(path) != 0) return Status::kError;
  return Status::kSuccess;
}

}  // namespace kx::os
