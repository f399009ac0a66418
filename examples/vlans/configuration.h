// The switch's configuration: plain data, and the file that it survives restarts in.
#ifndef EXAMPLES_VLANS_CONFIGURATION_H_
#define EXAMPLES_VLANS_CONFIGURATION_H_

#include <cstdint>
#include <map>
#include <string>

namespace vlans {

inline constexpr uint32_t kDefaultMtu = 1500;

struct Vlan {
  std::string name;
  uint32_t mtu = kDefaultMtu;
  bool enabled = true;
  std::map<int64_t, std::string> tagged_ports;  // by element id
};

struct Route {
  std::string prefix;
  std::string next_hop;
  uint32_t metric = 1;
};

struct Configuration {
  std::map<int64_t, Vlan> vlans;    // the VLAN id is the instance id
  std::map<int64_t, Route> routes;  // by instance id
  std::string contact;
  std::string location;
  bool ntp_enabled = false;
};

// Reads the file into `configuration`; a file that is not there leaves it empty. False, with
// `error`, when it cannot be understood.
bool Load(const std::string& file, Configuration& configuration, std::string& error);

// Writes the file so that a crash leaves the old content or the new, never a part of it.
bool Save(const std::string& file, const Configuration& configuration, std::string& error);

// The first free id above those in use.
template <typename Entry>
int64_t NextId(const std::map<int64_t, Entry>& entries) {
  return entries.empty() ? 1 : entries.rbegin()->first + 1;
}

}  // namespace vlans

#endif  // EXAMPLES_VLANS_CONFIGURATION_H_
