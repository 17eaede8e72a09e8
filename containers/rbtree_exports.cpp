// Exported entry points of the red-black tree family: each forwards to its
// routine in containers/rbtree.h.
#include "containers/rbtree.h"

namespace c = kx::containers;

extern "C" {

void SMRedBlackTreeAttach(SMRedBlackTreeNode **ppTree) {
  c::TreeReset(ppTree);
}
void SMRedBlackTreeDetach(SMRedBlackTreeNode **ppTree) {
  c::TreeReset(ppTree);
}
int32_t SMRedBlackTreeIsEmpty(SMRedBlackTreeNode *pRoot) {
  return c::TreeIsEmpty(pRoot);
}
SMStatus SMRedBlackTreeDataInsert(SMRedBlackTreeNode **ppTree, void *pData, void *pKey,
                                  SMContainerCallback pfnCompare) {
  return c::TreeInsert(ppTree, pData, pKey, pfnCompare);
}
void *SMRedBlackTreeDataReplace(SMRedBlackTreeNode **ppTree, void *pData, void *pKey,
                                SMContainerCallback pfnCompare) {
  return c::TreeReplace(ppTree, pData, pKey, pfnCompare);
}
SMStatus SMRedBlackTreeDataDelete(SMRedBlackTreeNode **ppTree, void *pKey,
                                  SMContainerCallback pfnCompare) {
  return c::TreeRemove(ppTree, pKey, pfnCompare);
}
void SMRedBlackTreeDelete(SMRedBlackTreeNode **ppTree, void *pContext,
                          SMContainerCallback pfnRelease) {
  c::TreeDeleteAll(ppTree, pContext, pfnRelease);
}
void *SMRedBlackTreeDataWalk(SMRedBlackTreeNode *pRoot, void *pContext,
                             SMContainerCallback pfnCallback, uint32_t mode) {
  return c::TreeWalk(pRoot, pContext, pfnCallback, mode);
}

}  // extern "C"
