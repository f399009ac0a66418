// Instance trees: each operation on small trees that can be drawn.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <string>

#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/instances/instance_tree_fixture.h"
#include "netconf_dm_util/intrusive_list.h"
#include "support/debug_mask.h"
#include "support/failing_alloc.h"
#include "support/log_lines.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kNullArgument = "The input binary tree node argument is null.\n";

class SmallTreeTest : public InstanceTreeTest {
 protected:
  const DebugMask mask_;
};

TEST_F(SmallTreeTest, SearchFindsWhatIsThere) {
  for (const nc_int64 id : {50, 20, 80, 10, 30}) Insert(id);
  for (const nc_int64 id : {50, 20, 80, 10, 30}) {
    ASSERT_NE(Find(id), nullptr);
    EXPECT_EQ(Find(id)->id, id);
  }
  for (const nc_int64 id : {0, 15, 25, 40, 60, 90}) EXPECT_EQ(Find(id), nullptr);
  EXPECT_THAT(LogCapture::Get().Texts(), IsEmpty());
}

TEST_F(SmallTreeTest, SearchOfNoTreeIsReported) {
  EXPECT_EQ(nc_dm_agent_search_bin_tree_node_by_instid(nullptr, 1), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("The input binary tree root is null.\n"));
}

TEST_F(SmallTreeTest, IdsCompareAsSigned64Bits) {
  for (const nc_int64 id :
       {nc_int64{0}, INT64_MIN, INT64_MAX, nc_int64{-1}, nc_int64{INT32_MAX} + 1}) {
    Insert(id);
  }
  EXPECT_THAT(Ids(), ElementsAre(INT64_MIN, -1, 0, nc_int64{INT32_MAX} + 1, INT64_MAX));
}

TEST_F(SmallTreeTest, InsertionCountsThePathDown) {
  Insert(50);
  EXPECT_EQ(Shape(root_), "50");
  Entry* entry = Insert(20);
  EXPECT_EQ(Shape(root_), "(1|20)50");
  EXPECT_EQ(entry->parent, root_);
  for (const nc_int64 id : {30, 80, 25}) Insert(id);
  EXPECT_EQ(Shape(root_), "(3|20(2|(1|25)30))50(1|80)");
  EXPECT_THAT(Ids(), ElementsAre(20, 25, 30, 50, 80));
}

TEST_F(SmallTreeTest, InsertionOfAnExistingIdLeavesTheCountsOneTooHigh) {
  for (const nc_int64 id : {50, 20, 30}) Insert(id);
  Entry* twin = Insert(30);
  EXPECT_EQ(Shape(root_), "(3|20(2|30))50");
  EXPECT_EQ(twin->parent, nullptr);
  Insert(50);
  EXPECT_EQ(Shape(root_), "(3|20(2|30))50");
}

TEST_F(SmallTreeTest, InsertionRefusesNull) {
  Entry* entry = Insert(1);
  EXPECT_EQ(nc_dm_agent_insert_bin_tree_node(nullptr, entry), -1);
  EXPECT_EQ(nc_dm_agent_insert_bin_tree_node(entry, nullptr), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("The input binary tree node arguments is null!\n",
                                        "The input binary tree node arguments is null!\n"));
}

TEST_F(SmallTreeTest, ExtremeWalksChangeTheirCounts) {
  for (const nc_int64 id : {50, 20, 80, 10, 90}) Insert(id);
  const std::string before = Shape(root_);
  EXPECT_EQ(nc_dm_agent_get_bin_tree_left(root_, 0)->id, 10);
  EXPECT_EQ(nc_dm_agent_get_bin_tree_right(root_, 0)->id, 90);
  EXPECT_EQ(Shape(root_), before);
  EXPECT_EQ(nc_dm_agent_get_bin_tree_left(root_, -7)->id, 10);
  EXPECT_EQ(Shape(root_), "(1|(0|(-1|)10)20)50(2|80(1|90))");
  EXPECT_EQ(nc_dm_agent_get_bin_tree_left(root_, 7)->id, 10);
  EXPECT_EQ(Shape(root_), before);
  EXPECT_EQ(nc_dm_agent_get_bin_tree_right(root_, 1)->id, 90);
  EXPECT_EQ(Shape(root_), "(2|(1|10)20)50(3|80(2|90(1|)))");
  EXPECT_EQ(nc_dm_agent_get_bin_tree_right(root_, INT_MIN)->id, 90);
  EXPECT_EQ(Shape(root_), before);
}

TEST_F(SmallTreeTest, ExtremeWalksRefuseNull) {
  EXPECT_EQ(nc_dm_agent_get_bin_tree_left(nullptr, 1), nullptr);
  EXPECT_EQ(nc_dm_agent_get_bin_tree_right(nullptr, 1), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre(kNullArgument, kNullArgument));
}

TEST_F(SmallTreeTest, AdjustingLeavesADifferenceOfOne) {
  for (const nc_int64 id : {50, 20, 80, 10}) Insert(id);
  const std::string before = Shape(root_);
  EXPECT_EQ(nc_dm_agent_adjust_bin_tree(root_, 1), root_);
  EXPECT_EQ(Shape(root_), before);
  EXPECT_EQ(nc_dm_agent_adjust_bin_tree(root_->left, 1), root_->left);
  EXPECT_EQ(root_->left->parent, root_);
}

TEST_F(SmallTreeTest, AdjustingMovesTheRootToTheLighterSide) {
  for (const nc_int64 id : {50, 20, 10}) Insert(id);
  root_ = nc_dm_agent_adjust_bin_tree(root_, 1);
  EXPECT_EQ(Shape(root_), "(1|10)20(1|50)");
  Ids();
}

TEST_F(SmallTreeTest, AdjustingTakesTheNeighbourFromWithin) {
  for (const nc_int64 id : {50, 20, 10, 30, 25}) Insert(id);
  root_ = nc_dm_agent_adjust_bin_tree(root_, 1);
  EXPECT_EQ(Shape(root_), "(3|(1|10)20(1|25))30(1|50)");
  EXPECT_THAT(Ids(), ElementsAre(10, 20, 25, 30, 50));
}

TEST_F(SmallTreeTest, AdjustingIsMirrored) {
  for (const nc_int64 id : {50, 80, 90, 70, 75}) Insert(id);
  root_ = nc_dm_agent_adjust_bin_tree(root_, 1);
  EXPECT_EQ(Shape(root_), "(1|50)70(3|(1|75)80(1|90))");
  EXPECT_THAT(Ids(), ElementsAre(50, 70, 75, 80, 90));
}

TEST_F(SmallTreeTest, AdjustingPutsTheRootAtTheEdgeOfTheLighterSide) {
  for (const nc_int64 id : {50, 20, 80, 10, 30, 70, 5, 15, 25}) Insert(id);
  root_ = nc_dm_agent_adjust_bin_tree(root_, 1);
  EXPECT_EQ(Shape(root_), "(5|(2|(1|5)10)15(2|(1|20)25))30(3|(1|50)70(1|80))");
  Ids();
}

TEST_F(SmallTreeTest, AdjustingBeyondTheDeepestLevelLeavesTheHalvesAsTheyAre) {
  for (const nc_int64 id : {50, 40, 30, 20, 10}) Insert(id);
  root_ = nc_dm_agent_adjust_bin_tree(root_, 22);
  EXPECT_EQ(Shape(root_), "(3|(2|(1|10)20)30)40(1|50)");
  for (Entry* entry = root_; entry != nullptr; entry = entry->left)
    EXPECT_EQ(entry->right_cnt != 0, entry->right != nullptr);
}

TEST_F(SmallTreeTest, AdjustingAtTheDeepestLevelBalancesTheHalves) {
  for (const nc_int64 id : {50, 40, 30, 20, 10}) Insert(id);
  root_ = nc_dm_agent_adjust_bin_tree(root_, 21);
  EXPECT_EQ(Shape(root_), "(3|(1|10)20(1|30))40(1|50)");
}

TEST_F(SmallTreeTest, AdjustingTakesANegativeCountForZero) {
  for (const nc_int64 id : {50, 80}) Insert(id);
  root_->left_cnt = -5;
  EXPECT_EQ(nc_dm_agent_adjust_bin_tree(root_, 1), root_);
  root_->left_cnt = 0;
  root_->right_cnt = 2;
  root_ = nc_dm_agent_adjust_bin_tree(root_, 1);
  EXPECT_EQ(Shape(root_), "(1|50)80");
}

TEST_F(SmallTreeTest, AdjustingRefusesASideThatIsNotThere) {
  Insert(50);
  root_->left_cnt = 2;
  EXPECT_EQ(nc_dm_agent_adjust_bin_tree(root_, 1), nullptr);
  EXPECT_EQ(Shape(root_), "(2|)50");
  root_->left_cnt = 0;
  root_->right_cnt = 2;
  EXPECT_EQ(nc_dm_agent_adjust_bin_tree(root_, 1), nullptr);
  EXPECT_EQ(nc_dm_agent_adjust_bin_tree(nullptr, 1), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("The binary tree node cur->left is null!\n",
                                        "The binary tree node cur->right is null!\n",
                                        "The input binary tree node argument is null!\n"));
}

TEST_F(SmallTreeTest, AdjustingKeepsAHalfThatCannotBeBalanced) {
  for (const nc_int64 id : {50, 40, 30}) Insert(id);
  root_->left->left->left_cnt = 5;
  root_ = nc_dm_agent_adjust_bin_tree(root_, 1);
  EXPECT_EQ(Shape(root_), "(1|(5|)30)40(1|50)");
  EXPECT_THAT(ErrorLines(), ElementsAre("The binary tree node cur->left is null!\n",
                                        "The binary tree node ret is null!\n"));
  EXPECT_THAT(Ids(), ElementsAre(30, 40, 50));
}

TEST_F(SmallTreeTest, RisingIdsKeepTheRootBalanced) {
  for (nc_int64 id = 1; id <= 500; ++id) {
    InsertAndAdjust(id);
    ASSERT_LE(std::abs(root_->left_cnt - root_->right_cnt), 1) << id;
    ASSERT_EQ(root_->left_cnt + root_->right_cnt + 1, id);
  }
  EXPECT_EQ(Ids().size(), 500u);
  EXPECT_LE(Depth(root_), 11);
  EXPECT_THAT(LogCapture::Get().Texts(), IsEmpty());
}

TEST_F(SmallTreeTest, DeletingTheOnlyEntryLeavesNothing) {
  Insert(50);
  EXPECT_EQ(Delete(50), nullptr);
  EXPECT_EQ(root_, nullptr);
}

TEST_F(SmallTreeTest, DeletingTheRootOfTwoGivesTheOther) {
  for (const nc_int64 other : {20, 80}) {
    Insert(50);
    Insert(other);
    EXPECT_EQ(Delete(50)->id, other);
    EXPECT_EQ(Shape(root_), std::to_string(other));
    EXPECT_EQ(root_->parent, nullptr);
    Delete(other);
  }
}

TEST_F(SmallTreeTest, DeletingALeafGivesNull) {
  for (const nc_int64 id : {50, 20, 80}) Insert(id);
  EXPECT_EQ(Delete(20), nullptr);
  EXPECT_EQ(Shape(root_), "50(1|80)");
  EXPECT_EQ(root_->left, nullptr);
  EXPECT_EQ(Delete(80), nullptr);
  EXPECT_EQ(Shape(root_), "50");
}

TEST_F(SmallTreeTest, DeletingTakesTheNeighbourOnTheHeavierSide) {
  for (const nc_int64 id : {50, 20, 80, 60, 90, 65}) Insert(id);
  EXPECT_EQ(Delete(50)->id, 60);
  EXPECT_EQ(Shape(root_), "(1|20)60(3|(1|65)80(1|90))");
  for (const nc_int64 id : {10, 30, 25, 5}) Insert(id);
  EXPECT_EQ(Shape(root_), "(5|(2|(1|5)10)20(2|(1|25)30))60(3|(1|65)80(1|90))");
  EXPECT_EQ(Delete(60)->id, 30);
  EXPECT_EQ(Shape(root_), "(4|(2|(1|5)10)20(1|25))30(3|(1|65)80(1|90))");
  Ids();
}

TEST_F(SmallTreeTest, DeletingTakesAChildWithoutInnerSideAsItIs) {
  for (const nc_int64 id : {50, 20, 80, 90}) Insert(id);
  EXPECT_EQ(Delete(50)->id, 80);
  EXPECT_EQ(Shape(root_), "(1|20)80(1|90)");
  Insert(10);
  EXPECT_EQ(Delete(80)->id, 20);
  EXPECT_EQ(Shape(root_), "(1|10)20(1|90)");
  Ids();
}

TEST_F(SmallTreeTest, DeletingBelowTheRootLinksTheReplacementThere) {
  for (const nc_int64 id : {50, 20, 80, 10, 30, 25}) Insert(id);
  EXPECT_EQ(Delete(20)->id, 25);
  EXPECT_EQ(Shape(root_), "(3|(1|10)25(1|30))50(1|80)");
  Ids();
}

TEST_F(SmallTreeTest, DeletingCorrectsEveryAncestorOnTheSideOfTheParent) {
  for (const nc_int64 id : {50, 20, 80, 30, 25}) Insert(id);
  EXPECT_EQ(Shape(root_), "(3|20(2|(1|25)30))50(1|80)");
  // A left child: 20 and 50 lose on the left, though 20 holds it on the right.
  EXPECT_EQ(Delete(25), nullptr);
  EXPECT_EQ(Shape(root_), "(2|(-1|)20(2|30))50(1|80)");
  EXPECT_EQ(Delete(30), nullptr);
  EXPECT_EQ(Shape(root_), "(2|(-1|)20(1|))50(0|80)");
  EXPECT_THAT(Ids(), ElementsAre(20, 50, 80));
}

TEST_F(SmallTreeTest, DeletingLosesNothingWhenTheCountsChooseAnEmptySide) {
  for (const nc_int64 id : {100, 50, 150, 120}) Insert(id);
  for (const nc_int64 id : {120, 150, 100}) Delete(id);
  ASSERT_NE(Find(50), nullptr);
  EXPECT_THAT(Ids(), ElementsAre(50));

  root_ = nullptr;
  for (const nc_int64 id : {100, 150, 50}) Insert(id);
  Delete(50);
  root_->left_cnt = 3;  // heavier, and empty
  EXPECT_EQ(Delete(100)->id, 150);
  EXPECT_THAT(Ids(), ElementsAre(150));
}

TEST_F(SmallTreeTest, DeletingRefusesNull) {
  EXPECT_EQ(nc_dm_agent_delete_bin_tree_node(nullptr), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre(kNullArgument));
}

TEST_F(SmallTreeTest, EntriesStandForAnInstance) {
  Entry* entry = nc_dm_agent_create_bin_tree_node(&instance_, (nc_int64{1} << 32) + 5);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->data, &instance_);
  EXPECT_EQ(Shape(entry), "4294967301");
  EXPECT_EQ(entry->parent, nullptr);
  nc_dm_agent_free_bin_tree_node(entry);
  nc_dm_agent_free_bin_tree_node(nullptr);
  EXPECT_THAT(InfoLines(), ElementsAre("Create binary tree node id: 4294967301.\n",
                                       "Delete binary tree node: 5.\n"));
  EXPECT_EQ(nc_dm_agent_create_bin_tree_node(nullptr, 1), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("The input dm node is null.\n"));
}

TEST_F(SmallTreeTest, EntriesNeedMemory) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  {
    const FailingAlloc failing(0);
    EXPECT_EQ(nc_dm_agent_create_bin_tree_node(&instance_, -6), nullptr);
  }
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to malloc binary tree node, id: -6.\n"));
}

// The named trees of a node.
class NamedTreesTest : public testing::Test {
 protected:
  NamedTreesTest() { nc::InitList(&node_.btree_lst); }
  ~NamedTreesTest() override { nc_dm_agent_free_bin_tree_list(&node_.btree_lst); }

  nc_dm_bin_tree_t* Create(std::string name) {
    return nc_dm_agent_create_bin_tree(&node_, name.data());
  }
  nc_dm_bin_tree_t* Get(std::string name) { return nc_dm_agent_get_bin_tree(&node_, name.data()); }

  const DebugMask mask_;
  nc_dm_agent_node_t node_ = {};
};

TEST_F(NamedTreesTest, AreOneAName) {
  EXPECT_EQ(Get("interface"), nullptr);
  nc_dm_bin_tree_t* interfaces = Create("interface");
  ASSERT_NE(interfaces, nullptr);
  EXPECT_STREQ(interfaces->name, "interface");
  EXPECT_EQ(interfaces->root_byid, nullptr);
  EXPECT_EQ(interfaces->data, nullptr);
  nc_dm_bin_tree_t* users = Create("user");
  EXPECT_NE(users, interfaces);
  EXPECT_EQ(Create("interface"), interfaces);
  EXPECT_EQ(Get("interface"), interfaces);
  EXPECT_EQ(Get("user"), users);
  EXPECT_EQ(Get("use"), nullptr);
  EXPECT_EQ(node_.btree_lst.next, &interfaces->lst);
  EXPECT_EQ(node_.btree_lst.prev, &users->lst);
  EXPECT_THAT(LogCapture::Get().Texts(), IsEmpty());
}

TEST_F(NamedTreesTest, AreFreedTogetherWithoutTheirEntries) {
  Entry entry = {};
  Create("interface")->root_byid = &entry;
  Create("user");
  nc_dm_agent_free_bin_tree_list(&node_.btree_lst);
  EXPECT_TRUE(nc::IsEmpty(&node_.btree_lst));
  EXPECT_EQ(Get("interface"), nullptr);
}

TEST_F(NamedTreesTest, RefuseNull) {
  char name[] = "a";
  EXPECT_EQ(nc_dm_agent_create_bin_tree(nullptr, name), nullptr);
  EXPECT_EQ(nc_dm_agent_create_bin_tree(&node_, nullptr), nullptr);
  EXPECT_EQ(nc_dm_agent_get_bin_tree(nullptr, name), nullptr);
  EXPECT_EQ(nc_dm_agent_get_bin_tree(&node_, nullptr), nullptr);
  nc_dm_agent_free_bin_tree_list(nullptr);
  EXPECT_THAT(ErrorLines(),
              ElementsAre("The node input is null!\n", "The btree_name input is null!\n",
                          "The node input is null!\n", "The btree_name input is null!\n",
                          "The input btree list is null!\n"));
}

TEST_F(NamedTreesTest, NeedMemoryAndSayNothing) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  char name[] = "interface";
  for (const int successes : {0, 1}) {
    const int live = FailingAlloc::Live();
    const FailingAlloc failing(successes);
    EXPECT_EQ(nc_dm_agent_create_bin_tree(&node_, name), nullptr);
    EXPECT_TRUE(FailingAlloc::HasFailed());
    EXPECT_EQ(FailingAlloc::Live(), live);
  }
  EXPECT_TRUE(nc::IsEmpty(&node_.btree_lst));
  EXPECT_THAT(LogCapture::Get().Texts(), IsEmpty());
}

}  // namespace
}  // namespace ncdm_test
