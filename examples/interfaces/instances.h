// The list instances that the demo has announced, and their ids.
//
// The library addresses an entry by a positive number that the application chooses and that stays
// the same for the entry's life. An interface brings one along, the kernel's index; addresses and
// name servers are given the next free one when they are first seen.
#ifndef EXAMPLES_INTERFACES_INSTANCES_H_
#define EXAMPLES_INTERFACES_INSTANCES_H_

#include <cstdint>
#include <optional>
#include <string>

#include "interfaces/machine.h"

namespace instances {

// Compares the machine with what is announced; registers what has come and unregisters what has
// gone.
void Refresh();

// An announced address, or null.
const machine::Address* Address(int64_t interface, int64_t id);

// An announced name server.
std::optional<std::string> DnsServer(int64_t id);

}  // namespace instances

#endif  // EXAMPLES_INTERFACES_INSTANCES_H_
