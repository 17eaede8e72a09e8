// Unnamed mutexes: mutual exclusion across threads and the one-try and
// bounded time-outs, through the exported entries.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "kxsupt/ipc.h"

namespace {

TEST(Mutex, excludes_other_threads) {
  void *mutex = SMMutexCreate(nullptr);
  ASSERT_NE(mutex, nullptr);
  constexpr int kThreads = 4;
  constexpr int kRounds = 20000;
  long counter = 0;  // deliberately unguarded by anything but the mutex
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      // Half the threads wait for ever, half poll with a generous bound.
      const uint32_t timeout = t % 2 == 0 ? SM_WAIT_FOREVER : 4000000;
      for (int i = 0; i < kRounds; ++i) {
        if (SMMutexLock(mutex, timeout) != SM_STATUS_SUCCESS) {
          failures.fetch_add(1);
          continue;
        }
        ++counter;
        if (SMMutexUnLock(mutex) != SM_STATUS_SUCCESS) failures.fetch_add(1);
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(counter, long{kThreads} * kRounds);
  SMMutexDestroy(mutex);
}

// A mutex held by another thread times out at once for one try and after
// the bound otherwise; a bounded wait still succeeds when the holder lets go.
TEST(Mutex, bounded_waits_on_a_held_mutex_time_out) {
  void *mutex = SMMutexCreate(nullptr);
  ASSERT_NE(mutex, nullptr);
  std::atomic<int> stage{0};  // 1: held, 2: a waiter is starting, 3: let go
  std::thread holder([&] {
    EXPECT_EQ(SMMutexLock(mutex, SM_WAIT_FOREVER), SM_STATUS_SUCCESS);
    stage.store(1);
    while (stage.load() != 2) std::this_thread::yield();
    EXPECT_EQ(SMMutexUnLock(mutex), SM_STATUS_SUCCESS);
  });
  while (stage.load() != 1) std::this_thread::yield();
  EXPECT_EQ(SMMutexLock(mutex, 0), SM_STATUS_TIMEOUT);
  EXPECT_EQ(SMMutexLock(mutex, 1), SM_STATUS_TIMEOUT);
  EXPECT_EQ(SMMutexLock(mutex, 40), SM_STATUS_TIMEOUT);
  SMStatus status = SM_STATUS_ERROR;
  std::thread waiter([&] {
    stage.store(2);
    status = SMMutexLock(mutex, 4000000);  // about 1000 s of polling at most
    if (status == SM_STATUS_SUCCESS) SMMutexUnLock(mutex);
  });
  holder.join();
  waiter.join();
  EXPECT_EQ(status, SM_STATUS_SUCCESS);
  EXPECT_EQ(SMMutexLock(mutex, 0), SM_STATUS_SUCCESS);  // free: one try is enough
  EXPECT_EQ(SMMutexUnLock(mutex), SM_STATUS_SUCCESS);
  SMMutexDestroy(mutex);
}

}  // namespace
