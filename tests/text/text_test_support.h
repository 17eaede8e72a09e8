// Helpers shared by the text tests: terminated UCS-2 buffers with sentinels
// after them, and a heap for self-sizing strings that refuses once a budget of
// requests is spent.
#pragma once

#include <cstdlib>
#include <string>
#include <vector>

#include "text/sstring.h"

namespace kx_text_test {

using Buffer = std::vector<uint16_t>;

// `text` with its terminator, then `spare` sentinel units 0xAAAA.
inline Buffer Terminated(const std::u16string &text, size_t spare = 0) {
  Buffer units(text.begin(), text.end());
  units.push_back(0);
  units.insert(units.end(), spare, 0xAAAA);
  return units;
}

// Installs the budgeted heap for its lifetime; each allocation or resize
// spends one request.
class BudgetHeap {
 public:
  explicit BudgetHeap(int budget) : previous_(kx::text::SetSsHeapForTesting({Allocate, Resize})) {
    budget_ = budget;
  }
  ~BudgetHeap() { kx::text::SetSsHeapForTesting(previous_); }
  void Grant(int budget) { budget_ = budget; }

 private:
  static void *Allocate(uint32_t size) { return budget_-- > 0 ? std::malloc(size) : nullptr; }
  static void *Resize(void *block, uint32_t size) {
    return budget_-- > 0 ? std::realloc(block, size) : nullptr;
  }
  static inline int budget_ = 0;
  kx::text::SsHeap previous_;
};

}  // namespace kx_text_test
