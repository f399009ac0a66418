// After a reconnection the whole tree is announced anew: every path, and every YANG attribute.
//
// A repetition takes the place of what is left of the one before it. A server that accepts
// connections and drops them at once makes the library repeat each second, faster than the queue
// drains behind a broken link; the whole tree once is all that the server needs, however often the
// connection was lost in between.

#include "netconf_dm_kernel/bodies.h"
#include "netconf_dm_kernel/registration.h"
#include "netconf_dm_kernel/registration_queue.h"
#include "netconf_dm_kernel/tree/ready.h"
#include "netconf_dm_kernel/yang_attr_index.h"
#include "netconf_dm_util/enum_number.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/mutex_lock.h"
#include "netconf_dm_util/refuse.h"

namespace {

using nc::PendingPtr;
using Record = nc_dm_stub_reg_t;

const nc_dm_yang_attr_t& AttributeOf(const Record& record) {
  return *static_cast<const nc_dm_yang_attr_t*>(record.other);
}

void FreeAll(list_head* records) {
  for (auto& record : nc::RecordsSafely<Record>(records)) nc::FreePending()(&record);
}

// All records of one type that the tree gives anew.
class Repetition {
 public:
  explicit Repetition(nc_dm_msg_type_t type) : type_(type) {
    nc::InitList(&fresh_);
    nc::InitList(&stale_);
  }
  Repetition(const Repetition&) = delete;
  Repetition& operator=(const Repetition&) = delete;
  ~Repetition() {
    FreeAll(&stale_);
    FreeAll(&fresh_);
  }

  void Add(PendingPtr record) {
    if (record == nullptr) {
      complete_ = false;
      return;
    }
    record->repeated = true;
    nc::PushBack(&fresh_, &record.release()->list);
  }

  // Puts the records behind all that is queued, in place of the previous repetition's. When memory
  // was too short for one, the previous ones stay as well, lest a path be lost that was queued.
  void Queue() {
    const nc::ProducerLock lock;
    if (complete_) TakeStale();
    if (type_ == NC_DM_MSG_TYPE_REG_YANG_ATTR) DropWaitingAttributes();
    nc::MoveAll(&fresh_, &g_nc_dm_reg_list.reg_list);
  }

 private:
  bool IsOfType(const Record& record) const { return nc::EnumNumber(record.type) == type_; }

  void TakeStale() {
    for (list_head* list : nc::QueuedLists()) {
      for (auto& record : nc::RecordsSafely<Record>(list)) {
        if (!record.repeated || !IsOfType(record)) continue;
        nc::Unlink(&record.list);
        nc::PushBack(&stale_, &record.list);
      }
    }
  }

  // An attribute that the application has queued meanwhile is sent with the value that the tree
  // holds then, which is the one that would be repeated.
  void DropWaitingAttributes() {
    nc::YangAttrIndex waiting;
    for (list_head* list : nc::QueuedLists()) {
      for (const auto& record : nc::Records<Record>(list)) {
        if (IsOfType(record) && record.other != nullptr) waiting.Add(&AttributeOf(record));
      }
    }
    if (!waiting.Sort()) return;
    for (auto& record : nc::RecordsSafely<Record>(&fresh_)) {
      if (waiting.Find(AttributeOf(record)) == nullptr) continue;
      nc::Unlink(&record.list);
      nc::PushBack(&stale_, &record.list);
    }
  }

  const nc_dm_msg_type_t type_;
  list_head fresh_;
  list_head stale_;
  bool complete_ = true;
};

// The registered paths, read from the tree.
class RegisteredPaths {
 public:
  RegisteredPaths() { nc::InitList(&list_.head); }
  ~RegisteredPaths() { nc_dm_agent_free_reg_list(&list_); }
  RegisteredPaths(const RegisteredPaths&) = delete;
  RegisteredPaths& operator=(const RegisteredPaths&) = delete;

  int Read() {
    const nc::MutexLock lock(&g_nc_agent_dm.dm_mutex);
    return nc_dm_agent_get_regs_list(&g_nc_agent_dm.dm_root, &list_);
  }
  bool IsEmpty() const { return list_.cnt == 0; }
  auto Entries() const { return nc::Records<nc_dm_reg_node_t>(&list_.head); }

 private:
  nc_dm_list_t list_ = {};
};

}  // namespace

int nc_dm_agent_re_reg_server(void) {
  RegisteredPaths paths;
  if (const int result = paths.Read(); result != 0) {
    return nc::Refuse(result, "Failed to get register paths list.\n");
  }
  if (paths.IsEmpty()) return nc::Refuse("The register paths list got is empty.\n");
  Repetition repetition(NC_DM_MSG_TYPE_REG);
  for (const auto& path : paths.Entries()) {
    Record para = {};
    para.type = NC_DM_MSG_TYPE_REG;
    para.attr = path.reg_entry.attr;
    para.name = path.reg_entry.dm_path;
    repetition.Add(nc::NewPendingPath(&para));
  }
  repetition.Queue();
  NC_DM_LOG_INFO("Get client's register nodes successfully.\n");
  return 0;
}

int nc_dm_agent_re_reg_yang_attr_server(void) {
  if (!nc::IsClientInitialized() || !nc::IsTreeInitialized()) return -1;
  Repetition repetition(NC_DM_MSG_TYPE_REG_YANG_ATTR);
  {
    const nc::MutexLock lock(&g_nc_agent_dm.dm_mutex);
    for (auto& yang : nc::Records<nc_dm_yang_attr_t>(&g_nc_agent_dm.yang_attr_lst)) {
      if (nc::CheckYangAttr(&yang) != 0) continue;
      yang.queued = true;
      repetition.Add(nc::NewPendingYangAttr(yang));
    }
  }
  repetition.Queue();
  return 0;
}
