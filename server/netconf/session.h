// One NETCONF session: a pair of byte streams and a user.
//
// It knows nothing of SSH. Whoever owns the streams gives it what arrives (while it wants any),
// takes what it has to say, and closes them when it has finished:
//
//   Session session(operations, table, {.user = "admin"}, wake);
//   while (!session.finished()) {
//     if (session.wants_input()) session.Receive(bytes);
//     write(session.output()), session.Written(count);
//   }
//
// Requests are carried out one after the other. While one runs, or while more than kMaxWaiting
// bytes of answers wait for the client to take them, no input is wanted, so that a client that
// never reads costs no more than that and one answer.
#ifndef NCDM_SERVER_NETCONF_SESSION_H_
#define NCDM_SERVER_NETCONF_SESSION_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "server/netconf/envelope.h"
#include "server/netconf/framing.h"
#include "server/netconf/operations.h"
#include "server/netconf/session_table.h"

namespace ncdm::netconf {

// Who is at the other end, as the transport knows it.
struct Peer {
  std::string user;
  std::string source_host;
  std::string transport = "netconf-ssh";
};

class Session {
 public:
  static constexpr std::size_t kMaxWaiting = std::size_t{1024} * 1024;

  enum class Cause {
    kClosed,    // by <close-session>
    kKilled,    // by another session's <kill-session>
    kBadHello,  // the client's <hello> was refused
    kDropped,   // anything else: the client went away, or broke the framing
    kShutdown,  // the server ends
  };

  // Says <hello>. `wake` is called when there is something to write or the session has ended, other
  // than in a call of the owner's.
  Session(Operations& operations, SessionTable& table, Peer peer, std::function<void()> wake);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  std::uint32_t id() const { return info_.client.session_id; }
  const SessionInfo& info() const { return info_; }
  // True once the client's <hello> was accepted, until the end.
  bool is_open() const { return state_ == State::kOpen; }
  // And once it has ended.
  bool was_open() const { return info_.login_time != std::chrono::system_clock::time_point{}; }

  bool wants_input() const;
  void Receive(std::string_view bytes);
  // The client will send no more. What it has asked is still answered.
  void EndInput();

  std::string_view output() const { return std::string_view(output_).substr(written_); }
  void Written(std::size_t count);

  // Ends the session at once. What was to be written before is still there; an answer that is owed
  // is not.
  void End(Cause cause);
  // True once it has ended and everything is written.
  bool finished() const { return state_ == State::kEnded && output().empty(); }
  // True if it ended as its client wanted.
  bool ended_well() const { return cause_ == Cause::kClosed; }

 private:
  enum class State { kHello, kOpen, kEnded };

  void Advance();
  bool CanHandle() const;
  void HandleMessages();
  void Handle(std::string message);
  void HandleHello(std::string_view message);
  void HandleRequest(std::string message);
  void Start(std::string message);
  void CloseSession(const XmlElement& operation);
  void KillSession(const XmlElement& operation);
  void Answer(const Reply& reply);
  void AnswerError(RpcError error);
  void FinishRequest(const Reply& reply);
  void RefuseInput(const FramingError& error, bool too_big);
  void Send(std::string_view message);
  void CountEnd(Cause cause);

  Operations& operations_;
  SessionTable& table_;
  std::function<void()> wake_;
  SessionInfo info_;
  State state_ = State::kHello;
  Cause cause_ = Cause::kDropped;
  Framing framing_ = Framing::kEndOfMessage;
  MessageReader reader_;
  std::size_t reserved_ = 0;  // what the table knows of the reader's bytes
  bool input_ended_ = false;

  XmlElement rpc_;     // of the request that is being carried out
  bool busy_ = false;  // there is one
  bool advancing_ = false;
  std::shared_ptr<Session*> self_;  // for answers that come when this session is gone

  std::string output_;
  std::size_t written_ = 0;  // bytes at its beginning
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_SESSION_H_
