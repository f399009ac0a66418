// Records of the pending registrations, on their way into the queue.
#ifndef NETCONF_DM_KERNEL_REGISTRATION_QUEUE_H_
#define NETCONF_DM_KERNEL_REGISTRATION_QUEUE_H_

#include <memory>

#include "netconf_dm_kernel.h"

namespace nc {

// Frees a record that is in no queue, with its name and its YANG attribute.
struct FreePending {
  void operator()(nc_dm_stub_reg_t* record) const;
};
using PendingPtr = std::unique_ptr<nc_dm_stub_reg_t, FreePending>;

// A zeroed record of a type; null when memory is short, which is logged.
PendingPtr NewPending(nc_dm_msg_type_t type);

// The same with a copy of a name.
PendingPtr NewNamedPending(nc_dm_msg_type_t type, const char* name);

// Hands a record to the registration task, behind all that is queued.
void Queue(PendingPtr record);

// Frees all that is queued.
void ReleaseQueue();

// Holds the queue for a run of the registration task. A run may send thousands of messages, and a
// thread that registers meanwhile must not wait for its end.
class [[nodiscard]] QueueRun {
 public:
  QueueRun();
  ~QueueRun();
  QueueRun(const QueueRun&) = delete;
  QueueRun& operator=(const QueueRun&) = delete;

  // Lets the producers that wait append, and comes back. Nothing is taken out of the queue
  // meanwhile.
  void LetProducersIn();
};

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_REGISTRATION_QUEUE_H_
