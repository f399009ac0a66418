// What the segments of a request have brought until the message comes that executes it.

#include "netconf_dm_agent/collected_requests.h"

// Empty lists from the start, so that they can be released at any time.
constinit nc_dm_stub_edit_node_list_t g_nc_dm_edit_node_list = {
    {&g_nc_dm_edit_node_list.key_head, &g_nc_dm_edit_node_list.key_head},
    {&g_nc_dm_edit_node_list.edit_head, &g_nc_dm_edit_node_list.edit_head},
    0};
constinit nc_dm_stub_filter_node_list_t g_nc_dm_filter_node_list = {
    {&g_nc_dm_filter_node_list.filter_head, &g_nc_dm_filter_node_list.filter_head}, 0};

namespace nc {

void ReleaseEdits() { nc_dm_agent_free_edit_node_list(&g_nc_dm_edit_node_list); }

void ReleaseFilters() { nc_dm_agent_free_filter_node_list(&g_nc_dm_filter_node_list); }

int CollectFilters(nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  const int result = nc_dm_agent_decode_filter_list(in_msg, &g_nc_dm_filter_node_list);
  if (result != 0) {
    fault->fault_code = NC_DM_FAULT_CODE_PARSE;
    ReleaseFilters();
  }
  return result;
}

}  // namespace nc

int nc_dm_agent_op_data_init(void) {
  nc::ReleaseFilters();
  nc::ReleaseEdits();
  return 0;
}
