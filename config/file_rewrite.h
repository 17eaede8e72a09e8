// Shared-file discipline of the configuration files (INI and property files):
// the file locks held around each access, the roll-back of a rewrite that a
// dead writer left half done, temporary names, and the crash-safe rewrite
// that swaps a complete copy in through the backup name.
//
// A file is reached under two spellings. The lock keyed by the path as given
// is the one other processes of the host know; a second lock keyed by the
// canonical path (directory resolved, the file's own links followed) makes
// "/x/a.ini", "/x/./a.ini" and a link to it exclude each other. It is always
// taken second, so the order is fixed. File operations act on the canonical
// path, so a write through a symbolic link updates its target and keeps the
// link.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"
#include "config/file_lock.h"

namespace kx::config {

// SMGetTmpFile: an 8-character name from [a-zA-Z0-9] that does not exist in
// `dir`, written to `name` (*size bytes of room, 9 out). The generator is
// seeded per process (again after a fork) from the clock and the process id.
// Statuses: 2 for null arguments; 16 (size 9) when *size is 8 or less; all
// ones when 100 names are all taken.
Status GetTmpFile(const char *dir, char *name, uint32_t *size);

// The backup name of a path: everything after the last '.' of the final
// component replaced by "bak" ("/x/a.ini" -> "/x/a.bak"), ".bak" appended
// when the final component has no dot. A path of 252 bytes or more keeps its
// first 252 bytes and ends in "bak". A name that would be the path itself
// (as for "/x/a.bak") gets ".bak" appended instead.
std::string BackupName(std::string_view path);

// The canonical spelling of a path: its directory resolved, then the file's
// own link text followed (again and again, at most 40 links). The file
// itself need not exist. A path whose directory cannot be resolved is kept as
// given.
std::string CanonicalPath(const std::string &path);

// Creates the directory part of `path` when it is missing (one level, mode
// 0755). 0 when the directory exists afterwards, all ones otherwise.
Status MakeParentDirectory(const std::string &directory);

// The locks of one access to a configuration file. Begin takes the lock of
// the path as given, then that of the canonical path (when it differs), in
// `mode`, waiting per the caller's flags (1 waits, anything else tries once);
// then rolls back a rewrite left half done. The destructor releases both in
// reverse order.
class ConfigFileSession {
 public:
  ConfigFileSession() = default;
  ~ConfigFileSession();
  ConfigFileSession(const ConfigFileSession &) = delete;
  ConfigFileSession &operator=(const ConfigFileSession &) = delete;

  // Statuses: 272 when a lock cannot be made, else the lock's status.
  Status Begin(const char *path, uint32_t mode, uint32_t flags);
  // Where the file's bytes live: the canonical path.
  const std::string &target() const { return target_; }

 private:
  FileLockHandle *given_ = nullptr;
  FileLockHandle *canonical_ = nullptr;
  std::string target_;
};

// Reads the whole file. `exists` tells whether it is there; a file that is
// there but cannot be opened is 260, a read error 261.
Status ReadConfigFile(const std::string &path, std::string *content, bool *exists);

// The file's bytes, read under a read-mode session (both locks taken, a
// half-done rewrite rolled back first). Statuses: 260 when the file is
// absent or cannot be opened, 261 on a read error, 272 or the lock's status
// when the locks cannot be taken.
Status LoadConfigFile(const char *path, uint32_t flags, std::string *bytes);

// Replaces the file's content: a complete copy goes into a fresh temporary
// file in the same directory (with the file's permission bits, 0644 when they
// cannot be read; a new file gets the default creation mode), then the file
// moves to its backup name, the copy moves onto the file and the backup is
// removed. The copy is an unnamed file, linked onto the path, where the file
// system allows: a writer killed at any step leaves no temporary file. A reader always finds the
// old or the new content; a writer killed half way leaves a state that the next session rolls back
// to the old content. Statuses: all ones when no temporary name is free or the file cannot move to
// its backup name; 7 when the temporary file cannot be created; 19 when it cannot be written; 258
// when it cannot move onto the file; 270 when the backup cannot be removed.
Status ReplaceConfigFile(const std::string &path, std::string_view content, bool existed);

// The steps of a rewrite, reported to the test seam.
enum class RewriteStep {
  kTempCreated,        // the empty temporary file exists
  kTempWriting,        // before each piece of content; detail = bytes written so far
  kTempWritten,        // the copy is complete and closed
  kFileMovedToBackup,  // the file is under its backup name
  kTempMovedToFile,    // the copy is the file; the backup still exists
  kBackupRemoved,      // done
};

// Test seam: when set, called at each step of every rewrite of this process
// (a test stops the writer there, for example with SIGKILL). Null turns it
// off.
using RewriteSeam = void (*)(RewriteStep step, uint64_t detail);
void SetRewriteSeam(RewriteSeam seam);

// Test seam: false makes every rewrite use a named copy, as on a file system
// without unnamed files.
void SetUnnamedCopiesForTesting(bool allowed);

}  // namespace kx::config
