// Nothing throws across the C border: what runs out of memory there is a refused call.
#ifndef YANG_RUNTIME_GUARD_H_
#define YANG_RUNTIME_GUARD_H_

#include <exception>

#include "netconf_dm_agent.h"

namespace ncdm::model {

template <typename Result, typename Call>
Result Guarded(Result otherwise, Call call) {
  try {
    return call();
  } catch (const std::exception& error) {
    nc_dm_agent_dbg_msg(NC_DM_DBG_ERROR, "The model's call failed: %s.\n", error.what());
    return otherwise;
  }
}

}  // namespace ncdm::model

#endif  // YANG_RUNTIME_GUARD_H_
