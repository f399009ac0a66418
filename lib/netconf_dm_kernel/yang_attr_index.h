// Attributes of YANG modules by module and kind, where many are looked up.
#ifndef NETCONF_DM_KERNEL_YANG_ATTR_INDEX_H_
#define NETCONF_DM_KERNEL_YANG_ATTR_INDEX_H_

#include <cstddef>

#include "netconf_dm_kernel/records.h"
#include "netconf_dm_util/malloc_ptr.h"

namespace nc {

// A sorted array of attributes, which it borrows.
class YangAttrIndex {
 public:
  void Add(const nc_dm_yang_attr_t* attribute);

  // Makes the attributes added so far known to Find. False when memory was too short for one.
  bool Sort();

  // The attribute of the same module and kind as `key`, or null.
  const nc_dm_yang_attr_t* Find(const nc_dm_yang_attr_t& key) const;

 private:
  bool Grow();

  MallocPtr<const nc_dm_yang_attr_t*> attributes_;
  size_t size_ = 0;
  size_t cnt_ = 0;
  bool complete_ = true;
};

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_YANG_ATTR_INDEX_H_
