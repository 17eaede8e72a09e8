// Fuzz target for every reader of SDO binaries and binary arrays. The input
// (after one control byte) is placed in a heap block of exactly its size; the
// readers that take no length see it only when its declared total size fits
// in the block (their callers' contract), the others are given its size.
// Anything a reader accepts must survive a round trip unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "kxsupt/sdo.h"

namespace {

uint32_t g_sink = 0;

uint32_t TouchBegin(uint32_t, uint32_t, uint32_t, uint32_t count, int32_t, const void *image) {
  g_sink += count + static_cast<const uint8_t *>(image)[7];
  return 0;
}
uint32_t TouchEntry(uint32_t, uint32_t *cookie, uint16_t id, uint32_t, uint32_t, uint32_t, uint32_t,
                    uint32_t length, const void *value) {
  for (uint32_t i = 0; i < length; ++i) g_sink += static_cast<const uint8_t *>(value)[i];
  *cookie = id;
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

  // Readers given the block's size.
  SDOConfig *config = SMSDOConfigAlloc();
  if (size != 0 && SMSDOConfigAddData(config, 1, static_cast<uint8_t>(0x0C | (control & 0xF0)),
                                      block, static_cast<uint32_t>(size), 0) == 0) {
    CheckRoundTrip(config);
  }
  SMSDOConfigFree(config);

  if (size >= 8 && (static_cast<size_t>(block[6]) | (block[7] << 8)) <= size) {
    ReadInPlace(block);
    // Changes in place: a value of a length picked by the control byte.
    uint8_t value[16] = {0x5A};
    uint32_t room = static_cast<uint32_t>(size);
    if (size >= 16) {
      const uint16_t id = static_cast<uint16_t>(block[8] | (block[9] << 8));
      SMSDOBinarySetData(block, &room, id, block[10], value, (control >> 1) & 15);
    }
    room = static_cast<uint32_t>(size);
    SMSDOBinaryArrayAddData(block, &room, value, 8);
  }
  std::free(block);
  return 0;
}
