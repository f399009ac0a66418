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
#include <utility>

namespace ncdm::server {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kListenerKey = 0;
constexpr std::size_t kEventsAtOnce = 32;
constexpr Milliseconds kPumpStep{1};
constexpr Milliseconds kInterruptStep{200};

bool IsAnswer(std::int32_t type) {
  return type == NC_DM_MSG_TYPE_FAULT || type == NC_DM_MSG_TYPE_EDIT_RSP ||
         type == NC_DM_MSG_TYPE_FILTER_RSP || type == NC_DM_MSG_TYPE_GETID_RSP;
}

std::string Title(std::string_view agent) { return "agent '" + std::string(agent) + "'"; }

Answer Failure(Outcome outcome, std::string error) {
  Answer answer;
  answer.outcome = outcome;
  answer.error = std::move(error);
  return answer;
}

int ToEpollTimeout(Clock::duration duration) {
  // Rounded up, so that a deadline has passed when the wait for it is over.
  const auto timeout = std::chrono::ceil<Milliseconds>(duration).count();
  return static_cast<int>(
      std::clamp<Milliseconds::rep>(timeout, 0, std::numeric_limits<int>::max()));
}

struct WaitingRequest {
  RequestId id = 0;
  Request request;
  Clock::time_point deadline;
};

// The request that an agent is serving. `id` is 0 once nobody waits for the answer any more.
struct ActiveRequest {
  RequestId id;
  std::int32_t first_sid;
  std::int32_t last_sid;
  Clock::time_point deadline;
  AnswerAssembler assembler;
};

struct Peer {
  Peer(std::uint64_t peer_key, Connection accepted)
      : key(peer_key), connection(std::move(accepted)) {}

  std::uint64_t key;
  Connection connection;
  Agent* agent = nullptr;  // once it gave its name
  bool closed = false;     // waits to be removed
  bool waits_to_write = false;
  std::optional<ActiveRequest> active;
  std::deque<WaitingRequest> waiting;

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

  bool RunOnce(Milliseconds timeout) {
    ++depth_;
    std::array<epoll_event, kEventsAtOnce> events{};
    const int count = epoll_wait(poller_.get(), events.data(), static_cast<int>(events.size()),
                                 ToEpollTimeout(NextWait(timeout)));
    for (int i = 0; i < count; ++i) {
      HandleEvent(events[static_cast<std::size_t>(i)]);
    }
    const bool expired = ExpireRequests();
    --depth_;
    Sweep();
    return count > 0 || expired;
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

  Agent* FindAgent(std::string_view name) {
    const auto agent = agents_.find(name);
    return agent == agents_.end() ? nullptr : &agent->second;
  }

  void Disconnect(std::string_view name) {
    if (Peer* peer = FindPeer(name)) {
      Close(peer, Outcome::kDisconnected, "was disconnected");
      Sweep();
    }
  }

  RequestId Start(std::string_view name, Request request, Milliseconds timeout) {
    const RequestId id = ++last_request_;
    Peer* peer = FindPeer(name);
    if (peer == nullptr) {
      done_[id] = Failure(Outcome::kDisconnected, Title(name) + " is not connected");
    } else if (request.frames.empty()) {
      done_[id] = Answer{};
    } else {
      peer->waiting.push_back({id, std::move(request), Clock::now() + timeout});
      SendNext(peer);
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

  // Nobody waits for this request any more.
  void Abandon(RequestId id, std::string_view why) {
    for (auto& [key, peer] : peers_) {
      if (peer.active && peer.active->id == id) {
        peer.active->id = 0;
        done_[id] = Failure(Outcome::kTimeout, std::string(why));
        return;
      }
      const auto request = std::ranges::find(peer.waiting, id, &WaitingRequest::id);
      if (request != peer.waiting.end()) {
        peer.waiting.erase(request);
        done_[id] = Failure(Outcome::kTimeout, std::string(why));
        return;
      }
    }
  }

  bool SendBytes(std::string_view name, std::string bytes) {
    Peer* peer = FindPeer(name);
    if (peer == nullptr) {
      return false;
    }
    Trace(*peer, [&] { return RenderBytes(Direction::kToAgent, bytes); });
    Send(peer, std::move(bytes));
    return true;
  }

  bool SendFrame(std::string_view name, const Frame& frame) {
    Peer* peer = FindPeer(name);
    if (peer == nullptr) {
      return false;
    }
    SendFrame(peer, frame);
    return true;
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
    Clock::duration wait = timeout;
    const Clock::time_point now = Clock::now();
    for (const auto& [key, peer] : peers_) {
      if (peer.active && peer.active->id != 0) {
        wait = std::min<Clock::duration>(wait, peer.active->deadline - now);
      }
      for (const WaitingRequest& request : peer.waiting) {
        wait = std::min<Clock::duration>(wait, request.deadline - now);
      }
    }
    return wait;
  }

  void HandleEvent(const epoll_event& event) {
    if (event.data.u64 == kListenerKey) {
      while (auto connection = listener_.Accept()) {
        AddPeer(std::move(*connection));
      }
      return;
    }
    const auto found = peers_.find(event.data.u64);
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

  void AddPeer(Connection connection) {
    const std::uint64_t key = ++last_key_;
    const int fd = connection.fd();
    peers_.try_emplace(key, key, std::move(connection));
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
    Trace(*peer, [&] { return "* " + what; });
    peer->closed = true;
    if (peer->agent != nullptr) {
      peer->agent->connected = false;
      peer->agent->complete = false;
      peer->agent->settled = false;
    }
    const std::string error = Title(peer->name()) + " " + what;
    if (peer->active) {
      Finish(peer->active->id, Failure(outcome, error + " before it answered"));
      peer->active.reset();
    }
    for (const WaitingRequest& request : std::exchange(peer->waiting, {})) {
      Finish(request.id, Failure(outcome, error + " before the request was sent"));
    }
  }

  // Removes what was closed, once nothing up the stack refers to it.
  void Sweep() {
    if (depth_ == 0) {
      std::erase_if(peers_, [](const auto& entry) { return entry.second.closed; });
    }
  }

  // ---- Output ----

  void Send(Peer* peer, std::string bytes) {
    peer->connection.Send(std::move(bytes));
    UpdateInterest(peer);
  }

  void SendFrame(Peer* peer, const Frame& frame) {
    Trace(*peer, [&] { return RenderFrame(Direction::kToAgent, frame); });
    Send(peer, EncodeFrame(frame));
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
    if (frame.head.type == NC_DM_MSG_TYPE_REG_NAME) {
      NamePeer(peer, DecodeAnnouncement(frame));
    } else if (peer->agent == nullptr) {
      throw ProtocolError("a message before the name");
    }
    Trace(*peer, [&] { return RenderFrame(Direction::kFromAgent, frame); });
    if (frame_handler_) {
      frame_handler_(peer->name(), frame);
      if (peer->closed) {
        return;
      }
    }
    if (IsAnswer(frame.head.type)) {
      HandleAnswer(peer, frame);
    } else {
      HandleAnnouncement(peer, frame);
    }
  }

  void NamePeer(Peer* peer, const Announcement& announcement) {
    if (peer->agent != nullptr) {
      throw ProtocolError("a second name");
    }
    if (!announcement.name || announcement.name->empty()) {
      throw ProtocolError("an empty name");
    }
    if (Peer* previous = FindPeer(*announcement.name)) {
      Close(previous, Outcome::kDisconnected, "connected anew");
    }
    Agent& agent = agents_[*announcement.name];
    const unsigned connections = agent.connections + 1;
    agent.registry.Clear();
    agent.name = *announcement.name;
    agent.connected = true;
    agent.restarted = (announcement.attributes & kRestarted) != 0;
    agent.complete = false;
    agent.settled = false;
    agent.unregistered = false;
    agent.connections = connections;
    peer->agent = &agent;
  }

  static std::string Path(const Announcement& announcement) {
    if (!announcement.name || announcement.name->empty()) {
      throw ProtocolError("a registration without a path");
    }
    return *announcement.name;
  }

  void HandleAnnouncement(Peer* peer, const Frame& frame) {
    Agent* agent = peer->agent;
    switch (frame.head.type) {
      case NC_DM_MSG_TYPE_REG_NAME:
        break;
      case NC_DM_MSG_TYPE_REG: {
        const Announcement announcement = DecodeAnnouncement(frame);
        agent->registry.Add(Path(announcement), announcement.attributes);
        agent->unregistered = false;
        break;
      }
      case NC_DM_MSG_TYPE_UNREG:
        agent->registry.Remove(Path(DecodeAnnouncement(frame)));
        break;
      case NC_DM_MSG_TYPE_REG_YANG_ATTR: {
        const YangAnnouncement announcement = DecodeYangAnnouncement(frame);
        agent->registry.SetYangAttribute(announcement.module, announcement.type,
                                         announcement.value);
        break;
      }
      case NC_DM_MSG_TYPE_REG_CPLT:
        agent->complete = true;
        agent->settled = agent->settled || agent->registry.path_count() > 0;
        if (options_.answer_registration) {
          SendFrame(peer, RegistrationAnswer(NC_DM_FAULT_CODE_OK));
        }
        break;
      case NC_DM_MSG_TYPE_UNREG_CLIENT:
        agent->registry.Clear();
        agent->unregistered = true;
        if (options_.answer_unregistration) {
          SendFrame(peer, UnregistrationAnswer());
        }
        break;
      default:
        throw ProtocolError("a message of type " + std::to_string(frame.head.type) +
                            " that agents do not send");
    }
  }

  // ---- Requests ----

  void SendNext(Peer* peer) {
    while (!peer->active && !peer->waiting.empty()) {
      WaitingRequest next = std::move(peer->waiting.front());
      peer->waiting.pop_front();
      const std::int32_t first_sid = TakeSids(next.request.frames.size());
      std::int32_t sid = first_sid;
      for (Frame& frame : next.request.frames) {
        frame.head.sid = sid++;
        SendFrame(peer, frame);
      }
      if (next.request.answer == AnswerKind::kNothing) {
        Finish(next.id, Answer{});
      } else {
        peer->active.emplace(ActiveRequest{next.id, first_sid, sid - 1, next.deadline,
                                           AnswerAssembler(next.request.answer)});
      }
    }
  }

  std::int32_t TakeSids(std::size_t count) {
    if (count > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max() - next_sid_)) {
      next_sid_ = 1;
    }
    return std::exchange(next_sid_, next_sid_ + static_cast<std::int32_t>(count));
  }

  void HandleAnswer(Peer* peer, const Frame& frame) {
    if (!peer->active) {
      return;
    }
    ActiveRequest& active = *peer->active;
    if (frame.head.sid == active.last_sid) {
      if (active.assembler.Accept(frame)) {
        Finish(active.id, std::move(active.assembler.answer()));
        peer->active.reset();
        SendNext(peer);
      }
    } else if (frame.head.type == NC_DM_MSG_TYPE_FAULT && frame.head.sid >= active.first_sid &&
               frame.head.sid < active.last_sid) {
      active.assembler.NoteFault(frame);
    }
  }

  bool ExpireRequests() {
    const Clock::time_point now = Clock::now();
    bool expired = false;
    for (auto& [key, peer] : peers_) {
      if (peer.active && peer.active->id != 0 && peer.active->deadline <= now) {
        Finish(std::exchange(peer.active->id, 0),
               Failure(Outcome::kTimeout, Title(peer.name()) + " did not answer in time"));
        expired = true;
      }
      const auto is_late = [&](const WaitingRequest& request) { return request.deadline <= now; };
      for (const WaitingRequest& request : peer.waiting) {
        if (is_late(request)) {
          Finish(request.id,
                 Failure(Outcome::kTimeout,
                         Title(peer.name()) + " did not answer an earlier request in time"));
          expired = true;
        }
      }
      std::erase_if(peer.waiting, is_late);
    }
    return expired;
  }

  void Finish(RequestId id, Answer answer) {
    if (id != 0) {
      done_[id] = std::move(answer);
    }
  }

  static constexpr std::int32_t kRestarted = 128;

  Options options_;
  FrameHandler frame_handler_;
  Listener listener_;
  Descriptor poller_;
  std::map<std::uint64_t, Peer> peers_;
  std::map<std::string, Agent, std::less<>> agents_;
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

int Server::PollFd() const { return implementation_->poll_fd(); }

void Server::set_trace(TraceSink trace) { implementation_->set_trace(std::move(trace)); }

std::vector<const Agent*> Server::Agents() const { return implementation_->Agents(); }

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
  while (RunUntil(has_announced, left())) {
    Agent* agent = implementation_->FindAgent(name);
    if (agent->settled) {
      return true;
    }
    const unsigned connection = agent->connections;
    if (Call(name, Barrier(), left()).ok() && agent->connections == connection) {
      agent->settled = true;
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
  while (!IsDone(id)) {
    if (implementation_->Interrupted()) {
      implementation_->Abandon(id, "interrupted");
      break;
    }
    // The request's own deadline ends this.
    implementation_->Step(Milliseconds(1000));
  }
  return *Take(id);
}

RequestId Server::Start(std::string_view agent, Request request, Milliseconds timeout) {
  return implementation_->Start(agent, std::move(request), timeout);
}

bool Server::IsDone(RequestId id) const { return implementation_->IsDone(id); }

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
