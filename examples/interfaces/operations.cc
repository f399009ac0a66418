#include "interfaces/operations.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "demo-interfaces.h"
#include "interfaces/machine.h"

namespace {

// A leaf has the value that there is, or none.
template <size_t kSize>
bool Take(const std::optional<std::string>& text, char (&member)[kSize]) {
  if (text) snprintf(member, kSize, "%s", text->c_str());
  return text.has_value();
}

template <typename Number>
bool Take(const std::optional<std::string>& text, Number& member) {
  if (text) std::from_chars(text->data(), text->data() + text->size(), member);
  return text.has_value();
}

// The kernel's interface types are many; a reader of the demo wants to know these.
std::optional<std::string> TypeName(const std::optional<std::string>& type) {
  if (!type) return std::nullopt;
  return *type == "1" ? "ethernet" : *type == "772" ? "loopback" : "other";
}

std::optional<std::string> AdminStatus(const std::optional<std::string>& flags) {
  if (!flags) return std::nullopt;
  return (strtoul(flags->c_str(), nullptr, 16) & 1) != 0 ? "up" : "down";
}

// The id of an interface is the kernel's index.
int LoadInterface(const nc_dm_id_array_t* ids, demo_interfaces_interfaces_interface_t* record) {
  const int64_t index = ids->id[0];
  if (!Take(machine::InterfaceName(index), record->name)) return NCDM_NO_SUCH_ENTRY;
  auto& has = record->has;
  const auto file = [index](const char* name) { return machine::InterfaceFile(index, name); };
  has.type = Take(TypeName(file("type")), record->type);
  has.mtu = Take(file("mtu"), record->mtu);
  has.admin_status = Take(AdminStatus(file("flags")), record->admin_status);
  has.oper_status = Take(file("operstate"), record->oper_status);
  has.mac_address = Take(file("address"), record->mac_address);
  return 0;
}

int LoadStatistics(const nc_dm_id_array_t* ids,
                   demo_interfaces_interfaces_interface_statistics_t* record) {
  auto& has = record->has;
  const auto counter = [ids](const std::string& name) {
    return machine::InterfaceFile(ids->id[0], "statistics/" + name);
  };
  has.in_octets = Take(counter("rx_bytes"), record->in_octets);
  has.in_packets = Take(counter("rx_packets"), record->in_packets);
  has.in_errors = Take(counter("rx_errors"), record->in_errors);
  has.in_discards = Take(counter("rx_dropped"), record->in_discards);
  has.out_octets = Take(counter("tx_bytes"), record->out_octets);
  has.out_packets = Take(counter("tx_packets"), record->out_packets);
  has.out_errors = Take(counter("tx_errors"), record->out_errors);
  has.out_discards = Take(counter("tx_dropped"), record->out_discards);
  return 0;
}

int LoadSystem(const nc_dm_id_array_t*, demo_interfaces_system_t* record) {
  auto& has = record->has;
  has.hostname = Take(machine::HostName(), record->hostname);
  has.kernel = Take(machine::Kernel(), record->kernel);
  record->boot_time = machine::BootTime();
  record->uptime = machine::UptimeSeconds();
  has.boot_time = has.uptime = true;
  return 0;
}

}  // namespace

// Addresses and name servers are told by instances.cc, and kept by the model.
void SetOperations() {
  demo_interfaces_interfaces_interface_operations.load = LoadInterface;
  demo_interfaces_interfaces_interface_statistics_operations.load = LoadStatistics;
  demo_interfaces_system_operations.load = LoadSystem;
}
