// SDO config objects: typed values under 16-bit property IDs, kept in an
// ordered index, with the exact size of their binary form cached at all times.
// The binary conversions (binary.h, binary_array.h) build on these routines;
// the exported SMSDOConfig* entries forward here one to one.
#pragma once

#include <cstdint>
#include <vector>

#include "base/memory.h"
#include "base/status.h"
#include "kxsupt/sdo.h"

namespace kx::sdo {

inline constexpr uint8_t kTypeCodeMask = 0x0F;
inline constexpr uint8_t kArrayFlag = 0x10;
inline constexpr uint8_t kCodeBinary = 12;  // a nested object in binary form (add only)
inline constexpr uint8_t kCodeConfig = 13;  // a nested config: the value holds handles
inline constexpr uint32_t kHandleSize = sizeof(void *);
inline constexpr uint32_t kEmptyBinarySize = 8;

class Config;

// One property: header and data share a single heap block (data follows).
struct Entry {
  uint32_t size;  // data bytes held (handles for code 13)
  uint16_t id;
  uint8_t type;
  uint8_t reserved;

  uint8_t *data() { return reinterpret_cast<uint8_t *>(this + 1); }
  const uint8_t *data() const { return reinterpret_cast<const uint8_t *>(this + 1); }
  bool holds_children() const { return (type & kTypeCodeMask) == kCodeConfig; }
  bool is_array() const { return (type & kArrayFlag) != 0; }
  uint32_t child_count() const { return is_array() ? size / kHandleSize : 1; }
  Config *child(uint32_t i) const;  // element i of a code-13 value (may be null in an array)
};

inline bool IsValidId(uint16_t id) {
  return id != 0 && static_cast<uint16_t>(id + 2) > 1;
}

// Bytes the binary form spends on a value: its 8-byte record, plus the value
// itself when it is too long (over 4 bytes) to sit inline in the record.
inline uint64_t EntryCost(uint64_t value_size) {
  return value_size <= 4 ? 8 : 8 + value_size;
}

class Config {
 public:
  struct Slot {
    Entry *entry;
    uint16_t id;
  };
  // The index lives on the library's heap like everything else; a growth
  // that fails throws std::bad_alloc, which Store and Reserve catch.
  using Index = std::vector<Slot, base::Allocator<Slot>>;

  uint32_t count() const { return static_cast<uint32_t>(index_.size()); }
  uint32_t binary_size() const { return binary_size_; }
  const Index &slots() const { return index_; }
  const Entry *Find(uint16_t id) const;

  // Adds a value (the add of the exported interface: code 12 converts, code 13
  // takes ownership of the children once it succeeds).
  Status Add(uint16_t id, uint8_t type, const void *data, uint32_t size, uint32_t replace);
  Status GetById(uint16_t id, uint8_t *type, void *buffer, uint32_t *size) const;
  Status GetByIndex(uint32_t index, uint16_t *id, uint8_t *type, void *buffer,
                    uint32_t *size) const;
  Status Remove(uint16_t id, uint32_t index, uint32_t remove_all);
  uint32_t RecalcBinarySize();
  // Room for `n` entries in the index; false when memory runs out.
  bool Reserve(uint32_t n);
  // Stores a value whose conversion is done: limits, allocation, index. The
  // add's argument checks are the caller's (the image reader makes them too).
  Status Store(uint16_t id, uint8_t type, const uint8_t *value, uint32_t size, uint32_t replace);

 private:
  friend Config *SDOConfigAlloc();
  friend void SDOConfigFree(Config *config);
  Config() = default;
  ~Config();

  void Clear();

  Index index_;  // ascending by ID, IDs unique
  uint32_t binary_size_ = kEmptyBinarySize;
  Config *next_to_free_ = nullptr;  // SDOConfigFree's list of configs still to free
};

// A new empty config; null when memory runs out.
Config *SDOConfigAlloc();
// Frees every entry and child, then the config; null is ignored.
void SDOConfigFree(Config *config);

// Size of the binary form of an entry's value, for the cost rule: a child's
// binary size, an array's header plus its elements' sizes, else the data size.
uint64_t BinaryValueSize(uint8_t type, const uint8_t *value, uint32_t size);
inline uint64_t EntryCost(const Entry &entry) {
  return EntryCost(BinaryValueSize(entry.type, entry.data(), entry.size));
}

// The exported handle is the config itself.
inline Config *FromHandle(SDOConfig *handle) {
  return reinterpret_cast<Config *>(handle);
}
inline const Config *FromHandle(const SDOConfig *handle) {
  return reinterpret_cast<const Config *>(handle);
}
inline SDOConfig *ToHandle(Config *config) {
  return reinterpret_cast<SDOConfig *>(config);
}

// The exported operations on a possibly null config (statuses of the interface).
uint32_t SDOConfigGetCount(const Config *config);
uint32_t SDOConfigGetBinarySize(const Config *config);
uint32_t SDOConfigReCalcBinarySize(Config *config);
Status SDOConfigAddData(Config *config, uint16_t id, uint8_t type, const void *data, uint32_t size,
                        uint32_t replace);
Status SDOConfigGetDataByID(const Config *config, uint16_t id, uint8_t *type, void *buffer,
                            uint32_t *size);
Status SDOConfigGetDataByIndex(const Config *config, uint32_t index, uint16_t *id, uint8_t *type,
                               void *buffer, uint32_t *size);
Status SDOConfigRemoveData(Config *config, uint16_t id, uint32_t index, uint32_t remove_all);

// Configs equal by binary form: 1 or 0 (two nulls are equal).
int32_t SDOConfigCompareByValue(const Config *a, const Config *b);
// A deep copy through the binary form, or null.
Config *SDOConfigClone(const Config *config);

}  // namespace kx::sdo
