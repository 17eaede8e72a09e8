// The plain library layer over dlopen/dlsym/dlclose, and the shared layer's
// table: path -> {plain handle, user names and their count, function cache}.
// Every shared-layer operation, loading and unloading included, runs under
// the table's mutex.
#include "os/library.h"

#include <dlfcn.h>

#include <atomic>
#include <cstring>
#include <map>
#include <new>
#include <set>
#include <string>
#include <string_view>

#include "base/memory.h"
#include "os/locked_table.h"
#include "os/mutex_hold.h"

namespace kx::os {

namespace {

bool ValidLibrary(const LibraryHandle *library) {
  return library != nullptr && library->kind == kLibraryKind && library->loader != nullptr;
}

// Text and tables of the shared layer, allocated through the library's
// allocation path (which throws std::bad_alloc when it refuses).
using Text = std::basic_string<char, std::char_traits<char>, base::Allocator<char>>;
template <typename Value>
using TextMap = std::map<Text, Value, std::less<>, base::Allocator<std::pair<const Text, Value>>>;

struct SharedLibrary {
  LibraryHandle *library = nullptr;
  std::set<Text, std::less<>, base::Allocator<Text>> users;
  // Counts links and unlinks rather than names: unlinking a name that never
  // linked still takes it down by one.
  int32_t user_count = 0;
  TextMap<void *> functions;
};

struct SharedLibraryTable {
  MutexHandle *lock = nullptr;
  // Transparent ordering: look-ups by a caller's text copy nothing.
  TextMap<SharedLibrary> libraries;
};

std::atomic<SharedLibraryTable *> g_table{nullptr};

// Finds path's entry, loading the library and linking user as its first user
// when there is none. Null when the library cannot be loaded or recorded.
SharedLibrary *FindOrLoad(SharedLibraryTable &table, const char *user, const char *path) {
  auto found = table.libraries.find(std::string_view(path));
  if (found != table.libraries.end()) {
    if (found->second.users.insert(user).second) found->second.user_count += 1;
    return &found->second;
  }
  LibraryHandle *library = LibLoad(path);
  if (library == nullptr) return nullptr;
  try {
    found = table.libraries.try_emplace(path).first;
    try {
      found->second.users.insert(user);
    } catch (const std::bad_alloc &) {
      table.libraries.erase(found);
      throw;
    }
  } catch (const std::bad_alloc &) {
    (void)LibUnLoad(library);
    return nullptr;
  }
  found->second.library = library;
  found->second.user_count = 1;
  return &found->second;
}

// Forgets the cache and unloads the library; the entry is erased by the caller.
void Release(SharedLibrary &shared) {
  shared.functions.clear();
  (void)LibUnLoad(shared.library);
  shared.library = nullptr;
}

}  // namespace

LibraryHandle *LibLoad(const char *path) {
  if (path == nullptr) return nullptr;
  const size_t path_size = std::strlen(path) + 1;
  auto *library = static_cast<LibraryHandle *>(base::AllocMem(sizeof(LibraryHandle) + path_size));
  if (library == nullptr) return nullptr;
  library->kind = kLibraryKind;
  library->path = reinterpret_cast<char *>(library + 1);
  std::memcpy(library->path, path, path_size);
  library->loader = dlopen(path, RTLD_NOW);
  if (library->loader == nullptr) {
    base::FreeMem(library);
    return nullptr;
  }
  return library;
}

Status LibUnLoad(LibraryHandle *library) {
  if (library == nullptr) return Status::kInvalidParameter;
  if (!ValidLibrary(library)) return Status::kOsFailure;
  if (dlclose(library->loader) != 0) return Status::kError;
  base::FreeMem(library);
  return Status::kSuccess;
}

void *LibLinkToExportFN(LibraryHandle *library, const char *name) {
  if (!ValidLibrary(library) || name == nullptr) return nullptr;
  // A symbol may legitimately be null; the loader's error state tells.
  (void)dlerror();
  void *function = dlsym(library->loader, name);
  if (dlerror() != nullptr) return nullptr;
  return function;
}

Status LibUnLinkFromExportFN(LibraryHandle *library, void *function) {
  if (library == nullptr || function == nullptr) return Status::kInvalidParameter;
  if (library->kind != kLibraryKind) return Status::kOsFailure;
  return Status::kSuccess;
}

void *FLibLinkToExportFN(const char *user, const char *path, const char *name) {
  if (user == nullptr || path == nullptr) return nullptr;
  SharedLibraryTable *table = g_table.load(std::memory_order_acquire);
  if (table == nullptr) return nullptr;
  MutexHold hold(table->lock);
  try {
    SharedLibrary *shared = FindOrLoad(*table, user, path);
    if (shared == nullptr) return nullptr;
    if (name == nullptr) return shared->library->loader;
    auto cached = shared->functions.find(std::string_view(name));
    if (cached != shared->functions.end()) return cached->second;
    void *function = LibLinkToExportFN(shared->library, name);
    if (function == nullptr) return nullptr;
    shared->functions.emplace(name, function);
    return function;
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}

Status FLibUnLoad(const char *user, const char *path) {
  if (user == nullptr || path == nullptr) return Status::kInvalidParameter;
  SharedLibraryTable *table = g_table.load(std::memory_order_acquire);
  if (table == nullptr) return Status::kNotReady;
  MutexHold hold(table->lock);
  auto found = table->libraries.find(std::string_view(path));
  if (found == table->libraries.end()) return Status::kSuccess;
  SharedLibrary &shared = found->second;
  if (auto named = shared.users.find(std::string_view(user)); named != shared.users.end()) {
    shared.users.erase(named);
  }
  shared.user_count -= 1;
  if (shared.user_count < 1) {
    Release(shared);
    table->libraries.erase(found);
  }
  return Status::kSuccess;
}

int FLibTableAttach() {
  return AttachLockedTable(g_table);
}

void FLibTableDetach() {
  DetachLockedTable(g_table, [](SharedLibraryTable &table) {
    for (auto &[path, shared] : table.libraries) Release(shared);
  });
}

int32_t FLibUserCount(const char *path) {
  SharedLibraryTable *table = g_table.load(std::memory_order_acquire);
  if (table == nullptr || path == nullptr) return -1;
  MutexHold hold(table->lock);
  auto found = table->libraries.find(std::string_view(path));
  return found == table->libraries.end() ? -1 : found->second.user_count;
}

}  // namespace kx::os
