// FILTER: collects the filters of a request, and reads what they ask for into the pending answer.

#include "netconf_dm_agent/answer.h"
#include "netconf_dm_agent/collected_requests.h"
#include "netconf_dm_agent/request_checks.h"
#include "netconf_dm_kernel/tree/tree_lock.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/refuse.h"

namespace {

int Collect(nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  const int result = nc::CollectFilters(in_msg, fault);
  if (result != 0 && fault->fault_code == NC_DM_FAULT_CODE_PARSE) {
    NC_DM_LOG_ERROR("Failed to decode filter list message!\n");
  }
  return result;
}

int FilterToAnswer(nc_dm_fault_t* fault) {
  return nc_dm_agent_do_filter(&g_nc_dm_filter_node_list, &g_nc_dm_mng_info.param_list, fault);
}

int RunCollected(nc_dm_fault_t* fault) {
  if (nc::CheckFiltersComplete(fault) != 0) return -1;
  const int result = FilterToAnswer(fault);
  if (result != 0) NC_DM_LOG_ERROR("Failed to do filter operation!\n");
  return result;
}

int RunSingle(nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  if (nc::CheckFiltersComplete(fault) != 0) return -1;
  const int result = nc::CollectSingleFilter(in_msg, fault);
  return result == 0 ? FilterToAnswer(fault) : result;
}

// Ends a request with the result of running it.
int Answer(const nc_dm_msg_t* in_msg, int result) {
  nc::ReleaseFilters();
  if (result == 0) nc::StartAnswer(in_msg, NC_DM_EVENT_FLTRSP_WRITE);
  return result;
}

// The list may come cleared to zeroes, or with the values of an earlier run.
void EmptyValueList(nc_dm_list_t* list) {
  if (list == &g_nc_dm_mng_info.param_list) return nc::BeginAnswer(nc::AnswerKind::kValues);
  if (list->head.next != nullptr) nc_dm_agent_free_val_list(list);
  nc::InitList(&list->head);
  list->cnt = 0;
}

}  // namespace

int nc_dm_agent_do_filter(nc_dm_stub_filter_node_list_t* filter_list, nc_dm_list_t* result_list,
                          nc_dm_fault_t* fault) {
  EmptyValueList(result_list);
  if (nc::IsEmpty(&filter_list->filter_head)) {
    return nc::Refuse(0, "The filter node list is empty!\n");
  }
  int result = 0;
  {
    const nc::TreeWalk walk;
    result = nc_dm_agent_filter_subtree_id_arr(filter_list, result_list);
  }
  if (result != 0) {
    NC_DM_LOG_ERROR("Failed to filter subtree by id_array!\n");
    fault->fault_code = NC_DM_FAULT_CODE_OP_FAILED;
    nc_dm_agent_free_val_list(result_list);
  }
  return result;
}

int nc_dm_agent_handle_msg_filter(int /*fd*/, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  if (!nc::CheckTree(fault)) return -1;
  const int pkt_type = nc::ReadPktType(in_msg, fault);
  if (pkt_type < 0) {
    nc::ReleaseFilters();
    return -1;
  }
  if (pkt_type == NC_DM_PKT_TYPE_SEGMENT) return Collect(in_msg, fault);
  if (pkt_type == NC_DM_PKT_TYPE_END) return Answer(in_msg, RunCollected(fault));
  if (pkt_type == NC_DM_PKT_TYPE_FILTER) return Answer(in_msg, RunSingle(in_msg, fault));
  return 0;
}
