// The ids that an id array holds. A count that is out of range is taken for the nearest one.
#ifndef NETCONF_DM_UTIL_ID_SPAN_H_
#define NETCONF_DM_UTIL_ID_SPAN_H_

#include <algorithm>
#include <cstddef>
#include <span>

#include "netconf_dm_util.h"

namespace nc {

inline std::span<nc_int64> IdsOf(nc_dm_id_array_t* id_array) {
  return std::span(id_array->id)
      .first(static_cast<size_t>(std::clamp<nc_int32>(id_array->cnt, 0, NC_DM_MAX_DEPTH)));
}

// Appends an id; a full array stays as it is.
inline void AppendId(nc_dm_id_array_t* id_array, nc_int64 id) {
  if (id_array->cnt < 0 || id_array->cnt >= NC_DM_MAX_DEPTH) return;
  id_array->id[id_array->cnt++] = id;
}

}  // namespace nc

#endif  // NETCONF_DM_UTIL_ID_SPAN_H_
