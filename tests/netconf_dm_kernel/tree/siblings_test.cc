// The children's interface is no part of what the library exports, so this program has sources of
// its own of all that uses it; what they define comes before the library's.

#include "netconf_dm_kernel/tree/siblings.h"

#include <set>

#include "netconf_dm_kernel/instances/find_instance.h"
#include "netconf_dm_kernel/paths/reference_match.h"
#include "netconf_dm_kernel/random_tree.h"
#include "netconf_dm_kernel/shortcuts/name_index.h"
#include "netconf_dm_kernel/tree_fixture.h"
#include "netconf_dm_util/intrusive_list.h"
#include "support/failing_alloc.h"
#include "support/repeats.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// ---- What a plain walk gives ----

std::vector<Node*> NamedByWalk(const list_head* list, const std::string& name) {
  std::vector<Node*> nodes;
  for (Node* node : NodesOf(list)) {
    if (name == node->node_name) nodes.push_back(node);
  }
  return nodes;
}

std::vector<Node*> Named(const list_head* list, const std::string& name) {
  std::vector<Node*> nodes;
  for (Node& node : nc::SameNamed(list, name.c_str())) nodes.push_back(&node);
  return nodes;
}

std::vector<Node*> SchemaNamed(const list_head* list, const std::string& name) {
  std::vector<Node*> nodes;
  for (Node& node : nc::SchemaOf(list, name.c_str())) {
    if (!IsInstance(&node)) nodes.push_back(&node);
  }
  return nodes;
}

// Every function of the interface, on every name of the list and one that is not there.
void ExpectLikeWalk(const list_head* list, Node* parent) {
  std::set<std::string> names{"missing"};
  std::set<Node*> firsts;
  for (Node* node : NodesOf(list)) {
    if (names.insert(node->node_name).second) firsts.insert(node);
  }
  for (const std::string& name : names) {
    const std::vector<Node*> should_be = NamedByWalk(list, name);
    const std::string where = (parent != nullptr ? PathOf(parent) : "top level") + ": " + name;
    ASSERT_EQ(Describe(Named(list, name)), Describe(should_be)) << where;
    ASSERT_EQ(Named(list, name), should_be) << where;
    ASSERT_EQ(nc::FindChild(list, name.c_str()), should_be.empty() ? nullptr : should_be[0])
        << where;
    std::vector<Node*> schema = should_be;
    std::erase_if(schema, [](const Node* node) { return IsInstance(node); });
    ASSERT_EQ(SchemaNamed(list, name), schema) << where;
    ASSERT_EQ(nc::FindSchemaChild(list, name.c_str()), schema.empty() ? nullptr : schema[0])
        << where;
    for (nc_int64 id = 0; id < 8; ++id) {
      Node* with_id = nullptr;
      for (Node* node : should_be) {
        if (with_id == nullptr && node->instid == id) with_id = node;
      }
      ASSERT_EQ(nc::FindInstance(list, name.c_str(), id), with_id) << where << " " << id;
    }
  }
  std::vector<Node*> walked;
  for (nc::NameWalk walk(list); Node* first = walk.Next();) walked.push_back(first);
  ASSERT_EQ(walked.size(), firsts.size());
  ASSERT_EQ(std::set<Node*>(walked.begin(), walked.end()), firsts);
  if (parent == nullptr) return;
  ASSERT_EQ(nc::CountChildren(parent), NodesOf(list).size());
  for (Tree* tree : Trees(parent)) ASSERT_EQ(nc::FindInstanceTree(parent, tree->name), tree);
  ASSERT_EQ(nc::FindInstanceTree(parent, "missing"), nullptr);
}

void ExpectAllLikeWalk() {
  ExpectLikeWalk(&g_nc_agent_dm.dm_root, nullptr);
  for (Node* node : AllNodes()) ExpectLikeWalk(&node->sub_lst, node);
}

class SiblingsTest : public TreeTest {
 protected:
  static bool HasIndex(const Node* node) { return node->name_index != nullptr; }

  // Has every instance of `name` answer to another name while the test looks for that one. A walk
  // that passes them gives itself away. The ends of the list keep their name.
  class Disguise {
   public:
    Disguise(Node* parent, const std::string& name, const std::string& other) : other_(other) {
      const std::vector<Node*> all = Children(parent);
      for (Node* node : all) {
        if (node == all.front() || node == all.back() || node->instid == 0) continue;
        if (name != node->node_name) continue;
        disguised_.push_back({node, node->node_name});
        node->node_name = other_.data();
      }
    }
    ~Disguise() {
      for (const auto& [node, name] : disguised_) node->node_name = name;
    }
    Disguise(const Disguise&) = delete;
    Disguise& operator=(const Disguise&) = delete;

    size_t size() const { return disguised_.size(); }

   private:
    std::string other_;
    std::vector<std::pair<Node*, char*>> disguised_;
  };
};

// ---- Kinds ----

TEST_F(SiblingsTest, Kinds) {
  Node node{};
  struct {
    nc_dm_node_type_t kind;
    bool is_instance, is_mode, is_schema;
  } const kinds[] = {
      {NC_DM_NODE_TYPE_LEAF, false, false, true},
      {NC_DM_NODE_TYPE_MULT_LEAF, true, false, false},
      {NC_DM_NODE_TYPE_MULT_LEAF_MODE, false, true, true},
      {NC_DM_NODE_TYPE_SINGLE_OBJECT, false, false, true},
      {NC_DM_NODE_TYPE_MULT_OBJECT, true, false, false},
      {NC_DM_NODE_TYPE_MULT_MODE, false, true, true},
      {NC_DM_NODE_TYPE_MAX, false, false, false},
  };
  for (const auto& kind : kinds) {
    node.node_type = kind.kind;
    EXPECT_EQ(nc::IsInstance(node), kind.is_instance) << kind.kind;
    EXPECT_EQ(nc::IsMode(node), kind.is_mode) << kind.kind;
    EXPECT_EQ(nc::IsSchema(node), kind.is_schema) << kind.kind;
  }
  EXPECT_FALSE(nc::HasName(node, "a"));
  char name[] = "a";
  node.node_name = name;
  EXPECT_TRUE(nc::HasName(node, "a"));
  EXPECT_FALSE(nc::HasName(node, "ab"));
}

// ---- Walks over one list among others ----

TEST_F(SiblingsTest, EmptyList) {
  EXPECT_THAT(Named(&g_nc_agent_dm.dm_root, "a"), IsEmpty());
  EXPECT_EQ(nc::FindChild(&g_nc_agent_dm.dm_root, "a"), nullptr);
  EXPECT_EQ(nc::FindSchemaChild(&g_nc_agent_dm.dm_root, "a"), nullptr);
  EXPECT_EQ(nc::FindInstance(&g_nc_agent_dm.dm_root, "a", 1), nullptr);
  nc::NameWalk walk(&g_nc_agent_dm.dm_root);
  EXPECT_EQ(walk.Next(), nullptr);
  EXPECT_EQ(nc::FindInstanceTree(nullptr, "a"), nullptr);
  Register("a");
  EXPECT_EQ(nc::FindInstanceTree(At("a"), nullptr), nullptr);
}

TEST_F(SiblingsTest, ModeNodeAndItsInstancesInOrderOfCreation) {
  Register("a.x");
  Register("a.b.{i}.k");
  for (const nc_int64 id : {5, 3, 9}) Create(At("a"), "b", id);
  EXPECT_THAT(Describe(Named(&At("a")->sub_lst, "b")),
              ElementsAre("a.b:list", "a.b.5:entry", "a.b.3:entry", "a.b.9:entry"));
  nc_dm_agent_unreg_nodes(At("a.b.3"));
  nc_dm_agent_unreg_nodes(At("a.b.9"));
  Create(At("a"), "b", 4);
  EXPECT_THAT(Describe(Named(&At("a")->sub_lst, "b")),
              ElementsAre("a.b:list", "a.b.5:entry", "a.b.4:entry"));
  EXPECT_THAT(Describe(Named(&At("a")->sub_lst, "x")), ElementsAre("a.x:leaf"));
}

TEST_F(SiblingsTest, SchemaOfAListIsFoundWithoutItsEntries) {
  Register("a.b.{i}.k");
  for (nc_int64 id = 1; id <= 20; ++id) Create(At("a"), "b", id);
  std::vector<Node*> visited;
  for (Node& node : nc::SchemaOf(&At("a")->sub_lst, "b")) visited.push_back(&node);
  EXPECT_THAT(Describe(visited), ElementsAre("a.b:list"));
  EXPECT_THAT(SchemaNamed(&At("a")->sub_lst, "missing"), IsEmpty());
}

TEST_F(SiblingsTest, WalkOverOneListNeverMeetsAnother) {
  Register("a.first.{i}.k");
  Register("a.second.{i}.k");
  Register("a.ll", NC_DM_FLAG_LEAF_LIST);
  Register("a.x");
  Node* a = At("a");
  for (nc_int64 id = 1; id <= 100; ++id) {
    Create(a, "first", id);
    if (id % 10 == 0) Create(a, "second", id);
    if (id % 20 == 0) Create(a, "ll", id);
  }
  Register("a.late");
  Register("a.third.{i}.k");
  Create(a, "third", 1);
  Register("a.end");
  for (const std::string name : {"second", "ll", "x", "late", "third", "missing"}) {
    const std::vector<Node*> should_be = NamedByWalk(&a->sub_lst, name);
    Named(&a->sub_lst, name);  // what is made on the first search is there now
    const Disguise disguise(a, "first", name);
    ASSERT_EQ(disguise.size(), 100U);
    EXPECT_EQ(Named(&a->sub_lst, name), should_be) << name;
    EXPECT_EQ(nc::FindSchemaChild(&a->sub_lst, name.c_str()),
              should_be.empty() ? nullptr : should_be[0])
        << name;
  }
}

TEST_F(SiblingsTest, WalkOverANestedListNeverMeetsAnother) {
  Register("a.b.{i}.first.{i}.k");
  Register("a.b.{i}.second.{i}.k");
  Register("a.b.{i}.ll", NC_DM_FLAG_LEAF_LIST);
  Register("a.b.{i}.x");
  Node* entry = Create(At("a"), "b", 1);
  for (nc_int64 id = 1; id <= 100; ++id) {
    Create(entry, "first", id);
    if (id % 10 == 0) Create(entry, "second", id);
    if (id % 20 == 0) Create(entry, "ll", id);
  }
  for (const std::string name : {"second", "ll", "x", "missing"}) {
    const std::vector<Node*> should_be = NamedByWalk(&entry->sub_lst, name);
    const Disguise disguise(entry, "first", name);
    ASSERT_EQ(disguise.size(), 100U);
    // The first instance would be met, if only to stop there.
    Node* first = reference::SearchModeNode(entry, "first");
    nc::FindInstance(&entry->sub_lst, "first", 1)->node_name = first->node_name;
    EXPECT_EQ(Named(&entry->sub_lst, name), should_be) << name;
  }
}

TEST_F(SiblingsTest, HashedListsAreChainedToo) {
  Register("a.first.{i}.k");
  Register("a.h.{i}.k");
  Hash(At("a.h"));
  Node* a = At("a");
  for (nc_int64 id = 1; id <= 50; ++id) {
    Create(a, "first", id);
    Create(a, "h", id);
  }
  const std::vector<Node*> should_be = NamedByWalk(&a->sub_lst, "h");
  const Disguise disguise(a, "first", "h");
  EXPECT_EQ(Named(&a->sub_lst, "h"), should_be);
  EXPECT_EQ(should_be.size(), 51U);
}

TEST_F(SiblingsTest, BodyMayAppend) {
  Register("a.b.{i}.k");
  Create(At("a"), "b", 1);
  int visited = 0;
  for (const Node& node : nc::SameNamed(&At("a")->sub_lst, "b")) {
    if (++visited == 1) Create(At("a"), "b", 2);
    EXPECT_EQ(node.instid, visited - 1);
  }
  EXPECT_EQ(visited, 3);
}

// ---- The index ----

TEST_F(SiblingsTest, IndexComesWithTheSeventeenthChild) {
  for (int i = 0; i < 16; ++i) Register("a.x" + std::to_string(i));
  ExpectAllLikeWalk();
  EXPECT_FALSE(HasIndex(At("a")));
  Register("a.x16");
  ExpectAllLikeWalk();
  EXPECT_TRUE(HasIndex(At("a")));
  EXPECT_EQ(At("a")->name_index->children, 17U);
}

TEST_F(SiblingsTest, IndexOfManyNames) {
  for (int i = 0; i < 500; ++i) Register("a.x" + std::to_string(i));
  ASSERT_TRUE(HasIndex(At("a")));
  ExpectAllLikeWalk();
  for (int i = 0; i < 500; i += 3) nc_dm_agent_unreg_nodes(At("a.x" + std::to_string(i)));
  ASSERT_TRUE(HasIndex(At("a")));
  ExpectAllLikeWalk();
  // Slots of names that are gone are given up in the end.
  for (int i = 0; i < 5000; ++i) {
    Register("a.y" + std::to_string(i));
    nc_dm_agent_unreg_nodes(At("a.y" + std::to_string(i)));
  }
  ASSERT_TRUE(HasIndex(At("a")));
  ExpectAllLikeWalk();
}

TEST_F(SiblingsTest, IndexFollowsInstancesAndTheirTrees) {
  for (int i = 0; i < 20; ++i) Register("a.x" + std::to_string(i));
  Register("a.b.{i}.k");
  Register("a.ll", NC_DM_FLAG_LEAF_LIST);
  ASSERT_TRUE(HasIndex(At("a")));
  for (nc_int64 id = 1; id <= 5; ++id) {
    Create(At("a"), "b", id);
    Create(At("a"), "ll", id);
    ExpectAllLikeWalk();
  }
  // The first of a name goes, the next takes its place.
  nc_dm_agent_unreg_nodes(At("a.ll"));
  EXPECT_TRUE(HasIndex(At("a")));
  nc_dm_agent_unreg_nodes(At("a.b"));
  EXPECT_TRUE(HasIndex(At("a")));
  ExpectAllLikeWalk();
  for (nc_int64 id = 1; id <= 5; ++id) {
    nc_dm_agent_unreg_nodes(At("a.b." + std::to_string(id)));
    EXPECT_TRUE(HasIndex(At("a")));
    EXPECT_EQ(At("a")->name_index->children, Children(At("a")).size());
    ExpectAllLikeWalk();
  }
}

TEST_F(SiblingsTest, NodesLinkedByHandAtEitherEndAreFound) {
  for (int i = 0; i < 20; ++i) Register("a.x" + std::to_string(i));
  Register("a.b.{i}.k");
  Create(At("a"), "b", 1);
  ExpectAllLikeWalk();
  AddHandMade(At("a"), "tail", NC_DM_NODE_TYPE_LEAF);
  ExpectAllLikeWalk();
  AddHandMade(At("a"), "b", NC_DM_NODE_TYPE_MULT_OBJECT, 2);
  ExpectAllLikeWalk();
  Create(At("a"), "b", 3);
  ExpectAllLikeWalk();
  Node* head = AddHandMade(At("a"), "b", NC_DM_NODE_TYPE_MULT_OBJECT, 4);
  nc::Unlink(&head->lst);
  nc::LinkBefore(At("a")->sub_lst.next, &head->lst);
  ExpectAllLikeWalk();
  EXPECT_THAT(Describe(Named(&At("a")->sub_lst, "b")),
              ElementsAre("a.b.4:entry", "a.b:list", "a.b.1:entry", "a.b.2:entry", "a.b.3:entry"));
}

TEST_F(SiblingsTest, InstanceTreesMadeElsewhere) {
  for (int i = 0; i < 20; ++i) Register("a.x" + std::to_string(i));
  ExpectAllLikeWalk();
  ASSERT_TRUE(HasIndex(At("a")));
  char name[] = "x3";
  const Tree* tree = nc_dm_agent_create_bin_tree(At("a"), name);
  EXPECT_EQ(nc::FindInstanceTree(At("a"), "x3"), tree);
  ExpectAllLikeWalk();
  nc_dm_agent_free_bin_tree_list(&At("a")->btree_lst);
  EXPECT_EQ(nc::FindInstanceTree(At("a"), "x3"), nullptr);
  ExpectAllLikeWalk();
}

TEST_F(SiblingsTest, InstancesOutliveTheirTree) {
  Register("a.b.{i}.k");
  for (nc_int64 id = 1; id <= 4; ++id) Create(At("a"), "b", id);
  Tree* tree = TreeOf(At("a"), "b");
  while (tree->root_byid != nullptr) {
    auto* node = static_cast<Node*>(tree->root_byid->data);
    tree->root_byid = nc_dm_agent_delete_bin_tree_node(node->instid_btree_node);
    nc_dm_agent_free_bin_tree_node(node->instid_btree_node);
    node->instid_btree_node = nullptr;
  }
  nc_dm_agent_free_bin_tree_list(&At("a")->btree_lst);
  ExpectAllLikeWalk();
  nc_dm_agent_unreg_nodes(At("a.b.2"));
  Create(At("a"), "b", 7);
  ExpectAllLikeWalk();
  nc_dm_agent_unreg_nodes(At("a.b.1"));
  nc_dm_agent_unreg_nodes(At("a.b.3"));
  Create(At("a"), "b", 8);
  ExpectAllLikeWalk();
}

TEST_F(SiblingsTest, TopLevel) {
  for (int i = 0; i < 300; ++i) Register("r" + std::to_string(i) + ".x");
  ExpectAllLikeWalk();
  nc_dm_agent_unreg_nodes(At("r7"));
  nc_dm_agent_unreg_nodes(At("r299"));
  ExpectAllLikeWalk();
  Register("r300.x");
  AddHandMade(nullptr, "hand", NC_DM_NODE_TYPE_LEAF);
  ExpectAllLikeWalk();
  // A node of the same name that stands nowhere changes nothing.
  nc_dm_agent_unreg_node(HandMade(nullptr, "r8", NC_DM_NODE_TYPE_LEAF));
  ++g_nc_agent_dm.total_node;
  ++g_nc_agent_dm.total_leaf;
  ExpectAllLikeWalk();
}

TEST_F(SiblingsTest, ListsThatAreNoNodes) {
  list_head list;
  nc::InitList(&list);
  std::vector<Node*> nodes;
  for (int i = 0; i < 20; ++i) {
    nodes.push_back(HandMade(nullptr, i % 2 == 0 ? "a" : "b", NC_DM_NODE_TYPE_LEAF));
    Append(&list, &nodes.back()->lst);
  }
  ExpectLikeWalk(&list, nullptr);
  for (Node* node : nodes) {
    free(node->node_name);
    free(node);
  }
}

TEST_F(SiblingsTest, ChildWithoutName) {
  for (int i = 0; i < 20; ++i) Register("a.x" + std::to_string(i));
  Node* node = AddHandMade(At("a"), "", NC_DM_NODE_TYPE_LEAF);
  free(node->node_name);
  node->node_name = nullptr;
  EXPECT_EQ(nc::FindChild(&At("a")->sub_lst, "x19"), At("a.x19"));
  EXPECT_EQ(nc::FindChild(&At("a")->sub_lst, "q"), nullptr);
  EXPECT_EQ(nc::CountChildren(At("a")), 21U);
  node->node_name = strdup("named");
  EXPECT_NE(At("a.named"), nullptr);
}

// ---- Chains that cannot stand for the list ----

TEST_F(SiblingsTest, NumberedEntryBesideAList) {
  Register("a.b.{i}.k");
  Create(At("a"), "b", 1);
  Register("a.b.5.k");
  Create(At("a"), "b", 2);
  ExpectAllLikeWalk();
  EXPECT_THAT(Describe(Named(&At("a")->sub_lst, "b")),
              ElementsAre("a.b:list", "a.b.1:entry", "a.b.5:entry", "a.b.2:entry"));
}

TEST_F(SiblingsTest, NumberedEntryBeforeTheFirstElement) {
  Register("a.ll", NC_DM_FLAG_LEAF_LIST);
  Register("a.ll.5.k");
  Create(At("a"), "ll", 1);
  ExpectAllLikeWalk();
  EXPECT_EQ(Named(&At("a")->sub_lst, "ll").size(), 3U);
}

TEST_F(SiblingsTest, SameIdTwice) {
  Register("a.b.{i}.k");
  Node* first = Create(At("a"), "b", 5);
  Create(At("a"), "b", 6);
  Node* second = Create(At("a"), "b", 5);
  ExpectAllLikeWalk();
  nc_dm_agent_unreg_nodes(first);
  ExpectAllLikeWalk();
  Create(At("a"), "b", 5);
  EXPECT_EQ(nc::FindInstance(&At("a")->sub_lst, "b", 5), second);
  ExpectAllLikeWalk();
}

TEST_F(SiblingsTest, ModeNodeRemovedAndRegisteredAnew) {
  Register("a.x");
  Register("a.b.{i}.k");
  Create(At("a"), "b", 1);
  nc_dm_agent_unreg_nodes(At("a.b"));
  ExpectAllLikeWalk();
  nc_dm_path_nodes_t path = Parsed("a.b.{i}.k");
  path.match_cnt = 1;
  Node leaf = Template();
  ASSERT_EQ(nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, &path, At("a"), &leaf), 0);
  Create(At("a"), "b", 2);
  ExpectAllLikeWalk();
  EXPECT_THAT(Describe(Named(&At("a")->sub_lst, "b")),
              ElementsAre("a.b.1:entry", "a.b:list", "a.b.2:entry"));
}

TEST_F(SiblingsTest, ListRemovedWithAllAndRegisteredAnewIsWholeAgain) {
  Register("a.x");
  Register("a.b.{i}.k");
  Create(At("a"), "b", 1);
  nc_dm_agent_unreg_nodes(At("a.b.1"));
  nc_dm_agent_unreg_nodes(At("a.b"));
  Register("a.b.{i}.k");
  for (nc_int64 id = 1; id <= 3; ++id) Create(At("a"), "b", id);
  ExpectAllLikeWalk();
  EXPECT_EQ(At("a.b")->next_same, At("a.b.1"));
}

TEST_F(SiblingsTest, TwoLeafListsOfOneName) {
  Register("a.x");
  Register("a.ll", NC_DM_FLAG_LEAF_LIST);
  Create(At("a"), "ll", 1);
  nc_dm_agent_unreg_nodes(At("a.ll.1"));
  nc_dm_agent_unreg_nodes(At("a.ll"));
  ASSERT_NE(TreeOf(At("a"), "ll"), nullptr);
  for (int i = 0; i < 2; ++i) {
    nc_dm_path_nodes_t path = Parsed("a.ll");
    path.match_cnt = 1;
    Node leaf = Template(NC_DM_FLAG_LEAF_LIST);
    ASSERT_EQ(nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, &path, At("a"), &leaf), 0);
  }
  Node* second = Children(At("a")).back();
  ASSERT_NE(
      nc_dm_agent_create_node(At("a"), second, 2, NC_DM_NODE_TYPE_MULT_LEAF, NC_DM_NODE_SRC_NONE),
      nullptr);
  EXPECT_EQ(Named(&At("a")->sub_lst, "ll").size(), 3U);
  ExpectAllLikeWalk();
}

TEST_F(SiblingsTest, InstanceWhoseKindWasSpoilt) {
  Register("a.b.{i}.k");
  for (nc_int64 id = 1; id <= 3; ++id) Create(At("a"), "b", id);
  for (nc_int64 id = 1; id <= 3; ++id) {
    At("a.b." + std::to_string(id))->node_type = NC_DM_NODE_TYPE_MAX;
    nc_dm_agent_unreg_nodes(At("a.b." + std::to_string(id)));
    Create(At("a"), "b", id + 3);
    ExpectAllLikeWalk();
  }
}

TEST_F(SiblingsTest, LeafBehindTheInstancesOfAnEntry) {
  Register("a.b.{i}.c.{i}.k");
  Node* entry = Create(At("a"), "b", 1);
  Create(entry, "c", 1);
  Register("a.b.1.late");  // below the entry, not the list
  EXPECT_NE(At("a.b.1.late"), nullptr);
  ExpectAllLikeWalk();
  Create(entry, "c", 2);
  Register("a.b.1.later.{i}.k");
  ExpectAllLikeWalk();
  EXPECT_EQ(nc::FindSchemaChild(&entry->sub_lst, "later"), At("a.b.1.later"));
}

TEST_F(SiblingsTest, LeavesOfOneNameInAnEntry) {
  Register("a.b.{i}.k");
  Register("a.b.{i}.l");
  Node* entry = Create(At("a"), "b", 1);
  ASSERT_EQ(Named(&entry->sub_lst, "k").size(), 1u);
  ASSERT_NE(
      nc_dm_agent_create_node(entry, At("a.b.k"), 0, NC_DM_NODE_TYPE_LEAF, NC_DM_NODE_SRC_NONE),
      nullptr);
  EXPECT_EQ(Named(&entry->sub_lst, "k").size(), 2u);
  ExpectAllLikeWalk();
}

TEST_F(SiblingsTest, LeavesOfOneNameInTheListsSchema) {
  Register("a.b.{i}.k");
  Register("a.b.{i}.c.l");
  for (const char* parent : {"a.b", "a.b.c"}) {
    ASSERT_NE(nc_dm_agent_create_node(At(parent), At("a.b.c.l"), 0, NC_DM_NODE_TYPE_LEAF,
                                      NC_DM_NODE_SRC_NONE),
              nullptr);
  }
  Node* entry = Create(At("a"), "b", 1);
  EXPECT_EQ(Named(&At("a.b.1.c")->sub_lst, "l").size(), 2u);
  EXPECT_EQ(Named(&entry->sub_lst, "l").size(), 1u);
  ExpectAllLikeWalk();
  ASSERT_NE(
      nc_dm_agent_create_node(At("a.b"), At("a.b.k"), 0, NC_DM_NODE_TYPE_LEAF, NC_DM_NODE_SRC_NONE),
      nullptr);
  entry = Create(At("a"), "b", 2);
  EXPECT_EQ(Named(&entry->sub_lst, "k").size(), 2u);
  ExpectAllLikeWalk();
}

TEST_F(SiblingsTest, HandMadeLeavesOfOneNameInTheListsSchema) {
  Register("a.b.{i}.k");
  AddHandMade(At("a.b"), "k", NC_DM_NODE_TYPE_LEAF);
  Node* entry = Create(At("a"), "b", 1);
  EXPECT_EQ(Named(&entry->sub_lst, "k").size(), 2u);
  ExpectAllLikeWalk();
}

TEST_F(SiblingsTest, HandMadeNodesInAnEntry) {
  Register("a.b.{i}.c.{i}.k");
  Node* entry = Create(At("a"), "b", 1);
  for (nc_int64 id = 1; id <= 20; ++id) Create(entry, "c", id);
  AddHandMade(entry, "hand", NC_DM_NODE_TYPE_LEAF);
  ExpectAllLikeWalk();
  Create(entry, "c", 21);
  ExpectAllLikeWalk();
  EXPECT_EQ(nc::FindSchemaChild(&entry->sub_lst, "hand"), At("a.b.1.hand"));
}

TEST_F(SiblingsTest, HandMadeTree) {
  Node* a = AddHandMade(nullptr, "a", NC_DM_NODE_TYPE_SINGLE_OBJECT);
  Node* b = AddHandMade(a, "b", NC_DM_NODE_TYPE_MULT_MODE);
  AddHandMade(b, "k", NC_DM_NODE_TYPE_LEAF);
  for (nc_int64 id = 1; id <= 3; ++id) ASSERT_NE(Create(a, "b", id), nullptr);
  ExpectAllLikeWalk();
  EXPECT_EQ(TreeOf(a, "b")->data, b);
  nc_dm_agent_unreg_nodes(At("a.b.2"));
  AddHandMade(a, "b", NC_DM_NODE_TYPE_MULT_OBJECT, 7);
  ExpectAllLikeWalk();
  Create(a, "b", 8);
  ExpectAllLikeWalk();
}

TEST_F(SiblingsTest, LeafListRegisteredWithANumberOfItsOwn) {
  Register("a.ll.3", NC_DM_FLAG_LEAF_LIST);
  Create(At("a"), "ll", 3);
  ExpectAllLikeWalk();
}

// ---- Nodes of the application ----

// Whatever is done to them by hand, they neither stay to be found nor hide what is there.
TEST_F(SiblingsTest, AnApplicationsNodeInTheMiddleIsUnlinkedRenamedMovedAndFreed) {
  for (int i = 0; i < 20; ++i) Register("a.x" + std::to_string(i));
  Register("a.b.{i}.k");
  Register("z.q");
  Create(At("a"), "b", 1);
  Node* own = AddHandMade(At("a"), "own", NC_DM_NODE_TYPE_LEAF);
  Node* entry = AddHandMade(At("a"), "b", NC_DM_NODE_TYPE_MULT_OBJECT, 2);
  ExpectAllLikeWalk();
  Create(At("a"), "b", 3);
  Register("a.y");
  ExpectAllLikeWalk();

  Rename(own, "x3");
  ExpectAllLikeWalk();
  EXPECT_EQ(nc::FindChild(&At("a")->sub_lst, "own"), nullptr);
  Rename(own, "own");
  nc::Unlink(&own->lst);
  own->parent = At("z");
  Append(&At("z")->sub_lst, &own->lst);
  ExpectAllLikeWalk();
  EXPECT_EQ(nc::FindChild(&At("a")->sub_lst, "own"), nullptr);
  EXPECT_EQ(nc::FindChild(&At("z")->sub_lst, "own"), own);

  FreeHandMade(own);
  FreeHandMade(entry);
  ExpectAllLikeWalk();
  EXPECT_EQ(nc::FindInstance(&At("a")->sub_lst, "b", 2), nullptr);
  EXPECT_EQ(nc_dm_agent_check_width(At("a")), 0);
  Create(At("a"), "b", 2);
  ExpectAllLikeWalk();
}

TEST_F(SiblingsTest, AnApplicationsModeNodeMayGoBeforeItsInstances) {
  Register("a.x");
  Node* mode = AddHandMade(At("a"), "b", NC_DM_NODE_TYPE_MULT_MODE);
  Create(At("a"), "b", 1);
  FreeHandMade(mode);
  ExpectAllLikeWalk();
  char name[] = "b";
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(At("a"), name, 1), At("a.b.1"));
  nc_dm_agent_unreg_nodes(At("a.b.1"));
  ExpectAllLikeWalk();
}

// A record of the application's may have its name anywhere, also right behind it.
TEST_F(SiblingsTest, ANodeOnTheStackWithItsNameBehindItIsTheApplications) {
  struct {
    Node node;
    char name[NC_DM_MAX_NAME_LEN + 1];
  } own{};
  memcpy(own.name, "own", 4);
  own.node.node_name = own.name;
  own.node.node_type = NC_DM_NODE_TYPE_SINGLE_OBJECT;
  for (list_head* list : {&own.node.lst, &own.node.key_lst, &own.node.btree_lst, &own.node.sub_lst,
                          &own.node.sub_key_lst}) {
    nc::InitList(list);
  }
  Register("a.b.{i}.k");
  own.node.parent = At("a");
  Append(&At("a")->sub_lst, &own.node.lst);
  Create(At("a"), "b", 1);
  for (int i = 0; i < 3; ++i) {
    nc_dm_agent_create_node(&own.node, At("a.b"), 1 + i, NC_DM_NODE_TYPE_MULT_OBJECT,
                            NC_DM_NODE_SRC_NONE);
  }
  ExpectAllLikeWalk();
  for (Node* child : Children(&own.node)) nc_dm_agent_unreg_nodes(child);
  nc_dm_agent_free_bin_tree_list(&own.node.btree_lst);
  nc::Unlink(&own.node.lst);
  ExpectAllLikeWalk();
}

TEST_F(SiblingsTest, AListIsChainedAgainOnceItWasEmptied) {
  Register("a.x");
  Node* own = AddHandMade(At("a"), "own", NC_DM_NODE_TYPE_LEAF);
  Register("a.y");
  FreeHandMade(own);
  nc_dm_agent_unreg_nodes(At("a.x"));
  EXPECT_EQ(At("a")->is_walked, 1);
  nc_dm_agent_unreg_nodes(At("a.y"));
  nc_dm_path_nodes_t path = Parsed("a.z");
  path.match_cnt = 1;
  Node leaf = Template();
  ASSERT_EQ(nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, &path, At("a"), &leaf), 0);
  EXPECT_EQ(At("a")->is_walked, 0);
  EXPECT_EQ(At("a.z")->is_chained, 1);
}

// ---- Short memory ----

TEST_F(SiblingsTest, NoMemoryForTheIndex) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  for (int i = 0; i < 40; ++i) Register("a.b.{i}.x" + std::to_string(i));
  for (int i = 0; i < 40; ++i) Register("a.b.{i}.o.x" + std::to_string(i));
  Node* o = NodesOf(&Create(At("a"), "b", 1)->sub_lst).back();
  Node* last = Children(o).back();
  Node* found = nullptr;
  // The index, and then its growth.
  for (const int successes : {0, 1, 2}) {
    {
      const FailingAlloc failing(successes);
      found = nc::FindChild(&o->sub_lst, "x39");
    }
    EXPECT_EQ(found, last);
    EXPECT_FALSE(HasIndex(o));
  }
  EXPECT_EQ(nc::FindChild(&o->sub_lst, "x39"), last);
  EXPECT_TRUE(HasIndex(o));
  ExpectAllLikeWalk();
}

TEST_F(SiblingsTest, NoMemoryForAnotherName) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  for (int i = 0; i < 32; ++i) Register("a.x" + std::to_string(i));
  Node* a = At("a");
  ASSERT_EQ(nc::FindChild(&a->sub_lst, "x31"), Children(a).back());
  ASSERT_TRUE(HasIndex(a));
  nc_dm_path_nodes_t path = Parsed("a.y");
  path.match_cnt = 1;
  Node leaf = Template();
  int result = -1;
  {
    const FailingAlloc failing(2);  // the node, its name, and then the index
    result = nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, &path, a, &leaf);
  }
  EXPECT_EQ(result, 0);
  EXPECT_FALSE(HasIndex(a));
  ExpectAllLikeWalk();
  EXPECT_TRUE(HasIndex(a));
}

// ---- Chance ----

class RandomSiblingsTest : public RandomTreeTest {
 protected:
  void Run() {
    for (int i = 0; i < Repeats(300) && !HasFailure(); ++i) {
      ChangeSomething();
      if (i % 3 == 0) ExpectAllLikeWalk();
    }
  }
};

TEST_P(RandomSiblingsTest, AgreeWithPlainWalks) { Run(); }

TEST_P(RandomSiblingsTest, AgreeAmongHandMadeNodes) {
  hand_made_ = true;
  Run();
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomSiblingsTest, testing::Range(1U, 13U));

}  // namespace
}  // namespace ncdm_test
