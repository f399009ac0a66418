#include "netconf_dm_stub/value_node.h"

#include <cstdlib>
#include <cstring>

namespace nc {
namespace {

char* CopyText(std::string_view text) {
  auto* copy = static_cast<char*>(malloc(text.size() + 1));
  if (copy == nullptr) return nullptr;
  memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

}  // namespace

ValueNodePtr NewValueNode(std::string_view name, std::string_view value) {
  // malloc, because calloc does not take memory from the thread's cache of freed pieces.
  ValueNodePtr node(static_cast<nc_dm_val_node_t*>(malloc(sizeof(nc_dm_val_node_t))));
  if (node == nullptr) return nullptr;
  *node = {};
  node->val_entry.dm_name = CopyText(name);
  if (node->val_entry.dm_name == nullptr) return nullptr;
  if (value.data() == nullptr) return node;
  node->val_entry.dm_val = CopyText(value);
  return node->val_entry.dm_val != nullptr ? std::move(node) : nullptr;
}

}  // namespace nc
