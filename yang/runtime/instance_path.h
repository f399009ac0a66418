// Paths of entries, as the agent is told of them.
#ifndef YANG_RUNTIME_INSTANCE_PATH_H_
#define YANG_RUNTIME_INSTANCE_PATH_H_

#include <string>

#include "ncdm_model.h"
#include "store.h"

namespace ncdm::model {

// "vlans.vlan.10.tagged-port.1." for the ids 10 and 1.
std::string InstancePath(const ncdm_node_t& node, const Ids& ids);

}  // namespace ncdm::model

#endif  // YANG_RUNTIME_INSTANCE_PATH_H_
