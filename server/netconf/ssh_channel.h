// One channel of an SSH connection: the two byte streams of a NETCONF session.
#ifndef NCDM_SERVER_NETCONF_SSH_CHANNEL_H_
#define NCDM_SERVER_NETCONF_SSH_CHANNEL_H_

#include <libssh/callbacks.h>
#include <libssh/libssh.h>
#include <libssh/server.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "server/netconf/session.h"

namespace ncdm::netconf {

// libssh's callbacks take notes only: libssh calls them from inside reading and writing. Everything
// is done in Step().
class SshChannel {
 public:
  using Clock = std::chrono::steady_clock;
  using OpenSession = std::function<std::unique_ptr<Session>()>;

  // `handle` belongs to the SSH session. `open_session` is called once the client has asked for the
  // subsystem.
  SshChannel(ssh_channel handle, OpenSession open_session);
  ~SshChannel();
  SshChannel(const SshChannel&) = delete;
  SshChannel& operator=(const SshChannel&) = delete;

  // Moves what can be moved between both sides, a bounded amount. Returns true if there is more
  // that need not be waited for.
  bool Step();
  // True if something came for the channel behind its last step: reading or writing one channel
  // handles the packets of all, and what has been read that way wakes nobody.
  bool has_news() const { return has_news_; }
  // Closes it without a word: the client's <hello> did not come in time.
  void Abandon();

  bool has_open_session() const { return session_ != nullptr && session_->is_open(); }
  // True once the client has closed it too, or the server is through with it.
  bool is_closed() const;
  // True if there is output that the client's window has room for.
  bool can_write() const;
  // True if the client has sent more than its window allowed.
  bool was_flooded() const { return was_flooded_; }
  // Since when a <hello> is waited for, or for the client to take more of its last answers.
  std::optional<Clock::time_point> waiting_since() const;
  // When the client of an open session, or one that had been open, last took something.
  std::optional<Clock::time_point> last_progress() const { return last_progress_; }

 private:
  static int OnSubsystem(ssh_session session, ssh_channel channel, const char* name, void* data);
  static int OnData(ssh_session session, ssh_channel channel, void* bytes, std::uint32_t size,
                    int is_stderr, void* data);
  static void OnEof(ssh_session session, ssh_channel channel, void* data);
  static void OnClose(ssh_session session, ssh_channel channel, void* data);

  bool ReadInput();
  bool WriteOutput();
  void CloseWhenFinished();

  ssh_channel handle_;
  ssh_channel_callbacks_struct callbacks_{};
  OpenSession open_session_;
  std::unique_ptr<Session> session_;
  const Clock::time_point opened_ = Clock::now();
  std::optional<Clock::time_point> last_progress_;
  bool has_news_ = false;
  bool wants_session_ = false;
  bool input_ended_ = false;
  bool client_closed_ = false;
  bool server_closed_ = false;
  bool was_flooded_ = false;
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_SSH_CHANNEL_H_
