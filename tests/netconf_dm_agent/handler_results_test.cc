// The handlers' own results, which the dispatcher only tells from 0.
#include "agent_fixture.h"

namespace ncdm_test {
namespace {

using Handler = int (*)(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);

class HandlerResultTest : public AgentTest {
 protected:
  void SetUp() override { InitWithPeer(); }

  int Call(Handler handler, const Body& body = {}) {
    nc_dm_msg_t* message = nc_dm_agent_init_in_msg();
    memcpy(message->buf, body.bytes().data(), body.bytes().size());
    message->head.len = static_cast<nc_int32>(body.bytes().size());
    fault_ = {};
    return handler(agent_fd(), message, &fault_);
  }

  nc_dm_fault_t fault_ = {};
};

TEST_F(HandlerResultTest, WithoutATree) {
  info().agent_tree_init = false;
  for (const Handler handler :
       {nc_dm_agent_handle_msg_edit, nc_dm_agent_handle_msg_filter, nc_dm_agent_handle_msg_getid}) {
    EXPECT_EQ(Call(handler, Body().Int32(NC_DM_PKT_TYPE_COMMIT)), -1);
    EXPECT_EQ(fault_.fault_code, NC_DM_FAULT_CODE_INIT);
  }
  for (const Handler handler : {nc_dm_agent_handle_msg_dbg, nc_dm_agent_handle_msg_show}) {
    EXPECT_EQ(Call(handler, Body().Int32(1).Int32(1)), -1);
    EXPECT_EQ(fault_.fault_code, NC_DM_FAULT_CODE_OK);
  }
}

TEST_F(HandlerResultTest, WithoutAPacketType) {
  for (const Handler handler :
       {nc_dm_agent_handle_msg_edit, nc_dm_agent_handle_msg_filter, nc_dm_agent_handle_msg_getid}) {
    EXPECT_EQ(Call(handler), -1);
    EXPECT_EQ(fault_.fault_code, NC_DM_FAULT_CODE_PARSE);
  }
  EXPECT_EQ(Call(nc_dm_agent_handle_msg_dbg, Body().Int32(1)), -1);
  EXPECT_EQ(Call(nc_dm_agent_handle_msg_reg_rsp), -1);
  EXPECT_EQ(fault_.fault_code, NC_DM_FAULT_CODE_PARSE);
}

TEST_F(HandlerResultTest, AnEditThatFails) {
  EXPECT_EQ(Call(nc_dm_agent_handle_msg_edit, Body().Int32(NC_DM_PKT_TYPE_OBJECT_END)), -1);
}

TEST_F(HandlerResultTest, AnAnswerThatCannotBeSent) {
  peer().Close();
  EXPECT_EQ(Call(nc_dm_agent_handle_msg_edit, Body().Int32(NC_DM_PKT_TYPE_END)), -1);
  EXPECT_EQ(fault_.fault_code, NC_DM_FAULT_CODE_LINK);
}

TEST_F(HandlerResultTest, NoMessageIsLogged) {
  EXPECT_EQ(nc_dm_agent_handle_msg(agent_fd(), nullptr), -1);
  EXPECT_TRUE(log().ContainsError("Input parameter in_msg is invalid!\n"));
}

TEST_F(HandlerResultTest, OnlyAFilterThatCannotBeDecodedIsLoggedAsSuch) {
  const char* line = "Failed to decode filter list message!\n";
  EXPECT_EQ(Call(nc_dm_agent_handle_msg_filter, Body().Int32(NC_DM_PKT_TYPE_SEGMENT)), 0);
  EXPECT_FALSE(log().ContainsError(line));
  nc_dm_msg_t* message = nc_dm_agent_init_in_msg();
  const Body body = Body().Int32(NC_DM_PKT_TYPE_SEGMENT);
  memcpy(message->buf, body.bytes().data(), body.bytes().size());
  message->head.len = static_cast<nc_int32>(body.bytes().size());
  message->head.entry_cnt = 1;  // which is not there
  EXPECT_NE(nc_dm_agent_handle_msg_filter(agent_fd(), message, &fault_), 0);
  EXPECT_TRUE(log().ContainsError(line));
}

}  // namespace
}  // namespace ncdm_test
