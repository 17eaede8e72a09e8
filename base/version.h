// Interface version reported by the version queries.
#pragma once

#include <cstdint>

namespace kx::base {

inline constexpr uint32_t kMajorVersion = 1;
inline constexpr uint32_t kMinorVersion = 1;
inline constexpr uint32_t kRevision = 1;

}  // namespace kx::base
