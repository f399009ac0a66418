#include "interfaces/instances.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>

#include "demo-interfaces.h"
#include "interfaces/machine.h"

namespace instances {
namespace {

// The entries of one list: what is known of them, by id. An id is not given twice.
template <typename Entry>
class Known {
 public:
  // `put` and `drop` tell the model of an entry's id.
  template <typename Entries, typename Put, typename Drop>
  void Refresh(const Entries& present, Put put, Drop drop) {
    std::erase_if(entries_, [&](const auto& known) {
      if (std::ranges::find(present, known.second) != std::ranges::end(present)) return false;
      drop(known.first);
      return true;
    });
    for (const Entry& entry : present) {
      if (std::ranges::find(entries_, entry, [](const auto& known) { return known.second; }) !=
          entries_.end()) {
        continue;
      }
      put(next_id_, entry);
      entries_.emplace(next_id_++, entry);
    }
  }

 private:
  std::map<int64_t, Entry> entries_;
  int64_t next_id_ = 1;
};

void PutInterface(int64_t index) {
  demo_interfaces_interfaces_interface_t record;
  demo_interfaces_interfaces_interface_init(&record);
  snprintf(record.name, sizeof record.name, "%s",
           machine::InterfaceName(index).value_or("").c_str());
  demo_interfaces_interfaces_interface_put(&index, &record);
}

void PutAddress(int64_t interface, int64_t id, const machine::Address& address) {
  demo_interfaces_interfaces_interface_address_t record;
  demo_interfaces_interfaces_interface_address_init(&record);
  snprintf(record.ip, sizeof record.ip, "%s", address.ip.c_str());
  snprintf(record.family, sizeof record.family, "%s", address.family == AF_INET ? "ipv4" : "ipv6");
  record.prefix_length = address.prefix_length;
  record.has.family = record.has.prefix_length = true;
  const nc_int64 ids[] = {interface, id};
  demo_interfaces_interfaces_interface_address_put(ids, &record);
}

void PutServer(int64_t id, const std::string& server) {
  demo_interfaces_system_dns_server_t record;
  demo_interfaces_system_dns_server_init(&record);
  snprintf(record.value, sizeof record.value, "%s", server.c_str());
  demo_interfaces_system_dns_server_put(&id, &record);
}

std::map<int64_t, Known<machine::Address>> g_interfaces;
Known<std::string> g_dns_servers;

}  // namespace

void Refresh() {
  const auto present = machine::Interfaces();
  // Dropping an entry takes everything below it along.
  std::erase_if(g_interfaces, [&](const auto& known) {
    if (present.contains(known.first)) return false;
    demo_interfaces_interfaces_interface_drop(&known.first);
    return true;
  });
  for (const auto& [index, addresses] : present) {
    const auto [known, is_new] = g_interfaces.try_emplace(index);
    if (is_new) PutInterface(index);
    const int64_t interface = index;
    known->second.Refresh(
        addresses,
        [&](int64_t id, const machine::Address& address) { PutAddress(interface, id, address); },
        [&](int64_t id) {
          const nc_int64 ids[] = {interface, id};
          demo_interfaces_interfaces_interface_address_drop(ids);
        });
  }
  g_dns_servers.Refresh(machine::DnsServers(), PutServer,
                        [](int64_t id) { demo_interfaces_system_dns_server_drop(&id); });
}

}  // namespace instances
