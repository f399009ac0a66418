/*
 * Reads: values, filters, and instances by the value of a leaf.
 */
#ifndef NETCONF_DM_KERNEL_READ_H_
#define NETCONF_DM_KERNEL_READ_H_

#include "netconf_dm_kernel/matching.h"
#include "netconf_dm_kernel/records.h"
#include "netconf_dm_kernel/tree.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Values: read/read_leaf, read/read_walk ---- */

/*
 * The path that the walkers are given is a work record: names from the top to the current node and
 * their ids. They leave it as they found it.
 */

/* Reads one leaf and appends its path and value. 0; -1; -3; or the callback's result. */
NC_DM_API int nc_dm_agent_get_node_val(nc_dm_list_t* list, nc_dm_agent_node_t* curr_node,
                                       nc_dm_id_array_t* id_array, nc_dm_path_nodes_t* path_nodes);
/* Reads one leaf as a new text, or null. Nothing in the library calls it. */
NC_DM_API char* nc_dm_agent_get_node_srlz_val(nc_dm_agent_node_t* node, nc_dm_id_array_t* id_array);
/* Appends a given value. 0, or -1. */
NC_DM_API int nc_dm_agent_add_path_reslist(nc_dm_list_t* list, char* value,
                                           nc_dm_path_nodes_t* path_nodes);
/* Reads the elements of one leaf-list below `parent`. 0. */
NC_DM_API int nc_dm_agent_get_mul_child_vals(nc_dm_list_t* list, nc_dm_agent_node_t* parent,
                                             char* child_name, nc_dm_id_array_t* id_array,
                                             nc_dm_path_nodes_t* path_nodes);
/* Reads every leaf of a subtree, depth first. 0, or a negative result. */
NC_DM_API int nc_dm_agent_get_nodes_vals(nc_dm_list_t* list, nc_dm_path_nodes_t* path_nodes,
                                         nc_dm_agent_node_t* curr_node);
/* Reads the subtrees at components `bg` to `mt` of a path, over all instances. */
NC_DM_API nc_dm_agent_match_status_t nc_dm_agent_match_get_vals(nc_dm_list_t* list,
                                                                list_head* dm_root,
                                                                nc_dm_path_nodes_t* path_nodes,
                                                                int bg, int mt);

/* ---- Filters: read/filter ---- */

/* Answers a filter request: appends the values of all its filters. 0, or -1. */
NC_DM_API int nc_dm_agent_filter_subtree_id_arr(nc_dm_stub_filter_node_list_t* filter_list,
                                                nc_dm_list_t* list);
/* All values below one path, by name alone. 0, or a negative result with an empty list. */
NC_DM_API int nc_dm_agent_filter_subtree(list_head* dm_root, nc_dm_stub_filter_t* filter,
                                         nc_dm_list_t* list);

/* ---- Instances by the value of a leaf: read/ids_by_value ---- */

/* Appends the id arrays of every leaf at a path whose value is `value`; `p_id_array` (may be null)
 * gives the outer ids. 0, or -1. */
NC_DM_API int nc_dm_agent_get_path_id_array_list(char* name, char* value,
                                                 nc_dm_id_array_t* p_id_array, nc_dm_list_t* list);
NC_DM_API nc_dm_agent_match_status_t nc_dm_agent_match_get_id_arrays(
    nc_dm_list_t* list, list_head* dm_root, nc_dm_path_nodes_t* path_nodes, char* value,
    nc_dm_id_array_t* p_id_array, int bg, int mt);

/* ---- For applications, unused by the library: paths/application_matchers ---- */

/* The child of a name whose value the application says is `child_value`, or null. */
NC_DM_API nc_dm_agent_node_t* nc_dm_agent_child_cont_match(nc_dm_id_array_t* id_array,
                                                           nc_dm_agent_node_t* node,
                                                           char* child_name, char* child_value);
/* Reads the subtrees at the components from `index` on below `node`. 0; -1 when nothing matches; or
 * the walk's result. */
NC_DM_API int nc_dm_agent_child_nodes_match(nc_dm_agent_node_t* node,
                                            nc_dm_path_nodes_t* path_nodes, nc_dm_list_t* list,
                                            nc_dm_stub_filter_node_t* match_node, int index);
/* True if any node below `ancestor` has the name of `node`. */
NC_DM_API bool nc_dm_agent_is_descendant(nc_dm_agent_node_t* ancestor, nc_dm_agent_node_t* node);

#ifdef __cplusplus
}
#endif

#endif /* NETCONF_DM_KERNEL_READ_H_ */
