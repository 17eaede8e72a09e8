// Rotated logs: plain 8-bit text logs of any component, one message line per
// call with optional time and process/thread prefixes, kept below a size by
// shifting the file through numbered generations ("path.1" the newest old
// generation, "path.N" the oldest). No lock is taken: callers that share a
// file serialise themselves.
#pragma once

#include <cstdint>
#include <string>

#include "base/status.h"
#include "log/log_strings.h"

namespace kx::log {

// Message options.
inline constexpr uint32_t kRotatedTime = 1;      // "[%b %d %Y %H:%M:%S] "
inline constexpr uint32_t kRotatedIds = 2;       // "[<pid>:<thread id>] "
inline constexpr uint32_t kRotatedLineFeed = 4;  // "\n" after the message

// The prefix of a message for `options`: the time (or "[localtime error] " /
// "[strftime error] " in its place) before the identifiers, cut at 127 bytes.
String RotatedPrefix(uint32_t options);

// SMFileLogMsgToRotatedLog: rotation check, then prefix, message and suffix
// appended to `path` (created as needed) with the file's permission bits
// kept (0644 for a new file). 271 for a null message or path; all ones when
// the file cannot be opened or written.
Status FileLogMsgToRotatedLog(const char *message, const char *path, uint32_t max_size,
                              uint32_t rotate_count, uint32_t options);

// SMFileRotateCheck: when the file is larger than `max_size` (equal does not
// rotate), deletes it (count 0) or shifts path.(n-1) to path.n for n from the
// count down to 2 and the file to path.1. Failures are ignored.
void FileRotateCheck(const char *path, uint32_t max_size, uint32_t rotate_count);

// SMFileDeleteRotated: with `delete_generations` 1 deletes path.N down to
// path.1 first; then deletes the file itself.
void FileDeleteRotated(const char *path, uint32_t delete_generations, uint32_t rotate_count);

}  // namespace kx::log
