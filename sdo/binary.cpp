// SDO binary: writing a config's image, building a config from an image,
// reading and changing values in place, and the callback walk. Every image
// that comes from a caller is opened through BinaryImage, which bounds each
// read by the declared total size (and, for nested images, by the value that
// holds them).
#include "sdo/binary.h"

#include <cstring>
#include <new>

#include "sdo/binary_array.h"
#include "sdo/binary_image.h"
#include "sdo/frame_stack.h"

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

// Writes a config's image and every image nested in it, depth first, with
// an explicit stack of frames: the native stack stays the same however deep
// the children nest (65535 bytes hold about 4,000 levels). A frame is an
// object's records and values, or the binary array of a code-13 entry's
// children; nested images go straight into their parent's data area.
class ImageWriter {
 public:
  // WriteBinary's contract; a stack that cannot grow fails as a nested
  // conversion does.
  Status Write(const Config &config, uint8_t *out, uint32_t room, uint32_t *written);

 private:
  struct Frame {
    const Config *config;  // objects
    const Entry *array;    // arrays: the entry whose children are written
    uint8_t *out;          // the image's first byte
    uint32_t room;         // bytes the image may take
    uint32_t record_offset;
    uint32_t used;  // objects: the data cursor; arrays: bytes written so far
    uint32_t next;  // the next slot or child
    uint16_t appended;
  };

  // Opens a frame for `config`'s image at out[0, room) and writes its header;
  // false when its entry table does not fit (only a corrupted size does that).
  bool BeginObject(const Config &config, uint8_t *out, uint32_t room);
  // Writes the records of an object frame up to the end or to the first that
  // holds children, whose image it opens a frame for; false when a value does
  // not fit or a child is missing.
  bool WriteRecords(Frame &frame);
  // Opens the frame of the next child of an array frame; false when it does
  // not fit. Null children are skipped, as the array conversion skips them.
  bool WriteElement(Frame &frame);
  // Closes the finished top frame into its parent: the parent's record then
  // points at the nested image. False when the image is not what its parent
  // promised (a nested conversion that failed).
  bool Close();

  FrameStack<Frame> frames_;
};

bool ImageWriter::BeginObject(const Config &config, uint8_t *out, uint32_t room) {
  const uint64_t table_end = kHeaderSize + uint64_t{kRecordSize} * config.count();
  if (table_end > room) return false;
  Store32(out, kObjectMagic);
  Store16(out + 4, static_cast<uint16_t>(config.count()));
  Store16(out + 6, static_cast<uint16_t>(config.binary_size()));
  frames_.push_back(
      {&config, nullptr, out, room, kHeaderSize, static_cast<uint32_t>(table_end), 0, 0});
  return true;
}

bool ImageWriter::WriteRecords(Frame &frame) {
  const Config::Index &slots = frame.config->slots();
  for (; frame.next < slots.size(); frame.record_offset += kRecordSize, ++frame.next) {
    const Entry &entry = *slots[frame.next].entry;
    uint8_t *record = frame.out + frame.record_offset;
    std::memset(record, 0, kRecordSize);
    Store16(record, entry.id);
    record[2] = entry.type;
    if (entry.holds_children()) {
      // Children travel as complete images under code 12; a reader tells an
      // object from an array by the nested magic. The record is finished when
      // the nested image is (Close).
      const uint64_t need = BinaryValueSize(entry.type, entry.data(), entry.size);
      if (frame.used + need > frame.room) return false;
      uint8_t *at = frame.out + frame.used;
      if (!entry.is_array()) {
        const Config *child = entry.child(0);
        return child != nullptr && BeginObject(*child, at, static_cast<uint32_t>(need));
      }
      if (SDOBinaryArrayInitHeader(at, static_cast<uint32_t>(need)) != Status::kSuccess) {
        return false;
      }
      frames_.push_back({nullptr, &entry, at, static_cast<uint32_t>(need), 0, kHeaderSize, 0, 0});
      return true;
    }
    if (entry.size <= kInlineSlot) {
      std::memcpy(record + 4, entry.data(), entry.size);
      record[3] = static_cast<uint8_t>((entry.size - 1) & 3u);
    } else {
      if (uint64_t{frame.used} + entry.size > frame.room) return false;
      std::memcpy(frame.out + frame.used, entry.data(), entry.size);
      PlaceOutOfLine(record, frame.record_offset, frame.used, entry.size);
      frame.used += entry.size;
    }
  }
  return true;
}

bool ImageWriter::WriteElement(Frame &frame) {
  const Config *child = frame.array->child(frame.next);
  if (child == nullptr) {
    ++frame.next;
    return true;
  }
  const uint32_t image_size = child->binary_size();
  if (uint64_t{frame.used} + image_size > frame.room) return false;
  return BeginObject(*child, frame.out + frame.used, image_size);
}

bool ImageWriter::Close() {
  const Frame done = frames_.back();
  frames_.pop_back();
  if (done.config != nullptr && done.used != done.config->binary_size()) return false;
  const uint32_t length = done.used;
  Frame &parent = frames_.back();
  if (parent.array != nullptr) {
    // An element of an array: the array's header counts it.
    if (uint64_t{parent.used} + length > kMaxImageSize) return false;
    parent.used += length;
    Store16(parent.out + 6, static_cast<uint16_t>(parent.used));
    Store16(parent.out + 4, ++parent.appended);
    ++parent.next;
    return true;
  }
  const Entry &entry = *parent.config->slots()[parent.next].entry;
  uint8_t *record = parent.out + parent.record_offset;
  record[2] = static_cast<uint8_t>((entry.type & kAttributeMask) | kCodeBinary);
  PlaceOutOfLine(record, parent.record_offset, parent.used, length);
  parent.used += length;
  parent.record_offset += kRecordSize;
  ++parent.next;
  return true;
}

Status ImageWriter::Write(const Config &config, uint8_t *out, uint32_t room, uint32_t *written) {
  *written = 0;
  bool finished = false;
  try {
    if (!BeginObject(config, out, room)) return Status::kError;
    for (;;) {
      Frame &frame = frames_.back();
      const uint32_t count =
          frame.config != nullptr ? frame.config->count() : frame.array->child_count();
      bool advanced;
      if (frame.next < count) {
        advanced = frame.config != nullptr ? WriteRecords(frame) : WriteElement(frame);
      } else if (frames_.size() > 1) {
        advanced = Close();
      } else {
        finished = true;
        break;
      }
      // A failure anywhere stops the whole visit where the top image stands.
      if (!advanced) break;
    }
  } catch (const std::bad_alloc &) {
    if (frames_.empty()) return Status::kError;
  }
  *written = frames_.front().used;
  return finished && *written == config.binary_size() ? Status::kSuccess : Status::kError;
}

}  // namespace

Status WriteBinary(const Config &config, uint8_t *out, uint32_t room, uint32_t *written) {
  ImageWriter writer;
  return writer.Write(config, out, room, written);
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

namespace {

// Builds configs from an object image and every image nested in it, depth
// first, with an explicit stack of frames, so that the native stack stays the
// same however deep the images nest. A frame is an object image whose records
// are added to a new config in table order, or an array image whose elements
// become new configs; a finished frame is stored under its parent's record
// (or in its element slot) as code 13.
class ConfigBuilder {
 public:
  ~ConfigBuilder();  // frees whatever a failed conversion leaves on the stack
  // BinaryToConfig's contract.
  Config *Build(const void *binary, uint32_t room);

 private:
  struct Frame {
    BinaryImage image;
    Config *config;     // objects: the config being filled
    Config **children;  // arrays: one handle per element, null until converted
    uint32_t next;      // the next record or element
    uint32_t offset;    // arrays: where the next element starts
  };

  // Opens the image at base[0, room) as `kind` and pushes its frame; false
  // when it does not open or memory runs out.
  bool Open(const uint8_t *base, uint32_t room, BinaryImage::Kind kind);
  // Adds the records of an object frame, with the add's checks, up to the
  // end or to the first that holds an image, which it opens; false when a
  // record does not add.
  bool AddRecords(Frame &frame);
  // Opens the next element of an array frame; false when it strays.
  bool OpenElement(Frame &frame);
  // Stores the finished top frame in its parent; false when it is refused.
  bool Close();
  static void Release(const Frame &frame);

  FrameStack<Frame> frames_;
};

ConfigBuilder::~ConfigBuilder() {
  for (size_t i = 0; i < frames_.size(); ++i) Release(frames_.at(i));
}

void ConfigBuilder::Release(const Frame &frame) {
  SDOConfigFree(frame.config);
  if (frame.children == nullptr) return;
  for (uint32_t i = 0; i < frame.image.count(); ++i) SDOConfigFree(frame.children[i]);
  base::FreeMem(frame.children);
}

bool ConfigBuilder::Open(const uint8_t *base, uint32_t room, BinaryImage::Kind kind) {
  Frame opened{};
  if (!opened.image.Open(base, room, kind)) return false;
  opened.offset = kHeaderSize;
  frames_.push_back(opened);
  Frame &frame = frames_.back();
  const uint32_t count = frame.image.count();
  if (!frame.image.is_array()) {
    frame.config = SDOConfigAlloc();
    return frame.config != nullptr && frame.config->Reserve(count);
  }
  if (count == 0) return true;  // an empty array is stored without handles
  frame.children = static_cast<Config **>(base::AllocZeroed(count, sizeof(Config *)));
  return frame.children != nullptr;
}

bool ConfigBuilder::AddRecords(Frame &frame) {
  for (; frame.next < frame.image.count(); ++frame.next) {
    RecordValue value;
    if (!frame.image.Value(frame.next, &value)) return false;
    const uint8_t code = value.type & kTypeCodeMask;
    // Code 13 holds handles, which mean nothing outside the process that made
    // them: an image never carries it (children travel under code 12).
    if (!IsValidId(value.id) || value.type == 0 || value.length == 0 || code == kCodeConfig) {
      return false;
    }
    // A nested image is bounded by the value that holds it, and stored when
    // its frame closes.
    if (code == kCodeBinary) return Open(value.data, value.length, BinaryImage::Kind::kEither);
    if (frame.config->Store(value.id, value.type, value.data, value.length, 0) !=
        Status::kSuccess) {
      return false;
    }
  }
  return true;
}

bool ConfigBuilder::OpenElement(Frame &frame) {
  uint32_t size = 0;
  if (!frame.image.Element(frame.offset, &size)) return false;
  const uint8_t *element = frame.image.base() + frame.offset;
  frame.offset += size;
  return Open(element, size, BinaryImage::Kind::kObject);
}

bool ConfigBuilder::Close() {
  const Frame done = frames_.back();
  frames_.pop_back();
  Frame &parent = frames_.back();
  if (parent.image.is_array()) {
    parent.children[parent.next++] = done.config;
    return true;
  }
  // The record that holds the image: code 12 becomes code 13, with the array
  // flag for an array, its attribute bits kept.
  const uint8_t *record = parent.image.Record(parent.next);
  const uint16_t id = Load16(record);
  const auto attributes = static_cast<uint8_t>(record[2] & kAttributeMask);
  Status status;
  if (!done.image.is_array()) {
    status = parent.config->Store(id, attributes | kCodeConfig,
                                  reinterpret_cast<const uint8_t *>(&done.config), kHandleSize, 0);
  } else {
    status = parent.config->Store(id, attributes | kArrayFlag | kCodeConfig,
                                  reinterpret_cast<const uint8_t *>(done.children),
                                  done.image.count() * kHandleSize, 0);
    if (status == Status::kSuccess) base::FreeMem(done.children);  // the entry holds the handles
  }
  if (status != Status::kSuccess) {
    Release(done);
    return false;
  }
  ++parent.next;
  return true;
}

Config *ConfigBuilder::Build(const void *binary, uint32_t room) {
  try {
    if (!Open(static_cast<const uint8_t *>(binary), room, BinaryImage::Kind::kObject)) {
      return nullptr;
    }
    for (;;) {
      Frame &frame = frames_.back();
      bool advanced;
      if (frame.next < frame.image.count()) {
        advanced = frame.image.is_array() ? OpenElement(frame) : AddRecords(frame);
      } else if (frames_.size() > 1) {
        advanced = Close();
      } else {
        Config *config = frame.config;
        frames_.clear();
        return config;
      }
      if (!advanced) return nullptr;
    }
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}

}  // namespace

Config *SDOBinaryToConfig(const void *binary, uint32_t room) {
  ConfigBuilder builder;
  return builder.Build(binary, room);
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
  // The image's own header bounds what is read; the room counts only when
  // the block is rewritten.
  BinaryImage image;
  if (!image.Open(binary, kMaxImageSize, BinaryImage::Kind::kObject)) {
    return Status::kInvalidParameter;
  }
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
  Config *config = SDOBinaryToConfig(binary, kMaxImageSize);
  if (config == nullptr) return Status::kNotAvailable;
  Status status = config->Add(id, type, data, data_size, 1);
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

// One walk: the caller's callbacks, the recurse choice, and the images being
// visited, innermost last. The visit goes depth first over an explicit stack,
// so the native stack stays the same however deep the images nest; each image
// is checked when its own visit starts, so the callbacks of its parents come
// before a damaged image is found.
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

  // Visits the image at `base` and everything below it. A non-zero result
  // from begin, entry or a nested visit ends the whole walk with it.
  Status Walk(const uint8_t *base);

 private:
  struct Frame {
    BinaryImage image;
    uint32_t parent_cookie;
    uint32_t next;        // the next element or record
    uint32_t offset;      // arrays: where the next element starts
    uint32_t cookie;      // the record whose nested image is being visited
    Status after_result;  // the last after-entry result
    bool visit_records;
  };

  // Starts the visit of one image: opens it, calls begin and pushes its frame.
  // Non-zero ends the walk: 271 when the image does not open, or begin's
  // result. An empty image makes no callback and pushes nothing.
  Status Begin(const uint8_t *base, uint32_t room, uint32_t parent_cookie, int32_t element_index,
               bool visit_records);
  // Visits the next element or record of the top frame.
  Status Step(Frame &frame);
  // After a record and its nested image: the after-entry call.
  void AfterEntry(Frame &frame, uint32_t cookie);

  uint32_t context_;
  SMSDOBinaryWalkBeginFn begin_;
  SMSDOBinaryWalkEntryFn entry_;
  SMSDOBinaryWalkAfterEntryFn after_entry_;
  SMSDOBinaryWalkEndFn end_;
  bool recurse_;
  FrameStack<Frame> frames_;
};

Status Walker::Begin(const uint8_t *base, uint32_t room, uint32_t parent_cookie,
                     int32_t element_index, bool visit_records) {
  Frame frame{};
  if (!frame.image.Open(base, room, BinaryImage::Kind::kEither)) {
    return Status::kInvalidParameter;
  }
  const uint32_t count = frame.image.count();
  if (count == 0) return Status::kSuccess;  // an empty image makes no callback
  const uint32_t is_array = frame.image.is_array() ? 1 : 0;
  // Callback results are the caller's codes; a non-zero one is passed back
  // as the walk's result.
  const Status result =
      FromC(begin_(context_, parent_cookie, is_array, count, element_index, base));
  if (!Ok(result)) return result;
  frame.parent_cookie = parent_cookie;
  frame.offset = kHeaderSize;
  frame.visit_records = visit_records;
  frames_.push_back(frame);
  return Status::kSuccess;
}

void Walker::AfterEntry(Frame &frame, uint32_t cookie) {
  if (after_entry_ != nullptr) frame.after_result = FromC(after_entry_(context_, cookie));
  ++frame.next;
}

Status Walker::Step(Frame &frame) {
  const uint8_t *base = frame.image.base();
  if (frame.image.is_array()) {
    // Elements always get their begin and end; their records only on recursion.
    uint32_t size = 0;
    if (!frame.image.Element(frame.offset, &size)) return Status::kInvalidParameter;
    const uint32_t offset = frame.offset;
    const auto index = static_cast<int32_t>(frame.next);
    frame.offset += size;
    ++frame.next;
    return Begin(base + offset, size, frame.parent_cookie, index, recurse_);
  }
  if (!frame.visit_records) {
    frame.next = frame.image.count();
    return Status::kSuccess;
  }
  RecordValue value;
  if (!frame.image.Value(frame.next, &value)) return Status::kInvalidParameter;
  uint32_t cookie = 0;
  const uint8_t type = value.type;
  const Status result =
      FromC(entry_(context_, &cookie, value.id, type >> 6, (type >> 5) & 1u, (type >> 4) & 1u,
                   type & kTypeCodeMask, value.length, value.data));
  if (!Ok(result)) return result;
  if ((type & kTypeCodeMask) == kCodeBinary && recurse_) {
    // The after-entry call waits for the nested visit, unless it is empty.
    frame.cookie = cookie;
    const size_t depth = frames_.size();
    const Status nested = Begin(value.data, value.length, cookie, -1, true);
    if (!Ok(nested) || frames_.size() > depth) return nested;
  }
  AfterEntry(frames_.back(), cookie);
  return Status::kSuccess;
}

Status Walker::Walk(const uint8_t *base) {
  try {
    Status result = Begin(base, kMaxImageSize, 0, -1, true);
    while (Ok(result) && !frames_.empty()) {
      Frame &frame = frames_.back();
      if (frame.next < frame.image.count()) {
        result = Step(frame);
        continue;
      }
      // The visit's result: end's, else the last after-entry result.
      result = frame.after_result;
      if (end_ != nullptr)
        result = FromC(end_(context_, frame.parent_cookie, frame.image.is_array() ? 1 : 0));
      frames_.pop_back();
      if (frames_.empty() || !Ok(result)) break;
      Frame &parent = frames_.back();
      if (!parent.image.is_array()) AfterEntry(parent, parent.cookie);
    }
    return result;
  } catch (const std::bad_alloc &) {
    return Status::kNoMemory;
  }
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
  Walker walker(context, begin, entry, after_entry, end, recurse_flag);
  return walker.Walk(static_cast<const uint8_t *>(binary));
}

}  // namespace kx::sdo
