// Red-black tree through its exported entries: seeded random insert, delete,
// replace and walk sequences checked against a std::map model, with every
// red-black rule verified after each step; then an ascending fill, the calls
// that take the root rather than the handle, and the refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <functional>
#include <map>
#include <random>
#include <vector>

#include "base/memory.h"
#include "kxsupt/containers.h"

namespace {

using Node = SMRedBlackTreeNode;

// Data pointers point at ints holding the keys themselves; the model run
// keeps two such ints per key, so that a replace can swap one for the other.
int KeyOf(const Node *node) {
  return *static_cast<const int *>(node->pData);
}

int32_t CompareKey(void *key, void *data) {
  const int a = *static_cast<int *>(key), b = *static_cast<int *>(data);
  return a < b ? -1 : (a > b ? 1 : 0);
}

// Checks a subtree: parent links, keys within (lo, hi), colour 0 or 1, no red
// node under a red parent. Returns its black height, -1 when a rule is
// broken; counts its nodes and raises *height to its deepest level.
int BlackHeight(const Node *n, const Node *parent, long lo, long hi, int depth, size_t *count,
                int *height) {
  if (n == nullptr) {
    *height = std::max(*height, depth);
    return 1;
  }
  const int key = KeyOf(n);
  if (n->pParent != parent || key <= lo || key >= hi || (n->color != 0 && n->color != 1) ||
      (n->color == 1 && parent != nullptr && parent->color == 1)) {
    return -1;
  }
  ++*count;
  const int left = BlackHeight(n->pLeft, n, lo, key, depth + 1, count, height);
  const int right = BlackHeight(n->pRight, n, key, hi, depth + 1, count, height);
  return left < 0 || left != right ? -1 : left + (n->color == 0 ? 1 : 0);
}

// Every red-black rule (a black root included), the node count, and the
// height bound 2 log2(n + 1).
::testing::AssertionResult IsValidTree(const Node *root, size_t expected_count) {
  size_t count = 0;
  int height = 0;
  const int black = BlackHeight(root, nullptr, LONG_MIN, LONG_MAX, 0, &count, &height);
  if (black < 0 || (root != nullptr && root->color != 0) || count != expected_count ||
      height > 2 * std::log2(static_cast<double>(count) + 1) + 1e-9) {
    return ::testing::AssertionFailure()
           << "broken tree: black height " << black << ", " << count << " nodes, height " << height;
  }
  return ::testing::AssertionSuccess();
}

// The node holding key (null when absent) and the number of nodes on the
// search path to it.
Node *Find(Node *node, int key, int *path) {
  for (*path = 0; node != nullptr; node = key < KeyOf(node) ? node->pLeft : node->pRight) {
    ++*path;
    if (KeyOf(node) == key) break;
  }
  return node;
}

// Walk context: records each visit and stops (returns 0) at visit `stop`.
struct Collector {
  std::vector<void *> seen;
  size_t stop = SIZE_MAX;
};
int32_t Collect(void *context, void *data) {
  auto *c = static_cast<Collector *>(context);
  c->seen.push_back(data);
  return c->seen.size() - 1 == c->stop ? 0 : 1;
}

// Mode-4 callback: 0 on the target; otherwise the true order, or when
// `ordered` is false a sign drawn from a hash of the key, no ordering at all.
struct Hunt {
  int target;
  bool ordered;
  int visits = 0;
};
int32_t HuntFor(void *context, void *data) {
  auto *h = static_cast<Hunt *>(context);
  ++h->visits;
  const int key = *static_cast<int *>(data);
  if (key == h->target) return 0;
  if (h->ordered) return h->target < key ? -1 : 1;
  return (static_cast<uint32_t>(key) * 2654435761u) >> 31 ? 1 : -1;
}

void RunRandomOperations(uint32_t seed, int steps, int key_range) {
  std::vector<int> first(key_range), second(key_range);
  for (int k = 0; k < key_range; ++k) first[k] = second[k] = k;
  auto *tree = reinterpret_cast<Node *>(&first);  // garbage until attached
  SMRedBlackTreeAttach(&tree);
  ASSERT_EQ(tree, nullptr);
  std::map<int, void *> model;
  std::mt19937 rng(seed);
  for (int step = 0; step < steps; ++step) {
    const uint32_t op = rng() % 8;
    int key = static_cast<int>(rng() % key_range);
    SCOPED_TRACE(::testing::Message() << "seed " << seed << " step " << step << " op " << op);
    const auto at = model.find(key);
    void *const present = at != model.end() ? at->second : nullptr;
    switch (op) {
      case 0:
      case 1:
      case 2: {  // a present key keeps its data
        void *data = rng() % 2 ? &first[key] : &second[key];
        ASSERT_EQ(SMRedBlackTreeDataInsert(&tree, data, &key, &CompareKey),
                  present ? SM_STATUS_IN_USE : SM_STATUS_SUCCESS);
        model.emplace(key, data);
        break;
      }
      case 3:
      case 4: {  // a node with two children stays, holding its successor's data
        int path;
        Node *node = Find(tree, key, &path);
        const bool two = node != nullptr && node->pLeft != nullptr && node->pRight != nullptr;
        ASSERT_EQ(SMRedBlackTreeDataDelete(&tree, &key, &CompareKey),
                  present ? SM_STATUS_SUCCESS : SM_STATUS_NOT_AVAILABLE);
        ASSERT_TRUE(!two || node->pData == std::next(at)->second);
        if (present) model.erase(at);
        break;
      }
      case 5: {
        void *fresh = present == &first[key] ? &second[key] : &first[key];
        ASSERT_EQ(SMRedBlackTreeDataReplace(&tree, fresh, &key, &CompareKey), present);
        if (present) at->second = fresh;
        break;
      }
      case 6: {  // keyed search (mode 3) and guided exhaustive search (mode 4)
        ASSERT_EQ(SMRedBlackTreeDataWalk(tree, &key, &CompareKey, 3), present);
        Hunt hunt{key, rng() % 2 == 0};
        ASSERT_EQ(SMRedBlackTreeDataWalk(tree, &hunt, &HuntFor, 4), present);
        // A true order finds the key along its search path alone; an absent
        // key costs a visit to every node.
        int path;
        Find(tree, key, &path);
        if (!present || hunt.ordered) {
          ASSERT_EQ(hunt.visits, present ? path : static_cast<int>(model.size()));
        }
        break;
      }
      default: {  // both in-order walks, stopped at a random visit
        std::vector<void *> order;
        for (const auto &entry : model) order.push_back(entry.second);
        const size_t stop = rng() % (order.size() + 1);
        for (uint32_t mode : {1u, 2u}) {
          if (mode == 2) std::reverse(order.begin(), order.end());
          Collector c{{}, stop};
          ASSERT_EQ(SMRedBlackTreeDataWalk(tree, &c, &Collect, mode),
                    stop < order.size() ? order[stop] : nullptr);
          const auto end = order.begin() + static_cast<long>(std::min(stop + 1, order.size()));
          ASSERT_EQ(c.seen, std::vector<void *>(order.begin(), end));
        }
        break;
      }
    }
    ASSERT_TRUE(IsValidTree(tree, model.size()));
    ASSERT_EQ(SMRedBlackTreeIsEmpty(tree), model.empty() ? 1 : 0);
  }
  // The whole-tree delete releases each node's data: right subtree, left
  // subtree, then the node.
  std::vector<void *> want;
  std::function<void(Node *)> post_order = [&](Node *n) {
    if (n == nullptr) return;
    post_order(n->pRight);
    post_order(n->pLeft);
    want.push_back(n->pData);
  };
  post_order(tree);
  Collector released;
  SMRedBlackTreeDelete(&tree, &released, &Collect);
  EXPECT_EQ(tree, nullptr);
  EXPECT_EQ(released.seen, want);
  EXPECT_EQ(want.size(), model.size());
}

TEST(TreeModel, follows_std_map_over_random_operations) {
  RunRandomOperations(1, 20000, 300);
  RunRandomOperations(2, 20000, 40);
  RunRandomOperations(3, 8000, 4000);
}

// Ascending keys stay within the height bound; deleting every other key keeps
// the rules; a whole-tree delete without a release callback frees the rest
// (the sanitizer build's leak check watches).
TEST(TreeEdges, ascending_fill_and_alternate_deletes_keep_every_rule) {
  std::vector<int> keys(1000);
  Node *tree = nullptr;
  for (int k = 1; k <= 1000; ++k) {
    keys[k - 1] = k;
    ASSERT_EQ(SMRedBlackTreeDataInsert(&tree, &keys[k - 1], &k, &CompareKey), SM_STATUS_SUCCESS);
    ASSERT_TRUE(IsValidTree(tree, k));
  }
  for (int k = 2; k <= 1000; k += 2) {
    ASSERT_EQ(SMRedBlackTreeDataDelete(&tree, &k, &CompareKey), SM_STATUS_SUCCESS);
    ASSERT_TRUE(IsValidTree(tree, 1000 - k / 2));
  }
  SMRedBlackTreeDelete(&tree, nullptr, nullptr);
  EXPECT_EQ(tree, nullptr);
}

// A refused node allocation reports 272 and leaves the tree exactly as it was
// (same nodes, same data, every rule kept), so the caller can simply retry; a
// key already present is refused with 258 before any allocation is tried.
TEST(TreeOutOfMemory, refused_inserts_report_no_memory_and_change_nothing) {
  std::vector<int> keys(400);
  for (int k = 0; k < 400; ++k) keys[k] = k;
  std::shuffle(keys.begin(), keys.end(), std::mt19937(3));
  Node *tree = nullptr;
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(SMRedBlackTreeDataInsert(&tree, &keys[i], &keys[i], &CompareKey), SM_STATUS_SUCCESS);
  }
  Collector before;
  SMRedBlackTreeDataWalk(tree, &before, &Collect, SM_RBT_WALK_ASCENDING);
  {
    kx::base::testing::AllocationBudget budget(0);
    for (int i = 200; i < 400; ++i) {
      ASSERT_EQ(SMRedBlackTreeDataInsert(&tree, &keys[i], &keys[i], &CompareKey),
                SM_STATUS_NO_MEMORY);
    }
    EXPECT_EQ(SMRedBlackTreeDataInsert(&tree, &keys[0], &keys[0], &CompareKey), SM_STATUS_IN_USE);
  }
  Collector after;
  SMRedBlackTreeDataWalk(tree, &after, &Collect, SM_RBT_WALK_ASCENDING);
  EXPECT_EQ(after.seen, before.seen);
  EXPECT_TRUE(IsValidTree(tree, 200));
  for (int i = 200; i < 400; ++i) {
    ASSERT_EQ(SMRedBlackTreeDataInsert(&tree, &keys[i], &keys[i], &CompareKey), SM_STATUS_SUCCESS);
  }
  EXPECT_TRUE(IsValidTree(tree, 400));
  SMRedBlackTreeDelete(&tree, nullptr, nullptr);
}

// IsEmpty and DataWalk take the root itself, not the handle, and mode 0 looks
// at the node passed in only, so any subtree root will do. Walk mode 5 and
// null arguments give null or 271 without a callback call. Detach forgets the
// root and touches no node.
TEST(TreeEdges, calls_on_the_root_refusals_and_detach_change_no_node) {
  int keys[15];
  Node *tree = nullptr;
  for (int k = 0; k < 15; ++k) {
    keys[k] = k;
    ASSERT_EQ(SMRedBlackTreeDataInsert(&tree, &keys[k], &k, &CompareKey), SM_STATUS_SUCCESS);
  }
  for (Node *node : {tree, tree->pLeft, tree->pRight}) {
    Collector stop{{}, 0}, go;
    EXPECT_EQ(SMRedBlackTreeDataWalk(node, &stop, &Collect, 0), node->pData);
    EXPECT_EQ(SMRedBlackTreeDataWalk(node, &go, &Collect, 0), nullptr);
    EXPECT_EQ(go.seen, std::vector<void *>(1, node->pData));
  }
  int key = 3, *record = &keys[3];
  Collector c;
  EXPECT_EQ(SMRedBlackTreeDataWalk(tree, &c, &Collect, 5), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataWalk(tree, nullptr, &Collect, 1), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataWalk(tree, &c, nullptr, 1), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataWalk(nullptr, &c, &Collect, 1), nullptr);
  EXPECT_TRUE(c.seen.empty());
  EXPECT_EQ(SMRedBlackTreeDataInsert(nullptr, record, &key, &CompareKey),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMRedBlackTreeDataInsert(&tree, nullptr, &key, &CompareKey),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMRedBlackTreeDataInsert(&tree, record, nullptr, &CompareKey),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMRedBlackTreeDataInsert(&tree, record, &key, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMRedBlackTreeDataDelete(nullptr, &key, &CompareKey), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMRedBlackTreeDataDelete(&tree, nullptr, &CompareKey), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMRedBlackTreeDataDelete(&tree, &key, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMRedBlackTreeDataReplace(nullptr, record, &key, &CompareKey), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataReplace(&tree, nullptr, &key, &CompareKey), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataReplace(&tree, record, nullptr, &CompareKey), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataReplace(&tree, record, &key, nullptr), nullptr);
  SMRedBlackTreeAttach(nullptr);
  SMRedBlackTreeDetach(nullptr);
  SMRedBlackTreeDelete(nullptr, nullptr, nullptr);
  Node *root = tree;
  SMRedBlackTreeDetach(&tree);
  EXPECT_EQ(tree, nullptr);
  EXPECT_EQ(SMRedBlackTreeIsEmpty(root), 0);
  EXPECT_TRUE(IsValidTree(root, 15));  // nothing above changed a node
  SMRedBlackTreeDelete(&root, nullptr, nullptr);
}

}  // namespace
