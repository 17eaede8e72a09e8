// Rotated logs: message prefixes, generation shifting and deletion.
#include "log/rotated_log.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <ctime>
#include <new>

#include "log/log_file.h"
#include "log/log_strings.h"

namespace kx::log {

namespace {

// Bytes of the joined prefix, of the time text and of a generation's name
// beyond the path.
constexpr size_t kPrefixRoom = 128;
constexpr size_t kTimeRoom = 64;
constexpr mode_t kRotatedFileMode = 0644;

String Generation(const char *path, uint32_t n) {
  char number[16];
  *std::to_chars(number, number + sizeof number - 1, n).ptr = 0;
  return String(path) + "." + number;
}

bool Exists(const String &path) {
  return access(path.c_str(), F_OK) == 0;
}

// "[%b %d %Y %H:%M:%S] " of the local time, or the text of what failed.
String TimePrefix() {
  const time_t now = time(nullptr);
  struct tm local {};
  if (localtime_r(&now, &local) == nullptr) return "[localtime error] ";
  char text[kTimeRoom];
  if (strftime(text, sizeof text, "[%b %d %Y %H:%M:%S] ", &local) == 0) return "[strftime error] ";
  return text;
}

// The rotation itself, for a path that is not null.
void ShiftGenerations(const char *path, uint32_t max_size, uint32_t rotate_count) {
  struct stat facts {};
  if (stat(path, &facts) != 0) return;
  if (static_cast<uint64_t>(facts.st_size) <= max_size) return;
  if (rotate_count == 0) {
    (void)unlink(path);
    return;
  }
  for (uint32_t n = rotate_count; n >= 2; --n) {
    const String older = Generation(path, n - 1);
    if (Exists(older)) (void)rename(older.c_str(), Generation(path, n).c_str());
  }
  (void)rename(path, Generation(path, 1).c_str());
}

// The deletion itself, for a path that is not null.
void DeleteGenerations(const char *path, uint32_t delete_generations, uint32_t rotate_count) {
  if (delete_generations == 1) {
    for (uint32_t n = rotate_count; n >= 1; --n) {
      const String generation = Generation(path, n);
      if (Exists(generation)) (void)unlink(generation.c_str());
    }
  }
  if (Exists(path)) (void)unlink(path);
}

}  // namespace

String RotatedPrefix(uint32_t options) {
  String prefix;
  if ((options & kRotatedTime) != 0) prefix += TimePrefix();
  if ((options & kRotatedIds) != 0) {
    // The thread identifier is the thread's pthread_t, as SMThreadGetID gives it.
    char ids[64];
    std::snprintf(ids, sizeof ids, "[%u:%llu] ", static_cast<unsigned>(getpid()),
                  static_cast<unsigned long long>(static_cast<uint64_t>(pthread_self())));
    prefix += ids;
  }
  if (prefix.size() >= kPrefixRoom) prefix.resize(kPrefixRoom - 1);
  return prefix;
}

Status FileLogMsgToRotatedLog(const char *message, const char *path, uint32_t max_size,
                              uint32_t rotate_count, uint32_t options) {
  if (message == nullptr || path == nullptr) return Status::kInvalidParameter;
  String line;
  try {
    line = RotatedPrefix(options);
    line += message;
    if ((options & kRotatedLineFeed) != 0) line += '\n';
  } catch (const std::bad_alloc &) {
    return Status::kNoMemory;
  }
  struct stat facts {};
  const mode_t mode = stat(path, &facts) == 0 ? facts.st_mode & 07777 : kRotatedFileMode;
  FileRotateCheck(path, max_size, rotate_count);
  const int fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  if (fd < 0) return Status::kError;
  if (fstat(fd, &facts) == 0 && (facts.st_mode & 07777) != mode) (void)fchmod(fd, mode);
  // One write: lines of callers that serialise themselves never interleave.
  const bool written = WriteWhole(fd, line.data(), line.size(), -1);
  close(fd);
  return written ? Status::kSuccess : Status::kError;
}

void FileRotateCheck(const char *path, uint32_t max_size, uint32_t rotate_count) {
  if (path == nullptr) return;
  try {
    ShiftGenerations(path, max_size, rotate_count);
  } catch (const std::bad_alloc &) {
    // Rotation failures are not reported; the append goes to the old file.
  }
}

void FileDeleteRotated(const char *path, uint32_t delete_generations, uint32_t rotate_count) {
  if (path == nullptr) return;
  try {
    DeleteGenerations(path, delete_generations, rotate_count);
  } catch (const std::bad_alloc &) {
    // Deletion reports nothing.
  }
}

}  // namespace kx::log
