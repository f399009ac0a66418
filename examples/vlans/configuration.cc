#include "vlans/configuration.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>

namespace vlans {
namespace {

using Json = nlohmann::ordered_json;

Json ToJson(const Configuration& configuration) {
  Json vlan_list = Json::array();
  for (const auto& [id, vlan] : configuration.vlans) {
    Json ports = Json::array();
    for (const auto& [element, port] : vlan.tagged_ports) ports.push_back(port);
    vlan_list.push_back({{"id", id},
                         {"name", vlan.name},
                         {"mtu", vlan.mtu},
                         {"enabled", vlan.enabled},
                         {"tagged-port", ports}});
  }
  Json route_list = Json::array();
  for (const auto& [id, route] : configuration.routes) {
    route_list.push_back(
        {{"prefix", route.prefix}, {"next-hop", route.next_hop}, {"metric", route.metric}});
  }
  return {{"vlans", vlan_list},
          {"routes", route_list},
          {"contact", configuration.contact},
          {"location", configuration.location},
          {"ntp-enabled", configuration.ntp_enabled}};
}

Configuration FromJson(const Json& json) {
  Configuration configuration;
  for (const Json& item : json.at("vlans")) {
    Vlan vlan{item.at("name"), item.at("mtu"), item.at("enabled"), {}};
    for (const Json& port : item.at("tagged-port")) {
      vlan.tagged_ports.emplace(NextId(vlan.tagged_ports), port.get<std::string>());
    }
    configuration.vlans.emplace(item.at("id").get<int64_t>(), std::move(vlan));
  }
  for (const Json& item : json.at("routes")) {
    configuration.routes.emplace(NextId(configuration.routes),
                                 Route{item.at("prefix"), item.at("next-hop"), item.at("metric")});
  }
  configuration.contact = json.at("contact");
  configuration.location = json.at("location");
  configuration.ntp_enabled = json.at("ntp-enabled");
  return configuration;
}

// Data and name are on the disk when this returns true.
bool WriteAndSync(const std::string& file, const std::string& text) {
  const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = write(fd, text.data() + written, text.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) break;
    written += static_cast<size_t>(count);
  }
  const bool synced = written == text.size() && fsync(fd) == 0;
  return close(fd) == 0 && synced;
}

}  // namespace

bool Load(const std::string& file, Configuration& configuration, std::string& error) {
  std::ifstream stream(file);
  if (!stream) {
    if (errno == ENOENT) return true;
    error = file + ": " + strerror(errno);
    return false;
  }
  try {
    configuration = FromJson(Json::parse(stream));
  } catch (const Json::exception& problem) {
    error = file + ": " + problem.what();
    return false;
  }
  return true;
}

bool Save(const std::string& file, const Configuration& configuration, std::string& error) {
  const std::string draft = file + ".new";
  if (!WriteAndSync(draft, ToJson(configuration).dump(2) + "\n") ||
      rename(draft.c_str(), file.c_str()) != 0) {
    error = file + ": " + strerror(errno);
    unlink(draft.c_str());
    return false;
  }
  return true;
}

}  // namespace vlans
