// The measured application: the model's registration and its callbacks, which do as little as they
// can, so that what is measured is the library.
#ifndef BENCH_AGENT_MODEL_H_
#define BENCH_AGENT_MODEL_H_

#include "bench/model.h"

namespace bench {

// What RegisterModel registers and Populate creates.
void SetModel(const Model& model);

// Registers the schema. 0, or the failing call's result.
int RegisterModel();

// Announces the entries of all lists, as the registration task does it for what an application
// queues; without the task's pauses. False when one cannot be created.
bool Populate();

}  // namespace bench

#endif  // BENCH_AGENT_MODEL_H_
