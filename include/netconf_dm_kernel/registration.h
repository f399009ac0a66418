/*
 * Registrations: the queue of what waits for the registration task, and its effect on the tree.
 */
#ifndef NETCONF_DM_KERNEL_REGISTRATION_H_
#define NETCONF_DM_KERNEL_REGISTRATION_H_

#include "netconf_dm_kernel/records.h"
#include "netconf_dm_kernel/tree.h"

#ifdef __cplusplus
extern "C" {
#endif

#define NC_DM_REG_OBJ_BATCH 599 /* instance registrations applied in one run, before it pauses */

/* ---- The server's view: registration_queue, repetition, paths/registered_paths ---- */

/* Queues a copy of `para` (its type, attribute and name). 0, or -1. */
NC_DM_API int nc_dm_agent_reg_server(nc_dm_stub_reg_t* para);

/* Queues a copy of a YANG attribute. 0, or -1. Nothing in the library calls it. */
NC_DM_API int nc_dm_agent_reg_yang_attr_server(nc_dm_yang_attr_t* yang);

/* Queue all that the tree holds again: every leaf's path; every YANG attribute. 0, or a negative
 * result. */
NC_DM_API int nc_dm_agent_re_reg_server(void);
NC_DM_API int nc_dm_agent_re_reg_yang_attr_server(void);

/* Fill `list` with a nc_dm_reg_node_t for each leaf's path: of several top-level nodes; of one
 * subtree and of one leaf, which nothing in the library calls. 0, or a negative result. */
NC_DM_API int nc_dm_agent_get_regs_list(list_head* trees_list, nc_dm_list_t* list);
NC_DM_API int nc_dm_agent_get_nodes_regs(nc_dm_list_t* list, nc_dm_path_nodes_t* path_nodes,
                                         nc_dm_agent_node_t* curr_node);
NC_DM_API int nc_dm_agent_get_node_reg(nc_dm_list_t* list, nc_dm_path_nodes_t* path_nodes,
                                       nc_dm_agent_node_t* curr_node);

/* ---- Below the public calls: the agent's register_leaf, register_range, id_range,
 * register_instance, register_yang ---- */

/* Inserts a schema leaf into the tree: 0 for a new one, 1 when it was there, negative on failure.
 */
NC_DM_API int nc_dm_agent_path_reg(char* dm_name, nc_dm_val_type_t val_type, int flag, int index,
                                   nc_dm_set_fn set, nc_dm_get_fn get, nc_dm_create_fn create,
                                   nc_dm_delete_fn delete_fn, nc_dm_get_attr_fn get_attr,
                                   int (*reserved)(void), nc_dm_exe_cmd_fn exe_cmd);
/* The same of a template with its path; `p_path_nodes` is a work record. Nothing in the library
 * calls it. */
NC_DM_API int nc_dm_agent_reg_in(nc_dm_agent_node_t* dm_reg, nc_dm_path_nodes_t* p_path_nodes);

/* True if the component is a range "{a-b}"; then with its bounds. */
NC_DM_API bool nc_dm_agent_found_insts(char* node, nc_int64 insts[2]);

/* Queues the instance paths of ranges `i` to `total` - 1; `path` is a work buffer. 0, or -1. */
NC_DM_API int nc_dm_agent_assemble_reg(char* path, char name[][NC_DM_MAX_PATH_LEN + 1],
                                       nc_int64 insts[][2], int i, int total);

/* A new record for an instance path, or null. */
NC_DM_API nc_dm_stub_reg_t* nc_dm_agent_crt_reg_path(char* path, nc_dm_msg_type_t type,
                                                     nc_dm_node_src_t src);

/* Apply a pending instance registration, and removal, to the tree. 0, or a negative result; the
 * record stays the caller's. */
NC_DM_API int nc_dm_agent_reg_obj_in(nc_dm_stub_reg_t* reg_node);
NC_DM_API int nc_dm_agent_unreg_obj_in(nc_dm_stub_reg_t* reg_node);

/* The recorded attribute of a YANG module, or null. */
NC_DM_API nc_dm_yang_attr_t* nc_dm_agent_get_yang_attr(const char* name,
                                                       nc_dm_yang_attr_type_t attr);

#ifdef __cplusplus
}
#endif

#endif /* NETCONF_DM_KERNEL_REGISTRATION_H_ */
