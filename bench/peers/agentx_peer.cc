#include "bench/peers/agentx_peer.h"

#include <net-snmp/net-snmp-config.h>
// The library's headers want their configuration first.
#include <net-snmp/net-snmp-includes.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "bench/model.h"
#include "bench/peers/list_oid.h"

namespace bench::peers {
namespace {

using namespace std::chrono_literals;

constexpr const char* kCommunity = "peers";
constexpr long kRepetitions =
    50;  // of a GETBULK; a segment of the library's answer holds some 58 leaves
constexpr long kTimeoutUs = 60'000'000;
constexpr std::array<oid, 8> kEntry = {LIST_OID, 1};

using Oid = std::vector<oid>;

Oid OidOf(oid column, std::int64_t entry) {
  Oid name(kEntry.begin(), kEntry.end());
  name.push_back(column);
  name.push_back(static_cast<oid>(Model::PortId(entry)));
  return name;
}

bool IsInList(const netsnmp_variable_list& variable) {
  return variable.name_length > kEntry.size() &&
         std::equal(kEntry.begin(), kEntry.end(), variable.name);
}

// A port of this machine that nobody has at the moment.
int FreePort() {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  const bool known = fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                     getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0;
  if (fd >= 0) close(fd);
  if (!known) throw std::runtime_error("no free port");
  return ntohs(address.sin_port);
}

struct FreePdu {
  void operator()(netsnmp_pdu* pdu) const { snmp_free_pdu(pdu); }
};
using Pdu = std::unique_ptr<netsnmp_pdu, FreePdu>;

}  // namespace

// One session with snmpd.
class AgentxPeer::Client {
 public:
  Client(int port, const std::string& state) {
    static const bool is_started = [&] {
      // Neither this machine's configuration nor names of objects are of use here, and nothing is
      // to stay behind.
      setenv("MIBS", "", 1);
      setenv("SNMP_PERSISTENT_DIR", state.c_str(), 1);
      netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
      netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
      init_snmp("peers");
      return true;
    }();
    (void)is_started;
    std::string address = "udp:127.0.0.1:" + std::to_string(port);
    std::string community = kCommunity;
    netsnmp_session session;
    snmp_sess_init(&session);
    session.version = SNMP_VERSION_2c;
    session.peername = address.data();
    session.community = reinterpret_cast<u_char*>(community.data());
    session.community_len = community.size();
    session.timeout = kTimeoutUs;
    session.retries = 0;
    session_ = snmp_sess_open(&session);
    if (session_ == nullptr) throw std::runtime_error("no SNMP session");
  }
  ~Client() { snmp_sess_close(session_); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Fails soon, for one who waits for the start.
  void SetTimeout(long microseconds) { snmp_sess_session(session_)->timeout = microseconds; }

  Pdu Get(const Oid& name) {
    netsnmp_pdu* request = snmp_pdu_create(SNMP_MSG_GET);
    snmp_add_null_var(request, name.data(), name.size());
    return Ask(request);
  }

  Pdu GetBulk(const Oid& after) {
    netsnmp_pdu* request = snmp_pdu_create(SNMP_MSG_GETBULK);
    request->non_repeaters = 0;
    request->max_repetitions = kRepetitions;
    snmp_add_null_var(request, after.data(), after.size());
    return Ask(request);
  }

  Pdu Set(const Oid& name, std::string_view text) {
    netsnmp_pdu* request = snmp_pdu_create(SNMP_MSG_SET);
    snmp_pdu_add_variable(request, name.data(), name.size(), ASN_OCTET_STR, text.data(),
                          text.size());
    return Ask(request);
  }

 private:
  // Null without an answer. An answer that says an error is thrown.
  Pdu Ask(netsnmp_pdu* request) {
    netsnmp_pdu* answer = nullptr;
    const int status = snmp_sess_synch_response(session_, request, &answer);
    Pdu owned(answer);
    if (status != STAT_SUCCESS || answer == nullptr) return nullptr;
    if (answer->errstat != SNMP_ERR_NOERROR) {
      throw std::runtime_error(std::string("snmpd: ") +
                               snmp_errstring(static_cast<int>(answer->errstat)));
    }
    return owned;
  }

  void* session_ = nullptr;
};

namespace {

bool IsAlias(const Pdu& answer) {
  if (answer == nullptr || answer->variables == nullptr) return false;
  const netsnmp_variable_list& value = *answer->variables;
  return value.type == ASN_OCTET_STR &&
         std::string_view(reinterpret_cast<const char*>(value.val.string), value.val_len) == kAlias;
}

}  // namespace

AgentxPeer::AgentxPeer(Helper helper, std::int64_t entries) : helper_(helper), entries_(entries) {
  const int port = FreePort();
  StartSnmpd(port);
  StartSubagent();
  client_ = std::make_unique<Client>(port, folder_.path() + "/state");
  WaitUntilServed();
  ReadList();
}

AgentxPeer::~AgentxPeer() = default;

std::string_view AgentxPeer::name() const {
  return helper_ == Helper::kTableData ? "table_data" : "table_tdata";
}

// With a configuration, a port, a socket and a folder of its own, beside whatever the machine has.
void AgentxPeer::StartSnmpd(int port) {
  const std::string& folder = folder_.path();
  std::ofstream(folder + "/snmpd.conf") << "agentAddress udp:127.0.0.1:" << port << "\n"
                                        << "rwcommunity " << kCommunity << " 127.0.0.1\n"
                                        << "master agentx\n"
                                        << "agentXSocket unix:" << folder << "/agentx\n"
                                        << "agentXTimeout 60\n";
  snmpd_.emplace(std::vector<std::string>{"/usr/sbin/snmpd", "-f", "-r", "-Loe", "-C", "-c",
                                          folder + "/snmpd.conf", "-p", folder + "/pid"},
                 Child::Environment{{"SNMP_PERSISTENT_DIR", folder + "/state"}, {"MIBS", ""}},
                 folder + "/snmpd.log");
  for (int tenths = 0; !std::filesystem::exists(folder + "/agentx"); ++tenths) {
    snmpd_->CheckRuns();
    if (tenths == 300) throw std::runtime_error("snmpd does not listen for subagents");
    std::this_thread::sleep_for(100ms);
  }
}

void AgentxPeer::StartSubagent() {
  const std::string& folder = folder_.path();
  subagent_.emplace(
      std::vector<std::string>{BesideThis("peer-subagent"), "unix:" + folder + "/agentx",
                               std::to_string(entries_), std::string(name())},
      Child::Environment{
          {"SNMP_PERSISTENT_DIR", folder + "/state"}, {"SNMPCONFPATH", folder}, {"MIBS", ""}},
      folder + "/subagent.log");
}

void AgentxPeer::WaitUntilServed() {
  client_->SetTimeout(500'000);
  for (int tries = 0; !IsAlias(client_->Get(OidOf(kColumnAlias, 0))); ++tries) {
    snmpd_->CheckRuns();
    subagent_->CheckRuns();
    if (tries == 300) throw std::runtime_error("snmpd does not know the list");
    std::this_thread::sleep_for(100ms);
  }
  client_->SetTimeout(kTimeoutUs);
}

void AgentxPeer::ReadAlias(std::int64_t entry) {
  if (!IsAlias(client_->Get(OidOf(kColumnAlias, entry)))) {
    throw std::runtime_error("snmpd: another alias than expected");
  }
}

void AgentxPeer::WriteAlias(std::int64_t entry) {
  if (!IsAlias(client_->Set(OidOf(kColumnAlias, entry), kAlias))) {
    throw std::runtime_error("snmpd: no answer to a SET");
  }
}

void AgentxPeer::ReadList() {
  std::int64_t count = 0;
  Oid after(kEntry.begin(), kEntry.end());
  for (bool is_inside = true; is_inside;) {
    const Pdu answer = client_->GetBulk(after);
    if (answer == nullptr || answer->variables == nullptr) {
      throw std::runtime_error("snmpd: no answer to a GETBULK");
    }
    for (const netsnmp_variable_list* value = answer->variables; value != nullptr;
         value = value->next_variable) {
      is_inside = IsInList(*value) && value->type != SNMP_ENDOFMIBVIEW;
      if (!is_inside) break;
      ++count;
      after.assign(value->name, value->name + value->name_length);
    }
  }
  if (count != entries_ * kLeaves) {
    throw std::runtime_error("snmpd: " + std::to_string(count) + " values in the list");
  }
}

}  // namespace bench::peers
