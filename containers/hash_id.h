// Hash-ID table: an allocator of small integer IDs kept as a bitmap of 32-bit
// words in caller memory, sized in bytes on every call. ID n is bit n % 32 of
// word n / 32; ID 0 is reserved (never handed out or reported, and the "none"
// result). No state, no locks: callers serialise.
#pragma once

#include <cstdint>

#include "kxsupt/base.h"

namespace kx::containers {

// Bytes for IDs 0 to max_id, for 1 <= max_id <= 0x3FFFFFFE; else 0.
uint32_t HashIdBytesNeeded(uint32_t max_id);
// Zeroes the table: 0, or 271 for a null table.
SMStatus HashIdClear(void *table, uint32_t size);
// Takes a free ID by mode 0 (lowest) or 1 (above the used IDs of the last
// partly used word) and returns it; 0 when none, for a table below 4 bytes,
// a null table or another mode.
uint32_t HashIdAcquire(void *table, uint32_t size, uint32_t mode);
// Take, test and free one ID. 0 on success; 258 (take) when in use, 12
// (test, free) when not; 257 when id >= size * 8; 271 for a null table.
SMStatus HashIdAcquireById(void *table, uint32_t size, uint32_t id);
SMStatus HashIdVerify(const void *table, uint32_t size, uint32_t id);
SMStatus HashIdRelease(void *table, uint32_t size, uint32_t id);
// Lowest ID set in the first non-zero word, and highest ID set in the last
// non-zero word; 0 when none.
uint32_t HashIdMinInUse(const void *table, uint32_t size);
uint32_t HashIdMaxInUse(const void *table, uint32_t size);
// Enumeration: the first ID in use after (*word, *bit), which it stores back
// there; 0 when none. FindFirst starts from (0, 0), that is after ID 0.
uint32_t HashIdFindFirst(const void *table, uint32_t size, uint32_t *word, uint32_t *bit);
uint32_t HashIdFindNext(const void *table, uint32_t size, uint32_t *word, uint32_t *bit);

}  // namespace kx::containers
