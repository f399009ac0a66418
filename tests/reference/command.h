// A second, plain implementation of what one entry's edits come to: the calls of the application,
// in order, and what they leave in the tree and in the fault.
#ifndef TESTS_REFERENCE_COMMAND_H_
#define TESTS_REFERENCE_COMMAND_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "reference/tree.h"

namespace ncdm_test {

class ReferenceCommand : public ReferenceTree {
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

  using ReferenceTree::ReferenceTree;

 protected:
  struct Edit {
    ModelEdit from;
    std::vector<std::string> names;  // none: it cannot be read
  };

  enum class Action { kNothing, kMerge, kDelete };
  enum class Step { kGoOn, kStop, kNoCommand };

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

  int Source() const { return sdn_ ? NC_DM_NODE_SRC_SDN : NC_DM_NODE_SRC_NONE; }

  // ---- The application ----

  nc_int64 Call(const ModelCall& call, bool* exists = nullptr) {
    seen_.calls.push_back(call.ToString());
    bool ignored;
    return answers_(call.callback, call.leaf, call.ids, exists != nullptr ? exists : &ignored);
  }
  // Whether an answer is a yes.
  static bool IsAccepted(Callback callback, nc_int64 answer, bool zero_is_none) {
    if (callback == Callback::kGetAttr) return false;
    if (callback == Callback::kSet) return answer == 0;
    return answer > 0 || (answer == 0 && !zero_is_none);
  }

  nc_int64 CallLeaf(Callback callback, const ModelLeaf& leaf, const Ids& ids, int src,
                    const std::string& value, bool* exists = nullptr) {
    ModelCall call;
    call.callback = callback;
    call.leaf = LastName(leaf);
    call.ids = ids;
    call.src = src;
    call.value = value;
    const nc_int64 answer = Call(call, exists);
    const bool is_entry = callback == Callback::kCreate && (leaf.flag & NC_DM_FLAG_LEAF_LIST) == 0;
    accepted_ |= IsAccepted(callback, answer, is_entry);
    return answer;
  }

  nc_int64 CallCommand(const ModelLeaf& leaf, const Ids& ids, int src, int op_flag,
                       const std::map<int, std::string>& slots, bool* exists = nullptr,
                       Callback callback = Callback::kExeCmd) {
    ModelCall call;
    call.callback = callback;
    call.leaf = LastName(leaf);
    call.ids = ids;
    call.src = src;
    call.op_flag = op_flag;
    call.slots = slots;
    const nc_int64 answer = Call(call, exists);
    const bool creates = op_flag == NC_DM_CMD_OP_CREATE || op_flag == NC_DM_CMD_OP_MERGE;
    accepted_ |= IsAccepted(callback, answer, creates);
    return answer;
  }

  // What a callback reads from an empty buffer.
  static std::string EmptyValue(nc_dm_val_type_t type) {
    return type == NC_DM_VAL_TYPE_INT ? "0" : "";
  }
  static bool IsRefused(const char* value, nc_dm_val_type_t type) {
    return type == NC_DM_VAL_TYPE_INT && value[0] == 'x';
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
    bool is_edit;
    int op_flag;
    std::map<int, std::string> slots = {};
    std::vector<Node*> slotted = {};
    nc_int64 result = 0;
  };

  nc_int64 Execute(Node& entry, const std::vector<Edit>& group, int cmd_op) {
    seen_.new_fault = false;
    Command command{.is_edit = cmd_op == NC_DM_CMD_OP_EDIT, .op_flag = cmd_op};
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
    if (edit.val != nullptr && IsRefused(edit.val, child.leaf->type)) {
      Fault(NC_DM_FAULT_CODE_DATA_INVALID_VALUE, child.name);
      return Step::kStop;
    }
    const std::string value = edit.val != nullptr ? edit.val : EmptyValue(child.leaf->type);
    if (child.kind == Kind::kLeaf) return ApplyToLeaf(child, edit, action, value, command);
    return ApplyToLeafList(entry, child, edit, action, value, command);
  }

  Step ApplyToLeaf(Node& leaf, const ModelEdit& edit, Action action, const std::string& value,
                   Command* command) {
    if (leaf.leaf->index != 0) {
      if (!command->is_edit || action != Action::kDelete) {
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
      if (DeleteChild(*child, ids, src, goes_on)) continue;
      Fault(NC_DM_FAULT_CODE_OP_FAILED, child->name);
      if (!goes_on) return false;
    }
    return true;
  }

  bool DeleteChild(Node& child, const Ids& ids, int src, bool goes_on) {
    if (child.kind == Kind::kList || child.kind == Kind::kLeafList) return true;
    if (child.kind == Kind::kContainer) return Empty(child, ids, src, goes_on);
    if (sdn_ && child.src != NC_DM_NODE_SRC_SDN) return true;

    if (child.kind == Kind::kLeaf) {
      if (!child.Has(Callback::kDelete)) return true;
      return CallLeaf(Callback::kDelete, *child.leaf, ids, src, EmptyValue(child.leaf->type)) >= 0;
    }
    Ids with_own = ids;
    with_own.push_back(child.id);
    const ModelLeaf* owner = child.kind == Kind::kValue ? child.leaf : child.key;
    const bool has_delete =
        owner != nullptr && (owner->callbacks & static_cast<unsigned>(Callback::kDelete)) != 0;
    nc_int64 result;
    if (has_delete) {
      result = CallLeaf(Callback::kDelete, *owner, with_own, 0, EmptyValue(owner->type));
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

  bool sdn_ = false;
  bool accepted_ = false;  // the application has said yes to something
  Answers answers_;
  Outcome seen_;
};

}  // namespace ncdm_test

#endif  // TESTS_REFERENCE_COMMAND_H_
