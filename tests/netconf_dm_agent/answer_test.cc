#include "agent_fixture.h"

namespace ncdm_test {
namespace {

class ResponseTest : public AgentTest {
 protected:
  void SetUp() override {
    InitWithPeer();
    info().msg_head.sid = 77;
  }

  static void AddValue(const char* name, const char* value) {
    auto* node = static_cast<nc_dm_val_node_t*>(calloc(1, sizeof(nc_dm_val_node_t)));
    node->val_entry.dm_name = nc_dm_copy_str(name);
    node->val_entry.dm_val = nc_dm_copy_str(value);
    nc::PushBack(&info().param_list.head, &node->lst);
    info().param_list.cnt++;
  }
  static void AddValue(const std::string& name, const std::string& value) {
    AddValue(name.c_str(), value.c_str());
  }
  static void AddIds(const std::vector<nc_int64>& ids) {
    auto* node = static_cast<nc_dm_id_array_node_t*>(calloc(1, sizeof(nc_dm_id_array_node_t)));
    node->id_array.cnt = static_cast<nc_int32>(ids.size());
    std::copy(ids.begin(), ids.end(), node->id_array.id);
    nc::PushBack(&info().param_list.head, &node->lst);
    info().param_list.cnt++;
  }

  static int RunFilterTask() {
    nc_dm_agent_handle_event(NC_DM_EVENT_FLTRSP_WRITE, agent_fd(), 0);
    return platform().RunNext(nc_dm_agent_send_filter_rsp_lst);
  }
  static int RunGetidTask() {
    nc_dm_agent_handle_event(NC_DM_EVENT_IDRSP_WRITE, agent_fd(), 0);
    return platform().RunNext(nc_dm_agent_send_getid_rsp_lst);
  }

  using Values = std::vector<std::pair<std::string, std::string>>;

  // The next message is a segment with these values.
  void ExpectFilterSegment(const Values& values) {
    const Frame frame = peer().Receive();
    EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_FILTER_RSP);
    EXPECT_EQ(frame.head.sid, 77);
    EXPECT_EQ(frame.head.flag, 0);
    EXPECT_EQ(frame.head.entry_cnt, static_cast<int>(values.size()));
    EXPECT_EQ(frame.head.ds_type, 0);
    BodyReader body(frame.body);
    EXPECT_EQ(body.Int32(), NC_DM_PKT_TYPE_SEGMENT);
    for (const auto& [name, value] : values) {
      EXPECT_EQ(body.Text(), name);
      EXPECT_EQ(body.Text(), value);
    }
    EXPECT_TRUE(body.AtEnd());
  }
  void ExpectGetidSegment(const std::vector<std::vector<nc_int64>>& arrays) {
    const Frame frame = peer().Receive();
    EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_GETID_RSP);
    EXPECT_EQ(frame.head.sid, 77);
    EXPECT_EQ(frame.head.flag, NC_DM_MSG_FLAG_IDS);
    EXPECT_EQ(frame.head.entry_cnt, static_cast<int>(arrays.size()));
    BodyReader body(frame.body);
    EXPECT_EQ(body.Int32(), NC_DM_PKT_TYPE_SEGMENT);
    for (const auto& ids : arrays) {
      ASSERT_EQ(body.Int32(), static_cast<int>(ids.size()));
      for (nc_int64 id : ids) EXPECT_EQ(body.Int64(), id);
    }
    EXPECT_TRUE(body.AtEnd());
  }
  void ExpectEnd(int type) {
    const Frame frame = peer().Receive();
    EXPECT_EQ(frame.type(), type);
    EXPECT_EQ(frame.head.sid, 77);
    EXPECT_EQ(frame.head.flag, 0);
    EXPECT_EQ(frame.head.entry_cnt, 0);
    EXPECT_EQ(frame.head.len, 4);
    EXPECT_EQ(BodyReader(frame.body).Int32(), NC_DM_PKT_TYPE_END);
    EXPECT_TRUE(peer().IsQuiet());
  }
  static bool IsAnswerEmpty() { return nc::IsEmpty(&info().param_list.head); }
};

// ---- Filter ----

TEST_F(ResponseTest, AFilterAnswerIsSegmentsAndAnEnd) {
  AddValue("a.b", "1");
  AddValue("a.c", "");
  EXPECT_EQ(RunFilterTask(), 0);
  ExpectFilterSegment({{"a.b", "1"}, {"a.c", ""}});
  EXPECT_TRUE(IsAnswerEmpty());
  EXPECT_TRUE(peer().IsQuiet());

  ASSERT_NE(tasks().tt_fltrsp, nullptr);
  EXPECT_EQ(tasks().tt_fltrsp->value, agent_fd());
  EXPECT_EQ(platform().RunNext(nc_dm_agent_send_filter_rsp_lst), 0);
  ExpectEnd(NC_DM_MSG_TYPE_FILTER_RSP);
  EXPECT_EQ(platform().Pending().size(), 0u);
  EXPECT_TRUE(log().ContainsInfo("The id_array list has already sent completely.\n"));
  EXPECT_TRUE(log().ContainsInfo("Handle filter message successfully.\n"));
  EXPECT_EQ(info().param_list.cnt, 0);
}

TEST_F(ResponseTest, AnEmptyFilterAnswerIsAnEnd) {
  EXPECT_EQ(RunFilterTask(), 0);
  ExpectEnd(NC_DM_MSG_TYPE_FILTER_RSP);
}

TEST_F(ResponseTest, ValuesAreTracedOnPacketLevel) {
  const DebugMask packets(NC_DM_DBG_PACKET);
  AddValue("a.b", "1");
  EXPECT_EQ(RunFilterTask(), 0);
  EXPECT_TRUE(log().ContainsPacket("The filter rsp name:a.b.\n"));
  EXPECT_TRUE(log().ContainsPacket("The filter rsp value:1.\n"));
}

TEST_F(ResponseTest, NodesWithoutNameOrValueAreDropped) {
  AddValue(nullptr, "1");
  AddValue("a", nullptr);
  AddValue("b", "2");
  EXPECT_EQ(RunFilterTask(), 0);
  EXPECT_TRUE(log().ContainsError("The current val_entry.name is null!\n"));
  EXPECT_TRUE(log().ContainsError("The current val_entry.val is null!\n"));
  ExpectFilterSegment({{"b", "2"}});
  EXPECT_TRUE(IsAnswerEmpty());
}

// The packet type, name and value, and 40 that are kept free make 2047.
TEST_F(ResponseTest, AValueOf2003BytesFillsASegment) {
  const std::string name(256, 'n');
  const std::string value(2003 - name.size(), 'v');
  AddValue(name, value);
  EXPECT_EQ(RunFilterTask(), 0);
  EXPECT_FALSE(log().ContainsInfo("There is no more space to store another message.\n"));
  ExpectFilterSegment({{name, value}});
}

TEST_F(ResponseTest, AValueOf2004BytesFitsNoSegmentAndIsDropped) {
  const std::string name(256, 'n');
  AddValue("a", "1");
  AddValue(name, std::string(2004 - name.size(), 'v'));
  AddValue("b", "2");
  EXPECT_EQ(RunFilterTask(), 0);
  ExpectFilterSegment({{"a", "1"}, {"b", "2"}});
  EXPECT_TRUE(IsAnswerEmpty());
  EXPECT_TRUE(
      log().ContainsError("The current val_entry is too large to send, name:" + name + ".\n"));
  EXPECT_FALSE(log().ContainsInfo("There is no more space to store another message.\n"));
}

TEST_F(ResponseTest, AnAnswerOfNothingButDroppedValuesEnds) {
  AddValue("a", std::string(3000, 'v'));
  EXPECT_EQ(RunFilterTask(), 0);
  ExpectFilterSegment({});
  EXPECT_EQ(platform().RunNext(nc_dm_agent_send_filter_rsp_lst), 0);
  ExpectEnd(NC_DM_MSG_TYPE_FILTER_RSP);
}

// The first value makes the body 4 + 4 + 1 + 4 + 100 = 113 bytes.
TEST_F(ResponseTest, AValueThatJustFitsBehindAnotherIsTaken) {
  const std::string first(100, 'v');
  const std::string second(2047 - 113 - 40 - 1, 'w');
  AddValue("a", first);
  AddValue("b", second);
  EXPECT_EQ(RunFilterTask(), 0);
  ExpectFilterSegment({{"a", first}, {"b", second}});
}

TEST_F(ResponseTest, AValueThatJustDoesNotFitWaitsForTheNextSegment) {
  const std::string first(100, 'v');
  const std::string second(2047 - 113 - 40 - 1 + 1, 'w');
  AddValue("a", first);
  AddValue("b", second);
  AddValue("c", "3");
  EXPECT_EQ(RunFilterTask(), 0);
  EXPECT_TRUE(log().ContainsInfo("There is no more space to store another message.\n"));
  ExpectFilterSegment({{"a", first}});
  EXPECT_FALSE(IsAnswerEmpty());
  EXPECT_EQ(platform().RunNext(nc_dm_agent_send_filter_rsp_lst), 0);
  ExpectFilterSegment({{"b", second}, {"c", "3"}});
  EXPECT_EQ(platform().RunNext(nc_dm_agent_send_filter_rsp_lst), 0);
  ExpectEnd(NC_DM_MSG_TYPE_FILTER_RSP);
}

TEST_F(ResponseTest, ManyValuesArriveCompleteAndInOrder) {
  constexpr int kCount = 500;
  for (int i = 0; i < kCount; i++) AddValue("net.vrf.name." + std::to_string(i), std::to_string(i));
  EXPECT_EQ(RunFilterTask(), 0);
  int next = 0;
  for (;;) {
    const Frame frame = peer().Receive();
    EXPECT_LE(frame.body.size(), 2047u);
    BodyReader body(frame.body);
    if (body.Int32() == NC_DM_PKT_TYPE_END) break;
    for (int i = 0; i < frame.head.entry_cnt; i++, next++) {
      EXPECT_EQ(body.Text(), "net.vrf.name." + std::to_string(next));
      EXPECT_EQ(body.Text(), std::to_string(next));
    }
    EXPECT_TRUE(body.AtEnd());
    ASSERT_EQ(platform().RunNext(nc_dm_agent_send_filter_rsp_lst), 0);
  }
  EXPECT_EQ(next, kCount);
}

TEST_F(ResponseTest, AFilterSegmentThatCannotBeSentEndsTheAnswer) {
  peer().Close();
  AddValue("a", std::string(1500, 'v'));
  AddValue("b", std::string(1500, 'v'));
  EXPECT_EQ(RunFilterTask(), -2);
  EXPECT_TRUE(log().ContainsError("Dm agent failed to filter rsp list message!\n"));
  EXPECT_TRUE(log().ContainsError("Failed to send filter response message!\n"));
  EXPECT_TRUE(IsAnswerEmpty());
  EXPECT_EQ(info().fault.fault_code, NC_DM_FAULT_CODE_LINK);
  EXPECT_EQ(tasks().tt_fltrsp, nullptr);
  EXPECT_NE(tasks().tt_reconnect, nullptr);
}

TEST_F(ResponseTest, AFilterEndThatCannotBeSentIsAFault) {
  peer().Close();
  EXPECT_EQ(RunFilterTask(), -2);
  EXPECT_TRUE(log().ContainsInfo("The id_array list has already sent completely.\n"));
  EXPECT_EQ(info().fault.fault_code, NC_DM_FAULT_CODE_LINK);
  EXPECT_FALSE(log().ContainsInfo("Handle filter message successfully.\n"));
  EXPECT_NE(tasks().tt_reconnect, nullptr);
}

TEST_F(ResponseTest, AFailedAnswerIsReportedByAFault) {
  AddValue("a", "1");
  nc_dm_agent_handle_event(NC_DM_EVENT_FLTRSP_WRITE, agent_fd(), 0);
  FillSocket();
  EXPECT_EQ(platform().RunNext(nc_dm_agent_send_filter_rsp_lst), -2);
  // What was built last stands in the buffer.
  Frame frame;
  memcpy(&frame.head, info().send_msg_buf, sizeof(frame.head));
  frame.body.assign(info().send_msg_buf + sizeof(frame.head), static_cast<size_t>(frame.head.len));
  EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_FAULT);
  EXPECT_EQ(frame.head.sid, 77);
  BodyReader body(frame.body);
  EXPECT_EQ(body.Int32(), NC_DM_FAULT_CODE_LINK);
  EXPECT_EQ(body.Text(), "");
}

TEST_F(ResponseTest, TheFilterTaskNeedsATask) {
  AddValue("a", "1");
  EXPECT_EQ(nc_dm_agent_send_filter_rsp_lst(nullptr), -1);
  EXPECT_TRUE(log().ContainsError("DM client filter response zu_thread is null.\n"));
  EXPECT_TRUE(IsAnswerEmpty());
  EXPECT_EQ(info().fault.fault_code, -1);
  EXPECT_TRUE(peer().IsQuiet());
}

TEST_F(ResponseTest, TheGetTimeIsPrintedAtTheEnd) {
  const DebugMask timing(NC_DM_DBG_TIMING);
  info().get_time = 1.5;
  AddValue("a", "1");
  EXPECT_EQ(RunFilterTask(), 0);
  EXPECT_TRUE(log().Records().empty());
  EXPECT_EQ(info().get_time, 1.5);
  EXPECT_EQ(platform().RunNext(nc_dm_agent_send_filter_rsp_lst), 0);
  EXPECT_EQ(log().Joined(), "[get time]:1.500000 sec.\n");
  EXPECT_EQ(info().get_time, 0);
  const LogRecord record = log().Records().front();
  EXPECT_EQ(record.level, 7);
  EXPECT_EQ(record.module, "UNKNOW_MODULE");
  EXPECT_EQ(record.kind, "DEBUG");
  EXPECT_EQ(record.type, LOG_TYPE_DEBUG);
}

TEST_F(ResponseTest, TheGetTimeIsKeptWithoutTheTimingBit) {
  info().get_time = 1.5;
  EXPECT_EQ(RunFilterTask(), 0);
  EXPECT_EQ(info().get_time, 1.5);
  EXPECT_FALSE(log().Contains("[get time]:1.500000 sec.\n"));
}

TEST_F(ResponseTest, TheGetTimeIsPrintedWithAFault) {
  const DebugMask timing(NC_DM_DBG_TIMING);
  peer().Close();
  info().get_time = 2;
  AddValue("a", "1");
  EXPECT_EQ(RunFilterTask(), -2);
  EXPECT_EQ(log().Joined(), "[get time]:2.000000 sec.\n");
  log().Clear();
  info().get_time = 2;
  EXPECT_EQ(RunFilterTask(), -2);
  EXPECT_EQ(log().Joined(), "[get time]:2.000000 sec.\n[get time]:0.000000 sec.\n");
}

TEST_F(ResponseTest, AFilterSegmentNeedsAMessageAndAList) {
  char buf[NC_DM_SEND_BUF_SIZE];
  nc_dm_msg_t* message = nc_dm_agent_init_out_msg(buf, sizeof(buf));
  nc_dm_stub_filter_rsp_list_t without_list = {NC_DM_PKT_TYPE_SEGMENT, nullptr};
  nc_dm_stub_filter_rsp_list_t list = {NC_DM_PKT_TYPE_SEGMENT, &info().param_list};
  EXPECT_EQ(nc_dm_agent_send_filter_rsp(agent_fd(), nullptr, &list), -1);
  EXPECT_EQ(nc_dm_agent_send_filter_rsp(agent_fd(), message, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_send_filter_rsp(agent_fd(), message, &without_list), -1);
  EXPECT_TRUE(peer().IsQuiet());
}

// ---- Get-id ----

TEST_F(ResponseTest, AGetidAnswerIsSegmentsAndAnEnd) {
  AddIds({3, 7});
  AddIds({});
  AddIds({INT64_MAX});
  EXPECT_EQ(RunGetidTask(), 0);
  ExpectGetidSegment({{3, 7}, {}, {INT64_MAX}});
  EXPECT_TRUE(log().ContainsInfo("The list id_array entry count: 3\n"));
  EXPECT_TRUE(IsAnswerEmpty());

  EXPECT_EQ(platform().RunNext(nc_dm_agent_send_getid_rsp_lst), 0);
  ExpectEnd(NC_DM_MSG_TYPE_GETID_RSP);
  EXPECT_TRUE(log().ContainsInfo("The id_array list has already sent completely.\n"));
  EXPECT_TRUE(log().ContainsInfo("Handle getid message successfully.\n"));
  EXPECT_EQ(platform().Pending().size(), 0u);
  EXPECT_EQ(info().param_list.cnt, 0);
}

TEST_F(ResponseTest, IdsAreTracedOnPacketLevel) {
  const DebugMask packets(NC_DM_DBG_PACKET);
  AddIds({3, INT64_MIN});
  EXPECT_EQ(RunGetidTask(), 0);
  EXPECT_TRUE(log().ContainsPacket("Current id_array->cnt: 2\n"));
  EXPECT_TRUE(log().ContainsPacket("Current id_array->id[0]: 3\n"));
  EXPECT_TRUE(log().ContainsPacket("Current id_array->id[1]: -9223372036854775808\n"));
}

TEST_F(ResponseTest, AGetidSegmentHolds15ArraysOf16Ids) {
  std::vector<std::vector<nc_int64>> arrays;
  for (int i = 0; i < 16; i++) {
    arrays.emplace_back(16, i + 1);
    AddIds(arrays.back());
  }
  EXPECT_EQ(RunGetidTask(), 0);
  EXPECT_TRUE(log().ContainsInfo("There is no more space to store another message.\n"));
  EXPECT_TRUE(log().ContainsInfo("The list id_array entry count: 15\n"));
  ExpectGetidSegment({arrays.begin(), arrays.begin() + 15});
  EXPECT_EQ(platform().RunNext(nc_dm_agent_send_getid_rsp_lst), 0);
  ExpectGetidSegment({arrays.back()});
  EXPECT_EQ(platform().RunNext(nc_dm_agent_send_getid_rsp_lst), 0);
  ExpectEnd(NC_DM_MSG_TYPE_GETID_RSP);
}

TEST_F(ResponseTest, Exactly15ArraysOf16IdsAreOneSegment) {
  const std::vector<std::vector<nc_int64>> arrays(15, std::vector<nc_int64>(16, 9));
  for (const auto& ids : arrays) AddIds(ids);
  EXPECT_EQ(RunGetidTask(), 0);
  EXPECT_FALSE(log().ContainsInfo("There is no more space to store another message.\n"));
  ExpectGetidSegment(arrays);
  EXPECT_TRUE(IsAnswerEmpty());
}

// Room is judged by the longest array, whatever the next one is: 4 + 12 n + 192 may reach 2047.
TEST_F(ResponseTest, AGetidSegmentHolds155ArraysOf1Id) {
  const std::vector<std::vector<nc_int64>> arrays(156, {5});
  for (const auto& ids : arrays) AddIds(ids);
  EXPECT_EQ(RunGetidTask(), 0);
  ExpectGetidSegment({arrays.begin(), arrays.begin() + 155});
  EXPECT_EQ(platform().RunNext(nc_dm_agent_send_getid_rsp_lst), 0);
  ExpectGetidSegment({{5}});
}

TEST_F(ResponseTest, ACountBeyondTheArrayIsCut) {
  AddIds(std::vector<nc_int64>(16, 1));
  auto* node = reinterpret_cast<nc_dm_id_array_node_t*>(info().param_list.head.next);
  node->id_array.cnt = 17;
  EXPECT_EQ(RunGetidTask(), 0);
  ExpectGetidSegment({std::vector<nc_int64>(16, 1)});
}

TEST_F(ResponseTest, AGetidSegmentThatCannotBeSentEndsTheAnswer) {
  peer().Close();
  for (int i = 0; i < 20; i++) AddIds(std::vector<nc_int64>(16, 1));
  EXPECT_EQ(RunGetidTask(), -2);
  EXPECT_TRUE(log().ContainsError("Dm agent failed to message!\n"));
  EXPECT_TRUE(log().ContainsError("Failed to send getid_rsp segment message!\n"));
  EXPECT_TRUE(IsAnswerEmpty());
  EXPECT_EQ(info().fault.fault_code, NC_DM_FAULT_CODE_LINK);
  EXPECT_EQ(tasks().tt_idrsp, nullptr);
  EXPECT_NE(tasks().tt_reconnect, nullptr);
}

TEST_F(ResponseTest, AGetidEndThatCannotBeSentIsAFault) {
  peer().Close();
  EXPECT_EQ(RunGetidTask(), -2);
  EXPECT_TRUE(log().ContainsError("Failed to send getid_rsp end message.\n"));
  EXPECT_EQ(info().fault.fault_code, NC_DM_FAULT_CODE_LINK);
}

TEST_F(ResponseTest, TheGetidTaskNeedsATask) {
  AddIds({1});
  EXPECT_EQ(nc_dm_agent_send_getid_rsp_lst(nullptr), -1);
  EXPECT_TRUE(log().ContainsError("DM client getid_rsp zu_thread is null.\n"));
  EXPECT_TRUE(IsAnswerEmpty());
  EXPECT_EQ(info().fault.fault_code, -1);
}

TEST_F(ResponseTest, TheGetidTaskPrintsNoTimes) {
  const DebugMask timing(NC_DM_DBG_TIMING);
  info().get_time = 1;
  EXPECT_EQ(RunGetidTask(), 0);
  EXPECT_TRUE(log().Records().empty());
  EXPECT_EQ(info().get_time, 1);
}

TEST_F(ResponseTest, AGetidSegmentNeedsAMessageAndAList) {
  char buf[NC_DM_SEND_BUF_SIZE];
  nc_dm_msg_t* message = nc_dm_agent_init_out_msg(buf, sizeof(buf));
  nc_dm_stub_getid_rsp_t without_list = {NC_DM_PKT_TYPE_SEGMENT, nullptr};
  nc_dm_stub_getid_rsp_t list = {NC_DM_PKT_TYPE_SEGMENT, &info().param_list};
  EXPECT_EQ(nc_dm_agent_send_getid_rsp(agent_fd(), nullptr, &list), -1);
  EXPECT_EQ(nc_dm_agent_send_getid_rsp(agent_fd(), message, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_send_getid_rsp(agent_fd(), message, &without_list), -1);
  EXPECT_TRUE(peer().IsQuiet());
}

// A segment that was sent, but whose next one cannot be scheduled.
TEST_F(ResponseTest, AnAnswerWhoseNextSegmentCannotBeScheduledIsReleased) {
  AddValue("a", std::string(1500, 'v'));
  AddValue("b", std::string(1500, 'v'));
  nc_dm_agent_handle_event(NC_DM_EVENT_FLTRSP_WRITE, agent_fd(), 0);
  platform().FailNext(1);
  EXPECT_EQ(platform().RunNext(nc_dm_agent_send_filter_rsp_lst), 0);
  EXPECT_TRUE(IsAnswerEmpty());
  EXPECT_EQ(tasks().tt_fltrsp, nullptr);
}

}  // namespace
}  // namespace ncdm_test
