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

// A leaf that identifies the entries of its list.
inline bool IsKeyLeaf(const nc_dm_agent_node_t& node) {
  return node.node_type == NC_DM_NODE_TYPE_LEAF &&
         (node.flag & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE)) != 0;
}

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_NODE_RECORD_H_
