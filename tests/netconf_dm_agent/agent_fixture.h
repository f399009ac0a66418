// A running agent for tests, and the server that it talks to, played by the test.
#ifndef TESTS_NETCONF_DM_AGENT_AGENT_FIXTURE_H_
#define TESTS_NETCONF_DM_AGENT_AGENT_FIXTURE_H_

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "netconf_dm_kernel.h"
#include "netconf_dm_util/intrusive_list.h"
#include "support/debug_mask.h"
#include "support/fake_platform.h"
#include "support/message_body.h"
#include "support/pending_records.h"
#include "support/temp_dir.h"

namespace ncdm_test {

// Writes a text and its NUL into a buffer that is known to have the room.
inline void WriteText(char* buffer, const std::string& text) {
  memcpy(buffer, text.c_str(), text.size() + 1);
}

// A message as it stands on the wire.
struct Frame {
  nc_dm_msg_head_t head = {};
  std::string body;

  int type() const { return head.type; }
};

// One end of a stream, which the test reads and writes. Waits a while for what has to come.
class Peer {
 public:
  Peer() = default;
  explicit Peer(int fd) : fd_(fd) {}
  Peer(Peer&& other) noexcept : fd_(other.Release()) {}
  Peer& operator=(Peer&& other) noexcept {
    Close();
    fd_ = other.Release();
    return *this;
  }
  ~Peer() { Close(); }

  int fd() const { return fd_; }
  bool IsOpen() const { return fd_ >= 0; }
  void Close() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
  }

  void Send(std::string_view bytes) const {
    ASSERT_EQ(send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }
  void Send(const Frame& frame) const {
    nc_dm_msg_head_t head = frame.head;
    head.len = static_cast<nc_int32>(frame.body.size());
    Send(std::string(reinterpret_cast<const char*>(&head), sizeof(head)) + frame.body);
  }
  void Send(int type, std::string_view body, int sid = 1, int entry_cnt = 0, int flag = 0,
            int ds_type = NC_DM_DATASTORE_RUNNING) const {
    Frame frame;
    frame.head = {type, sid, flag, entry_cnt, ds_type, 0};
    frame.body = body;
    Send(frame);
  }

  // The next message. None within 5 seconds, or the end of the stream, fails the test.
  Frame Receive() const {
    Frame frame;
    if (!Fill(&frame.head, sizeof(frame.head))) return {};
    frame.body.resize(static_cast<size_t>(frame.head.len));
    if (!Fill(frame.body.data(), frame.body.size())) return {};
    return frame;
  }
  // Nothing more has been sent up to now, and the stream is open.
  bool IsQuiet() const {
    char byte;
    return recv(fd_, &byte, 1, MSG_DONTWAIT | MSG_PEEK) < 0 && errno == EAGAIN;
  }
  // Bytes that wait to be read.
  size_t Waiting() const {
    std::vector<char> bytes(1 << 16);
    const ssize_t len = recv(fd_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_PEEK);
    return len < 0 ? 0 : static_cast<size_t>(len);
  }

 private:
  int Release() {
    const int fd = fd_;
    fd_ = -1;
    return fd;
  }
  bool Fill(void* bytes, size_t size) const {
    auto* at = static_cast<char*>(bytes);
    while (size > 0) {
      pollfd waiting = {fd_, POLLIN, 0};
      const ssize_t len = poll(&waiting, 1, 5000) == 1 ? recv(fd_, at, size, 0) : -1;
      if (len <= 0) {
        ADD_FAILURE() << "no message from the agent";
        return false;
      }
      at += len;
      size -= static_cast<size_t>(len);
    }
    return true;
  }

  int fd_ = -1;
};

// The server's socket.
class Server {
 public:
  explicit Server(const TempDir& dir, int backlog = 8) : path_(dir.ServerSocket()) {
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path_.c_str(), path_.size());
    unlink(path_.c_str());
    if (bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(fd_, backlog) != 0) {
      ADD_FAILURE() << "no server socket: " << strerror(errno);
    }
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() {
    close(fd_);
    unlink(path_.c_str());
  }

  Peer Accept() const {
    pollfd waiting = {fd_, POLLIN, 0};
    if (poll(&waiting, 1, 5000) != 1) {
      ADD_FAILURE() << "no connection from the agent";
      return Peer();
    }
    return Peer(accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC));
  }
  bool HasConnection() const {
    pollfd waiting = {fd_, POLLIN, 0};
    return poll(&waiting, 1, 0) == 1;
  }

 private:
  const std::string path_;
  int fd_;
};

// Gives every test an agent that has not been started, with a directory for the sockets, and takes
// back what a test leaves in it.
class AgentTest : public testing::Test {
 protected:
  AgentTest() { Clear(); }
  ~AgentTest() override { Clear(); }

  static constexpr const char* kName = "app";

  // Starts the agent, and takes its connection when there is a server.
  int Init(int (*dm_reg)() = nullptr, int (*dm_reg_rsp)() = nullptr, const char* name = kName) {
    return nc_dm_agent_init(name, FakePlatform::Master(), dm_reg, dm_reg_rsp);
  }

  // An agent that has been started without any server, talks to peer() from now on and has nothing
  // scheduled.
  void InitWithPeer() {
    ASSERT_EQ(Init(), 0);
    if (g_nc_dm_mng_info.agent_fd >= 0) close(g_nc_dm_mng_info.agent_fd);
    Connect();
    g_nc_dm_agent_manage = {};
    g_nc_dm_agent_manage.master = FakePlatform::Master();
    FakePlatform::Get().Reset();
    log().Clear();
  }

  // Connects the agent to peer() without any protocol.
  void Connect() {
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
    fcntl(fds[0], F_SETFL, O_NONBLOCK);
    g_nc_dm_mng_info.agent_fd = fds[0];
    peer_ = Peer(fds[1]);
  }

  // Fills the agent's socket until it takes nothing more.
  void FillSocket() const {
    const std::string block(4096, 'x');
    while (send(agent_fd(), block.data(), block.size(), MSG_DONTWAIT | MSG_NOSIGNAL) > 0) {
    }
    while (send(agent_fd(), "x", 1, MSG_DONTWAIT | MSG_NOSIGNAL) > 0) {
    }
  }

  // Hands a frame to the agent and has it handled.
  int Handle(int type, std::string_view body, int sid = 1, int entry_cnt = 0, int flag = 0,
             int ds_type = NC_DM_DATASTORE_RUNNING) {
    peer_.Send(type, body, sid, entry_cnt, flag, ds_type);
    return nc_dm_agent_recv(agent_fd());
  }

  // The next message is a FAULT with that code for that request.
  void ExpectFault(int code, int sid, const std::string& path = "") {
    const Frame frame = peer_.Receive();
    EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_FAULT);
    EXPECT_EQ(frame.head.sid, sid);
    BodyReader body(frame.body);
    EXPECT_EQ(body.Int32(), code);
    EXPECT_EQ(body.Text(), path);
    EXPECT_TRUE(body.AtEnd());
  }

  static int agent_fd() { return g_nc_dm_mng_info.agent_fd; }
  static FakePlatform& platform() { return FakePlatform::Get(); }
  static LogCapture& log() { return LogCapture::Get(); }
  static nc_dm_mng_info_t& info() { return g_nc_dm_mng_info; }
  static nc_dm_thread_manage_t& tasks() { return g_nc_dm_agent_manage; }
  Peer& peer() { return peer_; }
  const TempDir& dir() const { return dir_; }

 private:
  static void Clear() {
    const DebugMask silent(0);
    if (info().agent_fd > 0) close(info().agent_fd);
    if (g_nc_dm_reg_list.reg_list.next != nullptr) FreePendingRecords();
    if (info().agent_tree_init) {
      for (auto& node : nc::RecordsSafely<nc_dm_agent_node_t>(&g_nc_agent_dm.dm_root)) {
        nc_dm_agent_unreg_nodes(&node);
      }
      FreeYangAttributes();
    }
    nc_dm_agent_op_data_init();
    memset(&info(), 0, sizeof(info()));
    info().agent_fd = -1;
    nc::InitList(&info().param_list.head);
    tasks() = {};
  }

  TempDir dir_;
  DebugMask mask_{NC_DM_DBG_ERROR | NC_DM_DBG_INFO};
  Peer peer_;
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_AGENT_AGENT_FIXTURE_H_
