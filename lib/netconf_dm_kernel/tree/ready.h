// Preconditions of the registration calls; a failed one is logged.
#ifndef NETCONF_DM_KERNEL_TREE_READY_H_
#define NETCONF_DM_KERNEL_TREE_READY_H_

#include "netconf_dm_kernel/context.h"
#include "netconf_dm_util/log.h"

namespace nc {

inline bool IsClientInitialized() {
  if (context.is_client_ready) return true;
  NC_DM_LOG_ERROR("Dm client hasn't bean initialized!\n");
  return false;
}

inline bool IsTreeInitialized() {
  if (context.is_tree_ready) return true;
  NC_DM_LOG_ERROR("Dm tree hasn't bean initialized!\n");
  return false;
}

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_TREE_READY_H_
