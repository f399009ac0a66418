#include "server/netconf/session.h"

#include <charconv>
#include <exception>
#include <utility>

#include "server/netconf/hello.h"
#include "server/netconf/log.h"

namespace ncdm::netconf {
namespace {

RpcError MakeError(std::string type, std::string tag, std::string message,
                   std::vector<ErrorInfo> info = {}) {
  RpcError error;
  error.type = std::move(type);
  error.tag = std::move(tag);
  error.message = std::move(message);
  error.info = std::move(info);
  return error;
}

RpcError BadSessionId(const std::string& message) {
  return MakeError("protocol", "invalid-value", message, {{"bad-element", "session-id"}});
}

RpcError UnknownElement(const XmlElement& element) {
  if (element.name_space != kBaseNamespace) {
    return MakeError("protocol", "unknown-namespace", "The operation has no such element.",
                     {{"bad-element", element.name}, {"bad-namespace", element.name_space}});
  }
  return MakeError("protocol", "unknown-element", "The operation has no such element.",
                   {{"bad-element", element.name}});
}

// A number of type session-id-type; 0 is none.
std::uint32_t ParseSessionId(std::string_view text) {
  constexpr std::string_view kWhiteSpace = " \t\r\n";
  text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
  text = text.substr(0, text.find_last_not_of(kWhiteSpace) + 1);
  if (text.starts_with('+')) {
    text.remove_prefix(1);
  }
  std::uint32_t id = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
  return error == std::errc() && end == text.data() + text.size() ? id : 0;
}

}  // namespace

Session::Session(Operations& operations, SessionTable& table, Peer peer, std::function<void()> wake)
    : operations_(operations),
      table_(table),
      wake_(std::move(wake)),
      self_(std::make_shared<Session*>(this)) {
  info_.client = {table.NewId(), std::move(peer.user)};
  info_.transport = std::move(peer.transport);
  info_.source_host = std::move(peer.source_host);
  table_.Add(this);
  ++table_.counters().in_sessions;
  Send(RenderHello(operations_.Capabilities(), id()));
}

Session::~Session() {
  wake_ = nullptr;
  End(Cause::kDropped);
  table_.Reserve(reserved_, 0);
}

// ---- Input ----

bool Session::wants_input() const { return !input_ended_ && CanHandle(); }

bool Session::CanHandle() const {
  return state_ != State::kEnded && !busy_ && output().size() <= kMaxWaiting;
}

void Session::Receive(std::string_view bytes) {
  reader_.Append(bytes);
  Advance();
}

void Session::EndInput() {
  input_ended_ = true;
  Advance();
}

void Session::Advance() {
  if (advancing_) {
    return;  // an operation that answers at once: the loop below goes on
  }
  advancing_ = true;
  try {
    HandleMessages();
  } catch (const MessageTooBig& error) {
    RefuseInput(error, true);
  } catch (const FramingError& error) {
    RefuseInput(error, false);
  }
  advancing_ = false;
  const std::size_t held = reader_.held();
  const bool has_room = table_.Reserve(reserved_, held);
  reserved_ = held;
  if (!has_room && state_ != State::kEnded) {
    RefuseInput(FramingError("more of incomplete messages than all sessions may hold"), false);
  }
  if (input_ended_ && CanHandle()) {
    End(Cause::kDropped);
  }
}

void Session::HandleMessages() {
  while (CanHandle()) {
    std::optional<std::string> message = reader_.Next();
    if (!message) {
      return;
    }
    Handle(std::move(*message));
  }
}

void Session::RefuseInput(const FramingError& error, bool too_big) {
  Log("session " + std::to_string(id()) + ": " + error.what());
  if (too_big && is_open()) {
    rpc_ = {};
    AnswerError(MakeError("rpc", "too-big", std::string("This is ") + error.what() + '.'));
  }
  End(is_open() ? Cause::kDropped : Cause::kBadHello);
}

void Session::Handle(std::string message) {
  if (state_ == State::kHello) {
    HandleHello(message);
  } else {
    HandleRequest(std::move(message));
  }
}

void Session::HandleHello(std::string_view message) {
  try {
    framing_ = AcceptHello(message);
  } catch (const HelloError& error) {
    Log("session " + std::to_string(id()) + " of " + info_.client.user + ": " + error.what());
    End(Cause::kBadHello);
    return;
  }
  reader_.set_framing(framing_);
  state_ = State::kOpen;
  info_.login_time = std::chrono::system_clock::now();
  Log("session " + std::to_string(id()) + " of " + info_.client.user + " from " +
      info_.source_host + " is open");
  operations_.SessionOpened(info_.client);
}

// ---- Requests ----

void Session::HandleRequest(std::string message) {
  Envelope envelope = OpenEnvelope(message, framing_);
  rpc_ = std::move(envelope.rpc);
  if (envelope.error) {
    ++info_.in_bad_rpcs;
    ++table_.counters().in_bad_rpcs;
    AnswerError(std::move(*envelope.error));
    return;
  }
  ++info_.in_rpcs;
  ++table_.counters().in_rpcs;
  if (envelope.operation.Is(kBaseNamespace, "close-session")) {
    CloseSession(envelope.operation);
  } else if (envelope.operation.Is(kBaseNamespace, "kill-session")) {
    KillSession(envelope.operation);
  } else {
    Start(std::move(message));
  }
}

void Session::Start(std::string message) {
  busy_ = true;
  const auto done = [self = std::weak_ptr<Session*>(self_)](const Reply& reply) {
    if (const std::shared_ptr<Session*> session = self.lock()) {
      (*session)->FinishRequest(reply);
    }
  };
  try {
    operations_.Start(info_.client, std::move(message), done);
  } catch (const std::exception& error) {
    Log(std::string("a request failed: ") + error.what());
    Reply reply;
    reply.errors.push_back(MakeError("application", "operation-failed", error.what()));
    FinishRequest(reply);
  }
}

void Session::FinishRequest(const Reply& reply) {
  if (!busy_ || state_ == State::kEnded) {
    return;
  }
  busy_ = false;
  Answer(reply);
  if (!advancing_) {
    Advance();
    if (wake_) {
      wake_();
    }
  }
}

void Session::CloseSession(const XmlElement& operation) {
  if (!operation.children.empty()) {
    AnswerError(UnknownElement(operation.children.front()));
    return;
  }
  Answer({});
  End(Cause::kClosed);
}

void Session::KillSession(const XmlElement& operation) {
  const XmlElement* session_id = nullptr;
  for (const XmlElement& child : operation.children) {
    if (session_id != nullptr || !child.Is(kBaseNamespace, "session-id")) {
      AnswerError(UnknownElement(child));
      return;
    }
    session_id = &child;
  }
  if (session_id == nullptr) {
    AnswerError(MakeError("protocol", "missing-element", "The session to end is not given.",
                          {{"bad-element", "session-id"}}));
    return;
  }
  const std::uint32_t victim = ParseSessionId(session_id->text);
  if (victim == id()) {
    AnswerError(BadSessionId("A session cannot kill itself; it is closed by <close-session>."));
  } else if (victim == 0 || !table_.Kill(victim)) {
    AnswerError(BadSessionId("There is no such session."));
  } else {
    Answer({});
  }
}

// ---- Output ----

void Session::Answer(const Reply& reply) {
  if (!reply.errors.empty()) {
    ++info_.out_rpc_errors;
    ++table_.counters().out_rpc_errors;
  }
  Send(RenderReply(rpc_, reply));
  rpc_ = {};
}

void Session::AnswerError(RpcError error) {
  Reply reply;
  reply.errors.push_back(std::move(error));
  Answer(reply);
}

void Session::Send(std::string_view message) {
  const std::string framed = Framed(framing_, message);
  if (output().empty()) {
    output_ = framed;
    written_ = 0;
  } else {
    output_.append(framed);
  }
}

void Session::Written(std::size_t count) {
  written_ += count;
  if (output().empty()) {
    output_ = {};
    written_ = 0;
  }
  Advance();
}

// ---- End ----

void Session::End(Cause cause) {
  if (state_ == State::kEnded) {
    return;
  }
  const bool knows_client = is_open();
  state_ = State::kEnded;
  cause_ = cause;
  busy_ = false;
  CountEnd(cause);
  table_.Remove(this);
  if (knows_client) {
    Log("session " + std::to_string(id()) + " has ended");
    operations_.SessionEnded(info_.client);
  }
  if (wake_) {
    wake_();
  }
}

void Session::CountEnd(Cause cause) {
  if (cause == Cause::kBadHello) {
    ++table_.counters().in_bad_hellos;
  } else if (cause == Cause::kDropped) {
    ++table_.counters().dropped_sessions;
  }
}

}  // namespace ncdm::netconf
