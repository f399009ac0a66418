/*
 * Matching: which node a path names.
 */
#ifndef NETCONF_DM_KERNEL_MATCHING_H_
#define NETCONF_DM_KERNEL_MATCHING_H_

#include "netconf_dm_kernel/tree.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Matchers: paths/match ---- */

/* The kind of the node that a match reached. */
typedef enum nc_dm_agent_match_status NC_DM_AS_INT {
  NC_DM_CLIENT_MATCH_STATUS_LEAF = 0,
  NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF = 1,
  NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF_MODE = 2,
  NC_DM_CLIENT_MATCH_STATUS_OBJECT = 3,
  NC_DM_CLIENT_MATCH_STATUS_MULT_MODE = 4, /* not returned */
  NC_DM_CLIENT_MATCH_STATUS_NO_EXIST = 5,
  NC_DM_CLIENT_MATCH_STATUS_MAX = 6 /* bad arguments */
} nc_dm_agent_match_status_t;

/* Bits of the matchers' `flag`. */
#define NC_DM_MATCH_FILL_IDS 1       /* write the ids of matched instances into the path */
#define NC_DM_MATCH_INSTANCE 2       /* an instance is meant; without effect */
#define NC_DM_MATCH_LEAF_LIST_MODE 4 /* a leaf-list's schema node is a match */
#define NC_DM_MATCH_LIST_MODE 8      /* a list's schema node is a match */

/*
 * The matchers set `*last_node` to the deepest node reached (null if none) and `match_cnt` of the
 * path to the number of components matched; the status is that of `*last_node`. A full match has
 * match_cnt equal to total_node.
 */

/* Ids stand in the path's `instances`. */
NC_DM_API nc_dm_agent_match_status_t nc_dm_agent_match(list_head* dm_root,
                                                       nc_dm_path_nodes_t* path_nodes,
                                                       nc_dm_agent_node_t** last_node, int flag);

/* Components `bg` to `mt` by name alone, normally along the schema; match_cnt is not touched.
 * Nothing in the library calls it. */
NC_DM_API nc_dm_agent_match_status_t nc_dm_agent_match_index(list_head* dm_root,
                                                             nc_dm_path_nodes_t* path_nodes,
                                                             nc_dm_agent_node_t** last_node, int bg,
                                                             int mt);

/* Ids stand in `id_array`, whose match_cnt counts those used. */
NC_DM_API nc_dm_agent_match_status_t nc_dm_agent_match_id_arr(list_head* dm_root,
                                                              nc_dm_path_nodes_t* path_nodes,
                                                              nc_dm_agent_node_t** last_node,
                                                              nc_dm_id_array_t* id_array, int flag);

/* A path to be registered, with its markers and numbers; starts at the path's match_cnt. */
NC_DM_API nc_dm_agent_match_status_t nc_dm_agent_reg_match(list_head* dm_root,
                                                           nc_dm_path_nodes_t* path_nodes,
                                                           nc_dm_agent_node_t** last_node);

/* Checks that there is room for one more child. 0, or -3 with a warning. */
NC_DM_API int nc_dm_agent_check_width(const nc_dm_agent_node_t* last_node);

/* The schema child of a name, or null. */
NC_DM_API nc_dm_agent_node_t* nc_dm_agent_search_mode_node(nc_dm_agent_node_t* parent,
                                                           char* node_name);

/* True if `parent` has an instance of that name and id. Nothing in the library calls it. */
NC_DM_API bool nc_dm_agent_has_inst_node(nc_dm_agent_node_t* parent, char* node_name,
                                         nc_int64 instid);

/* ---- Growing: paths/grow_path ---- */

/* Creates the instances that are missing along a path whose ids stand in `id_array`, and stamps the
 * nodes on it. The deepest node, or null. Nothing in the library calls it: the edits make their way
 * with what it calls, and take it back when the application accepts nothing. */
NC_DM_API nc_dm_agent_node_t* nc_dm_agent_create_nodes_check(char* path,
                                                             nc_dm_id_array_t* id_array);

#ifdef __cplusplus
}
#endif

#endif /* NETCONF_DM_KERNEL_MATCHING_H_ */
