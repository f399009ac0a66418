#include "netconf_dm_agent/fault_message.h"

#include "netconf_dm_agent/frame.h"

int nc::SendFault(int fd, char* buf, nc_int32 sid, nc_dm_fault_t* fault) {
  nc_dm_msg_t* out_msg = StartMessage(buf);
  out_msg->head.sid = sid;
  nc_dm_agent_encode_fault(out_msg, fault);
  return nc_dm_agent_send(fd, out_msg);
}
