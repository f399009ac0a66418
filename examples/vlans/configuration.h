// The file that the switch's configuration survives restarts in.
//
// A generated application has a data file of its own kind; the demo's is older, and shows how an
// application keeps its own: it walks the records that the model holds.
#ifndef EXAMPLES_VLANS_CONFIGURATION_H_
#define EXAMPLES_VLANS_CONFIGURATION_H_

#include <string>

namespace vlans {

// Puts what the file holds into the model; a file that is not there leaves it as it is. False, with
// `error`, when it cannot be understood.
bool Load(const std::string& file, std::string& error);

// Writes the file so that a crash leaves the old content or the new, never a part of it.
bool Save(const std::string& file, std::string& error);

}  // namespace vlans

#endif  // EXAMPLES_VLANS_CONFIGURATION_H_
