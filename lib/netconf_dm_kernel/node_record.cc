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

bool CountNode(const nc_dm_agent_node_t& node) {
  uint32_t* counter = CounterOf(node.node_type);
  if (counter == nullptr) {
    NC_DM_LOG_ERROR("Unknown node type!\n");
    return false;
  }
  ++*counter;
  ++g_nc_agent_dm.total_node;
  return true;
}

void CopyAttributes(const nc_dm_agent_node_t& source, nc_dm_agent_node_t* node) {
  node->val_type = source.val_type;
  node->flag = source.flag;
  node->index = source.index;
  node->set = source.set;
  node->get = source.get;
  node->create = source.create;
  node->NC_DM_DELETE = source.NC_DM_DELETE;
  node->get_attr = source.get_attr;
  node->exe_cmd = source.exe_cmd;
}

void OfferExeCmd(nc_dm_agent_node_t* parent, const nc_dm_agent_node_t& leaf) {
  if (parent->exe_cmd == nullptr) parent->exe_cmd = leaf.exe_cmd;
}

void TakeEntryCallbacks(nc_dm_agent_node_t* parent, const nc_dm_agent_node_t& key_leaf) {
  parent->create = key_leaf.create;
  parent->NC_DM_DELETE = key_leaf.NC_DM_DELETE;
  parent->get_attr = key_leaf.get_attr;
}

}  // namespace nc
