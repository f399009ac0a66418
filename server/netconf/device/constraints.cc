#include "server/netconf/device/constraints.h"

namespace ncdm::netconf {

void CheckWhole(const YangContext& context, Tree* tree) {
  (void)context;
  (void)tree;
}

}  // namespace ncdm::netconf
