// The id arrays that two lists have in common. The lists are results of searches and may be long:
// only short ones are compared each with each.

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "netconf_dm_util.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/malloc_ptr.h"

namespace {

using Node = nc_dm_id_array_node_t;

// Below this many elements a walk is faster than filling a table.
constexpr size_t kMinIndexed = 16;

size_t HashOf(const nc_dm_id_array_t& id_array) {
  uint64_t hash = static_cast<uint64_t>(id_array.cnt);
  for (nc_int32 i = 0; i < id_array.cnt && i < NC_DM_MAX_DEPTH; ++i) {
    hash = (std::rotl(hash, 5) ^ static_cast<uint64_t>(id_array.id[i])) * 0x9E3779B97F4A7C15U;
  }
  return static_cast<size_t>(hash ^ (hash >> 32));
}

// The arrays of a list, to look one up. Walks the list when it is short, or when there is no memory
// for a table.
class Members {
 public:
  explicit Members(const list_head* list) : list_(list) {
    size_t count = 0;
    for ([[maybe_unused]] const Node& node : nc::Records<Node>(list)) ++count;
    if (count < kMinIndexed) return;
    const size_t size = std::bit_ceil(2 * count);
    table_.reset(static_cast<Node**>(calloc(size, sizeof(Node*))));
    if (table_ == nullptr) return;
    mask_ = size - 1;
    for (Node& node : nc::Records<Node>(list)) *Find(&node.id_array) = &node;
  }

  bool Has(nc_dm_id_array_t* id_array) const {
    if (table_ != nullptr) return *Find(id_array) != nullptr;
    for (Node& node : nc::Records<Node>(list_)) {
      if (nc_dm_id_arrays_same(&node.id_array, id_array)) return true;
    }
    return false;
  }

 private:
  // The slot of an equal array, or the free one where it would stand. At least half of the slots
  // are free.
  Node** Find(nc_dm_id_array_t* id_array) const {
    size_t slot = HashOf(*id_array) & mask_;
    while (table_.get()[slot] != nullptr &&
           !nc_dm_id_arrays_same(&table_.get()[slot]->id_array, id_array)) {
      slot = (slot + 1) & mask_;
    }
    return &table_.get()[slot];
  }

  const list_head* list_;
  nc::MallocPtr<Node*> table_;
  size_t mask_ = 0;
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
