// Threads through the exported entries: start and stop (which waits), start
// and release (detached), the stack size, identifiers, names, and the kill,
// which ends the process and so runs in a forked child.
#include <gtest/gtest.h>

#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "kxsupt/os.h"

namespace {

// What a started thread saw of itself.
struct Observed {
  std::atomic<bool> release{false};  // set by the test to let the thread end
  std::atomic<bool> done{false};
  size_t stack_size = 0;
  int detach_state = -1;
  uint64_t id = 0;
  uint64_t self = 0;
};

void *Observe(void *raw) {
  auto *observed = static_cast<Observed *>(raw);
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
    pthread_attr_getstacksize(&attributes, &observed->stack_size);
    pthread_attr_getdetachstate(&attributes, &observed->detach_state);
    pthread_attr_destroy(&attributes);
  }
  observed->id = SMThreadGetID();
  observed->self = static_cast<uint64_t>(pthread_self());
  while (!observed->release.load()) SMThreadYield();
  observed->done.store(true);
  return reinterpret_cast<void *>(1);  // dropped by the library
}

TEST(Threads, stop_waits_for_a_running_thread) {
  Observed observed;
  void *thread = SMThreadStart(&Observe, &observed);
  ASSERT_NE(thread, nullptr);
  std::thread releaser([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    observed.release.store(true);
  });
  EXPECT_EQ(SMThreadStop(thread), SM_STATUS_SUCCESS);
  EXPECT_TRUE(observed.done.load());  // Stop returned only after the thread ended
  releaser.join();
  EXPECT_EQ(observed.stack_size, 131072u);
  EXPECT_EQ(observed.detach_state, PTHREAD_CREATE_JOINABLE);
  EXPECT_EQ(observed.id, observed.self);
  EXPECT_NE(observed.id, SMThreadGetID());
  EXPECT_EQ(SMThreadGetID(), static_cast<uint64_t>(pthread_self()));
}

TEST(Threads, start_and_release_runs_detached) {
  Observed observed;
  observed.release.store(true);
  ASSERT_EQ(SMThreadStartAndRelease(&Observe, &observed), SM_STATUS_SUCCESS);
  while (!observed.done.load()) std::this_thread::yield();
  EXPECT_EQ(observed.stack_size, 131072u);
  EXPECT_EQ(observed.detach_state, PTHREAD_CREATE_DETACHED);
  // Give the detached thread time to leave before observed goes out of scope.
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

TEST(Threads, null_arguments) {
  EXPECT_EQ(SMThreadStart(nullptr, nullptr), nullptr);
  EXPECT_EQ(SMThreadStartAndRelease(nullptr, nullptr), 271u);
  EXPECT_EQ(SMThreadStop(nullptr), 271u);
  EXPECT_EQ(SMThreadKill(nullptr), 271u);
  EXPECT_EQ(SMThreadSetName(nullptr), 271u);
}

// A thread that tries to stop itself cannot join itself: the status says so
// and the handle stays usable for the real stop.
struct SelfStop {
  std::atomic<void *> handle{nullptr};
  SMStatus status = 0;
};

void *StopSelf(void *raw) {
  auto *self = static_cast<SelfStop *>(raw);
  while (self->handle.load() == nullptr) SMThreadYield();
  self->status = SMThreadStop(self->handle.load());
  return nullptr;
}

TEST(Threads, a_thread_cannot_stop_itself) {
  SelfStop self;
  void *thread = SMThreadStart(&StopSelf, &self);
  ASSERT_NE(thread, nullptr);
  self.handle.store(thread);
  EXPECT_EQ(SMThreadStop(thread), SM_STATUS_SUCCESS);
  EXPECT_EQ(self.status, SM_STATUS_ERROR);
}

struct Naming {
  const char *name;
  SMStatus status = 0;
  char seen[32] = {};
};

void *NameSelf(void *raw) {
  auto *naming = static_cast<Naming *>(raw);
  naming->status = SMThreadSetName(naming->name);
  prctl(PR_GET_NAME, naming->seen, 0, 0, 0);
  return nullptr;
}

TEST(Threads, set_name_names_the_calling_thread_only) {
  char before[32] = {};
  prctl(PR_GET_NAME, before, 0, 0, 0);
  Naming naming{"kxsupt-worker-with-a-long-name"};
  void *thread = SMThreadStart(&NameSelf, &naming);
  ASSERT_NE(thread, nullptr);
  ASSERT_EQ(SMThreadStop(thread), SM_STATUS_SUCCESS);
  EXPECT_EQ(naming.status, SM_STATUS_SUCCESS);
  EXPECT_STREQ(naming.seen, "kxsupt-worker-w");  // the first 15 characters
  char after[32] = {};
  prctl(PR_GET_NAME, after, 0, 0, 0);
  EXPECT_STREQ(after, before);
}

void *Sleeper(void *) {
  for (;;) pause();
}

// Kill sends signal 9 to the thread, and that ends the whole process: the
// child that calls it must die by signal 9 before it can exit on its own.
TEST(Threads, kill_ends_the_process_with_signal_9) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    void *thread = SMThreadStart(&Sleeper, nullptr);
    if (thread == nullptr) _exit(2);
    SMThreadKill(thread);
    for (int i = 0; i < 500; ++i) usleep(10000);  // the signal lands long before this ends
    _exit(3);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status)) << "exit status " << WEXITSTATUS(status);
  EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

}  // namespace
