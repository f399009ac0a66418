// The path of a request: an edit, a filter or an instance-id lookup.
#ifndef NETCONF_DM_KERNEL_PATHS_REQUEST_PATH_H_
#define NETCONF_DM_KERNEL_PATHS_REQUEST_PATH_H_

#include <cstring>

#include "netconf_dm_util.h"
#include "netconf_dm_util/list_marker.h"

namespace nc {

// Drops the components "{i}". A server may write a path as it was registered, and a list marker is
// no node of its own.
inline void DropListMarkers(nc_dm_path_nodes_t* path) {
  nc_int32 kept = 0;
  for (nc_int32 i = 0; i < path->total_node; ++i) {
    if (IsListMarker(path->nodes[i])) continue;
    if (kept != i) {
      memcpy(path->nodes[kept], path->nodes[i], sizeof path->nodes[kept]);
      path->instances[kept] = path->instances[i];
    }
    ++kept;
  }
  for (nc_int32 i = kept; i < path->total_node; ++i) {
    path->nodes[i][0] = '\0';
    path->instances[i] = 0;
  }
  path->total_node = kept;
}

// Parses the path of a request into a record that it clears first. 0; the parser's result; or
// NC_DM_FAULT_CODE_PARSE for a path of list markers alone, which names no node.
inline int ParseRequestPath(char* name, nc_dm_path_nodes_t* path) {
  *path = {};
  const int result = nc_dm_parse(name, path, false);
  if (result != 0) return result;
  DropListMarkers(path);
  return path->total_node > 0 ? 0 : NC_DM_FAULT_CODE_PARSE;
}

// The last component of a parsed path.
inline char* LastNodeName(nc_dm_path_nodes_t* path) { return path->nodes[path->total_node - 1]; }

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_PATHS_REQUEST_PATH_H_
