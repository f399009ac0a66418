// The instance ids along a path: built, compared, copied, released.

#include <algorithm>
#include <cstdlib>
#include <span>

#include "netconf_dm_util.h"
#include "netconf_dm_util/id_span.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

using nc::IdsOf;

int nc_dm_get_id(nc_dm_id_array_t* id_array, nc_dm_path_nodes_t* path_nodes) {
  if (id_array == nullptr || path_nodes == nullptr) {
    return nc::Refuse("Input parameter is invalid!\n");
  }
  const nc_int32 components = std::min<nc_int32>(path_nodes->total_node, NC_DM_MAX_DEPTH);
  for (nc_int32 i = 0; i < components; ++i) {
    if (path_nodes->instances[i] != 0) nc::AppendId(id_array, path_nodes->instances[i]);
  }
  return 0;
}

bool nc_dm_id_arrays_same(nc_dm_id_array_t* id_array1, nc_dm_id_array_t* id_array2) {
  if (id_array1 == nullptr || id_array2 == nullptr) return id_array1 == id_array2;
  return id_array1->cnt == id_array2->cnt && std::ranges::equal(IdsOf(id_array1), IdsOf(id_array2));
}

int nc_dm_id_arrays_contain_certainly(nc_dm_id_array_t* long_arr, nc_dm_id_array_t* short_arr) {
  if (short_arr == nullptr) return long_arr == nullptr ? 0 : 1;
  if (long_arr == nullptr || long_arr->cnt < short_arr->cnt) return -1;
  const std::span<nc_int64> outer = IdsOf(short_arr);
  if (!std::ranges::equal(outer, IdsOf(long_arr).first(outer.size()))) return -1;
  return long_arr->cnt == short_arr->cnt ? 0 : 1;
}

void nc_dm_id_array_cpy(nc_dm_id_array_t* dst_id_array, nc_dm_id_array_t* src_id_array) {
  if (dst_id_array == nullptr || src_id_array == nullptr) return;
  const std::span<nc_int64> ids = IdsOf(src_id_array);
  std::ranges::copy(ids, dst_id_array->id);
  dst_id_array->cnt = static_cast<nc_int32>(ids.size());
}

void nc_dm_id_arrays_free(list_head* id_array_list) {
  if (id_array_list == nullptr) return;
  for (auto& node : nc::RecordsSafely<nc_dm_id_array_node_t>(id_array_list)) {
    nc::Unlink(&node.lst);
    free(&node);
  }
}
