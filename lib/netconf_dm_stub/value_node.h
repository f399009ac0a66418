// The elements of a filter's answer.
#ifndef NETCONF_DM_STUB_VALUE_NODE_H_
#define NETCONF_DM_STUB_VALUE_NODE_H_

#include <cstdlib>
#include <memory>

#include "netconf_dm_kernel/records.h"

namespace nc {

struct FreeValueNode {
  void operator()(nc_dm_val_node_t* node) const {
    free(node->val_entry.dm_name);
    free(node->val_entry.dm_val);
    free(node);
  }
};
using ValueNodePtr = std::unique_ptr<nc_dm_val_node_t, FreeValueNode>;

}  // namespace nc

#endif  // NETCONF_DM_STUB_VALUE_NODE_H_
