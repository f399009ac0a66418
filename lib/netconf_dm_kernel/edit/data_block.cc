// The parameter data block: values of an entry's leaves in numbered slots, handed to a callback at
// once.

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "netconf_dm_kernel/edit.h"
#include "netconf_dm_kernel/tree/node_source.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"

namespace {

using Block = nc_dm_agent_data_block_t;

bool IsSlot(int index) { return index >= 0 && index < NC_DM_MAX_SLOTS; }

bool HasBit(nc_int64 flags, int index) {
  return IsSlot(index) && ((static_cast<uint64_t>(flags) >> index) & 1) != 0;
}

void SetBit(nc_int64* flags, int index) {
  *flags = static_cast<nc_int64>(static_cast<uint64_t>(*flags) | uint64_t{1} << index);
}

// The block of an accessor's arguments, or null.
Block* CheckedBlock(void* padb, int index) {
  if (padb == nullptr) return nc::Refuse(nullptr, "The padb input is null!\n");
  if (!IsSlot(index)) {
    NC_DM_LOG_ERROR("The index %d input is invalid!\n", index);
    return nullptr;
  }
  return static_cast<Block*>(padb);
}

// A typed object, which need not be aligned, as 64 bits: signed types keep their sign.
template <typename T>
uint64_t Widened(const char* value) {
  T object;
  memcpy(&object, value, sizeof(object));
  return static_cast<uint64_t>(object);
}

// By value type. Texts are no integers.
using WidenFn = uint64_t (*)(const char* value);
constexpr WidenFn kWiden[] = {
    nullptr,            // UNKNOWN
    Widened<uint8_t>,   // BOOL
    Widened<int16_t>,   // SHORT
    Widened<uint16_t>,  // USHORT
    Widened<int32_t>,   // INT
    Widened<uint32_t>,  // UINT
    Widened<int32_t>,   // LONG
    Widened<uint32_t>,  // ULONG
    Widened<int64_t>,   // LONGLONG
    Widened<uint64_t>,  // ULONGLONG
};

void StoreText(const char* text, char (&slot)[NC_DM_VALUE_BUF_SIZE]) {
  const size_t length = strnlen(text, sizeof(slot) - 1);
  memcpy(slot, text, length);
  slot[length] = '\0';
}

bool IsIntegerType(int val_type) {
  return val_type >= NC_DM_VAL_TYPE_BOOL && val_type <= NC_DM_VAL_TYPE_ULONGLONG;
}

// True if the block holds a value of this leaf.
bool HoldsValueOf(const Block& block, const nc_dm_agent_node_t& leaf) {
  if (leaf.val_type == NC_DM_VAL_TYPE_STRING) return HasBit(block.string_var_flag, leaf.index);
  return IsIntegerType(leaf.val_type) && HasBit(block.ulong_var_flag, leaf.index);
}

}  // namespace

int nc_dm_agent_create_padb(nc_dm_agent_node_t* node, int op_flag) {
  if (node == nullptr) return nc::Refuse("The node input is null!\n");
  auto block = nc::NewRecord<Block>();
  if (block == nullptr) return nc::Refuse("Failed to malloc parent padb!\n");
  block->has_int_var = nc_dm_agent_padb_has_int_set;
  block->has_str_var = nc_dm_agent_padb_has_str_set;
  block->get_int_var = nc_dm_agent_padb_get_int_var;
  block->get_str_var = nc_dm_agent_padb_get_str_var;
  block->op_flag = op_flag;
  node->padb = block.release();
  return 0;
}

int nc_dm_agent_padb_set_var(nc_dm_agent_data_block_t* padb, int index, int val_type, char* value) {
  if (value == nullptr) return nc::Refuse("The value input for padb is null!\n");
  if (val_type != NC_DM_VAL_TYPE_STRING && !IsIntegerType(val_type)) {
    return nc::Refuse("padb set unknown value type!\n");
  }
  if (!IsSlot(index)) {
    NC_DM_LOG_INFO("The index '%d' is invalid.\n", index);
    return -1;
  }
  if (padb == nullptr) return nc::Refuse("The padb input is null!\n");
  if (val_type == NC_DM_VAL_TYPE_STRING) {
    StoreText(value, padb->string_var[index]);
    SetBit(&padb->string_var_flag, index);
  } else {
    padb->ulong_var[index] = kWiden[val_type](value);
    SetBit(&padb->ulong_var_flag, index);
  }
  return 0;
}

bool nc_dm_agent_padb_has_int_set(void* padb, int index) {
  const Block* block = CheckedBlock(padb, index);
  return block != nullptr && HasBit(block->ulong_var_flag, index);
}

bool nc_dm_agent_padb_has_str_set(void* padb, int index) {
  const Block* block = CheckedBlock(padb, index);
  return block != nullptr && HasBit(block->string_var_flag, index);
}

unsigned long nc_dm_agent_padb_get_int_var(void* padb, int index) {
  const Block* block = CheckedBlock(padb, index);
  if (block == nullptr || !HasBit(block->ulong_var_flag, index)) return 0;
  const unsigned long value = static_cast<uint32_t>(block->ulong_var[index]);
  NC_DM_LOG_INFO("The unsigned long variable: %lu.\n", value);
  return value;
}

char* nc_dm_agent_padb_get_str_var(void* padb, int index) {
  Block* block = CheckedBlock(padb, index);
  if (block == nullptr || !HasBit(block->string_var_flag, index)) return nullptr;
  NC_DM_LOG_INFO("The string variable: %s.\n", block->string_var[index]);
  return block->string_var[index];
}

void nc_dm_agent_padb_update_src(nc_dm_agent_node_t* node, nc_dm_node_src_t src) {
  if (node == nullptr) {
    NC_DM_LOG_ERROR("The node input is null!\n");
    return;
  }
  if (node->padb == nullptr) {
    NC_DM_LOG_ERROR("The node padb is null!\n");
    return;
  }
  if (node->padb->op_flag != NC_DM_CMD_OP_EDIT) return;
  // Instances have the value type and the slot of their mode node. So the entries of a list, which
  // has neither, need not be looked at.
  for (nc::NameWalk walk(&node->sub_lst); const nc_dm_agent_node_t* first = walk.Next();) {
    if (nc::IsMode(*first) && !HoldsValueOf(*node->padb, *first) && nc::HasCopiesAlone(*first)) {
      continue;
    }
    for (nc_dm_agent_node_t& child : nc::SameNamed(&node->sub_lst, first->node_name)) {
      if (HoldsValueOf(*node->padb, child)) {
        nc::StampSource(&child, src, nc::Stamper::kLeafGroup);
      }
    }
  }
}
