/* An application that says which of its callbacks is called, with what. Its file of lines is the
 * guide's table. */
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "netconf_dm_agent.h"
#include "zu_thread.h"

enum { ENTRIES = 8, A = 1, B, METRIC, PLAIN_SLOT };

static FILE* lines;

struct entry {
  int exists;
  char key[64];
  char second[64];
};
static struct entry ones[ENTRIES];
static struct entry twos[ENTRIES];
static struct entry names[ENTRIES];
static int32_t numbers[4];

static void say(const char* callback, const nc_dm_id_array_t* ids, const char* text) {
  fprintf(lines, "  %s ids", callback);
  for (int i = 0; i < ids->cnt; ++i) fprintf(lines, " %" PRId64, ids->id[i]);
  fprintf(lines, " %s\n", text);
  fflush(lines);
}

static const char* number(const char* value) {
  static char text[32];
  int32_t object;
  memcpy(&object, value, sizeof object);
  snprintf(text, sizeof text, "value %" PRId32, object);
  return text;
}

static const char* quoted(const char* value) {
  static char text[300];
  snprintf(text, sizeof text, "value \"%s\"", value);
  return text;
}

static nc_int64 find(const struct entry* entries, const char* key, const char* second) {
  for (int i = 1; i < ENTRIES; ++i) {
    if (entries[i].exists && strcmp(entries[i].key, key) == 0 &&
        strcmp(entries[i].second, second) == 0)
      return i;
  }
  return 0;
}

static nc_int64 add(struct entry* entries, const char* key, const char* second) {
  for (int i = 1; i < ENTRIES; ++i) {
    if (entries[i].exists) continue;
    entries[i].exists = 1;
    snprintf(entries[i].key, sizeof entries[i].key, "%s", key);
    snprintf(entries[i].second, sizeof entries[i].second, "%s", second);
    return i;
  }
  return -1;
}

static nc_int64 create(struct entry* entries, nc_dm_id_array_t* ids, const char* key) {
  const nc_int64 known = find(entries, key, "");
  ids->output.inst_exist = known != 0;
  return known != 0 ? known : add(entries, key, "");
}

static nc_int64 drop(struct entry* entries, const nc_dm_id_array_t* ids, const char* key) {
  const nc_int64 id = key[0] != '\0' ? find(entries, key, "") : ids->id[ids->cnt - 1];
  if (id <= 0 || id >= ENTRIES || !entries[id].exists) return -7;
  entries[id].exists = 0;
  return id;
}

/* ---- A leaf alone ---- */

static int get_leaf(nc_dm_id_array_t* ids, char* value) {
  (void)ids;
  memcpy(value, &numbers[0], sizeof numbers[0]);
  return 0;
}
static int set_leaf(nc_dm_id_array_t* ids, char* value) {
  say("set leaf", ids, number(value));
  memcpy(&numbers[0], value, sizeof numbers[0]);
  return 0;
}
static nc_int64 delete_leaf(nc_dm_id_array_t* ids, char* value) {
  say("delete leaf", ids, quoted(value));
  numbers[0] = 0;
  return 0;
}
static int set_other(nc_dm_id_array_t* ids, char* value) {
  say("set other", ids, number(value));
  return 0;
}
static nc_int64 delete_other(nc_dm_id_array_t* ids, char* value) {
  say("delete other", ids, quoted(value));
  return 0;
}

static int set_text(nc_dm_id_array_t* ids, char* value) {
  char length[32];
  snprintf(length, sizeof length, "of length %zu", strlen(value));
  say("set text", ids, length);
  return 0;
}
static int refuse(nc_dm_id_array_t* ids, char* value) {
  say("set refused", ids, number(value));
  return -5;
}
static int set_time(nc_dm_id_array_t* ids, char* value) {
  struct tm time;
  char text[128];
  memcpy(&time, value, sizeof time);
  snprintf(text, sizeof text, "tm %d %d %d, %d %d %d", time.tm_year, time.tm_mon, time.tm_mday,
           time.tm_hour, time.tm_min, time.tm_sec);
  say("set time", ids, text);
  return 0;
}

/* ---- A leaf-list ---- */

static int get_name(nc_dm_id_array_t* ids, char* value) {
  const nc_int64 id = ids->id[ids->cnt - 1];
  if (id <= 0 || id >= ENTRIES || !names[id].exists) return -7;
  strcpy(value, names[id].key);
  return 0;
}
static nc_int64 create_name(nc_dm_id_array_t* ids, char* value) {
  say("create name", ids, quoted(value));
  return create(names, ids, value);
}
static nc_int64 delete_name(nc_dm_id_array_t* ids, char* value) {
  say("delete name", ids, quoted(value));
  return drop(names, ids, value);
}

/* ---- A list with one key, created by its key leaf ---- */

static int get_one(nc_dm_id_array_t* ids, char* value) {
  strcpy(value, ones[ids->id[0]].key);
  return 0;
}
static nc_int64 create_one(nc_dm_id_array_t* ids, char* value) {
  say("create one.key", ids, quoted(value));
  return create(ones, ids, value);
}
static nc_int64 delete_one(nc_dm_id_array_t* ids, char* value) {
  say("delete one.key", ids, quoted(value));
  return drop(ones, ids, value);
}
static int get_mtu(nc_dm_id_array_t* ids, char* value) {
  (void)ids;
  memcpy(value, &numbers[1], sizeof numbers[1]);
  return 0;
}
static int set_mtu(nc_dm_id_array_t* ids, char* value) {
  say("set one.mtu", ids, number(value));
  return 0;
}
static nc_int64 delete_mtu(nc_dm_id_array_t* ids, char* value) {
  say("delete one.mtu", ids, quoted(value));
  return 0;
}

/* ---- A list with two keys, applied at once ---- */

static const char* operation(int op_flag) {
  static const char* const known[] = {"?", "MERGE", "DELETE", "EDIT", "LOOKUP", "CREATE"};
  return known[op_flag >= 1 && op_flag <= 5 ? op_flag : 0];
}

static const char* slots(nc_dm_agent_data_block_t* block) {
  static char text[600];
  int size = snprintf(text, sizeof text, "op_flag %s slots", operation(block->op_flag));
  for (int i = A; i <= B; ++i) {
    if (block->has_str_var(block, i)) {
      size += snprintf(text + size, sizeof text - (size_t)size, " %d=\"%s\"", i,
                       block->get_str_var(block, i));
    }
  }
  if (block->has_int_var(block, METRIC)) {
    snprintf(text + size, sizeof text - (size_t)size, " %d=%lu", METRIC,
             block->get_int_var(block, METRIC));
  }
  return text;
}

static const char* key_slot(nc_dm_agent_data_block_t* block, int slot) {
  return block->has_str_var(block, slot) ? block->get_str_var(block, slot) : "";
}

static int get_attr_two(nc_dm_agent_data_block_t* block, nc_dm_op_output_t* output) {
  say("get_attr two", &block->id_array, slots(block));
  output->instid = find(twos, key_slot(block, A), key_slot(block, B));
  return 0;
}
static nc_int64 apply_two(nc_dm_agent_data_block_t* block) {
  say("exe_cmd two", &block->id_array, slots(block));
  nc_int64 id = find(twos, key_slot(block, A), key_slot(block, B));
  if (id == 0 && block->id_array.cnt > 0) id = block->id_array.id[block->id_array.cnt - 1];
  if (block->op_flag == NC_DM_CMD_OP_DELETE && !block->has_int_var(block, METRIC)) {
    if (id == 0) return -7;
    twos[id].exists = 0;
    return id;
  }
  block->id_array.output.inst_exist = id != 0;
  return id != 0 ? id : add(twos, key_slot(block, A), key_slot(block, B));
}
static int get_a(nc_dm_id_array_t* ids, char* value) {
  strcpy(value, twos[ids->id[0]].key);
  return 0;
}
static int get_b(nc_dm_id_array_t* ids, char* value) {
  strcpy(value, twos[ids->id[0]].second);
  return 0;
}
static int get_metric(nc_dm_id_array_t* ids, char* value) {
  (void)ids;
  memcpy(value, &numbers[2], sizeof numbers[2]);
  return 0;
}

static int leaf(const char* path, nc_dm_val_type_t type, int flag, int slot, nc_dm_set_fn set,
                nc_dm_get_fn get, nc_dm_create_fn create_fn, nc_dm_delete_fn delete_fn,
                nc_dm_get_attr_fn get_attr, nc_dm_exe_cmd_fn exe_cmd) {
  return nc_dm_agent_mode_reg((char*)path, type, flag, slot, set, get, create_fn, delete_fn,
                              get_attr, NULL, exe_cmd);
}

static int register_model(void) {
  const nc_dm_val_type_t text = NC_DM_VAL_TYPE_STRING;
  const nc_dm_val_type_t integer = NC_DM_VAL_TYPE_INT;
  return leaf("d.text", text, 0, 0, set_text, NULL, NULL, NULL, NULL, NULL) ||
         leaf("d.refused", integer, 0, 0, refuse, NULL, NULL, NULL, NULL, NULL) ||
         leaf("d.time", NC_DM_VAL_TYPE_DATATIME, 0, 0, set_time, NULL, NULL, NULL, NULL, NULL) ||
         leaf("d.leaf", integer, 0, 0, set_leaf, get_leaf, NULL, delete_leaf, NULL, NULL) ||
         leaf("d.box.other", integer, 0, 0, set_other, get_leaf, NULL, delete_other, NULL, NULL) ||
         leaf("d.read-only", integer, 0, 0, NULL, get_leaf, NULL, NULL, NULL, NULL) ||
         leaf("d.name", text, NC_DM_FLAG_LEAF_LIST, 0, NULL, get_name, create_name, delete_name,
              NULL, NULL) ||
         leaf("d.one.{i}.key", text, NC_DM_FLAG_KEY, 0, NULL, get_one, create_one, delete_one, NULL,
              NULL) ||
         leaf("d.one.{i}.mtu", integer, 0, 0, set_mtu, get_mtu, NULL, delete_mtu, NULL, NULL) ||
         leaf("d.two.{i}.a", text, NC_DM_FLAG_KEY, A, NULL, get_a, NULL, NULL, get_attr_two,
              apply_two) ||
         leaf("d.two.{i}.b", text, NC_DM_FLAG_KEY, B, NULL, get_b, NULL, NULL, get_attr_two,
              apply_two) ||
         leaf("d.two.{i}.metric", integer, 0, METRIC, NULL, get_metric, NULL, NULL, NULL,
              apply_two);
}

int main(int argc, char** argv) {
  if (argc != 2 || (lines = fopen(argv[1], "a")) == NULL) return 2;
  zu_thread_master* master = zu_thread_master_create();
  if (master == NULL || nc_dm_agent_init("callbacks", master, register_model, NULL) != 0) return 1;
  return zu_thread_master_run(master);
}
