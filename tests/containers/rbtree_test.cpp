// Red-black tree: seeded random insert/delete/replace/walk sequences checked
// against a std::map model, with every red-black rule verified after each
// step, then the edge cases worth pinning. The exported entries are used
// throughout; the internal interface is checked where it adds to them.
#include "containers/rbtree.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>
#include <vector>

#include "kxsupt/containers.h"

namespace {

// Data records: the key is the record's `key` field. Two records per key let
// a replace swap one for the other.
struct Record {
  int key;
  int generation;
};

int32_t CompareKey(void *key, void *data) {
  const int a = *static_cast<int *>(key);
  const int b = static_cast<Record *>(data)->key;
  return a < b ? -1 : (a > b ? 1 : 0);
}

// ---- invariants --------------------------------------------------------------

struct Shape {
  int black_height = 0;
  int height = 0;
  size_t count = 0;
};

// Checks one subtree (parent links, no red-red, equal black heights, order
// strictly between lo and hi) and returns its shape.
::testing::AssertionResult CheckSubtree(const SMRedBlackTreeNode *node,
                                        const SMRedBlackTreeNode *parent, const int *lo,
                                        const int *hi, Shape *shape) {
  if (node == nullptr) {
    *shape = Shape{1, 0, 0};
    return ::testing::AssertionSuccess();
  }
  const int key = static_cast<Record *>(node->pData)->key;
  if (node->pParent != parent) return ::testing::AssertionFailure() << key << ": bad parent";
  if (node->color != 0 && node->color != 1) {
    return ::testing::AssertionFailure() << key << ": colour " << node->color;
  }
  if ((lo != nullptr && key <= *lo) || (hi != nullptr && key >= *hi)) {
    return ::testing::AssertionFailure() << key << ": out of order";
  }
  if (node->color == 1 &&
      ((node->pLeft && node->pLeft->color == 1) || (node->pRight && node->pRight->color == 1))) {
    return ::testing::AssertionFailure() << key << ": red node with a red child";
  }
  Shape left, right;
  if (auto r = CheckSubtree(node->pLeft, node, lo, &key, &left); !r) return r;
  if (auto r = CheckSubtree(node->pRight, node, &key, hi, &right); !r) return r;
  if (left.black_height != right.black_height) {
    return ::testing::AssertionFailure()
           << key << ": black heights " << left.black_height << " and " << right.black_height;
  }
  shape->black_height = left.black_height + (node->color == 0 ? 1 : 0);
  shape->height = 1 + std::max(left.height, right.height);
  shape->count = 1 + left.count + right.count;
  return ::testing::AssertionSuccess();
}

::testing::AssertionResult IsValidTree(const SMRedBlackTreeNode *root, size_t expected_count) {
  if (root != nullptr && root->color != 0) return ::testing::AssertionFailure() << "red root";
  Shape shape;
  if (auto r = CheckSubtree(root, nullptr, nullptr, nullptr, &shape); !r) return r;
  if (shape.count != expected_count) {
    return ::testing::AssertionFailure() << shape.count << " nodes, expected " << expected_count;
  }
  const double bound = 2 * std::log2(static_cast<double>(shape.count) + 1);
  if (shape.height > bound + 1e-9) {
    return ::testing::AssertionFailure() << "height " << shape.height << " above " << bound;
  }
  return ::testing::AssertionSuccess();
}

// ---- walk helpers --------------------------------------------------------------

struct Collector {
  std::vector<Record *> seen;
  size_t stop_after = SIZE_MAX;  // return 0 at this visit (0-based)
};

int32_t Collect(void *context, void *data) {
  auto *c = static_cast<Collector *>(context);
  c->seen.push_back(static_cast<Record *>(data));
  return c->seen.size() - 1 == c->stop_after ? 0 : 1;
}

std::vector<Record *> WalkAll(SMRedBlackTreeNode *root, uint32_t mode) {
  Collector c;
  EXPECT_EQ(SMRedBlackTreeDataWalk(root, &c, &Collect, mode), nullptr);
  return c.seen;
}

// A callback for mode 4 whose answers are no ordering at all: 0 on the
// target, otherwise a sign taken from a hash of the visited key.
struct Hunt {
  int target;
  int visits = 0;
};
int32_t Unordered(void *context, void *data) {
  auto *h = static_cast<Hunt *>(context);
  ++h->visits;
  const int key = static_cast<Record *>(data)->key;
  if (key == h->target) return 0;
  return (static_cast<uint32_t>(key) * 2654435761u) >> 31 ? 1 : -1;
}

// ---- model-based sequence ---------------------------------------------------

void RunRandomOperations(uint32_t seed, int steps, int key_range) {
  std::vector<Record> first(key_range), second(key_range);
  for (int k = 0; k < key_range; ++k) {
    first[k] = {k, 1};
    second[k] = {k, 2};
  }
  SMRedBlackTreeNode *tree = reinterpret_cast<SMRedBlackTreeNode *>(&first);  // garbage
  SMRedBlackTreeAttach(&tree);
  ASSERT_EQ(tree, nullptr);
  std::map<int, Record *> model;
  std::mt19937 rng(seed);

  for (int step = 0; step < steps; ++step) {
    const uint32_t op = rng() % 9;
    int key = static_cast<int>(rng() % key_range);
    SCOPED_TRACE(::testing::Message()
                 << "seed " << seed << " step " << step << " op " << op << " key " << key);
    auto at = model.find(key);
    switch (op) {
      case 0:
      case 1:
      case 2: {
        Record *data = rng() % 2 ? &first[key] : &second[key];
        const SMStatus status = SMRedBlackTreeDataInsert(&tree, data, &key, &CompareKey);
        if (at != model.end()) {
          ASSERT_EQ(status, 258u);
        } else {
          ASSERT_EQ(status, 0u);
          model[key] = data;
        }
        break;
      }
      case 3:
      case 4: {
        const SMStatus status = SMRedBlackTreeDataDelete(&tree, &key, &CompareKey);
        ASSERT_EQ(status, at != model.end() ? 0u : 256u);
        if (at != model.end()) model.erase(at);
        break;
      }
      case 5: {
        Record *fresh =
            (at != model.end() && at->second == &first[key]) ? &second[key] : &first[key];
        void *old = SMRedBlackTreeDataReplace(&tree, fresh, &key, &CompareKey);
        if (at != model.end()) {
          ASSERT_EQ(old, at->second);
          at->second = fresh;
        } else {
          ASSERT_EQ(old, nullptr);
        }
        break;
      }
      case 6: {  // keyed search
        void *found = SMRedBlackTreeDataWalk(tree, &key, &CompareKey, 3);
        ASSERT_EQ(found, at != model.end() ? at->second : nullptr);
        break;
      }
      case 7: {  // exhaustive search with an inconsistent callback
        Hunt hunt{key};
        void *found = SMRedBlackTreeDataWalk(tree, &hunt, &Unordered, 4);
        ASSERT_EQ(found, at != model.end() ? at->second : nullptr);
        if (at == model.end()) {
          ASSERT_EQ(static_cast<size_t>(hunt.visits), model.size());
        }
        break;
      }
      default: {  // both in-order walks
        std::vector<Record *> ascending, descending;
        for (auto &[k, data] : model) ascending.push_back(data);
        descending.assign(ascending.rbegin(), ascending.rend());
        ASSERT_EQ(WalkAll(tree, 1), ascending);
        ASSERT_EQ(WalkAll(tree, 2), descending);
        break;
      }
    }
    ASSERT_TRUE(IsValidTree(tree, model.size()));
    ASSERT_EQ(SMRedBlackTreeIsEmpty(tree), model.empty() ? 1 : 0);
  }
  SMRedBlackTreeDelete(&tree, nullptr, nullptr);
  EXPECT_EQ(tree, nullptr);
}

TEST(TreeModel, FollowsStdMapOverRandomOperations) {
  RunRandomOperations(1, 20000, 300);
  RunRandomOperations(2, 20000, 40);
  RunRandomOperations(3, 8000, 4000);
}

// Growing a large tree and emptying it in random order, checked at every step.
TEST(TreeModel, GrowsAndShrinksThroughEveryRepairCase) {
  constexpr int kCount = 1500;
  std::vector<Record> records(kCount);
  std::vector<int> keys(kCount);
  for (int k = 0; k < kCount; ++k) records[k] = {k, 0}, keys[k] = k;
  std::mt19937 rng(7);
  std::shuffle(keys.begin(), keys.end(), rng);
  SMRedBlackTreeNode *tree = nullptr;
  for (int i = 0; i < kCount; ++i) {
    ASSERT_EQ(SMRedBlackTreeDataInsert(&tree, &records[keys[i]], &keys[i], &CompareKey), 0u);
    ASSERT_TRUE(IsValidTree(tree, i + 1));
  }
  std::shuffle(keys.begin(), keys.end(), rng);
  for (int i = 0; i < kCount; ++i) {
    void *removed = nullptr;
    ASSERT_EQ(kx::containers::TreeRemove(&tree, &keys[i], &CompareKey, &removed), 0u);
    ASSERT_EQ(removed, &records[keys[i]]);
    ASSERT_TRUE(IsValidTree(tree, kCount - i - 1));
  }
  EXPECT_EQ(tree, nullptr);
}

// The internal stepping agrees with the ascending walk.
TEST(TreeModel, FirstAndNextStepInAscendingOrder) {
  std::vector<Record> records(200);
  SMRedBlackTreeNode *tree = nullptr;
  std::mt19937 rng(5);
  for (int i = 0; i < 200; ++i) {
    records[i] = {static_cast<int>(rng() % 1000), i};
    SMRedBlackTreeDataInsert(&tree, &records[i], &records[i].key, &CompareKey);
  }
  std::vector<Record *> stepped;
  for (auto *n = kx::containers::TreeFirst(tree); n != nullptr; n = kx::containers::TreeNext(n)) {
    stepped.push_back(static_cast<Record *>(n->pData));
  }
  EXPECT_EQ(stepped, WalkAll(tree, 1));
  EXPECT_EQ(kx::containers::TreeFirst(nullptr), nullptr);
  SMRedBlackTreeDelete(&tree, nullptr, nullptr);
}

// ---- edge cases ----------------------------------------------------------------

class TreeEdges : public ::testing::Test {
 protected:
  void SetUp() override {
    for (int k = 0; k < 1000; ++k) records_[k] = {k + 1, 0};
  }
  void TearDown() override { SMRedBlackTreeDelete(&tree_, nullptr, nullptr); }
  void InsertRange(int from, int to) {
    for (int k = from; k <= to; ++k) {
      ASSERT_EQ(SMRedBlackTreeDataInsert(&tree_, &records_[k - 1], &k, &CompareKey), 0u);
    }
  }
  Record records_[1000];
  SMRedBlackTreeNode *tree_ = nullptr;
};

TEST_F(TreeEdges, AscendingInsertsStayBalancedAndWalkInBothOrders) {
  InsertRange(1, 1000);
  ASSERT_TRUE(IsValidTree(tree_, 1000));
  std::vector<Record *> up = WalkAll(tree_, 1), down = WalkAll(tree_, 2);
  ASSERT_EQ(up.size(), 1000u);
  ASSERT_EQ(down.size(), 1000u);
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(up[i]->key, i + 1);
    EXPECT_EQ(down[i]->key, 1000 - i);
  }
}

TEST_F(TreeEdges, DuplicateInsertKeepsStoredData) {
  InsertRange(1, 10);
  Record other{5, 9};
  int key = 5;
  EXPECT_EQ(SMRedBlackTreeDataInsert(&tree_, &other, &key, &CompareKey), 258u);
  EXPECT_EQ(SMRedBlackTreeDataWalk(tree_, &key, &CompareKey, 3), &records_[4]);
}

TEST_F(TreeEdges, DeletingATwoChildNodeMovesTheSuccessorsDataIntoIt) {
  InsertRange(1, 15);
  SMRedBlackTreeNode *root = tree_;
  ASSERT_NE(root->pLeft, nullptr);
  ASSERT_NE(root->pRight, nullptr);
  int key = static_cast<Record *>(root->pData)->key;
  ASSERT_EQ(SMRedBlackTreeDataDelete(&tree_, &key, &CompareKey), 0u);
  // The root's node survives with the data of the next key up.
  EXPECT_EQ(tree_, root);
  EXPECT_EQ(static_cast<Record *>(root->pData)->key, key + 1);
  std::vector<Record *> up = WalkAll(tree_, 1);
  ASSERT_EQ(up.size(), 14u);
  for (int i = 0, want = 1; i < 14; ++i, ++want) {
    if (want == key) ++want;
    EXPECT_EQ(up[i]->key, want);
  }
  EXPECT_TRUE(IsValidTree(tree_, 14));
}

TEST_F(TreeEdges, StatusesOfDeleteAndInsert) {
  int key = 3;
  EXPECT_EQ(SMRedBlackTreeDataDelete(&tree_, &key, &CompareKey), 256u);  // empty tree
  InsertRange(1, 5);
  key = 42;
  EXPECT_EQ(SMRedBlackTreeDataDelete(&tree_, &key, &CompareKey), 256u);
  EXPECT_EQ(SMRedBlackTreeDataDelete(nullptr, &key, &CompareKey), 271u);
  EXPECT_EQ(SMRedBlackTreeDataDelete(&tree_, nullptr, &CompareKey), 271u);
  EXPECT_EQ(SMRedBlackTreeDataDelete(&tree_, &key, nullptr), 271u);
  EXPECT_EQ(SMRedBlackTreeDataInsert(nullptr, &records_[41], &key, &CompareKey), 271u);
  EXPECT_EQ(SMRedBlackTreeDataInsert(&tree_, nullptr, &key, &CompareKey), 271u);
  EXPECT_EQ(SMRedBlackTreeDataInsert(&tree_, &records_[41], nullptr, &CompareKey), 271u);
  EXPECT_EQ(SMRedBlackTreeDataInsert(&tree_, &records_[41], &key, nullptr), 271u);
  EXPECT_EQ(SMRedBlackTreeDataReplace(nullptr, &records_[0], &key, &CompareKey), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataReplace(&tree_, nullptr, &key, &CompareKey), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataReplace(&tree_, &records_[0], nullptr, &CompareKey), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataReplace(&tree_, &records_[0], &key, nullptr), nullptr);
  EXPECT_TRUE(IsValidTree(tree_, 5));
}

TEST_F(TreeEdges, ReplaceReturnsOldDataAndWalkYieldsNew) {
  InsertRange(1, 7);
  Record fresh{4, 1};
  int key = 4;
  EXPECT_EQ(SMRedBlackTreeDataReplace(&tree_, &fresh, &key, &CompareKey), &records_[3]);
  EXPECT_EQ(WalkAll(tree_, 1)[3], &fresh);
  key = 8;
  EXPECT_EQ(SMRedBlackTreeDataReplace(&tree_, &fresh, &key, &CompareKey), nullptr);
}

TEST_F(TreeEdges, WalkRefusals) {
  InsertRange(1, 3);
  Collector c;
  EXPECT_EQ(SMRedBlackTreeDataWalk(tree_, &c, &Collect, 5), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataWalk(tree_, nullptr, &Collect, 1), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataWalk(tree_, &c, nullptr, 1), nullptr);
  EXPECT_EQ(SMRedBlackTreeDataWalk(nullptr, &c, &Collect, 1), nullptr);
  EXPECT_TRUE(c.seen.empty());
}

TEST_F(TreeEdges, WalksStopAtTheFirstZero) {
  InsertRange(1, 20);
  struct Case {
    uint32_t mode;
    size_t stop_after;
    int want_key;
  };
  for (const Case &t : {Case{1, 0, 1}, Case{1, 6, 7}, Case{2, 0, 20}, Case{2, 4, 16}}) {
    Collector c;
    c.stop_after = t.stop_after;
    auto *found = static_cast<Record *>(SMRedBlackTreeDataWalk(tree_, &c, &Collect, t.mode));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->key, t.want_key);
    EXPECT_EQ(c.seen.size(), t.stop_after + 1);
  }
  // Mode 0 looks at the node passed in only: any subtree root will do.
  for (SMRedBlackTreeNode *node : {tree_, tree_->pLeft, tree_->pRight}) {
    Collector c;
    c.stop_after = 0;
    EXPECT_EQ(SMRedBlackTreeDataWalk(node, &c, &Collect, 0), node->pData);
    EXPECT_EQ(c.seen.size(), 1u);
    Collector never;
    EXPECT_EQ(SMRedBlackTreeDataWalk(node, &never, &Collect, 0), nullptr);
    EXPECT_EQ(never.seen.size(), 1u);
  }
}

// With a consistent compare, mode 4 finds a present key along the search
// path alone: its visits are exactly the path's nodes.
TEST_F(TreeEdges, GuidedSearchFollowsTheSearchPathFirst) {
  InsertRange(1, 300);
  for (int key = 1; key <= 300; key += 7) {
    int depth = 1;
    for (auto *n = tree_; static_cast<Record *>(n->pData)->key != key; ++depth) {
      n = key < static_cast<Record *>(n->pData)->key ? n->pLeft : n->pRight;
    }
    struct Counted {
      int key;
      int visits;
    } counted{key, 0};
    auto cb = [](void *ctx, void *data) -> int32_t {
      auto *c = static_cast<Counted *>(ctx);
      ++c->visits;
      return CompareKey(&c->key, data);
    };
    auto *found = static_cast<Record *>(SMRedBlackTreeDataWalk(tree_, &counted, cb, 4));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->key, key);
    EXPECT_EQ(counted.visits, depth);
  }
}

std::vector<int> g_released;
int32_t Release(void *context, void *data) {
  ++*static_cast<int *>(context);
  g_released.push_back(static_cast<Record *>(data)->key);
  return 0;
}

TEST_F(TreeEdges, WholeTreeDeleteReleasesRightThenLeftThenNode) {
  InsertRange(1, 3);  // 2 at the root, 1 and 3 below it
  int calls = 0;
  g_released.clear();
  SMRedBlackTreeDelete(&tree_, &calls, &Release);
  EXPECT_EQ(tree_, nullptr);
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(g_released, (std::vector<int>{3, 1, 2}));
  EXPECT_EQ(SMRedBlackTreeIsEmpty(tree_), 1);
}

TEST_F(TreeEdges, WholeTreeDeleteWithoutReleaseFreesEveryNode) {
  InsertRange(1, 100);
  SMRedBlackTreeDelete(&tree_, nullptr, nullptr);
  EXPECT_EQ(tree_, nullptr);
  EXPECT_EQ(SMRedBlackTreeIsEmpty(tree_), 1);
  SMRedBlackTreeDelete(nullptr, nullptr, nullptr);  // no handle: nothing to do
}

TEST_F(TreeEdges, DetachOnlyForgetsTheRoot) {
  InsertRange(1, 10);
  SMRedBlackTreeNode *root = tree_;
  SMRedBlackTreeDetach(&tree_);
  EXPECT_EQ(tree_, nullptr);
  EXPECT_EQ(SMRedBlackTreeIsEmpty(tree_), 1);
  EXPECT_EQ(SMRedBlackTreeIsEmpty(root), 0);
  EXPECT_TRUE(IsValidTree(root, 10));  // the nodes are untouched
  SMRedBlackTreeDelete(&root, nullptr, nullptr);
  SMRedBlackTreeAttach(nullptr);
  SMRedBlackTreeDetach(nullptr);
}

}  // namespace
