// Linked lists: link rewriting for the singly and doubly linked families.
// Neither family counts, locks or checks its invariants (head and tail both
// null or both set); a walk reads an entry's successor only after the
// callback returns, so callbacks may look at but not unlink the entry.
#include "containers/list.h"

#include "base/memory.h"

namespace kx::containers {
namespace {

// One block holding the entry header and, when payload_size is non-zero, the
// payload right behind it; links null, payload bytes left as malloc gives them.
template <typename Entry>
Entry *AllocEntryWithPayload(uint32_t payload_size) {
  auto *entry = static_cast<Entry *>(base::AllocMem(sizeof(Entry) + payload_size));
  if (entry == nullptr) return nullptr;
  entry->pNext = nullptr;
  if constexpr (requires { entry->pPrev; }) entry->pPrev = nullptr;
  entry->pData = payload_size != 0 ? static_cast<void *>(entry + 1) : nullptr;
  return entry;
}

// Head and tail null: the empty list.
template <typename List>
void InitList(List *list) {
  if (list == nullptr) return;
  list->pHead = nullptr;
  list->pTail = nullptr;
}

template <typename List>
List *AllocList() {
  auto *list = static_cast<List *>(base::AllocMem(sizeof(List)));
  InitList(list);
  return list;
}

template <typename Entry>
void FreeEntry(Entry *entry) {
  if (entry == nullptr) return;
  entry->pData = nullptr;
  base::FreeMem(entry);
}

// The first entry from `first` along `step` for which match(key, entry) is 0.
template <typename Entry, typename Step>
Entry *FirstMatch(Entry *first, void *key, Callback match, Step step) {
  for (Entry *entry = first; entry != nullptr;) {
    if (match(key, entry) == 0) return entry;
    entry = step(entry);
  }
  return nullptr;
}

}  // namespace

// ---- singly linked -------------------------------------------------------

SMSLList *SLListAlloc() {
  return AllocList<SMSLList>();
}

void SLListFree(SMSLList *list) {
  base::FreeMem(list);
}

void SLListInitNoAlloc(SMSLList *list) {
  InitList(list);
}

SMSLListEntry *SLListEntryAlloc(uint32_t payload_size) {
  return AllocEntryWithPayload<SMSLListEntry>(payload_size);
}

void SLListEntryFree(SMSLListEntry *entry) {
  FreeEntry(entry);
}

// Only the link is reset: pData may already point at the caller's payload.
void SLListEntryInitNoAlloc(SMSLListEntry *entry) {
  if (entry != nullptr) entry->pNext = nullptr;
}

void SLListInsertEntryAtHead(SMSLList *list, SMSLListEntry *entry) {
  if (list == nullptr || entry == nullptr) return;
  entry->pNext = list->pHead;
  if (list->pTail == nullptr) list->pTail = entry;
  list->pHead = entry;
}

void SLListInsertEntryAtTail(SMSLList *list, SMSLListEntry *entry) {
  if (list == nullptr || entry == nullptr) return;
  if (list->pTail != nullptr) {
    list->pTail->pNext = entry;
  } else {
    list->pHead = entry;
  }
  list->pTail = entry;
  entry->pNext = nullptr;
}

// The first equal entry met refuses the insert, even if the list is not kept
// in the callback's order and a later entry would place the new one.
Status SLListInsertEntry(SMSLList *list, SMSLListEntry *entry, void *key, Callback compare) {
  if (list == nullptr || entry == nullptr || key == nullptr || compare == nullptr) {
    return Status::kInvalidParameter;
  }
  SMSLListEntry *prev = nullptr;
  for (SMSLListEntry *at = list->pHead; at != nullptr; at = at->pNext) {
    const int32_t order = compare(key, at);
    if (order == 0) return Status::kInUse;
    if (order < 0) break;
    prev = at;
  }
  if (prev == nullptr) {
    entry->pNext = list->pHead;
    list->pHead = entry;
    if (list->pTail == nullptr) {
      list->pTail = entry;
      entry->pNext = nullptr;
    }
  } else {
    entry->pNext = prev->pNext;
    prev->pNext = entry;
    if (entry->pNext == nullptr) list->pTail = entry;
  }
  return Status::kSuccess;
}

SMSLListEntry *SLListWalkAtHead(SMSLList *list, void *key, Callback match) {
  if (list == nullptr || key == nullptr || match == nullptr) return nullptr;
  return FirstMatch(list->pHead, key, match, [](SMSLListEntry *e) { return e->pNext; });
}

// The replaced entry keeps its old pNext; the caller decides its fate.
SMSLListEntry *SLListReplaceEntry(SMSLList *list, SMSLListEntry *replacement, void *key,
                                  Callback match) {
  if (list == nullptr || replacement == nullptr || key == nullptr || match == nullptr) {
    return nullptr;
  }
  SMSLListEntry *prev = nullptr;
  for (SMSLListEntry *at = list->pHead; at != nullptr;) {
    if (match(key, at) == 0) {
      replacement->pNext = at->pNext;
      if (prev != nullptr) {
        prev->pNext = replacement;
      } else {
        list->pHead = replacement;
      }
      if (list->pTail == at) list->pTail = replacement;
      return at;
    }
    prev = at;
    at = at->pNext;
  }
  return nullptr;
}

// `prev` must be the entry's true predecessor (null for the head): a singly
// linked entry cannot find it itself. The entry's own pNext is left as it is.
void SLListDeleteEntry(SMSLList *list, SMSLListEntry *prev, SMSLListEntry *entry) {
  if (list == nullptr || entry == nullptr) return;
  if (prev != nullptr) {
    prev->pNext = entry->pNext;
  } else {
    list->pHead = entry->pNext;
  }
  if (list->pTail == entry) list->pTail = prev;
}

SMSLListEntry *SLListRemoveEntryAtHead(SMSLList *list) {
  if (list == nullptr) return nullptr;
  SMSLListEntry *head = list->pHead;
  if (head == nullptr) return nullptr;
  list->pHead = head->pNext;
  if (list->pHead == nullptr) list->pTail = nullptr;
  return head;
}

// Linear: without back links the tail's predecessor is found from the head.
// A tail that cannot be reached from the head (a broken list) is left alone.
SMSLListEntry *SLListRemoveEntryAtTail(SMSLList *list) {
  if (list == nullptr || list->pTail == nullptr) return nullptr;
  SMSLListEntry *tail = list->pTail;
  SMSLListEntry *prev = nullptr;
  SMSLListEntry *at = list->pHead;
  while (at != nullptr && at != tail) {
    prev = at;
    at = at->pNext;
  }
  if (at == nullptr) return nullptr;
  SLListDeleteEntry(list, prev, tail);
  return tail;
}

int32_t SLListIsEmpty(const SMSLList *list) {
  return list == nullptr || list->pHead == nullptr ? 1 : 0;
}

// ---- doubly linked -------------------------------------------------------

SMDLList *DLListAlloc() {
  return AllocList<SMDLList>();
}

void DLListFree(SMDLList *list) {
  base::FreeMem(list);
}

void DLListInitNoAlloc(SMDLList *list) {
  InitList(list);
}

SMDLListEntry *DLListEntryAlloc(uint32_t payload_size) {
  return AllocEntryWithPayload<SMDLListEntry>(payload_size);
}

void DLListEntryFree(SMDLListEntry *entry) {
  FreeEntry(entry);
}

void DLListEntryInitNoAlloc(SMDLListEntry *entry) {
  if (entry == nullptr) return;
  entry->pNext = nullptr;
  entry->pPrev = nullptr;
}

// Emptiness is judged by the tail here and by the head in DLListInsertEntryAtTail:
// the two agree on every list that keeps the invariants.
void DLListInsertEntryAtHead(SMDLList *list, SMDLListEntry *entry) {
  if (list == nullptr || entry == nullptr) return;
  if (list->pTail != nullptr) {
    list->pHead->pPrev = entry;
    entry->pNext = list->pHead;
  } else {
    list->pTail = entry;
    entry->pNext = nullptr;
  }
  list->pHead = entry;
  entry->pPrev = nullptr;
}

void DLListInsertEntryAtTail(SMDLList *list, SMDLListEntry *entry) {
  if (list == nullptr || entry == nullptr) return;
  if (list->pHead != nullptr) {
    list->pTail->pNext = entry;
    entry->pPrev = list->pTail;
  } else {
    list->pHead = entry;
    entry->pPrev = nullptr;
  }
  list->pTail = entry;
  entry->pNext = nullptr;
}

Status DLListInsertEntry(SMDLList *list, SMDLListEntry *entry, void *key, Callback compare) {
  if (list == nullptr || entry == nullptr || key == nullptr || compare == nullptr) {
    return Status::kInvalidParameter;
  }
  SMDLListEntry *prev = nullptr;
  for (SMDLListEntry *at = list->pHead; at != nullptr; at = at->pNext) {
    const int32_t order = compare(key, at);
    if (order == 0) return Status::kInUse;
    if (order < 0) break;
    prev = at;
  }
  if (prev == nullptr) {
    entry->pNext = list->pHead;
    entry->pPrev = nullptr;
    if (list->pHead != nullptr) list->pHead->pPrev = entry;
    list->pHead = entry;
    if (list->pTail == nullptr) {
      list->pTail = entry;
      entry->pNext = nullptr;
    }
  } else {
    entry->pNext = prev->pNext;
    entry->pPrev = prev;
    prev->pNext = entry;
    if (entry->pNext == nullptr) {
      list->pTail = entry;
    } else {
      entry->pNext->pPrev = entry;
    }
  }
  return Status::kSuccess;
}

SMDLListEntry *DLListWalkAtHead(SMDLList *list, void *key, Callback match) {
  if (list == nullptr || key == nullptr || match == nullptr) return nullptr;
  return FirstMatch(list->pHead, key, match, [](SMDLListEntry *e) { return e->pNext; });
}

SMDLListEntry *DLListWalkAtTail(SMDLList *list, void *key, Callback match) {
  if (list == nullptr || key == nullptr || match == nullptr) return nullptr;
  return FirstMatch(list->pTail, key, match, [](SMDLListEntry *e) { return e->pPrev; });
}

// The replaced entry keeps its links; the new one takes them over.
SMDLListEntry *DLListReplaceEntry(SMDLList *list, SMDLListEntry *replacement, void *key,
                                  Callback match) {
  if (replacement == nullptr) return nullptr;
  SMDLListEntry *old = DLListWalkAtHead(list, key, match);
  if (old == nullptr) return nullptr;
  replacement->pPrev = old->pPrev;
  replacement->pNext = old->pNext;
  if (list->pHead == old) list->pHead = replacement;
  if (list->pTail == old) list->pTail = replacement;
  if (old->pPrev != nullptr) old->pPrev->pNext = replacement;
  if (old->pNext != nullptr) old->pNext->pPrev = replacement;
  return old;
}

// The entry's own links are left as they are.
void DLListDeleteEntry(SMDLList *list, SMDLListEntry *entry) {
  if (list == nullptr || entry == nullptr) return;
  if (list->pHead == entry) list->pHead = entry->pNext;
  if (list->pTail == entry) list->pTail = entry->pPrev;
  if (entry->pPrev != nullptr) entry->pPrev->pNext = entry->pNext;
  if (entry->pNext != nullptr) entry->pNext->pPrev = entry->pPrev;
}

SMDLListEntry *DLListRemoveEntryAtHead(SMDLList *list) {
  if (list == nullptr) return nullptr;
  SMDLListEntry *head = list->pHead;
  if (head != nullptr) list->pHead = head->pNext;
  if (list->pHead != nullptr) {
    list->pHead->pPrev = nullptr;
  } else {
    list->pTail = nullptr;
  }
  return head;
}

SMDLListEntry *DLListRemoveEntryAtTail(SMDLList *list) {
  if (list == nullptr) return nullptr;
  SMDLListEntry *tail = list->pTail;
  if (tail == nullptr) {
    list->pHead = nullptr;
    return nullptr;
  }
  if (list->pHead == tail) list->pHead = tail->pPrev;
  list->pTail = tail->pPrev;
  if (list->pTail != nullptr) {
    list->pTail->pNext = tail->pNext;
  } else {
    list->pHead = nullptr;
  }
  return tail;
}

int32_t DLListIsEmpty(const SMDLList *list) {
  return list == nullptr || list->pHead == nullptr ? 1 : 0;
}

}  // namespace kx::containers
