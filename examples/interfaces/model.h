// The demo's data model: which paths it has, and where their values come from.
#ifndef EXAMPLES_INTERFACES_MODEL_H_
#define EXAMPLES_INTERFACES_MODEL_H_

// Registers every leaf of the model; what nc_dm_agent_init wants as its registration function. 0,
// or -1.
int RegisterModel();

#endif  // EXAMPLES_INTERFACES_MODEL_H_
