// List entries through their list's own callbacks: create and delete of one entry.

#include "netconf_dm_kernel/edit.h"
#include "netconf_dm_kernel/edit/made_way.h"
#include "netconf_dm_kernel/edit/operation.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

// The first key leaf of a list, whose value `create` and `delete` take; or null.
const nc_dm_agent_node_t* FirstKeyLeaf(const nc_dm_agent_node_t* mode_node) {
  if (nc::IsEmpty(&mode_node->sub_key_lst)) return nullptr;
  return nc::RecordOf<nc_dm_agent_node_t, &nc_dm_agent_node_t::key_lst>(
      mode_node->sub_key_lst.next);
}

// Converts the key's value; false with the fault set.
bool ConvertKey(const nc_dm_agent_node_t* key_leaf, const nc_dm_stub_edit_t& edit,
                nc::TypedValue* value, nc_dm_fault_t* fault) {
  if (value->Convert(edit.val, key_leaf->val_type) == 0) return true;
  NC_DM_LOG_ERROR("Failed to unserialize tmp node '%s' value!\n", key_leaf->node_name);
  nc_dm_agent_set_fault(fault, NC_DM_FAULT_CODE_DATA_INVALID_VALUE, key_leaf->node_name);
  return false;
}

// The result of a deletion that found nothing.
nc_int64 MissingInstance(int nc_op, nc_dm_fault_t* fault) {
  if (nc_op == NC_DM_OP_DELETE) {
    NC_DM_LOG_ERROR("The instance node has already missed, op is 'delete', return error!\n");
    nc_dm_agent_set_fault(fault, NC_DM_FAULT_CODE_DATA_MISSING, nullptr);
  } else if (nc_op == NC_DM_OP_REMOVE) {
    NC_DM_LOG_INFO("The instance node has already missed, op is 'remove', return ok.\n");
    return 0;
  }
  return NC_DM_FAULT_CODE_OP_FAILED;
}

}  // namespace

nc_int64 nc_dm_agent_edit_create(nc_dm_agent_node_t* key_parent_mode, nc_dm_stub_edit_t* edit,
                                 int nc_op, nc_dm_fault_t* fault, nc_dm_node_src_t tmpsrc) {
  if (key_parent_mode == nullptr || edit == nullptr) {
    return nc::Refuse("Invalid arguments inputs.\n");
  }
  const nc_dm_agent_node_t* key_leaf = FirstKeyLeaf(key_parent_mode);
  if (key_leaf == nullptr) {
    NC_DM_LOG_ERROR("The key parent mode node '%s' has no key!\n", key_parent_mode->node_name);
    nc_dm_agent_set_fault(fault, NC_DM_FAULT_CODE_OP_FAILED, nullptr);
    return -1;
  }
  nc::TypedValue value;
  if (!ConvertKey(key_leaf, *edit, &value, fault)) return -1;
  if (key_parent_mode->create == nullptr) {
    NC_DM_LOG_ERROR("The key parent node '%s' has no create function!\n",
                    key_parent_mode->node_name);
    nc_dm_agent_set_fault(fault, NC_DM_FAULT_CODE_OP_FAILED, nullptr);
    return -1;
  }

  const nc::EditIds ids(*edit);
  ids.get()->src = tmpsrc;
  const nc_int64 instid = nc::Timed(
      &nc::context.create_time, [&] { return key_parent_mode->create(ids.get(), value.get()); });
  NC_DM_LOG_INFO("The 'create' return value of node '%s' is %lld.\n", key_parent_mode->node_name,
                 nc::LongLong(instid));
  if (instid <= 0) return instid;
  nc::NoteAccepted();  // it has the entry, be it that it had it before
  if (nc_op == NC_DM_OP_CREATE && ids.get()->output.inst_exist == 1) {
    NC_DM_LOG_ERROR("The instance node already exists, op is 'create', return error!\n");
    nc_dm_agent_set_fault(fault, NC_DM_FAULT_CODE_DATA_EXISTS, nullptr);
    return -1;
  }
  return instid;
}

nc_int64 nc_dm_agent_edit_delete(nc_dm_agent_node_t* key_parent, nc_dm_stub_edit_t* edit, int nc_op,
                                 nc_dm_fault_t* fault) {
  if (key_parent == nullptr || edit == nullptr) return nc::Refuse("Invalid arguments inputs.\n");
  const nc_dm_agent_node_t* key_leaf = FirstKeyLeaf(key_parent);
  if (key_leaf == nullptr) {
    NC_DM_LOG_ERROR("The key parent node '%s' has no key!\n", key_parent->node_name);
    nc_dm_agent_set_fault(fault, NC_DM_FAULT_CODE_OP_FAILED, nullptr);
    return -1;
  }
  nc::TypedValue value;
  if (!ConvertKey(key_leaf, *edit, &value, fault)) return -1;
  if (key_parent->delete_ == nullptr) {
    NC_DM_LOG_ERROR("The key parent node '%s' has no delete function!\n", key_parent->node_name);
    nc_dm_agent_set_fault(fault, NC_DM_FAULT_CODE_OP_FAILED, nullptr);
    return -1;
  }

  const nc::EditIds ids(*edit);
  const nc_int64 result = nc::Timed(&nc::context.delete_time,
                                    [&] { return key_parent->delete_(ids.get(), value.get()); });
  NC_DM_LOG_INFO("The 'delete' return value of node '%s' is %lld.\n", key_parent->node_name,
                 nc::LongLong(result));
  if (result >= 0) nc::NoteAccepted();
  return result == NC_DM_FAULT_CODE_OP_FAILED ? MissingInstance(nc_op, fault) : result;
}
