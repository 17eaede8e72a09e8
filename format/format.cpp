// The formatter module: its mutex, created at attach, and the locked entry
// around the interpreter. The lock serialises every run and is held only for
// the run itself; no caller code executes under it.
#include "format/format.h"

#include <pthread.h>

#include <atomic>

#include "base/context.h"
#include "format/engine.h"
#include "os/mutex.h"

namespace kx::format {

namespace {

// The module's mutex, null while the module is down. Set and cleared only by
// attach and detach, which the loader serialises; read by every run.
std::atomic<os::MutexHandle *> g_mutex{nullptr};
// One-time flag: attach has created the mutex (or tried and failed).
bool g_attached = false;
// Serialises runs when the module is down (the library did not attach in
// this process). Statically initialised, so it is usable from the first call.
pthread_mutex_t g_fallback = PTHREAD_MUTEX_INITIALIZER;

// Holds whichever lock guards the formatter for the length of one run.
class RunLock {
 public:
  RunLock() : mutex_(g_mutex.load(std::memory_order_acquire)) {
    if (mutex_ != nullptr && Ok(os::MutexLock(mutex_, os::kWaitForever))) return;
    mutex_ = nullptr;
    pthread_mutex_lock(&g_fallback);
  }
  ~RunLock() {
    if (mutex_ != nullptr) {
      (void)os::MutexUnLock(mutex_);
    } else {
      pthread_mutex_unlock(&g_fallback);
    }
  }
  RunLock(const RunLock &) = delete;
  RunLock &operator=(const RunLock &) = delete;

 private:
  os::MutexHandle *mutex_;
};

}  // namespace

int32_t vsnprintf(char *dest, uint32_t size, const char *format, va_list args, bool *truncated) {
  RunLock lock;
  uint32_t context = 0;
  base::SetExportContext(&context);
  const int32_t stored = RunFormat(dest, size, format, args, truncated);
  base::ResetExportContext();
  return stored;
}

int32_t snprintf(char *dest, uint32_t size, const char *format, ...) {
  va_list args;
  va_start(args, format);
  const int32_t stored = vsnprintf(dest, size, format, args, nullptr);
  va_end(args);
  return stored;
}

int FormatAttach() {
  if (!g_attached) {
    g_attached = true;
    g_mutex.store(os::MutexCreate(nullptr), std::memory_order_release);
  }
  return g_mutex.load(std::memory_order_acquire) != nullptr ? 1 : 0;
}

void FormatDetach() {
  os::MutexDestroy(g_mutex.exchange(nullptr, std::memory_order_acq_rel));
  g_attached = false;
}

}  // namespace kx::format
