// Frames as bytes: what sending one takes.
#ifndef NETCONF_DM_AGENT_FRAME_H_
#define NETCONF_DM_AGENT_FRAME_H_

#include "netconf_dm_kernel.h"

namespace nc {

// The result of a send or receive on a broken connection; its caller schedules a reconnection.
inline constexpr int kLinkBroken = -2;

// A count of the messages sent, to be compared with an earlier one.
unsigned SentMessages();

// Room for one outgoing message.
struct alignas(nc_dm_msg_t) SendBuffer {
  char bytes[NC_DM_SEND_BUF_SIZE];
};

// A message in `buf` with its head zeroed: encoders write the body from its start, so the rest need
// not be clear.
inline nc_dm_msg_t* StartMessage(char* buf) {
  return nc_dm_agent_init_out_msg(buf, NC_DM_MSG_HEAD_SIZE);
}

}  // namespace nc

#endif  // NETCONF_DM_AGENT_FRAME_H_
