// The process heap, unadorned: no header, no zeroing, no tracking.
#include "base/memory.h"

#include <cstdlib>

namespace kx::base {

void *AllocMem(uint32_t size) {
  return std::malloc(size);
}

void *ReAllocMem(void *block, uint32_t size) {
  return std::realloc(block, size);
}

void FreeMem(void *block) {
  std::free(block);
}

}  // namespace kx::base
