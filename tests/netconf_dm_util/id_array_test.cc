// The instance ids along a path.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <deque>
#include <initializer_list>
#include <vector>

#include "netconf_dm_kernel.h"
#include "netconf_dm_util/intrusive_list.h"
#include "support/debug_mask.h"
#include "support/failing_alloc.h"
#include "support/log_lines.h"

namespace ncdm_test {
namespace {

using Ids = std::vector<nc_int64>;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

nc_dm_id_array_t Array(const Ids& ids) {
  nc_dm_id_array_t array = {};
  for (const nc_int64 id : ids) array.id[array.cnt++] = id;
  return array;
}

Ids IdsOf(const nc_dm_id_array_t& array) { return {array.id, array.id + array.cnt}; }

class IdArrayTest : public testing::Test {
 protected:
  const DebugMask mask_;
  nc_dm_id_array_t array_ = {};
};

TEST_F(IdArrayTest, TakesTheIdsOfAPath) {
  nc_dm_path_nodes_t nodes = {};
  char path[] = "a.b.3.c.d.7";
  ASSERT_EQ(nc_dm_parse(path, &nodes, true), 0);
  EXPECT_EQ(nc_dm_get_id(&array_, &nodes), 0);
  EXPECT_THAT(IdsOf(array_), ElementsAre(3, 7));
}

TEST_F(IdArrayTest, AppendsToWhatIsThereAndLooksAtTheNamedComponentsAlone) {
  nc_dm_path_nodes_t nodes = {};
  nodes.total_node = 2;
  nodes.instances[1] = -4;
  nodes.instances[2] = 5;
  array_ = Array({1});
  EXPECT_EQ(nc_dm_get_id(&array_, &nodes), 0);
  EXPECT_THAT(IdsOf(array_), ElementsAre(1, -4));
}

TEST_F(IdArrayTest, StopsAt16Ids) {
  nc_dm_path_nodes_t nodes = {};
  nodes.total_node = 16;
  for (nc_int64& id : nodes.instances) id = 9;
  EXPECT_EQ(nc_dm_get_id(&array_, &nodes), 0);
  EXPECT_EQ(array_.cnt, 16);
  array_ = Array({1, 2});
  EXPECT_EQ(nc_dm_get_id(&array_, &nodes), 0);
  EXPECT_EQ(array_.cnt, 16);
  EXPECT_EQ(array_.id[15], 9);
  EXPECT_EQ(array_.src, NC_DM_NODE_SRC_NONE);
}

TEST_F(IdArrayTest, RefusesNullPaths) {
  nc_dm_path_nodes_t nodes = {};
  EXPECT_EQ(nc_dm_get_id(nullptr, &nodes), -1);
  EXPECT_EQ(nc_dm_get_id(&array_, nullptr), -1);
  EXPECT_THAT(ErrorLines(),
              ElementsAre("Input parameter is invalid!\n", "Input parameter is invalid!\n"));
}

// Nodes one below the other.
class NodeIdsTest : public IdArrayTest {
 protected:
  nc_dm_agent_node_t* Below(nc_dm_node_type_t type, nc_int64 instid) {
    nc_dm_agent_node_t* parent = nodes_.empty() ? nullptr : &nodes_.back();
    nc_dm_agent_node_t& node = nodes_.emplace_back();
    node.parent = parent;
    node.node_type = type;
    node.instid = instid;
    return &node;
  }
  nc_dm_agent_node_t* Entries(int count) {
    nc_dm_agent_node_t* last = nullptr;
    for (int i = 1; i <= count; ++i) last = Below(NC_DM_NODE_TYPE_MULT_OBJECT, i);
    return last;
  }

  std::deque<nc_dm_agent_node_t> nodes_;
};

TEST_F(NodeIdsTest, AreThoseOfTheInstancesAbove) {
  Below(NC_DM_NODE_TYPE_SINGLE_OBJECT, 0);
  Below(NC_DM_NODE_TYPE_MULT_OBJECT, 3);
  Below(NC_DM_NODE_TYPE_MULT_OBJECT, 7);
  EXPECT_EQ(nc_dm_get_ids(&array_, Below(NC_DM_NODE_TYPE_LEAF, 0)), 0);
  EXPECT_THAT(IdsOf(array_), ElementsAre(3, 7));
}

TEST_F(NodeIdsTest, AnEntrysOwnIdIsNotAmongThem) {
  Below(NC_DM_NODE_TYPE_MULT_OBJECT, 3);
  EXPECT_EQ(nc_dm_get_ids(&array_, Below(NC_DM_NODE_TYPE_MULT_OBJECT, 7)), 0);
  EXPECT_THAT(IdsOf(array_), ElementsAre(3));
}

TEST_F(NodeIdsTest, ALeafListElementsOwnIdIs) {
  Below(NC_DM_NODE_TYPE_SINGLE_OBJECT, 0);
  Below(NC_DM_NODE_TYPE_MULT_OBJECT, 5);
  EXPECT_EQ(nc_dm_get_ids(&array_, Below(NC_DM_NODE_TYPE_MULT_LEAF, 8)), 0);
  EXPECT_THAT(IdsOf(array_), ElementsAre(5, 8));
}

TEST_F(NodeIdsTest, ALeafListElementsOwnIdIsEvenWhenItIsZero) {
  Below(NC_DM_NODE_TYPE_MULT_OBJECT, 5);
  EXPECT_EQ(nc_dm_get_ids(&array_, Below(NC_DM_NODE_TYPE_MULT_LEAF, 0)), 0);
  EXPECT_THAT(IdsOf(array_), ElementsAre(5, 0));
}

TEST_F(NodeIdsTest, AreNoneBelowAContainer) {
  Below(NC_DM_NODE_TYPE_SINGLE_OBJECT, 0);
  EXPECT_EQ(nc_dm_get_ids(&array_, Below(NC_DM_NODE_TYPE_LEAF, 0)), 0);
  EXPECT_EQ(array_.cnt, 0);
}

TEST_F(NodeIdsTest, AreReversedAsAWhole) {
  array_ = Array({70});
  Below(NC_DM_NODE_TYPE_MULT_OBJECT, 3);
  EXPECT_EQ(nc_dm_get_ids(&array_, Below(NC_DM_NODE_TYPE_LEAF, 0)), 0);
  EXPECT_THAT(IdsOf(array_), ElementsAre(3, 70));
}

TEST_F(NodeIdsTest, MayBe16) {
  Entries(16);
  EXPECT_EQ(nc_dm_get_ids(&array_, Below(NC_DM_NODE_TYPE_LEAF, 0)), 0);
  EXPECT_THAT(IdsOf(array_), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16));
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(NodeIdsTest, OfMoreThan16TheInnermostStayInnermostFirst) {
  Entries(17);
  EXPECT_EQ(nc_dm_get_ids(&array_, Below(NC_DM_NODE_TYPE_LEAF, 0)), 0);
  EXPECT_THAT(IdsOf(array_), ElementsAre(17, 16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2));
  EXPECT_THAT(ErrorLines(),
              ElementsAre("The id_array->cnt is larger than id_array->id buffer size!\n"));
}

TEST_F(NodeIdsTest, AFullArrayIsRefusedAtTheFirstNode) {
  array_.cnt = 16;
  nc_dm_agent_node_t* top = Below(NC_DM_NODE_TYPE_SINGLE_OBJECT, 0);
  nc_dm_agent_node_t* leaf = Below(NC_DM_NODE_TYPE_MULT_LEAF, 4);
  EXPECT_EQ(nc_dm_get_ids(&array_, leaf), -1);
  EXPECT_EQ(array_.cnt, 16);
  EXPECT_THAT(ErrorLines(),
              ElementsAre("The id_array->cnt is larger than id_array->id buffer size!\n"));
  EXPECT_EQ(nc_dm_get_ids(&array_, top), 0);
}

TEST_F(NodeIdsTest, RefuseNull) {
  EXPECT_EQ(nc_dm_get_ids(&array_, nullptr), -1);
  EXPECT_EQ(nc_dm_get_ids(nullptr, Below(NC_DM_NODE_TYPE_LEAF, 0)), -1);
  EXPECT_THAT(ErrorLines(),
              ElementsAre("The current node input is null!\n", "Input parameter is invalid!\n"));
}

TEST_F(IdArrayTest, SameMeansTheSameIds) {
  nc_dm_id_array_t a = Array({3, 7});
  nc_dm_id_array_t b = Array({3, 7});
  b.src = NC_DM_NODE_SRC_CLI;
  b.match_cnt = 2;
  b.output.instid = 5;
  b.id[2] = 99;
  EXPECT_TRUE(nc_dm_id_arrays_same(&a, &b));
  nc_dm_id_array_t shorter = Array({3});
  nc_dm_id_array_t different = Array({3, 8});
  nc_dm_id_array_t empty = {};
  nc_dm_id_array_t also_empty = {};
  EXPECT_FALSE(nc_dm_id_arrays_same(&a, &shorter));
  EXPECT_FALSE(nc_dm_id_arrays_same(&a, &different));
  EXPECT_FALSE(nc_dm_id_arrays_same(&a, &empty));
  EXPECT_TRUE(nc_dm_id_arrays_same(&empty, &also_empty));
  EXPECT_TRUE(nc_dm_id_arrays_same(nullptr, nullptr));
  EXPECT_FALSE(nc_dm_id_arrays_same(&a, nullptr));
  EXPECT_FALSE(nc_dm_id_arrays_same(nullptr, &a));
}

TEST_F(IdArrayTest, ContainingIsBeingAnAncestor) {
  const struct {
    Ids inner, outer;
    int result;
  } cases[] = {{{3, 7}, {3}, 1}, {{3, 7}, {3, 7}, 0}, {{3, 7}, {4}, -1}, {{3, 7}, {3, 7, 1}, -1},
               {{3, 7}, {}, 1},  {{}, {}, 0},         {{}, {1}, -1},     {{3, 7}, {3, 8}, -1}};
  for (const auto& [inner, outer, result] : cases) {
    nc_dm_id_array_t long_array = Array(inner);
    nc_dm_id_array_t short_array = Array(outer);
    EXPECT_EQ(nc_dm_id_arrays_contain_certainly(&long_array, &short_array), result)
        << testing::PrintToString(inner) << testing::PrintToString(outer);
  }
  EXPECT_EQ(nc_dm_id_arrays_contain_certainly(nullptr, &array_), -1);
  EXPECT_EQ(nc_dm_id_arrays_contain_certainly(&array_, nullptr), 1);
  EXPECT_EQ(nc_dm_id_arrays_contain_certainly(nullptr, nullptr), 0);
}

TEST_F(IdArrayTest, NothingIsAppendedToANegativeCount) {
  nc_dm_path_nodes_t nodes = {};
  nodes.total_node = 1;
  nodes.instances[0] = 5;
  array_.cnt = -1;
  EXPECT_EQ(nc_dm_get_id(&array_, &nodes), 0);
  EXPECT_EQ(array_.cnt, -1);
}

TEST_F(IdArrayTest, WhatStandsBehindTheCountIsNotContained) {
  nc_dm_id_array_t long_array = Array({3, 7});
  long_array.cnt = 1;
  nc_dm_id_array_t short_array = Array({3, 7});
  EXPECT_EQ(nc_dm_id_arrays_contain_certainly(&long_array, &short_array), -1);
}

TEST_F(IdArrayTest, ACopyIsOfTheIdsAlone) {
  nc_dm_id_array_t from = Array({3, 7});
  from.src = NC_DM_NODE_SRC_SDN;
  from.match_cnt = 1;
  nc_dm_id_array_t to = Array({1, 2, 4});
  to.src = NC_DM_NODE_SRC_CLI;
  to.match_cnt = 3;
  to.output.instid = 6;
  nc_dm_id_array_cpy(&to, &from);
  EXPECT_THAT(IdsOf(to), ElementsAre(3, 7));
  EXPECT_EQ(to.id[2], 4);
  EXPECT_EQ(to.src, NC_DM_NODE_SRC_CLI);
  EXPECT_EQ(to.match_cnt, 3);
  EXPECT_EQ(to.output.instid, 6);
  nc_dm_id_array_cpy(&to, nullptr);
  nc_dm_id_array_cpy(nullptr, &from);
  EXPECT_THAT(IdsOf(to), ElementsAre(3, 7));
}

TEST_F(IdArrayTest, AnImpossibleCountReadsAndWritesNothingBeyond) {
  nc_dm_id_array_t from = Array({1});
  from.cnt = 1000;
  nc_dm_id_array_t to = {};
  to.src = NC_DM_NODE_SRC_CLI;
  nc_dm_id_array_cpy(&to, &from);
  EXPECT_EQ(to.cnt, 16);
  EXPECT_EQ(to.src, NC_DM_NODE_SRC_CLI);
  EXPECT_FALSE(nc_dm_id_arrays_same(&to, &from));
  EXPECT_EQ(nc_dm_id_arrays_contain_certainly(&from, &to), 1);
  from.cnt = -1;
  nc_dm_id_array_cpy(&to, &from);
  EXPECT_EQ(to.cnt, 0);
}

// Lists of arrays, as searches give them.
class IdArrayListTest : public IdArrayTest {
 protected:
  IdArrayListTest() {
    nc::InitList(&found_.head);
    nc::InitList(&result_.head);
  }
  ~IdArrayListTest() override {
    nc_dm_id_arrays_free(&found_.head);
    nc_dm_id_arrays_free(&result_.head);
  }

  static void Add(nc_dm_list_t* list, const Ids& ids) {
    auto* node = static_cast<nc_dm_id_array_node_t*>(calloc(1, sizeof(nc_dm_id_array_node_t)));
    node->id_array = Array(ids);
    nc::PushBack(&list->head, &node->lst);
    ++list->cnt;
  }
  static std::vector<Ids> ListOf(const nc_dm_list_t& list) {
    std::vector<Ids> result;
    for (const auto& node : nc::Records<nc_dm_id_array_node_t>(&list.head)) {
      result.push_back(IdsOf(node.id_array));
    }
    return result;
  }

  nc_dm_list_t found_ = {};
  nc_dm_list_t result_ = {};
};

TEST_F(IdArrayListTest, FreeingEmptiesTheList) {
  Add(&found_, {1});
  Add(&found_, {2});
  nc_dm_id_arrays_free(&found_.head);
  EXPECT_TRUE(nc::IsEmpty(&found_.head));
  EXPECT_EQ(found_.cnt, 2);
  nc_dm_id_arrays_free(&found_.head);
  nc_dm_id_arrays_free(nullptr);
  EXPECT_TRUE(nc::IsEmpty(&found_.head));
}

TEST_F(IdArrayListTest, WhatStandsBehindTheCountMakesNoDifference) {
  for (nc_int64 id = 1; id <= 40; ++id) {
    Add(&result_, {id, 7});
    Add(&found_, {id, 8});
  }
  for (auto& node : nc::Records<nc_dm_id_array_node_t>(&result_.head)) node.id_array.cnt = 1;
  for (auto& node : nc::Records<nc_dm_id_array_node_t>(&found_.head)) node.id_array.cnt = 1;
  nc_dm_id_array_list_intscn(&found_, &result_);
  EXPECT_EQ(ListOf(result_).size(), 40u);
}

TEST_F(IdArrayListTest, AnImpossibleCountIsReadToTheEndAlone) {
  const Ids full(NC_DM_MAX_DEPTH, 3);
  for (int i = 0; i < 20; ++i) {
    Add(&result_, full);
    Add(&found_, full);
  }
  for (auto& node : nc::Records<nc_dm_id_array_node_t>(&result_.head)) node.id_array.cnt = 1000;
  for (auto& node : nc::Records<nc_dm_id_array_node_t>(&found_.head)) node.id_array.cnt = 1000;
  nc_dm_id_array_list_intscn(&found_, &result_);
  EXPECT_FALSE(nc::IsEmpty(&result_.head));
}

TEST_F(IdArrayListTest, AnEmptyResultTakesAll) {
  Add(&found_, {1, 2});
  Add(&found_, {3});
  nc_dm_id_array_list_intscn(&found_, &result_);
  EXPECT_THAT(ListOf(result_), ElementsAre(Ids{1, 2}, Ids{3}));
  EXPECT_TRUE(nc::IsEmpty(&found_.head));
  EXPECT_EQ(result_.cnt, 0);
  EXPECT_EQ(found_.cnt, 2);
}

TEST_F(IdArrayListTest, KeepsWhatIsInBothInOrder) {
  for (const Ids& ids : {Ids{5}, Ids{1, 2}, Ids{}, Ids{3}, Ids{5}}) Add(&result_, ids);
  for (const Ids& ids : {Ids{3}, Ids{9}, Ids{5}, Ids{1}, Ids{}}) Add(&found_, ids);
  nc_dm_id_array_list_intscn(&found_, &result_);
  EXPECT_THAT(ListOf(result_), ElementsAre(Ids{5}, Ids{}, Ids{3}, Ids{5}));
  EXPECT_THAT(ListOf(found_), ElementsAre(Ids{3}, Ids{9}, Ids{5}, Ids{1}, Ids{}));
  EXPECT_EQ(result_.cnt, 5);
}

TEST_F(IdArrayListTest, AResultThatWasEmptiedTakesAllAgain) {
  Add(&result_, {1});
  Add(&found_, {2});
  nc_dm_id_array_list_intscn(&found_, &result_);
  EXPECT_TRUE(nc::IsEmpty(&result_.head));
  nc_dm_id_array_list_intscn(&found_, &result_);
  EXPECT_THAT(ListOf(result_), ElementsAre(Ids{2}));
}

TEST_F(IdArrayListTest, NothingFoundLeavesNothing) {
  Add(&result_, {1});
  nc_dm_id_array_list_intscn(&found_, &result_);
  EXPECT_TRUE(nc::IsEmpty(&result_.head));
}

TEST_F(IdArrayListTest, NullChangesNothing) {
  Add(&result_, {1});
  nc_dm_id_array_list_intscn(nullptr, &result_);
  nc_dm_id_array_list_intscn(&result_, nullptr);
  EXPECT_THAT(ListOf(result_), ElementsAre(Ids{1}));
}

// Multiples of `first` and of `second`, and of both.
std::vector<Ids> Multiples(std::initializer_list<nc_int64> factors, nc_int64 end) {
  std::vector<Ids> result;
  for (nc_int64 i = 1; i < end; ++i) {
    bool is_multiple = true;
    for (const nc_int64 factor : factors) is_multiple = is_multiple && i % factor == 0;
    if (is_multiple) result.push_back({i << 32, i});
  }
  return result;
}

TEST_F(IdArrayListTest, LongListsGiveTheSame) {
  for (const nc_int64 end : {30, 33, 64, 5000}) {
    for (const Ids& ids : Multiples({2}, end)) Add(&found_, ids);
    for (const Ids& ids : Multiples({2}, end)) Add(&found_, ids);
    for (const Ids& ids : Multiples({3}, end)) Add(&result_, ids);
    nc_dm_id_array_list_intscn(&found_, &result_);
    EXPECT_EQ(ListOf(result_), Multiples({2, 3}, end)) << end;
    nc_dm_id_arrays_free(&found_.head);
    nc_dm_id_arrays_free(&result_.head);
  }
}

TEST_F(IdArrayListTest, ShortMemoryGivesTheSameMoreSlowly) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  for (const Ids& ids : Multiples({2}, 200)) Add(&found_, ids);
  for (const Ids& ids : Multiples({3}, 200)) Add(&result_, ids);
  {
    const FailingAlloc failing(0);
    nc_dm_id_array_list_intscn(&found_, &result_);
    EXPECT_TRUE(FailingAlloc::HasFailed());
  }
  EXPECT_EQ(ListOf(result_), Multiples({2, 3}, 200));
}

}  // namespace
}  // namespace ncdm_test
