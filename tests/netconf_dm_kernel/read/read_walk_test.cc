// Values of all leaves below a node, and of all at a path.

#include "netconf_dm_kernel/edit/failing_calls.h"
#include "netconf_dm_kernel/read/read_fixture.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class ReadWalkTest : public ReadTest {};
class ReadWalkShortMemoryTest : public ShortMemoryReadTest {};

// ---- Subtrees ----

TEST_F(ReadWalkTest, WalksASubtreeInOrderOfItsChildren) {
  RegisterReadable({"a.x", "a.b.{i}.c", "a.b.{i}.o.d", "a.y"});
  AddInstance("a.b.5");
  AddInstance("a.b.2");
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.x=-", "a.y=-", "a.b.5.c=5", "a.b.5.o.d=5", "a.b.2.c=2",
                                          "a.b.2.o.d=2"));
}

TEST_F(ReadWalkTest, TracesTheWalk) {
  RegisterReadable({"a.b.{i}.c"});
  RegisterReadableLeafList("a.l");
  AddInstance("a.b.3");
  AddInstance("a.l.4");
  log().Clear();
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(LogLines(),
              ElementsAre("I Get multi-mode node 'b' values, ignore.\n",
                          "I Get multi-leaf mode node 'l' values, ignore.\n",
                          "I Get node 'b' values, instid 3.\n",
                          "I Get node 'c' values, instid 0.\n", "I Get node 'c' value.\n",
                          "I Get node 'l' values, instid 4.\n", "I Get node 'l' value.\n"));
}

TEST_F(ReadWalkTest, ReadsNestedLists) {
  RegisterReadable({"a.b.{i}.c.{i}.d.{i}.e", "a.b.{i}.f"});
  for (const char* path : {"a.b.1", "a.b.2", "a.b.1.c.10", "a.b.1.c.11", "a.b.1.c.11.d.100",
                           "a.b.2.c.10", "a.b.2.c.10.d.100", "a.b.2.c.10.d.101"}) {
    AddInstance(path);
  }
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(values.Texts(),
              ElementsAre("a.b.1.f=1", "a.b.1.c.11.d.100.e=1,11,100", "a.b.2.f=2",
                          "a.b.2.c.10.d.100.e=2,10,100", "a.b.2.c.10.d.101.e=2,10,101"));
}

TEST_F(ReadWalkTest, ReadsBelowOneEntry) {
  RegisterReadable({"a.b.{i}.c", "a.b.{i}.o.d", "a.b.{i}.n.{i}.e"});
  AddInstance("a.b.3");
  AddInstance("a.b.4");
  AddInstance("a.b.4.n.7");
  EXPECT_EQ(ReadSubtree("a.b.4", "a.b.4"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.4.c=4", "a.b.4.o.d=4", "a.b.4.n.7.e=4,7"));
}

TEST_F(ReadWalkTest, ReadsALeafByItsAncestors) {
  RegisterReadable({"a.b.{i}.c"});
  AddInstance("a.b.3");
  EXPECT_EQ(ReadSubtree("a.b.3.c", "a.b.3.c"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.c=3"));
  app.On(Callback::kGet, "c", -7);
  EXPECT_EQ(ReadSubtree("a.b.3.c", "a.b.3.c"), -7);
}

TEST_F(ReadWalkTest, ReadsTheElementsOfALeafList) {
  RegisterReadableLeafList("a.b.{i}.l");
  AddInstance("a.b.3");
  AddInstance("a.b.3.l.4");
  AddInstance("a.b.3.l.9");
  EXPECT_EQ(ReadSubtree("a.b.3.l", "a.b.3.l"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.l.4=3,4", "a.b.3.l.9=3,9"));
}

TEST_F(ReadWalkTest, ReadsTheElementsOfALeafListInAWalk) {
  RegisterReadableLeafList("a.b.{i}.l");
  AddInstance("a.b.3");
  AddInstance("a.b.3.l.4");
  AddInstance("a.b.3.l.9");
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.l.4=3,4", "a.b.3.l.9=3,9"));
}

TEST_F(ReadWalkTest, ReadsOneElementOfALeafList) {
  RegisterReadableLeafList("a.l");
  AddInstance("a.l.4");
  EXPECT_EQ(ReadSubtree("a.l.4", "a.l.4"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.l.4=4"));
}

TEST_F(ReadWalkTest, ReadsNothingWithoutItsIds) {
  RegisterReadable({"a.b"});
  RegisterReadableLeafList("a.l");
  AddInstance("a.l.4");
  for (const char* node : {"a.b", "a.l", "a.l.4"}) {
    const FailingCall failing(Step::kGetIds);
    EXPECT_EQ(ReadSubtree(node, node), -1) << node;
  }
  EXPECT_THAT(values.Texts(), IsEmpty());
  EXPECT_THAT(app.calls(), IsEmpty());
}

TEST_F(ReadWalkTest, CannotReadALeafListAtTheTopLevel) {
  RegisterReadableLeafList("l");
  EXPECT_EQ(ReadSubtree("l", "l"), -1);
  EXPECT_THAT(ErrorLines(),
              ElementsAre("The current node parent is null, can't get multiple child values!\n"));
}

TEST_F(ReadWalkTest, LeavesTheIdsAndThePathOfALeafListAsTheyWere) {
  RegisterReadableLeafList("a.l");
  AddInstance("a.l.4");
  char name[] = "l";
  nc_dm_path_nodes_t path = PathOf("a.l");
  nc_dm_id_array_t ids = IdArrayOf({7});
  EXPECT_EQ(nc_dm_agent_get_mul_child_vals(values.get(), NodeAt("a"), name, &ids, &path), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.l.4=7,4"));
  EXPECT_EQ(ids.cnt, 1);
  EXPECT_EQ(ids.id[0], 7);
  EXPECT_THAT(path.instances, Each(0));

  ids.cnt = -1;
  log().Clear();
  EXPECT_EQ(nc_dm_agent_get_mul_child_vals(values.get(), NodeAt("a"), name, &ids, &path), 0);
  EXPECT_THAT(ErrorLines(), ElementsAre("The current mult-leaf node id_array->cnt is 0!\n"));
  EXPECT_EQ(ids.cnt, -1);

  ids.cnt = 15;
  EXPECT_EQ(nc_dm_agent_get_mul_child_vals(values.get(), NodeAt("a"), name, &ids, &path), 0);
  EXPECT_EQ(values.cnt(), 3);
  EXPECT_EQ(ids.cnt, 15);
  ids.cnt = 16;
  EXPECT_EQ(nc_dm_agent_get_mul_child_vals(values.get(), NodeAt("a"), name, &ids, &path), 0);
  EXPECT_EQ(values.cnt(), 3) << "there is no room for an element's id";
  EXPECT_EQ(ids.cnt, 16);
}

TEST_F(ReadWalkTest, GoesOnAfterALeafThatFails) {
  RegisterReadable({"a.b", "a.c", "a.d"});
  app.On(Callback::kGet, "b", -7);
  app.On(Callback::kGet, "c", -1);
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.d=-"));
  EXPECT_THAT(ErrorLines(),
              ElementsAre("Failed to get val from app, some object non-existent, leaf node 'b'!\n",
                          "Failed to get val from app, node 'c'!\n"));
}

TEST_F(ReadWalkTest, RefusesNullArgumentsOfAWalk) {
  RegisterReadable({"a.b"});
  nc_dm_path_nodes_t path = PathOf("a");
  EXPECT_EQ(nc_dm_agent_get_nodes_vals(nullptr, &path, NodeAt("a")), -3);
  EXPECT_EQ(nc_dm_agent_get_nodes_vals(values.get(), nullptr, NodeAt("a")), -3);
  EXPECT_EQ(nc_dm_agent_get_nodes_vals(values.get(), &path, nullptr), -3);
  EXPECT_EQ(log().Count(kErrorPrefix, "Input parameter is invalid!\n"), 3);
}

TEST_F(ReadWalkTest, FiltersTheWalkByTheSdnDatastore) {
  RegisterReadable({"a.b.{i}.c", "a.b.{i}.d"});
  AddInstance("a.b.1", NC_DM_NODE_SRC_SDN);
  AddInstance("a.b.2");
  NodeAt("a.b.2.d")->src = NC_DM_NODE_SRC_SDN;
  info().curr_dstype = NC_DM_DATASTORE_SDN;
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.1.c=1@1", "a.b.1.d=1@1", "a.b.2.d=2@1"));
}

TEST_F(ReadWalkTest, ReadsTheInstancesOfAHashIndexedList) {
  RegisterReadable({"a.b.{i}.c"});
  char path[] = "a.b";
  info().agent_init = true;
  EXPECT_EQ(nc_dm_agent_reg_hash_tab(path, 10000), 0);
  AddInstance("a.b.3");
  AddInstance("a.b.9");
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.c=3", "a.b.9.c=9"));
  info().agent_init = false;
}

TEST_F(ReadWalkTest, HandsTheSameIdsToACallbackAsCollectingThemGives) {
  // As deep as the work path allows: ids up to the limit of the id array, and past it.
  RegisterReadable({"a.x"});
  RegisterReadableLeafList("a.l");
  nc_dm_agent_node_t* node = NodeAt("a");
  std::vector<nc_dm_agent_node_t*> chain = {node};
  // The top level and 16 lists below each other, each with a leaf and a leaf-list of one element.
  for (int depth = 1; depth <= 16; ++depth) {
    node = nc_dm_agent_create_node(node, NodeAt("a"), depth, NC_DM_NODE_TYPE_MULT_OBJECT,
                                   NC_DM_NODE_SRC_NONE);
    ASSERT_NE(node, nullptr);
    nc_dm_agent_node_t* leaf_list = nc_dm_agent_create_node(
        node, NodeAt("a.l"), 100 + depth, NC_DM_NODE_TYPE_MULT_LEAF, NC_DM_NODE_SRC_NONE);
    ASSERT_NE(leaf_list, nullptr);
    chain.push_back(node);
  }
  for (size_t depth = 1; depth < chain.size(); ++depth) {
    SCOPED_TRACE(depth);
    const DebugMask silent(0);
    app.Forget();
    nc_dm_path_nodes_t path = PathOf("a");
    path.total_node = 1;
    nc_dm_agent_get_nodes_vals(values.get(), &path, chain[depth]);
    std::vector<Ids> called;
    for (const ModelCall& call : app.calls()) called.push_back(call.ids);
    std::vector<Ids> expected;
    const std::function<void(nc_dm_agent_node_t*, int)> collect = [&](nc_dm_agent_node_t* parent,
                                                                      int level) {
      for (auto& child : nc::Records<nc_dm_agent_node_t>(&parent->sub_lst)) {
        if (level == NC_DM_MAX_DEPTH) return;
        if (child.node_type == NC_DM_NODE_TYPE_MULT_OBJECT) collect(&child, level + 1);
        if (child.node_type != NC_DM_NODE_TYPE_LEAF && child.node_type != NC_DM_NODE_TYPE_MULT_LEAF)
          continue;
        nc_dm_id_array_t ids = {};
        if (nc_dm_get_ids(&ids, &child) == 0) expected.emplace_back(ids.id, ids.id + ids.cnt);
      }
    };
    collect(chain[depth], 1);
    EXPECT_EQ(called, expected);
    EXPECT_FALSE(called.empty());
  }
}

TEST_F(ReadWalkTest, KeepsWhatACallbackDoesToItsIdsFromTheNext) {
  RegisterReadable({"a.b.{i}.c", "a.b.{i}.d"});
  AddInstance("a.b.3");
  app.On(Callback::kGet, "c", [](const ModelCall& call) {
    call.id_array->cnt = 0;
    call.id_array->id[0] = 99;
    call.id_array->src = NC_DM_NODE_SRC_CLI;
    return 0;
  });
  int src = -1;
  app.On(Callback::kGet, "d", [&](const ModelCall& call) {
    src = call.id_array->src;
    return IdsAsText(call);
  });
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.c=", "a.b.3.d=3"));
  EXPECT_EQ(src, NC_DM_NODE_SRC_NONE);
}

TEST_F(ReadWalkTest, EndsTheWalkWhereThePathEnds) {
  RegisterReadable({"a.x", "template.y"});
  nc_dm_agent_node_t* node = NodeAt("a");
  for (int depth = 1; depth <= 20; ++depth) {
    node = nc_dm_agent_create_node(node, NodeAt("template"), 0, NC_DM_NODE_TYPE_SINGLE_OBJECT,
                                   NC_DM_NODE_SRC_NONE);
    ASSERT_NE(node, nullptr);
  }
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  // a.x, and y in the containers of levels 2 to 15; level 16 has no room for what is in it.
  EXPECT_EQ(values.cnt(), 15);
  EXPECT_EQ(log().Count(kErrorPrefix, "The depth of path is too deep!\n"), 2);
}

// ---- Over all instances ----

TEST_F(ReadWalkTest, ReadsAPathOverAllInstances) {
  RegisterReadable({"a.b.{i}.c", "a.b.{i}.d"});
  AddInstance("a.b.3");
  AddInstance("a.b.1");
  log().Clear();
  EXPECT_EQ(Match("a.b.c"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.c=3", "a.b.1.c=1"))
      << "the list's schema has no entry to ask for";
  EXPECT_THAT(LogLines(),
              ElementsAre("I Match node 'a', instid 0, continue match descendants to get values.\n",
                          "I Match node 'b', instid 3, continue match descendants to get values.\n",
                          "I Match node 'c', instid 0, continue match descendants to get values.\n",
                          "I Get node 'c' value.\n",
                          "I Match node 'b', instid 1, continue match descendants to get values.\n",
                          "I Match node 'c', instid 0, continue match descendants to get values.\n",
                          "I Get node 'c' value.\n"));
}

TEST_F(ReadWalkTest, ReadsTheEntriesOfAList) {
  RegisterReadable({"a.b.{i}.c", "a.b.{i}.o.d"});
  AddInstance("a.b.3");
  EXPECT_EQ(Match("a.b"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.c=3", "a.b.3.o.d=3"));
}

TEST_F(ReadWalkTest, ReadsEachElementOfALeafListOnceWithItsId) {
  RegisterReadableLeafList("a.l");
  AddInstance("a.l.4");
  EXPECT_EQ(Match("a.l"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_THAT(values.Texts(), ElementsAre("a.l.4=4"));
}

TEST_F(ReadWalkTest, TakesTheIdOfAnElementTwiceBelowIt) {
  RegisterReadableLeafList("a.b.{i}.l");
  RegisterReadable({"a.x", "a.o.y"});
  AddInstance("a.b.3");
  AddInstance("a.b.3.l.4");
  for (const char* source : {"a.x", "a.o"}) {
    nc_dm_agent_node_t* node = NodeAt(source);
    ASSERT_NE(
        nc_dm_agent_create_node(NodeAt("a.b.3.l.4"), node, 0, node->node_type, NC_DM_NODE_SRC_NONE),
        nullptr);
  }
  EXPECT_EQ(ReadSubtree("a.b.3.l.4.x", "a.b.3.l.4.x"), 0);
  EXPECT_EQ(ReadSubtree("a.b.3.l.4.o", "a.b.3.l.4.o"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.l.4.x=3,4,4", "a.b.3.l.4.o.y=3,4,4"));
  app.Forget();
  EXPECT_EQ(Match("a.b.l.x"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_EQ(Match("a.b.l.o"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_THAT(app.CallTexts(), ElementsAre("get x ids=[3,4,4]", "get y ids=[3,4,4]"));
}

TEST_F(ReadWalkTest, MatchesNothingAsAnObject) {
  RegisterReadable({"a.b.{i}.c"});
  EXPECT_EQ(Match("x"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_EQ(Match("a.x"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_EQ(Match("a.b.c.x"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_THAT(values.Texts(), IsEmpty());
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(ReadWalkTest, RefusesInvalidArgumentsOfAMatch) {
  nc_dm_path_nodes_t path = PathOf("a");
  list_head* root = &g_nc_agent_dm.dm_root;
  const auto kNone = NC_DM_CLIENT_MATCH_STATUS_NO_EXIST;
  EXPECT_EQ(nc_dm_agent_match_get_vals(nullptr, root, &path, 0, 0), kNone);
  EXPECT_EQ(nc_dm_agent_match_get_vals(values.get(), nullptr, &path, 0, 0), kNone);
  EXPECT_EQ(nc_dm_agent_match_get_vals(values.get(), root, nullptr, 0, 0), kNone);
  path.total_node = 0;
  EXPECT_EQ(nc_dm_agent_match_get_vals(values.get(), root, &path, 0, 0), kNone);
  EXPECT_EQ(log().Count(kErrorPrefix, "Input parameter is invalid!\n"), 4);
}

// ---- Short memory ----

TEST_F(ReadWalkShortMemoryTest, LosesOneLeafAndLeaksNothing) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  const DebugMask silent(0);
  nc_dm_agent_node_t* node = NodeAt("a");
  const nc_dm_path_nodes_t path = PathOf("a");
  const int allocations = WithEachAllocationFailing([&] {
    nc_dm_list_t list = {};
    nc::InitList(&list.head);
    nc_dm_path_nodes_t work = path;
    if (nc_dm_agent_get_nodes_vals(&list, &work, node) != 0) abort();
    if (list.cnt != (FailingAlloc::HasFailed() ? 2 : 3)) abort();
    nc_dm_agent_free_val_list(&list);
  });
  EXPECT_EQ(allocations, 3 * 3);  // an element, its path, its value
}

}  // namespace
}  // namespace ncdm_test
