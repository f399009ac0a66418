// Matchers for applications, which the library does not call itself: a child by its value, subtrees
// by a relative path, a descendant by its name.

#include <cstring>

#include "netconf_dm_kernel/read.h"
#include "netconf_dm_kernel/read/leaf_value.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"

namespace {

// A leaf-list element's id at the end of an id array, for a scope. Without room it is left out.
class ElementId {
 public:
  ElementId(nc_dm_id_array_t* ids, const nc_dm_agent_node_t& node)
      : ids_(node.node_type == NC_DM_NODE_TYPE_MULT_LEAF && ids->cnt < NC_DM_MAX_DEPTH ? ids
                                                                                       : nullptr) {
    if (ids_ != nullptr) ids_->id[ids_->cnt++] = node.instid;
  }
  ~ElementId() {
    if (ids_ != nullptr) ids_->id[--ids_->cnt] = 0;
  }
  ElementId(const ElementId&) = delete;
  ElementId& operator=(const ElementId&) = delete;

 private:
  nc_dm_id_array_t* ids_;
};

int Ask(const nc_dm_agent_node_t& leaf, nc_dm_id_array_t* ids, nc::LeafValue* value) {
  const ElementId element(ids, leaf);
  return value->Ask(leaf, ids);
}

// Asks the application whether a leaf has a value.
bool HasValue(const nc_dm_agent_node_t& leaf, nc_dm_id_array_t* ids, const char* value) {
  nc::LeafValue own;
  if (Ask(leaf, ids, &own) != 0) {
    NC_DM_LOG_ERROR("Failed to get val from app, node:%s\n", leaf.node_name);
    return false;
  }
  const nc::MallocPtr<char> text = own.Serialized(leaf.val_type);
  if (text == nullptr) return false;
  if (strcmp(text.get(), value) == 0) return true;
  NC_DM_LOG_ERROR("Current node value: %s, input value: %s\n", text.get(), value);
  return false;
}

bool IsReadable(const nc_dm_agent_node_t& node) {
  return node.node_type != NC_DM_NODE_TYPE_MULT_LEAF_MODE && node.node_name != nullptr &&
         node.get != nullptr;
}

}  // namespace

nc_dm_agent_node_t* nc_dm_agent_child_cont_match(nc_dm_id_array_t* id_array,
                                                 nc_dm_agent_node_t* node, char* child_name,
                                                 char* child_value) {
  if (node == nullptr || child_name == nullptr || child_value == nullptr) {
    return nc::Refuse(nullptr, "Invalid arguments inputs.\n");
  }
  if (nc::IsEmpty(&node->sub_lst)) return nc::Refuse(nullptr, "The node has no children.\n");
  const auto children = nc::Records<nc_dm_agent_node_t>(&node->sub_lst);
  nc_dm_id_array_t own_ids = {};
  if (id_array == nullptr) {
    if (nc_dm_get_ids(&own_ids, &*children.begin()) != 0) {
      return nc::Refuse(nullptr, "Failed to get id array.\n");
    }
    id_array = &own_ids;
  }
  for (auto& child : children) {
    NC_DM_LOG_INFO("Current node to match name: %s, input name: %s\n", child.node_name, child_name);
    if (!IsReadable(child) || !nc::HasName(child, child_name)) continue;
    NC_DM_LOG_INFO("Current node name: %s, input name: %s\n", child.node_name, child_name);
    if (HasValue(child, id_array, child_value)) return &child;
  }
  return nullptr;
}

int nc_dm_agent_child_nodes_match(nc_dm_agent_node_t* node, nc_dm_path_nodes_t* path_nodes,
                                  nc_dm_list_t* list, nc_dm_stub_filter_node_t* match_node,
                                  int index) {
  if (node == nullptr || path_nodes == nullptr || list == nullptr || match_node == nullptr) {
    return nc::Refuse("The arguments input are invalid.\n");
  }
  bool matched = false;
  if (index >= 0 && index < path_nodes->total_node && index < NC_DM_MAX_DEPTH) {
    const nc_int64 instance = path_nodes->instances[index];
    int result = 0;
    for (auto& child : nc::SameNamed(&node->sub_lst, path_nodes->nodes[index])) {
      path_nodes->instances[index] =
          child.node_type == NC_DM_NODE_TYPE_MULT_OBJECT ? child.instid : 0;
      if (index < path_nodes->total_node - 1) {
        nc_dm_agent_child_nodes_match(&child, path_nodes, list, match_node, index + 1);
        continue;
      }
      result = nc_dm_agent_get_nodes_vals(list, path_nodes, &child);
      if (result != 0) break;
      matched = true;
    }
    path_nodes->instances[index] = instance;
    if (result != 0) return result;
  }
  if (!matched) return nc::Refuse("The isn't any filter node matching in the dm tree.\n");
  return 0;
}

bool nc_dm_agent_is_descendant(nc_dm_agent_node_t* ancestor, nc_dm_agent_node_t* node) {
  if (ancestor == nullptr || node == nullptr || node->node_name == nullptr) return false;
  if (nc::FindChild(&ancestor->sub_lst, node->node_name) != nullptr) return true;
  for (auto& child : nc::Records<nc_dm_agent_node_t>(&ancestor->sub_lst)) {
    if (nc_dm_agent_is_descendant(&child, node)) return true;
  }
  return false;
}
