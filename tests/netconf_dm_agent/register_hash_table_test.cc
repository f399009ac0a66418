// Hash tables for long lists.

#include "netconf_dm_agent/registration_fixture.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;

class HashRegistrationTest : public RegistrationTest {
 protected:
  // The instance as a request finds it.
  static nc_dm_agent_node_t* Find(const char* path) {
    std::string name = path;
    nc_dm_path_nodes_t nodes = {};
    EXPECT_EQ(nc_dm_parse(name.data(), &nodes, true), 0);
    nc_dm_agent_node_t* node = nullptr;
    nc_dm_agent_match(&g_nc_agent_dm.dm_root, &nodes, &node, 0);
    return nodes.match_cnt == nodes.total_node ? node : nullptr;
  }
};

TEST_F(HashRegistrationTest, SizesTheTable) {
  struct Case {
    unsigned int limit_num;
    uint32_t bits;
  };
  PathReg("a.b.{i}.c");
  for (const Case& c :
       {Case{10000, 12}, Case{29999, 12}, Case{30000, 13}, Case{39999, 13}, Case{40000, 14},
        Case{79999, 14}, Case{80000, 15}, Case{159999, 15}, Case{160000, 16}, Case{319999, 16},
        Case{320000, 17}, Case{799999, 17}, Case{800000, 18}, Case{4294967295, 18}}) {
    EXPECT_EQ(HashReg("a.b", c.limit_num), 0) << c.limit_num;
    ASSERT_NE(NodeAt("a.b")->hash_tab, nullptr);
    EXPECT_EQ(NodeAt("a.b")->hash_tab->size_bits_num, c.bits) << c.limit_num;
    EXPECT_EQ(NodeAt("a.b")->hash_tab->table, nullptr);
    EXPECT_EQ(NodeAt("a.b")->flag, NC_DM_FLAG_HASH_TAB);
  }
}

TEST_F(HashRegistrationTest, ChecksInOrder) {
  PathReg("a.b.{i}.c");
  log().Clear();
  info().agent_init = false;
  info().agent_tree_init = false;
  EXPECT_EQ(nc_dm_agent_reg_hash_tab(nullptr, 1), -1);
  EXPECT_EQ(HashReg("a.b", 9999), -1);
  EXPECT_EQ(HashReg("a.b", 0), -1);
  EXPECT_EQ(HashReg("a.b", 10000), -1);
  info().agent_init = true;
  EXPECT_EQ(HashReg("a.b", 10000), -1);
  info().agent_tree_init = true;
  EXPECT_THAT(LogLines(), ElementsAre("E Input dm_path is null!\n",
                                      "E Input limit_num is to small, no need to use hash table!\n",
                                      "E Input limit_num is to small, no need to use hash table!\n",
                                      "E Dm client hasn't bean initialized!\n",
                                      "E Dm tree hasn't bean initialized!\n"));
  EXPECT_EQ(HashReg("a..b", 10000), -4);
  EXPECT_EQ(NodeAt("a.b")->hash_tab, nullptr);
}

TEST_F(HashRegistrationTest, NeedsAList) {
  PathReg("a.b.{i}.c");
  log().Clear();
  EXPECT_EQ(HashReg("x", 10000), -1);
  EXPECT_EQ(HashReg("a", 10000), -1);
  EXPECT_EQ(HashReg("a.b.c", 10000), -1);
  EXPECT_EQ(HashReg("a.b.x", 10000), -1);
  EXPECT_THAT(ErrorLines(),
              ElementsAre("The last node is null for hash talbe register!\n",
                          "This path: a isn't multi-leaf-mode or muti-mode, status: 3!\n",
                          "This path: a.b.c isn't multi-leaf-mode or muti-mode, status: 0!\n",
                          "Failed to match the path: a.b.x, match_cnt: 2!\n"));
}

TEST_F(HashRegistrationTest, TakesThePathWithAndWithoutMarkers) {
  PathReg("a.b.{i}.d.{i}.c");
  PathReg("a.l", NC_DM_FLAG_LEAF_LIST);
  EXPECT_EQ(HashReg("a.b.{i}", 10000), 0);
  EXPECT_EQ(HashReg("a.b.{i}.d", 10000), 0);
  EXPECT_EQ(HashReg("a.l", 10000), 0);
  EXPECT_NE(NodeAt("a.b")->hash_tab, nullptr);
  EXPECT_NE(NodeAt("a.b.d")->hash_tab, nullptr);
  EXPECT_NE(NodeAt("a.l")->hash_tab, nullptr);
  EXPECT_EQ(NodeAt("a.l")->flag, NC_DM_FLAG_HASH_TAB | NC_DM_FLAG_LEAF_LIST);
}

TEST_F(HashRegistrationTest, IndexesTheInstancesThatFollow) {
  PathReg("a.b.{i}.d.{i}.c");
  EXPECT_EQ(HashReg("a.b", 10000), 0);
  EXPECT_EQ(HashReg("a.b.{i}.d", 40000), 0);
  EXPECT_EQ(Apply("a.b.3."), 0);
  EXPECT_EQ(Apply("a.b.3.d.7."), 0);
  EXPECT_EQ(Find("a.b.3"), NodeAt("a.b.3"));
  EXPECT_EQ(Find("a.b.3.d.7"), NodeAt("a.b.3.d.7"));
  EXPECT_EQ(NodeAt("a.b.3.d")->hash_tab->size_bits_num, 14u);
  EXPECT_EQ(NodeAt("a.b.3")->instid_btree_node, nullptr);
}

TEST_F(HashRegistrationTest, ReplacesATableWithAllThatIsInIt) {
  PathReg("a.b.{i}.c");
  EXPECT_EQ(HashReg("a.b", 10000), 0);
  for (int id = 1; id <= 50; ++id) EXPECT_EQ(Apply("a.b." + std::to_string(id * 1000) + "."), 0);
  EXPECT_EQ(HashReg("a.b", 800000), 0);
  EXPECT_EQ(NodeAt("a.b")->hash_tab->size_bits_num, 18u);
  for (int id = 1; id <= 50; ++id) {
    const std::string path = "a.b." + std::to_string(id * 1000);
    EXPECT_EQ(Find(path.c_str()), NodeAt(path)) << path;
  }
  EXPECT_EQ(ApplyRemoval("a.b.7000."), 0);
  EXPECT_EQ(Find("a.b.7000"), nullptr);
  EXPECT_EQ(Apply("a.b.7000."), 0);
  EXPECT_EQ(Find("a.b.7000"), NodeAt("a.b.7000"));
}

TEST_F(HashRegistrationTest, TakesInTheInstancesThatCameBefore) {
  PathReg("a.b.{i}.c");
  PathReg("a.l", NC_DM_FLAG_LEAF_LIST);
  for (const char* path : {"a.b.3.", "a.b.4.", "a.l.9"}) EXPECT_EQ(Apply(path), 0);
  EXPECT_EQ(HashReg("a.b", 10000), 0);
  EXPECT_EQ(HashReg("a.l", 10000), 0);
  EXPECT_EQ(Apply("a.b.5."), 0);
  for (const char* path : {"a.b.3", "a.b.4", "a.b.5", "a.l.9"}) {
    EXPECT_NE(Find(path), nullptr) << path;
    EXPECT_EQ(Find(path), NodeAt(path));
  }
  EXPECT_EQ(ApplyRemoval("a.b.3."), 0);
  EXPECT_EQ(ApplyRemoval("a.b.5."), 0);
  EXPECT_EQ(Find("a.b.3"), nullptr);
  EXPECT_EQ(Find("a.b.4"), NodeAt("a.b.4"));
}

// Such an entry's list has no instance tree that would lead to the mode node.
TEST_F(HashRegistrationTest, AnEntryRegisteredByItsNumberLeavesTheTableWhenItGoes) {
  PathReg("ports.{i}.name");
  PathReg("ports.1.name");
  ASSERT_EQ(HashReg("ports.{i}.", 10000), 0);
  EXPECT_NE(Find("ports.1.name"), nullptr);
  EXPECT_EQ(ApplyRemoval("ports.1."), 0);
  EXPECT_EQ(Find("ports.1.name"), nullptr);
  EXPECT_EQ(NodeAt("ports")->hash_tab->table[nc_dm_hash_32(1, 12)].first, nullptr);
}

TEST_F(HashRegistrationTest, AnEntryRegisteredByItsNumberLaterIsFoundToo) {
  PathReg("ports.{i}.name");
  PathReg("a.b.{i}.c");
  ASSERT_EQ(HashReg("ports.{i}.", 10000), 0);
  ASSERT_EQ(HashReg("a.b", 10000), 0);
  PathReg("ports.1.name");
  PathReg("a.b.2.c");
  EXPECT_NE(Find("ports.1.name"), nullptr);
  EXPECT_NE(Find("a.b.2.c"), nullptr);
  EXPECT_EQ(ApplyRemoval("ports.1."), 0);
  EXPECT_EQ(ApplyRemoval("a.b.2."), 0);
  EXPECT_EQ(Find("ports.1.name"), nullptr);
  EXPECT_EQ(Find("a.b.2.c"), nullptr);
}

// Only the first of two instances of one id is in the table.
TEST_F(HashRegistrationTest, ARepeatedIdDoesNotTakeTheFirstOutOfTheTable) {
  PathReg("a.b.{i}.c");
  ASSERT_EQ(HashReg("a.b", 10000), 0);
  nc_dm_agent_node_t* a = NodeAt("a");
  const auto create = [&] {
    return nc_dm_agent_create_node(a, NodeAt("a.b"), 5, NC_DM_NODE_TYPE_MULT_OBJECT,
                                   NC_DM_NODE_SRC_NONE);
  };
  nc_dm_agent_node_t* first = create();
  nc_dm_agent_unreg_nodes(create());
  EXPECT_EQ(Find("a.b.5"), first);
}

TEST_F(HashRegistrationTest, KeepsTheTableWhenMemoryIsShort) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  PathReg("a.b.{i}.c");
  char path[] = "a.b";
  const DebugMask silent(0);
  EXPECT_EQ(HashReg("a.b", 10000), 0);
  for (const char* instance : {"a.b.3.", "a.b.4."}) EXPECT_EQ(Apply(instance), 0);
  int successes = 0;
  for (;; ++successes) {
    int result;
    int outstanding;
    bool failed;
    {
      const FailingAlloc failing(successes);
      result = nc_dm_agent_reg_hash_tab(path, 800000);
      outstanding = FailingAlloc::Outstanding();
      failed = FailingAlloc::HasFailed();
    }
    EXPECT_EQ(outstanding, 0);
    EXPECT_EQ(Find("a.b.3"), NodeAt("a.b.3"));
    EXPECT_EQ(Find("a.b.4"), NodeAt("a.b.4"));
    EXPECT_EQ(NodeAt("a.b")->hash_tab->size_bits_num, failed ? 12u : 18u);
    EXPECT_EQ(result, failed ? -1 : 0);
    if (!failed) break;
  }
  EXPECT_GE(successes, 2) << "the table and its buckets; entries are made many at a time";
}

TEST_F(HashRegistrationTest, NamesWhatMemoryWasTooShortFor) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  PathReg("a.b.{i}.c");
  char path[] = "a.b";
  const DebugMask errors(NC_DM_DBG_ERROR);
  int result;
  log().Clear();
  {
    const FailingAlloc failing(0);
    result = nc_dm_agent_reg_hash_tab(path, 10000);
  }
  EXPECT_EQ(result, -1);
  EXPECT_THAT(LogLines(), ElementsAre("E Failed to malloc last_node->hash_tab!\n"));
  EXPECT_EQ(NodeAt("a.b")->flag, 0);
}

}  // namespace
}  // namespace ncdm_test
