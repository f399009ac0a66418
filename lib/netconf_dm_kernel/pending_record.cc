#include "netconf_dm_kernel/pending_record.h"

#include <cstdlib>

#include "netconf_dm_kernel/bodies.h"
#include "netconf_dm_kernel/tree/ready.h"
#include "netconf_dm_util/enum_number.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"

namespace nc {

void FreePending::operator()(nc_dm_stub_reg_t* record) const {
  auto* attr = static_cast<nc_dm_yang_attr_t*>(record->other);
  if (attr != nullptr) nc_dm_agent_free_yang_attr(attr);
  free(attr);
  nc_dm_agent_free_reg(record);
  free(record);
}

PendingPtr NewPending(nc_dm_msg_type_t type) {
  PendingPtr record(NewRecord<nc_dm_stub_reg_t>().release());
  if (record == nullptr) return nc::Refuse(nullptr, "Failed to malloc for reg_node!\n");
  record->type = type;
  return record;
}

PendingPtr NewNamedPending(nc_dm_msg_type_t type, const char* name) {
  PendingPtr record = NewPending(type);
  if (record == nullptr) return nullptr;
  record->name = nc_dm_copy_str(name);
  if (record->name == nullptr) return nc::Refuse(nullptr, "Failed to malloc for reg_node->name!\n");
  return record;
}

PendingPtr NewPendingPath(const nc_dm_stub_reg_t* para) {
  if (para == nullptr) return nc::Refuse(nullptr, "Input parameter para is invalid!\n");
  if (para->name == nullptr) return nc::Refuse(nullptr, "Input parameter name is invalid!\n");
  NC_DM_LOG_INFO("Register path[%s]to server.\n", para->name);
  if (!IsClientInitialized()) return nullptr;
  PendingPtr record = NewNamedPending(para->type, para->name);
  if (record != nullptr) record->attr = para->attr;
  return record;
}

PendingPtr NewPendingYangAttr(const nc_dm_yang_attr_t& yang) {
  PendingPtr record(NewRecord<nc_dm_stub_reg_t>().release());
  if (record == nullptr) return nc::Refuse(nullptr, "Failed to malloc reg_yang!\n");
  record->type = NC_DM_MSG_TYPE_REG_YANG_ATTR;
  auto* copy = NewRecord<nc_dm_yang_attr_t>().release();
  record->other = copy;
  if (copy != nullptr) {
    SetEnumNumber(&copy->type, EnumNumber(yang.type));
    copy->module_name = nc_dm_copy_str(yang.module_name);
    copy->attr = nc_dm_copy_str(yang.attr);
  }
  if (copy == nullptr || copy->module_name == nullptr || copy->attr == nullptr) {
    return nc::Refuse(nullptr, "Failed to malloc yang_attr!\n");
  }
  NC_DM_LOG_INFO("Add yang module[%s] to register list.\n", yang.module_name);
  return record;
}

int CheckYangAttr(const nc_dm_yang_attr_t* yang) {
  if (!IsClientInitialized() || !IsTreeInitialized()) return -1;
  if (yang == nullptr) return Refuse("The input parameter yang is null!\n");
  if (yang->module_name == nullptr) {
    return Refuse("The input parameter yang->module_name is null!\n");
  }
  if (yang->attr == nullptr) return Refuse("The input parameter yang->attr is null!\n");
  return 0;
}

}  // namespace nc
