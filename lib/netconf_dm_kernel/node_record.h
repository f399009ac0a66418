// The node record itself: its memory and its place in the tree's counters.
//
// A node and its name are one allocation, the name right behind the record: short names then cost
// no memory of their own, and a comparison of names stays near the record. A node that somebody
// else built has its name elsewhere, which also tells it apart.
#ifndef NETCONF_DM_KERNEL_NODE_RECORD_H_
#define NETCONF_DM_KERNEL_NODE_RECORD_H_

#include <cstdint>
#include <memory>

#include "netconf_dm_kernel.h"

namespace nc {

// Was the node made by NewNode.
inline bool IsOwn(const nc_dm_agent_node_t& node) {
  return node.node_name == reinterpret_cast<const char*>(&node + 1);
}

// Frees the record, its name and what only the record refers to; not its children and what is in
// its indexes.
void FreeNode(nc_dm_agent_node_t* node);

struct NodeDeleter {
  void operator()(nc_dm_agent_node_t* node) const { FreeNode(node); }
};
using NodePtr = std::unique_ptr<nc_dm_agent_node_t, NodeDeleter>;

// A zeroed node with that name and empty lists; or null, which is logged.
NodePtr NewNode(const char* name);

// The tree's counter of a kind of node, or null for an unknown kind.
uint32_t* CounterOf(nc_dm_node_type_t node_type);

// Adds a new node to the counters. False for an unknown kind, which is logged.
bool CountNode(const nc_dm_agent_node_t& node);

// What a registration says of a leaf, and a schema node of its copies.
void CopyAttributes(const nc_dm_agent_node_t& source, nc_dm_agent_node_t* node);

// A parent applies its leaves' slots through the first leaf's exe_cmd.
void OfferExeCmd(nc_dm_agent_node_t* parent, const nc_dm_agent_node_t& leaf);

// A list's entries are created, deleted and found through the callbacks of a key leaf.
void TakeEntryCallbacks(nc_dm_agent_node_t* parent, const nc_dm_agent_node_t& key_leaf);

// Does it identify the entries of its list.
inline bool IsKeyLeaf(const nc_dm_agent_node_t& node) {
  return node.node_type == NC_DM_NODE_TYPE_LEAF &&
         (node.flag & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE)) != 0;
}

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_NODE_RECORD_H_
