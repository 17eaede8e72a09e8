// Randomized differential tests against the model encoder: random property
// trees (nested to depth 3, arrays of children) built as configs convert to
// exactly the encoded bytes and back, and read back every value by ID and by
// index from the config and in place from the binary; removal, comparison and
// cloning agree with the model; in-place changes keep the encoding of the
// changed model; arrays built by appending and walks of objects and arrays
// match the model.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kxsupt/sdo.h"
#include "sdo_model.h"

namespace {

using sdotest::Bytes;
using sdotest::ConfigPtr;
using sdotest::ModelObject;

constexpr int kRounds = 120;

// Reads with `read(args..., buffer, size)`: measured with a null buffer (16
// and the size), then into a block of exactly that size, so the sanitizer
// catches a stray access.
template <typename Read, typename... Args>
Bytes ReadAll(Read read, Args... args) {
  uint32_t size = 0, got = 0;
  EXPECT_EQ(read(args..., nullptr, &size), SM_STATUS_BUFFER_TOO_SMALL);
  Bytes out(std::max<uint32_t>(size, 1));  // an empty array still needs a buffer
  got = size;
  EXPECT_EQ(read(args..., out.data(), &got), 0u);
  EXPECT_EQ(got, size);
  out.resize(size);
  return out;
}

void ExpectConfigHolds(const SDOConfig *config, const ModelObject &model) {
  ASSERT_EQ(SMSDOConfigGetCount(config), model.values.size());
  EXPECT_EQ(SMSDOConfigGetBinarySize(config), sdotest::EncodeObject(model).size());
  uint32_t index = 0;
  for (const auto &[id, value] : model.values) {
    uint8_t type = 0, typeByIndex = 0;
    uint16_t gotId = 0;
    const Bytes bytes = ReadAll(SMSDOConfigGetDataByID, config, id, &type);
    EXPECT_EQ(ReadAll(SMSDOConfigGetDataByIndex, config, index++, &gotId, &typeByIndex), bytes);
    EXPECT_EQ(gotId, id);
    EXPECT_EQ(type, value.type);
    EXPECT_EQ(typeByIndex, value.type);
    if (!value.isChild()) {
      EXPECT_EQ(bytes, value.bytes);
      continue;
    }
    ASSERT_EQ(bytes.size(), value.children.size() * sizeof(SDOConfig *));
    for (size_t i = 0; i < value.children.size(); ++i) {
      SDOConfig *child;
      std::memcpy(&child, bytes.data() + i * sizeof child, sizeof child);
      ExpectConfigHolds(child, value.children[i]);
    }
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
    slot.resize(std::max<size_t>(slot.size(), 4), 0);
    uint8_t type = 0, typeByIndex = 0;
    uint16_t gotId = 0;
    EXPECT_EQ(ReadAll(SMSDOBinaryGetDataByID, image, id, &type), slot);
    const Bytes bytes = ReadAll(SMSDOBinaryGetDataByIndex, image, index++, &gotId, &typeByIndex);
    EXPECT_EQ(bytes, valueImage);
    EXPECT_EQ(gotId, id);
    EXPECT_EQ(type, value.binaryType());
    EXPECT_EQ(typeByIndex, value.binaryType());
    if (value.isChild() && !value.isArray()) ExpectBinaryHolds(bytes.data(), value.children[0]);
    for (uint32_t i = 0; value.isChild() && value.isArray() && i < value.children.size(); ++i) {
      const Bytes element = ReadAll(SMSDOBinaryArrayGetByIndex, bytes.data(), 0u, i);
      EXPECT_EQ(element, sdotest::EncodeObject(value.children[i]));
      ExpectBinaryHolds(element.data(), value.children[i]);
    }
  }
}

TEST(SdoRoundTrip, random_trees_convert_to_the_encoded_bytes_and_back) {
  for (int round = 1; round <= kRounds; ++round) {
    SCOPED_TRACE("seed " + std::to_string(round));
    sdotest::ModelGenerator generator(static_cast<uint32_t>(round));
    ModelObject model = generator.Object(0, 65535);
    ConfigPtr config(sdotest::Build(model, generator.rng()));
    ASSERT_NE(config, nullptr);
    ExpectConfigHolds(config.get(), model);

    const Bytes image = sdotest::ToBinary(config.get());
    ASSERT_EQ(image, sdotest::EncodeObject(model));
    ExpectBinaryHolds(image.data(), model);

    ConfigPtr back(SMSDOBinaryToConfig(image.data()));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(SMSDOConfigCompareByValue(config.get(), back.get()), 1);
    ExpectConfigHolds(back.get(), model);
    ConfigPtr clone(SMSDOConfigClone(back.get()));
    EXPECT_EQ(SMSDOConfigCompareByValue(clone.get(), config.get()), 1);

    // Removing a random value (by ID, or by index under an invalid ID) from
    // the clone leaves the model without it, and unequal to the original; then
    // everything goes.
    if (model.values.empty()) continue;
    const int index = generator.Uniform(0, static_cast<int>(model.values.size()) - 1);
    const auto it = std::next(model.values.begin(), index);
    const uint16_t id = index % 2 == 0 ? it->first : 0xFFFF;
    ASSERT_EQ(SMSDOConfigRemoveData(clone.get(), id, static_cast<uint32_t>(index), 0),
              SM_STATUS_SUCCESS);
    model.values.erase(it);
    ExpectConfigHolds(clone.get(), model);
    EXPECT_EQ(SMSDOConfigCompareByValue(clone.get(), config.get()), 0);
    ASSERT_EQ(SMSDOConfigRemoveData(clone.get(), 0xFFFE, 7, 1),
              SM_STATUS_SUCCESS);  // all: ID, index ignored
    ExpectConfigHolds(clone.get(), ModelObject{});
  }
}

// In-place changes of random opaque values keep the block equal to the
// encoding of the changed model, whichever path (in place, rebuild) is taken.
TEST(SdoRoundTrip, random_in_place_changes_match_the_changed_model) {
  for (int round = 1; round <= kRounds; ++round) {
    SCOPED_TRACE("seed " + std::to_string(round));
    sdotest::ModelGenerator generator(static_cast<uint32_t>(1000 + round));
    ModelObject model = generator.Object(0, 30000);
    Bytes block = sdotest::EncodeObject(model);
    block.resize(65535);
    for (int change = 0; change < 12 && !model.values.empty(); ++change) {
      const int index = generator.Uniform(0, static_cast<int>(model.values.size()) - 1);
      auto &[id, value] = *std::next(model.values.begin(), index);
      if (value.isChild()) continue;
      const size_t oldLength = value.bytes.size(), record = 8 + 8 * index;
      const size_t length = generator.Uniform(0, 2) == 0 ? oldLength : generator.Uniform(1, 12);
      const Bytes slotBefore(block.begin() + record + 4, block.begin() + record + 8);
      value.bytes = generator.RandomBytes(length);
      uint32_t room = static_cast<uint32_t>(block.size());
      ASSERT_EQ(SMSDOBinarySetData(block.data(), &room, id, value.type, &value.bytes[0], length),
                SM_STATUS_SUCCESS);
      // The block holds the changed model's encoding, except in the unused
      // tails of inline slots: an in-place change writes only the new bytes.
      Bytes expected = sdotest::EncodeObject(model);
      EXPECT_EQ(room, expected.size());
      for (size_t r = 8; r < 8 + 8 * model.values.size(); r += 8) {
        const uint8_t storage = expected[r + 3];
        for (size_t i = r + 5 + (storage & 3); (storage & 4) == 0 && i < r + 8; ++i) {
          expected[i] = block[i];
        }
      }
      ASSERT_TRUE(std::equal(expected.begin(), expected.end(), block.begin()))
          << "after setting id " << id << " from " << oldLength << " to " << length << " bytes";
      if (oldLength <= 4 && length <= 4) {  // inline to inline: the slot's tail is kept
        EXPECT_TRUE(
            std::equal(slotBefore.begin() + length, slotBefore.end(), &block[record + 4 + length]));
      }
    }
  }
}

// --- walks -----------------------------------------------------------------

// Each callback records an event; the one making event number g_stopAt
// returns kStop.
std::vector<std::string> g_events;
uint32_t g_lastCookie = 0;
size_t g_stopAt = SIZE_MAX;
constexpr uint32_t kContext = 0xC0FFEE, kStop = 77;

// A walk event: its name and fields, then the size and a hash of the bytes.
std::string Event(const char *name, std::initializer_list<int64_t> fields,
                  const void *bytes = nullptr, size_t n = 0) {
  std::string event = name;
  for (int64_t field : fields) event.append(" ").append(std::to_string(field));
  if (bytes == nullptr) return event;
  uint32_t hash = 2166136261u;
  for (size_t i = 0; i < n; ++i) hash = (hash ^ static_cast<const uint8_t *>(bytes)[i]) * 16777619u;
  return event.append(" ").append(std::to_string(n)).append(":").append(std::to_string(hash));
}

uint32_t Record(uint32_t context, std::string event) {
  EXPECT_EQ(context, kContext);
  g_events.push_back(std::move(event));
  return g_events.size() - 1 == g_stopAt ? kStop : 0;
}
uint32_t OnBegin(uint32_t context, uint32_t parentCookie, uint32_t isArray, uint32_t count,
                 int32_t elementIndex, const void *image) {
  return Record(context, Event("begin", {parentCookie, isArray, count, elementIndex}, image,
                               SMSDOBinaryGetSize(image, nullptr)));
}
uint32_t OnEntry(uint32_t context, uint32_t *cookie, uint16_t id, uint32_t attributes,
                 uint32_t bit5, uint32_t isArray, uint32_t code, uint32_t length,
                 const void *value) {
  EXPECT_EQ(*cookie, 0u);
  *cookie = ++g_lastCookie;
  return Record(context, Event("entry", {id, attributes, bit5, isArray, code}, value, length));
}
uint32_t OnAfter(uint32_t context, uint32_t cookie) {
  return Record(context, Event("after", {cookie}));
}
uint32_t OnEnd(uint32_t context, uint32_t parentCookie, uint32_t isArray) {
  return Record(context, Event("end", {parentCookie, isArray}));
}

// The model of a walk: the events a visit of an object or array must make.
struct WalkModel {
  explicit WalkModel(bool recursing) : recurse(recursing) {}
  void Object(const ModelObject &object, uint32_t parent, int32_t index, bool records) {
    if (object.values.empty()) return;
    const Bytes image = sdotest::EncodeObject(object);
    events.push_back(Event("begin", {parent, 0, static_cast<int64_t>(object.values.size()), index},
                           image.data(), image.size()));
    for (const auto &[id, value] : object.values) {
      if (!records) break;
      const uint32_t cookie = ++lastCookie;
      const uint8_t type = value.binaryType();
      const Bytes valueImage = sdotest::ValueImage(value);
      events.push_back(Event("entry", {id, type >> 6, (type >> 5) & 1, (type >> 4) & 1, type & 15},
                             valueImage.data(), valueImage.size()));
      if (value.isChild() && recurse) {
        value.isArray() ? Array(value.children, cookie, -1)
                        : Object(value.children[0], cookie, -1, true);
      }
      events.push_back(Event("after", {cookie}));
    }
    events.push_back(Event("end", {parent, 0}));
  }

  void Array(const std::vector<ModelObject> &elements, uint32_t parent, int32_t index) {
    if (elements.empty()) return;
    const Bytes image = sdotest::EncodeArray(elements);
    events.push_back(Event("begin", {parent, 1, static_cast<int64_t>(elements.size()), index},
                           image.data(), image.size()));
    for (size_t i = 0; i < elements.size(); ++i) Object(elements[i], parent, i, recurse);
    events.push_back(Event("end", {parent, 1}));
  }

  bool recurse;
  uint32_t lastCookie = 0;
  std::vector<std::string> events;
};

std::vector<std::string> Walk(const Bytes &image, uint32_t recurse, uint32_t result,
                              size_t stopAt = SIZE_MAX) {
  g_events.clear();
  g_lastCookie = 0;
  g_stopAt = stopAt;
  EXPECT_EQ(SMSDOBinaryWalk(image.data(), kContext, OnBegin, OnEntry, OnAfter, OnEnd, recurse),
            result);
  return g_events;
}

TEST(SdoRoundTrip, walks_make_the_callbacks_the_model_predicts) {
  for (int round = 1; round <= kRounds; ++round) {
    SCOPED_TRACE("seed " + std::to_string(round));
    sdotest::ModelGenerator generator(static_cast<uint32_t>(2000 + round));
    std::vector<ModelObject> elements(generator.Uniform(0, 3));
    for (ModelObject &element : elements) element = generator.Object(1, 12000);
    const ModelObject object = generator.Object(0, 20000);
    // The array walked is built by appending the elements' images.
    Bytes array(sdotest::EncodeArray(elements).size());
    ASSERT_EQ(SMSDOBinaryArrayInitHeader(array.data(), 8), SM_STATUS_SUCCESS);
    for (const ModelObject &element : elements) {
      const Bytes image = sdotest::EncodeObject(element);
      uint32_t room = static_cast<uint32_t>(array.size());
      ASSERT_EQ(SMSDOBinaryArrayAddData(array.data(), &room, image.data(), image.size()),
                SM_STATUS_SUCCESS);
    }
    ASSERT_EQ(array, sdotest::EncodeArray(elements));
    // 0x10001 counts as 1: only the low 16 bits are compared.
    for (uint32_t recurse : {0u, 1u, 2u, 0x10001u, 0xFFFFu}) {
      SCOPED_TRACE("recurse " + std::to_string(recurse));
      WalkModel objectModel(static_cast<int16_t>(recurse) == 1), arrayModel = objectModel;
      objectModel.Object(object, 0, -1, true);
      EXPECT_EQ(Walk(sdotest::EncodeObject(object), recurse, 0), objectModel.events);
      arrayModel.Array(elements, 0, -1);
      EXPECT_EQ(Walk(array, recurse, 0), arrayModel.events);
    }

    // A non-zero result from begin, entry or a nested end ends the whole walk
    // at once; an after-entry result does not.
    WalkModel full(true);
    full.Object(object, 0, -1, true);
    if (full.events.empty()) continue;
    const size_t stopAt = generator.Uniform(0, static_cast<int>(full.events.size()) - 1);
    const bool after = full.events[stopAt].rfind("after", 0) == 0;
    if (!after) full.events.resize(stopAt + 1);
    EXPECT_EQ(Walk(sdotest::EncodeObject(object), 1, after ? 0 : kStop, stopAt), full.events);
  }
}

}  // namespace
