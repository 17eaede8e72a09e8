// SDO binary: writing a config's image, building a config from an image,
// reading and changing values in place, and the callback walk. Every image
// that comes from a caller is opened through BinaryImage, which bounds each
// read by the declared total size (and, for nested images, by the value that
// holds them).
#include "sdo/binary.h"

#include <cstring>

#include "sdo/binary_array.h"
#include "sdo/binary_image.h"

namespace kx::sdo {

namespace {

constexpr uint8_t kAttributeMask = 0xF0;

// The record cursor advances 8 bytes a value; a value over 4 bytes goes to the
// data cursor, addressed by its offset from its own record.
void PlaceOutOfLine(uint8_t *record, uint32_t record_offset, uint32_t data_offset,
                    uint32_t length) {
  record[3] = kStorageOutOfLine;
  Store16(record + 4, static_cast<uint16_t>(length));
  Store16(record + 6, static_cast<uint16_t>(data_offset - record_offset));
}

// Writes the image of a code-13 value straight into out[at, at + need): a
// child's own image, or a binary array of the elements. The length written, or
// 0 when the conversion fails.
uint32_t WriteNested(const Entry &entry, uint8_t *at, uint32_t need) {
  uint32_t written = 0;
  if (!entry.is_array()) {
    const Config *child = entry.child(0);
    if (child == nullptr || WriteBinary(*child, at, need, &written) != Status::kSuccess) return 0;
    return written;
  }
  written = need;
  const auto *children = reinterpret_cast<Config *const *>(entry.data());
  if (SDOConfigArrayToBinaryArray(children, entry.child_count(), at, &written) !=
          Status::kSuccess ||
      written > need) {
    return 0;
  }
  return written;
}

}  // namespace

Status WriteBinary(const Config &config, uint8_t *out, uint32_t room, uint32_t *written) {
  const uint32_t count = config.count();
  const uint64_t table_end = kHeaderSize + uint64_t{kRecordSize} * count;
  *written = 0;
  if (table_end > room) return Status::kError;  // only a corrupted cached size gets here
  Store32(out, kObjectMagic);
  Store16(out + 4, static_cast<uint16_t>(count));
  Store16(out + 6, static_cast<uint16_t>(config.binary_size()));

  uint32_t record_offset = kHeaderSize;
  uint32_t data_offset = static_cast<uint32_t>(table_end);
  for (const Config::Slot &slot : config.slots()) {
    const Entry &entry = *slot.entry;
    uint8_t *record = out + record_offset;
    std::memset(record, 0, kRecordSize);
    Store16(record, entry.id);
    record[2] = entry.type;
    if (entry.holds_children()) {
      // Children travel as complete images under code 12; a reader tells an
      // object from an array by the nested magic.
      const uint64_t need = BinaryValueSize(entry.type, entry.data(), entry.size);
      if (data_offset + need > room) break;
      const uint32_t length = WriteNested(entry, out + data_offset, static_cast<uint32_t>(need));
      if (length == 0) break;
      record[2] = static_cast<uint8_t>((entry.type & kAttributeMask) | kCodeBinary);
      PlaceOutOfLine(record, record_offset, data_offset, length);
      data_offset += length;
    } else if (entry.size <= kInlineSlot) {
      std::memcpy(record + 4, entry.data(), entry.size);
      record[3] = static_cast<uint8_t>((entry.size - 1) & 3u);
    } else {
      if (uint64_t{data_offset} + entry.size > room) break;
      std::memcpy(out + data_offset, entry.data(), entry.size);
      PlaceOutOfLine(record, record_offset, data_offset, entry.size);
      data_offset += entry.size;
    }
    record_offset += kRecordSize;
  }
  *written = data_offset;
  return data_offset == config.binary_size() ? Status::kSuccess : Status::kError;
}

Status SDOConfigToBinary(const Config *config, void *buffer, uint32_t *size) {
  if (config == nullptr || buffer == nullptr || size == nullptr) return Status::kInvalidParameter;
  // Callers size the buffer with the cached size first; a short one is refused
  // with the size out left as it was.
  if (*size < config->binary_size()) return Status::kBufferTooSmall;
  uint32_t written = 0;
  Status status = WriteBinary(*config, static_cast<uint8_t *>(buffer), *size, &written);
  *size = written;
  return status;
}

Config *SDOBinaryToConfig(const void *binary, uint32_t room, int depth) {
  BinaryImage image;
  if (depth > kMaxNestingDepth || !image.Open(binary, room, BinaryImage::Kind::kObject)) {
    return nullptr;
  }
  Config *config = SDOConfigAlloc();
  if (config == nullptr) return nullptr;
  bool converted = config->Reserve(image.count());
  for (uint32_t i = 0; converted && i < image.count(); ++i) {
    RecordValue value;
    // Code 13 holds handles, which mean nothing outside the process that made
    // them: an image never carries it (children travel under code 12).
    converted =
        image.Value(i, &value) && (value.type & kTypeCodeMask) != kCodeConfig &&
        config->Add(value.id, value.type, value.data, value.length, 0, depth) == Status::kSuccess;
  }
  if (!converted) {
    SDOConfigFree(config);
    return nullptr;
  }
  return config;
}

int32_t SDOBinaryGetCount(const void *binary, uint16_t *is_array) {
  const uint32_t magic = binary != nullptr ? HeaderMagic(binary) : 0;
  const bool known = magic == kObjectMagic || magic == kArrayMagic;
  if (is_array != nullptr) *is_array = magic == kArrayMagic ? 1 : 0;
  return known ? HeaderCount(binary) : -1;
}

uint32_t SDOBinaryGetSize(const void *binary, uint16_t *is_array) {
  const uint32_t magic = binary != nullptr ? HeaderMagic(binary) : 0;
  const bool known = magic == kObjectMagic || magic == kArrayMagic;
  if (is_array != nullptr) *is_array = magic == kArrayMagic ? 1 : 0;
  return known ? HeaderTotal(binary) : 0;
}

Status SDOBinaryGetDataByID(const void *binary, uint16_t id, uint8_t *type, void *buffer,
                            uint32_t *size) {
  if (binary == nullptr || !IsValidId(id) || size == nullptr) return Status::kInvalidParameter;
  BinaryImage image;
  if (!image.Open(binary, kMaxImageSize, BinaryImage::Kind::kObject)) return Status::kOsFailure;
  const uint32_t index = image.Find(id);
  if (index == image.count()) return Status::kNotAvailable;
  RecordValue value;
  if (!image.Value(index, &value)) return Status::kOsFailure;
  // By ID an inline value reads as its whole 4-byte slot (a 1-byte value comes
  // back as 4 bytes, its value first); reading by index gives the real length.
  // Callers of both rely on the difference.
  const uint32_t length = value.is_inline ? kInlineSlot : value.length;
  if (buffer == nullptr || *size < length) {
    *size = length;
    return Status::kBufferTooSmall;
  }
  std::memcpy(buffer, value.data, length);
  *size = length;
  if (type != nullptr) *type = value.type;
  return Status::kSuccess;
}

Status SDOBinaryGetDataByIndex(const void *binary, uint32_t index, uint16_t *id, uint8_t *type,
                               void *buffer, uint32_t *size) {
  if (binary == nullptr || id == nullptr || size == nullptr) return Status::kInvalidParameter;
  // The index is tested against the header's count before the magic.
  if (index >= HeaderCount(binary)) return Status::kNotInUse;
  BinaryImage image;
  RecordValue value;
  if (!image.Open(binary, kMaxImageSize, BinaryImage::Kind::kObject) ||
      !image.Value(index, &value)) {
    return Status::kOsFailure;
  }
  if (buffer == nullptr || *size < value.length) {
    *size = value.length;
    return Status::kBufferTooSmall;
  }
  std::memcpy(buffer, value.data, value.length);
  *id = value.id;
  *size = value.length;
  if (type != nullptr) *type = value.type;
  return Status::kSuccess;
}

Status SDOBinarySetData(void *binary, uint32_t *size, uint16_t id, uint8_t type, const void *data,
                        uint32_t data_size) {
  if (binary == nullptr || size == nullptr || data == nullptr || !IsValidId(id) || type == 0) {
    return Status::kInvalidParameter;
  }
  if (*size <= 15) return Status::kBufferTooSmall;
  BinaryImage image;
  if (!image.Open(binary, *size, BinaryImage::Kind::kObject)) return Status::kInvalidParameter;
  const uint32_t index = image.Find(id);
  if (index == image.count()) return Status::kNotAvailable;  // this never adds an ID
  RecordValue value;
  if (!image.Value(index, &value)) return Status::kInvalidParameter;
  if (value.type != type) return Status::kNotAvailable;

  auto *record = static_cast<uint8_t *>(binary) + (image.Record(index) - image.base());
  if (value.is_inline && data_size <= kInlineSlot) {
    // Only the new bytes are written: the rest of the slot keeps what it held,
    // and a by-ID read, which returns the whole slot, shows it.
    std::memcpy(record + 4, data, data_size);
    record[3] = static_cast<uint8_t>((data_size - 1) & 3u);
    *size = image.total_size();
    return Status::kSuccess;
  }
  if (!value.is_inline && data_size == value.length) {
    std::memmove(static_cast<uint8_t *>(binary) + (value.data - image.base()), data, data_size);
    *size = image.total_size();
    return Status::kSuccess;
  }

  // The length changes: rebuild the block from a config holding the new value.
  Config *config = SDOBinaryToConfig(binary, *size, 0);
  if (config == nullptr) return Status::kNotAvailable;
  Status status = config->Add(id, type, data, data_size, 1, 0);
  if (Ok(status)) {
    if (config->binary_size() > *size) {
      *size = config->binary_size();
      status = Status::kBufferTooSmall;
    } else {
      uint32_t room = *size;
      status = SDOConfigToBinary(config, binary, &room);
      *size = HeaderTotal(binary);
    }
  }
  SDOConfigFree(config);
  return status;
}

namespace {

// One walk: the caller's callbacks and the recurse choice.
class Walker {
 public:
  Walker(uint32_t context, SMSDOBinaryWalkBeginFn begin, SMSDOBinaryWalkEntryFn entry,
         SMSDOBinaryWalkAfterEntryFn after_entry, SMSDOBinaryWalkEndFn end, bool recurse)
      : context_(context),
        begin_(begin),
        entry_(entry),
        after_entry_(after_entry),
        end_(end),
        recurse_(recurse) {}

  // True when everything the walk will read lies inside its image: the same
  // traversal as Visit, without callbacks.
  bool Check(const uint8_t *base, uint32_t room, bool visit_records, int depth) const;

  // Visits one image: begin, its elements or records, end. A non-zero result
  // from begin, entry or a nested visit ends the whole walk.
  Status Visit(const uint8_t *base, uint32_t room, uint32_t parent_cookie, int32_t element_index,
               bool visit_records, int depth) const;

 private:
  uint32_t context_;
  SMSDOBinaryWalkBeginFn begin_;
  SMSDOBinaryWalkEntryFn entry_;
  SMSDOBinaryWalkAfterEntryFn after_entry_;
  SMSDOBinaryWalkEndFn end_;
  bool recurse_;
};

bool Walker::Check(const uint8_t *base, uint32_t room, bool visit_records, int depth) const {
  BinaryImage image;
  if (depth > kMaxNestingDepth || !image.Open(base, room, BinaryImage::Kind::kEither)) {
    return false;
  }
  if (image.count() == 0) return true;
  if (image.is_array()) {
    uint32_t offset = kHeaderSize;
    for (uint32_t i = 0; i < image.count(); ++i) {
      uint32_t size = 0;
      if (!image.Element(offset, &size) || !Check(base + offset, size, recurse_, depth + 1)) {
        return false;
      }
      offset += size;
    }
    return true;
  }
  if (!visit_records) return true;
  for (uint32_t i = 0; i < image.count(); ++i) {
    RecordValue value;
    if (!image.Value(i, &value)) return false;
    if ((value.type & kTypeCodeMask) == kCodeBinary && recurse_ &&
        !Check(value.data, value.length, true, depth + 1)) {
      return false;
    }
  }
  return true;
}

Status Walker::Visit(const uint8_t *base, uint32_t room, uint32_t parent_cookie,
                     int32_t element_index, bool visit_records, int depth) const {
  BinaryImage image;
  if (depth > kMaxNestingDepth || !image.Open(base, room, BinaryImage::Kind::kEither)) {
    return Status::kInvalidParameter;
  }
  const uint32_t count = image.count();
  if (count == 0) return Status::kSuccess;  // an empty image makes no callback
  const uint32_t is_array = image.is_array() ? 1 : 0;
  // Callback results are the caller's codes; a non-zero one is passed back
  // as the walk's result.
  Status result = FromC(begin_(context_, parent_cookie, is_array, count, element_index, base));
  if (!Ok(result)) return result;

  if (is_array != 0) {
    // Elements always get their begin and end; their records only on recursion.
    uint32_t offset = kHeaderSize;
    for (uint32_t i = 0; i < count; ++i) {
      uint32_t size = 0;
      if (!image.Element(offset, &size)) return Status::kInvalidParameter;
      result =
          Visit(base + offset, size, parent_cookie, static_cast<int32_t>(i), recurse_, depth + 1);
      if (!Ok(result)) return result;
      offset += size;
    }
  } else if (visit_records) {
    for (uint32_t i = 0; i < count; ++i) {
      RecordValue value;
      if (!image.Value(i, &value)) return Status::kInvalidParameter;
      uint32_t cookie = 0;
      const uint8_t type = value.type;
      result = FromC(entry_(context_, &cookie, value.id, type >> 6, (type >> 5) & 1u,
                            (type >> 4) & 1u, type & kTypeCodeMask, value.length, value.data));
      if (!Ok(result)) return result;
      if ((type & kTypeCodeMask) == kCodeBinary && recurse_) {
        result = Visit(value.data, value.length, cookie, -1, true, depth + 1);
        if (!Ok(result)) return result;
      }
      if (after_entry_ != nullptr) result = FromC(after_entry_(context_, cookie));
    }
  }
  if (end_ != nullptr) result = FromC(end_(context_, parent_cookie, is_array));
  return result;
}

}  // namespace

Status SDOBinaryWalk(const void *binary, uint32_t context, SMSDOBinaryWalkBeginFn begin,
                     SMSDOBinaryWalkEntryFn entry, SMSDOBinaryWalkAfterEntryFn after_entry,
                     SMSDOBinaryWalkEndFn end, uint32_t recurse) {
  if (binary == nullptr || begin == nullptr || entry == nullptr) {
    return Status::kInvalidParameter;
  }
  // The flag is compared as a signed 16-bit number: only its low half counts.
  const bool recurse_flag = static_cast<int16_t>(recurse) == 1;
  const Walker walker(context, begin, entry, after_entry, end, recurse_flag);
  const auto *base = static_cast<const uint8_t *>(binary);
  if (!walker.Check(base, kMaxImageSize, true, 0)) return Status::kInvalidParameter;
  return walker.Visit(base, kMaxImageSize, 0, -1, true, 0);
}

}  // namespace kx::sdo
