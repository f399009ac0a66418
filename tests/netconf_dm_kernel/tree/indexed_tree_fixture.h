// A tree whose indexes are asked as the library does.
#ifndef TESTS_NETCONF_DM_KERNEL_TREE_INDEXED_TREE_FIXTURE_H_
#define TESTS_NETCONF_DM_KERNEL_TREE_INDEXED_TREE_FIXTURE_H_

#include "netconf_dm_kernel/tree_fixture.h"

namespace ncdm_test {

class IndexedTreeTest : public LoggedTreeTest {
 protected:
  static nc_dm_bin_tree_node_t* EntryOf(Node* parent, const char* name, nc_int64 id) {
    Tree* tree = TreeOf(parent, name);
    if (tree == nullptr || tree->root_byid == nullptr) return nullptr;
    return nc_dm_agent_search_bin_tree_node_by_instid(tree->root_byid, id);
  }

  static Node* InTable(const Node* mode, nc_int64 id) {
    return nc_dm_agent_get_mode_node_inst_by_hash_tab(mode->hash_tab, id);
  }
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_KERNEL_TREE_INDEXED_TREE_FIXTURE_H_
