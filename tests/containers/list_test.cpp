// Linked lists through their exported entries: seeded random operation
// sequences checked step by step against a std::list model of the same
// entries (links both ways, tail, walk visits, the links that removed entries
// keep), written once for both families; then the rules and quirks that the
// random sequences do not pin down.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <list>
#include <random>
#include <type_traits>
#include <vector>

#include "base/memory.h"
#include "kxsupt/containers.h"

namespace {

using Fn = SMContainerCallback;

// The exported calls of each family under one set of names, so that every
// test is written once for both; Scramble points an entry's links at itself,
// HasLinks compares them with next and prev (prev only where there is one).
struct SL {
  using L = SMSLList;
  using E = SMSLListEntry;
  static constexpr bool kDoubly = false;
  static L *ListAlloc() { return SMSLListAlloc(); }
  static void ListFree(L *l) { SMSLListFree(l); }
  static void ListInit(L *l) { SMSLListInitNoAlloc(l); }
  static E *Alloc(uint32_t size) { return SMSLListEntryAlloc(size); }
  static void Free(E *e) { SMSLListEntryFree(e); }
  static void Init(E *e) { SMSLListEntryInitNoAlloc(e); }
  static void AtHead(L *l, E *e) { SMSLListInsertEntryAtHead(l, e); }
  static void AtTail(L *l, E *e) { SMSLListInsertEntryAtTail(l, e); }
  static SMStatus Ordered(L *l, E *e, void *k, Fn f) { return SMSLListInsertEntry(l, e, k, f); }
  static E *Walk(L *l, void *k, Fn f) { return SMSLListWalkAtHead(l, k, f); }
  static E *Replace(L *l, E *e, void *k, Fn f) { return SMSLListReplaceEntry(l, e, k, f); }
  static void Unlink(L *l, E *prev, E *e) { SMSLListDeleteEntry(l, prev, e); }
  static E *PopHead(L *l) { return SMSLListRemoveEntryAtHead(l); }
  static E *PopTail(L *l) { return SMSLListRemoveEntryAtTail(l); }
  static int32_t Empty(L *l) { return SMSLListIsEmpty(l); }
  static void Scramble(E *e) { e->pNext = e; }
  static bool HasLinks(const E *e, E *n, E *) { return e->pNext == n; }
};

struct DL {
  using L = SMDLList;
  using E = SMDLListEntry;
  static constexpr bool kDoubly = true;
  static L *ListAlloc() { return SMDLListAlloc(); }
  static void ListFree(L *l) { SMDLListFree(l); }
  static void ListInit(L *l) { SMDLListInitNoAlloc(l); }
  static E *Alloc(uint32_t size) { return SMDLListEntryAlloc(size); }
  static void Free(E *e) { SMDLListEntryFree(e); }
  static void Init(E *e) { SMDLListEntryInitNoAlloc(e); }
  static void AtHead(L *l, E *e) { SMDLListInsertEntryAtHead(l, e); }
  static void AtTail(L *l, E *e) { SMDLListInsertEntryAtTail(l, e); }
  static SMStatus Ordered(L *l, E *e, void *k, Fn f) { return SMDLListInsertEntry(l, e, k, f); }
  static E *Walk(L *l, void *k, Fn f) { return SMDLListWalkAtHead(l, k, f); }
  static E *Replace(L *l, E *e, void *k, Fn f) { return SMDLListReplaceEntry(l, e, k, f); }
  // The doubly linked delete finds the predecessor itself.
  static void Unlink(L *l, E *, E *e) { SMDLListDeleteEntry(l, e); }
  static E *PopHead(L *l) { return SMDLListRemoveEntryAtHead(l); }
  static E *PopTail(L *l) { return SMDLListRemoveEntryAtTail(l); }
  static int32_t Empty(L *l) { return SMDLListIsEmpty(l); }
  static void Scramble(E *e) { e->pNext = e->pPrev = e; }
  static bool HasLinks(const E *e, E *n, E *p) { return e->pNext == n && e->pPrev == p; }
};

template <typename E>
int ValueOf(const E *entry) {
  int value;
  std::memcpy(&value, entry->pData, sizeof value);
  return value;
}

// A fresh entry carrying `value`, its links pointing at itself: every call
// that links it must overwrite them.
template <typename F>
typename F::E *Make(int value) {
  auto *entry = F::Alloc(sizeof value);
  std::memcpy(entry->pData, &value, sizeof value);
  F::Scramble(entry);
  return entry;
}

// Callback context: the key's value, and every entry visited. As a compare
// callback it orders the key against the entry's value; as a match callback
// it stops on an equal value, both other signs meaning "go on".
struct Visits {
  int key;
  std::vector<void *> seen;
};
template <typename E>
int32_t Visit(void *context, void *entry) {
  auto *visits = static_cast<Visits *>(context);
  visits->seen.push_back(entry);
  const int value = ValueOf(static_cast<E *>(entry));
  return visits->key < value ? -1 : (visits->key > value ? 1 : 0);
}

// The list's links agree with the model: forward order, terminator and tail,
// and for the doubly linked family every back link.
template <typename L, typename E>
bool MatchesModel(const L &list, const std::list<E *> &model) {
  E *at = list.pHead, *prev = nullptr;
  for (E *want : model) {
    if (at != want) return false;
    if constexpr (std::is_same_v<E, SMDLListEntry>) {
      if (at->pPrev != prev) return false;
    }
    prev = at;
    at = at->pNext;
  }
  return at == nullptr && list.pTail == prev;
}

template <typename F>
class List : public ::testing::Test {};
// List/0 runs each test on the singly linked family, List/1 on the doubly linked one.
using Families = ::testing::Types<SL, DL>;
TYPED_TEST_SUITE(List, Families);

template <typename F>
void RunRandomOperations(uint32_t seed) {
  using E = typename F::E;
  typename F::L *list = F::ListAlloc();
  std::list<E *> model;
  std::vector<E *> made;  // every entry, freed at the end
  auto make = [&](int value) { return made.emplace_back(Make<F>(value)); };
  std::mt19937 rng(seed);
  for (int step = 0; step < 5000; ++step) {
    const uint32_t op = rng() % 9;
    int key = static_cast<int>(rng() % 40);
    SCOPED_TRACE(::testing::Message() << "seed " << seed << " step " << step << " op " << op);
    E *gone = nullptr;  // unlinked by this step: it must keep its old links
    E *old_next = nullptr, *old_prev = nullptr;
    auto unlinking = [&](typename std::list<E *>::iterator at) {
      gone = *at;
      old_next = std::next(at) == model.end() ? nullptr : *std::next(at);
      old_prev = at == model.begin() ? nullptr : *std::prev(at);
    };
    switch (op) {
      case 0:
        F::AtHead(list, model.emplace_front(make(key)));
        break;
      case 1:
        F::AtTail(list, model.emplace_back(make(key)));
        break;
      case 2:
      case 3: {  // in front of the first greater entry, refused by the first equal one
        auto at = std::find_if(model.begin(), model.end(), [&](E *e) { return ValueOf(e) >= key; });
        const bool refused = at != model.end() && ValueOf(*at) == key;
        E *e = make(key);
        Visits visits{key, {}};
        ASSERT_EQ(F::Ordered(list, e, &visits, &Visit<E>),
                  refused ? SM_STATUS_IN_USE : SM_STATUS_SUCCESS);
        ASSERT_EQ(visits.seen,
                  std::vector<void *>(model.begin(), at == model.end() ? at : std::next(at)));
        if (!refused) model.insert(at, e);
        break;
      }
      case 4: {  // walks: the result and every visit on the way, as the model sees them
        auto check = [&](auto first, auto last, auto walk) {
          Visits want{key, {}}, got{key, {}};
          auto hit = std::find_if(first, last, [&](E *e) { return Visit<E>(&want, e) == 0; });
          ASSERT_EQ(walk(list, &got, &Visit<E>), hit == last ? nullptr : *hit);
          ASSERT_EQ(got.seen, want.seen);
        };
        check(model.begin(), model.end(), F::Walk);
        if constexpr (F::kDoubly) check(model.rbegin(), model.rend(), SMDLListWalkAtTail);
        break;
      }
      case 5: {  // replace the first match
        auto at = std::find_if(model.begin(), model.end(), [&](E *e) { return ValueOf(e) == key; });
        E *e = make(static_cast<int>(rng() % 40));
        Visits visits{key, {}};
        ASSERT_EQ(F::Replace(list, e, &visits, &Visit<E>), at == model.end() ? nullptr : *at);
        if (at != model.end()) {
          unlinking(at);
          *at = e;
        }
        break;
      }
      default: {  // unlink anywhere (given the predecessor), at the head, at the tail
        auto pop = op == 7 ? F::PopHead : F::PopTail;
        if (model.empty()) {
          ASSERT_EQ(op == 6 ? nullptr : pop(list), nullptr);
          break;
        }
        auto at = op == 7   ? model.begin()
                  : op == 8 ? std::prev(model.end())
                            : std::next(model.begin(), static_cast<long>(rng() % model.size()));
        unlinking(at);
        if (op == 6) {
          F::Unlink(list, old_prev, gone);
        } else {
          ASSERT_EQ(pop(list), gone);
        }
        model.erase(at);
        break;
      }
    }
    ASSERT_TRUE(gone == nullptr || F::HasLinks(gone, old_next, old_prev));
    ASSERT_TRUE(MatchesModel(*list, model));
    ASSERT_EQ(F::Empty(list), model.empty() ? 1 : 0);
  }
  F::ListFree(list);  // the record only: the entries are still the caller's
  for (E *e : made) F::Free(e);
}

TYPED_TEST(List, follows_std_list_over_random_operations) {
  for (uint32_t seed : {1u, 2u, 3u, 4u}) RunRandomOperations<TypeParam>(seed);
}

// Ordered inserts into hand-built lists: the first equal entry refuses even
// when a later entry would place the key; a callback that always answers
// "after" appends, one that always answers "before" prepends.
TYPED_TEST(List, ordered_insert_stops_at_the_first_equal_or_later_entry) {
  using F = TypeParam;
  using E = typename F::E;
  struct Case {
    std::vector<int> before;
    int key;
    Fn compare;
    int at;  // position taken, -1 when refused
  };
  const Case cases[] = {
      {{}, 5, &Visit<E>, 0},
      {{3, 1}, 3, &Visit<E>, -1},
      {{3, 1}, 1, &Visit<E>, 0},
      {{1, 3, 5}, 4, &Visit<E>, 2},
      {{1, 3, 5}, 6, &Visit<E>, 3},
      {{1, 2, 3}, 2, [](void *, void *) { return 1; }, 3},
      {{1, 2, 3}, 2, [](void *, void *) { return -1; }, 0},
  };
  for (const Case &c : cases) {
    typename F::L list{};
    std::list<E *> model;
    for (int v : c.before) F::AtTail(&list, model.emplace_back(Make<F>(v)));
    Visits visits{c.key, {}};
    E *e = Make<F>(c.key);
    EXPECT_EQ(F::Ordered(&list, e, &visits, c.compare),
              c.at < 0 ? SM_STATUS_IN_USE : SM_STATUS_SUCCESS)
        << c.key;
    if (c.at >= 0) model.insert(std::next(model.begin(), c.at), e);
    EXPECT_TRUE(MatchesModel(list, model)) << c.key;
    for (E *x : model) F::Free(x);
    if (c.at < 0) F::Free(e);
  }
}

// Allocation puts the payload right behind the header; the in-place
// initialisers clear the links and leave pData alone.
TYPED_TEST(List, payload_follows_the_header_and_init_clears_only_links) {
  using F = TypeParam;
  using E = typename F::E;
  E *bare = F::Alloc(0), *full = F::Alloc(16);
  EXPECT_EQ(bare->pData, nullptr);
  EXPECT_EQ(full->pData, reinterpret_cast<char *>(full) + sizeof(E));
  std::memset(full->pData, 0xAB, 16);  // all 16 bytes are ours (the sanitizer build checks)
  for (E *e : {bare, full}) {
    EXPECT_TRUE(F::HasLinks(e, nullptr, nullptr));
    void *data = e->pData;
    F::Scramble(e);
    F::Init(e);
    EXPECT_TRUE(F::HasLinks(e, nullptr, nullptr));
    EXPECT_EQ(e->pData, data);
    F::Free(e);
  }
}

// A heap that refuses gives null records and entries; the next request after
// the refusal is served again.
TYPED_TEST(List, allocation_refused_by_the_heap_gives_null) {
  using F = TypeParam;
  {
    kx::base::testing::AllocationBudget budget(0);
    EXPECT_EQ(F::ListAlloc(), nullptr);
    EXPECT_EQ(F::Alloc(0), nullptr);
    EXPECT_EQ(F::Alloc(64), nullptr);
  }
  typename F::L *list = F::ListAlloc();
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(F::Empty(list), 1);
  F::ListFree(list);
}

// Removing the tail of a one-entry list (the singly linked walk finds no
// predecessor) empties it; null arguments give 271, null or nothing.
TYPED_TEST(List, one_entry_tail_and_null_arguments_are_handled) {
  using F = TypeParam;
  using E = typename F::E;
  typename F::L list{reinterpret_cast<E *>(&list), reinterpret_cast<E *>(&list)};
  F::ListInit(&list);
  EXPECT_TRUE(MatchesModel(list, std::list<E *>{}));
  E e{};
  F::AtHead(&list, &e);
  EXPECT_EQ(F::PopTail(&list), &e);
  EXPECT_TRUE(MatchesModel(list, std::list<E *>{}));
  EXPECT_EQ(F::PopTail(&list), nullptr);
  EXPECT_EQ(F::PopHead(&list), nullptr);

  Visits visits{0, {}};
  EXPECT_EQ(F::Ordered(nullptr, &e, &visits, &Visit<E>), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(F::Ordered(&list, nullptr, &visits, &Visit<E>), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(F::Ordered(&list, &e, nullptr, &Visit<E>), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(F::Ordered(&list, &e, &visits, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(F::Empty(nullptr), 1);
  EXPECT_EQ(F::PopHead(nullptr), nullptr);
  EXPECT_EQ(F::PopTail(nullptr), nullptr);
  F::AtTail(&list, &e);
  EXPECT_EQ(F::Walk(&list, nullptr, &Visit<E>), nullptr);
  EXPECT_EQ(F::Walk(&list, &visits, nullptr), nullptr);
  if constexpr (F::kDoubly) {
    EXPECT_EQ(SMDLListWalkAtTail(&list, nullptr, &Visit<E>), nullptr);
  }
  EXPECT_EQ(F::Replace(&list, nullptr, &visits, &Visit<E>), nullptr);
  F::AtHead(nullptr, &e);
  F::AtTail(&list, nullptr);
  F::Unlink(&list, nullptr, nullptr);
  F::ListInit(nullptr);
  F::Init(nullptr);
  F::Free(nullptr);
  F::ListFree(nullptr);
  EXPECT_TRUE(MatchesModel(list, std::list<E *>{&e}));
  EXPECT_TRUE(visits.seen.empty());
}

}  // namespace
