// The reference clock: wall-clock seconds and microseconds folded into
// milliseconds through double arithmetic, and the interval check whose
// comparison treats a 64-bit tick count as a signed high half and an unsigned
// low half.
#include "os/clock.h"

#include <sys/time.h>

namespace kx::os {

namespace {

// a > b with the high 32-bit halves compared as signed numbers and the low
// halves as unsigned ones. A limit with its top bit set is thus below every
// difference, even 0.
bool GreaterByHalves(uint64_t a, uint64_t b) {
  const auto a_high = static_cast<int32_t>(a >> 32);
  const auto b_high = static_cast<int32_t>(b >> 32);
  if (a_high != b_high) return a_high > b_high;
  return static_cast<uint32_t>(a) > static_cast<uint32_t>(b);
}

}  // namespace

uint64_t RefTicksGet() {
  timeval now;
  if (gettimeofday(&now, nullptr) != 0) return kNoTicks;
  // Clients compare these ticks with ones taken by other processes: the
  // rounding of this exact expression is part of the value.
  const double milliseconds =
      (static_cast<double>(now.tv_usec) * 0.000001 + static_cast<double>(now.tv_sec)) * 1000;
  return static_cast<uint64_t>(milliseconds);
}

int32_t RefTicksDiffCheckTimer(uint64_t start, uint64_t current, uint64_t limit,
                               uint64_t *difference, uint16_t *elapsed, uint16_t *exceeded) {
  if (start == kNoTicks || current == kNoTicks) return 0;
  // A difference of 0 or below (the clock went back) is reported as 0 and
  // still compared with the limit. Differences above and below 2^32 follow
  // the same rules.
  const auto signed_difference = static_cast<int64_t>(current - start);
  const uint64_t reported = signed_difference > 0 ? static_cast<uint64_t>(signed_difference) : 0;
  uint16_t moved = 0;
  uint16_t over = 0;
  if (limit == kNoTicks) {
    moved = reported > 0 ? 1 : 0;
  } else if (GreaterByHalves(reported, limit)) {
    moved = 1;
    over = 1;
  }
  if (difference != nullptr) *difference = reported;
  if (elapsed != nullptr) *elapsed = moved;
  if (exceeded != nullptr) *exceeded = over;
  return 1;
}

}  // namespace kx::os
