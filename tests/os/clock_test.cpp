// The reference clock against the system clock, and the interval check: every
// row of its table with chosen values, then random values (biased to the
// 2^32 and sign boundaries) against a model written with signed 64-bit
// arithmetic.
#include <gtest/gtest.h>

#include <sys/time.h>

#include <random>

#include "kxsupt/os.h"

namespace {

constexpr uint64_t kNone = UINT64_MAX;
constexpr uint64_t k2To32 = uint64_t{1} << 32;

uint64_t IntegerMilliseconds() {
  timeval now;
  gettimeofday(&now, nullptr);
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_usec) / 1000;
}

TEST(Clock, ticks_are_wall_clock_milliseconds) {
  for (int i = 0; i < 1000; ++i) {
    const uint64_t before = IntegerMilliseconds();
    const uint64_t ticks = SMRefTicksGet();
    const uint64_t after = IntegerMilliseconds();
    // The double arithmetic may round a tick down by one millisecond.
    ASSERT_GE(ticks + 1, before);
    ASSERT_LE(ticks, after);
  }
}

struct Check {
  int32_t result;
  uint64_t difference;
  uint16_t elapsed;
  uint16_t exceeded;
};

Check RunCheck(uint64_t start, uint64_t current, uint64_t limit) {
  Check check{-1, 0xDEADBEEF, 7, 7};
  check.result = SMRefTicksDiffCheckTimer(start, current, limit, &check.difference, &check.elapsed,
                                          &check.exceeded);
  return check;
}

// The model: the difference is current - start as a signed number, reported
// as 0 when not positive; with no limit the first flag says that time moved;
// otherwise both flags say that the reported difference exceeds the limit,
// both read as signed 64-bit numbers.
Check ModelCheck(uint64_t start, uint64_t current, uint64_t limit) {
  if (start == kNone || current == kNone) return Check{0, 0xDEADBEEF, 7, 7};
  const int64_t difference = static_cast<int64_t>(current - start);
  const int64_t reported = difference > 0 ? difference : 0;
  if (limit == kNone) return Check{1, static_cast<uint64_t>(reported), reported > 0, 0};
  const bool over = reported > static_cast<int64_t>(limit);
  return Check{1, static_cast<uint64_t>(reported), over, over};
}

void ExpectSame(const Check &got, const Check &want) {
  EXPECT_EQ(got.result, want.result);
  EXPECT_EQ(got.difference, want.difference);
  EXPECT_EQ(got.elapsed, want.elapsed);
  EXPECT_EQ(got.exceeded, want.exceeded);
}

TEST(Clock, interval_check_table) {
  const uint64_t start = 1000;
  struct Row {
    const char *what;
    uint64_t current;
    uint64_t limit;
    Check want;
  };
  const Row rows[] = {
      {"large D, no limit", start + 5 * k2To32, kNone, {1, 5 * k2To32, 1, 0}},
      {"large D above limit", start + 5 * k2To32, 4 * k2To32 + 7, {1, 5 * k2To32, 1, 1}},
      {"large D, low half above",
       start + 5 * k2To32 + 9,
       5 * k2To32 + 8,
       {1, 5 * k2To32 + 9, 1, 1}},
      {"large D equal to limit", start + 5 * k2To32, 5 * k2To32, {1, 5 * k2To32, 0, 0}},
      {"large D below limit", start + 5 * k2To32, 6 * k2To32, {1, 5 * k2To32, 0, 0}},
      {"large D, limit top bit", start + k2To32, uint64_t{1} << 63, {1, k2To32, 1, 1}},
      {"small D, no limit", start + 250, kNone, {1, 250, 1, 0}},
      {"small D above limit", start + 250, 249, {1, 250, 1, 1}},
      {"small D equal to limit", start + 250, 250, {1, 250, 0, 0}},
      {"small D below limit", start + 250, 251, {1, 250, 0, 0}},
      {"small D, low-half limit with top bit", start + 250, 0x80000000u, {1, 250, 0, 0}},
      {"small D, limit top bit", start + 250, kNone - 1, {1, 250, 1, 1}},
      {"D zero, no limit", start, kNone, {1, 0, 0, 0}},
      {"D negative, no limit", start - 1, kNone, {1, 0, 0, 0}},
      {"D zero, limit top bit", start, uint64_t{1} << 63, {1, 0, 1, 1}},
      {"D negative, limit top bit", start - 10, kNone - 1, {1, 0, 1, 1}},
      {"D negative, limit zero", start - 10, 0, {1, 0, 0, 0}},
      {"D zero, limit positive", start, 40, {1, 0, 0, 0}},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.what);
    ExpectSame(RunCheck(start, row.current, row.limit), row.want);
  }
  // A failed reading on either side: 0 and nothing written.
  ExpectSame(RunCheck(kNone, 5, 10), Check{0, 0xDEADBEEF, 7, 7});
  ExpectSame(RunCheck(5, kNone, 10), Check{0, 0xDEADBEEF, 7, 7});
  // Every out-pointer is optional.
  EXPECT_EQ(SMRefTicksDiffCheckTimer(1, 2, 0, nullptr, nullptr, nullptr), 1);
}

TEST(Clock, interval_check_matches_signed_model) {
  std::mt19937_64 random(20240611);
  const uint64_t edges[] = {0,
                            1,
                            k2To32 - 1,
                            k2To32,
                            k2To32 + 1,
                            0x7FFFFFFF,
                            0x80000000,
                            0xFFFFFFFF,
                            kNone,
                            kNone - 1,
                            uint64_t{1} << 63,
                            (uint64_t{1} << 63) - 1,
                            3 * k2To32,
                            0xFFFFFFFF00000000ull,
                            0x80000000FFFFFFFFull};
  auto pick = [&]() -> uint64_t {
    switch (random() % 4) {
      case 0:
        return edges[random() % std::size(edges)];
      case 1:
        return edges[random() % std::size(edges)] + (random() % 5) - 2;
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
    const Check got = RunCheck(start, current, limit);
    const Check want = ModelCheck(start, current, limit);
    if (got.result != want.result || got.difference != want.difference ||
        got.elapsed != want.elapsed || got.exceeded != want.exceeded) {
      ADD_FAILURE() << "start " << start << " current " << current << " limit " << limit;
      return;
    }
  }
}

}  // namespace
