// Red-black tree: search, node linking and the two rebalancing repairs.
// Colour and parent live in each node. The search is a plain descent with the
// caller's three-way compare; the repairs are split into one function per
// case, each drawn below with upper case for black and lower case for red
// nodes (a node drawn in brackets may be either).
#include "containers/rbtree.h"

#include "base/memory.h"

namespace kx::containers {
namespace {

// The repairs are written once for a side and mirrored through it.
enum Side : int { kLeft = 0, kRight = 1 };

constexpr Side Opposite(Side side) {
  return side == kLeft ? kRight : kLeft;
}

inline TreeNode *&Child(TreeNode *node, Side side) {
  return side == kLeft ? node->pLeft : node->pRight;
}

// Starts loading both children of a node about to be compared: whichever way
// the compare goes, the next node is on its way (a hint only; null is fine).
inline void PrefetchChildren(const TreeNode *node) {
#if defined(__GNUC__)
  __builtin_prefetch(node->pLeft);
  __builtin_prefetch(node->pRight);
#else
  (void)node;
#endif
}

inline bool IsRed(const TreeNode *node) {
  return node != nullptr && node->color == kRed;
}
inline bool IsBlack(const TreeNode *node) {
  return node == nullptr || node->color == kBlack;
}

// Makes replacement take old_child's place under parent, or as the root when
// parent is null. Only the downward link changes.
inline void ReplaceChild(TreeNode **tree, TreeNode *parent, TreeNode *old_child,
                         TreeNode *replacement) {
  if (parent == nullptr) {
    *tree = replacement;
  } else if (parent->pLeft == old_child) {
    parent->pLeft = replacement;
  } else {
    parent->pRight = replacement;
  }
}

/*
 * Rotation moving `pivot` down to its `down` side; shown for down = left:
 *
 *       P                   C
 *      / \                 / \
 *     a   C      -->      P   c
 *        / \             / \
 *       b   c           a   b
 *
 * Parent links and the handle follow.
 */
void Rotate(TreeNode **tree, TreeNode *pivot, Side down) {
  const Side up = Opposite(down);
  TreeNode *riser = Child(pivot, up);
  TreeNode *inner = Child(riser, down);
  Child(pivot, up) = inner;
  if (inner != nullptr) inner->pParent = pivot;
  riser->pParent = pivot->pParent;
  ReplaceChild(tree, pivot->pParent, pivot, riser);
  Child(riser, down) = pivot;
  pivot->pParent = riser;
}

// ---- insertion repair ------------------------------------------------------
// `node` is red and so is its parent; the grandparent exists (a red node is
// never the root) and is black. `side` is the parent's side under the
// grandparent. Diagrams show side = left.

/*
 * Case 1, red uncle: push the grandparent's black down a level. The
 * grandparent, now red, may clash with its own parent, so the repair goes on
 * from there.
 *
 *         G                 g
 *        / \               / \
 *       p   u     -->     P   U
 *       |                 |
 *       n                 n
 */
TreeNode *RecolourUnderRedUncle(TreeNode *parent, TreeNode *uncle, TreeNode *grand) {
  parent->color = kBlack;
  uncle->color = kBlack;
  grand->color = kRed;
  return grand;
}

/*
 * Case 2, black uncle and `node` the inner child: rotate at the parent so the
 * red pair lines up on the outside; the old parent is then the lower red node.
 *
 *         G                 G
 *        / \               / \
 *       p   U     -->     n   U
 *        \               /
 *         n             p
 */
void StraightenInnerChild(TreeNode **tree, TreeNode *parent, Side side) {
  Rotate(tree, parent, side);
}

/*
 * Case 3, black uncle and `node` the outer child: the parent takes the
 * grandparent's place and colour, which ends the repair.
 *
 *         G                 P
 *        / \               / \
 *       p   U     -->     n   g
 *      /                       \
 *     n                         U
 */
void RotateAtGrandparent(TreeNode **tree, TreeNode *parent, TreeNode *grand, Side side) {
  parent->color = kBlack;
  grand->color = kRed;
  Rotate(tree, grand, Opposite(side));
}

void RepairAfterInsert(TreeNode **tree, TreeNode *node) {
  for (TreeNode *parent = node->pParent; parent != nullptr && parent->color == kRed;
       parent = node->pParent) {
    TreeNode *grand = parent->pParent;
    const Side side = grand->pLeft == parent ? kLeft : kRight;
    TreeNode *uncle = Child(grand, Opposite(side));
    if (IsRed(uncle)) {
      node = RecolourUnderRedUncle(parent, uncle, grand);
      continue;
    }
    if (node == Child(parent, Opposite(side))) {
      StraightenInnerChild(tree, parent, side);
      parent = node;
    }
    RotateAtGrandparent(tree, parent, grand, side);
    break;
  }
  (*tree)->color = kBlack;
}

// ---- removal repair --------------------------------------------------------
// A black node left the subtree at `side` of `parent`, whose remaining child
// there (x, possibly null) is black: that side is one black short. The
// sibling exists, since its side still holds at least one black node.
// Diagrams show side = left; x is drawn as X.

/*
 * Case 1, red sibling: rotate it above the parent so that x gets a black
 * sibling (the old sibling's near child); returns that new sibling.
 *
 *         P                 S
 *        / \               / \
 *       X   s     -->     p   Sr
 *          / \           / \
 *         Sl  Sr        X   Sl
 */
TreeNode *TurnRedSiblingBlack(TreeNode **tree, TreeNode *parent, TreeNode *sibling, Side side) {
  sibling->color = kBlack;
  parent->color = kRed;
  Rotate(tree, parent, side);
  return Child(parent, Opposite(side));
}

/*
 * Case 2, black sibling with two black children: take one black from the
 * sibling's side too; the whole parent subtree is now one short, so the
 * repair moves up (a red parent simply turns black at the end).
 *
 *        (p)               (p)
 *        / \               / \
 *       X   S     -->     X   s
 *          / \               / \
 *         Sl  Sr            Sl  Sr
 */
void LightenSibling(TreeNode *sibling) {
  sibling->color = kRed;
}

/*
 * Case 3, black sibling whose near child is red and far child black: rotate
 * at the sibling, swapping their colours, so that the new sibling has a red
 * far child; returns the new sibling.
 *
 *        (p)               (p)
 *        / \               / \
 *       X   S     -->     X   Sl
 *          / \                  \
 *         sl  Sr                 s
 *                                 \
 *                                  Sr
 */
TreeNode *MoveRedToFarNephew(TreeNode **tree, TreeNode *sibling, Side side) {
  TreeNode *near = Child(sibling, side);
  near->color = kBlack;
  sibling->color = kRed;
  Rotate(tree, sibling, Opposite(side));
  return near;
}

/*
 * Case 4, black sibling with a red far child: rotate at the parent; the
 * sibling takes the parent's colour, the parent and the far child turn black,
 * and x's side gains the black it lacked. This ends the repair.
 *
 *        (p)               (s)
 *        / \               / \
 *       X   S     -->     P   Sr
 *          / \           / \
 *        (sl) sr        X  (sl)
 */
void RotateFarNephewUp(TreeNode **tree, TreeNode *parent, TreeNode *sibling, Side side) {
  sibling->color = parent->color;
  parent->color = kBlack;
  Child(sibling, Opposite(side))->color = kBlack;
  Rotate(tree, parent, side);
}

// x took the place of a black node that was unlinked from under `parent`.
void RepairAfterRemoval(TreeNode **tree, TreeNode *x, TreeNode *parent) {
  while (x != *tree && IsBlack(x)) {
    // x may be null; its parent's other child never is (see above).
    const Side side = parent->pLeft == x ? kLeft : kRight;
    TreeNode *sibling = Child(parent, Opposite(side));
    if (IsRed(sibling)) sibling = TurnRedSiblingBlack(tree, parent, sibling, side);
    if (IsBlack(sibling->pLeft) && IsBlack(sibling->pRight)) {
      LightenSibling(sibling);
      x = parent;
      parent = x->pParent;
      continue;
    }
    if (IsBlack(Child(sibling, Opposite(side)))) sibling = MoveRedToFarNephew(tree, sibling, side);
    RotateFarNephewUp(tree, parent, sibling, side);
    x = *tree;
  }
  if (x != nullptr) x->color = kBlack;
}

// ---- search and walks ------------------------------------------------------

// The node whose data compares equal to key, or null (also for a null compare).
TreeNode *FindNode(TreeNode *root, void *key, Callback compare) {
  if (compare == nullptr) return nullptr;
  TreeNode *node = root;
  while (node != nullptr) {
    PrefetchChildren(node);
    const int32_t order = compare(key, node->pData);
    if (order < 0) {
      node = node->pLeft;
    } else if (order > 0) {
      node = node->pRight;
    } else {
      break;
    }
  }
  return node;
}

// In-order visit from `first` side to the other; the node at which visit
// returned 0, or null. Recursion depth is the tree's height.
TreeNode *VisitInOrder(TreeNode *node, void *context, Callback visit, Side first) {
  while (node != nullptr) {
    if (TreeNode *hit = VisitInOrder(Child(node, first), context, visit, first)) return hit;
    if (visit(context, node->pData) == 0) return node;
    node = Child(node, Opposite(first));
  }
  return nullptr;
}

// Exhaustive search that lets the callback's sign pick the side to try first,
// so a callback that orders consistently finds its node along the search
// path, and one that does not still finds it anywhere.
TreeNode *VisitGuided(TreeNode *node, void *context, Callback visit) {
  while (node != nullptr) {
    const int32_t order = visit(context, node->pData);
    if (order == 0) return node;
    const Side first = order < 0 ? kLeft : kRight;
    if (TreeNode *hit = VisitGuided(Child(node, first), context, visit)) return hit;
    node = Child(node, Opposite(first));
  }
  return nullptr;
}

void DeleteSubtree(TreeNode **slot, void *context, Callback release) {
  TreeNode *node = *slot;
  if (node == nullptr) return;
  DeleteSubtree(&node->pRight, context, release);
  DeleteSubtree(&node->pLeft, context, release);
  if (release != nullptr) release(context, node->pData);
  base::FreeMem(node);
  *slot = nullptr;
}

// Takes node's data out of the tree. The unlinked node is `doomed`: the node
// itself when it has at most one child, else its successor (the leftmost node
// of its right subtree, which has no left child), whose data moves into
// `node`. Either way the unlinked node has at most one child, which takes its
// place.
void EraseNode(TreeNode **tree, TreeNode *node) {
  TreeNode *doomed = node;
  if (node->pLeft != nullptr && node->pRight != nullptr) {
    doomed = node->pRight;
    while (doomed->pLeft != nullptr) doomed = doomed->pLeft;
  }
  TreeNode *orphan = doomed->pLeft != nullptr ? doomed->pLeft : doomed->pRight;
  TreeNode *parent = doomed->pParent;
  if (orphan != nullptr) orphan->pParent = parent;
  ReplaceChild(tree, parent, doomed, orphan);
  if (doomed != node) node->pData = doomed->pData;
  if (doomed->color == kBlack) RepairAfterRemoval(tree, orphan, parent);
  base::FreeMem(doomed);
}

}  // namespace

void RedBlackTreeAttach(TreeNode **tree) {
  if (tree != nullptr) *tree = nullptr;
}

void RedBlackTreeDetach(TreeNode **tree) {
  if (tree != nullptr) *tree = nullptr;
}

int32_t RedBlackTreeIsEmpty(const TreeNode *root) {
  return root == nullptr ? 1 : 0;
}

Status RedBlackTreeDataInsert(TreeNode **tree, void *data, void *key, Callback compare) {
  if (tree == nullptr || data == nullptr || key == nullptr || compare == nullptr) {
    return Status::kInvalidParameter;
  }
  // The descent branches on the compare result rather than selecting the
  // child branch-free: a predicted branch lets the processor run ahead into
  // the next node while the callback still runs.
  TreeNode *parent = nullptr;
  TreeNode **link = tree;
  for (TreeNode *at = *tree; at != nullptr;) {
    parent = at;
    PrefetchChildren(at);
    const int32_t order = compare(key, at->pData);
    if (order < 0) {
      link = &at->pLeft;
      at = at->pLeft;
    } else if (order > 0) {
      link = &at->pRight;
      at = at->pRight;
    } else {
      return Status::kInUse;
    }
  }
  auto *node = static_cast<TreeNode *>(base::AllocMem(sizeof(TreeNode)));
  if (node == nullptr) return Status::kNoMemory;
  node->pLeft = nullptr;
  node->pRight = nullptr;
  node->pParent = parent;
  node->pData = data;
  node->color = kRed;
  *link = node;
  RepairAfterInsert(tree, node);
  return Status::kSuccess;
}

void *RedBlackTreeDataReplace(TreeNode **tree, void *data, void *key, Callback compare) {
  if (tree == nullptr || data == nullptr || key == nullptr) return nullptr;
  TreeNode *node = FindNode(*tree, key, compare);
  if (node == nullptr) return nullptr;
  void *previous = node->pData;
  node->pData = data;
  return previous;
}

Status RedBlackTreeDataDelete(TreeNode **tree, void *key, Callback compare) {
  if (tree == nullptr || key == nullptr || compare == nullptr) return Status::kInvalidParameter;
  TreeNode *node = FindNode(*tree, key, compare);
  if (node == nullptr) return Status::kNotAvailable;
  EraseNode(tree, node);
  return Status::kSuccess;
}

void RedBlackTreeDelete(TreeNode **tree, void *context, Callback release) {
  if (tree != nullptr) DeleteSubtree(tree, context, release);
}

void *RedBlackTreeDataWalk(TreeNode *root, void *context, Callback visit, uint32_t mode) {
  if (root == nullptr || context == nullptr || visit == nullptr) return nullptr;
  TreeNode *hit = nullptr;
  switch (mode) {
    case kWalkRoot:
      hit = visit(context, root->pData) == 0 ? root : nullptr;
      break;
    case kWalkAscending:
      hit = VisitInOrder(root, context, visit, kLeft);
      break;
    case kWalkDescending:
      hit = VisitInOrder(root, context, visit, kRight);
      break;
    case kWalkSearch:
      hit = FindNode(root, context, visit);
      break;
    case kWalkExhaustive:
      hit = VisitGuided(root, context, visit);
      break;
    default:
      return nullptr;
  }
  return hit != nullptr ? hit->pData : nullptr;
}

}  // namespace kx::containers
