#include "vlans/configuration.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

#include "demo-vlans.h"

namespace vlans {
namespace {

using Json = nlohmann::ordered_json;

// The ids of a list's entries, one by one: `next` gives the one that follows the last of `ids`.
template <typename Next, typename Use>
void ForEach(std::vector<nc_int64> ids, Next next, Use use) {
  while ((ids.back() = next(ids.data())) != 0) use(ids.data());
}

Json PortsToJson(nc_int64 vlan) {
  Json ports = Json::array();
  ForEach({vlan, 0}, demo_vlans_vlans_vlan_tagged_port_next, [&](const nc_int64* ids) {
    demo_vlans_vlans_vlan_tagged_port_t port;
    if (demo_vlans_vlans_vlan_tagged_port_get(ids, &port) == 0) ports.push_back(port.value);
  });
  return ports;
}

Json VlansToJson() {
  Json vlans = Json::array();
  ForEach({0}, demo_vlans_vlans_vlan_next, [&](const nc_int64* ids) {
    demo_vlans_vlans_vlan_t vlan;
    if (demo_vlans_vlans_vlan_get(ids, &vlan) != 0) return;
    vlans.push_back({{"id", vlan.id},
                     {"name", vlan.name},
                     {"mtu", vlan.mtu},
                     {"enabled", vlan.enabled},
                     {"tagged-port", PortsToJson(ids[0])}});
  });
  return vlans;
}

Json RoutesToJson() {
  Json routes = Json::array();
  ForEach({0}, demo_vlans_routes_route_next, [&](const nc_int64* ids) {
    demo_vlans_routes_route_t route;
    if (demo_vlans_routes_route_get(ids, &route) != 0) return;
    routes.push_back(
        {{"prefix", route.prefix}, {"next-hop", route.next_hop}, {"metric", route.metric}});
  });
  return routes;
}

Json ToJson() {
  demo_vlans_system_t system;
  demo_vlans_system_init(&system);
  demo_vlans_system_get(nullptr, &system);
  return {{"vlans", VlansToJson()},
          {"routes", RoutesToJson()},
          {"contact", system.contact},
          {"location", system.location},
          {"ntp-enabled", system.ntp_enabled}};
}

template <size_t kSize>
bool CopyText(const Json& json, char (&member)[kSize]) {
  snprintf(member, kSize, "%s", json.get<std::string>().c_str());
  return true;
}

// The id of an entry that was put in.
nc_int64 Accepted(nc_int64 id, const Json& json) {
  if (id <= 0) throw std::runtime_error("the model refuses " + json.dump());
  return id;
}

void TakeVlan(const Json& json) {
  demo_vlans_vlans_vlan_t vlan;
  demo_vlans_vlans_vlan_init(&vlan);
  vlan.has.name = CopyText(json.at("name"), vlan.name);
  vlan.mtu = json.at("mtu");
  vlan.enabled = json.at("enabled");
  const Json& ports = json.at("tagged-port");
  vlan.id = json.at("id");
  const nc_int64 none[] = {0};
  const nc_int64 id = Accepted(demo_vlans_vlans_vlan_put(none, &vlan), json);
  for (const Json& value : ports) {
    demo_vlans_vlans_vlan_tagged_port_t port;
    demo_vlans_vlans_vlan_tagged_port_init(&port);
    CopyText(value, port.value);
    const nc_int64 in_vlan[] = {id, 0};
    Accepted(demo_vlans_vlans_vlan_tagged_port_put(in_vlan, &port), value);
  }
}

void TakeRoute(const Json& json) {
  demo_vlans_routes_route_t route;
  demo_vlans_routes_route_init(&route);
  CopyText(json.at("prefix"), route.prefix);
  route.has.next_hop = CopyText(json.at("next-hop"), route.next_hop);
  route.metric = json.at("metric");
  const nc_int64 none[] = {0};
  Accepted(demo_vlans_routes_route_put(none, &route), json);
}

void TakeAll(const Json& json) {
  for (const Json& item : json.at("vlans")) TakeVlan(item);
  for (const Json& item : json.at("routes")) TakeRoute(item);
  demo_vlans_system_t system;
  demo_vlans_system_init(&system);
  system.has.contact = CopyText(json.at("contact"), system.contact);
  system.has.location = CopyText(json.at("location"), system.location);
  system.ntp_enabled = json.at("ntp-enabled");
  demo_vlans_system_put(nullptr, &system);
}

}  // namespace

bool Load(const std::string& file, std::string& error) {
  std::ifstream stream(file);
  if (!stream) {
    if (errno == ENOENT) return true;
    error = file + ": " + strerror(errno);
    return false;
  }
  try {
    TakeAll(Json::parse(stream));
  } catch (const std::exception& problem) {
    error = file + ": " + problem.what();
    return false;
  }
  return true;
}

bool Save(const std::string& file, std::string& error) {
  char problem[512] = "";
  const bool saved = ncdm_file_write(file.c_str(), (ToJson().dump(2) + "\n").c_str(), problem,
                                     sizeof problem) == 0;
  error = problem;
  return saved;
}

}  // namespace vlans
