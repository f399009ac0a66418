// The NETCONF server's end of the agents' socket.
//
// The idea: a Server listens under a root directory (the value that the agents have in TMPDIR) and
// talks with any number of agents at once. It has no thread of its own: everything happens in
// RunOnce(), which waits for sockets at most as long as it is told, and in the calls that run it
// until something is done.
//
//   Server server({.root = root});
//   if (!server.WaitForAgent("interfaces", 10s)) ...
//   Answer answer = server.Call("interfaces", ReadValues({{.name = "interfaces"}}));
//   if (!answer.ok()) puts(answer.error.c_str());
//
// To embed it in another loop, wait for PollFd() to become readable or for NextDeadline() and call
// RunOnce(0ms); set_done_handler and set_agent_handler tell what came of it. Or set
// Options::pump when the waiting calls are used and something else (an agent in the same thread)
// has to run meanwhile.
//
// Each agent gets one request at a time, of pipelined edits RequestQueue::kMaxPipelined; further
// ones wait for their turn. A request that ran out
// of time keeps its place until the agent answers or goes away, because an agent that is still
// writing an answer must not be asked again; what it answers then is dropped.
//
// What an agent sends is bounded, whatever it sends. Of one agent the server keeps
//   - received bytes: one message of at most 64 KiB and what was read behind it, at most 64 KiB;
//   - what it announced: Options::max_registry; paths of at most 16 components and 256 characters;
//   - the answer to the current request: Options::max_answer;
//   - what it does not read: Options::max_output, and the messages of one request or one other
//   call.
// Who goes beyond is disconnected. One turn of the loop reads at most 64 KiB of each agent. Of the
// agents that are gone at most kMaxGoneAgents are remembered, with at most Options::max_registry of
// announcements together; the oldest are forgotten.
//
// Not thread safe: one thread uses a Server.
#ifndef NCDM_SERVER_SERVER_H_
#define NCDM_SERVER_SERVER_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/agent.h"
#include "server/answer.h"
#include "server/request.h"
#include "server/request_queue.h"
#include "server/trace.h"

namespace ncdm::server {

using Milliseconds = std::chrono::milliseconds;

class Server {
 public:
  // Agents that went away and are still known.
  static constexpr std::size_t kMaxGoneAgents = 256;

  struct Options {
    std::string root{};
    bool answer_registration = true;    // REG_RSP without fault to each REG_CPLT
    bool answer_unregistration = true;  // UNREG_CLIENT_RSP to each UNREG_CLIENT
    Milliseconds timeout{10000};        // of a request that gives none
    // Bytes of heap that an answer may take; an agent that answers with more is disconnected.
    std::size_t max_answer = kDefaultMaxAnswer;
    // Bytes of heap that what an agent announced may take; some 200 and its text a path.
    std::size_t max_registry = std::size_t{64} << 20;
    // Bytes that may wait for an agent to read them when there is more to send to it.
    std::size_t max_output = std::size_t{16} << 20;
    TraceSink trace{};
    // Run between the steps of the waiting calls, which then wait no longer than 1 ms in each.
    std::function<void()> pump{};
    // Asked between steps: true ends a waiting call early.
    std::function<bool()> interrupted{};
  };

  // Listens at once. Throws std::runtime_error.
  explicit Server(Options options);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  const std::string& socket_path() const;

  // ---- The loop ----

  // Waits at most `timeout` for something to do and does it. True when anything was done.
  bool RunOnce(Milliseconds timeout);
  // Runs until `done` says so; false when `timeout` is over before.
  bool RunUntil(const std::function<bool()>& done, Milliseconds timeout);
  // What Options::interrupted says.
  bool IsInterrupted() const;
  // Readable when RunOnce has something to do (timeouts of requests apart).
  int PollFd() const;
  // When RunOnce has something to do although PollFd() is not readable; nothing for never.
  std::optional<Clock::time_point> NextDeadline() const;
  void set_trace(TraceSink trace);

  // ---- Agents ----

  // By name; those that went away included, until they are forgotten.
  std::vector<const Agent*> Agents() const;
  // Those that are connected, in the order in which they connected.
  std::vector<const Agent*> ConnectedAgents() const;
  // Called at the end of RunOnce for each agent that connected, announced something or went away
  // since the last call, once, whatever happened to it. The handler may use the server.
  using AgentHandler = std::function<void(const Agent& agent)>;
  void set_agent_handler(AgentHandler handler);
  // Null for a name that was never seen, or is forgotten. Stays valid while the agent is connected,
  // and otherwise until the next call that runs the loop.
  const Agent* FindAgent(std::string_view name) const;
  bool IsConnected(std::string_view name) const;
  // Until the agent is connected and settled, and has announced some path. When it announces its
  // paths after it said that it was complete, the first Barrier before whose answer nothing more
  // was announced tells where they end. False when `timeout` is over before.
  bool WaitForAgent(std::string_view name, Milliseconds timeout);
  // Closes the agent's connection, as a server that goes away does.
  void Disconnect(std::string_view name);

  // ---- Requests ----

  // Sends a request and waits for its end.
  Answer Call(std::string_view agent, Request request);
  Answer Call(std::string_view agent, Request request, Milliseconds timeout);

  // Sends a request, or queues it behind the agent's current one. It ends in Take(), whatever
  // happens.
  RequestId Start(std::string_view agent, Request request, Milliseconds timeout);
  bool IsDone(RequestId id) const;
  // The answer of a request that is done, once; nothing for one that is not, or was never there.
  std::optional<Answer> Take(RequestId id);
  // Called at the end of RunOnce for each request that is done since the last call; one that
  // Start() found done included, those of Call() and WaitForAgent() not. The handler may use the
  // server.
  using DoneHandler = std::function<void(RequestId id)>;
  void set_done_handler(DoneHandler handler);

  // ---- Below requests ----

  // Sends exactly these bytes, or this frame with the `sid` that stands in it. False when the agent
  // is not connected.
  bool SendBytes(std::string_view agent, std::string bytes);
  bool SendFrame(std::string_view agent, const Frame& frame);
  // Called with every frame that an agent sends, before it is handled.
  using FrameHandler = std::function<void(std::string_view agent, const Frame& frame)>;
  void set_frame_handler(FrameHandler handler);

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace ncdm::server

#endif  // NCDM_SERVER_SERVER_H_
