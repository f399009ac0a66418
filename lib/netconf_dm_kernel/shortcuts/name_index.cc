#include "netconf_dm_kernel/shortcuts/name_index.h"

#include <cstdlib>
#include <memory>
#include <new>

#include "netconf_dm_kernel/tree/node_kind.h"

namespace nc {
namespace {

// The slot of a name, a new one if need be, which the caller fills at once. Null when memory is
// short.
NameSlot* EnsureSlot(nc_dm_name_index* index, const char* name) {
  const NameRules::Key key(name);
  NameSlot* slot = index->names.Ensure(key);
  if (slot != nullptr) slot->hash = key.hash;
  return slot;
}

}  // namespace

nc_dm_name_index* NewNameIndex() {
  void* memory = malloc(sizeof(nc_dm_name_index));
  if (memory == nullptr) return nullptr;
  return new (memory) nc_dm_name_index{};
}

void FreeNameIndex(nc_dm_name_index* index) {
  if (index == nullptr) return;
  std::destroy_at(index);
  free(index);
}

bool EnterChild(nc_dm_name_index* index, nc_dm_agent_node_t* node) {
  NameSlot* slot = EnsureSlot(index, node->node_name);
  if (slot == nullptr) return false;
  if (slot->first == nullptr) slot->first = node;
  slot->last = node;
  if (!IsCopiedInstance(*node)) ++slot->originals;
  ++index->children;
  return true;
}

bool EnterTree(nc_dm_name_index* index, nc_dm_bin_tree_t* tree) {
  NameSlot* slot = EnsureSlot(index, tree->name);
  if (slot == nullptr) return false;
  if (slot->tree == nullptr) slot->tree = tree;
  return true;
}

bool LeaveChild(nc_dm_name_index* index, const nc_dm_agent_node_t& node) {
  NameSlot* slot = FindSlot(*index, node.node_name);
  if (slot == nullptr || slot->first == nullptr) return false;
  if (slot->first == &node) slot->first = node.next_same;
  if (slot->last == &node) slot->last = node.prev_same;
  if (!IsCopiedInstance(node)) --slot->originals;
  --index->children;
  if (slot->Name() == nullptr) index->names.Erase(slot);
  return true;
}

}  // namespace nc
