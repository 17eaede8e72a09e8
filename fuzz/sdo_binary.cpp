// Fuzz target for every reader of SDO binaries and binary arrays. The input
// (after one control byte) is placed in a heap block of exactly its size; the
// readers, which take no length, see it only when its declared total size
// fits in the block (their callers' contract). Anything a reader accepts must
// survive a round trip unchanged. When the control byte asks for it, the same
// bytes are also read as a recipe for a valid image nested up to the
// format's limit, which every reader must accept exactly, and which is then
// damaged at one byte and read again. Control bits: 0 makes the size field
// tell the truth, 1-3 pick a length, 4 asks for the deep image, 5-7 are the
// attribute bits of a code-12 add.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "kxsupt/sdo.h"

namespace {

uint32_t g_sink = 0, g_begins = 0, g_entries = 0;

uint32_t TouchBegin(uint32_t, uint32_t, uint32_t, uint32_t count, int32_t, const void *image) {
  g_sink += count + static_cast<const uint8_t *>(image)[7];
  ++g_begins;
  return 0;
}
uint32_t TouchEntry(uint32_t, uint32_t *cookie, uint16_t id, uint32_t, uint32_t, uint32_t, uint32_t,
                    uint32_t length, const void *value) {
  // The first and last bytes: touching every byte of every nested value
  // would cost the square of the depth.
  if (length != 0)
    g_sink +=
        static_cast<const uint8_t *>(value)[0] + static_cast<const uint8_t *>(value)[length - 1];
  *cookie = id;
  ++g_entries;
  return 0;
}
uint32_t TouchAfter(uint32_t, uint32_t cookie) {
  return cookie == 0xFFFFFFFF;
}
uint32_t TouchEnd(uint32_t, uint32_t, uint32_t) {
  return 0;
}

// A config that converted out of fuzz bytes must convert back to itself.
void CheckRoundTrip(SDOConfig *config) {
  const uint32_t size = SMSDOConfigGetBinarySize(config);
  std::vector<uint8_t> image(size);
  uint32_t written = size;
  if (SMSDOConfigToBinary(config, image.data(), &written) != 0 || written != size) std::abort();
  SDOConfig *again = SMSDOBinaryToConfig(image.data());
  if (SMSDOConfigCompareByValue(config, again) != 1) std::abort();
  SMSDOConfigFree(again);
}

void ReadInPlace(const uint8_t *block) {
  uint8_t buffer[65536];
  uint16_t isArray = 0;
  const int32_t count = SMSDOBinaryGetCount(block, &isArray);
  SMSDOBinaryGetSize(block, nullptr);
  for (int32_t i = 0; i < count && i < 256; ++i) {
    uint16_t id = 0;
    uint8_t type = 0;
    uint32_t size = sizeof buffer;
    if (SMSDOBinaryGetDataByIndex(block, static_cast<uint32_t>(i), &id, &type, buffer, &size) ==
        0) {
      size = sizeof buffer;
      SMSDOBinaryGetDataByID(block, id, &type, buffer, &size);
    }
    size = sizeof buffer;
    SMSDOBinaryArrayGetByIndex(block, 0, static_cast<uint32_t>(i), buffer, &size);
  }
  SMSDOBinaryWalk(block, 0, TouchBegin, TouchEntry, TouchAfter, TouchEnd, 1);
  SMSDOBinaryWalk(block, 0, TouchBegin, TouchEntry, nullptr, nullptr, 0);

  if (SDOConfig *config = SMSDOBinaryToConfig(block)) {
    CheckRoundTrip(config);
    SMSDOConfigFree(config);
  }
  SDOConfig *handles[64] = {};
  uint32_t capacity = 64;
  if (SMSDOBinaryArrayToConfigArray(block, handles, &capacity) == 0) {
    for (uint32_t i = 0; i < capacity; ++i) {
      CheckRoundTrip(handles[i]);
      SMSDOConfigFree(handles[i]);
    }
  }
}

using Bytes = std::vector<uint8_t>;

void Put16(Bytes &out, size_t at, size_t value) {
  out[at] = static_cast<uint8_t>(value);
  out[at + 1] = static_cast<uint8_t>(value >> 8);
}

// A valid image built by a recipe: its first two bytes ask for a number of
// levels (up to 255, or 3840 to 4095), and each level, from the innermost
// out, takes the next byte, cyclically. Bit 0 holds the level below in a binary array (with an
// empty element after it when bit 1 is set) instead of directly; bits 2-3
// add that many plain values beside it, of 1 + (bits 4-7) bytes each, which
// come first in ID order. Levels stop when the next would pass 65535 bytes.
// The image is laid out front to back in linear time: each level's header,
// records and plain values, then the level below, then the array's empty
// element. Counts the begin and entry callbacks a recursive walk must make.
struct DeepImage {
  Bytes image;
  uint32_t levels = 0, begins = 0, entries = 0;
};

DeepImage BuildDeep(const uint8_t *recipe, size_t size) {
  struct Level {
    uint8_t step;
    size_t total;  // this level's object image
  };
  std::vector<Level> levels;  // innermost first
  // Either up to 255 levels, or close to the limit (which stops the levels).
  const size_t wanted = size < 3 ? 0 : (recipe[1] & 1) == 0 ? recipe[0] : 4095 - recipe[0];
  size_t inner = 8;
  DeepImage deep;
  for (size_t i = 0; i < wanted; ++i) {
    const uint8_t step = recipe[2 + i % (size - 2)];
    const size_t siblings = (step >> 2) & 3, length = 1 + (step >> 4);
    const size_t arrayBytes = (step & 1) == 0 ? 0 : (step & 2) != 0 ? 16 : 8;
    const size_t total =
        8 + 8 * (siblings + 1) + (length > 4 ? siblings * length : 0) + arrayBytes + inner;
    if (total > 65535) break;
    levels.push_back({step, total});
    inner = total;
    deep.begins += (step & 1) != 0 ? 2 : 1;
    deep.entries += static_cast<uint32_t>(siblings + 1);
  }
  deep.levels = static_cast<uint32_t>(levels.size());
  deep.image.assign(inner, 0);
  Bytes &out = deep.image;
  auto header = [&out](size_t at, const char *magic, size_t count, size_t total) {
    std::copy(magic, magic + 4, out.begin() + at);
    Put16(out, at + 4, count);
    Put16(out, at + 6, total);
  };
  size_t at = 0;
  for (size_t i = levels.size(); i-- > 0;) {
    const uint8_t step = levels[i].step;
    const size_t siblings = (step >> 2) & 3, length = 1 + (step >> 4);
    const size_t below = i == 0 ? 8 : levels[i - 1].total;
    const size_t arrayBytes = (step & 1) == 0 ? 0 : (step & 2) != 0 ? 16 : 8;
    header(at, "BODS", siblings + 1, levels[i].total);
    size_t record = at + 8, data = at + 8 + 8 * (siblings + 1);
    for (size_t v = 0; v < siblings; ++v, record += 8) {
      Put16(out, record, 1 + v);
      out[record + 2] = static_cast<uint8_t>(0x01 | (step & 0xE0));
      if (length <= 4) {
        out[record + 3] = static_cast<uint8_t>(length - 1);
        std::fill_n(out.begin() + record + 4, length, step);
        continue;
      }
      out[record + 3] = 0x04;
      Put16(out, record + 4, length);
      Put16(out, record + 6, data - record);
      std::fill_n(out.begin() + data, length, step);
      data += length;
    }
    Put16(out, record, 100);
    out[record + 2] = (step & 1) != 0 ? 0x1C : 0x0C;
    out[record + 3] = 0x04;
    Put16(out, record + 4, arrayBytes + below);
    Put16(out, record + 6, data - record);
    if ((step & 1) != 0) {
      header(data, "BADS", (step & 2) != 0 ? 2 : 1, arrayBytes + below);
      data += 8;
    }
    at = data;
  }
  header(at, "BODS", 0, 8);  // the innermost image
  at += 8;
  for (const Level &level : levels) {  // the arrays' empty elements, innermost first
    if ((level.step & 3) != 3) continue;
    header(at, "BODS", 0, 8);
    at += 8;
  }
  return deep;
}

// Every reader must take a valid deep image exactly as it is; damaged at one
// byte, none may stray outside it.
void CheckDeep(const uint8_t *recipe, size_t size, uint8_t control) {
  const DeepImage deep = BuildDeep(recipe, size);
  const Bytes &image = deep.image;
  SDOConfig *config = SMSDOBinaryToConfig(image.data());
  if (config == nullptr) std::abort();
  Bytes again(image.size());
  uint32_t written = static_cast<uint32_t>(again.size());
  if (SMSDOConfigToBinary(config, again.data(), &written) != 0 || again != image) std::abort();
  SMSDOConfigFree(config);
  g_begins = g_entries = 0;
  if (SMSDOBinaryWalk(image.data(), 0, TouchBegin, TouchEntry, TouchAfter, TouchEnd, 1) != 0 ||
      g_begins != deep.begins || g_entries != deep.entries) {
    std::abort();
  }
  // Added under code 12 with any non-zero size: the header bounds it.
  config = SMSDOConfigAlloc();
  const uint32_t status =
      SMSDOConfigAddData(config, 7, 0x0C, image.data(), 1 + ((control >> 1) & 7), 0);
  if (status != (image.size() + 16 <= 65535 ? 0u : 19u)) std::abort();
  SMSDOConfigFree(config);

  // One byte changed, at a place and to a value the recipe picks.
  if (size < 4 || deep.levels == 0) return;
  uint8_t *damaged = static_cast<uint8_t *>(std::malloc(image.size()));
  std::memcpy(damaged, image.data(), image.size());
  const size_t at =
      (recipe[size - 1] | (recipe[size - 2] << 8) | (size_t{recipe[2]} << 16)) % image.size();
  damaged[at] = recipe[size - 3];
  if ((static_cast<size_t>(damaged[6]) | (damaged[7] << 8)) <= image.size()) ReadInPlace(damaged);
  std::free(damaged);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  const uint8_t control = data[0];
  ++data;
  --size;
  uint8_t *block = static_cast<uint8_t *>(std::malloc(size == 0 ? 1 : size));
  if (size != 0) std::memcpy(block, data, size);
  // Half the time the size field is made to tell the truth about the block.
  if ((control & 1) != 0 && size >= 8 && size <= 65535) {
    block[6] = static_cast<uint8_t>(size);
    block[7] = static_cast<uint8_t>(size >> 8);
  }

  if (size >= 8 && (static_cast<size_t>(block[6]) | (block[7] << 8)) <= size) {
    // A code-12 add reads the image by its header, whatever non-zero size it
    // is given.
    SDOConfig *config = SMSDOConfigAlloc();
    if (SMSDOConfigAddData(config, 1, static_cast<uint8_t>(0x0C | (control & 0xE0)), block,
                           1 + ((control >> 1) & 7), 0) == 0) {
      CheckRoundTrip(config);
    }
    SMSDOConfigFree(config);
    ReadInPlace(block);
    // Changes in place: a value of a length picked by the control byte.
    uint8_t value[16] = {0x5A};
    uint32_t room = static_cast<uint32_t>(size);
    if (size >= 16) {
      const uint16_t id = static_cast<uint16_t>(block[8] | (block[9] << 8));
      SMSDOBinarySetData(block, &room, id, block[10], value, (control >> 1) & 7);
    }
    room = static_cast<uint32_t>(size);
    SMSDOBinaryArrayAddData(block, &room, value, 8);
  }
  std::free(block);
  if ((control & 0x10) != 0) CheckDeep(data, size, control);
  return 0;
}
