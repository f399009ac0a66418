// Lists of keys: the names and values that tell one entry of a list from the others.

#include <cstring>

#include "netconf_dm_kernel/edit.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"

namespace {

bool SameName(const char* a, const char* b) { return strcmp(a, b) == 0; }

// A new key of copies, in no list; or null.
nc_dm_key_t* NewKey(const char* name, const char* value) {
  nc::MallocPtr<nc_dm_key_t> key = nc::NewRecord<nc_dm_key_t>();
  if (key == nullptr) return nc::Refuse(nullptr, "Failed to malloc key!\n");
  nc::MallocPtr<char> name_copy(nc_dm_copy_str(name));
  if (name_copy == nullptr) return nc::Refuse(nullptr, "Failed to malloc key->name!\n");
  nc::MallocPtr<char> value_copy(nc_dm_copy_str(value));
  if (value_copy == nullptr) return nc::Refuse(nullptr, "Failed to malloc key->value!\n");
  nc::InitList(&key->lst);
  key->name = name_copy.release();
  key->value = value_copy.release();
  return key.release();
}

const nc_dm_key_t* FindCompleteKey(const list_head* keys, const char* name) {
  for (const nc_dm_key_t& key : nc::Records<nc_dm_key_t>(keys)) {
    if (key.name != nullptr && key.value != nullptr && SameName(key.name, name)) return &key;
  }
  return nullptr;
}

}  // namespace

void nc_dm_agent_add_key(char* key_name, char* key_value, list_head* key_list) {
  if (key_name == nullptr) {
    NC_DM_LOG_ERROR("The input key name is null!\n");
    return;
  }
  if (key_value == nullptr) {
    NC_DM_LOG_ERROR("The input key value is null!\n");
    return;
  }
  if (key_list == nullptr) {
    NC_DM_LOG_ERROR("The input key list is null!\n");
    return;
  }
  nc_dm_key_t* key = NewKey(key_name, key_value);
  if (key != nullptr) nc::PushBack(key_list, &key->lst);
}

void nc_dm_agent_cpy_edit_list_keys(nc_dm_stub_edit_node_list_t* edit_list, list_head* key_list) {
  if (edit_list == nullptr) {
    NC_DM_LOG_ERROR("The input edit list is null!\n");
    return;
  }
  if (key_list == nullptr) {
    NC_DM_LOG_ERROR("The input key list is null!\n");
    return;
  }
  for (const auto& node :
       nc::Records<nc_dm_stub_edit_node_t, &nc_dm_stub_edit_node_t::ky_lst>(&edit_list->key_head)) {
    if (node.edit == nullptr) {
      NC_DM_LOG_ERROR("The edit_node->edit is null!\n");
      return;
    }
    nc_dm_agent_add_key(node.tmpname, node.edit->val, key_list);
  }
}

int nc_dm_agent_keys_cmp(list_head* input_list, list_head* key_list) {
  if (input_list == nullptr || key_list == nullptr) {
    return nc::Refuse(1, "The key_list input is null!\n");
  }
  if (nc::IsEmpty(key_list)) return nc::Refuse(1, "The key_list input is empty!\n");
  for (const nc_dm_key_t& key : nc::Records<nc_dm_key_t>(key_list)) {
    if (key.name == nullptr || key.value == nullptr) return 1;
    const nc_dm_key_t* input = FindCompleteKey(input_list, key.name);
    if (input == nullptr) return 1;
    const int order = strcmp(input->value, key.value);
    if (order != 0) return order > 0 ? 1 : -1;
  }
  return 0;
}

nc_dm_key_t* nc_dm_agent_create_node_key(char* name, char* value) {
  if (name == nullptr || value == nullptr) {
    return nc::Refuse(nullptr, "The key name or value is null!\n");
  }
  return NewKey(name, value);
}

void nc_dm_agent_free_key_list(list_head* key_list) {
  if (key_list == nullptr) {
    NC_DM_LOG_ERROR("The input key list is null!\n");
    return;
  }
  for (nc_dm_key_t& key : nc::RecordsSafely<nc_dm_key_t>(key_list)) {
    nc::Unlink(&key.lst);
    free(key.name);
    free(key.value);
    free(&key);
  }
}

char* nc_dm_agent_get_key_value(char* key_name, list_head* key_list) {
  if (key_name == nullptr) return nc::Refuse(nullptr, "The input key_name is null!\n");
  if (key_list == nullptr) return nc::Refuse(nullptr, "The input key_list is null!\n");
  if (nc::IsEmpty(key_list)) return nc::Refuse(nullptr, "The input key_list is empty!\n");
  for (const nc_dm_key_t& key : nc::Records<nc_dm_key_t>(key_list)) {
    if (key.name != nullptr && SameName(key.name, key_name)) return key.value;
  }
  return nullptr;
}
