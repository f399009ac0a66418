// The agents as tasks use them: who is ready, and requests that can be awaited.
#ifndef NCDM_SERVER_NETCONF_DEVICE_AGENTS_H_
#define NCDM_SERVER_NETCONF_DEVICE_AGENTS_H_

#include <coroutine>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "server/server.h"

namespace ncdm::netconf {

class Agents {
 public:
  // Listens for agents below `root`. Throws std::runtime_error.
  explicit Agents(const std::string& root);

  // ---- Who is there ----

  // Ready: its model is complete, which it shows by naming its module behind everything else; or,
  // when it names none, by answering a barrier behind its registrations. In the order of
  // connection.
  std::vector<const server::Agent*> Ready() const;
  // Changes whenever Ready() or what one of them announced has changed.
  std::uint64_t version() const { return version_; }

  // ---- Requests ----

  class PendingCall {
   public:
    PendingCall(Agents* agents, std::string name, server::RequestId id)
        : agents_(agents), name_(std::move(name)), id_(id) {}
    PendingCall(const PendingCall&) = delete;
    PendingCall& operator=(const PendingCall&) = delete;
    ~PendingCall() { agents_->waiting_.erase(id_); }

    bool await_ready() const { return agents_->server_.IsDone(id_); }
    void await_suspend(std::coroutine_handle<> handle) { agents_->waiting_[id_] = handle; }
    server::Answer await_resume() { return agents_->TakeAnswer(name_, id_); }

   private:
    Agents* agents_;
    std::string name_;
    server::RequestId id_;
  };
  // Awaited, it gives the answer. An agent that left a request unanswered has to answer the next
  // ones soon, so that not every request waits its full time.
  PendingCall Call(const std::string& agent, server::Request request);

  // Sent and forgotten: nothing answers it.
  void Send(const std::string& agent, server::Request request);

  // Requests sent so far, for tests of what a read costs.
  std::uint64_t requests_sent() const { return requests_sent_; }

  // ---- The loop ----

  int PollFd() const { return server_.PollFd(); }
  std::optional<server::Clock::time_point> NextDeadline() const { return server_.NextDeadline(); }
  // Carries on whatever is ready in the agents' requests; never waits.
  void Run();

  void set_trace(server::TraceSink trace) { server_.set_trace(std::move(trace)); }

 private:
  struct State {
    unsigned connection = 0;
    server::RequestId barrier = 0;
    bool ready = false;
  };

  void OnAgent(const server::Agent& agent);
  void OnDone(server::RequestId id);
  server::Answer TakeAnswer(const std::string& name, server::RequestId id);

  server::Server server_;
  std::map<std::string, State> states_;
  std::set<std::string> silent_;  // have left a request unanswered
  std::unordered_map<server::RequestId, std::coroutine_handle<>> waiting_;
  std::uint64_t version_ = 1;
  std::uint64_t requests_sent_ = 0;
};

// True if the agent has said which YANG module is its own.
bool NamesModule(const server::Agent& agent);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_AGENTS_H_
