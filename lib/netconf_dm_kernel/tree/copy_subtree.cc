// Creation of nodes as copies of a schema subtree: the instances of lists and leaf-lists.

#include <cstddef>
#include <cstdlib>

#include "netconf_dm_kernel/instances/instance_index.h"
#include "netconf_dm_kernel/tree.h"
#include "netconf_dm_kernel/tree/node_record.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"

namespace {

using Node = nc_dm_agent_node_t;

bool AreArguments(const Node* parent_node, const Node* src_node, nc_int64 instid,
                  nc_dm_node_type_t node_type) {
  if (parent_node == nullptr) return nc::Refuse(false, "The parent node input is null!\n");
  if (src_node == nullptr) return nc::Refuse(false, "The source node input is null!\n");
  if (instid < 0) return nc::Refuse(false, "The instance id input is invalid!\n");
  if (instid == 0 && nc::IsInstance(node_type)) {
    return nc::Refuse(false, "The mult-object or mult-leaf instance id input is 0!\n");
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

// A mode node is what its instances-to-be are looked up through. False, and the node is gone, when
// it cannot have the hash table that it needs.
bool IndexModeCopy(Node* mode, const Node& src_node) {
  nc::IndexMode(mode);
  if ((mode->flag & NC_DM_FLAG_HASH_TAB) == 0 || GiveHashTable(mode, src_node)) return true;
  nc_dm_agent_unreg_nodes(mode);
  return false;
}

// Links a node behind its siblings and enters it where it belongs. `is_fresh`: its parent was made
// just before, for copies alone.
bool LinkAndIndex(Node* node, Node* src_node, bool is_fresh) {
  if (is_fresh) {
    nc::LinkCopy(node, *src_node);
  } else {
    nc::LinkChild(&node->parent->sub_lst, node);
  }
  if (nc::IsInstance(*node)) return nc::IndexCopy(node, src_node);
  if (nc::IsKeyLeaf(*node)) {
    nc::PushBack(&node->parent->sub_key_lst, &node->key_lst);
    nc::TakeEntryCallbacks(node->parent, *src_node);
  }
  return !nc::IsMode(*node) || IndexModeCopy(node, *src_node);
}

// The bytes that the copies of a schema subtree take.
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

// `room`: where the node is made; null for a node on its own.
Node* Create(const Copy& copy, nc::NodeRoom* room, bool is_fresh);

// Copies the schema below the source; its instances are no part of that. False, and the node is
// gone, when a copy fails.
bool CopySchemaChildren(Node* node, const Node& source, nc::NodeRoom* room) {
  for (Node& child : nc::Records<Node>(&source.sub_lst)) {
    if (!nc::IsSchema(child)) continue;
    NC_DM_LOG_INFO("Create an new object node '%s'.\n", child.node_name);
    if (Create({node, &child, 0, child.node_type, node->src}, room, true) != nullptr) continue;
    NC_DM_LOG_ERROR("Failed to create node '%s'!\n", child.node_name);
    nc_dm_agent_unreg_nodes(node);
    return false;
  }
  return true;
}

Node* Create(const Copy& copy, nc::NodeRoom* room, bool is_fresh) {
  const char* name = copy.source->node_name;
  Node* node = room != nullptr ? room->Make(name) : nc::NewNode(name, "new_node");
  if (node == nullptr) return nullptr;
  node->origin = NC_DM_NODE_ORIGIN_COPIED;
  node->parent = copy.parent;
  node->instid = copy.instid;
  node->node_type = copy.node_type;
  node->src = copy.src;
  nc::CopyAttributes(*copy.source, node);
  if (nc::HasOneValue(*node)) nc::OfferExeCmd(copy.parent, *copy.source);
  if (!nc::CountNode(*node)) {
    nc::FreeNode(node);
    return nullptr;
  }
  if (!LinkAndIndex(node, copy.source, is_fresh)) return nullptr;
  return CopySchemaChildren(node, *copy.source, room) ? node : nullptr;
}

}  // namespace

nc_dm_agent_node_t* nc_dm_agent_create_node(nc_dm_agent_node_t* parent_node,
                                            nc_dm_agent_node_t* src_node, nc_int64 instid,
                                            nc_dm_node_type_t node_type, nc_dm_node_src_t src) {
  if (!AreArguments(parent_node, src_node, instid, node_type)) return nullptr;
  NC_DM_LOG_INFO("Create an new object node '%s'.\n", src_node->node_name);
  const Copy copy{parent_node, src_node, instid, node_type, src};
  if (!nc::IsInstance(node_type)) return Create(copy, nullptr, false);
  nc::NodeRoom room(SizeOfCopies(*src_node));
  return room ? Create(copy, &room, false) : nullptr;
}
