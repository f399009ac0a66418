// Values and paths of a request, as texts.
#ifndef TESTS_REFERENCE_REFERENCE_VALUE_H_
#define TESTS_REFERENCE_REFERENCE_VALUE_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "netconf_dm_agent.h"

namespace ncdm_test {

// Is a value a text (the other types are numbers or true and false).
bool IsTextType(nc_dm_val_type_t type);

// The canonical text of a value of a type; nothing when there is none. Without a text: what a
// cleared object reads as.
std::optional<std::string> Canonical(nc_dm_val_type_t type, const std::optional<std::string>& text);

// The components of a request's path, without list markers; nothing for a malformed path.
std::optional<std::vector<std::string>> ParsePath(std::string_view path);

}  // namespace ncdm_test

#endif  // TESTS_REFERENCE_REFERENCE_VALUE_H_
