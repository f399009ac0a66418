// What the model demands of a configuration as a whole.
#ifndef NCDM_SERVER_NETCONF_DEVICE_CONSTRAINTS_H_
#define NCDM_SERVER_NETCONF_DEVICE_CONSTRAINTS_H_

#include "server/netconf/device/tree.h"
#include "server/netconf/device/yang_context.h"

namespace ncdm::netconf {

// Throws OperationFailed when the configuration breaks a constraint.
void CheckWhole(const YangContext& context, Tree* tree);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_CONSTRAINTS_H_
