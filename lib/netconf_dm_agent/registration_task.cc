// The registration task: each second it takes what is queued, tells the server what is for the
// server and applies to the tree what is for the tree.

#include "netconf_dm_agent/registration_task.h"

#include <sys/socket.h>

#include <cerrno>
#include <optional>
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

  // True if the socket holds as much as it may; asked before each message. A server that is slower
  // than the registrations is no broken link, and every send to a full socket would be taken for
  // one. (Readiness to write comes only when most of it has drained.)
  //
  // The question is a system call, and is left out while the messages since the last one cannot
  // have filled what was free then.
  bool IsFull() {
    if (limit_ <= 0) return false;
    if (surely_free_ < kMostOfMessage) {
      surely_free_ = limit_ - nc::QueuedBytes(fd_);
      if (surely_free_ <= 0) return true;
    }
    surely_free_ -= kMostOfMessage;
    return false;
  }

 private:
  // More than the system charges a socket for a message and its own records of it.
  static constexpr int kMostOfMessage = 4 * NC_DM_SEND_BUF_SIZE;

  int fd_;
  int limit_ = 0;
  int surely_free_ = 0;
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
class Run {
 public:
  Outcome Drain() {
    // A number that was refused earlier leaves errno set, and the conversions of this run look at
    // it.
    errno = 0;
    while (nc::PendingPtr record = queue_.Next()) {
      const RecordKind* kind = FindKind(nc::EnumNumber(record->type));
      if (kind == nullptr) {
        NC_DM_LOG_ERROR("unknown message type node in the register list.\n");
        continue;
      }
      const End end = kind->is_object ? Apply(*kind, record.get()) : Send(*kind, &record);
      if (end) return *end;
      queue_.LetProducersIn();
    }
    return is_anything_left_ ? Outcome::kBroken : Outcome::kExhausted;
  }

 private:
  using End = std::optional<Outcome>;  // none: the run goes on

  End Apply(const RecordKind& kind, Record* record) {
    kind.finish(record, &attributes_);
    if (++objects_ <= NC_DM_REG_OBJ_BATCH) return std::nullopt;
    NC_DM_LOG_INFO("The count of reg(or unreg) objects is to high this time, break.\n");
    return Outcome::kPaused;
  }

  End Send(const RecordKind& kind, nc::PendingPtr* record) {
    if (!is_connected_) {
      queue_.Keep(std::move(*record));
      is_anything_left_ = true;
      return std::nullopt;
    }
    if (socket_.IsFull()) {
      queue_.Keep(std::move(*record));
      return Outcome::kSocketFull;
    }
    if (kind.finish(record->get(), &attributes_) != nc::kLinkBroken) return std::nullopt;
    if (kind.is_kept) queue_.Keep(std::move(*record));
    return Outcome::kBroken;
  }

  nc::QueueRun queue_;
  nc::TreeAttributes attributes_;
  ServerSocket socket_{g_nc_dm_mng_info.agent_fd};
  const bool is_connected_ = socket_.IsConnected();
  int objects_ = 0;
  bool is_anything_left_ = false;
};

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
  switch (Run().Drain()) {
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
