// SMCriticalSectionExecute from many threads: calls of one function never
// overlap, calls of different functions do not wait for each other, waiting
// callers are counted on the function's entry, and the entries are gone once
// the last callers leave.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "kxsupt/os.h"
#include "os/critical_section.h"

namespace {

// Waits until done() holds, at most ten seconds, so that a broken lock fails
// the test instead of hanging it.
template <typename Done>
bool WaitFor(Done done) {
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!done() && std::chrono::steady_clock::now() < give_up) std::this_thread::yield();
  return done();
}

// Each function guards its own plain counter; "inside" must never exceed 1.
struct Guarded {
  long counter = 0;
  std::atomic<int> inside{0}, overlaps{0};
};
Guarded g_first, g_second;

void Enter(Guarded &g) {
  if (g.inside.fetch_add(1) != 0) g.overlaps.fetch_add(1);
  g.counter += 1;
  g.inside.fetch_sub(1);
}
void EnterFirst(void *) {
  Enter(g_first);
}
void EnterSecond(void *) {
  Enter(g_second);
}

std::atomic<bool> g_holding{false}, g_leave{false};
std::atomic<int> g_held_runs{0};

// The first caller holds the section until told to leave.
void Hold(void *) {
  if (!g_holding.exchange(true)) {
    while (!g_leave.load()) std::this_thread::yield();
  }
  g_held_runs.fetch_add(1);
}

TEST(CriticalSectionThreads, one_function_at_a_time_different_functions_apart) {
  const bool here = kx::os::CriticalSectionEntryCount() == -1 && kx::os::CriticalSectionAttach();
  constexpr int kThreads = 8, kRounds = 5000;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kRounds; ++i) {
        SMCriticalSectionExecute(t % 2 ? &EnterFirst : &EnterSecond, nullptr, SM_WAIT_FOREVER);
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(g_first.overlaps.load() + g_second.overlaps.load(), 0);
  EXPECT_EQ(g_first.counter, long{kThreads / 2} * kRounds);
  EXPECT_EQ(g_second.counter, long{kThreads / 2} * kRounds);
  EXPECT_EQ(kx::os::CriticalSectionEntryCount(), 0);

  // Callers queue behind a held section and are counted; another function
  // runs meanwhile.
  constexpr int kWaiters = 5;
  threads.clear();
  for (int i = 0; i < kWaiters + 1; ++i) {
    threads.emplace_back([] { SMCriticalSectionExecute(&Hold, nullptr, SM_WAIT_FOREVER); });
  }
  EXPECT_TRUE(WaitFor([] { return kx::os::CriticalSectionUsers(&Hold) == kWaiters + 1; }));
  EXPECT_EQ(g_held_runs.load(), 0);
  SMCriticalSectionExecute(&EnterFirst, nullptr, SM_WAIT_FOREVER);
  EXPECT_EQ(g_first.counter, long{kThreads / 2} * kRounds + 1);
  EXPECT_EQ(kx::os::CriticalSectionEntryCount(), 1);  // only the held function's
  g_leave.store(true);
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(g_held_runs.load(), kWaiters + 1);
  EXPECT_EQ(kx::os::CriticalSectionEntryCount(), 0);
  if (here) kx::os::CriticalSectionDetach();
}

}  // namespace
