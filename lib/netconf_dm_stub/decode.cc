// Bodies of the short messages from the server, and the packet type with which a request begins.
#include <cstring>

#include "netconf_dm_kernel/bodies.h"
#include "netconf_dm_stub/request_fields.h"
#include "netconf_dm_util/enum_number.h"
#include "netconf_dm_util/refuse.h"

using nc::BodyReader;
using nc::Refuse;

int nc_dm_agent_decode_pkt_type(nc_dm_msg_t* dm_msg) {
  if (dm_msg == nullptr) return Refuse("Input parameter is invalid!\n");
  BodyReader body(dm_msg);
  nc_int32 packet_type = 0;
  return nc::ReadPacketType(&body, &packet_type) == 0 ? packet_type : -1;
}

int nc_dm_agent_decode_reg_rsp(nc_dm_msg_t* dm_msg, nc_dm_stub_reg_rsp_t* reg_rsp) {
  if (dm_msg == nullptr || reg_rsp == nullptr) return Refuse("Input parameter is invalid!\n");
  BodyReader body(dm_msg);
  if (!body.Int32(&reg_rsp->fault_code)) {
    return Refuse("Failed to decode message fault code field!\n");
  }
  if ((dm_msg->head.flag & NC_DM_MSG_FLAG_NAME) != 0) {
    if (!body.Text(&reg_rsp->name)) return Refuse("Failed to decode msg!\n");
    NC_DM_LOG_PACKET("reg_rsp->name=%s\n", reg_rsp->name);
  }
  if (body.AtEnd()) return 0;
  nc_dm_agent_free_reg_rsp(reg_rsp);
  return -1;
}

int nc_dm_agent_decode_fault(nc_dm_msg_t* dm_msg, nc_dm_fault_t* fault) {
  if (dm_msg == nullptr || fault == nullptr) return Refuse("Input parameter is invalid!\n");
  BodyReader body(dm_msg);
  nc_int32 fault_code = 0;
  if (!body.Int32(&fault_code)) return Refuse("Failed to decode message fault code field!\n");
  nc::SetEnumNumber(&fault->fault_code, fault_code);
  memset(fault->path, 0, sizeof(fault->path));
  if (!body.Path(fault->path)) return Refuse("Failed to decode msg!\n");
  return body.AtEnd() ? 0 : -1;
}

int nc_dm_agent_decode_dbg(nc_dm_msg_t* dm_msg, nc_dm_stub_dbg_t* dbg) {
  if (dm_msg == nullptr || dbg == nullptr) return Refuse("Input parameter is invalid!\n");
  BodyReader body(dm_msg);
  if (!body.Int32(&dbg->type)) return Refuse("Failed to decode message debug type field!\n");
  NC_DM_LOG_PACKET("The dbg->type=%d\n", dbg->type);
  if (!body.Int32(&dbg->op)) return Refuse("Failed to decode message debug operation field!\n");
  NC_DM_LOG_PACKET("The dbg->op=%d\n", dbg->op);
  return 0;
}
