// interfaces-demo: the state of the machine that it runs on, as a NETCONF data model.
//
// Its model is what ncdm-yang writes from demo-interfaces.yang. Read the rest in this order:
// operations.cc says where each value comes from; instances.cc keeps the model told of the list
// entries that come and go; common/application.cc starts it all on an event loop.
#include <optional>

#include "common/application.h"
#include "demo-interfaces.h"
#include "interfaces/instances.h"
#include "interfaces/operations.h"
#include "options/parser.h"

// Short of memory at its start, it ends. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
  Application application{"interfaces-demo", NCDM_YANG_FILE, &demo_interfaces_model,
                          instances::Refresh};
  ncdm::options::Parser options{
      "Exposes this machine's network interfaces and system state to a NETCONF server."};
  options.Add({
      {"--name", &application.name, "name under which the server knows this process"},
      {"--yang", &application.yang_file, "YANG module of the data model"},
  });
  if (const std::optional<int> status = options.Parse(argc, argv)) return *status;

  SetOperations();
  instances::Refresh();  // what exists now is announced behind the schema
  return RunApplication(application);
}
