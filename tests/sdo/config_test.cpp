// SDO config objects: argument checks and status order, the entry-cost rule,
// replacement and ownership of children, the limits that give 19, removal, the
// deliberately different size recomputation, comparing and cloning.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "kxsupt/sdo.h"

namespace {

struct ConfigDeleter {
  void operator()(SDOConfig *config) const { SMSDOConfigFree(config); }
};
using ConfigPtr = std::unique_ptr<SDOConfig, ConfigDeleter>;

ConfigPtr NewConfig() {
  return ConfigPtr(SMSDOConfigAlloc());
}

uint32_t Add(SDOConfig *config, uint16_t id, std::vector<uint8_t> bytes, uint8_t type = 1,
             uint32_t replace = 0) {
  return SMSDOConfigAddData(config, id, type, bytes.data(), static_cast<uint32_t>(bytes.size()),
                            replace);
}

TEST(SdoConfig, null_handles_give_their_documented_results) {
  uint8_t byte = 1;
  uint32_t size = 1;
  uint16_t id = 0;
  EXPECT_EQ(SMSDOConfigGetCount(nullptr), 0xFFFFFFFFu);
  EXPECT_EQ(SMSDOConfigGetBinarySize(nullptr), 0u);
  EXPECT_EQ(SMSDOConfigReCalcBinarySize(nullptr), 0u);
  EXPECT_EQ(SMSDOConfigAddData(nullptr, 1, 1, &byte, 1, 0), 271u);
  EXPECT_EQ(SMSDOConfigGetDataByID(nullptr, 1, nullptr, &byte, &size), 271u);
  EXPECT_EQ(SMSDOConfigGetDataByIndex(nullptr, 0, &id, nullptr, &byte, &size), 271u);
  EXPECT_EQ(SMSDOConfigRemoveData(nullptr, 1, 0, 1), 271u);
  EXPECT_EQ(SMSDOConfigClone(nullptr), nullptr);
  SMSDOConfigFree(nullptr);
}

TEST(SdoConfig, add_refuses_bad_arguments_with_271) {
  ConfigPtr config = NewConfig();
  uint8_t data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  struct Case {
    const char *what;
    uint16_t id;
    uint8_t type;
    const void *data;
    uint32_t size;
  } cases[] = {
      {"ID 0", 0, 1, data, 1},
      {"ID 0xFFFE", 0xFFFE, 1, data, 1},
      {"ID 0xFFFF", 0xFFFF, 1, data, 1},
      {"type 0", 7, 0, data, 1},
      {"null data", 7, 1, nullptr, 1},
      {"size 0", 7, 1, data, 0},
      {"not a whole number of handles", 7, 0x1D, data, 12},
      {"too short to carry a magic", 7, 0x0C, data, 3},
      {"no SDO magic", 7, 0x0C, data, 8},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(SMSDOConfigAddData(config.get(), c.id, c.type, c.data, c.size, 0), 271u) << c.what;
  }
  EXPECT_EQ(SMSDOConfigGetCount(config.get()), 0u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 8u);
  // The IDs next to the invalid ones are fine.
  for (uint16_t id : {1, 0xFFFD}) EXPECT_EQ(Add(config.get(), id, {1}), 0u);
}

TEST(SdoConfig, entry_cost_is_8_inline_and_8_plus_length_beyond_4_bytes) {
  struct Case {
    uint32_t length;
    uint32_t cost;
  } cases[] = {{1, 8}, {3, 8}, {4, 8}, {5, 13}, {6, 14}, {300, 308}};
  for (const Case &c : cases) {
    ConfigPtr config = NewConfig();
    ASSERT_EQ(Add(config.get(), 9, std::vector<uint8_t>(c.length, 0xAB)), 0u);
    EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 8 + c.cost) << c.length;
  }
}

TEST(SdoConfig, reads_check_in_order_and_report_sizes) {
  ConfigPtr config = NewConfig();
  ASSERT_EQ(Add(config.get(), 40, {1, 2, 3}, 0xA7), 0u);
  ASSERT_EQ(Add(config.get(), 20, {9}, 0x05), 0u);
  uint8_t buffer[8] = {};
  uint8_t type = 0;
  uint16_t id = 0;
  uint32_t size = 0;

  EXPECT_EQ(SMSDOConfigGetDataByID(config.get(), 0xFFFF, &type, buffer, &size), 271u);
  EXPECT_EQ(SMSDOConfigGetDataByID(config.get(), 40, &type, buffer, nullptr), 271u);
  EXPECT_EQ(SMSDOConfigGetDataByID(config.get(), 41, &type, buffer, &size), 256u);

  // A null buffer measures, and still reports the type byte.
  size = 100;
  EXPECT_EQ(SMSDOConfigGetDataByID(config.get(), 40, &type, nullptr, &size), 16u);
  EXPECT_EQ(size, 3u);
  EXPECT_EQ(type, 0xA7);
  size = 2;
  type = 0;
  EXPECT_EQ(SMSDOConfigGetDataByID(config.get(), 40, &type, buffer, &size), 16u);
  EXPECT_EQ(size, 3u);
  EXPECT_EQ(type, 0xA7);
  size = sizeof buffer;
  EXPECT_EQ(SMSDOConfigGetDataByID(config.get(), 40, nullptr, buffer, &size), 0u);
  EXPECT_EQ(size, 3u);
  EXPECT_EQ(std::vector<uint8_t>(buffer, buffer + 3), (std::vector<uint8_t>{1, 2, 3}));

  // By index: ascending ID order; the ID is written in every found case.
  EXPECT_EQ(SMSDOConfigGetDataByIndex(config.get(), 0, nullptr, &type, buffer, &size), 271u);
  EXPECT_EQ(SMSDOConfigGetDataByIndex(config.get(), 0, &id, &type, buffer, nullptr), 271u);
  EXPECT_EQ(SMSDOConfigGetDataByIndex(config.get(), 2, &id, &type, buffer, &size), 12u);
  size = 0;
  EXPECT_EQ(SMSDOConfigGetDataByIndex(config.get(), 0, &id, &type, nullptr, &size), 16u);
  EXPECT_EQ(id, 20);
  EXPECT_EQ(type, 0x05);
  EXPECT_EQ(size, 1u);
  size = sizeof buffer;
  EXPECT_EQ(SMSDOConfigGetDataByIndex(config.get(), 1, &id, nullptr, buffer, &size), 0u);
  EXPECT_EQ(id, 40);
  EXPECT_EQ(size, 3u);
}

TEST(SdoConfig, replacement_only_with_flag_exactly_1) {
  ConfigPtr config = NewConfig();
  ASSERT_EQ(Add(config.get(), 5, {1, 2, 3, 4}), 0u);
  for (uint32_t flag : {0u, 2u, 0xFFFFFFFFu}) {
    EXPECT_EQ(Add(config.get(), 5, {7, 7, 7, 7, 7, 7}, 1, flag), 258u) << flag;
  }
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 16u);
  EXPECT_EQ(Add(config.get(), 5, {7, 7, 7, 7, 7, 7}, 3, 1), 0u);
  EXPECT_EQ(SMSDOConfigGetCount(config.get()), 1u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 22u);
  uint8_t type = 0;
  uint8_t buffer[6];
  uint32_t size = sizeof buffer;
  EXPECT_EQ(SMSDOConfigGetDataByID(config.get(), 5, &type, buffer, &size), 0u);
  EXPECT_EQ(type, 3);
  EXPECT_EQ(size, 6u);
}

// Children added as handles pass to the parent; the sanitizer build proves
// that nothing is freed twice and nothing leaks.
TEST(SdoConfig, children_are_owned_by_the_parent_and_kept_when_stored_again) {
  ConfigPtr parent = NewConfig();
  SDOConfig *child = SMSDOConfigAlloc();
  ASSERT_EQ(Add(child, 1, {1, 2, 3, 4, 5}), 0u);
  ASSERT_EQ(SMSDOConfigAddData(parent.get(), 10, 0x0D, child, 8, 0), 0u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(parent.get()), 8u + 8u + SMSDOConfigGetBinarySize(child));

  // Reading gives the handle, still owned by the parent.
  SDOConfig *read = nullptr;
  uint32_t size = sizeof read;
  ASSERT_EQ(SMSDOConfigGetDataByID(parent.get(), 10, nullptr, &read, &size), 0u);
  EXPECT_EQ(read, child);
  EXPECT_EQ(size, 8u);

  // The same handle stored again is kept; an array holding it keeps it too.
  ASSERT_EQ(SMSDOConfigAddData(parent.get(), 10, 0x0D, child, 8, 1), 0u);
  SDOConfig *second = SMSDOConfigAlloc();
  SDOConfig *pair[] = {child, second};
  ASSERT_EQ(SMSDOConfigAddData(parent.get(), 10, 0x1D, pair, sizeof pair, 1), 0u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(parent.get()), 8u + 8u + 8u + 21u + 8u);
  EXPECT_EQ(SMSDOConfigGetCount(child), 1u);  // still alive

  // An opaque value replacing the array frees both children.
  ASSERT_EQ(Add(parent.get(), 10, {1}, 1, 1), 0u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(parent.get()), 16u);
}

TEST(SdoConfig, size_limit_gives_19_and_leaves_the_config_as_it_was) {
  ConfigPtr config = NewConfig();
  // 8 + (8 + 65519) = 65535 fits exactly; one byte more reaches 65536.
  EXPECT_EQ(Add(config.get(), 1, std::vector<uint8_t>(65520)), 19u);
  ASSERT_EQ(Add(config.get(), 1, std::vector<uint8_t>(65519)), 0u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 65535u);
  EXPECT_EQ(Add(config.get(), 2, {1}), 19u);
  // A replacement still counts the old value, so even a smaller one is refused.
  EXPECT_EQ(Add(config.get(), 1, {1}, 1, 1), 19u);
  EXPECT_EQ(SMSDOConfigGetCount(config.get()), 1u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 65535u);

  // A child that does not fit stays the caller's.
  SDOConfig *child = SMSDOConfigAlloc();
  EXPECT_EQ(SMSDOConfigAddData(config.get(), 3, 0x0D, child, 8, 0), 19u);
  SMSDOConfigFree(child);
}

TEST(SdoConfig, count_is_bounded_by_the_size_long_before_65535_values) {
  // Every value costs at least 8 bytes: (65535 - 8) / 8 = 8190 values fit.
  ConfigPtr config = NewConfig();
  uint16_t id = 1;
  for (; id <= 8190; ++id) ASSERT_EQ(Add(config.get(), id, {1, 2, 3, 4}), 0u) << id;
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 8u + 8190u * 8u);
  EXPECT_EQ(Add(config.get(), id, {1}), 19u);
  EXPECT_EQ(SMSDOConfigGetCount(config.get()), 8190u);
}

TEST(SdoConfig, remove_selects_by_id_or_by_index_when_the_id_is_invalid) {
  ConfigPtr config = NewConfig();
  for (uint16_t id : {30, 10, 20}) ASSERT_EQ(Add(config.get(), id, {1, 2, 3, 4, 5}), 0u);
  EXPECT_EQ(SMSDOConfigRemoveData(config.get(), 11, 0, 0), 256u);
  EXPECT_EQ(SMSDOConfigRemoveData(config.get(), 0, 3, 0), 12u);
  EXPECT_EQ(SMSDOConfigRemoveData(config.get(), 20, 99, 0), 0u);     // index ignored
  EXPECT_EQ(SMSDOConfigRemoveData(config.get(), 0xFFFF, 1, 0), 0u);  // removes ID 30
  EXPECT_EQ(SMSDOConfigGetCount(config.get()), 1u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 21u);
  uint32_t size = 0;
  EXPECT_EQ(SMSDOConfigGetDataByID(config.get(), 10, nullptr, nullptr, &size), 16u);
  EXPECT_EQ(SMSDOConfigGetDataByID(config.get(), 30, nullptr, nullptr, &size), 256u);

  SDOConfig *child = SMSDOConfigAlloc();
  ASSERT_EQ(SMSDOConfigAddData(config.get(), 40, 0x0D, child, 8, 0), 0u);
  EXPECT_EQ(SMSDOConfigRemoveData(config.get(), 0xFFFE, 7, 1), 0u);  // all, ID and index ignored
  EXPECT_EQ(SMSDOConfigGetCount(config.get()), 0u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 8u);
}

TEST(SdoConfig, recalc_counts_full_sizes_and_array_bodies_only) {
  ConfigPtr config = NewConfig();
  ASSERT_EQ(Add(config.get(), 1, {1, 2, 3, 4}), 0u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 16u);
  EXPECT_EQ(SMSDOConfigReCalcBinarySize(config.get()), 20u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(config.get()), 20u);
  // The binary form is still 16 bytes, so the conversion reports the mismatch.
  uint8_t image[20];
  uint32_t size = sizeof image;
  EXPECT_EQ(SMSDOConfigToBinary(config.get(), image, &size), 0xFFFFFFFFu);
  EXPECT_EQ(size, 16u);
  EXPECT_EQ(SMSDOConfigClone(config.get()), nullptr);

  // An array of two empty children: cost rule 8 + (8 + 16) = 32, recomputed 8 + 16.
  ConfigPtr parent = NewConfig();
  SDOConfig *pair[] = {SMSDOConfigAlloc(), SMSDOConfigAlloc()};
  ASSERT_EQ(SMSDOConfigAddData(parent.get(), 2, 0x1D, pair, sizeof pair, 0), 0u);
  EXPECT_EQ(SMSDOConfigGetBinarySize(parent.get()), 8u + 32u);
  EXPECT_EQ(SMSDOConfigReCalcBinarySize(parent.get()), 8u + 24u);
  // A buffer of the recomputed size cannot take the real form: refused, not overrun.
  std::vector<uint8_t> exact(32);
  size = 32;
  EXPECT_EQ(SMSDOConfigToBinary(parent.get(), exact.data(), &size), 0xFFFFFFFFu);
}

TEST(SdoConfig, compare_and_clone_go_by_binary_form) {
  ConfigPtr a = NewConfig();
  ConfigPtr b = NewConfig();
  EXPECT_EQ(SMSDOConfigCompareByValue(nullptr, nullptr), 1);
  EXPECT_EQ(SMSDOConfigCompareByValue(a.get(), nullptr), 0);
  EXPECT_EQ(SMSDOConfigCompareByValue(a.get(), b.get()), 1);

  SDOConfig *child = SMSDOConfigAlloc();
  ASSERT_EQ(Add(child, 3, {1, 2, 3, 4, 5, 6}), 0u);
  ASSERT_EQ(SMSDOConfigAddData(a.get(), 7, 0x2D, child, 8, 0), 0u);
  ASSERT_EQ(Add(a.get(), 8, {5}), 0u);
  ConfigPtr clone(SMSDOConfigClone(a.get()));
  ASSERT_NE(clone, nullptr);
  EXPECT_EQ(SMSDOConfigCompareByValue(a.get(), clone.get()), 1);
  // The clone has children of its own.
  SDOConfig *cloneChild = nullptr;
  uint32_t size = sizeof cloneChild;
  ASSERT_EQ(SMSDOConfigGetDataByID(clone.get(), 7, nullptr, &cloneChild, &size), 0u);
  EXPECT_NE(cloneChild, child);
  ASSERT_EQ(Add(cloneChild, 3, {9, 9, 9, 9, 9, 9}, 1, 1), 0u);
  EXPECT_EQ(SMSDOConfigCompareByValue(a.get(), clone.get()), 0);  // the child's image differs
  // Same size, different type byte: unequal.
  ASSERT_EQ(Add(b.get(), 8, {5}, 2), 0u);
  ConfigPtr c = NewConfig();
  ASSERT_EQ(Add(c.get(), 8, {5}, 1), 0u);
  EXPECT_EQ(SMSDOConfigCompareByValue(b.get(), c.get()), 0);
}

}  // namespace
