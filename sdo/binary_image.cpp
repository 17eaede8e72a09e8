// BinaryImage: header, record and element checks of SDO binaries and binary
// arrays. A value must lie in the data area (past the entry table, inside the
// total size); an element must lie inside its array. Nothing else is required
// of an image, so every block this library writes opens unchanged.
#include "sdo/binary_image.h"

namespace kx::sdo {

bool BinaryImage::Open(const void *base, uint32_t room, Kind kind) {
  if (base == nullptr || room < kHeaderSize) return false;
  base_ = static_cast<const uint8_t *>(base);
  uint32_t magic = Load32(base_);
  if (magic == kObjectMagic) {
    is_array_ = false;
  } else if (magic == kArrayMagic) {
    is_array_ = true;
  } else {
    return false;
  }
  if ((kind == Kind::kObject && is_array_) || (kind == Kind::kArray && !is_array_)) return false;
  count_ = Load16(base_ + 4);
  total_ = Load16(base_ + 6);
  // Records (objects) and element headers (arrays) both take 8 bytes per count.
  data_start_ = kHeaderSize + kRecordSize * count_;
  return total_ >= kHeaderSize && total_ <= room && data_start_ <= total_;
}

bool BinaryImage::Value(uint32_t index, RecordValue *value) const {
  const uint8_t *record = Record(index);
  value->id = Load16(record);
  value->type = record[2];
  uint8_t storage = record[3];
  if ((storage & kStorageOutOfLine) == 0) {
    value->is_inline = true;
    value->data = record + 4;
    value->length = (storage & 3u) + 1;
    return true;
  }
  value->is_inline = false;
  uint32_t length = Load16(record + 4);
  uint32_t start = static_cast<uint32_t>(record - base_) + Load16(record + 6);
  if (start < data_start_ || start + length > total_) return false;
  value->data = base_ + start;
  value->length = length;
  return true;
}

uint32_t BinaryImage::Find(uint16_t id) const {
  // Branch-free lower bound: the search narrows [first, first + n) to one record.
  const uint8_t *first = base_ + kHeaderSize;
  uint32_t n = count_;
  if (n == 0) return 0;
  while (n > 1) {
    uint32_t half = n / 2;
    first = Load16(first + kRecordSize * half) <= id ? first + kRecordSize * half : first;
    n -= half;
  }
  uint32_t index = static_cast<uint32_t>(first - base_ - kHeaderSize) / kRecordSize;
  return Load16(first) == id ? index : count_;
}

bool BinaryImage::Element(uint32_t offset, uint32_t *size) const {
  if (offset > total_ || total_ - offset < kHeaderSize) return false;
  uint32_t declared = Load16(base_ + offset + 6);
  if (declared < kHeaderSize || declared > total_ - offset) return false;
  *size = declared;
  return true;
}

bool BinaryImage::StepOver(uint32_t *offset) const {
  if (*offset > total_ || total_ - *offset < kHeaderSize) return false;
  *offset += Load16(base_ + *offset + 6);
  return true;
}

bool BinaryImage::OpenForAppend(const void *base) {
  if (base == nullptr || HeaderMagic(base) != kArrayMagic) return false;
  base_ = static_cast<const uint8_t *>(base);
  is_array_ = true;
  count_ = HeaderCount(base);
  total_ = HeaderTotal(base);
  data_start_ = kHeaderSize;
  return total_ >= kHeaderSize;
}

}  // namespace kx::sdo
