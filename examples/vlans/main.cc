// vlans-demo: a switch whose configuration a NETCONF server changes, commits and reads back.
//
// Three ways of taking configuration stand side by side in model.cc: VLANs are applied a whole
// entry at a time, from the slots of a data block; routes are created by their key and then set
// leaf by leaf; plain leaves are set alone. configuration.cc is the data and the file that it
// survives restarts in.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "common/application.h"
#include "vlans/model.h"

// Short of memory at its start, it ends. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
  Application application{"vlans-demo", NCDM_YANG_FILE, vlans::RegisterModel, nullptr};
  std::string config_file;
  CLI::App options{"A small switch configuration behind a NETCONF server."};
  options.add_option("--name", application.name, "name under which the server knows this process");
  options.add_option("--yang", application.yang_file, "YANG module of the data model");
  options.add_option("--config", config_file, "file that a commit writes and a start reads");
  CLI11_PARSE(options, argc, argv);

  std::string error;
  if (!config_file.empty() && !vlans::UseFile(config_file, error)) {
    fprintf(stderr, "vlans-demo: %s\n", error.c_str());
    return 1;
  }
  return RunApplication(application);
}
