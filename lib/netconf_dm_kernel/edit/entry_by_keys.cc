// Keys of an edited list entry, and what they lead to: the list's mode node and the entry's id.

#include <cstring>

#include "netconf_dm_kernel/edit.h"
#include "netconf_dm_kernel/edit/operation.h"
#include "netconf_dm_kernel/indexes.h"
#include "netconf_dm_kernel/paths/request_path.h"
#include "netconf_dm_kernel/read/leaf_value.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"

namespace {

using KeyRange = decltype(nc::Records<nc_dm_agent_node_t, &nc_dm_agent_node_t::key_lst>(nullptr));

KeyRange KeyLeaves(const nc_dm_agent_node_t* node) {
  return nc::Records<nc_dm_agent_node_t, &nc_dm_agent_node_t::key_lst>(&node->sub_key_lst);
}

bool SameName(const char* a, const char* b) { return strcmp(a, b) == 0; }

// ---- Keys in the application ----

nc_dm_agent_node_t* FindReadableKeyLeaf(const nc_dm_agent_node_t* entry, const char* name) {
  for (nc_dm_agent_node_t& leaf : KeyLeaves(entry)) {
    NC_DM_LOG_INFO("Current node to match name '%s', input name '%s'.\n", leaf.node_name, name);
    if (SameName(leaf.node_name, name) && leaf.get != nullptr) return &leaf;
  }
  return nullptr;
}

// The text of the value that the application gives a key leaf, or null.
nc::MallocPtr<char> ReadKeyLeaf(const nc_dm_agent_node_t* leaf, nc_dm_id_array_t* ids) {
  nc::LeafValue value;
  if (value.Ask(*leaf, ids) != 0) {
    NC_DM_LOG_ERROR("Failed to get value from app, node '%s'!\n", leaf->node_name);
    return nullptr;
  }
  return value.Serialized(leaf->val_type);
}

bool HasKeys(nc_dm_agent_node_t* entry, const list_head* keys) {
  for (const nc_dm_key_t& key : nc::Records<nc_dm_key_t>(keys)) {
    if (nc_dm_agent_key_cont_match(entry, key.name, key.value) == nullptr) {
      NC_DM_LOG_INFO("The node '%s' can't match key member '%s', value '%s'.\n", entry->node_name,
                     nc::Printable(key.name), nc::Printable(key.value));
      return false;
    }
    NC_DM_LOG_INFO("The node '%s' found key member '%s'.\n", entry->node_name, key.name);
  }
  return true;
}

// The first entry in the tree whose keys the application confirms.
nc_int64 FindInTree(nc_dm_agent_node_t* parent, const nc_dm_agent_node_t* mode_node,
                    const list_head* keys) {
  for (nc_dm_agent_node_t& entry : nc::SameNamed(&parent->sub_lst, mode_node->node_name)) {
    if (nc::IsMode(entry) || !HasKeys(&entry, keys)) continue;
    NC_DM_LOG_INFO("Found the key members nodes parent '%s', instid %lld.\n", entry.node_name,
                   nc::LongLong(entry.instid));
    return entry.instid;
  }
  NC_DM_LOG_ERROR("Failed to get the node '%s' instid!\n", mode_node->node_name);
  return -1;
}

// Puts the keys of an entry into the slots of a data block. False when one is missing or has no
// place there.
bool StoreKeys(nc_dm_agent_data_block_t* padb, const nc_dm_agent_node_t* mode_node,
               list_head* keys) {
  for (const nc_dm_agent_node_t& leaf : KeyLeaves(mode_node)) {
    char* text = nc_dm_agent_get_key_value(leaf.node_name, keys);
    if (text == nullptr) return false;

    nc::MallocPtr<char> typed;
    if (nc::ConvertText(text, leaf.val_type, &typed) != 0) {
      NC_DM_LOG_ERROR("Failed to unserialize key node '%s' value!\n", leaf.node_name);
      return false;
    }
    if (nc_dm_agent_padb_set_var(padb, leaf.index, leaf.val_type, typed.get()) != 0) {
      NC_DM_LOG_ERROR("No need to set the key node '%s' value to padb.\n", leaf.node_name);
      return false;
    }
  }
  return true;
}

// The entry that the application finds by its keys.
nc_int64 AskApplication(nc_dm_id_array_t* ids, nc_dm_agent_node_t* mode_node, list_head* keys) {
  const nc::ScopedDataBlock padb(mode_node, NC_DM_CMD_OP_LOOKUP);
  if (!padb) return nc::Refuse("Failed to malloc parent padb!\n");
  nc_dm_id_array_cpy(&padb->id_array, ids);
  if (!StoreKeys(padb.get(), mode_node, keys)) return -1;

  // The callback's own result is not asked for: an application reports a missing entry by an id of
  // 0.
  nc_dm_op_output_t output = {};
  mode_node->get_attr(padb.get(), &output);
  NC_DM_LOG_INFO("The node '%s' (from get_attr) instid is %lld.\n", mode_node->node_name,
                 nc::LongLong(output.instid));
  return output.instid;
}

}  // namespace

// ---- Sources ----

void nc_dm_agent_keys_update_src(nc_dm_agent_node_t* parent, nc_dm_stub_edit_node_list_t* edit_list,
                                 nc_dm_node_src_t src) {
  if (parent == nullptr || edit_list == nullptr) return;
  for (const auto& node : nc::Records<nc_dm_stub_edit_node_t>(&edit_list->edit_head)) {
    if (node.tmpname == nullptr) continue;
    for (nc_dm_agent_node_t& child : nc::SchemaOf(&parent->sub_lst, node.tmpname)) {
      if (child.node_type == NC_DM_NODE_TYPE_LEAF)
        nc::StampSource(&child, src, nc::Stamper::kLeafEdit);
    }
  }
}

// ---- Names ----

int nc_dm_agent_parse_edit_last_node_name(nc_dm_stub_edit_node_t* edit_node) {
  if (edit_node == nullptr) return nc::Refuse("The edit_node is null!\n");
  if (edit_node->edit == nullptr) return nc::Refuse("The edit_node->edit is null!\n");
  if (edit_node->tmpname != nullptr) {
    NC_DM_LOG_INFO("The edit_node->tmpname already exist.\n");
    return 0;
  }
  nc_dm_path_nodes_t path;
  if (nc::ParseRequestPath(edit_node->edit->name, &path) != 0) {
    NC_DM_LOG_ERROR("Failed to parse edit_node->edit: %s!\n", nc::Printable(edit_node->edit->name));
    return -1;
  }
  edit_node->tmpname = nc_dm_copy_str(nc::LastNodeName(&path));
  if (edit_node->tmpname == nullptr) return nc::Refuse("Failed to malloc first entry tmp name!\n");
  return 0;
}

int nc_dm_agent_parse_edit_list_last_node_name(nc_dm_stub_edit_node_list_t* edit_list) {
  if (edit_list == nullptr) return nc::Refuse("The edit_list input is null!\n");
  // An edit whose name cannot be read stays nameless and is reported when its leaf is looked for.
  for (auto& node : nc::Records<nc_dm_stub_edit_node_t>(&edit_list->edit_head)) {
    nc_dm_agent_parse_edit_last_node_name(&node);
  }
  return 0;
}

int nc_dm_agent_the_same_ancestors(nc_dm_path_nodes_t* path_nodes1,
                                   nc_dm_path_nodes_t* path_nodes2) {
  if (path_nodes1 == nullptr || path_nodes2 == nullptr || path_nodes1->total_node < 1) return 0;
  const nc_int32 last = path_nodes1->total_node - 1;
  for (nc_int32 i = 0; i < last; ++i) {
    if (!SameName(path_nodes1->nodes[i], path_nodes2->nodes[i])) return 0;
  }
  return last;
}

// ---- From keys to nodes ----

nc_dm_agent_node_t* nc_dm_agent_key_cont_match(nc_dm_agent_node_t* parent, char* key_name,
                                               char* key_value) {
  if (parent == nullptr || key_name == nullptr || key_value == nullptr) {
    return nc::Refuse(nullptr, "Invalid arguments inputs.\n");
  }
  if (nc::IsEmpty(&parent->sub_key_lst)) {
    return nc::Refuse(nullptr, "The node has no key children.\n");
  }
  nc_dm_id_array_t ids = {};
  if (nc_dm_get_ids(&ids, &*KeyLeaves(parent).begin()) != 0) {
    return nc::Refuse(nullptr, "Failed to get id array.\n");
  }
  nc_dm_agent_node_t* leaf = FindReadableKeyLeaf(parent, key_name);
  if (leaf == nullptr) return nullptr;
  NC_DM_LOG_INFO("Current node name '%s', input name '%s'.\n", leaf->node_name, key_name);

  const nc::MallocPtr<char> value = ReadKeyLeaf(leaf, &ids);
  if (value == nullptr) return nullptr;
  if (strcmp(value.get(), key_value) != 0) {
    NC_DM_LOG_ERROR("Current node value '%s', input value '%s'!\n", value.get(), key_value);
    return nullptr;
  }
  return leaf;
}

nc_dm_agent_node_t* nc_dm_agent_get_mode_node(nc_dm_stub_edit_node_t* edit_node,
                                              nc_dm_agent_node_t* grandfather) {
  if (edit_node == nullptr) return nc::Refuse(nullptr, "The edit_node input is null!\n");
  if (grandfather == nullptr) {
    return nc::Refuse(nullptr, "The grandfather pointer input is null!\n");
  }
  if (edit_node->edit == nullptr) return nc::Refuse(nullptr, "The edit_node->edit is null.\n");
  nc_dm_path_nodes_t path;
  if (nc::ParseRequestPath(edit_node->edit->name, &path) != 0) {
    return nc::Refuse(nullptr, "Get mode node, fail to parse edit path name!\n");
  }
  if (path.total_node < 2) {
    return nc::Refuse(nullptr, "Get mode node, path_nodes->total_node is less than 2!\n");
  }
  char* key_parent = path.nodes[path.total_node - 2];
  NC_DM_LOG_INFO("The input key parent node is '%s'.\n", key_parent);
  NC_DM_LOG_INFO("The input key node grandfather is '%s', node type is %d, instid is %lld.\n",
                 grandfather->node_name, grandfather->node_type, nc::LongLong(grandfather->instid));

  const nc_dm_bin_tree_t* instances = nc::FindInstanceTree(grandfather, key_parent);
  if (instances != nullptr) return nc::ModeNodeOf(instances, grandfather);

  NC_DM_LOG_ERROR("Failed to get node '%s' children binary tree according to name '%s'!\n",
                  grandfather->node_name, key_parent);
  for (nc_dm_agent_node_t& child : nc::SchemaOf(&grandfather->sub_lst, key_parent)) {
    if (child.node_type != NC_DM_NODE_TYPE_MULT_MODE) continue;
    NC_DM_LOG_INFO("Found the mode node '%s'.\n", child.node_name);
    return &child;
  }
  return nullptr;
}

nc_int64 nc_dm_agent_get_node_instid(nc_dm_id_array_t* id_array, nc_dm_agent_node_t* mode_parent,
                                     nc_dm_agent_node_t* mode_node, list_head* in_key_list) {
  if (id_array == nullptr) return nc::Refuse("The input id_array is null!\n");
  if (mode_parent == nullptr) return nc::Refuse("The input mode_parent is null!\n");
  if (mode_node == nullptr) return nc::Refuse("The input mode_node is null!\n");
  if (in_key_list == nullptr) return nc::Refuse("The input in_key_list is null!\n");
  if (nc::IsEmpty(in_key_list)) return nc::Refuse("The input in_key_list is empty!\n");
  if (mode_node->get_attr != nullptr) return AskApplication(id_array, mode_node, in_key_list);

  NC_DM_LOG_INFO("The mode node '%s' get_attr function is null.\n", mode_node->node_name);
  return FindInTree(mode_parent, mode_node, in_key_list);
}
