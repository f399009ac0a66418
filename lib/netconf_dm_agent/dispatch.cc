// From the socket to a message's handler, and from a handler's failure to the FAULT that answers
// it.

#include <cerrno>
#include <cstring>

#include "netconf_dm_agent/fault_message.h"
#include "netconf_dm_agent/frame.h"
#include "netconf_dm_agent/messages.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

constexpr int kMaxBodyLen = NC_DM_RECV_BUF_SIZE - NC_DM_MSG_HEAD_SIZE;

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
  const nc::MessageKind* kind = nc::FindMessageKind(in_msg->head.type);
  if (kind != nullptr && kind->handle != nullptr) {
    NC_DM_LOG_INFO("'%s' client %s message.\n", g_nc_dm_mng_info.agent_name, kind->event);
    return kind->handle(fd, in_msg, fault);
  }
  NC_DM_LOG_ERROR("'%s' client receive Unknown message type!\n", g_nc_dm_mng_info.agent_name);
  fault->fault_code = NC_DM_FAULT_CODE_MSGTYPE;
  return -1;
}

int RefuseEnd() {
  return nc::Refuse(nc::kLinkBroken, "Disconnected with server and clear connect info.\n");
}

}  // namespace

int nc_dm_agent_handle_msg(int fd, nc_dm_msg_t* in_msg) {
  if (in_msg == nullptr) return nc::Refuse("Input parameter in_msg is invalid!\n");
  const CurrentDatastore datastore(in_msg->head.ds_type);
  // A number that an earlier request was refused for leaves errno set, and the conversions look at
  // it.
  errno = 0;
  nc_dm_fault_t fault = {};
  if (Dispatch(fd, in_msg, &fault) == 0) return 0;
  nc::SendBuffer buf;
  return nc::SendFault(fd, buf.bytes, in_msg->head.sid, &fault);
}

int nc_dm_agent_get_msg(int fd, nc_dm_msg_t* in_msg) {
  if (in_msg == nullptr) return nc::Refuse("Input parameter in_msg is invalid!\n");
  if (nc::FindMessageKind(in_msg->head.type) == nullptr) {
    return nc::Refuse("Unkown message type!\n");
  }
  const int received = nc_dm_read(fd, in_msg->buf, in_msg->head.len);
  if (received == in_msg->head.len) return 0;
  if (received == 0) return RefuseEnd();
  NC_DM_LOG_ERROR("Failed to receive message, received %d, errno = %d, %s.\n", received, errno,
                  strerror(errno));
  return nc::kLinkBroken;
}

int nc_dm_agent_recv(int fd) {
  nc_dm_msg_t* in_msg = nc_dm_agent_init_in_msg();
  const nc_dm_msg_head_t& head = in_msg->head;

  const int received = nc_dm_read(fd, g_nc_dm_mng_info.recv_msg_buf, NC_DM_MSG_HEAD_SIZE);
  if (received == 0) return RefuseEnd();
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
