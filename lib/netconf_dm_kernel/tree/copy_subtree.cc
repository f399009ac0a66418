// Creation of nodes as copies of a schema subtree: the instances of lists and leaf-lists.

#include <cstddef>
#include <cstdlib>

#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/instances/instance_balance.h"
#include "netconf_dm_kernel/tree/node_record.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"

namespace {

using Node = nc_dm_agent_node_t;
using Tree = nc_dm_bin_tree_t;

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

bool EnterInTree(Node* node, Tree* tree) {
  node->instid_btree_node = nc_dm_agent_create_bin_tree_node(node, node->instid);
  if (node->instid_btree_node == nullptr) {
    NC_DM_LOG_ERROR("Failed to create the instid_btree_node of node '%s' instid %lld!\n",
                    node->node_name, nc::LongLong(node->instid));
    return false;
  }
  const bool is_new = nc::InsertInstance(tree, node->instid_btree_node);
  if (!is_new) nc::BreakChain(tree);
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

// What the copies of a schema subtree take.
size_t SizeOfCopies(const Node& src_node) {
  size_t size = nc::NodeRoom::SizeFor(src_node.node_name);
  for (const Node& child : nc::Records<Node>(&src_node.sub_lst)) {
    if (nc::IsSchema(child)) size += SizeOfCopies(child);
  }
  return size;
}

// A node to be made.
struct Copy {
  Node* parent;
  Node* source;
  nc_int64 instid;
  nc_dm_node_type_t node_type;
  nc_dm_node_src_t src;
};

Node* Create(const Copy& copy, nc::NodeRoom* room);

// Copies the schema below the source; its instances are no part of that. False, and the node is
// gone, when a copy fails.
bool CopySchemaChildren(Node* node, const Node& source, nc::NodeRoom* room) {
  nc::CopyTwins(source, node);
  for (Node& child : nc::Records<Node>(&source.sub_lst)) {
    if (!nc::IsSchema(child)) continue;
    NC_DM_LOG_INFO("Create an new object node '%s'.\n", child.node_name);
    if (Create({node, &child, 0, child.node_type, node->src}, room) != nullptr) continue;
    NC_DM_LOG_ERROR("Failed to create node '%s'!\n", child.node_name);
    nc_dm_agent_unreg_nodes(node);
    return false;
  }
  return true;
}

Node* Create(const Copy& copy, nc::NodeRoom* room) {
  Node* node = room->Make(copy.source->node_name);
  if (node == nullptr) return nullptr;
  node->parent = copy.parent;
  node->instid = copy.instid;
  node->node_type = copy.node_type;
  node->src = copy.src;
  nc::CopyAttributes(*copy.source, node);
  if (node->node_type == NC_DM_NODE_TYPE_LEAF || node->node_type == NC_DM_NODE_TYPE_MULT_LEAF) {
    nc::OfferExeCmd(copy.parent, *copy.source);
  }
  if (!nc::CountNode(*node)) {
    nc::FreeNode(node);
    return nullptr;
  }
  if (!LinkAndIndex(node, copy.source)) return nullptr;
  return CopySchemaChildren(node, *copy.source, room) ? node : nullptr;
}

}  // namespace

nc_dm_agent_node_t* nc_dm_agent_create_node(nc_dm_agent_node_t* parent_node,
                                            nc_dm_agent_node_t* src_node, nc_int64 instid,
                                            nc_dm_node_type_t node_type, nc_dm_node_src_t src) {
  if (!AreArguments(parent_node, src_node, instid, node_type)) return nullptr;
  NC_DM_LOG_INFO("Create an new object node '%s'.\n", src_node->node_name);
  nc::NodeRoom room(SizeOfCopies(*src_node));
  if (!room) return nullptr;
  return Create({parent_node, src_node, instid, node_type, src}, &room);
}
