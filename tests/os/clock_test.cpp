// The reference clock against the system clock, and the interval check
// against a model in signed 64-bit arithmetic: rows worked by hand, then
// random values biased to the 2^32 and sign boundaries.
#include <gtest/gtest.h>

#include <sys/time.h>

#include <random>
#include <tuple>

#include "kxsupt/os.h"

namespace {

constexpr uint64_t kNone = UINT64_MAX;
constexpr uint64_t k32 = uint64_t{1} << 32;
constexpr uint64_t kTop = uint64_t{1} << 63;

TEST(Clock, ticks_are_wall_clock_milliseconds) {
  auto now = [] {
    timeval tv;
    gettimeofday(&tv, nullptr);
    return uint64_t(tv.tv_sec) * 1000 + uint64_t(tv.tv_usec) / 1000;
  };
  for (int i = 0; i < 1000; ++i) {
    const uint64_t before = now(), ticks = SMRefTicksGet(), after = now();
    ASSERT_GE(ticks + 1, before);  // the double arithmetic may round down by 1
    ASSERT_LE(ticks, after);
  }
}

// (result, difference, first flag, second flag); untouched outputs stay 9.
using Check = std::tuple<int32_t, uint64_t, uint16_t, uint16_t>;

Check CheckTimer(uint64_t start, uint64_t current, uint64_t limit) {
  uint64_t difference = 9;
  uint16_t elapsed = 9, exceeded = 9;
  const int32_t result =
      SMRefTicksDiffCheckTimer(start, current, limit, &difference, &elapsed, &exceeded);
  return {result, difference, elapsed, exceeded};
}

// The model: D = current - start read as signed, reported as 0 unless
// positive; without a limit the first flag says that time moved; otherwise
// both flags say that the reported D exceeds the limit read as signed.
Check Model(uint64_t start, uint64_t current, uint64_t limit) {
  if (start == kNone || current == kNone) return {0, 9, 9, 9};
  const int64_t reported = std::max<int64_t>(int64_t(current - start), 0);
  if (limit == kNone) return {1, reported, reported > 0, 0};
  const bool over = reported > int64_t(limit);
  return {1, reported, over, over};
}

// Rows of the check's table, worked by hand, hold for the model and for the
// library; then random values do.
TEST(Clock, interval_check_matches_the_signed_model) {
  const uint64_t t0 = 1000;
  const struct {
    uint64_t current, limit;
    Check want;
  } rows[] = {
      {t0 + 5 * k32, kNone, {1, 5 * k32, 1, 0}},                // D >= 2^32, no limit
      {t0 + 5 * k32 + 9, 5 * k32 + 8, {1, 5 * k32 + 9, 1, 1}},  // low halves decide
      {t0 + 5 * k32, 5 * k32, {1, 5 * k32, 0, 0}},              // D >= 2^32, otherwise
      {t0 + k32, kTop, {1, k32, 1, 1}},                         // signed high half of the limit
      {t0 + 250, 249, {1, 250, 1, 1}},                          // small D above the limit
      {t0 + 250, 0x80000000u, {1, 250, 0, 0}},                  // unsigned low half of the limit
      {t0 - 1, kNone, {1, 0, 0, 0}},                            // clock went back, no limit
      {t0 - 10, kNone - 1, {1, 0, 1, 1}},                       // went back, limit top bit set
      {t0 - 10, 0, {1, 0, 0, 0}},                               // went back, otherwise
  };
  for (const auto &row : rows) {
    EXPECT_EQ(Model(t0, row.current, row.limit), row.want) << row.current << " " << row.limit;
    EXPECT_EQ(CheckTimer(t0, row.current, row.limit), row.want) << row.current << " " << row.limit;
  }
  EXPECT_EQ(CheckTimer(kNone, 5, 10), Check(0, 9, 9, 9));
  EXPECT_EQ(CheckTimer(5, kNone, 10), Check(0, 9, 9, 9));
  EXPECT_EQ(SMRefTicksDiffCheckTimer(1, 2, 0, nullptr, nullptr, nullptr), 1);
  std::mt19937_64 random(20240611);
  const uint64_t edges[] = {0,     1,         k32 - 1, k32,      0x7FFFFFFF, 0x80000000,
                            kNone, kNone - 1, kTop,    kTop - 1, 3 * k32,    0xFFFFFFFF00000000ull};
  auto pick = [&]() -> uint64_t {
    const uint64_t edge = edges[random() % std::size(edges)];
    switch (random() % 4) {
      case 0:
        return edge;
      case 1:
        return edge + random() % 5 - 2;
      case 2:
        return random() % 10000;
      default:
        return random();
    }
  };
  for (int i = 0; i < 200000; ++i) {
    const uint64_t start = pick();
    const uint64_t current = random() % 2 ? pick() : start + pick();
    const uint64_t limit = pick();
    ASSERT_EQ(CheckTimer(start, current, limit), Model(start, current, limit))
        << start << " " << current << " " << limit;
  }
}

}  // namespace
