#include "netconf_dm_kernel/instances/instance_index.h"

#include "netconf_dm_kernel/instances/instance_balance.h"
#include "netconf_dm_kernel/instances/instance_hash.h"
#include "netconf_dm_kernel/shortcuts/name_chain.h"
#include "netconf_dm_kernel/tree/node_record.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace nc {
namespace {

using Node = nc_dm_agent_node_t;
using Tree = nc_dm_bin_tree_t;

bool HasHashFlag(const Node* mode) {
  return mode != nullptr && (mode->flag & NC_DM_FLAG_HASH_TAB) != 0;
}

bool EnterInHashTable(Node* node, const Node& mode, Tree* tree) {
  if (mode.hash_tab == nullptr) {
    NC_DM_LOG_ERROR("The mode node '%s' hash_tab is null!\n", mode.node_name);
    return false;
  }
  if (!EnsureBuckets(mode.hash_tab)) {
    NC_DM_LOG_ERROR("Failed to malloc mode node '%s' hash_tab->table!\n", mode.node_name);
    return false;
  }
  if (nc_dm_agent_insert_mode_node_inst_to_hash_tab(mode.hash_tab, node) != 0) {
    NC_DM_LOG_ERROR("Failed to insert the new node '%s' hash_tab->table!\n", node->node_name);
    return false;
  }
  if (tree != nullptr && node->is_hashed == 0) tree->is_incomplete = true;
  return true;
}

bool EnterInTree(Node* node, Tree* tree) {
  node->instid_btree_node = nc_dm_agent_create_bin_tree_node(node, node->instid);
  if (node->instid_btree_node == nullptr) {
    NC_DM_LOG_ERROR("Failed to create the instid_btree_node of node '%s' instid %lld!\n",
                    node->node_name, LongLong(node->instid));
    return false;
  }
  if (!InsertInstance(tree, node->instid_btree_node)) tree->is_incomplete = true;
  return true;
}

// Enters the instances of a tree's name that are in no index yet: their list had none before.
void AdoptNumbered(Node* parent, Tree* tree) {
  if (HasHashFlag(ModeNodeOf(tree, parent))) return;
  for (Node& node : SameNamed(&parent->sub_lst, tree->name)) {
    if (!IsInstance(node) || node.instid_btree_node != nullptr || node.is_hashed != 0 ||
        node.origin != NC_DM_NODE_ORIGIN_REGISTERED) {
      continue;
    }
    if (!EnterInTree(&node, tree)) tree->is_incomplete = true;
  }
}

// The instance tree of a copy's name, with the mode node that it was copied from if that is a
// sibling; null when memory is short.
Tree* TreeForCopy(Node* node, Node* mode) {
  Tree* tree = FindInstanceTree(node->parent, node->node_name);
  const bool is_new = tree == nullptr;
  if (is_new) tree = EnsureInstanceTree(node->parent, node->node_name);
  if (tree == nullptr) return nullptr;
  if (tree->data == nullptr && IsMode(*mode) && mode->parent == node->parent) tree->data = mode;
  if (is_new) AdoptNumbered(node->parent, tree);
  return tree;
}

Node* ModeNodeAmong(const list_head* siblings, const char* name) {
  Node* schema = FindSchemaChild(siblings, name);
  return schema != nullptr && IsMode(*schema) ? schema : nullptr;
}

const list_head* SiblingsOf(const Node& node) {
  return node.parent != nullptr ? &node.parent->sub_lst : &g_nc_agent_dm.dm_root;
}

// Two instances may have one id; the table holds the first.
void LeaveTableOf(const Node& mode, const Node& node) {
  const Node* held = FindInHashTable(mode.hash_tab, node.instid);
  if (held != nullptr && held != &node) return;
  nc_dm_agent_delete_mode_node_inst_from_hash_tab(mode.hash_tab, node.instid);
}

// The tree that was found among the parent's, or the complaint of a search without a parent.
Tree* TreeOf(const Node& node, Tree* found) {
  return node.parent != nullptr ? found : nc_dm_agent_get_bin_tree(nullptr, node.node_name);
}

}  // namespace

bool IndexCopy(Node* node, Node* mode) {
  Tree* tree = TreeForCopy(node, mode);
  if (tree == nullptr) return nc::Refuse(true, "Failed to create the binary tree!\n");
  const Node* list = ModeNodeOf(tree, node->parent);
  if (HasHashFlag(list)) {
    if (EnterInHashTable(node, *list, tree)) return true;
    nc_dm_agent_unreg_nodes(node);
    return false;
  }
  if (EnterInTree(node, tree)) return true;
  NC_DM_LOG_ERROR("Delete the node '%s' instid %lld!\n", node->node_name, LongLong(node->instid));
  UnlinkChild(node);
  FreeNode(node);
  return false;
}

bool IndexNumbered(Node* node) {
  Tree* tree = FindInstanceTree(node->parent, node->node_name);
  const Node* mode = ModeNodeAmong(SiblingsOf(*node), node->node_name);
  if (HasHashFlag(mode)) return EnterInHashTable(node, *mode, tree);
  return tree == nullptr || EnterInTree(node, tree);
}

void IndexMode(Node* mode) {
  Tree* tree = EnsureInstanceTree(mode->parent, mode->node_name);
  if (tree == nullptr) return;
  tree->data = mode;
  AdoptNumbered(mode->parent, tree);
}

void LeaveHashTable(const Node& node, Tree* tree, bool siblings_go) {
  if (!IsInstance(node)) return;
  const Tree* own = TreeOf(node, tree);
  const Node* mode = nullptr;
  if (own != nullptr && own->data != nullptr) {
    mode = ModeNodeOf(own, node.parent);
  } else if (node.is_hashed != 0 && !siblings_go) {
    mode = ModeNodeAmong(SiblingsOf(node), node.node_name);
  }
  if (mode != nullptr) LeaveTableOf(*mode, node);
}

void LeaveInstanceTree(const Node& node, Tree* tree) {
  if (node.instid_btree_node == nullptr) return;
  RemoveInstance(TreeOf(node, tree), node.instid_btree_node);
  nc_dm_agent_free_bin_tree_node(node.instid_btree_node);
}

}  // namespace nc
