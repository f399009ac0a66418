#include "agent_fixture.h"

namespace ncdm_test {
namespace {

int g_calls;
int Count() {
  g_calls++;
  return -1;  // of no consequence
}

class RegRspTest : public AgentTest {
 protected:
  void SetUp() override {
    InitWithPeer();
    g_calls = 0;
    info().reg_rsp_handler = Count;
    info().agent_restart = true;
  }
};

TEST_F(RegRspTest, ASuccessfulRegistrationIsNoted) {
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_REG_RSP, Body().Int32(0)), 0);
  EXPECT_TRUE(log().ContainsInfo("Register to server successfully.\n"));
  EXPECT_EQ(g_calls, 0);
  EXPECT_FALSE(info().agent_restart);
  EXPECT_TRUE(peer().IsQuiet());
}

TEST_F(RegRspTest, AFailedRegistrationIsTheApplicationsBusiness) {
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_REG_RSP, Body().Int32(-9).Text("a.b"), 1, 0, NC_DM_MSG_FLAG_NAME),
            0);
  EXPECT_TRUE(log().ContainsError("Failed to Register to server, fault code=-9, path:a.b\n"));
  EXPECT_EQ(g_calls, 1);
  EXPECT_FALSE(info().agent_restart);
  EXPECT_TRUE(peer().IsQuiet());
}

bool g_restart_in_handler;

TEST_F(RegRspTest, TheRestartIsOverBeforeTheApplicationIsTold) {
  g_restart_in_handler = true;
  info().reg_rsp_handler = [] {
    return static_cast<int>(g_restart_in_handler = info().agent_restart);
  };
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_REG_RSP, Body().Int32(1)), 0);
  EXPECT_FALSE(g_restart_in_handler);
}

TEST_F(RegRspTest, AFailedRegistrationNeedsNoHandlerAndNoPath) {
  info().reg_rsp_handler = nullptr;
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_REG_RSP, Body().Int32(1)), 0);
  EXPECT_TRUE(log().ContainsError("Failed to Register to server, fault code=1, path:(null)\n"));
  EXPECT_EQ(g_calls, 0);
}

TEST_F(RegRspTest, ASpareByteIsAParseFault) {
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_REG_RSP, Body().Int32(-9).Text("a").bytes() + "x", 8, 0,
                   NC_DM_MSG_FLAG_NAME),
            0);
  ExpectFault(NC_DM_FAULT_CODE_PARSE, 8);
  EXPECT_EQ(g_calls, 0);
  // The server has answered all the same.
  EXPECT_FALSE(info().agent_restart);
}

TEST_F(RegRspTest, AMissingCodeIsAParseFault) {
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_REG_RSP, "abc", 8), 0);
  ExpectFault(NC_DM_FAULT_CODE_PARSE, 8);
}

TEST_F(RegRspTest, TheHandlerOfInitIsTheOneThatIsCalled) {
  ASSERT_EQ(close(agent_fd()), 0);
  ASSERT_EQ(Init(nullptr, Count), 0);
  close(agent_fd());
  Connect();
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_REG_RSP, Body().Int32(1)), 0);
  EXPECT_EQ(g_calls, 1);
}

}  // namespace
}  // namespace ncdm_test
