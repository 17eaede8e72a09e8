// Self-sizing strings: allocation, the growth policy, appends in the string's
// own encoding and across encodings (through a scratch conversion), and
// release. Failures never report: the string is simply left as it was.
#include "text/sstring.h"

#include <cstring>
#include <limits>

#include "base/memory.h"
#include "text/ucs2.h"
#include "text/utf.h"

namespace kx::text {

namespace {

// Up to this capacity a string doubles; beyond it, it grows by a quarter so
// that a large buffer carries bounded slack.
constexpr uint32_t kDoublingLimit = 0xFFFFF;
constexpr uint64_t kMaxCapacity = std::numeric_limits<uint32_t>::max();

// Makes the buffer at least `needed` bytes. False, with the string unchanged,
// when the size is not representable or the heap refuses.
bool Reserve(SMSSStr *ss, uint64_t needed) {
  if (needed <= ss->capacity) return true;
  if (needed > kMaxCapacity) return false;
  const uint32_t capacity = SsGrownCapacity(ss->capacity, static_cast<uint32_t>(needed));
  void *grown = base::ReAllocMem(ss->pStr, capacity);
  if (grown == nullptr) return false;
  ss->pStr = grown;
  ss->capacity = capacity;
  return true;
}

// Appends exactly n units of `src` (terminators inside them included) and a
// terminator. The caller has checked the string and the source.
template <typename Unit>
Unit *AppendUnits(SMSSStr *ss, const Unit *src, uint32_t n) {
  const uint64_t needed = (uint64_t{ss->length} + 1 + n) * sizeof(Unit);
  // A source inside the string's own buffer must follow it when it moves.
  const auto old_begin = reinterpret_cast<uintptr_t>(ss->pStr);
  const auto src_address = reinterpret_cast<uintptr_t>(src);
  const bool inside = src_address >= old_begin && src_address - old_begin < ss->capacity;
  const size_t offset = inside ? src_address - old_begin : 0;
  if (!Reserve(ss, needed)) return static_cast<Unit *>(ss->pStr);

  auto *buffer = static_cast<Unit *>(ss->pStr);
  if (inside) src = reinterpret_cast<const Unit *>(static_cast<const char *>(ss->pStr) + offset);
  std::memmove(buffer + ss->length, src, size_t{n} * sizeof(Unit));
  ss->length += n;
  buffer[ss->length] = 0;
  return buffer;
}

// A zero-filled heap block, released on scope exit. Zero filling makes the
// units appended past a short conversion's end zeros.
class ScratchBlock {
 public:
  explicit ScratchBlock(uint32_t size) : block_(base::AllocZeroed(size, 1)) {}
  ~ScratchBlock() { base::FreeMem(block_); }
  ScratchBlock(const ScratchBlock &) = delete;
  ScratchBlock &operator=(const ScratchBlock &) = delete;
  void *get() const { return block_; }

 private:
  void *block_;
};

template <typename Unit>
Unit *Alloc(SMSSStr *ss, uint32_t capacity) {
  if (ss == nullptr) return nullptr;
  ss->pStr = nullptr;
  ss->capacity = 0;
  ss->length = 0;
  if (capacity == 0) return nullptr;
  // A one-byte UCS-2 request still gets room for its terminator unit.
  auto *buffer =
      static_cast<Unit *>(base::AllocMem(capacity < sizeof(Unit) ? sizeof(Unit) : capacity));
  if (buffer == nullptr) return nullptr;
  buffer[0] = 0;
  ss->pStr = buffer;
  ss->capacity = capacity;
  return buffer;
}

}  // namespace

uint32_t SsGrownCapacity(uint32_t capacity, uint32_t needed) {
  uint64_t grown =
      capacity <= kDoublingLimit ? uint64_t{capacity} * 2 : uint64_t{capacity} * 125 / 100;
  if (grown < needed) grown = needed;
  return grown > kMaxCapacity ? static_cast<uint32_t>(kMaxCapacity) : static_cast<uint32_t>(grown);
}

uint16_t *SSUCS2StrAlloc(SMSSStr *ss, uint32_t capacity) {
  return Alloc<uint16_t>(ss, capacity);
}

char *SSUTF8StrAlloc(SMSSStr *ss, uint32_t capacity) {
  return Alloc<char>(ss, capacity);
}

uint16_t *SSUCS2StrNCatUCS2Str(SMSSStr *ss, const uint16_t *src, uint32_t n) {
  if (ss == nullptr) return nullptr;
  if (src == nullptr || ss->pStr == nullptr) return static_cast<uint16_t *>(ss->pStr);
  if (n == 0) n = UCS2Strlen(src);
  return AppendUnits(ss, src, n);
}

char *SSUTF8StrNCatUTF8Str(SMSSStr *ss, const char *src, uint32_t n) {
  if (ss == nullptr) return nullptr;
  if (src == nullptr || ss->pStr == nullptr) return static_cast<char *>(ss->pStr);
  if (n == 0) {
    const size_t length = std::strlen(src);
    if (length > kMaxCapacity) return static_cast<char *>(ss->pStr);
    n = static_cast<uint32_t>(length);
  }
  return AppendUnits(ss, src, n);
}

uint16_t *SSUCS2StrNCatUTF8Str(SMSSStr *ss, const char *src, uint32_t n) {
  if (ss == nullptr) return nullptr;
  auto *unchanged = static_cast<uint16_t *>(ss->pStr);
  if (src == nullptr || unchanged == nullptr) return unchanged;
  if (n == 0) {
    const size_t length = std::strlen(src);
    if (length > kMaxCapacity) return unchanged;
    n = static_cast<uint32_t>(length);
  }
  // Room for n units and the terminator, however long the conversion is.
  const uint64_t scratch_size = (uint64_t{n} + 1) * 2;
  if (scratch_size > kMaxCapacity) return unchanged;
  ScratchBlock scratch(static_cast<uint32_t>(scratch_size));
  if (scratch.get() == nullptr) return unchanged;
  uint32_t size = static_cast<uint32_t>(scratch_size);
  auto *units = static_cast<uint16_t *>(scratch.get());
  if (!Ok(UTF8StrToUCS2Str(units, &size, src))) return unchanged;
  return AppendUnits(ss, static_cast<const uint16_t *>(units), n);
}

char *SSUTF8StrNCatUCS2Str(SMSSStr *ss, const uint16_t *src, uint32_t n) {
  if (ss == nullptr) return nullptr;
  auto *unchanged = static_cast<char *>(ss->pStr);
  if (src == nullptr || unchanged == nullptr) return unchanged;
  if (n == 0) n = UCS2Strlen(src);
  // n + 1 bytes: as many bytes as the source has units. Any non-ASCII unit
  // needs more, so such text does not convert and nothing is appended.
  const uint64_t scratch_size = uint64_t{n} + 1;
  if (scratch_size > kMaxCapacity) return unchanged;
  ScratchBlock scratch(static_cast<uint32_t>(scratch_size));
  if (scratch.get() == nullptr) return unchanged;
  uint32_t size = static_cast<uint32_t>(scratch_size);
  auto *bytes = static_cast<char *>(scratch.get());
  if (!Ok(UCS2StrToUTF8Str(bytes, &size, src))) return unchanged;
  return AppendUnits(ss, static_cast<const char *>(bytes), n);
}

void SSUCS2StrFree(SMSSStr *ss) {
  if (ss == nullptr) return;
  base::FreeMem(ss->pStr);
  ss->pStr = nullptr;
  ss->capacity = 0;
  ss->length = 0;
}

void SSUTF8StrFree(SMSSStr *ss) {
  SSUCS2StrFree(ss);
}

}  // namespace kx::text
