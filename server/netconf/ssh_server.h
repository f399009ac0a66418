// Accepts clients and keeps their connections going.
#ifndef NCDM_SERVER_NETCONF_SSH_SERVER_H_
#define NCDM_SERVER_NETCONF_SSH_SERVER_H_

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "server/netconf/poller.h"
#include "server/netconf/ssh_connection.h"
#include "server/netconf/ssh_handles.h"
#include "server/netconf/tcp_listener.h"

namespace ncdm::netconf {

// Private keys by which clients know the server, one a type at most. Throws std::runtime_error that
// names the file.
SshBind LoadHostKeys(const std::vector<std::string>& files);

class SshServer {
 public:
  using Clock = std::chrono::steady_clock;

  // So many connections may be there that have not logged in. A further one takes the place of the
  // oldest of them.
  static constexpr std::size_t kMaxStrangers = 128;

  // Accepts from now on. Everything given outlives the server.
  SshServer(Poller& poller, const TcpListener& listener, ssh_bind bind, SshService service);
  ~SshServer();
  SshServer(const SshServer&) = delete;
  SshServer& operator=(const SshServer&) = delete;

  // When Run() is wanted at the latest.
  std::optional<Clock::time_point> NextDeadline() const;
  // Carries out expired deadlines, and the work that sessions asked to be called again for.
  void Run();

 private:
  using Id = std::uint64_t;  // ascending in the order of acceptance

  struct Entry {
    std::unique_ptr<SshConnection> connection;
    std::uint32_t events = 0;                     // that are polled for
    std::optional<Clock::time_point> deadline{};  // as it stands in deadlines_
  };

  void AcceptAll();
  void Add(Accepted accepted);
  void MakeRoom();
  void Pause();
  void Step(Id id);
  // Whatever is thrown in a connection's name ends that connection alone.
  template <typename Function>
  void Attempt(Id id, Function function);
  void Update(Id id, Entry* entry);
  void UpdateDeadline(Id id, Entry* entry, std::optional<Clock::time_point> deadline);
  void Remove(Id id);
  void RunDue(Clock::time_point now);

  Poller& poller_;
  const TcpListener& listener_;
  ssh_bind bind_;
  SshService service_;
  std::map<Id, Entry> connections_;
  std::set<Id> strangers_;  // not logged in
  std::set<std::pair<Clock::time_point, Id>> deadlines_;
  std::set<Id> woken_;                             // to be stepped without waiting
  std::optional<Clock::time_point> paused_until_;  // there was no descriptor for another connection
  Id last_id_ = 0;
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_SSH_SERVER_H_
