// Edit of one list entry, which the server addresses by its key leaves.

#include "netconf_dm_kernel/edit.h"
#include "netconf_dm_kernel/edit/made_way.h"
#include "netconf_dm_kernel/edit/operation.h"
#include "netconf_dm_kernel/indexes.h"
#include "netconf_dm_kernel/registration.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

// An entry edit under way.
struct EntryEdit {
  nc_dm_stub_edit_node_list_t* list;
  nc_dm_stub_edit_t* key;           // edit of the first key leaf, which speaks for the entry
  nc_dm_id_array_t* ids;            // of `key`
  nc_dm_agent_node_t* grandfather;  // the node under which the list hangs
  nc_dm_agent_node_t* mode_node;
  bool by_command;  // through `exe_cmd`, not the list's own create and delete
  nc_dm_node_src_t src;
  nc_dm_fault_t* fault;
};

bool CheckArguments(const nc_dm_stub_edit_node_list_t* edit_list, const nc_dm_fault_t* fault) {
  if (edit_list == nullptr) return nc::Refuse(false, "The edit list input is null!\n");
  if (nc::IsEmpty(&edit_list->edit_head)) {
    return nc::Refuse(false, "The edit list input is empty!\n");
  }
  if (nc::IsEmpty(&edit_list->key_head)) {
    return nc::Refuse(false, "The key list of edit list input is empty!\n");
  }
  if (fault == nullptr) return nc::Refuse(false, "The fault pointer input is null!\n");
  return true;
}

nc_dm_stub_edit_node_t* FirstKey(const nc_dm_stub_edit_node_list_t* edit_list) {
  return nc::RecordOf<nc_dm_stub_edit_node_t, &nc_dm_stub_edit_node_t::ky_lst>(
      edit_list->key_head.next);
}

// The path ends in a leaf that stands in the tree: there is no entry to make, and its id is known.
nc_int64 ExistingLeaf(const nc_dm_id_array_t* ids, nc_dm_fault_t* fault) {
  NC_DM_LOG_INFO("The last node match is leaf node, the instance already exists.\n");
  fault->fault_code = NC_DM_FAULT_CODE_OP_FAILED;
  return ids->cnt < 1 ? 0 : ids->id[ids->cnt - 1];
}

void Blame(const EntryEdit& edit) {
  nc::SetFaultUnlessSet(edit.fault, NC_DM_FAULT_CODE_OP_FAILED, edit.mode_node->node_name);
}

nc_dm_agent_node_t* FindEntry(const EntryEdit& edit, nc_int64 instid) {
  return nc_dm_agent_get_mode_node_inst(edit.grandfather, edit.mode_node->node_name, instid);
}

nc_int64 Execute(const EntryEdit& edit, int cmd_op) {
  return nc_dm_agent_edit_execmd(edit.mode_node, edit.list, cmd_op, edit.fault, edit.src);
}

// ---- Deletion ----

nc_int64 DeleteEntry(const EntryEdit& edit) {
  const nc_int64 instid =
      edit.by_command ? Execute(edit, NC_DM_CMD_OP_DELETE)
                      : nc_dm_agent_edit_delete(edit.mode_node, edit.key, edit.key->op, edit.fault);
  if (instid < 0) {
    NC_DM_LOG_ERROR("Failed to delete node '%s' config instance, return %lld!\n",
                    edit.mode_node->node_name, nc::LongLong(instid));
    Blame(edit);
    return -1;
  }
  nc_dm_agent_node_t* entry = FindEntry(edit, instid);
  if (entry != nullptr) {
    NC_DM_LOG_INFO("Found the node '%s' instid %lld, delete.\n", edit.mode_node->node_name,
                   nc::LongLong(instid));
    nc_dm_agent_unreg_nodes(entry);
  } else {
    NC_DM_LOG_INFO("Can't find the node '%s' instid %lld, no need to delete.\n",
                   edit.mode_node->node_name, nc::LongLong(instid));
  }
  return instid;
}

// ---- Creation ----

void StampEntry(const EntryEdit& edit, nc_dm_agent_node_t* entry) {
  nc::StampSource(entry, edit.src, nc::Stamper::kEntry);
  nc_dm_agent_keys_update_src(entry, edit.list, edit.src);
}

nc_int64 MergeEntry(const EntryEdit& edit) {
  const nc_int64 instid =
      edit.by_command
          ? Execute(edit,
                    edit.key->op == NC_DM_OP_CREATE ? NC_DM_CMD_OP_CREATE : NC_DM_CMD_OP_MERGE)
          : nc_dm_agent_edit_create(edit.mode_node, edit.key, edit.key->op, edit.fault, edit.src);
  char* name = edit.mode_node->node_name;
  if (instid <= 0) {
    NC_DM_LOG_ERROR("Failed to create node '%s' config instance, return %lld!\n", name,
                    nc::LongLong(instid));
    Blame(edit);
    return -1;
  }
  nc_dm_agent_node_t* entry = FindEntry(edit, instid);
  if (entry != nullptr) {
    NC_DM_LOG_INFO("The node '%s' instid %lld already exists.\n", name, nc::LongLong(instid));
    StampEntry(edit, entry);
    return instid;
  }
  NC_DM_LOG_INFO("Can't find the node '%s' instid %lld, create a new one.\n", name,
                 nc::LongLong(instid));
  if (nc_dm_agent_create_node(edit.grandfather, edit.mode_node, instid, NC_DM_NODE_TYPE_MULT_OBJECT,
                              edit.src) == nullptr) {
    NC_DM_LOG_ERROR("Failed to create node '%s' dm instance, instid %lld!\n", name,
                    nc::LongLong(instid));
    Blame(edit);
    return -1;
  }
  return instid;
}

// ---- Lookup ----

nc_int64 LookUpEntry(const EntryEdit& edit) {
  NC_DM_LOG_INFO("The node op is %d, defop is %d.\n", edit.key->op, edit.key->defop);
  list_head keys;
  nc::InitList(&keys);
  nc_dm_agent_cpy_edit_list_keys(edit.list, &keys);
  const nc_int64 instid =
      nc_dm_agent_get_node_instid(edit.ids, edit.grandfather, edit.mode_node, &keys);
  nc_dm_agent_free_key_list(&keys);
  if (instid <= 0) {
    Blame(edit);
  } else {
    nc::NoteAccepted();  // the application has the entry, and so the way to it
  }
  return instid;
}

}  // namespace

nc_int64 nc_dm_agent_edit_object(nc_int32 pkt_type, nc_dm_stub_edit_node_list_t* edit_list,
                                 nc_dm_fault_t* fault) {
  if (!CheckArguments(edit_list, fault)) return -1;

  nc_dm_stub_edit_node_t* first = FirstKey(edit_list);
  if (first->edit == nullptr) {
    NC_DM_LOG_INFO("The first edit_node->edit of list is null!\n");
    fault->fault_code = NC_DM_FAULT_CODE_OP_FAILED;
    return -1;
  }
  const nc::EditIds ids(*first->edit);
  nc::MadeWay way;
  nc_dm_agent_node_t* grandfather = way.Make(first->edit->name, ids.get());
  if (grandfather == nullptr) {
    NC_DM_LOG_ERROR("Failed to check the path nodes creation.\n");
    fault->fault_code = NC_DM_FAULT_CODE_OP_FAILED;
    return -1;
  }
  NC_DM_LOG_INFO("The key grandfather is '%s', instid is %lld.\n", grandfather->node_name,
                 nc::LongLong(grandfather->instid));
  if (grandfather->node_type == NC_DM_NODE_TYPE_LEAF) return ExistingLeaf(ids.get(), fault);

  nc_dm_agent_parse_edit_list_last_node_name(edit_list);
  nc_dm_agent_node_t* mode_node = nc_dm_agent_get_mode_node(first, grandfather);
  if (mode_node == nullptr) {
    NC_DM_LOG_ERROR("Failed to get key parent mode node!\n");
    nc_dm_agent_set_fault(fault, NC_DM_FAULT_CODE_OP_FAILED, grandfather->node_name);
    return -1;
  }
  const EntryEdit edit = {
      .list = edit_list,
      .key = first->edit,
      .ids = ids.get(),
      .grandfather = grandfather,
      .mode_node = mode_node,
      .by_command = pkt_type == NC_DM_PKT_TYPE_OBJECT_CMD_END ||
                    (pkt_type == NC_DM_PKT_TYPE_OBJECT_END && mode_node->exe_cmd != nullptr),
      .src = nc::RequestSource(),
      .fault = fault,
  };
  switch (nc::ActionOf(*edit.key)) {
    case nc::EditAction::kDelete:
      return DeleteEntry(edit);
    case nc::EditAction::kMerge:
      return MergeEntry(edit);
    default:
      return LookUpEntry(edit);
  }
}
