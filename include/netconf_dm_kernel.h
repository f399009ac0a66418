/*
 * netconf_dm_kernel.h - the tree, its indexes, the requests' records and the connection's state.
 *
 * The tree. A node is a schema node, made when a path is registered, or an instance node, made when
 * a list entry or a leaf-list element comes into being. A list level is a mode node (the schema of
 * its entries) and, beside it under the same parent and with the same name, one instance node for
 * each entry: a copy of the mode node's schema subtree with an instance id of its own. Values are
 * not in the tree: they live in the application.
 *
 * Locking. Functions on nodes take no lock: their callers hold `dm_mutex` of g_nc_agent_dm, which
 * is recursive. `list_mutex` of g_nc_dm_reg_list guards the pending registrations and is held while
 * one is appended, and by the registration task for a whole run. The connection's state belongs to
 * the event-loop thread.
 *
 * Records of malloc memory own their strings; each kind has its nc_dm_agent_free_* function.
 */
#ifndef NETCONF_DM_KERNEL_H_
#define NETCONF_DM_KERNEL_H_

#include <pthread.h>
#include <sys/types.h>

#include "netconf_dm_inter.h"
#include "netconf_dm_util.h"

#ifdef __cplusplus
extern "C" {
#endif

#define NC_DM_MAX_WIDTH 4096       /* children of a node before registration warns */
#define NC_DM_REG_ATTR_INDEX 16    /* bit of an announced attribute: the leaf has a slot */
#define NC_DM_REG_ATTR_RESTART 128 /* attribute of REG_NAME: this client has run before */
#define NC_DM_REG_OBJ_BATCH 599    /* instance registrations applied in one run, before it pauses */
#define NC_DM_MAX_BALANCE_LEVEL 21 /* deepest recursion that still rebalances its halves */
#define NC_DM_MIN_HASH_LIMIT 10000 /* fewest expected instances that are worth a hash table */

/* ---- Tree nodes ---- */

typedef enum nc_dm_node_type {
  NC_DM_NODE_TYPE_LEAF = 1,           /* schema, and its copies in instances */
  NC_DM_NODE_TYPE_MULT_LEAF = 2,      /* instance: an element of a leaf-list */
  NC_DM_NODE_TYPE_MULT_LEAF_MODE = 3, /* schema: a leaf-list */
  NC_DM_NODE_TYPE_SINGLE_OBJECT = 4,  /* schema: a container */
  NC_DM_NODE_TYPE_MULT_OBJECT = 5,    /* instance: an entry of a list */
  NC_DM_NODE_TYPE_MULT_MODE = 6,      /* schema: a list */
  NC_DM_NODE_TYPE_MAX = 7
} nc_dm_node_type_t;

typedef struct nc_dm_agent_node nc_dm_agent_node_t;

/* Entry of an instance tree: a binary search tree by instance id that keeps the sizes of its
 * halves. */
typedef struct nc_dm_bin_tree_node {
  nc_int64 id;
  struct nc_dm_bin_tree_node* left;   /* smaller ids */
  struct nc_dm_bin_tree_node* right;  /* larger ids */
  struct nc_dm_bin_tree_node* parent; /* null at the root */
  nc_int32 left_cnt;                  /* entries on the left; for balance only, may drift */
  nc_int32 right_cnt;
  void* data; /* the instance, nc_dm_agent_node_t, not owned */
} nc_dm_bin_tree_node_t;

/* The instance tree of one multi-instance child name of a node. */
typedef struct nc_dm_bin_tree {
  list_head lst; /* in the node's btree_lst */
  nc_dm_bin_tree_node_t* root_byid;
  char* name; /* the child name, owned */
  void* data; /* the mode node of that name, nc_dm_agent_node_t, not owned */

  /* Behind the record proper: the instances of that name, in order of creation. */
  nc_dm_agent_node_t* first_inst;
  nc_dm_agent_node_t* last_inst;
} nc_dm_bin_tree_t;

/* Entry of a bucket's chain. */
typedef struct nc_dm_hash_tab_entry_node {
  struct nc_dm_hash_tab_entry_node* next;
  nc_dm_agent_node_t* data_ptr; /* the instance, not owned */
} nc_dm_hash_tab_entry_node_t;

/* A bucket. */
typedef struct nc_dm_hash_tab_entry {
  nc_dm_hash_tab_entry_node_t* first;
} nc_dm_hash_tab_entry_t;

/* Hash table of a list's instances, owned by its mode node. */
typedef struct nc_dm_hash_tab {
  uint32_t size_bits_num;        /* the table has 2^size_bits_num buckets */
  nc_dm_hash_tab_entry_t* table; /* null until the first instance */
} nc_dm_hash_tab_t;

struct nc_dm_agent_node {
  list_head lst;                  /* in the parent's sub_lst, or in dm_root */
  list_head key_lst;              /* in the parent's sub_key_lst; key leaves alone */
  nc_dm_agent_node_t* parent;     /* null at the top level */
  nc_int64 instid;                /* of an instance; 0 in schema nodes */
  int flag;                       /* NC_DM_FLAG_* bits of the registration */
  int index;                      /* slot in the data block, 0 for none */
  nc_dm_agent_data_block_t* padb; /* during one callback only */
  char* dm_path;                  /* set in a registration's template, null in the tree */
  char* node_name;                /* owned */
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
   * Behind the record proper: shortcuts that keep the cost of a request independent of the siblings
   * that it does not touch. Both may be null, and then the lists above are walked.
   */
  union {
    struct { /* an instance: its neighbours among the instances of its list, in order of creation */
      nc_dm_agent_node_t* next_inst;
      nc_dm_agent_node_t* prev_inst;
    } same_list;
    struct { /* a schema node: its schema children by name, once they are many */
      struct nc_dm_child_index* index;
      size_t child_cnt; /* children of every kind */
    } children;
  } shortcut;
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

/* ---- Instance trees ---- */

/* The entry of an id, or null. */
NC_DM_API nc_dm_bin_tree_node_t* nc_dm_agent_search_bin_tree_node_by_instid(
    nc_dm_bin_tree_node_t* root, nc_int64 instid);

/* Inserts an entry below the root, without rebalancing. 0, also when the id is there already and
 * nothing is inserted; -1 for a null argument. */
NC_DM_API int nc_dm_agent_insert_bin_tree_node(nc_dm_bin_tree_node_t* root,
                                               nc_dm_bin_tree_node_t* new_node);

/* The outermost entry on one side of `cur`, itself included; the count of that side changes by the
 * sign of `flag` in every entry passed, the last one included. */
NC_DM_API nc_dm_bin_tree_node_t* nc_dm_agent_get_bin_tree_left(nc_dm_bin_tree_node_t* cur,
                                                               int flag);
NC_DM_API nc_dm_bin_tree_node_t* nc_dm_agent_get_bin_tree_right(nc_dm_bin_tree_node_t* cur,
                                                                int flag);

/* Rebalances below `cur` by moving its root entry to the lighter side. The new root, whose parent
 * is null and which the caller links in place of `cur`; null when links and counts disagree.
 * `level`: 1. */
NC_DM_API nc_dm_bin_tree_node_t* nc_dm_agent_adjust_bin_tree(nc_dm_bin_tree_node_t* cur, int level);

/* Unlinks an entry, without freeing it. The entry that took its place (the new root when it was the
 * root), or null. */
NC_DM_API nc_dm_bin_tree_node_t* nc_dm_agent_delete_bin_tree_node(nc_dm_bin_tree_node_t* node);

/* A new entry for an instance, not inserted; or null. */
NC_DM_API nc_dm_bin_tree_node_t* nc_dm_agent_create_bin_tree_node(nc_dm_agent_node_t* node,
                                                                  nc_int64 id);
/* Frees one entry. */
NC_DM_API void nc_dm_agent_free_bin_tree_node(nc_dm_bin_tree_node_t* node);

/* The instance tree of a child name: the existing one or a new one, and the existing one alone.
 * Null when there is none. */
NC_DM_API nc_dm_bin_tree_t* nc_dm_agent_create_bin_tree(nc_dm_agent_node_t* node, char* btree_name);
NC_DM_API nc_dm_bin_tree_t* nc_dm_agent_get_bin_tree(nc_dm_agent_node_t* node, char* btree_name);

/* Frees the instance trees of a node, not their entries. */
NC_DM_API void nc_dm_agent_free_bin_tree_list(list_head* btree_list);

/* ---- Instance hash tables ---- */

/* The top `bits` bits of a multiplicative hash. */
NC_DM_API uint32_t nc_dm_hash_32(uint32_t val, unsigned bits);

/* The instance of an id, or null. */
NC_DM_API nc_dm_agent_node_t* nc_dm_agent_get_mode_node_inst_by_hash_tab(nc_dm_hash_tab_t* hash_tab,
                                                                         nc_int64 instid);
/* Enters an instance; an id that is there already stays as it is. 0, or -1. */
NC_DM_API int nc_dm_agent_insert_mode_node_inst_to_hash_tab(nc_dm_hash_tab_t* hash_tab,
                                                            nc_dm_agent_node_t* dm_node);
/* Takes an instance out, without freeing it. */
NC_DM_API void nc_dm_agent_delete_mode_node_inst_from_hash_tab(nc_dm_hash_tab_t* hash_tab,
                                                               nc_int64 instid);
/* Frees every entry and the buckets; the record stays. */
NC_DM_API void nc_dm_agent_delete_mode_node_hash_tab_all_entries(nc_dm_hash_tab_t* hash_tab);

/* ---- Nodes: creation, registration, removal ---- */

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
 * leaves without children. */
NC_DM_API void nc_dm_agent_unreg_node(nc_dm_agent_node_t* dm_node);
NC_DM_API void nc_dm_agent_unreg_nodes(nc_dm_agent_node_t* curr_node);
NC_DM_API void nc_dm_agent_unreg_parent(nc_dm_agent_node_t* curr_node);

/* ---- Parameter data block ---- */

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

/* ---- Matching ---- */

/* What a match reached. */
typedef enum nc_dm_agent_match_status {
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

/* Components `bg` to `mt` by name alone, normally along the schema; match_cnt is not touched. */
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

/* Is there room for one more child. 0, or -3 with a warning. */
NC_DM_API int nc_dm_agent_check_width(const nc_dm_agent_node_t* last_node);

/* The schema child of a name, or null. */
NC_DM_API nc_dm_agent_node_t* nc_dm_agent_search_mode_node(nc_dm_agent_node_t* parent,
                                                           char* node_name);

/* Has `parent` an instance of that name and id. */
NC_DM_API bool nc_dm_agent_has_inst_node(nc_dm_agent_node_t* parent, char* node_name,
                                         nc_int64 instid);

/* Creates the instances that are missing along a path whose ids stand in `id_array`, and stamps the
 * nodes on it. The deepest node, or null. */
NC_DM_API nc_dm_agent_node_t* nc_dm_agent_create_nodes_check(char* path,
                                                             nc_dm_id_array_t* id_array);

/* ---- Request and answer records ---- */

/* Bits of an edit's `flag` that mark it as a key leaf of the edited entry. */
#define NC_DM_EDIT_FLAG_KEYS 3

/* `op` of an edit. */
#define NC_DM_OP_NONE 0
#define NC_DM_OP_MERGE 1
#define NC_DM_OP_REPLACE 2
#define NC_DM_OP_CREATE 3
#define NC_DM_OP_DELETE 4
#define NC_DM_OP_REMOVE 5

/* `defop` of an edit. */
#define NC_DM_DEFOP_UNSET 0
#define NC_DM_DEFOP_MERGE 1
#define NC_DM_DEFOP_REPLACE 2
#define NC_DM_DEFOP_NONE 3

/* `erropt` of an edit: go on after an error; every other value stops at the first. */
#define NC_DM_ERROPT_CONTINUE 2

typedef struct nc_dm_stub_edit {
  nc_int32 pkt_type;
  nc_int32 flag;              /* bits of NC_DM_EDIT_FLAG_KEYS */
  nc_int32 op;                /* NC_DM_OP_* */
  nc_int32 defop;             /* NC_DM_DEFOP_* */
  nc_int32 erropt;            /* error option */
  nc_int32 tstopt;            /* test option; carried, not acted on */
  char* name;                 /* the path */
  char* val;                  /* the value's text, or null */
  nc_dm_id_array_t* id_array; /* ids known along the path, or null */
} nc_dm_stub_edit_t;

typedef struct nc_dm_stub_edit_node {
  list_head lst;               /* in edit_head */
  list_head ky_lst;            /* in key_head; key leaves alone */
  nc_dm_stub_edit_t* edit;     /* owned */
  nc_dm_agent_node_t* tmpnode; /* the node that it applies to; borrowed work field */
  char* tmpname;               /* last component of the path; owned, null until asked for */
} nc_dm_stub_edit_node_t;

/* One request's edits. */
typedef struct nc_dm_stub_edit_node_list {
  list_head key_head;  /* its key leaves, linked through ky_lst */
  list_head edit_head; /* all, linked through lst, in order of decoding */
  nc_int32 cnt;
} nc_dm_stub_edit_node_list_t;

typedef struct nc_dm_stub_filter {
  nc_int32 pkt_type;
  char* name;
  char* val;                  /* or null */
  nc_dm_id_array_t* id_array; /* or null */
} nc_dm_stub_filter_t;

typedef struct nc_dm_stub_filter_node {
  list_head lst;
  nc_dm_stub_filter_t* filter; /* owned */
} nc_dm_stub_filter_node_t;

/* One request's filters, or instance-id lookups. */
typedef struct nc_dm_stub_filter_node_list {
  list_head filter_head;
  nc_int32 cnt;
} nc_dm_stub_filter_node_list_t;

typedef struct nc_dm_stub_getid {
  nc_int32 pkt_type;
  char* name;
  char* val;
} nc_dm_stub_getid_t;

typedef struct nc_dm_stub_edit_rsp {
  nc_int32 pkt_type;
  nc_int64 inst; /* the instance edited, or 0 */
  nc_int32 status;
} nc_dm_stub_edit_rsp_t;

typedef struct nc_dm_stub_filter_rsp {
  nc_int32 pkt_type;
  char* name; /* or null */
  char* val;  /* or null */
} nc_dm_stub_filter_rsp_t;

typedef struct nc_dm_stub_filter_rsp_list {
  nc_int32 pkt_type;
  nc_dm_list_t* entry_list; /* nc_dm_val_node_t; borrowed */
} nc_dm_stub_filter_rsp_list_t;

typedef struct nc_dm_stub_getid_rsp {
  nc_int32 pkt_type;
  nc_dm_list_t* id_array_list; /* nc_dm_id_array_node_t; borrowed, or null */
} nc_dm_stub_getid_rsp_t;

typedef struct nc_dm_stub_reg_rsp {
  nc_int32 fault_code;
  char* name;
} nc_dm_stub_reg_rsp_t;

typedef struct nc_dm_stub_dbg {
  nc_int32 type; /* NC_DM_DBG_* bits */
  nc_int32 op;   /* 0: off, otherwise on */
} nc_dm_stub_dbg_t;

/* A path and its value. */
typedef struct nc_dm_val_entry {
  nc_int32 src;  /* nc_dm_node_src_t of the leaf */
  char* dm_name; /* instance path, owned */
  char* dm_val;  /* text, owned */
} nc_dm_val_entry_t;

typedef struct nc_dm_val_node {
  list_head lst;
  nc_dm_val_entry_t val_entry;
} nc_dm_val_node_t;

/* A registered path. */
typedef struct nc_dm_reg_entry {
  nc_int32 attr; /* `flag`, and NC_DM_REG_ATTR_INDEX */
  char* dm_path; /* owned */
} nc_dm_reg_entry_t;

typedef struct nc_dm_reg_node {
  list_head lst;
  nc_dm_reg_entry_t reg_entry;
} nc_dm_reg_node_t;

/* An attribute of a YANG module. */
typedef struct nc_dm_yang_attr {
  list_head lst;
  nc_dm_yang_attr_type_t type;
  char* module_name; /* owned */
  char* attr;        /* owned */
} nc_dm_yang_attr_t;

/* A pending registration. */
typedef struct nc_dm_stub_reg {
  list_head list;
  nc_dm_msg_type_t type; /* REG, UNREG, REG_YANG_ATTR, REG_CPLT, REG_OBJ or UNREG_OBJ */
  nc_int32 attr;
  nc_dm_node_src_t src; /* of REG_OBJ */
  char* name;           /* a path, or the client's name; owned */
  void* other;          /* nc_dm_yang_attr_t of REG_YANG_ATTR, owned */

  /* Behind the record proper: queued by a re-registration, so that the next one takes its place. */
  bool repeated;
} nc_dm_stub_reg_t;

/* The pending registrations, first in first out. */
typedef struct nc_dm_stub_reg_list {
  pthread_mutex_t list_mutex;
  list_head reg_list;
} nc_dm_stub_reg_list_t;

NC_DM_API extern nc_dm_stub_reg_list_t g_nc_dm_reg_list;

/* ---- Message bodies ---- */

/*
 * Encoders: fill a zeroed message, but for its `sid`. The caller sees to the room. 0; -1 for a null
 * argument or an unknown attribute, and the message is left as it was.
 */
NC_DM_API int nc_dm_agent_encode_reg_name(nc_dm_msg_t* dm_msg, nc_dm_stub_reg_t* name);
NC_DM_API int nc_dm_agent_encode_reg(nc_dm_msg_t* dm_msg, nc_dm_stub_reg_t* name);
NC_DM_API int nc_dm_agent_encode_unreg(nc_dm_msg_t* dm_msg, nc_dm_stub_reg_t* name);
NC_DM_API int nc_dm_agent_encode_reg_yang_attr(nc_dm_msg_t* dm_msg, nc_dm_yang_attr_t* yang_attr);
NC_DM_API int nc_dm_agent_encode_reg_cplt(nc_dm_msg_t* dm_msg);
NC_DM_API int nc_dm_agent_encode_fault(nc_dm_msg_t* dm_msg, nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_encode_edit_rsp(nc_dm_msg_t* dm_msg, nc_dm_stub_edit_rsp_t* edit_rsp);
NC_DM_API int nc_dm_agent_encode_filter_rsp(nc_dm_msg_t* dm_msg,
                                            nc_dm_stub_filter_rsp_t* filter_rsp);
NC_DM_API int nc_dm_agent_encode_getid_rsp(nc_dm_msg_t* dm_msg, nc_dm_stub_getid_rsp_t* getid_rsp);

/* The packet type of an EDIT, FILTER or GETID body, or -1. */
NC_DM_API int nc_dm_agent_decode_pkt_type(nc_dm_msg_t* dm_msg);

/*
 * Decoders: fill a zeroed record, or append to a list, from a received message. 0, or -1; after a
 * failed list the entries before the failure are in the list, which the caller releases.
 */
NC_DM_API int nc_dm_agent_decode_edit_list(nc_dm_msg_t* dm_msg,
                                           nc_dm_stub_edit_node_list_t* edit_list);
NC_DM_API int nc_dm_agent_decode_filter_list(nc_dm_msg_t* dm_msg,
                                             nc_dm_stub_filter_node_list_t* filter_list);
NC_DM_API int nc_dm_agent_decode_edit(nc_dm_msg_t* dm_msg, nc_dm_stub_edit_t* edit);
NC_DM_API int nc_dm_agent_decode_filter(nc_dm_msg_t* dm_msg, nc_dm_stub_filter_t* filter);
NC_DM_API int nc_dm_agent_decode_getid(nc_dm_msg_t* dm_msg, nc_dm_stub_getid_t* getid);
NC_DM_API int nc_dm_agent_decode_reg_rsp(nc_dm_msg_t* dm_msg, nc_dm_stub_reg_rsp_t* reg_rsp);
NC_DM_API int nc_dm_agent_decode_fault(nc_dm_msg_t* dm_msg, nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_decode_dbg(nc_dm_msg_t* dm_msg, nc_dm_stub_dbg_t* dbg);

/*
 * Release functions. Those of a record free what it holds, not the record; those of a list free its
 * elements too and leave it empty. Null is ignored; where a result is given it is 0, or -1 for
 * null.
 */
NC_DM_API void nc_dm_agent_free_val_node(nc_dm_val_node_t* val_node);
NC_DM_API void nc_dm_agent_free_reg_node(nc_dm_reg_node_t* reg_node);
NC_DM_API int nc_dm_agent_free_id_array_list(nc_dm_list_t* list);
NC_DM_API int nc_dm_agent_free_val_list(nc_dm_list_t* list);
/* Refuses a list whose count is not positive. */
NC_DM_API int nc_dm_agent_free_reg_list(nc_dm_list_t* list);
NC_DM_API void nc_dm_agent_free_getid(nc_dm_stub_getid_t* getid);
NC_DM_API void nc_dm_agent_free_filter(nc_dm_stub_filter_t* filter);
NC_DM_API void nc_dm_agent_free_edit(nc_dm_stub_edit_t* edit);
/* These two free the record inside the node, not the node. */
NC_DM_API void nc_dm_agent_free_filter_node(nc_dm_stub_filter_node_t* filter_node);
NC_DM_API void nc_dm_agent_free_edit_node(nc_dm_stub_edit_node_t* edit_node);
NC_DM_API void nc_dm_agent_free_filter_node_list(nc_dm_stub_filter_node_list_t* filter_list);
NC_DM_API void nc_dm_agent_free_edit_node_list(nc_dm_stub_edit_node_list_t* edit_list);
NC_DM_API void nc_dm_agent_free_reg(nc_dm_stub_reg_t* reg);
NC_DM_API void nc_dm_agent_free_reg_rsp(nc_dm_stub_reg_rsp_t* reg_rsp);
NC_DM_API void nc_dm_agent_free_yang_attr(nc_dm_yang_attr_t* yang_attr);
NC_DM_API void nc_dm_agent_free_fault(nc_dm_fault_t* fault);

/* ---- The server's view: pending registrations and faults ---- */

/* Queues a copy of `para` (its type, attribute and name). 0, or -1. */
NC_DM_API int nc_dm_agent_reg_server(nc_dm_stub_reg_t* para);

/* Queues a copy of a YANG attribute. 0, or -1. */
NC_DM_API int nc_dm_agent_reg_yang_attr_server(nc_dm_yang_attr_t* yang);

/* Queue all that the tree holds again: every leaf's path; every YANG attribute. 0, or a negative
 * result. */
NC_DM_API int nc_dm_agent_re_reg_server(void);
NC_DM_API int nc_dm_agent_re_reg_yang_attr_server(void);

/* Fill `list` with a nc_dm_reg_node_t for each leaf's path: of several top-level nodes, of one
 * subtree, of one leaf. 0, or a negative result. */
NC_DM_API int nc_dm_agent_get_regs_list(list_head* trees_list, nc_dm_list_t* list);
NC_DM_API int nc_dm_agent_get_nodes_regs(nc_dm_list_t* list, nc_dm_path_nodes_t* path_nodes,
                                         nc_dm_agent_node_t* curr_node);
NC_DM_API int nc_dm_agent_get_node_reg(nc_dm_list_t* list, nc_dm_path_nodes_t* path_nodes,
                                       nc_dm_agent_node_t* curr_node);

/* Records a fault; a path (may be null) is cut at 256 characters. */
NC_DM_API void nc_dm_agent_set_fault(nc_dm_fault_t* fault, nc_dm_fault_code_t code, char* path);

/* ---- Registration, below the public calls ---- */

/* Inserts a schema leaf into the tree: 0 for a new one, 1 when it was there, negative on failure.
 */
NC_DM_API int nc_dm_agent_path_reg(char* dm_name, nc_dm_val_type_t val_type, int flag, int index,
                                   nc_dm_set_fn set, nc_dm_get_fn get, nc_dm_create_fn create,
                                   nc_dm_delete_fn delete_fn, nc_dm_get_attr_fn get_attr,
                                   int (*reserved)(void), nc_dm_exe_cmd_fn exe_cmd);
NC_DM_API int nc_dm_agent_reg_in(nc_dm_agent_node_t* dm_reg, nc_dm_path_nodes_t* p_path_nodes);

/* Is the component a range "{a-b}"; its bounds. */
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

/* ---- Edits ---- */

/* A key leaf's name and value. */
typedef struct nc_dm_key {
  list_head lst;
  char* name;  /* owned */
  char* value; /* owned */
} nc_dm_key_t;

/* Key lists. */
NC_DM_API void nc_dm_agent_add_key(char* key_name, char* key_value, list_head* key_list);
NC_DM_API void nc_dm_agent_cpy_edit_list_keys(nc_dm_stub_edit_node_list_t* edit_list,
                                              list_head* key_list);
/* 0 when every key of `key_list` has its equal in `input_list`; 1 or -1 otherwise. */
NC_DM_API int nc_dm_agent_keys_cmp(list_head* input_list, list_head* key_list);
NC_DM_API nc_dm_key_t* nc_dm_agent_create_node_key(char* name, char* value);
NC_DM_API void nc_dm_agent_free_key_list(list_head* key_list);
/* The value of a key, borrowed; or null. */
NC_DM_API char* nc_dm_agent_get_key_value(char* key_name, list_head* key_list);

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

/* The instance of a name and id below `parent`, or null. */
NC_DM_API nc_dm_agent_node_t* nc_dm_agent_get_mode_node_inst(nc_dm_agent_node_t* parent,
                                                             char* node_name, nc_int64 instid);

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

/* Write a leaf below `parent` by its path. 0, or -1. */
NC_DM_API int nc_dm_agent_edit_update(nc_dm_agent_node_t* parent, nc_dm_path_nodes_t* key_path,
                                      char* path, char* value);
NC_DM_API int nc_dm_agent_edit_update_leaf_val(nc_dm_agent_node_t* node,
                                               nc_dm_path_nodes_t* path_nodes, int offset,
                                               char* value);

/* Index of the last component that all paths have in common; 0 for two equal paths. */
NC_DM_API int nc_dm_agent_filter_find_max_cmm_node_index(nc_dm_path_nodes_t* paths, int paths_num);

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

/* ---- Reads ---- */

/*
 * The path that the walkers are given is a work record: names from the top to the current node and
 * their ids. They leave it as they found it.
 */

/* Reads one leaf and appends its path and value. 0; -1; -3; or the callback's result. */
NC_DM_API int nc_dm_agent_get_node_val(nc_dm_list_t* list, nc_dm_agent_node_t* curr_node,
                                       nc_dm_id_array_t* id_array, nc_dm_path_nodes_t* path_nodes);
/* Reads one leaf as a new text, or null. */
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
/* Writes one leaf from a text. 0; -1; -3; or the conversion's or the callback's result. */
NC_DM_API int nc_dm_agent_set_node_val(nc_dm_agent_node_t* curr_node, nc_dm_id_array_t* id_array,
                                       char* val);

/* Answers a filter request: appends the values of all its filters. 0, or -1. */
NC_DM_API int nc_dm_agent_filter_subtree_id_arr(nc_dm_stub_filter_node_list_t* filter_list,
                                                nc_dm_list_t* list);
/* All values below one path, by name alone. 0, or a negative result with an empty list. */
NC_DM_API int nc_dm_agent_filter_subtree(list_head* dm_root, nc_dm_stub_filter_t* filter,
                                         nc_dm_list_t* list);
/* Appends the id arrays of every leaf at a path whose value is `value`; `p_id_array` (may be null)
 * gives the outer ids. 0, or -1. */
NC_DM_API int nc_dm_agent_get_path_id_array_list(char* name, char* value,
                                                 nc_dm_id_array_t* p_id_array, nc_dm_list_t* list);
NC_DM_API nc_dm_agent_match_status_t nc_dm_agent_match_get_id_arrays(
    nc_dm_list_t* list, list_head* dm_root, nc_dm_path_nodes_t* path_nodes, char* value,
    nc_dm_id_array_t* p_id_array, int bg, int mt);

/* The child of a name whose value the application says is `child_value`, or null. */
NC_DM_API nc_dm_agent_node_t* nc_dm_agent_child_cont_match(nc_dm_id_array_t* id_array,
                                                           nc_dm_agent_node_t* node,
                                                           char* child_name, char* child_value);
/* Reads the subtrees at the components from `index` on below `node`. 0; -1 when nothing matches; or
 * the walk's result. */
NC_DM_API int nc_dm_agent_child_nodes_match(nc_dm_agent_node_t* node,
                                            nc_dm_path_nodes_t* path_nodes, nc_dm_list_t* list,
                                            nc_dm_stub_filter_node_t* match_node, int index);
/* Has any node below `ancestor` the name of `node`. */
NC_DM_API bool nc_dm_agent_is_descendant(nc_dm_agent_node_t* ancestor, nc_dm_agent_node_t* node);

/* ---- The connection ---- */

/* State of the one connection to the server. */
typedef struct nc_dm_mng_info {
  pid_t agent_pid; /* kernel thread id of the initialising thread */
  int agent_fd;    /* the socket, -1 for none */
  double exe_time; /* seconds spent in callbacks while the timing bit is set */
  double set_time;
  double get_time;
  double del_time;
  double crt_time;
  nc_dm_ds_type_t curr_dstype;    /* datastore of the request being served */
  int (*unreg_rsp_handler)(void); /* the server has forgotten the client */
  int (*reg_rsp_handler)(void);   /* the server refused a registration */
  int (*data_commit)(char*);      /* the commit hook */
  nc_dm_msg_head_t msg_head; /* head of the request whose answer is pending; only sid is used */
  nc_dm_list_t param_list;   /* the pending answer */
  nc_dm_fault_t fault;       /* reported when a segmented answer fails */
  char recv_msg_buf[NC_DM_RECV_BUF_SIZE];
  char send_msg_buf[NC_DM_SEND_BUF_SIZE];
  char agent_name[NC_DM_MAX_NAME_LEN + 1];
  bool agent_init;      /* nc_dm_agent_init has connected or arranged to */
  bool agent_tree_init; /* the tree stands */
  bool agent_restart;   /* a client of this name ran before; until the first registration answer */
  bool local_dm_reg_over; /* the application has declared its registration complete */
} nc_dm_mng_info_t;

NC_DM_API extern nc_dm_mng_info_t g_nc_dm_mng_info;

/* What EDIT, and FILTER and GETID, segments have collected. */
NC_DM_API extern nc_dm_stub_edit_node_list_t g_nc_dm_edit_node_list;
NC_DM_API extern nc_dm_stub_filter_node_list_t g_nc_dm_filter_node_list;

/* The receive buffer, zeroed, as a message. */
NC_DM_API nc_dm_msg_t* nc_dm_agent_init_in_msg(void);

/* Sends one frame. 0; -1 for null; -2 when the connection is broken. */
NC_DM_API int nc_dm_agent_send(int fd, nc_dm_msg_t* out_msg);

/* Receives one frame and dispatches it. The dispatcher's result; -1 for a refused message; -2 when
 * the connection is broken. */
NC_DM_API int nc_dm_agent_recv(int fd);
/* Receives the body behind a head, of the types that the agent accepts. 0, -1 or -2. */
NC_DM_API int nc_dm_agent_get_msg(int fd, nc_dm_msg_t* in_msg);

/* Sends the client's name, once a connection. 0, or the send's result. */
NC_DM_API int nc_dm_agent_reg_server_name(int fd, int attr, char* client_name, nc_dm_t* client_dm);
/* Sends "mode register complete" at once. 0, or the send's result. */
NC_DM_API int nc_dm_agent_reg_server_mode_cplt(void);

/* Serves one received message; a failure is answered with a FAULT. 0, or the result of sending
 * that. */
NC_DM_API int nc_dm_agent_handle_msg(int fd, nc_dm_msg_t* in_msg);

/* Handlers of the message types. 0; negative with `fault` filled. */
NC_DM_API int nc_dm_agent_handle_msg_reg_rsp(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_handle_msg_edit(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_handle_msg_filter(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_handle_msg_unreg_client_rsp(int fd, nc_dm_msg_t* in_msg,
                                                      nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_handle_msg_getid(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_handle_msg_dbg(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_handle_msg_show(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);

/* Runs the collected filters into `result_list`, which is emptied first. 0, or a negative result.
 */
NC_DM_API int nc_dm_agent_do_filter(nc_dm_stub_filter_node_list_t* filter_list,
                                    nc_dm_list_t* result_list, nc_dm_fault_t* fault);

/* Send the next segment of an answer and take what it holds off the list. 0, or -1. */
NC_DM_API int nc_dm_agent_send_filter_rsp(int fd, nc_dm_msg_t* out_msg,
                                          nc_dm_stub_filter_rsp_list_t* filter_rsp_list);
NC_DM_API int nc_dm_agent_send_getid_rsp(int fd, nc_dm_msg_t* out_msg,
                                         nc_dm_stub_getid_rsp_t* getid_rsp);

#ifdef __cplusplus
}
#endif

#endif /* NETCONF_DM_KERNEL_H_ */
