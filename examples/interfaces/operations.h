// Where the demo's values come from: it reads the machine whenever somebody asks.
#ifndef EXAMPLES_INTERFACES_OPERATIONS_H_
#define EXAMPLES_INTERFACES_OPERATIONS_H_

// Fills in the model's operations.
void SetOperations();

#endif  // EXAMPLES_INTERFACES_OPERATIONS_H_
