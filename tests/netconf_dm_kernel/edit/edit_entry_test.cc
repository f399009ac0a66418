// Edit of one list entry: which way it goes, and what becomes of the tree.

#include <string.h>

#include <string>
#include <utility>

#include "netconf_dm_kernel/edit/edit_fixture.h"
#include "netconf_dm_kernel/edit/failing_calls.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr nc_int32 kKey = NC_DM_FLAG_KEY;

class EntryEditTest : public EditTest {
 protected:
  nc_int64 Edit(ModelEdits& edits, nc_int32 pkt_type = NC_DM_PKT_TYPE_OBJECT_END) {
    return nc_dm_agent_edit_object(pkt_type, edits.get(), &fault);
  }
  nc_int64 Edit(std::initializer_list<ModelEdit> list,
                nc_int32 pkt_type = NC_DM_PKT_TYPE_OBJECT_END) {
    ModelEdits edits(list);
    return Edit(edits, pkt_type);
  }
};

// net.vrf is created and deleted through callbacks, net.port through a command; routes hang below a
// vrf.
class ObjectTest : public EntryEditTest {
 protected:
  ObjectTest() {
    app.Register({.path = "net.name", .callbacks = 0u | Callback::kSet});
    app.Register({.path = "net.vrf.{i}.name",
                  .flag = 1,
                  .callbacks = Callback::kCreate | Callback::kDelete | Callback::kGet});
    app.Register({.path = "net.vrf.{i}.mtu"});
    app.Register({.path = "net.port.{i}.id",
                  .flag = 1,
                  .index = 1,
                  .callbacks = Callback::kExeCmd | Callback::kCreate | Callback::kGetAttr});
    app.Register({.path = "net.vrf.{i}.route.{i}.prefix",
                  .flag = 1,
                  .callbacks = Callback::kCreate | Callback::kDelete});
    app.Register({.path = "net.bare.{i}.mtu"});
    app.Register({.path = "net.dns.{i}", .flag = 4, .callbacks = 0u | Callback::kCreate});
    LogCapture::Get().Clear();
  }

  void Restart() {
    app.Forget();
    LogCapture::Get().Clear();
    fault = {};
  }
};

// ---- Arguments ----

TEST_F(ObjectTest, RefusesWhatIsMissing) {
  ModelEdits none;
  ModelEdits no_key{{.name = "net.vrf.name", .val = "red"}};
  ModelEdits edits{{.name = "net.vrf.name", .val = "red", .flag = kKey}};
  EXPECT_EQ(nc_dm_agent_edit_object(6, nullptr, &fault), -1);
  EXPECT_EQ(Edit(none), -1);
  EXPECT_EQ(Edit(no_key), -1);
  EXPECT_EQ(nc_dm_agent_edit_object(6, edits.get(), nullptr), -1);
  EXPECT_THAT(Errors(),
              ElementsAre("The edit list input is null!\n", "The edit list input is empty!\n",
                          "The key list of edit list input is empty!\n",
                          "The fault pointer input is null!\n"));
  EXPECT_EQ(Fault(), "0 ");
}

TEST_F(ObjectTest, FirstKeyMustHaveAnEdit) {
  ModelEdits edits{{.name = "net.vrf.name", .val = "red", .flag = kKey}};
  nc_dm_stub_edit_t* edit = std::exchange(edits.at(0)->edit, nullptr);
  memcpy(fault.path, "before", sizeof("before"));
  EXPECT_EQ(Edit(edits), -1);
  EXPECT_EQ(Fault(), "-7 before");  // the code alone, which is no new fault
  EXPECT_TRUE(LoggedInfo("The first edit_node->edit of list is null!\n"));
  EXPECT_THAT(Errors(), IsEmpty());
  edits.at(0)->edit = edit;
}

// ---- The way to the list ----

TEST_F(ObjectTest, PathThatIsNotInTheTree) {
  for (const char* path : {"sys.vrf.name", "net.none.name", "net..name", "{i}"}) {
    Restart();
    EXPECT_EQ(Edit({{.name = path, .val = "red", .op = NC_DM_OP_MERGE, .flag = kKey}}), -1) << path;
    EXPECT_EQ(Fault(), "-7 ");
    EXPECT_TRUE(LoggedError("Failed to check the path nodes creation.\n"));
  }
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(ObjectTest, PathThatEndsInAnExistingLeaf) {
  EXPECT_EQ(Edit({{.name = "net.name", .val = "x", .op = NC_DM_OP_MERGE, .flag = kKey}}), 0);
  EXPECT_EQ(Fault(), "-7 ");
  EXPECT_TRUE(LoggedInfo("The last node match is leaf node, the instance already exists.\n"));
  AddInstance("net.vrf.3");
  AddInstance("net.vrf.3.route.4");
  EXPECT_EQ(
      Edit({{.name = "net.vrf.name", .val = "x", .op = NC_DM_OP_MERGE, .flag = kKey, .ids = {3}}}),
      3);
  EXPECT_EQ(Edit({{.name = "net.vrf.route.prefix",
                   .val = "x",
                   .op = NC_DM_OP_DELETE,
                   .flag = kKey,
                   .ids = {3, 4}}}),
            4);
  EXPECT_EQ(Fault(), "-7 ");
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(ObjectTest, ListThatHasNoModeNode) {
  // The path goes on below something that is no list.
  EXPECT_EQ(Edit({{.name = "net.vrf", .val = "x", .op = NC_DM_OP_MERGE, .flag = kKey}}), -1);
  EXPECT_EQ(Fault(), "-7 net*");
  EXPECT_TRUE(LoggedError("Failed to get key parent mode node!\n"));
}

TEST_F(ObjectTest, EntriesOnTheWayAreCreated) {
  app.On(Callback::kCreate, "prefix", 9);
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.route.{i}.prefix",
                   .val = "10/8",
                   .op = NC_DM_OP_MERGE,
                   .flag = kKey,
                   .ids = {5}}}),
            9);
  EXPECT_THAT(app.CallTexts(), ElementsAre("create prefix ids=[5] src=0 value=10/8"));
  EXPECT_NE(NodeAt("net.vrf.5.route.9.prefix"), nullptr);
  EXPECT_TRUE(LoggedInfo("The key grandfather is 'vrf', instid is 5.\n"));
  EXPECT_EQ(Fault(), "0 ");
}

// ---- Who carries it out ----

TEST_F(ObjectTest, CommandOrCallbackByPacketTypeAndList) {
  const auto edit = [this](const char* path, nc_int32 pkt_type) {
    app.Forget();
    Edit({{.name = path, .val = "x", .op = NC_DM_OP_MERGE, .flag = kKey}}, pkt_type);
    return app.CallTexts();
  };
  EXPECT_THAT(edit("net.port.id", 6), ElementsAre("exe_cmd id ids=[] src=0 op=1 slots={1:x}"));
  EXPECT_THAT(edit("net.port.id", 8), ElementsAre("exe_cmd id ids=[] src=0 op=1 slots={1:x}"));
  EXPECT_THAT(edit("net.port.id", 5), ElementsAre("create id ids=[] src=0 value=x"));
  EXPECT_THAT(edit("net.port.id", 7), ElementsAre("create id ids=[] src=0 value=x"));
  EXPECT_THAT(edit("net.vrf.name", 6), ElementsAre("create name ids=[] src=0 value=x"));
  EXPECT_THAT(edit("net.vrf.name", 8), IsEmpty());
  EXPECT_TRUE(LoggedInfo("The node 'vrf' exe_cmd is null.\n"));
}

// ---- Creation ----

TEST_F(ObjectTest, NewEntryAppearsInTheTree) {
  app.On(Callback::kCreate, "name", 7);
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_CREATE, .flag = kKey},
                  {.name = "net.vrf.mtu", .val = "1", .op = NC_DM_OP_CREATE}}),
            7);
  nc_dm_agent_node_t* entry = NodeAt("net.vrf.7");
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->node_type, NC_DM_NODE_TYPE_MULT_OBJECT);
  EXPECT_EQ(entry->src, NC_DM_NODE_SRC_NONE);
  EXPECT_TRUE(LoggedInfo("Can't find the node 'vrf' instid 7, create a new one.\n"));
  EXPECT_THAT(app.calls(), SizeIs(1));
}

TEST_F(ObjectTest, NewEntryOfTheSdnDatastore) {
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_SDN;
  app.On(Callback::kCreate, "name", 7);
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_MERGE, .flag = kKey}}), 7);
  EXPECT_EQ(app.calls()[0].src, NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(NodeAt("net.vrf.7")->src, NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(NodeAt("net.vrf.7.mtu")->src, NC_DM_NODE_SRC_SDN);
}

TEST_F(ObjectTest, AnyOtherDatastoreIsNoSource) {
  for (const nc_dm_ds_type_t store :
       {NC_DM_DATASTORE_ERROR, NC_DM_DATASTORE_CONFIG, NC_DM_DATASTORE_URL, NC_DM_DATASTORE_RUNNING,
        NC_DM_DATASTORE_STARTUP, NC_DM_DATASTORE_CANDIDATE}) {
    g_nc_dm_mng_info.curr_dstype = store;
    app.On(Callback::kCreate, "name", 10 + store);
    Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_MERGE, .flag = kKey}});
    EXPECT_EQ(app.calls().back().src, NC_DM_NODE_SRC_NONE);
    EXPECT_EQ(NodeAt("net.vrf." + std::to_string(10 + store))->src, NC_DM_NODE_SRC_NONE);
  }
}

TEST_F(ObjectTest, ExistingEntryTakesTheSourceThatItMay) {
  app.On(Callback::kCreate, "name", 7);
  AddInstance("net.vrf.7");
  for (const nc_dm_ds_type_t store : {NC_DM_DATASTORE_RUNNING, NC_DM_DATASTORE_SDN}) {
    g_nc_dm_mng_info.curr_dstype = store;
    const nc_dm_node_src_t src =
        store == NC_DM_DATASTORE_SDN ? NC_DM_NODE_SRC_SDN : NC_DM_NODE_SRC_NONE;
    for (const nc_dm_node_src_t before :
         {NC_DM_NODE_SRC_NONE, NC_DM_NODE_SRC_SDN, NC_DM_NODE_SRC_CLI, NC_DM_NODE_SRC_CLI_ALW}) {
      NodeAt("net.vrf.7")->src = before;
      NodeAt("net.vrf.7.name")->src = before;
      NodeAt("net.vrf.7.mtu")->src = before;
      EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_MERGE, .flag = kKey}}),
                7);
      const bool keeps = before == NC_DM_NODE_SRC_SDN || before == NC_DM_NODE_SRC_CLI_ALW;
      EXPECT_EQ(NodeAt("net.vrf.7")->src, keeps ? before : src);
      EXPECT_EQ(NodeAt("net.vrf.7.name")->src, before == NC_DM_NODE_SRC_SDN ? before : src);
      EXPECT_EQ(NodeAt("net.vrf.7.mtu")->src, before);
    }
  }
  EXPECT_TRUE(LoggedInfo("The node 'vrf' instid 7 already exists.\n"));
}

TEST_F(ObjectTest, CreationWithoutAnIdFails) {
  const auto before = TreeSources();
  for (const nc_int64 result : {nc_int64{0}, nc_int64{-1}, nc_int64{-7}, INT64_MIN}) {
    Restart();
    app.On(Callback::kCreate, "name", result);
    EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_MERGE, .flag = kKey}}),
              -1);
    EXPECT_EQ(Fault(), "-7 vrf*");
    EXPECT_THAT(Errors(), ElementsAre("Failed to create node 'vrf' config instance, return " +
                                      std::to_string(result) + "!\n"));
    EXPECT_EQ(TreeSources(), before);
  }
  Restart();
  app.On(Callback::kExeCmd, "id", nc_int64{0});
  EXPECT_EQ(Edit({{.name = "net.port.id", .val = "x", .op = NC_DM_OP_MERGE, .flag = kKey}}), -1);
  EXPECT_EQ(Fault(), "-7 port*");
}

TEST_F(ObjectTest, FaultOfTheStepThatFailedIsKept) {
  EXPECT_EQ(Edit({{.name = "net.bare.mtu", .val = "red", .op = NC_DM_OP_MERGE, .flag = kKey}}), -1);
  EXPECT_EQ(Fault(), "-7 *");  // set without a path, and so not that of the list
  Restart();
  app.On(Callback::kCreate, "name", [](const ModelCall& call) -> nc_int64 {
    call.output->inst_exist = 1;
    return 7;
  });
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_CREATE, .flag = kKey}}),
            -1);
  EXPECT_EQ(Fault(), "-9 *");
  EXPECT_EQ(NodeAt("net.vrf.7"), nullptr);
  Restart();
  fault.fault_code = NC_DM_FAULT_CODE_PARSE;
  app.On(Callback::kCreate, "name", -1);
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_MERGE, .flag = kKey}}), -1);
  EXPECT_EQ(Fault(), "-4 ");
}

TEST_F(ObjectTest, EntryThatCannotBeMirrored) {
  const FailingCall failing(Step::kCreateNode);
  app.On(Callback::kCreate, "name", 7);
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_MERGE, .flag = kKey}}), -1);
  EXPECT_EQ(Fault(), "-7 vrf*");
  EXPECT_TRUE(LoggedError("Failed to create node 'vrf' dm instance, instid 7!\n"));

  Restart();
  fault.fault_code = NC_DM_FAULT_CODE_PARSE;
  const FailingCall once_more(Step::kCreateNode);
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_MERGE, .flag = kKey}}), -1);
  EXPECT_EQ(Fault(), "-4 ");
}

TEST_F(ObjectTest, AnyPositiveIdIsAnEntry) {
  app.On(Callback::kCreate, "name", INT64_MAX);
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_MERGE, .flag = kKey}}),
            INT64_MAX);
  EXPECT_NE(NodeAt("net.vrf.9223372036854775807"), nullptr);
  // The id of another list's entry is none of this list's.
  AddInstance("net.port.4");
  app.On(Callback::kCreate, "name", 4);
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_MERGE, .flag = kKey}}), 4);
  EXPECT_NE(NodeAt("net.vrf.4"), nullptr);
}

TEST_F(ObjectTest, CommandTellsCreateFromMerge) {
  for (const auto& [op, cmd_op] : {std::pair{NC_DM_OP_NONE, 1},
                                   {NC_DM_OP_MERGE, 1},
                                   {NC_DM_OP_REPLACE, 1},
                                   {NC_DM_OP_CREATE, 5}}) {
    app.Forget();
    EXPECT_EQ(Edit({{.name = "net.port.id", .val = "x", .op = op, .flag = kKey}}), 1);
    EXPECT_THAT(
        app.CallTexts(),
        ElementsAre("exe_cmd id ids=[] src=0 op=" + std::to_string(cmd_op) + " slots={1:x}"));
  }
}

// ---- Deletion ----

TEST_F(ObjectTest, DeletedEntryGoesFromTheTree) {
  AddInstance("net.vrf.7");
  AddInstance("net.vrf.7.route.1");
  AddInstance("net.vrf.8");
  app.On(Callback::kDelete, "name", 7);
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_DELETE, .flag = kKey}}), 7);
  EXPECT_THAT(app.CallTexts(), ElementsAre("delete name ids=[] src=0 value=red"));
  EXPECT_EQ(NodeAt("net.vrf.7"), nullptr);
  EXPECT_NE(NodeAt("net.vrf.8"), nullptr);
  EXPECT_NE(NodeAt("net.vrf"), nullptr);
  EXPECT_TRUE(LoggedInfo("Found the node 'vrf' instid 7, delete.\n"));
}

TEST_F(ObjectTest, DeletedEntryByCommand) {
  AddInstance("net.port.7");
  app.On(Callback::kExeCmd, "id", 7);
  EXPECT_EQ(Edit({{.name = "net.port.id", .val = "x", .op = NC_DM_OP_REMOVE, .flag = kKey}}), 7);
  EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd id ids=[] src=0 op=2 slots={1:x}"));
  EXPECT_EQ(NodeAt("net.port.7"), nullptr);
}

TEST_F(ObjectTest, DeletionThatNamesNoEntryRemovesNothing) {
  AddInstance("net.vrf.8");
  AddInstance("net.port.7");
  const auto before = TreeSources();
  for (const nc_int64 result : {nc_int64{0}, nc_int64{7}, INT64_MAX}) {
    app.On(Callback::kDelete, "name", result);
    EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_DELETE, .flag = kKey}}),
              result);
    EXPECT_TRUE(LoggedInfo("Can't find the node 'vrf' instid " + std::to_string(result) +
                           ", no need to delete.\n"));
    EXPECT_EQ(TreeSources(), before);
  }
  EXPECT_EQ(Fault(), "0 ");
}

TEST_F(ObjectTest, FailedDeletionLeavesTheEntry) {
  AddInstance("net.vrf.7");
  for (const nc_int64 result : {nc_int64{-1}, nc_int64{-8}, INT64_MIN}) {
    Restart();
    app.On(Callback::kDelete, "name", result);
    EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_REMOVE, .flag = kKey}}),
              -1);
    EXPECT_EQ(Fault(), "-7 vrf*");
    EXPECT_THAT(Errors(), ElementsAre("Failed to delete node 'vrf' config instance, return " +
                                      std::to_string(result) + "!\n"));
  }
  EXPECT_NE(NodeAt("net.vrf.7"), nullptr);

  Restart();
  fault.fault_code = NC_DM_FAULT_CODE_PARSE;
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_REMOVE, .flag = kKey}}),
            -1);
  EXPECT_EQ(Fault(), "-4 ");
}

TEST_F(ObjectTest, MissingEntryFailsForDeleteAlone) {
  AddInstance("net.vrf.7");
  app.On(Callback::kDelete, "name", -7);
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_DELETE, .flag = kKey}}),
            -1);
  EXPECT_EQ(Fault(), "-10 *");
  Restart();
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "red", .op = NC_DM_OP_REMOVE, .flag = kKey}}), 0);
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_NE(NodeAt("net.vrf.7"), nullptr);
}

// ---- Lookup ----

TEST_F(ObjectTest, LookupMakesNoChange) {
  AddInstance("net.vrf.7");
  app.On(Callback::kGet, "name", [](const ModelCall& call) -> nc_int64 {
    Put("red", call.buffer);
    return 0;
  });
  const auto before = TreeSources();
  for (const nc_int32 pkt_type : {6, 8}) {
    for (const auto& [op, defop] : {std::pair{0, 3}, {0, 4}, {0, -1}, {6, 0}, {-1, 1}}) {
      Restart();
      EXPECT_EQ(
          Edit({{.name = "net.vrf.name", .val = "red", .op = op, .defop = defop, .flag = kKey}},
               pkt_type),
          7);
      EXPECT_THAT(app.CallTexts(), ElementsAre("get name ids=[7]"));
      EXPECT_TRUE(LoggedInfo("The node op is " + std::to_string(op) + ", defop is " +
                             std::to_string(defop) + ".\n"));
      EXPECT_EQ(Fault(), "0 ");
    }
  }
  Restart();
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "blue", .defop = 3, .flag = kKey}}), -1);
  EXPECT_EQ(Fault(), "-7 vrf*");
  EXPECT_EQ(TreeSources(), before);
}

TEST_F(ObjectTest, LookupThroughTheApplication) {
  for (const nc_int64 id : {nc_int64{5}, nc_int64{0}, nc_int64{-4}, INT64_MAX}) {
    Restart();
    app.On(Callback::kGetAttr, "id", [id](const ModelCall& call) -> nc_int64 {
      call.output->instid = id;
      return 0;
    });
    EXPECT_EQ(Edit({{.name = "net.port.id", .val = "x", .defop = 3, .flag = kKey}}), id);
    EXPECT_THAT(app.CallTexts(), ElementsAre("get_attr id ids=[] src=0 op=4 slots={1:x}"));
    EXPECT_EQ(Fault(), id > 0 ? "0 " : "-7 port*");
  }
  fault = {};
  fault.fault_code = NC_DM_FAULT_CODE_PARSE;
  app.On(Callback::kGetAttr, "id", nc_int64{0});
  EXPECT_EQ(Edit({{.name = "net.port.id", .val = "x", .defop = 3, .flag = kKey}}), 0);
  EXPECT_EQ(Fault(), "-4 ");
}

TEST_F(ObjectTest, LookupWithoutKeyValues) {
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .defop = 3, .flag = kKey}}), -1);
  EXPECT_TRUE(LoggedError("The input in_key_list is empty!\n"));
  EXPECT_EQ(Fault(), "-7 vrf*");
}

// A request may take a leaf-list for a list; there is no entry to make then.
TEST_F(ObjectTest, LeafListIsNoList) {
  AddInstance("net.dns.2");
  for (const nc_int32 pkt_type : {6, 8}) {
    for (const nc_int32 op : {NC_DM_OP_NONE, NC_DM_OP_MERGE, NC_DM_OP_DELETE, 6}) {
      const auto before = TreeSources();
      EXPECT_EQ(Edit({{.name = "net.dns.x", .val = "1", .op = op, .flag = kKey}}, pkt_type), -1);
      EXPECT_EQ(TreeSources(), before);
    }
  }
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(ObjectTest, NothingIsLoggedThroughAClosedMask) {
  ModelEdits none;
  ModelEdits no_key{{.name = "net.vrf.name"}};
  AddInstance("net.vrf.7");
  LogCapture::Get().Clear();
  const DebugMask closed(0);
  EXPECT_EQ(nc_dm_agent_edit_object(6, nullptr, &fault), -1);
  EXPECT_EQ(nc_dm_agent_edit_object(6, none.get(), &fault), -1);
  EXPECT_EQ(nc_dm_agent_edit_object(6, no_key.get(), &fault), -1);
  ModelEdits edits{{.name = "net.vrf.name", .flag = kKey}};
  EXPECT_EQ(nc_dm_agent_edit_object(6, edits.get(), nullptr), -1);
  nc_dm_stub_edit_t* edit = std::exchange(edits.at(0)->edit, nullptr);
  EXPECT_EQ(Edit(edits), -1);
  edits.at(0)->edit = edit;
  for (const nc_int64 result : {nc_int64{-1}, nc_int64{0}, nc_int64{9}, nc_int64{7}}) {
    app.On(Callback::kCreate, "name", result);
    app.On(Callback::kDelete, "name", result);
    EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "x", .op = NC_DM_OP_MERGE, .flag = kKey}}),
              result > 0 ? result : -1);
    EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "x", .op = NC_DM_OP_DELETE, .flag = kKey}}),
              result);
  }
  EXPECT_EQ(Edit({{.name = "net.vrf.name", .val = "x", .op = 6, .flag = kKey}}), -1);
  EXPECT_EQ(Edit({{.name = "net.none.name", .val = "x", .flag = kKey}}), -1);
  EXPECT_EQ(Edit({{.name = "net.vrf", .val = "x", .flag = kKey}}), -1);
  EXPECT_EQ(Edit({{.name = "net.name", .val = "x", .flag = kKey}}), 0);
  EXPECT_THAT(LogCapture::Get().Texts(), IsEmpty());
}

// ---- Which word counts ----

class EntryRulesTest : public EntryEditTest {
 protected:
  // A list whose entries come and go through its own create and delete.
  void RegisterVrfs() {
    app.Register({.path = "net.vrf.{i}.name",
                  .flag = NC_DM_FLAG_KEY,
                  .callbacks = Callback::kCreate | Callback::kDelete | Callback::kGet});
    app.Register({.path = "net.vrf.{i}.mtu", .type = NC_DM_VAL_TYPE_INT});
    app.Register({.path = "net.vrf.{i}.peer.{i}.addr",
                  .flag = NC_DM_FLAG_KEY,
                  .callbacks = Callback::kCreate | Callback::kDelete});
  }
  // One whose entries come and go by command.
  void RegisterPorts() {
    app.Register({.path = "net.port.{i}.name",
                  .flag = NC_DM_FLAG_KEY,
                  .index = 1,
                  .callbacks = Callback::kCreate | Callback::kExeCmd});
  }
};

TEST_F(EntryRulesTest, TheRequestsPacketTypeCountsNotTheEdits) {
  RegisterPorts();
  for (const nc_int32 pkt_type : {0, 9, 10}) {
    app.Forget();
    ModelEdits edits({{.name = "net.port.{i}.name", .val = "eth0", .op = 1, .flag = 1}});
    edits.at(0)->edit->pkt_type = NC_DM_PKT_TYPE_OBJECT_CMD_END;
    EXPECT_EQ(Edit(edits, pkt_type), 1);
    EXPECT_THAT(app.CallTexts(), ElementsAre("create name ids=[] src=0 value=eth0"));
  }
}

// The first edit of all is no key and would delete; so would the second key.
TEST_F(EntryRulesTest, TheFirstKeyLeafSpeaksForTheEntry) {
  RegisterVrfs();
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.mtu", .val = "9", .op = 4, .ids = {7}},
                  {.name = "net.vrf.{i}.name", .val = "red", .op = 1, .flag = 1},
                  {.name = "net.vrf.{i}.name", .val = "blue", .op = 4, .flag = 2, .ids = {8}}}),
            1);
  EXPECT_THAT(app.CallTexts(), ElementsAre("create name ids=[] src=0 value=red"));
}

TEST_F(EntryRulesTest, AnIdForTheEntryItselfEndsInItsLeafAndDoesNothing) {
  RegisterVrfs();
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.name", .val = "red", .op = 4, .flag = 1, .ids = {3}}}), 3);
  EXPECT_EQ(Fault(), "-7 ");
  EXPECT_EQ(NodeAt("net.vrf.3"), nullptr);
  // Of ids that lead further than the path, the last is answered.
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.name", .val = "red", .op = 1, .flag = 1, .ids = {3, 8}}}),
            8);
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(EntryRulesTest, TheListsFirstKeyConvertsTheRequestsFirstKey) {
  app.Register({.path = "net.vlan.{i}.id",
                .type = NC_DM_VAL_TYPE_INT,
                .flag = NC_DM_FLAG_KEY,
                .callbacks = 0u | Callback::kGet});
  app.Register({.path = "net.vlan.{i}.name",
                .flag = NC_DM_FLAG_KEY,
                .callbacks = Callback::kCreate | Callback::kDelete,
                .key_type = NC_DM_VAL_TYPE_INT});
  const ModelEdit id = {.name = "net.vlan.{i}.id", .val = " 12", .op = 1, .flag = 1};
  const ModelEdit name = {.name = "net.vlan.{i}.name", .val = "n", .op = 1, .flag = 1};
  EXPECT_EQ(Edit({id, name}), 1);
  EXPECT_THAT(app.CallTexts(), ElementsAre("create name ids=[] src=0 value=12"));
  EXPECT_EQ(Edit({name, id}), -1);
  EXPECT_EQ(Fault(), "-11 id*");
}

TEST_F(EntryRulesTest, ALookupAsksForAllKeysInTheRequestsOrder) {
  RegisterVrfs();
  app.Register({.path = "net.vrf.{i}.zone",
                .type = NC_DM_VAL_TYPE_INT,
                .flag = NC_DM_FLAG_KEY,
                .callbacks = Callback::kGet | Callback::kCreate});
  AddInstance("net.vrf.6");
  AddInstance("net.vrf.7");
  app.On(Callback::kGet, "zone", [](const ModelCall& call) {
    *reinterpret_cast<int32_t*>(call.buffer) = static_cast<int32_t>(call.ids[0]);
    return 0;
  });
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.zone", .val = "7", .defop = 3, .flag = 1},
                  {.name = "net.vrf.{i}.mtu", .val = "1", .defop = 3},
                  {.name = "net.vrf.{i}.name", .val = "", .defop = 3, .flag = 1}}),
            7);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("get zone ids=[6]", "get zone ids=[7]", "get name ids=[7]"));
  // A key as it was received is compared, blanks included.
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.zone", .val = " 7", .defop = 3, .flag = 1}}), -1);
  EXPECT_TRUE(LoggedError("Current node value '7', input value ' 7'!\n"));
}

TEST_F(EntryRulesTest, ACommandThatMissesItsEntryIsNoMergeEither) {
  RegisterPorts();
  app.On(Callback::kExeCmd, "name", -7);
  const auto edit = [this](nc_int32 op) {
    fault = {};
    return Edit({{.name = "net.port.{i}.name", .val = "eth0", .op = op, .flag = 1}});
  };
  EXPECT_EQ(edit(1), -1);
  EXPECT_EQ(Fault(), "-7 port*");
  EXPECT_TRUE(LoggedError("Failed to create node 'port' config instance, return -7!\n"));
  EXPECT_EQ(edit(5), 0);
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_EQ(edit(4), -1);
  EXPECT_EQ(Fault(), "-10 port*");
}

// What is above the entry takes the source of every request, and gives it up for the next.
TEST_F(EntryRulesTest, TheContainerAboveKeepsNoSource) {
  RegisterVrfs();
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_SDN;
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.name", .val = "red", .op = 1, .flag = 1}}), 1);
  EXPECT_EQ(NodeAt("net")->src, NC_DM_NODE_SRC_SDN);
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_RUNNING;
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.name", .val = "red", .op = 1, .flag = 1}}), 1);
  EXPECT_EQ(NodeAt("net")->src, NC_DM_NODE_SRC_NONE);
  EXPECT_EQ(NodeAt("net.vrf.1")->src, NC_DM_NODE_SRC_SDN);
}

// The lists in the entries have tables of their own; what a table lacks is no error.
TEST_F(EntryRulesTest, EntriesOfAListWithAHashTable) {
  RegisterVrfs();
  g_nc_dm_mng_info.agent_init = true;
  for (std::string path : {"net.vrf.{i}.", "net.vrf.{i}.peer.{i}."}) {
    ASSERT_EQ(nc_dm_agent_reg_hash_tab(path.data(), 10000), 0);
  }
  g_nc_dm_mng_info.agent_init = false;
  LogCapture::Get().Clear();
  const auto vrf = [this](nc_int32 op) {
    return Edit({{.name = "net.vrf.{i}.name", .val = "red", .op = op, .flag = 1}});
  };
  const auto peer = [this](nc_int32 op, nc_int64 outer) {
    return Edit({{.name = "net.vrf.{i}.peer.{i}.addr",
                  .val = "10.0.0.1",
                  .op = op,
                  .flag = 1,
                  .ids = {outer}}});
  };
  app.On(Callback::kCreate, "name", 4);
  app.On(Callback::kDelete, "name", 4);
  app.On(Callback::kCreate, "addr", 7);
  app.On(Callback::kDelete, "addr", 7);
  EXPECT_EQ(vrf(1), 4);
  nc_dm_agent_node_t* entry = NodeAt("net.vrf.4");
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(vrf(2), 4);
  EXPECT_EQ(NodeAt("net.vrf.4"), entry);
  EXPECT_EQ(peer(1, 4), 7);
  EXPECT_EQ(peer(1, 5), 7);
  EXPECT_NE(NodeAt("net.vrf.4.peer.7"), nullptr);
  EXPECT_NE(NodeAt("net.vrf.5.peer.7"), nullptr);
  EXPECT_EQ(peer(4, 4), 7);
  EXPECT_EQ(NodeAt("net.vrf.4.peer.7"), nullptr);
  EXPECT_NE(NodeAt("net.vrf.5.peer.7"), nullptr);
  EXPECT_EQ(peer(5, 4), 7);  // no longer in the tree
  EXPECT_EQ(vrf(4), 4);
  EXPECT_EQ(NodeAt("net.vrf.4"), nullptr);
  EXPECT_EQ(vrf(4), 4);
  EXPECT_EQ(Fault(), "0 ");
  // Said once of each list before its first entry.
  EXPECT_EQ(Errors(), std::vector<std::string>(3, "The hash_tab->table input is null!\n"));
}

// Of several that are missing, the first is named.
TEST_F(EntryRulesTest, ArgumentsAreLookedAtInTheirOrder) {
  app.Register({.path = "net.vrf.{i}.name", .flag = NC_DM_FLAG_KEY});
  LogCapture::Get().Clear();
  char text[] = "x";
  nc_dm_id_array_t ids{};
  list_head empty{&empty, &empty};
  ModelEdits none;
  ModelEdits keyless({{.name = "net.vrf.name"}});
  nc_dm_agent_node_t* net = NodeAt("net");

  nc_dm_agent_add_key(nullptr, nullptr, nullptr);
  nc_dm_agent_add_key(text, nullptr, nullptr);
  nc_dm_agent_cpy_edit_list_keys(nullptr, nullptr);
  nc_dm_agent_get_key_value(nullptr, nullptr);
  nc_dm_agent_keys_cmp(nullptr, &empty);
  nc_dm_agent_get_mode_node(nullptr, nullptr);
  nc_dm_agent_get_mode_node_inst(nullptr, nullptr, 1);
  nc_dm_agent_get_node_instid(nullptr, nullptr, nullptr, nullptr);
  nc_dm_agent_get_node_instid(&ids, nullptr, nullptr, nullptr);
  nc_dm_agent_get_node_instid(&ids, net, nullptr, nullptr);
  nc_dm_agent_edit_object(6, nullptr, nullptr);
  nc_dm_agent_edit_object(6, none.get(), nullptr);
  nc_dm_agent_edit_object(6, keyless.get(), nullptr);
  nc_dm_agent_edit_execmd(nullptr, nullptr, 1, nullptr, NC_DM_NODE_SRC_NONE);
  nc_dm_agent_edit_execmd(net, nullptr, 1, nullptr, NC_DM_NODE_SRC_NONE);
  nc_dm_agent_edit_execmd(net, none.get(), 1, nullptr, NC_DM_NODE_SRC_NONE);
  nc_dm_agent_edit_delall_child(nullptr, nullptr, nullptr, 0);
  EXPECT_THAT(Errors(),
              ElementsAre("The input key name is null!\n", "The input key value is null!\n",
                          "The input edit list is null!\n", "The input key_name is null!\n",
                          "The key_list input is null!\n", "The edit_node input is null!\n",
                          "The parent input is null!\n", "The input id_array is null!\n",
                          "The input mode_parent is null!\n", "The input mode_node is null!\n",
                          "The edit list input is null!\n", "The edit list input is empty!\n",
                          "The key list of edit list input is empty!\n",
                          "The parent input is null!\n", "The edit list input is null!\n",
                          "The edit list input is empty!\n", "The parent node input is null!\n"));
}

}  // namespace
}  // namespace ncdm_test
