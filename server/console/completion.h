// What a half typed line may go on with.
#ifndef NCDM_SERVER_CONSOLE_COMPLETION_H_
#define NCDM_SERVER_CONSOLE_COMPLETION_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "server/schema.h"

namespace ncdm::console {

using server::Schema;
using server::SchemaNode;

struct Candidate {
  std::string text;    // takes the place of the line from `begin` on
  std::string suffix;  // what is typed behind it when it is the only one: " ", "." or nothing
  friend bool operator==(const Candidate&, const Candidate&) = default;
};

struct Completion {
  std::size_t begin = 0;
  std::vector<Candidate> candidates;

  // What all candidates have in common.
  std::string CommonPrefix() const;
};

// `line` is what stands before the cursor; `schema` that of the agent in use, or null while there
// is none.
Completion Complete(std::string_view line, const Schema* schema,
                    const std::vector<std::string>& agents);

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_COMPLETION_H_
