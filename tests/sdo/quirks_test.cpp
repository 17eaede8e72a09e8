// SDO behaviour the random models do not exercise: the 30-byte layout example,
// the status of every failing call (in the order the checks are made), failed
// adds that leave the config as it was, the limits that give 19, the different
// sum of ReCalcBinarySize, binary-array measuring and appending, ownership of
// children, and the walk's edge cases.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "kxsupt/sdo.h"
#include "sdo_model.h"

namespace {

using sdotest::Add;
using sdotest::Bytes;
using sdotest::ConfigPtr;
using sdotest::kSampleImage;
using sdotest::ToBinary;

// IDs 5 (2-byte value 0x1234, host order) and 3 (6 bytes), added out of order.
ConfigPtr SampleConfig() {
  ConfigPtr config(SMSDOConfigAlloc());
  EXPECT_EQ(Add(config.get(), 5, {0x34, 0x12}, 0x02), SM_STATUS_SUCCESS);
  EXPECT_EQ(Add(config.get(), 3, {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5}, 0x07), SM_STATUS_SUCCESS);
  return config;
}

const Bytes kEmptyArray = {'B', 'A', 'D', 'S', 0, 0, 8, 0};

// A binary array of an empty object and the sample (46 bytes); with `damaged`,
// the sample's second record (type byte at 8 + 8 + 18) has type 0 and does not
// convert.
Bytes SampleArray(bool damaged) {
  Bytes array = sdotest::EncodeArray({{}});
  array.insert(array.end(), kSampleImage.begin(), kSampleImage.end());
  array[4] = 2, array[6] = 46, array[16 + 18] = damaged ? 0 : 2;
  return array;
}

// Each read checks its arguments, then the image, then the value, and a
// buffer too small reports the size needed without writing the type or ID.
TEST(SdoQuirks, layout_example_and_statuses_in_check_order) {
  ConfigPtr config = SampleConfig();
  ASSERT_EQ(ToBinary(config.get()), kSampleImage);
  const uint8_t *image = kSampleImage.data();
  Bytes wrong = kSampleImage, block = kSampleImage;
  wrong[0] = 'X';
  uint8_t buf[64] = {}, type = 0x55;
  uint16_t id = 0;
  uint32_t size = 0;
  auto cById = [&](uint16_t i) {
    return SMSDOConfigGetDataByID(config.get(), i, &type, buf, &size);
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
      {"config by ID, ID 0xFFFF", 8, [&] { return cById(0xFFFF); }, SM_STATUS_INVALID_PARAMETER},
      {"config by ID, absent", 8, [&] { return cById(4); }, SM_STATUS_NOT_AVAILABLE, 8},
      {"config by ID, too small", 5, [&] { return cById(3); }, SM_STATUS_BUFFER_TOO_SMALL, 6, 0x07},
      {"config by index, past the end", 8,
       [&] { return SMSDOConfigGetDataByIndex(config.get(), 2, &id, 0, buf, &size); },
       SM_STATUS_NOT_IN_USE},
      {"binary by ID, ID 0", 8, [&] { return bById(image, 0); }, SM_STATUS_INVALID_PARAMETER},
      {"binary by ID, foreign magic", 8, [&] { return bById(wrong.data(), 5); },
       SM_STATUS_OS_FAILURE},
      {"binary by ID, array magic", 8, [&] { return bById(kEmptyArray.data(), 5); },
       SM_STATUS_OS_FAILURE},
      {"binary by ID, absent", 8, [&] { return bById(image, 4); }, SM_STATUS_NOT_AVAILABLE},
      {"binary by ID, too small", 3, [&] { return bById(image, 5); }, SM_STATUS_BUFFER_TOO_SMALL,
       4},
      {"binary by ID, an inline slot", 8, [&] { return bById(image, 5); }, SM_STATUS_SUCCESS, 4,
       0x02},
      {"binary by index, past the end", 8, [&] { return bByIndex(image, 2, &id); },
       SM_STATUS_NOT_IN_USE},
      {"binary by index, count before magic", 8, [&] { return bByIndex(wrong.data(), 2, &id); },
       SM_STATUS_NOT_IN_USE},
      {"binary by index, foreign magic", 8, [&] { return bByIndex(wrong.data(), 1, &id); },
       SM_STATUS_OS_FAILURE},
      {"binary by index, too small", 5, [&] { return bByIndex(image, 0, &id); },
       SM_STATUS_BUFFER_TOO_SMALL, 6},
      {"binary by index, inline", 1, [&] { return bByIndex(image, 1, &id); },
       SM_STATUS_BUFFER_TOO_SMALL, 2},
      {"array get from an object", 64,
       [&] { return SMSDOBinaryArrayGetByIndex(image, 0, 0, buf, &size); }, SM_STATUS_OS_FAILURE},
      {"array get past the end", 64,
       [&] { return SMSDOBinaryArrayGetByIndex(&kEmptyArray[0], 0, 0, buf, &size); },
       SM_STATUS_NOT_AVAILABLE},
      {"to binary, too small", 29, [&] { return SMSDOConfigToBinary(config.get(), buf, &size); },
       SM_STATUS_BUFFER_TOO_SMALL, 29},
      {"to config, array magic", 0, [&] { return toConfig(kSampleImage, 1, 'A'); }, 0},
      {"to config, duplicate ID", 0, [&] { return toConfig(kSampleImage, 16, 3); }, 0},
      {"to config, code 13", 0, [&] { return toConfig(kSampleImage, 18, 0x0D); }, 0},
      {"set data, room 15", 15, [&] { return set(block.data(), 5, 2, 2); },
       SM_STATUS_BUFFER_TOO_SMALL},
      {"set data, foreign magic", 30, [&] { return set(wrong.data(), 5, 2, 2); },
       SM_STATUS_INVALID_PARAMETER},
      {"set data never adds", 30, [&] { return set(block.data(), 6, 2, 2); },
       SM_STATUS_NOT_AVAILABLE},
      {"set data, other type", 30, [&] { return set(block.data(), 5, 3, 2); },
       SM_STATUS_NOT_AVAILABLE},
      {"set data, rebuilt form too big", 30, [&] { return set(block.data(), 5, 2, 40); },
       SM_STATUS_BUFFER_TOO_SMALL, 70},
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
  // Images cut by one byte, their size fields telling the truth about it.
  const Bytes array = SampleArray(false);
  Bytes cutObject(kSampleImage.begin(), kSampleImage.end() - 1),
      cutArray(array.begin(), array.end() - 1);
  cutObject[6] = 29, cutArray[6] = 45;
  using Case = std::tuple<uint16_t, uint8_t, Bytes, uint32_t, uint32_t>;
  for (const auto &[id, type, data, replace, status] : std::vector<Case>{
           {0, 1, {1}, 0, SM_STATUS_INVALID_PARAMETER},
           {0xFFFE, 1, {1}, 0, SM_STATUS_INVALID_PARAMETER},
           {7, 0x1D, Bytes(12), 0, SM_STATUS_INVALID_PARAMETER},  // not a whole number of handles
           {7, 0x0C, Bytes(8, 'B'), 0, SM_STATUS_INVALID_PARAMETER},  // no SDO magic
           {5, 1, {1}, 0, SM_STATUS_IN_USE},  // replacement only with flag 1
           {5, 1, {1}, 2, SM_STATUS_IN_USE},
           {3, 0x0C, kSampleImage, 0, SM_STATUS_IN_USE},  // converted, then refused: freed again
           {3, 0x0C, array, 0, SM_STATUS_IN_USE},
           {7, 0x0C, SampleArray(true), 0, SM_STATUS_ERROR},  // an element does not convert
           {7, 0x0C, badObject, 0, SM_STATUS_ERROR},          // the image does not convert
           {7, 0x0C, cutObject, 0, SM_STATUS_ERROR},
           {7, 0x0C, cutArray, 0, SM_STATUS_OS_FAILURE},
       }) {
    EXPECT_EQ(Add(config.get(), id, data, type, replace), status) << id << " " << int(type);
    EXPECT_EQ(ToBinary(config.get()), kSampleImage);
  }
  EXPECT_EQ(Add(config.get(), 5, {7}, 1, 1), SM_STATUS_SUCCESS);  // flag 1 replaces, type and all
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 30u);
  EXPECT_EQ(SMSDOConfigCompareByValue(config.get(), SampleConfig().get()), 0);  // same size
}

TEST(SdoQuirks, size_and_count_limits_give_write_failed_and_change_nothing) {
  ConfigPtr config(SMSDOConfigAlloc());
  // 8 + (8 + 65519) = 65535 fits exactly; one byte more reaches 65536.
  EXPECT_EQ(Add(config.get(), 1, Bytes(65520)), SM_STATUS_WRITE_FAILED);
  ASSERT_EQ(Add(config.get(), 1, Bytes(65519)), SM_STATUS_SUCCESS);
  EXPECT_EQ(Add(config.get(), 2, {1}), SM_STATUS_WRITE_FAILED);
  // A replacement still counts the old value, so even a smaller one is refused.
  EXPECT_EQ(Add(config.get(), 1, {1}, 1, 1), SM_STATUS_WRITE_FAILED);
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 65535u);
  SDOConfig *child = SMSDOConfigAlloc();  // a child that does not fit stays the caller's
  EXPECT_EQ(SMSDOConfigAddData(config.get(), 3, 0x0D, child, 8, 0), SM_STATUS_WRITE_FAILED);
  SMSDOConfigFree(child);

  // Every value costs at least 8 bytes: (65535 - 8) / 8 = 8190 values fit.
  config.reset(SMSDOConfigAlloc());
  for (uint16_t id = 1; id <= 8190; ++id)
    ASSERT_EQ(Add(config.get(), id, {1, 2, 3, 4}), SM_STATUS_SUCCESS);
  EXPECT_EQ(Add(config.get(), 8191, {1}), SM_STATUS_WRITE_FAILED);
  EXPECT_EQ(SMSDOConfigGetCount(config.get()), 8190u);
}

TEST(SdoQuirks, recalc_counts_full_sizes_and_array_bodies_only) {
  ConfigPtr config(SMSDOConfigAlloc());
  ASSERT_EQ(Add(config.get(), 1, {1, 2, 3, 4}), SM_STATUS_SUCCESS);  // costs 8 + 8
  EXPECT_EQ(SMSDOConfigReCalcBinarySize(config.get()), 20u);
  // The binary form is still 16 bytes, so the conversion reports the mismatch.
  uint8_t image[32];
  uint32_t size = 20;
  EXPECT_EQ(SMSDOConfigToBinary(config.get(), image, &size), SM_STATUS_ERROR);
  EXPECT_EQ(size, 16u);
  EXPECT_EQ(SMSDOConfigClone(config.get()), nullptr);

  // An array of two empty children: cost rule 8 + (8 + 16) = 32, recomputed 8 + 16.
  config.reset(SMSDOConfigAlloc());
  SDOConfig *pair[] = {SMSDOConfigAlloc(), SMSDOConfigAlloc()};
  ASSERT_EQ(SMSDOConfigAddData(config.get(), 2, 0x1D, pair, sizeof pair, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMSDOConfigReCalcBinarySize(config.get()), 32u);
  size = 32;  // the recomputed size cannot take the real form: refused, not overrun
  EXPECT_EQ(SMSDOConfigToBinary(config.get(), image, &size), SM_STATUS_ERROR);
}

TEST(SdoQuirks, binary_arrays_measure_append_and_convert_as_stated) {
  ConfigPtr a(SMSDOConfigAlloc()), b(SMSDOConfigAlloc());
  SDOConfig *configs[] = {a.get(), nullptr, b.get()};
  uint32_t size = 0;  // measuring leaves out the header and skips null handles
  ASSERT_EQ(SMSDOConfigArrayToBinaryArray(configs, 3, nullptr, &size), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, 16u);
  Bytes block(24);  // too small is no failure: what fits is appended, the size out tells
  ASSERT_EQ(SMSDOConfigArrayToBinaryArray(configs, 3, block.data(), &(size = 20)),
            SM_STATUS_SUCCESS);
  EXPECT_EQ(size, 24u);
  uint16_t isArray = 0;
  EXPECT_EQ(SMSDOBinaryGetCount(block.data(), &isArray), 1);
  EXPECT_EQ(isArray, 1);

  // An append may not make the block reach 65536 bytes: 16, size out unchanged.
  Bytes big(70000);
  ASSERT_EQ(SMSDOBinaryArrayInitHeader(big.data(), 8), SM_STATUS_SUCCESS);
  size = static_cast<uint32_t>(big.size());
  EXPECT_EQ(SMSDOBinaryArrayAddData(big.data(), &size, big.data() + 8, 65528),
            SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 70000u);
  EXPECT_EQ(SMSDOBinaryArrayAddData(big.data(), &size, big.data() + 8, 65527), SM_STATUS_SUCCESS);

  // An object image under a type with the array flag is an array of one.
  ConfigPtr parent(SMSDOConfigAlloc());
  ASSERT_EQ(Add(parent.get(), 1, kSampleImage, 0x5C), SM_STATUS_SUCCESS);
  uint8_t type = 0;
  EXPECT_EQ(SMSDOConfigGetDataByID(parent.get(), 1, &type, nullptr, &size),
            SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(type, 0x5D);
  EXPECT_EQ(size, 8u);

  // An element that does not convert clears the caller's whole array.
  SDOConfig *out[3] = {nullptr, nullptr, SMSDOConfigAlloc()};
  size = 3;
  EXPECT_EQ(SMSDOBinaryArrayToConfigArray(SampleArray(true).data(), out, &size), SM_STATUS_ERROR);
  for (SDOConfig *handle : out) EXPECT_EQ(handle, nullptr);
}

// Children added as handles pass to the parent; the sanitizer build proves
// that nothing is freed twice and nothing leaks.
TEST(SdoQuirks, children_stored_again_are_kept_and_replaced_ones_freed) {
  ConfigPtr parent(SMSDOConfigAlloc());
  SDOConfig *child = SMSDOConfigAlloc();
  ASSERT_EQ(Add(child, 1, {1, 2, 3, 4, 5}), SM_STATUS_SUCCESS);
  ASSERT_EQ(SMSDOConfigAddData(parent.get(), 10, 0x0D, child, 8, 0), SM_STATUS_SUCCESS);
  ASSERT_EQ(SMSDOConfigAddData(parent.get(), 10, 0x0D, child, 8, 1), SM_STATUS_SUCCESS);
  SDOConfig *pair[] = {child, SMSDOConfigAlloc()};
  ASSERT_EQ(SMSDOConfigAddData(parent.get(), 10, 0x1D, pair, sizeof pair, 1), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMSDOConfigGetCount(child), 1u);                       // still alive
  ASSERT_EQ(Add(parent.get(), 10, {1}, 1, 1), SM_STATUS_SUCCESS);  // frees both children
  EXPECT_EQ(SMSDOConfigGetBinarySize(parent.get()), 16u);
}

// Without an end callback a walk's result is the last after-entry result.
TEST(SdoQuirks, walk_without_end_returns_the_after_entry_result) {
  static uint32_t calls = 0;
  SMSDOBinaryWalkBeginFn begin = [](uint32_t, uint32_t, uint32_t, uint32_t, int32_t, const void *) {
    return ++calls, 0u;
  };
  SMSDOBinaryWalkEntryFn entry = [](uint32_t, uint32_t *, uint16_t, uint32_t, uint32_t, uint32_t,
                                    uint32_t, uint32_t, const void *) { return ++calls, 0u; };
  SMSDOBinaryWalkAfterEntryFn afterFive = [](uint32_t, uint32_t) { return ++calls, 5u; };
  EXPECT_EQ(SMSDOBinaryWalk(&kSampleImage[0], 0, begin, entry, afterFive, nullptr, 0), 5u);
  EXPECT_EQ(calls, 5u);  // begin, then entry and after for both records
}

// Code 12 converts with the readers that take no length: the image's own
// header bounds it, and the data size only has to be non-zero. Each image
// sits in a block of exactly its total size, so reading by the size given
// would show under the sanitizer.
TEST(SdoQuirks, code_12_adds_are_bounded_by_the_image_header_not_the_size) {
  const Bytes object = {'B', 'O', 'D', 'S', 1, 0, 16, 0, 1, 0, 1, 0x00, 7, 0, 0, 0};
  const Bytes array = sdotest::EncodeArray({{}, {}});  // 24 bytes
  Bytes damaged = object;
  damaged[11] = 0x04;  // out of line, length 7 at offset 0: into its own record
  for (const auto &[image, size, status, valueSize] :
       std::vector<std::tuple<Bytes, uint32_t, uint32_t, uint32_t>>{
           {object, 16, SM_STATUS_SUCCESS, 8},
           {object, 8, SM_STATUS_SUCCESS, 8},
           {object, 1, SM_STATUS_SUCCESS, 8},
           {object, 0xFFFFFFFF, SM_STATUS_SUCCESS, 8},
           {array, 24, SM_STATUS_SUCCESS, 16},  // two handles
           {array, 8, SM_STATUS_SUCCESS, 16},
           {array, 1, SM_STATUS_SUCCESS, 16},
           {object, 0, SM_STATUS_INVALID_PARAMETER, 0},  // zero stays refused
           {damaged, 16, SM_STATUS_ERROR, 0},
       }) {
    SCOPED_TRACE(::testing::Message() << image.size() << " bytes given as " << size);
    ConfigPtr config(SMSDOConfigAlloc());
    const Bytes block = image;  // exactly the image's total size
    EXPECT_EQ(SMSDOConfigAddData(config.get(), 9, 0x2C, block.data(), size, 0), status);
    uint8_t type = 0;
    uint32_t got = 0;
    if (status != 0) {
      EXPECT_EQ(SMSDOConfigGetCount(config.get()), 0u);
      continue;
    }
    EXPECT_EQ(SMSDOConfigGetDataByID(config.get(), 9, &type, nullptr, &got),
              SM_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(got, valueSize);
    EXPECT_EQ(type, image == array ? 0x3D : 0x2D);
    // The child converts back to the image it came from.
    Bytes parent = ToBinary(config.get());
    EXPECT_TRUE(std::equal(image.begin(), image.end(), parent.begin() + 16));
  }
}

// The room is checked where the rules say (15 or less) and where the block
// is rewritten; a change in place does not need more room than the image.
TEST(SdoQuirks, set_data_needs_room_only_to_rewrite_the_block) {
  struct Case {
    const char *what;
    uint16_t id;
    uint8_t type;
    Bytes value;
    uint32_t room, status, sizeOut;
    Bytes expected;  // the block after the call
  };
  Bytes inlineChanged = kSampleImage, outOfLineChanged = kSampleImage;
  inlineChanged[20] = 0xBE, inlineChanged[21] = 0xEF;
  std::copy_n(Bytes{1, 2, 3, 4, 5, 6}.begin(), 6, outOfLineChanged.begin() + 24);
  const Bytes grown = [] {  // ID 5 rebuilt with a 6-byte value
    sdotest::ModelObject model;
    model.values[3] = {7, {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5}, {}};
    model.values[5] = {2, {9, 9, 9, 9, 9, 9}, {}};
    return sdotest::EncodeObject(model);
  }();
  const Case cases[] = {
      {"inline, room 16", 5, 2, {0xBE, 0xEF}, 16, SM_STATUS_SUCCESS, 30, inlineChanged},
      {"out of line, same length, room 16",
       3,
       7,
       {1, 2, 3, 4, 5, 6},
       16,
       SM_STATUS_SUCCESS,
       30,
       outOfLineChanged},
      {"room 15 is refused first",
       5,
       2,
       {0xBE, 0xEF},
       15,
       SM_STATUS_BUFFER_TOO_SMALL,
       15,
       kSampleImage},
      {"rebuilt, room 16", 5, 2, Bytes(6, 9), 16, SM_STATUS_BUFFER_TOO_SMALL, 36, kSampleImage},
      {"rebuilt, room 35", 5, 2, Bytes(6, 9), 35, SM_STATUS_BUFFER_TOO_SMALL, 36, kSampleImage},
      {"rebuilt, room 36", 5, 2, Bytes(6, 9), 36, SM_STATUS_SUCCESS, 36, grown},
  };
  for (const Case &c : cases) {
    Bytes block = kSampleImage;
    block.resize(std::max<size_t>(36, block.size()));
    uint32_t size = c.room;
    EXPECT_EQ(SMSDOBinarySetData(block.data(), &size, c.id, c.type, c.value.data(),
                                 static_cast<uint32_t>(c.value.size())),
              c.status)
        << c.what;
    EXPECT_EQ(size, c.sizeOut) << c.what;
    EXPECT_TRUE(std::equal(c.expected.begin(), c.expected.end(), block.begin())) << c.what;
  }
}

// Appending steps over the elements by the sizes their headers declare,
// without judging them (elements are copied as given); the array's header
// bounds what is read and the room only what is written.
TEST(SdoQuirks, appends_find_the_end_by_declared_sizes_and_report_the_need) {
  const Bytes element = {'B', 'O', 'D', 'S', 0, 0, 8, 0};
  // An array of `declared` bytes' worth of element, declared by its header;
  // the element itself always has 8 bytes.
  auto arrayWith = [](uint16_t declared) {
    Bytes array = {'B', 'A', 'D', 'S', 1, 0, 16, 0, 'X', 'X', 'X', 'X', 0, 0, 0, 0};
    sdotest::Put16(array, 14, declared);
    return array;
  };
  struct Case {
    const char *what;
    Bytes array;
    uint32_t room, status, sizeOut;
    uint32_t total, count;  // the header after the call
  } cases[] = {
      {"a consistent array larger than the room", sdotest::EncodeArray({{}, {}}), 20,
       SM_STATUS_BUFFER_TOO_SMALL, 32, 24, 2},
      {"room enough", sdotest::EncodeArray({{}, {}}), 32, SM_STATUS_SUCCESS, 32, 32, 3},
      {"a foreign element, its size right", arrayWith(8), 24, SM_STATUS_SUCCESS, 24, 24, 2},
      {"an element declaring nothing", arrayWith(0), 16, SM_STATUS_SUCCESS, 16, 16, 2},
      {"an element declaring 4", arrayWith(4), 20, SM_STATUS_SUCCESS, 20, 20, 2},
      {"an element declaring more than the array", arrayWith(4000), 64, SM_STATUS_BUFFER_TOO_SMALL,
       4016, 16, 1},
      {"the end past 65535 with room too small", arrayWith(65535), 64, SM_STATUS_BUFFER_TOO_SMALL,
       65551, 16, 1},
      {"the end past 65535 with room enough", arrayWith(65535), 70000, SM_STATUS_BUFFER_TOO_SMALL,
       70000, 16, 1},
  };
  for (Case &c : cases) {
    Bytes block = c.array;
    block.resize(std::max<size_t>(block.size(), 64));
    uint32_t size = c.room;
    EXPECT_EQ(SMSDOBinaryArrayAddData(block.data(), &size, element.data(), 8), c.status) << c.what;
    EXPECT_EQ(size, c.sizeOut) << c.what;
    EXPECT_EQ(sdotest::Get16(&block[6]), c.total) << c.what;
    EXPECT_EQ(sdotest::Get16(&block[4]), c.count) << c.what;
    if (c.status == SM_STATUS_SUCCESS) {
      EXPECT_TRUE(std::equal(element.begin(), element.end(), block.begin() + c.total - 8))
          << c.what;
    }
  }
  // Stepping never reads outside the array's total: a second element that
  // would start where the first one's declared size ends, past the total, is
  // refused as a wrong magic is.
  Bytes block = arrayWith(8);
  block[4] = 2;
  block.resize(64);
  uint32_t size = 64;
  EXPECT_EQ(SMSDOBinaryArrayAddData(block.data(), &size, element.data(), 8),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(size, 64u);
}

// A walk checks each image when its own visit starts: the callbacks of its
// parents, and of the records before it, come first.
TEST(SdoQuirks, walks_find_a_damaged_image_when_they_reach_it) {
  static std::vector<std::string> events;
  SMSDOBinaryWalkBeginFn begin = [](uint32_t, uint32_t, uint32_t isArray, uint32_t count,
                                    int32_t index, const void *) {
    events.push_back((isArray ? "array " : "begin ") + std::to_string(count) + " " +
                     std::to_string(index));
    return 0u;
  };
  SMSDOBinaryWalkEntryFn entry = [](uint32_t, uint32_t *, uint16_t id, uint32_t, uint32_t, uint32_t,
                                    uint32_t, uint32_t, const void *) {
    events.push_back("entry " + std::to_string(id));
    return 0u;
  };
  SMSDOBinaryWalkAfterEntryFn after = [](uint32_t, uint32_t) {
    events.push_back("after");
    return 0u;
  };
  SMSDOBinaryWalkEndFn end = [](uint32_t, uint32_t, uint32_t) {
    events.push_back("end");
    return 0u;
  };
  sdotest::ModelObject leaf, top;
  leaf.values[4] = {1, {1, 2, 3, 4, 5, 6, 7}, {}};
  leaf.values[9] = {2, {9}, {}};
  top.values[1] = {3, {0xAA, 0xBB}, {}};
  top.values[2] = {0x0D, {}, {leaf}};
  top.values[3] = {4, {1, 2, 3, 4, 5}, {}};
  const Bytes image = sdotest::EncodeObject(top);
  const size_t child = 16 + sdotest::Get16(&image[16 + 6]);  // record 1 holds the leaf
  Bytes wrongMagic = image, strayValue = image, strayElement = sdotest::EncodeArray({leaf, leaf});
  wrongMagic[child] = 'X';
  strayValue[child + 16 + 3] = 0x04;  // the leaf's ID 9 goes out of line, 9 bytes at 0
  strayValue[child + 16 + 4] = 9;
  strayElement[8 + 31 + 6] = 32;  // the second leaf claims one byte past the array
  const std::vector<std::string> upToTheLeaf = {"begin 3 -1", "entry 1", "after", "entry 2"};
  std::vector<std::string> intoTheLeaf = upToTheLeaf;
  intoTheLeaf.insert(intoTheLeaf.end(), {"begin 2 -1", "entry 4", "after"});
  const std::vector<std::string> whole = {"begin 3 -1", "entry 1", "after", "entry 2",
                                          "after",      "entry 3", "after", "end"};
  struct Case {
    const char *what;
    const Bytes &image;
    uint32_t recurse, status;
    std::vector<std::string> events;
  } cases[] = {
      {"nested magic, recursing", wrongMagic, 1, SM_STATUS_INVALID_PARAMETER, upToTheLeaf},
      {"nested magic, not recursing", wrongMagic, 0, 0, whole},
      {"value in a nested image", strayValue, 1, SM_STATUS_INVALID_PARAMETER, intoTheLeaf},
      {"element past the array",
       strayElement,
       0,
       SM_STATUS_INVALID_PARAMETER,
       {"array 2 -1", "begin 2 0", "end"}},
  };
  for (const Case &c : cases) {
    events.clear();
    EXPECT_EQ(SMSDOBinaryWalk(c.image.data(), 0, begin, entry, after, end, c.recurse), c.status)
        << c.what;
    EXPECT_EQ(events, c.events) << c.what;
  }
}

}  // namespace
