/*
 * netconf_dm_agent.h - what an application calls.
 *
 * The idea: an application on a network device describes its configuration and state as dotted
 * paths ("interfaces.interface.{i}.mtu", where "{i}" makes the component before it a list) and
 * hands the library one set of callbacks a leaf. The library keeps a tree of that schema and of the
 * list instances that exist, tells the device's NETCONF server about it, and turns the server's
 * reads and edits into calls of these callbacks.
 *
 * How an application uses it:
 *   1. call nc_dm_agent_init() once, with the event loop's master and a registration function;
 *   2. in that function call nc_dm_agent_mode_reg() for each leaf;
 *   3. announce the list instances that exist with nc_dm_agent_reg("interfaces.interface.3."), and
 *      take them back with nc_dm_agent_unreg() when they go;
 *   4. run the event loop. Everything else happens in callbacks.
 *
 * Thread safety: callbacks run on the thread of the event loop, under the tree's lock. The
 * registration calls may be made from any thread, and from a callback; nc_dm_agent_init() and
 * nc_dm_agent_unreg_all() belong to the thread that runs the loop.
 *
 * Ownership: the library copies every text that it is given. What it hands to a callback belongs to
 * the library and is valid during that call alone.
 *
 * Results: 0 is success and a negative number is failure unless a function says otherwise. Each
 * failure is logged (nc_dm_agent_dbg_msg).
 */
#ifndef NETCONF_DM_AGENT_H_
#define NETCONF_DM_AGENT_H_

#include <stdbool.h>
#include <stdint.h>

#include "zu_thread.h"

#if defined(__GNUC__)
#define NC_DM_API __attribute__((visibility("default")))
#else
#define NC_DM_API
#endif

/* `delete` is a keyword of C++, so the record field of that name is `delete` in C and `delete_`
 * there. */
#ifdef __cplusplus
#define NC_DM_DELETE delete_
#else
#define NC_DM_DELETE delete
#endif

/* An enumeration crosses the border as the int that it is in C: any number fits, and one without an
 * enumerator is taken as none of them. C++ has to be told so. */
#ifdef __cplusplus
#define NC_DM_AS_INT : int
#else
#define NC_DM_AS_INT
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t nc_int32;
typedef int64_t nc_int64;

/* Limits that a caller meets. */
#define NC_DM_MAX_DEPTH 16            /* named components of a path, and instance ids along it */
#define NC_DM_MAX_NAME_LEN 64         /* characters of one component, and of a client's name */
#define NC_DM_MAX_PATH_LEN 256        /* characters of a registered path */
#define NC_DM_VALUE_BUF_SIZE 257      /* bytes of the buffer handed to `get`, its NUL included */
#define NC_DM_MAX_SLOTS 64            /* integer slots, and string slots, of a data block */
#define NC_DM_MAX_RANGE_PATHS 1048576 /* instance paths that one nc_dm_agent_mul_reg may queue */

/* Value type of a leaf. The comment gives the object that `get` writes and `set` receives. */
typedef enum nc_dm_val_type NC_DM_AS_INT {
  NC_DM_VAL_TYPE_UNKNOWN = 0,
  NC_DM_VAL_TYPE_BOOL = 1,           /* one byte, 0 or 1; text "true" or "false" */
  NC_DM_VAL_TYPE_SHORT = 2,          /* int16_t */
  NC_DM_VAL_TYPE_USHORT = 3,         /* uint16_t */
  NC_DM_VAL_TYPE_INT = 4,            /* int32_t */
  NC_DM_VAL_TYPE_UINT = 5,           /* uint32_t */
  NC_DM_VAL_TYPE_LONG = 6,           /* int32_t on every machine */
  NC_DM_VAL_TYPE_ULONG = 7,          /* uint32_t on every machine */
  NC_DM_VAL_TYPE_LONGLONG = 8,       /* int64_t */
  NC_DM_VAL_TYPE_ULONGLONG = 9,      /* uint64_t */
  NC_DM_VAL_TYPE_STRING = 10,        /* NUL-terminated text */
  NC_DM_VAL_TYPE_DATATIME = 11,      /* struct tm, fields as written: year 2024, months 1 to 12 */
  NC_DM_VAL_TYPE_BASE64 = 12,        /* NUL-terminated text */
  NC_DM_VAL_TYPE_ANYSIMPLETYPE = 13, /* NUL-terminated text */
  NC_DM_VAL_TYPE_MAX = 14
} nc_dm_val_type_t;

/* Who created an instance or last wrote a leaf. */
typedef enum nc_dm_node_src NC_DM_AS_INT {
  NC_DM_NODE_SRC_NONE = 0,
  NC_DM_NODE_SRC_SDN = 1,    /* an edit of the SDN datastore; never overwritten */
  NC_DM_NODE_SRC_CLI = 2,    /* the device's command line */
  NC_DM_NODE_SRC_CLI_ALW = 3 /* the same, and a list entry keeps it whatever edits follow */
} nc_dm_node_src_t;

/* Why a request failed; sent to the server with the path that it concerns. */
typedef enum nc_dm_fault_code NC_DM_AS_INT {
  NC_DM_FAULT_CODE_OK = 0,
  NC_DM_FAULT_CODE_UNKNOWN = -1,
  NC_DM_FAULT_CODE_LINK = -2,
  NC_DM_FAULT_CODE_MEM = -3,
  NC_DM_FAULT_CODE_PARSE = -4,
  NC_DM_FAULT_CODE_MSGTYPE = -5,
  NC_DM_FAULT_CODE_INIT = -6,
  NC_DM_FAULT_CODE_OP_FAILED = -7,
  NC_DM_FAULT_CODE_OP_NOT_SUPPORTED = -8,
  NC_DM_FAULT_CODE_DATA_EXISTS = -9,
  NC_DM_FAULT_CODE_DATA_MISSING = -10,
  NC_DM_FAULT_CODE_DATA_INVALID_VALUE = -11,
  NC_DM_FAULT_CODE_BAD_ELEM = -12,
  NC_DM_FAULT_CODE_UNKNOWN_ELEM = -13
} nc_dm_fault_code_t;

/* A fault as recorded while a request is served. */
typedef struct nc_dm_fault {
  nc_dm_fault_code_t fault_code;
  char path[NC_DM_MAX_PATH_LEN + 1];
  bool new_fault; /* set by every recorded fault; cleared where an operation begins */
} nc_dm_fault_t;

/* Hooks beside the leaves' callbacks. */
typedef enum nc_dm_hook_fun_type NC_DM_AS_INT {
  NC_DM_HOOK_FUN_DATA_COMMIT = 1, /* the server asks to make the configuration lasting */
  NC_DM_HOOK_FUN_HAM_DOG = 2      /* accepted, without effect */
} nc_dm_hook_fun_type_t;

/* What the server is told of a YANG module. */
typedef enum nc_dm_yang_attr_type NC_DM_AS_INT {
  NC_DM_YANG_ATTR_MODULE_NAME = 0,
  NC_DM_YANG_ATTR_REVISION = 1
} nc_dm_yang_attr_type_t;

/* Bits of a leaf's `flag` at registration. */
#define NC_DM_FLAG_KEY 1          /* key leaf that edits may not set */
#define NC_DM_FLAG_KEY_SETTABLE 2 /* key leaf that edits may set */
#define NC_DM_FLAG_LEAF_LIST 4    /* leaf-list */
#define NC_DM_FLAG_HASH_TAB 64    /* list with a hash table; set by nc_dm_agent_reg_hash_tab */

/* Filled by a callback. */
typedef struct nc_dm_op_output {
  nc_int32 inst_exist; /* 1: the addressed instance existed before the call */
  nc_int64 instid;     /* the instance's id; 0 when there is none */
} nc_dm_op_output_t;

/* Handed to a callback beside its value. */
typedef struct nc_dm_op_input {
  char* tmp_val; /* borrowed text, or null */
} nc_dm_op_input_t;

/*
 * The instance ids along a path, outermost list first: for a.b.3.c.7.d they are 3 and 7. A
 * leaf-list element adds its own id at the end. Ids are positive; 0 means none.
 */
typedef struct nc_dm_id_array {
  nc_int32 cnt;       /* valid ids, 0 to 16 */
  nc_int32 match_cnt; /* leading ids matched so far; the library's cursor */
  nc_int64 id[NC_DM_MAX_DEPTH];
  nc_dm_node_src_t src; /* who asks for the operation */
  nc_dm_op_output_t output;
  nc_dm_op_input_t input;
} nc_dm_id_array_t;

/*
 * The parameter data block: the values that one request gives to an entry's leaves, each in the
 * slot that the leaf registered as its `index`. Read it through the four accessors, which take the
 * block and a slot number, 0 to 63; a slot that is not set reads as 0 or null.
 */
typedef struct nc_dm_agent_data_block {
  nc_dm_id_array_t id_array;                              /* the entry that the block is about */
  bool (*has_int_var)(void* padb, int index);             /* true if the integer slot is set */
  bool (*has_str_var)(void* padb, int index);             /* true if the string slot is set */
  unsigned long (*get_int_var)(void* padb, int index);    /* low 32 bits of the integer slot */
  char* (*get_str_var)(void* padb, int index);            /* borrowed text of the string slot */
  int op_flag;                                            /* one of NC_DM_CMD_OP_* */
  nc_int64 ulong_var_flag;                                /* bit n: integer slot n is set */
  nc_int64 string_var_flag;                               /* bit n: string slot n is set */
  uint64_t ulong_var[NC_DM_MAX_SLOTS];                    /* sign- or zero-extended values */
  char string_var[NC_DM_MAX_SLOTS][NC_DM_VALUE_BUF_SIZE]; /* NUL-terminated, cut at 256 */
} nc_dm_agent_data_block_t;

/* `op_flag` of a data block: what the application is asked to do with it. */
#define NC_DM_CMD_OP_MERGE 1  /* create the entry or change it */
#define NC_DM_CMD_OP_DELETE 2 /* delete the entry, or the slots named */
#define NC_DM_CMD_OP_EDIT 3   /* change leaves of an existing entry */
#define NC_DM_CMD_OP_LOOKUP 4 /* find the entry by its key slots (get_attr) */
#define NC_DM_CMD_OP_CREATE 5 /* create the entry, which must not exist */

/*
 * Callbacks of a leaf. All run on the event-loop thread under the tree's lock; a null callback
 * means that the operation is not offered.
 */

/* Writes a value. `value` points to the typed object of the leaf's value type. 0, or non-zero:
 * refused. */
typedef int (*nc_dm_set_fn)(nc_dm_id_array_t* id_array, char* value);
/* Reads a value: writes the typed object (a text, for the string types, of at most 255 characters)
 * into `value`, a cleared buffer of NC_DM_VALUE_BUF_SIZE bytes. 0; -7 when the object does not
 * exist; any other non-zero result on failure. */
typedef int (*nc_dm_get_fn)(nc_dm_id_array_t* id_array, char* value);
/* Creates the list entry whose first key is `value`, or the leaf-list element `value`. Returns its
 * id (an entry's id is above 0) and sets output.inst_exist when it existed; negative on failure. */
typedef nc_int64 (*nc_dm_create_fn)(nc_dm_id_array_t* id_array, char* value);
/* Deletes. Returns the id deleted, or 0; -7 when there is no such instance or value; otherwise
 * negative. */
typedef nc_int64 (*nc_dm_delete_fn)(nc_dm_id_array_t* id_array, char* value);
/* Finds the entry whose keys stand in the block and writes its id to output->instid (0: none). */
typedef int (*nc_dm_get_attr_fn)(nc_dm_agent_data_block_t* padb, nc_dm_op_output_t* output);
/* Applies a whole entry at once as `op_flag` says. Returns the entry's id, above 0 for an entry
 * created or merged; -7 when the entry does not exist; otherwise negative. */
typedef nc_int64 (*nc_dm_exe_cmd_fn)(nc_dm_agent_data_block_t* padb);

/* ---- Start: start ---- */

/*
 * Starts the library: checks `name`, connects to the server (or arranges to try each second), calls
 * `dm_reg` and schedules the library's tasks on `master`.
 *   name        the client's name, 1 to 64 characters; names the client's socket
 *   master      the event loop; must live as long as the process
 *   dm_reg      registers the data model; may be null. Its non-zero result ends the start
 *   dm_reg_rsp  called when the server refuses a registration; may be null
 * Returns 0, -1 for a bad argument or when a mutex cannot be made, or the result of `dm_reg`. A
 * server that is not there is no failure. Call it once.
 */
NC_DM_API int nc_dm_agent_init(const char* name, zu_thread_master* master, int (*dm_reg)(void),
                               int (*dm_reg_rsp)(void));

/* ---- Schema: register_leaf, register_range ---- */

/*
 * Registers a leaf: inserts it into the tree and queues its announcement to the server.
 *   dm_name   the path, 1 to 256 characters, not ending in '.', "{i}" after each list
 *   flag      NC_DM_FLAG_* bits
 *   index     the leaf's slot in the data block, 1 to 63; 0 for none
 *   reserved  kept for compatibility, may be null
 *   exe_cmd   applies an entry's slotted leaves at once; the parent takes the first one registered
 * The callbacks of a key leaf (create, delete_fn, get_attr) become those of its list. A path that
 * is registered already is announced again and counts as success. Returns 0, or -1.
 */
NC_DM_API int nc_dm_agent_mode_reg(char* dm_name, nc_dm_val_type_t val_type, int flag, int index,
                                   nc_dm_set_fn set, nc_dm_get_fn get, nc_dm_create_fn create,
                                   nc_dm_delete_fn delete_fn, nc_dm_get_attr_fn get_attr,
                                   int (*reserved)(void), nc_dm_exe_cmd_fn exe_cmd);

/*
 * Registers a leaf written with ids or ranges of ids ("a.{1-3}.b", "a.7.b") and queues its instance
 * paths: for "a.{1-3}.b" the schema a.{i}.b and the instances a.1., a.2. and a.3. Ranges multiply:
 * a path that gives more than NC_DM_MAX_RANGE_PATHS instances, or an id above 2147483647, is
 * refused and nothing is queued. Arguments as of nc_dm_agent_mode_reg. Returns 0; -1; -4 for a
 * malformed path.
 */
NC_DM_API int nc_dm_agent_mul_reg(char* dm_name, nc_dm_val_type_t val_type, int flag,
                                  nc_dm_set_fn set, nc_dm_get_fn get, nc_dm_create_fn create,
                                  nc_dm_delete_fn delete_fn, nc_dm_get_attr_fn get_attr,
                                  int (*reserved)(void));

/* ---- Instances: register_instance, leave, register_hash_table ---- */

/*
 * Queues an instance ("a.b.3.", or "a.b.3.c.5." for one in another) that exists from now on. It is
 * applied to the tree by the registration task, in order of queueing, on the event-loop thread; its
 * schema must have been registered before. Returns 0, or -1.
 */
NC_DM_API int nc_dm_agent_reg(char* path);

/* The same with a source for what is created on the way. */
NC_DM_API int nc_dm_agent_cli_reg(char* path, nc_dm_node_src_t src);

/* Queues the removal of an instance and of all below it. Returns 0, or -1. */
NC_DM_API int nc_dm_agent_unreg(char* path);

/*
 * Removes the whole tree at once and asks the server to forget this client; `dm_unreg_rsp` (may be
 * null) is called when it has answered. Only on the thread that called nc_dm_agent_init, and not
 * from a leaf's callback, whose request is still at work in the tree; a hook may. Returns 0, or -1.
 */
NC_DM_API int nc_dm_agent_unreg_all(int (*dm_unreg_rsp)(void));

/*
 * Gives the list (or leaf-list) at the schema path `dm_path` a hash table for its instances, in
 * place of the instance tree. Call it after the schema and before the first instance. `limit_num`:
 * how many instances are expected, at least 10000. Returns 0; -1; -4 for a malformed path.
 */
NC_DM_API int nc_dm_agent_reg_hash_tab(char* dm_path, unsigned int limit_num);

/* ---- Hooks, end of the registration, YANG modules: hooks, completion, register_yang ---- */

/* Installs a hook; a null handler removes it. Returns 0, or -1 before nc_dm_agent_init. */
NC_DM_API int nc_dm_agent_fun_reg(nc_dm_hook_fun_type_t fun_type, int (*handler)(char*));

/*
 * Queues the notice that all of the schema is registered. nc_dm_agent_init does it behind `dm_reg`;
 * only an application that registers later, without `dm_reg`, calls it itself.
 */
NC_DM_API void nc_dm_agent_mode_reg_cplt(void);

/*
 * Records an attribute of a YANG module and queues it for the server. A second call for the same
 * module and kind replaces the value. Returns 0, or -1.
 */
NC_DM_API int nc_dm_agent_yang_attr_reg(const char* name, nc_dm_yang_attr_type_t attr_type,
                                        const char* attr_val);

/* ---- Diagnostics: diagnostics ---- */

/* Levels of nc_dm_agent_dbg_msg and bits of the debug mask. */
#define NC_DM_DBG_ERROR 1   /* what failed */
#define NC_DM_DBG_INFO 2    /* what happens */
#define NC_DM_DBG_PACKET 8  /* messages, field by field and byte by byte */
#define NC_DM_DBG_TIMING 16 /* durations of the application's callbacks; a mask bit alone */

/*
 * Logs a text through the platform's syslog call when the debug mask has the bit of `flag`, which
 * is one of NC_DM_DBG_ERROR, NC_DM_DBG_INFO and NC_DM_DBG_PACKET; with any other value nothing
 * happens. A text longer than 1023 characters is cut.
 */
NC_DM_API void nc_dm_agent_dbg_msg(int flag, const char* fmt, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

#ifdef __cplusplus
}
#endif

#endif /* NETCONF_DM_AGENT_H_ */
