// The registration task: each second it takes what is queued, tells the server what is for the
// server and applies to the tree what is for the tree.

#include "netconf_dm_agent/registration_task.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "netconf_dm_agent/announce.h"
#include "netconf_dm_agent/frame.h"
#include "netconf_dm_agent/link_watch.h"
#include "netconf_dm_agent/tasks.h"
#include "netconf_dm_kernel/registration_queue.h"
#include "netconf_dm_util/enum_number.h"
#include "netconf_dm_util/log.h"

namespace {

constexpr int kRegSeconds = 1;
constexpr long kPauseMicroseconds = 100000;

using Record = nc_dm_stub_reg_t;

int SendReg(Record* record, nc::TreeAttributes*) { return nc::SendReg(record); }
int SendUnreg(Record* record, nc::TreeAttributes*) { return nc::SendUnreg(record); }
int SendCplt(Record*, nc::TreeAttributes*) { return nc::SendCplt(); }
int RegObject(Record* record, nc::TreeAttributes*) { return nc_dm_agent_reg_obj_in(record); }
int UnregObject(Record* record, nc::TreeAttributes*) { return nc_dm_agent_unreg_obj_in(record); }

// A type of record, and the way it is dealt with.
struct RecordKind {
  nc_dm_msg_type_t type;
  bool is_object;  // applied to the tree; a run applies a limited number, it holds the event loop
  bool is_kept;  // stays queued when its send breaks the connection; a reconnection repeats others
  int (*finish)(Record* record, nc::TreeAttributes* attributes);
};

constexpr RecordKind kRecordKinds[] = {
    {NC_DM_MSG_TYPE_REG, false, false, SendReg},
    {NC_DM_MSG_TYPE_UNREG, false, false, SendUnreg},
    {NC_DM_MSG_TYPE_REG_YANG_ATTR, false, true, nc::SendYangAttr},
    {NC_DM_MSG_TYPE_REG_CPLT, false, true, SendCplt},
    {NC_DM_MSG_TYPE_REG_OBJ, true, false, RegObject},
    {NC_DM_MSG_TYPE_UNREG_OBJ, true, false, UnregObject},
};

const RecordKind* FindKind(nc_int32 type) {
  for (const RecordKind& kind : kRecordKinds) {
    if (kind.type == type) return &kind;
  }
  return nullptr;
}

// The socket that a run sends on.
class ServerSocket {
 public:
  explicit ServerSocket(int fd) : fd_(fd) {
    socklen_t len = sizeof(limit_);
    if (getsockopt(fd_, SOL_SOCKET, SO_SNDBUF, &limit_, &len) != 0) limit_ = 0;
  }

  // False without a socket, and for one whose connect failed.
  bool IsConnected() const {
    sockaddr_storage peer;
    socklen_t len = sizeof(peer);
    if (fd_ < 0) return false;
    return getpeername(fd_, reinterpret_cast<sockaddr*>(&peer), &len) == 0 || errno != ENOTCONN;
  }

  // True if the socket holds as much as it may. A server that is slower than the registrations is
  // no broken link, and every send to a full socket would be taken for one. (Readiness to write
  // comes only when most of it has drained.)
  bool IsFull() const { return limit_ > 0 && nc::QueuedBytes(fd_) >= limit_; }

 private:
  int fd_;
  int limit_ = 0;
};

// True while the registration task waits for the socket, not for a timer.
bool g_waits_for_socket = false;

void WaitForSocket() {
  zu_thread*& handle = g_nc_dm_agent_manage.tt_reg;
  if (handle != nullptr) return;
  handle = zu_thread_add_write(g_nc_dm_agent_manage.master, nc_dm_agent_reg_handler, nullptr,
                               g_nc_dm_mng_info.agent_fd);
  g_waits_for_socket = handle != nullptr;
  if (handle == nullptr) nc_dm_agent_handle_timer(NC_DM_EVENT_REG, 0, kPauseMicroseconds);
  nc::WatchWaitingTasks();
}

enum class Outcome { kExhausted, kPaused, kSocketFull, kBroken };

// Finishes what was queued when the run began. Without a connection what is for the server stays in
// the queue, and what is for the tree is applied all the same: the application may run for days
// before its server.
Outcome RunQueue() {
  nc::QueueRun run;
  nc::TreeAttributes attributes;
  const ServerSocket socket(g_nc_dm_mng_info.agent_fd);
  const bool is_connected = socket.IsConnected();
  // A number that was refused earlier leaves errno set, and the conversions of this run look at it.
  errno = 0;
  int objects = 0;
  bool is_anything_left = false;
  while (nc::PendingPtr record = run.Next()) {
    const RecordKind* kind = FindKind(nc::EnumNumber(record->type));
    if (kind == nullptr) {
      NC_DM_LOG_ERROR("unknown message type node in the register list.\n");
      continue;
    }
    if (!kind->is_object && !is_connected) {
      run.Keep(std::move(record));
      is_anything_left = true;
      run.LetProducersIn();
      continue;
    }
    if (!kind->is_object && socket.IsFull()) {
      run.Keep(std::move(record));
      return Outcome::kSocketFull;
    }
    const int result = kind->finish(record.get(), &attributes);
    if (!kind->is_object && result == nc::kLinkBroken) {
      if (kind->is_kept) run.Keep(std::move(record));
      return Outcome::kBroken;
    }
    if (kind->is_object && ++objects > NC_DM_REG_OBJ_BATCH) {
      NC_DM_LOG_INFO("The count of reg(or unreg) objects is to high this time, break.\n");
      return Outcome::kPaused;
    }
    run.LetProducersIn();
  }
  return is_anything_left ? Outcome::kBroken : Outcome::kExhausted;
}

}  // namespace

namespace nc {

bool IsRegistrationWaiting() { return g_waits_for_socket; }

void ResumeRegistrations() {
  if (!g_waits_for_socket) return;
  g_waits_for_socket = false;
  CancelTask(NC_DM_EVENT_REG);
  nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, kRegSeconds);
}

}  // namespace nc

int nc_dm_agent_reg_handler(zu_thread* /*t*/) {
  const nc::RetryAtEnd retry;
  g_nc_dm_agent_manage.tt_reg = nullptr;
  g_waits_for_socket = false;
  nc::WatchWaitingTasks();
  switch (RunQueue()) {
    case Outcome::kBroken:
      nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
      nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, kRegSeconds);
      return nc::kLinkBroken;
    case Outcome::kPaused:
      nc_dm_agent_handle_timer(NC_DM_EVENT_REG, 0, kPauseMicroseconds);
      return 0;
    case Outcome::kSocketFull:
      WaitForSocket();
      return 0;
    case Outcome::kExhausted:
      nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, kRegSeconds);
      return 0;
  }
  return 0;
}
