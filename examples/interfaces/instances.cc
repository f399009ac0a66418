#include "interfaces/instances.h"

#include <algorithm>
#include <map>
#include <vector>

#include "netconf_dm_agent.h"

namespace instances {
namespace {

// The announced instances of one list: its entries by id, under a path prefix such as
// "system.dns-server.".
template <typename Entry>
class Announced {
 public:
  explicit Announced(std::string prefix) : prefix_(std::move(prefix)) {}

  template <typename Entries>
  void Refresh(const Entries& present) {
    std::erase_if(entries_, [&](const auto& known) {
      if (std::ranges::find(present, known.second) != std::ranges::end(present)) return false;
      nc_dm_agent_unreg(Path(known.first).data());
      return true;
    });
    for (const Entry& entry : present) {
      if (std::ranges::find(entries_, entry, [](const auto& known) { return known.second; }) !=
          entries_.end()) {
        continue;
      }
      nc_dm_agent_reg(Path(next_id_).data());
      entries_.emplace(next_id_++, entry);
    }
  }

  const Entry* Find(int64_t id) const {
    const auto found = entries_.find(id);
    return found == entries_.end() ? nullptr : &found->second;
  }

 private:
  std::string Path(int64_t id) const { return prefix_ + std::to_string(id) + "."; }

  std::string prefix_;
  std::map<int64_t, Entry> entries_;
  int64_t next_id_ = 1;
};

std::string InterfacePath(int64_t index) {
  return "interfaces.interface." + std::to_string(index) + ".";
}

std::map<int64_t, Announced<machine::Address>> g_interfaces;
Announced<std::string> g_dns_servers("system.dns-server.");

}  // namespace

void Refresh() {
  const auto present = machine::Interfaces();
  // Unregistering an entry takes everything below it along.
  std::erase_if(g_interfaces, [&](const auto& known) {
    if (present.contains(known.first)) return false;
    nc_dm_agent_unreg(InterfacePath(known.first).data());
    return true;
  });
  for (const auto& [index, addresses] : present) {
    auto known = g_interfaces.find(index);
    if (known == g_interfaces.end()) {
      nc_dm_agent_reg(InterfacePath(index).data());
      known = g_interfaces.emplace(index, InterfacePath(index) + "address.").first;
    }
    known->second.Refresh(addresses);
  }
  g_dns_servers.Refresh(machine::DnsServers());
}

const machine::Address* Address(int64_t interface, int64_t id) {
  const auto found = g_interfaces.find(interface);
  return found == g_interfaces.end() ? nullptr : found->second.Find(id);
}

std::optional<std::string> DnsServer(int64_t id) {
  const std::string* server = g_dns_servers.Find(id);
  if (server == nullptr) return std::nullopt;
  return *server;
}

}  // namespace instances
