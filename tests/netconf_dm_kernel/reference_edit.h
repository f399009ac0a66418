// A second, plain implementation of the edit by paths: vectors and walks, no index, no shortcut. It
// holds a tree of its own and tells which calls the application should see, with what result and
// fault.
#ifndef TESTS_NETCONF_DM_KERNEL_REFERENCE_EDIT_H_
#define TESTS_NETCONF_DM_KERNEL_REFERENCE_EDIT_H_

#include <algorithm>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/model_app.h"

namespace ncdm_test {

class ReferenceEdit {
 public:
  // What the application answers; sets `*exists` when what it creates was there.
  using Answers = std::function<nc_int64(Callback, const std::string&, const Ids&, bool*)>;

  struct Outcome {
    nc_int64 result = 0;
    int fault_code = 0;
    std::string fault_path = {};
    bool new_fault = false;
    int left = 0;  // edits that were not looked at
    std::vector<std::string> calls = {};
    std::map<std::string, int> tree = {};

    bool operator==(const Outcome&) const = default;
  };

  explicit ReferenceEdit(const std::vector<ModelLeaf>& schema) {
    for (const ModelLeaf& leaf : schema) Register(leaf);
  }

  void AddInstance(const std::vector<std::string>& lists, const Ids& ids, int src) {
    Way way = Follow(lists, ids, false);
    for (; way.names < lists.size(); ++way.names) {
      Node* list = Child(*way.last, lists[way.names]);
      way.last = MakeInstance(*way.last, *list, ids[way.ids++], src);
    }
  }
  void SetSource(const std::string& path, int src) {
    Visit(roots_, "", [&](const std::string& at, Node& node) {
      if (at == path) node.src = src;
    });
  }

  Outcome Run(const std::vector<ModelEdit>& edits, bool sdn, const Answers& answers) {
    sdn_ = sdn;
    answers_ = answers;
    seen_ = {};
    std::list<Edit> request;
    for (const ModelEdit& edit : edits) request.push_back(Read(edit));
    seen_.result = Perform(request);
    seen_.left = static_cast<int>(request.size());
    Visit(roots_, "", [this](const std::string& at, Node& node) { seen_.tree[at] = node.src; });
    return seen_;
  }

 private:
  enum class Kind { kLeaf, kLeafList, kValue, kContainer, kList, kEntry };

  struct Node;
  using Nodes = std::list<std::unique_ptr<Node>>;

  struct Node {
    std::string name;
    Kind kind;
    Node* parent;
    nc_int64 id = 0;
    int src = 0;
    const ModelLeaf* leaf = nullptr;     // of a leaf, a leaf-list and its values
    const ModelLeaf* key = nullptr;      // gives a list and its entries their `delete`
    const ModelLeaf* command = nullptr;  // gives them, or a container, their `exe_cmd`
    Nodes children = {};

    bool Has(Callback callback) const {
      return leaf != nullptr && (leaf->callbacks & static_cast<unsigned>(callback)) != 0;
    }
  };

  struct Edit {
    ModelEdit from;
    std::vector<std::string> names;  // none: it cannot be read
  };

  enum class Action { kNothing, kMerge, kDelete };
  enum class Step { kGoOn, kStop, kNoCommand };

  // ---- The tree ----

  static std::string LastName(const ModelLeaf& leaf) {
    return leaf.path.substr(leaf.path.rfind('.') + 1);
  }

  static std::vector<std::string> Split(const std::string& path) {
    std::vector<std::string> parts(1);
    for (const char c : path) {
      if (c == '.')
        parts.emplace_back();
      else
        parts.back() += c;
    }
    return parts;
  }

  void Register(const ModelLeaf& leaf) {
    const std::vector<std::string> parts = Split(leaf.path);
    Nodes* siblings = &roots_;
    Node* parent = nullptr;
    for (size_t i = 0; i < parts.size(); ++i) {
      const bool is_list = i + 1 < parts.size() && parts[i + 1] == "{i}";
      const bool is_last = i + 1 == parts.size();
      Node* node = Named(*siblings, parts[i]);
      if (node == nullptr) {
        const Kind kind = is_list                              ? Kind::kList
                          : !is_last                           ? Kind::kContainer
                          : (leaf.flag & NC_DM_FLAG_LEAF_LIST) ? Kind::kLeafList
                                                               : Kind::kLeaf;
        siblings->push_back(std::make_unique<Node>(Node{parts[i], kind, parent}));
        node = siblings->back().get();
      }
      if (is_last) {
        node->leaf = &leaf;
        if (parent != nullptr) {
          if ((leaf.flag & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE)) != 0) parent->key = &leaf;
          if (parent->command == nullptr && node->Has(Callback::kExeCmd)) parent->command = &leaf;
        }
      }
      parent = node;
      siblings = &node->children;
      if (is_list) ++i;
    }
  }

  static Node* Named(const Nodes& nodes, const std::string& name) {
    for (const auto& node : nodes) {
      if (node->name == name) return node.get();
    }
    return nullptr;
  }
  // The schema node comes first among those of a name.
  static Node* Child(const Node& parent, const std::string& name) {
    return Named(parent.children, name);
  }
  static bool IsInstance(const Node& node) {
    return node.kind == Kind::kEntry || node.kind == Kind::kValue;
  }
  static Node* Instance(const Nodes& nodes, const std::string& name, nc_int64 id) {
    for (const auto& node : nodes) {
      if (IsInstance(*node) && node->name == name && node->id == id) return node.get();
    }
    return nullptr;
  }

  static Node* Copy(Node& parent, const Node& from, Kind kind, nc_int64 id, int src) {
    parent.children.push_back(std::make_unique<Node>(
        Node{from.name, kind, &parent, id, src, from.leaf, from.key, from.command}));
    Node* made = parent.children.back().get();
    for (const auto& child : from.children) {
      if (!IsInstance(*child)) Copy(*made, *child, child->kind, 0, src);
    }
    return made;
  }
  static Node* MakeInstance(Node& parent, const Node& list, nc_int64 id, int src) {
    if (id <= 0) return nullptr;
    return Copy(parent, list, list.kind == Kind::kList ? Kind::kEntry : Kind::kValue, id, src);
  }

  static void Remove(Node* node) {
    node->parent->children.remove_if([node](const auto& child) { return child.get() == node; });
  }

  template <typename Function>
  static void Visit(Nodes& nodes, const std::string& prefix, Function function) {
    for (const auto& node : nodes) {
      std::string path = prefix + node->name;
      if (node->id != 0) path += "." + std::to_string(node->id);
      function(path, *node);
      Visit(node->children, path + ".", function);
    }
  }

  // ---- The way along a path ----

  struct Way {
    Node* last = nullptr;
    size_t names = 0;
    size_t ids = 0;
  };

  Way Follow(const std::vector<std::string>& names, const Ids& ids, bool to_leaf_lists) {
    Way way;
    Nodes* siblings = &roots_;
    for (const std::string& name : names) {
      Node* next = nullptr;
      for (const auto& node : *siblings) {
        if (node->name != name) continue;
        if (node->kind == Kind::kList) continue;
        if (node->kind == Kind::kLeafList && !to_leaf_lists) continue;
        next = node.get();
        if (IsInstance(*next)) {
          next = way.ids < ids.size() ? Instance(*siblings, name, ids[way.ids]) : nullptr;
        }
        break;
      }
      if (next == nullptr) break;
      if (IsInstance(*next)) ++way.ids;
      ++way.names;
      way.last = next;
      siblings = &next->children;
    }
    return way;
  }

  int Source() const { return sdn_ ? NC_DM_NODE_SRC_SDN : NC_DM_NODE_SRC_NONE; }

  // Makes what is missing on the way, and stamps it.
  void MakeWay(const std::vector<std::string>& names, const Ids& ids) {
    Way way = Follow(names, ids, false);
    if (way.last == nullptr) return;
    const auto stamp = [this](Node& node) {
      if (node.kind == Kind::kLeaf || node.src != NC_DM_NODE_SRC_CLI_ALW) node.src = Source();
    };
    stamp(*way.last);
    for (; way.names < names.size(); ++way.names) {
      Node* node = Child(*way.last, names[way.names]);
      if (node == nullptr) return;
      if (node->kind == Kind::kList || node->kind == Kind::kLeafList) {
        if (way.ids == ids.size()) return;
        node = MakeInstance(*way.last, *node, ids[way.ids++], Source());
        if (node == nullptr) return;
      } else {
        stamp(*node);
      }
      way.last = node;
    }
  }

  // ---- The request ----

  static Edit Read(const ModelEdit& from) {
    std::vector<std::string> names = Split(from.name);
    if (names.size() > 1 && names.back().empty()) names.pop_back();
    if (std::find(names.begin(), names.end(), "") != names.end()) return {from, {}};
    std::erase(names, "{i}");
    return {from, names};
  }

  static Action ActionOf(const ModelEdit& edit) {
    if (edit.op == 4 || edit.op == 5) return Action::kDelete;
    if (edit.op == 1 || edit.op == 2 || edit.op == 3) return Action::kMerge;
    return edit.op == 0 && edit.defop != 3 ? Action::kMerge : Action::kNothing;
  }
  static bool GoesOn(const ModelEdit& edit) { return edit.erropt == 2; }

  void Fault(int code, const std::string& path) {
    seen_.fault_code = code;
    seen_.fault_path = path;
    seen_.new_fault = true;
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
    return common == static_cast<int>(a.size()) - 2;
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
      if (!deletes) MakeWay(first.names, first.from.ids);

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
      result = Execute(*way.last->parent, group);
      if (result >= 0) continue;
      if (seen_.fault_code == 0) Fault(NC_DM_FAULT_CODE_OP_FAILED, way.last->parent->name);
      if (!GoesOn(first.from)) return -1;
    }
    return result;
  }

  // ---- The application ----

  nc_int64 Call(const ModelCall& call, bool* exists = nullptr) {
    seen_.calls.push_back(call.ToString());
    bool ignored;
    return answers_(call.callback, call.leaf, call.ids, exists != nullptr ? exists : &ignored);
  }

  nc_int64 CallLeaf(Callback callback, const ModelLeaf& leaf, const Ids& ids, int src,
                    const std::string& value, bool* exists = nullptr) {
    ModelCall call;
    call.callback = callback;
    call.leaf = LastName(leaf);
    call.ids = ids;
    call.src = src;
    call.value = value;
    return Call(call, exists);
  }

  nc_int64 CallCommand(const ModelLeaf& leaf, const Ids& ids, int src, int op_flag,
                       const std::map<int, std::string>& slots, bool* exists = nullptr) {
    ModelCall call;
    call.callback = Callback::kExeCmd;
    call.leaf = LastName(leaf);
    call.ids = ids;
    call.src = src;
    call.op_flag = op_flag;
    call.slots = slots;
    return Call(call, exists);
  }

  // What a callback of the leaf reads from an empty buffer.
  static std::string EmptyValue(const ModelLeaf& leaf) {
    return leaf.type == NC_DM_VAL_TYPE_INT ? "0" : "";
  }

  // What the command reads from a slot: of a number the low 32 bits, without a sign.
  static std::string SlotText(const ModelLeaf& leaf, const std::string& value) {
    if (leaf.type != NC_DM_VAL_TYPE_INT) return value;
    return std::to_string(static_cast<unsigned>(std::stol(value)));
  }

  static void Stamp(Node& node, int src) {
    if (node.src != NC_DM_NODE_SRC_SDN) node.src = src;
  }

  // ---- One entry ----

  struct Command {
    int op_flag = NC_DM_CMD_OP_EDIT;
    std::map<int, std::string> slots = {};
    std::vector<Node*> slotted = {};
    nc_int64 result = 0;
  };

  nc_int64 Execute(Node& entry, const std::vector<Edit>& group) {
    seen_.new_fault = false;
    Command command;
    nc_int32 op = group[0].from.op;
    for (const Edit& edit : group) {
      Node* child = nullptr;
      for (const auto& candidate : entry.children) {
        if (candidate->name != edit.names.back()) continue;
        if (candidate->kind == Kind::kList || candidate->kind == Kind::kEntry) continue;
        child = candidate.get();
        break;
      }
      if (child == nullptr) {
        Fault(NC_DM_FAULT_CODE_UNKNOWN_ELEM, edit.names.back());
        if (!GoesOn(edit.from)) return -1;
        continue;
      }
      op = edit.from.op;
      const Step step = Apply(entry, *child, edit.from, &command);
      if (step == Step::kNoCommand) return -1;
      if (step == Step::kStop && !GoesOn(edit.from)) return -1;
    }
    if (entry.command != nullptr && !command.slots.empty()) {
      RunCommand(entry, group[0].from, op, &command);
    }
    return seen_.new_fault ? -1 : command.result;
  }

  void RunCommand(Node& entry, const ModelEdit& first, nc_int32 op, Command* command) {
    bool exists = false;
    command->result =
        CallCommand(*entry.command, first.ids, Source(), command->op_flag, command->slots, &exists);
    if (command->result >= 0) {
      if (command->op_flag == NC_DM_CMD_OP_EDIT) {
        for (Node* leaf : command->slotted) Stamp(*leaf, Source());
      }
      if (op == 3 && exists) Fault(NC_DM_FAULT_CODE_DATA_EXISTS, entry.name);
    } else if (command->result != -7) {
      Fault(NC_DM_FAULT_CODE_OP_FAILED, entry.name);
    } else if (op == 4) {
      Fault(NC_DM_FAULT_CODE_DATA_MISSING, entry.name);
    } else if (op == 5) {
      command->result = 0;
    }
  }

  Step Apply(Node& entry, Node& child, const ModelEdit& edit, Command* command) {
    const Action action = ActionOf(edit);
    if (child.kind == Kind::kContainer) {
      if (action != Action::kDelete) return Step::kGoOn;
      return Empty(child, edit.ids, Source(), GoesOn(edit)) ? Step::kGoOn : Step::kNoCommand;
    }
    if (edit.val != nullptr && child.leaf->type == NC_DM_VAL_TYPE_INT && edit.val[0] == 'x') {
      Fault(NC_DM_FAULT_CODE_DATA_INVALID_VALUE, child.name);
      return Step::kStop;
    }
    const std::string value = edit.val != nullptr ? edit.val : EmptyValue(*child.leaf);
    if (child.kind == Kind::kLeaf) return ApplyToLeaf(child, edit, action, value, command);
    return ApplyToLeafList(entry, child, edit, action, value, command);
  }

  Step ApplyToLeaf(Node& leaf, const ModelEdit& edit, Action action, const std::string& value,
                   Command* command) {
    if (leaf.leaf->index != 0) {
      if (action != Action::kDelete) {
        command->slots[leaf.leaf->index] = SlotText(*leaf.leaf, value);
        command->slotted.push_back(&leaf);
        return Step::kGoOn;
      }
      command->op_flag = NC_DM_CMD_OP_DELETE;
    }
    if (action == Action::kMerge && leaf.Has(Callback::kSet)) {
      if (CallLeaf(Callback::kSet, *leaf.leaf, edit.ids, Source(), value) != 0) {
        Fault(NC_DM_FAULT_CODE_OP_FAILED, leaf.name);
        return Step::kStop;
      }
      Stamp(leaf, Source());
      command->result = 0;
    }
    if (action == Action::kDelete) {
      nc_int64 deleted = -1;
      if (leaf.Has(Callback::kDelete)) {
        deleted = CallLeaf(Callback::kDelete, *leaf.leaf, edit.ids, Source(), value);
      }
      if (deleted == -7 && edit.op == 5) return Step::kGoOn;
      if (deleted < 0) {
        Fault(deleted == -7 ? NC_DM_FAULT_CODE_DATA_MISSING : NC_DM_FAULT_CODE_OP_FAILED,
              leaf.name);
        return Step::kStop;
      }
      Stamp(leaf, Source());
      command->result = deleted;
    }
    return Step::kGoOn;
  }

  Step ApplyToLeafList(Node& entry, Node& list, const ModelEdit& edit, Action action,
                       const std::string& value, Command* command) {
    if (action == Action::kMerge && list.Has(Callback::kCreate)) {
      bool exists = false;
      const nc_int64 id =
          CallLeaf(Callback::kCreate, *list.leaf, edit.ids, Source(), value, &exists);
      if (id < 0) {
        Fault(NC_DM_FAULT_CODE_OP_FAILED, list.name);
        return Step::kStop;
      }
      if (edit.op == 3 && exists) {
        Fault(NC_DM_FAULT_CODE_DATA_EXISTS, list.name);
        return Step::kStop;
      }
      Node* made = Instance(entry.children, list.name, id);
      if (made != nullptr) {
        Stamp(*made, Source());
      } else if (MakeInstance(entry, list, id, Source()) == nullptr) {
        Fault(NC_DM_FAULT_CODE_OP_FAILED, list.name);
        return Step::kStop;
      }
      command->result = id;
    }
    if (action == Action::kDelete) {
      nc_int64 id = -1;
      if (list.Has(Callback::kDelete)) {
        id = CallLeaf(Callback::kDelete, *list.leaf, edit.ids, Source(), value);
      }
      if (id == -7 && edit.op == 5) return Step::kGoOn;
      if (id < 0) {
        Fault(id == -7 ? NC_DM_FAULT_CODE_DATA_MISSING : NC_DM_FAULT_CODE_OP_FAILED, list.name);
        return Step::kStop;
      }
      Node* gone = Instance(entry.children, list.name, id);
      if (gone != nullptr) Remove(gone);
      command->result = id;
    }
    return Step::kGoOn;
  }

  // ---- A container ----

  // False when a failure has ended it.
  bool Empty(Node& container, const Ids& ids, int src, bool goes_on) {
    std::vector<Node*> children;
    for (const auto& child : container.children) children.push_back(child.get());
    for (Node* child : children) {
      if (EmptyChild(*child, ids, src, goes_on)) continue;
      Fault(NC_DM_FAULT_CODE_OP_FAILED, child_name_);
      if (!goes_on) return false;
    }
    return true;
  }

  bool EmptyChild(Node& child, const Ids& ids, int src, bool goes_on) {
    const std::string name = child.name;  // the child may be gone when it is named
    const bool done = DeleteChild(child, ids, src, goes_on);
    child_name_ = name;
    return done;
  }

  bool DeleteChild(Node& child, const Ids& ids, int src, bool goes_on) {
    if (child.kind == Kind::kList || child.kind == Kind::kLeafList) return true;
    if (child.kind == Kind::kContainer) return Empty(child, ids, src, goes_on);
    if (sdn_ && child.src != NC_DM_NODE_SRC_SDN) return true;

    if (child.kind == Kind::kLeaf) {
      if (!child.Has(Callback::kDelete)) return true;
      return CallLeaf(Callback::kDelete, *child.leaf, ids, src, EmptyValue(*child.leaf)) >= 0;
    }
    Ids with_own = ids;
    with_own.push_back(child.id);
    const ModelLeaf* owner = child.kind == Kind::kValue ? child.leaf : child.key;
    const bool has_delete =
        owner != nullptr && (owner->callbacks & static_cast<unsigned>(Callback::kDelete)) != 0;
    nc_int64 result;
    if (has_delete) {
      result = CallLeaf(Callback::kDelete, *owner, with_own, 0, EmptyValue(*owner));
    } else if (child.kind == Kind::kValue) {
      return false;
    } else if (child.command != nullptr) {
      result = CallCommand(*child.command, with_own, 0, NC_DM_CMD_OP_DELETE, {});
    } else {
      return true;
    }
    if (result < 0) return false;
    Remove(&child);
    return true;
  }

  Nodes roots_;
  bool sdn_ = false;
  Answers answers_;
  Outcome seen_;
  std::string child_name_;
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_KERNEL_REFERENCE_EDIT_H_
