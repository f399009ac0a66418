// The messages that the agent sends without being asked: its name, what is registered, and that the
// registration is complete.

#include "netconf_dm_agent/announce.h"

#include <cstring>

#include "netconf_dm_agent/frame.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/mutex_lock.h"
#include "netconf_dm_util/refuse.h"

namespace {

constexpr nc_int32 kOwnSid = -1;
constexpr size_t kCpltBufSize = 256;

size_t Length(const char* text) { return text == nullptr ? 0 : strlen(text); }

// Texts may have any length, a message may not. The encoder ends a text with a NUL, which takes
// room in the buffer and is not part of the message.
bool FitsMessage(size_t fixed_len, size_t text_len) {
  constexpr size_t kRoom = NC_DM_SEND_BUF_SIZE - NC_DM_MSG_HEAD_SIZE;
  return text_len < kRoom && fixed_len + text_len + 1 <= kRoom;
}

bool FitsMessage(const nc_dm_stub_reg_t& record) {
  if (FitsMessage(2 * sizeof(nc_int32), Length(record.name))) return true;
  NC_DM_LOG_ERROR("The name is too long to send to server: %s\n", record.name);
  return false;
}

bool FitsMessage(const nc_dm_yang_attr_t& attr) {
  if (FitsMessage(3 * sizeof(nc_int32), Length(attr.module_name) + Length(attr.attr))) return true;
  NC_DM_LOG_ERROR("The yang attribute is too long to send to server, module: %s\n",
                  attr.module_name == nullptr ? "(null)" : attr.module_name);
  return false;
}

nc_dm_msg_t* StartOwnMessage(char* buf) {
  nc_dm_msg_t* out_msg = nc::StartMessage(buf);
  out_msg->head.sid = kOwnSid;
  return out_msg;
}

int SendToServer(nc_dm_msg_t* out_msg) {
  return nc_dm_agent_send(g_nc_dm_mng_info.agent_fd, out_msg);
}

int SendPath(nc_dm_stub_reg_t* record, int (*encode)(nc_dm_msg_t*, nc_dm_stub_reg_t*)) {
  nc::SendBuffer buf;
  nc_dm_msg_t* out_msg = StartOwnMessage(buf.bytes);
  return FitsMessage(*record) && encode(out_msg, record) == 0 ? SendToServer(out_msg) : 0;
}

// Notes at the tree's own attribute whether an announcement of it is queued. That attribute, or
// null when the tree has none. The tree is held.
nc_dm_yang_attr_t* NoteQueued(const nc_dm_yang_attr_t* queued, bool is_queued,
                              nc::TreeAttributes* attributes) {
  nc_dm_yang_attr_t* known = queued == nullptr ? nullptr : attributes->Find(*queued);
  if (known != nullptr) known->queued = is_queued;
  return known;
}

// An attribute is announced with the value that the tree holds at this moment, whatever it was when
// the announcement was queued: so no order of threads and repetitions can send an old value last.
// An attribute that is not in the tree is announced with the value in its record.
bool EncodeYangAttr(nc_dm_msg_t* out_msg, nc_dm_yang_attr_t* queued,
                    nc::TreeAttributes* attributes) {
  const nc::MutexLock lock(&g_nc_agent_dm.dm_mutex);
  nc_dm_yang_attr_t* announced = queued;
  nc_dm_yang_attr_t* known = NoteQueued(queued, false, attributes);
  if (known != nullptr && known->attr != nullptr) announced = known;
  if (announced != nullptr && !FitsMessage(*announced)) return false;
  return nc_dm_agent_encode_reg_yang_attr(out_msg, announced) == 0;
}

}  // namespace

namespace nc {

nc_dm_yang_attr_t* TreeAttributes::Find(const nc_dm_yang_attr_t& key) {
  // Sorting the attributes takes as long as a few walks along them, so that the first lookups walk.
  constexpr int kWalks = 8;
  if (++lookups_ == kWalks) BuildIndex();
  if (lookups_ >= kWalks) {
    const nc_dm_yang_attr_t* found = index_.Find(key);
    if (found != nullptr) return const_cast<nc_dm_yang_attr_t*>(found);
  }
  return nc_dm_agent_get_yang_attr(key.module_name, key.type);
}

void TreeAttributes::BuildIndex() {
  for (const auto& yang : Records<nc_dm_yang_attr_t>(&g_nc_agent_dm.yang_attr_lst)) {
    index_.Add(&yang);
  }
  // An attribute that memory was too short for is found by a walk.
  index_.Sort();
}

int SendReg(nc_dm_stub_reg_t* record) { return SendPath(record, nc_dm_agent_encode_reg); }

int SendUnreg(nc_dm_stub_reg_t* record) { return SendPath(record, nc_dm_agent_encode_unreg); }

int SendYangAttr(nc_dm_stub_reg_t* record, TreeAttributes* attributes) {
  SendBuffer buf;
  nc_dm_msg_t* out_msg = StartOwnMessage(buf.bytes);
  auto* queued = static_cast<nc_dm_yang_attr_t*>(record->other);
  if (!EncodeYangAttr(out_msg, queued, attributes)) return 0;
  const int result = SendToServer(out_msg);
  if (result == kLinkBroken) {  // the record goes back into the queue
    const MutexLock lock(&g_nc_agent_dm.dm_mutex);
    NoteQueued(queued, true, attributes);
  }
  return result;
}

int SendCplt() {
  alignas(nc_dm_msg_t) char buf[kCpltBufSize];
  nc_dm_msg_t* out_msg = StartOwnMessage(buf);
  nc_dm_agent_encode_reg_cplt(out_msg);
  return SendToServer(out_msg);
}

}  // namespace nc

int nc_dm_agent_reg_server_name(int fd, int attr, char* client_name, nc_dm_t* client_dm) {
  if (client_dm == nullptr) return nc::Refuse("Input parameter is invalid!\n");
  if (client_dm->registered) return 0;
  nc_dm_stub_reg_t name = {};
  name.type = NC_DM_MSG_TYPE_REG_NAME;
  name.attr = attr;
  name.name = client_name;
  if (!FitsMessage(name)) return -1;

  nc::SendBuffer buf;
  nc_dm_msg_t* out_msg = StartOwnMessage(buf.bytes);
  nc_dm_agent_encode_reg_name(out_msg, &name);
  const int result = nc_dm_agent_send(fd, out_msg);
  if (result != 0) {
    NC_DM_LOG_ERROR("%s failed to send to server.\n",
                    client_name == nullptr ? "(null)" : client_name);
    return result;
  }
  client_dm->registered = true;
  return 0;
}

int nc_dm_agent_reg_server_mode_cplt(void) {
  const int result = nc::SendCplt();
  if (result != 0) NC_DM_LOG_ERROR("Failed to send 'mode register complete' to server.\n");
  return result;
}
