// EDIT: collects the edits of a request, carries them out, or calls the commit hook.

#include <atomic>

#include "netconf_dm_agent/collected_requests.h"
#include "netconf_dm_agent/frame.h"
#include "netconf_dm_agent/print_time.h"
#include "netconf_dm_agent/request_checks.h"
#include "netconf_dm_kernel/tree/tree_lock.h"
#include "netconf_dm_util/intrusive_list.h"

namespace {

void PrintTimes() {
  nc::PrintTime("exe_cmd", &g_nc_dm_mng_info.exe_time);
  nc::PrintTime("delete", &g_nc_dm_mng_info.del_time);
  nc::PrintTime("create", &g_nc_dm_mng_info.crt_time);
}

int Answer(int fd, nc_int32 sid, nc_int64 inst, nc_dm_fault_t* fault) {
  nc::SendBuffer buf;
  nc_dm_msg_t* out_msg = nc::StartMessage(buf.bytes);
  out_msg->head.sid = sid;
  nc_dm_stub_edit_rsp_t edit_rsp = {NC_DM_PKT_TYPE_RSP, inst, 0};
  nc_dm_agent_encode_edit_rsp(out_msg, &edit_rsp);
  const int result = nc_dm_agent_send(fd, out_msg);
  if (result != 0) {
    fault->fault_code = NC_DM_FAULT_CODE_LINK;
    // Even if the FAULT goes through: a part of the answer may be in the stream.
    if (result == nc::kLinkBroken) nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
    return -1;
  }
  NC_DM_LOG_INFO("Handle edit message successfully.\n");
  return 0;
}

int Collect(nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  const int result = nc::CollectEdits(in_msg, fault);
  if (result != 0 && fault->fault_code == NC_DM_FAULT_CODE_PARSE) {
    NC_DM_LOG_ERROR("Failed to decode edit list message!\n");
  }
  return result;
}

nc_int64 EditObject(int pkt_type, nc_dm_fault_t* fault) {
  const nc::TreeWalk walk;
  return nc_dm_agent_edit_object(pkt_type, &g_nc_dm_edit_node_list, fault);
}

// True if an element of the request asks to go on behind an error.
bool GoesOnAfterErrors() {
  for (const auto& node : nc::Records<nc_dm_stub_edit_node_t>(&g_nc_dm_edit_node_list.edit_head)) {
    if (node.edit != nullptr && node.edit->erropt == NC_DM_ERROPT_CONTINUE) return true;
  }
  return false;
}

// The id, or negative. A request that goes on behind its errors does what can be done; what could
// not be done is told to the server by the last fault, which makes the result negative.
nc_int64 EditSubtree(nc_dm_fault_t* fault) {
  const nc::TreeWalk walk;
  const bool goes_on = GoesOnAfterErrors();
  const nc_int64 result =
      nc_dm_agent_edit_subtree(&g_nc_agent_dm.dm_root, &g_nc_dm_edit_node_list, fault);
  return goes_on && fault->fault_code != NC_DM_FAULT_CODE_OK ? -1 : result;
}

// Releases what an edit has used. 0, or -1 for a negative result.
int Finish(nc_int64 result) {
  nc::ReleaseEdits();
  if (result >= 0) return 0;
  PrintTimes();
  return -1;
}

void Commit() {
  PrintTimes();
  // Read once, because another thread may remove the hook meanwhile.
  const auto commit = std::atomic_ref(g_nc_dm_mng_info.data_commit).load();
  if (commit == nullptr) return;
  NC_DM_LOG_INFO("Call the data commit function.\n");
  commit(nullptr);
}

}  // namespace

int nc_dm_agent_handle_msg_edit(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  if (!nc::CheckTree(fault)) return -1;
  const int pkt_type = nc::ReadPktType(in_msg, fault);
  if (pkt_type < 0) {
    nc::ReleaseEdits();
    return -1;
  }
  nc_int64 inst = 0;
  switch (pkt_type) {
    case NC_DM_PKT_TYPE_OBJECT:
    case NC_DM_PKT_TYPE_OBJECT_CMD:
    case NC_DM_PKT_TYPE_SEGMENT:
      return Collect(in_msg, fault);
    case NC_DM_PKT_TYPE_OBJECT_END:
    case NC_DM_PKT_TYPE_OBJECT_CMD_END:
      if (nc::CheckEditsComplete(fault) != 0) return -1;
      inst = EditObject(pkt_type, fault);
      if (inst < 0) NC_DM_LOG_ERROR("Failed to edit dm tree object!\n");
      if (Finish(inst) != 0) return -1;
      fault->fault_code = NC_DM_FAULT_CODE_OK;
      break;
    case NC_DM_PKT_TYPE_END:
      if (nc::CheckEditsComplete(fault) != 0) return -1;
      inst = EditSubtree(fault);
      if (Finish(inst) != 0) return -1;
      break;
    case NC_DM_PKT_TYPE_COMMIT:
      Commit();
      return 0;
    default:
      break;
  }
  return Answer(fd, in_msg->head.sid, inst, fault);
}
