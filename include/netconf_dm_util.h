/*
 * netconf_dm_util.h - lists, messages, paths, limits, values: what stands below the tree.
 *
 * Nothing here keeps state between calls but the debug mask and the buffer of nc_dm_make_path, and
 * nothing here knows of the tree or the connection (nc_dm_get_ids reads a node's ancestors, no
 * more).
 *
 * Strings that a function returns are from malloc and belong to the caller, who frees them with
 * free().
 */
#ifndef NETCONF_DM_UTIL_H_
#define NETCONF_DM_UTIL_H_

#include "netconf_dm_agent.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Lists ---- */

/* Link of an intrusive doubly linked list, and its head: an empty list's head points to itself.
 * Every record that stands in a list has its link as its first member. */
typedef struct list_head {
  struct list_head* next;
  struct list_head* prev;
} list_head;

/* A list with a count. */
typedef struct nc_dm_list {
  list_head head;
  nc_int32 cnt;
} nc_dm_list_t;

struct nc_dm_agent_node;

/* ---- Messages: the frame ---- */

#define NC_DM_MSG_HEAD_SIZE 24
#define NC_DM_RECV_BUF_SIZE 2560 /* an incoming frame, head included */
#define NC_DM_SEND_BUF_SIZE 2048 /* an outgoing frame, head included */
#define NC_DM_RW_RETRIES 20      /* interrupted or would-block attempts of one transfer */

/* Kinds of message, and of pending registrations (REG_OBJ and UNREG_OBJ never travel). */
typedef enum nc_dm_msg_type NC_DM_AS_INT {
  NC_DM_MSG_TYPE_FAULT = 1,    /* to the server: a request failed */
  NC_DM_MSG_TYPE_REG = 2,      /* to the server: a path */
  NC_DM_MSG_TYPE_REG_RSP = 3,  /* from the server: how registration went */
  NC_DM_MSG_TYPE_REG_NAME = 4, /* to the server: the client's name, first on each connection */
  NC_DM_MSG_TYPE_REG_NAME_RSP = 5,
  NC_DM_MSG_TYPE_REG_YANG_ATTR = 6, /* to the server: an attribute of a YANG module */
  NC_DM_MSG_TYPE_REG_YANG_ATTR_RSP = 7,
  NC_DM_MSG_TYPE_REG_CPLT = 8, /* to the server: that was all */
  NC_DM_MSG_TYPE_UNREG = 9,    /* to the server: forget a path */
  NC_DM_MSG_TYPE_UNREG_RSP = 10,
  NC_DM_MSG_TYPE_REG_OBJ = 11,   /* local: an instance appears */
  NC_DM_MSG_TYPE_UNREG_OBJ = 12, /* local: an instance goes */
  NC_DM_MSG_TYPE_EDIT = 13,      /* from the server */
  NC_DM_MSG_TYPE_EDIT_RSP = 14,  /* to the server */
  NC_DM_MSG_TYPE_EDIT_LIST = 15,
  NC_DM_MSG_TYPE_EDIT_LIST_RSP = 16,
  NC_DM_MSG_TYPE_FILTER = 17,     /* from the server */
  NC_DM_MSG_TYPE_FILTER_RSP = 18, /* to the server */
  NC_DM_MSG_TYPE_FILTER_LIST = 19,
  NC_DM_MSG_TYPE_FILTER_LIST_RSP = 20,
  NC_DM_MSG_TYPE_UNREG_CLIENT = 21,     /* to the server: forget this client */
  NC_DM_MSG_TYPE_UNREG_CLIENT_RSP = 22, /* from the server */
  NC_DM_MSG_TYPE_GETID = 23,            /* from the server: look instances up */
  NC_DM_MSG_TYPE_GETID_RSP = 24,        /* to the server */
  NC_DM_MSG_TYPE_DBG = 25,              /* from the server: switch debug bits */
  NC_DM_MSG_TYPE_SHOW = 26,             /* from the server: dump the tree to the log */
  NC_DM_MSG_TYPE_MAX = 27
} nc_dm_msg_type_t;

/* Bits of a head's `flag`: optional fields of the body that are present. */
#define NC_DM_MSG_FLAG_NAME 1
#define NC_DM_MSG_FLAG_VALUE 2
#define NC_DM_MSG_FLAG_IDS 4

/* First field of EDIT, FILTER and GETID bodies and of their answers. */
#define NC_DM_PKT_TYPE_RSP 3            /* answer to an edit */
#define NC_DM_PKT_TYPE_FILTER 4         /* one filter, to be run now */
#define NC_DM_PKT_TYPE_OBJECT 5         /* entries of an object edit: collect */
#define NC_DM_PKT_TYPE_OBJECT_END 6     /* run the collected object edit */
#define NC_DM_PKT_TYPE_OBJECT_CMD 7     /* entries of an object edit: collect */
#define NC_DM_PKT_TYPE_OBJECT_CMD_END 8 /* run the collected object edit as one command */
#define NC_DM_PKT_TYPE_SEGMENT 9        /* collect (requests), more follows (answers) */
#define NC_DM_PKT_TYPE_END 10           /* run what was collected; last message of an answer */
#define NC_DM_PKT_TYPE_COMMIT 11        /* make the configuration lasting */

/* Datastore of a request. */
typedef enum nc_dm_ds_type NC_DM_AS_INT {
  NC_DM_DATASTORE_ERROR = 0,
  NC_DM_DATASTORE_CONFIG = 1,
  NC_DM_DATASTORE_URL = 2,
  NC_DM_DATASTORE_RUNNING = 3,
  NC_DM_DATASTORE_STARTUP = 4,
  NC_DM_DATASTORE_CANDIDATE = 5,
  NC_DM_DATASTORE_SDN = 6
} nc_dm_ds_type_t;

/* Head of a frame; every field in the host's byte order, since both ends are on one machine. */
typedef struct nc_dm_msg_head {
  nc_int32 type;      /* nc_dm_msg_type_t */
  nc_int32 sid;       /* the request's identifier, repeated by its answer */
  nc_int32 flag;      /* NC_DM_MSG_FLAG_* */
  nc_int32 entry_cnt; /* entries of a list body, otherwise 0 */
  nc_int32 ds_type;   /* nc_dm_ds_type_t of a request; 0 in what the agent sends */
  nc_int32 len;       /* bytes of the body */
} nc_dm_msg_head_t;

/* A frame. */
typedef struct nc_dm_msg {
  nc_dm_msg_head_t head;
  char buf[]; /* `len` bytes; in C++ an extension that every compiler of this library has */
} nc_dm_msg_t;

/* A length-prefixed string as it stands in a body: no terminating NUL, `len` bytes. */
typedef struct nc_dm_lv {
  nc_int32 len;
  char value[];
} nc_dm_lv_t;

/* ---- Messages: the fields of a body, and transfers: codec, transfer ---- */

/* Writers: put a field at `buf + *offset` and advance `*offset`. They do not know the buffer's
 * size: the caller bounds what it puts in. */
NC_DM_API void nc_dm_put_int32(char* buf, int* offset, nc_int32 value);
NC_DM_API void nc_dm_put_int64(char* buf, int* offset, nc_int64 value);
/* A length-prefixed string; `value_len` is its length. Writes one byte (NUL) past the field. */
NC_DM_API void nc_dm_lv_str(char* buf, int* offset, char* value, int value_len);

/* Readers: read a field of the body `msg` of `msg_len` bytes at `*decode_len` and advance it. 0; -1
 * when the field does not fit the body, or memory is short. What they allocate belongs to the
 * caller. */
NC_DM_API int nc_dm_decode_int32(nc_int32* data, nc_int32* decode_len, char* msg, nc_int32 msg_len);
NC_DM_API int nc_dm_decode_int64(nc_int64* data, nc_int32* decode_len, char* msg, nc_int32 msg_len);
/* `data_len` bytes without a length prefix, as a new NUL-terminated string. */
NC_DM_API int nc_dm_decode_str(char** data, nc_int32* decode_len, nc_int32 data_len, char* msg,
                               nc_int32 msg_len);
/* A length-prefixed string, as a new NUL-terminated string. */
NC_DM_API int nc_dm_decode_lv(char** data, nc_int32* decode_len, char* msg, nc_int32 msg_len);
/* A length-prefixed string into `data`, a zeroed buffer of at least NC_DM_MAX_PATH_LEN + 1 bytes; a
 * longer string is refused. */
NC_DM_API int nc_dm_decode_lv_non(char* data, nc_int32* decode_len, char* msg, nc_int32 msg_len);

/* The 4-byte integer at `ptr`, whatever its alignment. */
NC_DM_API nc_int32 get_int32(const void* ptr);

/* Transfer exactly `nbytes` on a descriptor. `nbytes`; 0 when the peer closed; the failing call's
 * negative result; -1 for a null `ptr`. Up to NC_DM_RW_RETRIES attempts that are interrupted or
 * would block are repeated at once. A write to a closed peer raises no signal. */
NC_DM_API int nc_dm_read(int fd, char* ptr, int nbytes);
NC_DM_API int nc_dm_write(int fd, char* ptr, int nbytes);

/* A copy of `s`; null for null, or when memory is short. */
NC_DM_API char* nc_dm_copy_str(const char* s);

/* Zeroes `size` bytes of `buf` and returns them as a message; null for a null `buf` or a size
 * below 1. */
NC_DM_API nc_dm_msg_t* nc_dm_agent_init_out_msg(char* buf, int size);

/* ---- Paths: path, decimal ---- */

/* A parsed dotted path. Clear the whole record before parsing into it. */
typedef struct nc_dm_path_nodes {
  nc_int32 total_node;                                 /* named components, 0 to 16 */
  nc_int32 match_cnt;                                  /* leading components matched; a cursor */
  nc_int64 instances[NC_DM_MAX_DEPTH];                 /* id written after component i, or 0 */
  char nodes[NC_DM_MAX_DEPTH][NC_DM_MAX_NAME_LEN + 1]; /* the components' names */
} nc_dm_path_nodes_t;

/* Splits a dotted path. With `getinst` a decimal component becomes the instance id of the component
 * before it. A single trailing dot is ignored. 0; -1 for a null argument; -4 for a malformed path.
 */
NC_DM_API int nc_dm_parse(char* dm_name, nc_dm_path_nodes_t* path_nodes, bool getinst);

/* True if the text is a decimal integer: digits, perhaps a '-' before them and blanks around them,
 * and no leading zero. */
NC_DM_API bool nc_dm_is_str_num(const char* str);

/* Reads the decimal number before the first `parse_tag` (one character) of `parse_str`;
 * `*parse_len` becomes its length and the tag's. 0, or -1. */
NC_DM_API int nc_dm_parse_str_num(char* parse_str, char* parse_tag, nc_int32* parsed_num,
                                  nc_int32* parse_len);

/* True if the first component is `root`; otherwise that is logged. For applications whose paths
 * share a root; nothing in the library calls it. */
NC_DM_API bool nc_dm_check_root(const char* root, const nc_dm_path_nodes_t* path_nodes);

/* True if the name has only letters, digits, '_', '{', '}' and, but for the first character, '-'.
 */
NC_DM_API bool nc_dm_check_c_naming(const char* name);

/* True if all components of the path are such names. */
NC_DM_API bool nc_dm_check_param_name(const nc_dm_path_nodes_t* path_nodes);

/* Joins an instance path, ids included: "a.b.3.c" for a leaf, "a.b.3.c." otherwise. 0; -1 for a
 * null argument, short memory, or a result longer than 256 characters. */
NC_DM_API int nc_dm_agent_comb_path_name(char** path_name, nc_dm_path_nodes_t* path_nodes,
                                         bool is_leaf);

/* Joins the first `node_cnt` names, without ids. 0, or -1. Nothing in the library calls the two. */
NC_DM_API int nc_dm_agent_comb_reg_path_name(char** path_name, nc_dm_path_nodes_t* path_nodes,
                                             int node_cnt, bool is_leaf);

/* ---- Instance id arrays: id_array, id_array_intersection ---- */

/* A list element that holds an id array. */
typedef struct nc_dm_id_array_node {
  list_head lst;
  nc_dm_id_array_t id_array;
} nc_dm_id_array_node_t;

/* Appends the non-zero ids of a parsed instance path, at most up to 16. 0; -1 for a null argument.
 */
NC_DM_API int nc_dm_get_id(nc_dm_id_array_t* id_array, nc_dm_path_nodes_t* path_nodes);

/* True if both hold the same ids, or both are null. */
NC_DM_API bool nc_dm_id_arrays_same(nc_dm_id_array_t* id_array1, nc_dm_id_array_t* id_array2);

/* 0 when both hold the same ids, 1 when `long_arr` has more behind those of `short_arr`, otherwise
 * -1.
 */
NC_DM_API int nc_dm_id_arrays_contain_certainly(nc_dm_id_array_t* long_arr,
                                                nc_dm_id_array_t* short_arr);

/* Copies the ids and their count, nothing else. */
NC_DM_API void nc_dm_id_array_cpy(nc_dm_id_array_t* dst_id_array, nc_dm_id_array_t* src_id_array);

/* Frees every nc_dm_id_array_node_t of a bare list. Nothing in the library calls it. */
NC_DM_API void nc_dm_id_arrays_free(list_head* id_array_list);

/* Narrows `res_list` to the arrays that are also in `tmp_list`; an empty `res_list` takes all of
 * `tmp_list`. */
NC_DM_API void nc_dm_id_array_list_intscn(nc_dm_list_t* tmp_list, nc_dm_list_t* res_list);

/* ---- Values: value ---- */

/* Text to a new typed object of `val_type`. 0, or -1; after -1 `*dest_val` may hold an object to
 * free, so set it to null before. A type outside 1 to 13 gives 0 and leaves `*dest_val`. */
NC_DM_API int nc_dm_unserialize_val(char* src_val, char** dest_val, nc_dm_val_type_t val_type);

/* Typed object to a new text. 0, or -1. A type outside 1 to 13 gives 0 and leaves `*dm_val`. */
NC_DM_API int nc_dm_serialize_val(char** dm_val, char* src_val, nc_dm_val_type_t val_type);

/* ---- Files, directories, paths: file, directory, rooted_path ---- */

/* Name of a directory entry. */
typedef struct nc_dm_dir_entname {
  list_head lst;
  char name[257];
} nc_dm_dir_entname_t;

/* The content of a file as a NUL-terminated string, or null. Nothing in the library calls it. */
NC_DM_API char* nc_dm_get_file_cont(const char* file_path);

/* True if the text after the first '.' of the name is `ext`. */
NC_DM_API bool nc_dm_is_file_ext(char* file_name, char* ext);

/* Appends the names in a directory, those with the extension `ext` alone unless it is null; the
 * caller frees the elements. 0, or -1. Nothing in the library calls it. */
NC_DM_API int nc_dm_get_dir_entnames(const char* dir_name, char* ext, list_head* head);

/* The suffix behind the value of TMPDIR, in a static buffer of 129 bytes that the next call
 * overwrites; null when TMPDIR is unset or the path does not fit. */
NC_DM_API char* nc_dm_make_path(char* path_suffix);

/* The suffix behind the flash home directory, in `path` of `path_size` bytes. `path`, or null. */
NC_DM_API char* nc_dm_make_flash_home(char* path_suffix, char* path, int path_size);

/* ---- Random numbers: random ---- */

/* A pseudo-random number; no good for secrets. Every call seeds the generator of random(3) anew.
 * Nothing in the library calls it. */
NC_DM_API int nc_dm_rand(void);

/* ---- Diagnostics: diagnostics, and the agent's frame for what was received ---- */

/* The debug mask: NC_DM_DBG_* bits. 0 at load. */
NC_DM_API extern int g_nc_dm_agent_dbg;

/* Sets (`is_open`) or clears the bits of `dbg_type` in the mask. */
NC_DM_API void nc_dm_agent_dbg_set(int dbg_type, bool is_open);

/* Opens errors, information and packets when the client's debug switch file exists. */
NC_DM_API void nc_dm_agent_dbg_check(const char* agent_name);

/* Dumps a frame about to be sent; and the first `msg_len` bytes of the receive buffer, which
 * nothing in the library calls. */
NC_DM_API void nc_dm_agent_dbg_print_send_msg(nc_dm_msg_t* out_msg);
NC_DM_API void nc_dm_agent_dbg_print_recv_msg(int32_t msg_len);

/* Writes a time stamp to the log when the timing bit of the debug mask is set. Nothing in the
 * library calls it. */
NC_DM_API void nc_dm_print_time(char* str);

#ifdef __cplusplus
}
#endif

#endif /* NETCONF_DM_UTIL_H_ */
