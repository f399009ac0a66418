// A second, plain implementation of the edits of an entry and of those by paths: lists and walks,
// no index, no shortcut. It holds a tree of its own and tells which calls the application should
// see, with what result and fault.
#ifndef TESTS_REFERENCE_EDITS_H_
#define TESTS_REFERENCE_EDITS_H_

#include <algorithm>
#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "reference/command.h"

namespace ncdm_test {

class ReferenceEdit : public ReferenceCommand {
 public:
  using ReferenceCommand::ReferenceCommand;

  // Edits by paths.
  Outcome Run(const std::vector<ModelEdit>& edits, bool sdn, const Answers& answers) {
    Begin(sdn, answers);
    std::list<Edit> request;
    for (const ModelEdit& edit : edits) request.push_back(Read(edit));
    seen_.result = Perform(request);
    return End(request.size());
  }

  // The edit of an entry.
  Outcome RunEntry(nc_int32 pkt_type, const std::vector<ModelEdit>& edits, bool sdn,
                   const Answers& answers) {
    Begin(sdn, answers);
    std::vector<Edit> request;
    for (const ModelEdit& edit : edits) request.push_back(Read(edit));
    seen_.result = PerformEntry(pkt_type, request);
    return End(request.size());
  }

 private:
  void Begin(bool sdn, const Answers& answers) {
    sdn_ = sdn;
    answers_ = answers;
    seen_ = {};
    accepted_ = false;
    made_.clear();
  }
  Outcome End(size_t left) {
    if (!accepted_) UnmakeWay();
    seen_.left = static_cast<int>(left);
    Visit(roots_, "", [this](const std::string& at, Node& node) { seen_.tree[at] = node.src; });
    return seen_;
  }

  // ---- Subtrees ----

  static Edit Read(const ModelEdit& from) {
    std::vector<std::string> names = Split(from.name);
    if (names.size() > 1 && names.back().empty()) names.pop_back();
    if (std::find(names.begin(), names.end(), "") != names.end()) return {from, {}};
    std::erase(names, "{i}");
    return {from, names};
  }

  // 1: below, 0: the same, -1: elsewhere.
  static int Relation(const Ids& ids, const Ids& first) {
    if (ids.size() < first.size()) return -1;
    if (!std::equal(first.begin(), first.end(), ids.begin())) return -1;
    return ids.size() == first.size() ? 0 : 1;
  }

  static bool AreSiblings(const std::vector<std::string>& a, const std::vector<std::string>& b) {
    int common = 0;
    for (size_t i = 0; i < a.size(); ++i) {
      if (a[i] == b[i]) continue;
      common = static_cast<int>(i) - 1;
      break;
    }
    return a.size() > 1 && common == static_cast<int>(a.size()) - 2;
  }

  static std::vector<Edit> TakeGroup(std::list<Edit>& request) {
    std::vector<Edit> group;
    for (auto it = request.begin(); it != request.end();) {
      if (!group.empty()) {
        const int relation = Relation(it->from.ids, group[0].from.ids);
        if (relation < 0) break;
        if (relation > 0) {
          ++it;
          continue;
        }
      }
      if (!it->names.empty() && !group.empty()) {
        if (it->names.size() < group[0].names.size()) break;
        if (it->names.size() > group[0].names.size()) {
          ++it;
          continue;
        }
        if (!AreSiblings(group[0].names, it->names)) break;
      }
      if (!it->names.empty()) group.push_back(*it);
      it = request.erase(it);
    }
    return group;
  }

  nc_int64 Perform(std::list<Edit>& request) {
    nc_int64 result = 0;
    while (!request.empty()) {
      const std::vector<Edit> group = TakeGroup(request);
      if (group.empty()) break;
      const Edit& first = group[0];
      const bool deletes = ActionOf(first.from) == Action::kDelete;
      if (!deletes) MakeWay(first.names, first.from.ids, Source());

      const Way way = Follow(first.names, first.from.ids, true);
      const bool partial = way.ids != first.from.ids.size() || way.names != first.names.size();
      const bool object = way.last != nullptr &&
                          (way.last->kind == Kind::kContainer || way.last->kind == Kind::kEntry);
      if (way.last == nullptr || (object && partial)) {
        Fault(NC_DM_FAULT_CODE_UNKNOWN_ELEM, first.names.back());
        if (!GoesOn(first.from)) return -1;
        continue;
      }
      if (way.last->parent == nullptr) {
        if (!deletes) return -1;
        if (!Empty(*way.last, first.from.ids, 0, GoesOn(first.from))) return -1;
        result = 0;
        continue;
      }
      result = Execute(*way.last->parent, group, NC_DM_CMD_OP_EDIT);
      if (result >= 0) continue;
      if (seen_.fault_code == 0) Fault(NC_DM_FAULT_CODE_OP_FAILED, way.last->parent->name);
      if (!GoesOn(first.from)) return -1;
    }
    return result;
  }

  // ---- Entries ----

  using Keys = std::vector<std::pair<std::string, std::string>>;

  static constexpr int kKeyFlags = NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE;

  static bool IsKey(const Node& node) {
    return node.kind == Kind::kLeaf && (node.leaf->flag & kKeyFlags) != 0;
  }
  static const Node* FirstKey(const Node& list) {
    for (const auto& child : list.children) {
      if (IsKey(*child)) return child.get();
    }
    return nullptr;
  }
  static bool Offers(const ModelLeaf* key, Callback callback) {
    return key != nullptr && (key->callbacks & static_cast<unsigned>(callback)) != 0;
  }

  // A fault that keeps the path; `is_new` or the code alone.
  void FaultHere(int code, bool is_new) {
    seen_.fault_code = code;
    seen_.new_fault = seen_.new_fault || is_new;
  }
  void FaultUnlessSet(const Node& list) {
    if (seen_.fault_code == 0) Fault(NC_DM_FAULT_CODE_OP_FAILED, list.name);
  }

  nc_int64 PerformEntry(nc_int32 pkt_type, const std::vector<Edit>& request) {
    const auto speaks = [](const Edit& edit) { return (edit.from.flag & 3) != 0; };
    const auto first = std::find_if(request.begin(), request.end(), speaks);
    if (first == request.end()) return -1;
    const Ids& ids = first->from.ids;
    Node* above = MakeWay(first->names, ids, Source());
    if (above == nullptr || above->kind == Kind::kLeaf) {
      FaultHere(NC_DM_FAULT_CODE_OP_FAILED, false);
      if (above == nullptr) return -1;
      return ids.empty() ? 0 : ids.back();
    }
    Node* list =
        first->names.size() < 2 ? nullptr : Child(*above, first->names[first->names.size() - 2]);
    if (list == nullptr || list->kind != Kind::kList) {
      Fault(NC_DM_FAULT_CODE_OP_FAILED, above->name);
      return -1;
    }
    const bool by_command = pkt_type == 8 || (pkt_type == 6 && list->command != nullptr);
    switch (ActionOf(first->from)) {
      case Action::kDelete: {
        const nc_int64 result = by_command ? Execute(*list, request, NC_DM_CMD_OP_DELETE)
                                           : DeleteEntry(*list, first->from);
        return AfterDelete(*above, *list, result);
      }
      case Action::kMerge: {
        const bool creates = first->from.op == 3;
        const nc_int64 result =
            by_command ? Execute(*list, request, creates ? NC_DM_CMD_OP_CREATE : NC_DM_CMD_OP_MERGE)
                       : CreateEntry(*list, first->from);
        return AfterMerge(*above, *list, request, result);
      }
      default: {
        const nc_int64 result = LookUp(*above, *list, request, ids);
        if (result <= 0) FaultUnlessSet(*list);
        accepted_ |= result > 0;
        return result;
      }
    }
  }

  nc_int64 AfterDelete(Node& above, Node& list, nc_int64 result) {
    if (result < 0) {
      FaultUnlessSet(list);
      return -1;
    }
    Node* gone = Instance(above.children, list.name, result);
    if (gone != nullptr) Remove(gone);
    return result;
  }

  nc_int64 AfterMerge(Node& above, Node& list, const std::vector<Edit>& request, nc_int64 result) {
    if (result <= 0) {
      FaultUnlessSet(list);
      return -1;
    }
    Node* entry = Instance(above.children, list.name, result);
    if (entry == nullptr) {
      MakeInstance(above, list, result, Source());
      return result;
    }
    if (entry->src != NC_DM_NODE_SRC_CLI_ALW) Stamp(*entry, Source());
    for (const Edit& edit : request) {
      Node* leaf = Child(*entry, edit.names.back());
      if (leaf != nullptr && leaf->kind == Kind::kLeaf) Stamp(*leaf, Source());
    }
    return result;
  }

  // The value that a list's callback is handed; false with a fault.
  bool FirstKeyValue(const Node& list, const ModelEdit& edit, Callback callback) {
    const Node* key = FirstKey(list);
    if (key == nullptr) {
      FaultHere(NC_DM_FAULT_CODE_OP_FAILED, true);
      return false;
    }
    if (edit.val == nullptr || IsRefused(edit.val, key->leaf->type)) {
      Fault(NC_DM_FAULT_CODE_DATA_INVALID_VALUE, key->name);
      return false;
    }
    if (!Offers(list.key, callback)) {
      FaultHere(NC_DM_FAULT_CODE_OP_FAILED, true);
      return false;
    }
    return true;
  }

  nc_int64 CreateEntry(const Node& list, const ModelEdit& edit) {
    if (!FirstKeyValue(list, edit, Callback::kCreate)) return -1;
    bool exists = false;
    const nc_int64 id =
        CallLeaf(Callback::kCreate, *list.key, edit.ids, Source(), edit.val, &exists);
    if (id <= 0 || edit.op != 3 || !exists) return id;
    FaultHere(NC_DM_FAULT_CODE_DATA_EXISTS, true);
    return -1;
  }

  nc_int64 DeleteEntry(const Node& list, const ModelEdit& edit) {
    if (!FirstKeyValue(list, edit, Callback::kDelete)) return -1;
    const nc_int64 result = CallLeaf(Callback::kDelete, *list.key, edit.ids, 0, edit.val);
    if (result != -7) return result;
    if (edit.op == 5) return 0;
    FaultHere(NC_DM_FAULT_CODE_DATA_MISSING, true);
    return -7;
  }

  nc_int64 LookUp(const Node& above, const Node& list, const std::vector<Edit>& request,
                  const Ids& ids) {
    Keys keys;
    for (const Edit& edit : request) {
      if ((edit.from.flag & 3) == 0 || edit.from.val == nullptr) continue;
      keys.emplace_back(edit.names.back(), edit.from.val);
    }
    if (keys.empty()) return -1;
    if (Offers(list.key, Callback::kGetAttr)) return AskForEntry(list, keys, ids);
    for (const auto& entry : above.children) {
      if (entry->kind == Kind::kEntry && entry->name == list.name && HasKeys(*entry, keys)) {
        return entry->id;
      }
    }
    return -1;
  }

  nc_int64 AskForEntry(const Node& list, const Keys& keys, const Ids& ids) {
    std::map<int, std::string> slots;
    for (const auto& child : list.children) {
      if (!IsKey(*child)) continue;
      const auto key = std::find_if(keys.begin(), keys.end(),
                                    [&](const auto& one) { return one.first == child->name; });
      if (key == keys.end() || IsRefused(key->second.c_str(), child->leaf->type)) return -1;
      slots[child->leaf->index] = SlotText(*child->leaf, key->second);
    }
    return CallCommand(*list.key, ids, 0, NC_DM_CMD_OP_LOOKUP, slots, nullptr, Callback::kGetAttr);
  }

  bool HasKeys(const Node& entry, const Keys& keys) {
    Ids ids;
    for (const Node* node = &entry; node != nullptr; node = node->parent) {
      if (node->id != 0) ids.insert(ids.begin(), node->id);
    }
    for (const auto& [name, value] : keys) {
      const Node* leaf = Child(entry, name);
      if (leaf == nullptr || !IsKey(*leaf) || !leaf->Has(Callback::kGet)) return false;
      const nc_int64 read = CallLeaf(Callback::kGet, *leaf->leaf, ids, 0, "");
      if (read < 0 || std::to_string(read) != value) return false;
    }
    return true;
  }
};

}  // namespace ncdm_test

#endif  // TESTS_REFERENCE_EDITS_H_
