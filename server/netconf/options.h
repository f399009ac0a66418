// The command line of ncdm-netconf.
#ifndef NCDM_SERVER_NETCONF_OPTIONS_H_
#define NCDM_SERVER_NETCONF_OPTIONS_H_

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace ncdm::netconf {

struct ProgramOptions {
  std::string root;
  std::uint16_t port = 0;
  std::string address;
  std::vector<std::string> host_keys;
  std::string authorized_keys;
  std::string user;  // empty: any
  std::string yang;
  std::string notice;  // what --help or --version prints; empty when neither was asked for
};

// The text is one line.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Throws UsageError.
ProgramOptions ParseOptions(int argc, const char* const* argv);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_OPTIONS_H_
