// Frames on the socket as bytes: a head of 24 bytes, then a body of the length that the head gives.

#include "netconf_dm_agent/frame.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>

#include "netconf_dm_util/frame_dump.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

static_assert(sizeof(nc_dm_msg_head_t) == NC_DM_MSG_HEAD_SIZE);
static_assert(offsetof(nc_dm_mng_info_t, recv_msg_buf) % alignof(nc_dm_msg_t) == 0);
static_assert(offsetof(nc_dm_mng_info_t, send_msg_buf) % alignof(nc_dm_msg_t) == 0);

unsigned g_sent_messages = 0;

}  // namespace

unsigned nc::SentMessages() { return g_sent_messages; }

nc_dm_msg_t* nc_dm_agent_init_in_msg(void) {
  memset(g_nc_dm_mng_info.recv_msg_buf, 0, NC_DM_RECV_BUF_SIZE);
  return reinterpret_cast<nc_dm_msg_t*>(g_nc_dm_mng_info.recv_msg_buf);
}

int nc_dm_agent_send(int fd, nc_dm_msg_t* out_msg) {
  if (out_msg == nullptr) return nc::Refuse("Input parameter out_msg is invalid!\n");
  nc_dm_agent_dbg_print_send_msg(out_msg);
  const int len = NC_DM_MSG_HEAD_SIZE + out_msg->head.len;
  const int written = nc_dm_write(fd, reinterpret_cast<char*>(out_msg), len);
  if (written < len) {
    NC_DM_LOG_ERROR("Failed to write data, len=%d, write len=%d!\n", len, written);
    return nc::kLinkBroken;
  }
  ++g_sent_messages;
  return 0;
}

void nc_dm_agent_dbg_print_recv_msg(int32_t msg_len) {
  if ((g_nc_dm_agent_dbg & NC_DM_DBG_PACKET) == 0) return;
  const int len = std::clamp(msg_len, 0, NC_DM_RECV_BUF_SIZE);
  const std::span bytes(g_nc_dm_mng_info.recv_msg_buf, static_cast<size_t>(len));
  NC_DM_SYSLOG("Message: ");
  nc::DumpBytes(bytes);
  for (const char byte : bytes) NC_DM_SYSLOG("%c", byte);
  NC_DM_SYSLOG("\n\n");
}
