// The kinds of nodes, as everybody asks for them.
#ifndef NETCONF_DM_KERNEL_TREE_NODE_KIND_H_
#define NETCONF_DM_KERNEL_TREE_NODE_KIND_H_

#include <cstring>

#include "netconf_dm_kernel/tree.h"

namespace nc {

// True if the node is an entry of a list or an element of a leaf-list.
inline bool IsInstance(nc_dm_node_type_t type) {
  return type == NC_DM_NODE_TYPE_MULT_OBJECT || type == NC_DM_NODE_TYPE_MULT_LEAF;
}
inline bool IsInstance(const nc_dm_agent_node_t& node) { return IsInstance(node.node_type); }

// True if the node was made as a copy of a mode node, not registered by its number.
inline bool IsCopiedInstance(const nc_dm_agent_node_t& node) {
  return node.origin >= NC_DM_NODE_ORIGIN_COPIED && IsInstance(node);
}

// True if the node is the schema of a list or of a leaf-list.
inline bool IsMode(const nc_dm_agent_node_t& node) {
  return node.node_type == NC_DM_NODE_TYPE_MULT_MODE ||
         node.node_type == NC_DM_NODE_TYPE_MULT_LEAF_MODE;
}

// True if the node belongs to the schema, or to the copy of it that an instance holds.
inline bool IsSchema(const nc_dm_agent_node_t& node) {
  return node.node_type == NC_DM_NODE_TYPE_LEAF ||
         node.node_type == NC_DM_NODE_TYPE_SINGLE_OBJECT || IsMode(node);
}

// The kind of a mode node's instances.
inline nc_dm_node_type_t InstanceTypeOf(const nc_dm_agent_node_t& mode) {
  return mode.node_type == NC_DM_NODE_TYPE_MULT_LEAF_MODE ? NC_DM_NODE_TYPE_MULT_LEAF
                                                          : NC_DM_NODE_TYPE_MULT_OBJECT;
}

// True if the node has values: a leaf, a leaf-list, an element of one.
inline bool IsLeafKind(const nc_dm_agent_node_t& node) {
  return node.node_type == NC_DM_NODE_TYPE_LEAF || node.node_type == NC_DM_NODE_TYPE_MULT_LEAF ||
         node.node_type == NC_DM_NODE_TYPE_MULT_LEAF_MODE;
}

// True if the node has one value, so that it can be read by itself.
inline bool HasOneValue(const nc_dm_agent_node_t& node) {
  return node.node_type == NC_DM_NODE_TYPE_LEAF || node.node_type == NC_DM_NODE_TYPE_MULT_LEAF;
}

// True if the node is a list or an entry of one.
inline bool IsListKind(const nc_dm_agent_node_t& node) {
  return node.node_type == NC_DM_NODE_TYPE_MULT_MODE ||
         node.node_type == NC_DM_NODE_TYPE_MULT_OBJECT;
}

// True if the node is a leaf that identifies the entries of its list.
inline bool IsKeyLeaf(const nc_dm_agent_node_t& node) {
  return node.node_type == NC_DM_NODE_TYPE_LEAF &&
         (node.flag & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE)) != 0;
}

inline bool HasName(const nc_dm_agent_node_t& node, const char* name) {
  return node.node_name != nullptr && std::strcmp(node.node_name, name) == 0;
}

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_TREE_NODE_KIND_H_
