// Entering instances in trees of all sizes.

#include "netconf_dm_kernel/instances/instance_balance.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "netconf_dm_kernel/instances/instance_tree_fixture.h"

// Hidden in the library, so it is compiled into this program.
#include "netconf_dm_kernel/instances/instance_balance.cc"

namespace ncdm_test {
namespace {

constexpr size_t kSmall = 128;
constexpr int kMaxDepth = 36;

class InstanceInsertTest : public InstanceTreeTest, public testing::WithParamInterface<IdShape> {
 protected:
  bool Enter(nc_int64 id) {
    Entry* entry = New(id);
    nc_dm_bin_tree_t tree = {};
    tree.root_byid = root_;
    const bool is_inserted = nc::InsertInstance(&tree, entry);
    root_ = tree.root_byid;
    EXPECT_EQ(is_inserted, ids_.insert(id).second);
    if (!is_inserted) Free(entry);
    return is_inserted;
  }

  void Leave(nc_int64 id) {
    Delete(id);
    ids_.erase(id);
  }

  void Compare() const { EXPECT_EQ(Ids(), std::vector<nc_int64>(ids_.begin(), ids_.end())); }

  // Whether every count is that of the entries on its side.
  static bool HasExactCounts(const Entry* entry) {
    if (entry == nullptr) return true;
    const auto size = [](const Entry* top) {
      return top == nullptr ? 0 : top->left_cnt + top->right_cnt + 1;
    };
    return entry->left_cnt == size(entry->left) && entry->right_cnt == size(entry->right) &&
           HasExactCounts(entry->left) && HasExactCounts(entry->right);
  }

  std::set<nc_int64> ids_;
};

TEST_P(InstanceInsertTest, KeepsSmallTreesAsFlatAsCanBe) {
  IdSource source(GetParam(), 1);
  nc_dm_bin_tree_t tree = {};
  while (ids_.size() < kSmall) {
    const nc_int64 id = source.Next();
    if (ids_.contains(id)) {
      if (ids_.size() > 150) break;  // the source has run dry
      continue;
    }
    ids_.insert(id);
    nc::InsertInstance(&tree, New(id));
    InsertAndAdjust(id);
  }
  EXPECT_EQ(Shape(tree.root_byid), Shape(root_));
  EXPECT_LE(std::abs(root_->left_cnt - root_->right_cnt), 1);
}

TEST_P(InstanceInsertTest, KeepsLargeTreesLowAndCounted) {
  IdSource source(GetParam(), 2);
  for (int step = 0; step < 50000; ++step) {
    const nc_int64 id = source.Next();
    if (!ids_.contains(id)) Enter(id);
  }
  Compare();
  EXPECT_TRUE(HasExactCounts(root_));
  // What was a chain up to the limit is straightened as insertions pass through it.
  EXPECT_TRUE(GetParam() == IdShape::kAlternating || Depth(root_) <= kMaxDepth) << Depth(root_);
}

TEST_P(InstanceInsertTest, SurvivesGrowingAndShrinkingAcrossTheLimit) {
  IdSource source(GetParam(), 3);
  for (int round = 0; round < 4; ++round) {
    for (int step = 0; step < 2500; ++step) Enter(source.Next());
    Compare();
    while (ids_.size() > 100) {
      const auto victim = source.Random(2) == 0
                              ? ids_.begin()
                              : ids_.lower_bound(static_cast<nc_int64>(source.Random(5000)));
      Leave(victim == ids_.end() ? *ids_.rbegin() : *victim);
    }
    Compare();
  }
}

TEST_P(InstanceInsertTest, ChurnsWithCountsThatDrift) {
  IdSource source(GetParam(), 4);
  for (int step = 0; step < 1500; ++step) Enter(source.Next());
  for (int step = 0; step < 20000; ++step) {
    if (ids_.size() > 900) {
      const auto victim = ids_.lower_bound(static_cast<nc_int64>(source.Random(20000)) - 10000);
      Leave(victim == ids_.end() ? *ids_.begin() : *victim);
    }
    Enter(source.Next());
  }
  Compare();
}

INSTANTIATE_TEST_SUITE_P(Shapes, InstanceInsertTest, testing::ValuesIn(kIdShapes));

using InstanceInsertOneTest = InstanceInsertTest;

TEST_F(InstanceInsertOneTest, TheFirstEntryIsTheRoot) {
  EXPECT_TRUE(Enter(5));
  EXPECT_EQ(Shape(root_), "5");
}

TEST_F(InstanceInsertOneTest, AnIdIsEnteredOnce) {
  for (nc_int64 id = 0; id < 3000; ++id) {
    EXPECT_TRUE(Enter(id));
    EXPECT_TRUE(id % 100 != 0 || !Enter(id / 2)) << id;
  }
  Compare();
}

TEST_F(InstanceInsertOneTest, ManyAreLow) {
  for (nc_int64 id = 1; id <= 200000; ++id) Enter(id);
  EXPECT_LE(Depth(root_), kMaxDepth);
}

}  // namespace
}  // namespace ncdm_test
