// The formatter's one allocation: %S converts its UCS-2 text in a block of
// its own. When the block cannot be had the run ends where it stands, with
// what was stored so far terminated and counted.
#include <gtest/gtest.h>

#include <string>

#include "base/memory.h"
#include "kxsupt/format.h"

namespace {

TEST(FormatOutOfMemory, a_ucs2_string_without_memory_ends_the_run_where_it_stands) {
  const uint16_t text[] = {'x', 'y', 0};
  const char *format = "a%Sb%d";  // not a literal: %S is ours, not the compiler's
  char out[32];
  {
    kx::base::testing::AllocationBudget budget(0);
    EXPECT_EQ(SMsnprintf(out, sizeof out, format, text, 7), 1);
    EXPECT_EQ(std::string(out), "a");
  }
  EXPECT_EQ(SMsnprintf(out, sizeof out, format, text, 7), 5);
  EXPECT_EQ(std::string(out), "axyb7");
}

}  // namespace
