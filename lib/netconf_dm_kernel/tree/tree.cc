// The tree record and its start.

#include "netconf_dm_kernel/tree.h"

#include <pthread.h>

#include "netconf_dm_kernel/context.h"
#include "netconf_dm_kernel/tree/sibling_list.h"
#include "netconf_dm_util/intrusive_list.h"

// Empty lists also before the start, so that a search then finds nothing.
constinit nc_dm_t g_nc_agent_dm = [] {
  nc_dm_t dm{};
  dm.dm_root = {&g_nc_agent_dm.dm_root, &g_nc_agent_dm.dm_root};
  dm.yang_attr_lst = {&g_nc_agent_dm.yang_attr_lst, &g_nc_agent_dm.yang_attr_lst};
  return dm;
}();

namespace {

bool MakeRecursiveMutex(pthread_mutex_t* mutex, pthread_mutexattr_t* attributes) {
  return pthread_mutexattr_init(attributes) == 0 &&
         pthread_mutexattr_settype(attributes, PTHREAD_MUTEX_RECURSIVE) == 0 &&
         pthread_mutex_init(mutex, attributes) == 0;
}

}  // namespace

int nc_dm_agent_init_tree(void) {
  nc::ResetRootList();
  g_nc_agent_dm = {};
  nc::InitList(&g_nc_agent_dm.dm_root);
  nc::InitList(&g_nc_agent_dm.yang_attr_lst);
  if (!MakeRecursiveMutex(&g_nc_agent_dm.dm_mutex, &g_nc_agent_dm.dm_mattr)) return -1;
  nc::context.is_tree_ready = true;
  return 0;
}
