// Memory services: the library's one allocation path. Every block the library
// allocates, for itself or for a caller, comes from these routines over the
// process heap, so that any of the release calls frees it and tests can make
// allocation fail in one place (testing::AllocationBudget below).
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

namespace kx::base {

// The process heap, unadorned: no header, no zeroing, no tracking. Null on
// failure; a failed resize leaves the block valid. Release ignores null.
// Sizes are size_t so that internal sums never wrap; the exports pass their
// 32-bit sizes through unchanged.
void *AllocMem(size_t size);
void *ReAllocMem(void *block, size_t size);
void FreeMem(void *block);
// The release call for results of the other families: the same as FreeMem.
void FreeGeneric(void *block);

// Allocates count zeroed elements of `size` bytes (as calloc); null when the
// product overflows or the heap refuses.
void *AllocZeroed(size_t count, size_t size);

// The standard library's allocator interface over AllocMem. A container that
// uses it throws std::bad_alloc when a block cannot be had; the routine that
// owns the container catches it and reports SM_STATUS_NO_MEMORY.
template <typename T>
struct Allocator {
  using value_type = T;
  Allocator() = default;
  template <typename U>
  constexpr Allocator(const Allocator<U> &) noexcept {}

  T *allocate(size_t n) {
    if (n > std::numeric_limits<size_t>::max() / sizeof(T)) throw std::bad_alloc();
    void *block = AllocMem(n * sizeof(T));
    if (block == nullptr) throw std::bad_alloc();
    return static_cast<T *>(block);
  }
  void deallocate(T *block, size_t) noexcept { FreeMem(block); }

  template <typename U>
  bool operator==(const Allocator<U> &) const noexcept {
    return true;
  }
};

// The fault-injection seam: tests make the library's allocations fail from a
// chosen point on, to reach the out-of-memory paths. Each AllocMem and
// ReAllocMem call (AllocZeroed and Allocator go through AllocMem) spends
// one request of the budget; once it is spent every request fails until the
// budget is lifted. Releases are never refused. Process-wide: a test that
// sets a budget must not run allocating threads it does not expect to fail.
namespace testing {

// Lets the next `count` requests succeed and refuses every later one.
void FailAllocationsAfter(uint64_t count);
// Lifts the budget: every request goes to the heap again.
void AllowAllAllocations();
// Spends one request of the budget as AllocMem does: true when it is
// refused. A test program's own operator new calls it, so that the budget
// reaches allocations made through the standard containers too.
bool RefuseRequest();

// FailAllocationsAfter for the lifetime of the object.
class AllocationBudget {
 public:
  explicit AllocationBudget(uint64_t count) { FailAllocationsAfter(count); }
  ~AllocationBudget() { AllowAllAllocations(); }
  AllocationBudget(const AllocationBudget &) = delete;
  AllocationBudget &operator=(const AllocationBudget &) = delete;
  // A fresh budget of `count` requests from now on.
  void Grant(uint64_t count) { FailAllocationsAfter(count); }
};

}  // namespace testing

}  // namespace kx::base
