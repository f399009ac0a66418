// An enumeration that crosses the C border may hold a number for which it has no enumerator. C++
// may not read such a number as an enumeration, so these read and store it as a number.
#ifndef NETCONF_DM_UTIL_ENUM_NUMBER_H_
#define NETCONF_DM_UTIL_ENUM_NUMBER_H_

#include <cstring>
#include <type_traits>

#include "netconf_dm_util.h"

namespace nc {

template <typename Enum>
nc_int32 EnumNumber(const Enum& value) {
  static_assert(std::is_enum_v<Enum> && sizeof(Enum) == sizeof(nc_int32));
  nc_int32 number;
  memcpy(&number, &value, sizeof(number));
  return number;
}

template <typename Enum>
void SetEnumNumber(Enum* value, nc_int32 number) {
  static_assert(std::is_enum_v<Enum> && sizeof(Enum) == sizeof(nc_int32));
  memcpy(value, &number, sizeof(number));
}

}  // namespace nc

#endif  // NETCONF_DM_UTIL_ENUM_NUMBER_H_
