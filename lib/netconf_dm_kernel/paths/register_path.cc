// Registration of a path into the tree: one schema node for each component that is not there yet.

#include <cstdlib>

#include "netconf_dm_kernel/indexes.h"
#include "netconf_dm_kernel/instances/instance_index.h"
#include "netconf_dm_kernel/tree/node_record.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/list_marker.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

using Node = nc_dm_agent_node_t;

// The path's cursor stands one behind the component to create. What that is follows from the
// component at the cursor, which belongs to it when it is a marker or a number. False: a leaf.
bool TakeObjectKind(nc_dm_path_nodes_t* path_nodes, Node* node) {
  const char* name = node->node_name;
  if (path_nodes->match_cnt >= path_nodes->total_node) {
    NC_DM_LOG_INFO("The register node: %s is leaf node.\n", name);
    return false;
  }
  const char* ahead = path_nodes->nodes[path_nodes->match_cnt];
  const bool is_last = path_nodes->match_cnt + 1 == path_nodes->total_node;
  const bool is_number = nc_dm_is_str_num(ahead);
  if (!is_number && !nc::IsListMarker(ahead)) {
    NC_DM_LOG_INFO("The register node: %s is single-object node.\n", name);
    node->node_type = NC_DM_NODE_TYPE_SINGLE_OBJECT;
    return true;
  }

  ++path_nodes->match_cnt;
  if (is_number) node->instid = static_cast<nc_int64>(strtoull(ahead, nullptr, 10));
  if (is_number && is_last) {
    NC_DM_LOG_INFO("The register node: %s is multi-leaf node.\n", name);
    NC_DM_LOG_INFO("Find node instanceid: %s\n", ahead);
  } else if (is_last) {
    NC_DM_LOG_INFO("The register node:%s is multi-leaf-mode node.\n", name);
  } else if (is_number) {
    NC_DM_LOG_INFO("The register node: %s is multi-object node.\n", name);
    NC_DM_LOG_INFO("Find node instid: %s.\n", ahead);
    node->node_type = NC_DM_NODE_TYPE_MULT_OBJECT;
  } else {
    NC_DM_LOG_INFO("The register node: %s is multi-mode node.\n", name);
    node->node_type = NC_DM_NODE_TYPE_MULT_MODE;
  }
  return !is_last;
}

// The flag alone makes a leaf-list, whatever stands at the end of the path.
void TakeLeafAttributes(const Node& dm_reg, Node* node) {
  node->node_type = dm_reg.node_type;
  nc::CopyAttributes(dm_reg, node);
  if (node->parent != nullptr) {
    nc::OfferExeCmd(node->parent, dm_reg);
    if (nc::IsKeyLeaf(*node)) nc::TakeEntryCallbacks(node->parent, dm_reg);
  }
  if ((node->flag & NC_DM_FLAG_LEAF_LIST) != 0) node->node_type = NC_DM_NODE_TYPE_MULT_LEAF_MODE;
}

bool HasComponentToCreate(const nc_dm_path_nodes_t& path_nodes) {
  return path_nodes.total_node >= 1 && path_nodes.total_node <= NC_DM_MAX_DEPTH &&
         path_nodes.match_cnt >= 1 && path_nodes.match_cnt <= path_nodes.total_node;
}

// A path that is registered below an entry that was copied stands in that entry alone, and its
// announcement is found there: registered_paths.cc.
void MarkExtended(Node* parent) {
  // What is registered stands below marked entries already.
  if (parent->origin == NC_DM_NODE_ORIGIN_REGISTERED) return;
  for (Node* node = parent; node != nullptr; node = node->parent) {
    if (!nc::IsCopiedInstance(*node)) continue;
    node->origin = NC_DM_NODE_ORIGIN_EXTENDED;
    nc_dm_bin_tree_t* instances = nc::FindInstanceTree(node->parent, node->node_name);
    if (instances != nullptr) instances->is_extended = true;
  }
}

}  // namespace

int nc_dm_agent_reg_node(nc_dm_path_nodes_t* path_nodes, nc_dm_agent_node_t** dm_node,
                         nc_dm_agent_node_t* dm_reg, nc_dm_agent_node_t* parent, list_head* head) {
  if (path_nodes == nullptr || !HasComponentToCreate(*path_nodes) || dm_node == nullptr ||
      dm_reg == nullptr || head == nullptr) {
    return nc::Refuse("Input parameter is invalid!\n");
  }
  const char* name = path_nodes->nodes[path_nodes->match_cnt - 1];
  NC_DM_LOG_INFO("Register node:%s\n", name);
  Node* node = nc::NewNode(name, "(*dm_node)");
  if (node == nullptr) return -1;
  node->origin = NC_DM_NODE_ORIGIN_REGISTERED;
  node->parent = parent;
  if (!TakeObjectKind(path_nodes, node)) TakeLeafAttributes(*dm_reg, node);
  if (!nc::CountNode(*node)) {
    nc::FreeNode(node);
    return -1;
  }
  nc::LinkChild(head, node);
  if (parent != nullptr) MarkExtended(parent);
  if (parent != nullptr && nc::IsKeyLeaf(*node)) {
    nc::PushBack(&parent->sub_key_lst, &node->key_lst);
  }
  if (parent != nullptr && node->node_type == NC_DM_NODE_TYPE_MULT_MODE) nc::IndexMode(node);
  if (nc::IsInstance(*node) && !nc::IndexNumbered(node)) {
    nc_dm_agent_unreg_node(node);
    return -1;
  }
  *dm_node = node;
  return 0;
}

int nc_dm_agent_reg_nodes(list_head* dm_root, nc_dm_path_nodes_t* path_nodes,
                          nc_dm_agent_node_t* curr_node, nc_dm_agent_node_t* dm_reg) {
  if (path_nodes == nullptr || path_nodes->total_node < 1) {
    return nc::Refuse("Parameters input are invalid.\n");
  }
  Node* node = curr_node;
  if (node == nullptr) {
    ++path_nodes->match_cnt;
    const int result = nc_dm_agent_reg_node(path_nodes, &node, dm_reg, nullptr, dm_root);
    if (result != 0) return result;
  }
  for (++path_nodes->match_cnt; path_nodes->match_cnt <= path_nodes->total_node;
       ++path_nodes->match_cnt) {
    const int result = nc_dm_agent_reg_node(path_nodes, &node, dm_reg, node, &node->sub_lst);
    if (result != 0) return result;
  }
  NC_DM_LOG_INFO("Register dm successfully.\n");
  return 0;
}
