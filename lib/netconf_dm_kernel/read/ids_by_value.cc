// Instance ids by value: which entries of a list have a leaf that reads as the server says.

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>

#include "netconf_dm_kernel/instances/find_instance.h"
#include "netconf_dm_kernel/paths/request_path.h"
#include "netconf_dm_kernel/read.h"
#include "netconf_dm_kernel/read/leaf_value.h"
#include "netconf_dm_kernel/shortcuts/prefetch.h"
#include "netconf_dm_kernel/tree/node_source.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"

namespace {

// Of an entry: itself and its first leaf, which is the key normally. More is slower than less.
constexpr size_t kPrefetchedBytes = 2 * sizeof(nc_dm_agent_node_t);

void Append(nc_dm_list_t* list, nc_dm_id_array_t* ids) {
  auto found = nc::NewRecord<nc_dm_id_array_node_t>();
  if (found == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc id array node!\n");
    return;
  }
  nc_dm_id_array_cpy(&found->id_array, ids);
  ++list->cnt;
  nc::PushBack(&list->head, &found.release()->lst);
}

class InstanceLookup {
 public:
  InstanceLookup(nc_dm_list_t* list, nc_dm_path_nodes_t* path, const char* value,
                 nc_dm_id_array_t* known, int last)
      : list_(list), path_(path), value_(value), known_(known), last_(last) {}

  // Looks at the siblings that component `at` names, below entries of `lists` lists, and at what is
  // below them.
  void Visit(const list_head* siblings, int at, int lists) {
    if (at >= NC_DM_MAX_DEPTH) return;
    const nc_int64 instance = path_->instances[at];
    if (const auto known = AskIndex(siblings, at, lists)) {
      if (*known != nullptr) VisitNode(**known, at, lists);
    } else {
      VisitAll(siblings, at, lists);
    }
    path_->instances[at] = instance;
  }

 private:
  bool HasKnownId(int list) const {
    return known_ != nullptr && list < std::min(known_->cnt, NC_DM_MAX_DEPTH);
  }

  // The entry with the known id without a look at the others. The trace of a walk names them all.
  std::optional<nc_dm_agent_node_t*> AskIndex(const list_head* siblings, int at, int list) const {
    if (!HasKnownId(list) || nc::HasDebugBit(NC_DM_DBG_INFO)) return std::nullopt;
    return nc::FindInIndex(siblings, path_->nodes[at], known_->id[list]);
  }

  // The schema of a list has no entry's id, so nothing is read through it.
  void VisitAll(const list_head* siblings, int at, int lists) {
    for (const auto& node : nc::SameNamed(siblings, path_->nodes[at])) {
      if (nc::IsMode(node)) continue;
      NC_DM_LOG_INFO("Match node: %s, instance: %lld, match name continue match.\n", node.node_name,
                     nc::LongLong(node.instid));
      nc::PrefetchNextEntry(node, kPrefetchedBytes);
      VisitNode(node, at, lists);
    }
  }

  void VisitNode(const nc_dm_agent_node_t& node, int at, int lists) {
    if (!Admit(node, at, lists)) return;
    if (at < last_) {
      Visit(&node.sub_lst, at + 1, lists + (nc::IsInstance(node) ? 1 : 0));
    } else {
      Compare(node);
    }
  }

  // Notes the node's id on the path; false for an entry that the known ids rule out. They belong to
  // the lists on the path one by one: the entry of the k-th list must have the k-th of them.
  bool Admit(const nc_dm_agent_node_t& node, int at, int list) {
    if (!nc::IsInstance(node)) {
      path_->instances[at] = 0;
      return true;
    }
    if (HasKnownId(list)) {
      if (node.instid != known_->id[list]) return false;
      NC_DM_LOG_INFO("Match node: %s, instance: %lld, math instance, continue match.\n",
                     node.node_name, nc::LongLong(node.instid));
      known_->match_cnt = std::max(known_->match_cnt, list + 1);
    }
    path_->instances[at] = node.instid;
    return true;
  }

  void Compare(const nc_dm_agent_node_t& leaf) {
    if (value_ == nullptr || !nc::HasOneValue(leaf)) return;
    if (nc::IsForeignToRequest(leaf)) {
      NC_DM_LOG_INFO("The node \"%s\" isn't created by netconf client, ignore.\n", leaf.node_name);
      return;
    }
    nc_dm_id_array_t ids = {};
    nc_dm_get_id(&ids, path_);
    const std::string_view text = text_.Read(leaf, &ids);
    if (text.data() != nullptr && text == value_) Append(list_, &ids);
  }

  nc_dm_list_t* list_;
  nc_dm_path_nodes_t* path_;
  const char* value_;
  nc_dm_id_array_t* known_;
  int last_;
  nc::LeafValue text_;
};

}  // namespace

nc_dm_agent_match_status_t nc_dm_agent_match_get_id_arrays(nc_dm_list_t* list, list_head* dm_root,
                                                           nc_dm_path_nodes_t* path_nodes,
                                                           char* value,
                                                           nc_dm_id_array_t* p_id_array, int bg,
                                                           int mt) {
  if (list == nullptr || dm_root == nullptr || path_nodes == nullptr ||
      path_nodes->total_node <= 0 || path_nodes->total_node > NC_DM_MAX_DEPTH || bg < 0) {
    return nc::Refuse(NC_DM_CLIENT_MATCH_STATUS_NO_EXIST, "Input parameter is invalid!\n");
  }
  const int lists = p_id_array != nullptr ? std::max(p_id_array->match_cnt, 0) : 0;
  InstanceLookup(list, path_nodes, value, p_id_array, mt).Visit(dm_root, bg, lists);
  return NC_DM_CLIENT_MATCH_STATUS_OBJECT;
}

int nc_dm_agent_get_path_id_array_list(char* name, char* value, nc_dm_id_array_t* p_id_array,
                                       nc_dm_list_t* list) {
  nc_dm_path_nodes_t path;
  if (nc::ParseRequestPath(name, &path) != 0) {
    NC_DM_LOG_ERROR("Failed to parse the name:%s!\n", name);
    return -1;
  }
  nc_dm_agent_match_get_id_arrays(list, &g_nc_agent_dm.dm_root, &path, value, p_id_array, 0,
                                  path.total_node - 1);
  return 0;
}
