// The pending registrations: what waits for the registration task, and how it is queued.
//
// A re-registration takes the place of what is left of the one before it. A server that accepts
// connections and drops them at once makes the library re-register each second, faster than the
// queue drains behind a broken link; the whole tree once is all that the server needs, however
// often the connection was lost in between.

#include "netconf_dm_kernel/registration_queue.h"

#include <sched.h>

#include <atomic>
#include <cstdlib>
#include <utility>

#include "netconf_dm_kernel/tree/ready.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/mutex_lock.h"

nc_dm_stub_reg_list_t g_nc_dm_reg_list = {PTHREAD_MUTEX_INITIALIZER,
                                          {&g_nc_dm_reg_list.reg_list, &g_nc_dm_reg_list.reg_list}};

namespace nc {

void FreePending::operator()(nc_dm_stub_reg_t* record) const {
  auto* attr = static_cast<nc_dm_yang_attr_t*>(record->other);
  if (attr != nullptr) nc_dm_agent_free_yang_attr(attr);
  free(attr);
  nc_dm_agent_free_reg(record);
  free(record);
}

PendingPtr NewPending(nc_dm_msg_type_t type) {
  PendingPtr record(NewRecord<nc_dm_stub_reg_t>().release());
  if (record == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc for reg_node!\n");
    return nullptr;
  }
  record->type = type;
  return record;
}

PendingPtr NewNamedPending(nc_dm_msg_type_t type, const char* name) {
  PendingPtr record = NewPending(type);
  if (record == nullptr) return nullptr;
  record->name = nc_dm_copy_str(name);
  if (record->name == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc for reg_node->name!\n");
    return nullptr;
  }
  return record;
}

namespace {

// Producers that want the queue. The mutex alone would not do: whoever unlocks it and wants it back
// at once gets it before those who wait have woken up.
std::atomic<int> g_waiting_producers = 0;

// How often the registration task offers the queue before it goes on: a thread that registers
// without pause must not stop it.
constexpr int kOffers = 100;

class [[nodiscard]] ProducerLock {
 public:
  ProducerLock() {
    g_waiting_producers.fetch_add(1);
    pthread_mutex_lock(&g_nc_dm_reg_list.list_mutex);
    g_waiting_producers.fetch_sub(1);
  }
  ~ProducerLock() { pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex); }
  ProducerLock(const ProducerLock&) = delete;
  ProducerLock& operator=(const ProducerLock&) = delete;
};

}  // namespace

void Queue(PendingPtr record) {
  const ProducerLock lock;
  PushBack(&g_nc_dm_reg_list.reg_list, &record.release()->list);
}

void ReleaseQueue() {
  const MutexLock lock(&g_nc_dm_reg_list.list_mutex);
  for (auto& record : RecordsSafely<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list)) {
    Unlink(&record.list);
    FreePending()(&record);
  }
}

QueueRun::QueueRun() { pthread_mutex_lock(&g_nc_dm_reg_list.list_mutex); }

QueueRun::~QueueRun() { pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex); }

void QueueRun::LetProducersIn() {
  if (g_waiting_producers.load(std::memory_order_relaxed) == 0) return;
  pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex);
  for (int offer = 0; offer < kOffers && g_waiting_producers.load() > 0; ++offer) sched_yield();
  pthread_mutex_lock(&g_nc_dm_reg_list.list_mutex);
}

}  // namespace nc

namespace {

using nc::PendingPtr;

PendingPtr NewPath(const nc_dm_stub_reg_t* para) {
  if (para == nullptr) {
    NC_DM_LOG_ERROR("Input parameter para is invalid!\n");
    return nullptr;
  }
  if (para->name == nullptr) {
    NC_DM_LOG_ERROR("Input parameter name is invalid!\n");
    return nullptr;
  }
  NC_DM_LOG_INFO("Register path[%s]to server.\n", para->name);
  if (!nc::IsClientInitialized()) return nullptr;
  PendingPtr record = nc::NewNamedPending(para->type, para->name);
  if (record != nullptr) record->attr = para->attr;
  return record;
}

bool CheckYangAttr(const nc_dm_yang_attr_t* yang) {
  if (!nc::IsClientInitialized() || !nc::IsTreeInitialized()) return false;
  if (yang == nullptr) {
    NC_DM_LOG_ERROR("The input parameter yang is null!\n");
    return false;
  }
  if (yang->module_name == nullptr) {
    NC_DM_LOG_ERROR("The input parameter yang->module_name is null!\n");
    return false;
  }
  if (yang->attr == nullptr) {
    NC_DM_LOG_ERROR("The input parameter yang->attr is null!\n");
    return false;
  }
  return true;
}

// Of an attribute that passed the check.
PendingPtr NewYangAttr(const nc_dm_yang_attr_t* yang) {
  PendingPtr record(nc::NewRecord<nc_dm_stub_reg_t>().release());
  if (record == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc reg_yang!\n");
    return nullptr;
  }
  record->type = NC_DM_MSG_TYPE_REG_YANG_ATTR;
  auto* copy = nc::NewRecord<nc_dm_yang_attr_t>().release();
  record->other = copy;
  if (copy != nullptr) {
    copy->type = yang->type;
    copy->module_name = nc_dm_copy_str(yang->module_name);
    copy->attr = nc_dm_copy_str(yang->attr);
  }
  if (copy == nullptr || copy->module_name == nullptr || copy->attr == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc yang_attr!\n");
    return nullptr;
  }
  NC_DM_LOG_INFO("Add yang module[%s] to register list.\n", yang->module_name);
  return record;
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
    for (auto& record : nc::RecordsSafely<nc_dm_stub_reg_t>(&stale_)) nc::FreePending()(&record);
    for (auto& record : nc::RecordsSafely<nc_dm_stub_reg_t>(&fresh_)) nc::FreePending()(&record);
  }

  void Add(PendingPtr record) {
    if (record == nullptr) {
      complete_ = false;
      return;
    }
    record->repeated = true;
    nc::PushBack(&fresh_, &record.release()->list);
  }

  // Puts the records behind all that is queued, in place of the previous repetition's. One that
  // memory was too short for takes nobody's place, lest a path be lost that was queued already.
  void Queue() {
    const nc::MutexLock lock(&g_nc_dm_reg_list.list_mutex);
    if (complete_) TakeStale();
    nc::MoveAll(&fresh_, &g_nc_dm_reg_list.reg_list);
  }

 private:
  void TakeStale() {
    for (auto& record : nc::RecordsSafely<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list)) {
      if (!record.repeated || record.type != type_) continue;
      nc::Unlink(&record.list);
      nc::PushBack(&stale_, &record.list);
    }
  }

  const nc_dm_msg_type_t type_;
  list_head fresh_;
  list_head stale_;
  bool complete_ = true;
};

}  // namespace

int nc_dm_agent_reg_server(nc_dm_stub_reg_t* para) {
  PendingPtr record = NewPath(para);
  if (record == nullptr) return -1;
  nc::Queue(std::move(record));
  return 0;
}

int nc_dm_agent_reg_yang_attr_server(nc_dm_yang_attr_t* yang) {
  PendingPtr record = CheckYangAttr(yang) ? NewYangAttr(yang) : nullptr;
  if (record == nullptr) return -1;
  nc::Queue(std::move(record));
  return 0;
}

int nc_dm_agent_re_reg_server(void) {
  nc_dm_list_t paths = {};
  nc::InitList(&paths.head);
  int result;
  {
    const nc::MutexLock lock(&g_nc_agent_dm.dm_mutex);
    result = nc_dm_agent_get_regs_list(&g_nc_agent_dm.dm_root, &paths);
  }
  if (result != 0) {
    NC_DM_LOG_ERROR("Failed to get register paths list.\n");
    nc_dm_agent_free_reg_list(&paths);
    return result;
  }
  if (paths.cnt == 0) {
    NC_DM_LOG_ERROR("The register paths list got is empty.\n");
    nc_dm_agent_free_reg_list(&paths);
    return -1;
  }
  Repetition repetition(NC_DM_MSG_TYPE_REG);
  for (const auto& path : nc::Records<nc_dm_reg_node_t>(&paths.head)) {
    nc_dm_stub_reg_t para = {};
    para.type = NC_DM_MSG_TYPE_REG;
    para.attr = path.reg_entry.attr;
    para.name = path.reg_entry.dm_path;
    repetition.Add(NewPath(&para));
  }
  repetition.Queue();
  nc_dm_agent_free_reg_list(&paths);
  NC_DM_LOG_INFO("Get client's register nodes successfully.\n");
  return 0;
}

int nc_dm_agent_re_reg_yang_attr_server(void) {
  if (!nc::IsClientInitialized() || !nc::IsTreeInitialized()) return -1;
  Repetition repetition(NC_DM_MSG_TYPE_REG_YANG_ATTR);
  {
    const nc::MutexLock lock(&g_nc_agent_dm.dm_mutex);
    for (const auto& yang : nc::Records<nc_dm_yang_attr_t>(&g_nc_agent_dm.yang_attr_lst)) {
      if (CheckYangAttr(&yang)) repetition.Add(NewYangAttr(&yang));
    }
  }
  repetition.Queue();
  return 0;
}
