// The data model of the switch: which paths it has, and what each callback does to the
// configuration.
#ifndef EXAMPLES_VLANS_MODEL_H_
#define EXAMPLES_VLANS_MODEL_H_

#include <string>

namespace vlans {

// Loads the configuration from `file`, where a commit will save it. False, with `error`, when it
// cannot be read.
bool UseFile(const std::string& file, std::string& error);

// Registers the model, its commit hook, and the instances that the loaded configuration holds. 0,
// or -1.
int RegisterModel();

}  // namespace vlans

#endif  // EXAMPLES_VLANS_MODEL_H_
