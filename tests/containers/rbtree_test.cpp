// Red-black tree through its exported entries: seeded random insert, delete,
// replace and walk sequences checked against a std::map model, with every
// red-black rule verified after each step; then an ascending fill, the calls
// that take the root rather than the handle, and the refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <random>
#include <vector>

#include "containers/rbtree.h"
#include "kxsupt/containers.h"

namespace {

using Node = SMRedBlackTreeNode;

// Data records: the key is the record's `key` field. Two records per key let
// a replace swap one for the other.
struct Record {
  int key;
  int generation;
};

int KeyOf(const Node *node) {
  return static_cast<const Record *>(node->pData)->key;
}

int32_t CompareKey(void *key, void *data) {
  const int a = *static_cast<int *>(key), b = static_cast<Record *>(data)->key;
  return a < b ? -1 : (a > b ? 1 : 0);
}

// Checks one subtree (parent links, colours, order strictly between lo and
// hi, no red-red, equal black heights); counts its nodes and height.
::testing::AssertionResult CheckSubtree(const Node *node, const Node *parent, const int *lo,
                                        const int *hi, int *black_height, int *height,
                                        size_t *count) {
  if (node == nullptr) {
    *black_height = 1;
    *height = 0;
    return ::testing::AssertionSuccess();
  }
  const int key = KeyOf(node);
  if (node->pParent != parent || (node->color != 0 && node->color != 1) ||
      (lo != nullptr && key <= *lo) || (hi != nullptr && key >= *hi) ||
      (node->color == 1 &&
       ((node->pLeft && node->pLeft->color == 1) || (node->pRight && node->pRight->color == 1)))) {
    return ::testing::AssertionFailure() << key << ": bad parent, colour or order";
  }
  int left_black, right_black, left_height, right_height;
  if (auto r = CheckSubtree(node->pLeft, node, lo, &key, &left_black, &left_height, count); !r) {
    return r;
  }
  if (auto r = CheckSubtree(node->pRight, node, &key, hi, &right_black, &right_height, count); !r) {
    return r;
  }
  if (left_black != right_black) return ::testing::AssertionFailure() << key << ": black heights";
  *black_height = left_black + (node->color == 0 ? 1 : 0);
  *height = 1 + std::max(left_height, right_height);
  ++*count;
  return ::testing::AssertionSuccess();
}

// Every red-black rule, the node count, and the height bound 2 log2(n + 1).
::testing::AssertionResult IsValidTree(const Node *root, size_t expected_count) {
  if (root != nullptr && root->color != 0) return ::testing::AssertionFailure() << "red root";
  int black_height, height;
  size_t count = 0;
  auto r = CheckSubtree(root, nullptr, nullptr, nullptr, &black_height, &height, &count);
  if (r && count != expected_count) r = ::testing::AssertionFailure() << count << " nodes";
  if (r && height > 2 * std::log2(static_cast<double>(count) + 1) + 1e-9) {
    r = ::testing::AssertionFailure() << "height " << height;
  }
  return r;
}

// The node holding key (null when absent) and the number of nodes that a
// search for it visits.
Node *Find(Node *node, int key, int *visits) {
  for (*visits = 0; node != nullptr; node = key < KeyOf(node) ? node->pLeft : node->pRight) {
    ++*visits;
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
  const int key = static_cast<Record *>(data)->key;
  if (key == h->target) return 0;
  if (h->ordered) return h->target < key ? -1 : 1;
  return (static_cast<uint32_t>(key) * 2654435761u) >> 31 ? 1 : -1;
}

int32_t Release(void *context, void *data) {
  static_cast<std::vector<void *> *>(context)->push_back(data);
  return 1;
}

void RunRandomOperations(uint32_t seed, int steps, int key_range) {
  std::vector<Record> first(key_range), second(key_range);
  for (int k = 0; k < key_range; ++k) first[k] = {k, 1}, second[k] = {k, 2};
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
        ASSERT_EQ(SMRedBlackTreeDataInsert(&tree, data, &key, &CompareKey), present ? 258u : 0u);
        model.emplace(key, data);
        break;
      }
      case 3:
      case 4: {  // a node with two children stays, holding its successor's data
        int visits;
        Node *node = Find(tree, key, &visits);
        const bool two = node != nullptr && node->pLeft != nullptr && node->pRight != nullptr;
        ASSERT_EQ(SMRedBlackTreeDataDelete(&tree, &key, &CompareKey), present ? 0u : 256u);
        if (two) {
          ASSERT_EQ(node->pData, std::next(at)->second);
        }
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
        int visits;
        Find(tree, key, &visits);
        if (!present) {
          ASSERT_EQ(static_cast<size_t>(hunt.visits), model.size());
        }
        if (present && hunt.ordered) {
          ASSERT_EQ(hunt.visits, visits);
        }
        break;
      }
      default: {  // both in-order walks, stopped at a random visit
        std::vector<void *> order;
        for (const auto &entry : model) order.push_back(entry.second);
        std::vector<void *> stepped;  // the internal stepping goes the same way
        for (Node *n = kx::containers::TreeFirst(tree); n; n = kx::containers::TreeNext(n)) {
          stepped.push_back(n->pData);
        }
        ASSERT_EQ(stepped, order);
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
  std::vector<void *> want, released;
  std::function<void(Node *)> post_order = [&](Node *n) {
    if (n == nullptr) return;
    post_order(n->pRight);
    post_order(n->pLeft);
    want.push_back(n->pData);
  };
  post_order(tree);
  SMRedBlackTreeDelete(&tree, &released, &Release);
  EXPECT_EQ(tree, nullptr);
  EXPECT_EQ(released, want);
  EXPECT_EQ(released.size(), model.size());
}

TEST(TreeModel, FollowsStdMapOverRandomOperations) {
  RunRandomOperations(1, 20000, 300);
  RunRandomOperations(2, 20000, 40);
  RunRandomOperations(3, 8000, 4000);
}

// Ascending keys stay within the height bound and walk both ways; deleting
// every other key keeps the rules; a whole-tree delete without a release
// callback frees the rest (the sanitizer build's leak check watches).
TEST(TreeEdges, AscendingFill) {
  std::vector<Record> records(1000);
  std::vector<void *> want;
  Node *tree = nullptr;
  for (int k = 1; k <= 1000; ++k) {
    records[k - 1] = {k, 0};
    want.push_back(&records[k - 1]);
    ASSERT_EQ(SMRedBlackTreeDataInsert(&tree, &records[k - 1], &k, &CompareKey), 0u);
  }
  ASSERT_TRUE(IsValidTree(tree, 1000));
  Collector up, down;
  EXPECT_EQ(SMRedBlackTreeDataWalk(tree, &up, &Collect, 1), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataWalk(tree, &down, &Collect, 2), nullptr);
  EXPECT_EQ(up.seen, want);
  std::reverse(want.begin(), want.end());
  EXPECT_EQ(down.seen, want);
  for (int k = 2; k <= 1000; k += 2) {
    ASSERT_EQ(SMRedBlackTreeDataDelete(&tree, &k, &CompareKey), 0u);
    ASSERT_TRUE(IsValidTree(tree, 1000 - k / 2));
  }
  SMRedBlackTreeDelete(&tree, nullptr, nullptr);
  EXPECT_EQ(tree, nullptr);
  EXPECT_EQ(SMRedBlackTreeIsEmpty(tree), 1);
}

// IsEmpty and DataWalk take the root itself, not the handle, and mode 0 looks
// at the node passed in only, so any subtree root will do. Detach forgets
// the root and touches no node.
TEST(TreeEdges, CallsOnTheRootAndDetach) {
  Record records[15];
  Node *tree = nullptr;
  for (int k = 0; k < 15; ++k) {
    records[k] = {k, 0};
    ASSERT_EQ(SMRedBlackTreeDataInsert(&tree, &records[k], &k, &CompareKey), 0u);
  }
  for (Node *node : {tree, tree->pLeft, tree->pRight}) {
    Collector stop{{}, 0}, go;
    EXPECT_EQ(SMRedBlackTreeDataWalk(node, &stop, &Collect, 0), node->pData);
    EXPECT_EQ(SMRedBlackTreeDataWalk(node, &go, &Collect, 0), nullptr);
    EXPECT_EQ(go.seen, std::vector<void *>(1, node->pData));
  }
  Node *root = tree;
  SMRedBlackTreeDetach(&tree);
  EXPECT_EQ(tree, nullptr);
  EXPECT_EQ(SMRedBlackTreeIsEmpty(root), 0);
  EXPECT_TRUE(IsValidTree(root, 15));
  SMRedBlackTreeDelete(&root, nullptr, nullptr);
}

// Walk mode 5 and null arguments: null or 271, and no callback call.
TEST(TreeEdges, Refusals) {
  Record record{1, 0};
  int key = 1;
  Node *tree = nullptr;
  ASSERT_EQ(SMRedBlackTreeDataInsert(&tree, &record, &key, &CompareKey), 0u);
  Collector c;
  EXPECT_EQ(SMRedBlackTreeDataWalk(tree, &c, &Collect, 5), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataWalk(tree, nullptr, &Collect, 1), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataWalk(tree, &c, nullptr, 1), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataWalk(nullptr, &c, &Collect, 1), nullptr);
  EXPECT_TRUE(c.seen.empty());
  EXPECT_EQ(SMRedBlackTreeDataInsert(nullptr, &record, &key, &CompareKey), 271u);
  EXPECT_EQ(SMRedBlackTreeDataInsert(&tree, nullptr, &key, &CompareKey), 271u);
  EXPECT_EQ(SMRedBlackTreeDataInsert(&tree, &record, nullptr, &CompareKey), 271u);
  EXPECT_EQ(SMRedBlackTreeDataInsert(&tree, &record, &key, nullptr), 271u);
  EXPECT_EQ(SMRedBlackTreeDataDelete(nullptr, &key, &CompareKey), 271u);
  EXPECT_EQ(SMRedBlackTreeDataDelete(&tree, nullptr, &CompareKey), 271u);
  EXPECT_EQ(SMRedBlackTreeDataDelete(&tree, &key, nullptr), 271u);
  EXPECT_EQ(SMRedBlackTreeDataReplace(nullptr, &record, &key, &CompareKey), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataReplace(&tree, nullptr, &key, &CompareKey), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataReplace(&tree, &record, nullptr, &CompareKey), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataReplace(&tree, &record, &key, nullptr), nullptr);
  SMRedBlackTreeAttach(nullptr);
  SMRedBlackTreeDetach(nullptr);
  SMRedBlackTreeDelete(nullptr, nullptr, nullptr);
  EXPECT_TRUE(IsValidTree(tree, 1));
  SMRedBlackTreeDelete(&tree, nullptr, nullptr);
}

}  // namespace
