// What the switch does itself with its configuration; the rest of the model is generated.
#ifndef EXAMPLES_VLANS_OPERATIONS_H_
#define EXAMPLES_VLANS_OPERATIONS_H_

#include <string>

namespace vlans {

// Fills in the model's operations. A commit writes to `file`; an empty name keeps nothing.
void SetOperations(const std::string& file);

}  // namespace vlans

#endif  // EXAMPLES_VLANS_OPERATIONS_H_
