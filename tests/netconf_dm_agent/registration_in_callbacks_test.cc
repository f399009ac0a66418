// Registration calls that the application makes in the middle of a request, from its callbacks.

#include "agent_fixture.h"
#include "support/model_app.h"
#include "support/pending_records.h"
#include "support/tree_lock.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kRefusal = "Unregister request is made by a callback, the tree is in use!\n";

int g_farewells = 0;
int Farewell() { return ++g_farewells; }

// A request that makes the library call a callback of the application's.
struct Request {
  const char* name;
  Callback callback;
  const char* leaf;
  nc_int64 answer;
  std::vector<Frame> frames;
};

std::ostream& operator<<(std::ostream& out, const Request& request) { return out << request.name; }

Frame MakeFrame(int type, const Body& body, int entry_cnt = 0, int flag = 0) {
  Frame frame;
  frame.head = {type, 5, flag, entry_cnt, NC_DM_DATASTORE_RUNNING, 0};
  frame.body = body.bytes();
  return frame;
}

std::vector<Frame> Edit(int collect, int execute, const Body& edit) {
  Body entries;
  entries.Int32(collect);
  Frame frame = MakeFrame(NC_DM_MSG_TYPE_EDIT, entries, 1);
  frame.body += edit.bytes();
  return {frame, MakeFrame(NC_DM_MSG_TYPE_EDIT, Body().Int32(execute))};
}

std::vector<Request> Requests() {
  const Body key = Body().Edit(1, NC_DM_OP_MERGE, "net.vrf.{i}.name", "red");
  const Body by_key = Body().Edit(1, NC_DM_OP_NONE, "net.tun.{i}.key", "red", {}, NC_DM_DEFOP_NONE);
  const Body command = Body().Edit(1, NC_DM_OP_MERGE, "net.tun.{i}.key", "red");
  const Body lookup = Body().Int32(NC_DM_PKT_TYPE_SEGMENT).Filter("net.vrf.{i}.name", "red");
  return {
      {"create", Callback::kCreate, "name", 42,
       Edit(NC_DM_PKT_TYPE_OBJECT, NC_DM_PKT_TYPE_OBJECT_END, key)},
      {"delete", Callback::kDelete, "name", 5,
       Edit(NC_DM_PKT_TYPE_OBJECT, NC_DM_PKT_TYPE_OBJECT_END,
            Body().Edit(1, NC_DM_OP_DELETE, "net.vrf.{i}.name", "red"))},
      {"get_attr", Callback::kGetAttr, "key", 0,
       Edit(NC_DM_PKT_TYPE_OBJECT, NC_DM_PKT_TYPE_OBJECT_END, by_key)},
      {"exe_cmd", Callback::kExeCmd, "key", 42,
       Edit(NC_DM_PKT_TYPE_OBJECT_CMD, NC_DM_PKT_TYPE_OBJECT_CMD_END, command)},
      {"set", Callback::kSet, "host", 0,
       Edit(NC_DM_PKT_TYPE_SEGMENT, NC_DM_PKT_TYPE_END,
            Body().Edit(0, NC_DM_OP_MERGE, "sys.host", "box"))},
      {"refused_set", Callback::kSet, "host", -1,
       Edit(NC_DM_PKT_TYPE_SEGMENT, NC_DM_PKT_TYPE_END,
            Body().Edit(0, NC_DM_OP_MERGE, "sys.host", "box"))},
      {"get_of_a_filter",
       Callback::kGet,
       "name",
       0,
       {MakeFrame(NC_DM_MSG_TYPE_FILTER, Body().Int32(NC_DM_PKT_TYPE_FILTER).Text("net"), 0,
                  NC_DM_MSG_FLAG_NAME)}},
      {"get_of_a_lookup",
       Callback::kGet,
       "name",
       0,
       {MakeFrame(NC_DM_MSG_TYPE_GETID, lookup, 1),
        MakeFrame(NC_DM_MSG_TYPE_GETID, Body().Int32(NC_DM_PKT_TYPE_END))}},
      {"get_of_the_dump", Callback::kGet, "name", 0, {MakeFrame(NC_DM_MSG_TYPE_SHOW, Body())}},
  };
}

class RegistrationInCallbacksTest : public AgentTest, public testing::WithParamInterface<Request> {
 protected:
  void SetUp() override {
    InitWithPeer();
    app_.emplace();
    app_->Register({.path = "sys.host", .callbacks = Callback::kGet | Callback::kSet});
    app_->Register({.path = "net.vrf.{i}.name",
                    .flag = NC_DM_FLAG_KEY,
                    .callbacks = Callback::kGet | Callback::kCreate | Callback::kDelete});
    app_->Register({.path = "net.tun.{i}.key",
                    .flag = NC_DM_FLAG_KEY,
                    .index = 1,
                    .callbacks = Callback::kGet | Callback::kGetAttr | Callback::kExeCmd});
    app_->On(Callback::kGet, "name", GiveName);
    for (const char* path : {"net.vrf.4", "net.vrf.5", "net.vrf.6"}) {
      ASSERT_NE(AddInstance(path), nullptr);
    }
    FreePendingRecords();
    log().Clear();
    g_farewells = 0;
  }

  // Entry 5 is red.
  static nc_int64 GiveName(const ModelCall& call) {
    Put(!call.ids.empty() && call.ids[0] == 5 ? "red" : "blue", call.buffer);
    return 0;
  }

  // Has the request's callback do something beside its work. How often it was called.
  template <typename Action>
  int Serve(const Request& request, Action action) {
    int calls = 0;
    app_->On(request.callback, request.leaf, [&](const ModelCall& call) {
      ++calls;
      action();
      return request.callback == Callback::kGet ? GiveName(call) : request.answer;
    });
    for (const Frame& frame : request.frames) {
      peer().Send(frame);
      EXPECT_EQ(nc_dm_agent_recv(agent_fd()), 0);
    }
    for (const auto task : {nc_dm_agent_send_filter_rsp_lst, nc_dm_agent_send_getid_rsp_lst}) {
      while (platform().Find(task) != nullptr) EXPECT_EQ(platform().RunNext(task), 0);
    }
    return calls;
  }

  static int RunRegistrations() {
    nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, 1);
    return platform().RunNext(nc_dm_agent_reg_handler);
  }

  std::optional<ModelApp> app_;
};

// The request stands on the nodes that would be freed.
TEST_P(RegistrationInCallbacksTest, TheTreeIsNotTakenFromUnderARequest) {
  info().unreg_rsp_handler = nullptr;
  const int calls = Serve(GetParam(), [] { EXPECT_EQ(nc_dm_agent_unreg_all(Farewell), -1); });
  EXPECT_GT(calls, 0);
  EXPECT_EQ(log().Count(kErrorPrefix, kRefusal), calls);
  EXPECT_NE(NodeAt("sys.host"), nullptr);
  EXPECT_NE(NodeAt("net.vrf.4.name"), nullptr);
  EXPECT_EQ(tasks().tt_unreg_client, nullptr);
  EXPECT_EQ(info().unreg_rsp_handler, nullptr);
  EXPECT_TRUE(IsTreeFree());
}

TEST_P(RegistrationInCallbacksTest, BehindTheRequestTheTreeMayGo) {
  EXPECT_GT(Serve(GetParam(), [] {}), 0);
  EXPECT_EQ(nc_dm_agent_unreg_all(Farewell), 0);
  EXPECT_TRUE(nc::IsEmpty(&g_nc_agent_dm.dm_root));
  EXPECT_NE(tasks().tt_unreg_client, nullptr);
  EXPECT_EQ(info().unreg_rsp_handler, Farewell);
  EXPECT_TRUE(IsTreeFree());
}

TEST_P(RegistrationInCallbacksTest, InstancesAreAppliedByTheNextRegistrationRun) {
  bool is_first = true;
  EXPECT_GT(Serve(GetParam(),
                  [&] {
                    if (!std::exchange(is_first, false)) return;
                    char come[] = "net.vrf.77.";
                    char come_by_cli[] = "net.tun.78.";
                    char gone[] = "net.vrf.6.";
                    EXPECT_EQ(nc_dm_agent_reg(come), 0);
                    EXPECT_EQ(nc_dm_agent_cli_reg(come_by_cli, NC_DM_NODE_SRC_CLI), 0);
                    EXPECT_EQ(nc_dm_agent_unreg(gone), 0);
                  }),
            0);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG_OBJ net.vrf.77. src=0", "REG_OBJ net.tun.78. src=2",
                                          "UNREG_OBJ net.vrf.6."));
  EXPECT_EQ(NodeAt("net.vrf.77"), nullptr);
  EXPECT_NE(NodeAt("net.vrf.6"), nullptr);

  EXPECT_EQ(RunRegistrations(), 0);
  EXPECT_THAT(PendingTexts(), IsEmpty());
  EXPECT_NE(NodeAt("net.vrf.77.name"), nullptr);
  ASSERT_NE(NodeAt("net.tun.78"), nullptr);
  EXPECT_EQ(NodeAt("net.tun.78")->src, NC_DM_NODE_SRC_CLI);
  EXPECT_EQ(NodeAt("net.vrf.6"), nullptr);
  EXPECT_NE(NodeAt("net.vrf.4"), nullptr);
}

TEST_P(RegistrationInCallbacksTest, TheSchemaMayGrowMeanwhile) {
  bool is_first = true;
  const auto grow = [&] {
    if (!std::exchange(is_first, false)) return;
    for (const char* path : {"net.vrf.{i}.late", "net.late", "late.{i}.leaf"}) {
      EXPECT_EQ(nc_dm_agent_mode_reg(const_cast<char*>(path), NC_DM_VAL_TYPE_STRING, 0, 0, nullptr,
                                     nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                0);
    }
    char range[] = "net.range.{1-2}.leaf";
    EXPECT_EQ(nc_dm_agent_mul_reg(range, NC_DM_VAL_TYPE_STRING, 0, nullptr, nullptr, nullptr,
                                  nullptr, nullptr, nullptr),
              0);
    char list[] = "net.vrf";
    EXPECT_EQ(nc_dm_agent_reg_hash_tab(list, 10000), 0);
    EXPECT_EQ(nc_dm_agent_yang_attr_reg("mod", NC_DM_YANG_ATTR_REVISION, "1"), 0);
  };
  EXPECT_GT(Serve(GetParam(), grow), 0);
  EXPECT_THAT(PendingTexts(),
              ElementsAre("REG net.vrf.{i}.late 0", "REG net.late 0", "REG late.{i}.leaf 0",
                          "REG net.range.{i}.leaf 0", "REG_OBJ net.range.1. src=0",
                          "REG_OBJ net.range.2. src=0", "YANG mod 1 1"));
  EXPECT_EQ(RunRegistrations(), 0);
  for (const char* path : {"net.vrf.late", "net.late", "late.leaf", "net.range.2.leaf"}) {
    EXPECT_NE(NodeAt(path), nullptr) << path;
  }
  EXPECT_NE(NodeAt("net.vrf")->hash_tab, nullptr);
  EXPECT_GT(Serve(GetParam(), [] {}), 0) << "and it is served again";
}

INSTANTIATE_TEST_SUITE_P(Requests, RegistrationInCallbacksTest, testing::ValuesIn(Requests()),
                         [](const auto& param) { return param.param.name; });

// ---- Hooks ----

int g_unreg_result;
int TakeEverythingBack() { return g_unreg_result = nc_dm_agent_unreg_all(Farewell); }

class HookRegistrationTest : public RegistrationInCallbacksTest {
 protected:
  void SetUp() override {
    RegistrationInCallbacksTest::SetUp();
    g_unreg_result = -100;
  }
  static void ExpectEverythingGone() {
    EXPECT_EQ(g_unreg_result, 0);
    EXPECT_TRUE(nc::IsEmpty(&g_nc_agent_dm.dm_root));
    EXPECT_NE(tasks().tt_unreg_client, nullptr);
    EXPECT_EQ(info().unreg_rsp_handler, Farewell);
  }
};

// No request is at work in the tree while a hook runs.

TEST_F(HookRegistrationTest, ACommitMayTakeTheTreeAway) {
  info().data_commit = [](char*) { return TakeEverythingBack(); };
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_EDIT, Body().Int32(NC_DM_PKT_TYPE_COMMIT)), 0);
  ExpectEverythingGone();
}

TEST_F(HookRegistrationTest, ARefusedRegistrationMayTakeTheTreeAway) {
  info().reg_rsp_handler = TakeEverythingBack;
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_REG_RSP, Body().Int32(-9)), 0);
  ExpectEverythingGone();
}

TEST_F(HookRegistrationTest, AFarewellMayTakeTheTreeAway) {
  info().unreg_rsp_handler = TakeEverythingBack;
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_UNREG_CLIENT_RSP, ""), 0);
  ExpectEverythingGone();
  EXPECT_EQ(g_farewells, 0);
}

}  // namespace
}  // namespace ncdm_test
