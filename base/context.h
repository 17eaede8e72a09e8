// Export context: callers on other platforms bracket work with a context; on
// this one there is none, so entering and leaving are no-ops that stay safe
// to call from anywhere (the formatter brackets every run with them).
#pragma once

#include <cstdint>

namespace kx::base {

inline uint32_t CurrentExportContext() {
  return 0;
}
inline void EnterExportContext(void *) {}
inline void LeaveExportContext() {}

}  // namespace kx::base
