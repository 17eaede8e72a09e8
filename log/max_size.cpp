// The maximum-size table: (path, size) pairs found by exact path comparison,
// under the event log's module mutex. The library may attach and detach
// outside static construction and destruction, so the module's state is plain
// pointers: the table is made on first use and freed at detach.
#include "log/max_size.h"

#include <pthread.h>

#include <cstring>
#include <map>
#include <string>

#include "os/mutex.h"

namespace kx::log {

namespace {

os::MutexHandle *g_table_mutex = nullptr;
pthread_mutex_t g_fallback_lock = PTHREAD_MUTEX_INITIALIZER;
using MaxSizeTable = std::map<std::string, uint32_t, std::less<>>;
MaxSizeTable *g_max_sizes = nullptr;

// The table, made on first use; the caller holds the table's lock.
MaxSizeTable &Table() {
  if (g_max_sizes == nullptr) g_max_sizes = new MaxSizeTable;
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
    Table().insert_or_assign(std::string(path), size);
  } catch (...) {
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
    *size = Table().try_emplace(std::string(path), kDefaultLogMaxSize).first->second;
  } catch (...) {
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
    delete g_max_sizes;
    g_max_sizes = nullptr;
  }
  os::MutexDestroy(g_table_mutex);
  g_table_mutex = nullptr;
}

}  // namespace kx::log
