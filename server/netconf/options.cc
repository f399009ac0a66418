#include "server/netconf/options.h"

#include <algorithm>
#include <string>

#include "options/parser.h"

namespace ncdm::netconf {
namespace {

std::string OneLine(std::string text) {
  text.erase(text.find_last_not_of('\n') + 1);
  std::ranges::replace(text, '\n', ' ');
  return text;
}

}  // namespace

ProgramOptions ParseOptions(int argc, const char* const* argv) {
  ProgramOptions result;
  options::Parser parser(
      "NETCONF over SSH (RFC 6241, RFC 6242) for the agents that connect to the root's socket.",
      "ncdm-netconf");
  parser.Add({
      {.names = "--root",
       .target = &result.root,
       .help = "Directory of the agents' sockets: the value that they have in TMPDIR",
       .required = true,
       .nonempty = true},
      {.names = "--port",
       .target = &result.port,
       .help = "TCP port to listen at; 0 takes a free one",
       .required = true,
       .nonempty = true},
      {.names = "--address",
       .target = &result.address,
       .help = "Numeric IP address to listen at",
       .required = true,
       .nonempty = true},
      {.names = "--hostkey",
       .target = &result.host_keys,
       .help = "Private key of the server, as ssh-keygen writes it; once for each type",
       .required = true,
       .nonempty = true},
      {.names = "--authorized-keys",
       .target = &result.authorized_keys,
       .help = "Public keys that may log in: lines `type base64 [comment]`",
       .required = true,
       .nonempty = true},
  });
  parser.SetVersion("ncdm-netconf " NCDM_VERSION);
  parser.Add({
      {.names = "--user",
       .target = &result.user,
       .help = "The one name that may log in; any without it",
       .nonempty = true},
      {.names = "--yang",
       .target = &result.yang,
       .help = "Directory of the device's YANG modules",
       .required = true,
       .nonempty = true},
  });
  try {
    result.notice = parser.ParseQuietly(argc, argv);
  } catch (const options::WrongUsage& error) {
    throw UsageError(OneLine(error.what()));
  }
  return result;
}

}  // namespace ncdm::netconf
