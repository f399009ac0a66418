// Leaving: the application takes back all that it registered, and the server is asked to forget the
// client. The server's answer is reported once for each request; one without a request is ignored.

#include "netconf_dm_agent/leave.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

#include "netconf_dm_agent/frame.h"
#include "netconf_dm_agent/tasks.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/tree/ready.h"
#include "netconf_dm_kernel/tree/tree_lock.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/mutex_lock.h"
#include "netconf_dm_util/refuse.h"

namespace {

// Requests that were sent on this connection and not answered yet.
int g_unanswered = 0;

// True if the request waits to be sent, so that no answer can belong to it.
bool IsUnsent() { return g_unanswered == 0 && nc::IsTaskDue(NC_DM_EVENT_UNREG_CLIENT); }

}  // namespace

namespace nc {

void EmptyTree() {
  for (auto& root : RecordsSafely<nc_dm_agent_node_t>(&g_nc_agent_dm.dm_root)) {
    nc_dm_agent_unreg_nodes(&root);
  }
  for (auto& yang : RecordsSafely<nc_dm_yang_attr_t>(&g_nc_agent_dm.yang_attr_lst)) {
    Unlink(&yang.lst);
    nc_dm_agent_free_yang_attr(&yang);
    free(&yang);
  }
}

void ForgetLeaveRequests() {
  g_unanswered = 0;
  g_nc_dm_mng_info.unreg_rsp_handler = nullptr;
}

}  // namespace nc

int nc_dm_agent_unreg_all(int (*dm_unreg_rsp)(void)) {
  if (!nc::IsClientInitialized() || !nc::IsTreeInitialized()) return -1;
  if (static_cast<pid_t>(syscall(SYS_gettid)) != g_nc_dm_mng_info.agent_pid) {
    return nc::Refuse("Unregister request is not the thread in which netconf dm client init!\n");
  }
  {
    const nc::MutexLock lock(&g_nc_agent_dm.dm_mutex);
    if (nc::TreeWalk::IsUnderWay()) {
      return nc::Refuse("Unregister request is made by a callback, the tree is in use!\n");
    }
    nc::EmptyTree();
  }
  nc_dm_agent_handle_event(NC_DM_EVENT_UNREG_CLIENT, 0, 0);
  g_nc_dm_mng_info.unreg_rsp_handler = dm_unreg_rsp;
  return 0;
}

int nc_dm_agent_unreg_client(zu_thread* /*t*/) {
  const nc::RetryAtEnd retry;
  g_nc_dm_agent_manage.tt_unreg_client = nullptr;
  alignas(nc_dm_msg_t) char buf[NC_DM_MSG_HEAD_SIZE];
  nc_dm_msg_t* out_msg = nc::StartMessage(buf);
  out_msg->head.type = NC_DM_MSG_TYPE_UNREG_CLIENT;
  const int result = nc_dm_agent_send(g_nc_dm_mng_info.agent_fd, out_msg);
  if (result == 0) ++g_unanswered;
  if (result != nc::kLinkBroken) return 0;
  nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
  return nc::kLinkBroken;
}

int nc_dm_agent_handle_msg_unreg_client_rsp(int /*fd*/, nc_dm_msg_t* /*in_msg*/,
                                            nc_dm_fault_t* /*fault*/) {
  if (IsUnsent()) return 0;
  const auto handler = g_nc_dm_mng_info.unreg_rsp_handler;
  if (g_unanswered > 0) --g_unanswered;
  // Before the call: the handler may ask anew.
  if (g_unanswered == 0) g_nc_dm_mng_info.unreg_rsp_handler = nullptr;
  if (handler != nullptr) handler();
  return 0;
}
