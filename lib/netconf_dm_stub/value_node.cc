#include "netconf_dm_stub/value_node.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace nc {
namespace {

constexpr size_t kFirstOdd = sizeof(nc_dm_val_node_t) | 1;
static_assert(alignof(nc_dm_val_node_t) % 2 == 0);

// Where a text may follow one that starts at `offset`, behind its terminator.
size_t OddBehind(size_t offset, std::string_view text) { return (offset + text.size() + 1) | 1; }

char* PutText(char* place, std::string_view text) {
  memcpy(place, text.data(), text.size());
  place[text.size()] = '\0';
  return place;
}

}  // namespace

MallocPtr<nc_dm_val_node_t> NewValueNode(std::string_view name, std::string_view value) {
  const size_t value_offset = OddBehind(kFirstOdd, name);
  char* memory = static_cast<char*>(malloc(value_offset + value.size() + 1));
  if (memory == nullptr) return nullptr;
  auto* node = reinterpret_cast<nc_dm_val_node_t*>(memory);
  *node = {};
  node->val_entry.dm_name = PutText(memory + kFirstOdd, name);
  if (value.data() != nullptr) node->val_entry.dm_val = PutText(memory + value_offset, value);
  return MallocPtr<nc_dm_val_node_t>(node);
}

}  // namespace nc
