// ncdm-netconf: a NETCONF server over the agents.
#include "server/netconf/operations.h"
#include "server/netconf/program.h"

int main(int argc, char** argv) {
  return ncdm::netconf::RunProgram(argc, argv, ncdm::netconf::OpenDevice);
}
