// The product registry's components, direct lookups, the path cache and the
// path-name routines built on it. The cache is rebuilt as a whole under the
// registry mutex: once at attach, and again after any miss, so edits of the
// registry file show on the next miss but not for paths already cached.
#include "config/registry.h"

#include <pthread.h>
#include <stdlib.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <new>
#include <optional>
#include <string_view>

#include "base/memory.h"
#include "config/ipc_paths.h"
#include "config/language.h"
#include "config/registry_file.h"
#include "config/registry_text.h"
#include "os/mutex.h"

namespace kx::config {

namespace {

struct Component {
  int32_t product;
  const char *key;
};

// The fixed component table; its order is the cache order.
constexpr Component kComponents[] = {
    {kProductTesk, "tesk"},           {33, "vaxo"}, {34, "Korvane"},
    {kProductDulo, "dulo"},           {88, "pim7"}, {kProductMernex, "mernex"},
    {kProductWexbridge, "Wexbridge"},
};

const char *TypeWord(uint32_t type) {
  switch (type) {
    case kPathInstall:
      return "installpath";
    case kPathVarData:
      return "vardatapath";
    case kPathLog:
      return "logpath";
    case kPathConfigTool:
      return "configtool";
    case kPathIni:
      return "inipath";
    case kPathBin:
      return "binpath";
    default:
      return nullptr;
  }
}

// Environment values are read into 256 bytes: a longer one does not fit and
// counts as unset, like an empty one.
constexpr size_t kEnvValueRoom = 256;

void RemoveOneTrailingSlash(std::string *path) {
  if (!path->empty() && path->back() == '/') path->pop_back();
}

// The direct lookup over an already read registry text.
Status DirectLookup(const RegistryText &text, int32_t product, uint32_t type, std::string *path) {
  const char *component = ComponentKey(product);
  const char *word = TypeWord(type);
  if (component == nullptr || word == nullptr) return Status::kInvalidParameter;
  std::string key = std::string(component) + "." + word;
  if (std::optional<std::string_view> value = text.Find(key)) {
    path->assign(*value);
    RemoveOneTrailingSlash(path);
    return Status::kSuccess;
  }
  if (product != kProductTesk) return Status::kNotAvailable;
  // Product -1 lives one level above any of the core install trees.
  for (const char *fallback :
       {"tesk.installpath", "Korvane.installpath", "Wexbridge.installpath"}) {
    std::optional<std::string_view> value = text.Find(fallback);
    if (!value) continue;
    path->assign(*value);
    RemoveOneTrailingSlash(path);
    if (size_t slash = path->rfind('/'); slash != std::string::npos) path->resize(slash);
    RemoveOneTrailingSlash(path);
    return Status::kSuccess;
  }
  return Status::kNotAvailable;
}

// One cache entry: the six paths of a component.
struct ComponentPaths {
  int32_t product = 0;
  std::string install, bin, ini, var_data, log, config_tool;
};

struct RegistryCache {
  bool built = false;
  std::array<ComponentPaths, std::size(kComponents)> entries;

  void Clear() {
    built = false;
    for (ComponentPaths &entry : entries) entry = ComponentPaths{};
  }
};

// Module state. The mutex exists between attach and detach; while it does
// not, the fallback lock serialises the (empty) cache.
os::MutexHandle *g_registry_mutex = nullptr;
pthread_mutex_t g_fallback_lock = PTHREAD_MUTEX_INITIALIZER;

// The cache is made on first use and never destroyed: attach runs from the
// library's load constructor, possibly before this file's static objects are
// constructed, and detach from its unload destructor, possibly after they
// are gone.
RegistryCache &Cache() {
  static RegistryCache *cache = new RegistryCache;
  return *cache;
}

class RegistryLock {
 public:
  RegistryLock() : mutex_(g_registry_mutex) {
    if (mutex_ != nullptr) {
      (void)os::MutexLock(mutex_, os::kWaitForever);
    } else {
      pthread_mutex_lock(&g_fallback_lock);
    }
  }
  ~RegistryLock() {
    if (mutex_ != nullptr) {
      (void)os::MutexUnLock(mutex_);
    } else {
      pthread_mutex_unlock(&g_fallback_lock);
    }
  }
  RegistryLock(const RegistryLock &) = delete;
  RegistryLock &operator=(const RegistryLock &) = delete;

 private:
  os::MutexHandle *mutex_;
};

// The install-path override of a component: "<key>installpath" in lower case,
// then in upper case.
std::optional<std::string> InstallPathFromEnvironment(const char *component) {
  std::string name = std::string(component) + "installpath";
  for (bool upper : {false, true}) {
    std::string variable = name;
    for (char &c : variable) {
      c = static_cast<char>(upper ? std::toupper(static_cast<unsigned char>(c))
                                  : std::tolower(static_cast<unsigned char>(c)));
    }
    const char *value = getenv(variable.c_str());
    if (value != nullptr && *value != '\0' && std::strlen(value) < kEnvValueRoom) {
      return std::string(value);
    }
  }
  return std::nullopt;
}

// Rebuilds the whole cache from the registry file; the caller holds the
// registry lock. Without a readable registry file the cache stays empty. Any
// allocation failure leaves it cleared, to be rebuilt on the next request.
void BuildCacheLocked() {
  Cache().Clear();
  try {
    std::optional<std::string> content = ReadRegistryFile();
    if (!content) return;
    RegistryText text(*content);
    for (size_t i = 0; i < std::size(kComponents); ++i) {
      const Component &component = kComponents[i];
      ComponentPaths &entry = Cache().entries[i];
      entry.product = component.product;
      if (std::optional<std::string> overridden = InstallPathFromEnvironment(component.key)) {
        entry.install = std::move(*overridden);
      } else if (!Ok(DirectLookup(text, component.product, kPathInstall, &entry.install))) {
        entry.install.clear();
      }
      const std::pair<uint32_t, std::string *> others[] = {
          {kPathBin, &entry.bin},
          {kPathIni, &entry.ini},
          {kPathVarData, &entry.var_data},
          {kPathLog, &entry.log},
          {kPathConfigTool, &entry.config_tool},
      };
      for (const auto &[type, field] : others) {
        if (!Ok(DirectLookup(text, component.product, type, field))) *field = entry.install;
      }
    }
    Cache().built = true;
  } catch (const std::bad_alloc &) {
    Cache().Clear();
  }
}

// The cached lookup; the caller holds the registry lock.
Status CachedLookupLocked(int32_t product, uint32_t type, std::string *path) {
  if (!Cache().built) return Status::kNotAvailable;
  auto entry = std::find_if(Cache().entries.begin(), Cache().entries.end(),
                            [product](const ComponentPaths &e) { return e.product == product; });
  if (entry == Cache().entries.end()) return Status::kNotAvailable;
  const std::string *field = nullptr;
  switch (type) {
    case kPathInstall:
    case kPathInstallAlias:
      field = &entry->install;
      break;
    case kPathBin:
      field = &entry->bin;
      break;
    case kPathIni:
      field = &entry->ini;
      break;
    case kPathVarData:
      field = &entry->var_data;
      break;
    case kPathLog:
      field = &entry->log;
      break;
    case kPathConfigTool:
      field = &entry->config_tool;
      break;
    default:
      return Status::kInvalidParameter;
  }
  if (field->empty()) return Status::kNotAvailable;
  *path = *field;
  return Status::kSuccess;
}

// Copies `path` out under the size protocol: 257 when it does not exist on
// disk (size 0), the size alone for a null buffer, 16 when it does not fit.
Status DeliverPath(const std::string &path, char *buffer, uint32_t *size) {
  struct stat info;
  if (stat(path.c_str(), &info) != 0) {
    *size = 0;
    return Status::kOsFailure;
  }
  const uint32_t needed = static_cast<uint32_t>(path.size() + 1);
  if (buffer == nullptr) {
    *size = needed;
    return Status::kSuccess;
  }
  if (*size < needed) {
    *size = needed;
    return Status::kBufferTooSmall;
  }
  std::memcpy(buffer, path.c_str(), needed);
  *size = needed;
  return Status::kSuccess;
}

char *HeapCopy(std::string_view text) {
  auto *copy = static_cast<char *>(base::AllocMem(static_cast<uint32_t>(text.size() + 1)));
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

bool Exists(const std::string &path) {
  return access(path.c_str(), F_OK) == 0;
}

}  // namespace

const char *ComponentKey(int32_t product) {
  for (const Component &component : kComponents) {
    if (component.product == product) return component.key;
  }
  return nullptr;
}

Status LookupRegistryPath(int32_t product, uint32_t type, std::string *path) {
  if (ComponentKey(product) == nullptr || TypeWord(type) == nullptr) {
    return Status::kInvalidParameter;
  }
  try {
    std::optional<std::string> content = ReadRegistryFile();
    if (!content) return Status::kNotAvailable;
    return DirectLookup(RegistryText(*content), product, type, path);
  } catch (const std::bad_alloc &) {
    return Status::kNoMemory;
  }
}

Status CachedPath(int32_t product, uint32_t type, std::string *path) {
  try {
    {
      RegistryLock lock;
      Status status = CachedLookupLocked(product, type, path);
      if (status != Status::kNotAvailable) return status;
    }
    // A miss reloads everything: the registry may have gained the value.
    RegistryLock lock;
    BuildCacheLocked();
    return CachedLookupLocked(product, type, path);
  } catch (const std::bad_alloc &) {
    return Status::kNoMemory;
  }
}

Status GetPathByProductIDandType(int32_t product, uint32_t type, char *buffer, uint32_t *size) {
  if (size == nullptr) return Status::kInvalidParameter;
  if (buffer != nullptr && *size > 0) buffer[0] = '\0';
  std::string path;
  Status status = CachedPath(product, type, &path);
  if (!Ok(status)) return status;
  return DeliverPath(path, buffer, size);
}

Status GetInstallPath(char *buffer, uint32_t *size) {
  return GetPathByProductIDandType(kProductWexbridge, kPathInstall, buffer, size);
}

Status GetInstallPathByProductID(int32_t product, char *buffer, uint32_t *size) {
  return GetPathByProductIDandType(product, kPathInstall, buffer, size);
}

namespace {

// The expansion proper, for a text of known length below 255 bytes.
Status ExpandToken(const char *text, size_t length, char *buffer, uint32_t *size) {
  static constexpr std::string_view kToken = "@vqinstallpath@";
  std::string lowered(text, length);
  for (char &c : lowered) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  std::string result;
  if (size_t at = lowered.find(kToken); at != std::string::npos) {
    std::string install;
    uint32_t install_size = 0;
    // The path must exist on disk, as for every cached lookup.
    Status status = CachedPath(kProductTesk, kPathInstall, &install);
    if (Ok(status)) status = DeliverPath(install, nullptr, &install_size);
    if (!Ok(status)) {
      *size = 0;
      return status;
    }
    result.assign(text, at);
    result += install;
    result.append(text + at + kToken.size());
  } else {
    result.assign(text, length);
  }
  const uint32_t needed = static_cast<uint32_t>(result.size() + 1);
  if (buffer == nullptr || *size < needed) {
    *size = needed;
    return Status::kBufferTooSmall;
  }
  std::memcpy(buffer, result.c_str(), needed);
  *size = needed;
  return Status::kSuccess;
}

}  // namespace

Status ExpandVqInstallPathString(const char *text, char *buffer, uint32_t *size) {
  if (text == nullptr || size == nullptr) {
    if (size != nullptr) *size = 0;
    return Status::kInvalidParameter;
  }
  const size_t length = std::strlen(text);
  if (length >= 255) {
    *size = 0;
    return Status::kError;
  }
  try {
    return ExpandToken(text, length, buffer, size);
  } catch (const std::bad_alloc &) {
    *size = 0;
    return Status::kNoMemory;
  }
}

char *ProductIDToSID(int32_t product) {
  const char *key = ComponentKey(product);
  return key != nullptr ? HeapCopy(key) : nullptr;
}

int32_t ProductSIDToID(const char *key) {
  if (key == nullptr) return 0;
  for (const Component &component : kComponents) {
    if (strcasecmp(component.key, key) == 0) return component.product;
  }
  return 0;
}

char *MakePathFileNameByPIDAndType(int32_t product, uint32_t type, const char *subdir,
                                   const char *file) {
  if (file == nullptr) return nullptr;
  try {
    std::string path;
    uint32_t size = 0;
    if (!Ok(CachedPath(product, type, &path)) || !Ok(DeliverPath(path, nullptr, &size))) {
      return nullptr;
    }
    if (subdir != nullptr && *subdir != '\0') (path += '/') += subdir;
    (path += '/') += file;
    return HeapCopy(path);
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}

char *MakePathFileNameByPID(int32_t product, const char *subdir, const char *file) {
  return MakePathFileNameByPIDAndType(product, kPathInstall, subdir, file);
}

char *GetLocalizedPathFileName(const char *root, const char *dir, const char *language,
                               const char *subdir, const char *file) {
  if (dir == nullptr || file == nullptr) return nullptr;
  if (root == nullptr) root = ".";
  if (subdir == nullptr) subdir = "";
  try {
    // The current language is only consulted when the caller leaves it open.
    std::string lang = language != nullptr ? std::string(language) : CurrentLanguageText();
    if (lang.size() > 8) return nullptr;
    const size_t underscore = lang.find('_');
    const bool two_levels = underscore != std::string::npos;
    if (two_levels) lang[underscore] = '/';  // en_US is the two levels en/US
    const std::string base = std::string(root) + '/' + dir + '/';
    const std::string tail = std::string(subdir) + '/' + file;
    std::string candidates[3] = {base + lang + '/' + tail, {}, base + tail};
    if (two_levels) candidates[1] = base + lang.substr(0, underscore) + '/' + tail;
    for (const std::string &candidate : candidates) {
      if (!candidate.empty() && Exists(candidate)) return HeapCopy(candidate);
    }
  } catch (const std::bad_alloc &) {
  }
  return nullptr;
}

int RegistryModuleAttach() {
  if (RegistryAttach() == 0) return 0;
  if (g_registry_mutex == nullptr) g_registry_mutex = os::MutexCreate(nullptr);
  if (g_registry_mutex == nullptr) {
    RegistryDetach();
    return 0;
  }
  RegistryLock lock;
  Cache().Clear();
  return 1;
}

void RegistryModuleDetach() {
  // The IPC paths come from the registry; they go with it.
  ResetIpcPaths();
  {
    RegistryLock lock;
    Cache().Clear();
  }
  if (g_registry_mutex != nullptr) {
    os::MutexDestroy(g_registry_mutex);
    g_registry_mutex = nullptr;
  }
  RegistryDetach();
}

int InstallPathsAttach() {
  RegistryLock lock;
  BuildCacheLocked();
  return Cache().built ? 1 : 0;
}

void InstallPathsDetach() {
  RegistryLock lock;
  Cache().Clear();
}

}  // namespace kx::config
