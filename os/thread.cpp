// Threads over POSIX threads. The joinable start routine reads its entry and
// argument from the handle, which ThreadStop frees only after the join.
#include "os/thread.h"

#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>

#include "base/memory.h"

namespace kx::os {

namespace {

// Runs a joinable thread's entry; the entry's result is not kept.
void *RunThread(void *raw_handle) {
  const auto *handle = static_cast<const ThreadHandle *>(raw_handle);
  handle->entry(handle->argument);
  return nullptr;
}

// Attributes with the library's stack size, destroyed on scope exit. ready()
// is false when they could not be prepared.
class ThreadAttributes {
 public:
  explicit ThreadAttributes(int detach_state) {
    if (pthread_attr_init(&attributes_) != 0) return;
    if (pthread_attr_setstacksize(&attributes_, kThreadStackSize) != 0 ||
        pthread_attr_setdetachstate(&attributes_, detach_state) != 0) {
      pthread_attr_destroy(&attributes_);
      return;
    }
    ready_ = true;
  }
  ThreadAttributes(const ThreadAttributes &) = delete;
  ThreadAttributes &operator=(const ThreadAttributes &) = delete;
  ~ThreadAttributes() {
    if (ready_) pthread_attr_destroy(&attributes_);
  }
  bool ready() const { return ready_; }
  const pthread_attr_t *get() const { return ready_ ? &attributes_ : nullptr; }

 private:
  pthread_attr_t attributes_;
  bool ready_ = false;
};

}  // namespace

ThreadHandle *ThreadStart(ThreadFunction entry, void *argument) {
  if (entry == nullptr) return nullptr;
  auto *handle = static_cast<ThreadHandle *>(base::AllocMem(sizeof(ThreadHandle)));
  if (handle == nullptr) return nullptr;
  handle->entry = entry;
  handle->argument = argument;
  // Without attributes the thread still starts, on the default stack.
  const ThreadAttributes attributes(PTHREAD_CREATE_JOINABLE);
  if (pthread_create(&handle->thread, attributes.get(), &RunThread, handle) != 0) {
    base::FreeMem(handle);
    return nullptr;
  }
  return handle;
}

Status ThreadStartAndRelease(ThreadFunction entry, void *argument) {
  if (entry == nullptr) return Status::kInvalidParameter;
  // A detached thread cannot be made without attributes: no fallback here.
  const ThreadAttributes attributes(PTHREAD_CREATE_DETACHED);
  if (!attributes.ready()) return Status::kError;
  pthread_t thread;
  if (pthread_create(&thread, attributes.get(), entry, argument) != 0) return Status::kError;
  return Status::kSuccess;
}

Status ThreadStop(ThreadHandle *handle) {
  if (handle == nullptr) return Status::kInvalidParameter;
  if (pthread_join(handle->thread, nullptr) != 0) return Status::kError;
  base::FreeMem(handle);
  return Status::kSuccess;
}

Status ThreadKill(ThreadHandle *handle) {
  if (handle == nullptr) return Status::kInvalidParameter;
  // Signal 9 cannot be caught: the whole process ends.
  pthread_kill(handle->thread, SIGKILL);
  base::FreeMem(handle);
  return Status::kSuccess;
}

void ThreadYield() {
  sched_yield();
}

uint64_t ThreadGetID() {
  return static_cast<uint64_t>(pthread_self());
}

Status ThreadSetName(const char *name) {
  if (name == nullptr) return Status::kInvalidParameter;
  if (prctl(PR_SET_NAME, name, 0, 0, 0) != 0) return Status::kError;
  return Status::kSuccess;
}

}  // namespace kx::os
