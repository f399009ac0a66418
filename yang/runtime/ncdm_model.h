/*
 * ncdm_model.h - what an application stands on that ncdm-yang wrote.
 *
 * The idea: a YANG module is data. ncdm-yang writes it down as tables (types with their
 * constraints, leaves with their place in a plain record, lists and containers), and this library
 * serves the agent's callbacks from the tables: it converts and checks each value, reads a record
 * through the application's `load`, hands a changed one to its `apply`, and keeps in memory what
 * the application has no operation for.
 *
 * Who reads this: whoever wants to know what the generated source means. An application includes
 * the generated header alone, whose functions wrap the ones below with the records' types.
 *
 * Thread safety: everything belongs to the thread of the event loop.
 *
 * Ownership: the tables are static and never change; records are the caller's; texts that are
 * handed out go into buffers of the caller.
 */
#ifndef NCDM_MODEL_H_
#define NCDM_MODEL_H_

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <time.h>

#include "netconf_dm_agent.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes of a value's text, its NUL included: the agent passes on at most 255 characters. */
#define NCDM_TEXT_SIZE 256

/* What an operation that the application did not supply answers. */
#define NCDM_NOT_REPLACED INT64_MIN

/* What `load` and `remove` answer when the entry does not exist. */
#define NCDM_NO_SUCH_ENTRY (-7)

/* In place of the offset of a flag: the leaf has a value at any time. */
#define NCDM_ALWAYS SIZE_MAX

/* ---- Types ---- */

/* How a leaf's value stands in its record. */
typedef enum ncdm_kind {
  NCDM_BOOL,      /* bool */
  NCDM_INT8,      /* int8_t, and so on */
  NCDM_INT16,     /* */
  NCDM_INT32,     /* */
  NCDM_INT64,     /* */
  NCDM_UINT8,     /* */
  NCDM_UINT16,    /* */
  NCDM_UINT32,    /* */
  NCDM_UINT64,    /* */
  NCDM_DECIMAL64, /* int64_t: the value times 10 to the power of the fraction digits */
  NCDM_TEXT,      /* char[]: a NUL-terminated UTF-8 text */
  NCDM_UNION,     /* char[]: a text that one of the member types accepts */
  NCDM_ENUM,      /* an enum: enumerations by their YANG value, identities by a number */
  NCDM_BITS,      /* uint64_t, a bit for each name */
  NCDM_BINARY,    /* ncdm_binary_t: octets; base64 outside of the record */
  NCDM_EMPTY,     /* bool, true; the leaf's flag says whether it is there */
  NCDM_TIME       /* struct tm with the numbers as written: year 2024, months 1 to 12 */
} ncdm_kind_t;

/* Octets that 255 characters of base64 can carry. */
#define NCDM_BINARY_SIZE 189

typedef struct ncdm_binary {
  uint16_t size;
  uint8_t octets[NCDM_BINARY_SIZE];
} ncdm_binary_t;

/* Bounds, both included: of the number, or of the length in characters or octets. For uint64 they
 * are the bits of the unsigned numbers. */
typedef struct ncdm_range {
  int64_t min;
  int64_t max;
} ncdm_range_t;

/* A name of an enumeration, identity or bit; the value is the bit's mask there. */
typedef struct ncdm_name {
  const char* text;
  int64_t value;
} ncdm_name_t;

/* A pattern as PCRE2 reads it, anchored at both ends. */
typedef struct ncdm_pattern {
  const char* expression;
  bool inverted; /* the value must not match */
  void* code;    /* compiled at the first use; null before */
} ncdm_pattern_t;

typedef struct ncdm_type {
  ncdm_kind_t kind;
  int fraction_digits; /* decimal64 */
  size_t size;         /* bytes of the member */
  const ncdm_range_t* ranges;
  size_t range_count;
  ncdm_pattern_t* patterns;
  size_t pattern_count;
  bool (*matches)(ncdm_pattern_t* pattern, const char* text);
  const ncdm_name_t* names;
  size_t name_count;
  const struct ncdm_type* members; /* of a union, in order */
  size_t member_count;
} ncdm_type_t;

/* Does the text match the pattern, or with `inverted` not match. Needs PCRE2, and stands in a
 * library of its own: only an application whose module has patterns links it. */
NC_DM_API bool ncdm_pattern_matches(ncdm_pattern_t* pattern, const char* text);

/* Frees what the pattern was compiled to; the next match compiles it again. */
NC_DM_API void ncdm_pattern_release(ncdm_pattern_t* pattern);

/* ---- Leaves, and the records that they stand in ---- */

#define NCDM_LEAF_KEY 1       /* a key of its list, or the value of a leaf-list */
#define NCDM_LEAF_CONFIG 2    /* configuration; otherwise state */
#define NCDM_LEAF_MANDATORY 4 /* an entry without it is refused */

/* A case of a choice that a leaf or node stands in; numbers within the module. */
typedef struct ncdm_case {
  int choice;
  int branch;
  int levels; /* ids that name the choice's place */
} ncdm_case_t;

typedef struct ncdm_leaf {
  const char* name;
  const ncdm_type_t* type;
  size_t offset;            /* of the member in the record */
  size_t has;               /* of the member's flag (a bool), or NCDM_ALWAYS */
  int flags;                /* NCDM_LEAF_* */
  int slot;                 /* in the agent's data block; 0 for none */
  const char* initial;      /* the default's text, or null */
  const ncdm_case_t* cases; /* of the choices directly in the record */
  size_t case_count;
} ncdm_leaf_t;

typedef enum ncdm_node_kind { NCDM_CONTAINER, NCDM_LIST, NCDM_LEAF_LIST } ncdm_node_kind_t;

/*
 * A container, list or leaf-list. The operations call the application's, or answer
 * NCDM_NOT_REPLACED when it has none:
 *   load    fills `record` (which holds the defaults) of the entry that `ids` names. 0;
 *           NCDM_NO_SUCH_ENTRY; otherwise negative
 *   apply   takes `record` over. `before` is what it was, or null for a new entry, where `ids`
 * holds the ids of the lists around it. The entry's id (0 or more for a container); negative
 *           refuses. What it writes into `record` is kept
 *   remove  0; NCDM_NO_SUCH_ENTRY; otherwise negative, which refuses
 *   find    the id of the entry with the keys of `record`; 0 when there is none
 */
typedef struct ncdm_node {
  const struct ncdm_model* model;
  ncdm_node_kind_t kind;
  const char* path;             /* as registered, "{i}" after each list but the last component */
  int levels;                   /* ids that name one; its own included */
  const struct ncdm_node* list; /* the innermost one around it, or null */
  bool config;
  bool key_is_id; /* the only key is a number above 0, and serves as the entry's id */
  unsigned expected_entries;
  size_t size; /* of the record */
  const ncdm_leaf_t* leaves;
  size_t leaf_count;
  const ncdm_case_t* cases; /* of all choices on the way to it */
  size_t case_count;
  const char* const* defaults; /* of a leaf-list: the values that it has while it is given none */
  size_t default_count;
  int64_t (*load)(const nc_dm_id_array_t* ids, void* record);
  int64_t (*apply)(const nc_dm_id_array_t* ids, const void* before, void* record);
  int64_t (*remove)(const nc_dm_id_array_t* ids, const void* record);
  int64_t (*find)(const nc_dm_id_array_t* ids, const void* record);
} ncdm_node_t;

/* A leaf as the agent is told of it. */
typedef struct ncdm_path {
  const char* path;
  nc_dm_val_type_t val_type;
  int flag;
  int slot;
  nc_dm_set_fn set;
  nc_dm_get_fn get;
  nc_dm_create_fn create;
  nc_dm_delete_fn remove;
  nc_dm_get_attr_fn get_attr;
  nc_dm_exe_cmd_fn exe_cmd;
} ncdm_path_t;

typedef struct ncdm_model {
  const char* name;
  const char* revision;            /* null when the module has none */
  const ncdm_node_t* const* nodes; /* outer ones before inner ones */
  size_t node_count;
  const ncdm_path_t* paths;
  size_t path_count;
  int64_t (*commit)(void); /* the application's, or NCDM_NOT_REPLACED */
} ncdm_model_t;

/* ---- The agent's callbacks: what each of the generated ones calls ---- */

NC_DM_API int ncdm_leaf_get(const ncdm_node_t* node, size_t leaf, const nc_dm_id_array_t* ids,
                            char* value);
NC_DM_API int ncdm_leaf_set(const ncdm_node_t* node, size_t leaf, const nc_dm_id_array_t* ids,
                            const char* value);
NC_DM_API nc_int64 ncdm_leaf_delete(const ncdm_node_t* node, size_t leaf,
                                    const nc_dm_id_array_t* ids);
/* A list entry by its only key, or a leaf-list's value. */
NC_DM_API nc_int64 ncdm_entry_create(const ncdm_node_t* node, nc_dm_id_array_t* ids,
                                     const char* value);
NC_DM_API nc_int64 ncdm_entry_delete(const ncdm_node_t* node, const nc_dm_id_array_t* ids,
                                     const char* value);
/* A list entry by the slots of a data block. */
NC_DM_API int ncdm_entry_find(const ncdm_node_t* node, const nc_dm_agent_data_block_t* block,
                              nc_dm_op_output_t* output);
NC_DM_API nc_int64 ncdm_entry_execute(const ncdm_node_t* node, nc_dm_agent_data_block_t* block);

/* ---- For the application, through the generated header ---- */

/* Makes a record of defaults: every leaf that has one, none of the others. */
NC_DM_API void ncdm_record_init(const ncdm_node_t* node, void* record);

/* Gives a leaf of the record the value of a text, checked as an edit is. 0; -1 for an unknown leaf
 * or a value that its type refuses, and the record stays as it is. */
NC_DM_API int ncdm_record_set(const ncdm_node_t* node, void* record, const char* leaf,
                              const char* text);

/* The canonical text of a leaf. 0; NCDM_NO_SUCH_ENTRY when it has no value; -1 for an unknown leaf
 * or a member that its type refuses. */
NC_DM_API int ncdm_record_get(const ncdm_node_t* node, const void* record, const char* leaf,
                              char text[NCDM_TEXT_SIZE]);

/* Keeps a record in memory, at `ids` (node->levels of them; the last may be 0: the id of the entry
 * with these keys, or a new one). Tells the agent of a new entry. No operation of the application
 * is called: it is the one who says so. The entry's id (0 for a container), or -1. */
NC_DM_API nc_int64 ncdm_put(const ncdm_node_t* node, const nc_int64* ids, const void* record);

/* Reads what is kept. 0, or NCDM_NO_SUCH_ENTRY. */
NC_DM_API int ncdm_get(const ncdm_node_t* node, const nc_int64* ids, void* record);

/* Forgets a record and all below it, and tells the agent. 0, or NCDM_NO_SUCH_ENTRY. */
NC_DM_API int ncdm_drop(const ncdm_node_t* node, const nc_int64* ids);

/* The id of the kept entry with the keys of `record`, under the lists of `ids`; 0 when there is
 * none. */
NC_DM_API nc_int64 ncdm_find(const ncdm_node_t* node, const nc_int64* ids, const void* record);

/* The kept entry's id that follows the last of `ids` (0: the first one); 0 at the end. */
NC_DM_API nc_int64 ncdm_next(const ncdm_node_t* node, const nc_int64* ids);

/* Reads a data file (JSON, RFC 7951) into the application: configuration through its operations,
 * state into memory; a file that does not exist is empty. Before the start. 0; -1, with what is
 * wrong and where in `error`, a buffer of `size` bytes. */
NC_DM_API int ncdm_data_read(const ncdm_model_t* model, const char* file, char* error, size_t size);

/* Writes what the application holds, so that a crash leaves the old content or the new. */
NC_DM_API int ncdm_data_write(const ncdm_model_t* model, const char* file, char* error,
                              size_t size);

/* Writes a file of the application's own, with the same promise. 0; -1, with what is wrong in
 * `error`. */
NC_DM_API int ncdm_file_write(const char* file, const char* text, char* error, size_t size);

/* What an application that calls nc_dm_agent_init itself calls in its registration function: the
 * paths, hash tables, kept entries and commit hook. It announces the module when nc_dm_agent_init
 * is done. `master` is the loop of that call. 0, or -1. */
NC_DM_API int ncdm_model_register(const ncdm_model_t* model, zu_thread_master* master);

/* Starts the agent with the model: reads `data_file` (may be null; one that does not exist is
 * empty, and is written at a commit), calls nc_dm_agent_init, and announces the module behind
 * everything else. 0, or negative; what is wrong with the file is printed to standard error. */
NC_DM_API int ncdm_model_start(const ncdm_model_t* model, const char* name,
                               zu_thread_master* master, const char* data_file);

/* ---- What a generated header says of each record ---- */

/*
 * For the record type NAME_t: the table NAME_operations, which the application fills in as far as
 * it wants (before the start), and the calls on records of this type:
 *   NAME_init(record)              defaults; no value otherwise
 *   NAME_set(record, leaf, text)   ncdm_record_set
 *   NAME_text(record, leaf, text)  ncdm_record_get
 *   NAME_put(ids, record)          ncdm_put, and so on for those below
 *   NAME_get(ids, record), NAME_drop(ids), NAME_find(ids, record), NAME_next(ids)
 */
#define NCDM_RECORD(name)                                                                          \
  typedef struct name##_operations {                                                               \
    int (*load)(const nc_dm_id_array_t* ids, name##_t* record);                                    \
    nc_int64 (*apply)(const nc_dm_id_array_t* ids, const name##_t* before, name##_t* record);      \
    int (*remove)(const nc_dm_id_array_t* ids, const name##_t* record);                            \
    nc_int64 (*find)(const nc_dm_id_array_t* ids, const name##_t* record);                         \
  } name##_operations_t;                                                                           \
  extern name##_operations_t name##_operations;                                                    \
  extern const ncdm_node_t name##_node;                                                            \
  static inline void name##_init(name##_t* record) { ncdm_record_init(&name##_node, record); }     \
  static inline int name##_set(name##_t* record, const char* leaf, const char* text) {             \
    return ncdm_record_set(&name##_node, record, leaf, text);                                      \
  }                                                                                                \
  static inline int name##_text(const name##_t* record, const char* leaf,                          \
                                char text[NCDM_TEXT_SIZE]) {                                       \
    return ncdm_record_get(&name##_node, record, leaf, text);                                      \
  }                                                                                                \
  static inline nc_int64 name##_put(const nc_int64* ids, const name##_t* record) {                 \
    return ncdm_put(&name##_node, ids, record);                                                    \
  }                                                                                                \
  static inline int name##_get(const nc_int64* ids, name##_t* record) {                            \
    return ncdm_get(&name##_node, ids, record);                                                    \
  }                                                                                                \
  static inline int name##_drop(const nc_int64* ids) { return ncdm_drop(&name##_node, ids); }      \
  static inline nc_int64 name##_find(const nc_int64* ids, const name##_t* record) {                \
    return ncdm_find(&name##_node, ids, record);                                                   \
  }                                                                                                \
  static inline nc_int64 name##_next(const nc_int64* ids) { return ncdm_next(&name##_node, ids); } \
  struct name##_operations

/* ---- What the generated tables are made with ---- */

#define NCDM_NODE(name) const ncdm_node_t name##_node

/* The table of operations, empty, and the functions that a node calls them through. */
#define NCDM_OPERATIONS(name)                                                          \
  name##_operations_t name##_operations;                                               \
  static int64_t name##_call_load(const nc_dm_id_array_t* ids, void* record) {         \
    if (name##_operations.load == NULL) return NCDM_NOT_REPLACED;                      \
    return name##_operations.load(ids, (name##_t*)record);                             \
  }                                                                                    \
  static int64_t name##_call_apply(const nc_dm_id_array_t* ids, const void* before,    \
                                   void* record) {                                     \
    if (name##_operations.apply == NULL) return NCDM_NOT_REPLACED;                     \
    return name##_operations.apply(ids, (const name##_t*)before, (name##_t*)record);   \
  }                                                                                    \
  static int64_t name##_call_remove(const nc_dm_id_array_t* ids, const void* record) { \
    if (name##_operations.remove == NULL) return NCDM_NOT_REPLACED;                    \
    return name##_operations.remove(ids, (const name##_t*)record);                     \
  }                                                                                    \
  static int64_t name##_call_find(const nc_dm_id_array_t* ids, const void* record) {   \
    if (name##_operations.find == NULL) return NCDM_NOT_REPLACED;                      \
    return name##_operations.find(ids, (const name##_t*)record);                       \
  }                                                                                    \
  struct name##_operations

/* The agent's callbacks carry no hint of the leaf that they are called for, so each leaf has its
 * own: `leaf` is its place in the node's table. */
#define NCDM_GET(name, leaf)                                         \
  static int name##_get_##leaf(nc_dm_id_array_t* ids, char* value) { \
    return ncdm_leaf_get(&name##_node, leaf, ids, value);            \
  }                                                                  \
  struct name##_operations
#define NCDM_SET(name, leaf)                                         \
  static int name##_set_##leaf(nc_dm_id_array_t* ids, char* value) { \
    return ncdm_leaf_set(&name##_node, leaf, ids, value);            \
  }                                                                  \
  struct name##_operations
#define NCDM_DELETE(name, leaf)                                              \
  static nc_int64 name##_delete_##leaf(nc_dm_id_array_t* ids, char* value) { \
    (void)value;                                                             \
    return ncdm_leaf_delete(&name##_node, leaf, ids);                        \
  }                                                                          \
  struct name##_operations
#define NCDM_CREATE_ENTRY(name)                                             \
  static nc_int64 name##_create_entry(nc_dm_id_array_t* ids, char* value) { \
    return ncdm_entry_create(&name##_node, ids, value);                     \
  }                                                                         \
  struct name##_operations
#define NCDM_DELETE_ENTRY(name)                                             \
  static nc_int64 name##_delete_entry(nc_dm_id_array_t* ids, char* value) { \
    return ncdm_entry_delete(&name##_node, ids, value);                     \
  }                                                                         \
  struct name##_operations
#define NCDM_FIND_ENTRY(name)                                                                \
  static int name##_find_entry(nc_dm_agent_data_block_t* block, nc_dm_op_output_t* output) { \
    return ncdm_entry_find(&name##_node, block, output);                                     \
  }                                                                                          \
  struct name##_operations
#define NCDM_EXECUTE(name)                                          \
  static nc_int64 name##_execute(nc_dm_agent_data_block_t* block) { \
    return ncdm_entry_execute(&name##_node, block);                 \
  }                                                                 \
  struct name##_operations

#ifdef __cplusplus
}
#endif

#endif /* NCDM_MODEL_H_ */
