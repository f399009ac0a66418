// The source of a node: who created it or wrote it last, and who may overwrite that.
#ifndef NETCONF_DM_KERNEL_TREE_NODE_SOURCE_H_
#define NETCONF_DM_KERNEL_TREE_NODE_SOURCE_H_

#include "netconf_dm_kernel/context.h"
#include "netconf_dm_kernel/tree.h"

namespace nc {

// The occasion on which a node is stamped.
enum class Stamper {
  kLeafEdit,   // an edit that wrote, deleted or mirrored this leaf
  kLeafGroup,  // an edit that wrote several leaves by one command
  kPathEdit,   // an edit whose path leads through this node
  kEntry,      // an edit of this entry, or the registration of an instance below this node
};

namespace internal {

// The nodes that keep a source of SDN or CLI_ALW. Other sources are always overwritten.
enum class Keeps { kNo, kYes, kUnlessLeaf };

struct SourceRule {
  Keeps sdn;
  Keeps cli_always;
};

inline constexpr SourceRule kSourceRules[] = {
    {Keeps::kYes, Keeps::kNo},          // kLeafEdit
    {Keeps::kYes, Keeps::kUnlessLeaf},  // kLeafGroup
    {Keeps::kNo, Keeps::kUnlessLeaf},   // kPathEdit
    {Keeps::kYes, Keeps::kYes},         // kEntry
};

inline bool DoesKeep(Keeps keeps, const nc_dm_agent_node_t& node) {
  return keeps == Keeps::kYes ||
         (keeps == Keeps::kUnlessLeaf && node.node_type != NC_DM_NODE_TYPE_LEAF);
}

inline bool KeepsSource(const nc_dm_agent_node_t& node, const SourceRule& rule) {
  switch (node.src) {
    case NC_DM_NODE_SRC_SDN:
      return DoesKeep(rule.sdn, node);
    case NC_DM_NODE_SRC_CLI_ALW:
      return DoesKeep(rule.cli_always, node);
    default:
      return false;
  }
}

}  // namespace internal

inline void StampSource(nc_dm_agent_node_t* node, nc_dm_node_src_t src, Stamper stamper) {
  const auto& rule = internal::kSourceRules[static_cast<int>(stamper)];
  if (!internal::KeepsSource(*node, rule)) node->src = src;
}

// The source that the request being served stamps on what it creates or writes.
inline nc_dm_node_src_t RequestSource() {
  return context.datastore == NC_DM_DATASTORE_SDN ? NC_DM_NODE_SRC_SDN : NC_DM_NODE_SRC_NONE;
}

// True if the request must not see this node: its datastore is SDN and no SDN edit created the
// node.
inline bool IsForeignToRequest(const nc_dm_agent_node_t& node) {
  return RequestSource() == NC_DM_NODE_SRC_SDN && node.src != NC_DM_NODE_SRC_SDN;
}

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_TREE_NODE_SOURCE_H_
