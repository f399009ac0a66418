// Frames of hostile agents into a Server, over its socket: announcements and answers that are
// nearly right, ones with a field spoilt, raw bytes, pieces of frames; agents that share a name, go
// away or do not read; and between them what a server's owner does. The handlers call back into the
// server: they start requests, take answers, disconnect agents, run the loop.
//
// Behind each sequence all agents go away. Then every request must be done, once; nobody may be
// connected; and what was answered must make trees.

#include <fcntl.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "fuzz/input.h"
#include "server/data_tree.h"
#include "server/entry_keys.h"
#include "server/printable.h"
#include "server/schema.h"
#include "server/server.h"

namespace {

using ncdm::server::Agent;
using ncdm::server::Answer;
using ncdm::server::BodyWriter;
using ncdm::server::Frame;
using ncdm::server::Ids;
using ncdm::server::Milliseconds;
using ncdm::server::Request;
using ncdm::server::RequestId;
using ncdm::server::Server;
using ncdm_fuzz::Input;

constexpr Milliseconds kNoWait{0};
constexpr size_t kMaxAgents = 3;
constexpr int kMaxDepth = 3;          // of handlers in handlers
constexpr size_t kMaxRequests = 200;  // of one input

// Small, so that inputs reach them.
constexpr size_t kMaxAnswer = 8192;
constexpr size_t kMaxRegistry = 4096;
constexpr size_t kMaxOutput = 4096;

const std::array<std::string, 4> kNames = {"a", "b", "agent", std::string(65, 'n')};
const std::array<std::string, 12> kPaths = {"system.hostname",
                                            "system.dns",
                                            "list.{i}.key",
                                            "list.{i}.leaf",
                                            "list.{i}.in.{i}.x",
                                            "list.{i}.in.{i}.values",
                                            "list",
                                            "a.5.b",
                                            "{i}",
                                            "...",
                                            "a..b",
                                            "x.x.x.x.x.x.x.x.x.x.x.x.x.x.x.x.x"};
const std::array<std::string, 10> kValuePaths = {
    "system.hostname", "system.dns.1", "list.3.key",   "list.3.leaf", "list.3.in.4.x",
    "list.key",        "list.0.key",   "list.3.4.key", "a.5.b",       ""};
constexpr std::array<int32_t, 8> kTypes = {1, 2, 4, 6, 8, 9, 21, 13};
constexpr std::array<int64_t, 6> kIds = {1, 3, 4, 0, -1, INT64_MAX};

[[noreturn]] void Fail(const char* what) {
  fprintf(stderr, "server fuzzer: %s\n", what);
  abort();
}

void Check(bool holds, const char* what) {
  if (!holds) Fail(what);
}

// ---- One sequence ----

class Sequence {
 public:
  Sequence(const std::string& root, const uint8_t* bytes, size_t size) : input_(bytes, size) {
    Server::Options options;
    options.root = root;
    options.answer_registration = !input_.Chance(8);
    options.max_answer = kMaxAnswer;
    options.max_registry = kMaxRegistry;
    options.max_output = kMaxOutput;
    options.trace = [this](std::string_view, std::string_view line) {
      Check(ncdm::server::Printable(line) == line, "a line of the trace is no line");
      CallBack();
    };
    server_ = std::make_unique<Server>(std::move(options));
    server_->set_frame_handler([this](std::string_view, const Frame&) { CallBack(); });
    server_->set_agent_handler([this](const Agent& agent) {
      CallBack();
      Check(!agent.name.empty(), "an agent is gone while its handler runs");
    });
    server_->set_done_handler([this](RequestId id) {
      if (input_.Chance(2)) Take(id);
      CallBack();
    });
  }
  ~Sequence() { CloseAll(); }
  Sequence(const Sequence&) = delete;
  Sequence& operator=(const Sequence&) = delete;

  void Run() {
    while (!input_.AtEnd()) {
      Act();
    }
    End();
  }

 private:
  struct Peer {
    int fd = -1;
    int32_t sid = 1;  // of the last message that it was sent
  };

  // ---- The agents ----

  void Connect(Peer* peer) {
    Close(peer);
    peer->fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    server_->socket_path().copy(address.sun_path, sizeof(address.sun_path) - 1);
    if (connect(peer->fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
      Close(peer);
      return;
    }
    SendNamed(peer, 4, input_.Chance(8) ? 128 : 0, input_.OneOf(kNames));
  }

  static void Close(Peer* peer) {
    if (peer->fd >= 0) close(peer->fd);
    *peer = {};
  }

  void CloseAll() {
    for (Peer& peer : peers_) Close(&peer);
  }

  static void Send(const Peer& peer, const std::string& bytes) {
    if (peer.fd >= 0) {
      [[maybe_unused]] const ssize_t sent =
          send(peer.fd, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    }
  }

  // With one field spoilt now and then.
  void SendFrame(const Peer& peer, Frame frame) {
    const size_t fault = input_.Below(64);
    if (fault == 1) frame.head.entry_cnt = input_.Number<int32_t>();
    if (fault == 2) frame.head.flag = input_.Byte();
    if (fault == 3) frame.head.sid = input_.Number<int32_t>();
    if (fault == 4) frame.body.resize(frame.body.size() - frame.body.size() / 4);
    if (fault == 5) frame.body += input_.Text();
    std::string bytes = ncdm::server::EncodeFrame(frame);
    if (fault == 6) bytes[input_.Below(bytes.size())] = static_cast<char>(input_.Byte());
    if (fault == 7) bytes.resize(input_.Below(bytes.size()) + 1);
    Send(peer, bytes);
  }

  static Frame NewFrame(int32_t type, int32_t sid, int32_t flag, std::string body) {
    Frame frame;
    frame.head.type = type;
    frame.head.sid = sid;
    frame.head.flag = flag;
    frame.body = std::move(body);
    return frame;
  }

  void SendNamed(Peer* peer, int32_t type, int32_t attributes, const std::string& name) {
    SendFrame(*peer, NewFrame(type, -1, NC_DM_MSG_FLAG_NAME,
                              BodyWriter().Int32(attributes).Text(name).Take()));
  }

  void Announce(Peer* peer) {
    const int32_t type = input_.OneOf(kTypes);
    switch (type) {
      case NC_DM_MSG_TYPE_REG:
      case NC_DM_MSG_TYPE_UNREG:
        SendNamed(peer, type, input_.Byte(),
                  input_.Chance(8) ? input_.Text() : input_.OneOf(kPaths));
        break;
      case NC_DM_MSG_TYPE_REG_NAME:
        SendNamed(peer, type, 0, input_.OneOf(kNames));
        break;
      case NC_DM_MSG_TYPE_REG_YANG_ATTR:
        SendFrame(
            *peer,
            NewFrame(
                type, -1, 0,
                BodyWriter().Int32(input_.Byte()).Text(input_.Text()).Text(input_.Text()).Take()));
        break;
      case NC_DM_MSG_TYPE_FAULT:
        SendFrame(*peer, NewFrame(type, Sid(peer), 0,
                                  BodyWriter()
                                      .Int32(-static_cast<int32_t>(input_.Below(16)))
                                      .Text(input_.Text())
                                      .Take()));
        break;
      default:
        SendFrame(*peer, NewFrame(type, -1, 0, ""));
        break;
    }
  }

  int32_t Sid(Peer* peer) {
    return input_.Chance(4) ? peer->sid - static_cast<int32_t>(input_.Below(3)) : peer->sid;
  }

  void AnswerEdit(Peer* peer) {
    SendFrame(*peer, NewFrame(NC_DM_MSG_TYPE_EDIT_RSP, Sid(peer), 0,
                              BodyWriter().Int32(3).Int64(input_.OneOf(kIds)).Int32(0).Take()));
  }

  void AnswerValues(Peer* peer) {
    BodyWriter body;
    const auto count = static_cast<int32_t>(input_.Below(6));
    body.Int32(count == 0 ? NC_DM_PKT_TYPE_END : NC_DM_PKT_TYPE_SEGMENT);
    for (int32_t i = 0; i < count; ++i) {
      body.Text(input_.Chance(8) ? input_.Text() : input_.OneOf(kValuePaths));
      body.Text(input_.Chance(2) ? input_.Text() : std::string(input_.Byte() * size_t{8}, 'x'));
    }
    Frame frame = NewFrame(NC_DM_MSG_TYPE_FILTER_RSP, Sid(peer), 0, body.Take());
    frame.head.entry_cnt = count;
    SendFrame(*peer, std::move(frame));
  }

  void AnswerIds(Peer* peer) {
    BodyWriter body;
    const auto count = static_cast<int32_t>(input_.Below(6));
    body.Int32(count == 0 ? NC_DM_PKT_TYPE_END : NC_DM_PKT_TYPE_SEGMENT);
    for (int32_t i = 0; i < count; ++i) {
      const auto size = static_cast<int32_t>(input_.Below(4));
      body.Int32(size);
      for (int32_t id = 0; id < size; ++id) body.Int64(input_.OneOf(kIds));
    }
    Frame frame = NewFrame(NC_DM_MSG_TYPE_GETID_RSP, Sid(peer), count == 0 ? 0 : NC_DM_MSG_FLAG_IDS,
                           body.Take());
    frame.head.entry_cnt = count;
    SendFrame(*peer, std::move(frame));
  }

  // Reads what the server sent; the last head tells the request that waits for an answer.
  static void Receive(Peer* peer) {
    std::array<char, 8192> buffer{};
    const ssize_t count =
        peer->fd < 0 ? 0 : recv(peer->fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
    size_t at = 0;
    while (count > 0 && at + sizeof(nc_dm_msg_head_t) <= static_cast<size_t>(count)) {
      nc_dm_msg_head_t head;
      memcpy(&head, buffer.data() + at, sizeof(head));
      if (head.sid > 0) peer->sid = head.sid;
      at += sizeof(head) + static_cast<size_t>(std::clamp(head.len, 0, 4096));
    }
  }

  // ---- The server's owner ----

  Request NewRequest() {
    const std::string name = input_.Chance(2) ? "list.key" : "system.hostname";
    const Ids ids = input_.Chance(2) ? Ids{3} : Ids{};
    switch (input_.Below(8)) {
      case 0:
        return ncdm::server::EditSubtree({{.name = name, .value = "x", .ids = ids}});
      case 1:
        return ncdm::server::EditEntry({{.name = name, .value = "x", .ids = ids, .key = 1}});
      case 2:
        return ncdm::server::ReadValues({{.name = name, .ids = ids}, {.name = "list"}});
      case 3:
        return ncdm::server::FindIds({{.name = name, .value = "x", .ids = ids},
                                      {.name = "list.leaf", .value = "y", .ids = {4}}});
      case 4:
        return ncdm::server::FindIds({{.name = name, .value = "x", .ids = ids}});
      case 5:
        return ncdm::server::Commit();
      case 6:
        return ncdm::server::Barrier();
      default:
        return ncdm::server::Confirmed(ncdm::server::ShowTree());
    }
  }

  void Start() {
    if (started_.size() + taken_.size() < kMaxRequests) {
      const Milliseconds timeout(input_.Chance(4) ? 0 : 100000);
      started_.insert(server_->Start(input_.OneOf(kNames), NewRequest(), timeout));
    }
  }

  void Take(RequestId id) {
    const bool is_done = server_->IsDone(id);
    const auto answer = server_->Take(id);
    Check(is_done == answer.has_value(), "an answer is there and is not");
    if (!answer) return;
    Check(started_.erase(id) == 1 && taken_.insert(id).second, "an answer was taken before");
    Use(*answer);
  }

  void TakeSome() {
    if (!started_.empty()) Take(*started_.begin());
  }

  // As clients of the library do.
  void Use(const Answer& answer) const {
    Check(answer.ok() == answer.error.empty(), "an answer is good and has an error");
    size_t memory = 0;
    for (const auto& value : answer.values) memory += value.path.size() + value.value.size();
    for (const Ids& ids : answer.ids) memory += ids.size() * sizeof(int64_t);
    Check(memory <= kMaxAnswer, "an answer is beyond its limit");
    for (const Agent* agent : server_->Agents()) {
      const ncdm::server::Schema schema(agent->registry.Paths());
      ncdm::server::DataTree data(schema);
      Check(data.Add(answer.values) <= answer.values.size(), "more was left out than there is");
      for (const auto* node : schema.root().children) {
        ncdm::server::EntryLookup lookup(*node, {{"key", "x"}, {"leaf", "y"}}, {});
        while (lookup.Next()) lookup.Take(answer.ids);
        if (lookup.result() == ncdm::server::EntryLookup::Result::kFound) (void)lookup.id();
        (void)ncdm::server::KeysFrom(*node, {3}, answer.values);
      }
    }
  }

  void CallBack() {
    if (depth_ >= kMaxDepth || !input_.Chance(4)) return;
    ++depth_;
    switch (input_.Below(9)) {
      case 0:
        server_->Disconnect(input_.OneOf(kNames));
        break;
      case 1:
        server_->RunOnce(kNoWait);
        break;
      case 2:
        Use(server_->Call(input_.OneOf(kNames), NewRequest(), kNoWait));
        break;
      case 3:
        server_->WaitForAgent(input_.OneOf(kNames), kNoWait);
        break;
      case 4:
        TakeSome();
        break;
      case 5:
        server_->SendBytes(input_.OneOf(kNames), input_.Text());
        break;
      case 6:
        (void)server_->NextDeadline();
        break;
      default:
        Start();
        break;
    }
    --depth_;
  }

  // ---- What happens ----

  void Act() {
    Peer* peer = &peers_[input_.Below(kMaxAgents)];
    switch (input_.Below(16)) {
      case 0:
        Connect(peer);
        break;
      case 1:
        Close(peer);
        break;
      case 2:
        Send(*peer, input_.Text());
        break;
      case 3:
      case 4:
        Start();
        break;
      case 5:
        TakeSome();
        break;
      case 6:
        Receive(peer);
        break;
      case 7:
        AnswerEdit(peer);
        break;
      case 8:
        AnswerValues(peer);
        break;
      case 9:
        AnswerIds(peer);
        break;
      case 10:
      case 11:
        Announce(peer);
        break;
      case 12:
        CallBack();
        break;
      default:
        Receive(peer);
        server_->RunOnce(kNoWait);
        break;
    }
  }

  void End() {
    CloseAll();
    const auto is_quiet = [this] { return server_->ConnectedAgents().empty(); };
    for (int turns = 0; !is_quiet(); ++turns) {
      Check(turns < 1000, "an agent that is gone stays connected");
      server_->RunOnce(kNoWait);
    }
    server_->RunOnce(kNoWait);
    server_->RunOnce(kNoWait);
    for (const RequestId id : std::unordered_set<RequestId>(started_)) {
      Check(server_->IsDone(id), "a request never ends");
      Take(id);
    }
    Check(server_->Agents().size() <= Server::kMaxGoneAgents, "too many are remembered");
    for (const Agent* agent : server_->Agents()) {
      Check(agent->registry.memory() <= kMaxRegistry + 4096, "announcements beyond their limit");
    }
  }

  Input input_;
  std::unique_ptr<Server> server_;
  std::array<Peer, kMaxAgents> peers_{};
  std::unordered_set<RequestId> started_;
  std::unordered_set<RequestId> taken_;
  int depth_ = 0;
};

// Below TMPDIR, for the life of the fuzzer.
std::string MakeRoot() {
  const char* directory = getenv("TMPDIR");
  std::string root = std::string(directory == nullptr ? "/tmp" : directory) + "/server-XXXXXX";
  if (mkdtemp(root.data()) == nullptr) Fail("there is no folder for the socket");
  return root;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  static const std::string root = MakeRoot();
  Sequence(root, bytes, size).Run();
  return 0;
}
