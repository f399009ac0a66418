// Values as the callbacks carry them, and as text.
#ifndef TESTS_INTEGRATION_TYPED_TEXT_H_
#define TESTS_INTEGRATION_TYPED_TEXT_H_

#include <string>

#include "netconf_dm_agent.h"

namespace ncdm_test {

// Typed objects and their texts, as the value types define them.
std::string TextOf(nc_dm_val_type_t type, const char* typed);
void WriteTyped(nc_dm_val_type_t type, const std::string& text, char* typed);

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_TYPED_TEXT_H_
