// Linked lists through their exported entries: long seeded random operation
// sequences checked step by step against a std::list model of the same
// entries, then the edge cases worth pinning one by one.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <list>
#include <random>
#include <set>
#include <vector>

#include "kxsupt/containers.h"

namespace {

// ---- entries carrying an int payload ---------------------------------------

template <typename Entry>
int ValueOf(const Entry *entry) {
  int value;
  std::memcpy(&value, entry->pData, sizeof value);
  return value;
}

SMSLListEntry *NewEntry(SMSLListEntry *, int value) {
  SMSLListEntry *entry = SMSLListEntryAlloc(sizeof(int));
  std::memcpy(entry->pData, &value, sizeof value);
  return entry;
}
SMDLListEntry *NewEntry(SMDLListEntry *, int value) {
  SMDLListEntry *entry = SMDLListEntryAlloc(sizeof(int));
  std::memcpy(entry->pData, &value, sizeof value);
  return entry;
}
void FreeEntry(SMSLListEntry *entry) {
  SMSLListEntryFree(entry);
}
void FreeEntry(SMDLListEntry *entry) {
  SMDLListEntryFree(entry);
}

// compare(key, entry): the key's int against the entry's payload.
template <typename Entry>
int32_t CompareInt(void *key, void *entry) {
  const int a = *static_cast<int *>(key);
  const int b = ValueOf(static_cast<Entry *>(entry));
  return a < b ? -1 : (a > b ? 1 : 0);
}

// match(key, entry): 0 on equal payloads, else a non-zero of either sign, so
// that both signs are seen to mean "go on".
template <typename Entry>
int32_t MatchInt(void *key, void *entry) {
  const int a = *static_cast<int *>(key);
  const int b = ValueOf(static_cast<Entry *>(entry));
  return a == b ? 0 : (a < b ? -7 : 7);
}

// ---- the two families behind one interface ---------------------------------

struct SL {
  using List = SMSLList;
  using Entry = SMSLListEntry;
  static SMStatus InsertOrdered(List *l, Entry *e, int *key) {
    return SMSLListInsertEntry(l, e, key, &CompareInt<Entry>);
  }
  static Entry *WalkAtHead(List *l, int *key) {
    return SMSLListWalkAtHead(l, key, &MatchInt<Entry>);
  }
  static Entry *Replace(List *l, Entry *e, int *key) {
    return SMSLListReplaceEntry(l, e, key, &MatchInt<Entry>);
  }
  static void InsertAtHead(List *l, Entry *e) { SMSLListInsertEntryAtHead(l, e); }
  static void InsertAtTail(List *l, Entry *e) { SMSLListInsertEntryAtTail(l, e); }
  static Entry *RemoveAtHead(List *l) { return SMSLListRemoveEntryAtHead(l); }
  static Entry *RemoveAtTail(List *l) { return SMSLListRemoveEntryAtTail(l); }
  static int32_t IsEmpty(List *l) { return SMSLListIsEmpty(l); }
  // The singly linked delete needs the true predecessor.
  static void Delete(List *l, Entry *prev, Entry *e) { SMSLListDeleteEntry(l, prev, e); }
};

struct DL {
  using List = SMDLList;
  using Entry = SMDLListEntry;
  static SMStatus InsertOrdered(List *l, Entry *e, int *key) {
    return SMDLListInsertEntry(l, e, key, &CompareInt<Entry>);
  }
  static Entry *WalkAtHead(List *l, int *key) {
    return SMDLListWalkAtHead(l, key, &MatchInt<Entry>);
  }
  static Entry *Replace(List *l, Entry *e, int *key) {
    return SMDLListReplaceEntry(l, e, key, &MatchInt<Entry>);
  }
  static void InsertAtHead(List *l, Entry *e) { SMDLListInsertEntryAtHead(l, e); }
  static void InsertAtTail(List *l, Entry *e) { SMDLListInsertEntryAtTail(l, e); }
  static Entry *RemoveAtHead(List *l) { return SMDLListRemoveEntryAtHead(l); }
  static Entry *RemoveAtTail(List *l) { return SMDLListRemoveEntryAtTail(l); }
  static int32_t IsEmpty(List *l) { return SMDLListIsEmpty(l); }
  static void Delete(List *l, Entry *, Entry *e) { SMDLListDeleteEntry(l, e); }
};

// The list's links agree with the model: forward order, tail, terminators,
// and for the doubly linked family the backward order too.
template <typename Fam>
::testing::AssertionResult MatchesModel(const typename Fam::List &list,
                                        const std::list<typename Fam::Entry *> &model) {
  using Entry = typename Fam::Entry;
  std::vector<Entry *> forward;
  for (Entry *e = list.pHead; e != nullptr && forward.size() <= model.size(); e = e->pNext) {
    forward.push_back(e);
  }
  if (!std::equal(forward.begin(), forward.end(), model.begin(), model.end())) {
    return ::testing::AssertionFailure() << "forward order differs (" << forward.size()
                                         << " linked, " << model.size() << " in the model)";
  }
  Entry *want_tail = model.empty() ? nullptr : model.back();
  if (list.pTail != want_tail) return ::testing::AssertionFailure() << "wrong tail";
  if ((list.pHead == nullptr) != (list.pTail == nullptr)) {
    return ::testing::AssertionFailure() << "head and tail disagree on emptiness";
  }
  if constexpr (std::is_same_v<Entry, SMDLListEntry>) {
    std::vector<Entry *> backward;
    for (Entry *e = list.pTail; e != nullptr && backward.size() <= model.size(); e = e->pPrev) {
      backward.push_back(e);
    }
    if (!std::equal(backward.begin(), backward.end(), model.rbegin(), model.rend())) {
      return ::testing::AssertionFailure() << "backward order differs";
    }
  }
  return ::testing::AssertionSuccess();
}

template <typename Fam>
void RunRandomOperations(uint32_t seed, int steps) {
  using Entry = typename Fam::Entry;
  typename Fam::List list;
  if constexpr (std::is_same_v<Fam, SL>) {
    SMSLListInitNoAlloc(&list);
  } else {
    SMDLListInitNoAlloc(&list);
  }
  std::list<Entry *> model;
  std::mt19937 rng(seed);
  auto value = [&] { return static_cast<int>(rng() % 40); };
  auto find_first = [&](int v) {
    return std::find_if(model.begin(), model.end(), [v](Entry *e) { return ValueOf(e) == v; });
  };

  for (int step = 0; step < steps; ++step) {
    const uint32_t op = rng() % 10;
    int key = value();
    SCOPED_TRACE(::testing::Message() << "seed " << seed << " step " << step << " op " << op);
    switch (op) {
      case 0: {  // insert at head
        Entry *e = NewEntry(static_cast<Entry *>(nullptr), key);
        Fam::InsertAtHead(&list, e);
        model.push_front(e);
        break;
      }
      case 1: {  // insert at tail
        Entry *e = NewEntry(static_cast<Entry *>(nullptr), key);
        Fam::InsertAtTail(&list, e);
        model.push_back(e);
        break;
      }
      case 2:
      case 3: {  // ordered insert: before the first greater, refused by the first equal
        Entry *e = NewEntry(static_cast<Entry *>(nullptr), key);
        auto at = model.begin();
        bool refused = false;
        for (; at != model.end(); ++at) {
          if (ValueOf(*at) == key) {
            refused = true;
            break;
          }
          if (key < ValueOf(*at)) break;
        }
        const SMStatus status = Fam::InsertOrdered(&list, e, &key);
        if (refused) {
          ASSERT_EQ(status, 258u);
          FreeEntry(e);
        } else {
          ASSERT_EQ(status, 0u);
          model.insert(at, e);
        }
        break;
      }
      case 4: {  // walk from the head
        auto at = find_first(key);
        ASSERT_EQ(Fam::WalkAtHead(&list, &key), at == model.end() ? nullptr : *at);
        if constexpr (std::is_same_v<Fam, DL>) {
          auto last = std::find_if(model.rbegin(), model.rend(),
                                   [key](Entry *e) { return ValueOf(e) == key; });
          ASSERT_EQ(SMDLListWalkAtTail(&list, &key, &MatchInt<Entry>),
                    last == model.rend() ? nullptr : *last);
        }
        break;
      }
      case 5: {  // replace the first match
        Entry *e = NewEntry(static_cast<Entry *>(nullptr), value());
        auto at = find_first(key);
        Entry *old = Fam::Replace(&list, e, &key);
        if (at == model.end()) {
          ASSERT_EQ(old, nullptr);
          FreeEntry(e);
        } else {
          ASSERT_EQ(old, *at);
          *at = e;
          FreeEntry(old);
        }
        break;
      }
      case 6: {  // delete an entry anywhere, given its predecessor
        if (model.empty()) break;
        auto at = std::next(model.begin(), static_cast<long>(rng() % model.size()));
        Entry *prev = at == model.begin() ? nullptr : *std::prev(at);
        Entry *e = *at;
        Fam::Delete(&list, prev, e);
        model.erase(at);
        FreeEntry(e);
        break;
      }
      case 7: {
        Entry *e = Fam::RemoveAtHead(&list);
        ASSERT_EQ(e, model.empty() ? nullptr : model.front());
        if (e != nullptr) {
          model.pop_front();
          FreeEntry(e);
        }
        break;
      }
      case 8: {
        Entry *e = Fam::RemoveAtTail(&list);
        ASSERT_EQ(e, model.empty() ? nullptr : model.back());
        if (e != nullptr) {
          model.pop_back();
          FreeEntry(e);
        }
        break;
      }
      default:
        ASSERT_EQ(Fam::IsEmpty(&list), model.empty() ? 1 : 0);
        break;
    }
    ASSERT_TRUE(MatchesModel<Fam>(list, model));
  }
  for (Entry *e : model) FreeEntry(e);
}

TEST(ListModel, SinglyLinkedFollowsStdListOverRandomOperations) {
  for (uint32_t seed : {1u, 2u, 3u, 4u}) RunRandomOperations<SL>(seed, 5000);
}

TEST(ListModel, DoublyLinkedFollowsStdListOverRandomOperations) {
  for (uint32_t seed : {11u, 12u, 13u, 14u}) RunRandomOperations<DL>(seed, 5000);
}

// Ordered inserts alone keep the list sorted and free of duplicates.
template <typename Fam>
void OrderedInsertsSort(uint32_t seed) {
  using Entry = typename Fam::Entry;
  typename Fam::List list{nullptr, nullptr};
  std::set<int> model;
  std::mt19937 rng(seed);
  for (int i = 0; i < 600; ++i) {
    int key = static_cast<int>(rng() % 300);
    Entry *e = NewEntry(static_cast<Entry *>(nullptr), key);
    const bool fresh = model.insert(key).second;
    ASSERT_EQ(Fam::InsertOrdered(&list, e, &key), fresh ? 0u : 258u);
    if (!fresh) FreeEntry(e);
  }
  std::vector<int> linked;
  while (Entry *e = Fam::RemoveAtHead(&list)) {
    linked.push_back(ValueOf(e));
    FreeEntry(e);
  }
  EXPECT_TRUE(std::equal(linked.begin(), linked.end(), model.begin(), model.end()));
}

TEST(ListModel, OrderedInsertsAloneSortAndRefuseDuplicates) {
  OrderedInsertsSort<SL>(21);
  OrderedInsertsSort<DL>(22);
}

// ---- edge cases --------------------------------------------------------------

int32_t AlwaysPositive(void *, void *) {
  return 1;
}
int32_t AlwaysNegative(void *, void *) {
  return -1;
}

TEST(ListEdges, OrderedInsertIntoEmptyListMakesHeadAndTail) {
  SMSLList list{nullptr, nullptr};
  int key = 5;
  SMSLListEntry *e = NewEntry(static_cast<SMSLListEntry *>(nullptr), key);
  e->pNext = reinterpret_cast<SMSLListEntry *>(&list);  // stale link must be cleared
  ASSERT_EQ(SMSLListInsertEntry(&list, e, &key, &CompareInt<SMSLListEntry>), 0u);
  EXPECT_EQ(list.pHead, e);
  EXPECT_EQ(list.pTail, e);
  EXPECT_EQ(e->pNext, nullptr);
  SMSLListEntryFree(e);
}

TEST(ListEdges, FirstEqualEntryRefusesEvenInUnsortedList) {
  // [3, 1]: inserting 3 meets the equal head first; inserting 1 meets 3 first,
  // which sorts after it, so 1 goes in front even though a 1 follows.
  SMSLList list{nullptr, nullptr};
  SMSLListEntry *three = NewEntry(static_cast<SMSLListEntry *>(nullptr), 3);
  SMSLListEntry *one = NewEntry(static_cast<SMSLListEntry *>(nullptr), 1);
  SMSLListInsertEntryAtTail(&list, three);
  SMSLListInsertEntryAtTail(&list, one);
  int key = 3;
  SMSLListEntry *dup = NewEntry(static_cast<SMSLListEntry *>(nullptr), key);
  EXPECT_EQ(SMSLListInsertEntry(&list, dup, &key, &CompareInt<SMSLListEntry>), 258u);
  EXPECT_EQ(list.pHead, three);
  EXPECT_EQ(three->pNext, one);
  EXPECT_EQ(list.pTail, one);
  key = 1;
  EXPECT_EQ(SMSLListInsertEntry(&list, dup, &key, &CompareInt<SMSLListEntry>), 0u);
  EXPECT_EQ(list.pHead, dup);
  EXPECT_EQ(dup->pNext, three);
  for (SMSLListEntry *e : {dup, three, one}) SMSLListEntryFree(e);
}

TEST(ListEdges, ConstantCallbacksAppendOrPrepend) {
  struct Case {
    SMContainerCallback compare;
    bool appends;
  };
  for (const Case &c : {Case{&AlwaysPositive, true}, Case{&AlwaysNegative, false}}) {
    SMSLList sl{nullptr, nullptr};
    SMDLList dl{nullptr, nullptr};
    std::vector<SMSLListEntry *> sl_entries;
    std::vector<SMDLListEntry *> dl_entries;
    int key = 0;
    for (int i = 0; i < 5; ++i) {
      sl_entries.push_back(SMSLListEntryAlloc(0));
      dl_entries.push_back(SMDLListEntryAlloc(0));
      ASSERT_EQ(SMSLListInsertEntry(&sl, sl_entries.back(), &key, c.compare), 0u);
      ASSERT_EQ(SMDLListInsertEntry(&dl, dl_entries.back(), &key, c.compare), 0u);
    }
    if (!c.appends) {
      std::reverse(sl_entries.begin(), sl_entries.end());
      std::reverse(dl_entries.begin(), dl_entries.end());
    }
    EXPECT_TRUE(MatchesModel<SL>(sl, {sl_entries.begin(), sl_entries.end()}));
    EXPECT_TRUE(MatchesModel<DL>(dl, {dl_entries.begin(), dl_entries.end()}));
    for (auto *e : sl_entries) SMSLListEntryFree(e);
    for (auto *e : dl_entries) SMDLListEntryFree(e);
  }
}

TEST(ListEdges, EntryAllocPlacesPayloadBehindHeader) {
  SMSLListEntry *bare = SMSLListEntryAlloc(0);
  ASSERT_NE(bare, nullptr);
  EXPECT_EQ(bare->pData, nullptr);
  EXPECT_EQ(bare->pNext, nullptr);
  SMSLListEntryFree(bare);

  SMSLListEntry *sl = SMSLListEntryAlloc(16);
  ASSERT_NE(sl, nullptr);
  EXPECT_EQ(sl->pData, reinterpret_cast<char *>(sl) + 2 * sizeof(void *));
  std::memset(sl->pData, 0xAB, 16);  // the whole payload is ours to write
  SMSLListEntryFree(sl);

  SMDLListEntry *dl = SMDLListEntryAlloc(16);
  ASSERT_NE(dl, nullptr);
  EXPECT_EQ(dl->pData, reinterpret_cast<char *>(dl) + 3 * sizeof(void *));
  EXPECT_EQ(dl->pNext, nullptr);
  EXPECT_EQ(dl->pPrev, nullptr);
  std::memset(dl->pData, 0xCD, 16);
  SMDLListEntryFree(dl);
  SMDLListEntry *dbare = SMDLListEntryAlloc(0);
  ASSERT_NE(dbare, nullptr);
  EXPECT_EQ(dbare->pData, nullptr);
  SMDLListEntryFree(dbare);
}

TEST(ListEdges, InitNoAllocLeavesPayloadPointer) {
  int payload = 0;
  SMSLListEntry sl{reinterpret_cast<SMSLListEntry *>(&payload), &payload};
  SMSLListEntryInitNoAlloc(&sl);
  EXPECT_EQ(sl.pNext, nullptr);
  EXPECT_EQ(sl.pData, &payload);
  SMDLListEntry dl{&dl, &dl, &payload};
  SMDLListEntryInitNoAlloc(&dl);
  EXPECT_EQ(dl.pNext, nullptr);
  EXPECT_EQ(dl.pPrev, nullptr);
  EXPECT_EQ(dl.pData, &payload);
  SMSLList list{&sl, &sl};
  SMSLListInitNoAlloc(&list);
  EXPECT_EQ(list.pHead, nullptr);
  EXPECT_EQ(list.pTail, nullptr);
}

TEST(ListEdges, RemoveAtTailOfOneEntryEmptiesList) {
  SMSLList sl{nullptr, nullptr};
  SMSLListEntry a{};
  SMSLListInsertEntryAtHead(&sl, &a);
  EXPECT_EQ(SMSLListRemoveEntryAtTail(&sl), &a);
  EXPECT_EQ(sl.pHead, nullptr);
  EXPECT_EQ(sl.pTail, nullptr);
  EXPECT_EQ(SMSLListRemoveEntryAtTail(&sl), nullptr);

  SMDLList dl{nullptr, nullptr};
  SMDLListEntry b{};
  SMDLListInsertEntryAtTail(&dl, &b);
  EXPECT_EQ(SMDLListRemoveEntryAtTail(&dl), &b);
  EXPECT_EQ(dl.pHead, nullptr);
  EXPECT_EQ(dl.pTail, nullptr);
  EXPECT_EQ(SMDLListRemoveEntryAtTail(&dl), nullptr);
  EXPECT_EQ(SMDLListRemoveEntryAtHead(&dl), nullptr);
}

// Records each visited entry and never matches.
std::vector<void *> g_visits;
int32_t RecordVisit(void *, void *entry) {
  g_visits.push_back(entry);
  return 1;
}

TEST(ListEdges, WalksVisitEveryEntryOnceInTheirDirection) {
  SMSLListEntry s[3]{};
  SMDLListEntry d[3]{};
  SMSLList sl{nullptr, nullptr};
  SMDLList dl{nullptr, nullptr};
  for (int i = 0; i < 3; ++i) {
    SMSLListInsertEntryAtTail(&sl, &s[i]);
    SMDLListInsertEntryAtTail(&dl, &d[i]);
  }
  int key = 0;
  g_visits.clear();
  EXPECT_EQ(SMSLListWalkAtHead(&sl, &key, &RecordVisit), nullptr);
  EXPECT_EQ(g_visits, (std::vector<void *>{&s[0], &s[1], &s[2]}));
  g_visits.clear();
  EXPECT_EQ(SMDLListWalkAtHead(&dl, &key, &RecordVisit), nullptr);
  EXPECT_EQ(g_visits, (std::vector<void *>{&d[0], &d[1], &d[2]}));
  g_visits.clear();
  EXPECT_EQ(SMDLListWalkAtTail(&dl, &key, &RecordVisit), nullptr);
  EXPECT_EQ(g_visits, (std::vector<void *>{&d[2], &d[1], &d[0]}));
}

TEST(ListEdges, ReplacingTheOnlyEntry) {
  SMDLList dl{nullptr, nullptr};
  int key = 4;
  SMDLListEntry *old = NewEntry(static_cast<SMDLListEntry *>(nullptr), key);
  SMDLListEntry *fresh = NewEntry(static_cast<SMDLListEntry *>(nullptr), 9);
  fresh->pNext = fresh->pPrev = fresh;  // stale links must be overwritten
  SMDLListInsertEntryAtHead(&dl, old);
  EXPECT_EQ(SMDLListReplaceEntry(&dl, fresh, &key, &MatchInt<SMDLListEntry>), old);
  EXPECT_EQ(dl.pHead, fresh);
  EXPECT_EQ(dl.pTail, fresh);
  EXPECT_EQ(fresh->pNext, nullptr);
  EXPECT_EQ(fresh->pPrev, nullptr);

  SMSLList sl{nullptr, nullptr};
  SMSLListEntry *sold = NewEntry(static_cast<SMSLListEntry *>(nullptr), key);
  SMSLListEntry *sfresh = NewEntry(static_cast<SMSLListEntry *>(nullptr), 9);
  SMSLListInsertEntryAtHead(&sl, sold);
  EXPECT_EQ(SMSLListReplaceEntry(&sl, sfresh, &key, &MatchInt<SMSLListEntry>), sold);
  EXPECT_EQ(sl.pHead, sfresh);
  EXPECT_EQ(sl.pTail, sfresh);
  EXPECT_EQ(sfresh->pNext, nullptr);
  for (auto *e : {old, fresh}) SMDLListEntryFree(e);
  for (auto *e : {sold, sfresh}) SMSLListEntryFree(e);
}

TEST(ListEdges, DeletedAndRemovedEntriesKeepTheirLinks) {
  SMSLListEntry s[3]{};
  SMSLList sl{nullptr, nullptr};
  for (auto &e : s) SMSLListInsertEntryAtTail(&sl, &e);
  SMSLListDeleteEntry(&sl, &s[0], &s[1]);
  EXPECT_EQ(s[0].pNext, &s[2]);
  EXPECT_EQ(s[1].pNext, &s[2]);
  SMSLListDeleteEntry(&sl, &s[0], &s[2]);  // the tail: its predecessor becomes the tail
  EXPECT_EQ(sl.pTail, &s[0]);
  EXPECT_EQ(s[0].pNext, nullptr);

  SMDLListEntry d[3]{};
  SMDLList dl{nullptr, nullptr};
  for (auto &e : d) SMDLListInsertEntryAtTail(&dl, &e);
  SMDLListDeleteEntry(&dl, &d[1]);
  EXPECT_EQ(d[1].pPrev, &d[0]);
  EXPECT_EQ(d[1].pNext, &d[2]);
  EXPECT_EQ(d[0].pNext, &d[2]);
  EXPECT_EQ(d[2].pPrev, &d[0]);
  EXPECT_EQ(SMDLListRemoveEntryAtHead(&dl), &d[0]);
  EXPECT_EQ(d[0].pNext, &d[2]);
  EXPECT_EQ(d[2].pPrev, nullptr);
}

TEST(ListEdges, NullArguments) {
  SMSLList sl{nullptr, nullptr};
  SMDLList dl{nullptr, nullptr};
  SMSLListEntry se{};
  SMDLListEntry de{};
  int key = 0;
  auto cmp = &CompareInt<SMSLListEntry>;
  auto dcmp = &CompareInt<SMDLListEntry>;
  EXPECT_EQ(SMSLListInsertEntry(nullptr, &se, &key, cmp), 271u);
  EXPECT_EQ(SMSLListInsertEntry(&sl, nullptr, &key, cmp), 271u);
  EXPECT_EQ(SMSLListInsertEntry(&sl, &se, nullptr, cmp), 271u);
  EXPECT_EQ(SMSLListInsertEntry(&sl, &se, &key, nullptr), 271u);
  EXPECT_EQ(SMDLListInsertEntry(nullptr, &de, &key, dcmp), 271u);
  EXPECT_EQ(SMDLListInsertEntry(&dl, nullptr, &key, dcmp), 271u);
  EXPECT_EQ(SMDLListInsertEntry(&dl, &de, nullptr, dcmp), 271u);
  EXPECT_EQ(SMDLListInsertEntry(&dl, &de, &key, nullptr), 271u);
  EXPECT_EQ(SMSLListIsEmpty(nullptr), 1);
  EXPECT_EQ(SMDLListIsEmpty(nullptr), 1);
  SMSLListInsertEntryAtHead(&sl, &se);
  SMDLListInsertEntryAtHead(&dl, &de);
  EXPECT_EQ(SMSLListIsEmpty(&sl), 0);
  EXPECT_EQ(SMDLListIsEmpty(&dl), 0);
  EXPECT_EQ(SMSLListWalkAtHead(&sl, nullptr, &RecordVisit), nullptr);
  EXPECT_EQ(SMSLListWalkAtHead(&sl, &key, nullptr), nullptr);
  EXPECT_EQ(SMDLListWalkAtTail(&dl, &key, nullptr), nullptr);
  EXPECT_EQ(SMSLListReplaceEntry(&sl, nullptr, &key, &MatchInt<SMSLListEntry>), nullptr);
  EXPECT_EQ(SMDLListReplaceEntry(&dl, nullptr, &key, &MatchInt<SMDLListEntry>), nullptr);
  EXPECT_EQ(SMSLListRemoveEntryAtHead(nullptr), nullptr);
  EXPECT_EQ(SMSLListRemoveEntryAtTail(nullptr), nullptr);
  EXPECT_EQ(SMDLListRemoveEntryAtHead(nullptr), nullptr);
  EXPECT_EQ(SMDLListRemoveEntryAtTail(nullptr), nullptr);
  // Calls without a result do nothing rather than crash.
  SMSLListInsertEntryAtHead(nullptr, &se);
  SMSLListInsertEntryAtTail(&sl, nullptr);
  SMSLListDeleteEntry(&sl, nullptr, nullptr);
  SMDLListInsertEntryAtTail(nullptr, &de);
  SMDLListDeleteEntry(&dl, nullptr);
  SMSLListInitNoAlloc(nullptr);
  SMDLListInitNoAlloc(nullptr);
  SMSLListEntryInitNoAlloc(nullptr);
  SMDLListEntryInitNoAlloc(nullptr);
  SMSLListEntryFree(nullptr);
  SMDLListEntryFree(nullptr);
  SMSLListFree(nullptr);
  SMDLListFree(nullptr);
  EXPECT_EQ(sl.pHead, &se);
  EXPECT_EQ(dl.pHead, &de);
}

TEST(ListEdges, FreeingAListRecordLeavesItsEntries) {
  SMSLList *sl = SMSLListAlloc();
  SMDLList *dl = SMDLListAlloc();
  ASSERT_NE(sl, nullptr);
  ASSERT_NE(dl, nullptr);
  EXPECT_EQ(SMSLListIsEmpty(sl), 1);
  EXPECT_EQ(SMDLListIsEmpty(dl), 1);
  SMSLListEntry *se = NewEntry(static_cast<SMSLListEntry *>(nullptr), 7);
  SMDLListEntry *de = NewEntry(static_cast<SMDLListEntry *>(nullptr), 8);
  SMSLListInsertEntryAtTail(sl, se);
  SMDLListInsertEntryAtTail(dl, de);
  SMSLListFree(sl);
  SMDLListFree(dl);
  // Still valid memory (the sanitizer build would report a use after free).
  EXPECT_EQ(ValueOf(se), 7);
  EXPECT_EQ(ValueOf(de), 8);
  SMSLListEntryFree(se);
  SMDLListEntryFree(de);
}

}  // namespace
