/*
 * The tree: its nodes, how they come and go.
 *
 * A node is a schema node, made when a path is registered, or an instance node, made when a list
 * entry or a leaf-list element comes into being. A list level is a mode node (the schema of its
 * entries) and, beside it under the same parent and with the same name, one instance node for each
 * entry: a copy of the mode node's schema subtree with an instance id of its own. Values are not in
 * the tree: they live in the application.
 */
#ifndef NETCONF_DM_KERNEL_TREE_H_
#define NETCONF_DM_KERNEL_TREE_H_

#include <pthread.h>
#include <stdbool.h>
#include <stdint.h>

#include "netconf_dm_util.h"

#ifdef __cplusplus
extern "C" {
#endif

#define NC_DM_MAX_WIDTH 4096 /* children of a node before registration warns */

/* ---- The records: tree/tree ---- */

typedef enum nc_dm_node_type NC_DM_AS_INT {
  NC_DM_NODE_TYPE_LEAF = 1,           /* schema, and its copies in instances */
  NC_DM_NODE_TYPE_MULT_LEAF = 2,      /* instance: an element of a leaf-list */
  NC_DM_NODE_TYPE_MULT_LEAF_MODE = 3, /* schema: a leaf-list */
  NC_DM_NODE_TYPE_SINGLE_OBJECT = 4,  /* schema: a container */
  NC_DM_NODE_TYPE_MULT_OBJECT = 5,    /* instance: an entry of a list */
  NC_DM_NODE_TYPE_MULT_MODE = 6,      /* schema: a list */
  NC_DM_NODE_TYPE_MAX = 7
} nc_dm_node_type_t;

/* The ways in which a node comes into being. */
typedef enum nc_dm_node_origin NC_DM_AS_INT {
  NC_DM_NODE_ORIGIN_APPLICATION = 0, /* the application allocated and linked it */
  NC_DM_NODE_ORIGIN_REGISTERED = 1,  /* a component of a registered path */
  NC_DM_NODE_ORIGIN_COPIED = 2,      /* an instance, or a copy of a schema node in one */
  NC_DM_NODE_ORIGIN_EXTENDED = 3     /* an instance of these below which a path was registered */
} nc_dm_node_origin_t;

typedef struct nc_dm_agent_node nc_dm_agent_node_t;
typedef struct nc_dm_bin_tree_node nc_dm_bin_tree_node_t; /* see indexes.h */
typedef struct nc_dm_hash_tab nc_dm_hash_tab_t;

/*
 * A node.
 *
 * Memory. A registered node and its name are malloc'd singly: the name may be freed and replaced by
 * an equal text. An instance and the copies of the schema below it share one block, their names
 * included: nothing of them is freed singly.
 *
 * By hand. Under the tree's lock an application may link a node of its own at the end of a list:
 * one that it allocated and cleared by `sizeof`, with malloc memory for its name. It may also
 * rename, unlink and free such a node. Nodes that the library made change by its calls alone.
 */
struct nc_dm_agent_node {
  list_head lst;                  /* in the parent's sub_lst, or in dm_root */
  list_head key_lst;              /* in the parent's sub_key_lst; key leaves alone */
  nc_dm_agent_node_t* parent;     /* null at the top level */
  nc_int64 instid;                /* of an instance; 0 in schema nodes */
  int flag;                       /* NC_DM_FLAG_* bits of the registration */
  int index;                      /* slot in the data block, 0 for none */
  nc_dm_agent_data_block_t* padb; /* during one callback only */
  char* dm_path;                  /* set in a registration's template, null in the tree */
  char* node_name;                /* see above */
  nc_dm_node_type_t node_type;
  nc_dm_val_type_t val_type;
  nc_dm_node_src_t src;
  nc_dm_bin_tree_node_t* instid_btree_node; /* an instance's entry, where there is no hash table */
  nc_dm_hash_tab_t* hash_tab;               /* of a mode node with NC_DM_FLAG_HASH_TAB */
  nc_dm_set_fn set;
  nc_dm_get_fn get;
  nc_dm_create_fn create;
  nc_dm_delete_fn NC_DM_DELETE;
  nc_dm_get_attr_fn get_attr;
  nc_dm_exe_cmd_fn exe_cmd;
  list_head btree_lst;   /* instance trees, one a multi-instance child name */
  list_head sub_lst;     /* children, in order of creation */
  list_head sub_key_lst; /* key leaves among them */

  /*
   * Internal; not part of the documented record. All zero in a node that an application made, which
   * makes it an equal: the list that holds one is walked.
   */
  nc_dm_agent_node_t* next_same; /* neighbours of the same name among the siblings, in list order */
  nc_dm_agent_node_t* prev_same;
  struct nc_dm_name_index* name_index; /* its children by name, once they are many; or null */
  uint32_t block_offset; /* bytes from the start of its entry's block; 0: memory of its own */
  uint8_t origin;        /* nc_dm_node_origin_t */
  uint8_t is_chained;    /* stands in the chain of its name, and in the parent's index if any */
  uint8_t is_walked;     /* its children: an application's node was met among them */
  uint8_t is_hashed;     /* was entered in a hash table */
};

/* The tree. */
typedef struct nc_dm {
  uint32_t total_node; /* nodes that exist, and below, by kind */
  uint32_t total_mobject;
  uint32_t total_mmode;
  uint32_t total_sobject;
  uint32_t total_leaf;
  uint32_t total_mleaf;
  uint32_t total_mlfmode;
  list_head dm_root; /* top-level nodes */
  pthread_mutex_t dm_mutex;
  pthread_mutexattr_t dm_mattr;
  list_head yang_attr_lst; /* nc_dm_yang_attr_t */
  bool registered;         /* the client's name was sent on the current connection */
} nc_dm_t;

NC_DM_API extern nc_dm_t g_nc_agent_dm;

/* Empties the tree and makes its mutex. 0, or -1. */
NC_DM_API int nc_dm_agent_init_tree(void);

/* ---- The ids on the way to a node: tree/node_ids ---- */

/* Collects the ids of a node's ancestors (and its own, for a leaf-list element) into a cleared
 * array, outermost first. 0, or -1. */
NC_DM_API int nc_dm_get_ids(nc_dm_id_array_t* id_array, nc_dm_agent_node_t* curr_node);

/* ---- Creation, registration, removal: tree/copy_subtree, paths/register_path, tree/remove ---- */

/* Creates a node below `parent_node` as a copy of the schema subtree of `src_node`, and enters an
 * instance in the index of its list. `instid` is above 0 for an instance, 0 for a schema node. The
 * node, or null. */
NC_DM_API nc_dm_agent_node_t* nc_dm_agent_create_node(nc_dm_agent_node_t* parent_node,
                                                      nc_dm_agent_node_t* src_node, nc_int64 instid,
                                                      nc_dm_node_type_t node_type,
                                                      nc_dm_node_src_t src);

/* Creates the schema nodes of a path from component `match_cnt` on, below `curr_node` (null: at the
 * top level); the leaf takes its attributes from the template `dm_reg`. 0, or the failing step's
 * result; nodes made before a failure stay. */
NC_DM_API int nc_dm_agent_reg_nodes(list_head* dm_root, nc_dm_path_nodes_t* path_nodes,
                                    nc_dm_agent_node_t* curr_node, nc_dm_agent_node_t* dm_reg);

/* Creates the schema node of component match_cnt - 1 at the end of `head`; may consume the marker
 * or number behind it. 0 and `*dm_node`, or -1. */
NC_DM_API int nc_dm_agent_reg_node(nc_dm_path_nodes_t* path_nodes, nc_dm_agent_node_t** dm_node,
                                   nc_dm_agent_node_t* dm_reg, nc_dm_agent_node_t* parent,
                                   list_head* head);

/* Remove a node without children; a subtree; a node without children and every ancestor that this
 * leaves without children, which nothing in the library calls. */
NC_DM_API void nc_dm_agent_unreg_node(nc_dm_agent_node_t* dm_node);
NC_DM_API void nc_dm_agent_unreg_nodes(nc_dm_agent_node_t* curr_node);
NC_DM_API void nc_dm_agent_unreg_parent(nc_dm_agent_node_t* curr_node);

#ifdef __cplusplus
}
#endif

#endif /* NETCONF_DM_KERNEL_TREE_H_ */
