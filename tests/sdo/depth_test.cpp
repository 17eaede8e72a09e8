// Nesting to the format's limit: images and configs nested as deep as 65535
// bytes allow (4095 objects in objects, 2730 objects in arrays in objects)
// convert both ways, clone, compare, walk, add under code 12, change in place
// and free, all on a thread with the 131072-byte stack that the library gives
// the threads it starts, so no operation may need native stack per level.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstring>
#include <functional>
#include <tuple>
#include <vector>

#include "kxsupt/sdo.h"
#include "sdo_model.h"

namespace {

using sdotest::Bytes;
using sdotest::ConfigPtr;

constexpr size_t kThreadStack = 131072;
constexpr size_t kObjectLevels = (65535 - 8) / 16;  // 4095
constexpr size_t kArrayLevels = (65535 - 8) / 24;   // 2730

// Runs `body` to its end on a thread with a stack of kThreadStack bytes.
void OnSmallStack(const std::function<void()> &body) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, kThreadStack), 0);
  pthread_t thread;
  auto run = [](void *argument) -> void * {
    (*static_cast<const std::function<void()> *>(argument))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()> *>(&body)),
            0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

// Walk events: kind, then the parent cookie (begin, end) or the cookie
// (entry, after), then the element index (begin) or the array mark (end).
using Event = std::tuple<char, int64_t, int64_t>;
std::vector<Event> g_events;
uint32_t g_nextCookie = 0;

uint32_t OnBegin(uint32_t, uint32_t parent, uint32_t isArray, uint32_t count, int32_t index,
                 const void *) {
  EXPECT_EQ(count, 1u);
  g_events.emplace_back(isArray != 0 ? 'B' : 'b', parent, index);
  return 0;
}
uint32_t OnEntry(uint32_t, uint32_t *cookie, uint16_t id, uint32_t, uint32_t, uint32_t, uint32_t,
                 uint32_t, const void *) {
  EXPECT_EQ(id, 1);
  *cookie = ++g_nextCookie;
  g_events.emplace_back('e', *cookie, 0);
  return 0;
}
uint32_t OnAfter(uint32_t, uint32_t cookie) {
  g_events.emplace_back('a', cookie, 0);
  return 0;
}
uint32_t OnEnd(uint32_t, uint32_t parent, uint32_t isArray) {
  g_events.emplace_back('n', parent, isArray);
  return 0;
}

// The events a recursive walk of DeepImage or DeepArrayImage must make:
// level k's record gets cookie k + 1, which is the parent cookie of the
// images below it; the innermost image is empty and makes none.
std::vector<Event> ExpectedWalk(size_t levels, bool arrays) {
  std::vector<Event> events;
  for (size_t k = 0; k < levels; ++k) {
    const int64_t parent = k, index = k == 0 || !arrays ? -1 : 0;
    events.emplace_back('b', parent, index);
    events.emplace_back('e', k + 1, 0);
    if (arrays) events.emplace_back('B', k + 1, -1);
  }
  for (size_t k = levels; k-- > 0;) {
    if (arrays) events.emplace_back('n', k + 1, 1);
    events.emplace_back('a', k + 1, 0);
    events.emplace_back('n', k, 0);
  }
  return events;
}

Bytes ToBinaryOf(const SDOConfig *config) {
  Bytes image(SMSDOConfigGetBinarySize(config));
  uint32_t size = static_cast<uint32_t>(image.size());
  EXPECT_EQ(SMSDOConfigToBinary(config, image.data(), &size), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, image.size());
  return image;
}

// Everything that reads or writes an image, on one image nested `levels` deep.
void ExerciseDeepImage(const Bytes &image, size_t levels, bool arrays) {
  ConfigPtr config(SMSDOBinaryToConfig(image.data()));
  ASSERT_NE(config, nullptr);
  EXPECT_EQ(ToBinaryOf(config.get()), image);
  ConfigPtr clone(SMSDOConfigClone(config.get()));
  ASSERT_NE(clone, nullptr);
  EXPECT_EQ(SMSDOConfigCompareByValue(config.get(), clone.get()), 1);

  g_events.clear();
  g_nextCookie = 0;
  EXPECT_EQ(SMSDOBinaryWalk(image.data(), 0, OnBegin, OnEntry, OnAfter, OnEnd, 1), 0u);
  EXPECT_TRUE(g_events == ExpectedWalk(levels, arrays)) << g_events.size() << " events";

  // Added under code 12, the value one level down rebuilds the whole image:
  // an object image, or the array image that the top record holds.
  ConfigPtr holder(SMSDOConfigAlloc());
  const uint8_t *below = image.data() + 16;
  const uint8_t type = arrays ? 0x1C : 0x0C;
  ASSERT_EQ(SMSDOConfigAddData(holder.get(), 1, type, below, 1, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(ToBinaryOf(holder.get()), image);
  // The whole image under one more record passes 65535: refused, and the
  // converted tree is freed again.
  EXPECT_EQ(SMSDOConfigAddData(holder.get(), 2, 0x0C, image.data(), 8, 0), SM_STATUS_WRITE_FAILED);

  if (arrays) {
    // The array held by the top record, converted out and back.
    SDOConfig *handles[1] = {};
    uint32_t count = 1;
    ASSERT_EQ(SMSDOBinaryArrayToConfigArray(below, handles, &count), SM_STATUS_SUCCESS);
    ConfigPtr element(handles[0]);
    Bytes array(image.size() - 16);
    uint32_t size = static_cast<uint32_t>(array.size());
    ASSERT_EQ(SMSDOConfigArrayToBinaryArray(handles, 1, array.data(), &size), SM_STATUS_SUCCESS);
    EXPECT_EQ(size, array.size());
    EXPECT_TRUE(std::equal(array.begin(), array.end(), below));
  } else {
    // A change of length rebuilds the block from a config of the whole tree.
    // A replacement counts the old value too, so at the limit it is refused
    // and the block stays as it was; 20 levels less leave room for it,
    // and the replaced children are freed.
    const Bytes shallow = sdotest::DeepImage(10);
    for (const size_t spare : {0, 20}) {
      Bytes block = sdotest::DeepImage(levels - spare);
      const Bytes before = block;
      uint32_t room = static_cast<uint32_t>(block.size());
      EXPECT_EQ(SMSDOBinarySetData(block.data(), &room, 1, 0x0C, shallow.data(), shallow.size()),
                spare == 0 ? SM_STATUS_WRITE_FAILED : SM_STATUS_SUCCESS);
      if (spare == 0) {
        EXPECT_EQ(room, before.size());
        EXPECT_EQ(block, before);
        continue;
      }
      EXPECT_EQ(room, shallow.size() + 16);
      block.resize(room);
      EXPECT_EQ(block, sdotest::DeepImage(11));
    }
  }
}

TEST(SdoDepth, images_nested_to_the_format_limit_work_on_a_small_stack) {
  const Bytes objects = sdotest::DeepImage(kObjectLevels);
  const Bytes arrays = sdotest::DeepArrayImage(kArrayLevels);
  ASSERT_EQ(objects.size(), 65528u);
  ASSERT_EQ(arrays.size(), 65528u);
  OnSmallStack([&] {
    SCOPED_TRACE("objects in objects");
    ExerciseDeepImage(objects, kObjectLevels, false);
  });
  OnSmallStack([&] {
    SCOPED_TRACE("objects in arrays in objects");
    ExerciseDeepImage(arrays, kArrayLevels, true);
  });
}

// A chain of configs built by handles, as deep as its binary form can be,
// converts to the deep image and is freed without recursion.
TEST(SdoDepth, configs_chained_by_handles_convert_and_free_on_a_small_stack) {
  for (const bool arrays : {false, true}) {
    SCOPED_TRACE(arrays ? "arrays of one" : "single children");
    const size_t levels = arrays ? kArrayLevels : kObjectLevels;
    const Bytes expected = arrays ? sdotest::DeepArrayImage(levels) : sdotest::DeepImage(levels);
    OnSmallStack([&] {
      SDOConfig *chain = SMSDOConfigAlloc();
      for (size_t level = 0; level < levels; ++level) {
        SDOConfig *parent = SMSDOConfigAlloc();
        const uint32_t status = arrays
                                    ? SMSDOConfigAddData(parent, 1, 0x1D, &chain, sizeof chain, 0)
                                    : SMSDOConfigAddData(parent, 1, 0x0D, chain, sizeof chain, 0);
        ASSERT_EQ(status, SM_STATUS_SUCCESS) << "level " << level;
        chain = parent;
      }
      ConfigPtr top(chain);
      EXPECT_EQ(ToBinaryOf(top.get()), expected);
      // One more level does not fit the binary form.
      ConfigPtr parent(SMSDOConfigAlloc());
      SDOConfig *handle = top.get();
      EXPECT_EQ(SMSDOConfigAddData(parent.get(), 1, 0x0D, handle, sizeof handle, 0),
                SM_STATUS_WRITE_FAILED);
    });
  }
}

}  // namespace
