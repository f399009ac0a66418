// The kernel's view of the connection: netconf_dm_kernel/context.h.

#include "netconf_dm_kernel/context.h"

#include "netconf_dm_kernel/connection.h"

constinit const nc::Context nc::context = {
    .datastore = g_nc_dm_mng_info.curr_dstype,
    .is_client_ready = g_nc_dm_mng_info.agent_init,
    .is_tree_ready = g_nc_dm_mng_info.agent_tree_init,
    .get_time = g_nc_dm_mng_info.get_time,
    .set_time = g_nc_dm_mng_info.set_time,
    .create_time = g_nc_dm_mng_info.crt_time,
    .delete_time = g_nc_dm_mng_info.del_time,
    .execute_time = g_nc_dm_mng_info.exe_time,
};
