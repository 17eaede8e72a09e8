// Export context: callers on other platforms bracket work with a context; on
// this one there is none, so setting and resetting are no-ops that stay safe
// to call from anywhere (the formatter brackets every run with them).
#pragma once

#include <cstdint>

namespace kx::base {

// Stores the current context, always 0 here; a null slot is ignored.
inline void GetExportContext(uint32_t *context) {
  if (context != nullptr) *context = 0;
}
inline void SetExportContext(void *) {}
inline void ResetExportContext() {}

}  // namespace kx::base
