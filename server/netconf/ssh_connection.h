// One client's SSH connection, without blocking.
#ifndef NCDM_SERVER_NETCONF_SSH_CONNECTION_H_
#define NCDM_SERVER_NETCONF_SSH_CONNECTION_H_

#include <libssh/callbacks.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "server/netconf/authorized_keys.h"
#include "server/netconf/operations.h"
#include "server/netconf/session_table.h"
#include "server/netconf/ssh_channel.h"
#include "server/netconf/ssh_handles.h"
#include "server/netconf/tcp_listener.h"

namespace ncdm::netconf {

// Who may log in, and what for.
struct SshService {
  AuthorizedKeys& keys;
  std::string user;  // the one name; empty: any
  Operations& operations;
  SessionTable& table;
};

class SshConnection {
 public:
  using Clock = std::chrono::steady_clock;

  // From accept to <hello>, and from the end of its last session until an idle connection is
  // closed.
  static constexpr std::chrono::seconds kPatience{30};

  // `wake` asks for a Step() when a session has something to say by itself.
  SshConnection(ssh_bind bind, Accepted accepted, SshService& service, std::function<void()> wake);
  ~SshConnection();
  SshConnection(const SshConnection&) = delete;
  SshConnection& operator=(const SshConnection&) = delete;

  // The socket's, also when libssh has closed it.
  int fd() const { return fd_; }
  // Reads and writes what the connection is ready for. True if more can be done without waiting.
  bool Step();
  // Closes what has waited too long.
  void Expire(Clock::time_point now);

  bool is_closed() const { return is_closed_; }
  bool is_logged_in() const { return !user_.empty(); }
  // False while too much of what libssh has to say waits for the client to read it: each packet
  // of a client that reads nothing may ask for another answer.
  bool wants_to_read() const;
  // True if it waits for its socket to become writable.
  bool wants_to_write() const;
  // When Expire() has something to do, if nothing happens before.
  std::optional<Clock::time_point> Deadline() const;

 private:
  static int OnPublicKey(ssh_session session, const char* user, ssh_key_struct* key, char state,
                         void* data);
  static ssh_channel OnOpenChannel(ssh_session session, void* data);

  int AcceptUser(const char* user, ssh_key key, char state);
  ssh_channel OpenChannel();
  std::unique_ptr<Session> OpenSession();
  void ExchangeKeys();
  void HandlePackets();
  bool HasPendingOutput() const;
  bool StepChannels();
  bool HasOpenSession() const;
  void NoteProgress();

  SshService& service_;
  std::function<void()> wake_;
  std::string host_;
  int fd_;
  SshSession session_;
  SshEvent event_;  // once the keys have been exchanged
  ssh_server_callbacks_struct callbacks_{};
  std::string user_;  // once logged in
  unsigned refusals_ = 0;
  unsigned rounds_unsent_ = 0;  // of packets, since the socket last took what libssh has to say
  bool is_closed_ = false;
  std::vector<std::unique_ptr<SshChannel>> channels_;
  bool has_open_session_ = false;                // when last looked at
  Clock::time_point idle_since_ = Clock::now();  // without an open session
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_SSH_CONNECTION_H_
