/*
 * The indexes of a list's instances by id: a binary search tree, or a hash table for a list that
 * expects many. Both stand beside the sibling list, whose order is the order of creation.
 */
#ifndef NETCONF_DM_KERNEL_INDEXES_H_
#define NETCONF_DM_KERNEL_INDEXES_H_

#include "netconf_dm_kernel/tree.h"

#ifdef __cplusplus
extern "C" {
#endif

#define NC_DM_MAX_BALANCE_LEVEL 21 /* deepest recursion that still rebalances its halves */
#define NC_DM_MIN_HASH_LIMIT 10000 /* fewest expected instances that are worth a hash table */

/* ---- The records ---- */

/* Entry of an instance tree: a binary search tree by instance id that keeps the sizes of its
 * halves. */
struct nc_dm_bin_tree_node {
  nc_int64 id;
  struct nc_dm_bin_tree_node* left;   /* smaller ids */
  struct nc_dm_bin_tree_node* right;  /* larger ids */
  struct nc_dm_bin_tree_node* parent; /* null at the root */
  nc_int32 left_cnt;                  /* entries on the left */
  nc_int32 right_cnt;
  void* data; /* the instance, nc_dm_agent_node_t, not owned */

  /* Internal; not part of the documented record: the pool's slab that holds it, null for an entry
   * of malloc memory. */
  void* slab;
};

/* The instance tree of one multi-instance child name of a node. */
typedef struct nc_dm_bin_tree {
  list_head lst; /* in the node's btree_lst */
  nc_dm_bin_tree_node_t* root_byid;
  char* name; /* the child name, owned */
  void* data; /* the mode node of that name, nc_dm_agent_node_t, not owned */

  /* Internal; not part of the documented record. */
  bool is_incomplete; /* an instance of the name is in no index: its id was taken, or memory was
                         short; a search that must not miss one walks */
  bool is_extended;   /* an instance of the name is NC_DM_NODE_ORIGIN_EXTENDED, or was */
} nc_dm_bin_tree_t;

/* Entry of a bucket's chain. */
typedef struct nc_dm_hash_tab_entry_node {
  struct nc_dm_hash_tab_entry_node* next;
  nc_dm_agent_node_t* data_ptr; /* the instance, not owned */

  void* slab; /* internal, as in nc_dm_bin_tree_node */
} nc_dm_hash_tab_entry_node_t;

/* A bucket. */
typedef struct nc_dm_hash_tab_entry {
  nc_dm_hash_tab_entry_node_t* first;
} nc_dm_hash_tab_entry_t;

/* Hash table of a list's instances, owned by its mode node. */
struct nc_dm_hash_tab {
  uint32_t size_bits_num;        /* the table has 2^size_bits_num buckets */
  nc_dm_hash_tab_entry_t* table; /* null until the first instance */
};

/* ---- An instance by its id, from whichever index: instances/find_instance ---- */

/* The instance of a name and id below `parent`, or null. */
NC_DM_API nc_dm_agent_node_t* nc_dm_agent_get_mode_node_inst(nc_dm_agent_node_t* parent,
                                                             char* node_name, nc_int64 instid);

/* ---- Instance trees: instances/instance_tree ---- */

/* The entry of an id, or null. */
NC_DM_API nc_dm_bin_tree_node_t* nc_dm_agent_search_bin_tree_node_by_instid(
    nc_dm_bin_tree_node_t* root, nc_int64 instid);

/* A new entry for an instance, not inserted; or null. */
NC_DM_API nc_dm_bin_tree_node_t* nc_dm_agent_create_bin_tree_node(nc_dm_agent_node_t* node,
                                                                  nc_int64 id);
/* Frees one entry. */
NC_DM_API void nc_dm_agent_free_bin_tree_node(nc_dm_bin_tree_node_t* node);

/* The instance tree of a child name: the existing one or a new one (nothing in the library calls
 * that), and the existing one alone. Null when there is none. */
NC_DM_API nc_dm_bin_tree_t* nc_dm_agent_create_bin_tree(nc_dm_agent_node_t* node, char* btree_name);
NC_DM_API nc_dm_bin_tree_t* nc_dm_agent_get_bin_tree(nc_dm_agent_node_t* node, char* btree_name);

/* Frees the instance trees of a node, not their entries. */
NC_DM_API void nc_dm_agent_free_bin_tree_list(list_head* btree_list);

/* ---- Trees that an application changes itself: instances/application_tree ----
 * Nothing in the library calls these. The trees in a node's btree_lst are the library's to change:
 * there the counts are true after every creation and removal, an insertion leaves the root's within
 * 1 of each other, and n entries are at most 2 log2(n + 1) + 2 deep. */

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

/* ---- Instance hash tables: instances/instance_hash ---- */

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

#ifdef __cplusplus
}
#endif

#endif /* NETCONF_DM_KERNEL_INDEXES_H_ */
