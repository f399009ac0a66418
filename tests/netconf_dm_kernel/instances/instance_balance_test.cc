// The trees that the library keeps stay low, counted and even at the root, whatever comes and goes
// in whatever order.

#include "netconf_dm_kernel/instances/instance_balance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <random>
#include <string>
#include <vector>

#include "netconf_dm_kernel/instances/instance_tree_fixture.h"

// Hidden in the library, so it is compiled into this program.
// NOLINTNEXTLINE(bugprone-suspicious-include)
#include "netconf_dm_kernel/instances/instance_balance.cc"

namespace ncdm_test {
namespace {

// An instance tree that is judged as it changes: the root after each insertion, all of it now and
// then.
class JudgedTree {
 public:
  // `checks`: how many operations pass from one look at the whole tree to the next.
  explicit JudgedTree(size_t checks) : checks_(checks) {}

  void Insert(nc_int64 id) {
    Entry* entry = NewEntry(id);
    EXPECT_TRUE(nc::InsertInstance(&tree_, entry));
    ++size_;
    EXPECT_EQ(root()->left_cnt + root()->right_cnt + 1, size_);
    EXPECT_LE(std::abs(root()->left_cnt - root()->right_cnt), 1) << "with " << size_;
    LookNowAndThen();
  }

  void Remove(Entry* entry) {
    nc::RemoveInstance(&tree_, entry);
    EXPECT_TRUE(entry->left == nullptr && entry->right == nullptr && entry->parent == nullptr);
    EXPECT_EQ(entry->left_cnt + entry->right_cnt, 0);
    free_.push_back(entry);
    --size_;
    LookNowAndThen();
  }
  void Remove(nc_int64 id) { Remove(Find(id)); }

  Entry* Find(nc_int64 id) const {
    return nc_dm_agent_search_bin_tree_node_by_instid(tree_.root_byid, id);
  }

  Entry* Smallest() const { return nc_dm_agent_get_bin_tree_left(root(), 0); }
  Entry* Largest() const { return nc_dm_agent_get_bin_tree_right(root(), 0); }
  Entry* Deepest() const {
    Entry* deepest = nullptr;
    for (Entry* at = root(); at != nullptr;) {
      deepest = at;
      at = at->left_cnt > at->right_cnt ? at->left : at->right;
    }
    return deepest;
  }

  Entry* root() const { return tree_.root_byid; }
  nc_dm_bin_tree_t* tree() { return &tree_; }
  nc_int32 size() const { return size_; }

  // Links, order, counts, weights and depth of all of it.
  void Look() {
    has_last_ = false;
    LookBelow(root(), nullptr);
    EXPECT_EQ(CountedSize(root()), size_);
    EXPECT_LE(Depth(root()), MaxDepth(size_)) << "with " << size_;
  }

 private:
  void LookBelow(const Entry* entry, const Entry* parent) {
    if (entry == nullptr) return;
    EXPECT_EQ(entry->parent, parent);
    if (parent != nullptr) ExpectEvenWeights(*entry);
    LookBelow(entry->left, entry);
    EXPECT_TRUE(!has_last_ || last_id_ < entry->id);
    has_last_ = true;
    last_id_ = entry->id;
    LookBelow(entry->right, entry);
  }

  // Below the root neither side weighs more than 5/2 of the other.
  static void ExpectEvenWeights(const Entry& entry) {
    const auto [light, heavy] = std::minmax({entry.left_cnt + 1, entry.right_cnt + 1});
    EXPECT_LE(2 * heavy, 5 * light) << "at " << entry.id;
  }

  void LookNowAndThen() {
    if (++operations_ % checks_ == 0) Look();
  }

  Entry* NewEntry(nc_int64 id) {
    if (free_.empty()) free_.push_back(&entries_.emplace_back());
    Entry* entry = free_.back();
    free_.pop_back();
    *entry = {};
    entry->id = id;
    return entry;
  }

  const size_t checks_;
  size_t operations_ = 0;
  nc_dm_bin_tree_t tree_ = {};
  nc_int32 size_ = 0;
  std::deque<Entry> entries_;
  std::vector<Entry*> free_;
  bool has_last_ = false;
  nc_int64 last_id_ = 0;
};

void InsertRising(JudgedTree* tree, nc_int64 first, nc_int64 last) {
  for (nc_int64 id = first; id <= last; ++id) tree->Insert(id);
}

void RemoveFalling(JudgedTree* tree, nc_int64 last, nc_int64 first) {
  for (nc_int64 id = last; id >= first; --id) tree->Remove(id);
}

void RisingAndEmptied(JudgedTree* tree, nc_int64 n) {
  InsertRising(tree, 1, n);
  for (nc_int64 id = 1; id <= n; ++id) tree->Remove(id);
}

void FallingAndEmptied(JudgedTree* tree, nc_int64 n) {
  for (nc_int64 id = n; id >= 1; --id) tree->Insert(id);
  RemoveFalling(tree, n, 1);
}

void LowerHalfAgainAndAgain(JudgedTree* tree, nc_int64 n) {
  InsertRising(tree, 1, n);
  for (int round = 0; round < 3; ++round) {
    RemoveFalling(tree, n / 2, 1);
    InsertRising(tree, 1, n / 2);
  }
}

void UpperThirdAgainAndAgain(JudgedTree* tree, nc_int64 n) {
  InsertRising(tree, 1, n);
  for (int round = 0; round < 3; ++round) {
    for (nc_int64 id = n - n / 3; id <= n; ++id) tree->Remove(id);
    for (nc_int64 id = n; id >= n - n / 3; --id) tree->Insert(id);
  }
}

void RandomWindows(JudgedTree* tree, nc_int64 n) {
  std::mt19937_64 random(5);
  InsertRising(tree, 1, n);
  for (int round = 0; round < 20; ++round) {
    const nc_int64 length = 1 + static_cast<nc_int64>(random() % static_cast<uint64_t>(n / 8));
    const nc_int64 first = 1 + static_cast<nc_int64>(random() % static_cast<uint64_t>(n - length));
    RemoveFalling(tree, first + length - 1, first);
    InsertRising(tree, first, first + length - 1);
  }
}

// As numbers of sessions or leases go: the newest comes, the oldest goes.
void SlidingWindow(JudgedTree* tree, nc_int64 n) {
  InsertRising(tree, 1, n / 4);
  for (nc_int64 id = n / 4 + 1; id <= n; ++id) {
    tree->Insert(id);
    tree->Remove(tree->Smallest());
  }
}

void AlternatingEnds(JudgedTree* tree, nc_int64 n) {
  for (nc_int64 id = 1; id <= n / 2; ++id) {
    tree->Insert(id);
    tree->Insert(-id);
  }
  while (tree->size() > 1) {
    tree->Remove(tree->Smallest());
    tree->Remove(tree->Largest());
  }
}

// Each new id lies between the last two.
void AlternatingInwards(JudgedTree* tree, nc_int64 n) {
  for (nc_int64 id = 1; id <= n / 2; ++id) {
    tree->Insert(id);
    tree->Insert(n + 1 - id);
  }
  while (tree->size() > 0) tree->Remove(tree->root());
}

void Random(JudgedTree* tree, nc_int64 n) {
  std::mt19937_64 random(7);
  std::vector<nc_int64> ids;
  for (nc_int64 step = 0; step < 2 * n; ++step) {
    const bool grows = random() % 100 < (step < n ? 80 : 30);
    if (!grows && !ids.empty()) {
      std::swap(ids[static_cast<size_t>(random() % ids.size())], ids.back());
      tree->Remove(ids.back());
      ids.pop_back();
      continue;
    }
    const auto id = static_cast<nc_int64>(random());
    if (tree->root() != nullptr && tree->Find(id) != nullptr) continue;
    tree->Insert(id);
    ids.push_back(id);
  }
}

// The light sides are thinned wherever the tree is lopsided already.
void DeepestStays(JudgedTree* tree, nc_int64 n) {
  std::mt19937_64 random(11);
  for (nc_int64 id = 1; id <= n; ++id) tree->Insert(id * 1'000'003 % 16'777'259);
  while (tree->size() > 2) {
    Entry* deepest = tree->Deepest();
    Entry* victim = deepest->parent;
    while (victim->parent != nullptr && random() % 2 == 0) victim = victim->parent;
    Entry* other = victim->left_cnt < victim->right_cnt ? victim->left : victim->right;
    tree->Remove(other != nullptr ? other : victim);
  }
}

struct Sequence {
  const char* name;
  void (*run)(JudgedTree* tree, nc_int64 n);
};

constexpr Sequence kSequences[] = {
    {"RisingAndEmptied", RisingAndEmptied},
    {"FallingAndEmptied", FallingAndEmptied},
    {"LowerHalfAgainAndAgain", LowerHalfAgainAndAgain},
    {"UpperThirdAgainAndAgain", UpperThirdAgainAndAgain},
    {"RandomWindows", RandomWindows},
    {"SlidingWindow", SlidingWindow},
    {"AlternatingEnds", AlternatingEnds},
    {"AlternatingInwards", AlternatingInwards},
    {"Random", Random},
    {"DeepestStays", DeepestStays},
};

class InstanceBalanceTest : public testing::TestWithParam<Sequence> {};

TEST_P(InstanceBalanceTest, HoldsAfterEachOperationOnFew) {
  for (nc_int64 n : {8, 40, 129, 300}) {
    JudgedTree tree(1);
    GetParam().run(&tree, n);
    ASSERT_FALSE(HasFailure()) << "up to " << n;
  }
}

TEST_P(InstanceBalanceTest, HoldsWithManyEntries) {
  JudgedTree tree(20'011);
  GetParam().run(&tree, 100'000);
  tree.Look();
}

INSTANTIATE_TEST_SUITE_P(Sequences, InstanceBalanceTest, testing::ValuesIn(kSequences),
                         [](const auto& sequence) { return std::string(sequence.param.name); });

TEST(InstanceBalance, ARootWhoseSidesDifferByOneStays) {
  JudgedTree rising(1);
  for (nc_int64 id : {10, 20}) rising.Insert(id);
  EXPECT_EQ(Shape(rising.root()), "10(1|20)");
  JudgedTree falling(1);
  for (nc_int64 id : {20, 10}) falling.Insert(id);
  EXPECT_EQ(Shape(falling.root()), "(1|10)20");
}

TEST(InstanceBalance, AnEntryWithinItsBoundsStays) {
  JudgedTree tree(1);
  for (nc_int64 id : {10, 5, 15, 20}) tree.Insert(id);
  EXPECT_EQ(Shape(tree.root()), "(1|5)10(2|15(1|20))");
  tree.Insert(1);
  EXPECT_EQ(Shape(tree.root()), "(2|(1|1)5)10(2|15(1|20))");
}

TEST(InstanceBalance, ExtremeIds) {
  JudgedTree tree(1);
  for (nc_int64 distance = 0; distance < 20; ++distance) {
    tree.Insert(INT64_MAX - distance);
    tree.Insert(INT64_MIN + distance);
    tree.Insert(distance);
  }
  for (nc_int64 distance = 0; distance < 20; ++distance) tree.Remove(INT64_MIN + distance);
  EXPECT_EQ(tree.Smallest()->id, 0);
}

TEST(InstanceBalance, AnIdIsEnteredOnceAndCountsStayTrue) {
  JudgedTree tree(1);
  InsertRising(&tree, 1, 100);
  for (nc_int64 id : {1, 37, 50, 100}) {
    Entry again = {};
    again.id = id;
    EXPECT_FALSE(nc::InsertInstance(tree.tree(), &again));
    EXPECT_EQ(again.parent, nullptr);
  }
  tree.Look();
}

TEST(InstanceBalance, WhatIsInNoTreeLeavesTheTreeAlone) {
  JudgedTree tree(1);
  InsertRising(&tree, 1, 10);
  Entry stranger = {};
  stranger.id = 5;
  nc::RemoveInstance(tree.tree(), &stranger);
  nc::RemoveInstance(nullptr, &stranger);
  tree.Look();
}

TEST(InstanceBalance, EntriesOutliveTheRecordOfTheirTree) {
  JudgedTree tree(1);
  InsertRising(&tree, 1, 10);
  Entry* root = tree.root();
  nc_dm_bin_tree_t newer = {};
  Entry first = {};
  first.id = 1;
  EXPECT_TRUE(nc::InsertInstance(&newer, &first));
  nc::RemoveInstance(&newer, tree.Smallest());
  nc::RemoveInstance(nullptr, tree.Smallest());
  EXPECT_EQ(newer.root_byid, &first);
  EXPECT_EQ(root->left_cnt + root->right_cnt + 1, 8);
}

// The functions for applications may leave counts that are not true.
TEST(InstanceBalance, CountsThatAreNotTrueLoseNothing) {
  std::mt19937_64 random(3);
  JudgedTree tree(SIZE_MAX);
  InsertRising(&tree, 1, 400);
  std::vector<Entry*> deleted;
  for (int i = 0; i < 150; ++i) {
    Entry* victim = tree.Find(1 + static_cast<nc_int64>(random() % 400));
    if (victim == nullptr) continue;
    Entry* replacement = nc_dm_agent_delete_bin_tree_node(victim);
    if (victim == tree.root()) tree.tree()->root_byid = replacement;
    deleted.push_back(victim);
  }
  for (nc_int64 id = 500; id < 700; ++id) {
    Entry* entry = deleted.back();
    if (id < 600) {
      deleted.pop_back();
      *entry = {};
      entry->id = id;
      EXPECT_TRUE(nc::InsertInstance(tree.tree(), entry));
    }
    EXPECT_EQ(tree.Find(id) != nullptr, id < 600);
  }
  for (const Entry* entry : deleted) EXPECT_EQ(tree.Find(entry->id), nullptr);
  for (nc_int64 id = 1; id < 600; ++id) {
    Entry* entry = tree.Find(id);
    if (entry == nullptr) continue;
    nc::RemoveInstance(tree.tree(), entry);
    EXPECT_EQ(tree.root() == nullptr ? nullptr : tree.Find(id), nullptr);
  }
  EXPECT_EQ(tree.root(), nullptr);
}

}  // namespace
}  // namespace ncdm_test
