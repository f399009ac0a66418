#include "reference/reference_entry.h"

#include <algorithm>

#include "reference/reference_value.h"

namespace ncdm_test {
namespace {

using Action = ReferenceEdit::Action;
using Kind = ReferenceTree::Kind;
using Node = ReferenceTree::Node;

constexpr nc_int64 kMissing = -7;

const Node* FirstKey(const Node& list) {
  for (const auto& child : list.children) {
    if (child->IsKey()) return child.get();
  }
  return nullptr;
}

Ids IdsOf(const Node& entry) {
  Ids ids;
  for (const Node* node = &entry; node != nullptr; node = node->parent) {
    if (node->id != 0) ids.insert(ids.begin(), node->id);
  }
  return ids;
}

}  // namespace

nc_int64 ReferenceEntry::Edit(nc_int32 pkt_type, const std::vector<ReferenceEdit>& edits) {
  const auto key = std::ranges::find_if(edits, &ReferenceEdit::is_key);
  if (key == edits.end()) return -1;
  const Ids& ids = key->from.ids;
  Node* above = tree_->MakeWay(key->names, ids, request_->Source());
  if (above == nullptr || above->kind == Kind::kLeaf) {
    request_->fault().code = NC_DM_FAULT_CODE_OP_FAILED;
    if (above == nullptr) return -1;
    return ids.empty() ? 0 : ids.back();
  }
  Node* list = key->names.size() < 2 ? nullptr : above->Child(*(key->names.end() - 2));
  if (list == nullptr || list->kind != Kind::kList) {
    request_->Fail(NC_DM_FAULT_CODE_OP_FAILED, above->name);
    return -1;
  }
  const bool by_command = pkt_type == NC_DM_PKT_TYPE_OBJECT_CMD_END ||
                          (pkt_type == NC_DM_PKT_TYPE_OBJECT_END && list->command != nullptr);
  switch (key->action()) {
    case Action::kDelete:
      return Delete(above, list, edits, *key, by_command);
    case Action::kMerge:
      return Merge(above, list, edits, *key, by_command);
    default:
      return LookUp(*above, *list, edits, *key);
  }
}

nc_int64 ReferenceEntry::Delete(Node* above, Node* list, const std::vector<ReferenceEdit>& edits,
                                const ReferenceEdit& key, bool by_command) {
  const nc_int64 id = by_command ? ReferenceCommand(request_, list).Run(edits, NC_DM_CMD_OP_DELETE)
                                 : DeleteByKey(*list, key.from);
  if (id < 0) {
    request_->FailUnlessFailed(list->name);
    return -1;
  }
  if (Node* entry = above->Instance(list->name, id)) ReferenceTree::Remove(entry);
  return id;
}

nc_int64 ReferenceEntry::Merge(Node* above, Node* list, const std::vector<ReferenceEdit>& edits,
                               const ReferenceEdit& key, bool by_command) {
  const int cmd_op = key.from.op == NC_DM_OP_CREATE ? NC_DM_CMD_OP_CREATE : NC_DM_CMD_OP_MERGE;
  const nc_int64 id = by_command ? ReferenceCommand(request_, list).Run(edits, cmd_op)
                                 : CreateByKey(*list, key.from);
  if (id <= 0) {
    request_->FailUnlessFailed(list->name);
    return -1;
  }
  if (Node* entry = above->Instance(list->name, id)) {
    StampEntry(entry, edits);
  } else {
    ReferenceTree::MakeInstance(above, *list, id, request_->Source());
  }
  return id;
}

void ReferenceEntry::StampEntry(Node* entry, const std::vector<ReferenceEdit>& edits) const {
  const auto stamp = [this](Node* node) {
    if (node->src != NC_DM_NODE_SRC_SDN) node->src = request_->Source();
  };
  if (entry->src != NC_DM_NODE_SRC_CLI_ALW) stamp(entry);
  for (const ReferenceEdit& edit : edits) {
    Node* leaf = entry->Child(edit.names.back());
    if (leaf != nullptr && leaf->kind == Kind::kLeaf) stamp(leaf);
  }
}

// ---- By a list's own callbacks ----

// The value that they are handed; false with a fault.
bool ReferenceEntry::TakesFirstKey(const Node& list, const ModelEdit& edit, Callback callback,
                                   std::string* value) {
  const Node* key = FirstKey(list);
  if (key == nullptr) {
    request_->FailHere(NC_DM_FAULT_CODE_OP_FAILED);
    return false;
  }
  const auto text = edit.val != nullptr ? Canonical(key->leaf->type, edit.val) : std::nullopt;
  if (!text) {
    request_->Fail(NC_DM_FAULT_CODE_DATA_INVALID_VALUE, key->name);
    return false;
  }
  *value = *text;
  if (ReferenceTree::Offers(list.key, callback)) return true;
  request_->FailHere(NC_DM_FAULT_CODE_OP_FAILED);
  return false;
}

nc_int64 ReferenceEntry::CreateByKey(const Node& list, const ModelEdit& edit) {
  std::string value;
  if (!TakesFirstKey(list, edit, Callback::kCreate, &value)) return -1;
  const ReferenceAnswer answer = request_->Call({.callback = Callback::kCreate,
                                                 .leaf = list.key,
                                                 .ids = edit.ids,
                                                 .src = request_->Source(),
                                                 .value = value});
  if (answer.result <= 0 || edit.op != NC_DM_OP_CREATE || !answer.existed) return answer.result;
  request_->FailHere(NC_DM_FAULT_CODE_DATA_EXISTS);
  return -1;
}

nc_int64 ReferenceEntry::DeleteByKey(const Node& list, const ModelEdit& edit) {
  std::string value;
  if (!TakesFirstKey(list, edit, Callback::kDelete, &value)) return -1;
  const nc_int64 result =
      request_
          ->Call({.callback = Callback::kDelete, .leaf = list.key, .ids = edit.ids, .value = value})
          .result;
  if (result != kMissing) return result;
  if (edit.op == NC_DM_OP_REMOVE) return 0;
  request_->FailHere(NC_DM_FAULT_CODE_DATA_MISSING);
  return kMissing;
}

// ---- Lookups ----

nc_int64 ReferenceEntry::LookUp(const Node& above, const Node& list,
                                const std::vector<ReferenceEdit>& edits,
                                const ReferenceEdit& first) {
  Keys keys;
  for (const ReferenceEdit& edit : edits) {
    if (edit.is_key() && edit.from.val != nullptr) {
      keys.emplace_back(edit.names.back(), edit.from.val);
    }
  }
  nc_int64 id = -1;
  if (!keys.empty() && ReferenceTree::Offers(list.key, Callback::kGetAttr)) {
    id = AskApplication(list, keys, first.from.ids);
  } else if (!keys.empty()) {
    for (const auto& entry : above.children) {
      if (entry->kind != Kind::kEntry || entry->name != list.name || !HasKeys(*entry, keys)) {
        continue;
      }
      id = entry->id;
      break;
    }
  }
  if (id <= 0) request_->FailUnlessFailed(list.name);
  if (id > 0) request_->Accept();
  return id;
}

// The application finds an entry by the slots that its keys have. Its id, 0 or less.
nc_int64 ReferenceEntry::AskApplication(const Node& list, const Keys& keys, const Ids& ids) {
  std::map<int, ReferenceSlot> slots;
  for (const auto& child : list.children) {
    if (!child->IsKey()) continue;
    const auto key = std::ranges::find(keys, child->name, &Keys::value_type::first);
    if (key == keys.end()) return -1;
    const auto value = Canonical(child->leaf->type, key->second);
    if (!value) return -1;
    slots[child->leaf->index] = {child->leaf, *value};
  }
  return request_
      ->Call({.callback = Callback::kGetAttr,
              .leaf = list.key,
              .ids = ids,
              .op_flag = NC_DM_CMD_OP_LOOKUP,
              .slots = slots})
      .result;
}

// True if an entry's keys read as given.
bool ReferenceEntry::HasKeys(const Node& entry, const Keys& keys) {
  const Ids ids = IdsOf(entry);
  return std::ranges::all_of(keys, [&](const auto& key) {
    const Node* leaf = entry.Child(key.first);
    if (leaf == nullptr || !leaf->IsKey() || !leaf->Has(Callback::kGet)) return false;
    const ReferenceAnswer read =
        request_->Call({.callback = Callback::kGet, .leaf = leaf->leaf, .ids = ids});
    return read.result >= 0 && read.value == key.second;
  });
}

}  // namespace ncdm_test
