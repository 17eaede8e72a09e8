// Out-of-memory paths of the values family, reached through the library's
// allocation budget: the scratch blocks behind lists, addresses and unaligned
// UCS-2 text. A refused block gives the documented null or status and leaves
// the caller's value untouched; with the heap back the same calls succeed.
#include <gtest/gtest.h>

#include <cstring>

#include "base/memory.h"
#include "kxsupt/values.h"

namespace {

using kx::base::testing::AllocationBudget;

TEST(ValuesOutOfMemory, refused_scratch_blocks_give_null_or_no_memory) {
  alignas(2) unsigned char block[34] = {};
  unsigned char *odd = block + 1;  // UCS-2 here needs an aligned copy
  const unsigned char ucs2_abc[] = {'a', 0, 'b', 0, 'c', 0, 0, 0};
  std::memcpy(odd, ucs2_abc, sizeof ucs2_abc);
  const SMEnum32Entry table[] = {{"none", 0, 0}, {"absent", 1, 0}, {"a", 2, 0}, {"b", 4, 0}};
  char param[] = "mode=a|b";
  char *params[] = {param};

  for (const bool refused : {true, false}) {
    SCOPED_TRACE(refused ? "refused" : "served");
    AllocationBudget budget(refused ? 0 : 100);
    uint32_t count = 9, size = 9;
    char *list = SMUTF8ConvertXSVToYSV("a, b", ',', ';', &count, &size);
    EXPECT_EQ(list == nullptr, refused);
    EXPECT_EQ(count, refused ? 0u : 2u);
    SMFreeMem(list);

    uint32_t address = 7;
    size = sizeof address;
    EXPECT_EQ(SMXLTUTF8ToTypeValue("10.0.0.1", &address, &size, SM_XLT_IPV4_ADDRESS),
              refused ? SM_STATUS_NO_MEMORY : SM_STATUS_SUCCESS);
    EXPECT_EQ(address == 7, refused);

    unsigned char target[34] = {};
    size = 32;
    EXPECT_EQ(SMXLTUTF8ToTypeValue("abc", target + 1, &size, SM_XLT_UCS2_STRING),
              refused ? SM_STATUS_NO_MEMORY : SM_STATUS_SUCCESS);
    EXPECT_EQ(std::memcmp(target + 1, ucs2_abc, sizeof ucs2_abc) == 0, !refused);

    char text[16] = {};
    size = sizeof text;
    EXPECT_EQ(SMXLTTypeValueToUTF8(odd, 0, text, &size, SM_XLT_UCS2_STRING),
              refused ? SM_STATUS_NO_MEMORY : SM_STATUS_SUCCESS);
    EXPECT_STREQ(text, refused ? "" : "abc");

    EXPECT_EQ(SMNVPGetEnums32Value(1, params, "mode", 0, table, 4, 1),
              refused ? SM_NVP_ENUM_BAD_ARGUMENTS : 6u);
  }
}

}  // namespace
