// Randomized differential tests: random property trees (nested to depth 3,
// arrays of children) built as configs must convert to exactly the bytes the
// independent encoder produces, convert back to an equal config, and read back
// every value by ID and by index from the config and in place from the binary.
// Walks are checked against the callback sequence the model predicts.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kxsupt/sdo.h"
#include "sdo_model.h"

namespace {

using sdotest::Bytes;
using sdotest::ModelObject;
using sdotest::ModelValue;

constexpr int kRounds = 120;

SDOConfig *HandleAt(const Bytes &bytes, size_t i) {
  SDOConfig *handle;
  std::memcpy(&handle, bytes.data() + i * sizeof handle, sizeof handle);
  return handle;
}

void ExpectConfigHolds(const SDOConfig *config, const ModelObject &model);

// A config value against its model: opaque bytes, or children compared in turn.
void ExpectConfigValue(const Bytes &read, const ModelValue &value) {
  if (!value.isChild()) {
    EXPECT_EQ(read, value.bytes);
    return;
  }
  ASSERT_EQ(read.size(), value.children.size() * sizeof(SDOConfig *));
  for (size_t i = 0; i < value.children.size(); ++i) {
    ExpectConfigHolds(HandleAt(read, i), value.children[i]);
  }
}

void ExpectConfigHolds(const SDOConfig *config, const ModelObject &model) {
  ASSERT_EQ(SMSDOConfigGetCount(config), model.values.size());
  EXPECT_EQ(SMSDOConfigGetBinarySize(config), sdotest::EncodeObject(model).size());
  uint32_t index = 0;
  for (const auto &[id, value] : model.values) {
    const uint32_t expectedSize = value.isChild() ? static_cast<uint32_t>(value.children.size() * 8)
                                                  : static_cast<uint32_t>(value.bytes.size());
    uint8_t type = 0;
    uint32_t size = 0;
    ASSERT_EQ(SMSDOConfigGetDataByID(config, id, &type, nullptr, &size), 16u);
    ASSERT_EQ(size, expectedSize);
    // An empty array of children holds 0 bytes; a buffer must still be given.
    Bytes read(size + 1);
    ASSERT_EQ(SMSDOConfigGetDataByID(config, id, &type, read.data(), &size), 0u);
    read.resize(size);
    EXPECT_EQ(type, value.type);
    ExpectConfigValue(read, value);

    uint16_t gotId = 0;
    Bytes byIndex(expectedSize + 1);
    size = expectedSize;
    ASSERT_EQ(SMSDOConfigGetDataByIndex(config, index, &gotId, &type, byIndex.data(), &size), 0u);
    byIndex.resize(size);
    EXPECT_EQ(gotId, id);
    EXPECT_EQ(byIndex, read);
    ++index;
  }
}

void ExpectBinaryHolds(const uint8_t *image, const ModelObject &model);

void ExpectArrayHolds(const uint8_t *array, const std::vector<ModelObject> &elements) {
  uint16_t isArray = 0;
  ASSERT_EQ(SMSDOBinaryGetCount(array, &isArray), static_cast<int32_t>(elements.size()));
  EXPECT_EQ(isArray, 1);
  for (size_t i = 0; i < elements.size(); ++i) {
    uint32_t size = 0;
    ASSERT_EQ(SMSDOBinaryArrayGetByIndex(array, 0, static_cast<uint32_t>(i), nullptr, &size), 16u);
    Bytes element(size);  // exact size: a stray read is caught by the sanitizer
    ASSERT_EQ(SMSDOBinaryArrayGetByIndex(array, 0, static_cast<uint32_t>(i), element.data(), &size),
              0u);
    EXPECT_EQ(element, sdotest::EncodeObject(elements[i]));
    ExpectBinaryHolds(element.data(), elements[i]);
  }
}

void ExpectBinaryHolds(const uint8_t *image, const ModelObject &model) {
  uint16_t isArray = 1;
  ASSERT_EQ(SMSDOBinaryGetCount(image, &isArray), static_cast<int32_t>(model.values.size()));
  EXPECT_EQ(isArray, 0);
  uint32_t index = 0;
  for (const auto &[id, value] : model.values) {
    const Bytes valueImage = sdotest::ValueImage(value);
    // By ID, a value of up to 4 bytes reads as its whole zero-padded slot.
    Bytes slot = valueImage;
    if (slot.size() < 4) slot.resize(4, 0);
    uint8_t type = 0;
    uint32_t size = 0;
    ASSERT_EQ(SMSDOBinaryGetDataByID(image, id, &type, nullptr, &size), 16u);
    ASSERT_EQ(size, slot.size());
    Bytes byId(size);
    ASSERT_EQ(SMSDOBinaryGetDataByID(image, id, &type, byId.data(), &size), 0u);
    EXPECT_EQ(byId, slot);
    EXPECT_EQ(type, value.binaryType());

    uint16_t gotId = 0;
    size = 0;
    ASSERT_EQ(SMSDOBinaryGetDataByIndex(image, index, &gotId, &type, nullptr, &size), 16u);
    ASSERT_EQ(size, valueImage.size());
    Bytes byIndex(size);
    ASSERT_EQ(SMSDOBinaryGetDataByIndex(image, index, &gotId, &type, byIndex.data(), &size), 0u);
    EXPECT_EQ(gotId, id);
    EXPECT_EQ(byIndex, valueImage);
    if (value.isChild() && value.isArray()) ExpectArrayHolds(byIndex.data(), value.children);
    if (value.isChild() && !value.isArray()) ExpectBinaryHolds(byIndex.data(), value.children[0]);
    ++index;
  }
}

TEST(SdoRoundTrip, random_trees_convert_to_the_encoded_bytes_and_back) {
  for (int round = 1; round <= kRounds; ++round) {
    SCOPED_TRACE("seed " + std::to_string(round));
    sdotest::ModelGenerator generator(static_cast<uint32_t>(round));
    const ModelObject model = generator.Object(0, 65535);
    const Bytes expected = sdotest::EncodeObject(model);
    ASSERT_LE(expected.size(), 65535u);

    SDOConfig *config = sdotest::Build(model, generator.rng());
    ASSERT_NE(config, nullptr);
    ExpectConfigHolds(config, model);

    Bytes image(expected.size());
    uint32_t size = static_cast<uint32_t>(image.size());
    ASSERT_EQ(SMSDOConfigToBinary(config, image.data(), &size), 0u);
    EXPECT_EQ(size, expected.size());
    ASSERT_EQ(image, expected);
    ExpectBinaryHolds(image.data(), model);

    SDOConfig *back = SMSDOBinaryToConfig(image.data());
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(SMSDOConfigCompareByValue(config, back), 1);
    ExpectConfigHolds(back, model);
    SDOConfig *clone = SMSDOConfigClone(back);
    EXPECT_EQ(SMSDOConfigCompareByValue(clone, config), 1);
    SMSDOConfigFree(clone);
    SMSDOConfigFree(back);
    SMSDOConfigFree(config);
  }
}

// In-place changes of random opaque values keep the block equal to the
// encoding of the changed model, whichever path (in place, rebuild) is taken.
// Compares a block with the encoding of its model, except the unused tail of
// each inline slot: an in-place change writes only the new value's bytes.
bool MatchesExceptInlineTails(const Bytes &expected, const Bytes &block) {
  if (block.size() < expected.size()) return false;
  const uint32_t count = expected[4] | (expected[5] << 8);
  for (size_t i = 0; i < expected.size(); ++i) {
    const bool inTable = i >= 8 && i < 8 + 8 * size_t{count};
    if (inTable && (i - 8) % 8 >= 4) {
      const size_t record = 8 + (i - 8) / 8 * 8;
      const uint8_t storage = expected[record + 3];
      if ((storage & 0x04) == 0 && (i - record - 4) > (storage & 3u)) continue;
    }
    if (expected[i] != block[i]) return false;
  }
  return true;
}

TEST(SdoRoundTrip, random_in_place_changes_match_the_changed_model) {
  for (int round = 1; round <= kRounds; ++round) {
    SCOPED_TRACE("seed " + std::to_string(round));
    sdotest::ModelGenerator generator(static_cast<uint32_t>(1000 + round));
    ModelObject model = generator.Object(0, 30000);
    Bytes block = sdotest::EncodeObject(model);
    block.resize(65535);
    for (int change = 0; change < 8; ++change) {
      std::vector<uint16_t> opaque;
      for (const auto &[id, value] : model.values) {
        if (!value.isChild()) opaque.push_back(id);
      }
      if (opaque.empty()) break;
      const uint16_t id = opaque[generator.Uniform(0, static_cast<int>(opaque.size()) - 1)];
      ModelValue &value = model.values[id];
      const size_t oldLength = value.bytes.size();
      const size_t length = generator.Uniform(0, 2) == 0 ? oldLength : generator.Uniform(1, 12);
      Bytes bytes(length);
      for (uint8_t &b : bytes) b = static_cast<uint8_t>(generator.Uniform(0, 255));
      const size_t record =
          8 + 8 * static_cast<size_t>(std::distance(model.values.begin(), model.values.find(id)));
      const Bytes slotBefore(block.begin() + record + 4, block.begin() + record + 8);
      uint32_t room = static_cast<uint32_t>(block.size());
      ASSERT_EQ(SMSDOBinarySetData(block.data(), &room, id, value.type, bytes.data(),
                                   static_cast<uint32_t>(length)),
                0u);
      value.bytes = bytes;
      const Bytes expected = sdotest::EncodeObject(model);
      EXPECT_EQ(room, expected.size());
      ASSERT_TRUE(MatchesExceptInlineTails(expected, block))
          << "after setting id " << id << " from " << oldLength << " to " << length << " bytes";
      if (oldLength <= 4 && length <= 4) {
        // Inline to inline: the slot's tail keeps the bytes it had.
        for (size_t i = length; i < 4; ++i) EXPECT_EQ(block[record + 4 + i], slotBefore[i]);
      }
    }
  }
}

// --- walks -----------------------------------------------------------------

std::vector<std::string> *g_events = nullptr;
uint32_t g_lastCookie = 0;
size_t g_stopAt = SIZE_MAX;  // the callback making event number g_stopAt returns 77
constexpr uint32_t kContext = 0xC0FFEE;
constexpr uint32_t kStopValue = 77;

uint32_t Record(std::string event) {
  g_events->push_back(std::move(event));
  return g_events->size() - 1 == g_stopAt ? kStopValue : 0;
}

std::string Digest(const uint8_t *bytes, size_t n) {
  uint32_t hash = 2166136261u;
  for (size_t i = 0; i < n; ++i) hash = (hash ^ bytes[i]) * 16777619u;
  return std::to_string(n) + ":" + std::to_string(hash);
}

uint32_t OnBegin(uint32_t context, uint32_t parentCookie, uint32_t isArray, uint32_t count,
                 int32_t elementIndex, const void *image) {
  EXPECT_EQ(context, kContext);
  const uint32_t size = SMSDOBinaryGetSize(image, nullptr);
  return Record("begin " + std::to_string(parentCookie) + " " + std::to_string(isArray) + " " +
                std::to_string(count) + " " + std::to_string(elementIndex) + " " +
                Digest(static_cast<const uint8_t *>(image), size));
}
uint32_t OnEntry(uint32_t context, uint32_t *cookie, uint16_t id, uint32_t attributes,
                 uint32_t bit5, uint32_t isArray, uint32_t code, uint32_t length,
                 const void *value) {
  EXPECT_EQ(context, kContext);
  EXPECT_EQ(*cookie, 0u);
  *cookie = ++g_lastCookie;
  return Record("entry " + std::to_string(id) + " " + std::to_string(attributes) + " " +
                std::to_string(bit5) + " " + std::to_string(isArray) + " " + std::to_string(code) +
                " " + Digest(static_cast<const uint8_t *>(value), length));
}
uint32_t OnAfter(uint32_t context, uint32_t cookie) {
  EXPECT_EQ(context, kContext);
  return Record("after " + std::to_string(cookie));
}
uint32_t OnEnd(uint32_t context, uint32_t parentCookie, uint32_t isArray) {
  EXPECT_EQ(context, kContext);
  return Record("end " + std::to_string(parentCookie) + " " + std::to_string(isArray));
}

// The model of the walk: the callbacks a visit of `object` must make.
class WalkModel {
 public:
  explicit WalkModel(bool recurse) : recurse_(recurse) {}

  void Object(const ModelObject &object, uint32_t parent, int32_t index, bool records) {
    if (object.values.empty()) return;
    const Bytes image = sdotest::EncodeObject(object);
    Add("begin " + std::to_string(parent) + " 0 " + std::to_string(object.values.size()) + " " +
        std::to_string(index) + " " + Digest(image.data(), image.size()));
    if (records) {
      for (const auto &[id, value] : object.values) {
        const uint32_t cookie = ++cookie_;
        const uint8_t type = value.binaryType();
        const Bytes valueImage = sdotest::ValueImage(value);
        Add("entry " + std::to_string(id) + " " + std::to_string(type >> 6) + " " +
            std::to_string((type >> 5) & 1) + " " + std::to_string((type >> 4) & 1) + " " +
            std::to_string(type & 15) + " " + Digest(valueImage.data(), valueImage.size()));
        if (value.isChild() && recurse_) {
          if (value.isArray()) {
            Array(value.children, cookie, -1);
          } else {
            Object(value.children[0], cookie, -1, true);
          }
        }
        Add("after " + std::to_string(cookie));
      }
    }
    Add("end " + std::to_string(parent) + " 0");
  }

  void Array(const std::vector<ModelObject> &elements, uint32_t parent, int32_t index) {
    if (elements.empty()) return;
    const Bytes image = sdotest::EncodeArray(elements);
    Add("begin " + std::to_string(parent) + " 1 " + std::to_string(elements.size()) + " " +
        std::to_string(index) + " " + Digest(image.data(), image.size()));
    for (size_t i = 0; i < elements.size(); ++i) {
      Object(elements[i], parent, static_cast<int32_t>(i), recurse_);
    }
    Add("end " + std::to_string(parent) + " 1");
  }

  std::vector<std::string> events;

 private:
  void Add(std::string event) { events.push_back(std::move(event)); }
  bool recurse_;
  uint32_t cookie_ = 0;
};

uint32_t Walk(const Bytes &image, uint32_t recurse, std::vector<std::string> *events,
              size_t stopAt = SIZE_MAX) {
  g_events = events;
  g_lastCookie = 0;
  g_stopAt = stopAt;
  return SMSDOBinaryWalk(image.data(), kContext, OnBegin, OnEntry, OnAfter, OnEnd, recurse);
}

TEST(SdoRoundTrip, walks_make_the_callbacks_the_model_predicts) {
  for (int round = 1; round <= kRounds; ++round) {
    SCOPED_TRACE("seed " + std::to_string(round));
    sdotest::ModelGenerator generator(static_cast<uint32_t>(2000 + round));
    std::vector<ModelObject> elements;
    for (int i = generator.Uniform(0, 3); i > 0; --i)
      elements.push_back(generator.Object(1, 12000));
    const ModelObject object = generator.Object(0, 20000);
    // 0x10001 counts as 1: only the low 16 bits are compared.
    for (uint32_t recurse : {0u, 1u, 2u, 0x10001u, 0xFFFFu}) {
      const bool recursing = static_cast<int16_t>(recurse) == 1;
      WalkModel objectModel(recursing);
      objectModel.Object(object, 0, -1, true);
      std::vector<std::string> events;
      EXPECT_EQ(Walk(sdotest::EncodeObject(object), recurse, &events), 0u);
      EXPECT_EQ(events, objectModel.events) << "recurse " << recurse;

      WalkModel arrayModel(recursing);
      arrayModel.Array(elements, 0, -1);
      events.clear();
      EXPECT_EQ(Walk(sdotest::EncodeArray(elements), recurse, &events), 0u);
      EXPECT_EQ(events, arrayModel.events) << "recurse " << recurse;
    }

    // A non-zero result from begin, entry or a nested end ends the whole walk
    // at once; an after-entry result does not.
    WalkModel full(true);
    full.Object(object, 0, -1, true);
    if (full.events.empty()) continue;
    const size_t stopAt =
        static_cast<size_t>(generator.Uniform(0, static_cast<int>(full.events.size()) - 1));
    std::vector<std::string> events;
    const uint32_t result = Walk(sdotest::EncodeObject(object), 1, &events, stopAt);
    if (full.events[stopAt].rfind("after", 0) == 0) {
      EXPECT_EQ(events, full.events);
      EXPECT_EQ(result, 0u);
    } else {
      EXPECT_EQ(result, kStopValue);
      EXPECT_EQ(events,
                std::vector<std::string>(full.events.begin(), full.events.begin() + stopAt + 1));
    }
  }
}

}  // namespace
