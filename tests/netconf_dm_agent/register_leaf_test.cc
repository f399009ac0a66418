// Registration of the schema, hooks, and the end of all of it.

#include <algorithm>
#include <atomic>
#include <thread>

#include "netconf_dm_agent/registration_fixture.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

int Set(nc_dm_id_array_t*, char*) { return 0; }
int Get(nc_dm_id_array_t*, char*) { return 0; }
nc_int64 Create(nc_dm_id_array_t*, char*) { return 1; }
nc_int64 Delete(nc_dm_id_array_t*, char*) { return 1; }
int GetAttr(nc_dm_agent_data_block_t*, nc_dm_op_output_t*) { return 0; }
int Reserved() { return 0; }
nc_int64 ExeCmd(nc_dm_agent_data_block_t*) { return 1; }

// ---- A leaf into the tree ----

TEST_F(RegistrationTest, PutsALeafIntoTheTree) {
  char path[] = "a.b.{i}.c";
  EXPECT_EQ(nc_dm_agent_path_reg(path, NC_DM_VAL_TYPE_INT, NC_DM_FLAG_KEY, 3, Set, Get, Create,
                                 Delete, GetAttr, Reserved, ExeCmd),
            0);
  const nc_dm_agent_node_t* leaf = NodeAt("a.b.c");
  ASSERT_NE(leaf, nullptr);
  EXPECT_EQ(leaf->node_type, NC_DM_NODE_TYPE_LEAF);
  EXPECT_EQ(leaf->val_type, NC_DM_VAL_TYPE_INT);
  EXPECT_EQ(leaf->flag, NC_DM_FLAG_KEY);
  EXPECT_EQ(leaf->index, 3);
  EXPECT_EQ(leaf->set, Set);
  EXPECT_EQ(leaf->get, Get);
  EXPECT_EQ(leaf->create, Create);
  EXPECT_EQ(leaf->delete_, Delete);
  EXPECT_EQ(leaf->get_attr, GetAttr);
  EXPECT_EQ(leaf->exe_cmd, ExeCmd);
  EXPECT_EQ(NodeAt("a.b")->node_type, NC_DM_NODE_TYPE_MULT_MODE);
  EXPECT_EQ(NodeAt("a.b")->create, Create);
  EXPECT_THAT(PendingTexts(), IsEmpty()) << "the server is not told";
}

TEST_F(RegistrationTest, TracesALeaf) {
  EXPECT_EQ(PathReg("a.b"), 0);
  EXPECT_THAT(LogLines(), Contains("I Register path:a.b\n"));
  EXPECT_THAT(LogLines(),
              Contains("I The count of node which the register path match to tree:0\n"));
  log().Clear();
  EXPECT_EQ(PathReg("a.c"), 0);
  EXPECT_THAT(LogLines(),
              Contains("I The count of node which the register path match to tree:1\n"));
}

TEST_F(RegistrationTest, TellsALeafThatIsThere) {
  EXPECT_EQ(PathReg("a.b"), 0);
  log().Clear();
  EXPECT_EQ(PathReg("a.b"), 1);
  EXPECT_THAT(LogLines(), ElementsAre("I Register path:a.b\n",
                                      "E This path may be already register: a.b, status: 0\n"));
  EXPECT_EQ(PathReg("a.b.c"), 1) << "below a leaf there is nothing";
  EXPECT_EQ(PathReg("a.l", NC_DM_FLAG_LEAF_LIST), 0);
  log().Clear();
  EXPECT_EQ(PathReg("a.l", NC_DM_FLAG_LEAF_LIST), 1);
  EXPECT_THAT(ErrorLines(), ElementsAre("This path may be already register: a.l, status: 2\n"));
}

TEST_F(RegistrationTest, ChecksThePath) {
  EXPECT_EQ(nc_dm_agent_path_reg(nullptr, NC_DM_VAL_TYPE_INT, 0, 0, nullptr, nullptr, nullptr,
                                 nullptr, nullptr, nullptr, nullptr),
            -1);
  EXPECT_EQ(PathReg(""), -1);
  EXPECT_THAT(LogLines(), ElementsAre("E Input parameter dm_name is invalid!\n",
                                      "E Invalid dm_name length!\n"));
}

// 256 characters in components that fit.
std::string LongPath(size_t len) {
  std::string path;
  while (path.size() + 64 < len) path += std::string(63, 'x') + ".";
  return path + std::string(len - path.size(), 'y');
}

TEST_F(RegistrationTest, Takes256Characters) {
  EXPECT_EQ(PathReg(LongPath(256)), 0);
  log().Clear();
  EXPECT_EQ(PathReg(LongPath(257)), -1);
  EXPECT_THAT(LogLines(), ElementsAre("E Invalid dm_name length!\n"));
  FreePendingRecords();
  EXPECT_EQ(ModeReg(LongPath(255)), 0);
  EXPECT_EQ(ModeReg(LongPath(256)), 0);
  log().Clear();
  EXPECT_EQ(ModeReg(LongPath(257)), -1);
  EXPECT_THAT(LogLines(), ElementsAre("E Invalid dm_name length.\n"));
  EXPECT_EQ(PendingTexts().size(), 2u);
}

TEST_F(RegistrationTest, NeedsATree) {
  info().agent_tree_init = false;
  EXPECT_EQ(PathReg("a.b"), -1);
  EXPECT_THAT(LogLines(),
              ElementsAre("I Register path:a.b\n", "E Dm tree hasn't bean initialized!\n"));
}

TEST_F(RegistrationTest, RegistersLeavesOnly) {
  EXPECT_EQ(PathReg("a.b."), -1);
  EXPECT_THAT(ErrorLines(),
              ElementsAre("Only leaf type can be register, the path can't be end with '.'!\n",
                          "Client local dm register unsuccessfully!\n"));
  EXPECT_EQ(NodeAt("a"), nullptr);
}

TEST_F(RegistrationTest, PassesTheParsersResultOn) {
  EXPECT_EQ(PathReg("a..b"), -4);
  EXPECT_EQ(PathReg("a." + std::string(65, 'x')), -4);
  EXPECT_EQ(PathReg("a." + std::string(64, 'x')), 0);
}

TEST_F(RegistrationTest, ChecksTheNames) {
  EXPECT_EQ(PathReg("a.b c"), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("Register dm name is invalid!\n",
                                        "Client local dm register unsuccessfully!\n"));
  EXPECT_EQ(PathReg("a.-b"), -1);
  EXPECT_EQ(PathReg("a.{1-3}.b"), -1) << "a range is no name";
  EXPECT_EQ(NodeAt("a"), nullptr);
  EXPECT_EQ(PathReg("a.b-c"), 0);
  EXPECT_EQ(PathReg("a._x1"), 0);
  EXPECT_EQ(PathReg("a.5.n"), 0);
}

TEST_F(RegistrationTest, ChecksTheTemplate) {
  nc_dm_agent_node_t leaf = {};
  nc_dm_path_nodes_t path = {};
  char empty[] = "";
  char name[] = "a.b";
  EXPECT_EQ(nc_dm_agent_reg_in(nullptr, &path), -1);
  EXPECT_EQ(nc_dm_agent_reg_in(&leaf, &path), -1);
  leaf.dm_path = empty;
  EXPECT_EQ(nc_dm_agent_reg_in(&leaf, &path), -1);
  leaf.dm_path = name;
  EXPECT_EQ(nc_dm_agent_reg_in(&leaf, nullptr), -1);
  EXPECT_THAT(
      LogLines(),
      ElementsAre("E Input parameter is invalid!\n", "E Register dm_reg path is null!\n",
                  "E Register dm_reg path length is 0!\n", "E Input parameter is invalid!\n"));
  EXPECT_EQ(nc_dm_agent_reg_in(&leaf, &path), 0);
  EXPECT_EQ(leaf.node_type, NC_DM_NODE_TYPE_LEAF);
}

TEST_F(RegistrationTest, WarnsOfAWideNodeAndGoesOn) {
  const DebugMask errors(NC_DM_DBG_ERROR);
  for (int i = 0; i < 4096; ++i) ASSERT_EQ(PathReg("a.n" + std::to_string(i)), 0);
  EXPECT_THAT(LogLines(), IsEmpty());
  EXPECT_EQ(PathReg("a.last"), 0);
  EXPECT_THAT(LogLines(), ElementsAre("E The width of node which want to regiset is too big, node "
                                      "width: 4097!\n"));
  EXPECT_NE(NodeAt("a.last"), nullptr);
}

// ---- Announced to the server ----

TEST_F(RegistrationTest, AnnouncesALeaf) {
  EXPECT_EQ(ModeReg("a.b.{i}.c", NC_DM_FLAG_KEY, 3), 0);
  EXPECT_EQ(ModeReg("a.b.{i}.d", NC_DM_FLAG_KEY_SETTABLE), 0);
  EXPECT_EQ(ModeReg("a.b.{i}.e", 0, 63), 0);
  EXPECT_EQ(ModeReg("a.b.{i}.f"), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.b.{i}.c 17", "REG a.b.{i}.d 2", "REG a.b.{i}.e 16",
                                          "REG a.b.{i}.f 0"));
  EXPECT_EQ(NodeAt("a.b.c")->flag, NC_DM_FLAG_KEY) << "the slot is no flag of the node";
}

TEST_F(RegistrationTest, AnnouncesALeafAgain) {
  EXPECT_EQ(ModeReg("a.b"), 0);
  EXPECT_EQ(ModeReg("a.b"), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.b 0", "REG a.b 0"));
}

TEST_F(RegistrationTest, ChecksInOrder) {
  EXPECT_EQ(nc_dm_agent_mode_reg(nullptr, NC_DM_VAL_TYPE_INT, 0, 0, nullptr, nullptr, nullptr,
                                 nullptr, nullptr, nullptr, nullptr),
            -1);
  EXPECT_EQ(ModeReg(""), -1);
  info().agent_init = false;
  info().agent_tree_init = false;
  EXPECT_EQ(ModeReg("a.b"), -1);
  info().agent_init = true;
  EXPECT_EQ(ModeReg("a.b"), -1);
  EXPECT_THAT(LogLines(),
              ElementsAre("E Input parameter dm_name is invalid.\n", "E Invalid dm_name length.\n",
                          "I Register path:a.b\n", "E Dm client hasn't bean initialized!\n",
                          "I Register path:a.b\n", "E Dm tree hasn't bean initialized!\n"));
}

TEST_F(RegistrationTest, AnnouncesNoLeafThatTheTreeRefuses) {
  EXPECT_EQ(ModeReg("a.b."), -1);
  EXPECT_EQ(ModeReg("a..b"), -1);
  EXPECT_THAT(PendingTexts(), IsEmpty());
  EXPECT_EQ(ErrorLines().back(), "Failed to register data mode path!\n");
}

TEST_F(RegistrationTest, FailsWhenTheServerCannotBeTold) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  ASSERT_EQ(PathReg("a.b"), 0);
  const DebugMask silent(0);
  std::string path = "a.b";
  const int allocations = WithEachAllocationFailing([&] {
    const int result = nc_dm_agent_mode_reg(path.data(), NC_DM_VAL_TYPE_STRING, 0, 0, nullptr,
                                            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    if ((result == 0) == nc::IsEmpty(&g_nc_dm_reg_list.reg_list)) abort();
    FreePendingRecords();
  });
  EXPECT_EQ(allocations, 2);
}

TEST_F(RegistrationTest, SaysThatTheServerCannotBeTold) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  ASSERT_EQ(PathReg("a.b"), 0);
  std::string path = "a.b";
  int failures = 0;
  // The log allocates as well, so that not each failure concerns the record.
  WithEachAllocationFailing([&] {
    log().Clear();
    const int result = nc_dm_agent_mode_reg(path.data(), NC_DM_VAL_TYPE_STRING, 0, 0, nullptr,
                                            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    FreePendingRecords();
    if (result == 0) return;
    ++failures;
    EXPECT_EQ(result, -1);
    EXPECT_TRUE(log().ContainsError("Failed to register data mode to server!\n"));
  });
  EXPECT_EQ(failures, 2) << "the record and its name";
}

TEST_F(RegistrationTest, MayBeCalledFromManyThreads) {
  const DebugMask silent(0);
  constexpr int kThreads = 4;
  constexpr int kLeaves = 100;
  std::atomic<int> failures = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &failures] {
      for (int i = 0; i < kLeaves; ++i) {
        const std::string name = std::to_string(t) + "n" + std::to_string(i);
        failures += ModeReg("a.l" + name + ".{i}.c") != 0;
        failures += Reg("a.l" + name + ".1.") != 0;
        failures += Unreg("a.l" + name + ".1.") != 0;
        failures += nc_dm_agent_yang_attr_reg("m", NC_DM_YANG_ATTR_REVISION, name.c_str()) != 0;
        failures += HashReg("a.l" + name, 10000) != 0;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
  const std::vector<std::string> pending = PendingTexts();
  const auto attributes = std::count_if(pending.begin(), pending.end(),
                                        [](const auto& text) { return text.starts_with("YANG"); });
  EXPECT_EQ(pending.size() - static_cast<size_t>(attributes),
            static_cast<size_t>(kThreads * kLeaves * 3));
  EXPECT_GE(attributes, 1);
  EXPECT_LE(attributes, kThreads) << "an attribute that waits is queued once";
  EXPECT_EQ(g_nc_agent_dm.total_leaf, static_cast<uint32_t>(kThreads * kLeaves));
}

// ---- Numbers that no enumerator has ----

TEST_F(RegistrationTest, AnyNumberFitsIntoAnEnumeration) {
  EXPECT_EQ(ModeReg("top.t.{i}.k", NC_DM_FLAG_KEY), 0);
  std::string leaf = "a.b";
  for (const int number : {-1, 4, 15, 99, INT32_MAX, INT32_MIN}) {
    leaf += "x";
    EXPECT_EQ(ModeReg(leaf, 0, 0, static_cast<nc_dm_val_type_t>(number)), 0);
    ASSERT_NE(NodeAt(leaf), nullptr);
    EXPECT_EQ(NodeAt(leaf)->val_type, number);
    FreePendingRecords();
    EXPECT_EQ(Apply("top.t.5.", static_cast<nc_dm_node_src_t>(number)), 0);
    EXPECT_EQ(NodeAt("top.t.5")->src, number);
    EXPECT_EQ(Apply("top.t.5.", NC_DM_NODE_SRC_CLI), 0) << "a source that no rule protects";
    EXPECT_EQ(NodeAt("top.t.5")->src, NC_DM_NODE_SRC_CLI);
    EXPECT_EQ(ApplyRemoval("top.t.5."), 0);
    EXPECT_EQ(nc_dm_agent_fun_reg(static_cast<nc_dm_hook_fun_type_t>(number), nullptr), 0);
    EXPECT_EQ(nc_dm_agent_yang_attr_reg("m", static_cast<nc_dm_yang_attr_type_t>(number), "x"), 0);
    FreePendingRecords();
  }
}

// ---- Complete, hooks ----

TEST_F(RegistrationTest, QueuesTheEndOfRegistration) {
  nc_dm_agent_mode_reg_cplt();
  EXPECT_TRUE(info().local_dm_reg_over);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG_CPLT"));
  EXPECT_THAT(LogLines(), ElementsAre("I Add mode_reg_cplt to register list.\n"));
  EXPECT_EQ(nc::Records<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list).begin()->name, nullptr);
}

TEST_F(RegistrationTest, QueuesNoEndWhenMemoryIsShort) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  {
    const FailingAlloc failing(0);
    nc_dm_agent_mode_reg_cplt();
  }
  EXPECT_THAT(PendingTexts(), IsEmpty());
  EXPECT_THAT(LogLines(), ElementsAre("E Failed to malloc for reg_node!\n"));
}

TEST_F(RegistrationTest, QueuesNoEndBeforeTheStart) {
  info().agent_init = false;
  nc_dm_agent_mode_reg_cplt();
  EXPECT_FALSE(info().local_dm_reg_over);
  EXPECT_THAT(PendingTexts(), IsEmpty());
  EXPECT_THAT(LogLines(), ElementsAre("E Dm client hasn't bean initialized!\n"));
}

int Commit(char*) { return 0; }

TEST_F(RegistrationTest, InstallsTheCommitHook) {
  EXPECT_EQ(nc_dm_agent_fun_reg(NC_DM_HOOK_FUN_DATA_COMMIT, Commit), 0);
  EXPECT_EQ(info().data_commit, Commit);
  EXPECT_EQ(nc_dm_agent_fun_reg(NC_DM_HOOK_FUN_HAM_DOG, nullptr), 0);
  EXPECT_EQ(info().data_commit, Commit);
  EXPECT_EQ(nc_dm_agent_fun_reg(static_cast<nc_dm_hook_fun_type_t>(3), nullptr), 0);
  EXPECT_EQ(info().data_commit, Commit);
  EXPECT_EQ(nc_dm_agent_fun_reg(NC_DM_HOOK_FUN_DATA_COMMIT, nullptr), 0);
  EXPECT_EQ(info().data_commit, nullptr);
  info().agent_init = false;
  EXPECT_EQ(nc_dm_agent_fun_reg(NC_DM_HOOK_FUN_DATA_COMMIT, Commit), -1);
  EXPECT_EQ(info().data_commit, nullptr);
  EXPECT_THAT(LogLines(), ElementsAre("E Dm client hasn't bean initialized!\n"));
}

// ---- All of it away ----

TEST_F(RegistrationTest, RemovesTheWholeTree) {
  ModeReg("a.b.{i}.c");
  ModeReg("t.{i}.d");
  ModeReg("x");
  nc_dm_agent_yang_attr_reg("m", NC_DM_YANG_ATTR_MODULE_NAME, "m");
  FreePendingRecords();
  AddInstance("a.b.1");
  AddInstance("a.b.2");
  EXPECT_EQ(nc_dm_agent_unreg_all(Reserved), 0);
  EXPECT_TRUE(nc::IsEmpty(&g_nc_agent_dm.dm_root));
  EXPECT_TRUE(nc::IsEmpty(&g_nc_agent_dm.yang_attr_lst));
  EXPECT_EQ(g_nc_agent_dm.total_node, 0u);
  EXPECT_EQ(info().unreg_rsp_handler, Reserved);
  const FakeTask* task = FakePlatform::Get().Find(nc_dm_agent_unreg_client);
  ASSERT_NE(task, nullptr);
  EXPECT_EQ(g_nc_dm_agent_manage.tt_unreg_client, task);
  EXPECT_EQ(ModeReg("a.b.{i}.c"), 0) << "and it may begin again";
}

TEST_F(RegistrationTest, RemovesNothingFromAnotherThread) {
  ModeReg("a.b");
  log().Clear();
  int result = 0;
  std::thread([&] { result = nc_dm_agent_unreg_all(nullptr); }).join();
  EXPECT_EQ(result, -1);
  EXPECT_THAT(
      LogLines(),
      ElementsAre("E Unregister request is not the thread in which netconf dm client init!\n"));
  EXPECT_NE(NodeAt("a.b"), nullptr);
  EXPECT_THAT(FakePlatform::Get().Pending(), IsEmpty());
}

TEST_F(RegistrationTest, RemovesTheTreeAlsoWhenTheServerCannotBeAsked) {
  ModeReg("a.b");
  FakePlatform::Get().FailNext(1);
  EXPECT_EQ(nc_dm_agent_unreg_all(Reserved), 0);
  EXPECT_TRUE(log().ContainsError("Failed to add zu-thread for unregister client!\n"));
  EXPECT_TRUE(nc::IsEmpty(&g_nc_agent_dm.dm_root));
  EXPECT_EQ(info().unreg_rsp_handler, Reserved);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.b 0")) << "the queue is none of its business";
}

TEST_F(RegistrationTest, RemovesNothingBeforeTheStart) {
  info().agent_init = false;
  EXPECT_EQ(nc_dm_agent_unreg_all(nullptr), -1);
  info().agent_init = true;
  info().agent_tree_init = false;
  EXPECT_EQ(nc_dm_agent_unreg_all(nullptr), -1);
  EXPECT_THAT(LogLines(), ElementsAre("E Dm client hasn't bean initialized!\n",
                                      "E Dm tree hasn't bean initialized!\n"));
}

}  // namespace
}  // namespace ncdm_test
