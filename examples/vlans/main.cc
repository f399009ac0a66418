// vlans-demo: a switch whose configuration a NETCONF server changes, commits and reads back.
//
// Its model is what ncdm-yang writes from demo-vlans.yang: the records, their checks, the
// registrations. operations.cc is what the switch does itself, configuration.cc the file that the
// configuration survives restarts in.
#include <cstdio>
#include <optional>
#include <string>

#include "common/application.h"
#include "demo-vlans.h"
#include "options/parser.h"
#include "vlans/configuration.h"
#include "vlans/operations.h"

// Short of memory at its start, it ends. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
  Application application{"vlans-demo", NCDM_YANG_FILE, &demo_vlans_model, nullptr};
  std::string config_file;
  ncdm::options::Parser options{"A small switch configuration behind a NETCONF server."};
  options.Add({
      {"--name", &application.name, "name under which the server knows this process"},
      {"--yang", &application.yang_file, "YANG module of the data model"},
      {"--config", &config_file, "file that a commit writes and a start reads"},
  });
  if (const std::optional<int> status = options.Parse(argc, argv)) return *status;

  vlans::SetOperations(config_file);
  std::string error;
  if (!config_file.empty() && !vlans::Load(config_file, error)) {
    fprintf(stderr, "vlans-demo: %s\n", error.c_str());
    return 1;
  }
  return RunApplication(application);
}
