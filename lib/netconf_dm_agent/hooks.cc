// Hooks: what the application is told beside the callbacks of its leaves.

#include <atomic>

#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/tree/ready.h"

int nc_dm_agent_fun_reg(nc_dm_hook_fun_type_t fun_type, int (*handler)(char*)) {
  if (!nc::IsClientInitialized()) return -1;
  if (fun_type == NC_DM_HOOK_FUN_DATA_COMMIT) {
    std::atomic_ref(g_nc_dm_mng_info.data_commit).store(handler);
  }
  return 0;
}
