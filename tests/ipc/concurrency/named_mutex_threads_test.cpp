// Named mutexes under threads of one process: threads that share a handle
// and threads with handles of their own keep a counter exact. The counter is
// read and written in two separate steps, so that only the lock keeps updates
// from being lost; it is atomic because the thread sanitizer cannot see the
// kernel's record locks order the threads.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "ipc_sandbox.h"
#include "kxsupt/ipc.h"

namespace {

using ipctest::IpcSandbox;

TEST(NamedMutexThreads, shared_and_own_handles_keep_a_counter_exact) {
  IpcSandbox sandbox;
  void *shared = SMMutexCreate("threads");
  ASSERT_NE(shared, nullptr);
  constexpr int kThreads = 6;
  constexpr int kRounds = 2000;
  std::atomic<long> counter{0};
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      // Half the threads share one handle, half open their own.
      void *mutex = t % 2 == 0 ? shared : SMMutexOpen("threads");
      if (mutex == nullptr) {
        ++failures;
        return;
      }
      const uint32_t timeout = t % 3 == 0 ? SM_WAIT_FOREVER : 600000;
      for (int i = 0; i < kRounds; ++i) {
        if (SMMutexLock(mutex, timeout) != SM_STATUS_SUCCESS) {
          ++failures;
          continue;
        }
        counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        if (SMMutexUnLock(mutex) != SM_STATUS_SUCCESS) ++failures;
      }
      if (mutex != shared) SMMutexDestroy(mutex);
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(counter.load(), long{kThreads} * kRounds);
  SMMutexDestroy(shared);
}

}  // namespace
