// SDO binary arrays: the header, appending an element, reading one, and the
// conversions between an array of configs and one block. Elements are found
// by stepping over their predecessors' declared sizes, each step checked by
// BinaryImage against the array's total size.
#include "sdo/binary_array.h"

#include <algorithm>
#include <cstring>

#include "sdo/binary.h"
#include "sdo/binary_image.h"

namespace kx::sdo {

namespace {

// Offset of element `index` (<= count; count gives the end of the last one),
// with that element's size when it exists; false when a step strays.
bool StepToElement(const BinaryImage &image, uint32_t index, uint32_t *offset, uint32_t *size) {
  uint32_t at = kHeaderSize;
  for (uint32_t i = 0; i < index; ++i) {
    uint32_t stepped = 0;
    if (!image.Element(at, &stepped)) return false;
    at += stepped;
  }
  *offset = at;
  return index == image.count() || image.Element(at, size);
}

}  // namespace

Status SDOBinaryArrayInitHeader(void *buffer, uint32_t buffer_size) {
  if (buffer == nullptr) return Status::kInvalidParameter;
  if (buffer_size < kHeaderSize) return Status::kBufferTooSmall;
  auto *out = static_cast<uint8_t *>(buffer);
  Store32(out, kArrayMagic);
  Store16(out + 4, 0);
  Store16(out + 6, kHeaderSize);
  return Status::kSuccess;
}

Status SDOBinaryArrayAddData(void *array, uint32_t *size, const void *element,
                             uint32_t element_size) {
  if (array == nullptr || size == nullptr || element == nullptr) {
    return Status::kInvalidParameter;
  }
  if (*size <= 15) return Status::kBufferTooSmall;
  // The array's own header bounds what is read; the room only bounds what is
  // written, so an array larger than the room stated is still measured.
  BinaryImage image;
  if (!image.OpenForAppend(array)) return Status::kInvalidParameter;
  uint32_t end = kHeaderSize;
  for (uint32_t i = 0; i < image.count(); ++i) {
    if (!image.StepOver(&end)) return Status::kInvalidParameter;
  }
  const uint64_t needed = uint64_t{end} + element_size;
  if (*size < needed) {
    *size = static_cast<uint32_t>(std::min<uint64_t>(needed, UINT32_MAX));
    return Status::kBufferTooSmall;
  }
  if (needed > kMaxImageSize) return Status::kBufferTooSmall;  // size out unchanged
  // The element is copied as given: its magic is the caller's business.
  auto *out = static_cast<uint8_t *>(array);
  std::memmove(out + end, element, element_size);
  Store16(out + 6, static_cast<uint16_t>(needed));
  Store16(out + 4, static_cast<uint16_t>(image.count() + 1));
  return Status::kSuccess;
}

Status SDOBinaryArrayGetByIndex(const void *array, uint32_t index, void *buffer, uint32_t *size) {
  if (array == nullptr || size == nullptr) return Status::kInvalidParameter;
  BinaryImage image;
  if (!image.Open(array, kMaxImageSize, BinaryImage::Kind::kArray)) return Status::kOsFailure;
  if (index >= image.count()) return Status::kNotAvailable;
  uint32_t offset = 0;
  uint32_t length = 0;
  if (!StepToElement(image, index, &offset, &length) ||
      HeaderMagic(image.base() + offset) != kObjectMagic) {
    return Status::kOsFailure;
  }
  if (buffer == nullptr || *size < length) {
    *size = length;
    return Status::kBufferTooSmall;
  }
  std::memcpy(buffer, image.base() + offset, length);
  *size = length;
  return Status::kSuccess;
}

Status SDOConfigArrayToBinaryArray(Config *const *configs, uint32_t count, void *buffer,
                                   uint32_t *size) {
  if (configs == nullptr || size == nullptr) return Status::kInvalidParameter;
  const uint32_t room = *size;
  auto *out = static_cast<uint8_t *>(buffer);
  // Measuring starts from 0, not from the header's 8 bytes: callers that only
  // measure add the header themselves, and depend on that.
  uint32_t total = 0;
  if (out != nullptr) {
    Status status = SDOBinaryArrayInitHeader(out, room);
    if (!Ok(status)) return status;
    total = kHeaderSize;
  }
  uint32_t appended = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const Config *config = configs[i];
    if (config == nullptr) continue;
    const uint32_t image_size = config->binary_size();
    uint32_t written = 0;
    if (out != nullptr && room >= uint64_t{total} + image_size) {
      // The element will be appended: convert it straight into place.
      Status status = WriteBinary(*config, out + total, image_size, &written);
      if (!Ok(status)) return status;
      total += written;
      if (total > kMaxImageSize) return Status::kBufferTooSmall;  // as the append refuses it
      Store16(out + 6, static_cast<uint16_t>(total));
      Store16(out + 4, static_cast<uint16_t>(++appended));
      continue;
    }
    // It will not be appended (or there is no buffer): convert it only to learn
    // its size. An element that does not fit is left out without an error.
    auto *scratch = static_cast<uint8_t *>(base::AllocMem(std::max<uint32_t>(image_size, 1)));
    if (scratch == nullptr) return Status::kNoMemory;
    Status status = WriteBinary(*config, scratch, image_size, &written);
    base::FreeMem(scratch);
    if (!Ok(status)) return status;
    total += written;
  }
  *size = total;
  return Status::kSuccess;
}

Status SDOBinaryArrayToConfigArray(const void *array, uint32_t room, Config **configs,
                                   uint32_t *count) {
  if (array == nullptr || count == nullptr) return Status::kInvalidParameter;
  BinaryImage image;
  if (!image.Open(array, room, BinaryImage::Kind::kArray)) return Status::kOsFailure;
  const uint32_t capacity = *count;
  const uint32_t elements = image.count();
  if (capacity < elements) {
    *count = elements;
    return Status::kBufferTooSmall;
  }
  if (configs == nullptr) {
    if (elements != 0) return Status::kInvalidParameter;
    *count = 0;
    return Status::kSuccess;
  }
  Status status = Status::kSuccess;
  uint32_t offset = kHeaderSize;
  for (uint32_t i = 0; i < elements; ++i) {
    uint32_t size = 0;
    if (!image.Element(offset, &size) || HeaderMagic(image.base() + offset) != kObjectMagic) {
      status = Status::kOsFailure;
      break;
    }
    Config *config = SDOBinaryToConfig(image.base() + offset, size);
    if (config == nullptr) {
      status = Status::kError;
      break;
    }
    configs[i] = config;
    offset += size;
  }
  if (!Ok(status)) {
    // The caller's whole array is cleared: it held only nulls, or handles it
    // was willing to lose.
    for (uint32_t i = 0; i < capacity; ++i) {
      SDOConfigFree(configs[i]);
      configs[i] = nullptr;
    }
    return status;
  }
  *count = elements;
  return Status::kSuccess;
}

}  // namespace kx::sdo
