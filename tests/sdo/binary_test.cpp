// SDO binary form: exact bytes of known configs, the by-ID/by-index length
// difference, status order of each read, in-place changes on both paths, the
// walk's edge cases, and the binary array operations.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "kxsupt/sdo.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct ConfigDeleter {
  void operator()(SDOConfig *config) const { SMSDOConfigFree(config); }
};
using ConfigPtr = std::unique_ptr<SDOConfig, ConfigDeleter>;

Bytes ToBinary(const SDOConfig *config) {
  Bytes image(SMSDOConfigGetBinarySize(config));
  uint32_t size = static_cast<uint32_t>(image.size());
  EXPECT_EQ(SMSDOConfigToBinary(config, image.data(), &size), 0u);
  EXPECT_EQ(size, image.size());
  return image;
}

// IDs 5 (2-byte value 0x1234, host order) and 3 (6 bytes), added out of order.
ConfigPtr SampleConfig() {
  ConfigPtr config(SMSDOConfigAlloc());
  const uint16_t small = 0x1234;
  const uint8_t six[] = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5};
  EXPECT_EQ(SMSDOConfigAddData(config.get(), 5, 0x02, &small, 2, 0), 0u);
  EXPECT_EQ(SMSDOConfigAddData(config.get(), 3, 0x07, six, 6, 0), 0u);
  return config;
}

const Bytes kSampleImage = {
    'B',  'O',  'D',  'S',  2,    0,    30, 0,  // magic 0x53444F42, count 2, total 30
    3,    0,    0x07, 0x04, 6,    0,    16, 0,  // ID 3: out of line, length 6, offset 16
    5,    0,    0x02, 0x01, 0x34, 0x12, 0,  0,  // ID 5: inline, 2 bytes
    0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5,         // the data area
};

TEST(SdoBinary, empty_and_sample_configs_have_their_exact_bytes) {
  ConfigPtr empty(SMSDOConfigAlloc());
  EXPECT_EQ(ToBinary(empty.get()), (Bytes{'B', 'O', 'D', 'S', 0, 0, 8, 0}));
  ConfigPtr sample = SampleConfig();
  EXPECT_EQ(ToBinary(sample.get()), kSampleImage);
}

TEST(SdoBinary, to_binary_checks_arguments_and_room) {
  ConfigPtr sample = SampleConfig();
  Bytes image(64, 0xEE);
  uint32_t size = 29;
  EXPECT_EQ(SMSDOConfigToBinary(nullptr, image.data(), &size), 271u);
  EXPECT_EQ(SMSDOConfigToBinary(sample.get(), nullptr, &size), 271u);
  EXPECT_EQ(SMSDOConfigToBinary(sample.get(), image.data(), nullptr), 271u);
  EXPECT_EQ(SMSDOConfigToBinary(sample.get(), image.data(), &size), 16u);
  EXPECT_EQ(size, 29u);  // left as it was
  EXPECT_EQ(image[0], 0xEE);
  size = 64;
  EXPECT_EQ(SMSDOConfigToBinary(sample.get(), image.data(), &size), 0u);
  EXPECT_EQ(size, 30u);
}

TEST(SdoBinary, by_id_reads_inline_slots_whole_and_by_index_the_real_length) {
  uint8_t buffer[8] = {};
  uint8_t type = 0;
  uint16_t id = 0;
  uint32_t size = sizeof buffer;
  ASSERT_EQ(SMSDOBinaryGetDataByID(kSampleImage.data(), 5, &type, buffer, &size), 0u);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(Bytes(buffer, buffer + 4), (Bytes{0x34, 0x12, 0, 0}));
  EXPECT_EQ(type, 0x02);
  size = sizeof buffer;
  ASSERT_EQ(SMSDOBinaryGetDataByIndex(kSampleImage.data(), 1, &id, &type, buffer, &size), 0u);
  EXPECT_EQ(size, 2u);
  EXPECT_EQ(id, 5);
  size = sizeof buffer;
  ASSERT_EQ(SMSDOBinaryGetDataByID(kSampleImage.data(), 3, &type, buffer, &size), 0u);
  EXPECT_EQ(size, 6u);
  EXPECT_EQ(Bytes(buffer, buffer + 6), Bytes(kSampleImage.begin() + 24, kSampleImage.end()));
}

TEST(SdoBinary, reads_report_statuses_in_their_order) {
  const uint8_t *image = kSampleImage.data();
  Bytes wrongMagic = kSampleImage;
  wrongMagic[0] = 'X';
  Bytes arrayMagic = {'B', 'A', 'D', 'S', 0, 0, 8, 0};
  uint8_t buffer[8];
  uint8_t type = 0x55;
  uint16_t id = 0;
  uint32_t size = 0;
  struct ByIdCase {
    const void *binary;
    uint16_t id;
    uint32_t *size;
    uint32_t status;
  } byId[] = {
      {nullptr, 5, &size, 271},
      {image, 0, &size, 271},
      {image, 0xFFFE, &size, 271},
      {image, 5, nullptr, 271},
      {wrongMagic.data(), 5, &size, 257},
      {arrayMagic.data(), 5, &size, 257},
      {image, 4, &size, 256},
      {image, 6, &size, 256},
  };
  for (const ByIdCase &c : byId) {
    EXPECT_EQ(SMSDOBinaryGetDataByID(c.binary, c.id, &type, buffer, c.size), c.status) << c.id;
  }
  // Too small: the size needed comes back, the type byte is not written.
  size = 3;
  EXPECT_EQ(SMSDOBinaryGetDataByID(image, 5, &type, buffer, &size), 16u);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(type, 0x55);

  // By index the count is tested before the magic.
  EXPECT_EQ(SMSDOBinaryGetDataByIndex(nullptr, 0, &id, &type, buffer, &size), 271u);
  EXPECT_EQ(SMSDOBinaryGetDataByIndex(image, 0, nullptr, &type, buffer, &size), 271u);
  EXPECT_EQ(SMSDOBinaryGetDataByIndex(image, 0, &id, &type, buffer, nullptr), 271u);
  EXPECT_EQ(SMSDOBinaryGetDataByIndex(image, 2, &id, &type, buffer, &size), 12u);
  EXPECT_EQ(SMSDOBinaryGetDataByIndex(wrongMagic.data(), 2, &id, &type, buffer, &size), 12u);
  EXPECT_EQ(SMSDOBinaryGetDataByIndex(wrongMagic.data(), 1, &id, &type, buffer, &size), 257u);
  size = 5;
  id = 0;
  EXPECT_EQ(SMSDOBinaryGetDataByIndex(image, 0, &id, &type, buffer, &size), 16u);
  EXPECT_EQ(size, 6u);
  EXPECT_EQ(id, 0);  // not written on 16
}

TEST(SdoBinary, count_and_size_read_both_magics) {
  Bytes array = {'B', 'A', 'D', 'S', 3, 0, 40, 0};
  Bytes other = {'S', 'D', 'O', 'B', 3, 0, 40, 0};
  uint16_t isArray = 7;
  EXPECT_EQ(SMSDOBinaryGetCount(kSampleImage.data(), &isArray), 2);
  EXPECT_EQ(isArray, 0);
  EXPECT_EQ(SMSDOBinaryGetSize(array.data(), &isArray), 40u);
  EXPECT_EQ(isArray, 1);
  EXPECT_EQ(SMSDOBinaryGetCount(array.data(), nullptr), 3);
  isArray = 7;
  EXPECT_EQ(SMSDOBinaryGetCount(other.data(), &isArray), -1);
  EXPECT_EQ(isArray, 0);
  EXPECT_EQ(SMSDOBinaryGetSize(other.data(), nullptr), 0u);
}

TEST(SdoBinary, to_config_refuses_duplicates_zero_types_and_foreign_magic) {
  ConfigPtr back(SMSDOBinaryToConfig(kSampleImage.data()));
  ASSERT_NE(back, nullptr);
  ConfigPtr sample = SampleConfig();
  EXPECT_EQ(SMSDOConfigCompareByValue(back.get(), sample.get()), 1);

  Bytes duplicate = kSampleImage;
  duplicate[16] = 3;  // second record also ID 3
  EXPECT_EQ(SMSDOBinaryToConfig(duplicate.data()), nullptr);
  Bytes zeroType = kSampleImage;
  zeroType[18] = 0;
  EXPECT_EQ(SMSDOBinaryToConfig(zeroType.data()), nullptr);
  Bytes handleCode = kSampleImage;
  handleCode[18] = 0x0D;  // handles never travel in an image
  EXPECT_EQ(SMSDOBinaryToConfig(handleCode.data()), nullptr);
  Bytes array = {'B', 'A', 'D', 'S', 0, 0, 8, 0};
  EXPECT_EQ(SMSDOBinaryToConfig(array.data()), nullptr);
  EXPECT_EQ(SMSDOBinaryToConfig(nullptr), nullptr);
}

TEST(SdoBinary, set_data_changes_in_place_or_rebuilds) {
  Bytes block = kSampleImage;
  block.resize(64, 0xEE);
  const uint16_t small = 0xBEEF;
  const uint8_t one = 0x42;
  uint32_t size = 64;
  // Inline stays inline: only the new bytes are written into the slot.
  ASSERT_EQ(SMSDOBinarySetData(block.data(), &size, 5, 0x02, &small, 2), 0u);
  EXPECT_EQ(size, 30u);
  ASSERT_EQ(SMSDOBinarySetData(block.data(), &size, 5, 0x02, &one, 1), 0u);
  EXPECT_EQ(Bytes(block.begin() + 19, block.begin() + 24), (Bytes{0x00, 0x42, 0xBE, 0, 0}));
  uint8_t slot[4];
  uint32_t slotSize = sizeof slot;
  ASSERT_EQ(SMSDOBinaryGetDataByID(block.data(), 5, nullptr, slot, &slotSize), 0u);
  EXPECT_EQ(Bytes(slot, slot + slotSize), (Bytes{0x42, 0xBE, 0, 0}));
  // Same length out of line: overwritten in place.
  const uint8_t six[] = {1, 2, 3, 4, 5, 6};
  size = 64;
  ASSERT_EQ(SMSDOBinarySetData(block.data(), &size, 3, 0x07, six, 6), 0u);
  EXPECT_EQ(Bytes(block.begin() + 24, block.begin() + 30), Bytes(six, six + 6));
  // A 6-byte value for the inline entry rebuilds the block, 6 bytes longer.
  size = 64;
  ASSERT_EQ(SMSDOBinarySetData(block.data(), &size, 5, 0x02, six, 6), 0u);
  EXPECT_EQ(size, 36u);
  EXPECT_EQ(SMSDOBinaryGetSize(block.data(), nullptr), 36u);
  uint8_t buffer[8];
  uint32_t got = sizeof buffer;
  ASSERT_EQ(SMSDOBinaryGetDataByID(block.data(), 5, nullptr, buffer, &got), 0u);
  EXPECT_EQ(Bytes(buffer, buffer + got), Bytes(six, six + 6));
}

TEST(SdoBinary, set_data_refuses_in_its_order_and_leaves_the_block) {
  Bytes block = kSampleImage;
  const uint8_t data[40] = {};
  uint32_t size = 30;
  EXPECT_EQ(SMSDOBinarySetData(nullptr, &size, 5, 2, data, 2), 271u);
  EXPECT_EQ(SMSDOBinarySetData(block.data(), nullptr, 5, 2, data, 2), 271u);
  EXPECT_EQ(SMSDOBinarySetData(block.data(), &size, 5, 2, nullptr, 2), 271u);
  EXPECT_EQ(SMSDOBinarySetData(block.data(), &size, 0, 2, data, 2), 271u);
  EXPECT_EQ(SMSDOBinarySetData(block.data(), &size, 5, 0, data, 2), 271u);
  size = 15;
  EXPECT_EQ(SMSDOBinarySetData(block.data(), &size, 5, 2, data, 2), 16u);
  Bytes foreign = block;
  foreign[3] = 'X';
  size = 30;
  EXPECT_EQ(SMSDOBinarySetData(foreign.data(), &size, 5, 2, data, 2), 271u);
  EXPECT_EQ(SMSDOBinarySetData(block.data(), &size, 6, 2, data, 2), 256u);  // never adds
  EXPECT_EQ(SMSDOBinarySetData(block.data(), &size, 5, 3, data, 2), 256u);  // type differs
  // The rebuilt form does not fit the room: 16 with the size needed.
  EXPECT_EQ(SMSDOBinarySetData(block.data(), &size, 5, 2, data, 40), 16u);
  EXPECT_EQ(size, 30u + 40u);
  EXPECT_EQ(block, kSampleImage);
}

uint32_t g_calls = 0;
uint32_t CountBegin(uint32_t, uint32_t, uint32_t, uint32_t, int32_t, const void *) {
  ++g_calls;
  return 0;
}
uint32_t CountEntry(uint32_t, uint32_t *, uint16_t, uint32_t, uint32_t, uint32_t, uint32_t,
                    uint32_t, const void *) {
  ++g_calls;
  return 0;
}
uint32_t AfterResult(uint32_t, uint32_t) {
  ++g_calls;
  return 5;
}

TEST(SdoBinary, walk_edge_cases) {
  Bytes empty = {'B', 'O', 'D', 'S', 0, 0, 8, 0};
  g_calls = 0;
  EXPECT_EQ(SMSDOBinaryWalk(empty.data(), 0, CountBegin, CountEntry, AfterResult, nullptr, 1), 0u);
  EXPECT_EQ(g_calls, 0u);
  Bytes foreign = {'X', 'O', 'D', 'S', 0, 0, 8, 0};
  EXPECT_EQ(SMSDOBinaryWalk(foreign.data(), 0, CountBegin, CountEntry, nullptr, nullptr, 1), 271u);
  EXPECT_EQ(SMSDOBinaryWalk(nullptr, 0, CountBegin, CountEntry, nullptr, nullptr, 1), 271u);
  EXPECT_EQ(SMSDOBinaryWalk(empty.data(), 0, nullptr, CountEntry, nullptr, nullptr, 1), 271u);
  // Without an end callback the result is the last after-entry result.
  g_calls = 0;
  EXPECT_EQ(
      SMSDOBinaryWalk(kSampleImage.data(), 0, CountBegin, CountEntry, AfterResult, nullptr, 0), 5u);
  EXPECT_EQ(g_calls, 5u);  // begin, then entry and after for both records
}

// --- binary arrays -----------------------------------------------------------

TEST(SdoBinaryArray, init_and_append_edge_cases) {
  Bytes block(64, 0xEE);
  EXPECT_EQ(SMSDOBinaryArrayInitHeader(nullptr, 8), 271u);
  EXPECT_EQ(SMSDOBinaryArrayInitHeader(block.data(), 7), 16u);
  ASSERT_EQ(SMSDOBinaryArrayInitHeader(block.data(), 8), 0u);
  EXPECT_EQ(Bytes(block.begin(), block.begin() + 8), (Bytes{'B', 'A', 'D', 'S', 0, 0, 8, 0}));

  const Bytes element = {'B', 'O', 'D', 'S', 0, 0, 8, 0};
  uint32_t room = 15;
  EXPECT_EQ(SMSDOBinaryArrayAddData(block.data(), &room, element.data(), 0), 16u);
  room = 16;
  EXPECT_EQ(SMSDOBinaryArrayAddData(nullptr, &room, element.data(), 8), 271u);
  EXPECT_EQ(SMSDOBinaryArrayAddData(block.data(), nullptr, element.data(), 8), 271u);
  EXPECT_EQ(SMSDOBinaryArrayAddData(block.data(), &room, nullptr, 8), 271u);
  ASSERT_EQ(SMSDOBinaryArrayAddData(block.data(), &room, element.data(), 8), 0u);
  EXPECT_EQ(room, 16u);  // unchanged on success
  EXPECT_EQ(SMSDOBinaryArrayAddData(block.data(), &room, kSampleImage.data(), 30), 16u);
  EXPECT_EQ(room, 46u);  // the size needed
  room = 64;
  ASSERT_EQ(SMSDOBinaryArrayAddData(block.data(), &room, kSampleImage.data(), 30), 0u);
  EXPECT_EQ(SMSDOBinaryGetCount(block.data(), nullptr), 2);
  EXPECT_EQ(SMSDOBinaryGetSize(block.data(), nullptr), 46u);
  Bytes object = kSampleImage;
  room = 30;
  EXPECT_EQ(SMSDOBinaryArrayAddData(object.data(), &room, element.data(), 8), 271u);

  // The block may not reach 65536 bytes: 16 with the size out unchanged.
  Bytes big(70000);
  ASSERT_EQ(SMSDOBinaryArrayInitHeader(big.data(), 8), 0u);
  room = static_cast<uint32_t>(big.size());
  EXPECT_EQ(SMSDOBinaryArrayAddData(big.data(), &room, big.data() + 8, 65528), 16u);
  EXPECT_EQ(room, 70000u);
  EXPECT_EQ(SMSDOBinaryArrayAddData(big.data(), &room, big.data() + 8, 65527), 0u);
}

TEST(SdoBinaryArray, get_by_index_checks_in_order) {
  Bytes block(64);
  ASSERT_EQ(SMSDOBinaryArrayInitHeader(block.data(), 64), 0u);
  uint8_t buffer[64];
  uint32_t size = sizeof buffer;
  EXPECT_EQ(SMSDOBinaryArrayGetByIndex(nullptr, 0, 0, buffer, &size), 271u);
  EXPECT_EQ(SMSDOBinaryArrayGetByIndex(block.data(), 0, 0, buffer, nullptr), 271u);
  EXPECT_EQ(SMSDOBinaryArrayGetByIndex(kSampleImage.data(), 0, 0, buffer, &size), 257u);
  EXPECT_EQ(SMSDOBinaryArrayGetByIndex(block.data(), 0, 0, buffer, &size), 256u);
  uint32_t room = 64;
  const Bytes notAnObject = {'B', 'A', 'D', 'S', 0, 0, 8, 0};
  ASSERT_EQ(SMSDOBinaryArrayAddData(block.data(), &room, kSampleImage.data(), 30), 0u);
  ASSERT_EQ(SMSDOBinaryArrayAddData(block.data(), &room, notAnObject.data(), 8), 0u);
  EXPECT_EQ(SMSDOBinaryArrayGetByIndex(block.data(), 12345, 2, buffer, &size), 256u);
  EXPECT_EQ(SMSDOBinaryArrayGetByIndex(block.data(), 0, 1, buffer, &size), 257u);
  size = 29;
  EXPECT_EQ(SMSDOBinaryArrayGetByIndex(block.data(), 0, 0, buffer, &size), 16u);
  EXPECT_EQ(size, 30u);
  EXPECT_EQ(SMSDOBinaryArrayGetByIndex(block.data(), 0, 0, nullptr, &size), 16u);
  EXPECT_EQ(SMSDOBinaryArrayGetByIndex(block.data(), 0, 0, buffer, &size), 0u);
  EXPECT_EQ(Bytes(buffer, buffer + size), kSampleImage);
}

TEST(SdoBinaryArray, configs_to_array_measures_without_the_header) {
  ConfigPtr a(SMSDOConfigAlloc());
  ConfigPtr b(SMSDOConfigAlloc());
  SDOConfig *configs[] = {a.get(), nullptr, b.get()};
  uint32_t size = 0;
  EXPECT_EQ(SMSDOConfigArrayToBinaryArray(nullptr, 3, nullptr, &size), 271u);
  EXPECT_EQ(SMSDOConfigArrayToBinaryArray(configs, 3, nullptr, nullptr), 271u);
  ASSERT_EQ(SMSDOConfigArrayToBinaryArray(configs, 3, nullptr, &size), 0u);
  EXPECT_EQ(size, 16u);
  Bytes block(24);
  size = 24;
  ASSERT_EQ(SMSDOConfigArrayToBinaryArray(configs, 3, block.data(), &size), 0u);
  EXPECT_EQ(size, 24u);
  EXPECT_EQ(block, (Bytes{'B', 'A', 'D', 'S', 2,   0,   24,  0,   'B', 'O', 'D', 'S',
                          0,   0,   8,   0,   'B', 'O', 'D', 'S', 0,   0,   8,   0}));
  // Too small a buffer is no failure: what fits is appended, size out tells.
  size = 20;
  ASSERT_EQ(SMSDOConfigArrayToBinaryArray(configs, 3, block.data(), &size), 0u);
  EXPECT_EQ(size, 24u);
  EXPECT_EQ(SMSDOBinaryGetCount(block.data(), nullptr), 1);
  EXPECT_EQ(SMSDOBinaryGetSize(block.data(), nullptr), 16u);
  size = 7;
  EXPECT_EQ(SMSDOConfigArrayToBinaryArray(configs, 3, block.data(), &size), 16u);
}

TEST(SdoBinaryArray, array_to_configs_checks_capacity_and_clears_on_failure) {
  ConfigPtr child(SMSDOConfigAlloc());
  ASSERT_EQ(SMSDOConfigAddData(child.get(), 9, 1, "abcdef", 6, 0), 0u);
  SDOConfig *three[] = {child.get(), child.get(), child.get()};
  Bytes block(100);
  uint32_t size = 100;
  ASSERT_EQ(SMSDOConfigArrayToBinaryArray(three, 3, block.data(), &size), 0u);

  SDOConfig *out[4] = {};
  uint32_t count = 2;
  EXPECT_EQ(SMSDOBinaryArrayToConfigArray(nullptr, out, &count), 271u);
  EXPECT_EQ(SMSDOBinaryArrayToConfigArray(block.data(), out, nullptr), 271u);
  EXPECT_EQ(SMSDOBinaryArrayToConfigArray(kSampleImage.data(), out, &count), 257u);
  EXPECT_EQ(SMSDOBinaryArrayToConfigArray(block.data(), out, &count), 16u);
  EXPECT_EQ(count, 3u);
  count = 4;
  ASSERT_EQ(SMSDOBinaryArrayToConfigArray(block.data(), out, &count), 0u);
  EXPECT_EQ(count, 3u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(SMSDOConfigCompareByValue(out[i], child.get()), 1);
    SMSDOConfigFree(out[i]);
    out[i] = nullptr;
  }

  // An element that does not convert: everything within the capacity is freed.
  block[8 + 8 + 2] = 0;  // first element's record gets type byte 0
  out[3] = SMSDOConfigAlloc();
  count = 4;
  EXPECT_EQ(SMSDOBinaryArrayToConfigArray(block.data(), out, &count), 0xFFFFFFFFu);
  for (SDOConfig *handle : out) EXPECT_EQ(handle, nullptr);
  // An element with a foreign magic gives 257.
  block[8 + 8 + 2] = 1;
  block[8 + 22] = 'X';
  count = 4;
  EXPECT_EQ(SMSDOBinaryArrayToConfigArray(block.data(), out, &count), 257u);
}

TEST(SdoBinaryArray, code_12_adds_convert_images_into_children) {
  ConfigPtr child(SMSDOConfigAlloc());
  ASSERT_EQ(SMSDOConfigAddData(child.get(), 9, 1, "abcdef", 6, 0), 0u);
  SDOConfig *two[] = {child.get(), child.get()};
  Bytes array(100);
  uint32_t size = 100;
  ASSERT_EQ(SMSDOConfigArrayToBinaryArray(two, 2, array.data(), &size), 0u);
  array.resize(size);

  ConfigPtr parent(SMSDOConfigAlloc());
  // An image of an object becomes one child, code 13, attributes kept.
  ASSERT_EQ(SMSDOConfigAddData(parent.get(), 1, 0xEC, kSampleImage.data(), 30, 0), 0u);
  // An array image becomes an array of children, type (attributes) | 0x1D.
  ASSERT_EQ(SMSDOConfigAddData(parent.get(), 2, 0x4C, array.data(), size, 0), 0u);
  // An object image under a type with the array flag is an array of one.
  ASSERT_EQ(SMSDOConfigAddData(parent.get(), 3, 0x1C, kSampleImage.data(), 30, 0), 0u);
  uint8_t type = 0;
  uint32_t got = 0;
  EXPECT_EQ(SMSDOConfigGetDataByID(parent.get(), 1, &type, nullptr, &got), 16u);
  EXPECT_EQ(type, 0xED);
  EXPECT_EQ(got, 8u);
  EXPECT_EQ(SMSDOConfigGetDataByID(parent.get(), 2, &type, nullptr, &got), 16u);
  EXPECT_EQ(type, 0x5D);
  EXPECT_EQ(got, 16u);
  EXPECT_EQ(SMSDOConfigGetDataByID(parent.get(), 3, &type, nullptr, &got), 16u);
  EXPECT_EQ(type, 0x1D);
  EXPECT_EQ(got, 8u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(parent.get()), 8u + (8 + 30) + (8 + size) + (8 + 8 + 30));

  // The same images, back out: under code 12 with the attributes kept.
  Bytes image = ToBinary(parent.get());
  uint8_t buffer[128];
  got = sizeof buffer;
  ASSERT_EQ(SMSDOBinaryGetDataByID(image.data(), 2, &type, buffer, &got), 0u);
  EXPECT_EQ(type, 0x5C);
  EXPECT_EQ(Bytes(buffer, buffer + got), array);

  // A failed add after the conversion frees what it converted (the leak
  // checker proves it), and the config is as it was.
  EXPECT_EQ(SMSDOConfigAddData(parent.get(), 2, 0x0C, array.data(), size, 0), 258u);
  EXPECT_EQ(SMSDOConfigAddData(parent.get(), 1, 0x0C, kSampleImage.data(), 30, 0), 258u);
  Bytes badObject = kSampleImage;
  badObject[18] = 0;
  EXPECT_EQ(SMSDOConfigAddData(parent.get(), 4, 0x0C, badObject.data(), 30, 0), 0xFFFFFFFFu);
  EXPECT_EQ(SMSDOConfigGetCount(parent.get()), 3u);
  // An empty array image gives an array of no children.
  const Bytes emptyArray = {'B', 'A', 'D', 'S', 0, 0, 8, 0};
  ASSERT_EQ(SMSDOConfigAddData(parent.get(), 5, 0x0C, emptyArray.data(), 8, 0), 0u);
  EXPECT_EQ(SMSDOConfigGetDataByID(parent.get(), 5, &type, buffer, &got), 0u);
  EXPECT_EQ(got, 0u);
  EXPECT_EQ(type, 0x1D);
  ConfigPtr back(SMSDOBinaryToConfig(ToBinary(parent.get()).data()));
  EXPECT_EQ(SMSDOConfigCompareByValue(back.get(), parent.get()), 1);
}

}  // namespace
