#include "netconf_dm_kernel/tree/sibling_list.h"

#include "netconf_dm_kernel/shortcuts/name_index.h"
#include "netconf_dm_util/intrusive_list.h"

namespace nc {
namespace {

using Node = nc_dm_agent_node_t;

nc_dm_name_index* root_index = nullptr;
uint8_t root_is_walked = 0;

}  // namespace

SiblingList RootList() { return {&g_nc_agent_dm.dm_root, nullptr, &root_index, &root_is_walked}; }

SiblingList ChildrenOf(const Node* parent) {
  auto* owner = const_cast<Node*>(parent);
  if (owner->origin == NC_DM_NODE_ORIGIN_APPLICATION) {
    return {&owner->sub_lst, owner, nullptr, nullptr};
  }
  return {&owner->sub_lst, owner, &owner->name_index, &owner->is_walked};
}

SiblingList ListOf(const list_head* siblings) {
  auto* head = const_cast<list_head*>(siblings);
  if (head == &g_nc_agent_dm.dm_root) return RootList();
  const Node* parent = IsEmpty(head) ? nullptr : (*Records<Node>(head).begin()).parent;
  const bool is_nodes = parent != nullptr && &parent->sub_lst == head;
  return is_nodes ? ChildrenOf(parent) : SiblingList{head, nullptr, nullptr, nullptr};
}

SiblingList ListAround(const Node& node) {
  return node.parent != nullptr ? ChildrenOf(node.parent) : RootList();
}

void ResetRootList() {
  FreeNameIndex(root_index);
  root_index = nullptr;
  root_is_walked = 0;
}

}  // namespace nc
