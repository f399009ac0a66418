#include "device_data.h"

#include <algorithm>
#include <sstream>

namespace ncdm_test {
namespace {

using Slots = ReferenceApplication::Slots;

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

}  // namespace

bool ReferenceApplication::HasEntry(const Schema* list, const Ids& ids) const {
  return list == nullptr || data_.contains(InstancePath(*list->keys.at(0), ids));
}

std::string ReferenceApplication::KeysOf(const Schema& list, const Ids& ids) const {
  std::string keys;
  for (const Schema* key : list.keys) {
    const std::string& text = data_.at(InstancePath(*key, ids));
    keys = keys.empty() ? text : JoinKeys(keys, text);
  }
  return keys;
}

std::string ReferenceApplication::IndexKey(const Schema& list, const Ids& parents,
                                           const std::string& keys) {
  return InstancePath(list, Below(parents, 0)) + "\n" + keys;
}

void ReferenceApplication::PutEntry(const Schema& list, const Ids& ids, const std::string& keys) {
  std::istringstream texts(keys);
  for (const Schema* key : list.keys) {
    std::string text;
    std::getline(texts, text, '/');
    data_[InstancePath(*key, ids)] = text;
  }
  index_[IndexKey(list, Prefix(ids, ids.size() - 1), keys)] = ids.back();
}

void ReferenceApplication::PutValue(const Schema& leaf, const Ids& ids, const std::string& text) {
  data_[InstancePath(leaf, ids)] = text;
}

void ReferenceApplication::PutElement(const Schema& leaf_list, const Ids& ids,
                                      const std::string& text) {
  data_[InstancePath(leaf_list, ids)] = text;
  index_[IndexKey(leaf_list, Prefix(ids, ids.size() - 1), text)] = ids.back();
}

std::int64_t ReferenceApplication::FindEntry(const Schema& list, const Ids& parents,
                                             const std::string& keys) const {
  const auto known = index_.find(IndexKey(list, parents, keys));
  return known == index_.end() ? 0 : known->second;
}

std::int64_t ReferenceApplication::CreateEntry(const Schema& list, const Ids& ids,
                                               const std::string& text, bool* existed) {
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

std::int64_t ReferenceApplication::RemoveEntry(const Schema& list, const Ids& ids) {
  if (!HasEntry(&list, ids)) return kMissing;
  if (IsLocked(KeysOf(list, ids))) return kRefusal;
  TakeEntry(list, ids);
  return ids.back();
}

void ReferenceApplication::TakeEntry(const Schema& list, const Ids& ids) {
  if (!HasEntry(&list, ids)) return;
  const std::string keys = KeysOf(list, ids);
  index_.erase(IndexKey(list, Prefix(ids, ids.size() - 1), keys));
  const std::string below = InstancePath(list, ids) + ".";
  const auto erase_below = [&](auto* map) {
    std::erase_if(*map, [&](const auto& entry) { return entry.first.starts_with(below); });
  };
  erase_below(&data_);
  erase_below(&index_);
}

void ReferenceApplication::TakeElement(const Schema& leaf_list, const Ids& ids) {
  const auto element = data_.find(InstancePath(leaf_list, ids));
  if (element == data_.end()) return;
  index_.erase(IndexKey(leaf_list, Prefix(ids, ids.size() - 1), element->second));
  data_.erase(element);
}

std::int64_t ReferenceApplication::DeleteEntry(const Schema& list, const Ids& ids,
                                               const std::string& text) {
  if (ids.size() >= list.depth) return RemoveEntry(list, Prefix(ids, list.depth));
  if (ids.size() < list.depth - 1) return kRefusal;
  const std::int64_t id = FindEntry(list, ids, text);
  return id == 0 ? kMissing : RemoveEntry(list, Below(ids, id));
}

std::int64_t ReferenceApplication::CreateElement(const Schema& leaf_list, const Ids& ids,
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
  data_[InstancePath(leaf_list, Below(entry, id))] = text;
  index_[key] = id;
  return id;
}

std::int64_t ReferenceApplication::DeleteElement(const Schema& leaf_list, const Ids& ids,
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
  const auto element = data_.find(InstancePath(leaf_list, Below(entry, id)));
  if (element == data_.end()) return kMissing;
  if (IsLocked(element->second)) return kRefusal;
  index_.erase(IndexKey(leaf_list, entry, element->second));
  data_.erase(element);
  return id;
}

int ReferenceApplication::Set(const Schema& leaf, const Ids& ids, const std::string& text) {
  if (ids.size() < leaf.depth || IsRefused(text)) return kRefusal;
  const Ids entry = Prefix(ids, leaf.depth);
  if (!HasEntry(leaf.EnclosingList(), entry)) return kRefusal;
  data_[InstancePath(leaf, entry)] = text;
  return 0;
}

std::int64_t ReferenceApplication::DeleteLeaf(const Schema& leaf, const Ids& ids,
                                              const std::string& text) {
  if ((leaf.leaf.flag & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE)) != 0) {
    return DeleteEntry(*leaf.parent, ids, text);
  }
  if (ids.size() < leaf.depth) return kRefusal;
  const Ids entry = Prefix(ids, leaf.depth);
  if (!HasEntry(leaf.EnclosingList(), entry)) return kMissing;
  return data_.erase(InstancePath(leaf, entry)) > 0 || leaf.offers(kDeleteUnset) ? 0 : kMissing;
}

std::string ReferenceApplication::KeysInSlots(const Schema& list, const Slots& slots) {
  std::string keys;
  for (const Schema* key : list.keys) {
    const auto slot = slots.find(key->leaf.slot);
    if (slot == slots.end() || slot->second.empty()) return {};
    keys = keys.empty() ? slot->second : JoinKeys(keys, slot->second);
  }
  return keys;
}

std::int64_t ReferenceApplication::Command(const Schema& list, int op_flag, const Ids& ids,
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

std::int64_t ReferenceApplication::CommandOnEntry(const Schema& list, int op_flag, const Ids& ids,
                                                  const Slots& slots) {
  if (!HasEntry(&list, ids)) return kMissing;
  if (op_flag == NC_DM_CMD_OP_EDIT) {
    return HasRefused(slots) ? kRefusal : SetSlots(list, ids, slots);
  }
  return slots.empty() ? RemoveEntry(list, ids) : UnsetSlots(list, ids, slots);
}

std::int64_t ReferenceApplication::DeleteByKeys(const Schema& list, const Ids& parents,
                                                const Slots& slots) {
  const std::string keys = KeysInSlots(list, slots);
  if (keys.empty()) return kRefusal;
  const std::int64_t id = FindEntry(list, parents, keys);
  return id == 0 ? kMissing : RemoveEntry(list, Below(parents, id));
}

std::int64_t ReferenceApplication::MergeByKeys(const Schema& list, int op_flag, const Ids& parents,
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

std::int64_t ReferenceApplication::SetSlots(const Schema& list, const Ids& ids,
                                            const Slots& slots) {
  ForEachSlotted(list, slots, [&](const Schema& leaf, const std::string& text) {
    data_[InstancePath(leaf, ids)] = text;
  });
  return ids.back();
}

std::int64_t ReferenceApplication::UnsetSlots(const Schema& list, const Ids& ids,
                                              const Slots& slots) {
  ForEachSlotted(list, slots, [&](const Schema& leaf, const std::string&) {
    data_.erase(InstancePath(leaf, ids));
  });
  return ids.back();
}

// What a leaf, or a leaf-list's element, reads as.
std::optional<std::string> ReferenceApplication::Get(const Schema& leaf, const Ids& ids) const {
  const std::size_t count = leaf.depth + (leaf.kind == Schema::Kind::kLeafList ? 1 : 0);
  if (!leaf.offers(kGet) || ids.size() < count) return std::nullopt;
  const auto text = data_.find(InstancePath(leaf, Prefix(ids, count)));
  return text == data_.end() ? std::nullopt : std::optional(text->second);
}

}  // namespace ncdm_test
