#include "netconf_dm_kernel/instances/find_instance.h"

#include "netconf_dm_kernel/instances/instance_hash.h"
#include "netconf_dm_kernel/shortcuts/name_chain.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

using Node = nc_dm_agent_node_t;
using Tree = nc_dm_bin_tree_t;
using Entry = nc_dm_bin_tree_node_t;

// The mode node of a list in whose index an id is, if it is an instance's at all. Null where that
// is not sure: the list may hold what is in no index.
const Node* ModeOfCompleteIndex(const nc::SiblingList& list, const Tree* instances) {
  if (instances == nullptr || instances->is_incomplete || !nc::IsChained(list)) return nullptr;
  const auto* mode = static_cast<const Node*>(instances->data);
  return mode != nullptr && nc::HasCopiesAlone(*mode) ? mode : nullptr;
}

Node* FindIndexed(const Node* parent, const Tree* instances, nc_int64 instid) {
  const Node* mode = nc::ModeNodeOf(instances, parent);
  if (mode != nullptr && mode->hash_tab != nullptr) {
    return nc_dm_agent_get_mode_node_inst_by_hash_tab(mode->hash_tab, instid);
  }
  const Entry* entry = nc_dm_agent_search_bin_tree_node_by_instid(instances->root_byid, instid);
  if (entry == nullptr) return nc::Refuse(nullptr, "The bin_tree_node is null!\n");
  if (entry->data == nullptr) NC_DM_LOG_ERROR("The bin_tree_node->data is null!");
  return nc::InstanceOf(entry);
}

// Id 0 is that of every schema node, and never an instance's.
Node* FindUnindexed(const Node* parent, const char* name, nc_int64 instid) {
  if (instid == 0) return nullptr;
  Node* found = nc::FindInstance(&parent->sub_lst, name, instid);
  if (found != nullptr) {
    NC_DM_LOG_INFO("Found the node '%s', instid %lld.\n", name, nc::LongLong(instid));
  }
  return found;
}

}  // namespace

std::optional<nc_dm_agent_node_t*> nc::FindInIndex(const list_head* siblings, const char* name,
                                                   nc_int64 instid) {
  const SiblingList list = ListOf(siblings);
  const Tree* instances = list.parent != nullptr ? FindInstanceTree(list.parent, name) : nullptr;
  const Node* mode = ModeOfCompleteIndex(list, instances);
  if (mode == nullptr || mode->instid == instid) return std::nullopt;
  const Entry* entry = instances->root_byid != nullptr ? nc_dm_agent_search_bin_tree_node_by_instid(
                                                             instances->root_byid, instid)
                                                       : nullptr;
  // A list that got its hash table late has its older entries in the tree as well.
  return entry != nullptr ? InstanceOf(entry) : FindInHashTable(mode->hash_tab, instid);
}

nc_dm_agent_node_t* nc::FindInstance(const list_head* siblings, const char* name, nc_int64 instid) {
  if (const auto indexed = FindInIndex(siblings, name, instid)) return *indexed;
  for (Node& node : SameNamed(siblings, name)) {
    if (node.instid == instid) return &node;
  }
  return nullptr;
}

nc_dm_agent_node_t* nc_dm_agent_get_mode_node_inst(nc_dm_agent_node_t* parent, char* node_name,
                                                   nc_int64 instid) {
  if (parent == nullptr) return nc::Refuse(nullptr, "The parent input is null!\n");
  if (node_name == nullptr) return nc::Refuse(nullptr, "The node name input is null!\n");
  NC_DM_LOG_INFO("The input node is '%s', instid is %lld.\n", node_name, nc::LongLong(instid));
  NC_DM_LOG_INFO("The input parent is '%s', node type is %d, instance is %lld.\n",
                 parent->node_name, parent->node_type, nc::LongLong(parent->instid));

  const Tree* instances = nc::FindInstanceTree(parent, node_name);
  if (instances != nullptr) return FindIndexed(parent, instances, instid);

  NC_DM_LOG_ERROR("Failed to get node '%s' children binary tree according to name '%s'!\n",
                  parent->node_name, node_name);
  return FindUnindexed(parent, node_name, instid);
}
