// The tree's lock, as another thread finds it.
#ifndef TESTS_SUPPORT_TREE_LOCK_H_
#define TESTS_SUPPORT_TREE_LOCK_H_

#include <pthread.h>

#include <thread>

#include "netconf_dm_kernel.h"

namespace ncdm_test {

// True if another thread can have the tree.
inline bool IsTreeFree() {
  bool is_free = false;
  std::thread([&] {
    is_free = pthread_mutex_trylock(&g_nc_agent_dm.dm_mutex) == 0;
    if (is_free) pthread_mutex_unlock(&g_nc_agent_dm.dm_mutex);
  }).join();
  return is_free;
}

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_TREE_LOCK_H_
