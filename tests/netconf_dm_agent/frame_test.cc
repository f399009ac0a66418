#include <algorithm>

#include "agent_fixture.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;

class FrameTest : public AgentTest {
 protected:
  void SetUp() override { InitWithPeer(); }

  // A frame whose head announces `len` bytes, whatever follows.
  void SendHead(int type, int len) {
    const nc_dm_msg_head_t head = {type, 7, 0, 0, NC_DM_DATASTORE_RUNNING, len};
    peer().Send(std::string(reinterpret_cast<const char*>(&head), sizeof(head)));
  }
  int Receive() { return nc_dm_agent_recv(agent_fd()); }
};

TEST_F(FrameTest, TheReceiveBufferIsHandedOutZeroed) {
  memset(info().recv_msg_buf, 0xff, sizeof(info().recv_msg_buf));
  nc_dm_msg_t* message = nc_dm_agent_init_in_msg();
  EXPECT_EQ(reinterpret_cast<char*>(message), info().recv_msg_buf);
  EXPECT_TRUE(std::all_of(info().recv_msg_buf, std::end(info().recv_msg_buf),
                          [](char byte) { return byte == 0; }));
}

TEST_F(FrameTest, AFrameLeavesNothingBehindForTheNext) {
  ASSERT_EQ(Handle(NC_DM_MSG_TYPE_FILTER_RSP, std::string(2000, 'x')), 0);
  ASSERT_EQ(Handle(NC_DM_MSG_TYPE_FILTER_RSP, "ab"), 0);
  char* behind = info().recv_msg_buf + NC_DM_MSG_HEAD_SIZE;
  EXPECT_EQ(std::string(behind, 2), "ab");
  EXPECT_TRUE(
      std::all_of(behind + 2, std::end(info().recv_msg_buf), [](char byte) { return byte == 0; }));
}

TEST_F(FrameTest, SendWritesHeadAndBody) {
  char buf[64];
  nc_dm_msg_t* message = nc_dm_agent_init_out_msg(buf, sizeof(buf));
  message->head = {3, 4, 5, 6, 1, 2};
  memcpy(message->buf, "ok", 2);
  EXPECT_EQ(nc_dm_agent_send(agent_fd(), message), 0);

  const Frame frame = peer().Receive();
  EXPECT_EQ(frame.head.type, 3);
  EXPECT_EQ(frame.head.sid, 4);
  EXPECT_EQ(frame.head.flag, 5);
  EXPECT_EQ(frame.head.entry_cnt, 6);
  EXPECT_EQ(frame.head.ds_type, 1);
  EXPECT_EQ(frame.body, "ok");
  EXPECT_TRUE(peer().IsQuiet());
  EXPECT_TRUE(log().ContainsInfo("Message type=3, len=2\n"));
}

TEST_F(FrameTest, SendDumpsTheBodyOnPacketLevel) {
  const DebugMask packets(NC_DM_DBG_PACKET);
  char buf[64];
  nc_dm_msg_t* message = nc_dm_agent_init_out_msg(buf, sizeof(buf));
  message->head.len = 5;
  memcpy(message->buf, "\x01\xab\x10\x00\xff", 5);
  EXPECT_EQ(nc_dm_agent_send(agent_fd(), message), 0);
  EXPECT_EQ(log().Joined(), "1 AB 10 0 |FF \n\n");
}

TEST_F(FrameTest, SendRefusesNull) {
  EXPECT_EQ(nc_dm_agent_send(agent_fd(), nullptr), -1);
  EXPECT_TRUE(log().ContainsError("Input parameter out_msg is invalid!\n"));
}

// The process lives: nothing catches SIGPIPE here.
TEST_F(FrameTest, SendToAPeerThatWentAwayBreaksTheConnectionWithoutASignal) {
  peer().Close();
  char buf[64];
  nc_dm_msg_t* message = nc_dm_agent_init_out_msg(buf, sizeof(buf));
  message->head.len = 3;
  EXPECT_EQ(nc_dm_agent_send(agent_fd(), message), -2);
  EXPECT_TRUE(log().ContainsError("Failed to write data, len=27, write len=-1!\n"));
}

TEST_F(FrameTest, SendOnAFullSocketBreaksTheConnection) {
  FillSocket();
  char buf[64];
  EXPECT_EQ(nc_dm_agent_send(agent_fd(), nc_dm_agent_init_out_msg(buf, sizeof(buf))), -2);
  EXPECT_TRUE(log().ContainsError("Failed to write data, len=24, write len=-1!\n"));
}

TEST_F(FrameTest, TheHeadIsLogged) {
  Handle(NC_DM_MSG_TYPE_FILTER_RSP, "abc", 9, 2, 1, NC_DM_DATASTORE_SDN);
  EXPECT_TRUE(log().ContainsInfo(
      "app client recieve message type=18, sid=9, entry_cnt=2, ds_type=6, len=3\n"));
}

TEST_F(FrameTest, ABodyOf2536BytesIsAccepted) {
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_FILTER_RSP, std::string(2536, 'x'), 7), 0);
  ExpectFault(NC_DM_FAULT_CODE_MSGTYPE, 7);
  EXPECT_EQ(info().recv_msg_buf[NC_DM_RECV_BUF_SIZE - 1], 'x');
}

TEST_F(FrameTest, ABodyOf2537BytesBreaksTheConnectionUnread) {
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_FILTER_RSP, std::string(2537, 'x')), -2);
  EXPECT_TRUE(log().ContainsError("The length of in msg have reach max! in_msg->head.len=2537\n"));
  EXPECT_TRUE(peer().IsQuiet());
  char rest[4096];
  EXPECT_EQ(recv(agent_fd(), rest, sizeof(rest), MSG_DONTWAIT), 2537);
}

TEST_F(FrameTest, ANegativeLengthCountsAsDisconnection) {
  SendHead(NC_DM_MSG_TYPE_FILTER, -1);
  EXPECT_EQ(Receive(), -2);
  EXPECT_TRUE(log().ContainsError("Disconnected with server and clear connect info.\n"));
  SendHead(NC_DM_MSG_TYPE_FILTER, INT32_MIN);
  EXPECT_EQ(Receive(), -2);
}

TEST_F(FrameTest, AnEmptyBodyIsAccepted) {
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_UNREG_CLIENT_RSP, ""), 0);
  EXPECT_TRUE(peer().IsQuiet());
}

TEST_F(FrameTest, ATypeThatIsNotForTheAgentLeavesItsBodyUnread) {
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_EDIT_RSP, std::string(16, 'x')), -1);
  EXPECT_TRUE(log().ContainsError("Unkown message type!\n"));
  EXPECT_TRUE(peer().IsQuiet());
  char rest[64];
  EXPECT_EQ(recv(agent_fd(), rest, sizeof(rest), MSG_DONTWAIT), 16);
}

TEST_F(FrameTest, EightTypesAreAccepted) {
  std::vector<int> accepted;
  for (int type = -1; type <= 64; type++) {
    nc_dm_msg_t* message = nc_dm_agent_init_in_msg();
    message->head.type = type;
    if (nc_dm_agent_get_msg(agent_fd(), message) == 0) accepted.push_back(type);
  }
  EXPECT_THAT(accepted, ElementsAre(3, 13, 17, 18, 22, 23, 25, 26));
  EXPECT_EQ(log().Count(kErrorPrefix, "Unkown message type!\n"), 66 - 8);
}

TEST_F(FrameTest, GetMsgRefusesNull) {
  EXPECT_EQ(nc_dm_agent_get_msg(agent_fd(), nullptr), -1);
  EXPECT_TRUE(log().ContainsError("Input parameter in_msg is invalid!\n"));
}

TEST_F(FrameTest, AResponseTypeIsReadWholeAndThenRefused) {
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_FILTER_RSP, std::string(100, 'x'), 5), 0);
  EXPECT_TRUE(log().ContainsError("'app' client receive Unknown message type!\n"));
  ExpectFault(NC_DM_FAULT_CODE_MSGTYPE, 5);
  char rest[64];
  EXPECT_LT(recv(agent_fd(), rest, sizeof(rest), MSG_DONTWAIT), 0);
}

TEST_F(FrameTest, TheEndOfTheStreamBreaksTheConnection) {
  peer().Close();
  EXPECT_EQ(Receive(), -2);
  EXPECT_EQ(log().Count(kErrorPrefix, "Disconnected with server and clear connect info.\n"), 1);
}

TEST_F(FrameTest, TheEndWithinAHeadBreaksTheConnection) {
  peer().Send(std::string(23, 'x'));
  peer().Close();
  EXPECT_EQ(Receive(), -2);
  EXPECT_EQ(log().Count(kErrorPrefix, "Disconnected with server and clear connect info.\n"), 1);
}

TEST_F(FrameTest, TheEndWithinABodyBreaksTheConnection) {
  SendHead(NC_DM_MSG_TYPE_FILTER, 4);
  peer().Send("abc");
  peer().Close();
  EXPECT_EQ(Receive(), -2);
  EXPECT_EQ(log().Count(kErrorPrefix, "Disconnected with server and clear connect info.\n"), 1);
}

TEST_F(FrameTest, AHeadThatDoesNotComeBreaksTheConnection) {
  EXPECT_EQ(Receive(), -2);
  EXPECT_TRUE(log().ContainsError("failed to receive message, received -1, errno = " +
                                  std::to_string(EAGAIN) + ", " + strerror(EAGAIN) + "\n"));
}

TEST_F(FrameTest, ABodyThatDoesNotComeBreaksTheConnection) {
  SendHead(NC_DM_MSG_TYPE_FILTER, 4);
  peer().Send("abc");
  EXPECT_EQ(Receive(), -2);
  EXPECT_TRUE(log().ContainsError("Failed to receive message, received -1, errno = " +
                                  std::to_string(EAGAIN) + ", " + strerror(EAGAIN) + ".\n"));
}

TEST_F(FrameTest, ADescriptorThatIsNoneBreaksTheConnection) {
  EXPECT_EQ(nc_dm_agent_recv(-1), -2);
  EXPECT_TRUE(log().ContainsError("failed to receive message, received -1, errno = " +
                                  std::to_string(EBADF) + ", " + strerror(EBADF) + "\n"));
}

TEST_F(FrameTest, OneFrameIsReceivedAtATime) {
  peer().Send(NC_DM_MSG_TYPE_FILTER_RSP, "a", 1);
  peer().Send(NC_DM_MSG_TYPE_FILTER_RSP, "b", 2);
  EXPECT_EQ(Receive(), 0);
  ExpectFault(NC_DM_FAULT_CODE_MSGTYPE, 1);
  EXPECT_TRUE(peer().IsQuiet());
  EXPECT_EQ(Receive(), 0);
  ExpectFault(NC_DM_FAULT_CODE_MSGTYPE, 2);
}

TEST_F(FrameTest, TheReceivedDumpShowsBytesAndCharacters) {
  const DebugMask packets(NC_DM_DBG_PACKET);
  memcpy(nc_dm_agent_init_in_msg(), "AB\xff\x01z", 5);
  nc_dm_agent_dbg_print_recv_msg(5);
  EXPECT_EQ(log().Joined(), "Message: 41 42 FF 1 |7A \n\nAB\xff\x01z\n\n");
  // Each piece is a call of its own: a text, 5 bytes, a bar, an end, 5 characters, an end.
  EXPECT_EQ(log().Records().size(), 1u + 5 + 1 + 1 + 5 + 1);
}

TEST_F(FrameTest, TheReceivedDumpNeedsThePacketBit) {
  const DebugMask all_but_packets(~NC_DM_DBG_PACKET);
  nc_dm_agent_dbg_print_recv_msg(24);
  EXPECT_TRUE(log().Records().empty());
}

TEST_F(FrameTest, TheReceivedDumpStaysWithinTheBuffer) {
  const DebugMask packets(NC_DM_DBG_PACKET);
  nc_dm_agent_init_in_msg();
  nc_dm_agent_dbg_print_recv_msg(NC_DM_RECV_BUF_SIZE);
  const std::string whole = log().Joined();
  EXPECT_FALSE(whole.empty());
  log().Clear();
  nc_dm_agent_dbg_print_recv_msg(INT32_MAX);
  EXPECT_EQ(log().Joined(), whole);
  log().Clear();
  nc_dm_agent_dbg_print_recv_msg(-1);
  EXPECT_EQ(log().Joined(), "Message: \n\n\n\n");
}

}  // namespace
}  // namespace ncdm_test
