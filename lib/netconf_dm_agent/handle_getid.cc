// GETID: looks up the instances whose leaves have the values that the collected filters give.

#include "netconf_dm_agent/answer.h"
#include "netconf_dm_agent/collected_requests.h"
#include "netconf_dm_agent/request_checks.h"
#include "netconf_dm_kernel/tree/tree_lock.h"
#include "netconf_dm_util/intrusive_list.h"

namespace {

// The instances of one filter.
class FoundInstances {
 public:
  FoundInstances() { nc::InitList(&list_.head); }
  ~FoundInstances() { nc_dm_agent_free_id_array_list(&list_); }
  FoundInstances(const FoundInstances&) = delete;
  FoundInstances& operator=(const FoundInstances&) = delete;

  int Find(const nc_dm_stub_filter_t& filter) {
    return nc_dm_agent_get_path_id_array_list(filter.name, filter.val, filter.id_array, &list_);
  }
  bool IsEmpty() const { return nc::IsEmpty(&list_.head); }
  nc_dm_list_t* list() { return &list_; }

 private:
  nc_dm_list_t list_ = {};
};

// Fills the pending answer with the instances that all filters have in common.
int FindCommonInstances() {
  const nc::TreeWalk walk;
  for (const auto& node :
       nc::Records<nc_dm_stub_filter_node_t>(&g_nc_dm_filter_node_list.filter_head)) {
    FoundInstances found;
    if (const int result = found.Find(*node.filter); result != 0) return result;
    if (found.IsEmpty()) {
      NC_DM_LOG_ERROR("The tmp id array list is empty!\n");
      nc::ReleaseAnswer(nc::AnswerKind::kIdArrays);
      return 0;
    }
    nc_dm_id_array_list_intscn(found.list(), &g_nc_dm_mng_info.param_list);
  }
  return 0;
}

int RunCollected(nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  if (nc::CheckFiltersComplete(fault) != 0) return -1;
  nc::BeginAnswer(nc::AnswerKind::kIdArrays);
  const int result = FindCommonInstances();
  nc::ReleaseFilters();
  if (result != 0) {
    fault->fault_code = NC_DM_FAULT_CODE_OP_FAILED;
    nc::ReleaseAnswer(nc::AnswerKind::kIdArrays);
    return result;
  }
  nc::StartAnswer(in_msg, NC_DM_EVENT_IDRSP_WRITE);
  return 0;
}

}  // namespace

int nc_dm_agent_handle_msg_getid(int /*fd*/, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  if (!nc::CheckTree(fault)) return -1;
  const int pkt_type = nc::ReadPktType(in_msg, fault);
  if (pkt_type < 0) {
    nc::ReleaseFilters();
    return -1;
  }
  if (pkt_type == NC_DM_PKT_TYPE_SEGMENT) return nc::CollectFilters(in_msg, fault);
  if (pkt_type == NC_DM_PKT_TYPE_END) return RunCollected(in_msg, fault);
  return 0;
}
