// The records of pending registrations, before they are queued.
#ifndef NETCONF_DM_KERNEL_PENDING_RECORD_H_
#define NETCONF_DM_KERNEL_PENDING_RECORD_H_

#include <memory>

#include "netconf_dm_kernel/records.h"

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

// A path's announcement, copied from `para`; null for a bad argument or short memory.
PendingPtr NewPendingPath(const nc_dm_stub_reg_t* para);

// The preconditions of an attribute's announcement. 0, or -1, which is logged.
int CheckYangAttr(const nc_dm_yang_attr_t* yang);

// An attribute's announcement, of one that passed the check; null when memory is short.
PendingPtr NewPendingYangAttr(const nc_dm_yang_attr_t& yang);

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_PENDING_RECORD_H_
