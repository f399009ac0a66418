#include <cerrno>

#include "agent_fixture.h"

namespace ncdm_test {
namespace {

struct MessageKind {
  int type;
  const char* log_line;
};

class DispatchTest : public AgentTest {
 protected:
  void SetUp() override { InitWithPeer(); }
};

TEST_F(DispatchTest, EachTypeIsAnnouncedInTheLog) {
  constexpr MessageKind kKinds[] = {
      {NC_DM_MSG_TYPE_REG_RSP, "'app' client receive 'Register Response' message.\n"},
      {NC_DM_MSG_TYPE_EDIT, "'app' client edit 'Edit' message.\n"},
      {NC_DM_MSG_TYPE_FILTER, "'app' client receive 'Filter' message.\n"},
      {NC_DM_MSG_TYPE_UNREG_CLIENT_RSP, "'app' client receive 'Unregister Response' message.\n"},
      {NC_DM_MSG_TYPE_GETID, "'app' client receive 'Getid' message.\n"},
      {NC_DM_MSG_TYPE_DBG, "'app' client receive 'Debug' message.\n"},
      {NC_DM_MSG_TYPE_SHOW, "'app' client receive 'Show' message.\n"},
  };
  for (const MessageKind& kind : kKinds) {
    log().Clear();
    Handle(kind.type, "");
    EXPECT_EQ(log().Count(kInfoPrefix, kind.log_line), 1) << kind.log_line;
  }
}

TEST_F(DispatchTest, AnyOtherTypeIsAFault) {
  for (int type : {-1, 0, 1, 2, 4, 12, 14, 18, 24, 27, 1000}) {
    log().Clear();
    nc_dm_msg_t* message = nc_dm_agent_init_in_msg();
    message->head.type = type;
    message->head.sid = 40 + type;
    EXPECT_EQ(nc_dm_agent_handle_msg(agent_fd(), message), 0);
    EXPECT_TRUE(log().ContainsError("'app' client receive Unknown message type!\n"));
    ExpectFault(NC_DM_FAULT_CODE_MSGTYPE, 40 + type);
  }
}

TEST_F(DispatchTest, AFaultThatCannotBeSentIsTheResult) {
  nc_dm_msg_t* message = nc_dm_agent_init_in_msg();
  peer().Close();
  EXPECT_EQ(nc_dm_agent_handle_msg(agent_fd(), message), -2);
}

TEST_F(DispatchTest, TheFaultGoesToTheDescriptorOfTheRequest) {
  int fds[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
  const Peer here(fds[0]);
  const Peer there(fds[1]);
  EXPECT_EQ(nc_dm_agent_handle_msg(here.fd(), nc_dm_agent_init_in_msg()), 0);
  EXPECT_EQ(there.Receive().type(), NC_DM_MSG_TYPE_FAULT);
  EXPECT_TRUE(peer().IsQuiet());
}

TEST_F(DispatchTest, NoMessageIsRefused) {
  EXPECT_EQ(nc_dm_agent_handle_msg(agent_fd(), nullptr), -1);
  EXPECT_TRUE(log().ContainsError("Input parameter in_msg is invalid!\n"));
  EXPECT_TRUE(peer().IsQuiet());
}

nc_dm_ds_type_t g_seen_datastore;
int g_seen_errno;

int SeeState() {
  g_seen_datastore = g_nc_dm_mng_info.curr_dstype;
  g_seen_errno = errno;
  return 0;
}

TEST_F(DispatchTest, TheDatastoreIsThatOfTheRequestWhileItIsHandled) {
  for (int ds_type :
       {NC_DM_DATASTORE_ERROR + 0, NC_DM_DATASTORE_STARTUP + 0, NC_DM_DATASTORE_SDN + 0}) {
    info().unreg_rsp_handler = SeeState;
    EXPECT_EQ(Handle(NC_DM_MSG_TYPE_UNREG_CLIENT_RSP, "", 1, 0, 0, ds_type), 0);
    EXPECT_EQ(g_seen_datastore, ds_type);
    EXPECT_EQ(info().curr_dstype, NC_DM_DATASTORE_RUNNING);
  }
}

TEST_F(DispatchTest, ANumberThatIsNoDatastoreCountsAsNone) {
  for (int ds_type : {-1, 7, INT32_MIN, INT32_MAX}) {
    info().unreg_rsp_handler = SeeState;
    g_seen_datastore = NC_DM_DATASTORE_SDN;
    EXPECT_EQ(Handle(NC_DM_MSG_TYPE_UNREG_CLIENT_RSP, "", 1, 0, 0, ds_type), 0);
    EXPECT_EQ(g_seen_datastore, NC_DM_DATASTORE_ERROR);
  }
}

TEST_F(DispatchTest, TheDatastoreIsRunningAfterAFaultToo) {
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_EDIT, "", 1, 0, 0, NC_DM_DATASTORE_SDN), 0);
  ExpectFault(NC_DM_FAULT_CODE_PARSE, 1);
  EXPECT_EQ(info().curr_dstype, NC_DM_DATASTORE_RUNNING);
}

TEST_F(DispatchTest, AFrameDoesNotInheritAStaleErrno) {
  info().unreg_rsp_handler = SeeState;
  nc_dm_msg_t* message = nc_dm_agent_init_in_msg();
  message->head.type = NC_DM_MSG_TYPE_UNREG_CLIENT_RSP;
  errno = ERANGE;
  EXPECT_EQ(nc_dm_agent_handle_msg(agent_fd(), message), 0);
  EXPECT_EQ(g_seen_errno, 0);
}

TEST_F(DispatchTest, WithoutATreeRequestsAreFaults) {
  info().agent_tree_init = false;
  for (int type : {NC_DM_MSG_TYPE_EDIT, NC_DM_MSG_TYPE_FILTER, NC_DM_MSG_TYPE_GETID}) {
    log().Clear();
    EXPECT_EQ(Handle(type, Body().Int32(NC_DM_PKT_TYPE_END), 6), 0);
    EXPECT_TRUE(log().ContainsError("Dm tree hasn't bean initialized!\n"));
    ExpectFault(NC_DM_FAULT_CODE_INIT, 6);
  }
}

TEST_F(DispatchTest, WithoutATreeDebugAndShowAreFaultsWithoutACode) {
  info().agent_tree_init = false;
  const DebugMask silent(0);
  for (int type : {NC_DM_MSG_TYPE_DBG, NC_DM_MSG_TYPE_SHOW}) {
    log().Clear();
    EXPECT_EQ(Handle(type, Body().Int32(1).Int32(1), 6), 0);
    EXPECT_EQ(log().Joined(), "Dm tree hasn't bean initialized.\n");
    ExpectFault(NC_DM_FAULT_CODE_OK, 6);
  }
  EXPECT_EQ(g_nc_dm_agent_dbg, 0);
}

// ---- The handlers' own results, which the dispatcher only tells from 0 ----

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
