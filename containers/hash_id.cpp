// Hash-ID table: every scan works a 32-bit word at a time with the <bit>
// counting operations. The scans cover size / 4 whole words; the single-ID
// calls reach every ID below size * 8, so IDs in a trailing partial word can
// be taken by number but are never found by a scan.
#include "containers/hash_id.h"

#include <bit>
#include <cstring>

namespace kx::containers {
namespace {

constexpr uint32_t kFull = ~0u;
// Bit 0 of word 0 is ID 0, which scans and searches never consider.
constexpr uint32_t kReservedBit = 1u;
// An ID beyond the table is reported as kOsFailure.
constexpr Status kOutOfRange = Status::kOsFailure;

// The caller's table as native 32-bit words, read and written through memcpy
// so that any byte buffer (aligned or not) can serve.
class Bitmap {
 public:
  Bitmap(const void *table, uint32_t size)
      : bytes_(static_cast<unsigned char *>(const_cast<void *>(table))),
        size_(size),
        words_(size / 4) {}

  uint32_t words() const { return words_; }

  uint32_t Word(uint32_t index) const {
    uint32_t value;
    std::memcpy(&value, bytes_ + std::size_t{index} * 4, sizeof value);
    return value;
  }

  void SetWord(uint32_t index, uint32_t value) {
    std::memcpy(bytes_ + std::size_t{index} * 4, &value, sizeof value);
  }

  // Word `index` as the scans see it: ID 0 reads as clear.
  uint32_t ScanWord(uint32_t index) const {
    const uint32_t value = Word(index);
    return index == 0 ? value & ~kReservedBit : value;
  }

  // The byte holding `id` and the mask of its bit, or false when the ID is
  // beyond the table. Addressing one byte keeps an ID of a trailing partial
  // word inside the caller's size.
  bool Locate(uint32_t id, unsigned char **byte, unsigned char *mask) const {
    if (uint64_t{id} >= uint64_t{size_} * 8) return false;
    const uint32_t in_word = id % 32;
    uint64_t offset = uint64_t{id / 32} * 4;
    if constexpr (std::endian::native == std::endian::little) {
      offset += in_word / 8;
    } else {
      offset += 3 - in_word / 8;
    }
    if (offset >= size_) return false;
    *byte = bytes_ + offset;
    *mask = static_cast<unsigned char>(1u << (id % 8));
    return true;
  }

 private:
  unsigned char *bytes_;
  uint32_t size_;
  uint32_t words_;
};

constexpr uint32_t IdOf(uint32_t word, uint32_t bit) {
  return word * 32 + bit;
}

// Full for the allocator: all 32 bits set, or for word 0 all but ID 0.
bool IsFull(uint32_t index, uint32_t value) {
  return (index == 0 ? value | kReservedBit : value) == kFull;
}

// Mode 0: the lowest free ID.
uint32_t AcquireLowest(Bitmap &map) {
  for (uint32_t i = 0; i < map.words(); ++i) {
    const uint32_t value = map.Word(i);
    const uint32_t seen = i == 0 ? value | kReservedBit : value;
    if (seen == kFull) continue;
    const auto bit = static_cast<uint32_t>(std::countr_one(seen));
    map.SetWord(i, value | (1u << bit));
    return IdOf(i, bit);
  }
  return 0;
}

// Mode 1's word: the last word that is neither empty nor full; failing that
// the first empty word; failing that (every word full) none. Looking at the
// words in order and letting a partly used word always win, an empty one only
// when nothing came before, gives the same choice.
bool ChooseContinuationWord(const Bitmap &map, uint32_t *chosen) {
  for (uint32_t i = map.words(); i-- > 0;) {
    const uint32_t value = map.Word(i);
    if (value != 0 && !IsFull(i, value)) {
      *chosen = i;
      return true;
    }
  }
  for (uint32_t i = 0; i < map.words(); ++i) {
    if (map.Word(i) == 0) {
      *chosen = i;
      return true;
    }
  }
  return false;
}

// Mode 1: continue above the IDs in use, so that a just-released ID is not
// handed out again at once. Within the chosen word, scanning from bit 31 down,
// the ID taken is the lowest bit of the first run of clear bits that ends on
// a set bit: the bit just above the highest set bit that has a clear bit
// above it. Without such a set bit (an empty word, or set bits only in one run
// at the top) it is the lowest clear bit. IDs freed in earlier words come back
// only when no later word is partly used.
uint32_t AcquireContinuing(Bitmap &map) {
  uint32_t chosen = 0;
  if (!ChooseContinuationWord(map, &chosen)) return 0;
  const uint32_t used = map.ScanWord(chosen);
  const uint32_t clear_above = used & ~(used >> 1) & 0x7FFFFFFFu;
  uint32_t bit;
  if (clear_above != 0) {
    bit = 32 - static_cast<uint32_t>(std::countl_zero(clear_above));
  } else {
    bit = static_cast<uint32_t>(std::countr_one(chosen == 0 ? used | kReservedBit : used));
  }
  map.SetWord(chosen, map.Word(chosen) | (1u << bit));
  return IdOf(chosen, bit);
}

}  // namespace

uint32_t HashTableBytesNeeded(uint32_t max_id) {
  if (max_id < 1 || max_id > 0x3FFFFFFEu) return 0;
  return ((max_id & ~31u) + 32) / 8;
}

Status ClearHashTable(void *table, uint32_t size) {
  if (table == nullptr) return Status::kInvalidParameter;
  std::memset(table, 0, size);
  return Status::kSuccess;
}

uint32_t AcquireHashID(void *table, uint32_t size, uint32_t mode) {
  if (table == nullptr || size < 4) return 0;
  Bitmap map(table, size);
  switch (mode) {
    case 0:
      return AcquireLowest(map);
    case 1:
      return AcquireContinuing(map);
    default:
      return 0;
  }
}

Status AcquireHashIDByID(void *table, uint32_t size, uint32_t id) {
  if (table == nullptr) return Status::kInvalidParameter;
  unsigned char *byte;
  unsigned char mask;
  if (!Bitmap(table, size).Locate(id, &byte, &mask)) return kOutOfRange;
  if ((*byte & mask) != 0) return Status::kInUse;
  *byte = static_cast<unsigned char>(*byte | mask);
  return Status::kSuccess;
}

Status VerifyHashID(const void *table, uint32_t size, uint32_t id) {
  if (table == nullptr) return Status::kInvalidParameter;
  unsigned char *byte;
  unsigned char mask;
  if (!Bitmap(table, size).Locate(id, &byte, &mask)) return kOutOfRange;
  return (*byte & mask) != 0 ? Status::kSuccess : Status::kNotInUse;
}

Status ReleaseHashID(void *table, uint32_t size, uint32_t id) {
  if (table == nullptr) return Status::kInvalidParameter;
  unsigned char *byte;
  unsigned char mask;
  if (!Bitmap(table, size).Locate(id, &byte, &mask)) return kOutOfRange;
  if ((*byte & mask) == 0) return Status::kNotInUse;
  *byte = static_cast<unsigned char>(*byte & ~mask);
  return Status::kSuccess;
}

// The first non-zero word decides, even when its only set bit is ID 0 and
// later words hold IDs: the minimum is then 0.
uint32_t GetMinInUseID(const void *table, uint32_t size) {
  if (table == nullptr || size < 4) return 0;
  const Bitmap map(table, size);
  uint32_t i = 0;
  while (i < map.words() && map.Word(i) == 0) ++i;
  if (i == map.words()) return 0;
  const uint32_t used = map.ScanWord(i);
  return used != 0 ? IdOf(i, static_cast<uint32_t>(std::countr_zero(used))) : 0;
}

uint32_t GetMaxInUseID(const void *table, uint32_t size) {
  if (table == nullptr || size < 4) return 0;
  const Bitmap map(table, size);
  uint32_t i = map.words();
  while (i > 0 && map.Word(i - 1) == 0) --i;
  if (i == 0) return 0;
  const uint32_t used = map.ScanWord(i - 1);
  return used != 0 ? IdOf(i - 1, 31 - static_cast<uint32_t>(std::countl_zero(used))) : 0;
}

uint32_t FindFirstHashID(const void *table, uint32_t size, uint32_t *word, uint32_t *bit) {
  if (word == nullptr || bit == nullptr) return 0;
  *word = 0;
  *bit = 0;
  return FindNextHashID(table, size, word, bit);
}

// The position passed in is the ID already reported, so the search starts
// just after it; a bit position above 31 leaves nothing more in that word.
uint32_t FindNextHashID(const void *table, uint32_t size, uint32_t *word, uint32_t *bit) {
  if (table == nullptr || word == nullptr || bit == nullptr || size < 4) return 0;
  const Bitmap map(table, size);
  uint32_t i = *word;
  if (i >= map.words()) return 0;
  uint32_t found = *bit < 31 ? map.Word(i) & (kFull << (*bit + 1)) : 0;
  while (found == 0) {
    if (++i == map.words()) return 0;
    found = map.Word(i);
  }
  *word = i;
  *bit = static_cast<uint32_t>(std::countr_zero(found));
  return IdOf(*word, *bit);
}

}  // namespace kx::containers
