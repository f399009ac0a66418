#include "agent_fixture.h"

namespace ncdm_test {
namespace {

int g_farewells;
int Farewell() {
  g_farewells++;
  return -1;  // of no consequence
}

int RegisterOneLeaf() {
  char path[] = "sys.a";
  return nc_dm_agent_mode_reg(path, NC_DM_VAL_TYPE_BOOL, 0, 0, nullptr, nullptr, nullptr, nullptr,
                              nullptr, nullptr, nullptr);
}

class LeaveTest : public AgentTest {
 protected:
  void SetUp() override {
    InitWithPeer();
    g_farewells = 0;
  }

  void Answer() {
    EXPECT_EQ(Handle(NC_DM_MSG_TYPE_UNREG_CLIENT_RSP, "anything at all"), 0);
    EXPECT_TRUE(peer().IsQuiet());
  }
  static int SendRequest() { return platform().RunNext(nc_dm_agent_unreg_client); }
  void ExpectRequest() {
    const Frame frame = peer().Receive();
    EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_UNREG_CLIENT);
    EXPECT_EQ(frame.head.sid, 0);
    EXPECT_EQ(frame.head.flag, 0);
    EXPECT_EQ(frame.body, "");
  }
  void Ask() {
    ASSERT_EQ(nc_dm_agent_unreg_all(Farewell), 0);
    ASSERT_EQ(SendRequest(), 0);
    ExpectRequest();
  }
};

TEST_F(LeaveTest, TheServerIsAskedToForgetTheClient) {
  nc_dm_agent_handle_event(NC_DM_EVENT_UNREG_CLIENT, 0, 0);
  EXPECT_EQ(SendRequest(), 0);
  EXPECT_EQ(tasks().tt_unreg_client, nullptr);
  ExpectRequest();
  EXPECT_TRUE(platform().Pending().empty());
}

TEST_F(LeaveTest, ARequestThatCannotBeSentAsksForAConnection) {
  peer().Close();
  nc_dm_agent_handle_event(NC_DM_EVENT_UNREG_CLIENT, 0, 0);
  EXPECT_EQ(SendRequest(), -2);
  EXPECT_NE(tasks().tt_reconnect, nullptr);
  EXPECT_EQ(tasks().tt_unreg_client, nullptr);
}

TEST_F(LeaveTest, AnAnswerIsReportedOnceForARequest) {
  Ask();
  for (int i = 0; i < 5; i++) Answer();
  EXPECT_EQ(g_farewells, 1);
}

TEST_F(LeaveTest, EachOfTwoRequestsHasItsAnswer) {
  Ask();
  Ask();
  for (int i = 0; i < 5; i++) Answer();
  EXPECT_EQ(g_farewells, 2);
}

TEST_F(LeaveTest, WithoutARequestNobodyIsTold) {
  Answer();
  EXPECT_EQ(g_farewells, 0);
}

TEST_F(LeaveTest, AnAnswerThatComesBeforeTheRequestIsNone) {
  ASSERT_EQ(nc_dm_agent_unreg_all(Farewell), 0);
  Answer();
  EXPECT_EQ(g_farewells, 0);
  EXPECT_EQ(SendRequest(), 0);
  ExpectRequest();
  Answer();
  EXPECT_EQ(g_farewells, 1);
}

TEST_F(LeaveTest, ALostConnectionTakesTheRequestWithIt) {
  Ask();
  nc_dm_agent_clear_connect();
  Connect();
  Answer();
  EXPECT_EQ(g_farewells, 0);
}

TEST_F(LeaveTest, ARequestNeedsNoHandler) {
  ASSERT_EQ(nc_dm_agent_unreg_all(nullptr), 0);
  ASSERT_EQ(SendRequest(), 0);
  ExpectRequest();
  Answer();
}

TEST_F(LeaveTest, TheHandlerMayAskAgain) {
  ASSERT_EQ(nc_dm_agent_unreg_all([] {
              g_farewells += 10;
              EXPECT_EQ(RegisterOneLeaf(), 0);
              return nc_dm_agent_unreg_all(Farewell);
            }),
            0);
  ASSERT_EQ(SendRequest(), 0);
  ExpectRequest();
  Answer();
  EXPECT_EQ(g_farewells, 10);
  ASSERT_EQ(SendRequest(), 0);
  ExpectRequest();
  Answer();
  EXPECT_EQ(g_farewells, 11);
}

}  // namespace
}  // namespace ncdm_test
