#include "netconf_dm_kernel/tree/node_record.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>

#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/sanitizers.h"

#if NCDM_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace nc {

namespace {

// In front of each node, behind what is there before it: how far its block is, in units of a node's
// alignment.
using Distance = uint16_t;

constexpr size_t kAlignment = alignof(nc_dm_agent_node_t);
constexpr size_t kMaxDistance = std::numeric_limits<Distance>::max() * kAlignment;

}  // namespace

struct NodeBlock {
  uint32_t nodes;  // that still live
  uint16_t may_have_twins;
  Distance first_node;
};

namespace {

static_assert(sizeof(NodeBlock) == kAlignment);

const NodeBlock* BlockOf(const nc_dm_agent_node_t& node) {
  const Distance distance = reinterpret_cast<const Distance*>(&node)[-1];
  return reinterpret_cast<const NodeBlock*>(reinterpret_cast<const char*>(&node) -
                                            distance * kAlignment);
}

NodeBlock* BlockOf(nc_dm_agent_node_t* node) {
  return const_cast<NodeBlock*>(BlockOf(static_cast<const nc_dm_agent_node_t&>(*node)));
}

// Cleared in one go: a few bytes at a time take longer than all the rest of making a node.
NodeBlock* NewBlock(size_t size) {
  auto* block = static_cast<NodeBlock*>(calloc(1, sizeof(NodeBlock) + size));
  if (block == nullptr) NC_DM_LOG_ERROR("Failed to malloc for nc_dm_agent_node_t!\n");
  return block;
}

nc_dm_agent_node_t* MakeAt(char* place, NodeBlock* block, std::string_view name) {
  auto* node = reinterpret_cast<nc_dm_agent_node_t*>(place);
  const auto distance = static_cast<size_t>(place - reinterpret_cast<char*>(block));
  reinterpret_cast<Distance*>(node)[-1] = static_cast<Distance>(distance / kAlignment);
  node->node_name = reinterpret_cast<char*>(node + 1);
  memcpy(node->node_name, name.data(), name.size());
  InitList(&node->lst);
  InitList(&node->key_lst);
  InitList(&node->btree_lst);
  InitList(&node->sub_lst);
  InitList(&node->sub_key_lst);
  ++block->nodes;
  return node;
}

// The memory of a node that is gone belongs to its block, but nobody may touch it.
void Seal([[maybe_unused]] nc_dm_agent_node_t* node) {
#if NCDM_ADDRESS_SANITIZER
  ASAN_POISON_MEMORY_REGION(node, sizeof(*node));
#endif
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
  // The distance is that of the next node.
  const size_t size = sizeof(nc_dm_agent_node_t) + name.size() + 1 + sizeof(Distance);
  return (size + kAlignment - 1) / kAlignment * kAlignment;
}

NodeRoom::NodeRoom(size_t size) : is_divided_(size > kMaxDistance) {
  if (is_divided_) return;
  block_ = NewBlock(size);
  next_ = reinterpret_cast<char*>(block_ + 1);
}

nc_dm_agent_node_t* NodeRoom::Make(std::string_view name) {
  if (is_divided_) return NewNode(name);
  nc_dm_agent_node_t* node = MakeAt(next_, block_, name);
  next_ += SizeFor(name);
  return node;
}

nc_dm_agent_node_t* NewNode(std::string_view name) {
  NodeBlock* block = NewBlock(NodeRoom::SizeFor(name));
  return block != nullptr ? MakeAt(reinterpret_cast<char*>(block + 1), block, name) : nullptr;
}

void FreeNode(nc_dm_agent_node_t* node) {
  if (!IsOwn(*node)) {
    free(node->node_name);
    free(node);
    return;
  }
  NodeBlock* block = BlockOf(node);
  Seal(node);
  if (--block->nodes == 0) free(block);
}

bool AreOfOneBlock(const nc_dm_agent_node_t& one, const nc_dm_agent_node_t& other) {
  return IsOwn(one) && IsOwn(other) && BlockOf(one) == BlockOf(other);
}

// ---- Names ----

void MarkTwins(nc_dm_agent_node_t* parent) {
  if (IsOwn(*parent)) BlockOf(parent)->may_have_twins = 1;
}

bool MayHaveTwins(const nc_dm_agent_node_t& parent) {
  return !IsOwn(parent) || BlockOf(parent)->may_have_twins != 0;
}

// ---- Counters ----

bool CountNode(const nc_dm_agent_node_t& node) {
  uint32_t* counter = CounterOf(node);
  if (counter == nullptr) {
    NC_DM_LOG_ERROR("Unknown node type!\n");
    return false;
  }
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
