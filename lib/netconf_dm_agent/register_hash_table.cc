// Hash tables for the instances of long lists, by the application's choice.

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>

#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/instances/instance_hash.h"
#include "netconf_dm_kernel/tree/ready.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/mutex_lock.h"
#include "netconf_dm_util/refuse.h"

namespace {

struct TableSize {
  unsigned int limit_num;  // from here on
  uint32_t bits;
};
constexpr TableSize kTableSizes[] = {
    {800000, 18},
    {320000, 17},
    {160000, 16},
    {80000, 15},
    {40000, 14},
    {30000, 13},
    {NC_DM_MIN_HASH_LIMIT, 12},
};

uint32_t BitsFor(unsigned int limit_num) {
  const auto* size = std::find_if(std::begin(kTableSizes), std::end(kTableSizes),
                                  [&](const TableSize& s) { return limit_num >= s.limit_num; });
  return size->bits;
}

struct FreeTable {
  void operator()(nc_dm_hash_tab_t* table) const {
    nc_dm_agent_delete_mode_node_hash_tab_all_entries(table);
    free(table);
  }
};
using TablePtr = std::unique_ptr<nc_dm_hash_tab_t, FreeTable>;

// Enters the instances that exist. Lookups in a list with a table ask the table alone and would not
// find others.
bool EnterInstances(nc_dm_hash_tab_t* table, const nc_dm_agent_node_t& mode) {
  const list_head* siblings =
      mode.parent != nullptr ? &mode.parent->sub_lst : &g_nc_agent_dm.dm_root;
  for (auto& node : nc::SameNamed(siblings, mode.node_name)) {
    if (!nc::IsInstance(node)) continue;
    if (!nc::EnsureBuckets(table)) return false;
    if (nc_dm_agent_insert_mode_node_inst_to_hash_tab(table, &node) != 0) return false;
  }
  return true;
}

// Gives the mode node a table, in place of the one that it has.
bool SetTable(nc_dm_agent_node_t* mode, uint32_t bits) {
  TablePtr table(nc::NewRecord<nc_dm_hash_tab_t>().release());
  if (table == nullptr) return false;
  table->size_bits_num = bits;
  if (!EnterInstances(table.get(), *mode)) return false;
  const TablePtr replaced(mode->hash_tab);
  mode->hash_tab = table.release();
  mode->flag |= NC_DM_FLAG_HASH_TAB;
  return true;
}

int RegisterTable(nc_dm_path_nodes_t* path, const char* dm_path, uint32_t bits) {
  const nc::MutexLock lock(&g_nc_agent_dm.dm_mutex);
  nc_dm_agent_node_t* mode = nullptr;
  const nc_dm_agent_match_status_t status =
      nc_dm_agent_reg_match(&g_nc_agent_dm.dm_root, path, &mode);
  if (mode == nullptr) return nc::Refuse("The last node is null for hash talbe register!\n");
  if (!nc::IsMode(*mode)) {
    NC_DM_LOG_ERROR("This path: %s isn't multi-leaf-mode or muti-mode, status: %d!\n", dm_path,
                    status);
    return -1;
  }
  if (path->match_cnt != path->total_node) {
    NC_DM_LOG_ERROR("Failed to match the path: %s, match_cnt: %d!\n", dm_path, path->match_cnt);
    return -1;
  }
  if (!SetTable(mode, bits)) return nc::Refuse("Failed to malloc last_node->hash_tab!\n");
  return 0;
}

}  // namespace

int nc_dm_agent_reg_hash_tab(char* dm_path, unsigned int limit_num) {
  if (dm_path == nullptr) return nc::Refuse("Input dm_path is null!\n");
  if (limit_num < NC_DM_MIN_HASH_LIMIT) {
    return nc::Refuse("Input limit_num is to small, no need to use hash table!\n");
  }
  if (!nc::IsClientInitialized() || !nc::IsTreeInitialized()) return -1;
  nc_dm_path_nodes_t path = {};
  const int parsed = nc_dm_parse(dm_path, &path, false);
  if (parsed != 0) return parsed;
  return RegisterTable(&path, dm_path, BitsFor(limit_num));
}
