// The SDO binary and binary-array layouts, and BinaryImage: the one read-only
// view through which the module reads an image that may come from another
// process or a damaged file. Every offset, length and nested image is checked
// here against the declared total size (and the room the caller vouches for)
// before anyone dereferences it; the algorithms never interpret raw fields.
#pragma once

#include <cstdint>
#include <cstring>

namespace kx::sdo {

// Header: magic (host-order 32-bit word), 16-bit count, 16-bit total size.
inline constexpr uint32_t kObjectMagic = 0x53444F42u;  // "SDOB" as a word
inline constexpr uint32_t kArrayMagic = 0x53444142u;   // "SDAB" as a word
inline constexpr uint32_t kHeaderSize = 8;
inline constexpr uint32_t kRecordSize = 8;
inline constexpr uint32_t kMaxImageSize = 65535;  // the total size is a 16-bit field

// Storage byte of a record: bit 2 marks an out-of-line value; otherwise bits
// 0-1 hold (length - 1) of the value kept in the record's last four bytes.
inline constexpr uint8_t kStorageOutOfLine = 0x04;
inline constexpr uint32_t kInlineSlot = 4;

inline uint16_t Load16(const uint8_t *at) {
  uint16_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}
inline uint32_t Load32(const uint8_t *at) {
  uint32_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}
inline void Store16(uint8_t *at, uint16_t value) {
  std::memcpy(at, &value, sizeof value);
}
inline void Store32(uint8_t *at, uint32_t value) {
  std::memcpy(at, &value, sizeof value);
}

// One value of an object image, as its record places it.
struct RecordValue {
  uint16_t id;
  uint8_t type;
  bool is_inline;
  const uint8_t *data;  // inside the image
  uint32_t length;      // the value's own length: 1-4 inline, the length field otherwise
};

class BinaryImage {
 public:
  enum class Kind { kObject, kArray, kEither };

  // Opens the image at `base`, of which at most `room` bytes may be read. True
  // when the magic is the expected one, the total size lies in 8..room, and
  // the entry table (objects) or eight bytes per element (arrays) fit in it.
  bool Open(const void *base, uint32_t room, Kind kind);

  const uint8_t *base() const { return base_; }
  bool is_array() const { return is_array_; }
  uint32_t count() const { return count_; }
  uint32_t total_size() const { return total_; }

  // Objects: the record at `index` (< count) and its value; false when the
  // value strays outside the data area.
  bool Value(uint32_t index, RecordValue *value) const;
  // Objects: the index of the record holding `id` (binary search over the
  // table, which is in ascending ID order), or count() when none does.
  uint32_t Find(uint16_t id) const;
  const uint8_t *Record(uint32_t index) const { return base_ + kHeaderSize + kRecordSize * index; }

  // Arrays: the size of the element that starts at `offset`; false when its
  // header or its declared size stray outside the image.
  bool Element(uint32_t offset, uint32_t *size) const;

  // Arrays being appended to, opened with OpenForAppend: `*offset` moved past
  // the element there by the size its header declares, whatever that is
  // (elements are copied in as given, so a header need not describe its
  // element). False when that header does not lie inside the image.
  bool StepOver(uint32_t *offset) const;

  // Opens an array for appending: only the magic and a total size of at least
  // 8 are required, since the elements are then stepped over one by one.
  bool OpenForAppend(const void *base);

 private:
  const uint8_t *base_ = nullptr;
  uint32_t count_ = 0;
  uint32_t total_ = 0;
  uint32_t data_start_ = 0;  // first byte past the entry table (objects)
  bool is_array_ = false;
};

// Header fields of a block whose magic is not yet known (the 8 bytes are read).
inline uint32_t HeaderMagic(const void *base) {
  return Load32(static_cast<const uint8_t *>(base));
}
inline uint16_t HeaderCount(const void *base) {
  return Load16(static_cast<const uint8_t *>(base) + 4);
}
inline uint16_t HeaderTotal(const void *base) {
  return Load16(static_cast<const uint8_t *>(base) + 6);
}

}  // namespace kx::sdo
