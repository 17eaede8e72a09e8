// Exported entry points of the singly and doubly linked list families: each
// forwards to its routine in containers/list.h.
#include "containers/list.h"

namespace c = kx::containers;

extern "C" {

SMSLList *SMSLListAlloc(void) {
  return c::SLAlloc();
}
void SMSLListFree(SMSLList *pList) {
  c::SLFree(pList);
}
void SMSLListInitNoAlloc(SMSLList *pList) {
  c::SLInit(pList);
}
SMSLListEntry *SMSLListEntryAlloc(uint32_t size) {
  return c::SLEntryAlloc(size);
}
void SMSLListEntryFree(SMSLListEntry *pEntry) {
  c::SLEntryFree(pEntry);
}
void SMSLListEntryInitNoAlloc(SMSLListEntry *pEntry) {
  c::SLEntryInit(pEntry);
}
void SMSLListInsertEntryAtHead(SMSLList *pList, SMSLListEntry *pEntry) {
  c::SLInsertAtHead(pList, pEntry);
}
void SMSLListInsertEntryAtTail(SMSLList *pList, SMSLListEntry *pEntry) {
  c::SLInsertAtTail(pList, pEntry);
}
SMStatus SMSLListInsertEntry(SMSLList *pList, SMSLListEntry *pEntry, void *pKey,
                             SMContainerCallback pfnCompare) {
  return c::SLInsertOrdered(pList, pEntry, pKey, pfnCompare);
}
SMSLListEntry *SMSLListWalkAtHead(SMSLList *pList, void *pKey, SMContainerCallback pfnMatch) {
  return c::SLWalkAtHead(pList, pKey, pfnMatch);
}
SMSLListEntry *SMSLListReplaceEntry(SMSLList *pList, SMSLListEntry *pNewEntry, void *pKey,
                                    SMContainerCallback pfnMatch) {
  return c::SLReplace(pList, pNewEntry, pKey, pfnMatch);
}
void SMSLListDeleteEntry(SMSLList *pList, SMSLListEntry *pPrevEntry, SMSLListEntry *pEntry) {
  c::SLDelete(pList, pPrevEntry, pEntry);
}
SMSLListEntry *SMSLListRemoveEntryAtHead(SMSLList *pList) {
  return c::SLRemoveAtHead(pList);
}
SMSLListEntry *SMSLListRemoveEntryAtTail(SMSLList *pList) {
  return c::SLRemoveAtTail(pList);
}
int32_t SMSLListIsEmpty(SMSLList *pList) {
  return c::SLIsEmpty(pList);
}

SMDLList *SMDLListAlloc(void) {
  return c::DLAlloc();
}
void SMDLListFree(SMDLList *pList) {
  c::DLFree(pList);
}
void SMDLListInitNoAlloc(SMDLList *pList) {
  c::DLInit(pList);
}
SMDLListEntry *SMDLListEntryAlloc(uint32_t size) {
  return c::DLEntryAlloc(size);
}
void SMDLListEntryFree(SMDLListEntry *pEntry) {
  c::DLEntryFree(pEntry);
}
void SMDLListEntryInitNoAlloc(SMDLListEntry *pEntry) {
  c::DLEntryInit(pEntry);
}
void SMDLListInsertEntryAtHead(SMDLList *pList, SMDLListEntry *pEntry) {
  c::DLInsertAtHead(pList, pEntry);
}
void SMDLListInsertEntryAtTail(SMDLList *pList, SMDLListEntry *pEntry) {
  c::DLInsertAtTail(pList, pEntry);
}
SMStatus SMDLListInsertEntry(SMDLList *pList, SMDLListEntry *pEntry, void *pKey,
                             SMContainerCallback pfnCompare) {
  return c::DLInsertOrdered(pList, pEntry, pKey, pfnCompare);
}
SMDLListEntry *SMDLListWalkAtHead(SMDLList *pList, void *pKey, SMContainerCallback pfnMatch) {
  return c::DLWalkAtHead(pList, pKey, pfnMatch);
}
SMDLListEntry *SMDLListWalkAtTail(SMDLList *pList, void *pKey, SMContainerCallback pfnMatch) {
  return c::DLWalkAtTail(pList, pKey, pfnMatch);
}
SMDLListEntry *SMDLListReplaceEntry(SMDLList *pList, SMDLListEntry *pNewEntry, void *pKey,
                                    SMContainerCallback pfnMatch) {
  return c::DLReplace(pList, pNewEntry, pKey, pfnMatch);
}
void SMDLListDeleteEntry(SMDLList *pList, SMDLListEntry *pEntry) {
  c::DLDelete(pList, pEntry);
}
SMDLListEntry *SMDLListRemoveEntryAtHead(SMDLList *pList) {
  return c::DLRemoveAtHead(pList);
}
SMDLListEntry *SMDLListRemoveEntryAtTail(SMDLList *pList) {
  return c::DLRemoveAtTail(pList);
}
int32_t SMDLListIsEmpty(SMDLList *pList) {
  return c::DLIsEmpty(pList);
}

}  // extern "C"
