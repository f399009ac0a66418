// Instances that come and go: queued, and applied to the tree.

#include "netconf_dm_agent/registration_fixture.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class InstanceRegistrationTest : public RegistrationTest {
 protected:
  static int ApplyRecord(const char* path, nc_dm_msg_type_t type) {
    std::string name = path;
    nc_dm_stub_reg_t record = {};
    record.type = type;
    record.name = name.data();
    return type == NC_DM_MSG_TYPE_REG_OBJ ? nc_dm_agent_reg_obj_in(&record)
                                          : nc_dm_agent_unreg_obj_in(&record);
  }
};

// ---- Queueing ----

TEST_F(InstanceRegistrationTest, QueuesInOrder) {
  EXPECT_EQ(Reg("a.b.3."), 0);
  EXPECT_EQ(CliReg("a.b.4.", NC_DM_NODE_SRC_CLI), 0);
  EXPECT_EQ(Unreg("a.b.3."), 0);
  EXPECT_EQ(CliReg("a.b.5.", NC_DM_NODE_SRC_CLI_ALW), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG_OBJ a.b.3. src=0", "REG_OBJ a.b.4. src=2",
                                          "UNREG_OBJ a.b.3.", "REG_OBJ a.b.5. src=3"));
  EXPECT_THAT(
      LogLines(),
      ElementsAre("I Create the reg_path[a.b.3.].\n", "I Add path[a.b.3.] to register list.\n",
                  "I Create the reg_path[a.b.4.].\n", "I Add path[a.b.4.] to cli register list.\n",
                  "I Add path[a.b.3.] to unregister list.\n", "I Create the reg_path[a.b.5.].\n",
                  "I Add path[a.b.5.] to cli register list.\n"));
}

TEST_F(InstanceRegistrationTest, QueuesNoNullPath) {
  EXPECT_EQ(nc_dm_agent_reg(nullptr), -1);
  EXPECT_EQ(nc_dm_agent_cli_reg(nullptr, NC_DM_NODE_SRC_CLI), -1);
  EXPECT_EQ(nc_dm_agent_unreg(nullptr), -1);
  EXPECT_THAT(LogLines(),
              ElementsAre("E Input parameter path is null!\n", "E Failed to create reg_path!\n",
                          "E Input parameter path is null!\n", "E Failed to create reg_path!\n",
                          "E Input parameter path is null!\n"));
  EXPECT_THAT(PendingTexts(), IsEmpty());
}

TEST_F(InstanceRegistrationTest, QueuesNothingBeforeTheStart) {
  info().agent_init = false;
  EXPECT_EQ(Reg("a."), -1);
  EXPECT_EQ(Unreg("a."), -1);
  EXPECT_THAT(LogLines(),
              ElementsAre("I Create the reg_path[a.].\n", "E Dm client hasn't bean initialized!\n",
                          "E Failed to create reg_path!\n", "I Add path[a.] to unregister list.\n",
                          "E Dm client hasn't bean initialized!\n"));
  EXPECT_THAT(PendingTexts(), IsEmpty());
}

TEST_F(InstanceRegistrationTest, MakesARecord) {
  char path[] = "a.b.3.";
  nc_dm_stub_reg_t* record =
      nc_dm_agent_crt_reg_path(path, NC_DM_MSG_TYPE_UNREG_OBJ, NC_DM_NODE_SRC_SDN);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->type, NC_DM_MSG_TYPE_UNREG_OBJ);
  EXPECT_EQ(record->src, NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(record->attr, 0);
  EXPECT_EQ(record->other, nullptr);
  EXPECT_NE(record->name, path);
  EXPECT_STREQ(record->name, "a.b.3.");
  nc_dm_agent_free_reg(record);
  free(record);
  EXPECT_THAT(PendingTexts(), IsEmpty());
}

TEST_F(InstanceRegistrationTest, QueuesAllOrNothing) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  const DebugMask silent(0);
  char path[] = "a.b.3.";
  for (const auto call : {+[](char* p) { return nc_dm_agent_reg(p); },
                          +[](char* p) { return nc_dm_agent_cli_reg(p, NC_DM_NODE_SRC_CLI); },
                          +[](char* p) { return nc_dm_agent_unreg(p); }}) {
    const int allocations = WithEachAllocationFailing([&] {
      const int result = call(path);
      if ((result == 0) == nc::IsEmpty(&g_nc_dm_reg_list.reg_list)) abort();
      FreePendingRecords();
    });
    EXPECT_EQ(allocations, 2);
  }
}

TEST_F(InstanceRegistrationTest, NamesWhatMemoryWasTooShortFor) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  char path[] = "a.b.3.";
  const DebugMask errors(NC_DM_DBG_ERROR);
  for (const auto& [successes, line] : {std::pair{0, "E Failed to malloc for reg_node!\n"},
                                        std::pair{1, "E Failed to malloc for reg_node->name!\n"}}) {
    log().Clear();
    int result;
    {
      const FailingAlloc failing(successes);
      result = nc_dm_agent_reg(path);
    }
    EXPECT_EQ(result, -1);
    EXPECT_THAT(LogLines(), ElementsAre(line, "E Failed to create reg_path!\n"));
    log().Clear();
    {
      const FailingAlloc failing(successes);
      result = nc_dm_agent_unreg(path);
    }
    EXPECT_EQ(result, -1);
    EXPECT_THAT(LogLines(), ElementsAre(line));
  }
}

// ---- Applying ----

TEST_F(InstanceRegistrationTest, CreatesAnEntry) {
  PathReg("a.b.{i}.c");
  PathReg("a.b.{i}.d.{i}.e");
  EXPECT_EQ(Apply("a.b.3."), 0);
  const nc_dm_agent_node_t* entry = NodeAt("a.b.3");
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->node_type, NC_DM_NODE_TYPE_MULT_OBJECT);
  EXPECT_NE(NodeAt("a.b.3.c"), nullptr);
  EXPECT_EQ(Apply("a.b.3.d.7."), 0);
  EXPECT_NE(NodeAt("a.b.3.d.7.e"), nullptr);
  EXPECT_EQ(Apply("a.b.4.d.8."), 0) << "what is above it comes into being with it";
  EXPECT_NE(NodeAt("a.b.4.d.8.e"), nullptr);
}

TEST_F(InstanceRegistrationTest, CreatesAnElementOfALeafList) {
  PathReg("a.b.{i}.l", NC_DM_FLAG_LEAF_LIST);
  EXPECT_EQ(Apply("a.b.3.l.9"), 0);
  ASSERT_NE(NodeAt("a.b.3.l.9"), nullptr);
  EXPECT_EQ(NodeAt("a.b.3.l.9")->node_type, NC_DM_NODE_TYPE_MULT_LEAF);
}

TEST_F(InstanceRegistrationTest, CreatesAnElementOfALeafListOnce) {
  PathReg("a.b.{i}.l", NC_DM_FLAG_LEAF_LIST);
  EXPECT_EQ(Apply("a.b.3.l.9"), 0);
  const uint32_t total = g_nc_agent_dm.total_node;
  EXPECT_EQ(Apply("a.b.3.l.9", NC_DM_NODE_SRC_CLI), 0);
  EXPECT_EQ(g_nc_agent_dm.total_node, total);
  EXPECT_EQ(NodeAt("a.b.3.l.9")->src, NC_DM_NODE_SRC_CLI);
}

TEST_F(InstanceRegistrationTest, CreatesAnEntryOnce) {
  PathReg("a.b.{i}.c");
  EXPECT_EQ(Apply("a.b.3."), 0);
  const uint32_t total = g_nc_agent_dm.total_node;
  EXPECT_EQ(Apply("a.b.3."), 0);
  EXPECT_EQ(Apply("a.b.3.c"), 0);
  EXPECT_EQ(g_nc_agent_dm.total_node, total);
}

TEST_F(InstanceRegistrationTest, AnEntryRegisteredByItsNumberIsFoundBesideCreatedOnes) {
  const auto find = [](const char* path) {
    nc_dm_path_nodes_t nodes = {};
    std::string name = path;
    EXPECT_EQ(nc_dm_parse(name.data(), &nodes, true), 0);
    nc_dm_agent_node_t* node = nullptr;
    nc_dm_agent_match(&g_nc_agent_dm.dm_root, &nodes, &node, 0);
    return nodes.match_cnt == nodes.total_node ? node : nullptr;
  };
  PathReg("c.t.{i}.k");
  PathReg("c.t.1.k");
  EXPECT_NE(find("c.t.1.k"), nullptr);
  EXPECT_EQ(Apply("c.t.2."), 0);
  PathReg("c.t.3.k");
  for (const char* path : {"c.t.1.k", "c.t.2.k", "c.t.3.k"}) EXPECT_NE(find(path), nullptr) << path;
  EXPECT_EQ(ApplyRemoval("c.t.1."), 0);
  EXPECT_EQ(find("c.t.1.k"), nullptr);
  EXPECT_NE(find("c.t.2.k"), nullptr);
}

TEST_F(InstanceRegistrationTest, TracesTheNodesOnTheWay) {
  PathReg("a.b.{i}.o.c");
  log().Clear();
  EXPECT_EQ(ApplyRecord("a.b.3.o.c", NC_DM_MSG_TYPE_REG_OBJ), 0);
  EXPECT_THAT(LogLines(), Contains("I Register dm path:a.b.3.o.c\n"));
  EXPECT_THAT(LogLines(), Contains("I Found a single object node: o\n"));
  EXPECT_THAT(LogLines(), Contains("I Found a single leaf node: c\n"));
}

TEST_F(InstanceRegistrationTest, StampsTheSource) {
  PathReg("a.b.{i}.o.c");
  EXPECT_EQ(Apply("a.b.3.o.c", NC_DM_NODE_SRC_CLI), 0);
  for (const char* path : {"a", "a.b.3", "a.b.3.o", "a.b.3.o.c"}) {
    EXPECT_EQ(NodeAt(path)->src, NC_DM_NODE_SRC_CLI) << path;
  }
  EXPECT_EQ(Apply("a.b.3.", NC_DM_NODE_SRC_NONE), 0);
  EXPECT_EQ(NodeAt("a.b.3")->src, NC_DM_NODE_SRC_NONE) << "of the last node matched";
  EXPECT_EQ(NodeAt("a.b.3.o")->src, NC_DM_NODE_SRC_CLI);
}

TEST_F(InstanceRegistrationTest, KeepsASourceOfEdits) {
  PathReg("a.b.{i}.c");
  for (const auto src : {NC_DM_NODE_SRC_SDN, NC_DM_NODE_SRC_CLI_ALW}) {
    EXPECT_EQ(Apply("a.b.3."), 0);
    NodeAt("a.b.3")->src = src;
    EXPECT_EQ(Apply("a.b.3.", NC_DM_NODE_SRC_CLI), 0);
    EXPECT_EQ(NodeAt("a.b.3")->src, src);
    NodeAt("a.b.3")->src = NC_DM_NODE_SRC_NONE;
  }
  NodeAt("a")->src = NC_DM_NODE_SRC_SDN;
  EXPECT_EQ(Apply("a.b.4.", NC_DM_NODE_SRC_CLI), 0);
  EXPECT_EQ(NodeAt("a")->src, NC_DM_NODE_SRC_SDN) << "also of a node on the way";
  EXPECT_EQ(NodeAt("a.b.4")->src, NC_DM_NODE_SRC_CLI);
}

TEST_F(InstanceRegistrationTest, KeepsASourceOfEditsBehindTheMatch) {
  PathReg("a.o.b.{i}.c");
  NodeAt("a.o")->src = NC_DM_NODE_SRC_CLI_ALW;
  PathReg("x.{i}.c");
  EXPECT_EQ(Apply("a.o.b.1.", NC_DM_NODE_SRC_CLI), 0);
  EXPECT_EQ(NodeAt("a.o")->src, NC_DM_NODE_SRC_CLI_ALW);
}

TEST_F(InstanceRegistrationTest, RefusesNegativeIds) {
  PathReg("a.b.{i}.c");
  log().Clear();
  EXPECT_EQ(ApplyRecord("a.b.-1.", NC_DM_MSG_TYPE_REG_OBJ), -1);
  EXPECT_EQ(ErrorLines(),
            std::vector<std::string>{"The path nodes contain an invalid instance number!\n"});
  EXPECT_EQ(ApplyRecord("a.b.9223372036854775808.", NC_DM_MSG_TYPE_REG_OBJ), -1);
  EXPECT_EQ(ApplyRecord("a.b.9223372036854775807.", NC_DM_MSG_TYPE_REG_OBJ), 0);
  EXPECT_NE(NodeAt("a.b.9223372036854775807"), nullptr);
}

TEST_F(InstanceRegistrationTest, RefusesUnknownPaths) {
  PathReg("a.b.{i}.c");
  PathReg("a.o.d");
  log().Clear();
  EXPECT_EQ(ApplyRecord("x.1.", NC_DM_MSG_TYPE_REG_OBJ), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("The dm'tree don't have this instance path!\n"));
  log().Clear();
  EXPECT_EQ(ApplyRecord("a.x.1.", NC_DM_MSG_TYPE_REG_OBJ), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to find the mode node!\n"));
  log().Clear();
  EXPECT_EQ(ApplyRecord("a.b.", NC_DM_MSG_TYPE_REG_OBJ), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("The mult-object or mult-leaf instance id input is 0!\n",
                                        "Failed to create node: b, id: 0!\n"));
  EXPECT_EQ(ApplyRecord("a..b", NC_DM_MSG_TYPE_REG_OBJ), -4);
  EXPECT_EQ(ApplyRecord("5.b", NC_DM_MSG_TYPE_REG_OBJ), -4);
  EXPECT_EQ(NodeAt("a.b.1"), nullptr);
}

TEST_F(InstanceRegistrationTest, ChecksBeforeItApplies) {
  EXPECT_EQ(nc_dm_agent_reg_obj_in(nullptr), -1);
  EXPECT_EQ(nc_dm_agent_unreg_obj_in(nullptr), -1);
  info().agent_init = false;
  EXPECT_EQ(ApplyRecord("a", NC_DM_MSG_TYPE_REG_OBJ), -1);
  EXPECT_EQ(ApplyRecord("a", NC_DM_MSG_TYPE_UNREG_OBJ), -1);
  info().agent_init = true;
  info().agent_tree_init = false;
  EXPECT_EQ(ApplyRecord("a", NC_DM_MSG_TYPE_REG_OBJ), -1);
  EXPECT_EQ(ApplyRecord("a", NC_DM_MSG_TYPE_UNREG_OBJ), -1);
  EXPECT_THAT(LogLines(),
              ElementsAre("E Input parameter is null!\n", "E Input parameter is null!\n",
                          "I Register dm path:a\n", "E Dm client hasn't bean initialized!\n",
                          "I Unregister dm path:a\n", "E Dm client hasn't bean initialized!\n",
                          "I Register dm path:a\n", "E Dm tree hasn't bean initialized!\n",
                          "I Unregister dm path:a\n", "E Dm tree hasn't bean initialized!\n"));
}

TEST_F(InstanceRegistrationTest, RemovesAnEntryAndAllBelowIt) {
  PathReg("a.b.{i}.d.{i}.e");
  Apply("a.b.3.d.7.");
  Apply("a.b.4.d.8.");
  const uint32_t total = g_nc_agent_dm.total_node;
  log().Clear();
  EXPECT_EQ(ApplyRemoval("a.b.3."), 0);
  EXPECT_EQ(NodeAt("a.b.3"), nullptr);
  EXPECT_NE(NodeAt("a.b.4.d.8"), nullptr);
  EXPECT_NE(NodeAt("a.b"), nullptr);
  EXPECT_EQ(g_nc_agent_dm.total_node, total - 5);
  EXPECT_THAT(LogLines(), Contains("I Unregister dm path:a.b.3.\n"));
  EXPECT_EQ(LogLines().back(), "I Unregister local dm successfully!\n");
  EXPECT_EQ(ApplyRemoval("a.b.3."), -1);
  EXPECT_EQ(Apply("a.b.3."), 0);
}

TEST_F(InstanceRegistrationTest, RemovesNothingThatIsNotThere) {
  PathReg("a.b.{i}.c");
  log().Clear();
  EXPECT_EQ(ApplyRecord("x.1.", NC_DM_MSG_TYPE_UNREG_OBJ), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("The dm'tree don't have this path!\n"));
  log().Clear();
  EXPECT_EQ(ApplyRecord("a.b.3.", NC_DM_MSG_TYPE_UNREG_OBJ), -1);
  EXPECT_EQ(ApplyRecord("a.b.-3.", NC_DM_MSG_TYPE_UNREG_OBJ), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("The path can't be completely matched!\n",
                                        "The path can't be completely matched!\n"));
  EXPECT_EQ(ApplyRecord("a..b", NC_DM_MSG_TYPE_UNREG_OBJ), -4);
  EXPECT_NE(NodeAt("a.b.c"), nullptr);
}

TEST_F(InstanceRegistrationTest, ServesAHashIndexedList) {
  PathReg("a.b.{i}.c");
  EXPECT_EQ(HashReg("a.b", 10000), 0);
  EXPECT_EQ(Apply("a.b.3."), 0);
  EXPECT_EQ(Apply("a.b.4."), 0);
  EXPECT_EQ(Apply("a.b.3."), 0);
  EXPECT_EQ(g_nc_agent_dm.total_mobject, 2u);
  EXPECT_EQ(ApplyRemoval("a.b.3."), 0);
  EXPECT_EQ(NodeAt("a.b.3"), nullptr);
  EXPECT_EQ(ApplyRemoval("a.b.3."), -1);
  EXPECT_NE(NodeAt("a.b.4"), nullptr);
}

}  // namespace
}  // namespace ncdm_test
