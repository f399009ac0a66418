// The tree while a request is at work in it.
#ifndef NETCONF_DM_KERNEL_TREE_TREE_LOCK_H_
#define NETCONF_DM_KERNEL_TREE_TREE_LOCK_H_

#include "netconf_dm_kernel/tree.h"
#include "netconf_dm_util/mutex_lock.h"

namespace nc {

// Holds the tree for a request. The walk calls the application between two nodes, on the thread
// that has the lock already, so that the lock alone does not keep a callback from freeing the nodes
// that the walk stands on.
class [[nodiscard]] TreeWalk {
 public:
  TreeWalk() : lock_(&g_nc_agent_dm.dm_mutex) { ++walks_; }
  ~TreeWalk() { --walks_; }
  TreeWalk(const TreeWalk&) = delete;
  TreeWalk& operator=(const TreeWalk&) = delete;

  // True if the caller is within a walk. To be asked with the tree's lock held: no other thread
  // walks then.
  static bool IsUnderWay() { return walks_ > 0; }

 private:
  const MutexLock lock_;
  static inline int walks_ = 0;
};

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_TREE_TREE_LOCK_H_
