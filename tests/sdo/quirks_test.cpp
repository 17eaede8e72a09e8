// SDO behaviour the random models do not exercise: the 30-byte layout example,
// the status of every failing call (in the order the checks are made), failed
// adds that leave the config as it was, the limits that give 19, the different
// sum of ReCalcBinarySize, binary-array measuring and appending, ownership of
// children, and the walk's edge cases.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "kxsupt/sdo.h"
#include "sdo_model.h"

namespace {

using sdotest::Bytes;
using sdotest::ConfigPtr;

Bytes ToBinary(const SDOConfig *config) {
  Bytes image(SMSDOConfigGetBinarySize(config));
  uint32_t size = static_cast<uint32_t>(image.size());
  EXPECT_EQ(SMSDOConfigToBinary(config, image.data(), &size), 0u);
  return image;
}

uint32_t Add(SDOConfig *config, uint16_t id, const Bytes &bytes, uint8_t type = 1,
             uint32_t replace = 0) {
  return SMSDOConfigAddData(config, id, type, bytes.data(), static_cast<uint32_t>(bytes.size()),
                            replace);
}

// IDs 5 (2-byte value 0x1234, host order) and 3 (6 bytes), added out of order.
ConfigPtr SampleConfig() {
  ConfigPtr config(SMSDOConfigAlloc());
  EXPECT_EQ(Add(config.get(), 5, {0x34, 0x12}, 0x02), 0u);
  EXPECT_EQ(Add(config.get(), 3, {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5}, 0x07), 0u);
  return config;
}

const Bytes kSampleImage = {
    'B',  'O',  'D',  'S',  2,    0,    30, 0,  // magic 0x53444F42, count 2, total 30
    3,    0,    0x07, 0x04, 6,    0,    16, 0,  // ID 3: out of line, length 6, offset 16
    5,    0,    0x02, 0x01, 0x34, 0x12, 0,  0,  // ID 5: inline, 2 bytes
    0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5,         // the data area
};
const Bytes kEmptyArray = {'B', 'A', 'D', 'S', 0, 0, 8, 0};

TEST(SdoQuirks, layout_example_and_inline_reads_by_id_and_by_index) {
  ConfigPtr sample = SampleConfig();
  EXPECT_EQ(ToBinary(sample.get()), kSampleImage);
  ConfigPtr back(SMSDOBinaryToConfig(kSampleImage.data()));
  EXPECT_EQ(SMSDOConfigCompareByValue(back.get(), sample.get()), 1);
  // By ID an inline value reads as its whole 4-byte slot; by index, its length.
  uint8_t buffer[8];
  uint16_t id = 0;
  uint32_t size = sizeof buffer;
  ASSERT_EQ(SMSDOBinaryGetDataByID(kSampleImage.data(), 5, nullptr, buffer, &size), 0u);
  EXPECT_EQ(Bytes(buffer, buffer + size), (Bytes{0x34, 0x12, 0, 0}));
  size = sizeof buffer;
  ASSERT_EQ(SMSDOBinaryGetDataByIndex(kSampleImage.data(), 1, &id, nullptr, buffer, &size), 0u);
  EXPECT_EQ(Bytes(buffer, buffer + size), (Bytes{0x34, 0x12}));
}

// Each read checks its arguments, then the image, then the value, and a
// buffer too small reports the size needed without writing the type or ID.
TEST(SdoQuirks, reads_report_their_status_in_check_order) {
  ConfigPtr config = SampleConfig();
  const uint8_t *image = kSampleImage.data();
  Bytes wrong = kSampleImage, block = kSampleImage;
  wrong[0] = 'X';
  uint8_t buf[64] = {}, type = 0x55;
  uint16_t id = 0;
  uint32_t size = 0;
  auto cById = [&](uint16_t i, void *b) {
    return SMSDOConfigGetDataByID(config.get(), i, &type, b, &size);
  };
  auto bById = [&](const void *bin, uint16_t i) {
    return SMSDOBinaryGetDataByID(bin, i, &type, buf, &size);
  };
  auto bByIndex = [&](const void *bin, uint32_t i, uint16_t *pid) {
    return SMSDOBinaryGetDataByIndex(bin, i, pid, &type, buf, &size);
  };
  auto set = [&](void *bin, uint16_t i, uint8_t t, uint32_t n) {
    return SMSDOBinarySetData(bin, &size, i, t, buf, n);
  };
  auto toConfig = [](Bytes bin, size_t at, uint8_t v) {
    bin[at] = v;
    return static_cast<uint32_t>(ConfigPtr(SMSDOBinaryToConfig(bin.data())) != nullptr);
  };
  struct Case {
    const char *what;
    uint32_t sizeIn;
    std::function<uint32_t()> call;
    uint32_t status;
    int64_t sizeOut = -1;  // -1: left as it was
    int typeOut = 0x55;    // the type byte after the call
  } cases[] = {
      {"config count of null", 0, [] { return SMSDOConfigGetCount(nullptr); }, 0xFFFFFFFF},
      {"config by ID, ID 0xFFFF", 8, [&] { return cById(0xFFFF, buf); }, 271},
      {"config by ID, null size", 8,
       [&] { return SMSDOConfigGetDataByID(config.get(), 3, 0, 0, 0); }, 271},
      {"config by ID, absent", 8, [&] { return cById(4, buf); }, 256, 8},
      {"config by ID measures", 100, [&] { return cById(3, nullptr); }, 16, 6, 0x07},
      {"config by ID, too small", 5, [&] { return cById(3, buf); }, 16, 6, 0x07},
      {"config by index, null ID", 8,
       [&] { return SMSDOConfigGetDataByIndex(config.get(), 0, 0, 0, buf, &size); }, 271},
      {"config by index, past the end", 8,
       [&] { return SMSDOConfigGetDataByIndex(config.get(), 2, &id, 0, buf, &size); }, 12},
      {"binary by ID, ID 0", 8, [&] { return bById(image, 0); }, 271},
      {"binary by ID, foreign magic", 8, [&] { return bById(wrong.data(), 5); }, 257},
      {"binary by ID, array magic", 8, [&] { return bById(kEmptyArray.data(), 5); }, 257},
      {"binary by ID, absent", 8, [&] { return bById(image, 4); }, 256},
      {"binary by ID, too small", 3, [&] { return bById(image, 5); }, 16, 4},
      {"binary by index, null ID", 8, [&] { return bByIndex(image, 0, nullptr); }, 271},
      {"binary by index, past the end", 8, [&] { return bByIndex(image, 2, &id); }, 12},
      {"binary by index, count before magic", 8, [&] { return bByIndex(wrong.data(), 2, &id); },
       12},
      {"binary by index, foreign magic", 8, [&] { return bByIndex(wrong.data(), 1, &id); }, 257},
      {"binary by index, too small", 5, [&] { return bByIndex(image, 0, &id); }, 16, 6},
      {"array get, null size", 0, [&] { return SMSDOBinaryArrayGetByIndex(image, 0, 0, buf, 0); },
       271},
      {"array get from an object", 64,
       [&] { return SMSDOBinaryArrayGetByIndex(image, 0, 0, buf, &size); }, 257},
      {"array get past the end", 64,
       [&] { return SMSDOBinaryArrayGetByIndex(&kEmptyArray[0], 0, 0, buf, &size); }, 256},
      {"to binary, too small", 29, [&] { return SMSDOConfigToBinary(config.get(), buf, &size); },
       16, 29},
      {"to config, array magic", 0, [&] { return toConfig(kSampleImage, 1, 'A'); }, 0},
      {"to config, duplicate ID", 0, [&] { return toConfig(kSampleImage, 16, 3); }, 0},
      {"to config, type 0", 0, [&] { return toConfig(kSampleImage, 18, 0); }, 0},
      {"to config, code 13", 0, [&] { return toConfig(kSampleImage, 18, 0x0D); }, 0},
      {"set data, ID 0", 30, [&] { return set(block.data(), 0, 2, 2); }, 271},
      {"set data, room 15", 15, [&] { return set(block.data(), 5, 2, 2); }, 16},
      {"set data, foreign magic", 30, [&] { return set(wrong.data(), 5, 2, 2); }, 271},
      {"set data never adds", 30, [&] { return set(block.data(), 6, 2, 2); }, 256},
      {"set data, other type", 30, [&] { return set(block.data(), 5, 3, 2); }, 256},
      {"set data, rebuilt form too big", 30, [&] { return set(block.data(), 5, 2, 40); }, 16, 70},
  };
  for (const Case &c : cases) {
    size = c.sizeIn;
    type = 0x55;
    EXPECT_EQ(c.call(), c.status) << c.what;
    EXPECT_EQ(size, c.sizeOut < 0 ? c.sizeIn : c.sizeOut) << c.what;
    EXPECT_EQ(type, c.typeOut) << c.what;
    EXPECT_EQ(id, 0) << c.what;
  }
  EXPECT_EQ(block, kSampleImage);
}

TEST(SdoQuirks, failed_adds_leave_the_config_as_it_was) {
  ConfigPtr config = SampleConfig();
  Bytes badObject = kSampleImage;
  badObject[18] = 0;
  Bytes array = sdotest::EncodeArray({{}});  // an empty object, then the sample
  array.insert(array.end(), kSampleImage.begin(), kSampleImage.end());
  array[4] = 2, array[6] = 46;
  Bytes arrayOfBad = array;
  arrayOfBad[16 + 18] = 0;
  struct Case {
    uint16_t id;
    uint8_t type;
    Bytes data;
    uint32_t replace;
    uint32_t status;
  } cases[] = {
      {0, 1, {1}, 0, 271},
      {0xFFFE, 1, {1}, 0, 271},
      {0xFFFF, 1, {1}, 0, 271},
      {7, 0, {1}, 0, 271},
      {7, 1, {}, 0, 271},                    // size 0
      {7, 0x1D, Bytes(12), 0, 271},          // not a whole number of handles
      {7, 0x0C, {'B', 'O', 'D'}, 0, 271},    // too short to carry a magic
      {7, 0x0C, Bytes(8, 'B'), 0, 271},      // no SDO magic
      {5, 1, {1}, 0, 258},                   // replacement only with flag 1
      {5, 1, {1}, 2, 258},                   // flag 2 is not 1
      {5, 1, {1}, 0xFFFFFFFF, 258},          //
      {3, 0x0C, kSampleImage, 0, 258},       // converted, then refused: freed again
      {3, 0x0C, array, 0, 258},              //
      {7, 0x0C, arrayOfBad, 0, 0xFFFFFFFF},  // an element that does not convert
      {7, 0x0C, badObject, 0, 0xFFFFFFFF},   // the image does not convert
      {7, 0x0C, Bytes(kSampleImage.begin(), kSampleImage.end() - 1), 0, 0xFFFFFFFF},
      {7, 0x0C, Bytes(array.begin(), array.end() - 1), 0, 257},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(::testing::Message() << "ID " << c.id << " type " << int(c.type));
    EXPECT_EQ(SMSDOConfigAddData(config.get(), c.id, c.type, c.data.empty() ? nullptr : &c.data[0],
                                 static_cast<uint32_t>(c.data.size()), c.replace),
              c.status);
    EXPECT_EQ(ToBinary(config.get()), kSampleImage);
  }
  EXPECT_EQ(Add(config.get(), 5, {7}, 1, 1), 0u);  // flag 1 replaces, type and all
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 30u);
}

TEST(SdoQuirks, size_and_count_limits_give_19_and_change_nothing) {
  ConfigPtr config(SMSDOConfigAlloc());
  // 8 + (8 + 65519) = 65535 fits exactly; one byte more reaches 65536.
  EXPECT_EQ(Add(config.get(), 1, Bytes(65520)), 19u);
  ASSERT_EQ(Add(config.get(), 1, Bytes(65519)), 0u);
  EXPECT_EQ(Add(config.get(), 2, {1}), 19u);
  // A replacement still counts the old value, so even a smaller one is refused.
  EXPECT_EQ(Add(config.get(), 1, {1}, 1, 1), 19u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 65535u);
  SDOConfig *child = SMSDOConfigAlloc();  // a child that does not fit stays the caller's
  EXPECT_EQ(SMSDOConfigAddData(config.get(), 3, 0x0D, child, 8, 0), 19u);
  SMSDOConfigFree(child);

  // Every value costs at least 8 bytes: (65535 - 8) / 8 = 8190 values fit.
  config.reset(SMSDOConfigAlloc());
  for (uint16_t id = 1; id <= 8190; ++id) ASSERT_EQ(Add(config.get(), id, {1, 2, 3, 4}), 0u);
  EXPECT_EQ(Add(config.get(), 8191, {1}), 19u);
  EXPECT_EQ(SMSDOConfigGetCount(config.get()), 8190u);
}

TEST(SdoQuirks, recalc_counts_full_sizes_and_array_bodies_only) {
  ConfigPtr config(SMSDOConfigAlloc());
  ASSERT_EQ(Add(config.get(), 1, {1, 2, 3, 4}), 0u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 16u);
  EXPECT_EQ(SMSDOConfigReCalcBinarySize(config.get()), 20u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 20u);
  // The binary form is still 16 bytes, so the conversion reports the mismatch.
  uint8_t image[32];
  uint32_t size = 20;
  EXPECT_EQ(SMSDOConfigToBinary(config.get(), image, &size), 0xFFFFFFFFu);
  EXPECT_EQ(size, 16u);
  EXPECT_EQ(SMSDOConfigClone(config.get()), nullptr);

  // An array of two empty children: cost rule 8 + (8 + 16) = 32, recomputed 8 + 16.
  config.reset(SMSDOConfigAlloc());
  SDOConfig *pair[] = {SMSDOConfigAlloc(), SMSDOConfigAlloc()};
  ASSERT_EQ(SMSDOConfigAddData(config.get(), 2, 0x1D, pair, sizeof pair, 0), 0u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 40u);
  EXPECT_EQ(SMSDOConfigReCalcBinarySize(config.get()), 32u);
  size = 32;  // the recomputed size cannot take the real form: refused, not overrun
  EXPECT_EQ(SMSDOConfigToBinary(config.get(), image, &size), 0xFFFFFFFFu);
}

TEST(SdoQuirks, binary_arrays_measure_append_and_convert_as_stated) {
  ConfigPtr a(SMSDOConfigAlloc()), b(SMSDOConfigAlloc());
  SDOConfig *configs[] = {a.get(), nullptr, b.get()};
  uint32_t size = 0;  // measuring leaves out the header and skips null handles
  ASSERT_EQ(SMSDOConfigArrayToBinaryArray(configs, 3, nullptr, &size), 0u);
  EXPECT_EQ(size, 16u);
  Bytes block(24);
  size = 20;  // too small is no failure: what fits is appended, the size out tells
  ASSERT_EQ(SMSDOConfigArrayToBinaryArray(configs, 3, block.data(), &size), 0u);
  EXPECT_EQ(size, 24u);
  EXPECT_EQ(SMSDOBinaryGetCount(block.data(), nullptr), 1);

  // An append may not make the block reach 65536 bytes: 16, size out unchanged.
  Bytes big(70000);
  ASSERT_EQ(SMSDOBinaryArrayInitHeader(big.data(), 8), 0u);
  size = static_cast<uint32_t>(big.size());
  EXPECT_EQ(SMSDOBinaryArrayAddData(big.data(), &size, big.data() + 8, 65528), 16u);
  EXPECT_EQ(size, 70000u);
  EXPECT_EQ(SMSDOBinaryArrayAddData(big.data(), &size, big.data() + 8, 65527), 0u);
  size = 16;  // too small: 16 with the size needed
  EXPECT_EQ(SMSDOBinaryArrayAddData(block.data(), &size, kSampleImage.data(), 30), 16u);
  EXPECT_EQ(size, 46u);

  // An object image under a type with the array flag is an array of one; an
  // empty array image an array of none.
  ConfigPtr parent(SMSDOConfigAlloc());
  ASSERT_EQ(Add(parent.get(), 1, kSampleImage, 0x5C), 0u);
  ASSERT_EQ(Add(parent.get(), 2, kEmptyArray, 0x0C), 0u);
  uint8_t type = 0;
  EXPECT_EQ(SMSDOConfigGetDataByID(parent.get(), 1, &type, nullptr, &size), 16u);
  EXPECT_EQ(type, 0x5D);
  EXPECT_EQ(size, 8u);
  EXPECT_EQ(SMSDOConfigGetDataByID(parent.get(), 2, &type, nullptr, &size), 16u);
  EXPECT_EQ(type, 0x1D);
  EXPECT_EQ(size, 0u);

  // An element that does not convert clears the caller's whole array.
  Bytes array = sdotest::EncodeArray({{}});
  array.insert(array.end(), kSampleImage.begin(), kSampleImage.end());
  array[4] = 2, array[6] = 46, array[16 + 18] = 0;
  SDOConfig *out[3] = {nullptr, nullptr, SMSDOConfigAlloc()};
  size = 3;
  EXPECT_EQ(SMSDOBinaryArrayToConfigArray(array.data(), out, &size), 0xFFFFFFFFu);
  for (SDOConfig *handle : out) EXPECT_EQ(handle, nullptr);
  size = 1;
  EXPECT_EQ(SMSDOBinaryArrayToConfigArray(array.data(), out, &size), 16u);
  EXPECT_EQ(size, 2u);
}

// Children added as handles pass to the parent; the sanitizer build proves
// that nothing is freed twice and nothing leaks.
TEST(SdoQuirks, children_stored_again_are_kept_and_replaced_ones_freed) {
  ConfigPtr parent(SMSDOConfigAlloc());
  SDOConfig *child = SMSDOConfigAlloc();
  ASSERT_EQ(Add(child, 1, {1, 2, 3, 4, 5}), 0u);
  ASSERT_EQ(SMSDOConfigAddData(parent.get(), 10, 0x0D, child, 8, 0), 0u);
  ASSERT_EQ(SMSDOConfigAddData(parent.get(), 10, 0x0D, child, 8, 1), 0u);
  SDOConfig *pair[] = {child, SMSDOConfigAlloc()};
  ASSERT_EQ(SMSDOConfigAddData(parent.get(), 10, 0x1D, pair, sizeof pair, 1), 0u);
  EXPECT_EQ(SMSDOConfigGetCount(child), 1u);  // still alive
  EXPECT_EQ(SMSDOConfigGetBinarySize(parent.get()), 8u + 8u + 8u + 21u + 8u);
  ASSERT_EQ(Add(parent.get(), 10, {1}, 1, 1), 0u);  // frees both children
  EXPECT_EQ(SMSDOConfigGetBinarySize(parent.get()), 16u);
  // Same size, different type byte: unequal.
  ConfigPtr other(SMSDOConfigAlloc());
  ASSERT_EQ(Add(other.get(), 10, {1}, 2), 0u);
  EXPECT_EQ(SMSDOConfigCompareByValue(parent.get(), other.get()), 0);
}

uint32_t g_calls = 0;
uint32_t CountBegin(uint32_t, uint32_t, uint32_t, uint32_t, int32_t, const void *) {
  return ++g_calls, 0;
}
uint32_t CountEntry(uint32_t, uint32_t *, uint16_t, uint32_t, uint32_t, uint32_t, uint32_t,
                    uint32_t, const void *) {
  return ++g_calls, 0;
}
uint32_t AfterFive(uint32_t, uint32_t) {
  return ++g_calls, 5;
}

TEST(SdoQuirks, walk_of_nothing_calls_nothing_and_without_end_returns_the_after_result) {
  const Bytes empty = {'B', 'O', 'D', 'S', 0, 0, 8, 0};
  g_calls = 0;
  EXPECT_EQ(SMSDOBinaryWalk(empty.data(), 0, CountBegin, CountEntry, AfterFive, nullptr, 1), 0u);
  EXPECT_EQ(g_calls, 0u);
  EXPECT_EQ(SMSDOBinaryWalk(kSampleImage.data(), 0, CountBegin, CountEntry, AfterFive, nullptr, 0),
            5u);
  EXPECT_EQ(g_calls, 5u);  // begin, then entry and after for both records
}

}  // namespace
