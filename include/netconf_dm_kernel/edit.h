/*
 * Edits: how a request changes what the application holds.
 */
#ifndef NETCONF_DM_KERNEL_EDIT_H_
#define NETCONF_DM_KERNEL_EDIT_H_

#include "netconf_dm_kernel/records.h"
#include "netconf_dm_kernel/tree.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- The fault of a request: fault ---- */

/* Records a fault; a path (may be null) is cut at 256 characters. */
NC_DM_API void nc_dm_agent_set_fault(nc_dm_fault_t* fault, nc_dm_fault_code_t code, char* path);

/* ---- Parameter data block: edit/data_block ---- */

/* Makes an empty data block in `node->padb`; one that is there is not freed. 0, or -1. */
NC_DM_API int nc_dm_agent_create_padb(nc_dm_agent_node_t* node, int op_flag);

/* Stores a typed object in a slot. 0; -1 for a bad argument or a type that has no slot. */
NC_DM_API int nc_dm_agent_padb_set_var(nc_dm_agent_data_block_t* padb, int index, int val_type,
                                       char* value);

/* The accessors that every block carries. */
NC_DM_API bool nc_dm_agent_padb_has_int_set(void* padb, int index);
NC_DM_API bool nc_dm_agent_padb_has_str_set(void* padb, int index);
NC_DM_API unsigned long nc_dm_agent_padb_get_int_var(void* padb, int index);
NC_DM_API char* nc_dm_agent_padb_get_str_var(void* padb, int index);

/* Stamps the children whose slots are set in a block of NC_DM_CMD_OP_EDIT with a source. */
NC_DM_API void nc_dm_agent_padb_update_src(nc_dm_agent_node_t* node, nc_dm_node_src_t src);

/* ---- Key lists: edit/key_list ---- */

/* A key leaf's name and value. */
typedef struct nc_dm_key {
  list_head lst;
  char* name;  /* owned */
  char* value; /* owned */
} nc_dm_key_t;

NC_DM_API void nc_dm_agent_add_key(char* key_name, char* key_value, list_head* key_list);
NC_DM_API void nc_dm_agent_cpy_edit_list_keys(nc_dm_stub_edit_node_list_t* edit_list,
                                              list_head* key_list);
/* 0 when every key of `key_list` has its equal in `input_list`; 1 or -1 otherwise. Nothing in the
 * library calls it. */
NC_DM_API int nc_dm_agent_keys_cmp(list_head* input_list, list_head* key_list);
/* A key of copies, in no list; or null. Nothing in the library calls it. */
NC_DM_API nc_dm_key_t* nc_dm_agent_create_node_key(char* name, char* value);
NC_DM_API void nc_dm_agent_free_key_list(list_head* key_list);
/* The value of a key, borrowed; or null. */
NC_DM_API char* nc_dm_agent_get_key_value(char* key_name, list_head* key_list);

/* ---- From keys to entries: edit/entry_by_keys ---- */

/* Stamps the leaves of an entry that the edits name. */
NC_DM_API void nc_dm_agent_keys_update_src(nc_dm_agent_node_t* parent,
                                           nc_dm_stub_edit_node_list_t* edit_list,
                                           nc_dm_node_src_t src);

/* Fill `tmpname` of one edit, of all edits. 0, or -1. */
NC_DM_API int nc_dm_agent_parse_edit_last_node_name(nc_dm_stub_edit_node_t* edit_node);
NC_DM_API int nc_dm_agent_parse_edit_list_last_node_name(nc_dm_stub_edit_node_list_t* edit_list);

/* The key leaf of an entry whose value the application says is `key_value`, or null. */
NC_DM_API nc_dm_agent_node_t* nc_dm_agent_key_cont_match(nc_dm_agent_node_t* parent, char* key_name,
                                                         char* key_value);

/* The mode node of the list whose key leaf is edited, below `grandfather`; or null. */
NC_DM_API nc_dm_agent_node_t* nc_dm_agent_get_mode_node(nc_dm_stub_edit_node_t* edit_node,
                                                        nc_dm_agent_node_t* grandfather);

/* The id of the entry that has the given keys: asked of the application (get_attr), or found among
 * the tree's entries by their `get`. The id; 0 or less when there is none. */
NC_DM_API nc_int64 nc_dm_agent_get_node_instid(nc_dm_id_array_t* id_array,
                                               nc_dm_agent_node_t* mode_parent,
                                               nc_dm_agent_node_t* mode_node,
                                               list_head* in_key_list);

/* total_node - 1 of the first path when all but its last component stand in the second too;
 * otherwise 0. */
NC_DM_API int nc_dm_agent_the_same_ancestors(nc_dm_path_nodes_t* path_nodes1,
                                             nc_dm_path_nodes_t* path_nodes2);

/* ---- A request: edit/edit_entry, edit/edit_subtree ---- */

/* Edits one list entry, addressed by its key leaves. The entry's id, above 0 (a deletion may give
 * 0); on failure -1 or a value of 0 or less, with `fault` filled. */
NC_DM_API nc_int64 nc_dm_agent_edit_object(nc_int32 pkt_type,
                                           nc_dm_stub_edit_node_list_t* edit_list,
                                           nc_dm_fault_t* fault);

/* Edits leaves and containers addressed by paths and ids; consumes the list. The last result, 0 for
 * no edits; -1 on failure, with `fault` filled. */
NC_DM_API nc_int64 nc_dm_agent_edit_subtree(list_head* dm_root,
                                            nc_dm_stub_edit_node_list_t* edit_list,
                                            nc_dm_fault_t* fault);

/* ---- Leaves: edit/edit_leaf ---- */

/* Writes one leaf from a text. 0; -1; -3; or the conversion's or the callback's result. */
NC_DM_API int nc_dm_agent_set_node_val(nc_dm_agent_node_t* curr_node, nc_dm_id_array_t* id_array,
                                       char* val);
/* Write a leaf below `parent` by its path. 0, or -1. Nothing in the library calls these; they alone
 * use nc_dm_agent_set_node_val and nc_dm_agent_the_same_ancestors. */
NC_DM_API int nc_dm_agent_edit_update(nc_dm_agent_node_t* parent, nc_dm_path_nodes_t* key_path,
                                      char* path, char* value);
NC_DM_API int nc_dm_agent_edit_update_leaf_val(nc_dm_agent_node_t* node,
                                               nc_dm_path_nodes_t* path_nodes, int offset,
                                               char* value);

/* Index of the last component that all paths have in common; 0 for two equal paths. */
NC_DM_API int nc_dm_agent_filter_find_max_cmm_node_index(nc_dm_path_nodes_t* paths, int paths_num);

/* ---- Callbacks: edit/entry_callbacks, edit/delete_below, edit/edit_command ---- */

/* Create and delete an entry through its mode node's callbacks; the tree is the caller's business.
 * The callback's result, or -1. */
NC_DM_API nc_int64 nc_dm_agent_edit_create(nc_dm_agent_node_t* key_parent_mode,
                                           nc_dm_stub_edit_t* edit, int nc_op, nc_dm_fault_t* fault,
                                           nc_dm_node_src_t tmpsrc);
NC_DM_API nc_int64 nc_dm_agent_edit_delete(nc_dm_agent_node_t* key_parent, nc_dm_stub_edit_t* edit,
                                           int nc_op, nc_dm_fault_t* fault);

/* Deletes everything below a container through the callbacks, and from the tree what they deleted.
 * 0, or -1. */
NC_DM_API int nc_dm_agent_edit_delall_child(nc_dm_agent_node_t* parent, nc_dm_id_array_t* id_array,
                                            nc_dm_fault_t* fault, int erropt);

/* Carries out the edits of one entry's leaves, those with slots in one `exe_cmd`. Its result, or
 * that of the last leaf operation; -1 on failure. */
NC_DM_API nc_int64 nc_dm_agent_edit_execmd(nc_dm_agent_node_t* parent,
                                           nc_dm_stub_edit_node_list_t* edit_list, int cmd_op,
                                           nc_dm_fault_t* fault, nc_dm_node_src_t tmpsrc);

#ifdef __cplusplus
}
#endif

#endif /* NETCONF_DM_KERNEL_EDIT_H_ */
