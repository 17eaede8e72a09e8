// The millisecond reference clock and the interval check built on it. Ticks
// are wall-clock milliseconds since the epoch; all ones means "no reading"
// (and, for a limit, "no limit").
#pragma once

#include <cstdint>

namespace kx::os {

// All-ones ticks: a failed reading, or a limit that never expires.
inline constexpr uint64_t kNoTicks = UINT64_MAX;

// The wall clock in milliseconds, kNoTicks when it cannot be read.
uint64_t RefTicksGet();

// Checks the interval from start to current against limit. Returns 0, writing
// nothing, when start or current is kNoTicks; otherwise 1 after storing
// through each non-null pointer: the difference (0 when the clock went back),
// whether time has moved past the limit (or moved at all, without a limit),
// and whether the limit is exceeded.
int32_t RefTicksDiffCheckTimer(uint64_t start, uint64_t current, uint64_t limit,
                               uint64_t *difference, uint16_t *elapsed, uint16_t *exceeded);

}  // namespace kx::os
