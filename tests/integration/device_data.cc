#include "device_data.h"

#include <algorithm>
#include <sstream>

namespace ncdm_test {
namespace {

using Slots = std::map<int, std::string>;

constexpr std::int64_t kMissing = -7;
constexpr std::int64_t kRefusal = -1;

bool HasRefused(const Slots& slots) {
  return std::ranges::any_of(slots, [](const auto& slot) { return IsRefused(slot.second); });
}

// The leaves of an entry, keys apart, that slots give a value to.
template <typename Visit>
void ForEachSlotted(const Schema& list, const Slots& slots, Visit visit) {
  for (const auto& child : list.children) {
    const auto slot = slots.find(child->leaf.slot);
    const bool is_slotted = child->kind == Schema::Kind::kLeaf && child->leaf.slot != 0;
    if (!is_slotted || slot == slots.end() || std::ranges::count(list.keys, child.get()) > 0) {
      continue;
    }
    visit(*child, slot->second);
  }
}

bool IsKey(const LeafDefinition& leaf) {
  return (leaf.flag & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE)) != 0;
}

Slots TextsOf(const ReferenceCall& call) {
  Slots texts;
  for (const auto& [slot, value] : call.slots) texts[slot] = value.text;
  return texts;
}

}  // namespace

ReferenceAnswer DeviceData::Answer(const Schema& leaf, const ReferenceCall& call) {
  const bool is_leaf_list = leaf.kind == Schema::Kind::kLeafList;
  ReferenceAnswer answer;
  switch (call.callback) {
    case Callback::kSet:
      answer.result = Set(leaf, call.ids, call.value);
      break;
    case Callback::kGet: {
      const auto value = Get(leaf, call.ids);
      answer.result = value ? 0 : kMissing;
      answer.value = value.value_or("");
      break;
    }
    case Callback::kCreate:
      answer.result = is_leaf_list
                          ? CreateElement(leaf, call.ids, call.value, &answer.existed)
                          : CreateEntry(*leaf.parent, call.ids, call.value, &answer.existed);
      break;
    case Callback::kDelete:
      answer.result = is_leaf_list       ? DeleteElement(leaf, call.ids, call.value)
                      : IsKey(leaf.leaf) ? DeleteEntry(*leaf.parent, call.ids, call.value)
                                         : DeleteLeaf(leaf, call.ids);
      break;
    case Callback::kGetAttr:
      answer.result = LookUp(*leaf.parent, call.ids, TextsOf(call));
      break;
    case Callback::kExeCmd:
      answer.result = Command(*leaf.parent, call.op_flag, call.ids, TextsOf(call), &answer.existed);
      break;
  }
  return answer;
}

bool DeviceData::HasEntry(const Schema* list, const Ids& ids) const {
  return list == nullptr || values_.contains(InstancePath(*list->keys.at(0), ids));
}

std::string DeviceData::KeysOf(const Schema& list, const Ids& ids) const {
  std::string keys;
  for (const Schema* key : list.keys) {
    const std::string& text = values_.at(InstancePath(*key, ids));
    keys = keys.empty() ? text : JoinKeys(keys, text);
  }
  return keys;
}

std::string DeviceData::IndexKey(const Schema& list, const Ids& parents, const std::string& keys) {
  return InstancePath(list, Below(parents, 0)) + "\n" + keys;
}

void DeviceData::PutEntry(const Schema& list, const Ids& ids, const std::string& keys) {
  std::istringstream texts(keys);
  for (const Schema* key : list.keys) {
    std::string text;
    std::getline(texts, text, '/');
    values_[InstancePath(*key, ids)] = text;
  }
  index_[IndexKey(list, Prefix(ids, ids.size() - 1), keys)] = ids.back();
}

void DeviceData::PutValue(const Schema& leaf, const Ids& ids, const std::string& text) {
  values_[InstancePath(leaf, ids)] = text;
}

void DeviceData::PutElement(const Schema& leaf_list, const Ids& ids, const std::string& text) {
  values_[InstancePath(leaf_list, ids)] = text;
  index_[IndexKey(leaf_list, Prefix(ids, ids.size() - 1), text)] = ids.back();
}

std::int64_t DeviceData::FindEntry(const Schema& list, const Ids& parents,
                                   const std::string& keys) const {
  const auto known = index_.find(IndexKey(list, parents, keys));
  return known == index_.end() ? 0 : known->second;
}

std::int64_t DeviceData::CreateEntry(const Schema& list, const Ids& ids, const std::string& text,
                                     bool* existed) {
  if (ids.size() < list.depth - 1 || text.empty() || IsRefused(text)) return kRefusal;
  const Ids parents = Prefix(ids, list.depth - 1);
  if (!HasEntry(list.EnclosingList(), parents)) return kRefusal;
  if (IsZero(text)) return 0;
  if (const std::int64_t id = FindEntry(list, parents, text); id != 0) {
    *existed = true;
    return id;
  }
  const std::int64_t id = DeviceId(list.path, text);
  PutEntry(list, Below(parents, id), text);
  return id;
}

std::int64_t DeviceData::RemoveEntry(const Schema& list, const Ids& ids) {
  if (!HasEntry(&list, ids)) return kMissing;
  if (IsLocked(KeysOf(list, ids))) return kRefusal;
  TakeEntry(list, ids);
  return ids.back();
}

void DeviceData::TakeEntry(const Schema& list, const Ids& ids) {
  if (!HasEntry(&list, ids)) return;
  const std::string keys = KeysOf(list, ids);
  index_.erase(IndexKey(list, Prefix(ids, ids.size() - 1), keys));
  const std::string below = InstancePath(list, ids) + ".";
  const auto erase_below = [&](auto* map) {
    std::erase_if(*map, [&](const auto& entry) { return entry.first.starts_with(below); });
  };
  erase_below(&values_);
  erase_below(&index_);
}

void DeviceData::TakeElement(const Schema& leaf_list, const Ids& ids) {
  const auto element = values_.find(InstancePath(leaf_list, ids));
  if (element == values_.end()) return;
  index_.erase(IndexKey(leaf_list, Prefix(ids, ids.size() - 1), element->second));
  values_.erase(element);
}

std::int64_t DeviceData::DeleteEntry(const Schema& list, const Ids& ids, const std::string& text) {
  if (ids.size() >= list.depth) return RemoveEntry(list, Prefix(ids, list.depth));
  if (ids.size() < list.depth - 1) return kRefusal;
  const std::int64_t id = FindEntry(list, ids, text);
  return id == 0 ? kMissing : RemoveEntry(list, Below(ids, id));
}

std::int64_t DeviceData::CreateElement(const Schema& leaf_list, const Ids& ids,
                                       const std::string& text, bool* existed) {
  if (ids.size() < leaf_list.depth || text.empty() || IsRefused(text)) return kRefusal;
  const Ids entry = Prefix(ids, leaf_list.depth);
  if (!HasEntry(leaf_list.EnclosingList(), entry)) return kRefusal;
  if (IsZero(text)) return 0;
  const std::string key = IndexKey(leaf_list, entry, text);
  const auto known = index_.find(key);
  if (known != index_.end()) {
    *existed = true;
    return known->second;
  }
  const std::int64_t id = DeviceId(leaf_list.path, text);
  values_[InstancePath(leaf_list, Below(entry, id))] = text;
  index_[key] = id;
  return id;
}

std::int64_t DeviceData::DeleteElement(const Schema& leaf_list, const Ids& ids,
                                       const std::string& text) {
  if (ids.size() < leaf_list.depth) return kRefusal;
  const Ids entry = Prefix(ids, leaf_list.depth);
  std::int64_t id = 0;
  if (!text.empty()) {
    const auto known = index_.find(IndexKey(leaf_list, entry, text));
    if (known == index_.end()) return kMissing;
    id = known->second;
  } else {
    if (ids.size() == leaf_list.depth) return kMissing;
    id = ids[leaf_list.depth];
  }
  const auto element = values_.find(InstancePath(leaf_list, Below(entry, id)));
  if (element == values_.end()) return kMissing;
  if (IsLocked(element->second)) return kRefusal;
  index_.erase(IndexKey(leaf_list, entry, element->second));
  values_.erase(element);
  return id;
}

int DeviceData::Set(const Schema& leaf, const Ids& ids, const std::string& text) {
  if (ids.size() < leaf.depth || IsRefused(text)) return kRefusal;
  const Ids entry = Prefix(ids, leaf.depth);
  if (!HasEntry(leaf.EnclosingList(), entry)) return kRefusal;
  values_[InstancePath(leaf, entry)] = text;
  return 0;
}

std::int64_t DeviceData::DeleteLeaf(const Schema& leaf, const Ids& ids) {
  if (ids.size() < leaf.depth) return kRefusal;
  const Ids entry = Prefix(ids, leaf.depth);
  if (!HasEntry(leaf.EnclosingList(), entry)) return kMissing;
  return values_.erase(InstancePath(leaf, entry)) > 0 || leaf.offers(kDeleteUnset) ? 0 : kMissing;
}

// The id of the entry with the keys in the slots; 0 when there is none.
std::int64_t DeviceData::LookUp(const Schema& list, const Ids& ids, const Slots& slots) const {
  if (ids.size() < list.depth - 1) return 0;
  return FindEntry(list, Prefix(ids, list.depth - 1), KeysInSlots(list, slots));
}

std::string DeviceData::KeysInSlots(const Schema& list, const Slots& slots) {
  std::string keys;
  for (const Schema* key : list.keys) {
    const auto slot = slots.find(key->leaf.slot);
    if (slot == slots.end() || slot->second.empty()) return {};
    keys = keys.empty() ? slot->second : JoinKeys(keys, slot->second);
  }
  return keys;
}

std::int64_t DeviceData::Command(const Schema& list, int op_flag, const Ids& ids,
                                 const Slots& slots, bool* existed) {
  const bool has_own_id = ids.size() >= list.depth;
  if (op_flag == NC_DM_CMD_OP_EDIT || (op_flag == NC_DM_CMD_OP_DELETE && has_own_id)) {
    return has_own_id ? CommandOnEntry(list, op_flag, Prefix(ids, list.depth), slots) : kRefusal;
  }
  if (ids.size() < list.depth - 1) return kRefusal;
  const Ids parents = Prefix(ids, list.depth - 1);
  return op_flag == NC_DM_CMD_OP_DELETE ? DeleteByKeys(list, parents, slots)
                                        : MergeByKeys(list, op_flag, parents, slots, existed);
}

std::int64_t DeviceData::CommandOnEntry(const Schema& list, int op_flag, const Ids& ids,
                                        const Slots& slots) {
  if (!HasEntry(&list, ids)) return kMissing;
  if (op_flag == NC_DM_CMD_OP_EDIT) {
    return HasRefused(slots) ? kRefusal : SetSlots(list, ids, slots);
  }
  return slots.empty() ? RemoveEntry(list, ids) : UnsetSlots(list, ids, slots);
}

std::int64_t DeviceData::DeleteByKeys(const Schema& list, const Ids& parents, const Slots& slots) {
  const std::string keys = KeysInSlots(list, slots);
  if (keys.empty()) return kRefusal;
  const std::int64_t id = FindEntry(list, parents, keys);
  return id == 0 ? kMissing : RemoveEntry(list, Below(parents, id));
}

std::int64_t DeviceData::MergeByKeys(const Schema& list, int op_flag, const Ids& parents,
                                     const Slots& slots, bool* existed) {
  const std::string keys = KeysInSlots(list, slots);
  if (!HasEntry(list.EnclosingList(), parents) || keys.empty() || HasRefused(slots)) {
    return kRefusal;
  }
  if (IsZero(slots.at(list.keys.at(0)->leaf.slot))) return 0;
  if (const std::int64_t id = FindEntry(list, parents, keys); id != 0) {
    *existed = true;
    return op_flag == NC_DM_CMD_OP_CREATE ? id : SetSlots(list, Below(parents, id), slots);
  }
  const Ids entry = Below(parents, DeviceId(list.path, keys));
  PutEntry(list, entry, keys);
  return SetSlots(list, entry, slots);
}

std::int64_t DeviceData::SetSlots(const Schema& list, const Ids& ids, const Slots& slots) {
  ForEachSlotted(list, slots, [&](const Schema& leaf, const std::string& text) {
    values_[InstancePath(leaf, ids)] = text;
  });
  return ids.back();
}

std::int64_t DeviceData::UnsetSlots(const Schema& list, const Ids& ids, const Slots& slots) {
  ForEachSlotted(list, slots, [&](const Schema& leaf, const std::string&) {
    values_.erase(InstancePath(leaf, ids));
  });
  return ids.back();
}

// What a leaf, or a leaf-list's element, reads as.
std::optional<std::string> DeviceData::Get(const Schema& leaf, const Ids& ids) const {
  const std::size_t count = leaf.depth + (leaf.kind == Schema::Kind::kLeafList ? 1 : 0);
  if (!leaf.offers(kGet) || ids.size() < count) return std::nullopt;
  const auto text = values_.find(InstancePath(leaf, Prefix(ids, count)));
  return text == values_.end() ? std::nullopt : std::optional(text->second);
}

}  // namespace ncdm_test
