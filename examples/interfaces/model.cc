#include "interfaces/model.h"

#include <sys/socket.h>

#include <charconv>
#include <cstdlib>
#include <optional>

#include "common/values.h"
#include "interfaces/instances.h"
#include "interfaces/machine.h"
#include "netconf_dm_agent.h"

namespace {

int Text(const std::optional<std::string>& text, char* value) {
  return text ? PutText(*text, value) : kNoSuchObject;
}

template <typename Number>
int Parsed(const std::optional<std::string>& text, char* value) {
  if (!text) return kNoSuchObject;
  Number number = 0;
  std::from_chars(text->data(), text->data() + text->size(), number);
  return PutValue(number, value);
}

// Ids along the path, outermost list first: the interface's, then the address's.
int64_t InterfaceId(const nc_dm_id_array_t* ids) { return ids->id[0]; }

const machine::Address* FindAddress(const nc_dm_id_array_t* ids) {
  return instances::Address(ids->id[0], ids->id[1]);
}

int GetName(nc_dm_id_array_t* ids, char* value) {
  return Text(machine::InterfaceName(InterfaceId(ids)), value);
}

// The kernel's interface types are many; a reader of the demo wants to know these.
int GetType(nc_dm_id_array_t* ids, char* value) {
  const auto type = machine::InterfaceFile(InterfaceId(ids), "type");
  if (!type) return kNoSuchObject;
  const std::string name = *type == "1" ? "ethernet" : *type == "772" ? "loopback" : "other";
  return Text(name, value);
}

int GetMtu(nc_dm_id_array_t* ids, char* value) {
  return Parsed<uint32_t>(machine::InterfaceFile(InterfaceId(ids), "mtu"), value);
}

int GetAdminStatus(nc_dm_id_array_t* ids, char* value) {
  const auto flags = machine::InterfaceFile(InterfaceId(ids), "flags");
  if (!flags) return kNoSuchObject;
  const bool up = (strtoul(flags->c_str(), nullptr, 16) & 1) != 0;
  return Text(up ? "up" : "down", value);
}

int GetOperStatus(nc_dm_id_array_t* ids, char* value) {
  return Text(machine::InterfaceFile(InterfaceId(ids), "operstate"), value);
}

int GetMacAddress(nc_dm_id_array_t* ids, char* value) {
  return Text(machine::InterfaceFile(InterfaceId(ids), "address"), value);
}

constexpr char kInOctets[] = "statistics/rx_bytes";
constexpr char kInPackets[] = "statistics/rx_packets";
constexpr char kInErrors[] = "statistics/rx_errors";
constexpr char kInDiscards[] = "statistics/rx_dropped";
constexpr char kOutOctets[] = "statistics/tx_bytes";
constexpr char kOutPackets[] = "statistics/tx_packets";
constexpr char kOutErrors[] = "statistics/tx_errors";
constexpr char kOutDiscards[] = "statistics/tx_dropped";

template <const char* kFile>
int GetCounter(nc_dm_id_array_t* ids, char* value) {
  return Parsed<uint64_t>(machine::InterfaceFile(InterfaceId(ids), kFile), value);
}

int GetIp(nc_dm_id_array_t* ids, char* value) {
  const auto* address = FindAddress(ids);
  return address == nullptr ? kNoSuchObject : Text(address->ip, value);
}

int GetPrefixLength(nc_dm_id_array_t* ids, char* value) {
  const auto* address = FindAddress(ids);
  return address == nullptr ? kNoSuchObject : PutValue(uint32_t{address->prefix_length}, value);
}

int GetFamily(nc_dm_id_array_t* ids, char* value) {
  const auto* address = FindAddress(ids);
  if (address == nullptr) return kNoSuchObject;
  return Text(address->family == AF_INET ? "ipv4" : "ipv6", value);
}

int GetHostName(nc_dm_id_array_t*, char* value) { return Text(machine::HostName(), value); }
int GetKernel(nc_dm_id_array_t*, char* value) { return Text(machine::Kernel(), value); }
int GetUptime(nc_dm_id_array_t*, char* value) { return PutValue(machine::UptimeSeconds(), value); }
int GetBootTime(nc_dm_id_array_t*, char* value) { return PutValue(machine::BootTime(), value); }

// An element of a leaf-list is addressed by its own id, behind those of the lists around it.
int GetDnsServer(nc_dm_id_array_t* ids, char* value) {
  return Text(instances::DnsServer(ids->id[ids->cnt - 1]), value);
}

struct Leaf {
  const char* path;
  nc_dm_val_type_t type;
  int flag;
  nc_dm_get_fn get;
};

constexpr Leaf kLeaves[] = {
    {"interfaces.interface.{i}.name", NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_KEY, GetName},
    {"interfaces.interface.{i}.type", NC_DM_VAL_TYPE_STRING, 0, GetType},
    {"interfaces.interface.{i}.mtu", NC_DM_VAL_TYPE_UINT, 0, GetMtu},
    {"interfaces.interface.{i}.admin-status", NC_DM_VAL_TYPE_STRING, 0, GetAdminStatus},
    {"interfaces.interface.{i}.oper-status", NC_DM_VAL_TYPE_STRING, 0, GetOperStatus},
    {"interfaces.interface.{i}.mac-address", NC_DM_VAL_TYPE_STRING, 0, GetMacAddress},
    {"interfaces.interface.{i}.statistics.in-octets", NC_DM_VAL_TYPE_ULONGLONG, 0,
     GetCounter<kInOctets>},
    {"interfaces.interface.{i}.statistics.in-packets", NC_DM_VAL_TYPE_ULONGLONG, 0,
     GetCounter<kInPackets>},
    {"interfaces.interface.{i}.statistics.in-errors", NC_DM_VAL_TYPE_ULONGLONG, 0,
     GetCounter<kInErrors>},
    {"interfaces.interface.{i}.statistics.in-discards", NC_DM_VAL_TYPE_ULONGLONG, 0,
     GetCounter<kInDiscards>},
    {"interfaces.interface.{i}.statistics.out-octets", NC_DM_VAL_TYPE_ULONGLONG, 0,
     GetCounter<kOutOctets>},
    {"interfaces.interface.{i}.statistics.out-packets", NC_DM_VAL_TYPE_ULONGLONG, 0,
     GetCounter<kOutPackets>},
    {"interfaces.interface.{i}.statistics.out-errors", NC_DM_VAL_TYPE_ULONGLONG, 0,
     GetCounter<kOutErrors>},
    {"interfaces.interface.{i}.statistics.out-discards", NC_DM_VAL_TYPE_ULONGLONG, 0,
     GetCounter<kOutDiscards>},
    {"interfaces.interface.{i}.address.{i}.ip", NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_KEY, GetIp},
    {"interfaces.interface.{i}.address.{i}.prefix-length", NC_DM_VAL_TYPE_UINT, 0, GetPrefixLength},
    {"interfaces.interface.{i}.address.{i}.family", NC_DM_VAL_TYPE_STRING, 0, GetFamily},
    {"system.hostname", NC_DM_VAL_TYPE_STRING, 0, GetHostName},
    {"system.kernel", NC_DM_VAL_TYPE_STRING, 0, GetKernel},
    {"system.uptime", NC_DM_VAL_TYPE_UINT, 0, GetUptime},
    {"system.boot-time", NC_DM_VAL_TYPE_DATATIME, 0, GetBootTime},
    {"system.dns-server", NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_LEAF_LIST, GetDnsServer},
};

}  // namespace

int RegisterModel() {
  for (const Leaf& leaf : kLeaves) {
    if (nc_dm_agent_mode_reg(const_cast<char*>(leaf.path), leaf.type, leaf.flag, 0, nullptr,
                             leaf.get, nullptr, nullptr, nullptr, nullptr, nullptr) != 0) {
      return -1;
    }
  }
  instances::Refresh();  // what exists now is announced behind the schema
  return 0;
}
