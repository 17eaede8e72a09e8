// Files and directories: copying and appending one file to another, making and
// removing directories, a file's size and its deletion. Paths are plain byte
// strings handed straight to the system; nothing here takes a lock, so callers
// that share a file between processes hold the library's file lock around it.
#pragma once

#include <cstdint>

#include "base/status.h"

namespace kx::os {

// Copies src over dest (created or truncated) and gives dest src's permission
// bits. Statuses: kInvalidArgs for a null path; kNotFound when src cannot be
// opened or is a directory; kSameFile when both name one file; kCreateFailed
// when dest cannot be opened (kWriteFailed when the disk is full); kNoMemory;
// kReadFailed when reading src fails; kWriteFailed when a write, the flush or
// the close of dest fails.
Status FileCopy(const char *src, const char *dest);
// FileCopy that also flushes dest to disk before closing it.
Status FileCopyAndSync(const char *src, const char *dest);
// Appends src to dest (created when missing); with copy_permissions non-zero
// dest then gets src's permission bits. Statuses as for FileCopy.
Status FileAppend(const char *src, const char *dest, int32_t copy_permissions);
// FileAppend that also flushes dest to disk before closing it.
Status FileAppendAndSync(const char *src, const char *dest, int32_t copy_permissions);

// Makes a directory with permission 0755. kSuccess when the path exists
// afterwards (whatever it is, when the system says it already existed),
// kError otherwise.
Status MkDir(const char *path);
// Removes an empty directory. kOsFailure when it is not empty, kNotAvailable
// when it does not exist, kError for any other failure (a null path included).
Status RmDir(const char *path);
// Stores the size of the file at path in *size (set to 0 first). kNotFound
// when the file cannot be opened or is a directory, kOverflow when the size
// does not fit 32 bits, kError when it cannot be measured, kInvalidParameter
// for a null argument.
Status GetSizeOfFile(const char *path, uint32_t *size);
// Unlinks a file: kSuccess, or kError when it cannot be unlinked.
Status DeleteFile(const char *path);

}  // namespace kx::os
