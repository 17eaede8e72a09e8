// Unnamed semaphores through the exported entries: count limits, one-try and
// bounded waits, releases that wake waiters, waits that survive signals, a
// producer/consumer run whose counts must balance, and foreign handles.
#include <gtest/gtest.h>

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "kxsupt/os.h"

namespace {

TEST(Semaphore, counts_and_limits) {
  EXPECT_EQ(SMSemaphoreCreate(nullptr, 32768), nullptr);
  EXPECT_EQ(SMSemaphoreCreate("named", 1), nullptr);  // named semaphores are not available
  void *big = SMSemaphoreCreate(nullptr, 32767);
  ASSERT_NE(big, nullptr);
  int32_t previous = -1;
  EXPECT_EQ(SMSemaphoreRelease(big, 1, &previous), SM_STATUS_SUCCESS);
  EXPECT_EQ(previous, 32767);
  SMSemaphoreDestroy(big);

  void *semaphore = SMSemaphoreCreate(nullptr, 2);
  ASSERT_NE(semaphore, nullptr);
  EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, 0), SM_STATUS_TIMEOUT);
  EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, 40), SM_STATUS_TIMEOUT);

  for (int32_t count : {0, -1, 32768, INT32_MAX}) {
    previous = -1;
    EXPECT_EQ(SMSemaphoreRelease(semaphore, count, &previous), 271u) << count;
    EXPECT_EQ(previous, -1);  // nothing stored for a refused count
  }
  EXPECT_EQ(SMSemaphoreRelease(semaphore, 3, &previous), SM_STATUS_SUCCESS);
  EXPECT_EQ(previous, 0);
  EXPECT_EQ(SMSemaphoreRelease(semaphore, 32767, nullptr), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMSemaphoreRelease(semaphore, 1, &previous), SM_STATUS_SUCCESS);
  EXPECT_EQ(previous, 3 + 32767);
  for (int i = 0; i < 3 + 32767 + 1; ++i) {
    ASSERT_EQ(SMSemaphoreAcquireWait(semaphore, 0), SM_STATUS_SUCCESS) << i;
  }
  EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, 0), SM_STATUS_TIMEOUT);
  SMSemaphoreDestroy(semaphore);
}

TEST(Semaphore, null_and_foreign_handles) {
  EXPECT_EQ(SMSemaphoreAcquireWait(nullptr, SM_WAIT_FOREVER), 271u);
  EXPECT_EQ(SMSemaphoreAcquireWait(nullptr, 0), 271u);
  EXPECT_EQ(SMSemaphoreRelease(nullptr, 1, nullptr), 271u);
  SMSemaphoreDestroy(nullptr);
  void *mutex = SMMutexCreate(nullptr);
  ASSERT_NE(mutex, nullptr);
  EXPECT_EQ(SMSemaphoreAcquireWait(mutex, 0), 257u);
  EXPECT_EQ(SMSemaphoreAcquireWait(mutex, SM_WAIT_FOREVER), 257u);
  EXPECT_EQ(SMSemaphoreRelease(mutex, 1, nullptr), 257u);
  EXPECT_EQ(SMSemaphoreRelease(mutex, 0, nullptr), 271u);  // the count is checked first
  SMSemaphoreDestroy(mutex);                               // not a semaphore: left alone
  EXPECT_EQ(SMMutexLock(mutex, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMMutexUnLock(mutex), SM_STATUS_SUCCESS);
  SMMutexDestroy(mutex);
  // A semaphore handle is refused by the mutex calls in turn.
  void *semaphore = SMSemaphoreCreate(nullptr, 0);
  ASSERT_NE(semaphore, nullptr);
  EXPECT_EQ(SMMutexLock(semaphore, 0), 257u);
  SMSemaphoreDestroy(semaphore);
}

// A waiter blocked for ever, or with a long bound, is woken by a release from
// another thread, and keeps waiting through signals that interrupt it.
void IgnoreSignal(int) {}

TEST(Semaphore, waits_survive_signals_and_end_on_release) {
  struct sigaction action = {};
  action.sa_handler = &IgnoreSignal;  // no SA_RESTART: the wait is interrupted
  struct sigaction saved;
  ASSERT_EQ(sigaction(SIGUSR1, &action, &saved), 0);
  // 600999 ms: the deadline's milliseconds carry into its seconds.
  for (uint32_t timeout : {SM_WAIT_FOREVER, 600999u}) {
    SCOPED_TRACE(timeout);
    void *semaphore = SMSemaphoreCreate(nullptr, 0);
    ASSERT_NE(semaphore, nullptr);
    std::atomic<bool> started{false};
    std::atomic<SMStatus> status{12345};
    std::thread waiter([&] {
      started.store(true);
      status.store(SMSemaphoreAcquireWait(semaphore, timeout));
    });
    while (!started.load()) std::this_thread::yield();
    // Signals spread over a while, so that most land while the waiter sleeps.
    for (int i = 0; i < 20; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      pthread_kill(waiter.native_handle(), SIGUSR1);
    }
    EXPECT_EQ(status.load(), 12345u);  // still waiting
    EXPECT_EQ(SMSemaphoreRelease(semaphore, 1, nullptr), SM_STATUS_SUCCESS);
    waiter.join();
    EXPECT_EQ(status.load(), SM_STATUS_SUCCESS);
    EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, 0), SM_STATUS_TIMEOUT);
    SMSemaphoreDestroy(semaphore);
  }
  sigaction(SIGUSR1, &saved, nullptr);
}

// Producers release in batches, consumers take one at a time with mixed
// time-outs; every count released is taken exactly once.
TEST(Semaphore, producers_and_consumers_balance) {
  void *semaphore = SMSemaphoreCreate(nullptr, 0);
  ASSERT_NE(semaphore, nullptr);
  constexpr int kProducers = 3;
  constexpr int kBatches = 400;
  constexpr int kBatch = 5;
  constexpr int kConsumers = 4;
  constexpr int kTotal = kProducers * kBatches * kBatch;
  std::atomic<int> taken{0};
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int p = 0; p < kProducers; ++p) {
    threads.emplace_back([&] {
      for (int b = 0; b < kBatches; ++b) {
        if (SMSemaphoreRelease(semaphore, kBatch, nullptr) != SM_STATUS_SUCCESS) {
          failures.fetch_add(1);
        }
      }
    });
  }
  for (int c = 0; c < kConsumers; ++c) {
    threads.emplace_back([&, c] {
      const uint32_t timeout = c % 2 == 0 ? SM_WAIT_FOREVER : 100;
      for (;;) {
        const int claimed = taken.fetch_add(1);
        if (claimed >= kTotal) return;
        SMStatus status;
        do {
          status = SMSemaphoreAcquireWait(semaphore, timeout);
        } while (status == SM_STATUS_TIMEOUT);
        if (status != SM_STATUS_SUCCESS) failures.fetch_add(1);
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  int32_t left = -1;
  EXPECT_EQ(SMSemaphoreRelease(semaphore, 1, &left), SM_STATUS_SUCCESS);
  EXPECT_EQ(left, 0);
  SMSemaphoreDestroy(semaphore);
}

}  // namespace
