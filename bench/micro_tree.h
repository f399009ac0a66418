// A list system.port.{i} of leaves, in process, without a connection.
#ifndef BENCH_MICRO_TREE_H_
#define BENCH_MICRO_TREE_H_

#include <cstdint>
#include <stdexcept>
#include <string>

#include "netconf_dm_kernel.h"

namespace bench {

// Owns the library's tree while it lives.
class MicroTree {
 public:
  MicroTree(bool hash, std::int64_t entries, int leaves = 2) {
    if (nc_dm_agent_init_tree() != 0) throw std::runtime_error("no tree");
    g_nc_dm_mng_info.agent_init = true;
    static const char* const kNames[] = {"speed", "mtu",  "alias", "enabled",
                                         "mode",  "kind", "vlan",  "state"};
    for (int leaf = 0; leaf < leaves; ++leaf) {
      std::string path = std::string("system.port.{i}.") + kNames[leaf];
      nc_dm_agent_path_reg(path.data(), NC_DM_VAL_TYPE_UINT, 0, 0, Set, Get, nullptr, nullptr,
                           nullptr, nullptr, nullptr);
    }
    std::string path = "system.port.{i}";
    if (hash) nc_dm_agent_reg_hash_tab(path.data(), 1'000'000);
    parent_ = reinterpret_cast<nc_dm_agent_node_t*>(g_nc_agent_dm.dm_root.next);
    std::string name = "port";
    mode_ = nc_dm_agent_search_mode_node(parent_, name.data());
    for (std::int64_t id = 1; id <= entries; ++id) Create(id);
  }
  ~MicroTree() { nc_dm_agent_unreg_nodes(parent_); }
  MicroTree(const MicroTree&) = delete;
  MicroTree& operator=(const MicroTree&) = delete;

  nc_dm_agent_node_t* Create(std::int64_t id) {
    return nc_dm_agent_create_node(parent_, mode_, id, NC_DM_NODE_TYPE_MULT_OBJECT,
                                   NC_DM_NODE_SRC_NONE);
  }

  nc_dm_agent_node_t* parent() const { return parent_; }
  nc_dm_agent_node_t* mode() const { return mode_; }

 private:
  static int Get(nc_dm_id_array_t* /*ids*/, char* value) {
    value[0] = 1;
    return 0;
  }
  static int Set(nc_dm_id_array_t* /*ids*/, char* /*value*/) { return 0; }

  nc_dm_agent_node_t* parent_ = nullptr;
  nc_dm_agent_node_t* mode_ = nullptr;
};

}  // namespace bench

#endif  // BENCH_MICRO_TREE_H_
