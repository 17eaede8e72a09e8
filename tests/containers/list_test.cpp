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
#include <tuple>
#include <type_traits>
#include <vector>

#include "kxsupt/containers.h"

namespace {

using Callback = SMContainerCallback;

// The exported calls of each family under one set of names, so that every
// test is written once for both.
struct SL {
  using List = SMSLList;
  using Entry = SMSLListEntry;
  static constexpr bool kDoubly = false;
  static List *ListAlloc() { return SMSLListAlloc(); }
  static void ListFree(List *l) { SMSLListFree(l); }
  static void ListInit(List *l) { SMSLListInitNoAlloc(l); }
  static Entry *Alloc(uint32_t size) { return SMSLListEntryAlloc(size); }
  static void Free(Entry *e) { SMSLListEntryFree(e); }
  static void Init(Entry *e) { SMSLListEntryInitNoAlloc(e); }
  static void AtHead(List *l, Entry *e) { SMSLListInsertEntryAtHead(l, e); }
  static void AtTail(List *l, Entry *e) { SMSLListInsertEntryAtTail(l, e); }
  static SMStatus Ordered(List *l, Entry *e, void *key, Callback compare) {
    return SMSLListInsertEntry(l, e, key, compare);
  }
  static Entry *Walk(List *l, void *key, Callback match) {
    return SMSLListWalkAtHead(l, key, match);
  }
  static Entry *Replace(List *l, Entry *e, void *key, Callback match) {
    return SMSLListReplaceEntry(l, e, key, match);
  }
  static void Unlink(List *l, Entry *prev, Entry *e) { SMSLListDeleteEntry(l, prev, e); }
  static Entry *PopHead(List *l) { return SMSLListRemoveEntryAtHead(l); }
  static Entry *PopTail(List *l) { return SMSLListRemoveEntryAtTail(l); }
  static int32_t Empty(List *l) { return SMSLListIsEmpty(l); }
};

struct DL {
  using List = SMDLList;
  using Entry = SMDLListEntry;
  static constexpr bool kDoubly = true;
  static List *ListAlloc() { return SMDLListAlloc(); }
  static void ListFree(List *l) { SMDLListFree(l); }
  static void ListInit(List *l) { SMDLListInitNoAlloc(l); }
  static Entry *Alloc(uint32_t size) { return SMDLListEntryAlloc(size); }
  static void Free(Entry *e) { SMDLListEntryFree(e); }
  static void Init(Entry *e) { SMDLListEntryInitNoAlloc(e); }
  static void AtHead(List *l, Entry *e) { SMDLListInsertEntryAtHead(l, e); }
  static void AtTail(List *l, Entry *e) { SMDLListInsertEntryAtTail(l, e); }
  static SMStatus Ordered(List *l, Entry *e, void *key, Callback compare) {
    return SMDLListInsertEntry(l, e, key, compare);
  }
  static Entry *Walk(List *l, void *key, Callback match) {
    return SMDLListWalkAtHead(l, key, match);
  }
  static Entry *Replace(List *l, Entry *e, void *key, Callback match) {
    return SMDLListReplaceEntry(l, e, key, match);
  }
  // The doubly linked delete finds the predecessor itself.
  static void Unlink(List *l, Entry *, Entry *e) { SMDLListDeleteEntry(l, e); }
  static Entry *PopHead(List *l) { return SMDLListRemoveEntryAtHead(l); }
  static Entry *PopTail(List *l) { return SMDLListRemoveEntryAtTail(l); }
  static int32_t Empty(List *l) { return SMDLListIsEmpty(l); }
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
typename F::Entry *Make(int value) {
  auto *entry = F::Alloc(sizeof value);
  std::memcpy(entry->pData, &value, sizeof value);
  entry->pNext = entry;
  if constexpr (F::kDoubly) entry->pPrev = entry;
  return entry;
}

template <typename E>
int32_t Compare(void *key, void *entry) {
  const int a = *static_cast<int *>(key), b = ValueOf(static_cast<E *>(entry));
  return a < b ? -1 : (a > b ? 1 : 0);
}

// Match callback context: records each visit; entries other than `key`
// answer with either sign, both of which mean "go on".
struct Visits {
  int key;
  std::vector<void *> seen;
};
template <typename E>
int32_t Visit(void *context, void *entry) {
  auto *visits = static_cast<Visits *>(context);
  visits->seen.push_back(entry);
  const int value = ValueOf(static_cast<E *>(entry));
  return value == visits->key ? 0 : (value < visits->key ? -7 : 7);
}

// The visits a walk over [first, last) makes looking for key, and its result.
template <typename It>
std::tuple<std::vector<void *>, void *> ExpectedWalk(It first, It last, int key) {
  std::vector<void *> seen;
  for (; first != last; ++first) {
    seen.push_back(*first);
    if (ValueOf(*first) == key) return {seen, *first};
  }
  return {seen, nullptr};
}

// The list's links agree with the model: forward order and terminator, tail,
// and for the doubly linked family the backward order too.
template <typename L, typename E>
bool MatchesModel(const L &list, const std::list<E *> &model) {
  const std::vector<E *> want(model.begin(), model.end());
  std::vector<E *> links;
  for (E *e = list.pHead; e != nullptr && links.size() <= want.size(); e = e->pNext) {
    links.push_back(e);
  }
  bool same = links == want && list.pTail == (want.empty() ? nullptr : want.back());
  if constexpr (std::is_same_v<E, SMDLListEntry>) {
    links.clear();
    for (E *e = list.pTail; e != nullptr && links.size() <= want.size(); e = e->pPrev) {
      links.insert(links.begin(), e);
    }
    same = same && links == want;
  }
  return same;
}

template <typename F>
void RunRandomOperations(uint32_t seed) {
  using E = typename F::Entry;
  SCOPED_TRACE(F::kDoubly ? "doubly linked" : "singly linked");
  typename F::List *list = F::ListAlloc();
  std::list<E *> model;
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
        model.push_front(Make<F>(key));
        F::AtHead(list, model.front());
        break;
      case 1:
        model.push_back(Make<F>(key));
        F::AtTail(list, model.back());
        break;
      case 2:
      case 3: {  // in front of the first greater entry, refused by the first equal one
        auto at = std::find_if(model.begin(), model.end(), [&](E *e) { return ValueOf(e) >= key; });
        const bool refused = at != model.end() && ValueOf(*at) == key;
        E *e = Make<F>(key);
        ASSERT_EQ(F::Ordered(list, e, &key, &Compare<E>), refused ? 258u : 0u);
        if (refused) {
          F::Free(e);
        } else {
          model.insert(at, e);
        }
        break;
      }
      case 4: {  // walks: the result and every visit on the way
        auto [seen, found] = ExpectedWalk(model.begin(), model.end(), key);
        Visits visits{key, {}};
        ASSERT_EQ(F::Walk(list, &visits, &Visit<E>), found);
        ASSERT_EQ(visits.seen, seen);
        if constexpr (F::kDoubly) {
          std::tie(seen, found) = ExpectedWalk(model.rbegin(), model.rend(), key);
          Visits back{key, {}};
          ASSERT_EQ(SMDLListWalkAtTail(list, &back, &Visit<E>), found);
          ASSERT_EQ(back.seen, seen);
        }
        break;
      }
      case 5: {  // replace the first match
        auto first_of =
            std::find_if(model.begin(), model.end(), [&](E *e) { return ValueOf(e) == key; });
        E *e = Make<F>(static_cast<int>(rng() % 40));
        Visits visits{key, {}};
        E *old = F::Replace(list, e, &visits, &Visit<E>);
        ASSERT_EQ(old, first_of == model.end() ? nullptr : *first_of);
        if (old == nullptr) {
          F::Free(e);
          break;
        }
        unlinking(first_of);
        *first_of = e;
        break;
      }
      default: {  // unlink anywhere (given the predecessor), at the head, at the tail
        if (model.empty()) {
          if (op != 6) {
            ASSERT_EQ((op == 7 ? F::PopHead : F::PopTail)(list), nullptr);
          }
          break;
        }
        auto at = op == 7   ? model.begin()
                  : op == 8 ? std::prev(model.end())
                            : std::next(model.begin(), static_cast<long>(rng() % model.size()));
        unlinking(at);
        if (op == 6) {
          F::Unlink(list, old_prev, gone);
        } else {
          ASSERT_EQ((op == 7 ? F::PopHead : F::PopTail)(list), gone);
        }
        model.erase(at);
        break;
      }
    }
    if (gone != nullptr) {
      ASSERT_EQ(gone->pNext, old_next);
      if constexpr (F::kDoubly) {
        ASSERT_EQ(gone->pPrev, old_prev);
      }
      F::Free(gone);
    }
    ASSERT_TRUE(MatchesModel(*list, model));
    ASSERT_EQ(F::Empty(list), model.empty() ? 1 : 0);
  }
  F::ListFree(list);  // the record only: the entries are still the caller's
  for (E *e : model) F::Free(e);
}

TEST(ListModel, FollowsStdListOverRandomOperations) {
  for (uint32_t seed : {1u, 2u, 3u, 4u}) {
    RunRandomOperations<SL>(seed);
    RunRandomOperations<DL>(seed + 10);
  }
}

int32_t Positive(void *, void *) {
  return 1;
}
int32_t Negative(void *, void *) {
  return -1;
}

// Ordered inserts into hand-built lists: the first equal entry refuses even
// when a later entry would place the key; constant callbacks append or
// prepend.
template <typename F>
void CheckOrderedInserts() {
  using E = typename F::Entry;
  struct Case {
    std::vector<int> before;
    int key;
    Callback compare;
    int at;  // position taken, -1 when refused
  };
  const Case cases[] = {
      {{}, 5, &Compare<E>, 0},        {{3, 1}, 3, &Compare<E>, -1},   {{3, 1}, 1, &Compare<E>, 0},
      {{1, 3, 5}, 4, &Compare<E>, 2}, {{1, 3, 5}, 6, &Compare<E>, 3}, {{1, 2, 3}, 2, &Positive, 3},
      {{1, 2, 3}, 2, &Negative, 0},
  };
  for (const Case &c : cases) {
    typename F::List list{};
    std::list<E *> model;
    for (int v : c.before) F::AtTail(&list, model.emplace_back(Make<F>(v)));
    int key = c.key;
    E *e = Make<F>(key);
    EXPECT_EQ(F::Ordered(&list, e, &key, c.compare), c.at < 0 ? 258u : 0u) << key;
    if (c.at < 0) {
      F::Free(e);
    } else {
      model.insert(std::next(model.begin(), c.at), e);
    }
    EXPECT_TRUE(MatchesModel(list, model)) << key;
    for (E *x : model) F::Free(x);
  }
}

TEST(ListRules, OrderedInsert) {
  CheckOrderedInserts<SL>();
  CheckOrderedInserts<DL>();
}

// Allocation puts the payload right behind the header; the in-place
// initialisers clear the links and leave pData alone.
template <typename F>
void CheckEntries() {
  using E = typename F::Entry;
  E *bare = F::Alloc(0), *full = F::Alloc(16);
  EXPECT_EQ(bare->pData, nullptr);
  EXPECT_EQ(full->pData, reinterpret_cast<char *>(full) + sizeof(E));
  std::memset(full->pData, 0xAB, 16);  // all 16 bytes are ours (the sanitizer build checks)
  for (E *e : {bare, full}) {
    EXPECT_EQ(e->pNext, nullptr);
    if constexpr (F::kDoubly) {
      EXPECT_EQ(e->pPrev, nullptr);
    }
    void *data = e->pData;
    e->pNext = e;
    if constexpr (F::kDoubly) e->pPrev = e;
    F::Init(e);
    EXPECT_EQ(e->pNext, nullptr);
    if constexpr (F::kDoubly) {
      EXPECT_EQ(e->pPrev, nullptr);
    }
    EXPECT_EQ(e->pData, data);
    F::Free(e);
  }
}

TEST(ListRules, EntryLayoutAndInit) {
  CheckEntries<SL>();
  CheckEntries<DL>();
}

// Removing the tail of a one-entry list (the singly linked walk finds no
// predecessor) empties it; null arguments give 271, null or nothing.
template <typename F>
void CheckEdges() {
  using E = typename F::Entry;
  typename F::List list{reinterpret_cast<E *>(&list), reinterpret_cast<E *>(&list)};
  F::ListInit(&list);
  EXPECT_TRUE(MatchesModel(list, std::list<E *>{}));
  E e{};
  F::AtHead(&list, &e);
  EXPECT_EQ(F::PopTail(&list), &e);
  EXPECT_TRUE(MatchesModel(list, std::list<E *>{}));
  EXPECT_EQ(F::PopTail(&list), nullptr);
  EXPECT_EQ(F::PopHead(&list), nullptr);

  int key = 0;
  Visits visits{0, {}};
  EXPECT_EQ(F::Ordered(nullptr, &e, &key, &Compare<E>), 271u);
  EXPECT_EQ(F::Ordered(&list, nullptr, &key, &Compare<E>), 271u);
  EXPECT_EQ(F::Ordered(&list, &e, nullptr, &Compare<E>), 271u);
  EXPECT_EQ(F::Ordered(&list, &e, &key, nullptr), 271u);
  EXPECT_EQ(F::Empty(nullptr), 1);
  EXPECT_EQ(F::PopHead(nullptr), nullptr);
  EXPECT_EQ(F::PopTail(nullptr), nullptr);
  F::AtTail(&list, &e);
  EXPECT_EQ(F::Walk(&list, nullptr, &Visit<E>), nullptr);
  EXPECT_EQ(F::Walk(&list, &visits, nullptr), nullptr);
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

TEST(ListRules, OneEntryTailAndNullArguments) {
  CheckEdges<SL>();
  CheckEdges<DL>();
}

}  // namespace
