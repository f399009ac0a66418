// Nodes, subtrees and empty ancestors that go, and what they leave behind in lists and indexes.

#include "netconf_dm_kernel/tree/indexed_tree_fixture.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RemoveTest : public IndexedTreeTest {};

TEST_F(RemoveTest, RefusesNull) {
  nc_dm_agent_unreg_node(nullptr);
  nc_dm_agent_unreg_nodes(nullptr);
  nc_dm_agent_unreg_parent(nullptr);
  EXPECT_THAT(LogLines(), ElementsAre(Error("Input parameter is invalid!\n"),
                                      Error("The curr_node input is invalid!\n"),
                                      Info("The curr_node input is null!\n")));
}

TEST_F(RemoveTest, LogOfRemovals) {
  Register("a.b.{i}.c");
  Create(At("a"), "b", 7);
  LogCapture::Get().Clear();
  nc_dm_agent_unreg_nodes(At("a.b.7"));
  EXPECT_THAT(
      LogLines(),
      ElementsAre(Info("Delete node, node name:c\n"), Info("The hash_tab input is null.\n"),
                  Info("Delete node, node name:b\n"), Error("The hash_tab input is null!\n"),
                  Info("The hash_tab input is null.\n"), Info("Delete binary tree node: 7.\n")));
}

TEST_F(RemoveTest, LogOfAHashedInstancesRemoval) {
  Register("a.b.{i}.c");
  Hash(At("a.b"));
  Create(At("a"), "b", 7);
  LogCapture::Get().Clear();
  nc_dm_agent_unreg_nodes(At("a.b.7"));
  EXPECT_THAT(LogLines(),
              ElementsAre(Info("Delete node, node name:c\n"), Info("The hash_tab input is null.\n"),
                          Info("Delete node, node name:b\n"),
                          Info("Found dm_node instid:7 from hash table.\n"),
                          Info("The hash_tab input is null.\n")));
  EXPECT_EQ(InTable(At("a.b"), 7), nullptr);
}

TEST_F(RemoveTest, RemovedNodeLeavesListsAndCounters) {
  Register("a.l.{i}.k", NC_DM_FLAG_KEY);
  Register("a.l.{i}.x");
  Node* l = At("a.l");
  nc_dm_agent_unreg_node(At("a.l.k"));
  EXPECT_THAT(Describe(Children(l)), ElementsAre("a.l.x:leaf"));
  EXPECT_THAT(KeyChildren(l), IsEmpty());
  EXPECT_EQ(CountersNow(), (Counters{3, 0, 1, 1, 1, 0, 0}));
}

TEST_F(RemoveTest, UnknownKindIsRemovedAllTheSame) {
  Register("a.b");
  Register("a.l.{i}.x");
  Node* entry = Create(At("a"), "l", 1);
  Create(At("a"), "l", 2);
  for (Node* node : {At("a.b"), At("a.l.1.x"), entry}) {
    const Counters before = CountersNow();
    const std::string path = PathOf(node);
    node->node_type = NC_DM_NODE_TYPE_MAX;
    LogCapture::Get().Clear();
    nc_dm_agent_unreg_node(node);
    EXPECT_THAT(ErrorLines(), ElementsAre("Unknown node type.\n")) << path;
    Counters after = before;
    --after[0];
    EXPECT_EQ(CountersNow(), after);
  }
  EXPECT_THAT(Describe(Children(At("a"))), ElementsAre("a.l:list", "a.l.2:entry"));
  EXPECT_EQ(EntryOf(At("a"), "l", 1), nullptr);
  EXPECT_EQ(EntryOf(At("a"), "l", 2)->data, At("a.l.2"));
  EXPECT_NE(Create(At("a"), "l", 3), nullptr);
  EXPECT_TRUE(nc_dm_agent_has_inst_node(At("a"), At("a.l")->node_name, 3));
}

TEST_F(RemoveTest, RemovingTheRootInstanceLeavesItsReplacement) {
  Register("a.b.{i}.c");
  for (nc_int64 id = 1; id <= 7; ++id) Create(At("a"), "b", id);
  Tree* tree = TreeOf(At("a"), "b");
  for (int left = 6; left >= 0; --left) {
    ASSERT_NE(tree->root_byid, nullptr);
    nc_dm_agent_unreg_nodes(static_cast<Node*>(tree->root_byid->data));
    for (const Node* node : Children(At("a"))) {
      if (node->instid == 0) continue;
      ASSERT_NE(EntryOf(At("a"), "b", node->instid), nullptr);
      EXPECT_EQ(EntryOf(At("a"), "b", node->instid)->data, node);
    }
    EXPECT_EQ(tree->root_byid == nullptr, left == 0);
  }
}

TEST_F(RemoveTest, InstancesOutliveTheirModeNode) {
  Register("a.b.{i}.c");
  Register("a.ll", NC_DM_FLAG_LEAF_LIST);
  Register("a.h.{i}.c");
  Hash(At("a.h"));
  for (const char* list : {"b", "ll", "h"}) {
    Create(At("a"), list, 1);
    Create(At("a"), list, 2);
    nc_dm_agent_unreg_nodes(At(std::string("a.") + list));
    EXPECT_EQ(TreeOf(At("a"), list)->data, nullptr);
  }
  EXPECT_EQ(CountersNow(), CountedNodes());
  for (const char* path : {"a.b.1", "a.ll.2", "a.h.1", "a.h.2", "a.b.2", "a.ll.1"}) {
    Node* node = At(path);
    ASSERT_NE(node, nullptr) << path;
    EXPECT_TRUE(nc_dm_agent_has_inst_node(At("a"), node->node_name, node->instid));
    nc_dm_agent_unreg_nodes(node);
    EXPECT_EQ(At(path), nullptr);
  }
  EXPECT_THAT(Children(At("a")), IsEmpty());
  EXPECT_EQ(CountersNow(), (Counters{1, 0, 0, 1, 0, 0, 0}));
}

TEST_F(RemoveTest, ListRegisteredAnewBehindItsInstances) {
  Register("a.b.{i}.c");
  Create(At("a"), "b", 1);
  nc_dm_agent_unreg_nodes(At("a.b"));
  Node* a = At("a");
  // The path now leads to the instance, so the list itself is made by hand of the schema.
  nc_dm_path_nodes_t path = Parsed("a.b.{i}.c");
  path.match_cnt = 1;
  Node leaf = Template();
  ASSERT_EQ(nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, &path, a, &leaf), 0);
  EXPECT_THAT(Describe(Children(a)), ElementsAre("a.b.1:entry", "a.b:list"));
  EXPECT_EQ(TreeOf(a, "b")->data, At("a.b"));
  Create(a, "b", 2);
  EXPECT_EQ(EntryOf(a, "b", 1)->data, At("a.b.1"));
  EXPECT_EQ(EntryOf(a, "b", 2)->data, At("a.b.2"));
  char name[] = "b";
  EXPECT_EQ(nc_dm_agent_search_mode_node(a, name), At("a.b"));
}

TEST_F(RemoveTest, LogOfAnInstanceThatGoesBeforeItsModeNode) {
  Register("a.b.{i}.c");
  Create(At("a"), "b", 1);
  nc_dm_agent_unreg_nodes(At("a.b"));
  nc_dm_path_nodes_t path = Parsed("a.b.{i}.c");
  path.match_cnt = 1;
  Node leaf = Template();
  ASSERT_EQ(nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, &path, At("a"), &leaf), 0);
  LogCapture::Get().Clear();
  nc_dm_agent_unreg_nodes(At("a"));
  EXPECT_THAT(
      LogLines(),
      ElementsAre(Info("Delete node, node name:c\n"), Info("The hash_tab input is null.\n"),
                  Info("Delete node, node name:b\n"), Error("The hash_tab input is null!\n"),
                  Info("The hash_tab input is null.\n"), Info("Delete binary tree node: 1.\n"),
                  Info("Delete node, node name:c\n"), Info("The hash_tab input is null.\n"),
                  Info("Delete node, node name:b\n"), Info("The hash_tab input is null.\n"),
                  Info("Delete node, node name:a\n"), Info("The hash_tab input is null.\n")));
}

TEST_F(RemoveTest, NothingOfATreeIsLeft) {
  g_nc_dm_agent_dbg = 0;
  const int live = FailingAlloc::Live();
  // So many children that searches have help.
  for (int i = 0; i < 30; ++i) Register("a.x" + std::to_string(i));
  Register("a.b.{i}.c.{i}.d", NC_DM_FLAG_KEY);
  Register("a.h.{i}.k");
  Hash(At("a.h"));
  for (nc_int64 id = 1; id <= 30; ++id) {
    Create(Create(At("a"), "b", id), "c", id);
    Create(At("a"), "h", id);
  }
  char name[] = "x29";
  EXPECT_EQ(nc_dm_agent_search_mode_node(At("a"), name), At("a.x29"));
  nc_dm_agent_unreg_nodes(At("a"));
  EXPECT_EQ(FailingAlloc::Live(), live);
}

TEST_F(RemoveTest, SubtreeGoesWithEverything) {
  Register("a.b.{i}.c.{i}.d.{i}.e", NC_DM_FLAG_KEY);
  Register("a.b.{i}.ll", NC_DM_FLAG_LEAF_LIST);
  Hash(At("a.b.c"));
  for (nc_int64 i = 1; i <= 3; ++i) {
    Node* b = Create(At("a"), "b", i);
    for (nc_int64 j = 1; j <= 3; ++j) {
      Node* c = Create(b, "c", j);
      for (nc_int64 k = 1; k <= 3; ++k) Create(c, "d", k);
      Create(b, "ll", j);
    }
  }
  EXPECT_EQ(CountersNow(), CountedNodes());
  nc_dm_agent_unreg_nodes(At("a.b.2"));
  EXPECT_EQ(CountersNow(), CountedNodes());
  nc_dm_agent_unreg_nodes(At("a.b.3.c.1"));
  EXPECT_EQ(CountersNow(), CountedNodes());
  EXPECT_NE(At("a.b.3.c.2.d.3.e"), nullptr);
  nc_dm_agent_unreg_nodes(At("a"));
  EXPECT_EQ(CountersNow(), Counters{});
  EXPECT_THAT(Roots(), IsEmpty());
}

TEST_F(RemoveTest, TopLevelEntryHasNoParentToAsk) {
  Register("b.5.c");
  LogCapture::Get().Clear();
  nc_dm_agent_unreg_nodes(At("b.5"));
  EXPECT_THAT(ErrorLines(), ElementsAre("The node input is null!\n"));
  EXPECT_EQ(CountersNow(), Counters{});
}

TEST_F(RemoveTest, UnregParentStopsAtTheFirstAncestorWithChildren) {
  Register("a.b.c.d");
  Register("a.x");
  nc_dm_agent_unreg_parent(At("a.b.c"));  // has a child
  EXPECT_NE(At("a.b.c.d"), nullptr);
  nc_dm_agent_unreg_parent(At("a.b.c.d"));
  EXPECT_THAT(TreeText(), ElementsAre("a:container", "a.x:leaf"));
  EXPECT_EQ(CountersNow(), (Counters{2, 0, 0, 1, 1, 0, 0}));
  nc_dm_agent_unreg_parent(At("a.x"));
  EXPECT_THAT(Roots(), IsEmpty());
  EXPECT_EQ(CountersNow(), Counters{});
}

TEST_F(RemoveTest, UnregParentRemovesOnlyALeafWithSiblings) {
  Register("a.b");
  Register("a.c");
  nc_dm_agent_unreg_parent(At("a.b"));
  EXPECT_THAT(TreeText(), ElementsAre("a:container", "a.c:leaf"));
}

TEST_F(RemoveTest, TheNamesOfSchemaNodesMayBeReplaced) {
  for (int i = 0; i < 20; ++i) Register("a.x" + std::to_string(i));
  for (Node* node : AllNodes()) {
    char* name = strdup(node->node_name);
    free(node->node_name);
    node->node_name = name;
  }
  char name[] = "x7";
  EXPECT_EQ(nc_dm_agent_search_mode_node(At("a"), name), At("a.x7"));
  nc_dm_agent_unreg_nodes(At("a.x7"));
  nc_dm_agent_unreg_nodes(At("a"));
  EXPECT_EQ(CountersNow(), Counters{});
}

TEST_F(RemoveTest, HandMadeNodesAreReleased) {
  Register("a.b.{i}.c");
  Node* a = At("a");
  Node* o = AddHandMade(a, "o", NC_DM_NODE_TYPE_SINGLE_OBJECT);
  AddHandMade(o, "p", NC_DM_NODE_TYPE_LEAF);
  Node* nine = AddHandMade(a, "b", NC_DM_NODE_TYPE_MULT_OBJECT, 9);
  nine->instid_btree_node = nc_dm_agent_create_bin_tree_node(nine, 9);
  TreeOf(a, "b")->root_byid = nine->instid_btree_node;
  EXPECT_EQ(CountersNow(), CountedNodes());
  EXPECT_NE(Create(a, "b", 10), nullptr);
  EXPECT_EQ(EntryOf(a, "b", 9)->data, nine);
  nc_dm_agent_unreg_nodes(nine);
  EXPECT_EQ(EntryOf(a, "b", 9), nullptr);
  EXPECT_EQ(EntryOf(a, "b", 10)->data, At("a.b.10"));
  nc_dm_agent_unreg_nodes(a);
  EXPECT_EQ(CountersNow(), Counters{});
}

TEST_F(RemoveTest, InstanceOfAModeNodeFromElsewhere) {
  Register("a.x");
  Register("z.b.{i}.c");
  Node* mode = At("z.b");
  Node* entry =
      nc_dm_agent_create_node(At("a"), mode, 3, NC_DM_NODE_TYPE_MULT_OBJECT, NC_DM_NODE_SRC_NONE);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(EntryOf(At("a"), "b", 3)->data, entry);
  // Nothing of the other branch is referred to: it may go first.
  nc_dm_agent_unreg_nodes(At("z"));
  nc_dm_agent_unreg_nodes(entry);
  EXPECT_EQ(CountersNow(), (Counters{2, 0, 0, 1, 1, 0, 0}));
}

}  // namespace
}  // namespace ncdm_test
