#include "record.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "value.h"

namespace ncdm::model {
namespace {

// True if the leaves stand in different cases of one choice.
bool AreExclusive(const ncdm_leaf_t& one, const ncdm_leaf_t& other) {
  return std::ranges::any_of(Cases(one), [&](const ncdm_case_t& mine) {
    return std::ranges::any_of(Cases(other),
                               [&](const ncdm_case_t& theirs) { return Exclude(mine, theirs); });
  });
}

void SetFlag(const ncdm_leaf_t& leaf, void* record, bool value) {
  if (leaf.has == NCDM_ALWAYS) return;
  memcpy(static_cast<std::byte*>(record) + leaf.has, &value, sizeof value);
}

}  // namespace

bool IsBelow(const ncdm_node_t& node, const ncdm_node_t& outer) {
  const std::string_view path = node.path;
  const std::string_view prefix = outer.path;
  const std::string_view end = outer.kind == NCDM_CONTAINER ? "." : ".{i}.";
  return path.starts_with(prefix) && path.substr(prefix.size()).starts_with(end);
}

const ncdm_leaf_t* LeafOfName(const ncdm_node_t& node, std::string_view name) {
  const auto found = std::ranges::find_if(
      Leaves(node), [&](const ncdm_leaf_t& leaf) { return leaf.name == name; });
  return found == Leaves(node).end() ? nullptr : &*found;
}

bool HasValue(const ncdm_leaf_t& leaf, const void* record) {
  if (leaf.has == NCDM_ALWAYS) return true;
  return *(static_cast<const std::byte*>(record) + leaf.has) != std::byte{0};
}

void SetHasValue(const ncdm_node_t& node, const ncdm_leaf_t& leaf, void* record) {
  SetFlag(leaf, record, true);
  if (leaf.case_count == 0) return;
  for (const ncdm_leaf_t& other : Leaves(node)) {
    if (AreExclusive(leaf, other)) SetFlag(other, record, false);
  }
}

bool Reset(const ncdm_leaf_t& leaf, void* record) {
  const bool had = HasValue(leaf, record);
  SetFlag(leaf, record, false);
  memset(Member(leaf, record), 0, leaf.type->size);
  if (leaf.initial != nullptr && ReadText(*leaf.type, leaf.initial, Member(leaf, record))) {
    SetFlag(leaf, record, true);
  }
  return had;
}

std::string KeyText(const ncdm_node_t& node, const void* record) {
  std::string keys;
  for (const ncdm_leaf_t& leaf : Leaves(node)) {
    char text[NCDM_TEXT_SIZE];
    if (!IsKey(leaf) || !WriteText(*leaf.type, Member(leaf, record), text)) continue;
    keys += text;
    keys += '\0';  // in no value
  }
  return keys;
}

int64_t KeyNumber(const ncdm_node_t& node, const void* record) {
  return strtoll(KeyText(node, record).c_str(), nullptr, 10);
}

}  // namespace ncdm::model
