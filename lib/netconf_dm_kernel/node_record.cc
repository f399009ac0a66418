#include "netconf_dm_kernel/node_record.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"

namespace nc {

void FreeNode(nc_dm_agent_node_t* node) {
  if (!IsOwn(*node)) free(node->node_name);
  free(node);
}

NodePtr NewNode(const char* name) {
  const size_t name_size = strlen(name) + 1;
  void* memory = malloc(sizeof(nc_dm_agent_node_t) + name_size);
  if (memory == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc for nc_dm_agent_node_t!\n");
    return nullptr;
  }
  NodePtr node(new (memory) nc_dm_agent_node_t{});
  node->node_name = reinterpret_cast<char*>(node.get() + 1);
  memcpy(node->node_name, name, name_size);
  for (list_head* list :
       {&node->lst, &node->key_lst, &node->btree_lst, &node->sub_lst, &node->sub_key_lst}) {
    InitList(list);
  }
  return node;
}

uint32_t* CounterOf(nc_dm_node_type_t node_type) {
  static uint32_t* const counters[] = {
      nullptr,
      &g_nc_agent_dm.total_leaf,
      &g_nc_agent_dm.total_mleaf,
      &g_nc_agent_dm.total_mlfmode,
      &g_nc_agent_dm.total_sobject,
      &g_nc_agent_dm.total_mobject,
      &g_nc_agent_dm.total_mmode,
  };
  const auto kind = static_cast<size_t>(node_type);
  return kind < std::size(counters) ? counters[kind] : nullptr;
}

}  // namespace nc
