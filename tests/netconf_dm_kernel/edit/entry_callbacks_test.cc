// One entry through its list's `create` and `delete`, and the deletion of everything below a
// container.

#include <string.h>

#include <string>
#include <utility>

#include "netconf_dm_kernel/edit/edit_fixture.h"
#include "netconf_dm_kernel/edit/failing_calls.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// ---- One entry ----

// net.vrf has two keys and both callbacks, net.view neither, net.bare no key.
class EntryTest : public EditTest {
 protected:
  EntryTest() {
    app.Register({.path = "net.vrf.{i}.rd",
                  .type = NC_DM_VAL_TYPE_UINT,
                  .flag = 1,
                  .callbacks = Callback::kCreate | Callback::kDelete});
    app.Register({.path = "net.vrf.{i}.name",
                  .flag = 1,
                  .callbacks = Callback::kCreate | Callback::kDelete,
                  .key_type = NC_DM_VAL_TYPE_UINT});
    app.Register({.path = "net.view.{i}.name", .flag = 1});
    app.Register({.path = "net.bare.{i}.mtu"});
    LogCapture::Get().Clear();
  }

  nc_int64 Create(const ModelEdit& edit, const char* list = "net.vrf",
                  nc_dm_node_src_t src = NC_DM_NODE_SRC_NONE) {
    ModelEdits edits{edit};
    return nc_dm_agent_edit_create(NodeAt(list), edits.at(0)->edit, edit.op, &fault, src);
  }
  nc_int64 Delete(const ModelEdit& edit, const char* list = "net.vrf") {
    ModelEdits edits{edit};
    return nc_dm_agent_edit_delete(NodeAt(list), edits.at(0)->edit, edit.op, &fault);
  }
};

TEST_F(EntryTest, CreateTakesTheFirstKeysTypedValue) {
  app.On(Callback::kCreate, "name", 7);
  EXPECT_EQ(Create({.name = "net.vrf.rd", .val = "4294967295", .op = NC_DM_OP_MERGE, .ids = {5}},
                   "net.vrf", NC_DM_NODE_SRC_SDN),
            7);
  EXPECT_THAT(app.CallTexts(), ElementsAre("create name ids=[5] src=1 value=4294967295"));
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_TRUE(LoggedInfo("The 'create' return value of node 'vrf' is 7.\n"));
  EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(EntryTest, CreateOfAnExistingEntryFailsForCreateAlone) {
  app.On(Callback::kCreate, "name", [](const ModelCall& call) -> nc_int64 {
    call.output->inst_exist = 1;
    return 7;
  });
  for (const nc_int32 op : {NC_DM_OP_NONE, NC_DM_OP_MERGE, NC_DM_OP_REPLACE}) {
    EXPECT_EQ(Create({.name = "net.vrf.rd", .val = "1", .op = op}), 7);
    EXPECT_EQ(Fault(), "0 ");
  }
  memcpy(fault.path, "before", sizeof("before"));
  for (const Ids& ids : {Ids{}, Ids{5}}) {
    fault.new_fault = false;
    EXPECT_EQ(Create({.name = "net.vrf.rd", .val = "1", .op = NC_DM_OP_CREATE, .ids = ids}), -1);
    EXPECT_EQ(Fault(), "-9 before*");  // a fault without a path leaves the one that is there
  }
  EXPECT_TRUE(LoggedError("The instance node already exists, op is 'create', return error!\n"));
}

TEST_F(EntryTest, CreateOfAMissingEntrySucceedsForCreate) {
  app.On(Callback::kCreate, "name", [](const ModelCall& call) -> nc_int64 {
    call.output->inst_exist = 0;
    return INT64_MAX;
  });
  EXPECT_EQ(Create({.name = "net.vrf.rd", .val = "1", .op = NC_DM_OP_CREATE}), INT64_MAX);
  EXPECT_EQ(Fault(), "0 ");
}

TEST_F(EntryTest, CreateThatGivesNoIdIsPassedOnWithoutAFault) {
  for (const nc_int64 result : {nc_int64{0}, nc_int64{-1}, nc_int64{-7}, INT64_MIN}) {
    app.On(Callback::kCreate, "name", [result](const ModelCall& call) -> nc_int64 {
      call.output->inst_exist = 1;
      return result;
    });
    EXPECT_EQ(Create({.name = "net.vrf.rd", .val = "1", .op = NC_DM_OP_CREATE}), result);
    EXPECT_EQ(Fault(), "0 ");
    EXPECT_TRUE(
        LoggedInfo("The 'create' return value of node 'vrf' is " + std::to_string(result) + ".\n"));
  }
  EXPECT_THAT(Errors(), IsEmpty());
}

// A key of no type has no typed value; the callback gets an empty one.
TEST_F(EntryTest, KeyOfNoType) {
  NodeAt("net.vrf.rd")->val_type = NC_DM_VAL_TYPE_UNKNOWN;
  EXPECT_EQ(Create({.name = "net.vrf.rd", .val = "x", .op = NC_DM_OP_MERGE}), 1);
  EXPECT_EQ(Delete({.name = "net.vrf.rd", .val = "x", .op = NC_DM_OP_DELETE}), 0);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("create name ids=[] src=0 value=0", "delete name ids=[] src=0 value=0"));
}

TEST_F(EntryTest, CreateFailures) {
  EXPECT_EQ(Create({.name = "net.bare.mtu", .val = "1"}, "net.bare"), -1);
  EXPECT_EQ(Fault(), "-7 *");
  EXPECT_TRUE(LoggedError("The key parent mode node 'bare' has no key!\n"));

  fault = {};
  EXPECT_EQ(Create({.name = "net.view.name", .val = "1"}, "net.view"), -1);
  EXPECT_EQ(Fault(), "-7 *");
  EXPECT_TRUE(LoggedError("The key parent node 'view' has no create function!\n"));

  for (const char* value : {"x", "4294967296", static_cast<const char*>(nullptr)}) {
    fault = {};
    LogCapture::Get().Clear();
    EXPECT_EQ(Create({.name = "net.vrf.rd", .val = value}), -1);
    EXPECT_EQ(Fault(), "-11 rd*");
    EXPECT_TRUE(LoggedError("Failed to unserialize tmp node 'rd' value!\n"));
  }
  EXPECT_THAT(app.CallTexts(), IsEmpty());

  ModelEdits edits{{.name = "net.vrf.rd", .val = "1"}};
  EXPECT_EQ(nc_dm_agent_edit_create(nullptr, edits.at(0)->edit, 1, &fault, NC_DM_NODE_SRC_NONE),
            -1);
  EXPECT_EQ(nc_dm_agent_edit_create(NodeAt("net.vrf"), nullptr, 1, &fault, NC_DM_NODE_SRC_NONE),
            -1);
  EXPECT_TRUE(LoggedError("Invalid arguments inputs.\n"));
}

TEST_F(EntryTest, DeletePassesTheResultOn) {
  for (const nc_int64 result : {nc_int64{0}, nc_int64{7}, INT64_MAX, nc_int64{-1}, nc_int64{-8}}) {
    app.Forget();
    app.On(Callback::kDelete, "name", result);
    EXPECT_EQ(Delete({.name = "net.vrf.rd", .val = "12", .op = NC_DM_OP_DELETE, .ids = {5}}),
              result);
    EXPECT_EQ(Fault(), "0 ");
    EXPECT_THAT(app.CallTexts(), ElementsAre("delete name ids=[5] src=0 value=12"));
  }
  EXPECT_TRUE(LoggedInfo("The 'delete' return value of node 'vrf' is 7.\n"));
}

TEST_F(EntryTest, DeleteOfAMissingEntryFailsForDeleteAlone) {
  app.On(Callback::kDelete, "name", -7);
  EXPECT_EQ(Delete({.name = "net.vrf.rd", .val = "12", .op = NC_DM_OP_DELETE}), -7);
  EXPECT_EQ(Fault(), "-10 *");
  EXPECT_THAT(Errors(),
              ElementsAre("The instance node has already missed, op is 'delete', return error!\n"));
  EXPECT_TRUE(LoggedInfo("The 'delete' return value of node 'vrf' is -7.\n"));

  fault = {};
  LogCapture::Get().Clear();
  EXPECT_EQ(Delete({.name = "net.vrf.rd", .val = "12", .op = NC_DM_OP_REMOVE}), 0);
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_TRUE(LoggedInfo("The instance node has already missed, op is 'remove', return ok.\n"));

  EXPECT_EQ(Delete({.name = "net.vrf.rd", .val = "12", .op = NC_DM_OP_MERGE}), -7);
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(EntryTest, DeleteFailures) {
  EXPECT_EQ(Delete({.name = "net.bare.mtu", .val = "1"}, "net.bare"), -1);
  EXPECT_EQ(Fault(), "-7 *");
  EXPECT_TRUE(LoggedError("The key parent node 'bare' has no key!\n"));

  fault = {};
  EXPECT_EQ(Delete({.name = "net.view.name", .val = "1"}, "net.view"), -1);
  EXPECT_EQ(Fault(), "-7 *");
  EXPECT_TRUE(LoggedError("The key parent node 'view' has no delete function!\n"));

  fault = {};
  EXPECT_EQ(Delete({.name = "net.vrf.rd", .val = "-1"}), -1);
  EXPECT_EQ(Fault(), "-11 rd*");
  EXPECT_TRUE(LoggedError("Failed to unserialize tmp node 'rd' value!\n"));
  EXPECT_THAT(app.CallTexts(), IsEmpty());

  ModelEdits edits{{.name = "net.vrf.rd", .val = "1"}};
  EXPECT_EQ(nc_dm_agent_edit_delete(nullptr, edits.at(0)->edit, 4, &fault), -1);
  EXPECT_EQ(nc_dm_agent_edit_delete(NodeAt("net.vrf"), nullptr, 4, &fault), -1);
  EXPECT_TRUE(LoggedError("Invalid arguments inputs.\n"));
}

// The value is looked at before the callback is.
TEST_F(EntryTest, BadValueOfAListWithoutCallbacks) {
  app.Register({.path = "net.num.{i}.id", .type = NC_DM_VAL_TYPE_UINT, .flag = 1});
  EXPECT_EQ(Create({.name = "net.num.id", .val = "x"}, "net.num"), -1);
  EXPECT_EQ(Fault(), "-11 id*");
  fault = {};
  EXPECT_EQ(Delete({.name = "net.num.id", .val = "x"}, "net.num"), -1);
  EXPECT_EQ(Fault(), "-11 id*");
}

TEST_F(EntryTest, RefusedNumberDoesNotSpoilTheNext) {
  EXPECT_EQ(Create({.name = "net.vrf.rd", .val = "4294967296"}), -1);
  EXPECT_EQ(Create({.name = "net.vrf.rd", .val = "1"}), 1);
  EXPECT_EQ(Delete({.name = "net.vrf.rd", .val = "4294967296"}), -1);
  EXPECT_EQ(Delete({.name = "net.vrf.rd", .val = "1"}), 0);
}

TEST_F(EntryTest, CallbacksAreTimedWhileTheBitIsSet) {
  const auto spin = Busy(7);
  app.On(Callback::kCreate, "name", spin);
  app.On(Callback::kDelete, "name", spin);
  g_nc_dm_mng_info.crt_time = 0;
  g_nc_dm_mng_info.del_time = 0;
  Create({.name = "net.vrf.rd", .val = "1"});
  Delete({.name = "net.vrf.rd", .val = "1"});
  EXPECT_EQ(g_nc_dm_mng_info.crt_time, 0);
  EXPECT_EQ(g_nc_dm_mng_info.del_time, 0);

  const DebugMask timing(NC_DM_DBG_TIMING);
  Create({.name = "net.vrf.rd", .val = "1"});
  const double once = g_nc_dm_mng_info.crt_time;
  EXPECT_GT(once, 0);
  EXPECT_LT(once, 100);
  EXPECT_EQ(g_nc_dm_mng_info.del_time, 0);
  Create({.name = "net.vrf.rd", .val = "1"});
  EXPECT_GT(g_nc_dm_mng_info.crt_time, once);
  Delete({.name = "net.vrf.rd", .val = "1"});
  EXPECT_GT(g_nc_dm_mng_info.del_time, 0);
  g_nc_dm_mng_info.crt_time = 0;
  g_nc_dm_mng_info.del_time = 0;
}

// ---- Everything below a container ----

// sys holds a leaf with and one without `delete`, lists deleted by `delete`, by command and not at
// all, a leaf-list, and a container with a leaf.
class DeleteAllTest : public EditTest {
 protected:
  DeleteAllTest() {
    app.Register({.path = "sys.host", .callbacks = 0u | Callback::kDelete});
    app.Register({.path = "sys.user.{i}.name", .flag = 1, .callbacks = 0u | Callback::kDelete});
    app.Register(
        {.path = "sys.job.{i}.id", .flag = 1, .index = 1, .callbacks = 0u | Callback::kExeCmd});
    app.Register({.path = "sys.view.{i}.id", .flag = 1});
    app.Register({.path = "sys.dns.{i}", .flag = 4, .callbacks = 0u | Callback::kDelete});
    app.Register({.path = "sys.ntp.server", .callbacks = 0u | Callback::kDelete});
    app.Register({.path = "sys.ntp.peer.{i}", .flag = 4, .callbacks = 0u | Callback::kDelete});
    app.Register({.path = "sys.uptime"});
    for (const char* path : {"sys.user.3", "sys.user.8", "sys.job.4", "sys.view.5", "sys.dns.6",
                             "sys.dns.7", "sys.ntp.peer.9"}) {
      AddInstance(path);
    }
    LogCapture::Get().Clear();
  }

  int DeleteAll(const Ids& ids = {}, int erropt = 0, const char* path = "sys") {
    nc_dm_id_array_t array = Array(ids);
    return nc_dm_agent_edit_delall_child(NodeAt(path), &array, &fault, erropt);
  }

  static nc_dm_id_array_t Array(const Ids& ids) {
    nc_dm_id_array_t array = {};
    for (const nc_int64 id : ids) array.id[array.cnt++] = id;
    array.src = NC_DM_NODE_SRC_CLI;
    return array;
  }

  static bool Exists(const char* path) { return NodeAt(path) != nullptr; }
};

TEST_F(DeleteAllTest, EveryChildGoesThroughItsOwnCallbackInOrder) {
  EXPECT_EQ(DeleteAll({2}), 0);
  EXPECT_THAT(
      app.CallTexts(),
      ElementsAre("delete host ids=[2] src=2 value=", "delete server ids=[2] src=2 value=",
                  "delete peer ids=[2,9] src=0 value=", "delete name ids=[2,3] src=0 value=",
                  "delete name ids=[2,8] src=0 value=", "exe_cmd id ids=[2,4] src=0 op=2 slots={}",
                  "delete dns ids=[2,6] src=0 value=", "delete dns ids=[2,7] src=0 value="));
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_THAT(Errors(), IsEmpty());
  EXPECT_TRUE(
      LoggedInfo("The node 'view' instid 5 has no any delete functions, may be a copy node.\n"));
  EXPECT_TRUE(LoggedInfo("The leaf node 'uptime' has no any delete functions.\n"));

  // What was deleted is gone, the schema and what cannot be deleted stay.
  for (const char* path :
       {"sys.user.3", "sys.user.8", "sys.job.4", "sys.dns.6", "sys.dns.7", "sys.ntp.peer.9"}) {
    EXPECT_FALSE(Exists(path)) << path;
  }
  for (const char* path : {"sys.host", "sys.uptime", "sys.user.name", "sys.job.id", "sys.view.5.id",
                           "sys.dns", "sys.ntp.server", "sys.ntp.peer"}) {
    EXPECT_TRUE(Exists(path)) << path;
  }
}

TEST_F(DeleteAllTest, NoIdsAtAll) {
  EXPECT_EQ(DeleteAll(), 0);
  EXPECT_EQ(app.calls()[0].ids, Ids());
  EXPECT_EQ(app.calls()[2].ids, Ids({9}));
  nc_dm_id_array_t negative = Array({});
  negative.cnt = -1;
  AddInstance("sys.user.3");
  app.Forget();
  EXPECT_EQ(nc_dm_agent_edit_delall_child(NodeAt("sys"), &negative, &fault, 0), 0);
  EXPECT_EQ(app.calls()[2].ids, Ids({3}));
}

TEST_F(DeleteAllTest, ValueIsEmptyWhateverACallbackWritesIntoIt) {
  app.On(Callback::kDelete, "host", [](const ModelCall& call) -> nc_int64 {
    memset(call.buffer, 'x', NC_DM_VALUE_BUF_SIZE);
    return 0;
  });
  app.On(Callback::kDelete, "server", [](const ModelCall& call) -> nc_int64 {
    for (int i = 0; i < NC_DM_VALUE_BUF_SIZE; ++i) EXPECT_EQ(call.buffer[i], 0);
    return 0;
  });
  EXPECT_EQ(DeleteAll(), 0);
}

TEST_F(DeleteAllTest, WhatACallbackDoesToItsIdsDoesNotReachTheNext) {
  app.On(Callback::kDelete, "name", [](const ModelCall& call) -> nc_int64 {
    call.id_array->cnt = 1000;
    call.id_array->id[0] = -5;
    return 0;
  });
  EXPECT_EQ(DeleteAll({2}), 0);
  EXPECT_EQ(app.calls()[4].ids, Ids({2, 8}));
  EXPECT_EQ(app.calls()[5].ids, Ids({2, 4}));
}

TEST_F(DeleteAllTest, RefusesWhatIsMissing) {
  nc_dm_id_array_t ids = Array({});
  EXPECT_EQ(nc_dm_agent_edit_delall_child(nullptr, &ids, &fault, 0), -1);
  EXPECT_EQ(nc_dm_agent_edit_delall_child(NodeAt("sys"), nullptr, &fault, 0), -1);
  EXPECT_THAT(Errors(),
              ElementsAre("The parent node input is null!\n", "The id_array input is null!\n"));
  EXPECT_EQ(Fault(), "0 ");
}

TEST_F(DeleteAllTest, NeedsRoomForOneMoreId) {
  EXPECT_EQ(DeleteAll(Ids(16, 2)), -1);
  EXPECT_THAT(Errors(), ElementsAre("The id_array cnt has already reached max!\n"));
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_THAT(app.CallTexts(), IsEmpty());

  EXPECT_EQ(DeleteAll(Ids(15, 2)), 0);
  Ids full(15, 2);
  full.push_back(9);
  EXPECT_EQ(app.calls()[2].ids, full);
}

// Each failure ends the deletion at once, names the child, and leaves in the tree what is not
// deleted.
TEST_F(DeleteAllTest, FailedEntryEndsIt) {
  app.On(Callback::kDelete, "name", -7);
  EXPECT_EQ(DeleteAll(), -1);
  EXPECT_EQ(Fault(), "-7 user*");
  EXPECT_THAT(Errors(), ElementsAre("Failed to delete the node 'user' instid 3!\n"));
  EXPECT_EQ(app.calls().back().ids, Ids({3}));
  EXPECT_TRUE(Exists("sys.user.3"));
  EXPECT_FALSE(Exists("sys.ntp.peer.9"));
}

TEST_F(DeleteAllTest, AnyResultThatIsNotNegativeIsSuccess) {
  for (const nc_int64 result : {nc_int64{0}, nc_int64{1}, INT64_MAX}) {
    for (const char* path : {"sys.user.3", "sys.job.4", "sys.dns.6", "sys.ntp.peer.9"}) {
      if (!Exists(path)) AddInstance(path);
    }
    for (const char* leaf : {"host", "name", "dns", "server", "peer"}) {
      app.On(Callback::kDelete, leaf, result);
    }
    app.On(Callback::kExeCmd, "id", result);
    EXPECT_EQ(DeleteAll(), 0);
    for (const char* path : {"sys.user.3", "sys.job.4", "sys.dns.6", "sys.ntp.peer.9"}) {
      EXPECT_FALSE(Exists(path)) << path << " " << result;
    }
  }
  EXPECT_EQ(Fault(), "0 ");
}

TEST_F(DeleteAllTest, FailedCommandEndsIt) {
  app.On(Callback::kExeCmd, "id", -1);
  EXPECT_EQ(DeleteAll(), -1);
  EXPECT_EQ(Fault(), "-7 job*");
  EXPECT_THAT(Errors(), ElementsAre("Failed to call node 'job' instid 4 'exe_cmd'!\n"));
  EXPECT_TRUE(Exists("sys.job.4"));
  EXPECT_TRUE(Exists("sys.dns.6"));
}

TEST_F(DeleteAllTest, EntryThatHasBothIsDeletedByDelete) {
  NodeAt("sys.user.3")->exe_cmd = NodeAt("sys.job.4")->exe_cmd;
  EXPECT_EQ(DeleteAll(), 0);
  EXPECT_EQ(app.calls()[3].ToString(), "delete name ids=[3] src=0 value=");
  EXPECT_EQ(app.calls()[4].ToString(), "delete name ids=[8] src=0 value=");
}

TEST_F(DeleteAllTest, CommandThatHasNoBlockEndsIt) {
  const FailingCall failing(Step::kCreatePadb);
  EXPECT_EQ(DeleteAll(), -1);
  EXPECT_EQ(Fault(), "-7 job*");
  EXPECT_THAT(Errors(), ElementsAre("Failed to malloc node 'job' instid 4 padb!\n"));
  EXPECT_TRUE(Exists("sys.job.4"));
}

TEST_F(DeleteAllTest, FailedLeafListElementEndsIt) {
  app.On(Callback::kDelete, "dns", -1);
  EXPECT_EQ(DeleteAll(), -1);
  EXPECT_EQ(Fault(), "-7 dns*");
  EXPECT_THAT(Errors(), ElementsAre("Failed to delete the leaf node 'dns' instid 6!\n"));
  EXPECT_TRUE(Exists("sys.dns.6"));
  EXPECT_TRUE(Exists("sys.dns.7"));
}

TEST_F(DeleteAllTest, LeafListElementWithoutDeleteEndsIt) {
  NodeAt("sys.dns.6")->delete_ = nullptr;
  EXPECT_EQ(DeleteAll(), -1);
  EXPECT_EQ(Fault(), "-7 dns*");
  EXPECT_THAT(Errors(), ElementsAre("The node 'dns' instid 6 has no 'delete' function!\n"));
  EXPECT_TRUE(Exists("sys.dns.6"));
}

TEST_F(DeleteAllTest, FailedLeafEndsIt) {
  app.On(Callback::kDelete, "host", -1);
  EXPECT_EQ(DeleteAll(), -1);
  EXPECT_EQ(Fault(), "-7 host*");
  EXPECT_THAT(Errors(), ElementsAre("Failed to delete the leaf node 'host'!\n"));
  EXPECT_THAT(app.calls(), testing::SizeIs(1));
}

TEST_F(DeleteAllTest, FailedContainerEndsItUnderItsOwnName) {
  app.On(Callback::kDelete, "peer", -1);
  EXPECT_EQ(DeleteAll(), -1);
  EXPECT_EQ(Fault(), "-7 ntp*");
  EXPECT_THAT(Errors(), ElementsAre("Failed to delete the leaf node 'peer' instid 9!\n",
                                    "Failed to delete all children of node 'ntp'!\n"));
  EXPECT_TRUE(Exists("sys.ntp.peer.9"));
  EXPECT_TRUE(Exists("sys.user.3"));
}

TEST_F(DeleteAllTest, GoesOnAfterErrorsWhenAskedTo) {
  app.On(Callback::kDelete, "host", -1);
  app.On(Callback::kDelete, "peer", -1);
  app.On(Callback::kDelete, "name", -1);
  app.On(Callback::kExeCmd, "id", -1);
  app.On(Callback::kDelete, "dns",
         [](const ModelCall& call) -> nc_int64 { return call.ids.back() == 6 ? -1 : 0; });
  EXPECT_EQ(DeleteAll({}, NC_DM_ERROPT_CONTINUE), 0);
  EXPECT_THAT(app.calls(), testing::SizeIs(8));
  EXPECT_EQ(Fault(), "-7 dns*");  // the last one
  EXPECT_TRUE(Exists("sys.user.8"));
  EXPECT_TRUE(Exists("sys.dns.6"));
  EXPECT_FALSE(Exists("sys.dns.7"));
  // The container inside has gone on as well, and so has not failed.
  EXPECT_FALSE(LoggedError("Failed to delete all children of node 'ntp'!\n"));
}

TEST_F(DeleteAllTest, AnyOtherErrorOptionStops) {
  app.On(Callback::kDelete, "host", -1);
  for (const int erropt : {-1, 0, 1, 3}) {
    app.Forget();
    EXPECT_EQ(DeleteAll({}, erropt), -1);
    EXPECT_THAT(app.calls(), testing::SizeIs(1));
  }
}

TEST_F(DeleteAllTest, WithoutAFaultRecord) {
  app.On(Callback::kDelete, "host", -1);
  nc_dm_id_array_t ids = Array({});
  EXPECT_EQ(nc_dm_agent_edit_delall_child(NodeAt("sys"), &ids, nullptr, 0), -1);
}

TEST_F(DeleteAllTest, SdnDatastoreSparesWhatOthersCreated) {
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_SDN;
  for (const char* path : {"sys.user.8", "sys.dns.7", "sys.ntp.server"}) {
    NodeAt(path)->src = NC_DM_NODE_SRC_SDN;
  }
  NodeAt("sys.user.3")->src = NC_DM_NODE_SRC_CLI;
  NodeAt("sys.dns.6")->src = NC_DM_NODE_SRC_CLI_ALW;
  EXPECT_EQ(DeleteAll(), 0);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("delete server ids=[] src=2 value=", "delete name ids=[8] src=0 value=",
                          "delete dns ids=[7] src=0 value="));
  for (const char* line : {"The node 'host' instid 0 isn't created by netconf client, ignore.\n",
                           "The node 'peer' instid 9 isn't created by netconf client, ignore.\n",
                           "The node 'user' instid 3 isn't created by netconf client, ignore.\n",
                           "The node 'job' instid 4 isn't created by netconf client, ignore.\n",
                           "The node 'view' instid 5 isn't created by netconf client, ignore.\n",
                           "The node 'dns' instid 6 isn't created by netconf client, ignore.\n"}) {
    EXPECT_TRUE(LoggedInfo(line)) << line;
  }
  EXPECT_TRUE(Exists("sys.user.3"));
  EXPECT_FALSE(Exists("sys.user.8"));
  EXPECT_TRUE(Exists("sys.dns.6"));
  EXPECT_FALSE(Exists("sys.dns.7"));
}

TEST_F(DeleteAllTest, OtherDatastoresDeleteWhateverItsSource) {
  NodeAt("sys.user.3")->src = NC_DM_NODE_SRC_SDN;
  NodeAt("sys.user.8")->src = NC_DM_NODE_SRC_CLI_ALW;
  EXPECT_EQ(DeleteAll(), 0);
  EXPECT_FALSE(Exists("sys.user.3"));
  EXPECT_FALSE(Exists("sys.user.8"));
}

TEST_F(DeleteAllTest, EntryIsRemovedWithAllThatItHolds) {
  app.Register({.path = "sys.user.{i}.key.{i}.text", .flag = 1});
  AddInstance("sys.user.11");
  AddInstance("sys.user.11.key.1");
  AddInstance("sys.user.11.key.2");
  EXPECT_EQ(DeleteAll(), 0);
  EXPECT_FALSE(Exists("sys.user.11"));
  EXPECT_EQ(g_nc_agent_dm.total_mobject, 1u);  // sys.view.5
}

TEST_F(DeleteAllTest, NothingIsLoggedThroughAClosedMask) {
  app.On(Callback::kDelete, "host", -1);
  app.On(Callback::kDelete, "peer", -1);
  app.On(Callback::kDelete, "name", -1);
  app.On(Callback::kExeCmd, "id", -1);
  app.On(Callback::kDelete, "dns", -1);
  NodeAt("sys.dns.7")->delete_ = nullptr;
  const DebugMask closed(0);
  EXPECT_EQ(DeleteAll({}, NC_DM_ERROPT_CONTINUE), 0);
  EXPECT_EQ(DeleteAll({}, 0, "sys.ntp"), -1);
  EXPECT_EQ(DeleteAll(Ids(16, 2)), -1);
  nc_dm_id_array_t ids = Array({});
  EXPECT_EQ(nc_dm_agent_edit_delall_child(nullptr, &ids, &fault, 0), -1);
  EXPECT_EQ(nc_dm_agent_edit_delall_child(NodeAt("sys"), nullptr, &fault, 0), -1);
  {
    const FailingCall failing(Step::kCreatePadb);
    EXPECT_EQ(DeleteAll({}, NC_DM_ERROPT_CONTINUE), 0);
  }
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_SDN;
  EXPECT_EQ(DeleteAll(), 0);
  EXPECT_THAT(LogCapture::Get().Texts(), IsEmpty());
}

TEST_F(EntryTest, NothingIsLoggedThroughAClosedMask) {
  const DebugMask closed(0);
  app.On(Callback::kCreate, "name", [](const ModelCall& call) -> nc_int64 {
    call.output->inst_exist = 1;
    return 7;
  });
  app.On(Callback::kDelete, "name", -7);
  const char* const lists[] = {"net.bare", "net.view", "net.vrf", "net.vrf"};
  const char* const values[] = {"1", "1", "x", "1"};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(Create({.name = "key", .val = values[i], .op = NC_DM_OP_CREATE}, lists[i]), -1);
    EXPECT_LT(Delete({.name = "key", .val = values[i], .op = NC_DM_OP_DELETE}, lists[i]), 0);
  }
  EXPECT_EQ(Delete({.name = "key", .val = "1", .op = NC_DM_OP_REMOVE}), 0);
  nc_dm_agent_node_t* vrf = NodeAt("net.vrf");
  EXPECT_EQ(nc_dm_agent_edit_create(vrf, nullptr, 1, &fault, NC_DM_NODE_SRC_NONE), -1);
  EXPECT_EQ(nc_dm_agent_edit_delete(vrf, nullptr, 4, &fault), -1);
  EXPECT_THAT(LogCapture::Get().Texts(), IsEmpty());
}

using DeletionOrderTest = EditTest;

TEST_F(DeletionOrderTest, AnEntryStaysInTheTreeUntilItsDeletionIsAnswered) {
  app.Register({.path = "box.list.{i}.name",
                .flag = NC_DM_FLAG_KEY,
                .callbacks = Callback::kCreate | Callback::kDelete});
  app.Register({.path = "box.cmd.{i}.key",
                .flag = NC_DM_FLAG_KEY,
                .index = 1,
                .callbacks = 0u | Callback::kExeCmd});
  for (const char* path : {"box.list.3", "box.list.4", "box.cmd.4"}) AddInstance(path);
  // An answer that names another entry removes the one that was asked about.
  app.On(Callback::kDelete, "name", [](const ModelCall& call) {
    EXPECT_NE(NodeAt("box.list." + std::to_string(call.ids.back())), nullptr);
    return call.ids.back() == 3 ? 4 : 77;
  });
  app.On(Callback::kExeCmd, "key", [](const ModelCall& call) {
    EXPECT_EQ(NodeAt("box.list.4"), nullptr);
    EXPECT_EQ(NodeAt("box.cmd.4")->padb, call.padb);
    return 0;
  });
  nc_dm_id_array_t ids{};
  EXPECT_EQ(nc_dm_agent_edit_delall_child(NodeAt("box"), &ids, &fault, 0), 0);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("delete name ids=[3] src=0 value=", "delete name ids=[4] src=0 value=",
                          "exe_cmd key ids=[4] src=0 op=2 slots={}"));
  EXPECT_EQ(NodeAt("box.list.3"), nullptr);
  EXPECT_EQ(NodeAt("box.cmd.4"), nullptr);
}

}  // namespace
}  // namespace ncdm_test
