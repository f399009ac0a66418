#include "netconf_dm_kernel/tree_fixture.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SchemaTest : public LoggedTreeTest {
 protected:
  // Creates the node of the component before the path's cursor, in a list of its own.
  int RegisterNode(const std::string& path, int cursor, Node* parent, Node leaf = Template()) {
    nodes_ = Parsed(path);
    nodes_.match_cnt = cursor;
    made_ = nullptr;
    list_head* list = parent != nullptr ? &parent->sub_lst : &g_nc_agent_dm.dm_root;
    return nc_dm_agent_reg_node(&nodes_, &made_, &leaf, parent, list);
  }

  nc_dm_path_nodes_t nodes_{};
  Node* made_ = nullptr;
};

// ---- Kinds ----

TEST_F(SchemaTest, ContainerAndLeaf) {
  Register("a.b");
  EXPECT_THAT(TreeText(), ElementsAre("a:container", "a.b:leaf"));
  EXPECT_EQ(CountersNow(), (Counters{2, 0, 0, 1, 1, 0, 0}));
  EXPECT_EQ(At("a")->parent, nullptr);
  EXPECT_EQ(At("a.b")->parent, At("a"));
  EXPECT_THAT(Trees(At("a")), IsEmpty());
}

TEST_F(SchemaTest, List) {
  Register("a.b.{i}.c");
  EXPECT_THAT(TreeText(), ElementsAre("a:container", "a.b:list", "a.b.c:leaf"));
  EXPECT_EQ(CountersNow(), (Counters{3, 0, 1, 1, 1, 0, 0}));
  ASSERT_EQ(Trees(At("a")).size(), 1U);
  const Tree* tree = Trees(At("a"))[0];
  EXPECT_STREQ(tree->name, "b");
  EXPECT_EQ(tree->data, At("a.b"));
  EXPECT_EQ(tree->root_byid, nullptr);
}

TEST_F(SchemaTest, SecondLeafOfAListCreatesOnlyThatLeaf) {
  Register("a.b.{i}.c");
  const Node* list = At("a.b");
  Register("a.b.{i}.d");
  EXPECT_EQ(At("a.b"), list);
  EXPECT_THAT(TreeText(), ElementsAre("a:container", "a.b:list", "a.b.c:leaf", "a.b.d:leaf"));
  EXPECT_EQ(CountersNow(), (Counters{4, 0, 1, 1, 2, 0, 0}));
  EXPECT_EQ(Trees(At("a")).size(), 1U);
}

TEST_F(SchemaTest, SamePathTwiceMatchesInFull) {
  Register("a.b.{i}.c");
  EXPECT_EQ(RegisterPath("a.b.{i}.c", Template()), 1);
  EXPECT_EQ(CountersNow(), (Counters{3, 0, 1, 1, 1, 0, 0}));
}

TEST_F(SchemaTest, ListsThreeDeep) {
  Register("a.b.{i}.c.{i}.d.{i}.e");
  EXPECT_THAT(TreeText(), ElementsAre("a:container", "a.b:list", "a.b.c:list", "a.b.c.d:list",
                                      "a.b.c.d.e:leaf"));
  EXPECT_EQ(TreeOf(At("a"), "b")->data, At("a.b"));
  EXPECT_EQ(TreeOf(At("a.b"), "c")->data, At("a.b.c"));
  EXPECT_EQ(TreeOf(At("a.b.c"), "d")->data, At("a.b.c.d"));
  EXPECT_EQ(CountersNow(), (Counters{5, 0, 3, 1, 1, 0, 0}));
}

TEST_F(SchemaTest, ListAtTheTopLevelHasNoInstanceTree) {
  Register("l.{i}.x");
  EXPECT_THAT(TreeText(), ElementsAre("l:list", "l.x:leaf"));
  EXPECT_THAT(Trees(At("l")), IsEmpty());
}

TEST_F(SchemaTest, TrailingMarkerAloneMakesALeaf) {
  Register("a.l.{i}");
  EXPECT_THAT(TreeText(), ElementsAre("a:container", "a.l:leaf"));
  EXPECT_TRUE(LogCapture::Get().ContainsInfo("The register node:l is multi-leaf-mode node.\n"));
}

TEST_F(SchemaTest, FlagMakesALeafList) {
  Register("a.l.{i}", NC_DM_FLAG_LEAF_LIST);
  Register("a.m", NC_DM_FLAG_LEAF_LIST);
  EXPECT_THAT(TreeText(), ElementsAre("a:container", "a.l:leaf-list", "a.m:leaf-list"));
  EXPECT_EQ(CountersNow(), (Counters{3, 0, 0, 1, 0, 0, 2}));
  // The instance tree of a leaf-list comes with its first element.
  EXPECT_THAT(Trees(At("a")), IsEmpty());
}

TEST_F(SchemaTest, TrailingNumberStaysWithTheLeaf) {
  Register("a.l.7");
  EXPECT_THAT(TreeText(), ElementsAre("a:container", "a.l.7:leaf"));
  EXPECT_TRUE(LogCapture::Get().ContainsInfo("The register node: l is multi-leaf node.\n"));
  EXPECT_TRUE(LogCapture::Get().ContainsInfo("Find node instanceid: 7\n"));
  Register("a.m.8", NC_DM_FLAG_LEAF_LIST);
  EXPECT_STREQ(KindName(At("a.m.8")), "leaf-list");
}

TEST_F(SchemaTest, NumberMakesAnEntryWithoutIndex) {
  Register("a.b.5.c");
  EXPECT_THAT(TreeText(), ElementsAre("a:container", "a.b.5:entry", "a.b.5.c:leaf"));
  EXPECT_EQ(CountersNow(), (Counters{3, 1, 0, 1, 1, 0, 0}));
  EXPECT_THAT(Trees(At("a")), IsEmpty());
  EXPECT_EQ(At("a.b.5")->instid_btree_node, nullptr);

  Register("a.b.6.c");
  Register("a.b.5.d");
  EXPECT_THAT(TreeText(), ElementsAre("a:container", "a.b.5:entry", "a.b.5.c:leaf", "a.b.5.d:leaf",
                                      "a.b.6:entry", "a.b.6.c:leaf"));
}

TEST_F(SchemaTest, NumbersAreSignedAndReadAsFarAsTheyGo) {
  Register("a.b.-5.c");
  EXPECT_EQ(At("a.b.-5")->instid, -5);
  Register("a.b.9223372036854775807.c");
  EXPECT_NE(At("a.b.9223372036854775807"), nullptr);
  Register("a.b.-.c");
  EXPECT_EQ(Children(At("a")).back()->instid, 0);
  EXPECT_STREQ(KindName(Children(At("a")).back()), "entry");
}

TEST_F(SchemaTest, NumbersAreReadAsUnsigned64Bits) {
  Register("a.b.18446744073709551615.c");
  EXPECT_EQ(Children(At("a")).back()->instid, -1);
  Register("a.d.9223372036854775808.c");
  EXPECT_EQ(Children(At("a")).back()->instid, INT64_MIN);
  // What is larger is the largest.
  Register("a.e.99999999999999999999999.c");
  EXPECT_EQ(Children(At("a")).back()->instid, -1);
}

TEST_F(SchemaTest, SecondOfTwoNumbersIsAName) {
  Register("a.b.5.6");
  EXPECT_THAT(TreeText(), ElementsAre("a:container", "a.b.5:entry", "a.b.5.6:leaf"));
}

TEST_F(SchemaTest, AsDeepAsAPathMayBe) {
  Register("c1.c2.c3.c4.c5.c6.c7.c8.c9.c10.c11.c12.c13.c14.c15.c16");
  EXPECT_EQ(CountersNow(), (Counters{16, 0, 0, 15, 1, 0, 0}));
  EXPECT_STREQ(KindName(At("c1.c2.c3.c4.c5.c6.c7.c8.c9.c10.c11.c12.c13.c14.c15.c16")), "leaf");
  Register("d1.d2.d3.d4.d5.d6.d7.d8.d9.d10.d11.d12.d13.d14.d15.{i}", NC_DM_FLAG_LEAF_LIST);
  EXPECT_EQ(CountersNow(), (Counters{31, 0, 0, 29, 1, 0, 1}));
}

TEST_F(SchemaTest, LeadingZeroIsAName) {
  Register("a.01.c");
  EXPECT_THAT(TreeText(), ElementsAre("a:container", "a.01:container", "a.01.c:leaf"));
}

// ---- Log ----

TEST_F(SchemaTest, LogOfAList) {
  Register("a.b.{i}.c");
  EXPECT_THAT(
      LogLines(),
      ElementsAre(Info("Register node:a\n"), Info("The register node: a is single-object node.\n"),
                  Info("Register node:b\n"), Info("The register node: b is multi-mode node.\n"),
                  Info("Register node:c\n"), Info("The register node: c is leaf node.\n"),
                  Info("Register dm successfully.\n")));
}

TEST_F(SchemaTest, LogOfNumbers) {
  Register("a.5.l.7");
  EXPECT_THAT(
      LogLines(),
      ElementsAre(Info("Register node:a\n"), Info("The register node: a is multi-object node.\n"),
                  Info("Find node instid: 5.\n"), Info("Register node:l\n"),
                  Info("The register node: l is multi-leaf node.\n"),
                  Info("Find node instanceid: 7\n"), Info("Register dm successfully.\n")));
}

// ---- Attributes ----

Node FullTemplate(int flag) {
  Node leaf = Template(flag);
  leaf.val_type = NC_DM_VAL_TYPE_UINT;
  leaf.index = 9;
  leaf.set = SetA;
  leaf.get = GetA;
  leaf.create = CreateA;
  leaf.NC_DM_DELETE = DeleteA;
  leaf.get_attr = GetAttrA;
  leaf.exe_cmd = ExeCmdA;
  return leaf;
}

TEST_F(SchemaTest, LeafTakesTheTemplatesAttributes) {
  Node leaf = FullTemplate(32);
  char path[] = "not copied";
  leaf.dm_path = path;
  ASSERT_EQ(RegisterPath("a.b", leaf), 0);
  const Node* b = At("a.b");
  EXPECT_EQ(b->flag, 32);
  EXPECT_EQ(b->index, 9);
  EXPECT_EQ(b->val_type, NC_DM_VAL_TYPE_UINT);
  EXPECT_EQ(b->set, SetA);
  EXPECT_EQ(b->get, GetA);
  EXPECT_EQ(b->create, CreateA);
  EXPECT_EQ(b->NC_DM_DELETE, DeleteA);
  EXPECT_EQ(b->get_attr, GetAttrA);
  EXPECT_EQ(b->exe_cmd, ExeCmdA);
  EXPECT_EQ(b->dm_path, nullptr);
  EXPECT_EQ(b->padb, nullptr);
  EXPECT_EQ(b->hash_tab, nullptr);
  EXPECT_EQ(b->src, NC_DM_NODE_SRC_NONE);
}

TEST_F(SchemaTest, ObjectsTakeNothingButTheFirstExeCmd) {
  ASSERT_EQ(RegisterPath("a.b.{i}.c", FullTemplate(0)), 0);
  for (const Node* node : {At("a"), At("a.b")}) {
    EXPECT_EQ(node->flag, 0);
    EXPECT_EQ(node->index, 0);
    EXPECT_EQ(node->val_type, NC_DM_VAL_TYPE_UNKNOWN);
    EXPECT_EQ(node->set, nullptr);
    EXPECT_EQ(node->get, nullptr);
    EXPECT_EQ(node->create, nullptr);
    EXPECT_EQ(node->NC_DM_DELETE, nullptr);
    EXPECT_EQ(node->get_attr, nullptr);
  }
  EXPECT_EQ(At("a.b")->exe_cmd, ExeCmdA);
  EXPECT_EQ(At("a")->exe_cmd, nullptr);

  Node second = FullTemplate(0);
  second.exe_cmd = ExeCmdB;
  ASSERT_EQ(RegisterPath("a.b.{i}.d", second), 0);
  EXPECT_EQ(At("a.b")->exe_cmd, ExeCmdA);
  EXPECT_EQ(At("a.b.d")->exe_cmd, ExeCmdB);
}

TEST_F(SchemaTest, LeafWithoutExeCmdLeavesTheParentFree) {
  Register("a.b");
  EXPECT_EQ(At("a")->exe_cmd, nullptr);
  ASSERT_EQ(RegisterPath("a.c", FullTemplate(0)), 0);
  EXPECT_EQ(At("a")->exe_cmd, ExeCmdA);
}

TEST_F(SchemaTest, KeyLeafGivesItsListTheEntryCallbacks) {
  for (const int flag : {NC_DM_FLAG_KEY, NC_DM_FLAG_KEY_SETTABLE}) {
    const std::string list = "a.l" + std::to_string(flag);
    ASSERT_EQ(RegisterPath(list + ".{i}.k", FullTemplate(flag)), 0);
    EXPECT_EQ(At(list)->create, CreateA);
    EXPECT_EQ(At(list)->NC_DM_DELETE, DeleteA);
    EXPECT_EQ(At(list)->get_attr, GetAttrA);
    EXPECT_EQ(At(list)->set, nullptr);
    EXPECT_EQ(At(list)->get, nullptr);
    EXPECT_THAT(KeyChildren(At(list)), ElementsAre(At(list + ".k")));
  }
}

TEST_F(SchemaTest, LastKeyLeafWinsAndKeysKeepTheirOrder) {
  ASSERT_EQ(RegisterPath("a.l.{i}.k1", FullTemplate(NC_DM_FLAG_KEY)), 0);
  ASSERT_EQ(RegisterPath("a.l.{i}.x", FullTemplate(0)), 0);
  Node second = FullTemplate(NC_DM_FLAG_KEY_SETTABLE);
  second.create = CreateB;
  second.NC_DM_DELETE = DeleteB;
  second.get_attr = nullptr;
  ASSERT_EQ(RegisterPath("a.l.{i}.k2", second), 0);
  EXPECT_EQ(At("a.l")->create, CreateB);
  EXPECT_EQ(At("a.l")->NC_DM_DELETE, DeleteB);
  EXPECT_EQ(At("a.l")->get_attr, nullptr);
  EXPECT_THAT(KeyChildren(At("a.l")), ElementsAre(At("a.l.k1"), At("a.l.k2")));
}

TEST_F(SchemaTest, KeyLeafListGivesItsCallbacksButIsNoKeyLeaf) {
  ASSERT_EQ(RegisterPath("a.k", FullTemplate(NC_DM_FLAG_KEY | NC_DM_FLAG_LEAF_LIST)), 0);
  EXPECT_STREQ(KindName(At("a.k")), "leaf-list");
  EXPECT_EQ(At("a")->create, CreateA);
  EXPECT_THAT(KeyChildren(At("a")), IsEmpty());
}

TEST_F(SchemaTest, KeyLeafAtTheTopLevel) {
  ASSERT_EQ(RegisterPath("k", FullTemplate(NC_DM_FLAG_KEY)), 0);
  EXPECT_THAT(TreeText(), ElementsAre("k:leaf"));
  EXPECT_EQ(At("k")->key_lst.next, &At("k")->key_lst);
}

// ---- Arguments and failures ----

TEST_F(SchemaTest, RegNodesRefusesBadArguments) {
  Node leaf = Template();
  EXPECT_EQ(nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, nullptr, nullptr, &leaf), -1);
  nc_dm_path_nodes_t empty{};
  EXPECT_EQ(nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, &empty, nullptr, &leaf), -1);
  EXPECT_THAT(LogLines(), ElementsAre(Error("Parameters input are invalid.\n"),
                                      Error("Parameters input are invalid.\n")));
  EXPECT_EQ(empty.match_cnt, 0);
}

TEST_F(SchemaTest, RegNodesWithNothingLeft) {
  Register("a.b");
  LogCapture::Get().Clear();
  Node leaf = Template();
  nc_dm_path_nodes_t nodes = Parsed("a.b");
  nodes.match_cnt = 2;
  EXPECT_EQ(nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, &nodes, At("a.b"), &leaf), 0);
  EXPECT_THAT(LogLines(), ElementsAre(Info("Register dm successfully.\n")));
  EXPECT_EQ(CountersNow()[0], 2U);
}

TEST_F(SchemaTest, RegNodesPassesAFailureOn) {
  nc_dm_path_nodes_t nodes = Parsed("a.b");
  EXPECT_EQ(nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, &nodes, nullptr, nullptr), -1);
  EXPECT_THAT(LogLines(), ElementsAre(Error("Input parameter is invalid!\n")));
  EXPECT_THAT(Roots(), IsEmpty());
}

TEST_F(SchemaTest, RegNodeRefusesBadArguments) {
  Node leaf = Template();
  Node* made = nullptr;
  list_head* root = &g_nc_agent_dm.dm_root;
  nc_dm_path_nodes_t empty{};
  nc_dm_path_nodes_t nodes = Parsed("a.b");
  nodes.match_cnt = 1;
  EXPECT_EQ(nc_dm_agent_reg_node(nullptr, &made, &leaf, nullptr, root), -1);
  EXPECT_EQ(nc_dm_agent_reg_node(&empty, &made, &leaf, nullptr, root), -1);
  EXPECT_EQ(nc_dm_agent_reg_node(&nodes, &made, nullptr, nullptr, root), -1);
  EXPECT_EQ(nc_dm_agent_reg_node(&nodes, nullptr, &leaf, nullptr, root), -1);
  EXPECT_EQ(nc_dm_agent_reg_node(&nodes, &made, &leaf, nullptr, nullptr), -1);
  nodes.match_cnt = 0;  // no component to create
  EXPECT_EQ(nc_dm_agent_reg_node(&nodes, &made, &leaf, nullptr, root), -1);
  nodes.match_cnt = 3;
  EXPECT_EQ(nc_dm_agent_reg_node(&nodes, &made, &leaf, nullptr, root), -1);
  EXPECT_EQ(LogCapture::Get().Count(kErrorPrefix, "Input parameter is invalid!\n"), 7);
  EXPECT_THAT(Roots(), IsEmpty());
}

TEST_F(SchemaTest, RegNodeTakesOneComponentAndItsMarker) {
  ASSERT_EQ(RegisterNode("a.b.{i}.c", 1, nullptr), 0);
  Node* a = made_;
  EXPECT_EQ(Describe(a), "a:container");
  EXPECT_EQ(nodes_.match_cnt, 1);
  ASSERT_EQ(RegisterNode("a.b.{i}.c", 2, a), 0);
  EXPECT_EQ(Describe(made_), "a.b:list");
  EXPECT_EQ(nodes_.match_cnt, 3);
  ASSERT_EQ(RegisterNode("a.7.c", 1, nullptr), 0);
  EXPECT_EQ(Describe(made_), "a.7:entry");
  EXPECT_EQ(nodes_.match_cnt, 2);
}

TEST_F(SchemaTest, UnknownKindOfTemplate) {
  Register("a.b");
  LogCapture::Get().Clear();
  const Counters before = CountersNow();
  for (const int kind : {0, 7}) {
    Node leaf = FullTemplate(0);
    leaf.node_type = static_cast<nc_dm_node_type_t>(kind);
    EXPECT_EQ(RegisterNode("a.c", 2, At("a"), leaf), -1);
    EXPECT_EQ(made_, nullptr);
  }
  EXPECT_THAT(ErrorLines(), ElementsAre("Unknown node type!\n", "Unknown node type!\n"));
  EXPECT_EQ(CountersNow(), before);
  EXPECT_EQ(Children(At("a")).size(), 1U);
}

TEST_F(SchemaTest, NodesOfEarlierStepsStay) {
  Node leaf = Template();
  leaf.node_type = NC_DM_NODE_TYPE_MAX;
  EXPECT_EQ(RegisterPath("a.b.{i}.c", leaf), -1);
  EXPECT_THAT(TreeText(), ElementsAre("a:container", "a.b:list"));
  EXPECT_EQ(CountersNow(), CountedNodes());
}

TEST_F(SchemaTest, UnknownKindOfTemplateIsReleasedButHasGivenItsExeCmd) {
  Register("a.b");
  Node leaf = FullTemplate(NC_DM_FLAG_KEY);
  leaf.node_type = NC_DM_NODE_TYPE_MAX;
  const int live = FailingAlloc::Live();
  EXPECT_EQ(RegisterNode("a.c", 2, At("a"), leaf), -1);
  EXPECT_EQ(FailingAlloc::Live(), live);
  EXPECT_EQ(At("a")->exe_cmd, ExeCmdA);
  EXPECT_EQ(At("a")->create, nullptr) << "it was no key leaf";
  // The flag makes a leaf-list of any kind.
  leaf.flag = NC_DM_FLAG_LEAF_LIST;
  EXPECT_EQ(RegisterNode("a.c", 2, At("a"), leaf), 0);
  EXPECT_STREQ(KindName(made_), "leaf-list");
}

TEST_F(SchemaTest, NoMemoryForANode) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  Node leaf = Template();
  const DebugMask errors(NC_DM_DBG_ERROR);
  for (const int successes : {0, 1, 2, 3}) {
    nc_dm_path_nodes_t nodes = Parsed("a.b");
    LogCapture::Get().Clear();
    {
      const FailingAlloc failing(successes);
      EXPECT_EQ(nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, &nodes, nullptr, &leaf), -1);
    }
    EXPECT_THAT(ErrorLines(),
                ElementsAre(successes % 2 == 0 ? "Failed to malloc for nc_dm_agent_node_t!\n"
                                               : "Failed to malloc for (*dm_node)->node_name!\n"));
    EXPECT_EQ(CountersNow(), CountedNodes());
    EXPECT_EQ(CountersNow()[0], static_cast<uint32_t>(successes / 2)) << "what was made stays";
    if (Node* made = At("a")) nc_dm_agent_unreg_nodes(made);
  }
}

// ---- Many paths ----

TEST_F(TreeTest, ManyLeavesAndListsUnderOneContainer) {
  for (int i = 0; i < 3000; ++i) {
    Register("a.leaf" + std::to_string(i));
    Register("a.list" + std::to_string(i) + ".{i}.x");
  }
  EXPECT_EQ(CountersNow(), (Counters{9001, 0, 3000, 1, 6000, 0, 0}));
  EXPECT_EQ(CountersNow(), CountedNodes());
  EXPECT_EQ(Trees(At("a")).size(), 3000U);
  for (int i = 0; i < 3000; i += 77) {
    EXPECT_EQ(RegisterPath("a.leaf" + std::to_string(i), Template()), 1);
    const std::string name = "list" + std::to_string(i);
    EXPECT_EQ(TreeOf(At("a"), name.c_str())->data, At("a." + name));
  }
  Register("a.last");
  EXPECT_EQ(Children(At("a")).back(), At("a.last"));
}

}  // namespace
}  // namespace ncdm_test
