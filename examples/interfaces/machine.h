// What the demo knows of the machine that it runs on: plain reads of the kernel's own files, no
// library in sight.
#ifndef EXAMPLES_INTERFACES_MACHINE_H_
#define EXAMPLES_INTERFACES_MACHINE_H_

#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace machine {

struct Address {
  std::string ip;  // without the prefix length
  int family;      // AF_INET or AF_INET6
  unsigned prefix_length;
  // NOLINTNEXTLINE(modernize-use-nullptr): the check takes the comparison with 0 for a pointer.
  auto operator<=>(const Address&) const = default;
};

// Interfaces by the kernel's index, which makes a good instance id: positive and never reused while
// the machine is up.
std::map<int64_t, std::set<Address>> Interfaces();

// Name of an interface; nothing when it is gone.
std::optional<std::string> InterfaceName(int64_t index);

// First line of /sys/class/net/NAME/FILE; nothing when the interface is gone or has no such
// attribute.
std::optional<std::string> InterfaceFile(int64_t index, const std::string& file);

std::string HostName();
std::string Kernel();
uint32_t UptimeSeconds();
tm BootTime();  // year 2024, months 1 to 12

// Addresses of the name servers of resolv.conf, in its order.
std::vector<std::string> DnsServers();

}  // namespace machine

#endif  // EXAMPLES_INTERFACES_MACHINE_H_
