// The node record itself: its memory, its place in the tree's counters, its attributes.
//
// A registered node and its name are two pieces of malloc memory. The nodes that are made together,
// an instance and the copies of the schema below it, are one block, each name behind its record. So
// an entry of a list costs one allocation, however many leaves it has, and lies together. The block
// goes with its last node.
#ifndef NETCONF_DM_KERNEL_TREE_NODE_RECORD_H_
#define NETCONF_DM_KERNEL_TREE_NODE_RECORD_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "netconf_dm_kernel/tree.h"

namespace nc {

// ---- Memory ----

struct NodeBlock;

// Room for an instance and the copies below it.
class NodeRoom {
 public:
  // The bytes that a node of that name takes.
  static size_t SizeFor(std::string_view name);

  // Room of the sum of such sizes; none when memory is short, which is logged. Once it has given a
  // node, it belongs to its nodes.
  explicit NodeRoom(size_t size);
  NodeRoom(const NodeRoom&) = delete;
  NodeRoom& operator=(const NodeRoom&) = delete;

  explicit operator bool() const { return block_ != nullptr; }

  // A zeroed node with that name and empty lists.
  nc_dm_agent_node_t* Make(std::string_view name);

 private:
  NodeBlock* block_;
  char* next_;
};

// A node and a name of its own, with empty lists; or null, which is logged. `name_owner`: how the
// log calls the record that the name is for.
nc_dm_agent_node_t* NewNode(const char* name, const char* name_owner);

// Frees the record and its name; not its children and what is in its indexes.
void FreeNode(nc_dm_agent_node_t* node);

// ---- Counters ----

// Adds a new node to the tree's counters. False for an unknown kind, which is logged.
bool CountNode(const nc_dm_agent_node_t& node);

// Takes a node that is removed off them.
void UncountNode(const nc_dm_agent_node_t& node);

// ---- Attributes ----

// Copies the attributes of a leaf: from its registration to its node, from a schema node to a copy.
void CopyAttributes(const nc_dm_agent_node_t& source, nc_dm_agent_node_t* node);

// A parent applies its leaves' slots through the first leaf's exe_cmd.
void OfferExeCmd(nc_dm_agent_node_t* parent, const nc_dm_agent_node_t& leaf);

// A list's entries are created, deleted and found through the callbacks of a key leaf.
void TakeEntryCallbacks(nc_dm_agent_node_t* parent, const nc_dm_agent_node_t& key_leaf);

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_TREE_NODE_RECORD_H_
