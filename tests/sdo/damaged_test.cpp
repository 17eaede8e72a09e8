// Damaged images: truncated blocks, lying counts, lengths, offsets and nested
// sizes, and deep nesting must be refused with the operation's wrong-magic (or
// failed-conversion) status, and never read outside the declared size. Every
// image sits in a heap block of exactly its declared size, so the sanitizer
// build turns any stray read into a failure.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kxsupt/sdo.h"
#include "sdo_model.h"

namespace {

using sdotest::Bytes;

// Reads every value byte a walk hands out, so a bad pointer or length shows.
uint32_t g_sum = 0;
uint32_t TouchBegin(uint32_t, uint32_t, uint32_t, uint32_t, int32_t, const void *image) {
  g_sum += static_cast<const uint8_t *>(image)[7];
  return 0;
}
uint32_t TouchEntry(uint32_t, uint32_t *, uint16_t, uint32_t, uint32_t, uint32_t, uint32_t,
                    uint32_t length, const void *value) {
  for (uint32_t i = 0; i < length; ++i) g_sum += static_cast<const uint8_t *>(value)[i];
  return 0;
}

// Runs every reader of the exported interface over `image` (whose block is
// exactly max(image size, declared total) bytes) and checks the consistency
// that must hold whatever the bytes: a config that converts out converts back
// to the same image.
void ExerciseReaders(const Bytes &image) {
  Bytes block = image;
  if (block.size() >= 8) {
    const size_t declared = sdotest::Get16(block.data() + 6);
    if (declared > block.size()) block.resize(declared, 0xA5);
  } else {
    block.resize(8, 0);
  }
  const uint8_t *base = block.data();
  SDOConfig *config = SMSDOBinaryToConfig(base);
  if (config != nullptr) {
    Bytes out(SMSDOConfigGetBinarySize(config));
    uint32_t size = static_cast<uint32_t>(out.size());
    EXPECT_EQ(SMSDOConfigToBinary(config, out.data(), &size), 0u);
    SDOConfig *again = SMSDOBinaryToConfig(out.data());
    EXPECT_EQ(SMSDOConfigCompareByValue(config, again), 1);
    SMSDOConfigFree(again);
    SMSDOConfigFree(config);
  }
  uint8_t buffer[65536];
  const int32_t count = SMSDOBinaryGetCount(base, nullptr);
  for (int32_t i = 0; i < count && i < 64; ++i) {
    uint16_t id = 0;
    uint32_t size = sizeof buffer;
    if (SMSDOBinaryGetDataByIndex(base, static_cast<uint32_t>(i), &id, nullptr, buffer, &size) ==
        0) {
      size = sizeof buffer;
      SMSDOBinaryGetDataByID(base, id, nullptr, buffer, &size);
    }
    size = sizeof buffer;
    SMSDOBinaryGetDataByID(base, static_cast<uint16_t>(i + 1), nullptr, buffer, &size);
    size = sizeof buffer;
    SMSDOBinaryArrayGetByIndex(base, 0, static_cast<uint32_t>(i), buffer, &size);
  }
  SMSDOBinaryWalk(base, 0, TouchBegin, TouchEntry, nullptr, nullptr, 1);
  SMSDOBinaryWalk(base, 0, TouchBegin, TouchEntry, nullptr, nullptr, 0);
  SDOConfig *handles[64] = {};
  uint32_t capacity = 64;
  if (SMSDOBinaryArrayToConfigArray(base, handles, &capacity) == 0) {
    for (uint32_t i = 0; i < capacity; ++i) SMSDOConfigFree(handles[i]);
  }
  Bytes copy = block;
  uint32_t room = static_cast<uint32_t>(copy.size());
  const uint8_t value[6] = {1, 2, 3, 4, 5, 6};
  if (count > 0 && copy.size() >= 16) {
    uint16_t id = sdotest::Get16(copy.data() + 8) & 0xFFFF;
    SMSDOBinarySetData(copy.data(), &room, id, copy[10] == 0 ? 1 : copy[10], value, 6);
  }
}

// A nested sample: values of every storage kind, a child and an array of two.
Bytes NestedSample() {
  sdotest::ModelObject leaf;
  leaf.values[4].type = 1;
  leaf.values[4].bytes = {1, 2, 3, 4, 5, 6, 7};
  leaf.values[9].type = 2;
  leaf.values[9].bytes = {9};
  sdotest::ModelObject top;
  top.values[1].type = 3;
  top.values[1].bytes = {0xAA, 0xBB};
  top.values[2].type = 0x0D;
  top.values[2].children = {leaf};
  top.values[3].type = 0x1D;
  top.values[3].children = {leaf, sdotest::ModelObject{}};
  top.values[7].type = 4;
  top.values[7].bytes = {1, 2, 3, 4, 5};
  return sdotest::EncodeObject(top);
}

TEST(SdoDamaged, truncated_images_are_refused_by_every_reader) {
  const Bytes image = NestedSample();
  for (size_t length = 8; length < image.size(); ++length) {
    SCOPED_TRACE("length " + std::to_string(length));
    // The block was cut and its size field says so: records that point past it
    // must be refused.
    Bytes cut(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(length));
    sdotest::Put16(cut, 6, static_cast<uint32_t>(length));
    EXPECT_EQ(SMSDOBinaryToConfig(cut.data()), nullptr);
    EXPECT_EQ(SMSDOBinaryWalk(cut.data(), 0, TouchBegin, TouchEntry, nullptr, nullptr, 0), 271u);
    uint32_t room = static_cast<uint32_t>(length);
    const uint8_t value[6] = {};
    if (length >= 16) {
      EXPECT_NE(SMSDOBinarySetData(cut.data(), &room, 7, 4, value, 6), 0u);
    }
    ExerciseReaders(cut);
  }
  // A value cut short of the header it claims is refused by the add, with the
  // status of a failed conversion; an add only reads the size it is given.
  SDOConfig *config = SMSDOConfigAlloc();
  for (size_t length = 1; length < image.size(); ++length) {
    Bytes cut(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(length));
    const uint32_t status =
        SMSDOConfigAddData(config, 1, 0x0C, cut.data(), static_cast<uint32_t>(length), 0);
    EXPECT_EQ(status, length < 4 ? 271u : 0xFFFFFFFFu) << length;
  }
  Bytes array = sdotest::EncodeArray({sdotest::ModelObject{}, sdotest::ModelObject{}});
  for (size_t length = 4; length < array.size(); ++length) {
    Bytes cut(array.begin(), array.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_EQ(SMSDOConfigAddData(config, 1, 0x0C, cut.data(), static_cast<uint32_t>(length), 0),
              257u)
        << length;
  }
  EXPECT_EQ(SMSDOConfigGetCount(config), 0u);
  SMSDOConfigFree(config);
}

TEST(SdoDamaged, lying_fields_are_refused_with_each_operations_status) {
  // Sample layout: records at 8 (ID 3, out of line, length 6, offset 16) and
  // 16 (ID 5, inline); data area from 24 to 30.
  const Bytes good = {'B', 'O', 'D', 'S', 2, 0,    30,   0, 3, 0, 7, 4, 6, 0, 16,
                      0,   5,   0,   2,   1, 0x34, 0x12, 0, 0, 1, 2, 3, 4, 5, 6};
  struct Lie {
    const char *what;
    size_t at;
    std::vector<uint8_t> bytes;
  } lies[] = {
      {"total below the header", 6, {7, 0}}, {"table past the total", 4, {4, 0}},
      {"value past the total", 12, {7, 0}},  {"offset past the total", 14, {17, 0}},
      {"offset into the table", 14, {8, 0}}, {"offset onto its own record", 14, {0, 0}},
  };
  for (const Lie &lie : lies) {
    SCOPED_TRACE(lie.what);
    Bytes image = good;
    std::copy(lie.bytes.begin(), lie.bytes.end(), image.begin() + static_cast<long>(lie.at));
    uint8_t buffer[64];
    uint32_t size = sizeof buffer;
    EXPECT_EQ(SMSDOBinaryGetDataByID(image.data(), 3, nullptr, buffer, &size), 257u);
    size = sizeof buffer;
    uint16_t id = 0;
    EXPECT_EQ(SMSDOBinaryGetDataByIndex(image.data(), 0, &id, nullptr, buffer, &size), 257u);
    EXPECT_EQ(SMSDOBinaryToConfig(image.data()), nullptr);
    EXPECT_EQ(SMSDOBinaryWalk(image.data(), 0, TouchBegin, TouchEntry, nullptr, nullptr, 1), 271u);
    uint32_t room = 30;
    EXPECT_EQ(SMSDOBinarySetData(image.data(), &room, 3, 7, buffer, 2), 271u);
    SDOConfig *config = SMSDOConfigAlloc();
    EXPECT_EQ(SMSDOConfigAddData(config, 1, 0x0C, image.data(), 30, 0), 0xFFFFFFFFu);
    SMSDOConfigFree(config);
  }
}

TEST(SdoDamaged, nested_images_must_fit_in_their_value) {
  Bytes image = NestedSample();
  // Record 1 holds the child; make the child's own size field claim more.
  const uint32_t offset = 16 + sdotest::Get16(image.data() + 16 + 6);
  const uint32_t length = sdotest::Get16(image.data() + 16 + 4);
  sdotest::Put16(image, offset + 6, length + 1);
  EXPECT_EQ(SMSDOBinaryToConfig(image.data()), nullptr);
  EXPECT_EQ(SMSDOBinaryWalk(image.data(), 0, TouchBegin, TouchEntry, nullptr, nullptr, 1), 271u);
  // Without recursion the nested image is never opened.
  EXPECT_EQ(SMSDOBinaryWalk(image.data(), 0, TouchBegin, TouchEntry, nullptr, nullptr, 0), 0u);

  // An array whose element claims to run past the array.
  Bytes array = sdotest::EncodeArray({sdotest::ModelObject{}, sdotest::ModelObject{}});
  sdotest::Put16(array, 8 + 6, 9);
  uint8_t buffer[64];
  uint32_t size = sizeof buffer;
  EXPECT_EQ(SMSDOBinaryArrayGetByIndex(array.data(), 0, 1, buffer, &size), 257u);
  SDOConfig *handles[2] = {};
  uint32_t count = 2;
  EXPECT_EQ(SMSDOBinaryArrayToConfigArray(array.data(), handles, &count), 257u);
  uint32_t room = static_cast<uint32_t>(array.size());
  EXPECT_EQ(SMSDOBinaryArrayAddData(array.data(), &room, buffer, 8), 271u);
  EXPECT_EQ(SMSDOBinaryWalk(array.data(), 0, TouchBegin, TouchEntry, nullptr, nullptr, 0), 271u);
  // An element count that cannot fit (8 bytes per element at least).
  Bytes crowded = {'B', 'A', 'D', 'S', 2, 0, 16, 0, 'B', 'O', 'D', 'S', 0, 0, 8, 0};
  size = sizeof buffer;
  EXPECT_EQ(SMSDOBinaryArrayGetByIndex(crowded.data(), 0, 0, buffer, &size), 257u);
}

// An image nested `levels` deep: each level is a header and one record
// holding the next level, the innermost an empty image.
Bytes DeepImage(int levels) {
  Bytes image = {'B', 'O', 'D', 'S', 0, 0, 8, 0};
  for (int i = 0; i < levels; ++i) {
    Bytes outer = {'B', 'O', 'D', 'S', 1, 0, 0, 0, 1, 0, 0x0C, 0x04, 0, 0, 8, 0};
    sdotest::Put16(outer, 12, static_cast<uint32_t>(image.size()));
    outer.insert(outer.end(), image.begin(), image.end());
    sdotest::Put16(outer, 6, static_cast<uint32_t>(outer.size()));
    image = std::move(outer);
  }
  return image;
}

uint32_t g_begins = 0;
uint32_t DepthBegin(uint32_t, uint32_t parentCookie, uint32_t, uint32_t, int32_t, const void *) {
  EXPECT_EQ(parentCookie, g_begins);  // each level's parent is the entry just above it
  ++g_begins;
  return 0;
}
uint32_t DepthEntry(uint32_t, uint32_t *cookie, uint16_t, uint32_t, uint32_t, uint32_t, uint32_t,
                    uint32_t, const void *) {
  *cookie = g_begins;
  return 0;
}

// Nesting is bounded at 256 levels below the top image (the format would
// allow 4095), so a crafted image cannot run the recursion off the stack.
TEST(SdoDamaged, nesting_up_to_the_bound_works_and_deeper_is_refused) {
  constexpr int kBound = 256;
  const Bytes deepest = DeepImage(kBound);
  SDOConfig *config = SMSDOBinaryToConfig(deepest.data());
  ASSERT_NE(config, nullptr);
  Bytes out(deepest.size());
  uint32_t size = static_cast<uint32_t>(out.size());
  EXPECT_EQ(SMSDOConfigToBinary(config, out.data(), &size), 0u);
  EXPECT_EQ(out, deepest);
  SMSDOConfigFree(config);
  g_begins = 0;
  EXPECT_EQ(SMSDOBinaryWalk(deepest.data(), 0, DepthBegin, DepthEntry, nullptr, nullptr, 1), 0u);
  EXPECT_EQ(g_begins, static_cast<uint32_t>(kBound));  // the innermost image is empty

  const Bytes tooDeep = DeepImage(kBound + 1);
  EXPECT_EQ(SMSDOBinaryToConfig(tooDeep.data()), nullptr);
  g_begins = 0;
  EXPECT_EQ(SMSDOBinaryWalk(tooDeep.data(), 0, DepthBegin, DepthEntry, nullptr, nullptr, 1), 271u);
  EXPECT_EQ(g_begins, 0u);  // refused before the first callback
  EXPECT_EQ(SMSDOBinaryWalk(tooDeep.data(), 0, DepthBegin, DepthEntry, nullptr, nullptr, 0), 0u);
  // Added as a value, the image sits one level below its config.
  config = SMSDOConfigAlloc();
  EXPECT_EQ(
      SMSDOConfigAddData(config, 1, 0x0C, deepest.data(), static_cast<uint32_t>(deepest.size()), 0),
      0xFFFFFFFFu);
  const Bytes fits = DeepImage(kBound - 1);
  EXPECT_EQ(SMSDOConfigAddData(config, 1, 0x0C, fits.data(), static_cast<uint32_t>(fits.size()), 0),
            0u);
  SMSDOConfigFree(config);

  // The largest image the format allows, nested to the full 4095 levels, is
  // refused quickly and without a deep recursion.
  const Bytes formatLimit = DeepImage((65535 - 8) / 16);
  ASSERT_LE(formatLimit.size(), 65535u);
  EXPECT_EQ(SMSDOBinaryToConfig(formatLimit.data()), nullptr);
  EXPECT_EQ(SMSDOBinaryWalk(formatLimit.data(), 0, DepthBegin, DepthEntry, nullptr, nullptr, 1),
            271u);
}

// Every single-byte change of a nested image, at every position: whatever the
// readers decide, they stay inside the block.
TEST(SdoDamaged, every_single_byte_change_stays_in_bounds) {
  const Bytes image = NestedSample();
  for (size_t at = 0; at < image.size(); ++at) {
    for (uint8_t value : {0x00, 0x01, 0x04, 0x0C, 0x0D, 0x1C, 0x7F, 0x80, 0xFF}) {
      Bytes changed = image;
      changed[at] = value;
      ExerciseReaders(changed);
    }
  }
}

}  // namespace
