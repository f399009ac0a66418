#include "vlans/model.h"

#include <algorithm>
#include <cstdio>

#include "common/values.h"
#include "netconf_dm_agent.h"
#include "vlans/configuration.h"

namespace vlans {
namespace {

Configuration g_running;
std::string g_file;

constexpr int kFailed = -1;

template <typename Entry>
Entry* Find(std::map<int64_t, Entry>& entries, int64_t id) {
  const auto found = entries.find(id);
  return found == entries.end() ? nullptr : &found->second;
}

// Ids along the path, outermost list first.
Vlan* VlanAt(const nc_dm_id_array_t* ids) { return Find(g_running.vlans, ids->id[0]); }
Route* RouteAt(const nc_dm_id_array_t* ids) { return Find(g_running.routes, ids->id[0]); }

// ---- VLANs: all leaves of an entry arrive at once, in the slots of a data block. ----

// The leaves' slots. The key has one too: it is how the application learns which entry to create or
// delete.
enum Slot { kSlotId = 1, kSlotName, kSlotMtu, kSlotEnabled };

constexpr uint64_t kMaxVlanId = 4094;
constexpr uint64_t kMinMtu = 68;
constexpr uint64_t kMaxMtu = 9216;

// Takes over the slots that the request named; nothing is changed when one of them is refused.
bool Apply(nc_dm_agent_data_block_t* block, Vlan& vlan) {
  Vlan changed = vlan;
  if (block->has_str_var(block, kSlotName)) changed.name = block->get_str_var(block, kSlotName);
  if (block->has_int_var(block, kSlotMtu)) {
    const uint64_t mtu = block->get_int_var(block, kSlotMtu);
    if (mtu < kMinMtu || mtu > kMaxMtu) return false;
    changed.mtu = static_cast<uint32_t>(mtu);
  }
  if (block->has_int_var(block, kSlotEnabled)) {
    changed.enabled = block->get_int_var(block, kSlotEnabled) != 0;
  }
  vlan = std::move(changed);
  return true;
}

nc_int64 CreateOrMerge(nc_dm_agent_data_block_t* block) {
  const uint64_t id = block->get_int_var(block, kSlotId);
  if (id < 1 || id > kMaxVlanId) return kFailed;
  const auto instance = static_cast<nc_int64>(id);
  Vlan* existing = Find(g_running.vlans, instance);
  block->id_array.output.inst_exist = existing != nullptr;
  if (existing != nullptr) {
    // A create of what exists is refused by the library, so it must change nothing here.
    const bool refused = block->op_flag == NC_DM_CMD_OP_MERGE && !Apply(block, *existing);
    return refused ? kFailed : instance;
  }
  Vlan fresh;
  if (!Apply(block, fresh)) return kFailed;
  g_running.vlans.emplace(instance, std::move(fresh));
  return instance;
}

nc_int64 EditEntry(nc_dm_agent_data_block_t* block) {
  Vlan* vlan = VlanAt(&block->id_array);
  if (vlan == nullptr) return kNoSuchObject;
  return Apply(block, *vlan) ? block->id_array.id[0] : kFailed;
}

// An entry is deleted by its key, or by its id when everything below a container goes. A block of
// this kind that has other slots set comes from a request that deletes one leaf of an entry and
// writes others.
nc_int64 DeleteEntry(nc_dm_agent_data_block_t* block) {
  nc_int64 id = block->id_array.id[0];
  if (block->has_int_var(block, kSlotId)) {
    id = static_cast<nc_int64>(block->get_int_var(block, kSlotId));
  } else if (block->ulong_var_flag != 0 || block->string_var_flag != 0) {
    return EditEntry(block);
  }
  return g_running.vlans.erase(id) == 0 ? kNoSuchObject : id;
}

nc_int64 ApplyVlan(nc_dm_agent_data_block_t* block) {
  switch (block->op_flag) {
    case NC_DM_CMD_OP_MERGE:
    case NC_DM_CMD_OP_CREATE:
      return CreateOrMerge(block);
    case NC_DM_CMD_OP_EDIT:
      return EditEntry(block);
    case NC_DM_CMD_OP_DELETE:
      return DeleteEntry(block);
    default:
      return kFailed;
  }
}

int FindVlan(nc_dm_agent_data_block_t* block, nc_dm_op_output_t* output) {
  const auto id = static_cast<nc_int64>(block->get_int_var(block, kSlotId));
  output->inst_exist = g_running.vlans.contains(id);
  output->instid = output->inst_exist != 0 ? id : 0;
  return 0;
}

int GetVlanId(nc_dm_id_array_t* ids, char* value) {
  return VlanAt(ids) != nullptr ? PutValue(static_cast<uint16_t>(ids->id[0]), value)
                                : kNoSuchObject;
}

int GetVlanName(nc_dm_id_array_t* ids, char* value) {
  const Vlan* vlan = VlanAt(ids);
  return vlan != nullptr ? PutText(vlan->name, value) : kNoSuchObject;
}

int GetVlanMtu(nc_dm_id_array_t* ids, char* value) {
  const Vlan* vlan = VlanAt(ids);
  return vlan != nullptr ? PutValue(vlan->mtu, value) : kNoSuchObject;
}

int GetVlanEnabled(nc_dm_id_array_t* ids, char* value) {
  const Vlan* vlan = VlanAt(ids);
  return vlan != nullptr ? PutValue(vlan->enabled, value) : kNoSuchObject;
}

// Deleting a leaf gives it its default back.
template <auto kMember>
nc_int64 ResetVlanLeaf(nc_dm_id_array_t* ids, char*) {
  Vlan* vlan = VlanAt(ids);
  if (vlan == nullptr) return kNoSuchObject;
  vlan->*kMember = Vlan{}.*kMember;
  return 0;
}

// ---- Tagged ports: a leaf-list, whose elements have ids of their own. ----

auto FindPort(Vlan& vlan, const char* port) {
  return std::ranges::find(vlan.tagged_ports, port, [](const auto& item) { return item.second; });
}

nc_int64 AddPort(nc_dm_id_array_t* ids, char* value) {
  Vlan* vlan = VlanAt(ids);
  if (vlan == nullptr || *value == '\0') return kFailed;
  const auto known = FindPort(*vlan, value);
  ids->output.inst_exist = known != vlan->tagged_ports.end();
  if (known != vlan->tagged_ports.end()) return known->first;
  return vlan->tagged_ports.emplace(NextId(vlan->tagged_ports), value).first->first;
}

// By value in a request of its own, by id when everything around it goes.
nc_int64 RemovePort(nc_dm_id_array_t* ids, char* value) {
  Vlan* vlan = VlanAt(ids);
  if (vlan == nullptr) return kNoSuchObject;
  const auto known = *value != '\0' ? FindPort(*vlan, value) : vlan->tagged_ports.find(ids->id[1]);
  if (known == vlan->tagged_ports.end()) return kNoSuchObject;
  const nc_int64 id = known->first;
  vlan->tagged_ports.erase(known);
  return id;
}

int GetPort(nc_dm_id_array_t* ids, char* value) {
  Vlan* vlan = VlanAt(ids);
  const std::string* port = vlan == nullptr ? nullptr : Find(vlan->tagged_ports, ids->id[1]);
  return port != nullptr ? PutText(*port, value) : kNoSuchObject;
}

// ---- Routes: an entry is created by its key, then each leaf is set on its own. ----

nc_int64 CreateRoute(nc_dm_id_array_t* ids, char* prefix) {
  const auto known = std::ranges::find(g_running.routes, std::string(prefix),
                                       [](const auto& item) { return item.second.prefix; });
  ids->output.inst_exist = known != g_running.routes.end();
  if (known != g_running.routes.end()) return known->first;
  if (std::string(prefix).find('/') == std::string::npos) return kFailed;
  return g_running.routes.emplace(NextId(g_running.routes), Route{prefix, "", 1}).first->first;
}

nc_int64 DeleteRoute(nc_dm_id_array_t* ids, char* prefix) {
  const auto known = *prefix == '\0'
                         ? g_running.routes.find(ids->id[0])
                         : std::ranges::find(g_running.routes, std::string(prefix),
                                             [](const auto& item) { return item.second.prefix; });
  if (known == g_running.routes.end()) return kNoSuchObject;
  const nc_int64 id = known->first;
  g_running.routes.erase(known);
  return id;
}

int GetRoutePrefix(nc_dm_id_array_t* ids, char* value) {
  const Route* route = RouteAt(ids);
  return route != nullptr ? PutText(route->prefix, value) : kNoSuchObject;
}

int GetRouteNextHop(nc_dm_id_array_t* ids, char* value) {
  const Route* route = RouteAt(ids);
  return route != nullptr ? PutText(route->next_hop, value) : kNoSuchObject;
}

int SetRouteNextHop(nc_dm_id_array_t* ids, char* value) {
  Route* route = RouteAt(ids);
  if (route == nullptr) return kNoSuchObject;
  route->next_hop = value;
  return 0;
}

int GetRouteMetric(nc_dm_id_array_t* ids, char* value) {
  const Route* route = RouteAt(ids);
  return route != nullptr ? PutValue(route->metric, value) : kNoSuchObject;
}

int SetRouteMetric(nc_dm_id_array_t* ids, char* value) {
  Route* route = RouteAt(ids);
  if (route == nullptr) return kNoSuchObject;
  route->metric = TakeValue<uint32_t>(value);
  return 0;
}

// ---- Plain leaves. ----

template <auto kMember>
int GetPlainText(nc_dm_id_array_t*, char* value) {
  return PutText(g_running.*kMember, value);
}

template <auto kMember>
int SetPlainText(nc_dm_id_array_t*, char* value) {  // NOLINT(readability-non-const-parameter)
  g_running.*kMember = value;
  return 0;
}

template <auto kMember>
nc_int64 ResetPlain(nc_dm_id_array_t*, char*) {
  g_running.*kMember = Configuration{}.*kMember;
  return 0;
}

int GetNtpEnabled(nc_dm_id_array_t*, char* value) { return PutValue(g_running.ntp_enabled, value); }

int SetNtpEnabled(nc_dm_id_array_t*, char* value) {  // NOLINT(readability-non-const-parameter)
  g_running.ntp_enabled = *value != 0;
  return 0;
}

// ---- The model as a whole. ----

struct Leaf {
  const char* path = nullptr;
  nc_dm_val_type_t type = NC_DM_VAL_TYPE_UNKNOWN;
  int flag = 0;
  int slot = 0;
  nc_dm_set_fn set = nullptr;
  nc_dm_get_fn get = nullptr;
  nc_dm_create_fn create = nullptr;
  nc_dm_delete_fn remove = nullptr;
  nc_dm_get_attr_fn get_attr = nullptr;
  nc_dm_exe_cmd_fn exe_cmd = nullptr;
};

constexpr Leaf kLeaves[] = {
    {.path = "vlans.vlan.{i}.id",
     .type = NC_DM_VAL_TYPE_USHORT,
     .flag = NC_DM_FLAG_KEY,
     .slot = kSlotId,
     .get = GetVlanId,
     .get_attr = FindVlan,
     .exe_cmd = ApplyVlan},
    {.path = "vlans.vlan.{i}.name",
     .type = NC_DM_VAL_TYPE_STRING,
     .slot = kSlotName,
     .get = GetVlanName,
     .remove = ResetVlanLeaf<&Vlan::name>,
     .exe_cmd = ApplyVlan},
    {.path = "vlans.vlan.{i}.mtu",
     .type = NC_DM_VAL_TYPE_UINT,
     .slot = kSlotMtu,
     .get = GetVlanMtu,
     .remove = ResetVlanLeaf<&Vlan::mtu>,
     .exe_cmd = ApplyVlan},
    {.path = "vlans.vlan.{i}.enabled",
     .type = NC_DM_VAL_TYPE_BOOL,
     .slot = kSlotEnabled,
     .get = GetVlanEnabled,
     .remove = ResetVlanLeaf<&Vlan::enabled>,
     .exe_cmd = ApplyVlan},
    {.path = "vlans.vlan.{i}.tagged-port",
     .type = NC_DM_VAL_TYPE_STRING,
     .flag = NC_DM_FLAG_LEAF_LIST,
     .get = GetPort,
     .create = AddPort,
     .remove = RemovePort},
    {.path = "routes.route.{i}.prefix",
     .type = NC_DM_VAL_TYPE_STRING,
     .flag = NC_DM_FLAG_KEY,
     .get = GetRoutePrefix,
     .create = CreateRoute,
     .remove = DeleteRoute},
    {.path = "routes.route.{i}.next-hop",
     .type = NC_DM_VAL_TYPE_STRING,
     .set = SetRouteNextHop,
     .get = GetRouteNextHop},
    {.path = "routes.route.{i}.metric",
     .type = NC_DM_VAL_TYPE_UINT,
     .set = SetRouteMetric,
     .get = GetRouteMetric},
    {.path = "system.contact",
     .type = NC_DM_VAL_TYPE_STRING,
     .set = SetPlainText<&Configuration::contact>,
     .get = GetPlainText<&Configuration::contact>,
     .remove = ResetPlain<&Configuration::contact>},
    {.path = "system.location",
     .type = NC_DM_VAL_TYPE_STRING,
     .set = SetPlainText<&Configuration::location>,
     .get = GetPlainText<&Configuration::location>,
     .remove = ResetPlain<&Configuration::location>},
    {.path = "system.ntp-enabled",
     .type = NC_DM_VAL_TYPE_BOOL,
     .set = SetNtpEnabled,
     .get = GetNtpEnabled,
     .remove = ResetPlain<&Configuration::ntp_enabled>},
};

// The server asks for the configuration to be made lasting.
int Commit(char*) {
  std::string error;
  if (g_file.empty() || Save(g_file, g_running, error)) return 0;
  fprintf(stderr, "vlans-demo: not saved: %s\n", error.c_str());
  return kFailed;
}

void RegisterInstances() {
  for (const auto& [id, vlan] : g_running.vlans) {
    const std::string entry = "vlans.vlan." + std::to_string(id) + ".";
    nc_dm_agent_reg(std::string(entry).data());
    for (const auto& [element, port] : vlan.tagged_ports) {
      nc_dm_agent_reg((entry + "tagged-port." + std::to_string(element) + ".").data());
    }
  }
  for (const auto& [id, route] : g_running.routes) {
    nc_dm_agent_reg(("routes.route." + std::to_string(id) + ".").data());
  }
}

}  // namespace

bool UseFile(const std::string& file, std::string& error) {
  g_file = file;
  return Load(file, g_running, error);
}

int RegisterModel() {
  for (const Leaf& leaf : kLeaves) {
    if (nc_dm_agent_mode_reg(const_cast<char*>(leaf.path), leaf.type, leaf.flag, leaf.slot,
                             leaf.set, leaf.get, leaf.create, leaf.remove, leaf.get_attr, nullptr,
                             leaf.exe_cmd) != 0) {
      return -1;
    }
  }
  RegisterInstances();
  return nc_dm_agent_fun_reg(NC_DM_HOOK_FUN_DATA_COMMIT, Commit);
}

}  // namespace vlans
