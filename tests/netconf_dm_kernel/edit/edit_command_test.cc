// Command execution: the edits of one entry, element by element, and the command at their end.

#include <errno.h>
#include <string.h>

#include <string>
#include <utility>
#include <vector>

#include "netconf_dm_kernel/edit/edit_fixture.h"
#include "netconf_dm_kernel/edit/failing_calls.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kOpMax = 8;  // some beyond the last operation

// if.port is executed as a command; if.plain has no command.
class CommandTest : public EditTest {
 protected:
  CommandTest() {
    app.Register(
        {.path = "if.port.{i}.name", .flag = 1, .index = 1, .callbacks = 0u | Callback::kExeCmd});
    app.Register({.path = "if.port.{i}.mtu",
                  .type = NC_DM_VAL_TYPE_INT,
                  .index = 2,
                  .callbacks = Callback::kSet | Callback::kDelete});
    app.Register({.path = "if.port.{i}.speed", .type = NC_DM_VAL_TYPE_ULONGLONG, .index = 63});
    app.Register({.path = "if.port.{i}.since", .type = NC_DM_VAL_TYPE_DATATIME, .index = 4});
    app.Register({.path = "if.port.{i}.descr", .callbacks = Callback::kSet | Callback::kDelete});
    app.Register({.path = "if.port.{i}.note"});
    app.Register({.path = "if.port.{i}.vlan.{i}",
                  .type = NC_DM_VAL_TYPE_INT,
                  .flag = 4,
                  .callbacks = Callback::kCreate | Callback::kDelete});
    app.Register({.path = "if.port.{i}.tag.{i}", .flag = 4});
    app.Register({.path = "if.port.{i}.stats.rx", .callbacks = 0u | Callback::kDelete});
    app.Register({.path = "if.port.{i}.sub.{i}.id", .flag = 1});
    app.Register({.path = "if.plain.{i}.descr", .callbacks = Callback::kSet | Callback::kDelete});
    AddInstance("if.port.3");
    LogCapture::Get().Clear();
  }

  nc_int64 Run(ModelEdits& edits, int cmd_op, nc_dm_node_src_t src = NC_DM_NODE_SRC_NONE,
               const char* entry = "if.port") {
    return nc_dm_agent_edit_execmd(NodeAt(entry), edits.WithNames().get(), cmd_op, &fault, src);
  }
  nc_int64 Run(std::initializer_list<ModelEdit> list, int cmd_op = NC_DM_CMD_OP_MERGE,
               nc_dm_node_src_t src = NC_DM_NODE_SRC_NONE, const char* entry = "if.port") {
    ModelEdits edits(list);
    return Run(edits, cmd_op, src, entry);
  }
  // A run on the entry 3 itself, as a subtree edit makes it.
  nc_int64 RunBelow(std::initializer_list<ModelEdit> list,
                    nc_dm_node_src_t src = NC_DM_NODE_SRC_NONE) {
    return Run(list, NC_DM_CMD_OP_EDIT, src, "if.port.3");
  }

  void Restart() {
    app.Forget();
    LogCapture::Get().Clear();
    fault = {};
  }
};

// ---- The whole ----

TEST_F(CommandTest, RefusesWhatIsMissing) {
  ModelEdits edits{{.name = "if.port.name", .val = "eth0"}};
  ModelEdits none;
  nc_dm_agent_node_t* port = NodeAt("if.port");
  EXPECT_EQ(nc_dm_agent_edit_execmd(nullptr, edits.get(), 1, &fault, NC_DM_NODE_SRC_NONE), -1);
  EXPECT_EQ(nc_dm_agent_edit_execmd(port, nullptr, 1, &fault, NC_DM_NODE_SRC_NONE), -1);
  EXPECT_EQ(nc_dm_agent_edit_execmd(port, none.get(), 1, &fault, NC_DM_NODE_SRC_NONE), -1);
  EXPECT_EQ(nc_dm_agent_edit_execmd(port, edits.get(), 1, nullptr, NC_DM_NODE_SRC_NONE), -1);
  nc_dm_stub_edit_t* edit = std::exchange(edits.at(0)->edit, nullptr);
  fault.new_fault = true;
  EXPECT_EQ(nc_dm_agent_edit_execmd(port, edits.get(), 1, &fault, NC_DM_NODE_SRC_NONE), -1);
  EXPECT_FALSE(fault.new_fault);
  edits.at(0)->edit = edit;
  EXPECT_THAT(Errors(), ElementsAre("The parent input is null!\n", "The edit list input is null!\n",
                                    "The edit list input is empty!\n", "The fault input is null!\n",
                                    "The first edit_node->edit of list is null!\n"));
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(CommandTest, NeedsADataBlock) {
  const FailingCall failing(Step::kCreatePadb);
  EXPECT_EQ(Run({{.name = "if.port.descr", .val = "x", .op = NC_DM_OP_MERGE}}), -1);
  EXPECT_THAT(Errors(), ElementsAre("Failed to malloc parent padb!\n"));
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(CommandTest, OneCommandGetsAllSlots) {
  app.On(Callback::kExeCmd, "name", 42);
  for (const int cmd_op :
       {NC_DM_CMD_OP_MERGE, NC_DM_CMD_OP_DELETE, NC_DM_CMD_OP_EDIT, NC_DM_CMD_OP_CREATE}) {
    app.Forget();
    EXPECT_EQ(Run({{.name = "if.port.name", .val = "eth0", .op = NC_DM_OP_MERGE, .ids = {5, 6}},
                   {.name = "if.port.mtu", .val = "-2", .op = NC_DM_OP_MERGE, .ids = {9}},
                   {.name = "if.port.speed", .val = "18446744073709551615", .op = NC_DM_OP_MERGE}},
                  cmd_op, NC_DM_NODE_SRC_SDN),
              42);
    EXPECT_THAT(app.CallTexts(),
                ElementsAre("exe_cmd name ids=[5,6] src=1 op=" + std::to_string(cmd_op) +
                            " slots={1:eth0, 2:4294967294, 63:4294967295}"));
    EXPECT_EQ(Fault(), "0 ");
  }
  EXPECT_TRUE(LoggedInfo("The 'exe_cmd' return value of parent node 'port' is 42.\n"));
  EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(CommandTest, DataBlockThatWasLeftBehindIsFreed) {
  nc_dm_agent_node_t* port = NodeAt("if.port");
  ASSERT_EQ(nc_dm_agent_create_padb(port, 9), 0);
  port->padb->ulong_var_flag = 1;
  EXPECT_EQ(Run({{.name = "if.port.name", .val = "eth0", .op = NC_DM_OP_MERGE}}), 1);
  EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[] src=0 op=1 slots={1:eth0}"));
}

TEST_F(CommandTest, NoCommandWithoutSlots) {
  EXPECT_EQ(Run({{.name = "if.port.descr", .val = "x", .op = NC_DM_OP_MERGE}}), 0);
  EXPECT_THAT(app.CallTexts(), ElementsAre("set descr ids=[] src=0 value=x"));
  EXPECT_TRUE(LoggedInfo("The node 'port' padb no var flag is set.\n"));

  Restart();
  app.On(Callback::kDelete, "descr", 12);
  EXPECT_EQ(Run({{.name = "if.port.descr", .op = NC_DM_OP_DELETE}}), 12);
  EXPECT_THAT(app.CallTexts(), ElementsAre("delete descr ids=[] src=0 value="));
  EXPECT_TRUE(LoggedInfo("The node 'port' padb no var flag is set.\n"));
}

TEST_F(CommandTest, EitherKindOfSlotBringsTheCommand) {
  Run({{.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE}});
  Run({{.name = "if.port.name", .val = "a", .op = NC_DM_OP_MERGE}});
  EXPECT_THAT(app.calls(), SizeIs(2));
}

TEST_F(CommandTest, EntryWithoutACommand) {
  EXPECT_EQ(Run({{.name = "if.plain.descr", .val = "x", .op = NC_DM_OP_MERGE}}, NC_DM_CMD_OP_MERGE,
                NC_DM_NODE_SRC_NONE, "if.plain"),
            0);
  EXPECT_TRUE(LoggedInfo("The node 'plain' exe_cmd is null.\n"));
  EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(CommandTest, ResultOfTheCommand) {
  const std::initializer_list<ModelEdit> edits = {
      {.name = "if.port.name", .val = "eth0", .op = NC_DM_OP_MERGE}};
  for (const nc_int64 result : {nc_int64{0}, nc_int64{1}, INT64_MAX}) {
    app.On(Callback::kExeCmd, "name", result);
    EXPECT_EQ(Run(edits), result);
    EXPECT_EQ(Fault(), "0 ");
  }
  for (const nc_int64 result : {nc_int64{-1}, nc_int64{-6}, nc_int64{-8}, INT64_MIN}) {
    Restart();
    app.On(Callback::kExeCmd, "name", result);
    EXPECT_EQ(Run(edits), -1);
    EXPECT_EQ(Fault(), "-7 port*");
    EXPECT_THAT(Errors(), ElementsAre("Failed to call 'exe_cmd' of parent node 'port', return " +
                                          std::to_string(result) + "!\n",
                                      "There is a new fault occurred!\n"));
  }
}

TEST_F(CommandTest, MissingEntryMeansWhatTheOperationSays) {
  app.On(Callback::kExeCmd, "name", -7);
  for (nc_int32 op = -1; op < kOpMax; ++op) {
    Restart();
    const nc_int64 result = Run({{.name = "if.port.name", .val = "eth0", .op = op}});
    EXPECT_TRUE(LoggedError("Failed to call 'exe_cmd' of parent node 'port', return -7!\n"));
    if (op == NC_DM_OP_DELETE) {
      EXPECT_EQ(result, -1);
      EXPECT_EQ(Fault(), "-10 port*");
      EXPECT_THAT(Errors(),
                  ElementsAre("Failed to call 'exe_cmd' of parent node 'port', return -7!\n",
                              "Failed to delete node 'port' instance for data missing!\n",
                              "There is a new fault occurred!\n"));
    } else if (op == NC_DM_OP_REMOVE) {
      EXPECT_EQ(result, 0);
      EXPECT_EQ(Fault(), "0 ");
      EXPECT_TRUE(
          LoggedInfo("Failed to remove node 'port' instance for data missing, return ok.\n"));
    } else {
      EXPECT_EQ(result, -7) << op;
      EXPECT_EQ(Fault(), "0 ");
    }
  }
}

TEST_F(CommandTest, ExistingEntryFailsForCreateAlone) {
  app.On(Callback::kExeCmd, "name", [](const ModelCall& call) -> nc_int64 {
    call.padb->id_array.output.inst_exist = 1;
    return 7;
  });
  for (nc_int32 op = -1; op < kOpMax; ++op) {
    Restart();
    const nc_int64 result = Run({{.name = "if.port.name", .val = "eth0", .op = op}});
    if (op == NC_DM_OP_CREATE) {
      EXPECT_EQ(result, -1);
      EXPECT_EQ(Fault(), "-9 port*");
      EXPECT_THAT(Errors(),
                  ElementsAre("Failed to create node 'port' instance for data existing!\n",
                              "There is a new fault occurred!\n"));
    } else {
      EXPECT_EQ(result, 7) << op;
      EXPECT_EQ(Fault(), "0 ");
    }
  }
}

TEST_F(CommandTest, OperationIsThatOfTheLastElementThatHasAChild) {
  app.On(Callback::kExeCmd, "name", -7);
  EXPECT_EQ(Run({{.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_REMOVE},
                 {.name = "if.port.name", .val = "eth0", .op = NC_DM_OP_DELETE}}),
            -1);
  EXPECT_EQ(Fault(), "-10 port*");
  Restart();
  EXPECT_EQ(Run({{.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_DELETE},
                 {.name = "if.port.name", .val = "eth0", .op = NC_DM_OP_REMOVE}}),
            0);
  Restart();
  EXPECT_EQ(Run({{.name = "if.port.name", .val = "eth0", .op = NC_DM_OP_DELETE},
                 {.name = "if.port.none", .op = NC_DM_OP_REMOVE, .erropt = NC_DM_ERROPT_CONTINUE}}),
            -1);
  EXPECT_EQ(Fault(), "-10 port*");
}

TEST_F(CommandTest, CommandOfASubtreeEditStampsTheSlottedLeaves) {
  NodeAt("if.port.3.name")->src = NC_DM_NODE_SRC_CLI_ALW;
  const std::initializer_list<ModelEdit> edits = {
      {.name = "if.port.name", .val = "eth0", .op = NC_DM_OP_MERGE},
      {.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE}};
  app.On(Callback::kExeCmd, "name", -1);
  RunBelow(edits, NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(NodeAt("if.port.3.mtu")->src, NC_DM_NODE_SRC_NONE);

  app.On(Callback::kExeCmd, "name", nc_int64{0});
  EXPECT_EQ(RunBelow(edits, NC_DM_NODE_SRC_SDN), 0);
  EXPECT_EQ(NodeAt("if.port.3.mtu")->src, NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(NodeAt("if.port.3.name")->src, NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(NodeAt("if.port.3.speed")->src, NC_DM_NODE_SRC_NONE);
  EXPECT_EQ(RunBelow(edits, NC_DM_NODE_SRC_NONE), 0);
  EXPECT_EQ(NodeAt("if.port.3.mtu")->src, NC_DM_NODE_SRC_SDN);

  EXPECT_EQ(Run(edits, NC_DM_CMD_OP_MERGE, NC_DM_NODE_SRC_SDN), 0);
  EXPECT_EQ(NodeAt("if.port.mtu")->src, NC_DM_NODE_SRC_NONE);
}

TEST_F(CommandTest, OldFaultDoesNotFailANewRun) {
  fault = {NC_DM_FAULT_CODE_UNKNOWN_ELEM, "old", true};
  EXPECT_EQ(Run({{.name = "if.port.name", .val = "eth0", .op = NC_DM_OP_MERGE}}), 1);
  EXPECT_EQ(Fault(), "-13 old");
}

// ---- Slots ----

TEST_F(CommandTest, EntryEditStoresSlotsUnderEveryAction) {
  for (nc_int32 op = -1; op < kOpMax; ++op) {
    for (nc_int32 defop = -1; defop < 5; ++defop) {
      app.Forget();
      Run({{.name = "if.port.mtu", .val = "9", .op = op, .defop = defop}}, NC_DM_CMD_OP_MERGE);
      EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[] src=0 op=1 slots={2:9}"))
          << op << " " << defop;
    }
  }
}

TEST_F(CommandTest, SubtreeEditStoresSlotsUnderEveryActionButDelete) {
  for (nc_int32 op = -1; op < kOpMax; ++op) {
    for (nc_int32 defop = -1; defop < 5; ++defop) {
      app.Forget();
      RunBelow({{.name = "if.port.mtu", .val = "9", .op = op, .defop = defop}});
      if (op == NC_DM_OP_DELETE || op == NC_DM_OP_REMOVE) {
        EXPECT_THAT(app.CallTexts(), ElementsAre("delete mtu ids=[] src=0 value=9"));
      } else {
        EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[] src=0 op=3 slots={2:9}"))
            << op << " " << defop;
      }
    }
  }
}

TEST_F(CommandTest, DeletedSlotTurnsTheCommandIntoADeletion) {
  app.On(Callback::kDelete, "mtu", 5);
  EXPECT_EQ(RunBelow({{.name = "if.port.name", .val = "eth0", .op = NC_DM_OP_MERGE, .ids = {3}},
                      {.name = "if.port.mtu", .op = NC_DM_OP_DELETE, .ids = {3}},
                      {.name = "if.port.speed", .val = "7", .op = NC_DM_OP_MERGE, .ids = {3}}},
                     NC_DM_NODE_SRC_SDN),
            1);
  EXPECT_THAT(app.CallTexts(), ElementsAre("delete mtu ids=[3] src=1 value=0",
                                           "exe_cmd name ids=[3] src=1 op=2 slots={1:eth0, 63:7}"));
  // The stamp of slotted leaves belongs to edits; the deleted leaf was stamped by itself.
  EXPECT_EQ(NodeAt("if.port.3.name")->src, NC_DM_NODE_SRC_NONE);
  EXPECT_EQ(NodeAt("if.port.3.mtu")->src, NC_DM_NODE_SRC_SDN);

  Restart();
  EXPECT_EQ(RunBelow({{.name = "if.port.mtu", .op = NC_DM_OP_DELETE}}), 5);
  EXPECT_THAT(app.CallTexts(), ElementsAre("delete mtu ids=[] src=0 value=0"));
  EXPECT_TRUE(LoggedInfo("The node 'port' padb no var flag is set.\n"));

  Restart();
  EXPECT_EQ(RunBelow({{.name = "if.port.speed", .op = NC_DM_OP_DELETE}}), -1);
  EXPECT_EQ(Fault(), "-7 speed*");
  EXPECT_TRUE(LoggedError("The tmp node 'speed' delete funtion is null.\n"));
}

TEST_F(CommandTest, MissingValueIsAnEmptySlot) {
  EXPECT_EQ(Run({{.name = "if.port.name", .op = NC_DM_OP_MERGE},
                 {.name = "if.port.mtu", .op = NC_DM_OP_MERGE}}),
            1);
  EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[] src=0 op=1 slots={1:, 2:0}"));
}

TEST_F(CommandTest, ValueThatHasNoPlaceInTheBlockIsLeftOut) {
  EXPECT_EQ(Run({{.name = "if.port.since", .val = "2024-5-6T7:8:9", .op = NC_DM_OP_MERGE}}), 0);
  EXPECT_TRUE(LoggedInfo("No need to set the node 'since' value to padb.\n"));
  NodeAt("if.port.mtu")->index = 64;
  EXPECT_EQ(Run({{.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE}}), 0);
  EXPECT_TRUE(LoggedInfo("No need to set the node 'mtu' value to padb.\n"));
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

// ---- Leaves ----

TEST_F(CommandTest, SetGetsTheTypedValueAndTheElementsIds) {
  NodeAt("if.port.3.mtu")->index = 0;
  EXPECT_EQ(RunBelow({{.name = "if.port.mtu", .val = "-5", .op = NC_DM_OP_REPLACE, .ids = {3}},
                      {.name = "if.port.descr", .val = "", .op = NC_DM_OP_CREATE, .ids = {4, 5}},
                      {.name = "if.port.descr", .defop = NC_DM_DEFOP_REPLACE}},
                     NC_DM_NODE_SRC_SDN),
            0);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("set mtu ids=[3] src=1 value=-5",
                          "set descr ids=[4,5] src=1 value=", "set descr ids=[] src=1 value="));
  EXPECT_EQ(NodeAt("if.port.3.descr")->src, NC_DM_NODE_SRC_SDN);
}

TEST_F(CommandTest, EmptyValueIsEmptyForEachElement) {
  app.On(Callback::kSet, "descr", [](const ModelCall& call) -> nc_int64 {
    for (int i = 0; i < NC_DM_VALUE_BUF_SIZE; ++i) EXPECT_EQ(call.buffer[i], 0);
    memset(call.buffer, 'x', NC_DM_VALUE_BUF_SIZE);
    return 0;
  });
  Run({{.name = "if.port.descr", .op = NC_DM_OP_MERGE},
       {.name = "if.port.descr", .op = NC_DM_OP_MERGE}});
  EXPECT_THAT(app.calls(), SizeIs(2));
}

// A leaf of no type has no typed value; its callback gets an empty one.
TEST_F(CommandTest, ValueOfNoTypeIsEmpty) {
  NodeAt("if.port.descr")->val_type = NC_DM_VAL_TYPE_UNKNOWN;
  EXPECT_EQ(Run({{.name = "if.port.descr", .val = "x", .op = NC_DM_OP_MERGE}}), 0);
  EXPECT_THAT(app.CallTexts(), ElementsAre("set descr ids=[] src=0 value="));
}

TEST_F(CommandTest, WrittenLeafTakesTheSourceUnlessItIsSdn) {
  nc_dm_agent_node_t* descr = NodeAt("if.port.3.descr");
  for (const nc_int32 op : {NC_DM_OP_MERGE, NC_DM_OP_DELETE}) {
    for (const nc_dm_node_src_t before :
         {NC_DM_NODE_SRC_NONE, NC_DM_NODE_SRC_SDN, NC_DM_NODE_SRC_CLI, NC_DM_NODE_SRC_CLI_ALW}) {
      descr->src = before;
      RunBelow({{.name = "if.port.descr", .val = "x", .op = op}});
      EXPECT_EQ(descr->src,
                before == NC_DM_NODE_SRC_SDN ? NC_DM_NODE_SRC_SDN : NC_DM_NODE_SRC_NONE);
    }
  }
  descr->src = NC_DM_NODE_SRC_CLI;
  app.On(Callback::kSet, "descr", 1);
  app.On(Callback::kDelete, "descr", -1);
  RunBelow({{.name = "if.port.descr", .val = "x", .op = NC_DM_OP_MERGE}});
  RunBelow({{.name = "if.port.descr", .val = "x", .op = NC_DM_OP_DELETE}});
  EXPECT_EQ(descr->src, NC_DM_NODE_SRC_CLI);
}

TEST_F(CommandTest, RefusedSetStops) {
  for (const int result : {-1, 1, -7}) {
    Restart();
    app.On(Callback::kSet, "descr", result);
    EXPECT_EQ(Run({{.name = "if.port.descr", .val = "x", .op = NC_DM_OP_MERGE},
                   {.name = "if.port.name", .val = "eth0", .op = NC_DM_OP_MERGE}}),
              -1);
    EXPECT_EQ(Fault(), "-7 descr*");
    EXPECT_THAT(Errors(), ElementsAre("Failed to set the tmp node 'descr' value!\n"));
    EXPECT_THAT(app.calls(), SizeIs(1));
  }
}

TEST_F(CommandTest, LeafWithoutSetIsPassedOver) {
  EXPECT_EQ(Run({{.name = "if.port.note", .val = "x", .op = NC_DM_OP_MERGE}}), 0);
  EXPECT_TRUE(LoggedInfo("The tmp node 'note' set funtion is null.\n"));
  EXPECT_EQ(Fault(), "0 ");
}

TEST_F(CommandTest, LeafWithoutDeleteStops) {
  EXPECT_EQ(Run({{.name = "if.port.note", .op = NC_DM_OP_REMOVE},
                 {.name = "if.port.name", .val = "eth0", .op = NC_DM_OP_MERGE}}),
            -1);
  EXPECT_EQ(Fault(), "-7 note*");
  EXPECT_THAT(Errors(), ElementsAre("The tmp node 'note' delete funtion is null.\n"));
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(CommandTest, DeletedLeaf) {
  for (const nc_int64 result : {nc_int64{0}, nc_int64{9}, INT64_MAX}) {
    app.On(Callback::kDelete, "descr", result);
    EXPECT_EQ(Run({{.name = "if.port.descr", .op = NC_DM_OP_DELETE}}), result);
    EXPECT_EQ(Run({{.name = "if.port.descr", .op = NC_DM_OP_REMOVE}}), result);
  }
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(CommandTest, MissingLeafValue) {
  app.On(Callback::kDelete, "descr", -7);
  EXPECT_EQ(Run({{.name = "if.port.descr", .op = NC_DM_OP_DELETE},
                 {.name = "if.port.name", .val = "eth0", .op = NC_DM_OP_DELETE}}),
            -1);
  EXPECT_EQ(Fault(), "-10 descr*");
  EXPECT_THAT(Errors(), ElementsAre("The tmp node 'descr' value has already deleted.\n"));
  EXPECT_THAT(app.calls(), SizeIs(1));

  Restart();
  NodeAt("if.port.descr")->src = NC_DM_NODE_SRC_CLI;
  EXPECT_EQ(Run({{.name = "if.port.descr", .op = NC_DM_OP_REMOVE}}), 0);
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_THAT(Errors(), IsEmpty());
  EXPECT_EQ(NodeAt("if.port.descr")->src, NC_DM_NODE_SRC_CLI);

  // It leaves the result of what went before.
  app.On(Callback::kCreate, "vlan", 5);
  EXPECT_EQ(Run({{.name = "if.port.vlan", .val = "1", .op = NC_DM_OP_MERGE},
                 {.name = "if.port.descr", .op = NC_DM_OP_REMOVE}}),
            5);
}

TEST_F(CommandTest, FailedLeafDeletionStops) {
  for (const nc_int64 result : {nc_int64{-1}, nc_int64{-8}, INT64_MIN}) {
    for (const nc_int32 op : {NC_DM_OP_DELETE, NC_DM_OP_REMOVE}) {
      Restart();
      app.On(Callback::kDelete, "descr", result);
      EXPECT_EQ(Run({{.name = "if.port.descr", .op = op},
                     {.name = "if.port.name", .val = "eth0", .op = op}}),
                -1);
      EXPECT_EQ(Fault(), "-7 descr*");
      EXPECT_THAT(Errors(), ElementsAre("Failed to delete the tmp node 'descr' value!\n"));
      EXPECT_THAT(app.calls(), SizeIs(1));
    }
  }
}

TEST_F(CommandTest, LookupTouchesNothing) {
  for (const char* leaf : {"descr", "note", "vlan", "tag", "stats"}) {
    for (const nc_int32 op : {NC_DM_OP_NONE, -1, 6}) {
      EXPECT_EQ(
          Run({{.name = std::string("if.port.") + leaf, .op = op, .defop = NC_DM_DEFOP_NONE}}), 0);
    }
  }
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_THAT(app.CallTexts(), IsEmpty());
  EXPECT_THAT(Errors(), IsEmpty());
}

// ---- Leaf-lists ----

TEST_F(CommandTest, NewValueAppearsInTheTree) {
  app.On(Callback::kCreate, "vlan", 100);
  EXPECT_EQ(RunBelow({{.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_CREATE, .ids = {3}}},
                     NC_DM_NODE_SRC_SDN),
            100);
  EXPECT_THAT(app.CallTexts(), ElementsAre("create vlan ids=[3] src=1 value=7"));
  nc_dm_agent_node_t* value = NodeAt("if.port.3.vlan.100");
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(value->node_type, NC_DM_NODE_TYPE_MULT_LEAF);
  EXPECT_EQ(value->src, NC_DM_NODE_SRC_SDN);
  EXPECT_TRUE(LoggedInfo("Can't find the multi-leaf node 'vlan' instid 100, create a new one.\n"));
}

TEST_F(CommandTest, ExistingValueTakesTheSourceUnlessItIsSdn) {
  app.On(Callback::kCreate, "vlan", [](const ModelCall& call) -> nc_int64 {
    call.output->inst_exist = 1;
    return 100;
  });
  AddInstance("if.port.3.vlan.100", NC_DM_NODE_SRC_CLI_ALW);
  EXPECT_EQ(RunBelow({{.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_MERGE}}), 100);
  EXPECT_TRUE(LoggedInfo("The multi-leaf node 'vlan' instid 100 already exists.\n"));
  EXPECT_EQ(NodeAt("if.port.3.vlan.100")->src, NC_DM_NODE_SRC_NONE);
  NodeAt("if.port.3.vlan.100")->src = NC_DM_NODE_SRC_SDN;
  EXPECT_EQ(RunBelow({{.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_REPLACE}}), 100);
  EXPECT_EQ(NodeAt("if.port.3.vlan.100")->src, NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(Fault(), "0 ");

  Restart();
  EXPECT_EQ(RunBelow({{.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_CREATE},
                      {.name = "if.port.name", .val = "x", .op = NC_DM_OP_CREATE}}),
            -1);
  EXPECT_EQ(Fault(), "-9 vlan*");
  EXPECT_THAT(Errors(), ElementsAre("The tmp node 'vlan' value '7' already exists.\n"));
  EXPECT_THAT(app.calls(), SizeIs(1));

  Restart();
  EXPECT_EQ(RunBelow({{.name = "if.port.vlan", .op = NC_DM_OP_CREATE, .ids = {3}}}), -1);
  EXPECT_THAT(Errors(), ElementsAre("The tmp node 'vlan' value '(null)' already exists.\n"));
}

TEST_F(CommandTest, ValueOfAnEntryEditStandsBelowTheList) {
  app.On(Callback::kCreate, "vlan", 100);
  EXPECT_EQ(Run({{.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_MERGE}}), 100);
  EXPECT_NE(NodeAt("if.port.vlan.100"), nullptr);
  EXPECT_EQ(NodeAt("if.port.3.vlan.100"), nullptr);
}

TEST_F(CommandTest, LeafListWithoutCreateIsPassedOver) {
  EXPECT_EQ(Run({{.name = "if.port.tag", .val = "x", .op = NC_DM_OP_MERGE}}), 0);
  EXPECT_TRUE(LoggedInfo("The tmp node 'tag' create funtion is null.\n"));
  EXPECT_EQ(Fault(), "0 ");
}

TEST_F(CommandTest, FailedCreationStops) {
  for (const nc_int64 result : {nc_int64{-1}, nc_int64{-7}, INT64_MIN}) {
    Restart();
    app.On(Callback::kCreate, "vlan", result);
    EXPECT_EQ(RunBelow({{.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_MERGE},
                        {.name = "if.port.name", .val = "x", .op = NC_DM_OP_MERGE}}),
              -1);
    EXPECT_EQ(Fault(), "-7 vlan*");
    EXPECT_THAT(Errors(), ElementsAre("Failed to create the tmp node 'vlan' value!\n"));
    EXPECT_THAT(app.calls(), SizeIs(1));
  }
}

TEST_F(CommandTest, ValueThatCannotBeMirroredStops) {
  app.On(Callback::kCreate, "vlan", 100);
  {
    const FailingCall failing(Step::kCreateNode);
    EXPECT_EQ(RunBelow({{.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_MERGE},
                        {.name = "if.port.name", .val = "x", .op = NC_DM_OP_MERGE}}),
              -1);
  }
  EXPECT_EQ(Fault(), "-7 vlan*");
  EXPECT_THAT(app.calls(), SizeIs(1));

  // Id 0 names no value: nothing is found, not even the schema, and nothing can be made.
  for (const bool with_values : {false, true}) {
    Restart();
    if (with_values) AddInstance("if.port.3.vlan.100");
    app.On(Callback::kCreate, "vlan", nc_int64{0});
    EXPECT_EQ(
        RunBelow({{.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_MERGE}}, NC_DM_NODE_SRC_SDN),
        -1);
    EXPECT_EQ(Fault(), "-7 vlan*");
    EXPECT_EQ(NodeAt("if.port.3.vlan")->src, NC_DM_NODE_SRC_NONE);
  }
}

TEST_F(CommandTest, AnyPositiveIdIsAValue) {
  app.On(Callback::kCreate, "vlan", INT64_MAX);
  EXPECT_EQ(RunBelow({{.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_MERGE}}), INT64_MAX);
  EXPECT_NE(NodeAt("if.port.3.vlan.9223372036854775807"), nullptr);
}

TEST_F(CommandTest, DeletedValueGoesFromTheTree) {
  AddInstance("if.port.3.vlan.100");
  AddInstance("if.port.3.vlan.200");
  app.On(Callback::kDelete, "vlan", 100);
  EXPECT_EQ(RunBelow({{.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_DELETE, .ids = {3}}}),
            100);
  EXPECT_THAT(app.CallTexts(), ElementsAre("delete vlan ids=[3] src=0 value=7"));
  EXPECT_EQ(NodeAt("if.port.3.vlan.100"), nullptr);
  EXPECT_NE(NodeAt("if.port.3.vlan.200"), nullptr);
  EXPECT_TRUE(LoggedInfo("Found the multi-leaf node 'vlan' instid 100, delete.\n"));
}

TEST_F(CommandTest, DeletionThatNamesNoValueRemovesNothing) {
  for (const bool with_values : {false, true}) {
    if (with_values) AddInstance("if.port.3.vlan.200");
    const auto before = TreeSources();
    for (const nc_int64 result : {nc_int64{0}, nc_int64{3}, nc_int64{100}, INT64_MAX}) {
      app.On(Callback::kDelete, "vlan", result);
      EXPECT_EQ(RunBelow({{.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_DELETE}}), result);
      EXPECT_EQ(TreeSources(), before);
    }
  }
  EXPECT_EQ(Fault(), "0 ");
}

TEST_F(CommandTest, MissingValueFailsForDeleteAlone) {
  app.On(Callback::kDelete, "vlan", -7);
  EXPECT_EQ(RunBelow({{.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_DELETE},
                      {.name = "if.port.name", .val = "x", .op = NC_DM_OP_MERGE}}),
            -1);
  EXPECT_EQ(Fault(), "-10 vlan*");
  EXPECT_THAT(Errors(), ElementsAre("Failed to delete the tmp node 'vlan' value!\n",
                                    "The tmp node 'vlan' value '7' doesn't exist.\n"));
  EXPECT_THAT(app.calls(), SizeIs(1));

  Restart();
  EXPECT_EQ(RunBelow({{.name = "if.port.vlan", .op = NC_DM_OP_DELETE}}), -1);
  EXPECT_TRUE(LoggedError("The tmp node 'vlan' value '(null)' doesn't exist.\n"));

  Restart();
  app.On(Callback::kDelete, "descr", 9);
  EXPECT_EQ(RunBelow({{.name = "if.port.descr", .op = NC_DM_OP_REMOVE},
                      {.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_REMOVE}}),
            9);
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_THAT(Errors(), ElementsAre("Failed to delete the tmp node 'vlan' value!\n"));
}

TEST_F(CommandTest, FailedValueDeletionStops) {
  for (const nc_int32 op : {NC_DM_OP_DELETE, NC_DM_OP_REMOVE}) {
    Restart();
    app.On(Callback::kDelete, "vlan", -1);
    EXPECT_EQ(RunBelow({{.name = "if.port.vlan", .val = "7", .op = op},
                        {.name = "if.port.name", .val = "x", .op = NC_DM_OP_MERGE}}),
              -1);
    EXPECT_EQ(Fault(), "-7 vlan*");
    EXPECT_THAT(app.calls(), SizeIs(1));
  }
  Restart();
  EXPECT_EQ(RunBelow({{.name = "if.port.tag", .val = "x", .op = NC_DM_OP_DELETE}}), -1);
  EXPECT_EQ(Fault(), "-7 tag*");
  EXPECT_THAT(Errors(), ElementsAre("The tmp node 'tag' delete funtion is null.\n"));
}

// Without its schema node a leaf-list is addressed through its first value, which may be the one
// that goes.
TEST_F(CommandTest, AddressedValueMayGoItself) {
  AddInstance("if.port.3.vlan.100");
  AddInstance("if.port.3.vlan.200");
  nc_dm_agent_unreg_nodes(NodeAt("if.port.3.vlan"));
  app.On(Callback::kDelete, "vlan",
         [](const ModelCall& call) -> nc_int64 { return call.value == "1" ? 100 : 200; });
  EXPECT_EQ(RunBelow({{.name = "if.port.vlan", .val = "1", .op = NC_DM_OP_DELETE},
                      {.name = "if.port.vlan", .val = "2", .op = NC_DM_OP_DELETE}}),
            200);
  EXPECT_EQ(NodeAt("if.port.3.vlan.100"), nullptr);
  EXPECT_EQ(NodeAt("if.port.3.vlan.200"), nullptr);
}

// ---- Containers ----

TEST_F(CommandTest, DeletedContainerIsEmptied) {
  for (const nc_int32 op : {NC_DM_OP_DELETE, NC_DM_OP_REMOVE}) {
    Restart();
    EXPECT_EQ(RunBelow({{.name = "if.port.stats", .op = op, .ids = {3}}}, NC_DM_NODE_SRC_SDN), 0);
    EXPECT_THAT(app.CallTexts(), ElementsAre("delete rx ids=[3] src=1 value="));
    EXPECT_TRUE(LoggedInfo("Begin to delete single object node children.\n"));
  }
  for (const nc_int32 op : {NC_DM_OP_NONE, NC_DM_OP_MERGE, NC_DM_OP_REPLACE, NC_DM_OP_CREATE, 6}) {
    Restart();
    EXPECT_EQ(RunBelow({{.name = "if.port.stats", .op = op}}), 0);
    EXPECT_THAT(app.CallTexts(), IsEmpty());
    EXPECT_FALSE(LoggedInfo("Begin to delete single object node children.\n"));
  }
}

TEST_F(CommandTest, EmptiedContainerLeavesTheResult) {
  app.On(Callback::kDelete, "descr", 9);
  EXPECT_EQ(RunBelow({{.name = "if.port.descr", .op = NC_DM_OP_DELETE},
                      {.name = "if.port.stats", .op = NC_DM_OP_DELETE}}),
            9);
}

TEST_F(CommandTest, ContainerThatIsNotEmptiedEndsAllWithoutTheCommand) {
  app.On(Callback::kDelete, "rx", -1);
  EXPECT_EQ(RunBelow({{.name = "if.port.name", .val = "x", .op = NC_DM_OP_MERGE},
                      {.name = "if.port.stats", .op = NC_DM_OP_DELETE},
                      {.name = "if.port.descr", .val = "x", .op = NC_DM_OP_MERGE}}),
            -1);
  EXPECT_EQ(Fault(), "-7 rx*");
  EXPECT_THAT(Errors(), ElementsAre("Failed to delete the leaf node 'rx'!\n",
                                    "Failed to delete all children of node 'stats'!\n",
                                    "There is a new fault occurred!\n"));
  EXPECT_THAT(app.calls(), SizeIs(1));

  // A failure that sets no fault of its own ends it all the same, also with continue-on-error.
  Restart();
  EXPECT_EQ(RunBelow({{.name = "if.port.stats",
                       .op = NC_DM_OP_DELETE,
                       .erropt = NC_DM_ERROPT_CONTINUE,
                       .ids = Ids(16, 3)},
                      {.name = "if.port.descr", .val = "x", .op = NC_DM_OP_MERGE}}),
            -1);
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(CommandTest, ContainerGoesOnAfterErrorsWhenAskedTo) {
  app.On(Callback::kDelete, "rx", -1);
  EXPECT_EQ(
      RunBelow({{.name = "if.port.stats", .op = NC_DM_OP_DELETE, .erropt = NC_DM_ERROPT_CONTINUE},
                {.name = "if.port.name", .val = "x", .op = NC_DM_OP_MERGE}}),
      -1);
  EXPECT_EQ(Fault(), "-7 rx*");
  EXPECT_THAT(app.CallTexts(), ElementsAre("delete rx ids=[] src=0 value=",
                                           "exe_cmd name ids=[] src=0 op=3 slots={1:x}"));
}

// ---- Elements that fail ----

TEST_F(CommandTest, UnknownChildStops) {
  // A list's name addresses no leaf either.
  for (const char* name : {"none", "sub"}) {
    Restart();
    EXPECT_EQ(Run({{.name = std::string("if.port.") + name, .op = NC_DM_OP_MERGE},
                   {.name = "if.port.name", .val = "x", .op = NC_DM_OP_MERGE}}),
              -1);
    EXPECT_EQ(Fault(), std::string("-13 ") + name + "*");
    EXPECT_THAT(
        Errors(),
        ElementsAre(
            std::string("Current parent node 'port' has no children match the edit node '") + name +
            "'\n"));
    EXPECT_THAT(app.CallTexts(), IsEmpty());
  }
}

TEST_F(CommandTest, LeafBehindAListOfItsName) {
  app.Register({.path = "if.line.{i}.id", .flag = 1});
  app.Register({.path = "if.line.5", .callbacks = 0u | Callback::kSet});
  ASSERT_EQ(NodeAt("if.line")->node_type, NC_DM_NODE_TYPE_MULT_MODE);
  AddInstance("if.line.3");
  EXPECT_EQ(Run({{.name = "if.line", .val = "x", .op = NC_DM_OP_MERGE}}, NC_DM_CMD_OP_EDIT,
                NC_DM_NODE_SRC_SDN, "if"),
            0);
  EXPECT_THAT(app.CallTexts(), ElementsAre("set 5 ids=[] src=1 value=x"));
  EXPECT_EQ(NodeAt("if.line.5")->src, NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(NodeAt("if.line")->src, NC_DM_NODE_SRC_NONE);
}

TEST_F(CommandTest, UnknownChildIsPassedOverWhenAskedTo) {
  EXPECT_EQ(Run({{.name = "if.port.none", .op = NC_DM_OP_MERGE, .erropt = NC_DM_ERROPT_CONTINUE},
                 {.name = "if.port.descr", .val = "x", .op = NC_DM_OP_MERGE},
                 {.name = "if.port.name", .val = "x", .op = NC_DM_OP_MERGE}}),
            -1);
  EXPECT_EQ(Fault(), "-13 none*");
  EXPECT_TRUE(LoggedInfo("The edit node 'none' error option is 'continue-on-error'.\n"));
  EXPECT_TRUE(LoggedError("There is a new fault occurred!\n"));
  EXPECT_THAT(app.CallTexts(), ElementsAre("set descr ids=[] src=0 value=x",
                                           "exe_cmd name ids=[] src=0 op=1 slots={1:x}"));
}

TEST_F(CommandTest, ElementWithoutAName) {
  ModelEdits edits{{.name = "if..port", .op = NC_DM_OP_MERGE, .erropt = NC_DM_ERROPT_CONTINUE}};
  EXPECT_EQ(Run(edits, NC_DM_CMD_OP_MERGE), -1);
  EXPECT_EQ(Fault(), "-13 *");
  EXPECT_TRUE(
      LoggedError("Current parent node 'port' has no children match the edit node '(null)'\n"));
  EXPECT_TRUE(LoggedInfo("The edit node '(null)' error option is 'continue-on-error'.\n"));
}

TEST_F(CommandTest, ElementWithoutAnEditIsPassedOver) {
  ModelEdits edits{{.name = "if.port.name", .val = "x", .op = NC_DM_OP_MERGE},
                   {.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE},
                   {.name = "if.port.speed", .val = "2", .op = NC_DM_OP_MERGE}};
  edits.WithNames();
  nc_dm_stub_edit_t* edit = std::exchange(edits.at(1)->edit, nullptr);
  EXPECT_EQ(nc_dm_agent_edit_execmd(NodeAt("if.port"), edits.get(), 1, &fault, NC_DM_NODE_SRC_NONE),
            1);
  edits.at(1)->edit = edit;
  EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[] src=0 op=1 slots={1:x, 63:2}"));
  EXPECT_TRUE(LoggedError("The edit_node->edit is null!\n"));
}

TEST_F(CommandTest, ValueThatCannotBeConvertedStops) {
  for (const char* value : {"x", "2147483648"}) {
    Restart();
    EXPECT_EQ(Run({{.name = "if.port.mtu", .val = value, .op = NC_DM_OP_MERGE},
                   {.name = "if.port.name", .val = "x", .op = NC_DM_OP_MERGE}}),
              -1);
    EXPECT_EQ(Fault(), "-11 mtu*");
    EXPECT_TRUE(LoggedError("Failed to unserialize tmp node 'mtu' value!\n"));
    EXPECT_FALSE(LoggedError("There is a new fault occurred!\n"));
    EXPECT_THAT(app.CallTexts(), IsEmpty());
  }
  Restart();
  EXPECT_EQ(Run({{.name = "if.port.mtu",
                  .val = "x",
                  .op = NC_DM_OP_MERGE,
                  .erropt = NC_DM_ERROPT_CONTINUE},
                 {.name = "if.port.name", .val = "x", .op = NC_DM_OP_MERGE}}),
            -1);
  EXPECT_EQ(Fault(), "-11 mtu*");
  EXPECT_TRUE(LoggedInfo("The edit node 'mtu' error option is 'continue-on-error'.\n"));
  EXPECT_TRUE(LoggedError("There is a new fault occurred!\n"));
  EXPECT_THAT(app.calls(), SizeIs(1));
}

// The conversions refuse every number as long as errno says that one was out of range.
TEST_F(CommandTest, RefusedNumberDoesNotSpoilTheNext) {
  EXPECT_EQ(Run({{.name = "if.port.mtu",
                  .val = "2147483648",
                  .op = NC_DM_OP_MERGE,
                  .erropt = NC_DM_ERROPT_CONTINUE},
                 {.name = "if.port.mtu", .val = "7", .op = NC_DM_OP_MERGE},
                 {.name = "if.port.speed", .val = "8", .op = NC_DM_OP_MERGE}}),
            -1);
  EXPECT_EQ(Fault(), "-11 mtu*");
  EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[] src=0 op=1 slots={2:7, 63:8}"));
}

TEST_F(CommandTest, WhatACallbackLeavesInErrnoRefusesNoNumber) {
  app.On(Callback::kSet, "descr", [](const ModelCall&) -> nc_int64 {
    errno = ERANGE;
    return 0;
  });
  EXPECT_EQ(Run({{.name = "if.port.descr", .val = "x", .op = NC_DM_OP_MERGE},
                 {.name = "if.port.mtu", .val = "7", .op = NC_DM_OP_MERGE}}),
            1);
  EXPECT_EQ(Fault(), "0 ");
}

TEST_F(CommandTest, EveryFailureMayBePassedOver) {
  app.On(Callback::kSet, "descr", -1);
  app.On(Callback::kCreate, "vlan", -1);
  app.On(Callback::kDelete, "mtu", -7);
  const nc_int32 go_on = NC_DM_ERROPT_CONTINUE;
  EXPECT_EQ(RunBelow({{.name = "if.port.descr", .val = "x", .op = NC_DM_OP_MERGE, .erropt = go_on},
                      {.name = "if.port.note", .op = NC_DM_OP_DELETE, .erropt = go_on},
                      {.name = "if.port.vlan", .val = "1", .op = NC_DM_OP_MERGE, .erropt = go_on},
                      {.name = "if.port.tag", .val = "1", .op = NC_DM_OP_DELETE, .erropt = go_on},
                      {.name = "if.port.mtu", .op = NC_DM_OP_DELETE, .erropt = go_on},
                      {.name = "if.port.name", .val = "x", .op = NC_DM_OP_MERGE}}),
            -1);
  EXPECT_EQ(Fault(), "-10 mtu*");  // the last one
  EXPECT_THAT(
      app.CallTexts(),
      ElementsAre("set descr ids=[] src=0 value=x", "create vlan ids=[] src=0 value=1",
                  "delete mtu ids=[] src=0 value=0", "exe_cmd name ids=[] src=0 op=2 slots={1:x}"));
  EXPECT_TRUE(LoggedError("There is a new fault occurred!\n"));
}

TEST_F(CommandTest, ErrorOptionIsEachElementsOwn) {
  app.On(Callback::kSet, "descr", -1);
  for (const nc_int32 erropt : {-1, 0, 1, 3}) {
    app.Forget();
    EXPECT_EQ(Run({{.name = "if.port.name",
                    .val = "x",
                    .op = NC_DM_OP_MERGE,
                    .erropt = NC_DM_ERROPT_CONTINUE},
                   {.name = "if.port.descr", .val = "x", .op = NC_DM_OP_MERGE, .erropt = erropt}}),
              -1);
    EXPECT_THAT(app.CallTexts(), ElementsAre("set descr ids=[] src=0 value=x"));
  }
}

// ---- Timing ----

TEST_F(CommandTest, EachKindOfCallIsTimedWhileTheBitIsSet) {
  const auto spin = Busy(0);
  struct {
    Callback callback;
    nc_int32 op;
    const char* leaf;
    const char* edited;
    double* total;
  } const cases[] = {
      {Callback::kSet, NC_DM_OP_MERGE, "descr", "descr", &g_nc_dm_mng_info.set_time},
      {Callback::kDelete, NC_DM_OP_DELETE, "descr", "descr", &g_nc_dm_mng_info.del_time},
      {Callback::kDelete, NC_DM_OP_DELETE, "vlan", "vlan", &g_nc_dm_mng_info.del_time},
      {Callback::kDelete, NC_DM_OP_DELETE, "rx", "stats", &g_nc_dm_mng_info.del_time},
      {Callback::kCreate, NC_DM_OP_MERGE, "vlan", "vlan", &g_nc_dm_mng_info.crt_time},
      {Callback::kExeCmd, NC_DM_OP_MERGE, "name", "name", &g_nc_dm_mng_info.exe_time},
  };
  double* const totals[] = {&g_nc_dm_mng_info.set_time, &g_nc_dm_mng_info.del_time,
                            &g_nc_dm_mng_info.crt_time, &g_nc_dm_mng_info.exe_time};
  for (const auto& c : cases) {
    app.On(c.callback, c.leaf, spin);
    for (double* total : totals) *total = 0;
    const std::string name = std::string("if.port.") + c.edited;
    {
      const DebugMask off(0);
      Run({{.name = name, .val = "1", .op = c.op}});
      for (const double* total : totals) EXPECT_EQ(*total, 0);
    }
    const DebugMask on(NC_DM_DBG_TIMING);
    Run({{.name = name, .val = "1", .op = c.op}});
    for (const double* total : totals) {
      if (total == c.total) {
        EXPECT_GT(*total, 0);
        EXPECT_LT(*total, 100);
      } else {
        EXPECT_EQ(*total, 0) << name;
      }
    }
  }
  for (double* total : totals) *total = 0;
}

// ---- The closed log ----

TEST_F(CommandTest, NothingIsLoggedThroughAClosedMask) {
  AddInstance("if.port.3.vlan.100");
  LogCapture::Get().Clear();
  const DebugMask closed(0);
  const nc_int32 go_on = NC_DM_ERROPT_CONTINUE;
  ModelEdits none;
  EXPECT_EQ(nc_dm_agent_edit_execmd(nullptr, none.get(), 1, &fault, NC_DM_NODE_SRC_NONE), -1);
  EXPECT_EQ(nc_dm_agent_edit_execmd(NodeAt("if"), nullptr, 1, &fault, NC_DM_NODE_SRC_NONE), -1);
  EXPECT_EQ(Run(none, 1), -1);
  ModelEdits edits{{.name = "if.port.name", .val = "x", .op = NC_DM_OP_MERGE},
                   {.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE}};
  EXPECT_EQ(nc_dm_agent_edit_execmd(NodeAt("if.port"), edits.WithNames().get(), 1, nullptr,
                                    NC_DM_NODE_SRC_NONE),
            -1);
  for (const int place : {0, 1}) {
    nc_dm_stub_edit_t* edit = std::exchange(edits.at(place)->edit, nullptr);
    EXPECT_EQ(Run(edits, 1), place == 0 ? -1 : 1);
    edits.at(place)->edit = edit;
  }
  for (const nc_int64 result : {nc_int64{100}, nc_int64{-7}, nc_int64{-1}, nc_int64{500}}) {
    app.On(Callback::kSet, "descr", result < 0 ? -1 : 0);
    app.On(Callback::kDelete, "descr", result);
    app.On(Callback::kDelete, "rx", result);
    app.On(Callback::kCreate, "vlan", result);
    app.On(Callback::kDelete, "vlan", result);
    app.On(Callback::kExeCmd, "name", result);
    for (const nc_int32 op : {NC_DM_OP_MERGE, NC_DM_OP_DELETE, NC_DM_OP_REMOVE}) {
      const nc_int64 expected = op == NC_DM_OP_MERGE && result > 0 ? result : -1;
      EXPECT_EQ(RunBelow({{.name = "if.port.descr", .val = "x", .op = op, .erropt = go_on},
                          {.name = "if.port.vlan", .val = "1", .op = op, .erropt = go_on},
                          {.name = "if.port.note", .val = "x", .op = op, .erropt = go_on},
                          {.name = "if.port.tag", .val = "x", .op = op, .erropt = go_on},
                          {.name = "if.port.since", .val = "2024-1-1T1:1:1", .op = NC_DM_OP_MERGE},
                          {.name = "if.port.name", .val = "x", .op = NC_DM_OP_MERGE}}),
                expected)
          << op << " " << result;
      EXPECT_EQ(RunBelow({{.name = "if.port.stats", .op = op}}),
                op == NC_DM_OP_MERGE || result >= 0 ? 0 : -1);
      EXPECT_EQ(Run({{.name = "if.port.none", .op = op, .erropt = go_on},
                     {.name = "if.port.mtu", .val = "x", .op = op, .erropt = go_on},
                     {.name = "if.port.name", .val = "x", .op = op}}),
                -1);
    }
  }
  EXPECT_THAT(LogCapture::Get().Texts(), IsEmpty());
}

// ---- Slots, keys and faults ----

// An entry net.if.3 with slotted leaves, leaves of their own and leaf-lists.
class CommandRulesTest : public EditTest {
 protected:
  CommandRulesTest() {
    app.Register({.path = "net.if.{i}.name",
                  .flag = NC_DM_FLAG_KEY,
                  .index = 1,
                  .callbacks = Callback::kExeCmd | Callback::kDelete});
    app.Register({.path = "net.if.{i}.mtu", .type = NC_DM_VAL_TYPE_INT, .index = 2});
    app.Register({.path = "net.if.{i}.desc", .callbacks = Callback::kSet | Callback::kDelete});
    app.Register(
        {.path = "net.if.{i}.alias", .flag = NC_DM_FLAG_KEY, .callbacks = 0u | Callback::kSet});
    app.Register({.path = "net.if.{i}.admin",
                  .type = NC_DM_VAL_TYPE_BOOL,
                  .callbacks = Callback::kSet | Callback::kDelete});
    app.Register({.path = "net.if.{i}.tag",
                  .flag = NC_DM_FLAG_LEAF_LIST,
                  .index = 7,
                  .callbacks = Callback::kCreate | Callback::kDelete});
    AddInstance("net.if.3");
    app.On(Callback::kExeCmd, "name", 30);
    LogCapture::Get().Clear();
  }

  nc_int64 Run(std::initializer_list<ModelEdit> list, int cmd_op = NC_DM_CMD_OP_EDIT) {
    ModelEdits edits(list);
    fault = {};
    app.Forget();
    return nc_dm_agent_edit_execmd(NodeAt("net.if.3"), edits.WithNames().get(), cmd_op, &fault,
                                   NC_DM_NODE_SRC_CLI);
  }

  static ModelEdit Of(const std::string& leaf, const char* val, nc_int32 op = 1,
                      nc_int32 erropt = 0) {
    return {.name = "net.if.{i}." + leaf, .val = val, .op = op, .erropt = erropt, .ids = {3}};
  }
};

TEST_F(CommandRulesTest, SlotsOfAnEntryWithoutACommandGoNowhere) {
  NodeAt("net.if.3")->exe_cmd = nullptr;
  EXPECT_EQ(Run({Of("mtu", "1500")}), 0);
  EXPECT_TRUE(LoggedInfo("The node 'if' exe_cmd is null.\n"));
  EXPECT_FALSE(LoggedInfo("The node 'if' padb no var flag is set.\n"));
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(CommandRulesTest, EveryCommandButAnEditTakesTheSlotsOfWhatIsDeleted) {
  for (const int cmd_op : {NC_DM_CMD_OP_DELETE, NC_DM_CMD_OP_CREATE}) {
    for (nc_int32 op = 0; op <= 6; ++op) {
      EXPECT_EQ(Run({Of("name", "eth0", op)}, cmd_op), 30);
      EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[3] src=2 op=" +
                                               std::to_string(cmd_op) + " slots={1:eth0}"));
    }
  }
}

TEST_F(CommandRulesTest, ALeafListHasNoSlotWhateverItsIndex) {
  app.On(Callback::kCreate, "tag", 6);
  for (const int cmd_op : {NC_DM_CMD_OP_MERGE, NC_DM_CMD_OP_EDIT}) {
    EXPECT_EQ(Run({Of("tag", "t")}, cmd_op), 6);
    EXPECT_THAT(app.CallTexts(), ElementsAre("create tag ids=[3] src=2 value=t"));
  }
}

TEST_F(CommandRulesTest, AKeyLeafWithoutASlotIsSetAsAnyOther) {
  EXPECT_EQ(Run({Of("alias", "a")}), 0);
  EXPECT_THAT(app.CallTexts(), ElementsAre("set alias ids=[3] src=2 value=a"));
}

TEST_F(CommandRulesTest, TheIdsOfTheCommandAreThoseOfTheFirstEditAlsoNone) {
  ModelEdit bare = Of("mtu", "1");
  bare.ids = {};
  EXPECT_EQ(Run({bare, Of("name", "eth0")}), 30);
  EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[] src=2 op=3 slots={1:eth0, 2:1}"));
}

TEST_F(CommandRulesTest, ADeletedSlotTurnsTheCommandEvenWhenNothingWasThere) {
  app.On(Callback::kDelete, "name", -7);
  EXPECT_EQ(Run({Of("name", nullptr, 5), Of("mtu", "1")}), 30);
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_THAT(app.CallTexts(), ElementsAre("delete name ids=[3] src=2 value=",
                                           "exe_cmd name ids=[3] src=2 op=2 slots={2:1}"));
  EXPECT_EQ(NodeAt("net.if.3.name")->src, NC_DM_NODE_SRC_NONE);
  EXPECT_EQ(NodeAt("net.if.3.mtu")->src, NC_DM_NODE_SRC_NONE);
}

TEST_F(CommandRulesTest, AValueIsConvertedAlsoWhenItIsOnlyLookedUp) {
  EXPECT_EQ(Run({{.name = "net.if.admin", .val = "yes", .op = 0, .defop = 3}}), -1);
  EXPECT_EQ(Fault(), "-11 admin*");
}

TEST_F(CommandRulesTest, AnEditWhoseValueIsRefusedStillGivesTheOperation) {
  app.On(Callback::kExeCmd, "name", -7);
  EXPECT_EQ(
      Run({Of("name", "eth0", 1), Of("mtu", "x", 4, NC_DM_ERROPT_CONTINUE)}, NC_DM_CMD_OP_DELETE),
      -1);
  EXPECT_EQ(Fault(), "-10 if*");
}

TEST_F(CommandRulesTest, TheCommandsFaultIsTheLast) {
  app.On(Callback::kSet, "desc", -1);
  app.On(Callback::kExeCmd, "name", -3);
  EXPECT_EQ(
      Run({Of("desc", "d", 1, NC_DM_ERROPT_CONTINUE), Of("mtu", "1", 1, NC_DM_ERROPT_CONTINUE)}),
      -1);
  EXPECT_EQ(Fault(), "-7 if*");
  app.On(Callback::kExeCmd, "name", 30);
  EXPECT_EQ(
      Run({Of("desc", "d", 1, NC_DM_ERROPT_CONTINUE), Of("mtu", "1", 1, NC_DM_ERROPT_CONTINUE)}),
      -1);
  EXPECT_EQ(Fault(), "-7 desc*");
}

TEST_F(CommandRulesTest, ASlotCutsALongTextAndASetDoesNot) {
  const std::string text(300, 'x');
  EXPECT_EQ(Run({Of("name", text.c_str()), Of("desc", text.c_str())}), 30);
  ASSERT_EQ(app.calls().size(), 2u);
  EXPECT_EQ(app.calls()[0].value, text);
  EXPECT_EQ(app.calls()[1].slots.at(1), text.substr(0, 256));
}

using ElementZeroTest = EditTest;

TEST_F(ElementZeroTest, IdZeroIsNoFailureOfTheCreation) {
  app.Register({.path = "if.port.{i}.vlan.{i}",
                .type = NC_DM_VAL_TYPE_INT,
                .flag = NC_DM_FLAG_LEAF_LIST,
                .callbacks = 0u | Callback::kCreate});
  AddInstance("if.port.3");
  app.On(Callback::kCreate, "vlan", nc_int64{0});
  ModelEdits edits{{.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_MERGE}};
  EXPECT_EQ(nc_dm_agent_edit_execmd(NodeAt("if.port.3"), edits.WithNames().get(), NC_DM_CMD_OP_EDIT,
                                    &fault, NC_DM_NODE_SRC_NONE),
            -1);
  EXPECT_FALSE(LoggedError("Failed to create the tmp node 'vlan' value!\n"));
  EXPECT_EQ(Fault(), "-7 vlan*");
}

// ---- The block that a command is handed ----

using RequestBlockTest = EditTest;

TEST_F(RequestBlockTest, ABlockHangsFromItsNodeDuringTheCallbackAlone) {
  app.Register({.path = "net.if.{i}.name",
                .flag = NC_DM_FLAG_KEY,
                .index = 1,
                .callbacks = Callback::kGetAttr | Callback::kExeCmd});
  app.Register({.path = "net.if.{i}.mtu", .type = NC_DM_VAL_TYPE_INT, .index = 2});
  int looks = 0;
  const auto look = [&looks](const ModelCall& call) {
    EXPECT_EQ(NodeAt("net.if")->padb, call.padb);
    EXPECT_EQ(call.padb->string_var_flag, 1 << 1);
    if (call.callback == Callback::kExeCmd) {
      EXPECT_EQ(call.padb->ulong_var_flag, 1 << 2);
      EXPECT_EQ(call.padb->ulong_var[2], 0xFFFFFFFFFFFFFFF7u);  // -9, whole
    } else {
      call.output->instid = 1;
    }
    ++looks;
    return 1;
  };
  app.On(Callback::kGetAttr, "name", look);
  app.On(Callback::kExeCmd, "name", look);
  for (const nc_int32 defop : {0, 3}) {
    ModelEdits edits({{.name = "net.if.{i}.mtu", .val = "-9", .defop = defop},
                      {.name = "net.if.{i}.name", .val = "eth0", .defop = defop, .flag = 1}});
    EXPECT_EQ(nc_dm_agent_edit_object(6, edits.get(), &fault), 1);
    EXPECT_THAT(DataBlocks(), IsEmpty());
  }
  EXPECT_EQ(looks, 2);
}

}  // namespace
}  // namespace ncdm_test
