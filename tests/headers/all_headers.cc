/* A program that includes every header and refers to something of each that must link. */

#include "flash_home.h"
#include "netconf_dm_agent.h"
#include "netconf_dm_inter.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_util.h"
#include "netconf_dm_yang.h"
#include "printk_syslog.h"
#include "zu_thread.h"

static_assert(__cplusplus == 202002L, "this program is to be C++20");

int main() {
  // The field that C calls `delete`.
  nc_dm_agent_node_t node = {};
  node.delete_ = nullptr;
  // Something of each header that has to be found in a library.
  const void* symbols[] = {&g_nc_dm_agent_manage, &g_nc_dm_agent_dbg, &g_nc_agent_dm};
  int found = 0;
  for (const void* symbol : symbols) found += symbol != nullptr;
  nc_dm_agent_dbg_msg(NC_DM_DBG_ERROR, "C++ %d\n", 20);
  nc_dm_yang_doc_free(nullptr);
  zu_thread_cancel(nullptr);
  return found == 3 && !node.delete_ ? 0 : 1;
}
