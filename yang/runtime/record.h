// Records: the leaves that one has, and the texts that tell an entry from another.
#ifndef YANG_RUNTIME_RECORD_H_
#define YANG_RUNTIME_RECORD_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "ncdm_model.h"

namespace ncdm::model {

inline std::span<const ncdm_leaf_t> Leaves(const ncdm_node_t& node) {
  return {node.leaves, node.leaf_count};
}

inline std::span<const ncdm_node_t* const> Nodes(const ncdm_model_t& model) {
  return {model.nodes, model.node_count};
}

inline bool IsKey(const ncdm_leaf_t& leaf) { return (leaf.flags & NCDM_LEAF_KEY) != 0; }
inline bool IsConfig(const ncdm_leaf_t& leaf) { return (leaf.flags & NCDM_LEAF_CONFIG) != 0; }
inline bool IsMandatory(const ncdm_leaf_t& leaf) { return (leaf.flags & NCDM_LEAF_MANDATORY) != 0; }

inline std::span<const ncdm_case_t> Cases(const ncdm_leaf_t& leaf) {
  return {leaf.cases, leaf.case_count};
}

inline std::span<const ncdm_case_t> Cases(const ncdm_node_t& node) {
  return {node.cases, node.case_count};
}

// True if the node stands somewhere in the other.
bool IsBelow(const ncdm_node_t& node, const ncdm_node_t& outer);

// True if they are two cases of one choice.
inline bool Exclude(const ncdm_case_t& one, const ncdm_case_t& other) {
  return one.choice == other.choice && one.branch != other.branch;
}

// The leaf of a name, or null.
const ncdm_leaf_t* LeafOfName(const ncdm_node_t& node, std::string_view name);

inline const void* Member(const ncdm_leaf_t& leaf, const void* record) {
  return static_cast<const std::byte*>(record) + leaf.offset;
}
inline void* Member(const ncdm_leaf_t& leaf, void* record) {
  return static_cast<std::byte*>(record) + leaf.offset;
}

bool HasValue(const ncdm_leaf_t& leaf, const void* record);

// Says that a leaf has a value, which ends those of a choice's other cases.
void SetHasValue(const ncdm_node_t& node, const ncdm_leaf_t& leaf, void* record);

// Takes a leaf's value away, or gives it the default's. False when there was none to take.
bool Reset(const ncdm_leaf_t& leaf, void* record);

// The canonical texts of an entry's keys, one string for all.
std::string KeyText(const ncdm_node_t& node, const void* record);

// The number that is an entry's only key.
int64_t KeyNumber(const ncdm_node_t& node, const void* record);

}  // namespace ncdm::model

#endif  // YANG_RUNTIME_RECORD_H_
