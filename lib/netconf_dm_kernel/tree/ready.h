// Preconditions of the registration calls; a failed one is logged.
#ifndef NETCONF_DM_KERNEL_TREE_READY_H_
#define NETCONF_DM_KERNEL_TREE_READY_H_

#include "netconf_dm_kernel/context.h"
#include "netconf_dm_util/refuse.h"

namespace nc {

inline bool IsClientInitialized() {
  if (context.is_client_ready) return true;
  return Refuse(false, "Dm client hasn't bean initialized!\n");
}

inline bool IsTreeInitialized() {
  if (context.is_tree_ready) return true;
  return Refuse(false, "Dm tree hasn't bean initialized!\n");
}

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_TREE_READY_H_
