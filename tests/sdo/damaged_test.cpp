// Damaged images: truncated blocks, lying counts, lengths, offsets and nested
// sizes, also at the bottom of the deepest image, must be refused with the
// operation's wrong-magic (or failed-conversion) status, and never read
// outside the declared size. Every
// image sits in a heap block of exactly its declared size, so the sanitizer
// build turns any stray read into a failure.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "kxsupt/sdo.h"
#include "sdo_model.h"

namespace {

using sdotest::Bytes;
using sdotest::ConfigPtr;

// Reads every value byte a walk hands out, so a bad pointer or length shows,
// and counts the images begun.
uint32_t g_sum = 0, g_begins = 0;
uint32_t TouchBegin(uint32_t, uint32_t, uint32_t, uint32_t, int32_t, const void *image) {
  g_sum += static_cast<const uint8_t *>(image)[7];
  return ++g_begins, 0;
}
uint32_t TouchEntry(uint32_t, uint32_t *, uint16_t, uint32_t, uint32_t, uint32_t, uint32_t,
                    uint32_t length, const void *value) {
  for (uint32_t i = 0; i < length; ++i) g_sum += static_cast<const uint8_t *>(value)[i];
  return 0;
}
uint32_t Walk(const Bytes &image, uint32_t recurse) {
  g_begins = 0;
  return SMSDOBinaryWalk(image.data(), 0, TouchBegin, TouchEntry, nullptr, nullptr, recurse);
}

// Runs every reader over `block`, grown to its declared total if that is
// larger, and checks what must hold whatever the bytes: a config that
// converts out converts back to an equal one.
void ExerciseReaders(Bytes block) {
  block.resize(std::max<size_t>(block.size() < 8 ? 8 : sdotest::Get16(&block[6]), block.size()));
  const uint8_t *base = block.data();
  if (ConfigPtr config(SMSDOBinaryToConfig(base)); config != nullptr) {
    ConfigPtr again(SMSDOBinaryToConfig(sdotest::ToBinary(config.get()).data()));
    EXPECT_EQ(SMSDOConfigCompareByValue(config.get(), again.get()), 1);
  }
  static uint8_t buffer[65536];
  uint32_t size = 0;
  const int32_t count = SMSDOBinaryGetCount(base, nullptr);
  for (int32_t i = 0; i < count && i < 64; ++i) {
    uint16_t id = static_cast<uint16_t>(i + 1);  // or the ID found at index i
    SMSDOBinaryGetDataByIndex(base, i, &id, nullptr, buffer, &(size = sizeof buffer));
    SMSDOBinaryGetDataByID(base, id, nullptr, buffer, &(size = sizeof buffer));
    SMSDOBinaryArrayGetByIndex(base, 0, i, buffer, &(size = sizeof buffer));
  }
  Walk(block, 1);
  Walk(block, 0);
  SDOConfig *handles[64] = {};
  if (SMSDOBinaryArrayToConfigArray(base, handles, &(size = 64)) == 0) {
    for (uint32_t i = 0; i < size; ++i) SMSDOConfigFree(handles[i]);
  }
  if (count > 0 && block.size() >= 16) {
    SMSDOBinarySetData(block.data(), &(size = block.size()), sdotest::Get16(&block[8]),
                       std::max<uint8_t>(block[10], 1), buffer, 6);
  }
}

// A nested sample: values of every storage kind, a child and an array of two.
Bytes NestedSample() {
  sdotest::ModelObject leaf, top;
  leaf.values[4] = {1, {1, 2, 3, 4, 5, 6, 7}, {}};
  leaf.values[9] = {2, {9}, {}};
  top.values[1] = {3, {0xAA, 0xBB}, {}};
  top.values[2] = {0x0D, {}, {leaf}};
  top.values[3] = {0x1D, {}, {leaf, {}}};
  top.values[7] = {4, {1, 2, 3, 4, 5}, {}};
  return sdotest::EncodeObject(top);
}

TEST(SdoDamaged, truncated_images_are_refused_by_every_reader) {
  const Bytes image = NestedSample();
  ConfigPtr config(SMSDOConfigAlloc());
  for (size_t length = 1; length < image.size(); ++length) {
    SCOPED_TRACE("length " + std::to_string(length));
    if (length < 8) continue;
    // The block was cut and its size field says so: records that point past
    // it must be refused. An add is bounded by the same header, whatever
    // data size it is given.
    Bytes cut(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(length));
    sdotest::Put16(cut, 6, length);
    EXPECT_EQ(SMSDOConfigAddData(config.get(), 1, 0x0C, cut.data(), 1, 0), SM_STATUS_ERROR);
    EXPECT_EQ(SMSDOBinaryToConfig(cut.data()), nullptr);
    EXPECT_EQ(Walk(cut, 0), SM_STATUS_INVALID_PARAMETER);
    uint32_t room = static_cast<uint32_t>(length);
    if (length >= 16) {
      EXPECT_NE(SMSDOBinarySetData(cut.data(), &room, 7, 4, &image[0], 6), SM_STATUS_SUCCESS);
    }
    ExerciseReaders(cut);
  }
}

TEST(SdoDamaged, lying_fields_are_refused_with_each_operations_status) {
  // The sample's records: 8 (ID 3, out of line, length 6, offset 16) and 16
  // (ID 5, inline); data area from 24 to 30.
  // Total below the header, table past the total, value past the total,
  // offset past the total, into the table, onto its own record.
  for (auto [at, lie] : {std::pair(6, 7), {4, 4}, {12, 7}, {14, 17}, {14, 8}, {14, 0}}) {
    SCOPED_TRACE(::testing::Message() << "byte " << at << " = " << lie);
    Bytes image = sdotest::kSampleImage;
    image[at] = static_cast<uint8_t>(lie);
    uint8_t buffer[64];
    uint32_t size = sizeof buffer;
    uint16_t id = 0;
    EXPECT_EQ(SMSDOBinaryGetDataByID(image.data(), 3, nullptr, buffer, &size),
              SM_STATUS_OS_FAILURE);
    EXPECT_EQ(SMSDOBinaryGetDataByIndex(image.data(), 0, &id, nullptr, buffer, &size),
              SM_STATUS_OS_FAILURE);
    EXPECT_EQ(SMSDOBinaryToConfig(image.data()), nullptr);
    EXPECT_EQ(Walk(image, 1), SM_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(SMSDOBinarySetData(image.data(), &(size = 30), 3, 7, buffer, 2),
              SM_STATUS_INVALID_PARAMETER);
  }
}

TEST(SdoDamaged, nested_images_must_fit_in_their_value) {
  Bytes image = NestedSample();
  // Record 1 holds the child; make the child's own size field claim more.
  const uint32_t offset = 16 + sdotest::Get16(&image[16 + 6]);
  sdotest::Put16(image, offset + 6, sdotest::Get16(&image[16 + 4]) + 1);
  EXPECT_EQ(SMSDOBinaryToConfig(image.data()), nullptr);
  EXPECT_EQ(Walk(image, 1), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(Walk(image, 0), 0u);  // without recursion the nested image is never opened

  // An array whose last element claims to run past the array.
  Bytes array = sdotest::EncodeArray({{}, {}});
  sdotest::Put16(array, 16 + 6, 9);
  uint8_t buffer[64];
  uint32_t size = sizeof buffer;
  EXPECT_EQ(SMSDOBinaryArrayGetByIndex(array.data(), 0, 1, buffer, &size), SM_STATUS_OS_FAILURE);
  SDOConfig *handles[2] = {};
  EXPECT_EQ(SMSDOBinaryArrayToConfigArray(array.data(), handles, &(size = 2)),
            SM_STATUS_OS_FAILURE);
  // An append steps over elements by their declared sizes without judging
  // them, so it finds the end one byte past the array and asks for room.
  size = static_cast<uint32_t>(array.size());
  EXPECT_EQ(SMSDOBinaryArrayAddData(array.data(), &size, buffer, 8), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 33u);
  EXPECT_EQ(Walk(array, 0), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(g_begins, 1u);  // the array began; its empty first element makes no call
}

// Damage at the bottom of an image nested to the format's limit is found
// when the readers reach it, without a deep recursion: the conversions fail,
// and the walk has begun every image above it.
TEST(SdoDamaged, damage_at_the_bottom_of_the_deepest_image_is_found_there) {
  constexpr size_t kLevels = (65535 - 8) / 16;
  Bytes image = sdotest::DeepImage(kLevels);
  image[image.size() - 8] = 'X';  // the innermost image's magic
  EXPECT_EQ(SMSDOBinaryToConfig(image.data()), nullptr);
  ConfigPtr config(SMSDOConfigAlloc());
  EXPECT_EQ(sdotest::Add(config.get(), 1, Bytes(image.begin() + 16, image.end()), 0x0C),
            SM_STATUS_ERROR);
  EXPECT_EQ(SMSDOConfigGetCount(config.get()), 0u);
  EXPECT_EQ(Walk(image, 1), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(g_begins, kLevels);
  EXPECT_EQ(Walk(image, 0), 0u);
  EXPECT_EQ(g_begins, 1u);
  // A nested size one byte past its value, at the bottom.
  image = sdotest::DeepImage(kLevels);
  sdotest::Put16(image, image.size() - 24 + 12, 9);  // the last record's value: 9 bytes, not 8
  EXPECT_EQ(SMSDOBinaryToConfig(image.data()), nullptr);
  EXPECT_EQ(Walk(image, 1), SM_STATUS_INVALID_PARAMETER);
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
