#include "reference/reference_command.h"

#include "reference/reference_value.h"

namespace ncdm_test {
namespace {

using Action = ReferenceEdit::Action;
using Kind = ReferenceTree::Kind;
using Node = ReferenceTree::Node;

constexpr nc_int64 kMissing = -7;

// What a callback is handed that nobody gave a value for.
std::string EmptyValue(const ModelLeaf& leaf) { return *Canonical(leaf.type, {}); }

// ---- What is below a container ----

// Deletes an instance through the application.
bool DeleteInstance(ReferenceRequest* request, Node* instance, Ids ids) {
  ids.push_back(instance->id);
  const bool is_element = instance->kind == Kind::kElement;
  const ModelLeaf* owner = is_element ? instance->leaf : instance->key;
  nc_int64 result;
  if (ReferenceTree::Offers(owner, Callback::kDelete)) {
    result = request
                 ->Call({.callback = Callback::kDelete,
                         .leaf = owner,
                         .ids = ids,
                         .value = EmptyValue(*owner)})
                 .result;
  } else if (is_element) {
    return false;
  } else if (instance->command != nullptr) {
    result = request
                 ->Call({.callback = Callback::kExeCmd,
                         .leaf = instance->command,
                         .ids = ids,
                         .op_flag = NC_DM_CMD_OP_DELETE})
                 .result;
  } else {
    return true;
  }
  if (result < 0) return false;
  ReferenceTree::Remove(instance);
  return true;
}

bool DeleteChild(ReferenceRequest* request, Node* child, const Ids& ids, int src, bool goes_on) {
  if (child->kind == Kind::kList || child->kind == Kind::kLeafList) return true;
  if (child->kind == Kind::kContainer) {
    return ReferenceCommand::DeleteBelow(request, *child, ids, src, goes_on);
  }
  // A request for the SDN datastore does not see what others have made.
  if (request->sdn() && child->src != NC_DM_NODE_SRC_SDN) return true;
  if (child->IsInstance()) return DeleteInstance(request, child, ids);
  if (!child->Has(Callback::kDelete)) return true;
  return request
             ->Call({.callback = Callback::kDelete,
                     .leaf = child->leaf,
                     .ids = ids,
                     .src = src,
                     .value = EmptyValue(*child->leaf)})
             .result >= 0;
}

// What an edit of an entry calls by a name: a schema node that is no list.
Node* FindEdited(const Node& node, const std::string& name) {
  for (const auto& child : node.children) {
    if (child->name == name && child->kind != Kind::kList && child->kind != Kind::kEntry) {
      return child.get();
    }
  }
  return nullptr;
}

}  // namespace

// ---- Edits ----

ReferenceEdit::ReferenceEdit(const ModelEdit& edit)
    : from(edit), names(ParsePath(edit.name).value_or(std::vector<std::string>())) {}

Action ReferenceEdit::action() const {
  switch (from.op) {
    case NC_DM_OP_MERGE:
    case NC_DM_OP_REPLACE:
    case NC_DM_OP_CREATE:
      return Action::kMerge;
    case NC_DM_OP_DELETE:
    case NC_DM_OP_REMOVE:
      return Action::kDelete;
    case NC_DM_OP_NONE:
      return from.defop >= NC_DM_DEFOP_UNSET && from.defop <= NC_DM_DEFOP_REPLACE ? Action::kMerge
                                                                                  : Action::kLookUp;
    default:
      return Action::kLookUp;
  }
}

bool ReferenceCommand::DeleteBelow(ReferenceRequest* request, const Node& container, const Ids& ids,
                                   int src, bool goes_on) {
  std::vector<Node*> children;
  for (const auto& child : container.children) children.push_back(child.get());
  for (Node* child : children) {
    const std::string name = child->name;
    if (DeleteChild(request, child, ids, src, goes_on)) continue;
    request->Fail(NC_DM_FAULT_CODE_OP_FAILED, name);
    if (!goes_on) return false;
  }
  return true;
}

// ---- The whole ----

nc_int64 ReferenceCommand::Run(const std::vector<ReferenceEdit>& group, int cmd_op) {
  request_->fault().is_new = false;
  is_edit_ = cmd_op == NC_DM_CMD_OP_EDIT;
  op_flag_ = cmd_op;
  nc_int32 op = group[0].from.op;
  for (const ReferenceEdit& edit : group) {
    Step step;
    if (Node* child = FindEdited(*node_, edit.names.back())) {
      op = edit.from.op;
      step = Apply(edit, child);
    } else {
      step = Fail(NC_DM_FAULT_CODE_UNKNOWN_ELEM, edit.names.back());
    }
    if (step == Step::kNoCommand || (step == Step::kStop && !edit.goes_on())) return -1;
  }
  if (node_->command != nullptr && !slots_.empty()) Execute(group[0].from.ids, op);
  return request_->fault().is_new ? -1 : result_;
}

void ReferenceCommand::Execute(const Ids& ids, nc_int32 op) {
  const ReferenceAnswer answer = request_->Call({.callback = Callback::kExeCmd,
                                                 .leaf = node_->command,
                                                 .ids = ids,
                                                 .src = request_->Source(),
                                                 .op_flag = op_flag_,
                                                 .slots = slots_});
  result_ = answer.result;
  if (result_ >= 0) {
    if (op_flag_ == NC_DM_CMD_OP_EDIT) {
      for (Node* leaf : slotted_) Stamp(leaf);
    }
    if (op == NC_DM_OP_CREATE && answer.existed) Fail(NC_DM_FAULT_CODE_DATA_EXISTS, node_->name);
  } else if (result_ != kMissing) {
    Fail(NC_DM_FAULT_CODE_OP_FAILED, node_->name);
  } else if (op == NC_DM_OP_DELETE) {
    Fail(NC_DM_FAULT_CODE_DATA_MISSING, node_->name);
  } else if (op == NC_DM_OP_REMOVE) {
    result_ = 0;
  }
}

ReferenceCommand::Step ReferenceCommand::Fail(int code, const std::string& path) const {
  request_->Fail(code, path);
  return Step::kStop;
}

void ReferenceCommand::Stamp(Node* node) const {
  if (node->src != NC_DM_NODE_SRC_SDN) node->src = request_->Source();
}

ReferenceAnswer ReferenceCommand::CallLeaf(Callback callback, const Node& leaf,
                                           const ReferenceEdit& edit,
                                           const std::string& value) const {
  if (!leaf.Has(callback)) return {.result = -1};
  return request_->Call({.callback = callback,
                         .leaf = leaf.leaf,
                         .ids = edit.from.ids,
                         .src = request_->Source(),
                         .value = value});
}

// ---- One edit ----

ReferenceCommand::Step ReferenceCommand::Apply(const ReferenceEdit& edit, Node* child) {
  const Action action = edit.action();
  if (child->kind == Kind::kContainer) {
    if (action != Action::kDelete) return Step::kGoOn;
    const bool is_empty =
        DeleteBelow(request_, *child, edit.from.ids, request_->Source(), edit.goes_on());
    return is_empty ? Step::kGoOn : Step::kNoCommand;
  }
  const auto value = Canonical(child->leaf->type, edit.from.val != nullptr
                                                      ? std::optional<std::string>(edit.from.val)
                                                      : std::nullopt);
  if (!value) return Fail(NC_DM_FAULT_CODE_DATA_INVALID_VALUE, child->name);
  if (child->kind == Kind::kLeaf) return ApplyToLeaf(edit, child, *value);
  if (action == Action::kMerge) return CreateElement(edit, *child, *value);
  return action == Action::kDelete ? DeleteElement(edit, *child, *value) : Step::kGoOn;
}

ReferenceCommand::Step ReferenceCommand::ApplyToLeaf(const ReferenceEdit& edit, Node* leaf,
                                                     const std::string& value) {
  const Action action = edit.action();
  if (leaf->leaf->index != 0) {
    if (!is_edit_ || action != Action::kDelete) {
      slots_[leaf->leaf->index] = {leaf->leaf, value};
      slotted_.push_back(leaf);
      return Step::kGoOn;
    }
    op_flag_ = NC_DM_CMD_OP_DELETE;
  }
  if (action == Action::kMerge) return SetLeaf(edit, leaf, value);
  return action == Action::kDelete ? DeleteLeaf(edit, leaf, value) : Step::kGoOn;
}

ReferenceCommand::Step ReferenceCommand::SetLeaf(const ReferenceEdit& edit, Node* leaf,
                                                 const std::string& value) {
  if (!leaf->Has(Callback::kSet)) return Step::kGoOn;
  if (CallLeaf(Callback::kSet, *leaf, edit, value).result != 0) {
    return Fail(NC_DM_FAULT_CODE_OP_FAILED, leaf->name);
  }
  Stamp(leaf);
  result_ = 0;
  return Step::kGoOn;
}

ReferenceCommand::Step ReferenceCommand::DeleteLeaf(const ReferenceEdit& edit, Node* leaf,
                                                    const std::string& value) {
  const nc_int64 deleted = CallLeaf(Callback::kDelete, *leaf, edit, value).result;
  if (deleted < 0) return Missed(edit, deleted, leaf->name);
  Stamp(leaf);
  result_ = deleted;
  return Step::kGoOn;
}

// A deletion that failed: what is to be removed may be missing.
ReferenceCommand::Step ReferenceCommand::Missed(const ReferenceEdit& edit, nc_int64 result,
                                                const std::string& name) const {
  if (result != kMissing) return Fail(NC_DM_FAULT_CODE_OP_FAILED, name);
  return edit.from.op == NC_DM_OP_REMOVE ? Step::kGoOn : Fail(NC_DM_FAULT_CODE_DATA_MISSING, name);
}

ReferenceCommand::Step ReferenceCommand::CreateElement(const ReferenceEdit& edit,
                                                       const Node& leaf_list,
                                                       const std::string& value) {
  if (!leaf_list.Has(Callback::kCreate)) return Step::kGoOn;
  const ReferenceAnswer answer = CallLeaf(Callback::kCreate, leaf_list, edit, value);
  if (answer.result < 0) return Fail(NC_DM_FAULT_CODE_OP_FAILED, leaf_list.name);
  if (edit.from.op == NC_DM_OP_CREATE && answer.existed) {
    return Fail(NC_DM_FAULT_CODE_DATA_EXISTS, leaf_list.name);
  }
  if (Node* element = node_->Instance(leaf_list.name, answer.result)) {
    Stamp(element);
  } else if (ReferenceTree::MakeInstance(node_, leaf_list, answer.result, request_->Source()) ==
             nullptr) {
    return Fail(NC_DM_FAULT_CODE_OP_FAILED, leaf_list.name);
  }
  result_ = answer.result;
  return Step::kGoOn;
}

ReferenceCommand::Step ReferenceCommand::DeleteElement(const ReferenceEdit& edit,
                                                       const Node& leaf_list,
                                                       const std::string& value) {
  const nc_int64 id = CallLeaf(Callback::kDelete, leaf_list, edit, value).result;
  if (id < 0) return Missed(edit, id, leaf_list.name);
  if (Node* element = node_->Instance(leaf_list.name, id)) ReferenceTree::Remove(element);
  result_ = id;
  return Step::kGoOn;
}

}  // namespace ncdm_test
