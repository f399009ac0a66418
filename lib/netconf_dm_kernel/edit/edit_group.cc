#include "netconf_dm_kernel/edit/edit_group.h"

#include <cstdlib>

#include "netconf_dm_kernel/edit.h"
#include "netconf_dm_kernel/edit/operation.h"
#include "netconf_dm_kernel/paths/request_path.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace nc {
namespace {

void Discard(nc_dm_stub_edit_node_t* node) {
  nc_dm_agent_free_edit_node(node);
  free(node);
}

// Takes an element off the request. One that marks a key is linked among the request's keys as
// well, where its link would outlive it.
void TakeOff(nc_dm_stub_edit_node_t* node) {
  Unlink(&node->lst);
  if (node->ky_lst.next != nullptr) Unlink(&node->ky_lst);
}

bool HasEdit(const nc_dm_stub_edit_node_t& node) {
  if (node.edit != nullptr) return true;
  return Refuse(false, "Current entry edit is null!\n");
}

bool ParseName(const nc_dm_stub_edit_t& edit, nc_dm_path_nodes_t* path) {
  if (ParseRequestPath(edit.name, path) == 0) return true;
  NC_DM_LOG_ERROR("Failed to parse edit->name: %s\n", Printable(edit.name));
  return false;
}

}  // namespace

// The fate of an element while a group is made.
enum class EditGroup::Kinship {
  kSibling,   // joins
  kLater,     // stays for a later pass
  kStranger,  // stays, and ends the group
  kNone,      // cannot be read: goes
};

bool EditGroup::TakeFrom(nc_dm_stub_edit_node_list_t* request) {
  for (auto& node : RecordsSafely<nc_dm_stub_edit_node_t>(&request->edit_head)) {
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

EditGroup::Kinship EditGroup::Begin(const nc_dm_stub_edit_node_t& node) {
  if (!HasEdit(node) || !ParseName(*node.edit, &paths_[0])) return Kinship::kNone;
  return Kinship::kSibling;
}

EditGroup::Kinship EditGroup::Compare(const nc_dm_stub_edit_node_t& node) {
  if (!HasEdit(node)) return Kinship::kNone;

  const EditIds ids(*node.edit);
  const EditIds first_ids(*first_->edit);
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
bool EditGroup::Add(nc_dm_stub_edit_node_t* node) {
  nc_dm_path_nodes_t* parsed = first_ == nullptr ? &paths_[0] : &paths_[1];
  TakeOff(node);
  PushBack(&list_.edit_head, &node->lst);
  if (first_ == nullptr) first_ = node;
  if (node->tmpname != nullptr) return true;

  node->tmpname = nc_dm_copy_str(LastNodeName(parsed));
  if (node->tmpname != nullptr) return true;
  return Refuse(false, "Failed to malloc first entry tmpname!\n");
}

}  // namespace nc
