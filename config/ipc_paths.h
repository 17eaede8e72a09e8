// The IPC layer's names: the IPC directory and the key-registry file and lock
// built from the registry's data directory, the MD5 name digest, the one
// allocation that holds an IPC handle with its operating-system name, and the
// access-rights word's permission bits. Shared by the file lock, the named
// IPC objects and the key registry.
//
// The paths are built on first use and kept until the product registry
// detaches (they derive from it); BuildIpcPaths is the path part of the IPC
// layer's attach step, which may build them eagerly instead.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/status.h"

namespace kx::config {

// Kind words at the head of every IPC handle.
enum IpcKind : uint32_t {
  kIpcMutex = 1,
  kIpcSemaphore = 2,
  kIpcSharedMemory = 3,
  kIpcEvent = 4,
  kIpcRwLock = 5,
  kIpcFileLock = 6,
};

// The three process-wide paths: "<data dir>/.ipc", "<ipc dir>/.lxsuptIPCini"
// and that file's name followed by "Sem".
struct IpcPaths {
  std::string directory;
  std::string registry_file;
  std::string registry_lock;
};

// The paths, built on first use; null when the registry names no data
// directory ("mernex.vardatapath", else "dulo.vardatapath").
const IpcPaths *CurrentIpcPaths();
// Builds (or rebuilds) the paths now; false when there is no data directory.
bool BuildIpcPaths();
// Forgets the paths; the next use builds them again.
void ResetIpcPaths();

// Creates the IPC directory (and any missing parent, mode 0755) when it is
// missing. 0, 256 without IPC paths, all ones when it cannot be created.
Status EnsureIpcDirectory();

// Digest buffer: 32 upper-case hexadecimal digits and the terminator.
inline constexpr uint32_t kNameDigestSize = 33;

// The MD5 digest of `name` including its terminating zero byte, as 32
// upper-case hexadecimal digits. 271 for a null name or size; 16 (size set to
// 33) when *size is 32 or less; on success *size is 33.
Status NameDigest(const char *name, char *digest, uint32_t *size);

// The head that every IPC handle starts with.
struct IpcHandleHead {
  uint32_t kind;
  const char *name;  // the operating-system name behind the fields; null when unnamed
};

// Longest operating-system name, terminator included.
inline constexpr size_t kIpcNameRoom = 256;

// The operating-system name of `name` for a kind: the lock-file path
// "<ipc dir>/.<prefix><digest>" for mutexes and file locks, "<prefix><digest>"
// for the others. False for an empty or null name, an unknown kind, missing
// IPC paths or a name longer than kIpcNameRoom with its terminator.
bool IpcObjectName(const char *name, uint32_t kind, std::string *os_name);

// One allocation of `fields_size` bytes (zeroed, starting with an
// IpcHandleHead holding `kind`) followed by the operating-system name, to
// which the head's name points. A null name gives an unnamed handle (name
// null). Null for an empty name, any naming failure or no memory. Freed with
// the library's memory release.
void *BuildIpcHandle(const char *name, size_t fields_size, uint32_t kind);

// Unix permission bits of an access-rights word: all ones 0664, 0 0600;
// otherwise owner, group and other from the nibbles at bits 24, 16 and 8 (bit
// 0 grants rwx at once, else bit 1 read, bit 2 write, bit 3 execute).
mode_t PermissionFromAccessRights(uint32_t word);

}  // namespace kx::config
