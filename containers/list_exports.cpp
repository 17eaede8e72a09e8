// Exported entry points of the singly and doubly linked list families: each
// forwards to its routine in containers/list.h.
#include "containers/list.h"

namespace c = kx::containers;

extern "C" {

SMSLList *SMSLListAlloc(void) {
  return c::SLListAlloc();
}
void SMSLListFree(SMSLList *pList) {
  c::SLListFree(pList);
}
void SMSLListInitNoAlloc(SMSLList *pList) {
  c::SLListInitNoAlloc(pList);
}
SMSLListEntry *SMSLListEntryAlloc(uint32_t size) {
  return c::SLListEntryAlloc(size);
}
void SMSLListEntryFree(SMSLListEntry *pEntry) {
  c::SLListEntryFree(pEntry);
}
void SMSLListEntryInitNoAlloc(SMSLListEntry *pEntry) {
  c::SLListEntryInitNoAlloc(pEntry);
}
void SMSLListInsertEntryAtHead(SMSLList *pList, SMSLListEntry *pEntry) {
  c::SLListInsertEntryAtHead(pList, pEntry);
}
void SMSLListInsertEntryAtTail(SMSLList *pList, SMSLListEntry *pEntry) {
  c::SLListInsertEntryAtTail(pList, pEntry);
}
SMStatus SMSLListInsertEntry(SMSLList *pList, SMSLListEntry *pEntry, void *pKey,
                             SMContainerCallback pfnCompare) {
  return kx::ToC(c::SLListInsertEntry(pList, pEntry, pKey, pfnCompare));
}
SMSLListEntry *SMSLListWalkAtHead(SMSLList *pList, void *pKey, SMContainerCallback pfnMatch) {
  return c::SLListWalkAtHead(pList, pKey, pfnMatch);
}
SMSLListEntry *SMSLListReplaceEntry(SMSLList *pList, SMSLListEntry *pNewEntry, void *pKey,
                                    SMContainerCallback pfnMatch) {
  return c::SLListReplaceEntry(pList, pNewEntry, pKey, pfnMatch);
}
void SMSLListDeleteEntry(SMSLList *pList, SMSLListEntry *pPrevEntry, SMSLListEntry *pEntry) {
  c::SLListDeleteEntry(pList, pPrevEntry, pEntry);
}
SMSLListEntry *SMSLListRemoveEntryAtHead(SMSLList *pList) {
  return c::SLListRemoveEntryAtHead(pList);
}
SMSLListEntry *SMSLListRemoveEntryAtTail(SMSLList *pList) {
  return c::SLListRemoveEntryAtTail(pList);
}
int32_t SMSLListIsEmpty(SMSLList *pList) {
  return c::SLListIsEmpty(pList);
}

SMDLList *SMDLListAlloc(void) {
  return c::DLListAlloc();
}
void SMDLListFree(SMDLList *pList) {
  c::DLListFree(pList);
}
void SMDLListInitNoAlloc(SMDLList *pList) {
  c::DLListInitNoAlloc(pList);
}
SMDLListEntry *SMDLListEntryAlloc(uint32_t size) {
  return c::DLListEntryAlloc(size);
}
void SMDLListEntryFree(SMDLListEntry *pEntry) {
  c::DLListEntryFree(pEntry);
}
void SMDLListEntryInitNoAlloc(SMDLListEntry *pEntry) {
  c::DLListEntryInitNoAlloc(pEntry);
}
void SMDLListInsertEntryAtHead(SMDLList *pList, SMDLListEntry *pEntry) {
  c::DLListInsertEntryAtHead(pList, pEntry);
}
void SMDLListInsertEntryAtTail(SMDLList *pList, SMDLListEntry *pEntry) {
  c::DLListInsertEntryAtTail(pList, pEntry);
}
SMStatus SMDLListInsertEntry(SMDLList *pList, SMDLListEntry *pEntry, void *pKey,
                             SMContainerCallback pfnCompare) {
  return kx::ToC(c::DLListInsertEntry(pList, pEntry, pKey, pfnCompare));
}
SMDLListEntry *SMDLListWalkAtHead(SMDLList *pList, void *pKey, SMContainerCallback pfnMatch) {
  return c::DLListWalkAtHead(pList, pKey, pfnMatch);
}
SMDLListEntry *SMDLListWalkAtTail(SMDLList *pList, void *pKey, SMContainerCallback pfnMatch) {
  return c::DLListWalkAtTail(pList, pKey, pfnMatch);
}
SMDLListEntry *SMDLListReplaceEntry(SMDLList *pList, SMDLListEntry *pNewEntry, void *pKey,
                                    SMContainerCallback pfnMatch) {
  return c::DLListReplaceEntry(pList, pNewEntry, pKey, pfnMatch);
}
void SMDLListDeleteEntry(SMDLList *pList, SMDLListEntry *pEntry) {
  c::DLListDeleteEntry(pList, pEntry);
}
SMDLListEntry *SMDLListRemoveEntryAtHead(SMDLList *pList) {
  return c::DLListRemoveEntryAtHead(pList);
}
SMDLListEntry *SMDLListRemoveEntryAtTail(SMDLList *pList) {
  return c::DLListRemoveEntryAtTail(pList);
}
int32_t SMDLListIsEmpty(SMDLList *pList) {
  return c::DLListIsEmpty(pList);
}

}  // extern "C"
