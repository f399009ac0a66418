// Edit of leaves and containers that the server addresses by full paths and ids. The edits are
// consumed in groups of siblings, so that an entry's slotted leaves reach the application in one
// command.

#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/edit/made_way.h"
#include "netconf_dm_kernel/edit/operation.h"
#include "netconf_dm_kernel/paths/request_path.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

void Discard(nc_dm_stub_edit_node_t* node) {
  nc_dm_agent_free_edit_node(node);
  free(node);
}

// Takes an element off the request. One that marks a key is linked among the request's keys as
// well, and nobody must find it there when its group is gone.
void TakeOff(nc_dm_stub_edit_node_t* node) {
  nc::Unlink(&node->lst);
  if (node->ky_lst.next != nullptr) nc::Unlink(&node->ky_lst);
}

bool HasEdit(const nc_dm_stub_edit_node_t& node) {
  if (node.edit != nullptr) return true;
  NC_DM_LOG_ERROR("Current entry edit is null!\n");
  return false;
}

bool ParseName(const nc_dm_stub_edit_t& edit, nc_dm_path_nodes_t* path) {
  if (nc::ParseRequestPath(edit.name, path) == 0) return true;
  NC_DM_LOG_ERROR("Failed to parse edit->name: %s\n", nc::Printable(edit.name));
  return false;
}

// ---- Groups ----

// What becomes of an element while a group is made.
enum class Kinship {
  kSibling,   // joins
  kLater,     // stays for a later pass
  kStranger,  // stays, and ends the group
  kNone,      // cannot be read: goes
};

// The edits of one pass: the first of the request and its siblings. Owns them.
class Group {
 public:
  Group() {
    nc::InitList(&list_.key_head);
    nc::InitList(&list_.edit_head);
  }
  ~Group() { nc_dm_agent_free_edit_node_list(&list_); }
  Group(const Group&) = delete;
  Group& operator=(const Group&) = delete;

  // Moves the next group out of the request, and frees on the way what cannot be read. False when
  // memory is short.
  bool TakeFrom(nc_dm_stub_edit_node_list_t* request);

  bool IsEmpty() const { return first_ == nullptr; }
  nc_dm_stub_edit_node_list_t* list() { return &list_; }
  nc_dm_stub_edit_node_t* first() const { return first_; }
  const nc_dm_stub_edit_t& first_edit() const { return *first_->edit; }
  nc_dm_path_nodes_t* path() { return &paths_[0]; }

 private:
  Kinship Begin(const nc_dm_stub_edit_node_t& node);
  Kinship Compare(const nc_dm_stub_edit_node_t& node);
  bool Add(nc_dm_stub_edit_node_t* node);

  nc_dm_stub_edit_node_list_t list_ = {};
  nc_dm_stub_edit_node_t* first_ = nullptr;
  nc_dm_path_nodes_t paths_[2] = {};  // of the first element, and of the one that is compared to it
};

bool Group::TakeFrom(nc_dm_stub_edit_node_list_t* request) {
  for (auto& node : nc::RecordsSafely<nc_dm_stub_edit_node_t>(&request->edit_head)) {
    switch (first_ == nullptr ? Begin(node) : Compare(node)) {
      case Kinship::kNone:
        TakeOff(&node);
        Discard(&node);
        break;
      case Kinship::kSibling:
        if (!Add(&node)) return false;
        break;
      case Kinship::kLater:
        break;
      case Kinship::kStranger:
        return true;
    }
  }
  return true;
}

Kinship Group::Begin(const nc_dm_stub_edit_node_t& node) {
  if (!HasEdit(node) || !ParseName(*node.edit, &paths_[0])) return Kinship::kNone;
  return Kinship::kSibling;
}

Kinship Group::Compare(const nc_dm_stub_edit_node_t& node) {
  if (!HasEdit(node)) return Kinship::kNone;

  const nc::EditIds ids(*node.edit);
  const nc::EditIds first_ids(*first_->edit);
  const int below = nc_dm_id_arrays_contain_certainly(ids.get(), first_ids.get());
  if (below > 0) {
    NC_DM_LOG_INFO("The current id array contains first one, continue.\n");
    return Kinship::kLater;
  }
  if (below < 0) {
    NC_DM_LOG_INFO("The current id array isn't same to first one, break.\n");
    return Kinship::kStranger;
  }

  if (!ParseName(*node.edit, &paths_[1])) return Kinship::kNone;
  const nc_int32 length = paths_[0].total_node;
  if (paths_[1].total_node < length) {
    NC_DM_LOG_INFO("The current path nodes total number is less than first one, break.\n");
    return Kinship::kStranger;
  }
  if (paths_[1].total_node > length) {
    NC_DM_LOG_INFO("The current path nodes total number is more than first one, continue.\n");
    return Kinship::kLater;
  }
  const int common = nc_dm_agent_filter_find_max_cmm_node_index(paths_, 2);
  // Top-level containers have no parent whose command could take them together.
  if (length == 1 || common != length - 2) {
    NC_DM_LOG_INFO("The two path nodes max common index is %d, break.\n", common);
    return Kinship::kStranger;
  }
  return Kinship::kSibling;
}

// Takes over an element whose path was parsed last, and gives it its leaf's name. False when memory
// is short.
bool Group::Add(nc_dm_stub_edit_node_t* node) {
  nc_dm_path_nodes_t* parsed = first_ == nullptr ? &paths_[0] : &paths_[1];
  TakeOff(node);
  nc::PushBack(&list_.edit_head, &node->lst);
  if (first_ == nullptr) first_ = node;
  if (node->tmpname != nullptr) return true;

  node->tmpname = nc_dm_copy_str(nc::LastNodeName(parsed));
  if (node->tmpname != nullptr) return true;
  NC_DM_LOG_ERROR("Failed to malloc first entry tmpname!\n");
  return false;
}

// ---- One pass ----

class Pass {
 public:
  Pass(Group* group, nc::MadeWay* way, nc_dm_fault_t* fault)
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

  Group* group_;
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
    Group group;
    if (!group.TakeFrom(edit_list)) {
      fault->fault_code = NC_DM_FAULT_CODE_MEM;
      return -1;
    }
    if (group.IsEmpty()) break;  // nothing of the rest could be read
    if (!Pass(&group, &way, fault).Run(&result)) return -1;
  }
  return result;
}
