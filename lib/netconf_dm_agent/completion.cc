// The notice that the application has registered all of its schema.

#include <atomic>
#include <utility>

#include "netconf_dm_agent/submit.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/tree/ready.h"
#include "netconf_dm_util/log.h"

void nc_dm_agent_mode_reg_cplt(void) {
  if (!nc::IsClientInitialized()) return;
  std::atomic_ref(g_nc_dm_mng_info.local_dm_reg_over).store(true);
  nc::PendingPtr record = nc::NewPending(NC_DM_MSG_TYPE_REG_CPLT);
  if (record == nullptr) return;
  NC_DM_LOG_INFO("Add mode_reg_cplt to register list.\n");
  nc::Submit(std::move(record));
}
