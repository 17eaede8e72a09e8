// The library-wide unloading flag: 1 from the last unload until the next
// load. The library frame sets it; code of lower layers that waits (the
// reader-writer locks) reads it after every wake-up, without a lock, to give
// up instead of waiting on a library that is going away.
#pragma once

#include <atomic>
#include <cstdint>

namespace kx::base {

// The process-wide flag itself, for the frame's lifecycle to drive.
std::atomic<uint16_t> &UnloadingFlag();

// True while the library is being unloaded.
inline bool Unloading() {
  return UnloadingFlag().load(std::memory_order_acquire) != 0;
}

}  // namespace kx::base
