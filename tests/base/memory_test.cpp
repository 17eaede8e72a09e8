// The base family's exports (versions, export context, memory services) and
// the allocation budget through which tests make the library's heap refuse.
#include "base/memory.h"

#include <gtest/gtest.h>

#include "kxsupt/base.h"

namespace {

using kx::base::testing::AllocationBudget;

TEST(BaseExports, versions_are_one_and_the_export_context_is_always_zero) {
  EXPECT_EQ(SUPTGetMajorVersion(), 1u);
  EXPECT_EQ(SUPTGetMinorVersion(), 1u);
  EXPECT_EQ(SUPTGetRevision(), 1u);
  uint32_t context = 0xDEADBEEF;
  SMSetExportContext(&context);
  SMGetExportContext(&context);
  EXPECT_EQ(context, 0u);
  SMGetExportContext(nullptr);
  SMResetExportContext();
}

TEST(BaseExports, memory_round_trips_and_null_release_is_ignored) {
  SMFreeMem(nullptr);
  SMFreeGeneric(nullptr);
  auto *block = static_cast<unsigned char *>(SMAllocMem(16));
  ASSERT_NE(block, nullptr);
  for (int i = 0; i < 16; ++i) block[i] = static_cast<unsigned char>(i);
  block = static_cast<unsigned char *>(SMReAllocMem(block, 4096));
  ASSERT_NE(block, nullptr);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(block[i], i);  // resize keeps the contents
  SMFreeGeneric(block);
  void *fresh = SMReAllocMem(nullptr, 8);  // a null block resizes like an allocation
  ASSERT_NE(fresh, nullptr);
  SMFreeMem(fresh);
}

// Each allocation or resize spends one request; once the budget is spent
// every request is refused (a refused resize keeps the block), until a grant
// or the end of the budget's scope.
TEST(AllocationBudget, serves_the_granted_requests_then_refuses_until_lifted) {
  unsigned char *block = nullptr;
  {
    AllocationBudget budget(2);
    block = static_cast<unsigned char *>(SMAllocMem(8));
    ASSERT_NE(block, nullptr);
    block[0] = 42;
    void *second = kx::base::AllocZeroed(4, 4);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(SMAllocMem(8), nullptr);
    EXPECT_EQ(SMReAllocMem(block, 64), nullptr);
    EXPECT_EQ(block[0], 42);
    SMFreeMem(second);  // releases are never refused and refund nothing
    EXPECT_EQ(SMAllocMem(1), nullptr);
    budget.Grant(1);
    block = static_cast<unsigned char *>(SMReAllocMem(block, 64));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block[0], 42);
    EXPECT_EQ(SMAllocMem(1), nullptr);
  }
  void *after = SMAllocMem(8);
  EXPECT_NE(after, nullptr);
  SMFreeMem(after);
  SMFreeMem(block);
}

// The standard-library allocator reports a refusal as std::bad_alloc, which
// the code that owns the container turns into a status.
TEST(AllocationBudget, the_container_allocator_throws_when_refused) {
  kx::base::Allocator<int> allocator;
  AllocationBudget budget(1);
  int *ints = allocator.allocate(4);
  ASSERT_NE(ints, nullptr);
  EXPECT_THROW(allocator.allocate(4), std::bad_alloc);
  allocator.deallocate(ints, 4);
  EXPECT_EQ(kx::base::AllocZeroed(SIZE_MAX / 2, 4), nullptr);  // the product overflows
}

}  // namespace
