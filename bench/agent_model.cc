#include "bench/agent_model.h"

#include <array>
#include <cstring>
#include <utility>

#include "netconf_dm_kernel.h"

namespace bench {
namespace {

constexpr int kNoSuchObject = -7;
constexpr int kOuterEntries = 8;
constexpr unsigned kHashLimit = 1'000'000;

Model g_model;

template <typename T>
void Write(char* value, T object) {
  std::memcpy(value, &object, sizeof(object));
}

std::int64_t OwnId(const nc_dm_id_array_t& ids) { return ids.id[ids.cnt - 1]; }

template <int kLeaf>
int Get(nc_dm_id_array_t* ids, char* value) {
  // Reads of a whole list come by the list's schema as well.
  if (ids->cnt < g_model.depth) return kNoSuchObject;
  switch (kLeaf % 4) {
    case 0:
      Write(value, static_cast<std::uint32_t>(OwnId(*ids)));
      break;
    case 1:
      Write(value, std::uint64_t{1'000'000'000});
      break;
    case 2:
      Write(value, static_cast<char>(1));
      break;
    default:
      std::memcpy(value, "uplink-7", 9);
  }
  return 0;
}

int Set(nc_dm_id_array_t* /*ids*/, char* /*value*/) { return 0; }

nc_int64 IdOf(const char* index) {
  std::uint32_t id = 0;
  std::memcpy(&id, index, sizeof(id));
  return id;
}

nc_int64 Create(nc_dm_id_array_t* ids, char* index) {
  ids->output.inst_exist = 0;
  return IdOf(index);
}

nc_int64 Delete(nc_dm_id_array_t* /*ids*/, char* index) { return IdOf(index); }

constexpr int kKeySlot = 1;

int GetAttr(nc_dm_agent_data_block_t* block, nc_dm_op_output_t* output) {
  output->instid = static_cast<nc_int64>(block->get_int_var(block, kKeySlot));
  return 0;
}

nc_int64 ExeCmd(nc_dm_agent_data_block_t* block) {
  if (block->has_int_var(block, kKeySlot)) {
    return static_cast<nc_int64>(block->get_int_var(block, kKeySlot));
  }
  return OwnId(block->id_array);
}

template <std::size_t... kLeaf>
constexpr std::array<nc_dm_get_fn, sizeof...(kLeaf)> Getters(
    std::index_sequence<kLeaf...> /*leaves*/) {
  return {Get<static_cast<int>(kLeaf)>...};
}
constexpr auto kGetters = Getters(std::make_index_sequence<Model::kMaxLeaves>());

int RegisterLeaf(const std::string& list, int leaf, const std::string& name) {
  std::string path = g_model.PortPath(list) + "." + name;
  const bool is_key = leaf == 0;
  const int slot = g_model.command ? leaf + kKeySlot : 0;
  return nc_dm_agent_mode_reg(path.data(), Model::LeafType(leaf), is_key ? NC_DM_FLAG_KEY : 0, slot,
                              is_key ? nullptr : Set, kGetters[static_cast<std::size_t>(leaf)],
                              is_key ? Create : nullptr, is_key ? Delete : nullptr,
                              is_key && g_model.command ? GetAttr : nullptr, nullptr,
                              g_model.command ? ExeCmd : nullptr);
}

int RegisterPaths() {
  constexpr int kLeavesOfContainer = 100;
  for (int i = 0; i < g_model.paths; ++i) {
    std::string path = "system.module" + std::to_string(i / kLeavesOfContainer) + ".counter" +
                       std::to_string(i % kLeavesOfContainer);
    const int result = nc_dm_agent_mode_reg(path.data(), NC_DM_VAL_TYPE_UINT, 0, 0, nullptr, Get<0>,
                                            nullptr, nullptr, nullptr, nullptr, nullptr);
    if (result != 0) return result;
  }
  return 0;
}

bool Announce(const std::string& path) {
  nc_dm_stub_reg_t record = {};
  record.type = NC_DM_MSG_TYPE_REG_OBJ;
  record.name = const_cast<char*>(path.c_str());
  return nc_dm_agent_reg_obj_in(&record) == 0;
}

// The entries of one list in `parent`, which ends with a point.
bool AnnounceAll(const std::string& parent, const char* list, std::int64_t count,
                 std::int64_t (*id_of)(std::int64_t)) {
  const std::string prefix = parent + list + ".";
  for (std::int64_t i = 0; i < count; ++i) {
    if (!Announce(prefix + std::to_string(id_of(i)) + ".")) return false;
  }
  return true;
}

}  // namespace

void SetModel(const Model& model) { g_model = model; }

int RegisterModel() {
  if (g_model.second_list) {
    const int result = RegisterLeaf("alarm", 0, "index");
    if (result != 0) return result;
  }
  for (int leaf = 0; leaf < g_model.leaves; ++leaf) {
    const int result = RegisterLeaf("port", leaf, Model::LeafName(leaf));
    if (result != 0) return result;
  }
  if (g_model.hash) {
    std::string path = g_model.PortPath("port");
    const int result = nc_dm_agent_reg_hash_tab(path.data(), kHashLimit);
    if (result != 0) return result;
  }
  return RegisterPaths();
}

bool Populate() {
  std::string parent = "system.";
  const std::int64_t outer_ids[] = {3, 5};
  const char* const outer_lists[] = {"chassis", "slot"};
  for (int i = 3 - g_model.depth; i < 2; ++i) {
    const bool created = AnnounceAll(parent, outer_lists[i], kOuterEntries,
                                     [](std::int64_t number) { return number + 1; });
    if (!created) return false;
    parent += std::string(outer_lists[i]) + "." + std::to_string(outer_ids[i]) + ".";
  }
  if (g_model.second_list && !AnnounceAll(parent, "alarm", g_model.entries, Model::PortId)) {
    return false;
  }
  return AnnounceAll(parent, "port", g_model.entries, Model::PortId);
}

}  // namespace bench
