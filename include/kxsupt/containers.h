/*
 * kxsupt: containers. Intrusive, caller-owned structures that take no locks:
 * singly and doubly linked lists, a red-black tree of data pointers and a
 * bitmap allocator of small integer IDs (the "hash-ID table").
 *
 * One callback shape serves every container: it receives the caller's key or
 * context first and the visited element second (a list entry, or a tree node's
 * data pointer) and returns a signed 32-bit result. For ordering the result is
 * negative, 0 or positive as the key sorts before, equal to or after the
 * element; for walks, matches and searches 0 means "this one" (stop).
 */
#ifndef KXSUPT_CONTAINERS_H
#define KXSUPT_CONTAINERS_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

/* The one callback of the containers: (key or context, element) -> result. */
typedef int32_t (*SMContainerCallback)(void *pKey, void *pElement);

/*
 * Linked lists (SMSLList*, SMDLList*). The library owns only the link words:
 * the caller allocates entries (SMSLListEntryAlloc, SMDLListEntryAlloc or its
 * own memory with the ...EntryInitNoAlloc calls), links and unlinks them, and
 * frees them. An entry allocated with a non-zero payload size carries its
 * payload right behind the header in the same block, pData pointing to it;
 * one ...EntryFree releases both. A list record never owns its entries:
 * ...ListFree releases the record only. Lists and entries come from the
 * process heap, as SMAllocMem's blocks do, and go back to it directly. Only
 * the ordered inserts return a status: 0 when inserted, SM_STATUS_IN_USE (258)
 * when an entry compares equal (nothing changes), SM_STATUS_INVALID_PARAMETER
 * (271) for a null argument. Other calls do nothing, or return null, when a
 * pointer they need is null. The list's head and tail are both null or both
 * set; the calls trust that.
 */

/* An entry of a singly linked list; an allocated payload follows it. */
typedef struct SMSLListEntry {
  struct SMSLListEntry *pNext; /* toward the tail, null at the tail */
  void *pData;                 /* the payload, or null */
} SMSLListEntry;

/* A singly linked list: its first and last entries. */
typedef struct SMSLList {
  SMSLListEntry *pHead; /* first entry, null when empty */
  SMSLListEntry *pTail; /* last entry, null when empty */
} SMSLList;

/* An entry of a doubly linked list; an allocated payload follows it. */
typedef struct SMDLListEntry {
  struct SMDLListEntry *pNext; /* toward the tail, null at the tail */
  struct SMDLListEntry *pPrev; /* toward the head, null at the head */
  void *pData;                 /* the payload, or null */
} SMDLListEntry;

/* A doubly linked list: its first and last entries. */
typedef struct SMDLList {
  SMDLListEntry *pHead; /* first entry, null when empty */
  SMDLListEntry *pTail; /* last entry, null when empty */
} SMDLList;

/* A new empty singly linked list from the heap; null when memory is short. */
KXSUPT_API SMSLList *SMSLListAlloc(void);
/* Frees the list record only; entries still linked are left as they are. */
KXSUPT_API void SMSLListFree(SMSLList *pList);
/* Makes a list record in the caller's memory empty. */
KXSUPT_API void SMSLListInitNoAlloc(SMSLList *pList);
/* An unlinked entry with size payload bytes behind it (pData null for 0). */
KXSUPT_API SMSLListEntry *SMSLListEntryAlloc(uint32_t size);
/* Frees an entry from SMSLListEntryAlloc together with its payload. */
KXSUPT_API void SMSLListEntryFree(SMSLListEntry *pEntry);
/* Clears pNext of an entry in the caller's memory; pData is left alone. */
KXSUPT_API void SMSLListEntryInitNoAlloc(SMSLListEntry *pEntry);
/* Links the entry in front of the head. */
KXSUPT_API void SMSLListInsertEntryAtHead(SMSLList *pList, SMSLListEntry *pEntry);
/* Links the entry behind the tail. */
KXSUPT_API void SMSLListInsertEntryAtTail(SMSLList *pList, SMSLListEntry *pEntry);
/* Ordered insert: in front of the first entry for which compare(pKey, entry)
 * is negative; 258 and no change as soon as one entry compares equal. */
KXSUPT_API SMStatus SMSLListInsertEntry(SMSLList *pList, SMSLListEntry *pEntry, void *pKey,
                                        SMContainerCallback pfnCompare);
/* First entry, from the head, for which match(pKey, entry) is 0; or null. */
KXSUPT_API SMSLListEntry *SMSLListWalkAtHead(SMSLList *pList, void *pKey,
                                             SMContainerCallback pfnMatch);
/* Puts pNewEntry in place of the first matching entry, which it returns
 * (links untouched, the caller frees it); null when nothing matches. */
KXSUPT_API SMSLListEntry *SMSLListReplaceEntry(SMSLList *pList, SMSLListEntry *pNewEntry,
                                               void *pKey, SMContainerCallback pfnMatch);
/* Unlinks pEntry given its true predecessor (null for the head). */
KXSUPT_API void SMSLListDeleteEntry(SMSLList *pList, SMSLListEntry *pPrevEntry,
                                    SMSLListEntry *pEntry);
/* Unlinks and returns the head, or null on an empty list. */
KXSUPT_API SMSLListEntry *SMSLListRemoveEntryAtHead(SMSLList *pList);
/* Unlinks and returns the tail, or null; walks the whole list to do so. */
KXSUPT_API SMSLListEntry *SMSLListRemoveEntryAtTail(SMSLList *pList);
/* 1 when the list is null or empty, else 0. */
KXSUPT_API int32_t SMSLListIsEmpty(SMSLList *pList);

/* A new empty doubly linked list from the heap; null when memory is short. */
KXSUPT_API SMDLList *SMDLListAlloc(void);
/* Frees the list record only; entries still linked are left as they are. */
KXSUPT_API void SMDLListFree(SMDLList *pList);
/* Makes a list record in the caller's memory empty. */
KXSUPT_API void SMDLListInitNoAlloc(SMDLList *pList);
/* An unlinked entry with size payload bytes behind it (pData null for 0). */
KXSUPT_API SMDLListEntry *SMDLListEntryAlloc(uint32_t size);
/* Frees an entry from SMDLListEntryAlloc together with its payload. */
KXSUPT_API void SMDLListEntryFree(SMDLListEntry *pEntry);
/* Clears pNext and pPrev of an entry in the caller's memory; pData stays. */
KXSUPT_API void SMDLListEntryInitNoAlloc(SMDLListEntry *pEntry);
/* Links the entry in front of the head. */
KXSUPT_API void SMDLListInsertEntryAtHead(SMDLList *pList, SMDLListEntry *pEntry);
/* Links the entry behind the tail. */
KXSUPT_API void SMDLListInsertEntryAtTail(SMDLList *pList, SMDLListEntry *pEntry);
/* Ordered insert, with the same rule and statuses as SMSLListInsertEntry. */
KXSUPT_API SMStatus SMDLListInsertEntry(SMDLList *pList, SMDLListEntry *pEntry, void *pKey,
                                        SMContainerCallback pfnCompare);
/* First entry, from the head, for which match(pKey, entry) is 0; or null. */
KXSUPT_API SMDLListEntry *SMDLListWalkAtHead(SMDLList *pList, void *pKey,
                                             SMContainerCallback pfnMatch);
/* First entry, from the tail backwards, for which match is 0; or null. */
KXSUPT_API SMDLListEntry *SMDLListWalkAtTail(SMDLList *pList, void *pKey,
                                             SMContainerCallback pfnMatch);
/* Puts pNewEntry in place of the first matching entry from the head and
 * returns that entry (links untouched); null when nothing matches. */
KXSUPT_API SMDLListEntry *SMDLListReplaceEntry(SMDLList *pList, SMDLListEntry *pNewEntry,
                                               void *pKey, SMContainerCallback pfnMatch);
/* Unlinks the entry through its own links (which it keeps). */
KXSUPT_API void SMDLListDeleteEntry(SMDLList *pList, SMDLListEntry *pEntry);
/* Unlinks and returns the head, or null on an empty list. */
KXSUPT_API SMDLListEntry *SMDLListRemoveEntryAtHead(SMDLList *pList);
/* Unlinks and returns the tail in constant time, or null. */
KXSUPT_API SMDLListEntry *SMDLListRemoveEntryAtTail(SMDLList *pList);
/* 1 when the list is null or empty, else 0. */
KXSUPT_API int32_t SMDLListIsEmpty(SMDLList *pList);

/*
 * Red-black tree (SMRedBlackTree*): an ordered set of the caller's data
 * pointers. The tree is one SMRedBlackTreeNode pointer variable in the
 * caller's memory (the handle), null when empty. Most calls take the handle's
 * address; SMRedBlackTreeIsEmpty and SMRedBlackTreeDataWalk take its value,
 * the root node. Every call that orders takes a key and a compare callback,
 * compare(pKey, data); keys are unique. The tree never dereferences data
 * pointers and never frees them; nodes come from the process heap and go back
 * to it.
 * Statuses: 0 success, SM_STATUS_NOT_AVAILABLE (256) no node matches,
 * SM_STATUS_IN_USE (258) the key is present, SM_STATUS_INVALID_PARAMETER
 * (271) null argument, SM_STATUS_NO_MEMORY (272) node allocation failed.
 */

/* A node of the tree, from the process heap; the handle points to the root. */
typedef struct SMRedBlackTreeNode {
  struct SMRedBlackTreeNode *pLeft;   /* keys before this node's */
  struct SMRedBlackTreeNode *pRight;  /* keys after this node's */
  struct SMRedBlackTreeNode *pParent; /* null at the root */
  void *pData;                        /* the caller's data pointer */
  int32_t color;                      /* 1 red, 0 black */
} SMRedBlackTreeNode;

/* Walk modes of SMRedBlackTreeDataWalk. */
#define SM_RBT_WALK_ROOT 0u       /* the node passed in only */
#define SM_RBT_WALK_ASCENDING 1u  /* in order, smallest first */
#define SM_RBT_WALK_DESCENDING 2u /* in order, largest first */
#define SM_RBT_WALK_SEARCH 3u     /* keyed search, callback as compare */
#define SM_RBT_WALK_EXHAUSTIVE 4u /* search led by the callback's sign, yet visiting all */

/* Sets the handle to null: an empty tree. */
KXSUPT_API void SMRedBlackTreeAttach(SMRedBlackTreeNode **ppTree);
/* Sets the handle to null without freeing anything (empty the tree first). */
KXSUPT_API void SMRedBlackTreeDetach(SMRedBlackTreeNode **ppTree);
/* 1 when the root (the handle's value) is null, else 0. */
KXSUPT_API int32_t SMRedBlackTreeIsEmpty(SMRedBlackTreeNode *pRoot);
/* Adds pData under pKey: 0, 258 when the key is present, 272 or 271. */
KXSUPT_API SMStatus SMRedBlackTreeDataInsert(SMRedBlackTreeNode **ppTree, void *pData, void *pKey,
                                             SMContainerCallback pfnCompare);
/* Stores pData in the node matching pKey and returns the data it held;
 * null when no node matches or an argument is null. */
KXSUPT_API void *SMRedBlackTreeDataReplace(SMRedBlackTreeNode **ppTree, void *pData, void *pKey,
                                           SMContainerCallback pfnCompare);
/* Removes the node matching pKey (its data is not released): 0, 256 or 271. */
KXSUPT_API SMStatus SMRedBlackTreeDataDelete(SMRedBlackTreeNode **ppTree, void *pKey,
                                             SMContainerCallback pfnCompare);
/* Frees every node, calling release(pContext, data) first when given, and
 * leaves the handle null. */
KXSUPT_API void SMRedBlackTreeDelete(SMRedBlackTreeNode **ppTree, void *pContext,
                                     SMContainerCallback pfnRelease);
/* Visits from pRoot in the given mode (SM_RBT_WALK_*), calling
 * callback(pContext, data); returns the data where it returned 0, or null. */
KXSUPT_API void *SMRedBlackTreeDataWalk(SMRedBlackTreeNode *pRoot, void *pContext,
                                        SMContainerCallback pfnCallback, uint32_t mode);

/*
 * Hash-ID table: despite the name, an allocator of small integer IDs kept as
 * a bitmap of 32-bit words in memory the caller provides and sizes with
 * SMHashTableBytesNeeded; every call takes the table's size in bytes. ID n is
 * bit n % 32 of word n / 32, a set bit meaning in use; the scans cover the
 * whole 32-bit words only. ID 0 is reserved: it is never handed out or
 * reported, and 0 is the "none" result of the calls that return an ID. The
 * library keeps no state and takes no lock. Statuses: 0 success,
 * SM_STATUS_NOT_IN_USE (12) the ID is free, SM_STATUS_OS_FAILURE (257) the
 * ID is beyond the table, SM_STATUS_IN_USE (258) the ID is taken,
 * SM_STATUS_INVALID_PARAMETER (271) null table.
 */

/* Bytes for a table of IDs 0 to maxID (1 to 0x3FFFFFFE); 0 otherwise. */
KXSUPT_API uint32_t SMHashTableBytesNeeded(uint32_t maxID);
/* Marks every ID free. */
KXSUPT_API SMStatus SMClearHashTable(void *pTable, uint32_t size);
/* Takes a free ID and returns it; 0 when none. Mode 0 takes the lowest free
 * ID; mode 1 continues above the IDs in use in the last partly used word. */
KXSUPT_API uint32_t SMAcquireHashID(void *pTable, uint32_t size, uint32_t mode);
/* Takes the given ID (0 included): 0, 258 when taken, 257 out of range. */
KXSUPT_API SMStatus SMAcquireHashIDByID(void *pTable, uint32_t size, uint32_t id);
/* 0 when the ID is in use, 12 when free, 257 out of range. */
KXSUPT_API SMStatus SMVerifyHashID(void *pTable, uint32_t size, uint32_t id);
/* Frees the ID: 0, 12 when it was not in use, 257 out of range. */
KXSUPT_API SMStatus SMReleaseHashID(void *pTable, uint32_t size, uint32_t id);
/* Lowest ID in use in the first non-zero word, or 0. */
KXSUPT_API uint32_t SMGetMinInUseID(void *pTable, uint32_t size);
/* Highest ID in use, or 0. */
KXSUPT_API uint32_t SMGetMaxInUseID(void *pTable, uint32_t size);
/* Resets the word and bit positions to 0, then finds as SMFindNextHashID. */
KXSUPT_API uint32_t SMFindFirstHashID(void *pTable, uint32_t size, uint32_t *pWord, uint32_t *pBit);
/* Next ID in use after the position given, which it moves there; 0 when none. */
KXSUPT_API uint32_t SMFindNextHashID(void *pTable, uint32_t size, uint32_t *pWord, uint32_t *pBit);

KXSUPT_END_DECLS

#endif /* KXSUPT_CONTAINERS_H */
