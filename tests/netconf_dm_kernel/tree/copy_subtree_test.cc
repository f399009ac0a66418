// Copies of schema nodes: entries and elements with all below, their places in the indexes.

#include <cstdlib>
#include <map>

#include "netconf_dm_kernel/instances/instance_tree_fixture.h"
#include "netconf_dm_kernel/tree/indexed_tree_fixture.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class CopySubtreeTest : public IndexedTreeTest {
 protected:
  // The first allocation of an entry of a.b fails.
  static void ExpectNoEntryWithoutMemory() {
    const Counters before = CountersNow();
    Node* a = At("a");
    Node* b = At("a.b");
    g_nc_dm_agent_dbg = NC_DM_DBG_ERROR;
    LogCapture::Get().Clear();
    {
      const FailingAlloc failing(0);
      EXPECT_EQ(nc_dm_agent_create_node(a, b, 1, NC_DM_NODE_TYPE_MULT_OBJECT, NC_DM_NODE_SRC_NONE),
                nullptr);
    }
    EXPECT_THAT(ErrorLines(), ElementsAre("Failed to malloc for nc_dm_agent_node_t!\n"));
    EXPECT_EQ(CountersNow(), before);
    EXPECT_EQ(Children(a).size(), 1U);
  }
};

// ---- Arguments ----

TEST_F(CopySubtreeTest, RefusesBadArguments) {
  Register("a.b.{i}.c");
  LogCapture::Get().Clear();
  const Counters before = CountersNow();
  Node* a = At("a");
  Node* b = At("a.b");
  const auto entry = NC_DM_NODE_TYPE_MULT_OBJECT;
  const auto none = NC_DM_NODE_SRC_NONE;
  EXPECT_EQ(nc_dm_agent_create_node(nullptr, b, 1, entry, none), nullptr);
  EXPECT_EQ(nc_dm_agent_create_node(a, nullptr, 1, entry, none), nullptr);
  EXPECT_EQ(nc_dm_agent_create_node(a, b, -1, entry, none), nullptr);
  EXPECT_EQ(nc_dm_agent_create_node(a, b, 0, entry, none), nullptr);
  EXPECT_EQ(nc_dm_agent_create_node(a, b, 0, NC_DM_NODE_TYPE_MULT_LEAF, none), nullptr);
  EXPECT_EQ(nc_dm_agent_create_node(nullptr, nullptr, -1, entry, none), nullptr);
  EXPECT_THAT(LogLines(),
              ElementsAre(Error("The parent node input is null!\n"),
                          Error("The source node input is null!\n"),
                          Error("The instance id input is invalid!\n"),
                          Error("The mult-object or mult-leaf instance id input is 0!\n"),
                          Error("The mult-object or mult-leaf instance id input is 0!\n"),
                          Error("The parent node input is null!\n")));
  EXPECT_EQ(CountersNow(), before);
  EXPECT_EQ(Children(a).size(), 1U);
}

TEST_F(CopySubtreeTest, UnknownKind) {
  Register("a.b.{i}.c");
  LogCapture::Get().Clear();
  const Counters before = CountersNow();
  const int live = FailingAlloc::Live();
  for (const int kind : {0, 7}) {
    EXPECT_EQ(nc_dm_agent_create_node(At("a"), At("a.b"), 1, static_cast<nc_dm_node_type_t>(kind),
                                      NC_DM_NODE_SRC_NONE),
              nullptr);
  }
  EXPECT_EQ(FailingAlloc::Live(), live);
  EXPECT_THAT(ErrorLines(), ElementsAre("Unknown node type!\n", "Unknown node type!\n"));
  EXPECT_EQ(CountersNow(), before);
  EXPECT_EQ(Children(At("a")).size(), 1U);
}

// ---- Entries ----

TEST_F(CopySubtreeTest, EntryIsACopyOfItsList) {
  Register("a.b.{i}.k", NC_DM_FLAG_KEY);
  Register("a.b.{i}.x");
  Register("a.b.{i}.c.{i}.y");
  Register("a.b.{i}.o.z");
  Register("a.b.{i}.ll", NC_DM_FLAG_LEAF_LIST);
  Node* b = At("a.b");
  Node* entry =
      nc_dm_agent_create_node(At("a"), b, 7, NC_DM_NODE_TYPE_MULT_OBJECT, NC_DM_NODE_SRC_CLI);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->parent, At("a"));
  EXPECT_EQ(entry->instid, 7);
  EXPECT_THAT(Describe(Children(At("a"))), ElementsAre("a.b:list", "a.b.7:entry"));
  EXPECT_THAT(Describe(Children(entry)), ElementsAre("a.b.7.k:leaf", "a.b.7.x:leaf", "a.b.7.c:list",
                                                     "a.b.7.o:container", "a.b.7.ll:leaf-list"));
  EXPECT_THAT(Describe(Children(At("a.b.7.c"))), ElementsAre("a.b.7.c.y:leaf"));
  EXPECT_THAT(Describe(Children(At("a.b.7.o"))), ElementsAre("a.b.7.o.z:leaf"));
  EXPECT_THAT(KeyChildren(entry), ElementsAre(At("a.b.7.k")));
  Visit(&entry->sub_lst, [](const Node* node) {
    EXPECT_EQ(node->src, NC_DM_NODE_SRC_CLI) << PathOf(node);
    EXPECT_EQ(node->instid, 0) << PathOf(node);
  });
  EXPECT_EQ(entry->src, NC_DM_NODE_SRC_CLI);

  ASSERT_NE(TreeOf(At("a"), "b"), nullptr);
  EXPECT_EQ(TreeOf(At("a"), "b")->data, b);
  EXPECT_EQ(TreeOf(At("a"), "b")->root_byid, entry->instid_btree_node);
  EXPECT_EQ(entry->instid_btree_node->data, entry);
  EXPECT_EQ(entry->instid_btree_node->id, 7);
  // Nested lists and leaf-lists of the entry have instance trees of their own.
  ASSERT_EQ(Trees(entry).size(), 2U);
  EXPECT_EQ(TreeOf(entry, "c")->data, At("a.b.7.c"));
  EXPECT_EQ(TreeOf(entry, "c")->root_byid, nullptr);
  EXPECT_EQ(TreeOf(entry, "ll")->data, At("a.b.7.ll"));
  EXPECT_EQ(CountersNow(), CountedNodes());
}

TEST_F(CopySubtreeTest, AttributesAreTheSources) {
  Node leaf = Template(NC_DM_FLAG_KEY_SETTABLE | 32);
  leaf.index = 5;
  leaf.val_type = NC_DM_VAL_TYPE_SHORT;
  leaf.set = SetA;
  leaf.get = GetA;
  leaf.create = CreateA;
  leaf.NC_DM_DELETE = DeleteA;
  leaf.get_attr = GetAttrA;
  leaf.exe_cmd = ExeCmdA;
  ASSERT_EQ(RegisterPath("a.b.{i}.k", leaf), 0);
  Node* entry = Create(At("a"), "b", 3);
  const Node* k = At("a.b.3.k");
  EXPECT_EQ(k->flag, NC_DM_FLAG_KEY_SETTABLE | 32);
  EXPECT_EQ(k->index, 5);
  EXPECT_EQ(k->val_type, NC_DM_VAL_TYPE_SHORT);
  EXPECT_EQ(k->set, SetA);
  EXPECT_EQ(k->get, GetA);
  EXPECT_EQ(entry->create, CreateA);
  EXPECT_EQ(entry->NC_DM_DELETE, DeleteA);
  EXPECT_EQ(entry->get_attr, GetAttrA);
  EXPECT_EQ(entry->exe_cmd, ExeCmdA);
  EXPECT_EQ(entry->set, nullptr);
  EXPECT_EQ(entry->padb, nullptr);
  EXPECT_EQ(entry->dm_path, nullptr);
  EXPECT_EQ(entry->hash_tab, nullptr);
}

TEST_F(CopySubtreeTest, CallbacksPassToAParentThatHasNone) {
  Register("a.b.{i}.c");
  Node leaf = Template(NC_DM_FLAG_KEY);
  leaf.exe_cmd = ExeCmdB;
  leaf.create = CreateB;
  leaf.NC_DM_DELETE = DeleteB;
  leaf.get_attr = GetAttrB;
  ASSERT_EQ(RegisterPath("z.k", leaf), 0);
  Node* parent = At("a");
  Node* k = At("z.k");
  // A copy that is no leaf passes nothing on.
  Node* object =
      nc_dm_agent_create_node(parent, k, 0, NC_DM_NODE_TYPE_SINGLE_OBJECT, NC_DM_NODE_SRC_NONE);
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(parent->exe_cmd, nullptr);
  EXPECT_EQ(parent->create, nullptr);
  nc_dm_agent_unreg_nodes(object);
  // An element passes exe_cmd on.
  ASSERT_NE(nc_dm_agent_create_node(parent, k, 4, NC_DM_NODE_TYPE_MULT_LEAF, NC_DM_NODE_SRC_NONE),
            nullptr);
  EXPECT_EQ(parent->exe_cmd, ExeCmdB);
  EXPECT_EQ(parent->create, nullptr);
  EXPECT_THAT(KeyChildren(parent), IsEmpty());
  // A key leaf passes all on, and an exe_cmd that is there stays.
  parent->exe_cmd = ExeCmdA;
  ASSERT_NE(nc_dm_agent_create_node(parent, k, 0, NC_DM_NODE_TYPE_LEAF, NC_DM_NODE_SRC_NONE),
            nullptr);
  EXPECT_EQ(parent->exe_cmd, ExeCmdA);
  EXPECT_EQ(parent->create, CreateB);
  EXPECT_EQ(parent->NC_DM_DELETE, DeleteB);
  EXPECT_EQ(parent->get_attr, GetAttrB);
  EXPECT_EQ(KeyChildren(parent).size(), 1U);
}

TEST_F(CopySubtreeTest, InstancesOfTheSourceAreNotCopied) {
  Register("a.b.{i}.c.{i}.d");
  Register("a.b.{i}.ll", NC_DM_FLAG_LEAF_LIST);
  Node* b = At("a.b");
  ASSERT_NE(Create(b, "c", 4), nullptr);
  ASSERT_NE(Create(b, "ll", 5), nullptr);
  Register("a.b.{i}.x");
  Node* entry = Create(At("a"), "b", 1);
  EXPECT_THAT(Describe(Children(entry)),
              ElementsAre("a.b.1.c:list", "a.b.1.ll:leaf-list", "a.b.1.x:leaf"));
}

TEST_F(CopySubtreeTest, InstancesKeepTheOrderOfCreation) {
  Register("a.b.{i}.c");
  for (const nc_int64 id : {50, 7, 100, 1}) ASSERT_NE(Create(At("a"), "b", id), nullptr);
  EXPECT_THAT(Describe(Children(At("a"))), ElementsAre("a.b:list", "a.b.50:entry", "a.b.7:entry",
                                                       "a.b.100:entry", "a.b.1:entry"));
  for (const nc_int64 id : {50, 7, 100, 1}) {
    ASSERT_NE(EntryOf(At("a"), "b", id), nullptr) << id;
    EXPECT_EQ(EntryOf(At("a"), "b", id)->data, At("a.b." + std::to_string(id)));
  }
  EXPECT_EQ(EntryOf(At("a"), "b", 2), nullptr);
}

TEST_F(CopySubtreeTest, InsertionLeavesTheRootEvenAtEverySize) {
  g_nc_dm_agent_dbg = 0;
  Register("a.b.{i}.c");
  Node* a = At("a");
  Node* b = At("a.b");
  for (nc_int64 id = 1; id <= 5000; ++id) {
    ASSERT_NE(nc_dm_agent_create_node(a, b, id, NC_DM_NODE_TYPE_MULT_OBJECT, NC_DM_NODE_SRC_NONE),
              nullptr);
    const nc_dm_bin_tree_node_t* root = TreeOf(a, "b")->root_byid;
    ASSERT_EQ(root->parent, nullptr);
    ASSERT_EQ(root->left_cnt + root->right_cnt + 1, id);
    ASSERT_LE(std::abs(root->left_cnt - root->right_cnt), 1) << id;
  }
}

// Removals leave a side light, and what is created again in the other order comes to one edge.
TEST_F(CopySubtreeTest, RemovalsAndCreationsKeepTheTreeLow) {
  g_nc_dm_agent_dbg = 0;
  Register("a.b.{i}.c");
  Node* a = At("a");
  Node* b = At("a.b");
  constexpr nc_int64 kEntries = 8000;
  std::map<nc_int64, Node*> nodes;
  const auto create = [&](nc_int64 id) {
    nodes[id] = nc_dm_agent_create_node(a, b, id, NC_DM_NODE_TYPE_MULT_OBJECT, NC_DM_NODE_SRC_NONE);
  };
  for (nc_int64 id = 1; id <= kEntries; ++id) create(id);
  for (int round = 0; round < 2; ++round) {
    for (nc_int64 id = kEntries / 2; id >= 1; --id) nc_dm_agent_unreg_nodes(nodes[id]);
    EXPECT_EQ(CountedSize(TreeOf(a, "b")->root_byid), kEntries / 2);
    EXPECT_LE(Depth(TreeOf(a, "b")->root_byid), MaxDepth(kEntries / 2));
    for (nc_int64 id = 1; id <= kEntries / 2; ++id) create(id);
    EXPECT_EQ(CountedSize(TreeOf(a, "b")->root_byid), kEntries);
    EXPECT_LE(Depth(TreeOf(a, "b")->root_byid), MaxDepth(kEntries));
  }
}

TEST_F(CopySubtreeTest, SameIdTwiceIsANodeWithoutAPlaceInTheTree) {
  Register("a.b.{i}.c");
  Node* first = Create(At("a"), "b", 5);
  Node* second = Create(At("a"), "b", 5);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(EntryOf(At("a"), "b", 5)->data, first);
  EXPECT_EQ(Children(At("a")).size(), 3U);
  nc_dm_agent_unreg_nodes(second);
  EXPECT_EQ(EntryOf(At("a"), "b", 5)->data, first);
  second = Create(At("a"), "b", 5);
  nc_dm_agent_unreg_nodes(first);
  EXPECT_EQ(TreeOf(At("a"), "b")->root_byid, nullptr);
  EXPECT_TRUE(nc_dm_agent_has_inst_node(At("a"), second->node_name, 5));
  EXPECT_EQ(CountersNow(), CountedNodes());
}

TEST_F(CopySubtreeTest, LargestId) {
  Register("a.b.{i}.c");
  ASSERT_NE(Create(At("a"), "b", INT64_MAX), nullptr);
  EXPECT_NE(EntryOf(At("a"), "b", INT64_MAX), nullptr);
}

TEST_F(CopySubtreeTest, LongestName) {
  const std::string name(64, 'n');
  Register("a." + name + ".{i}.c");
  ASSERT_NE(Create(At("a"), name.c_str(), 1), nullptr);
  EXPECT_STREQ(At("a." + name + ".1")->node_name, name.c_str());
}

TEST_F(CopySubtreeTest, NamesOfAllLengths) {
  g_nc_dm_agent_dbg = 0;
  for (size_t length = 1; length <= 64; ++length) Register("a.b.{i}." + std::string(length, 'n'));
  for (nc_int64 id = 1; id <= 3; ++id) {
    Node* entry = Create(At("a"), "b", id);
    ASSERT_EQ(Children(entry).size(), 64U);
    size_t length = 0;
    for (const Node* leaf : Children(entry)) {
      EXPECT_EQ(leaf->node_name, std::string(++length, 'n'));
      EXPECT_EQ(reinterpret_cast<uintptr_t>(leaf) % alignof(Node), 0U);
    }
  }
  // Copies go one by one, in any order.
  Node* entry = At("a.b.2");
  for (Node* leaf : Children(entry)) {
    if (leaf->node_name[1] != '\0') nc_dm_agent_unreg_node(leaf);
  }
  EXPECT_EQ(Children(entry).size(), 1U);
  nc_dm_agent_unreg_node(Children(entry)[0]);
  nc_dm_agent_unreg_node(entry);
  EXPECT_EQ(CountersNow(), CountedNodes());
}

TEST_F(CopySubtreeTest, EntryOfVeryManyLeaves) {
  g_nc_dm_agent_dbg = 0;
  for (int i = 0; i < 5000; ++i) Register("a.b.{i}.leaf" + std::to_string(i));
  const Counters before = CountersNow();
  Node* entry = Create(At("a"), "b", 1);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(Children(entry).size(), 5000U);
  EXPECT_NE(At("a.b.1.leaf4999"), nullptr);
  nc_dm_agent_unreg_nodes(entry);
  EXPECT_EQ(CountersNow(), before);
}

TEST_F(CopySubtreeTest, EntryOfVeryManyLeavesIsThereAsAWholeOrNot) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  g_nc_dm_agent_dbg = 0;
  for (int i = 0; i < 5000; ++i) Register("a.b.{i}.leaf" + std::to_string(i));
  ExpectNoEntryWithoutMemory();
}

TEST_F(CopySubtreeTest, LogOfAnEntry) {
  Register("a.b.{i}.c");
  LogCapture::Get().Clear();
  Create(At("a"), "b", 7);
  EXPECT_THAT(LogLines(), ElementsAre(Info("Create an new object node 'b'.\n"),
                                      Info("Create binary tree node id: 7.\n"),
                                      Info("Create an new object node 'c'.\n")));
}

TEST_F(CopySubtreeTest, ListsThreeDeep) {
  Register("a.b.{i}.c.{i}.d.{i}.e");
  Node* b3 = Create(At("a"), "b", 3);
  Node* c3 = Create(b3, "c", 3);
  Node* c4 = Create(b3, "c", 4);
  Node* d9 = Create(c4, "d", 9);
  EXPECT_EQ(PathOf(d9), "a.b.3.c.4.d.9");
  EXPECT_NE(At("a.b.3.c.4.d.9.e"), nullptr);
  EXPECT_EQ(At("a.b.3.c.3.d.9"), nullptr);
  EXPECT_EQ(EntryOf(b3, "c", 3)->data, c3);
  EXPECT_EQ(EntryOf(b3, "c", 4)->data, c4);
  EXPECT_EQ(EntryOf(c4, "d", 9)->data, d9);
  EXPECT_EQ(TreeOf(c3, "d")->root_byid, nullptr);
  // Schema: a, b, c, d, e; b.3 adds c, d, e; each of two c adds d, e; d.9 adds e.
  EXPECT_EQ(CountersNow(), (Counters{17, 4, 7, 1, 5, 0, 0}));
  EXPECT_EQ(CountersNow(), CountedNodes());
}

TEST_F(CopySubtreeTest, Elements) {
  Register("a.ll", NC_DM_FLAG_LEAF_LIST);
  Register("a.x");
  Node* four = Create(At("a"), "ll", 4);
  Node* nine = Create(At("a"), "ll", 9);
  EXPECT_THAT(Describe(Children(At("a"))),
              ElementsAre("a.ll:leaf-list", "a.x:leaf", "a.ll.4:element", "a.ll.9:element"));
  EXPECT_EQ(EntryOf(At("a"), "ll", 4)->data, four);
  EXPECT_EQ(EntryOf(At("a"), "ll", 9)->data, nine);
  // The index takes the mode node that its first instance was copied from.
  EXPECT_EQ(TreeOf(At("a"), "ll")->data, At("a.ll"));
  EXPECT_EQ(CountersNow(), (Counters{5, 0, 0, 1, 1, 2, 1}));
}

TEST_F(CopySubtreeTest, ACopyOfAnInstanceLeavesTheIndexItsModeNode) {
  Register("a.b.{i}.c");
  Create(At("a"), "b", 1);
  ASSERT_NE(nc_dm_agent_create_node(At("a"), At("a.b.1"), 2, NC_DM_NODE_TYPE_MULT_OBJECT,
                                    NC_DM_NODE_SRC_NONE),
            nullptr);
  EXPECT_EQ(TreeOf(At("a"), "b")->data, At("a.b"));
}

TEST_F(CopySubtreeTest, AnElementCopiedFromALeafGivesTheIndexNoModeNode) {
  Register("a.x");
  ASSERT_NE(nc_dm_agent_create_node(At("a"), At("a.x"), 4, NC_DM_NODE_TYPE_MULT_LEAF,
                                    NC_DM_NODE_SRC_NONE),
            nullptr);
  EXPECT_EQ(TreeOf(At("a"), "x")->data, nullptr);
}

// ---- Hash tables ----

TEST_F(CopySubtreeTest, HashedListHasNoTreeEntries) {
  Register("a.b.{i}.c");
  Node* b = At("a.b");
  Hash(b);
  Node* seven = Create(At("a"), "b", 7);
  ASSERT_NE(seven, nullptr);
  ASSERT_NE(b->hash_tab->table, nullptr);
  EXPECT_EQ(seven->instid_btree_node, nullptr);
  EXPECT_EQ(seven->hash_tab, nullptr);
  EXPECT_EQ(TreeOf(At("a"), "b")->root_byid, nullptr);
  EXPECT_EQ(TreeOf(At("a"), "b")->data, b);
  EXPECT_EQ(InTable(b, 7), seven);
  const nc_dm_hash_tab_entry_t* buckets = b->hash_tab->table;
  Create(At("a"), "b", 8);
  EXPECT_EQ(b->hash_tab->table, buckets);
}

TEST_F(CopySubtreeTest, HashedLeafListIsFoundThroughTheTable) {
  Register("a.ll", NC_DM_FLAG_LEAF_LIST);
  Node* ll = At("a.ll");
  Hash(ll);
  Node* four = Create(At("a"), "ll", 4);
  EXPECT_EQ(InTable(ll, 4), four);
  EXPECT_EQ(four->instid_btree_node, nullptr);
}

TEST_F(CopySubtreeTest, HashedListInAHashedList) {
  Register("a.b.{i}.c.{i}.d");
  Hash(At("a.b"), 13);
  Hash(At("a.b.c"), 12);
  Node* three = Create(At("a"), "b", 3);
  Node* four = Create(At("a"), "b", 4);
  ASSERT_NE(three, nullptr);
  const Node* copy = At("a.b.3.c");
  ASSERT_NE(copy->hash_tab, nullptr);
  EXPECT_NE(copy->hash_tab, At("a.b.c")->hash_tab);
  EXPECT_EQ(copy->hash_tab->size_bits_num, 12U);
  EXPECT_EQ(copy->hash_tab->table, nullptr);
  Node* inner = Create(three, "c", 9);
  EXPECT_EQ(InTable(copy, 9), inner);
  EXPECT_EQ(At("a.b.4.c")->hash_tab->table, nullptr);
  EXPECT_EQ(At("a.b.c")->hash_tab->table, nullptr);
  EXPECT_EQ(InTable(At("a.b"), 4), four);
}

TEST_F(CopySubtreeTest, ListInAHashedListHasATree) {
  Register("a.b.{i}.c.{i}.d");
  Hash(At("a.b"));
  Node* three = Create(At("a"), "b", 3);
  Node* inner = Create(three, "c", 9);
  EXPECT_EQ(EntryOf(three, "c", 9)->data, inner);
  EXPECT_EQ(inner->instid_btree_node->data, inner);
}

TEST_F(CopySubtreeTest, ListThatIsHashedLaterKeepsItsTreeEntries) {
  Register("a.b.{i}.c");
  Node* one = Create(At("a"), "b", 1);
  Hash(At("a.b"));
  Node* two = Create(At("a"), "b", 2);
  EXPECT_EQ(EntryOf(At("a"), "b", 1)->data, one);
  EXPECT_EQ(EntryOf(At("a"), "b", 2), nullptr);
  EXPECT_EQ(InTable(At("a.b"), 2), two);
  nc_dm_agent_unreg_nodes(one);
  nc_dm_agent_unreg_nodes(two);
  EXPECT_EQ(InTable(At("a.b"), 2), nullptr);
  EXPECT_EQ(CountersNow(), CountedNodes());
}

TEST_F(CopySubtreeTest, HashedModeWithoutTable) {
  Register("a.b.{i}.c");
  At("a.b")->flag |= NC_DM_FLAG_HASH_TAB;
  LogCapture::Get().Clear();
  const Counters before = CountersNow();
  EXPECT_EQ(Create(At("a"), "b", 1), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("The mode node 'b' hash_tab is null!\n",
                                        "The hash_tab input is null!\n"));
  EXPECT_EQ(CountersNow(), before);
  EXPECT_EQ(Children(At("a")).size(), 1U);
}

TEST_F(CopySubtreeTest, HashedModeOfNestedListWithoutTable) {
  Register("a.b.{i}.x");
  Register("a.b.{i}.c.{i}.d");
  At("a.b.c")->flag |= NC_DM_FLAG_HASH_TAB;
  LogCapture::Get().Clear();
  const Counters before = CountersNow();
  EXPECT_EQ(Create(At("a"), "b", 1), nullptr);
  EXPECT_THAT(ErrorLines(),
              ElementsAre("The source node 'c' hash_tab is null, can't create new node "
                          "hash_tab!\n",
                          "Failed to create node 'c'!\n", "The hash_tab input is null!\n"));
  EXPECT_EQ(CountersNow(), before);
  EXPECT_EQ(Children(At("a")).size(), 1U);
  EXPECT_EQ(TreeOf(At("a"), "b")->root_byid, nullptr);
}

TEST_F(CopySubtreeTest, LogOfACopyThatFailsTwoLevelsDown) {
  Register("a.b.{i}.o.c.{i}.d");
  At("a.b.o.c")->flag |= NC_DM_FLAG_HASH_TAB;
  LogCapture::Get().Clear();
  EXPECT_EQ(Create(At("a"), "b", 1), nullptr);
  EXPECT_THAT(
      LogLines(),
      ElementsAre(
          Info("Create an new object node 'b'.\n"), Info("Create binary tree node id: 1.\n"),
          Info("Create an new object node 'o'.\n"), Info("Create an new object node 'c'.\n"),
          Error("The source node 'c' hash_tab is null, can't create new node hash_tab!\n"),
          Info("Delete node, node name:c\n"), Info("The hash_tab input is null.\n"),
          Error("Failed to create node 'c'!\n"), Info("Delete node, node name:o\n"),
          Info("The hash_tab input is null.\n"), Error("Failed to create node 'o'!\n"),
          Info("Delete node, node name:b\n"), Error("The hash_tab input is null!\n"),
          Info("The hash_tab input is null.\n"), Info("Delete binary tree node: 1.\n")));
  EXPECT_EQ(CountersNow(), CountedNodes());
}

TEST_F(CopySubtreeTest, TableOfImpossibleSize) {
  Register("a.b.{i}.c");
  Hash(At("a.b"), 32);
  LogCapture::Get().Clear();
  EXPECT_EQ(Create(At("a"), "b", 1), nullptr);
  EXPECT_THAT(ErrorLines(), Contains("Failed to malloc mode node 'b' hash_tab->table!\n"));
  EXPECT_EQ(CountersNow(), CountedNodes());
}

// ---- Short memory ----

TEST_F(CopySubtreeTest, EveryAllocationFails) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  g_nc_dm_agent_dbg = 0;
  Register("a.b.{i}.k", NC_DM_FLAG_KEY);
  Register("a.b.{i}.c.{i}.d");
  Register("a.b.{i}.ll", NC_DM_FLAG_LEAF_LIST);
  Register("a.b.{i}.h.{i}.x");
  Hash(At("a.b.h"));
  const std::vector<std::string> schema = TreeText();
  const Counters before = CountersNow();
  Node* a = At("a");
  Node* b = At("a.b");
  // The block of its nodes, its place in the index, three nested trees with their names, a table.
  const int allocations = WithEachAllocationFailing([&] {
    Node* entry =
        nc_dm_agent_create_node(a, b, 1, NC_DM_NODE_TYPE_MULT_OBJECT, NC_DM_NODE_SRC_NONE);
    if (entry != nullptr) {
      nc_dm_agent_unreg_nodes(entry);
    } else if (g_nc_agent_dm.total_mobject != 0) {
      // An entry that found no memory for its place in the tree stays counted.
      --g_nc_agent_dm.total_mobject;
      --g_nc_agent_dm.total_node;
    }
    if (CountersNow() != before) abort();
  });
  EXPECT_EQ(allocations, 1 + 1 + 3 * 2 + 1);
  EXPECT_EQ(TreeText(), schema);
}

TEST_F(CopySubtreeTest, NoMemoryForTheNode) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  Register("a.b.{i}.c");
  ExpectNoEntryWithoutMemory();
}

TEST_F(CopySubtreeTest, NoMemoryForTheTreeEntry) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  Register("a.b.{i}.c");
  Counters before = CountersNow();
  Node* a = At("a");
  Node* b = At("a.b");
  g_nc_dm_agent_dbg = NC_DM_DBG_ERROR;
  LogCapture::Get().Clear();
  {
    const FailingAlloc failing(1);
    EXPECT_EQ(nc_dm_agent_create_node(a, b, 1, NC_DM_NODE_TYPE_MULT_OBJECT, NC_DM_NODE_SRC_NONE),
              nullptr);
  }
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to malloc binary tree node, id: 1.\n",
                                        "Failed to create the instid_btree_node of node 'b' instid "
                                        "1!\n",
                                        "Delete the node 'b' instid 1!\n"));
  EXPECT_EQ(Children(a).size(), 1U);
  // The counters stay increased.
  ++before[0];
  ++before[1];
  EXPECT_EQ(CountersNow(), before);
  g_nc_agent_dm.total_node -= 1;
  g_nc_agent_dm.total_mobject -= 1;
}

TEST_F(CopySubtreeTest, NoMemoryForTheInstanceTree) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  Register("a.ll", NC_DM_FLAG_LEAF_LIST);
  Node* a = At("a");
  Node* ll = At("a.ll");
  for (const int successes : {1, 2}) {
    g_nc_dm_agent_dbg = NC_DM_DBG_ERROR;
    LogCapture::Get().Clear();
    Node* element = nullptr;
    {
      const FailingAlloc failing(successes);
      element = nc_dm_agent_create_node(a, ll, 4, NC_DM_NODE_TYPE_MULT_LEAF, NC_DM_NODE_SRC_NONE);
    }
    ASSERT_NE(element, nullptr);
    EXPECT_THAT(ErrorLines(), ElementsAre("Failed to create the binary tree!\n"));
    EXPECT_THAT(Trees(a), IsEmpty());
    EXPECT_EQ(element->instid_btree_node, nullptr);
    EXPECT_TRUE(nc_dm_agent_has_inst_node(a, ll->node_name, 4));
    nc_dm_agent_unreg_nodes(element);
    EXPECT_EQ(CountersNow(), CountedNodes());
  }
}

TEST_F(CopySubtreeTest, NoMemoryForTheHashTable) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  Register("a.b.{i}.c.{i}.d");
  Hash(At("a.b"));
  Hash(At("a.b.c"));
  Node* a = At("a");
  Node* b = At("a.b");
  const Counters before = CountersNow();
  struct {
    int successes;
    const char* message;
  } const cases[] = {
      {1, "Failed to malloc mode node 'b' hash_tab->table!\n"},
      {2, "Failed to insert the new node 'b' hash_tab->table!\n"},
      // Behind the tree of c and its name:
      {5, "Failed to malloc node 'c' hash_tab!\n"},
  };
  for (const auto& test : cases) {
    if (b->hash_tab->table != nullptr) {
      free(b->hash_tab->table);
      b->hash_tab->table = nullptr;
    }
    g_nc_dm_agent_dbg = NC_DM_DBG_ERROR;
    LogCapture::Get().Clear();
    {
      const FailingAlloc failing(test.successes);
      EXPECT_EQ(nc_dm_agent_create_node(a, b, 1, NC_DM_NODE_TYPE_MULT_OBJECT, NC_DM_NODE_SRC_NONE),
                nullptr);
    }
    EXPECT_THAT(ErrorLines(), Contains(test.message));
    EXPECT_EQ(CountersNow(), before);
    EXPECT_EQ(Children(a).size(), 1U);
  }
}

}  // namespace
}  // namespace ncdm_test
