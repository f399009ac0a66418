// A pseudo-random number that begins with the processor's time.

#include <cstdlib>
#include <ctime>

#include "netconf_dm_util.h"

int nc_dm_rand(void) {
  srandom(static_cast<unsigned>(clock()));
  return static_cast<int>(random());
}
