#include "netconf_dm_kernel/read/read_leaf.h"

#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "netconf_dm_kernel/call_timer.h"
#include "netconf_dm_kernel/read.h"
#include "netconf_dm_kernel/read/leaf_value.h"
#include "netconf_dm_kernel/tree/node_source.h"
#include "netconf_dm_stub/value_node.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

// A copy in malloc memory, or null.
char* CopyText(std::string_view text) {
  auto* copy = static_cast<char*>(malloc(text.size() + 1));
  if (copy == nullptr) return nullptr;
  memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

// ---- Elements of the list ----

// An element without texts, in no list; or null, which is logged.
nc::ValueNodePtr NewElement(nc_dm_node_src_t src) {
  // malloc, because calloc does not take memory from the thread's cache of freed pieces.
  nc::ValueNodePtr element(static_cast<nc_dm_val_node_t*>(malloc(sizeof(nc_dm_val_node_t))));
  if (element == nullptr) return nc::Refuse(nullptr, "Failed to malloc for val_node!\n");
  *element = {};
  element->val_entry.src = src;
  return element;
}

// The path of a record, joined when it is asked for.
class RecordPath {
 public:
  explicit RecordPath(const nc_dm_path_nodes_t& path) : path_(path) {}
  int Join() { return nc::JoinPath(path_, true, &text_); }
  std::string_view View() const { return text_.View(); }

 private:
  const nc_dm_path_nodes_t& path_;
  nc::PathText text_;
};

class WrittenPath {
 public:
  explicit WrittenPath(const nc::PathText& text) : text_(text) {}
  int Join() const { return text_.Fits() ? 0 : nc::Refuse("The length of path is too long!\n"); }
  std::string_view View() const { return text_.View(); }

 private:
  const nc::PathText& text_;
};

// Gives the element its path and appends it. 0; or what failed, which is logged.
template <typename Path>
int Append(nc_dm_list_t* list, nc::ValueNodePtr element, Path&& path) {
  if (const int joined = path.Join(); joined != 0) return joined;
  element->val_entry.dm_name = CopyText(path.View());
  if (element->val_entry.dm_name == nullptr) {
    return nc::Refuse("Failed to malloc for path_name!\n");
  }
  ++list->cnt;
  nc::PushBack(&list->head, &element.release()->lst);
  return 0;
}

// ---- Reading ----

template <typename Path>
int Read(nc_dm_list_t* list, nc_dm_agent_node_t* leaf, nc_dm_id_array_t* ids, Path path) {
  if (nc::IsForeignToRequest(*leaf)) {
    NC_DM_LOG_INFO("The node '%s' isn't created by netconf client, ignore.\n", leaf->node_name);
    return 0;
  }
  NC_DM_LOG_INFO("Get node '%s' value.\n", leaf->node_name);
  if (leaf->get == nullptr) {
    NC_DM_LOG_ERROR("Node '%s' has no get-value method!\n", leaf->node_name);
    return -1;
  }
  nc::LeafValue value;
  const int result = nc::Timed(&nc::context.get_time, [&] { return value.Get(*leaf, ids); });
  if (result != 0) return result;
  if (value.IsTooLong()) return nc::Refuse("The length of dm val is too long.\n");
  nc::ValueNodePtr element = NewElement(leaf->src);
  if (element == nullptr) return -1;
  const std::string_view text = value.Text(leaf->val_type);
  if (text.data() != nullptr) {
    element->val_entry.dm_val = CopyText(text);
    if (element->val_entry.dm_val == nullptr) return -1;
  }
  return Append(list, std::move(element), path);
}

}  // namespace

int nc::ReadLeaf(nc_dm_list_t* list, nc_dm_agent_node_t* leaf, nc_dm_id_array_t* ids,
                 const nc_dm_path_nodes_t& path) {
  return Read(list, leaf, ids, RecordPath(path));
}

int nc::ReadLeaf(nc_dm_list_t* list, nc_dm_agent_node_t* leaf, nc_dm_id_array_t* ids,
                 const PathText& path) {
  return Read(list, leaf, ids, WrittenPath(path));
}

int nc_dm_agent_get_node_val(nc_dm_list_t* list, nc_dm_agent_node_t* curr_node,
                             nc_dm_id_array_t* id_array, nc_dm_path_nodes_t* path_nodes) {
  if (list == nullptr || curr_node == nullptr || id_array == nullptr || path_nodes == nullptr) {
    return nc::Refuse(-3, "Input parameter is invalid.\n");
  }
  return nc::ReadLeaf(list, curr_node, id_array, *path_nodes);
}

char* nc_dm_agent_get_node_srlz_val(nc_dm_agent_node_t* node, nc_dm_id_array_t* id_array) {
  if (node == nullptr) return nc::Refuse(nullptr, "The node input is null!\n");
  if (id_array == nullptr) return nc::Refuse(nullptr, "The id array input is null!\n");
  nc::LeafValue value;
  const std::string_view text = value.Read(*node, id_array);
  if (text.data() == nullptr) return nullptr;
  char* copy = CopyText(text);
  if (copy == nullptr) NC_DM_LOG_ERROR("Failed to serialize the node value!\n");
  return copy;
}

// NOLINTNEXTLINE(readability-non-const-parameter): the signature is fixed
int nc_dm_agent_add_path_reslist(nc_dm_list_t* list, char* value, nc_dm_path_nodes_t* path_nodes) {
  if (list == nullptr || value == nullptr) return nc::Refuse("Input parameter is invalid!\n");
  if (path_nodes == nullptr) return nc::Refuse("Input parameter is invalid!\n");
  nc::ValueNodePtr element = NewElement(NC_DM_NODE_SRC_NONE);
  if (element == nullptr) return -1;
  element->val_entry.dm_val = CopyText(value);
  if (element->val_entry.dm_val == nullptr) {
    return nc::Refuse("Failed to malloc for value of val_node!\n");
  }
  return Append(list, std::move(element), RecordPath(*path_nodes));
}
