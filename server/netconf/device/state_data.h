// The protocol's own state: the YANG library (RFC 7895, RFC 8525) and the monitoring of sessions,
// schemas and datastores (RFC 6022).
#ifndef NCDM_SERVER_NETCONF_DEVICE_STATE_DATA_H_
#define NCDM_SERVER_NETCONF_DEVICE_STATE_DATA_H_

#include <string>
#include <string_view>
#include <vector>

#include "server/netconf/device/datastores.h"
#include "server/netconf/device/read.h"
#include "server/netconf/device/tree.h"
#include "server/netconf/device/yang_context.h"
#include "server/netconf/operations.h"

namespace ncdm::netconf {

class StateData {
 public:
  StateData(const YangContext& context, const Sessions& sessions);

  // Adds the protocol's data of which anything is wanted; all of it when everything is.
  void Add(const Wanted& wanted, const Datastores& datastores, Tree* tree) const;

  std::vector<std::string> Capabilities() const;

 private:
  std::string Monitoring(const Datastores& datastores) const;
  void AddXml(const std::string& xml, Tree* tree) const;

  const YangContext& context_;
  const Sessions& sessions_;
  Tree library_;
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_STATE_DATA_H_
