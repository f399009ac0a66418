// The list entries that come and go by themselves: interfaces, their addresses, the name servers.
//
// The library addresses an entry by a positive number that the application chooses and that stays
// the same for the entry's life. An interface brings one along, the kernel's index; addresses and
// name servers are given the next free one when they are first seen.
#ifndef EXAMPLES_INTERFACES_INSTANCES_H_
#define EXAMPLES_INTERFACES_INSTANCES_H_

namespace instances {

// Compares the machine with what the model holds; puts in what has come and drops what has gone.
void Refresh();

}  // namespace instances

#endif  // EXAMPLES_INTERFACES_INSTANCES_H_
