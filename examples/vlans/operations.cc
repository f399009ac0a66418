#include "vlans/operations.h"

#include <cstdio>
#include <cstring>

#include "demo-vlans.h"
#include "vlans/configuration.h"

namespace vlans {
namespace {

constexpr int kRefused = -1;

std::string g_file;

// A text that the model lets be absent is an empty one in this switch.
void FillIn(bool& has, char* text) {
  if (!has) *text = '\0';
  has = true;
}

// All leaves of a VLAN arrive at once.
nc_int64 ApplyVlan(const nc_dm_id_array_t*, const demo_vlans_vlans_vlan_t*,
                   demo_vlans_vlans_vlan_t* vlan) {
  FillIn(vlan->has.name, vlan->name);
  return vlan->id;
}

// A route is created by its key, and its other leaves follow one by one.
nc_int64 ApplyRoute(const nc_dm_id_array_t*, const demo_vlans_routes_route_t*,
                    demo_vlans_routes_route_t* route) {
  if (strchr(route->prefix, '/') == nullptr) return kRefused;
  FillIn(route->has.next_hop, route->next_hop);
  return 0;
}

nc_int64 ApplySystem(const nc_dm_id_array_t*, const demo_vlans_system_t*,
                     demo_vlans_system_t* system) {
  FillIn(system->has.contact, system->contact);
  FillIn(system->has.location, system->location);
  return 0;
}

// What the switch has before anybody configures it.
void PutSystem() {
  demo_vlans_system_t system;
  demo_vlans_system_init(&system);
  ApplySystem(nullptr, nullptr, &system);
  demo_vlans_system_put(nullptr, &system);
}

// The server asks for the configuration to be made lasting.
int Commit() {
  std::string error;
  if (g_file.empty() || Save(g_file, error)) return 0;
  fprintf(stderr, "vlans-demo: not saved: %s\n", error.c_str());
  return kRefused;
}

}  // namespace

void SetOperations(const std::string& file) {
  g_file = file;
  demo_vlans_vlans_vlan_operations.apply = ApplyVlan;
  demo_vlans_routes_route_operations.apply = ApplyRoute;
  demo_vlans_system_operations.apply = ApplySystem;
  demo_vlans_commit = Commit;
  PutSystem();
}

}  // namespace vlans
