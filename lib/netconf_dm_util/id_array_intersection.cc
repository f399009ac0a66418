// The id arrays that two lists have in common. The lists are results of searches and may be long:
// only short ones are compared each with each.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "netconf_dm_util.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/probe_table.h"

namespace {

using Node = nc_dm_id_array_node_t;

// Below this many elements a walk is faster than filling a table.
constexpr size_t kMinIndexed = 16;

uint32_t HashOfIds(const nc_dm_id_array_t& id_array) {
  uint64_t hash = static_cast<uint64_t>(id_array.cnt);
  for (nc_int32 i = 0; i < id_array.cnt && i < NC_DM_MAX_DEPTH; ++i) {
    hash = (std::rotl(hash, 5) ^ static_cast<uint64_t>(id_array.id[i])) * 0x9E3779B97F4A7C15U;
  }
  return static_cast<uint32_t>(hash ^ (hash >> 32));
}

// The arrays of a list, to look one up. Walks the list when it is short, or when there is no memory
// for a table.
class Members {
 public:
  explicit Members(const list_head* list) : list_(list) {
    size_t count = 0;
    for ([[maybe_unused]] const Node& node : nc::Records<Node>(list)) ++count;
    has_table_ = count >= kMinIndexed && table_.Reserve(count);
    if (!has_table_) return;
    for (Node& node : nc::Records<Node>(list)) *table_.Ensure(&node.id_array) = &node;
  }

  bool Has(nc_dm_id_array_t* id_array) const {
    if (has_table_) return table_.Find(id_array) != nullptr;
    for (Node& node : nc::Records<Node>(list_)) {
      if (nc_dm_id_arrays_same(&node.id_array, id_array)) return true;
    }
    return false;
  }

 private:
  struct Rules {
    using Key = nc_dm_id_array_t*;
    static uint32_t Hash(Key id_array) { return HashOfIds(*id_array); }
    static uint32_t HashOf(const Node* slot) { return HashOfIds(slot->id_array); }
    static bool IsFree(const Node* slot) { return slot == nullptr; }
    static bool Holds(Node* slot, Key id_array) {
      return nc_dm_id_arrays_same(&slot->id_array, id_array);
    }
  };

  const list_head* list_;
  nc::ProbeTable<Node*, Rules> table_;
  bool has_table_ = false;
};

}  // namespace

void nc_dm_id_array_list_intscn(nc_dm_list_t* tmp_list, nc_dm_list_t* res_list) {
  if (tmp_list == nullptr || res_list == nullptr) return;
  // A result that has not begun and one that has become empty look the same: both take the list.
  if (nc::IsEmpty(&res_list->head)) {
    nc::MoveAll(&tmp_list->head, &res_list->head);
    return;
  }
  const Members wanted(&tmp_list->head);
  for (Node& node : nc::RecordsSafely<Node>(&res_list->head)) {
    if (wanted.Has(&node.id_array)) continue;
    nc::Unlink(&node.lst);
    free(&node);
  }
}
