// The chain of a name: the siblings that have it, in list order, linked beside the list. Normally a
// mode node and its instances.
//
// A list is chained as long as only the library has linked nodes there. An application's node is in
// no chain; a list that holds one is walked from then on, because such a node may be renamed,
// unlinked or freed without a word.
#ifndef NETCONF_DM_KERNEL_SHORTCUTS_NAME_CHAIN_H_
#define NETCONF_DM_KERNEL_SHORTCUTS_NAME_CHAIN_H_

#include "netconf_dm_kernel/shortcuts/name_index.h"
#include "netconf_dm_kernel/tree/sibling_list.h"

namespace nc {

// True if every child is in the chain of its name. An application links its nodes at the end of a
// list, so the two ends tell.
bool IsChained(const SiblingList& list);

// The index of a chained list that is long, made when it is missing. Null for a short list, for a
// walked one, and when memory is short.
nc_dm_name_index* IndexOf(const SiblingList& list);

// Appends a node to the list and, if that is chained, to the chain of its name and to the index.
void AppendChained(const SiblingList& list, nc_dm_agent_node_t* node);

// The same for a copy that is made together with its parent, in the order of the sources.
void AppendCopy(const SiblingList& list, nc_dm_agent_node_t* node,
                const nc_dm_agent_node_t& source);

// Takes a node out of its chain and the index; it stays in the list.
void Unchain(nc_dm_agent_node_t* node);

// As FindInstanceTree and nc_dm_agent_create_bin_tree, by the index.
nc_dm_bin_tree_t* FindIndexedTree(const SiblingList& list, const char* name);
void NoteNewTree(const SiblingList& list, nc_dm_bin_tree_t* tree);

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_SHORTCUTS_NAME_CHAIN_H_
