// IPC names: the paths under the registry's data directory, the MD5 name
// digest, handle allocation with the operating-system name behind the fields,
// and access-rights words.
#include "config/ipc_paths.h"

#include <errno.h>
#include <pthread.h>
#include <sys/stat.h>

#include <atomic>
#include <cstring>
#include <new>

#include "base/memory.h"
#include "codec/md5.h"
#include "config/registry.h"

namespace kx::config {

namespace {

pthread_mutex_t g_paths_lock = PTHREAD_MUTEX_INITIALIZER;
std::atomic<IpcPaths *> g_paths{nullptr};

class PathsLock {
 public:
  PathsLock() { pthread_mutex_lock(&g_paths_lock); }
  ~PathsLock() { pthread_mutex_unlock(&g_paths_lock); }
  PathsLock(const PathsLock &) = delete;
  PathsLock &operator=(const PathsLock &) = delete;
};

// The data directory: "mernex.vardatapath", else "dulo.vardatapath".
bool DataDirectory(std::string *directory) {
  for (int32_t product : {kProductMernex, kProductDulo}) {
    if (Ok(LookupRegistryPath(product, kPathVarData, directory)) && !directory->empty()) {
      return true;
    }
  }
  return false;
}

// Builds and publishes the paths; the caller holds the paths lock.
bool BuildLocked() {
  try {
    std::string data;
    if (!DataDirectory(&data)) return false;
    auto *paths = new IpcPaths;
    paths->directory = data + "/.ipc";
    paths->registry_file = paths->directory + "/.lxsuptIPCini";
    paths->registry_lock = paths->registry_file + "Sem";
    delete g_paths.exchange(paths, std::memory_order_acq_rel);
    return true;
  } catch (const std::bad_alloc &) {
    return false;
  }
}

const char *KindPrefix(uint32_t kind) {
  switch (kind) {
    case kIpcMutex:
      return "kxsupmtx";
    case kIpcSemaphore:
      return "kxsupsmp";
    case kIpcSharedMemory:
      return "kxsupshm";
    case kIpcEvent:
      return "kxsupevt";
    case kIpcRwLock:
      return "kxsuprwl";
    case kIpcFileLock:
      return "kxsupflk";
    default:
      return nullptr;
  }
}

}  // namespace

const IpcPaths *CurrentIpcPaths() {
  if (IpcPaths *paths = g_paths.load(std::memory_order_acquire)) return paths;
  PathsLock lock;
  if (g_paths.load(std::memory_order_acquire) == nullptr) BuildLocked();
  return g_paths.load(std::memory_order_acquire);
}

bool BuildIpcPaths() {
  PathsLock lock;
  return BuildLocked();
}

void ResetIpcPaths() {
  PathsLock lock;
  delete g_paths.exchange(nullptr, std::memory_order_acq_rel);
}

Status EnsureIpcDirectory() {
  const IpcPaths *paths = CurrentIpcPaths();
  if (paths == nullptr) return Status::kNotAvailable;
  struct stat info;
  if (stat(paths->directory.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return Status::kSuccess;
  // Create each missing level; a level made meanwhile by another process is fine.
  const std::string &dir = paths->directory;
  for (size_t at = dir.find('/', 1);; at = dir.find('/', at + 1)) {
    std::string level = dir.substr(0, at);
    if (mkdir(level.c_str(), 0755) != 0 && errno != EEXIST) return Status::kError;
    if (at == std::string::npos) break;
  }
  if (stat(dir.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return Status::kSuccess;
  return Status::kError;
}

Status NameDigest(const char *name, char *digest, uint32_t *size) {
  if (name == nullptr || digest == nullptr || size == nullptr) return Status::kInvalidParameter;
  if (*size < kNameDigestSize) {
    *size = kNameDigestSize;
    return Status::kBufferTooSmall;
  }
  SMRFC1321Context context;
  codec::RFC1321Load(&context);
  codec::RFC1321AddMsg<codec::kMd5HostOrder>(&context, reinterpret_cast<const uint8_t *>(name),
                                             std::strlen(name) + 1);
  codec::RFC1321ComputeMsgDigest<codec::kMd5HostOrder>(&context);
  static const char kDigits[] = "0123456789ABCDEF";
  for (size_t i = 0; i < sizeof context.digest; ++i) {
    digest[2 * i] = kDigits[context.digest[i] >> 4];
    digest[2 * i + 1] = kDigits[context.digest[i] & 15];
  }
  digest[32] = '\0';
  codec::RFC1321UnLoad(&context);
  *size = kNameDigestSize;
  return Status::kSuccess;
}

bool IpcObjectName(const char *name, uint32_t kind, std::string *os_name) {
  const char *prefix = KindPrefix(kind);
  if (name == nullptr || *name == '\0' || prefix == nullptr) return false;
  char digest[kNameDigestSize];
  uint32_t size = sizeof digest;
  if (!Ok(NameDigest(name, digest, &size))) return false;
  try {
    if (kind == kIpcMutex || kind == kIpcFileLock) {
      const IpcPaths *paths = CurrentIpcPaths();
      if (paths == nullptr) return false;
      *os_name = paths->directory + "/." + prefix + digest;
    } else {
      *os_name = std::string(prefix) + digest;
    }
  } catch (const std::bad_alloc &) {
    return false;
  }
  return os_name->size() + 1 <= kIpcNameRoom;
}

void *BuildIpcHandle(const char *name, size_t fields_size, uint32_t kind) {
  if (fields_size < sizeof(IpcHandleHead)) return nullptr;
  std::string os_name;
  if (name != nullptr && !IpcObjectName(name, kind, &os_name)) return nullptr;
  const size_t name_room = name != nullptr ? os_name.size() + 1 : 0;
  auto *block = static_cast<char *>(base::AllocMem(static_cast<uint32_t>(fields_size + name_room)));
  if (block == nullptr) return nullptr;
  std::memset(block, 0, fields_size);
  IpcHandleHead head{kind, nullptr};
  if (name != nullptr) {
    std::memcpy(block + fields_size, os_name.c_str(), name_room);
    head.name = block + fields_size;
  }
  std::memcpy(block, &head, sizeof head);
  return block;
}

mode_t PermissionFromAccessRights(uint32_t word) {
  if (word == 0xFFFFFFFFu) return 0664;
  if (word == 0) return 0600;
  // Each nibble gives one class's rwx triplet.
  auto triplet = [](uint32_t nibble) -> mode_t {
    if (nibble & 1u) return 07;
    return ((nibble & 2u) ? 04 : 0) | ((nibble & 4u) ? 02 : 0) | ((nibble & 8u) ? 01 : 0);
  };
  return (triplet((word >> 24) & 15u) << 6) | (triplet((word >> 16) & 15u) << 3) |
         triplet((word >> 8) & 15u);
}

}  // namespace kx::config
