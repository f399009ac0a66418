// Records of the pending registrations, on their way into the queue.
#ifndef NETCONF_DM_KERNEL_SERVER_RECORDS_H_
#define NETCONF_DM_KERNEL_SERVER_RECORDS_H_

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

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_SERVER_RECORDS_H_
