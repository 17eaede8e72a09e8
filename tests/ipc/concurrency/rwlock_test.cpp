// Reader-writer locks, named and unnamed: sharing among readers, writer
// preference, whom a release wakes, the overflow status, destruction and
// library unloading under waiters, and a randomized run of threads checked
// against the lock's invariant.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <random>
#include <thread>
#include <vector>

#include "base/unloading.h"
#include "ipc/rwlock.h"
#include "ipc_sandbox.h"
#include "kxsupt/ipc.h"

namespace {

using ipctest::IpcSandbox;
using namespace std::chrono_literals;

kx::ipc::RwLockHandle *AsLock(void *handle) {
  return static_cast<kx::ipc::RwLockHandle *>(handle);
}

// Waits (generously) until `done` holds; false if it never does.
template <typename Condition>
bool Eventually(Condition done) {
  for (int i = 0; i < 20000; ++i) {
    if (done()) return true;
    std::this_thread::sleep_for(1ms);
  }
  return false;
}

// The counters, read under the lock's guard.
struct Counters {
  int32_t active_readers, waiting_writers, waiting_readers;
  uint16_t writer_active;
};
Counters Read(void *handle) {
  kx::ipc::RwLockHandle *lock = AsLock(handle);
  SMMutexLock(lock->guard, SM_WAIT_FOREVER);
  Counters counters{lock->active_readers, lock->waiting_writers, lock->waiting_readers,
                    lock->writer_active};
  SMMutexUnLock(lock->guard);
  return counters;
}

class RwLock : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    lock_ = SMRWLCreate(GetParam() ? "rwl" : nullptr);
    ASSERT_NE(lock_, nullptr);
  }
  void TearDown() override { SMRWLDestroy(lock_); }
  IpcSandbox sandbox_;
  void *lock_ = nullptr;
  // A named lock's two gates are one semaphore, so a wake meant for a writer
  // may be taken by a reader, which only re-checks and waits again; a
  // bounded wait lets the writer re-check too.
  const uint32_t wait_ = GetParam() ? 5 : SM_WAIT_FOREVER;
};

// Two readers hold the lock at once; a writer waits for both; while it
// waits a new reader waits too, though only readers hold the lock.
TEST_P(RwLock, readers_share_and_a_waiting_writer_keeps_new_readers_out) {
  ASSERT_EQ(SMRWLReadLockGet(lock_, wait_), SM_STATUS_SUCCESS);
  ASSERT_EQ(SMRWLReadLockGet(lock_, wait_), SM_STATUS_SUCCESS);
  std::atomic<int> writer_in{0}, reader_in{0};
  std::thread writer([&] {
    EXPECT_EQ(SMRWLWriteLockGet(lock_, wait_), SM_STATUS_SUCCESS);
    writer_in = 1;
    std::this_thread::sleep_for(20ms);
    writer_in = 2;
    EXPECT_EQ(SMRWLWriteLockRelease(lock_), SM_STATUS_SUCCESS);
  });
  ASSERT_TRUE(Eventually([&] { return Read(lock_).waiting_writers == 1; }));
  std::thread reader([&] {
    EXPECT_EQ(SMRWLReadLockGet(lock_, wait_), SM_STATUS_SUCCESS);
    reader_in = writer_in.load() == 2 ? 1 : -1;  // only after the writer
    EXPECT_EQ(SMRWLReadLockRelease(lock_), SM_STATUS_SUCCESS);
  });
  ASSERT_TRUE(Eventually([&] { return Read(lock_).waiting_readers == 1; }));
  EXPECT_EQ(writer_in.load(), 0);
  EXPECT_EQ(SMRWLReadLockRelease(lock_), SM_STATUS_SUCCESS);
  EXPECT_EQ(writer_in.load(), 0);  // one reader still holds it
  EXPECT_EQ(SMRWLReadLockRelease(lock_), SM_STATUS_SUCCESS);
  writer.join();
  reader.join();
  EXPECT_EQ(reader_in.load(), 1);
  const Counters after = Read(lock_);
  EXPECT_EQ(after.active_readers, 0);
  EXPECT_EQ(after.waiting_readers, 0);
  EXPECT_EQ(after.waiting_writers, 0);
  EXPECT_EQ(after.writer_active, 0);
}

// Releasing a write lock with readers and writers waiting lets one writer
// in, and the readers only after the last writer.
TEST_P(RwLock, releasing_a_write_lock_wakes_one_writer_first) {
  ASSERT_EQ(SMRWLWriteLockGet(lock_, wait_), SM_STATUS_SUCCESS);
  std::atomic<int> writers_inside{0}, most_writers{0}, readers_done{0}, writers_done{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      EXPECT_EQ(SMRWLWriteLockGet(lock_, wait_), SM_STATUS_SUCCESS);
      const int inside = ++writers_inside;
      most_writers = std::max(most_writers.load(), inside);
      std::this_thread::sleep_for(10ms);
      --writers_inside;
      ++writers_done;
      EXPECT_EQ(SMRWLWriteLockRelease(lock_), SM_STATUS_SUCCESS);
    });
  }
  ASSERT_TRUE(Eventually([&] { return Read(lock_).waiting_writers == 2; }));
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      EXPECT_EQ(SMRWLReadLockGet(lock_, wait_), SM_STATUS_SUCCESS);
      EXPECT_EQ(writers_done.load(), 2);
      ++readers_done;
      EXPECT_EQ(SMRWLReadLockRelease(lock_), SM_STATUS_SUCCESS);
    });
  }
  ASSERT_TRUE(Eventually([&] { return Read(lock_).waiting_readers == 3; }));
  EXPECT_EQ(SMRWLWriteLockRelease(lock_), SM_STATUS_SUCCESS);
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(most_writers.load(), 1);
  EXPECT_EQ(readers_done.load(), 3);
}

TEST_P(RwLock, a_full_count_of_waiters_is_refused) {
  kx::ipc::RwLockHandle *lock = AsLock(lock_);
  lock->waiting_readers = INT32_MAX;
  EXPECT_EQ(SMRWLReadLockGet(lock_, 0), SM_STATUS_WRITE_FAILED);
  lock->waiting_readers = 0;
  lock->waiting_writers = INT32_MAX;
  EXPECT_EQ(SMRWLWriteLockGet(lock_, 0), SM_STATUS_WRITE_FAILED);
  lock->waiting_writers = 0;
  EXPECT_EQ(SMRWLWriteLockGet(lock_, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMRWLWriteLockRelease(lock_), SM_STATUS_SUCCESS);
}

// A thread that wakes while the library unloads gives up.
TEST_P(RwLock, a_waiter_gives_up_when_the_library_unloads) {
  ASSERT_EQ(SMRWLWriteLockGet(lock_, SM_WAIT_FOREVER), SM_STATUS_SUCCESS);
  SMStatus status = SM_STATUS_SUCCESS;
  std::thread reader([&] { status = SMRWLReadLockGet(lock_, SM_WAIT_FOREVER); });
  ASSERT_TRUE(Eventually([&] { return Read(lock_).waiting_readers == 1; }));
  kx::base::UnloadingFlag().store(1);
  EXPECT_EQ(SMRWLWriteLockRelease(lock_), SM_STATUS_SUCCESS);  // wakes the reader
  reader.join();
  kx::base::UnloadingFlag().store(0);
  EXPECT_EQ(status, SM_STATUS_ERROR);
}

TEST_P(RwLock, destroying_the_lock_sends_every_waiter_away) {
  ASSERT_EQ(SMRWLWriteLockGet(lock_, SM_WAIT_FOREVER), SM_STATUS_SUCCESS);
  std::atomic<int> failed{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 6; ++i) {
    waiters.emplace_back([&, i] {
      const SMStatus status = i % 2 ? SMRWLReadLockGet(lock_, SM_WAIT_FOREVER)
                                    : SMRWLWriteLockGet(lock_, SM_WAIT_FOREVER);
      if (status == SM_STATUS_ERROR) ++failed;
    });
  }
  ASSERT_TRUE(Eventually([&] {
    const Counters counters = Read(lock_);
    return counters.waiting_readers == 3 && counters.waiting_writers == 3;
  }));
  SMRWLDestroy(lock_);
  lock_ = nullptr;
  for (std::thread &waiter : waiters) waiter.join();
  EXPECT_EQ(failed.load(), 6);
}

// Threads take the lock at random for reading or writing and check, inside,
// that a writer is alone and readers see no writer.
TEST_P(RwLock, random_readers_and_writers_keep_the_invariant) {
  std::atomic<int> readers{0}, writers{0}, violations{0}, failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t) {
    threads.emplace_back([&, t] {
      std::mt19937 random(t);
      for (int i = 0; i < 300; ++i) {
        const uint32_t timeout = random() % 2 ? wait_ : 5;
        if (random() % 4 == 0) {
          if (SMRWLWriteLockGet(lock_, timeout) != SM_STATUS_SUCCESS) ++failures;
          if (++writers != 1 || readers.load() != 0) ++violations;
          std::this_thread::yield();
          --writers;
          if (SMRWLWriteLockRelease(lock_) != SM_STATUS_SUCCESS) ++failures;
        } else {
          if (SMRWLReadLockGet(lock_, timeout) != SM_STATUS_SUCCESS) ++failures;
          ++readers;
          if (writers.load() != 0) ++violations;
          std::this_thread::yield();
          --readers;
          if (SMRWLReadLockRelease(lock_) != SM_STATUS_SUCCESS) ++failures;
        }
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(violations.load(), 0);
  EXPECT_EQ(failures.load(), 0);
}

INSTANTIATE_TEST_SUITE_P(NamedAndUnnamed, RwLock, ::testing::Bool(),
                         [](const auto &info) { return info.param ? "named" : "unnamed"; });

}  // namespace
