#include "netconf_dm_kernel/tree/node_record.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>

#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/poison.h"
#include "netconf_dm_util/refuse.h"

namespace nc {

// Nodes stand behind it, and their 64-bit fields want a multiple of 8 on 32-bit machines too.
struct alignas(nc_dm_agent_node_t) NodeBlock {
  size_t nodes;  // that still live
};

namespace {

constexpr size_t kAlignment = alignof(nc_dm_agent_node_t);

// The farthest that a node's `block_offset` reaches.
constexpr size_t kMaxSize = std::numeric_limits<uint32_t>::max();

NodeBlock* BlockOf(nc_dm_agent_node_t* node) {
  return reinterpret_cast<NodeBlock*>(reinterpret_cast<char*>(node) - node->block_offset);
}

void InitLists(nc_dm_agent_node_t* node) {
  InitList(&node->lst);
  InitList(&node->key_lst);
  InitList(&node->btree_lst);
  InitList(&node->sub_lst);
  InitList(&node->sub_key_lst);
}

// By kind of node.
constexpr uint32_t nc_dm_t::*kCounters[] = {
    nullptr,
    &nc_dm_t::total_leaf,
    &nc_dm_t::total_mleaf,
    &nc_dm_t::total_mlfmode,
    &nc_dm_t::total_sobject,
    &nc_dm_t::total_mobject,
    &nc_dm_t::total_mmode,
};

uint32_t* CounterOf(const nc_dm_agent_node_t& node) {
  const auto kind = static_cast<size_t>(node.node_type);
  if (kind == 0 || kind >= std::size(kCounters)) return nullptr;
  return &(g_nc_agent_dm.*kCounters[kind]);
}

}  // namespace

// ---- Memory ----

size_t NodeRoom::SizeFor(std::string_view name) {
  const size_t size = sizeof(nc_dm_agent_node_t) + name.size() + 1;
  return (size + kAlignment - 1) / kAlignment * kAlignment;
}

// Cleared in one go: a few bytes at a time take longer than all the rest of making a node.
NodeRoom::NodeRoom(size_t size)
    : block_(size < kMaxSize ? static_cast<NodeBlock*>(calloc(1, sizeof(NodeBlock) + size))
                             : nullptr),
      next_(reinterpret_cast<char*>(block_ + 1)) {
  if (block_ == nullptr) NC_DM_LOG_ERROR("Failed to malloc for nc_dm_agent_node_t!\n");
}

nc_dm_agent_node_t* NodeRoom::Make(std::string_view name) {
  auto* node = reinterpret_cast<nc_dm_agent_node_t*>(next_);
  node->block_offset = static_cast<uint32_t>(next_ - reinterpret_cast<char*>(block_));
  node->node_name = reinterpret_cast<char*>(node + 1);
  memcpy(node->node_name, name.data(), name.size());
  InitLists(node);
  ++block_->nodes;
  next_ += SizeFor(name);
  return node;
}

nc_dm_agent_node_t* NewNode(const char* name, const char* name_owner) {
  auto node = NewRecord<nc_dm_agent_node_t>();
  if (node == nullptr) return nc::Refuse(nullptr, "Failed to malloc for nc_dm_agent_node_t!\n");
  node->node_name = strdup(name);
  if (node->node_name == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc for %s->node_name!\n", name_owner);
    return nullptr;
  }
  InitLists(node.get());
  return node.release();
}

void FreeNode(nc_dm_agent_node_t* node) {
  if (node->block_offset == 0) {
    free(node->node_name);
    free(node);
    return;
  }
  NodeBlock* block = BlockOf(node);
  Poison(node, sizeof(*node));
  if (--block->nodes == 0) free(block);
}

// ---- Counters ----

bool CountNode(const nc_dm_agent_node_t& node) {
  uint32_t* counter = CounterOf(node);
  if (counter == nullptr) return nc::Refuse(false, "Unknown node type!\n");
  ++*counter;
  ++g_nc_agent_dm.total_node;
  return true;
}

void UncountNode(const nc_dm_agent_node_t& node) {
  if (uint32_t* counter = CounterOf(node)) {
    --*counter;
  } else {
    NC_DM_LOG_ERROR("Unknown node type.\n");
  }
  --g_nc_agent_dm.total_node;
}

// ---- Attributes ----

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
