// A failure in one statement: it is logged, and the result says it to the caller.
#ifndef NETCONF_DM_UTIL_REFUSE_H_
#define NETCONF_DM_UTIL_REFUSE_H_

#include "netconf_dm_util/log.h"

namespace nc {

// Logs the text of an error, as NC_DM_LOG_ERROR does. The test of the level is not repeated where
// it is called: some hundred refusals would be kilobytes of it.
void LogRefusal(const char* message);

template <typename Result>
Result Refuse(Result result, const char* message) {
  LogRefusal(message);
  return result;
}

inline int Refuse(const char* message) { return Refuse(-1, message); }

}  // namespace nc

#endif  // NETCONF_DM_UTIL_REFUSE_H_
