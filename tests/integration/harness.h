// The whole system in one process: the library on the Linux port's loop, and a server at the other
// end of a real socket, both turned by the test.
#ifndef TESTS_INTEGRATION_HARNESS_H_
#define TESTS_INTEGRATION_HARNESS_H_

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "netconf_dm_kernel.h"
#include "server/listener.h"
#include "server/server.h"
#include "support/temp_dir.h"
#include "zu_thread.h"

namespace ncdm_test {

// Long enough for any machine; a test that waits for it has failed.
inline constexpr std::chrono::seconds kLimit{30};

// ---- The library's side ----

// A master, and the library on it. Takes down at the end what the library keeps for the life of a
// process, so that several tests can run in one.
class Agent {
 public:
  Agent() : master_(zu_thread_master_create()) {}
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  int Start(const std::string& name, int (*dm_reg)(), int (*dm_reg_rsp)() = nullptr);
  // One turn of the loop; the tasks that ran.
  int RunOnce(int timeout_ms = 0) {
    if (before_turn_) before_turn_();
    return zu_thread_master_run_once(master_, timeout_ms);
  }
  void set_before_turn(std::function<void()> action) { before_turn_ = std::move(action); }
  // Has the library's timers, which take a second each, run out at once.
  void SkipTime();
  // The same for the second after which it looks whether a server takes what is sent.
  void SkipWatch() { RunOut(&g_nc_dm_agent_manage.tt_watch); }
  zu_thread_master* master() { return master_; }

 private:
  void RunOut(zu_thread** timer);

  zu_thread_master* master_;
  std::function<void()> before_turn_;
  bool started_ = false;
};

// What waits in the library's queue, by type.
int PendingRegistrations();
int PendingRegistrations(nc_dm_msg_type_t type);

// ---- The server's side ----

// What an agent sent of its own accord, as one word a message: "NAME", "REG path attr", "YANG
// module type value", "CPLT", "UNREG path", "UNREG_CLIENT". The name with the restart attribute is
// "NAME restart".
std::string Describe(const ncdm::server::Frame& frame);

// A listening socket of the test's own, for what no real server does: to read a part and close, to
// write half a frame. It takes one connection at a time.
class RawServer {
 public:
  explicit RawServer(const std::string& root);
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  // Takes the next waiting connection, in place of the one before. False when there is none.
  bool Accept();
  int connections() const { return connections_; }
  bool IsOpen() const { return fd_ >= 0; }
  int fd() const { return fd_; }

  // Reads what has arrived, at most so many bytes. False once the agent has closed.
  bool Read(std::size_t most = SIZE_MAX);
  // Reads at most so many bytes and drops them; the count.
  std::size_t ReadAway(std::size_t count) const;
  // Every frame read so far on this connection, and as descriptions.
  const std::vector<ncdm::server::Frame>& frames() const { return frames_; }
  std::vector<std::string> Descriptions() const;

  void Send(std::string_view bytes) const;
  void Send(const ncdm::server::Request& request, std::int32_t first_sid) const;
  // From now on the agent cannot send, and does not notice before it tries.
  void StopReading() const;
  // Leaves the place to another server. The connection stays.
  void StopListening() { listener_.reset(); }
  // True if the agent has closed the connection.
  bool IsLeft() const;
  void Close();

 private:
  std::optional<ncdm::server::Listener> listener_;
  int fd_ = -1;
  int connections_ = 0;
  ncdm::server::FrameReader reader_;
  std::vector<ncdm::server::Frame> frames_;
};

// ---- Both ----

// A directory, an agent and, once it is started, a server.
class Device {
 public:
  static constexpr const char* kName = "device";

  Device() = default;

  const TempDir& dir() const { return dir_; }
  Agent& agent() { return agent_; }

  // Starts listening. `answer_registration` false: REG_CPLT stays without answer.
  void StartServer(bool answer_registration = true);
  void StopServer() { server_.reset(); }
  ncdm::server::Server& server() { return *server_; }
  bool IsConnected() const { return server_ && server_->IsConnected(kName); }

  // Starts the agent; 0, or what nc_dm_agent_init returned.
  int StartAgent(int (*dm_reg)(), int (*dm_reg_rsp)() = nullptr) {
    return agent_.Start(kName, dm_reg, dm_reg_rsp);
  }
  // Runs until the agent has announced everything and the queue is empty; fails the test
  // otherwise.
  void WaitUntilRegistered();
  // Closes the connection and waits until the agent is back and registered.
  void Reconnect();

  // Turns both ends until `done`; false when kLimit is over before. When neither has anything to do
  // but to wait, time is skipped.
  bool RunUntil(const std::function<bool()>& done);
  // Turns both ends until neither has anything to do but timers.
  void Settle();
  // From now on time is not skipped.
  void KeepTime() { skips_time_ = false; }
  // Sends a request and turns both ends until it ends.
  ncdm::server::Answer Call(ncdm::server::Request request);
  // The same without waiting for the end.
  ncdm::server::RequestId Start(ncdm::server::Request request);
  // Turns both ends until a request that was started ends.
  ncdm::server::Answer Finish(ncdm::server::RequestId id);

  // What the agent announced since the last Forget, in order.
  const std::vector<std::string>& announced() const { return announced_; }
  // All frames that came since.
  const std::vector<ncdm::server::Frame>& frames() const { return frames_; }
  void Forget();

 private:
  // One turn of both, without waiting; true when anything was done.
  bool Turn();

  TempDir dir_;
  Agent agent_;
  std::unique_ptr<ncdm::server::Server> server_;
  bool skips_time_ = true;
  std::vector<std::string> announced_;
  std::vector<ncdm::server::Frame> frames_;
};

// What the library writes to the log, which is standard error in tests. The debug mask decides what
// that is. Shown at the end when the test has failed.
class LogText {
 public:
  LogText();
  ~LogText();
  LogText(const LogText&) = delete;
  LogText& operator=(const LogText&) = delete;

  std::string Get() const;
  bool Contains(std::string_view text) const { return Count(text) > 0; }
  int Count(std::string_view text) const;

 private:
  int file_;
  int standard_error_;
};

// ---- Requests ----

inline ncdm::server::EditElement KeyElement(
    std::string name, std::string value, ncdm::server::Ids ids = {},
    ncdm::server::Operation operation = ncdm::server::Operation::kMerge) {
  return {.name = std::move(name),
          .value = std::move(value),
          .ids = std::move(ids),
          .key = NC_DM_FLAG_KEY,
          .operation = operation};
}

// An answer as text: "ok 5", "fault DATA_MISSING: name", "values 3", "ids 2", "timeout ...".
std::string Summary(const ncdm::server::Answer& answer);

// "path=value" of each value, in order.
std::vector<std::string> Texts(const std::vector<ncdm::server::Value>& values);

// Open descriptors of this process.
std::size_t OpenDescriptors();

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_HARNESS_H_
