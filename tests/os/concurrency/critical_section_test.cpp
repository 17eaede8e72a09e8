// SMCriticalSectionExecute from many threads: calls of one function never
// overlap, calls of different functions do, waiting callers are counted on
// the function's entry, and the entry is gone once the last caller leaves.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "kxsupt/os.h"
#include "os/critical_section.h"

namespace {

// Waits until done() holds, for at most ten seconds so that a broken lock
// fails the test instead of hanging it. Returns done().
template <typename Done>
bool WaitFor(Done done) {
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!done() && std::chrono::steady_clock::now() < give_up) std::this_thread::yield();
  return done();
}

class CriticalSectionThreads : public ::testing::Test {
 protected:
  void SetUp() override {
    attached_here_ =
        kx::os::CriticalSectionEntryCount() == -1 && kx::os::CriticalSectionAttach() == 1;
  }
  void TearDown() override {
    if (attached_here_) kx::os::CriticalSectionDetach();
  }

 private:
  bool attached_here_ = false;
};

// Two functions, each guarding its own plain counter and its own "inside"
// count, which must never exceed one.
struct Guarded {
  long counter = 0;  // touched only inside the critical section
  std::atomic<int> inside{0};
  std::atomic<int> overlaps{0};
};
Guarded g_first;
Guarded g_second;

void Enter(Guarded &guarded) {
  if (guarded.inside.fetch_add(1) != 0) guarded.overlaps.fetch_add(1);
  guarded.counter += 1;
  guarded.inside.fetch_sub(1);
}
void EnterFirst(void *) {
  Enter(g_first);
}
void EnterSecond(void *) {
  Enter(g_second);
}

TEST_F(CriticalSectionThreads, calls_of_one_function_never_overlap) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 5000;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kRounds; ++i) {
        SMCriticalSectionExecute(t % 2 == 0 ? &EnterFirst : &EnterSecond, nullptr, SM_WAIT_FOREVER);
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(g_first.overlaps.load(), 0);
  EXPECT_EQ(g_second.overlaps.load(), 0);
  EXPECT_EQ(g_first.counter, long{kThreads / 2} * kRounds);
  EXPECT_EQ(g_second.counter, long{kThreads / 2} * kRounds);
  EXPECT_EQ(kx::os::CriticalSectionEntryCount(), 0);  // both entries are gone
}

// One caller holds a function's section until told to leave; others queue
// behind it and are counted; a different function runs meanwhile.
std::atomic<bool> g_holding{false};
std::atomic<bool> g_leave{false};
std::atomic<int> g_held_runs{0};
std::atomic<int> g_other_runs{0};

void Hold(void *) {
  if (!g_holding.exchange(true)) {
    while (!g_leave.load()) std::this_thread::yield();
  }
  g_held_runs.fetch_add(1);
}
void Other(void *) {
  g_other_runs.fetch_add(1);
}

TEST_F(CriticalSectionThreads, waiting_callers_are_counted_and_other_functions_run) {
  constexpr int kWaiters = 5;
  std::thread holder([] { SMCriticalSectionExecute(&Hold, nullptr, SM_WAIT_FOREVER); });
  ASSERT_TRUE(WaitFor([] { return g_holding.load(); }));
  std::vector<std::thread> waiters;
  for (int i = 0; i < kWaiters; ++i) {
    waiters.emplace_back([] { SMCriticalSectionExecute(&Hold, nullptr, SM_WAIT_FOREVER); });
  }
  EXPECT_TRUE(WaitFor([] { return kx::os::CriticalSectionUsers(&Hold) == kWaiters + 1; }));
  EXPECT_EQ(g_held_runs.load(), 0);  // all of them wait for the holder

  // A different function is not held up by the held one.
  SMCriticalSectionExecute(&Other, nullptr, SM_WAIT_FOREVER);
  EXPECT_EQ(g_other_runs.load(), 1);
  EXPECT_EQ(kx::os::CriticalSectionEntryCount(), 1);  // only the held function's

  g_leave.store(true);
  holder.join();
  for (std::thread &waiter : waiters) waiter.join();
  EXPECT_EQ(g_held_runs.load(), kWaiters + 1);
  EXPECT_EQ(kx::os::CriticalSectionEntryCount(), 0);
}

}  // namespace
