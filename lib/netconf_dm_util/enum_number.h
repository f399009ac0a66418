// Enumerations cross the C border, where any number fits into them; reading one that has no
// enumerator as such is undefined here. Where the number comes from outside it is read, and stored,
// as a number.
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
