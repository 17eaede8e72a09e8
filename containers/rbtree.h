// Red-black tree over the public SMRedBlackTreeNode record: an ordered set of
// caller data pointers whose keys are whatever the caller's compare callback
// derives from them. The SMRedBlackTree* exports forward to these routines,
// which other modules may call directly as an ordered index.
#pragma once

#include <cstdint>

#include "base/status.h"
#include "kxsupt/containers.h"

namespace kx::containers {

using TreeNode = SMRedBlackTreeNode;
using Callback = SMContainerCallback;

inline constexpr int32_t kRed = 1;
inline constexpr int32_t kBlack = 0;

// Set *tree to null (a null tree pointer is ignored). Detach frees nothing:
// the nodes still linked are the caller's to release with RedBlackTreeDelete.
void RedBlackTreeAttach(TreeNode **tree);
void RedBlackTreeDetach(TreeNode **tree);
// 1 when root is null, else 0.
int32_t RedBlackTreeIsEmpty(const TreeNode *root);

// Adds data under key, compare(key, node data) ordering the nodes.
// kSuccess; kInUse when a node compares equal (tree unchanged); kNoMemory when
// the node cannot be allocated (tree unchanged); kInvalidParameter when any
// argument is null.
Status RedBlackTreeDataInsert(TreeNode **tree, void *data, void *key, Callback compare);

// Stores data in the node matching key and returns the data it held; null
// when nothing matches or any argument is null.
void *RedBlackTreeDataReplace(TreeNode **tree, void *data, void *key, Callback compare);

// Removes the node matching key: kSuccess, kNotAvailable when absent,
// kInvalidParameter for a null argument.
// The node freed is not necessarily the one that matched: a node with two
// children takes over its successor's data and the successor's node goes, so
// pointers to other nodes may see their data change (data pointers never move).
Status RedBlackTreeDataDelete(TreeNode **tree, void *key, Callback compare);

// Frees every node, right subtree first, then left, then the node itself,
// calling release(context, data) before each free when release is given;
// leaves *tree null.
void RedBlackTreeDelete(TreeNode **tree, void *context, Callback release);

// Walk modes (the SM_RBT_WALK_* values).
inline constexpr uint32_t kWalkRoot = SM_RBT_WALK_ROOT;
inline constexpr uint32_t kWalkAscending = SM_RBT_WALK_ASCENDING;
inline constexpr uint32_t kWalkDescending = SM_RBT_WALK_DESCENDING;
inline constexpr uint32_t kWalkSearch = SM_RBT_WALK_SEARCH;
inline constexpr uint32_t kWalkExhaustive = SM_RBT_WALK_EXHAUSTIVE;

// Visits the subtree at root in the given mode, calling visit(context, data);
// returns the data of the node where visit returned 0, or null. Null root,
// context or visit, or a mode above 4, return null without a call.
void *RedBlackTreeDataWalk(TreeNode *root, void *context, Callback visit, uint32_t mode);

}  // namespace kx::containers
