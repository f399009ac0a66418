// Bodies of what the agent sends, built in place in the zeroed message that the caller brings.
// Nothing is allocated.
#include <algorithm>

#include "netconf_dm_kernel/bodies.h"
#include "netconf_dm_stub/body_writer.h"
#include "netconf_dm_util/enum_number.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

using nc::BodyWriter;
using nc::Refuse;

int RefuseMessage() { return Refuse("Input parameter dm_msg is invalid!\n"); }

// The messages with the client's name, a path to register and a path to forget differ in their type
// alone.
int EncodeName(nc_dm_msg_type_t type, nc_dm_msg_t* dm_msg, nc_dm_stub_reg_t* name) {
  if (dm_msg == nullptr) return RefuseMessage();
  if (name == nullptr) return Refuse("Input parameter name is invalid!\n");
  BodyWriter body(dm_msg);
  body.Int32(name->attr);
  if (name->name == nullptr) return body.Finish(type);
  body.Text(name->name);
  return body.Finish(type, NC_DM_MSG_FLAG_NAME);
}

void WriteIds(BodyWriter* body, const nc_dm_id_array_t& ids) {
  const nc_int32 count = std::clamp(ids.cnt, 0, NC_DM_MAX_DEPTH);
  body->Int32(count);
  for (nc_int32 i = 0; i < count; ++i) body->Int64(ids.id[i]);
}

}  // namespace

int nc_dm_agent_encode_reg_name(nc_dm_msg_t* dm_msg, nc_dm_stub_reg_t* name) {
  return EncodeName(NC_DM_MSG_TYPE_REG_NAME, dm_msg, name);
}

int nc_dm_agent_encode_reg(nc_dm_msg_t* dm_msg, nc_dm_stub_reg_t* name) {
  return EncodeName(NC_DM_MSG_TYPE_REG, dm_msg, name);
}

int nc_dm_agent_encode_unreg(nc_dm_msg_t* dm_msg, nc_dm_stub_reg_t* name) {
  return EncodeName(NC_DM_MSG_TYPE_UNREG, dm_msg, name);
}

int nc_dm_agent_encode_reg_yang_attr(nc_dm_msg_t* dm_msg, nc_dm_yang_attr_t* yang_attr) {
  if (dm_msg == nullptr) return RefuseMessage();
  if (yang_attr == nullptr) return Refuse("Input parameter yang_attr is invalid!\n");
  const nc_int32 type = nc::EnumNumber(yang_attr->type);
  if (type != NC_DM_YANG_ATTR_MODULE_NAME && type != NC_DM_YANG_ATTR_REVISION) {
    return Refuse("Input unknown yang attribute type!\n");
  }
  BodyWriter body(dm_msg);
  body.Int32(type);
  body.Text(yang_attr->module_name);
  body.Text(yang_attr->attr);
  return body.Finish(NC_DM_MSG_TYPE_REG_YANG_ATTR);
}

int nc_dm_agent_encode_reg_cplt(nc_dm_msg_t* dm_msg) {
  if (dm_msg == nullptr) return RefuseMessage();
  return BodyWriter(dm_msg).Finish(NC_DM_MSG_TYPE_REG_CPLT);
}

int nc_dm_agent_encode_fault(nc_dm_msg_t* dm_msg, nc_dm_fault_t* fault) {
  if (dm_msg == nullptr) return RefuseMessage();
  if (fault == nullptr) return Refuse("Input parameter reg is invalid!\n");
  BodyWriter body(dm_msg);
  body.Int32(nc::EnumNumber(fault->fault_code));
  body.Text(fault->path, NC_DM_MAX_PATH_LEN);
  return body.Finish(NC_DM_MSG_TYPE_FAULT);
}

int nc_dm_agent_encode_edit_rsp(nc_dm_msg_t* dm_msg, nc_dm_stub_edit_rsp_t* edit_rsp) {
  if (dm_msg == nullptr || edit_rsp == nullptr) return Refuse("Input parameter is invalid!\n");
  BodyWriter body(dm_msg);
  body.Int32(edit_rsp->pkt_type);
  body.Int64(edit_rsp->inst);
  NC_DM_LOG_PACKET("instance=%d\n", static_cast<int>(edit_rsp->inst));
  body.Int32(edit_rsp->status);
  NC_DM_LOG_PACKET("status=%d\n", edit_rsp->status);
  return body.Finish(NC_DM_MSG_TYPE_EDIT_RSP);
}

int nc_dm_agent_encode_filter_rsp(nc_dm_msg_t* dm_msg, nc_dm_stub_filter_rsp_t* filter_rsp) {
  if (dm_msg == nullptr || filter_rsp == nullptr) return Refuse("Input parameter is invalid!\n");
  BodyWriter body(dm_msg);
  nc_int32 flag = 0;
  body.Int32(filter_rsp->pkt_type);
  if (filter_rsp->name != nullptr) {
    flag |= NC_DM_MSG_FLAG_NAME;
    body.Text(filter_rsp->name);
    NC_DM_LOG_PACKET("dm_name:%s.\n", filter_rsp->name);
  }
  if (filter_rsp->val != nullptr) {
    flag |= NC_DM_MSG_FLAG_VALUE;
    body.Text(filter_rsp->val);
    NC_DM_LOG_PACKET("dm_value:%s.\n", filter_rsp->val);
  }
  return body.Finish(NC_DM_MSG_TYPE_FILTER_RSP, flag);
}

int nc_dm_agent_encode_getid_rsp(nc_dm_msg_t* dm_msg, nc_dm_stub_getid_rsp_t* getid_rsp) {
  if (dm_msg == nullptr || getid_rsp == nullptr) return Refuse("Input parameter is invalid!\n");
  BodyWriter body(dm_msg);
  body.Int32(getid_rsp->pkt_type);
  if (getid_rsp->id_array_list == nullptr) return body.Finish(NC_DM_MSG_TYPE_GETID_RSP);
  // The arrays written are counted: the list's own count may be wrong.
  const int count_position = body.Reserve();
  nc_int32 count = 0;
  for (const auto& node : nc::Records<nc_dm_id_array_node_t>(&getid_rsp->id_array_list->head)) {
    WriteIds(&body, node.id_array);
    ++count;
  }
  body.Fill(count_position, count);
  return body.Finish(NC_DM_MSG_TYPE_GETID_RSP, NC_DM_MSG_FLAG_IDS);
}
