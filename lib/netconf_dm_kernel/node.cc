// Nodes come and go: instances as copies of their list's schema, and the removal of nodes of every
// kind.

#include <cstddef>
#include <cstdlib>

#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/children.h"
#include "netconf_dm_kernel/instance_insert.h"
#include "netconf_dm_kernel/node_record.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"

namespace {

using Node = nc_dm_agent_node_t;
using Tree = nc_dm_bin_tree_t;

// ---- Creation ----

bool AreArguments(const Node* parent_node, const Node* src_node, nc_int64 instid,
                  nc_dm_node_type_t node_type) {
  if (parent_node == nullptr) {
    NC_DM_LOG_ERROR("The parent node input is null!\n");
    return false;
  }
  if (src_node == nullptr) {
    NC_DM_LOG_ERROR("The source node input is null!\n");
    return false;
  }
  if (instid < 0) {
    NC_DM_LOG_ERROR("The instance id input is invalid!\n");
    return false;
  }
  const bool is_instance =
      node_type == NC_DM_NODE_TYPE_MULT_OBJECT || node_type == NC_DM_NODE_TYPE_MULT_LEAF;
  if (instid == 0 && is_instance) {
    NC_DM_LOG_ERROR("The mult-object or mult-leaf instance id input is 0!\n");
    return false;
  }
  return true;
}

bool GiveHashTable(Node* mode, const Node& src_node) {
  if (src_node.hash_tab == nullptr) {
    NC_DM_LOG_ERROR("The source node '%s' hash_tab is null, can't create new node hash_tab!\n",
                    src_node.node_name);
    return false;
  }
  auto hash_tab = nc::NewRecord<nc_dm_hash_tab_t>();
  if (hash_tab == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc node '%s' hash_tab!\n", mode->node_name);
    return false;
  }
  hash_tab->size_bits_num = src_node.hash_tab->size_bits_num;
  mode->hash_tab = hash_tab.release();
  return true;
}

// The buckets come with the first instance, so that the copies of a list that stay empty cost
// little.
bool EnsureBuckets(nc_dm_hash_tab_t* hash_tab) {
  constexpr uint32_t kHashBits = 32;
  if (hash_tab->table != nullptr) return true;
  if (hash_tab->size_bits_num >= kHashBits) return false;
  hash_tab->table = static_cast<nc_dm_hash_tab_entry_t*>(
      calloc(size_t{1} << hash_tab->size_bits_num, sizeof(nc_dm_hash_tab_entry_t)));
  return hash_tab->table != nullptr;
}

bool EnterInHashTable(Node* node, const Node& mode) {
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
  return true;
}

void InsertEntry(Tree* tree, nc_dm_bin_tree_node_t* entry) {
  if (!nc::InsertInstance(tree, entry)) nc::BreakChain(tree);  // the id is there already
}

bool EnterInTree(Node* node, Tree* tree) {
  node->instid_btree_node = nc_dm_agent_create_bin_tree_node(node, node->instid);
  if (node->instid_btree_node == nullptr) {
    NC_DM_LOG_ERROR("Failed to create the instid_btree_node of node '%s' instid %lld!\n",
                    node->node_name, nc::LongLong(node->instid));
    return false;
  }
  InsertEntry(tree, node->instid_btree_node);
  return true;
}

// Enters a linked instance in the index of its list. False, and the instance is gone, when that
// fails.
bool IndexInstance(Node* node, Tree* tree) {
  if (tree == nullptr) {
    NC_DM_LOG_ERROR("Failed to create the binary tree!\n");
    return true;
  }
  const auto* mode = static_cast<const Node*>(tree->data);
  if (mode != nullptr && (mode->flag & NC_DM_FLAG_HASH_TAB) != 0) {
    if (EnterInHashTable(node, *mode)) return true;
    nc_dm_agent_unreg_nodes(node);
    return false;
  }
  if (EnterInTree(node, tree)) return true;
  NC_DM_LOG_ERROR("Delete the node '%s' instid %lld!\n", node->node_name,
                  nc::LongLong(node->instid));
  nc::UnlinkChild(node);
  nc::FreeNode(node);
  return false;
}

// A mode node is what its instances-to-be are looked up through. False, and the node is gone, when
// it cannot have the hash table that it needs.
bool IndexMode(Node* mode, const Node& src_node) {
  nc::SetModeNode(mode);
  if ((mode->flag & NC_DM_FLAG_HASH_TAB) == 0 || GiveHashTable(mode, src_node)) return true;
  nc_dm_agent_unreg_nodes(mode);
  return false;
}

bool LinkAndIndex(Node* node, Node* src_node) {
  if (nc::IsInstance(*node)) return IndexInstance(node, nc::LinkInstance(node, src_node));
  nc::LinkChild(&node->parent->sub_lst, node);
  if (nc::IsKeyLeaf(*node)) {
    nc::PushBack(&node->parent->sub_key_lst, &node->key_lst);
    nc::TakeEntryCallbacks(node->parent, *src_node);
  }
  return !nc::IsMode(*node) || IndexMode(node, *src_node);
}

// Copies the schema below `src_node`; its instances are no part of that. False, and the node is
// gone, when a copy fails.
bool CopySchemaChildren(Node* node, const Node& src_node) {
  for (Node& child : nc::Records<Node>(&src_node.sub_lst)) {
    if (!nc::IsSchema(child)) continue;
    if (nc_dm_agent_create_node(node, &child, 0, child.node_type, node->src) != nullptr) continue;
    NC_DM_LOG_ERROR("Failed to create node '%s'!\n", child.node_name);
    nc_dm_agent_unreg_nodes(node);
    return false;
  }
  return true;
}

// ---- Removal ----

void Uncount(const Node& node) {
  if (uint32_t* counter = nc::CounterOf(node.node_type)) {
    --*counter;
  } else {
    NC_DM_LOG_ERROR("Unknown node type.\n");
  }
  --g_nc_agent_dm.total_node;
}

// The tree that UnlinkChild found, or the complaint of a search that could not be made.
Tree* TreeOf(const Node& node, Tree* found) {
  return node.parent != nullptr ? found : nc_dm_agent_get_bin_tree(nullptr, node.node_name);
}

void LeaveHashTable(const Node& node, Tree* found) {
  const Tree* tree = TreeOf(node, found);
  if (tree == nullptr || tree->data == nullptr) return;
  const auto* mode = static_cast<const Node*>(tree->data);
  nc_dm_agent_delete_mode_node_inst_from_hash_tab(mode->hash_tab, node.instid);
}

void LeaveTree(const Node& node, Tree* found) {
  Tree* tree = TreeOf(node, found);
  nc_dm_bin_tree_node_t* entry = node.instid_btree_node;
  const bool is_root = tree != nullptr && tree->root_byid == entry;
  nc_dm_bin_tree_node_t* replacement = nc_dm_agent_delete_bin_tree_node(entry);
  if (is_root) tree->root_byid = replacement;
  nc_dm_agent_free_bin_tree_node(entry);
}

}  // namespace

nc_dm_agent_node_t* nc_dm_agent_create_node(nc_dm_agent_node_t* parent_node,
                                            nc_dm_agent_node_t* src_node, nc_int64 instid,
                                            nc_dm_node_type_t node_type, nc_dm_node_src_t src) {
  if (!AreArguments(parent_node, src_node, instid, node_type)) return nullptr;
  NC_DM_LOG_INFO("Create an new object node '%s'.\n", src_node->node_name);
  nc::NodePtr created = nc::NewNode(src_node->node_name);
  if (created == nullptr) return nullptr;
  created->parent = parent_node;
  created->instid = instid;
  created->node_type = node_type;
  created->src = src;
  nc::CopyAttributes(*src_node, created.get());
  if (node_type == NC_DM_NODE_TYPE_LEAF || node_type == NC_DM_NODE_TYPE_MULT_LEAF) {
    nc::OfferExeCmd(parent_node, *src_node);
  }
  if (!nc::CountNode(*created)) return nullptr;

  Node* node = created.release();
  if (!LinkAndIndex(node, src_node) || !CopySchemaChildren(node, *src_node)) return nullptr;
  return node;
}

void nc_dm_agent_unreg_node(nc_dm_agent_node_t* dm_node) {
  if (dm_node == nullptr) {
    NC_DM_LOG_ERROR("Input parameter is invalid!\n");
    return;
  }
  NC_DM_LOG_INFO("Delete node, node name:%s\n", dm_node->node_name);
  Tree* tree = nc::UnlinkChild(dm_node);
  Uncount(*dm_node);
  if (nc::IsInstance(*dm_node)) LeaveHashTable(*dm_node, tree);
  nc_dm_agent_delete_mode_node_hash_tab_all_entries(dm_node->hash_tab);
  free(dm_node->hash_tab);
  if (dm_node->instid_btree_node != nullptr) LeaveTree(*dm_node, tree);
  nc_dm_agent_free_bin_tree_list(&dm_node->btree_lst);
  nc::ReleaseShortcuts(dm_node);
  nc::FreeNode(dm_node);
}

void nc_dm_agent_unreg_nodes(nc_dm_agent_node_t* curr_node) {
  if (curr_node == nullptr) {
    NC_DM_LOG_ERROR("The curr_node input is invalid!\n");
    return;
  }
  for (Node& child : nc::RecordsSafely<Node>(&curr_node->sub_lst)) nc_dm_agent_unreg_nodes(&child);
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
