// The checks that the handlers of requests have in common.
#ifndef NETCONF_DM_AGENT_REQUEST_CHECKS_H_
#define NETCONF_DM_AGENT_REQUEST_CHECKS_H_

#include "netconf_dm_kernel/bodies.h"
#include "netconf_dm_kernel/tree/ready.h"
#include "netconf_dm_util/log.h"

namespace nc {

// True if the tree has been initialized; otherwise that is logged and `fault` is filled.
inline bool CheckTree(nc_dm_fault_t* fault) {
  if (IsTreeInitialized()) return true;
  fault->fault_code = NC_DM_FAULT_CODE_INIT;
  return false;
}

// The packet type of a request; negative, with `fault` filled, when it has none.
inline int ReadPktType(nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  const int pkt_type = nc_dm_agent_decode_pkt_type(in_msg);
  if (pkt_type < 0) fault->fault_code = NC_DM_FAULT_CODE_PARSE;
  return pkt_type;
}

}  // namespace nc

#endif  // NETCONF_DM_AGENT_REQUEST_CHECKS_H_
