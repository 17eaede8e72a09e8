// The IPC key registry file and semaphore-set creation. Every read and write
// of the registry goes through the INI engine (which guards each call with
// the file lock of the registry's path); a key allocation holds the
// registry lock around its read-allocate-write sequence so that two
// processes never hand out the same key.
#include "ipc/key_registry.h"

#include <errno.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>

#include "config/file_lock.h"
#include "config/file_rewrite.h"
#include "config/ini.h"
#include "config/ini_text.h"
#include "config/ini_values.h"
#include "config/ipc_paths.h"
#include "ipc/sysv.h"
#include "log/system_log.h"

namespace kx::ipc {

namespace {

// INI value types used here: text, unsigned 32-bit, unsigned 64-bit.
constexpr uint32_t kIniText = 1;
constexpr uint32_t kIniUint32 = 5;
constexpr uint32_t kIniUint64 = 7;
// Wait for the INI engine's file lock without limit.
constexpr uint32_t kIniWait = 1;

constexpr char kOutOfMemoryMessage[] =
    "A semaphore set could not be created because the system has not enough memory for the new "
    "data structure\n";
constexpr char kSetLimitMessage[] =
    "A semaphore set has to be created but the system limit for the maximum number of semaphore "
    "sets has been exceeded\n";

// The registry lock (a file lock named after the registry file plus "Sem"),
// taken for writing, or for reading when writing is refused, for a scope.
class RegistryLock {
 public:
  explicit RegistryLock(const config::IpcPaths &paths)
      : lock_(config::FileLockOpen(paths.registry_lock.c_str())) {
    if (lock_ == nullptr) return;
    held_ = Ok(config::FileLockLock(lock_, config::kFileLockWrite, os::kWaitForever)) ||
            Ok(config::FileLockLock(lock_, config::kFileLockRead, os::kWaitForever));
  }
  ~RegistryLock() {
    if (held_) (void)config::FileLockUnlock(lock_);
    config::FileLockClose(lock_);
  }
  RegistryLock(const RegistryLock &) = delete;
  RegistryLock &operator=(const RegistryLock &) = delete;

  bool held() const { return held_; }

 private:
  config::FileLockHandle *lock_;
  bool held_ = false;
};

// A listed key that is a decimal unsigned 32-bit number; false otherwise.
bool ParseKey(std::string_view text, uint32_t *key) {
  if (text.empty()) return false;
  uint64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + static_cast<uint64_t>(c - '0');
    if (value > UINT32_MAX) return false;
  }
  *key = static_cast<uint32_t>(value);
  return true;
}

// The names of a NUL-separated list in `buffer` (at most `size` bytes), up to
// the closing empty name.
std::vector<std::string_view> SplitList(const char *buffer, size_t size) {
  std::vector<std::string_view> names;
  size_t at = 0;
  while (at < size && buffer[at] != '\0') {
    const size_t length = strnlen(buffer + at, size - at);
    names.emplace_back(buffer + at, length);
    at += length + 1;
  }
  return names;
}

// The key for a name that has none yet, from the registry's bytes: one more
// than the largest key of the numeric section, found in one pass over its
// key list. The first key when the section is absent; 0 when the list cannot
// be read or the next key would wrap.
uint32_t NextKey(std::string_view bytes) {
  std::vector<std::string_view> keys;
  const Status status = config::ListIniKeys(bytes, kKeySection, &keys);
  if (status == Status::kEndOfFile) return kKeyFloor + 1;
  // A numeric section without keys is an empty list: the scan below starts
  // at the first key, so such a registry gives the second key first.
  if (!Ok(status) && status != Status::kEntryNotFound) return 0;
  uint32_t largest = kKeyFloor + 1;
  for (std::string_view text : keys) {
    uint32_t key = 0;
    if (ParseKey(text, &key) && key > largest) largest = key;
  }
  const uint32_t next = largest + 1;  // wraps to 0 after the last key
  return next > kKeyFloor ? next : 0;
}

// The registry's text with a new name's two entries: the name with its key
// in the name section, then the key in decimal with the name in the numeric
// section, each placed as a write of the INI engine places it. False when
// not even the first entry can be placed.
bool AddKeyEntries(std::string_view bytes, bool existed, const char *os_name, uint32_t key,
                   std::string *edited) {
  std::string key_text;
  if (!Ok(config::IniValueToText(kIniUint32, &key, sizeof key, &key_text))) return false;
  std::string named;
  if (!Ok(config::EditIni(bytes, existed, kNameSection, os_name, key_text.c_str(), &named))) {
    return false;
  }
  char decimal[17];
  std::snprintf(decimal, sizeof decimal, "%u", key);
  // Should the numeric entry not fit, the name keeps its key without it and
  // the next allocation may hand that key out again; the name entry is what
  // every later lookup reads.
  if (!Ok(config::EditIni(named, true, kKeySection, decimal, os_name, edited))) {
    *edited = std::move(named);
  }
  return true;
}

void ReportSetCreationFailure(int error) {
  if (error == ENOMEM) (void)log::ReportLibraryEvent(kOutOfMemoryMessage);
  if (error == ENOSPC) (void)log::ReportLibraryEvent(kSetLimitMessage);
}

// Lists an unnamed set under its identifier with the creating process.
void RecordUnnamedSet(int set_id) {
  const config::IpcPaths *paths = config::CurrentIpcPaths();
  if (paths == nullptr) return;
  RegistryLock lock(*paths);
  if (!lock.held()) return;
  char entry[16];
  std::snprintf(entry, sizeof entry, "%d", set_id);
  const uint64_t pid = static_cast<uint64_t>(getpid());
  (void)config::WriteINIPathFileValue(kSetSection, entry, kIniUint64, &pid, sizeof pid,
                                      paths->registry_file.c_str(), kIniWait);
}

// Creation proper; `depth` bounds the retries that step around identifier 0.
int CreateSet(uint32_t key, int count, uint32_t access_rights, int initial, int depth) {
  const mode_t permission = config::PermissionFromAccessRights(access_rights);
  const key_t system_key = static_cast<key_t>(key);
  int set_id =
      Sysv().semget(system_key, count, static_cast<int>(permission) | IPC_CREAT | IPC_EXCL);
  const bool created = set_id >= 0;
  if (!created) {
    const int error = errno;
    if (error != EEXIST) {
      ReportSetCreationFailure(error);
      return 0;
    }
    set_id = Sysv().semget(system_key, 0, 0600);
    if (set_id < 0) return 0;
  }
  if (created && set_id == 0) {
    // Identifier 0 means "no object" everywhere else in the library. Hold the
    // slot with a private placeholder so that the retry gets another one.
    (void)RemoveSemaphoreSet(0);
    if (depth >= 4) return 0;
    const int placeholder = Sysv().semget(IPC_PRIVATE, 1, IPC_CREAT | IPC_EXCL | 0600);
    const int retried = CreateSet(key, count, access_rights, initial, depth + 1);
    if (placeholder >= 0) (void)RemoveSemaphoreSet(placeholder);
    return retried;
  }
  if (!SetSemaphoreValue(set_id, initial)) {
    if (created) (void)RemoveSemaphoreSet(set_id);
    return 0;
  }
  if (key == 0) RecordUnnamedSet(set_id);
  return set_id;
}

// True while a process with this id exists.
bool ProcessExists(uint64_t pid) {
  char path[256];
  std::snprintf(path, sizeof path, "/proc/%llu", static_cast<unsigned long long>(pid));
  return access(path, F_OK) == 0;
}

// A key lookup once the registry lock is held: the name's recorded key, or
// a new one recorded for it; 0 on failure. The file is read once and, for a
// new name, rewritten once, all in one session of the INI engine's write lock.
uint32_t KeyUnderLock(const char *file, const char *os_name) {
  config::ConfigFileSession session;
  if (!Ok(session.Begin(file, config::kFileLockWrite, kIniWait))) return 0;
  std::string bytes;
  bool existed = false;
  if (!Ok(config::ReadConfigFile(session.target(), &bytes, &existed))) return 0;
  std::string edited;
  bool added = false;
  const uint32_t key = KeyInRegistryText(bytes, existed, os_name, &edited, &added);
  if (key == 0 || !added) return key;
  return Ok(config::ReplaceConfigFile(session.target(), edited, existed)) ? key : 0;
}

// The clean-up proper; may throw when memory runs out.
std::vector<StaleSet> RemoveStaleSets() {
  std::vector<StaleSet> stale;
  const config::IpcPaths *paths = config::CurrentIpcPaths();
  if (paths == nullptr) return stale;
  const char *file = paths->registry_file.c_str();
  // No registry, nothing listed: and attach leaves the IPC directory to be
  // made on first use.
  if (access(file, F_OK) != 0) return stale;
  // One read of every entry into a fixed buffer; a list that does not fit
  // is worked on as far as it was copied, and the rest waits for a later
  // clean-up.
  std::string list(8193, '\0');
  uint32_t size = static_cast<uint32_t>(list.size());
  const Status status = config::ReadINIPathFileValue(kSetSection, nullptr, kIniText, list.data(),
                                                     &size, nullptr, 0, file, kIniWait);
  if (!Ok(status) && status != Status::kBufferTooSmall) return stale;
  for (std::string_view name : SplitList(list.data(), list.size() - 1)) {
    const std::string entry(name);
    uint64_t creator = 0;
    uint32_t value_size = sizeof creator;
    if (!Ok(config::ReadINIPathFileValue(kSetSection, entry.c_str(), kIniUint64, &creator,
                                         &value_size, nullptr, 0, file, kIniWait))) {
      continue;
    }
    if (ProcessExists(creator)) continue;
    StaleSet found{entry, creator, false};
    uint32_t set_id = 0;
    if (ParseKey(entry, &set_id) && RemoveSemaphoreSet(static_cast<int>(set_id))) {
      (void)config::WriteINIPathFileValue(kSetSection, entry.c_str(), kIniText, nullptr, 0, file,
                                          kIniWait);
      found.removed = true;
    }
    stale.push_back(std::move(found));
  }
  return stale;
}

}  // namespace

uint32_t KeyInRegistryText(std::string_view bytes, bool existed, const char *os_name,
                           std::string *edited, bool *added) {
  *added = false;
  uint32_t next = kKeyFloor + 1;  // no registry file yet: the first key
  if (existed) {
    std::string_view text;
    if (Ok(config::FindIniValue(bytes, kNameSection, os_name, &text))) {
      uint32_t key = 0;
      uint32_t size = sizeof key;
      // A value that is not a key is allocated afresh, like a missing one.
      if (Ok(config::IniTextToValue(kIniUint32, text, &key, &size))) return key;
    }
    next = NextKey(bytes);
    if (next == 0) return 0;
  }
  if (!AddKeyEntries(bytes, existed, os_name, next, edited)) return 0;
  *added = true;
  return next;
}

uint32_t KeyForName(const char *os_name) {
  const config::IpcPaths *paths = config::CurrentIpcPaths();
  if (os_name == nullptr || paths == nullptr) return 0;
  RegistryLock lock(*paths);
  if (!lock.held()) return 0;
  try {
    return KeyUnderLock(paths->registry_file.c_str(), os_name);
  } catch (const std::bad_alloc &) {
    return 0;
  }
}

int CreateSemaphoreSet(uint32_t key, int count, uint32_t access_rights, int initial) {
  return CreateSet(key, count, access_rights, initial, 0);
}

void ForgetSemaphoreSet(int set_id) {
  const config::IpcPaths *paths = config::CurrentIpcPaths();
  if (paths == nullptr) return;
  RegistryLock lock(*paths);
  if (!lock.held()) return;
  char entry[16];
  std::snprintf(entry, sizeof entry, "%u", static_cast<unsigned>(set_id));
  (void)config::WriteINIPathFileValue(kSetSection, entry, kIniText, nullptr, 0,
                                      paths->registry_file.c_str(), kIniWait);
}

std::vector<StaleSet> RemoveStaleSemaphoreSets() {
  try {
    return RemoveStaleSets();
  } catch (const std::bad_alloc &) {
    return {};
  }
}

int IpcAttach() {
  if (!config::BuildIpcPaths()) return 0;
  (void)RemoveStaleSemaphoreSets();
  return 1;
}

void IpcDetach() {
  config::ResetIpcPaths();
}

}  // namespace kx::ipc
