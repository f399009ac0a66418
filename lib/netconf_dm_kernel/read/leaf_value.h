// One value of a leaf, read from the application into memory of this object.
#ifndef NETCONF_DM_KERNEL_READ_LEAF_VALUE_H_
#define NETCONF_DM_KERNEL_READ_LEAF_VALUE_H_

#include <cstddef>
#include <string_view>

#include "netconf_dm_kernel/tree.h"
#include "netconf_dm_util/malloc_ptr.h"

namespace nc {

class LeafValue {
 public:
  LeafValue() = default;
  LeafValue(const LeafValue&) = delete;
  LeafValue& operator=(const LeafValue&) = delete;

  // Calls the leaf's `get` on the cleared buffer. The callback's result.
  int Ask(const nc_dm_agent_node_t& leaf, nc_dm_id_array_t* ids);

  // The same; a failure is logged.
  int Get(const nc_dm_agent_node_t& leaf, nc_dm_id_array_t* ids);

  // True if the buffer's text, whatever the leaf's type, is longer than an application may write.
  // Such a text fills all that was cleared; other values are not searched for their end.
  bool IsTooLong() const { return buffer_[kMaxLen] != '\0' && HasNoEnd(); }

  // The value as text; null data() for a type that has no values. Valid until the next read.
  std::string_view Text(nc_dm_val_type_t type);

  // The value as a new text, to be compared; null for a type that has no values and when memory is
  // short, which is logged.
  MallocPtr<char> Serialized(nc_dm_val_type_t type);

  // All steps of reading a leaf for itself. Null data() on failure, which is logged.
  std::string_view Read(const nc_dm_agent_node_t& leaf, nc_dm_id_array_t* ids);

 private:
  static constexpr size_t kMaxLen = NC_DM_VALUE_BUF_SIZE - 2;

  bool HasNoEnd() const;

  // The application writes any typed object into it.
  alignas(std::max_align_t) char buffer_[NC_DM_VALUE_BUF_SIZE];
  char text_[NC_DM_VALUE_BUF_SIZE];
};

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_READ_LEAF_VALUE_H_
