// The list marker, which stands in a registered path for the id of a list's entry.
#ifndef NETCONF_DM_UTIL_LIST_MARKER_H_
#define NETCONF_DM_UTIL_LIST_MARKER_H_

#include <string_view>

namespace nc {

inline constexpr std::string_view kListMarker = "{i}";

inline bool IsListMarker(std::string_view component) { return component == kListMarker; }

}  // namespace nc

#endif  // NETCONF_DM_UTIL_LIST_MARKER_H_
