// Out-of-memory paths of the SDO family, reached through the library's
// allocation budget: every operation is run with a budget of 0, 1, 2, ...
// allocations until it succeeds, and each refused run must report its
// documented failure, change nothing and (checked by the sanitizer build)
// leak nothing.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "base/memory.h"
#include "kxsupt/sdo.h"
#include "sdo_model.h"

namespace {

using kx::base::testing::AllocationBudget;
using sdotest::Bytes;
using sdotest::ConfigPtr;

// Runs `attempt` under budgets 0, 1, 2, ... until it reports success; after
// each failure `unchanged` checks the state. Returns the budget that passed.
int UntilItSucceeds(const std::function<bool()> &attempt, const std::function<void()> &unchanged) {
  for (int budget = 0; budget < 10000; ++budget) {
    bool succeeded;
    {
      AllocationBudget scope(budget);
      succeeded = attempt();
    }
    if (succeeded) return budget;
    unchanged();
    if (::testing::Test::HasFailure()) return -1;
  }
  ADD_FAILURE() << "never succeeded";
  return -1;
}

bool IsMemoryFailure(SMStatus status) {
  // A nested image that cannot be converted for lack of memory is refused as
  // one that does not convert.
  return status == SM_STATUS_NO_MEMORY || status == SM_STATUS_ERROR;
}

TEST(SdoOutOfMemory, refused_adds_leave_the_config_and_the_callers_children_as_they_were) {
  sdotest::ModelGenerator generator(7);
  for (int round = 0; round < 8; ++round) {
    SCOPED_TRACE(round);
    ConfigPtr config(sdotest::Build(generator.Object(1, 2000), generator.rng()));
    ASSERT_NE(config, nullptr);
    const Bytes before = sdotest::ToBinary(config.get());
    const uint32_t count = SMSDOConfigGetCount(config.get());
    auto unchanged = [&] {
      EXPECT_EQ(sdotest::ToBinary(config.get()), before);
      EXPECT_EQ(SMSDOConfigGetCount(config.get()), count);
    };
    uint16_t id = 0xFFFD;  // the highest free ID
    for (uint32_t size = 0; SMSDOConfigGetDataByID(config.get(), id, nullptr, nullptr, &size) !=
                            SM_STATUS_NOT_AVAILABLE;) {
      --id;
    }

    // A plain value, an object image and an array image (code 12).
    const Bytes plain = generator.RandomBytes(40);
    const Bytes object = sdotest::EncodeObject(generator.Object(1, 3000));
    const Bytes array =
        sdotest::EncodeArray({generator.Object(2, 800), generator.Object(2, 800), {}});
    for (const auto &[type, bytes] :
         {std::pair<uint8_t, const Bytes &>{1, plain}, {0x0C, object}, {0x0C, array}}) {
      // Structured bindings are copied out: Clang 14 cannot capture them.
      const Bytes &data = bytes;
      const uint8_t dataType = type;
      const int needed = UntilItSucceeds(
          [&] {
            const SMStatus status = SMSDOConfigAddData(config.get(), id, dataType, data.data(),
                                                       static_cast<uint32_t>(data.size()), 0);
            EXPECT_TRUE(status == SM_STATUS_SUCCESS || IsMemoryFailure(status)) << status;
            return status == SM_STATUS_SUCCESS;
          },
          unchanged);
      EXPECT_GE(needed, 1);
      EXPECT_EQ(SMSDOConfigRemoveData(config.get(), id, 0, 0), SM_STATUS_SUCCESS);
      EXPECT_EQ(sdotest::ToBinary(config.get()), before);
    }

    // Children by handle (code 13). Each attempt makes its children under the
    // same budget, so their own allocations are walked too; a refused add
    // leaves them with the caller, who frees them.
    std::vector<SDOConfig *> children;
    UntilItSucceeds(
        [&] {
          children.assign(3, nullptr);
          for (SDOConfig *&child : children) {
            child = SMSDOConfigAlloc();
            if (child == nullptr) break;
          }
          const bool made = children.back() != nullptr;
          const SMStatus status =
              made ? SMSDOConfigAddData(config.get(), id, 0x1D, children.data(),
                                        static_cast<uint32_t>(children.size() * sizeof(void *)), 0)
                   : SM_STATUS_NO_MEMORY;
          EXPECT_TRUE(status == SM_STATUS_SUCCESS || status == SM_STATUS_NO_MEMORY) << status;
          if (status != SM_STATUS_SUCCESS) {
            for (SDOConfig *child : children) SMSDOConfigFree(child);
          }
          return status == SM_STATUS_SUCCESS;
        },
        unchanged);
    EXPECT_EQ(SMSDOConfigGetCount(config.get()), count + 1);
  }
}

TEST(SdoOutOfMemory, conversions_and_clones_give_null_or_their_status_and_leak_nothing) {
  sdotest::ModelGenerator generator(11);
  const sdotest::ModelObject model = generator.Object(0, 6000);
  const Bytes image = sdotest::EncodeObject(model);
  auto nothing = [] {};

  SDOConfig *converted = nullptr;
  EXPECT_GE(UntilItSucceeds(
                [&] {
                  converted = SMSDOBinaryToConfig(image.data());
                  return converted != nullptr;
                },
                nothing),
            1);
  ConfigPtr config(converted);
  EXPECT_EQ(sdotest::ToBinary(config.get()), image);

  SDOConfig *clone = nullptr;
  UntilItSucceeds(
      [&] {
        clone = SMSDOConfigClone(config.get());
        return clone != nullptr;
      },
      nothing);
  EXPECT_EQ(SMSDOConfigCompareByValue(clone, config.get()), 1);
  SMSDOConfigFree(clone);

  // An array image into handles: a refused conversion leaves only nulls.
  const Bytes array = sdotest::EncodeArray({model, generator.Object(1, 900), {}});
  SDOConfig *handles[3] = {};
  UntilItSucceeds(
      [&] {
        uint32_t count = 3;
        const SMStatus status = SMSDOBinaryArrayToConfigArray(array.data(), handles, &count);
        EXPECT_TRUE(status == SM_STATUS_SUCCESS || IsMemoryFailure(status)) << status;
        return status == SM_STATUS_SUCCESS;
      },
      [&] {
        for (SDOConfig *handle : handles) EXPECT_EQ(handle, nullptr);
      });
  for (SDOConfig *handle : handles) SMSDOConfigFree(handle);

  // Measuring an array of configs converts each into a scratch block.
  SDOConfig *const elements[] = {config.get(), config.get()};
  UntilItSucceeds(
      [&] {
        uint32_t size = 0;
        const SMStatus status = SMSDOConfigArrayToBinaryArray(elements, 2, nullptr, &size);
        EXPECT_TRUE(status == SM_STATUS_SUCCESS || status == SM_STATUS_NO_MEMORY) << status;
        if (status != SM_STATUS_SUCCESS) return false;
        EXPECT_EQ(size, 2 * image.size());
        return true;
      },
      nothing);

  // A change of length rebuilds the image through a config; refused, the
  // image stays as it was.
  Bytes block = image;
  block.resize(image.size() + 64);
  // A pair rather than a structured binding: Clang 14 cannot capture those.
  const auto &first = *model.values.begin();
  const auto id = first.first;
  const auto &value = first.second;
  const Bytes longer(value.isChild() ? 0 : ValueImage(value).size() + 20, 0x5A);
  if (!longer.empty()) {
    UntilItSucceeds(
        [&] {
          uint32_t size = static_cast<uint32_t>(block.size());
          const SMStatus status =
              SMSDOBinarySetData(block.data(), &size, id, value.binaryType(), longer.data(),
                                 static_cast<uint32_t>(longer.size()));
          // A rebuild that cannot even convert the image finds nothing to set.
          EXPECT_TRUE(status == SM_STATUS_SUCCESS || status == SM_STATUS_NO_MEMORY ||
                      status == SM_STATUS_NOT_AVAILABLE)
              << status;
          return status == SM_STATUS_SUCCESS;
        },
        [&] { EXPECT_TRUE(std::equal(image.begin(), image.end(), block.begin())); });
  }
}

}  // namespace
