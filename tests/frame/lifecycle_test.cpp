// Load/unload counting and the attach chain's ordering and rollback rules,
// proven over fake module steps with fault injection.
#include "frame/lifecycle.h"
#include "frame/modules.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Fake modules record every attach and detach; one can be told to fail.
std::vector<std::string> g_calls;
int g_fail_step = -1;

template <int N>
int FakeAttach() {
  g_calls.push_back("attach " + std::to_string(N));
  return N == g_fail_step ? 0 : 1;
}
template <int N>
void FakeDetach() {
  g_calls.push_back("detach " + std::to_string(N));
}

constexpr kx::frame::ModuleStep kFakeChain[] = {
    {"one", &FakeAttach<1>, &FakeDetach<1>},   {"two", &FakeAttach<2>, &FakeDetach<2>},
    {"three", &FakeAttach<3>, &FakeDetach<3>}, {"four", &FakeAttach<4>, &FakeDetach<4>},
    {"five", &FakeAttach<5>, &FakeDetach<5>},  {"six", &FakeAttach<6>, &FakeDetach<6>},
    {"seven", &FakeAttach<7>, &FakeDetach<7>}, {"eight", &FakeAttach<8>, &FakeDetach<8>},
    {"nine", &FakeAttach<9>, &FakeDetach<9>},
};

class Lifecycle : public ::testing::Test {
 protected:
  void SetUp() override {
    g_calls.clear();
    g_fail_step = -1;
  }
  static std::vector<std::string> Sequence(const char *verb, std::vector<int> steps) {
    std::vector<std::string> out;
    for (int s : steps) out.push_back(std::string(verb) + " " + std::to_string(s));
    return out;
  }
};

TEST_F(Lifecycle, first_load_attaches_every_module_in_order) {
  kx::frame::Lifecycle life{kFakeChain};
  EXPECT_EQ(life.Load(), 1);
  EXPECT_EQ(g_calls, Sequence("attach", {1, 2, 3, 4, 5, 6, 7, 8, 9}));
  EXPECT_EQ(life.load_count(), 1);
  EXPECT_EQ(life.attach_count(), 1);
}

TEST_F(Lifecycle, second_load_only_counts) {
  kx::frame::Lifecycle life{kFakeChain};
  ASSERT_EQ(life.Load(), 1);
  g_calls.clear();
  EXPECT_EQ(life.Load(), 1);
  EXPECT_TRUE(g_calls.empty());
  EXPECT_EQ(life.load_count(), 2);
  EXPECT_EQ(life.attach_count(), 1);
  // The first unload only uncounts; the last one detaches in reverse.
  EXPECT_EQ(life.Unload(), 1);
  EXPECT_TRUE(g_calls.empty());
  EXPECT_EQ(life.unloading(), 0);
  EXPECT_EQ(life.Unload(), 1);
  EXPECT_EQ(g_calls, Sequence("detach", {9, 8, 7, 6, 5, 4, 3, 2, 1}));
  EXPECT_EQ(life.load_count(), 0);
  EXPECT_EQ(life.attach_count(), 0);
}

TEST_F(Lifecycle, unloading_flag_is_set_on_last_unload_and_cleared_by_next_load) {
  kx::frame::Lifecycle life{kFakeChain};
  ASSERT_EQ(life.Load(), 1);
  ASSERT_EQ(life.Unload(), 1);
  EXPECT_EQ(life.unloading(), 1);
  EXPECT_EQ(life.Load(), 1);
  EXPECT_EQ(life.unloading(), 0);
}

TEST_F(Lifecycle, unload_without_load_reports_zero_and_does_nothing) {
  kx::frame::Lifecycle life{kFakeChain};
  EXPECT_EQ(life.Unload(), 0);
  EXPECT_TRUE(g_calls.empty());
  EXPECT_EQ(life.load_count(), 0);
  EXPECT_EQ(life.unloading(), 0);
}

// Every position of the chain fails once: exactly the earlier steps are
// detached, newest first; the load count stays 0 and the attach count 1.
TEST_F(Lifecycle, failing_step_detaches_exactly_the_earlier_steps_in_reverse) {
  for (int fail = 1; fail <= 9; ++fail) {
    SCOPED_TRACE("failing step " + std::to_string(fail));
    g_calls.clear();
    g_fail_step = fail;
    kx::frame::Lifecycle life{kFakeChain};
    EXPECT_EQ(life.Load(), 0);
    std::vector<std::string> expected;
    for (int s = 1; s <= fail; ++s) expected.push_back("attach " + std::to_string(s));
    for (int s = fail - 1; s >= 1; --s) expected.push_back("detach " + std::to_string(s));
    EXPECT_EQ(g_calls, expected);
    EXPECT_EQ(life.load_count(), 0);
    EXPECT_EQ(life.attach_count(), 1);
  }
}

TEST_F(Lifecycle, attach_count_left_raised_by_failure_is_balanced_by_next_attempt) {
  g_fail_step = 6;
  kx::frame::Lifecycle life{kFakeChain};
  ASSERT_EQ(life.Load(), 0);
  // The raised count means a second load does not retry the modules: attach
  // reports success without running the chain, as the counting rules say.
  g_fail_step = -1;
  g_calls.clear();
  EXPECT_EQ(life.Load(), 1);
  EXPECT_TRUE(g_calls.empty());
  EXPECT_EQ(life.attach_count(), 2);
  EXPECT_EQ(life.load_count(), 1);
  // Unloading uncounts once: the attach count drops to 1, so nothing detaches.
  EXPECT_EQ(life.Unload(), 1);
  EXPECT_TRUE(g_calls.empty());
  EXPECT_EQ(life.attach_count(), 1);
}

TEST_F(Lifecycle, real_chain_starts_with_the_product_registry) {
  auto chain = kx::frame::ModuleChain();
  ASSERT_FALSE(chain.empty());
  EXPECT_STREQ(chain.front().name, "product registry");
}

}  // namespace
