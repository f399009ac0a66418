// The edits of a request that are carried out together: those of siblings, so that an entry's
// slotted leaves reach the application in one command.
#ifndef NETCONF_DM_KERNEL_EDIT_EDIT_GROUP_H_
#define NETCONF_DM_KERNEL_EDIT_EDIT_GROUP_H_

#include "netconf_dm_kernel/bodies.h"
#include "netconf_dm_util/intrusive_list.h"

namespace nc {

// The first edit of a request and its siblings, which it owns.
class EditGroup {
 public:
  EditGroup() {
    InitList(&list_.key_head);
    InitList(&list_.edit_head);
  }
  ~EditGroup() { nc_dm_agent_free_edit_node_list(&list_); }
  EditGroup(const EditGroup&) = delete;
  EditGroup& operator=(const EditGroup&) = delete;

  // Moves the next group out of the request, and frees on the way what cannot be read. False when
  // memory is short.
  bool TakeFrom(nc_dm_stub_edit_node_list_t* request);

  bool IsEmpty() const { return first_ == nullptr; }
  nc_dm_stub_edit_node_list_t* list() { return &list_; }
  nc_dm_stub_edit_node_t* first() const { return first_; }
  const nc_dm_stub_edit_t& first_edit() const { return *first_->edit; }
  nc_dm_path_nodes_t* path() { return &paths_[0]; }

 private:
  enum class Kinship;

  Kinship Begin(const nc_dm_stub_edit_node_t& node);
  Kinship Compare(const nc_dm_stub_edit_node_t& node);
  bool Add(nc_dm_stub_edit_node_t* node);

  nc_dm_stub_edit_node_list_t list_ = {};
  nc_dm_stub_edit_node_t* first_ = nullptr;
  nc_dm_path_nodes_t paths_[2] = {};  // of the first element, and of the one that is compared to it
};

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_EDIT_EDIT_GROUP_H_
