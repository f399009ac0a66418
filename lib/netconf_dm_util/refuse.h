// A failure in one statement: it is logged, and the result says it to the caller.
#ifndef NETCONF_DM_UTIL_REFUSE_H_
#define NETCONF_DM_UTIL_REFUSE_H_

#include "netconf_dm_util/log.h"

namespace nc {

template <typename Result>
Result Refuse(Result result, const char* message) {
  NC_DM_LOG_ERROR("%s", message);
  return result;
}

inline int Refuse(const char* message) { return Refuse(-1, message); }

}  // namespace nc

#endif  // NETCONF_DM_UTIL_REFUSE_H_
