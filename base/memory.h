// Memory services: thin wrappers over the process heap, so that everything the
// library hands out can be released by any of its release calls.
#pragma once

#include <cstdint>

namespace kx::base {

void *AllocMem(uint32_t size);
void *ReAllocMem(void *block, uint32_t size);
void FreeMem(void *block);

}  // namespace kx::base
