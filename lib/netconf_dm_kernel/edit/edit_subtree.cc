// Edit of leaves and containers that the server addresses by full paths and ids. The edits are
// consumed in groups of siblings, one a pass.

#include "netconf_dm_kernel/edit.h"
#include "netconf_dm_kernel/edit/edit_group.h"
#include "netconf_dm_kernel/edit/made_way.h"
#include "netconf_dm_kernel/edit/operation.h"
#include "netconf_dm_kernel/matching.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

class Pass {
 public:
  Pass(nc::EditGroup* group, nc::MadeWay* way, nc_dm_fault_t* fault)
      : group_(group), first_(group->first_edit()), ids_(first_), way_(way), fault_(fault) {}

  // False ends the request. `*result` becomes that of the command or the deletion, if one ran.
  bool Run(nc_int64* result);

 private:
  void CreateWay();
  bool Match(nc_dm_agent_node_t** node);
  bool Execute(nc_dm_agent_node_t* entry, nc_int64* result);
  bool EmptyContainer(nc_dm_agent_node_t* container, nc_int64* result);

  bool IsDelete() const { return first_.op == NC_DM_OP_DELETE || first_.op == NC_DM_OP_REMOVE; }
  bool GoesOnAfterError() const { return first_.erropt == NC_DM_ERROPT_CONTINUE; }

  nc::EditGroup* group_;
  const nc_dm_stub_edit_t& first_;
  const nc::EditIds ids_;
  nc::MadeWay* way_;
  nc_dm_fault_t* fault_;
};

bool Pass::Run(nc_int64* result) {
  if (!IsDelete()) CreateWay();
  nc_dm_agent_node_t* node = nullptr;
  if (!Match(&node)) return GoesOnAfterError();
  NC_DM_LOG_INFO("The last matched node name is '%s'.\n", node->node_name);
  if (node->parent != nullptr) return Execute(node->parent, result);

  NC_DM_LOG_INFO("The last match node parent is null!\n");
  return IsDelete() && EmptyContainer(node, result);
}

// Makes the instances on the way to what is written, as far as they are missing. Whether that
// worked shows in the match.
void Pass::CreateWay() {
  const nc_dm_agent_node_t* last = way_->Make(first_.name, ids_.get());
  if (last == nullptr) return;
  NC_DM_LOG_INFO("The last node checked is '%s', instance is %lld.\n", last->node_name,
                 nc::LongLong(last->instid));
}

bool Pass::Match(nc_dm_agent_node_t** node) {
  nc_dm_path_nodes_t* path = group_->path();
  const nc_dm_agent_match_status_t status = nc_dm_agent_match_id_arr(
      &g_nc_agent_dm.dm_root, path, node, ids_.get(), NC_DM_MATCH_LEAF_LIST_MODE);
  const bool partial =
      ids_.get()->match_cnt != ids_.get()->cnt || path->match_cnt != path->total_node;
  const bool stops_short = status == NC_DM_CLIENT_MATCH_STATUS_OBJECT && partial;
  if (*node != nullptr && !stops_short) return true;

  NC_DM_LOG_ERROR("Failed to match the node with the first entry id array!\n");
  if (*node != nullptr)
    NC_DM_LOG_ERROR("The last matched node name is '%s'.\n", (*node)->node_name);
  nc_dm_agent_set_fault(fault_, NC_DM_FAULT_CODE_UNKNOWN_ELEM, group_->first()->tmpname);
  return false;
}

bool Pass::Execute(nc_dm_agent_node_t* entry, nc_int64* result) {
  *result = nc_dm_agent_edit_execmd(entry, group_->list(), NC_DM_CMD_OP_EDIT, fault_,
                                    nc::RequestSource());
  if (*result >= 0) return true;
  NC_DM_LOG_ERROR("Failed to call edit_execmd!\n");
  nc::SetFaultUnlessSet(fault_, NC_DM_FAULT_CODE_OP_FAILED, entry->node_name);
  return GoesOnAfterError();
}

bool Pass::EmptyContainer(nc_dm_agent_node_t* container, nc_int64* result) {
  NC_DM_LOG_INFO("Begin to delete single object node children.\n");
  *result = nc::Timed(&nc::context.delete_time, [&] {
    return nc_dm_agent_edit_delall_child(container, ids_.get(), fault_, first_.erropt);
  });
  if (*result == 0) return true;
  NC_DM_LOG_ERROR("Failed to delete all children of node '%s'!\n", container->node_name);
  return false;
}

}  // namespace

// The tree has one root list, so the one that is handed in is not asked for.
nc_int64 nc_dm_agent_edit_subtree(list_head* /*dm_root*/, nc_dm_stub_edit_node_list_t* edit_list,
                                  nc_dm_fault_t* fault) {
  if (edit_list == nullptr) return nc::Refuse("The edit list input is null!\n");
  if (fault == nullptr) return nc::Refuse("The fault pointer input is null!\n");
  if (nc::IsEmpty(&edit_list->edit_head)) {
    NC_DM_LOG_INFO("The edit list input is empty.\n");
    return 0;
  }
  nc::MadeWay way;
  nc_int64 result = 0;
  while (!nc::IsEmpty(&edit_list->edit_head)) {
    nc::EditGroup group;
    if (!group.TakeFrom(edit_list)) {
      fault->fault_code = NC_DM_FAULT_CODE_MEM;
      return -1;
    }
    if (group.IsEmpty()) break;  // nothing of the rest could be read
    if (!Pass(&group, &way, fault).Run(&result)) return -1;
  }
  return result;
}
