// A time stamp for the log, and a random number that begins with the processor's time.

#include <sys/time.h>

#include <cstdlib>
#include <ctime>

#include "netconf_dm_util.h"
#include "netconf_dm_util/log.h"

// NOLINTNEXTLINE(readability-non-const-parameter): the signature is fixed
void nc_dm_print_time(char* str) {
  if ((g_nc_dm_agent_dbg & NC_DM_DBG_TIMING) == 0) return;
  timeval now = {};
  gettimeofday(&now, nullptr);
  NC_DM_SYSLOG("%s current time sec: %ld, usec: %ld\n", str == nullptr ? "" : str,
               static_cast<long>(now.tv_sec), static_cast<long>(now.tv_usec));
}

int nc_dm_rand(void) {
  srandom(static_cast<unsigned>(clock()));
  return static_cast<int>(random());
}
