// What the agent tells the server of its own accord: its name, what is registered, and that it
// leaves.

#include "netconf_dm_agent/registration_task.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "netconf_dm_agent/frame.h"
#include "netconf_dm_agent/tasks.h"
#include "netconf_dm_kernel/registration_queue.h"
#include "netconf_dm_util/enum_number.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"

namespace {

constexpr nc_int32 kOwnSid = -1;
constexpr int kRegSeconds = 1;
constexpr long kPauseMicroseconds = 100000;
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

int SendCplt() {
  alignas(nc_dm_msg_t) char buf[kCpltBufSize];
  nc_dm_msg_t* out_msg = StartOwnMessage(buf);
  nc_dm_agent_encode_reg_cplt(out_msg);
  return SendToServer(out_msg);
}

void FreeRecord(nc_dm_stub_reg_t* record) {
  nc::Unlink(&record->list);
  nc::FreePending()(record);
}

// The functions of the table below finish one pending record. -2 when the connection broke, which
// stops the run.

// A path is freed before its send: after a broken connection the whole tree is registered again.
int SendPath(nc_dm_stub_reg_t* record, int (*encode)(nc_dm_msg_t*, nc_dm_stub_reg_t*)) {
  nc::SendBuffer buf;
  nc_dm_msg_t* out_msg = StartOwnMessage(buf.bytes);
  const bool encoded = FitsMessage(*record) && encode(out_msg, record) == 0;
  FreeRecord(record);
  return encoded ? SendToServer(out_msg) : 0;
}

int SendReg(nc_dm_stub_reg_t* record) { return SendPath(record, nc_dm_agent_encode_reg); }

int SendUnreg(nc_dm_stub_reg_t* record) { return SendPath(record, nc_dm_agent_encode_unreg); }

// An attribute and the notice of completion stay queued until they are sent.
int SendYangAttr(nc_dm_stub_reg_t* record) {
  auto* attr = static_cast<nc_dm_yang_attr_t*>(record->other);
  nc::SendBuffer buf;
  nc_dm_msg_t* out_msg = StartOwnMessage(buf.bytes);
  const bool fits = attr == nullptr || FitsMessage(*attr);
  const bool encoded = fits && nc_dm_agent_encode_reg_yang_attr(out_msg, attr) == 0;
  const int result = encoded ? SendToServer(out_msg) : 0;
  if (result != nc::kLinkBroken) FreeRecord(record);
  return result;
}

int SendQueuedCplt(nc_dm_stub_reg_t* record) {
  const int result = SendCplt();
  if (result != nc::kLinkBroken) FreeRecord(record);
  return result;
}

int RegObject(nc_dm_stub_reg_t* record) {
  nc_dm_agent_reg_obj_in(record);
  FreeRecord(record);
  return 0;
}

int UnregObject(nc_dm_stub_reg_t* record) {
  nc_dm_agent_unreg_obj_in(record);
  FreeRecord(record);
  return 0;
}

struct RecordKind {
  nc_dm_msg_type_t type;
  bool is_object;  // applied to the tree, and counted, since a run holds up the event loop
  int (*finish)(nc_dm_stub_reg_t* record);
};

constexpr RecordKind kRecordKinds[] = {
    {NC_DM_MSG_TYPE_REG, false, SendReg},
    {NC_DM_MSG_TYPE_UNREG, false, SendUnreg},
    {NC_DM_MSG_TYPE_REG_YANG_ATTR, false, SendYangAttr},
    {NC_DM_MSG_TYPE_REG_CPLT, false, SendQueuedCplt},
    {NC_DM_MSG_TYPE_REG_OBJ, true, RegObject},
    {NC_DM_MSG_TYPE_UNREG_OBJ, true, UnregObject},
};

const RecordKind* FindKind(nc_int32 type) {
  for (const RecordKind& kind : kRecordKinds) {
    if (kind.type == type) return &kind;
  }
  return nullptr;
}

// Does the socket hold as much as it may. A server that is slower than the registrations is no
// broken link, and every send to a full socket would be taken for one. (Readiness to write comes
// only when most of it has drained.)
class SendQueue {
 public:
  explicit SendQueue(int fd) : fd_(fd) {
    socklen_t len = sizeof(limit_);
    if (getsockopt(fd_, SOL_SOCKET, SO_SNDBUF, &limit_, &len) != 0) limit_ = 0;
  }
  bool IsFull() const {
    int queued = 0;
    return limit_ > 0 && ioctl(fd_, SIOCOUTQ, &queued) == 0 && queued >= limit_;
  }

 private:
  int fd_;
  int limit_ = 0;
};

// The registration task waits for the socket, not for a time.
bool g_waits_for_socket = false;

void WaitForSocket() {
  zu_thread*& handle = g_nc_dm_agent_manage.tt_reg;
  if (handle != nullptr) return;
  handle = zu_thread_add_write(g_nc_dm_agent_manage.master, nc_dm_agent_reg_handler, nullptr,
                               g_nc_dm_mng_info.agent_fd);
  g_waits_for_socket = handle != nullptr;
  if (handle == nullptr) nc_dm_agent_handle_timer(NC_DM_EVENT_REG, 0, kPauseMicroseconds);
}

enum class Run { kExhausted, kPaused, kSocketFull, kBroken };

Run DrainList() {
  nc::QueueRun run;
  const SendQueue socket(g_nc_dm_mng_info.agent_fd);
  int objects = 0;
  for (auto& record : nc::RecordsSafely<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list)) {
    const RecordKind* kind = FindKind(nc::EnumNumber(record.type));
    if (kind == nullptr) {
      NC_DM_LOG_ERROR("unknown message type node in the register list.\n");
      FreeRecord(&record);
      continue;
    }
    if (!kind->is_object && socket.IsFull()) return Run::kSocketFull;
    if (kind->finish(&record) == nc::kLinkBroken) return Run::kBroken;
    if (kind->is_object && ++objects > NC_DM_REG_OBJ_BATCH) {
      NC_DM_LOG_INFO("The count of reg(or unreg) objects is to high this time, break.\n");
      return Run::kPaused;
    }
    run.LetProducersIn();
  }
  return Run::kExhausted;
}

}  // namespace

void nc::ResumeRegistrations() {
  if (!g_waits_for_socket) return;
  g_waits_for_socket = false;
  CancelTask(g_nc_dm_agent_manage.tt_reg);
  nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, kRegSeconds);
}

int nc_dm_agent_reg_server_name(int fd, int attr, char* client_name, nc_dm_t* client_dm) {
  if (client_dm == nullptr) {
    NC_DM_LOG_ERROR("Input parameter is invalid!\n");
    return -1;
  }
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
  const int result = SendCplt();
  if (result != 0) NC_DM_LOG_ERROR("Failed to send 'mode register complete' to server.\n");
  return result;
}

int nc_dm_agent_reg_handler(zu_thread* /*t*/) {
  g_nc_dm_agent_manage.tt_reg = nullptr;
  g_waits_for_socket = false;
  // A number that was refused earlier leaves errno set, and the conversions of this run look at it.
  errno = 0;
  switch (DrainList()) {
    case Run::kBroken:
      nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
      nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, kRegSeconds);
      return nc::kLinkBroken;
    case Run::kPaused:
      nc_dm_agent_handle_timer(NC_DM_EVENT_REG, 0, kPauseMicroseconds);
      return 0;
    case Run::kSocketFull:
      WaitForSocket();
      return 0;
    case Run::kExhausted:
      nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, kRegSeconds);
      return 0;
  }
  return 0;
}
