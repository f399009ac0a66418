// The node record itself: its memory and its place in the tree's counters.
//
// A node and its name are one piece of memory, the name right behind the record, and the nodes that
// are made together, an instance and the copies of the schema below it, are one block. So an entry
// of a list costs one allocation, however many leaves it has, and lies together. The block goes
// with its last node.
//
// A node that somebody else built has its name elsewhere, which tells it apart.
#ifndef NETCONF_DM_KERNEL_TREE_NODE_RECORD_H_
#define NETCONF_DM_KERNEL_TREE_NODE_RECORD_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "netconf_dm_kernel.h"

namespace nc {

// ---- Memory ----

struct NodeBlock;

// Room for nodes that are made together.
class NodeRoom {
 public:
  // What a node of that name takes.
  static size_t SizeFor(std::string_view name);

  // Room of the sum of such sizes; none when memory is short, which is logged. Once it has given a
  // node, it belongs to its nodes.
  explicit NodeRoom(size_t size);
  NodeRoom(const NodeRoom&) = delete;
  NodeRoom& operator=(const NodeRoom&) = delete;

  explicit operator bool() const { return block_ != nullptr || is_divided_; }

  // A zeroed node with that name and empty lists. Null, which is logged, when the room is so large
  // that each node is on its own and memory is short for this one.
  nc_dm_agent_node_t* Make(std::string_view name);

 private:
  const bool is_divided_;
  NodeBlock* block_ = nullptr;
  char* next_ = nullptr;
};

// A node on its own, or null.
nc_dm_agent_node_t* NewNode(std::string_view name);

// Frees the record and its name; not its children and what is in its indexes.
void FreeNode(nc_dm_agent_node_t* node);

// Were two nodes made together.
bool AreOfOneBlock(const nc_dm_agent_node_t& one, const nc_dm_agent_node_t& other);

// Was the node made here.
inline bool IsOwn(const nc_dm_agent_node_t& node) {
  return node.node_name == reinterpret_cast<const char*>(&node + 1);
}

// ---- Names ----

// A schema gives each of a node's children a name of its own, so that who searches an entry for a
// leaf is done with the first. Others may link children of equal names. For nodes that were made
// here; those that were made together are marked together.
void MarkTwins(nc_dm_agent_node_t* parent);
bool MayHaveTwins(const nc_dm_agent_node_t& parent);

// ---- Counters ----

// Adds a new node to the tree's counters. False for an unknown kind, which is logged.
bool CountNode(const nc_dm_agent_node_t& node);

// Takes a node that is removed off them.
void UncountNode(const nc_dm_agent_node_t& node);

// ---- Attributes ----

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

#endif  // NETCONF_DM_KERNEL_TREE_NODE_RECORD_H_
