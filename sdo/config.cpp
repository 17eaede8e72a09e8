// SDO config objects: adding (with the code-12 conversion and code-13
// ownership rules), reading, removing, the cached binary size and its
// deliberately different recomputation, cloning and comparing by binary form.
// The index is a sorted vector of (ID, entry) slots: for the tens to hundreds
// of values a config holds, a binary search over contiguous slots beats a tree.
#include "sdo/config.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "sdo/binary.h"
#include "sdo/binary_array.h"
#include "sdo/binary_image.h"

namespace kx::sdo {

namespace {

constexpr uint32_t kMaxCount = 65535;  // the count is a 16-bit field of the binary form
constexpr uint32_t kInitialSlots = 16;

Config *LoadHandle(const uint8_t *at) {
  Config *config;
  std::memcpy(&config, at, sizeof config);
  return config;
}

bool HoldsChild(const Entry &entry, const Config *child) {
  if (!entry.holds_children()) return false;
  for (uint32_t i = 0; i < entry.child_count(); ++i) {
    if (entry.child(i) == child) return true;
  }
  return false;
}

// Frees an entry and the children it owns, except those that `keeper` holds
// (a replacement that stores some of the same handles again keeps them).
void ReleaseEntry(Entry *entry, const Entry *keeper = nullptr) {
  if (entry->holds_children()) {
    for (uint32_t i = 0; i < entry->child_count(); ++i) {
      Config *child = entry->child(i);
      if (child != nullptr && (keeper == nullptr || !HoldsChild(*keeper, child))) {
        SDOConfigFree(child);
      }
    }
  }
  base::FreeMem(entry);
}

template <typename Index>  // const or mutable slots
auto LowerBound(Index &index, uint16_t id) {
  return std::lower_bound(index.begin(), index.end(), id,
                          [](const Config::Slot &slot, uint16_t key) { return slot.id < key; });
}

// Copies a found value out: a null buffer or one too small gives
// kBufferTooSmall, and the size out is the value's size in every case.
Status CopyOut(const Entry &entry, void *buffer, uint32_t *size) {
  uint32_t room = *size;
  *size = entry.size;
  if (buffer == nullptr || room < entry.size) return Status::kBufferTooSmall;
  std::memcpy(buffer, entry.data(), entry.size);
  return Status::kSuccess;
}

}  // namespace

Config *Entry::child(uint32_t i) const {
  return LoadHandle(data() + kHandleSize * i);
}

uint64_t BinaryValueSize(uint8_t type, const uint8_t *value, uint32_t size) {
  if ((type & kTypeCodeMask) != kCodeConfig) return size;
  if ((type & kArrayFlag) == 0) {
    const Config *child = LoadHandle(value);
    return child != nullptr ? child->binary_size() : 0;
  }
  // An array becomes a binary array: its header, then each element's image.
  // Null handles are skipped by that conversion, so they count nothing here.
  uint64_t sum = kHeaderSize;
  for (uint32_t at = 0; at + kHandleSize <= size; at += kHandleSize) {
    const Config *child = LoadHandle(value + at);
    if (child != nullptr) sum += child->binary_size();
  }
  return sum;
}

Config *SDOConfigAlloc() {
  void *block = base::AllocMem(sizeof(Config));
  return block != nullptr ? new (block) Config : nullptr;
}

void SDOConfigFree(Config *config) {
  // Children are freed from a list threaded through the configs themselves,
  // not by recursion: a chain of nested configs may be thousands deep, and
  // freeing must neither grow the stack nor allocate.
  if (config != nullptr) config->next_to_free_ = nullptr;
  while (config != nullptr) {
    Config *next = config->next_to_free_;
    for (const Config::Slot &slot : config->index_) {
      Entry *entry = slot.entry;
      for (uint32_t i = 0; entry->holds_children() && i < entry->child_count(); ++i) {
        Config *child = entry->child(i);
        if (child == nullptr) continue;
        child->next_to_free_ = next;
        next = child;
      }
      base::FreeMem(entry);
    }
    config->index_.clear();
    config->~Config();
    base::FreeMem(config);
    config = next;
  }
}

Config::~Config() {
  Clear();
}

void Config::Clear() {
  for (const Slot &slot : index_) ReleaseEntry(slot.entry);
  index_.clear();
}

bool Config::Reserve(uint32_t n) {
  try {
    index_.reserve(n);
    return true;
  } catch (const std::bad_alloc &) {
    return false;
  }
}

const Entry *Config::Find(uint16_t id) const {
  auto it = LowerBound(index_, id);
  return it != index_.end() && it->id == id ? it->entry : nullptr;
}

Status Config::Add(uint16_t id, uint8_t type, const void *data, uint32_t size, uint32_t replace) {
  if (!IsValidId(id) || type == 0 || data == nullptr || size == 0) {
    return Status::kInvalidParameter;
  }
  const uint8_t code = type & kTypeCodeMask;
  const auto *bytes = static_cast<const uint8_t *>(data);
  const uint8_t attributes = type & 0xF0;

  if (code == kCodeConfig) {
    // A single child is passed as the handle itself; the value is its bytes.
    if ((type & kArrayFlag) == 0) {
      return Store(id, type, reinterpret_cast<const uint8_t *>(&data), kHandleSize, replace);
    }
    if (size % kHandleSize != 0) return Status::kInvalidParameter;
    return Store(id, type, bytes, size, replace);
  }
  if (code != kCodeBinary) return Store(id, type, bytes, size, replace);

  // Code 12: a binary image, converted into children on the way in. As with
  // SMSDOBinaryToConfig, the image's own header bounds every read of it; the
  // size only has to be non-zero.
  const uint32_t magic = Load32(bytes);
  if (magic == kObjectMagic) {
    Config *child = SDOBinaryToConfig(bytes, kMaxImageSize);
    if (child == nullptr) return Status::kError;
    Status status = Store(id, attributes | kCodeConfig, reinterpret_cast<const uint8_t *>(&child),
                          kHandleSize, replace);
    if (!Ok(status)) SDOConfigFree(child);  // never handed out: not to be lost
    return status;
  }
  if (magic != kArrayMagic) return Status::kInvalidParameter;
  // An inconsistent header is refused as the conversion refuses it, before
  // its count sizes an allocation.
  BinaryImage array;
  if (!array.Open(bytes, kMaxImageSize, BinaryImage::Kind::kArray)) return Status::kOsFailure;
  const uint32_t elements = array.count();
  Config **children = nullptr;
  if (elements != 0) {
    children = static_cast<Config **>(base::AllocZeroed(elements, sizeof(Config *)));
    if (children == nullptr) return Status::kNoMemory;
  }
  uint32_t converted = elements;
  Status status = SDOBinaryArrayToConfigArray(bytes, kMaxImageSize, children, &converted);
  if (Ok(status)) {
    status = Store(id, attributes | kArrayFlag | kCodeConfig,
                   reinterpret_cast<const uint8_t *>(children), elements * kHandleSize, replace);
    if (!Ok(status)) {
      for (uint32_t i = 0; i < elements; ++i) SDOConfigFree(children[i]);
    }
  }
  base::FreeMem(children);  // the entry keeps its own copy of the handles
  return status;
}

Status Config::Store(uint16_t id, uint8_t type, const uint8_t *value, uint32_t size,
                     uint32_t replace) {
  if (index_.size() >= kMaxCount) return Status::kWriteFailed;
  // The limit counts the old value too when replacing: a replacement that would
  // fit only once the old value has gone is refused.
  const uint64_t cost = EntryCost(BinaryValueSize(type, value, size));
  if (binary_size_ + cost > kMaxImageSize) return Status::kWriteFailed;

  auto *entry = static_cast<Entry *>(base::AllocZeroed(1, sizeof(Entry) + size));
  if (entry == nullptr) return Status::kNoMemory;
  entry->size = size;
  entry->id = id;
  entry->type = type;
  if (size != 0) std::memcpy(entry->data(), value, size);  // an empty array has no handles

  auto it = LowerBound(index_, id);
  if (it != index_.end() && it->id == id) {
    if (replace != 1) {
      base::FreeMem(entry);
      return Status::kInUse;
    }
    Entry *old = it->entry;
    const uint64_t old_cost = EntryCost(*old);
    it->entry = entry;
    binary_size_ = static_cast<uint32_t>(binary_size_ + cost - old_cost);
    ReleaseEntry(old, entry);
    return Status::kSuccess;
  }
  const auto position = it - index_.begin();
  try {
    if (index_.size() == index_.capacity()) {
      index_.reserve(std::max<size_t>(kInitialSlots, 2 * index_.capacity()));
    }
    index_.insert(index_.begin() + position, Slot{entry, id});
  } catch (const std::bad_alloc &) {
    base::FreeMem(entry);
    return Status::kNoMemory;
  }
  binary_size_ += static_cast<uint32_t>(cost);
  return Status::kSuccess;
}

Status Config::GetById(uint16_t id, uint8_t *type, void *buffer, uint32_t *size) const {
  if (!IsValidId(id) || size == nullptr) return Status::kInvalidParameter;
  const Entry *entry = Find(id);
  if (entry == nullptr) return Status::kNotAvailable;
  if (type != nullptr) *type = entry->type;
  return CopyOut(*entry, buffer, size);
}

Status Config::GetByIndex(uint32_t index, uint16_t *id, uint8_t *type, void *buffer,
                          uint32_t *size) const {
  if (id == nullptr || size == nullptr) return Status::kInvalidParameter;
  if (index >= count()) return Status::kNotInUse;
  const Entry *entry = index_[index].entry;
  *id = entry->id;
  if (type != nullptr) *type = entry->type;
  return CopyOut(*entry, buffer, size);
}

Status Config::Remove(uint16_t id, uint32_t index, uint32_t remove_all) {
  if (remove_all != 0) {
    Clear();
    binary_size_ = kEmptyBinarySize;
    return Status::kSuccess;
  }
  size_t position;
  if (IsValidId(id)) {
    auto it = LowerBound(index_, id);
    if (it == index_.end() || it->id != id) return Status::kNotAvailable;
    position = static_cast<size_t>(it - index_.begin());
  } else {
    // An invalid ID hands the choice to the index.
    if (index >= count()) return Status::kNotInUse;
    position = index;
  }
  Entry *entry = index_[position].entry;
  index_.erase(index_.begin() + static_cast<std::ptrdiff_t>(position));
  binary_size_ -= static_cast<uint32_t>(EntryCost(*entry));  // children's sizes as they are now
  ReleaseEntry(entry);
  return Status::kSuccess;
}

uint32_t Config::RecalcBinarySize() {
  // Not the cost rule: every value counts at full size, even when it would sit
  // inline, and an array of children counts without its 8-byte header. Callers
  // depend on this sum as it is, so a recomputed config with small values or
  // arrays no longer converts cleanly.
  uint32_t sum = kEmptyBinarySize;
  for (const Slot &slot : index_) {
    const Entry &entry = *slot.entry;
    sum += kRecordSize;
    if (!entry.holds_children()) {
      sum += entry.size;
      continue;
    }
    for (uint32_t i = 0; i < entry.child_count(); ++i) {
      const Config *child = entry.child(i);
      if (child != nullptr) sum += child->binary_size();
    }
  }
  binary_size_ = sum;
  return sum;
}

uint32_t SDOConfigGetCount(const Config *config) {
  return config != nullptr ? config->count() : ~0u;
}

uint32_t SDOConfigGetBinarySize(const Config *config) {
  return config != nullptr ? config->binary_size() : 0;
}

uint32_t SDOConfigReCalcBinarySize(Config *config) {
  return config != nullptr ? config->RecalcBinarySize() : 0;
}

Status SDOConfigAddData(Config *config, uint16_t id, uint8_t type, const void *data, uint32_t size,
                        uint32_t replace) {
  if (config == nullptr) return Status::kInvalidParameter;
  return config->Add(id, type, data, size, replace);
}

Status SDOConfigGetDataByID(const Config *config, uint16_t id, uint8_t *type, void *buffer,
                            uint32_t *size) {
  if (config == nullptr) return Status::kInvalidParameter;
  return config->GetById(id, type, buffer, size);
}

Status SDOConfigGetDataByIndex(const Config *config, uint32_t index, uint16_t *id, uint8_t *type,
                               void *buffer, uint32_t *size) {
  if (config == nullptr) return Status::kInvalidParameter;
  return config->GetByIndex(index, id, type, buffer, size);
}

Status SDOConfigRemoveData(Config *config, uint16_t id, uint32_t index, uint32_t remove_all) {
  if (config == nullptr) return Status::kInvalidParameter;
  return config->Remove(id, index, remove_all);
}

namespace {

// The image of a config whose cached size is a valid image size, written into
// a fresh heap block (released with base::FreeMem); null on any failure.
uint8_t *ImageOf(const Config &config) {
  const uint32_t size = config.binary_size();
  if (size < kEmptyBinarySize || size > kMaxImageSize) return nullptr;
  auto *image = static_cast<uint8_t *>(base::AllocMem(size));
  if (image == nullptr) return nullptr;
  uint32_t written = 0;
  if (WriteBinary(config, image, size, &written) != Status::kSuccess) {
    base::FreeMem(image);
    return nullptr;
  }
  return image;
}

}  // namespace

int32_t SDOConfigCompareByValue(const Config *a, const Config *b) {
  if (a == nullptr || b == nullptr) return a == b ? 1 : 0;
  if (a->binary_size() != b->binary_size()) return 0;
  uint8_t *image_a = ImageOf(*a);
  uint8_t *image_b = image_a != nullptr ? ImageOf(*b) : nullptr;
  const bool equal = image_b != nullptr && std::memcmp(image_a, image_b, a->binary_size()) == 0;
  base::FreeMem(image_a);
  base::FreeMem(image_b);
  return equal ? 1 : 0;
}

Config *SDOConfigClone(const Config *config) {
  if (config == nullptr) return nullptr;
  uint8_t *image = ImageOf(*config);
  if (image == nullptr) return nullptr;
  Config *clone = SDOBinaryToConfig(image, config->binary_size());
  base::FreeMem(image);
  return clone;
}

}  // namespace kx::sdo
