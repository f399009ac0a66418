// The elements of a filter's answer.
#ifndef NETCONF_DM_STUB_VALUE_NODE_H_
#define NETCONF_DM_STUB_VALUE_NODE_H_

#include <cstdlib>
#include <string_view>

#include "netconf_dm_kernel/records.h"
#include "netconf_dm_util/malloc_ptr.h"

namespace nc {

struct FreeValueNode {
  void operator()(nc_dm_val_node_t* node) const {
    free(node->val_entry.dm_name);
    free(node->val_entry.dm_val);
    free(node);
  }
};
using ValueNodePtr = std::unique_ptr<nc_dm_val_node_t, FreeValueNode>;

// A new element with copies of the texts, in no list yet; null when memory is short. Without a
// value (null data()) the element has none.
ValueNodePtr NewValueNode(std::string_view name, std::string_view value);

}  // namespace nc

#endif  // NETCONF_DM_STUB_VALUE_NODE_H_
