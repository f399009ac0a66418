#ifndef TESTS_SUPPORT_DEBUG_MASK_H_
#define TESTS_SUPPORT_DEBUG_MASK_H_

#include "netconf_dm_util.h"

namespace ncdm_test {

// Sets the library's debug mask for a scope: 1 errors, 2 information, 8 packets, 16 timing.
class DebugMask {
 public:
  explicit DebugMask(int mask = 1 | 2 | 8) : before_(g_nc_dm_agent_dbg) {
    g_nc_dm_agent_dbg = mask;
  }
  DebugMask(const DebugMask&) = delete;
  DebugMask& operator=(const DebugMask&) = delete;
  ~DebugMask() { g_nc_dm_agent_dbg = before_; }

 private:
  const int before_;
};

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_DEBUG_MASK_H_
