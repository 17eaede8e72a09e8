// The process-wide unloading flag (see base/unloading.h).
#include "base/unloading.h"

namespace kx::base {

std::atomic<uint16_t> &UnloadingFlag() {
  static std::atomic<uint16_t> flag{0};
  return flag;
}

}  // namespace kx::base
