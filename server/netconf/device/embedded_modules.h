// The protocol's own YANG modules, compiled in from the files of the machine that builds.
#ifndef NCDM_SERVER_NETCONF_DEVICE_EMBEDDED_MODULES_H_
#define NCDM_SERVER_NETCONF_DEVICE_EMBEDDED_MODULES_H_

#include <vector>

namespace ncdm::netconf {

struct EmbeddedModule {
  const char* name;
  const char* text;
};

// In the order in which they are to be loaded.
const std::vector<EmbeddedModule>& EmbeddedModules();

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_EMBEDDED_MODULES_H_
