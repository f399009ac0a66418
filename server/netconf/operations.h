// The border between the two halves of ncdm-netconf.
//
// The transport (SSH, framing, hello, sessions, the envelope of <rpc> and <rpc-reply>) gets
// requests to Operations and answers back; it knows nothing of data. Operations (datastores,
// filters, edits, the agents) knows nothing of clients' connections, only who asks.
//
// One process, one thread, one loop: nothing on either side blocks. An operation that has to wait
// for an agent returns at once and calls `done` later. Requests of one session come one after the
// other; those of several sessions run beside each other.
#ifndef NCDM_SERVER_NETCONF_OPERATIONS_H_
#define NCDM_SERVER_NETCONF_OPERATIONS_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ncdm::netconf {

inline constexpr char kBaseNamespace[] = "urn:ietf:params:xml:ns:netconf:base:1.0";

// One session of a user. Ids are not used again while the server runs.
struct Client {
  std::uint32_t session_id = 0;
  std::string user;
};

// One element of <error-info>, such as {"bad-element", "mtu"}.
struct ErrorInfo {
  std::string name;
  std::string text;
  std::string name_space = kBaseNamespace;
};

// A prefix that error_path uses.
struct PathPrefix {
  std::string prefix;
  std::string name_space;
};

// One <rpc-error> (RFC 6241, section 4.3). Texts are plain: the transport escapes them.
struct RpcError {
  std::string type = "application";  // transport, rpc, protocol or application
  std::string tag;                   // of Appendix A, such as "invalid-value"
  std::string severity = "error";
  std::string app_tag{};               // left out when empty
  std::string path{};                  // an instance identifier; left out when empty
  std::vector<PathPrefix> prefixes{};  // what the path's prefixes stand for
  std::string message{};               // left out when empty
  std::vector<ErrorInfo> info{};
};

// What an operation answers.
struct Reply {
  // The elements inside <rpc-reply>, as XML; each declares every namespace that it uses, the
  // default one included (<data xmlns="urn:ietf:params:xml:ns:netconf:base:1.0">...</data>). With
  // neither errors nor content the reply is <ok/>.
  std::string content{};
  std::vector<RpcError> errors{};
};

// What ietf-netconf-monitoring says of one session (RFC 6022).
struct SessionInfo {
  Client client;
  std::string transport;  // identity of ietf-netconf-monitoring: "netconf-ssh"
  std::string source_host;
  std::chrono::system_clock::time_point login_time;
  std::uint32_t in_rpcs = 0;
  std::uint32_t in_bad_rpcs = 0;
  std::uint32_t out_rpc_errors = 0;
};

// And of the server; the counters of sessions that have ended are part of the sums.
struct Statistics {
  std::chrono::system_clock::time_point start_time;
  std::uint32_t in_bad_hellos = 0;
  std::uint32_t in_sessions = 0;
  std::uint32_t dropped_sessions = 0;
  std::uint32_t in_rpcs = 0;
  std::uint32_t in_bad_rpcs = 0;
  std::uint32_t out_rpc_errors = 0;
};

// The sessions that there are, for whoever reports them.
class Sessions {
 public:
  virtual ~Sessions() = default;
  // By session id. The request that is being handled is counted.
  virtual std::vector<SessionInfo> List() const = 0;
  virtual Statistics Counters() const = 0;
};

class Operations {
 public:
  using Clock = std::chrono::steady_clock;
  using DoneFunction = std::function<void(Reply)>;

  virtual ~Operations() = default;

  // For the server's <hello>: all URIs, the base versions and the modules included. Asked for each
  // session.
  virtual std::vector<std::string> Capabilities() const = 0;

  // Both hellos have been exchanged.
  virtual void SessionOpened(const Client& client) = 0;
  // However it ended. Its locks are released, a confirmed commit of its own without <persist> is
  // cancelled. The `done` of a request that still runs may be called later or not at all.
  virtual void SessionEnded(const Client& client) = 0;

  // Carries out the operation of one <rpc>: a well-formed UTF-8 document without a document type
  // declaration, at most 256 levels deep, whose root is <rpc> of the base namespace with a
  // message-id and exactly one element in it. <close-session> and <kill-session> never come here.
  // Unknown operations do. `done` is called once, perhaps before this returns, on the loop's
  // thread.
  virtual void Start(const Client& client, std::string rpc, DoneFunction done) = 0;

  // ---- For the loop ----

  // A descriptor that is readable when Run() has something to do; it stays the same. -1: none.
  virtual int PollFd() const = 0;
  // When Run() is wanted at the latest.
  virtual std::optional<Clock::time_point> NextDeadline() const = 0;
  // Carries on whatever is ready; never waits.
  virtual void Run() = 0;
};

// What the device's half is started with.
struct DeviceOptions {
  std::string root;  // directory of the agents' sockets
  std::string yang;  // directory of the device's modules
};

// Loads the modules and listens for agents. `sessions` outlives what is returned. Throws
// std::runtime_error whose text is one line that names what is wrong.
std::unique_ptr<Operations> OpenDevice(const DeviceOptions& options, const Sessions& sessions);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_OPERATIONS_H_
