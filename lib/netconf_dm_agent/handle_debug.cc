// DBG switches debug bits, SHOW writes the tree to the log. What these two write appears whatever
// the debug bits are.

#include "netconf_dm_agent/request_checks.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/tree/tree_lock.h"
#include "netconf_dm_util/intrusive_list.h"

namespace {

bool CheckTreeForDebug() {
  if (g_nc_dm_mng_info.agent_tree_init) return true;
  NC_DM_SYSLOG("Dm tree hasn't bean initialized.\n");
  return false;
}

const char* SourceName(nc_int32 src) {
  switch (src) {
    case NC_DM_NODE_SRC_SDN:
      return "SDN";
    case NC_DM_NODE_SRC_CLI:
      return "CLI";
    case NC_DM_NODE_SRC_CLI_ALW:
      return "CLI_ALW";
    default:
      return "NONE";
  }
}

// Reads the whole tree. Other threads may register meanwhile, so the walk over the top level locks
// too.
int ReadTree(nc_dm_list_t* values, uint32_t* total_node) {
  const nc::TreeWalk walk;
  *total_node = g_nc_agent_dm.total_node;
  for (const auto& node : nc::Records<nc_dm_agent_node_t>(&g_nc_agent_dm.dm_root)) {
    nc_dm_stub_filter_t filter = {};
    filter.name = node.node_name;
    if (const int result = nc_dm_agent_filter_subtree(&g_nc_agent_dm.dm_root, &filter, values);
        result != 0) {
      return result;
    }
  }
  return 0;
}

void PrintValues(const nc_dm_list_t& values) {
  int number = 0;
  for (const auto& node : nc::Records<nc_dm_val_node_t>(&values.head)) {
    const nc_dm_val_entry_t& entry = node.val_entry;
    number++;
    NC_DM_SYSLOG("Data tree path[%d] name: %s\n", number, entry.dm_name);
    NC_DM_SYSLOG("Data tree path[%d] value: %s\n", number, entry.dm_val);
    NC_DM_SYSLOG("Data tree path[%d] src: %s\n", number, SourceName(entry.src));
  }
}

}  // namespace

int nc_dm_agent_handle_msg_dbg(int /*fd*/, nc_dm_msg_t* in_msg, nc_dm_fault_t* /*fault*/) {
  if (!CheckTreeForDebug()) return -1;
  nc_dm_stub_dbg_t dbg = {};
  if (nc_dm_agent_decode_dbg(in_msg, &dbg) != 0) {
    NC_DM_SYSLOG("Failed to decode debug message.\n");
    return -1;
  }
  nc_dm_agent_dbg_set(dbg.type, dbg.op != 0);
  return 0;
}

int nc_dm_agent_handle_msg_show(int /*fd*/, nc_dm_msg_t* /*in_msg*/, nc_dm_fault_t* /*fault*/) {
  if (!CheckTreeForDebug()) return -1;
  nc_dm_list_t values = {};
  nc::InitList(&values.head);
  uint32_t total_node = 0;
  if (const int result = ReadTree(&values, &total_node); result != 0) {
    NC_DM_SYSLOG("Failed to filter subtree.\n");
    nc_dm_agent_free_val_list(&values);
    return result;
  }
  PrintValues(values);
  nc_dm_agent_free_val_list(&values);
  NC_DM_SYSLOG("Handle show message successfully, total nodes: %u.\n", total_node);
  return 0;
}
