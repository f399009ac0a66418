// The kernel's view of the floor above: the request that is being served, and the totals of the
// time that callbacks take. The agent defines it (netconf_dm_agent/context.cc), over the state of
// its connection, so that nothing here has to know that.
#ifndef NETCONF_DM_KERNEL_CONTEXT_H_
#define NETCONF_DM_KERNEL_CONTEXT_H_

#include "netconf_dm_util.h"

namespace nc {

struct Context {
  const nc_dm_ds_type_t& datastore;  // of the request being served
  const bool& is_client_ready;       // the client has been initialized
  bool& is_tree_ready;               // set by the start of the tree

  // Seconds, by callback; added to while the timing bit is set.
  double& get_time;
  double& set_time;
  double& create_time;
  double& delete_time;
  double& execute_time;
};

extern const Context context;

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_CONTEXT_H_
