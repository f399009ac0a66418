// Filters, by which the server reads: a list of paths with ids, or one path without.

#include "netconf_dm_kernel/bodies.h"
#include "netconf_dm_kernel/paths/request_path.h"
#include "netconf_dm_kernel/read.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/mutex_lock.h"
#include "netconf_dm_util/refuse.h"

namespace {

// A filter while it is answered.
struct Query {
  char* given_value;  // or null: the application is asked
  nc_dm_path_nodes_t path;
  nc_dm_id_array_t* ids;
};

// A leaf is read; a value that the server gave is its own answer.
void AnswerLeaf(nc_dm_list_t* list, Query* query, nc_dm_agent_node_t* leaf) {
  NC_DM_LOG_INFO("The last node name: %s\n", leaf->node_name);
  if (query->given_value != nullptr) {
    nc_dm_agent_add_path_reslist(list, query->given_value, &query->path);
  } else if (nc_dm_agent_get_node_val(list, leaf, query->ids, &query->path) != 0) {
    NC_DM_LOG_ERROR("Failed to get node '%s' value by id array!\n", leaf->node_name);
  }
}

// The whole subtree of an object that the path addresses; the path goes on over all instances below
// an object where the ids end.
void AnswerObject(nc_dm_list_t* list, Query* query, nc_dm_agent_node_t* object) {
  NC_DM_LOG_INFO("The last object node name: %s\n", object->node_name);
  nc_dm_path_nodes_t* path = &query->path;
  if (path->match_cnt == path->total_node) {
    NC_DM_LOG_INFO("The path_nodes match_cnt has reached to total_node: %d.\n", path->total_node);
    if (nc_dm_agent_get_nodes_vals(list, path, object) != 0) {
      NC_DM_LOG_ERROR("Failed to get node '%s' descendant values!\n", object->node_name);
    }
    return;
  }
  if (query->ids->match_cnt != query->ids->cnt) return;
  if (nc_dm_agent_match_get_vals(list, &object->sub_lst, path, path->match_cnt,
                                 path->total_node - 1) == NC_DM_CLIENT_MATCH_STATUS_NO_EXIST) {
    NC_DM_LOG_ERROR("Failed to get node '%s' descendant values by id array!\n", object->node_name);
  }
}

void AnswerNothing(const nc_dm_agent_node_t* last_node) {
  NC_DM_LOG_ERROR("The dm'tree don't have this instance path!\n");
  if (last_node == nullptr) {
    NC_DM_LOG_ERROR("The last node is null!\n");
  } else {
    NC_DM_LOG_ERROR("The last node name: %s\n", last_node->node_name);
  }
}

void Answer(nc_dm_list_t* list, const nc_dm_stub_filter_t* filter) {
  if (filter == nullptr) {
    NC_DM_LOG_ERROR("The current filter_node->filter is null!\n");
    return;
  }
  Query query = {};
  query.given_value = filter->val;
  if (nc::ParseRequestPath(filter->name, &query.path) != 0) {
    NC_DM_LOG_ERROR("The current filter_node->filter->name parse failed!\n");
    return;
  }
  nc_dm_id_array_t no_ids = {};
  query.ids = filter->id_array;
  if (query.ids == nullptr) {
    NC_DM_LOG_INFO("Current filter '%s' id_array is null!\n", filter->name);
    query.ids = &no_ids;
  }
  nc_dm_agent_node_t* last_node = nullptr;
  switch (nc_dm_agent_match_id_arr(&g_nc_agent_dm.dm_root, &query.path, &last_node, query.ids,
                                   NC_DM_MATCH_FILL_IDS | NC_DM_MATCH_LEAF_LIST_MODE)) {
    case NC_DM_CLIENT_MATCH_STATUS_LEAF:
    case NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF:
      return AnswerLeaf(list, &query, last_node);
    case NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF_MODE:
    case NC_DM_CLIENT_MATCH_STATUS_OBJECT:
      return AnswerObject(list, &query, last_node);
    default:
      return AnswerNothing(last_node);
  }
}

// The values below the node that a path reaches. 0, or the walk's result.
int ReadSubtree(list_head* dm_root, nc_dm_path_nodes_t* path, nc_dm_list_t* list) {
  const nc::MutexLock lock(&g_nc_agent_dm.dm_mutex);
  nc_dm_agent_node_t* last_node = nullptr;
  const nc_dm_agent_match_status_t status = nc_dm_agent_match(dm_root, path, &last_node, 0);
  NC_DM_LOG_INFO("The last node match status is: %d\n", status);
  // Components that were not matched are no part of the values' paths.
  if (last_node != nullptr) path->total_node = path->match_cnt;
  return nc_dm_agent_get_nodes_vals(list, path, last_node);
}

}  // namespace

int nc_dm_agent_filter_subtree_id_arr(nc_dm_stub_filter_node_list_t* filter_list,
                                      nc_dm_list_t* list) {
  if (filter_list == nullptr) return nc::Refuse("Input filter list parameter is null!\n");
  if (list == nullptr) return nc::Refuse("Input result list parameter is null!\n");
  if (nc::IsEmpty(&filter_list->filter_head)) return nc::Refuse("Input filter list is empty!\n");
  for (const auto& node : nc::Records<nc_dm_stub_filter_node_t>(&filter_list->filter_head)) {
    Answer(list, node.filter);
  }
  return 0;
}

int nc_dm_agent_filter_subtree(list_head* dm_root, nc_dm_stub_filter_t* filter,
                               nc_dm_list_t* list) {
  if (filter == nullptr || filter->name == nullptr || list == nullptr) {
    return nc::Refuse("Input parameter is invalid!\n");
  }
  nc_dm_path_nodes_t path;
  const int parsed = nc::ParseRequestPath(filter->name, &path);
  if (parsed != 0) return parsed;
  const int result = ReadSubtree(dm_root, &path, list);
  if (result != 0) {
    nc_dm_agent_free_val_list(list);
    return result;
  }
  NC_DM_LOG_INFO("Filter subtree successfully!\n");
  return 0;
}
