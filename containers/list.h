// Singly and doubly linked intrusive lists over the public SMSLList and
// SMDLList records. The caller owns entries and payloads; these routines only
// rewrite link words and never allocate except in the Alloc calls.
#pragma once

#include <cstdint>

#include "base/status.h"
#include "kxsupt/containers.h"

namespace kx::containers {

using Callback = SMContainerCallback;

// Singly linked. Every routine returns at once (null, or nothing) when a
// pointer it needs is null; the ordered insert reports kInvalidParameter.
SMSLList *SLListAlloc();
void SLListFree(SMSLList *list);
void SLListInitNoAlloc(SMSLList *list);
SMSLListEntry *SLListEntryAlloc(uint32_t payload_size);
void SLListEntryFree(SMSLListEntry *entry);
void SLListEntryInitNoAlloc(SMSLListEntry *entry);
void SLListInsertEntryAtHead(SMSLList *list, SMSLListEntry *entry);
void SLListInsertEntryAtTail(SMSLList *list, SMSLListEntry *entry);
// kSuccess inserted, kInUse an entry compares equal (no change),
// kInvalidParameter a null argument.
Status SLListInsertEntry(SMSLList *list, SMSLListEntry *entry, void *key, Callback compare);
SMSLListEntry *SLListWalkAtHead(SMSLList *list, void *key, Callback match);
SMSLListEntry *SLListReplaceEntry(SMSLList *list, SMSLListEntry *replacement, void *key,
                                  Callback match);
void SLListDeleteEntry(SMSLList *list, SMSLListEntry *prev, SMSLListEntry *entry);
SMSLListEntry *SLListRemoveEntryAtHead(SMSLList *list);
SMSLListEntry *SLListRemoveEntryAtTail(SMSLList *list);
int32_t SLListIsEmpty(const SMSLList *list);

// Doubly linked, with the same conventions.
SMDLList *DLListAlloc();
void DLListFree(SMDLList *list);
void DLListInitNoAlloc(SMDLList *list);
SMDLListEntry *DLListEntryAlloc(uint32_t payload_size);
void DLListEntryFree(SMDLListEntry *entry);
void DLListEntryInitNoAlloc(SMDLListEntry *entry);
void DLListInsertEntryAtHead(SMDLList *list, SMDLListEntry *entry);
void DLListInsertEntryAtTail(SMDLList *list, SMDLListEntry *entry);
Status DLListInsertEntry(SMDLList *list, SMDLListEntry *entry, void *key, Callback compare);
SMDLListEntry *DLListWalkAtHead(SMDLList *list, void *key, Callback match);
SMDLListEntry *DLListWalkAtTail(SMDLList *list, void *key, Callback match);
SMDLListEntry *DLListReplaceEntry(SMDLList *list, SMDLListEntry *replacement, void *key,
                                  Callback match);
void DLListDeleteEntry(SMDLList *list, SMDLListEntry *entry);
SMDLListEntry *DLListRemoveEntryAtHead(SMDLList *list);
SMDLListEntry *DLListRemoveEntryAtTail(SMDLList *list);
int32_t DLListIsEmpty(const SMDLList *list);

}  // namespace kx::containers
