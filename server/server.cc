#include "server/server.h"

#include <sys/epoll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <deque>
#include <limits>
#include <map>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "server/connection.h"
#include "server/listener.h"

namespace ncdm::server {
namespace {

constexpr std::uint64_t kListenerKey = 0;
constexpr std::size_t kEventsAtOnce = 32;
// Bytes of several frames in one send. A socket takes a page in one piece; of more an agent may see
// a part, and one that finds the beginning of a frame alone gives up the connection.
constexpr std::size_t kMaxTogether = 4096;
constexpr Milliseconds kPumpStep{1};
constexpr Milliseconds kInterruptStep{200};
constexpr Milliseconds kLongStep{1000};
constexpr Milliseconds kListenerPause{200};

bool IsAnswer(std::int32_t type) {
  return type == NC_DM_MSG_TYPE_FAULT || type == NC_DM_MSG_TYPE_EDIT_RSP ||
         type == NC_DM_MSG_TYPE_FILTER_RSP || type == NC_DM_MSG_TYPE_GETID_RSP;
}

std::string Title(std::string_view agent) { return "agent '" + std::string(agent) + "'"; }

// Rounded up, so that a deadline has passed when the wait for it is over.
int ToEpollTimeout(Clock::duration duration) {
  const auto timeout = std::chrono::ceil<Milliseconds>(duration).count();
  return static_cast<int>(
      std::clamp<Milliseconds::rep>(timeout, 0, std::numeric_limits<int>::max()));
}

// Counts one level while it lives.
class Level {
 public:
  explicit Level(int* depth) : depth_(depth) { ++*depth_; }
  ~Level() { --*depth_; }
  Level(const Level&) = delete;
  Level& operator=(const Level&) = delete;

 private:
  int* depth_;
};

struct Peer {
  Peer(std::uint64_t peer_key, Connection accepted, RequestQueue queue)
      : key(peer_key), connection(std::move(accepted)), requests(std::move(queue)) {}

  std::uint64_t key;
  Connection connection;
  RequestQueue requests;
  Agent* agent = nullptr;  // once it gave its name
  bool closed = false;     // waits to be removed
  bool waits_to_write = false;

  std::string_view name() const { return agent == nullptr ? "" : std::string_view(agent->name); }
};

}  // namespace

class Server::Implementation {
 public:
  explicit Implementation(Options options)
      : options_(std::move(options)),
        listener_(options_.root),
        poller_(epoll_create1(EPOLL_CLOEXEC)) {
    if (poller_.get() < 0) {
      throw std::runtime_error(std::string("cannot create a poll descriptor: ") +
                               std::strerror(errno));
    }
    Watch(listener_.fd(), kListenerKey, EPOLLIN, EPOLL_CTL_ADD);
  }

  const Listener& listener() const { return listener_; }
  int poll_fd() const { return poller_.get(); }
  const Options& options() const { return options_; }
  void set_trace(TraceSink trace) { options_.trace = std::move(trace); }
  void set_frame_handler(FrameHandler handler) { frame_handler_ = std::move(handler); }
  void set_agent_handler(AgentHandler handler) { agent_handler_ = std::move(handler); }
  void set_done_handler(DoneHandler handler) { done_handler_ = std::move(handler); }

  bool RunOnce(Milliseconds timeout) {
    bool worked = false;
    {
      const Level level(&depth_);
      ResumeListening();
      std::array<epoll_event, kEventsAtOnce> events{};
      const int count = epoll_wait(poller_.get(), events.data(), static_cast<int>(events.size()),
                                   ToEpollTimeout(NextWait(timeout)));
      for (int i = 0; i < count; ++i) {
        HandleEvent(events[static_cast<std::size_t>(i)]);
      }
      worked = ExpireRequests() || count > 0;
    }
    Sweep();
    Report();
    ForgetAgents();
    return worked;
  }

  std::optional<Clock::time_point> NextDeadline() const {
    if (reporting_ == 0 && (!finished_.empty() || !changed_.empty())) {
      return Clock::now();
    }
    std::optional<Clock::time_point> next = listens_again_;
    for (const auto& [key, peer] : peers_) {
      if (const auto deadline = peer.requests.NextDeadline()) {
        next = next ? std::min(*next, *deadline) : *deadline;
      }
    }
    return next;
  }

  // One step of a waiting call.
  void Step(Milliseconds timeout) {
    if (options_.pump) {
      RunOnce(std::min(timeout, kPumpStep));
      options_.pump();
    } else if (options_.interrupted) {
      RunOnce(std::min(timeout, kInterruptStep));
    } else {
      RunOnce(timeout);
    }
  }

  bool Interrupted() const { return options_.interrupted && options_.interrupted(); }

  std::vector<const Agent*> Agents() const {
    std::vector<const Agent*> agents;
    for (const auto& [name, agent] : agents_) {
      agents.push_back(&agent);
    }
    return agents;
  }

  std::vector<const Agent*> ConnectedAgents() const {
    std::vector<const Agent*> agents = Agents();
    std::erase_if(agents, [](const Agent* agent) { return !agent->connected; });
    std::ranges::sort(agents, {}, &Agent::order);
    return agents;
  }

  Agent* FindAgent(std::string_view name) {
    const auto agent = agents_.find(name);
    return agent == agents_.end() ? nullptr : &agent->second;
  }

  void Disconnect(std::string_view name) {
    WhileKept([&] {
      if (Peer* peer = FindPeer(name)) {
        Close(peer, Outcome::kDisconnected, "was disconnected");
      }
      return true;
    });
  }

  RequestId Start(std::string_view name, Request request, Milliseconds timeout) {
    const RequestId id = ++last_request_;
    Peer* peer = FindPeer(name);
    if (peer == nullptr) {
      Answer answer;
      answer.outcome = Outcome::kDisconnected;
      answer.error = Title(name) + " is not connected";
      Finish(id, std::move(answer));
    } else if (request.frames.empty()) {
      Finish(id, Answer{});
    } else {
      WhileKept([&] {
        peer->requests.Add(id, std::move(request), Clock::now() + timeout);
        SendRequests(peer);
        return true;
      });
    }
    return id;
  }

  bool IsDone(RequestId id) const { return done_.contains(id); }

  std::optional<Answer> Take(RequestId id) {
    const auto answer = done_.find(id);
    if (answer == done_.end()) {
      return std::nullopt;
    }
    Answer taken = std::move(answer->second);
    done_.erase(answer);
    return taken;
  }

  // A waiting call takes this request's answer itself: the handler is not told of it, which could
  // take it away.
  void Await(RequestId id) {
    awaited_.insert(id);
    std::erase(finished_, id);
  }
  void EndAwait(RequestId id) { awaited_.erase(id); }

  // Nobody waits for this request any more.
  void Abandon(RequestId id, const std::string& why) {
    for (auto& [key, peer] : peers_) {
      if (peer.requests.Abandon(id, why)) {
        return;
      }
    }
  }

  bool SendBytes(std::string_view name, std::string bytes) {
    return WhileKept([&] {
      Peer* peer = FindPeer(name);
      if (peer == nullptr || !HasRoom(peer)) {
        return false;
      }
      Trace(*peer, [&] { return RenderBytes(Direction::kToAgent, bytes); });
      Send(peer, std::move(bytes));
      return true;
    });
  }

  bool SendFrame(std::string_view name, const Frame& frame) {
    return WhileKept([&] {
      Peer* peer = FindPeer(name);
      if (peer == nullptr || !HasRoom(peer)) {
        return false;
      }
      SendFrame(peer, frame);
      return true;
    });
  }

 private:
  // ---- Waiting and events ----

  void Watch(int fd, std::uint64_t key, std::uint32_t interest, int operation) {
    epoll_event event{};
    event.events = interest;
    event.data.u64 = key;
    if (epoll_ctl(poller_.get(), operation, fd, &event) != 0) {
      throw std::runtime_error(std::string("cannot watch a socket: ") + std::strerror(errno));
    }
  }

  Clock::duration NextWait(Milliseconds timeout) const {
    const auto deadline = NextDeadline();
    return deadline ? std::min<Clock::duration>(timeout, *deadline - Clock::now()) : timeout;
  }

  // ---- What happened, for the handlers ----

  void Finish(RequestId id, Answer answer) {
    done_[id] = std::move(answer);
    if (done_handler_ && !awaited_.contains(id)) {
      finished_.push_back(id);
    }
  }

  void NoteChange(const Agent* agent) {
    if (agent_handler_ && std::ranges::find(changed_, agent) == changed_.end()) {
      changed_.push_back(agent);
    }
  }

  // Once nothing up the stack is at work: handlers start requests.
  void Report() {
    if (depth_ > 0 || reporting_ > 0) {
      return;  // what a handler that runs the loop brings about is told of in the next turn
    }
    const Level level(&reporting_);
    for (const Agent* agent : std::exchange(changed_, {})) {
      if (agent_handler_) {
        agent_handler_(*agent);
      }
    }
    for (const RequestId id : std::exchange(finished_, {})) {
      if (done_handler_) {
        done_handler_(id);
      }
    }
  }

  bool ExpireRequests() {
    const Clock::time_point now = Clock::now();
    bool expired = false;
    for (auto& [key, peer] : peers_) {
      expired = peer.requests.Expire(now, Title(peer.name())) || expired;
    }
    return expired;
  }

  void HandleEvent(const epoll_event& event) {
    const std::uint64_t key = event.data.u64;  // a copy: the record is packed
    if (key == kListenerKey) {
      AcceptPeers();
      return;
    }
    const auto found = peers_.find(key);
    if (found == peers_.end() || found->second.closed) {
      return;
    }
    Peer* peer = &found->second;
    if ((event.events & EPOLLOUT) != 0) {
      peer->connection.Flush();
      UpdateInterest(peer);
    }
    if ((event.events & ~static_cast<std::uint32_t>(EPOLLOUT)) != 0) {
      Read(peer);
    }
  }

  void AcceptPeers() {
    while (auto connection = listener_.Accept()) {
      AddPeer(std::move(*connection));
    }
    if (listener_.is_exhausted()) {
      PauseListening();
    }
  }

  // Who waits cannot be accepted now, and would wake the loop again and again.
  void PauseListening() {
    Watch(listener_.fd(), kListenerKey, 0, EPOLL_CTL_MOD);
    listens_again_ = Clock::now() + kListenerPause;
  }

  void ResumeListening() {
    if (listens_again_ && *listens_again_ <= Clock::now()) {
      listens_again_.reset();
      Watch(listener_.fd(), kListenerKey, EPOLLIN, EPOLL_CTL_MOD);
    }
  }

  void AddPeer(Connection connection) {
    const std::uint64_t key = ++last_key_;
    const int fd = connection.fd();
    peers_.try_emplace(
        key, key, std::move(connection),
        RequestQueue([this](RequestId id, Answer answer) { Finish(id, std::move(answer)); },
                     options_.max_answer));
    Watch(fd, key, EPOLLIN, EPOLL_CTL_ADD);
  }

  void Read(Peer* peer) {
    const bool open = peer->connection.Receive();
    try {
      while (!peer->closed) {
        const std::optional<Frame> frame = peer->connection.Next();
        if (!frame) {
          break;
        }
        HandleFrame(peer, *frame);
      }
    } catch (const ProtocolError& error) {
      Close(peer, Outcome::kProtocol, std::string("broke the protocol: ") + error.what());
    }
    if (!open && !peer->closed) {
      Close(peer, Outcome::kDisconnected,
            peer->connection.in_mid_frame() ? "went away in the middle of a message" : "went away");
    }
  }

  // ---- Peers ----

  Peer* FindPeer(std::string_view name) {
    for (auto& [key, peer] : peers_) {
      if (!peer.closed && peer.agent != nullptr && peer.agent->name == name) {
        return &peer;
      }
    }
    return nullptr;
  }

  void Close(Peer* peer, Outcome outcome, const std::string& what) {
    peer->closed = true;  // first: the trace's receiver may use the server
    Trace(*peer, [&] { return "* " + what; });
    if (peer->agent != nullptr) {
      EndConnection(peer->agent);
      NoteChange(peer->agent);
      gone_.push_back(peer->agent->name);
      gone_changed_ = true;
    }
    peer->requests.EndAll(outcome, Title(peer->name()) + " " + what);
  }

  // Does some work from outside the loop, throughout which peers stay although the trace's receiver
  // may run the loop or disconnect them.
  template <typename Work>
  bool WhileKept(Work work) {
    bool result = false;
    {
      const Level level(&depth_);
      result = work();
    }
    Sweep();
    return result;
  }

  // Removes what was closed, once nothing up the stack refers to it.
  void Sweep() {
    if (depth_ == 0) {
      std::erase_if(peers_, [](const auto& entry) { return entry.second.closed; });
    }
  }

  // The oldest of those that are gone, when they are too many or known with too much; but none that
  // something up the stack, or a handler, may hold or is still to be told of.
  void ForgetAgents() {
    if (depth_ > 0 || reporting_ > 0 || !changed_.empty() || !std::exchange(gone_changed_, false)) {
      return;
    }
    std::size_t memory = 0;
    for (const std::string& name : gone_) {
      memory += agents_.at(name).registry.memory();
    }
    while (gone_.size() > kMaxGoneAgents || memory > options_.max_registry) {
      const auto oldest = agents_.find(gone_.front());
      memory -= oldest->second.registry.memory();
      agents_.erase(oldest);
      gone_.pop_front();
    }
  }

  // ---- Output ----

  // An agent that does not read is not sent anything more: it is closed.
  bool HasRoom(Peer* peer) {
    if (!peer->closed && peer->connection.output_size() > options_.max_output) {
      Close(peer, Outcome::kDisconnected, "does not read what it is sent");
    }
    return !peer->closed;
  }

  void Send(Peer* peer, std::string bytes) {
    peer->connection.Send(std::move(bytes));
    UpdateInterest(peer);
  }

  void SendFrame(Peer* peer, const Frame& frame) {
    Trace(*peer, [&] { return RenderFrame(Direction::kToAgent, frame); });
    Send(peer, EncodeFrame(frame));
  }

  // A request's frames go together as far as they fit: each send wakes the agent, which can do
  // nothing before the last.
  void SendRequests(Peer* peer) {
    while (peer->requests.HasNext() && HasRoom(peer)) {
      std::string together;
      for (const Frame& frame : peer->requests.TakeNext(&next_sid_)) {
        Trace(*peer, [&] { return RenderFrame(Direction::kToAgent, frame); });
        const std::string bytes = EncodeFrame(frame);
        if (!together.empty() && together.size() + bytes.size() > kMaxTogether) {
          Send(peer, std::exchange(together, {}));
        }
        together += bytes;
      }
      Send(peer, std::move(together));
    }
  }

  void UpdateInterest(Peer* peer) {
    const bool has_output = peer->connection.has_output();
    if (has_output != peer->waits_to_write) {
      peer->waits_to_write = has_output;
      Watch(peer->connection.fd(), peer->key, has_output ? EPOLLIN | EPOLLOUT : EPOLLIN,
            EPOLL_CTL_MOD);
    }
  }

  template <typename RenderLine>
  void Trace(const Peer& peer, RenderLine render_line) const {
    if (options_.trace) {
      options_.trace(peer.name(), render_line());
    }
  }

  // ---- What agents send ----

  void HandleFrame(Peer* peer, const Frame& frame) {
    // The name comes first, so that its own line carries it.
    const bool is_name = frame.head.type == NC_DM_MSG_TYPE_REG_NAME;
    if (is_name) {
      NamePeer(peer, DecodeAnnouncement(frame));
    } else if (peer->agent == nullptr) {
      throw ProtocolError("a message before the name");
    }
    Trace(*peer, [&] { return RenderFrame(Direction::kFromAgent, frame); });
    if (frame_handler_) {
      frame_handler_(peer->name(), frame);
    }
    if (is_name || peer->closed) {
      return;
    }
    if (IsAnswer(frame.head.type)) {
      peer->requests.Accept(frame);
      SendRequests(peer);
    } else {
      TakeAnnouncement(peer->agent, frame);
      NoteChange(peer->agent);
      if (peer->agent->registry.memory() > options_.max_registry) {
        throw ProtocolError("announcements that take more than " +
                            std::to_string(options_.max_registry) + " bytes");
      }
      AnswerAnnouncement(peer, frame.head.type);
    }
  }

  void NamePeer(Peer* peer, const Announcement& announcement) {
    if (peer->agent != nullptr) {
      throw ProtocolError("a second name");
    }
    if (!announcement.name || announcement.name->empty()) {
      throw ProtocolError("an empty name");
    }
    if (announcement.name->size() > NC_DM_MAX_NAME_LEN) {
      throw ProtocolError("a name of " + std::to_string(announcement.name->size()) + " characters");
    }
    // An agent that reconnects may be here before the end of its old connection was read.
    bool takes_over = false;
    // The trace's receiver may run the loop at each end, in which others come and this one goes.
    while (Peer* previous = FindPeer(*announcement.name)) {
      takes_over = !previous->connection.IsPeerGone();
      Close(previous, Outcome::kDisconnected, "connected anew");
    }
    if (peer->closed) {
      return;
    }
    peer->agent = &agents_[*announcement.name];
    peer->agent->takeovers += takes_over ? 1 : 0;
    std::erase(gone_, *announcement.name);
    BeginConnection(peer->agent, announcement);
    peer->agent->order = peer->key;
    NoteChange(peer->agent);
  }

  void AnswerAnnouncement(Peer* peer, std::int32_t type) {
    if (type == NC_DM_MSG_TYPE_REG_CPLT && options_.answer_registration && HasRoom(peer)) {
      SendFrame(peer, RegistrationAnswer(NC_DM_FAULT_CODE_OK));
    } else if (type == NC_DM_MSG_TYPE_UNREG_CLIENT && options_.answer_unregistration &&
               HasRoom(peer)) {
      SendFrame(peer, UnregistrationAnswer());
    }
  }

  Options options_;
  FrameHandler frame_handler_;
  AgentHandler agent_handler_;
  DoneHandler done_handler_;
  std::vector<const Agent*> changed_;      // to be told to agent_handler_
  std::vector<RequestId> finished_;        // to be told to done_handler_
  std::unordered_set<RequestId> awaited_;  // by calls that wait
  int reporting_ = 0;                      // the handlers are being told
  Listener listener_;
  std::optional<Clock::time_point> listens_again_;  // while listening pauses
  Descriptor poller_;
  std::map<std::uint64_t, Peer> peers_;
  std::map<std::string, Agent, std::less<>> agents_;
  std::deque<std::string> gone_;  // the names of those that are not connected, in order of going
  bool gone_changed_ = false;     // since it was last looked whom to forget
  std::unordered_map<RequestId, Answer> done_;
  std::uint64_t last_key_ = kListenerKey;
  RequestId last_request_ = 0;
  std::int32_t next_sid_ = 1;
  int depth_ = 0;
};

Server::Server(Options options)
    : implementation_(std::make_unique<Implementation>(std::move(options))) {}

Server::~Server() = default;

const std::string& Server::socket_path() const { return implementation_->listener().path(); }

bool Server::RunOnce(Milliseconds timeout) { return implementation_->RunOnce(timeout); }

bool Server::RunUntil(const std::function<bool()>& done, Milliseconds timeout) {
  const Clock::time_point deadline = Clock::now() + timeout;
  for (;;) {
    if (done()) {
      return true;
    }
    const auto left = std::chrono::ceil<Milliseconds>(deadline - Clock::now());
    if (left <= Milliseconds::zero() || implementation_->Interrupted()) {
      return false;
    }
    implementation_->Step(left);
  }
}

bool Server::IsInterrupted() const { return implementation_->Interrupted(); }

int Server::PollFd() const { return implementation_->poll_fd(); }

std::optional<Clock::time_point> Server::NextDeadline() const {
  return implementation_->NextDeadline();
}

void Server::set_trace(TraceSink trace) { implementation_->set_trace(std::move(trace)); }

std::vector<const Agent*> Server::Agents() const { return implementation_->Agents(); }

std::vector<const Agent*> Server::ConnectedAgents() const {
  return implementation_->ConnectedAgents();
}

void Server::set_agent_handler(AgentHandler handler) {
  implementation_->set_agent_handler(std::move(handler));
}

const Agent* Server::FindAgent(std::string_view name) const {
  return implementation_->FindAgent(name);
}

bool Server::IsConnected(std::string_view name) const {
  const Agent* agent = FindAgent(name);
  return agent != nullptr && agent->connected;
}

bool Server::WaitForAgent(std::string_view name, Milliseconds timeout) {
  const Clock::time_point deadline = Clock::now() + timeout;
  const auto left = [&] { return std::chrono::ceil<Milliseconds>(deadline - Clock::now()); };
  const auto has_announced = [&] {
    const Agent* agent = FindAgent(name);
    return agent != nullptr && agent->connected && agent->complete &&
           agent->registry.path_count() > 0;
  };
  while (RunUntil(has_announced, left()) && !implementation_->Interrupted()) {
    const Agent* announced = FindAgent(name);
    if (announced->settled) {
      return true;
    }
    // What came before the answer may not have been all: an agent that has more to announce than
    // the socket holds answers in the middle of it.
    const std::uint64_t version = announced->registry.version();
    const bool passed = Call(name, Barrier(), left()).ok();
    Agent* agent = implementation_->FindAgent(name);  // it may have been forgotten meanwhile
    if (passed && agent != nullptr && agent->registry.version() == version) {
      agent->settled = true;
    } else if (left() <= Milliseconds::zero()) {
      return false;
    }
  }
  return false;
}

void Server::Disconnect(std::string_view name) { implementation_->Disconnect(name); }

Answer Server::Call(std::string_view agent, Request request) {
  return Call(agent, std::move(request), implementation_->options().timeout);
}

Answer Server::Call(std::string_view agent, Request request, Milliseconds timeout) {
  const RequestId id = Start(agent, std::move(request), timeout);
  implementation_->Await(id);
  // The request's own deadline ends this.
  while (!IsDone(id)) {
    if (implementation_->Interrupted()) {
      implementation_->Abandon(id, "interrupted");
    } else {
      implementation_->Step(kLongStep);
    }
  }
  implementation_->EndAwait(id);
  return *Take(id);
}

RequestId Server::Start(std::string_view agent, Request request, Milliseconds timeout) {
  return implementation_->Start(agent, std::move(request), timeout);
}

bool Server::IsDone(RequestId id) const { return implementation_->IsDone(id); }

void Server::set_done_handler(DoneHandler handler) {
  implementation_->set_done_handler(std::move(handler));
}

std::optional<Answer> Server::Take(RequestId id) { return implementation_->Take(id); }

bool Server::SendBytes(std::string_view agent, std::string bytes) {
  return implementation_->SendBytes(agent, std::move(bytes));
}

bool Server::SendFrame(std::string_view agent, const Frame& frame) {
  return implementation_->SendFrame(agent, frame);
}

void Server::set_frame_handler(FrameHandler handler) {
  implementation_->set_frame_handler(std::move(handler));
}

}  // namespace ncdm::server
