// The program around the two halves: options, start, the loop, the end.
#ifndef NCDM_SERVER_NETCONF_PROGRAM_H_
#define NCDM_SERVER_NETCONF_PROGRAM_H_

#include <functional>
#include <memory>

#include "server/netconf/operations.h"

namespace ncdm::netconf {

using DeviceFunction =
    std::function<std::unique_ptr<Operations>(const DeviceOptions&, const Sessions&)>;

// Serves what `open_device` opens until SIGTERM or SIGINT. Returns the status of the program.
int RunProgram(int argc, const char* const* argv, const DeviceFunction& open_device);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_PROGRAM_H_
