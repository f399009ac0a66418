// The agent's callbacks, served from the tables.
#include <cstring>
#include <exception>
#include <optional>

#include "application.h"
#include "guard.h"
#include "record.h"
#include "value.h"

namespace ncdm::model {
namespace {

Application& App() { return Application::Instance(); }

// The ids that name an entry of the node; nothing when the request brings fewer.
std::optional<Ids> EntryIds(const ncdm_node_t& node, const nc_dm_id_array_t& ids) {
  if (ids.cnt < node.levels || ids.cnt > NC_DM_MAX_DEPTH) return std::nullopt;
  return Ids(ids.id, ids.id + node.levels);
}

// The ids of the lists around it.
std::optional<Ids> OuterIds(const ncdm_node_t& node, const nc_dm_id_array_t& ids) {
  if (ids.cnt < node.levels - 1 || ids.cnt > NC_DM_MAX_DEPTH) return std::nullopt;
  return Ids(ids.id, ids.id + node.levels - 1);
}

Ids Inner(Ids outer, int64_t id) {
  outer.push_back(id);
  return outer;
}

const ncdm_leaf_t& KeyLeaf(const ncdm_node_t& node) {
  for (const ncdm_leaf_t& leaf : Leaves(node)) {
    if (IsKey(leaf)) return leaf;
  }
  return node.leaves[0];
}

int Get(const ncdm_node_t& node, const ncdm_leaf_t& leaf, const nc_dm_id_array_t& array,
        char* value) {
  const auto ids = EntryIds(node, array);
  if (!ids) return kRefused;
  Record record;
  if (const int result = App().Load(node, *ids, record); result != 0) return result;
  if (!HasValue(leaf, record.data())) return kNoSuchEntry;
  return WriteObject(*leaf.type, Member(leaf, record.data()), value) ? 0 : kRefused;
}

// Reads an entry, changes it and hands it over. `change` says false for what is refused. What stays
// as it was is not handed over again.
template <typename ChangeRecord>
int Edit(const ncdm_node_t& node, const Ids& ids, ChangeRecord change) {
  // A container is in any entry that is there.
  if (node.kind == NCDM_CONTAINER && !App().HasPlace(node, ids)) return kNoSuchEntry;
  Record before;
  if (const int result = App().Load(node, ids, before); result != 0) return result;
  Record after = before;
  if (!change(after)) return kRefused;
  if (after == before) return 0;
  return App().Change(node, ids, before, after);
}

int Set(const ncdm_node_t& node, const ncdm_leaf_t& leaf, const nc_dm_id_array_t& array,
        const char* value) {
  const auto ids = EntryIds(node, array);
  if (!ids || !IsConfig(leaf) || IsKey(leaf)) return kRefused;
  return Edit(node, *ids, [&](Record& record) {
    if (!ReadObject(*leaf.type, value, Member(leaf, record.data()))) return false;
    SetHasValue(node, leaf, record.data());
    return true;
  });
}

// A leaf without a value is deleted with success: whoever empties a container deletes all of its
// leaves, and a server that asks for one leaf has read it before.
int Delete(const ncdm_node_t& node, const ncdm_leaf_t& leaf, const nc_dm_id_array_t& array) {
  const auto ids = EntryIds(node, array);
  if (!ids || !IsConfig(leaf) || IsKey(leaf) || IsMandatory(leaf)) return kRefused;
  return Edit(node, *ids, [&](Record& record) {
    Reset(leaf, record.data());
    return true;
  });
}

// ---- Entries by their only key, and elements of leaf-lists ----

std::optional<Record> KeyRecord(const ncdm_node_t& node, const char* value) {
  Record record = Application::Defaults(node);
  const ncdm_leaf_t& key = KeyLeaf(node);
  if (!ReadObject(*key.type, value, Member(key, record.data()))) return std::nullopt;
  return record;
}

int64_t Create(const ncdm_node_t& node, nc_dm_id_array_t& array, const char* value) {
  const auto outer = OuterIds(node, array);
  auto record = KeyRecord(node, value);
  if (!outer || !record || !node.config || !App().HasPlace(node, *outer)) return kRefused;
  // What is there by default can be given.
  const bool is_default = App().store().HasDefaults(node, *outer);
  const int64_t known = is_default ? 0 : App().Find(node, *outer, *record);
  array.output.inst_exist = known > 0;
  return known > 0 ? known : App().Create(node, *outer, *record);
}

int64_t RemoveEntry(const ncdm_node_t& node, const Ids& ids) {
  const int result = App().Remove(node, ids);
  return result != 0 ? result : ids.back();
}

// By its id when the request goes through all that a container holds, which brings no value; by its
// key otherwise.
int64_t Remove(const ncdm_node_t& node, const nc_dm_id_array_t& array, const char* value) {
  if (!node.config) return kRefused;
  const bool has_text = !IsNumber(*KeyLeaf(node).type) && *value != '\0';
  const auto ids = EntryIds(node, array);
  if (ids && !has_text) return RemoveEntry(node, *ids);
  const auto outer = OuterIds(node, array);
  const auto record = KeyRecord(node, value);
  if (!outer) return kRefused;
  if (!record) return kNoSuchEntry;  // no entry has a value that its type refuses
  const int64_t known = App().Find(node, *outer, *record);
  return known > 0 ? RemoveEntry(node, Inner(*outer, known)) : kNoSuchEntry;
}

// ---- Entries by a data block ----

bool IsSet(const nc_dm_agent_data_block_t& block, const ncdm_leaf_t& leaf) {
  if (leaf.slot >= NC_DM_MAX_SLOTS || (leaf.slot == 0 && !IsKey(leaf))) return false;
  const nc_int64 flags = IsNumber(*leaf.type) ? block.ulong_var_flag : block.string_var_flag;
  return (static_cast<uint64_t>(flags) >> leaf.slot & 1) != 0;
}

// The record with the block's keys; nothing when one of them is missing or refused.
std::optional<Record> KeyRecord(const ncdm_node_t& node, const nc_dm_agent_data_block_t& block) {
  Record record = Application::Defaults(node);
  for (const ncdm_leaf_t& leaf : Leaves(node)) {
    if (!IsKey(leaf)) continue;
    if (!IsSet(block, leaf) ||
        !ReadSlot(*leaf.type, block, leaf.slot, Member(leaf, record.data()))) {
      return std::nullopt;
    }
  }
  return record;
}

// Takes over the slots that the request named.
bool TakeSlots(const ncdm_node_t& node, const nc_dm_agent_data_block_t& block, Record& record) {
  for (const ncdm_leaf_t& leaf : Leaves(node)) {
    if (IsKey(leaf) || !IsSet(block, leaf)) continue;
    if (!ReadSlot(*leaf.type, block, leaf.slot, Member(leaf, record.data()))) return false;
    SetHasValue(node, leaf, record.data());
  }
  return true;
}

// Only a leaf with a slot can come with the entry.
bool IsComplete(const ncdm_node_t& node, const Record& record) {
  for (const ncdm_leaf_t& leaf : Leaves(node)) {
    if (IsMandatory(leaf) && leaf.slot != 0 && !HasValue(leaf, record.data())) return false;
  }
  return true;
}

int64_t EditByBlock(const ncdm_node_t& node, const Ids& ids,
                    const nc_dm_agent_data_block_t& block) {
  const int result =
      Edit(node, ids, [&](Record& record) { return TakeSlots(node, block, record); });
  return result != 0 ? result : ids.back();
}

int64_t CreateOrMerge(const ncdm_node_t& node, nc_dm_agent_data_block_t& block) {
  const auto outer = OuterIds(node, block.id_array);
  auto record = KeyRecord(node, block);
  if (!outer || !record || !App().HasPlace(node, *outer)) return kRefused;
  const int64_t known = App().Find(node, *outer, *record);
  block.id_array.output.inst_exist = known > 0;
  if (known > 0) {
    // The agent refuses a create of what exists, so it must change nothing here.
    if (block.op_flag == NC_DM_CMD_OP_CREATE) return known;
    return EditByBlock(node, Inner(*outer, known), block);
  }
  if (!TakeSlots(node, block, *record) || !IsComplete(node, *record)) return kRefused;
  return App().Create(node, *outer, *record);
}

int64_t EditExisting(const ncdm_node_t& node, const nc_dm_agent_data_block_t& block) {
  const auto ids = EntryIds(node, block.id_array);
  return ids ? EditByBlock(node, *ids, block) : kRefused;
}

// By the keys, or by the id when everything below a container goes. A block of this kind that has
// other slots set comes from a request that deletes one leaf of an entry and writes others.
int64_t RemoveByBlock(const ncdm_node_t& node, const nc_dm_agent_data_block_t& block) {
  if (IsSet(block, KeyLeaf(node))) {
    const auto outer = OuterIds(node, block.id_array);
    const auto record = KeyRecord(node, block);
    if (!outer) return kRefused;
    if (!record) return kNoSuchEntry;
    const int64_t known = App().Find(node, *outer, *record);
    return known > 0 ? RemoveEntry(node, Inner(*outer, known)) : kNoSuchEntry;
  }
  if (block.ulong_var_flag != 0 || block.string_var_flag != 0) return EditExisting(node, block);
  const auto ids = EntryIds(node, block.id_array);
  return ids ? RemoveEntry(node, *ids) : kRefused;
}

int64_t Execute(const ncdm_node_t& node, nc_dm_agent_data_block_t& block) {
  if (!node.config) return kRefused;
  switch (block.op_flag) {
    case NC_DM_CMD_OP_MERGE:
    case NC_DM_CMD_OP_CREATE:
      return CreateOrMerge(node, block);
    case NC_DM_CMD_OP_EDIT:
      return EditExisting(node, block);
    case NC_DM_CMD_OP_DELETE:
      return RemoveByBlock(node, block);
    default:
      return kRefused;
  }
}

int FindEntry(const ncdm_node_t& node, const nc_dm_agent_data_block_t& block,
              nc_dm_op_output_t& output) {
  const auto outer = OuterIds(node, block.id_array);
  const auto record = KeyRecord(node, block);
  output.instid = outer && record ? App().Find(node, *outer, *record) : 0;
  output.inst_exist = output.instid != 0;
  return 0;
}

}  // namespace
}  // namespace ncdm::model

using ncdm::model::Guarded;

int ncdm_leaf_get(const ncdm_node_t* node, size_t leaf, const nc_dm_id_array_t* ids, char* value) {
  return Guarded(-1, [&] { return ncdm::model::Get(*node, node->leaves[leaf], *ids, value); });
}

int ncdm_leaf_set(const ncdm_node_t* node, size_t leaf, const nc_dm_id_array_t* ids,
                  const char* value) {
  return Guarded(-1, [&] { return ncdm::model::Set(*node, node->leaves[leaf], *ids, value); });
}

nc_int64 ncdm_leaf_delete(const ncdm_node_t* node, size_t leaf, const nc_dm_id_array_t* ids) {
  return Guarded(nc_int64{-1},
                 [&] { return ncdm::model::Delete(*node, node->leaves[leaf], *ids); });
}

nc_int64 ncdm_entry_create(const ncdm_node_t* node, nc_dm_id_array_t* ids, const char* value) {
  return Guarded(nc_int64{-1}, [&] { return ncdm::model::Create(*node, *ids, value); });
}

nc_int64 ncdm_entry_delete(const ncdm_node_t* node, const nc_dm_id_array_t* ids,
                           const char* value) {
  return Guarded(nc_int64{-1}, [&] { return ncdm::model::Remove(*node, *ids, value); });
}

int ncdm_entry_find(const ncdm_node_t* node, const nc_dm_agent_data_block_t* block,
                    nc_dm_op_output_t* output) {
  return Guarded(-1, [&] { return ncdm::model::FindEntry(*node, *block, *output); });
}

nc_int64 ncdm_entry_execute(const ncdm_node_t* node, nc_dm_agent_data_block_t* block) {
  return Guarded(nc_int64{-1}, [&] { return ncdm::model::Execute(*node, *block); });
}
