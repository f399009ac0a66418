// REG_RSP: the server's answer to what the agent announces.

#include "netconf_dm_agent/request_checks.h"
#include "netconf_dm_kernel/connection.h"

int nc_dm_agent_handle_msg_reg_rsp(int /*fd*/, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  // The server knows by now that this client has restarted.
  g_nc_dm_mng_info.agent_restart = false;

  nc_dm_stub_reg_rsp_t reg_rsp = {};
  const int result = nc_dm_agent_decode_reg_rsp(in_msg, &reg_rsp);
  if (result != 0) {
    fault->fault_code = NC_DM_FAULT_CODE_PARSE;
    return result;
  }
  if (reg_rsp.fault_code != 0) {
    NC_DM_LOG_ERROR("Failed to Register to server, fault code=%d, path:%s\n", reg_rsp.fault_code,
                    reg_rsp.name == nullptr ? "(null)" : reg_rsp.name);
    if (g_nc_dm_mng_info.reg_rsp_handler != nullptr) g_nc_dm_mng_info.reg_rsp_handler();
  } else {
    NC_DM_LOG_INFO("Register to server successfully.\n");
  }
  nc_dm_agent_free_reg_rsp(&reg_rsp);
  return 0;
}
