// The list served by an AgentX subagent: peer-subagent behind an snmpd of its own, and libnetsnmp
// as their client.
#ifndef BENCH_PEERS_AGENTX_PEER_H_
#define BENCH_PEERS_AGENTX_PEER_H_

#include <memory>
#include <optional>

#include "bench/peers/child.h"
#include "bench/peers/peer.h"

namespace bench::peers {

// How the subagent keeps its rows: net-snmp's table_data helper in a linked list, its successor
// table_tdata in a sorted container.
enum class Helper { kTableData, kTableTdata };

class AgentxPeer final : public Peer {
 public:
  // Waits until all is served. Throws std::runtime_error.
  AgentxPeer(Helper helper, std::int64_t entries);
  ~AgentxPeer() override;

  std::string_view name() const override;
  void ReadAlias(std::int64_t entry) override;
  void WriteAlias(std::int64_t entry) override;
  void ReadList() override;
  pid_t application() const override { return subagent_->pid(); }
  std::vector<pid_t> between() const override { return {snmpd_->pid()}; }

 private:
  class Client;

  void StartSnmpd(int port);
  void StartSubagent();
  void WaitUntilServed();

  Helper helper_;
  std::int64_t entries_;
  Folder folder_;
  std::optional<Child> snmpd_;
  std::optional<Child> subagent_;
  std::unique_ptr<Client> client_;
};

}  // namespace bench::peers

#endif  // BENCH_PEERS_AGENTX_PEER_H_
