#include <atomic>
#include <thread>

#include "agent_fixture.h"
#include "support/model_app.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

int g_commits;
char g_commit_argument;
int Commit(char* argument) {  // NOLINT(readability-non-const-parameter): a hook
  g_commits++;
  g_commit_argument = argument == nullptr ? 'n' : 'x';
  return -1;  // of no consequence
}

class HandleEditTest : public AgentTest {
 protected:
  void SetUp() override {
    InitWithPeer();
    app_.emplace();
    app_->Register({.path = "sys.host", .callbacks = static_cast<unsigned>(Callback::kSet)});
    app_->Register({.path = "net.vrf.{i}.name",
                    .flag = NC_DM_FLAG_KEY,
                    .callbacks = Callback::kGet | Callback::kCreate | Callback::kDelete});
    app_->Register({.path = "net.vrf.{i}.mtu",
                    .type = NC_DM_VAL_TYPE_INT,
                    .callbacks = static_cast<unsigned>(Callback::kSet)});
    app_->Register({.path = "net.zone.{i}.name",
                    .flag = NC_DM_FLAG_KEY,
                    .index = 1,
                    .callbacks = static_cast<unsigned>(Callback::kGetAttr)});
    log().Clear();
  }

  int Edit(int pkt_type, const Body& entries = {}, int entry_cnt = 0, int sid = 5) {
    return Handle(NC_DM_MSG_TYPE_EDIT, Body().Int32(pkt_type).bytes() + entries.bytes(), sid,
                  entry_cnt);
  }
  // A segment that is collected without an answer.
  void Collect(int pkt_type, const Body& entries, int entry_cnt) {
    ASSERT_EQ(Edit(pkt_type, entries, entry_cnt), 0);
    ASSERT_TRUE(peer().IsQuiet());
  }
  void ExpectAnswer(nc_int64 inst, int sid = 5) {
    const Frame frame = peer().Receive();
    EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_EDIT_RSP);
    EXPECT_EQ(frame.head.sid, sid);
    EXPECT_EQ(frame.head.flag, 0);
    EXPECT_EQ(frame.head.entry_cnt, 0);
    EXPECT_EQ(frame.head.ds_type, 0);
    BodyReader body(frame.body);
    EXPECT_EQ(body.Int32(), NC_DM_PKT_TYPE_RSP);
    EXPECT_EQ(body.Int64(), inst);
    EXPECT_EQ(body.Int32(), 0);
    EXPECT_TRUE(body.AtEnd());
    EXPECT_TRUE(peer().IsQuiet());
  }
  static std::vector<std::string> Collected() {
    std::vector<std::string> names;
    for (const auto& node :
         nc::Records<nc_dm_stub_edit_node_t>(&g_nc_dm_edit_node_list.edit_head)) {
      names.emplace_back(node.edit->name);
    }
    return names;
  }
  static bool HasKeys() { return !nc::IsEmpty(&g_nc_dm_edit_node_list.key_head); }

  std::optional<ModelApp> app_;
};

TEST_F(HandleEditTest, SegmentsAreCollectedWithoutAnAnswer) {
  Collect(NC_DM_PKT_TYPE_OBJECT, Body().Edit(1, 1, "a.key", "1"), 1);
  Collect(NC_DM_PKT_TYPE_OBJECT_CMD, Body().Edit(0, 1, "a.b", "2").Edit(0, 1, "a.c", {}), 2);
  Collect(NC_DM_PKT_TYPE_SEGMENT, Body().Edit(0, 1, "a.d", "3"), 1);
  EXPECT_THAT(Collected(), ElementsAre("a.key", "a.b", "a.c", "a.d"));
  EXPECT_TRUE(HasKeys());
}

TEST_F(HandleEditTest, AnEmptySegmentCollectsNothing) {
  Collect(NC_DM_PKT_TYPE_SEGMENT, Body(), 0);
  EXPECT_THAT(Collected(), IsEmpty());
}

TEST_F(HandleEditTest, ASegmentThatCannotBeDecodedDropsWhatWasCollected) {
  for (int pkt_type : {NC_DM_PKT_TYPE_OBJECT, NC_DM_PKT_TYPE_OBJECT_CMD, NC_DM_PKT_TYPE_SEGMENT}) {
    Collect(pkt_type, Body().Edit(1, 1, "a.key", "1"), 1);
    log().Clear();
    // One entry of the two that are announced.
    EXPECT_EQ(Edit(pkt_type, Body().Edit(0, 1, "a.b", "2"), 2), 0);
    EXPECT_TRUE(log().ContainsError("Failed to decode edit list message!\n"));
    ExpectFault(NC_DM_FAULT_CODE_PARSE, 5);
    EXPECT_THAT(Collected(), IsEmpty());
    EXPECT_FALSE(HasKeys());
  }
}

TEST_F(HandleEditTest, AMissingPacketTypeDropsWhatWasCollected) {
  Collect(NC_DM_PKT_TYPE_SEGMENT, Body().Edit(0, 1, "a.b", "2"), 1);
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_EDIT, "abc", 5), 0);
  ExpectFault(NC_DM_FAULT_CODE_PARSE, 5);
  EXPECT_THAT(Collected(), IsEmpty());
}

TEST_F(HandleEditTest, ANegativePacketTypeDropsWhatWasCollected) {
  for (int pkt_type : {-1, -2, INT32_MIN}) {
    Collect(NC_DM_PKT_TYPE_SEGMENT, Body().Edit(1, 1, "a.b", "2"), 1);
    EXPECT_EQ(Edit(pkt_type), 0);
    ExpectFault(NC_DM_FAULT_CODE_PARSE, 5);
    EXPECT_THAT(Collected(), IsEmpty());
    EXPECT_FALSE(HasKeys());
  }
}

TEST_F(HandleEditTest, AnObjectEditIsAnsweredWithTheInstance) {
  app_->On(Callback::kCreate, "name", 42);
  Collect(NC_DM_PKT_TYPE_OBJECT,
          Body()
              .Edit(1, NC_DM_OP_MERGE, "net.vrf.{i}.name", "red")
              .Edit(0, NC_DM_OP_MERGE, "net.vrf.{i}.mtu", "9"),
          2);
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_OBJECT_END), 0);
  ExpectAnswer(42);
  EXPECT_TRUE(log().ContainsInfo("Handle edit message successfully.\n"));
  EXPECT_NE(NodeAt("net.vrf.42"), nullptr);
  EXPECT_THAT(Collected(), IsEmpty());
  EXPECT_FALSE(HasKeys());
}

TEST_F(HandleEditTest, AnInstanceIdOf64BitsIsAnsweredWhole) {
  app_->On(Callback::kCreate, "name", nc_int64{1} << 40);
  Collect(NC_DM_PKT_TYPE_OBJECT, Body().Edit(1, NC_DM_OP_MERGE, "net.vrf.{i}.name", "red"), 1);
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_OBJECT_END), 0);
  ExpectAnswer(nc_int64{1} << 40);
}

TEST_F(HandleEditTest, AnObjectEditThatFailsIsAFault) {
  for (int pkt_type : {NC_DM_PKT_TYPE_OBJECT_END, NC_DM_PKT_TYPE_OBJECT_CMD_END}) {
    Collect(NC_DM_PKT_TYPE_OBJECT, Body().Edit(1, NC_DM_OP_MERGE, "no.such.{i}.name", "red"), 1);
    EXPECT_EQ(Edit(pkt_type), 0);
    EXPECT_TRUE(log().ContainsError("Failed to edit dm tree object!\n"));
    EXPECT_FALSE(log().ContainsInfo("Handle edit message successfully.\n"));
    const Frame frame = peer().Receive();
    EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_FAULT);
    EXPECT_EQ(frame.head.sid, 5);
    EXPECT_TRUE(peer().IsQuiet());
    EXPECT_THAT(Collected(), IsEmpty());
    EXPECT_FALSE(HasKeys());
  }
}

TEST_F(HandleEditTest, TheCommandPacketTypeMakesACommandOfTheEdit) {
  Collect(NC_DM_PKT_TYPE_OBJECT_CMD, Body().Edit(1, NC_DM_OP_MERGE, "net.vrf.{i}.name", "red"), 1);
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_OBJECT_CMD_END), 0);
  ExpectFault(NC_DM_FAULT_CODE_OP_FAILED, 5, "vrf");  // the list has none
  EXPECT_THAT(app_->CallTexts(), IsEmpty());
}

// What the engine has put into the fault record on the way does not matter when it gives an id.
TEST_F(HandleEditTest, AnObjectEditThatGivesAnIdIsNoFault) {
  AddInstance("net.vrf.3");
  Collect(NC_DM_PKT_TYPE_OBJECT, Body().Edit(1, NC_DM_OP_MERGE, "net.vrf.{i}.name", "red", {3}), 1);
  nc_dm_msg_t* message = nc_dm_agent_init_in_msg();
  message->head.type = NC_DM_MSG_TYPE_EDIT;
  message->head.sid = 6;
  message->head.len = 4;
  const nc_int32 pkt_type = NC_DM_PKT_TYPE_OBJECT_END;
  memcpy(message->buf, &pkt_type, sizeof(pkt_type));
  nc_dm_fault_t fault = {};
  EXPECT_EQ(nc_dm_agent_handle_msg_edit(agent_fd(), message, &fault), 0);
  EXPECT_EQ(fault.fault_code, NC_DM_FAULT_CODE_OK);
  ExpectAnswer(3, 6);
  EXPECT_TRUE(
      log().ContainsInfo("The last node match is leaf node, the instance already exists.\n"));
}

TEST_F(HandleEditTest, ALookupThatFindsNothingIsAnsweredWith0) {
  Collect(NC_DM_PKT_TYPE_OBJECT,
          Body().Edit(1, NC_DM_OP_NONE, "net.zone.{i}.name", "red", {}, NC_DM_DEFOP_NONE), 1);
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_OBJECT_END), 0);
  ExpectAnswer(0);
  EXPECT_THAT(app_->CallTexts(), ElementsAre("get_attr name ids=[] src=0 op=4 slots={1:red}"));
}

TEST_F(HandleEditTest, ASubtreeEditIsAnswered) {
  Collect(NC_DM_PKT_TYPE_SEGMENT, Body().Edit(0, NC_DM_OP_MERGE, "sys.host", "box"), 1);
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_END), 0);
  const Frame frame = peer().Receive();
  EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_EDIT_RSP);
  EXPECT_THAT(app_->CallTexts(), ElementsAre("set host ids=[] src=0 value=box"));
  EXPECT_THAT(Collected(), IsEmpty());
}

TEST_F(HandleEditTest, AnEmptySubtreeEditIsAnsweredWith0) {
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_END), 0);
  ExpectAnswer(0);
}

TEST_F(HandleEditTest, ASubtreeEditThatFailsIsAFault) {
  app_->On(Callback::kSet, "host", -1);
  Collect(NC_DM_PKT_TYPE_SEGMENT, Body().Edit(0, NC_DM_OP_MERGE, "sys.host", "box"), 1);
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_END), 0);
  const Frame frame = peer().Receive();
  EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_FAULT);
  EXPECT_NE(BodyReader(frame.body).Int32(), NC_DM_FAULT_CODE_OK);
  EXPECT_FALSE(log().ContainsInfo("Handle edit message successfully.\n"));
  EXPECT_FALSE(log().ContainsError("Failed to edit dm tree object!\n"));
  EXPECT_THAT(Collected(), IsEmpty());
}

bool g_locked_in_callback;

nc_int64 SeeLock(const ModelCall&) {
  // The lock is recursive, so only another thread can tell.
  pthread_t other;
  pthread_create(
      &other, nullptr,
      [](void*) -> void* {
        g_locked_in_callback = pthread_mutex_trylock(&g_nc_agent_dm.dm_mutex) != 0;
        if (!g_locked_in_callback) pthread_mutex_unlock(&g_nc_agent_dm.dm_mutex);
        return nullptr;
      },
      nullptr);
  pthread_join(other, nullptr);
  return 0;
}

TEST_F(HandleEditTest, CallbacksRunUnderTheTreesLock) {
  g_locked_in_callback = false;
  app_->On(Callback::kSet, "host", SeeLock);
  Collect(NC_DM_PKT_TYPE_SEGMENT, Body().Edit(0, NC_DM_OP_MERGE, "sys.host", "box"), 1);
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_END), 0);
  EXPECT_TRUE(g_locked_in_callback);
  ExpectAnswer(0);

  g_locked_in_callback = false;
  app_->On(Callback::kDelete, "name", SeeLock);
  Collect(NC_DM_PKT_TYPE_OBJECT, Body().Edit(1, NC_DM_OP_DELETE, "net.vrf.{i}.name", "red"), 1);
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_OBJECT_END), 0);
  EXPECT_TRUE(g_locked_in_callback);
  SeeLock({});
  EXPECT_FALSE(g_locked_in_callback);
}

TEST_F(HandleEditTest, TheDatastoreGivesTheSource) {
  Collect(NC_DM_PKT_TYPE_SEGMENT, Body().Edit(0, NC_DM_OP_MERGE, "sys.host", "box"), 1);
  EXPECT_EQ(
      Handle(NC_DM_MSG_TYPE_EDIT, Body().Int32(NC_DM_PKT_TYPE_END), 5, 0, 0, NC_DM_DATASTORE_SDN),
      0);
  EXPECT_THAT(app_->CallTexts(), ElementsAre("set host ids=[] src=1 value=box"));
}

TEST_F(HandleEditTest, AnOddPacketTypeIsAnsweredWith0) {
  for (int pkt_type : {0, 1, 2, 3, 4, 12, 1000}) {
    Collect(NC_DM_PKT_TYPE_SEGMENT, Body().Edit(0, 1, "a.b", "2"), 1);
    EXPECT_EQ(Edit(pkt_type, {}, 0, 5 + pkt_type), 0);
    ExpectAnswer(0, 5 + pkt_type);
  }
  // What was collected is none of its business.
  EXPECT_EQ(Collected().size(), 7u);
}

TEST_F(HandleEditTest, ACommitCallsTheHookAndIsNotAnswered) {
  g_commits = 0;
  info().data_commit = Commit;
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_COMMIT), 0);
  EXPECT_EQ(g_commits, 1);
  EXPECT_EQ(g_commit_argument, 'n');
  EXPECT_TRUE(log().ContainsInfo("Call the data commit function.\n"));
  EXPECT_TRUE(peer().IsQuiet());
}

TEST_F(HandleEditTest, ACommitLeavesWhatIsCollected) {
  Collect(NC_DM_PKT_TYPE_SEGMENT, Body().Edit(0, 1, "a.b", "2"), 1);
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_COMMIT), 0);
  EXPECT_THAT(Collected(), ElementsAre("a.b"));
}

// The hook that was seen is the one that is called, however often another thread changes its mind.
TEST_F(HandleEditTest, ACommitMeetsAHookThatAnotherThreadTakesAway) {
  std::atomic<bool> stop = false;
  std::thread indecisive([&] {
    while (!stop) {
      nc_dm_agent_fun_reg(NC_DM_HOOK_FUN_DATA_COMMIT, Commit);
      nc_dm_agent_fun_reg(NC_DM_HOOK_FUN_DATA_COMMIT, nullptr);
    }
  });
  g_commits = 0;
  int edits = 0;
  for (; edits < 2000 || g_commits == 0; ++edits) {
    if (Edit(NC_DM_PKT_TYPE_COMMIT) != 0) break;
  }
  stop = true;
  indecisive.join();
  EXPECT_GE(edits, 2000);
  EXPECT_GT(g_commits, 0);
}

TEST_F(HandleEditTest, ACommitNeedsNoHook) {
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_COMMIT), 0);
  EXPECT_FALSE(log().ContainsInfo("Call the data commit function.\n"));
  EXPECT_TRUE(peer().IsQuiet());
}

TEST_F(HandleEditTest, AnAnswerThatCannotBeSentIsALinkFault) {
  nc_dm_msg_t* message = nc_dm_agent_init_in_msg();
  message->head.type = NC_DM_MSG_TYPE_EDIT;
  message->head.len = 4;
  const nc_int32 pkt_type = NC_DM_PKT_TYPE_END;
  memcpy(message->buf, &pkt_type, sizeof(pkt_type));
  nc_dm_fault_t fault = {};
  peer().Close();
  EXPECT_EQ(nc_dm_agent_handle_msg_edit(agent_fd(), message, &fault), -1);
  EXPECT_EQ(fault.fault_code, NC_DM_FAULT_CODE_LINK);
  EXPECT_FALSE(log().ContainsInfo("Handle edit message successfully.\n"));
  EXPECT_NE(tasks().tt_reconnect, nullptr);
}

// ---- Times ----

constexpr const char* kTimes =
    "[exe_cmd time]:1.000000 sec.\n[delete time]:2.500000 sec.\n[create time]:3.000000 sec.\n";

class EditTimeTest : public HandleEditTest {
 protected:
  void SetUp() override {
    HandleEditTest::SetUp();
    info().exe_time = 1;
    info().del_time = 2.5;
    info().crt_time = 3;
    info().set_time = 4;
    info().get_time = 5;
  }
  static void ExpectReset() {
    EXPECT_EQ(info().exe_time, 0);
    EXPECT_EQ(info().del_time, 0);
    EXPECT_EQ(info().crt_time, 0);
    EXPECT_EQ(info().set_time, 4);
    EXPECT_EQ(info().get_time, 5);
  }
};

TEST_F(EditTimeTest, ACommitPrintsTheTimes) {
  const DebugMask timing(NC_DM_DBG_TIMING);
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_COMMIT), 0);
  EXPECT_EQ(log().Joined(), kTimes);
  ExpectReset();
}

TEST_F(EditTimeTest, AFailedEditPrintsTheTimes) {
  const DebugMask timing(NC_DM_DBG_TIMING);
  Collect(NC_DM_PKT_TYPE_OBJECT, Body().Edit(1, NC_DM_OP_MERGE, "no.such.{i}.name", "red"), 1);
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_OBJECT_END), 0);
  EXPECT_EQ(log().Joined(), kTimes);
  ExpectReset();
}

TEST_F(EditTimeTest, AFailedSubtreeEditPrintsTheTimes) {
  const DebugMask timing(NC_DM_DBG_TIMING);
  app_->On(Callback::kSet, "host", -1);
  Collect(NC_DM_PKT_TYPE_SEGMENT, Body().Edit(0, NC_DM_OP_MERGE, "sys.host", "box"), 1);
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_END), 0);
  EXPECT_TRUE(log().Contains("[exe_cmd time]:1.000000 sec.\n"));
  EXPECT_TRUE(log().Contains("[create time]:3.000000 sec.\n"));
  EXPECT_EQ(info().exe_time, 0);
}

TEST_F(EditTimeTest, AnEditThatGoesWellKeepsTheTimes) {
  const DebugMask timing(NC_DM_DBG_TIMING);
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_END), 0);
  EXPECT_TRUE(log().Records().empty());
  EXPECT_EQ(info().exe_time, 1);
}

TEST_F(EditTimeTest, WithoutTheTimingBitTheTimesAreKept) {
  EXPECT_EQ(Edit(NC_DM_PKT_TYPE_COMMIT), 0);
  EXPECT_EQ(info().exe_time, 1);
  EXPECT_EQ(info().del_time, 2.5);
  EXPECT_EQ(info().crt_time, 3);
  EXPECT_FALSE(log().Contains("[exe_cmd time]:1.000000 sec.\n"));
}

}  // namespace
}  // namespace ncdm_test
