// Red-black tree over the public SMRedBlackTreeNode record: an ordered set of
// caller data pointers whose keys are whatever the caller's compare callback
// derives from them. Other modules (the SDO config index) use these routines
// directly; the SMRedBlackTree* exports forward to them.
#pragma once

#include <cstdint>

#include "kxsupt/containers.h"

namespace kx::containers {

using TreeNode = SMRedBlackTreeNode;
using Callback = SMContainerCallback;

inline constexpr int32_t kRed = 1;
inline constexpr int32_t kBlack = 0;

// Sets *tree to null (Attach and Detach alike; Detach frees nothing).
void TreeReset(TreeNode **tree);
// 1 when root is null, else 0.
int32_t TreeIsEmpty(const TreeNode *root);

// Adds data under key, compare(key, node data) ordering the nodes.
// 0; 258 when a node compares equal (tree unchanged); 272 when the node cannot
// be allocated (tree unchanged); 271 when any argument is null.
SMStatus TreeInsert(TreeNode **tree, void *data, void *key, Callback compare);

// The node whose data compares equal to key, or null (also for a null compare).
TreeNode *TreeFind(TreeNode *root, void *key, Callback compare);

// Stores data in the node matching key and returns the data it held; null
// when nothing matches or any argument is null.
void *TreeReplace(TreeNode **tree, void *data, void *key, Callback compare);

// Removes the node matching key: 0, 256 when absent, 271 for a null argument.
// On success *removed_data (when removed_data is given) receives the data
// pointer that the key selected.
SMStatus TreeRemove(TreeNode **tree, void *key, Callback compare, void **removed_data = nullptr);

// Takes node's data out of the tree and returns it. The node that is freed is
// not necessarily `node`: a node with two children takes over its successor's
// data and the successor's node goes. Pointers to other nodes may therefore
// see their data change; data pointers themselves never move.
void *TreeEraseNode(TreeNode **tree, TreeNode *node);

// Frees every node, right subtree first, then left, then the node itself,
// calling release(context, data) before each free when release is given;
// leaves *tree null.
void TreeDeleteAll(TreeNode **tree, void *context, Callback release);

// Walk modes (the SM_RBT_WALK_* values).
inline constexpr uint32_t kWalkRoot = SM_RBT_WALK_ROOT;
inline constexpr uint32_t kWalkAscending = SM_RBT_WALK_ASCENDING;
inline constexpr uint32_t kWalkDescending = SM_RBT_WALK_DESCENDING;
inline constexpr uint32_t kWalkSearch = SM_RBT_WALK_SEARCH;
inline constexpr uint32_t kWalkExhaustive = SM_RBT_WALK_EXHAUSTIVE;

// Visits the subtree at root in the given mode, calling visit(context, data);
// returns the data of the node where visit returned 0, or null. Null root,
// context or visit, or a mode above 4, return null without a call.
void *TreeWalk(TreeNode *root, void *context, Callback visit, uint32_t mode);

// In-order stepping through the parent links: the smallest node of the tree
// (null when empty) and the node after `node` (null after the largest).
TreeNode *TreeFirst(TreeNode *root);
TreeNode *TreeNext(TreeNode *node);

}  // namespace kx::containers
