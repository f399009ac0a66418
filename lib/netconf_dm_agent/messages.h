// The messages that a server may send, as one table.
#ifndef NETCONF_DM_AGENT_MESSAGES_H_
#define NETCONF_DM_AGENT_MESSAGES_H_

#include "netconf_dm_kernel.h"

namespace nc {

struct MessageKind {
  nc_dm_msg_type_t type;
  const char* event;  // as the log tells it; null without a handler
  int (*handle)(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);  // null: refused with a FAULT
};

// All types that the agent accepts. Any other is refused at its head: its body stays in the stream,
// where it is read as the next head.
inline constexpr MessageKind kMessageKinds[] = {
    {NC_DM_MSG_TYPE_EDIT, "edit 'Edit'", nc_dm_agent_handle_msg_edit},
    {NC_DM_MSG_TYPE_FILTER, "receive 'Filter'", nc_dm_agent_handle_msg_filter},
    {NC_DM_MSG_TYPE_GETID, "receive 'Getid'", nc_dm_agent_handle_msg_getid},
    {NC_DM_MSG_TYPE_REG_RSP, "receive 'Register Response'", nc_dm_agent_handle_msg_reg_rsp},
    {NC_DM_MSG_TYPE_UNREG_CLIENT_RSP, "receive 'Unregister Response'",
     nc_dm_agent_handle_msg_unreg_client_rsp},
    {NC_DM_MSG_TYPE_DBG, "receive 'Debug'", nc_dm_agent_handle_msg_dbg},
    {NC_DM_MSG_TYPE_SHOW, "receive 'Show'", nc_dm_agent_handle_msg_show},
    // An answer, which no server should send. It is read with its body all the same, so that the
    // stream stays in step, and then refused.
    {NC_DM_MSG_TYPE_FILTER_RSP, nullptr, nullptr},
};

// The line of a type, or null for one that the agent does not accept.
inline const MessageKind* FindMessageKind(nc_int32 type) {
  for (const MessageKind& kind : kMessageKinds) {
    if (kind.type == type) return &kind;
  }
  return nullptr;
}

}  // namespace nc

#endif  // NETCONF_DM_AGENT_MESSAGES_H_
