// vlans-demo: a switch whose configuration a NETCONF server changes, commits and reads back.
//
// Its model is what ncdm-yang writes from demo-vlans.yang: the records, their checks, the
// registrations. operations.cc is what the switch does itself, configuration.cc the file that the
// configuration survives restarts in.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "common/application.h"
#include "demo-vlans.h"
#include "vlans/configuration.h"
#include "vlans/operations.h"

// Short of memory at its start, it ends. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
  Application application{"vlans-demo", NCDM_YANG_FILE, &demo_vlans_model, nullptr};
  std::string config_file;
  CLI::App options{"A small switch configuration behind a NETCONF server."};
  options.add_option("--name", application.name, "name under which the server knows this process");
  options.add_option("--yang", application.yang_file, "YANG module of the data model");
  options.add_option("--config", config_file, "file that a commit writes and a start reads");
  CLI11_PARSE(options, argc, argv);

  vlans::SetOperations(config_file);
  std::string error;
  if (!config_file.empty() && !vlans::Load(config_file, error)) {
    fprintf(stderr, "vlans-demo: %s\n", error.c_str());
    return 1;
  }
  return RunApplication(application);
}
