// The instance ids along a walk.
#ifndef NETCONF_DM_KERNEL_READ_WALK_IDS_H_
#define NETCONF_DM_KERNEL_READ_WALK_IDS_H_

#include <algorithm>

#include "netconf_dm_kernel/tree.h"

namespace nc {

// The ids that nc_dm_get_ids gives for the leaves below a node, kept along a walk instead of
// being collected anew for each leaf. Falls back to nc_dm_get_ids where that function's result
// differs from a plain list of the ids: above 15 ids, and below an element of a leaf-list, whose id
// it takes twice.
class WalkIds {
 public:
  WalkIds() = default;
  // Of the children of `node`; none for null, the top level.
  explicit WalkIds(const nc_dm_agent_node_t* node) {
    for (const auto* at = node; at != nullptr; at = at->parent) {
      Count(at->instid);
      if (at->node_type == NC_DM_NODE_TYPE_MULT_LEAF) cnt_ = kMaxExact + 1;
    }
    nc_int32 i = cnt_;
    for (const auto* at = node; at != nullptr && IsExact(); at = at->parent) {
      if (at->instid != 0) id_[--i] = at->instid;
    }
  }

  // Goes on to the children of a child with that id, which may be 0; and back to where it was.
  void Push(nc_int64 instid) {
    if (Count(instid) && IsExact()) id_[cnt_ - 1] = instid;
  }
  nc_int32 Mark() const { return cnt_; }
  void CutTo(nc_int32 mark) { cnt_ = mark; }

  // The ids of a leaf there, as a callback takes them. 0, or the result of nc_dm_get_ids.
  int Get(nc_dm_agent_node_t* leaf, nc_dm_id_array_t* ids) const {
    const bool has_own_id = leaf->node_type == NC_DM_NODE_TYPE_MULT_LEAF;
    if (cnt_ + (has_own_id ? 1 : 0) > kMaxExact) return nc_dm_get_ids(ids, leaf);
    std::copy_n(id_, cnt_, ids->id);
    ids->cnt = cnt_;
    if (has_own_id) ids->id[ids->cnt++] = leaf->instid;
    return 0;
  }

 private:
  static constexpr nc_int32 kMaxExact = NC_DM_MAX_DEPTH - 1;

  bool IsExact() const { return cnt_ <= kMaxExact; }
  bool Count(nc_int64 instid) {
    if (instid == 0 || !IsExact()) return false;
    ++cnt_;
    return true;
  }

  nc_int32 cnt_ = 0;  // above kMaxExact: left to nc_dm_get_ids, and `id_` means nothing
  nc_int64 id_[NC_DM_MAX_DEPTH];
};

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_READ_WALK_IDS_H_
