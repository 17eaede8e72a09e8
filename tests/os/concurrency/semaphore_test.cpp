// Unnamed semaphores: count limits, one-try and bounded waits, releases that
// wake waiters, waits that survive signals, and a producer/consumer run
// whose counts must balance.
#include <gtest/gtest.h>

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "kxsupt/ipc.h"

namespace {

TEST(Semaphore, counts_and_limits) {
  EXPECT_EQ(SMSemaphoreCreate(nullptr, 32768), nullptr);
  void *semaphore = SMSemaphoreCreate(nullptr, 32767);
  ASSERT_NE(semaphore, nullptr);
  int32_t previous = -1;
  EXPECT_EQ(SMSemaphoreRelease(semaphore, 1, &previous), SM_STATUS_SUCCESS);
  EXPECT_EQ(previous, 32767);
  for (int32_t count : {0, -1, 32768, INT32_MAX}) {
    EXPECT_EQ(SMSemaphoreRelease(semaphore, count, &previous), SM_STATUS_INVALID_PARAMETER)
        << count;
  }
  EXPECT_EQ(SMSemaphoreRelease(semaphore, 32767, &previous), SM_STATUS_SUCCESS);
  EXPECT_EQ(previous, 32768);  // nothing changed by the refused releases
  for (int i = 0; i < 32768 + 32767; ++i) {
    ASSERT_EQ(SMSemaphoreAcquireWait(semaphore, 0), SM_STATUS_SUCCESS) << i;
  }
  EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, 0), SM_STATUS_TIMEOUT);
  EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, 40), SM_STATUS_TIMEOUT);

  SMSemaphoreDestroy(semaphore);
}

void IgnoreSignal(int) {}

// A waiter blocked for ever, or with a bound long enough that the deadline's
// milliseconds carry into its seconds, keeps waiting through interrupting
// signals and ends on a release from another thread.
TEST(Semaphore, waits_survive_signals_and_end_on_release) {
  struct sigaction action = {}, saved;
  action.sa_handler = &IgnoreSignal;  // no SA_RESTART: the wait is interrupted
  ASSERT_EQ(sigaction(SIGUSR1, &action, &saved), 0);
  for (uint32_t timeout : {SM_WAIT_FOREVER, 600999u}) {
    void *semaphore = SMSemaphoreCreate(nullptr, 0);
    ASSERT_NE(semaphore, nullptr);
    std::atomic<SMStatus> status{12345};
    std::thread waiter([&] { status.store(SMSemaphoreAcquireWait(semaphore, timeout)); });
    for (int i = 0; i < 20; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      pthread_kill(waiter.native_handle(), SIGUSR1);
    }
    EXPECT_EQ(status.load(), 12345u) << timeout;  // still waiting
    EXPECT_EQ(SMSemaphoreRelease(semaphore, 1, nullptr), SM_STATUS_SUCCESS);
    waiter.join();
    EXPECT_EQ(status.load(), SM_STATUS_SUCCESS) << timeout;
    SMSemaphoreDestroy(semaphore);
  }
  sigaction(SIGUSR1, &saved, nullptr);
}

// Producers release in batches, consumers take one at a time with mixed
// time-outs; every count released is taken exactly once.
TEST(Semaphore, producers_and_consumers_balance) {
  void *semaphore = SMSemaphoreCreate(nullptr, 0);
  ASSERT_NE(semaphore, nullptr);
  constexpr int kProducers = 3, kBatches = 400, kBatch = 5, kConsumers = 4;
  std::atomic<int> claimed{0}, failures{0};
  std::vector<std::thread> threads;
  for (int p = 0; p < kProducers; ++p) {
    threads.emplace_back([&] {
      for (int b = 0; b < kBatches; ++b) {
        if (SMSemaphoreRelease(semaphore, kBatch, nullptr) != SM_STATUS_SUCCESS)
          failures.fetch_add(1);
      }
    });
  }
  for (int c = 0; c < kConsumers; ++c) {
    threads.emplace_back([&, c] {
      while (claimed.fetch_add(1) < kProducers * kBatches * kBatch) {
        SMStatus status;
        do {
          status = SMSemaphoreAcquireWait(semaphore, c % 2 ? 100 : SM_WAIT_FOREVER);
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
