/* A program that includes every header and refers to something of each that must link. */

#include "flash_home.h"
#include "netconf_dm_agent.h"
#include "netconf_dm_inter.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_util.h"
#include "netconf_dm_yang.h"
#include "printk_syslog.h"
#include "zu_thread.h"

#if __STDC_VERSION__ != 201112L
#error "this program is to be C11"
#endif

int main(void) {
  /* The field that C++ calls `delete_`. */
  nc_dm_agent_node_t node = {0};
  node.delete = 0;
  /* Something of each header that has to be found in a library. */
  const void* symbols[] = {
      (const void*)&g_nc_dm_agent_manage,
      (const void*)&g_nc_dm_agent_dbg,
      (const void*)&g_nc_agent_dm,
  };
  int found = 0;
  for (unsigned i = 0; i < sizeof(symbols) / sizeof(symbols[0]); ++i) {
    found += symbols[i] != 0;
  }
  nc_dm_agent_dbg_msg(NC_DM_DBG_ERROR, "C %d\n", 11);
  nc_dm_yang_doc_free(0);
  zu_thread_cancel(0);
  return found == 3 && node.delete == 0 ? 0 : 1;
}
