// Containers against their references: the red-black tree against std::set
// using the same three-way compare through a function pointer (1M random
// keys: insert, find, delete), and the hash-ID allocator's word-at-a-time
// scans against a naive bit-by-bit scan on a table of 1M IDs.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <vector>

#include "kxsupt/containers.h"

namespace {

// ---- red-black tree ----------------------------------------------------------

constexpr size_t kTreeKeys = 1'000'000;

int32_t CompareU64(void *key, void *data) {
  const uint64_t a = *static_cast<const uint64_t *>(key);
  const uint64_t b = *static_cast<const uint64_t *>(data);
  return a < b ? -1 : (a > b ? 1 : 0);
}

// The compare as both sides see it: a pointer the optimiser cannot see through.
SMContainerCallback OpaqueCompare() {
  SMContainerCallback compare = &CompareU64;
  benchmark::DoNotOptimize(compare);
  return compare;
}

// std::set's ordering from the same three-way callback.
struct CallbackLess {
  SMContainerCallback compare;
  bool operator()(const uint64_t *a, const uint64_t *b) const {
    return compare(const_cast<uint64_t *>(a), const_cast<uint64_t *>(b)) < 0;
  }
};
using AnchorSet = std::set<const uint64_t *, CallbackLess>;

// Distinct random keys, and the same keys in another random order for lookups.
struct TreeKeys {
  std::vector<uint64_t> keys;
  std::vector<uint64_t *> insert_order;
  std::vector<uint64_t *> lookup_order;
  TreeKeys() : keys(kTreeKeys) {
    std::mt19937_64 rng(42);
    for (size_t i = 0; i < kTreeKeys; ++i) keys[i] = (rng() & ~uint64_t{0xFFFFF}) | i;  // unique
    for (auto &k : keys) insert_order.push_back(&k);
    std::shuffle(insert_order.begin(), insert_order.end(), rng);
    lookup_order = insert_order;
    std::shuffle(lookup_order.begin(), lookup_order.end(), rng);
  }
};

const TreeKeys &Keys() {
  static const TreeKeys keys;
  return keys;
}

// Gives freed nodes back to the heap's top so that every timed build starts
// from the same heap state whichever structure freed its nodes before.
void SettleHeap() {
  malloc_trim(0);
}

void BuildTree(SMRedBlackTreeNode **tree, SMContainerCallback compare) {
  for (uint64_t *k : Keys().insert_order) SMRedBlackTreeDataInsert(tree, k, k, compare);
}

void BuildSet(AnchorSet *set) {
  for (uint64_t *k : Keys().insert_order) set->insert(k);
}

void TreeInsertOurs(benchmark::State &state) {
  const SMContainerCallback compare = OpaqueCompare();
  Keys();
  SettleHeap();
  for (auto _ : state) {
    SMRedBlackTreeNode *tree = nullptr;
    BuildTree(&tree, compare);
    benchmark::DoNotOptimize(tree);
    state.PauseTiming();
    SMRedBlackTreeDelete(&tree, nullptr, nullptr);
    SettleHeap();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kTreeKeys);
}
BENCHMARK(TreeInsertOurs)->Name("rbtree insert 1M/ours")->Unit(benchmark::kMillisecond);

void TreeInsertAnchor(benchmark::State &state) {
  const SMContainerCallback compare = OpaqueCompare();
  Keys();
  SettleHeap();
  for (auto _ : state) {
    auto *set = new AnchorSet(CallbackLess{compare});
    BuildSet(set);
    benchmark::DoNotOptimize(set);
    state.PauseTiming();
    delete set;
    SettleHeap();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kTreeKeys);
}
BENCHMARK(TreeInsertAnchor)->Name("rbtree insert 1M/anchor")->Unit(benchmark::kMillisecond);

void TreeFindOurs(benchmark::State &state) {
  const SMContainerCallback compare = OpaqueCompare();
  SettleHeap();
  SMRedBlackTreeNode *tree = nullptr;
  BuildTree(&tree, compare);
  for (auto _ : state) {
    for (uint64_t *k : Keys().lookup_order) {
      benchmark::DoNotOptimize(SMRedBlackTreeDataWalk(tree, k, compare, SM_RBT_WALK_SEARCH));
    }
  }
  state.SetItemsProcessed(state.iterations() * kTreeKeys);
  SMRedBlackTreeDelete(&tree, nullptr, nullptr);
}
BENCHMARK(TreeFindOurs)->Name("rbtree find 1M/ours")->Unit(benchmark::kMillisecond);

void TreeFindAnchor(benchmark::State &state) {
  SettleHeap();
  AnchorSet set(CallbackLess{OpaqueCompare()});
  BuildSet(&set);
  for (auto _ : state) {
    for (uint64_t *k : Keys().lookup_order) benchmark::DoNotOptimize(set.find(k));
  }
  state.SetItemsProcessed(state.iterations() * kTreeKeys);
}
BENCHMARK(TreeFindAnchor)->Name("rbtree find 1M/anchor")->Unit(benchmark::kMillisecond);

void TreeDeleteOurs(benchmark::State &state) {
  const SMContainerCallback compare = OpaqueCompare();
  for (auto _ : state) {
    state.PauseTiming();
    SettleHeap();
    SMRedBlackTreeNode *tree = nullptr;
    BuildTree(&tree, compare);
    state.ResumeTiming();
    for (uint64_t *k : Keys().lookup_order) SMRedBlackTreeDataDelete(&tree, k, compare);
    benchmark::DoNotOptimize(tree);
  }
  state.SetItemsProcessed(state.iterations() * kTreeKeys);
}
BENCHMARK(TreeDeleteOurs)->Name("rbtree delete 1M/ours")->Unit(benchmark::kMillisecond);

void TreeDeleteAnchor(benchmark::State &state) {
  const SMContainerCallback compare = OpaqueCompare();
  for (auto _ : state) {
    state.PauseTiming();
    SettleHeap();
    AnchorSet set(CallbackLess{compare});
    BuildSet(&set);
    state.ResumeTiming();
    for (uint64_t *k : Keys().lookup_order) set.erase(k);
    benchmark::DoNotOptimize(set);
  }
  state.SetItemsProcessed(state.iterations() * kTreeKeys);
}
BENCHMARK(TreeDeleteAnchor)->Name("rbtree delete 1M/anchor")->Unit(benchmark::kMillisecond);

// ---- hash-ID table ------------------------------------------------------------

constexpr uint32_t kMaxId = 1'000'000;
constexpr uint32_t kPrefilled = 750'000;  // IDs 1 to this are in use

// A bit-by-bit scan applying the same rules one bit at a time.
class NaiveIds {
 public:
  NaiveIds(uint32_t *words, uint32_t size) : words_(words), count_(size / 4) {}

  uint32_t AcquireLowest() {
    for (uint32_t w = 0; w < count_; ++w) {
      for (uint32_t b = (w == 0 ? 1 : 0); b < 32; ++b) {
        if (!Bit(w, b)) return Take(w, b);
      }
    }
    return 0;
  }

  uint32_t AcquireContinuing() {
    bool chosen_any = false;
    uint32_t chosen = 0;
    for (uint32_t w = 0; w < count_; ++w) {
      uint32_t set = 0;
      for (uint32_t b = (w == 0 ? 1 : 0); b < 32; ++b) set += Bit(w, b);
      const bool empty = set == 0 && !(w == 0 && Bit(0, 0));
      const bool full = set == (w == 0 ? 31u : 32u);
      if ((!empty && !full) || (empty && !chosen_any)) {
        chosen = w;
        chosen_any = true;
      }
    }
    int remembered = -1;
    for (int b = 31; b >= (chosen == 0 ? 1 : 0); --b) {
      if (!Bit(chosen, b)) {
        remembered = b;
      } else if (remembered >= 0) {
        break;
      }
    }
    return remembered < 0 ? 0 : Take(chosen, static_cast<uint32_t>(remembered));
  }

  void Release(uint32_t id) { words_[id / 32] &= ~(1u << (id % 32)); }

 private:
  uint32_t Bit(uint32_t w, uint32_t b) const { return (words_[w] >> b) & 1; }
  uint32_t Take(uint32_t w, uint32_t b) {
    words_[w] |= 1u << b;
    return w * 32 + b;
  }
  uint32_t *words_;
  uint32_t count_;
};

std::vector<uint32_t> PrefilledTable() {
  const uint32_t size = SMHashTableBytesNeeded(kMaxId);
  std::vector<uint32_t> table(size / 4);
  SMClearHashTable(table.data(), size);
  for (uint32_t id = 1; id <= kPrefilled; ++id) SMAcquireHashIDByID(table.data(), size, id);
  return table;
}

template <uint32_t kMode>
void HashIdOurs(benchmark::State &state) {
  std::vector<uint32_t> table = PrefilledTable();
  const auto size = static_cast<uint32_t>(table.size() * 4);
  for (auto _ : state) {
    const uint32_t id = SMAcquireHashID(table.data(), size, kMode);
    benchmark::DoNotOptimize(id);
    SMReleaseHashID(table.data(), size, id);
  }
}

template <uint32_t kMode>
void HashIdAnchor(benchmark::State &state) {
  std::vector<uint32_t> table = PrefilledTable();
  NaiveIds naive(table.data(), static_cast<uint32_t>(table.size() * 4));
  for (auto _ : state) {
    const uint32_t id = kMode == 0 ? naive.AcquireLowest() : naive.AcquireContinuing();
    benchmark::DoNotOptimize(id);
    naive.Release(id);
  }
}

BENCHMARK(HashIdOurs<0>)->Name("hashid acquire mode 0 + release, 1M IDs 75% used/ours");
BENCHMARK(HashIdAnchor<0>)->Name("hashid acquire mode 0 + release, 1M IDs 75% used/anchor");
BENCHMARK(HashIdOurs<1>)->Name("hashid acquire mode 1 + release, 1M IDs 75% used/ours");
BENCHMARK(HashIdAnchor<1>)->Name("hashid acquire mode 1 + release, 1M IDs 75% used/anchor");

}  // namespace
