// The maximum-size table: (path, size) pairs found by exact path comparison,
// under the event log's module mutex. The library may attach and detach
// outside static construction and destruction, so the module's state is plain
// pointers: the table is made on first use and freed at detach.
#include "log/max_size.h"

#include <pthread.h>

#include <cstring>
#include <map>
#include <new>
#include <string>

#include "base/memory.h"
#include "log/log_strings.h"
#include "os/mutex.h"

namespace kx::log {

namespace {

os::MutexHandle *g_table_mutex = nullptr;
pthread_mutex_t g_fallback_lock = PTHREAD_MUTEX_INITIALIZER;
using MaxSizeTable =
    std::map<String, uint32_t, std::less<>, base::Allocator<std::pair<const String, uint32_t>>>;
MaxSizeTable *g_max_sizes = nullptr;

// The table, made on first use in a block of the library's heap; the caller
// holds the table's lock. Throws std::bad_alloc when the block is refused.
MaxSizeTable &Table() {
  if (g_max_sizes == nullptr) {
    void *block = base::AllocMem(sizeof(MaxSizeTable));
    if (block == nullptr) throw std::bad_alloc();
    g_max_sizes = new (block) MaxSizeTable;
  }
  return *g_max_sizes;
}

// Holds the module mutex, or the fallback lock while the module is down.
class TableLock {
 public:
  TableLock() : mutex_(g_table_mutex) {
    if (mutex_ != nullptr) {
      (void)os::MutexLock(mutex_, os::kWaitForever);
    } else {
      pthread_mutex_lock(&g_fallback_lock);
    }
  }
  ~TableLock() {
    if (mutex_ != nullptr) {
      (void)os::MutexUnLock(mutex_);
    } else {
      pthread_mutex_unlock(&g_fallback_lock);
    }
  }
  TableLock(const TableLock &) = delete;
  TableLock &operator=(const TableLock &) = delete;

 private:
  os::MutexHandle *mutex_;
};

bool Recordable(const char *path) {
  return std::strlen(path) < kLogPathRoom;
}

}  // namespace

Status SetLogMaxSize(const char *path, uint32_t size) {
  if (path == nullptr || *path == '\0' || !Recordable(path)) return Status::kInvalidParameter;
  if (size < kDefaultLogMaxSize || size > kLargestLogMaxSize) return Status::kInvalidParameter;
  try {
    TableLock lock;
    Table().insert_or_assign(String(path), size);
  } catch (const std::bad_alloc &) {
    return Status::kNoMemory;
  }
  return Status::kSuccess;
}

Status GetLogMaxSize(const char *path, uint32_t *size) {
  if (path == nullptr || *path == '\0' || size == nullptr) return Status::kInvalidParameter;
  *size = kDefaultLogMaxSize;
  if (!Recordable(path)) return Status::kSuccess;
  try {
    TableLock lock;
    *size = Table().try_emplace(String(path), kDefaultLogMaxSize).first->second;
  } catch (const std::bad_alloc &) {
    // Not recorded: the default stands.
  }
  return Status::kSuccess;
}

int EventLogAttach() {
  if (g_table_mutex == nullptr) g_table_mutex = os::MutexCreate(nullptr);
  return g_table_mutex != nullptr ? 1 : 0;
}

void EventLogDetach() {
  {
    TableLock lock;
    if (g_max_sizes != nullptr) {
      g_max_sizes->~MaxSizeTable();
      base::FreeMem(g_max_sizes);
      g_max_sizes = nullptr;
    }
  }
  os::MutexDestroy(g_table_mutex);
  g_table_mutex = nullptr;
}

}  // namespace kx::log
