/*
 * Requests, answers and registrations, between their decoding and their end.
 *
 * Records of malloc memory own their strings; each kind has its nc_dm_agent_free_* function
 * (bodies.h).
 */
#ifndef NETCONF_DM_KERNEL_RECORDS_H_
#define NETCONF_DM_KERNEL_RECORDS_H_

#include <pthread.h>
#include <stdbool.h>

#include "netconf_dm_util.h"

#ifdef __cplusplus
extern "C" {
#endif

#define NC_DM_REG_ATTR_INDEX 16    /* bit of an announced attribute: the leaf has a slot */
#define NC_DM_REG_ATTR_RESTART 128 /* attribute of REG_NAME: this client has run before */

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
  list_head lst;                    /* in edit_head */
  list_head ky_lst;                 /* in key_head; key leaves alone */
  nc_dm_stub_edit_t* edit;          /* owned */
  struct nc_dm_agent_node* tmpnode; /* the node that it applies to; borrowed work field */
  char* tmpname;                    /* last component of the path; owned, null until asked for */
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

  /* Internal; not part of the documented record. Of an attribute in the tree: false when no
   * announcement of it waits. */
  bool queued;
} nc_dm_yang_attr_t;

/* A pending registration. */
typedef struct nc_dm_stub_reg {
  list_head list;
  nc_dm_msg_type_t type; /* REG, UNREG, REG_YANG_ATTR, REG_CPLT, REG_OBJ or UNREG_OBJ */
  nc_int32 attr;
  nc_dm_node_src_t src; /* of REG_OBJ */
  char* name;           /* a path, or the client's name; owned */
  void* other;          /* nc_dm_yang_attr_t of REG_YANG_ATTR, owned */

  /* Internal; not part of the documented record. Queued by a repetition of the tree, so that the
   * next one takes its place. */
  bool repeated;
} nc_dm_stub_reg_t;

/* The pending registrations, first in first out. */
typedef struct nc_dm_stub_reg_list {
  pthread_mutex_t list_mutex;
  list_head reg_list;
} nc_dm_stub_reg_list_t;

NC_DM_API extern nc_dm_stub_reg_list_t g_nc_dm_reg_list;

#ifdef __cplusplus
}
#endif

#endif /* NETCONF_DM_KERNEL_RECORDS_H_ */
