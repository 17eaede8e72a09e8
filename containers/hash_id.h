// Hash-ID table: an allocator of small integer IDs kept as a bitmap of 32-bit
// words in caller memory, sized in bytes on every call. ID n is bit n % 32 of
// word n / 32; ID 0 is reserved (never handed out or reported, and the "none"
// result). No state, no locks: callers serialise.
#pragma once

#include <cstdint>

#include "base/status.h"

namespace kx::containers {

// Bytes for IDs 0 to max_id, for 1 <= max_id <= 0x3FFFFFFE; else 0.
uint32_t HashTableBytesNeeded(uint32_t max_id);
// Zeroes the table: kSuccess, or kInvalidParameter for a null table.
Status ClearHashTable(void *table, uint32_t size);
// Takes a free ID by mode 0 (lowest) or 1 (above the used IDs of the last
// partly used word) and returns it; 0 when none, for a table below 4 bytes,
// a null table or another mode.
uint32_t AcquireHashID(void *table, uint32_t size, uint32_t mode);
// Take, test and free one ID. kSuccess; kInUse (take) when in use, kNotInUse
// (test, free) when not; kOsFailure when id >= size * 8; kInvalidParameter
// for a null table.
Status AcquireHashIDByID(void *table, uint32_t size, uint32_t id);
Status VerifyHashID(const void *table, uint32_t size, uint32_t id);
Status ReleaseHashID(void *table, uint32_t size, uint32_t id);
// Lowest ID set in the first non-zero word, and highest ID set in the last
// non-zero word; 0 when none.
uint32_t GetMinInUseID(const void *table, uint32_t size);
uint32_t GetMaxInUseID(const void *table, uint32_t size);
// Enumeration: the first ID in use after (*word, *bit), which it stores back
// there; 0 when none. FindFirst starts from (0, 0), that is after ID 0.
uint32_t FindFirstHashID(const void *table, uint32_t size, uint32_t *word, uint32_t *bit);
uint32_t FindNextHashID(const void *table, uint32_t size, uint32_t *word, uint32_t *bit);

}  // namespace kx::containers
