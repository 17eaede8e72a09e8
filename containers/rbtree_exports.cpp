// Exported entry points of the red-black tree family: each forwards to its
// routine in containers/rbtree.h.
#include "containers/rbtree.h"

namespace c = kx::containers;

extern "C" {

void SMRedBlackTreeAttach(SMRedBlackTreeNode **ppTree) {
  c::RedBlackTreeAttach(ppTree);
}
void SMRedBlackTreeDetach(SMRedBlackTreeNode **ppTree) {
  c::RedBlackTreeDetach(ppTree);
}
int32_t SMRedBlackTreeIsEmpty(SMRedBlackTreeNode *pRoot) {
  return c::RedBlackTreeIsEmpty(pRoot);
}
SMStatus SMRedBlackTreeDataInsert(SMRedBlackTreeNode **ppTree, void *pData, void *pKey,
                                  SMContainerCallback pfnCompare) {
  return kx::ToC(c::RedBlackTreeDataInsert(ppTree, pData, pKey, pfnCompare));
}
void *SMRedBlackTreeDataReplace(SMRedBlackTreeNode **ppTree, void *pData, void *pKey,
                                SMContainerCallback pfnCompare) {
  return c::RedBlackTreeDataReplace(ppTree, pData, pKey, pfnCompare);
}
SMStatus SMRedBlackTreeDataDelete(SMRedBlackTreeNode **ppTree, void *pKey,
                                  SMContainerCallback pfnCompare) {
  return kx::ToC(c::RedBlackTreeDataDelete(ppTree, pKey, pfnCompare));
}
void SMRedBlackTreeDelete(SMRedBlackTreeNode **ppTree, void *pContext,
                          SMContainerCallback pfnRelease) {
  c::RedBlackTreeDelete(ppTree, pContext, pfnRelease);
}
void *SMRedBlackTreeDataWalk(SMRedBlackTreeNode *pRoot, void *pContext,
                             SMContainerCallback pfnCallback, uint32_t mode) {
  return c::RedBlackTreeDataWalk(pRoot, pContext, pfnCallback, mode);
}

}  // extern "C"
