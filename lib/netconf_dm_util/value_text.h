// The text of a typed value, without allocating: for those who compare it or copy it into memory of
// their own.
#ifndef NETCONF_DM_UTIL_VALUE_TEXT_H_
#define NETCONF_DM_UTIL_VALUE_TEXT_H_

#include <span>
#include <string_view>

#include "netconf_dm_util.h"

namespace nc {

using ValueTextBuffer = std::span<char, NC_DM_VALUE_BUF_SIZE>;

// A view into `buffer`, into the typed object itself (texts are not copied, and are cut at 256
// characters) or of a literal; it lasts as long as these do and has no terminator of its own. A
// type that has no values gives a view whose data() is null.
std::string_view ValueText(const char* typed, nc_dm_val_type_t type, ValueTextBuffer buffer);

}  // namespace nc

#endif  // NETCONF_DM_UTIL_VALUE_TEXT_H_
