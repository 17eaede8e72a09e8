// Unnamed mutexes: mutual exclusion across threads, the one-try and bounded
// time-outs, and the refusal of null and foreign handles, through the
// exported entries.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "kxsupt/os.h"

namespace {

// Holds a mutex on another thread until released, so that the test thread
// meets a mutex that is really owned by someone else.
class Holder {
 public:
  explicit Holder(void *mutex) : mutex_(mutex) {
    thread_ = std::thread([this] {
      EXPECT_EQ(SMMutexLock(mutex_, SM_WAIT_FOREVER), SM_STATUS_SUCCESS);
      held_.store(true);
      while (!release_.load()) std::this_thread::yield();
      EXPECT_EQ(SMMutexUnLock(mutex_), SM_STATUS_SUCCESS);
    });
    while (!held_.load()) std::this_thread::yield();
  }
  ~Holder() { Release(); }
  void Release() {
    release_.store(true);
    if (thread_.joinable()) thread_.join();
  }

 private:
  void *mutex_;
  std::thread thread_;
  std::atomic<bool> held_{false};
  std::atomic<bool> release_{false};
};

TEST(Mutex, ExcludesOtherThreads) {
  EXPECT_EQ(SMMutexCreate("shared"), nullptr);  // named mutexes are not available
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

// A held mutex times out at once for one try and after the bound otherwise;
// a bounded wait still succeeds when the holder lets go in time.
TEST(Mutex, TimeOutsOnAHeldMutex) {
  void *mutex = SMMutexCreate(nullptr);
  ASSERT_NE(mutex, nullptr);
  auto holder = std::make_unique<Holder>(mutex);
  EXPECT_EQ(SMMutexLock(mutex, 0), 3);
  EXPECT_EQ(SMMutexLock(mutex, 1), 3);
  EXPECT_EQ(SMMutexLock(mutex, 40), 3);
  std::atomic<bool> waiting{false};
  SMStatus status = SM_STATUS_ERROR;
  std::thread waiter([&] {
    waiting.store(true);
    status = SMMutexLock(mutex, 4000000);  // about 1000 s of polling at most
    if (status == SM_STATUS_SUCCESS) SMMutexUnLock(mutex);
  });
  while (!waiting.load()) std::this_thread::yield();
  holder.reset();
  waiter.join();
  EXPECT_EQ(status, SM_STATUS_SUCCESS);
  EXPECT_EQ(SMMutexLock(mutex, 0), SM_STATUS_SUCCESS);  // free: one try is enough
  EXPECT_EQ(SMMutexUnLock(mutex), SM_STATUS_SUCCESS);
  SMMutexDestroy(mutex);
}

TEST(Mutex, NullAndForeignHandlesAreRefused) {
  EXPECT_EQ(SMMutexLock(nullptr, SM_WAIT_FOREVER), 271);
  EXPECT_EQ(SMMutexLock(nullptr, 0), 271);
  EXPECT_EQ(SMMutexUnLock(nullptr), 271);
  SMMutexDestroy(nullptr);
  // Any handle of the library's IPC families starts with its kind word; a
  // semaphore's (kind 2) is refused by every mutex operation and left intact.
  struct ForeignHandle {
    uint32_t kind;
    const char *name;
    int object;
  } semaphore{2, nullptr, 77};
  EXPECT_EQ(SMMutexLock(&semaphore, SM_WAIT_FOREVER), 257);
  EXPECT_EQ(SMMutexLock(&semaphore, 0), 257);
  EXPECT_EQ(SMMutexUnLock(&semaphore), 257);
  SMMutexDestroy(&semaphore);  // not a mutex: not freed (a stack object here)
  EXPECT_EQ(semaphore.kind, 2u);
  EXPECT_EQ(semaphore.object, 77);
}

}  // namespace
