#include "interfaces/machine.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/utsname.h>

#include <bit>
#include <fstream>
#include <memory>
#include <sstream>

namespace machine {
namespace {

std::optional<std::string> FirstLine(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  if (!std::getline(file, line)) return std::nullopt;
  return line;
}

unsigned PrefixLength(const sockaddr* mask) {
  const auto* bytes =
      mask->sa_family == AF_INET
          ? reinterpret_cast<const uint8_t*>(&reinterpret_cast<const sockaddr_in*>(mask)->sin_addr)
          : reinterpret_cast<const uint8_t*>(
                &reinterpret_cast<const sockaddr_in6*>(mask)->sin6_addr);
  const int size = mask->sa_family == AF_INET ? 4 : 16;
  unsigned length = 0;
  for (int i = 0; i < size; ++i) length += static_cast<unsigned>(std::popcount(bytes[i]));
  return length;
}

std::optional<Address> ToAddress(const ifaddrs& entry) {
  if (entry.ifa_addr == nullptr || entry.ifa_netmask == nullptr) return std::nullopt;
  const int family = entry.ifa_addr->sa_family;
  if (family != AF_INET && family != AF_INET6) return std::nullopt;
  const void* binary = family == AF_INET
                           ? static_cast<const void*>(
                                 &reinterpret_cast<const sockaddr_in*>(entry.ifa_addr)->sin_addr)
                           : &reinterpret_cast<const sockaddr_in6*>(entry.ifa_addr)->sin6_addr;
  char text[INET6_ADDRSTRLEN];
  if (inet_ntop(family, binary, text, sizeof text) == nullptr) return std::nullopt;
  return Address{text, family, PrefixLength(entry.ifa_netmask)};
}

}  // namespace

std::map<int64_t, std::set<Address>> Interfaces() {
  std::map<int64_t, std::set<Address>> result;
  const std::unique_ptr<struct if_nameindex, void (*)(struct if_nameindex*)> names(
      if_nameindex(), if_freenameindex);
  if (names == nullptr) return result;
  for (const auto* name = names.get(); name->if_index != 0; ++name) result[name->if_index];

  ifaddrs* entries = nullptr;
  if (getifaddrs(&entries) != 0) return result;
  for (const ifaddrs* entry = entries; entry != nullptr; entry = entry->ifa_next) {
    const auto address = ToAddress(*entry);
    const auto interface = result.find(if_nametoindex(entry->ifa_name));
    if (address && interface != result.end()) interface->second.insert(*address);
  }
  freeifaddrs(entries);
  return result;
}

std::optional<std::string> InterfaceName(int64_t index) {
  char name[IF_NAMESIZE];
  if (if_indextoname(static_cast<unsigned>(index), name) == nullptr) return std::nullopt;
  return name;
}

std::optional<std::string> InterfaceFile(int64_t index, const std::string& file) {
  const auto name = InterfaceName(index);
  if (!name) return std::nullopt;
  return FirstLine("/sys/class/net/" + *name + "/" + file);
}

std::string HostName() {
  utsname names;
  return uname(&names) == 0 ? names.nodename : "";
}

std::string Kernel() {
  utsname names;
  return uname(&names) == 0 ? std::string(names.sysname) + " " + names.release : "";
}

uint32_t UptimeSeconds() {
  timespec now;
  clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<uint32_t>(now.tv_sec);
}

tm BootTime() {
  const time_t boot = time(nullptr) - static_cast<time_t>(UptimeSeconds());
  tm fields{};
  gmtime_r(&boot, &fields);
  fields.tm_year += 1900;
  fields.tm_mon += 1;
  return fields;
}

std::vector<std::string> DnsServers() {
  std::vector<std::string> servers;
  std::ifstream file("/etc/resolv.conf");
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string keyword;
    std::string server;
    if (words >> keyword >> server && keyword == "nameserver") servers.push_back(server);
  }
  return servers;
}

}  // namespace machine
