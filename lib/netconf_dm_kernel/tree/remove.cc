// Removal of nodes: one, a subtree, or a chain of emptied ancestors.

#include <cstdlib>

#include "netconf_dm_kernel/indexes.h"
#include "netconf_dm_kernel/instances/instance_index.h"
#include "netconf_dm_kernel/shortcuts/name_index.h"
#include "netconf_dm_kernel/tree/node_record.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"

namespace {

using Node = nc_dm_agent_node_t;
using Tree = nc_dm_bin_tree_t;

// Frees a node that stands in no list any more, or only in those of a parent that goes as well.
// `tree`: its parent's instance tree of its name, or null.
void Discard(Node* node, Tree* tree, bool siblings_go) {
  nc::UncountNode(*node);
  nc::LeaveHashTable(*node, tree, siblings_go);
  nc_dm_agent_delete_mode_node_hash_tab_all_entries(node->hash_tab);
  free(node->hash_tab);
  nc::LeaveInstanceTree(*node, tree);
  if (!nc::IsEmpty(&node->btree_lst)) nc_dm_agent_free_bin_tree_list(&node->btree_lst);
  nc::FreeNameIndex(node->name_index);
  nc::FreeNode(node);
}

void TraceRemoval(const Node& node) {
  NC_DM_LOG_INFO("Delete node, node name:%s\n", node.node_name);
}

// Removes what is below a node that goes as well. Without lists among the children nothing refers
// to them but the lists that go with the node, so they need not be unlinked.
void RemoveBelow(Node* node) {
  const bool has_lists = !nc::IsEmpty(&node->btree_lst);
  for (Node& child : nc::RecordsSafely<Node>(&node->sub_lst)) {
    RemoveBelow(&child);
    TraceRemoval(child);
    const bool must_unlink = has_lists || child.parent != node;
    Discard(&child, must_unlink ? nc::UnlinkChild(&child) : nullptr, true);
  }
}

}  // namespace

void nc_dm_agent_unreg_node(nc_dm_agent_node_t* dm_node) {
  if (dm_node == nullptr) {
    NC_DM_LOG_ERROR("Input parameter is invalid!\n");
    return;
  }
  TraceRemoval(*dm_node);
  Discard(dm_node, nc::UnlinkChild(dm_node), false);
}

void nc_dm_agent_unreg_nodes(nc_dm_agent_node_t* curr_node) {
  if (curr_node == nullptr) {
    NC_DM_LOG_ERROR("The curr_node input is invalid!\n");
    return;
  }
  RemoveBelow(curr_node);
  nc_dm_agent_unreg_node(curr_node);
}

void nc_dm_agent_unreg_parent(nc_dm_agent_node_t* curr_node) {
  if (curr_node == nullptr) NC_DM_LOG_INFO("The curr_node input is null!\n");
  Node* node = curr_node;
  while (node != nullptr && nc::IsEmpty(&node->sub_lst)) {
    Node* parent = node->parent;
    nc_dm_agent_unreg_node(node);
    node = parent;
  }
}
