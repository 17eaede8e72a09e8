// Threads: start and stop (which waits; a thread cannot stop itself), start
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
#include <string>
#include <thread>

#include "kxsupt/os.h"

namespace {

// What a started thread saw of itself; it ends once release is set.
struct Observed {
  std::atomic<bool> release{false}, done{false};
  size_t stack_size = 0;
  int detach_state = -1;
  uint64_t id = 0, self = 0;
  const char *name = nullptr;
  SMStatus name_status = 1;
  char name_seen[32] = {};
  bool stop_self = false;  // wait for handle, then try to stop itself with it
  std::atomic<void *> handle{nullptr};
  SMStatus self_stop = 1;
};

void *Observe(void *raw) {
  auto *o = static_cast<Observed *>(raw);
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
    pthread_attr_getstacksize(&attributes, &o->stack_size);
    pthread_attr_getdetachstate(&attributes, &o->detach_state);
    pthread_attr_destroy(&attributes);
  }
  o->id = SMThreadGetID();
  o->self = static_cast<uint64_t>(pthread_self());
  if (o->name != nullptr) o->name_status = SMThreadSetName(o->name);
  prctl(PR_GET_NAME, o->name_seen, 0, 0, 0);
  if (o->stop_self) {
    while (o->handle.load() == nullptr) SMThreadYield();
    o->self_stop = SMThreadStop(o->handle.load());
  }
  while (!o->release.load()) SMThreadYield();
  o->done.store(true);
  return nullptr;
}

TEST(Threads, start_and_stop) {
  char main_name[32] = {};
  prctl(PR_GET_NAME, main_name, 0, 0, 0);
  Observed o;
  o.name = "kxsupt-worker-with-a-long-name";
  o.stop_self = true;
  void *thread = SMThreadStart(&Observe, &o);
  ASSERT_NE(thread, nullptr);
  o.handle.store(thread);
  std::thread releaser([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    o.release.store(true);
  });
  EXPECT_EQ(SMThreadStop(thread), SM_STATUS_SUCCESS);
  EXPECT_TRUE(o.done.load());  // Stop returned only after the thread ended
  // A thread cannot join itself: the status says so and the handle stayed
  // usable for the real stop.
  EXPECT_EQ(o.self_stop, SM_STATUS_ERROR);
  releaser.join();
  EXPECT_EQ(o.stack_size, 131072u);
  EXPECT_EQ(o.detach_state, PTHREAD_CREATE_JOINABLE);
  EXPECT_EQ(o.id, o.self);
  EXPECT_NE(o.id, SMThreadGetID());
  EXPECT_EQ(o.name_status, SM_STATUS_SUCCESS);
  EXPECT_STREQ(o.name_seen, "kxsupt-worker-w");  // the system keeps 15 characters
  char name_after[32] = {};
  prctl(PR_GET_NAME, name_after, 0, 0, 0);
  EXPECT_STREQ(name_after, main_name);  // only the calling thread was named
}

TEST(Threads, start_and_release_runs_detached) {
  Observed o;
  o.release.store(true);
  ASSERT_EQ(SMThreadStartAndRelease(&Observe, &o), SM_STATUS_SUCCESS);
  while (!o.done.load()) std::this_thread::yield();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // let it leave before o goes
  EXPECT_EQ(o.stack_size, 131072u);
  EXPECT_EQ(o.detach_state, PTHREAD_CREATE_DETACHED);
}

TEST(Threads, null_arguments) {
  EXPECT_EQ(SMThreadStart(nullptr, nullptr), nullptr);
  EXPECT_EQ(SMThreadStartAndRelease(nullptr, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMThreadStop(nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMThreadKill(nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMThreadSetName(nullptr), SM_STATUS_INVALID_PARAMETER);
}

void *Sleeper(void *) {
  for (;;) pause();
}

// Signal 9 to the thread ends the whole process: the child dies by it before
// it could exit on its own.
TEST(Threads, kill_ends_the_process_with_signal_9) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    void *thread = SMThreadStart(&Sleeper, nullptr);
    if (thread == nullptr) _exit(2);
    SMThreadKill(thread);
    for (int i = 0; i < 500; ++i) usleep(10000);
    _exit(3);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status)) << "exit status " << WEXITSTATUS(status);
  EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

}  // namespace
