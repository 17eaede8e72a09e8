// The process heap behind the library's one allocation path, and the budget
// that tests use to make it fail. With no budget set, a request costs one
// relaxed load on top of the heap call.
#include "base/memory.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace kx::base {

namespace {

std::atomic<bool> g_budgeted{false};
// Requests left before refusals start; below zero once they have.
std::atomic<int64_t> g_budget{0};

// True when a budget is set and spent: the request is then refused.
inline bool Refused() {
  if (!g_budgeted.load(std::memory_order_relaxed)) [[likely]] {
    return false;
  }
  return g_budget.fetch_sub(1, std::memory_order_relaxed) <= 0;
}

}  // namespace

void *AllocMem(size_t size) {
  if (Refused()) return nullptr;
  return std::malloc(size);
}

void *ReAllocMem(void *block, size_t size) {
  if (Refused()) return nullptr;
  return std::realloc(block, size);
}

void FreeMem(void *block) {
  std::free(block);
}

void FreeGeneric(void *block) {
  FreeMem(block);
}

void *AllocZeroed(size_t count, size_t size) {
  if (size != 0 && count > std::numeric_limits<size_t>::max() / size) return nullptr;
  const size_t bytes = count * size;
  void *block = AllocMem(bytes);
  if (block != nullptr) std::memset(block, 0, bytes);
  return block;
}

namespace testing {

void FailAllocationsAfter(uint64_t count) {
  const uint64_t limit = std::numeric_limits<int64_t>::max();
  g_budget.store(static_cast<int64_t>(count < limit ? count : limit), std::memory_order_relaxed);
  g_budgeted.store(true, std::memory_order_seq_cst);
}

void AllowAllAllocations() {
  g_budgeted.store(false, std::memory_order_seq_cst);
}

bool RefuseRequest() {
  return Refused();
}

}  // namespace testing

}  // namespace kx::base
