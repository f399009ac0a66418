// From the socket to a message's handler, and from a handler's failure to the FAULT that answers
// it.

#include <cerrno>
#include <cstring>

#include "netconf_dm_agent/answer.h"
#include "netconf_dm_agent/frame.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_util/log.h"

namespace {

constexpr int kMaxBodyLen = NC_DM_RECV_BUF_SIZE - NC_DM_MSG_HEAD_SIZE;

struct MessageKind {
  nc_dm_msg_type_t type;
  const char* event;  // for the log
  int (*handle)(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);
};

constexpr MessageKind kMessageKinds[] = {
    {NC_DM_MSG_TYPE_EDIT, "edit 'Edit'", nc_dm_agent_handle_msg_edit},
    {NC_DM_MSG_TYPE_FILTER, "receive 'Filter'", nc_dm_agent_handle_msg_filter},
    {NC_DM_MSG_TYPE_GETID, "receive 'Getid'", nc_dm_agent_handle_msg_getid},
    {NC_DM_MSG_TYPE_REG_RSP, "receive 'Register Response'", nc_dm_agent_handle_msg_reg_rsp},
    {NC_DM_MSG_TYPE_UNREG_CLIENT_RSP, "receive 'Unregister Response'",
     nc_dm_agent_handle_msg_unreg_client_rsp},
    {NC_DM_MSG_TYPE_DBG, "receive 'Debug'", nc_dm_agent_handle_msg_dbg},
    {NC_DM_MSG_TYPE_SHOW, "receive 'Show'", nc_dm_agent_handle_msg_show},
};

// The datastore of the request in hand. A number that names no datastore is none.
class [[nodiscard]] CurrentDatastore {
 public:
  explicit CurrentDatastore(nc_int32 ds_type) {
    const bool known = ds_type >= NC_DM_DATASTORE_ERROR && ds_type <= NC_DM_DATASTORE_SDN;
    g_nc_dm_mng_info.curr_dstype =
        known ? static_cast<nc_dm_ds_type_t>(ds_type) : NC_DM_DATASTORE_ERROR;
  }
  ~CurrentDatastore() { g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_RUNNING; }
  CurrentDatastore(const CurrentDatastore&) = delete;
  CurrentDatastore& operator=(const CurrentDatastore&) = delete;
};

int Dispatch(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  for (const MessageKind& kind : kMessageKinds) {
    if (in_msg->head.type != kind.type) continue;
    NC_DM_LOG_INFO("'%s' client %s message.\n", g_nc_dm_mng_info.agent_name, kind.event);
    return kind.handle(fd, in_msg, fault);
  }
  NC_DM_LOG_ERROR("'%s' client receive Unknown message type!\n", g_nc_dm_mng_info.agent_name);
  fault->fault_code = NC_DM_FAULT_CODE_MSGTYPE;
  return -1;
}

}  // namespace

int nc_dm_agent_handle_msg(int fd, nc_dm_msg_t* in_msg) {
  if (in_msg == nullptr) {
    NC_DM_LOG_ERROR("Input parameter in_msg is invalid!\n");
    return -1;
  }
  const CurrentDatastore datastore(in_msg->head.ds_type);
  // A number that an earlier request was refused for leaves errno set, and the conversions look at
  // it.
  errno = 0;
  nc_dm_fault_t fault = {};
  if (Dispatch(fd, in_msg, &fault) == 0) return 0;
  nc::SendBuffer buf;
  return nc::SendFault(fd, buf.bytes, in_msg->head.sid, &fault);
}

int nc_dm_agent_recv(int fd) {
  nc_dm_msg_t* in_msg = nc_dm_agent_init_in_msg();
  const nc_dm_msg_head_t& head = in_msg->head;

  const int received = nc_dm_read(fd, g_nc_dm_mng_info.recv_msg_buf, NC_DM_MSG_HEAD_SIZE);
  if (received == 0) {
    NC_DM_LOG_ERROR("Disconnected with server and clear connect info.\n");
    return nc::kLinkBroken;
  }
  if (received != NC_DM_MSG_HEAD_SIZE) {
    NC_DM_LOG_ERROR("failed to receive message, received %d, errno = %d, %s\n", received, errno,
                    strerror(errno));
    return nc::kLinkBroken;
  }
  NC_DM_LOG_INFO("%s client recieve message type=%d, sid=%d, entry_cnt=%d, ds_type=%d, len=%d\n",
                 g_nc_dm_mng_info.agent_name, head.type, head.sid, head.entry_cnt, head.ds_type,
                 head.len);
  if (head.len > kMaxBodyLen) {
    NC_DM_LOG_ERROR("The length of in msg have reach max! in_msg->head.len=%d\n", head.len);
    return nc::kLinkBroken;
  }
  const int result = nc_dm_agent_get_msg(fd, in_msg);
  return result == 0 ? nc_dm_agent_handle_msg(fd, in_msg) : result;
}
