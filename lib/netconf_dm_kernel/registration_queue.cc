// The pending registrations: what waits for the registration task, and how it is queued.

#include "netconf_dm_kernel/registration_queue.h"

#include <sched.h>
#include <time.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <utility>

#include "netconf_dm_kernel/registration.h"
#include "netconf_dm_util/enum_number.h"
#include "netconf_dm_util/intrusive_list.h"

nc_dm_stub_reg_list_t g_nc_dm_reg_list = {PTHREAD_MUTEX_INITIALIZER,
                                          {&g_nc_dm_reg_list.reg_list, &g_nc_dm_reg_list.reg_list}};

namespace {

// The records that a run of the registration task has taken: not yet looked at, and put back for
// a later run. Guarded by the queue's mutex, and empty between two runs.
constinit list_head g_in_hand = {&g_in_hand, &g_in_hand};
constinit list_head g_kept = {&g_kept, &g_kept};

// Producers that wait for the queue. The mutex alone would not do: a thread that unlocks it and
// locks it again at once gets it before a waiting thread has woken up.
std::atomic<int> g_waiting_producers = 0;

// Times that the registration task offers the queue before it goes on, and how long it then keeps
// it: a thread that registers without pause, and looks through all that is queued each time, must
// neither stop the task nor make it much longer.
constexpr int kOffers = 100;
constexpr int64_t kNsBetweenOffers = 1000000;

// The task waits for the queue. A producer that comes then gives way, as long as it would be
// offered the queue: the mutex would let those who take it over and over keep the event loop
// waiting.
std::atomic<bool> g_task_waits = false;

void TakeQueueForTask() {
  g_task_waits = true;
  pthread_mutex_lock(&g_nc_dm_reg_list.list_mutex);
  g_task_waits = false;
}

// When the task may offer the queue again; 0 when a run begins.
int64_t g_next_offer = 0;

int64_t NowNs() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

using Record = nc_dm_stub_reg_t;

Record* First(list_head* list) { return nc::RecordOf<Record, &Record::list>(list->next); }

bool IsSameAttribute(const Record& record, const nc_dm_yang_attr_t& attribute) {
  if (nc::EnumNumber(record.type) != NC_DM_MSG_TYPE_REG_YANG_ATTR) return false;
  const auto* own = static_cast<const nc_dm_yang_attr_t*>(record.other);
  return own != nullptr && nc::EnumNumber(own->type) == nc::EnumNumber(attribute.type) &&
         own->module_name != nullptr && strcmp(own->module_name, attribute.module_name) == 0;
}

// The record of an attribute that waits already, or null. It is looked for from the end of the
// queue on: an attribute that a thread sets over and over was queued a moment ago, and what is
// queued before it may be long.
Record* FindWaiting(const nc_dm_yang_attr_t& attribute) {
  const auto lists = nc::QueuedLists();
  for (auto list = lists.rbegin(); list != lists.rend(); ++list) {
    for (list_head* link = (*list)->prev; link != *list; link = link->prev) {
      auto* record = nc::RecordOf<Record, &Record::list>(link);
      if (IsSameAttribute(*record, attribute)) return record;
    }
  }
  return nullptr;
}

}  // namespace

namespace nc {

ProducerLock::ProducerLock() {
  for (int turn = 0; turn < kOffers && g_task_waits.load(std::memory_order_relaxed); ++turn) {
    sched_yield();
  }
  g_waiting_producers.fetch_add(1);
  pthread_mutex_lock(&g_nc_dm_reg_list.list_mutex);
  g_waiting_producers.fetch_sub(1);
}

ProducerLock::~ProducerLock() { pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex); }

void Queue(PendingPtr record) {
  const ProducerLock lock;
  PushBack(&g_nc_dm_reg_list.reg_list, &record.release()->list);
}

void QueueYangAttr(PendingPtr record, bool may_wait) {
  const ProducerLock lock;
  auto* attribute = static_cast<nc_dm_yang_attr_t*>(record->other);
  if (Record* waiting = may_wait ? FindWaiting(*attribute) : nullptr) {
    // `record` takes the older text along.
    std::swap(waiting->other, record->other);
    return;
  }
  PushBack(&g_nc_dm_reg_list.reg_list, &record.release()->list);
}

void ReleaseQueue() {
  const ProducerLock lock;
  for (auto& record : RecordsSafely<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list)) {
    Unlink(&record.list);
    FreePending()(&record);
  }
}

std::array<list_head*, 3> QueuedLists() {
  return {&g_kept, &g_in_hand, &g_nc_dm_reg_list.reg_list};
}

QueueRun::QueueRun() {
  TakeQueueForTask();
  MoveAll(&g_nc_dm_reg_list.reg_list, &g_in_hand);
  g_next_offer = 0;
}

QueueRun::~QueueRun() {
  MoveAll(&g_in_hand, &g_kept);
  MoveAll(&g_nc_dm_reg_list.reg_list, &g_kept);
  MoveAll(&g_kept, &g_nc_dm_reg_list.reg_list);
  pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex);
}

PendingPtr QueueRun::Next() {
  if (IsEmpty(&g_in_hand)) return nullptr;
  PendingPtr record(First(&g_in_hand));
  Unlink(&record->list);
  return record;
}

void QueueRun::Keep(PendingPtr record) { PushBack(&g_kept, &record.release()->list); }

void QueueRun::LetProducersIn() {
  if (g_waiting_producers.load(std::memory_order_relaxed) == 0 || NowNs() < g_next_offer) return;
  pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex);
  for (int offer = 0; offer < kOffers && g_waiting_producers.load() > 0; ++offer) sched_yield();
  TakeQueueForTask();
  g_next_offer = NowNs() + kNsBetweenOffers;
}

}  // namespace nc

int nc_dm_agent_reg_server(nc_dm_stub_reg_t* para) {
  nc::PendingPtr record = nc::NewPendingPath(para);
  if (record == nullptr) return -1;
  nc::Queue(std::move(record));
  return 0;
}

int nc_dm_agent_reg_yang_attr_server(nc_dm_yang_attr_t* yang) {
  if (nc::CheckYangAttr(yang) != 0) return -1;
  nc::PendingPtr record = nc::NewPendingYangAttr(*yang);
  if (record == nullptr) return -1;
  nc::QueueYangAttr(std::move(record), true);
  return 0;
}
