// The time spent in the application's callbacks, as the log shows it.
#ifndef NETCONF_DM_AGENT_PRINT_TIME_H_
#define NETCONF_DM_AGENT_PRINT_TIME_H_

#include "netconf_dm_util/log.h"

namespace nc {

// With the timing bit on, writes "[<what> time]:<seconds> sec." to the log and starts the time
// anew.
inline void PrintTime(const char* what, double* seconds) {
  if (!HasDebugBit(NC_DM_DBG_TIMING)) return;
  NC_DM_SYSLOG("[%s time]:%lf sec.\n", what, *seconds);
  *seconds = 0;
}

}  // namespace nc

#endif  // NETCONF_DM_AGENT_PRINT_TIME_H_
