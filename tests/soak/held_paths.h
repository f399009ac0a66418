// What the server holds of the agent, against what the application registered.
#ifndef TESTS_SOAK_HELD_PATHS_H_
#define TESTS_SOAK_HELD_PATHS_H_

#include <string>
#include <vector>

#include "server/agent.h"

namespace ncdm_test {

// A path, and an attribute of a YANG module, as lines.
std::string PathLine(const std::string& path, int attributes);
std::string YangLine(const std::string& module, int type, const std::string& value);

// The paths and YANG attributes of the device's model, one line each, sorted.
std::vector<std::string> RegisteredModel();

// What the server holds, in the same form.
std::vector<std::string> HeldModel(const ncdm::server::Agent& agent);

}  // namespace ncdm_test

#endif  // TESTS_SOAK_HELD_PATHS_H_
