// The records of instance trees, in which the instances of a list are found by id, and the search.
// The library enters and removes with instance_balance.cc.

#include <cstdlib>
#include <cstring>

#include "netconf_dm_kernel/indexes.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/record_pool.h"
#include "netconf_dm_util/refuse.h"

namespace {

using Entry = nc_dm_bin_tree_node_t;

constinit nc::RecordPool<Entry> entries;

bool AreTreeArguments(const nc_dm_agent_node_t* node, const char* btree_name) {
  if (node == nullptr) return nc::Refuse(false, "The node input is null!\n");
  if (btree_name == nullptr) return nc::Refuse(false, "The btree_name input is null!\n");
  return true;
}

nc_dm_bin_tree_t* FindTree(const nc_dm_agent_node_t* node, const char* btree_name) {
  for (nc_dm_bin_tree_t& tree : nc::Records<nc_dm_bin_tree_t>(&node->btree_lst)) {
    if (strcmp(tree.name, btree_name) == 0) return &tree;
  }
  return nullptr;
}

}  // namespace

nc_dm_bin_tree_node_t* nc_dm_agent_search_bin_tree_node_by_instid(nc_dm_bin_tree_node_t* root,
                                                                  nc_int64 instid) {
  if (root == nullptr) return nc::Refuse(nullptr, "The input binary tree root is null.\n");
  Entry* at = root;
  while (at != nullptr && at->id != instid) {
    // Both children, before it is known which: in a large tree a search is bound by cache misses.
    __builtin_prefetch(at->left);
    __builtin_prefetch(at->right);
    at = instid > at->id ? at->right : at->left;
  }
  return at;
}

nc_dm_bin_tree_node_t* nc_dm_agent_create_bin_tree_node(nc_dm_agent_node_t* node, nc_int64 id) {
  if (node == nullptr) return nc::Refuse(nullptr, "The input dm node is null.\n");
  Entry* entry = entries.Make();
  if (entry == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc binary tree node, id: %lld.\n", nc::LongLong(id));
    return nullptr;
  }
  entry->id = id;
  entry->data = node;
  NC_DM_LOG_INFO("Create binary tree node id: %lld.\n", nc::LongLong(id));
  return entry;
}

void nc_dm_agent_free_bin_tree_node(nc_dm_bin_tree_node_t* node) {
  if (node == nullptr) return;
  NC_DM_LOG_INFO("Delete binary tree node: %d.\n", static_cast<int>(node->id));
  entries.Release(node);
}

nc_dm_bin_tree_t* nc_dm_agent_create_bin_tree(nc_dm_agent_node_t* node, char* btree_name) {
  if (!AreTreeArguments(node, btree_name)) return nullptr;
  if (nc_dm_bin_tree_t* tree = FindTree(node, btree_name)) return tree;
  auto tree = nc::NewRecord<nc_dm_bin_tree_t>();
  if (tree == nullptr) return nullptr;
  tree->name = strdup(btree_name);
  if (tree->name == nullptr) return nullptr;
  nc::PushBack(&node->btree_lst, &tree->lst);
  return tree.release();
}

nc_dm_bin_tree_t* nc_dm_agent_get_bin_tree(nc_dm_agent_node_t* node, char* btree_name) {
  return AreTreeArguments(node, btree_name) ? FindTree(node, btree_name) : nullptr;
}

void nc_dm_agent_free_bin_tree_list(list_head* btree_list) {
  if (btree_list == nullptr) {
    NC_DM_LOG_ERROR("The input btree list is null!\n");
    return;
  }
  for (nc_dm_bin_tree_t& tree : nc::RecordsSafely<nc_dm_bin_tree_t>(btree_list)) {
    nc::Unlink(&tree.lst);
    free(tree.name);
    free(&tree);
  }
}
