// Singly and doubly linked intrusive lists over the public SMSLList and
// SMDLList records. The caller owns entries and payloads; these routines only
// rewrite link words and never allocate except in the Alloc calls (malloc).
#pragma once

#include <cstdint>

#include "kxsupt/containers.h"

namespace kx::containers {

using Callback = SMContainerCallback;

// Singly linked. Every routine returns at once (null, or nothing) when a
// pointer it needs is null; the ordered insert reports that as 271.
SMSLList *SLAlloc();
void SLFree(SMSLList *list);
void SLInit(SMSLList *list);
SMSLListEntry *SLEntryAlloc(uint32_t payload_size);
void SLEntryFree(SMSLListEntry *entry);
void SLEntryInit(SMSLListEntry *entry);
void SLInsertAtHead(SMSLList *list, SMSLListEntry *entry);
void SLInsertAtTail(SMSLList *list, SMSLListEntry *entry);
// 0 inserted, 258 an entry compares equal (no change), 271 a null argument.
SMStatus SLInsertOrdered(SMSLList *list, SMSLListEntry *entry, void *key, Callback compare);
SMSLListEntry *SLWalkAtHead(SMSLList *list, void *key, Callback match);
SMSLListEntry *SLReplace(SMSLList *list, SMSLListEntry *replacement, void *key, Callback match);
void SLDelete(SMSLList *list, SMSLListEntry *prev, SMSLListEntry *entry);
SMSLListEntry *SLRemoveAtHead(SMSLList *list);
SMSLListEntry *SLRemoveAtTail(SMSLList *list);
int32_t SLIsEmpty(const SMSLList *list);

// Doubly linked, with the same conventions.
SMDLList *DLAlloc();
void DLFree(SMDLList *list);
void DLInit(SMDLList *list);
SMDLListEntry *DLEntryAlloc(uint32_t payload_size);
void DLEntryFree(SMDLListEntry *entry);
void DLEntryInit(SMDLListEntry *entry);
void DLInsertAtHead(SMDLList *list, SMDLListEntry *entry);
void DLInsertAtTail(SMDLList *list, SMDLListEntry *entry);
SMStatus DLInsertOrdered(SMDLList *list, SMDLListEntry *entry, void *key, Callback compare);
SMDLListEntry *DLWalkAtHead(SMDLList *list, void *key, Callback match);
SMDLListEntry *DLWalkAtTail(SMDLList *list, void *key, Callback match);
SMDLListEntry *DLReplace(SMDLList *list, SMDLListEntry *replacement, void *key, Callback match);
void DLDelete(SMDLList *list, SMDLListEntry *entry);
SMDLListEntry *DLRemoveAtHead(SMDLList *list);
SMDLListEntry *DLRemoveAtTail(SMDLList *list);
int32_t DLIsEmpty(const SMDLList *list);

}  // namespace kx::containers
