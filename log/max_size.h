// The per-process table of log maximum sizes, keyed by the exact path text,
// and the event log's module state (attach step 6): the mutex that guards the
// table. A process where the module did not attach serialises the table on a
// lock of its own.
#pragma once

#include <cstdint>

#include "base/status.h"

namespace kx::log {

inline constexpr uint32_t kDefaultLogMaxSize = 1048576;
inline constexpr uint32_t kLargestLogMaxSize = 4194304;
// Bytes of a log path with its terminator; longer paths are not recorded.
inline constexpr uint32_t kLogPathRoom = 256;

// SMSetLogMaxSize: records `size` for `path`, replacing an earlier entry. 271
// for a null or empty path, a path of 256 bytes or more, or a size outside
// 1,048,576 to 4,194,304; 272 when the table cannot grow.
Status SetLogMaxSize(const char *path, uint32_t size);

// SMGetLogMaxSize: the size recorded for `path`; a path not yet recorded is
// entered with the default 1,048,576 (a path too long for the table is
// reported with the default and not entered). 271 for a null or empty path or
// a null size.
Status GetLogMaxSize(const char *path, uint32_t *size);

// Attach step 6: creates the table's mutex; 0 when it cannot be made. Detach
// empties the table and destroys the mutex; safe when attach never ran.
int EventLogAttach();
void EventLogDetach();

}  // namespace kx::log
