// The transport as a program, without a device behind it.
#include "server/netconf/program.h"
#include "tests/server/netconf/fake_operations.h"

int main(int argc, char** argv) {
  using ncdm::netconf::FakeOperations;
  return ncdm::netconf::RunProgram(
      argc, argv,
      [](const ncdm::netconf::DeviceOptions& /*options*/, const ncdm::netconf::Sessions& sessions) {
        return std::make_unique<FakeOperations>(&sessions);
      });
}
