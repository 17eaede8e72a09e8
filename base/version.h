// Interface version reported by the version queries.
#pragma once

#include <cstdint>

namespace kx::base {

constexpr uint32_t GetMajorVersion() {
  return 1;
}
constexpr uint32_t GetMinorVersion() {
  return 1;
}
constexpr uint32_t GetRevision() {
  return 1;
}

}  // namespace kx::base
