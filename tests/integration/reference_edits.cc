#include "reference_edits.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: requests

Expectation Ok(std::int64_t instance) { return {.instance = instance}; }

bool IsKey(const EditElement& edit) {
  return (edit.key & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE)) != 0;
}

// Keys by name, as they came.
using Keys = std::vector<std::pair<std::string, std::string>>;

Keys KeysOf(const std::vector<EditElement>& edits) {
  Keys keys;
  for (const EditElement& edit : edits) {
    if (IsKey(edit) && edit.value) keys.emplace_back(Names(edit.name).back(), *edit.value);
  }
  return keys;
}

// The application finds an entry by the slots that its keys have. Its id, 0 or -1.
std::int64_t AskApplication(const ReferenceApplication& app, const Schema& list, const Ids& ids,
                            const Keys& keys) {
  ReferenceApplication::Slots slots;
  for (const Schema* key : list.keys) {
    const auto given = std::ranges::find(keys, key->name, &Keys::value_type::first);
    if (given == keys.end()) return -1;
    const auto text = Canonical(key->leaf.type, given->second);
    if (!text) return -1;
    slots[key->leaf.slot] = *text;
  }
  if (ids.size() < list.depth - 1) return 0;
  return app.FindEntry(list, Prefix(ids, list.depth - 1),
                       ReferenceApplication::KeysInSlots(list, slots));
}

// The first entry of the tree whose keys read as given. Its id, or -1.
std::int64_t FindInTree(const ReferenceApplication& app, const Schema& list,
                        const ReferenceTree::Node& above, const Ids& ids_above, const Keys& keys) {
  for (const auto& entry : above.order) {
    if (entry.first != list.name) continue;
    const Ids ids = Below(ids_above, entry.second);
    const bool matches = std::ranges::all_of(keys, [&](const auto& key) {
      const Schema* leaf = list.Find(key.first);
      return leaf != nullptr && std::ranges::count(list.keys, leaf) > 0 &&
             app.Get(*leaf, ids) == key.second;
    });
    if (matches) return entry.second;
  }
  return -1;
}

// How an edit of a subtree stands to the first of its group.
enum class Kinship { kSibling, kLater, kStranger, kNone };

Kinship Compare(const EditElement& edit, const EditElement& first) {
  if (edit.ids.size() < first.ids.size() ||
      !std::equal(first.ids.begin(), first.ids.end(), edit.ids.begin())) {
    return Kinship::kStranger;
  }
  if (edit.ids.size() > first.ids.size()) return Kinship::kLater;
  const auto names = ParsePath(edit.name);
  if (!names) return Kinship::kNone;
  const auto first_names = *ParsePath(first.name);
  if (names->size() < first_names.size()) return Kinship::kStranger;
  if (names->size() > first_names.size()) return Kinship::kLater;
  // Equal paths have index 0 in common, whatever their length.
  int common = 0;
  const auto differ = std::ranges::mismatch(*names, first_names).in1;
  if (differ != names->end()) common = static_cast<int>(differ - names->begin()) - 1;
  return names->size() > 1 && common == static_cast<int>(names->size()) - 2 ? Kinship::kSibling
                                                                            : Kinship::kStranger;
}

// Takes the first edit that can be read, and its siblings, out of a request.
std::vector<EditElement> TakeGroup(std::vector<EditElement>* edits) {
  std::vector<EditElement> group;
  for (auto edit = edits->begin(); edit != edits->end();) {
    const Kinship kinship = !group.empty()          ? Compare(*edit, group[0])
                            : ParsePath(edit->name) ? Kinship::kSibling
                                                    : Kinship::kNone;
    if (kinship == Kinship::kStranger) break;
    if (kinship == Kinship::kLater) {
      ++edit;
      continue;
    }
    if (kinship == Kinship::kSibling) group.push_back(*edit);
    edit = edits->erase(edit);
  }
  return group;
}

}  // namespace

Expectation ReferenceEdits::Failure() const {
  return {.ok = false, .fault_code = fault_.code, .fault_path = fault_.path};
}

Expectation ReferenceEdits::FailOn(const Schema& list) {
  fault_.SetUnlessSet(NC_DM_FAULT_CODE_OP_FAILED, list.name);
  return Failure();
}

std::int64_t ReferenceEdits::Execute(const Schema& entry, Node* node,
                                     const std::vector<Element>& edits, int cmd_op) {
  return ReferenceCommand(context_, entry, node).Run(edits, cmd_op);
}

// ---- One entry ----

Expectation ReferenceEdits::EditEntry(const ModelRequest& request) {
  const auto key = std::ranges::find_if(request.edits, IsKey);
  if (key == request.edits.end()) return Failure();
  const auto names = ParsePath(key->name);
  const Place above =
      names ? context_.tree->CreateMissing(*names, key->ids, context_.src) : Place{};
  if (above.kind == Place::Kind::kNothing) {
    fault_.code = NC_DM_FAULT_CODE_OP_FAILED;
    return Failure();
  }
  if (above.kind == Place::Kind::kLeaf) return Ok(key->ids.empty() ? 0 : key->ids.back());
  const Schema* list =
      names->size() < 2 ? nullptr : above.schema->Find((*names)[names->size() - 2]);
  if (list == nullptr || list->kind != Schema::Kind::kList) {
    fault_.Set(NC_DM_FAULT_CODE_OP_FAILED, above.schema->name);
    return Failure();
  }
  switch (ActionOf(*key)) {
    case ReferenceAction::kDelete:
      return DeleteEntry(request, *key, *list, above.node);
    case ReferenceAction::kMerge:
      return MergeEntry(request, *key, *list, above.node);
    default:
      return LookUpEntry(request, *key, *list, above);
  }
}

Expectation ReferenceEdits::DeleteEntry(const ModelRequest& request, const Element& key,
                                        const Schema& list, Node* above) {
  const std::int64_t id = request.as_command || list.has_command
                              ? Execute(list, nullptr, request.edits, NC_DM_CMD_OP_DELETE)
                              : DeleteByKey(list, key);
  if (id < 0) return FailOn(list);
  ReferenceTree::RemoveInstance(above, list.name, id);
  return Ok(id);
}

Expectation ReferenceEdits::MergeEntry(const ModelRequest& request, const Element& key,
                                       const Schema& list, Node* above) {
  const int cmd_op = key.operation == Operation::kCreate ? NC_DM_CMD_OP_CREATE : NC_DM_CMD_OP_MERGE;
  const std::int64_t id = request.as_command || list.has_command
                              ? Execute(list, nullptr, request.edits, cmd_op)
                              : CreateByKey(list, key);
  if (id <= 0) return FailOn(list);
  if (Node* entry = ReferenceTree::FindInstance(above, list.name, id)) {
    StampEntry(request.edits, entry);
  } else {
    ReferenceTree::AddInstance(above, &list, id, context_.src);
  }
  return Ok(id);
}

void ReferenceEdits::StampEntry(const std::vector<Element>& edits, Node* entry) const {
  if (entry->src != NC_DM_NODE_SRC_CLI_ALW && entry->src != NC_DM_NODE_SRC_SDN) {
    entry->src = context_.src;
  }
  for (const Element& edit : edits) {
    const auto leaf = entry->leaf_src.find(Names(edit.name).back());
    if (leaf != entry->leaf_src.end() && leaf->second != NC_DM_NODE_SRC_SDN) {
      leaf->second = context_.src;
    }
  }
}

Expectation ReferenceEdits::LookUpEntry(const ModelRequest& request, const Element& key,
                                        const Schema& list, const Place& above) {
  const Keys keys = KeysOf(request.edits);
  const ReferenceApplication& app = *context_.application;
  std::int64_t id = -1;
  if (!keys.empty()) {
    id = list.has_command
             ? AskApplication(app, list, key.ids, keys)
             : FindInTree(app, list, *above.node, Prefix(key.ids, above.ids_used), keys);
  }
  context_.Note(id, true);
  // An id of 0 is no failure.
  return id < 0 ? FailOn(list) : Ok(id);
}

std::int64_t ReferenceEdits::CreateByKey(const Schema& list, const Element& edit) {
  const Schema& key = *list.keys.at(0);
  const auto text = edit.value ? Canonical(key.leaf.type, edit.value) : std::nullopt;
  if (!text) {
    fault_.Set(NC_DM_FAULT_CODE_DATA_INVALID_VALUE, key.name);
    return -1;
  }
  bool existed = false;
  const std::int64_t id =
      context_.Note(context_.application->CreateEntry(list, edit.ids, *text, &existed), true);
  if (id > 0 && existed && edit.operation == Operation::kCreate) {
    fault_.Set(NC_DM_FAULT_CODE_DATA_EXISTS);
    return -1;
  }
  return id;
}

std::int64_t ReferenceEdits::DeleteByKey(const Schema& list, const Element& edit) {
  const Schema& key = *list.keys.at(0);
  const auto text = edit.value ? Canonical(key.leaf.type, edit.value) : std::nullopt;
  if (!text) {
    fault_.Set(NC_DM_FAULT_CODE_DATA_INVALID_VALUE, key.name);
    return -1;
  }
  const std::int64_t id = context_.Note(context_.application->DeleteEntry(list, edit.ids, *text));
  if (id != ReferenceApplication::kMissing) return id;
  if (edit.operation == Operation::kRemove) return 0;
  fault_.Set(NC_DM_FAULT_CODE_DATA_MISSING);
  return id;
}

// ---- Subtrees ----

Expectation ReferenceEdits::EditSubtree(const ModelRequest& request) {
  std::vector<Element> edits = request.edits;
  const bool goes_on = std::ranges::any_of(edits, GoesOn);
  std::int64_t result = 0;
  while (!edits.empty()) {
    const std::vector<Element> group = TakeGroup(&edits);
    if (group.empty()) break;
    if (!RunGroup(group, &result)) return Failure();
  }
  return result < 0 || (goes_on && fault_.code != 0) ? Failure() : Ok(result);
}

bool ReferenceEdits::RunGroup(const std::vector<Element>& group, std::int64_t* result) {
  const Element& first = group[0];
  const std::vector<std::string> names = *ParsePath(first.name);
  const bool is_delete = ActionOf(first) == ReferenceAction::kDelete;
  if (!is_delete) context_.tree->CreateMissing(names, first.ids, context_.src);
  const Place place = context_.tree->Match(names, first.ids, true);
  const bool is_whole = place.matched == names.size() && place.ids_used == first.ids.size();
  if (place.kind == Place::Kind::kNothing || (place.kind == Place::Kind::kObject && !is_whole)) {
    fault_.Set(NC_DM_FAULT_CODE_UNKNOWN_ELEM, names.back());
    return GoesOn(first);
  }
  if (place.owner == nullptr) {
    if (!is_delete) return false;
    *result = DeleteBelow(context_, place.node, first.ids, GoesOn(first));
    return *result == 0;
  }
  *result = Execute(*place.owner->schema, place.owner, group, NC_DM_CMD_OP_EDIT);
  if (*result >= 0) return true;
  fault_.SetUnlessSet(NC_DM_FAULT_CODE_OP_FAILED, place.owner->schema->name);
  return GoesOn(first);
}

}  // namespace ncdm_test
