// The pending registrations, on their way into the queue and out of it.
#ifndef NETCONF_DM_KERNEL_REGISTRATION_QUEUE_H_
#define NETCONF_DM_KERNEL_REGISTRATION_QUEUE_H_

#include <array>

#include "netconf_dm_kernel/pending_record.h"

namespace nc {

// Hands a record to the registration task, behind all that is queued.
void Queue(PendingPtr record);

// The same for an attribute's announcement. One that waits already is queued once: the new text
// takes the place of its own. `may_wait` false: none is known to wait, and none is looked for.
void QueueYangAttr(PendingPtr record, bool may_wait);

// Frees all that is queued.
void ReleaseQueue();

// Holds the queue for a thread that registers.
class [[nodiscard]] ProducerLock {
 public:
  ProducerLock();
  ~ProducerLock();
  ProducerLock(const ProducerLock&) = delete;
  ProducerLock& operator=(const ProducerLock&) = delete;
};

// The lists in which records wait, in the order of the queue; the queue is held. Only a run of the
// registration task has anything in the first two.
std::array<list_head*, 3> QueuedLists();

// A run of the registration task. It takes what is queued when it begins, so that a thread that
// registers without pause does not hold up the event loop, and puts back in front what it did not
// finish.
//
// The run holds the queue, but for the moments in which it lets producers in. A repetition may free
// records then, so nothing but Next may lead to one.
class [[nodiscard]] QueueRun {
 public:
  QueueRun();
  ~QueueRun();
  QueueRun(const QueueRun&) = delete;
  QueueRun& operator=(const QueueRun&) = delete;

  // The next record, taken off the queue; null when all were.
  PendingPtr Next();

  // Puts the record that Next gave back into its place, for a later run.
  void Keep(PendingPtr record);

  // Lets the producers that wait append, and comes back, once a millisecond. A run may send
  // thousands of messages, and a thread that registers meanwhile must not wait for its end.
  void LetProducersIn();
};

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_REGISTRATION_QUEUE_H_
