#include "reference_command.h"

#include <stdexcept>

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: requests

constexpr std::int64_t kMissing = ReferenceApplication::kMissing;

}  // namespace

void ReferenceFault::Set(std::int32_t new_code, std::optional<std::string> new_path) {
  code = new_code;
  if (new_path) path = *new_path;
  fresh = true;
}

void ReferenceFault::SetUnlessSet(std::int32_t new_code, const std::string& new_path) {
  if (code == 0) Set(new_code, new_path);
}

ReferenceAction ActionOf(const EditElement& edit) {
  switch (edit.operation) {
    case Operation::kMerge:
    case Operation::kReplace:
    case Operation::kCreate:
      return ReferenceAction::kMerge;
    case Operation::kDelete:
    case Operation::kRemove:
      return ReferenceAction::kDelete;
    case Operation::kNone:
      return edit.default_operation == DefaultOperation::kUnset ||
                     edit.default_operation == DefaultOperation::kMerge ||
                     edit.default_operation == DefaultOperation::kReplace
                 ? ReferenceAction::kMerge
                 : ReferenceAction::kLookup;
    default:
      return ReferenceAction::kLookup;
  }
}

// ---- Containers ----

int DeleteBelow(const ReferenceContext& context, ReferenceTree::Node* container, const Ids& ids,
                bool goes_on) {
  ReferenceApplication& app = *context.application;
  const auto fails = [&](const std::string& name) {
    context.fault->Set(NC_DM_FAULT_CODE_OP_FAILED, name);
    return !goes_on;
  };
  for (const auto& child : container->schema->children) {
    bool failed = false;
    if (child->kind == Schema::Kind::kLeaf) {
      failed = context.IsVisible(container->leaf_src.at(child->name)) && child->offers(kDelete) &&
               context.Note(app.DeleteLeaf(*child, ids, "")) < 0;
    } else if (child->kind == Schema::Kind::kContainer) {
      failed = DeleteBelow(context, &container->containers.at(child->name), ids, goes_on) != 0;
    }
    if (failed && fails(child->name)) return -1;
  }
  const auto instances = container->order;
  for (const auto& [name, id] : instances) {
    const ReferenceTree::Node& instance = container->instances.at({name, id});
    if (!context.IsVisible(instance.src)) continue;
    const Schema& schema = *instance.schema;
    const Ids own = Below(ids, id);
    bool existed = false;
    const std::int64_t deleted =
        schema.kind == Schema::Kind::kLeafList ? app.DeleteElement(schema, own, "")
        : schema.has_command ? app.Command(schema, NC_DM_CMD_OP_DELETE, own, {}, &existed)
                             : app.DeleteEntry(schema, own, "");
    if (context.Note(deleted) >= 0) {
      ReferenceTree::RemoveInstance(container, name, id);
    } else if (fails(name)) {
      return -1;
    }
  }
  return 0;
}

// ---- The whole ----

std::int64_t ReferenceCommand::Run(const std::vector<EditElement>& edits, int cmd_op) {
  context_.fault->fresh = false;
  operation_ = edits[0].operation;
  op_flag_ = cmd_op;
  for (const EditElement& edit : edits) {
    const Outcome outcome = Apply(edit, cmd_op);
    if (outcome == Outcome::kNoCommand || (outcome == Outcome::kFailed && !GoesOn(edit))) {
      return -1;
    }
  }
  if (entry_.has_command && !slots_.empty()) Execute(edits[0].ids);
  return context_.fault->fresh ? -1 : result_;
}

void ReferenceCommand::Execute(const Ids& ids) {
  bool existed = false;
  result_ = app_.Command(entry_, op_flag_, ids, slots_, &existed);
  context_.Note(result_, op_flag_ == NC_DM_CMD_OP_CREATE || op_flag_ == NC_DM_CMD_OP_MERGE);
  if (result_ == kMissing) {
    if (operation_ == Operation::kDelete) Fail(NC_DM_FAULT_CODE_DATA_MISSING, entry_.name);
    if (operation_ == Operation::kRemove) result_ = 0;
    return;
  }
  if (result_ < 0) {
    Fail(NC_DM_FAULT_CODE_OP_FAILED, entry_.name);
    return;
  }
  if (op_flag_ == NC_DM_CMD_OP_EDIT && node_ != nullptr) {
    for (const auto& child : entry_.children) {
      if (child->leaf.slot != 0 && slots_.contains(child->leaf.slot)) {
        Stamp(&node_->leaf_src.at(child->name));
      }
    }
  }
  if (operation_ == Operation::kCreate && existed) {
    Fail(NC_DM_FAULT_CODE_DATA_EXISTS, entry_.name);
  }
}

ReferenceCommand::Outcome ReferenceCommand::Fail(std::int32_t code, const std::string& path) {
  context_.fault->Set(code, path);
  return Outcome::kFailed;
}

void ReferenceCommand::Stamp(int* src) const {
  if (*src != NC_DM_NODE_SRC_SDN) *src = context_.src;
}

// ---- One edit ----

ReferenceCommand::Outcome ReferenceCommand::Apply(const EditElement& edit, int cmd_op) {
  const std::string name = Names(edit.name).back();
  const Schema* child = entry_.Find(name);
  if (child == nullptr || child->kind == Schema::Kind::kList) {
    return Fail(NC_DM_FAULT_CODE_UNKNOWN_ELEM, name);
  }
  operation_ = edit.operation;
  const ReferenceAction action = ActionOf(edit);
  if (child->kind == Schema::Kind::kContainer) {
    if (action != ReferenceAction::kDelete) return Outcome::kDone;
    if (node_ == nullptr) throw std::logic_error("no container of a list is edited");
    const int result = DeleteBelow(context_, &node_->containers.at(name), edit.ids, GoesOn(edit));
    return result == 0 ? Outcome::kDone : Outcome::kNoCommand;
  }
  const auto text = Canonical(child->leaf.type, edit.value);
  if (!text) return Fail(NC_DM_FAULT_CODE_DATA_INVALID_VALUE, name);
  if (child->kind == Schema::Kind::kLeaf) return ApplyToLeaf(edit, *child, *text, cmd_op);
  if (action == ReferenceAction::kMerge) return CreateElement(edit, *child, *text);
  return action == ReferenceAction::kDelete ? DeleteElement(edit, *child, *text) : Outcome::kDone;
}

ReferenceCommand::Outcome ReferenceCommand::ApplyToLeaf(const EditElement& edit, const Schema& leaf,
                                                        const std::string& text, int cmd_op) {
  const ReferenceAction action = ActionOf(edit);
  if (leaf.leaf.slot != 0) {
    if (cmd_op != NC_DM_CMD_OP_EDIT || action != ReferenceAction::kDelete) {
      slots_[leaf.leaf.slot] = text;
      return Outcome::kDone;
    }
    op_flag_ = NC_DM_CMD_OP_DELETE;
  }
  if (action == ReferenceAction::kMerge) return SetLeaf(edit, leaf, text);
  return action == ReferenceAction::kDelete ? DeleteLeaf(edit, leaf, text) : Outcome::kDone;
}

ReferenceCommand::Outcome ReferenceCommand::SetLeaf(const EditElement& edit, const Schema& leaf,
                                                    const std::string& text) {
  if (!leaf.offers(kSet)) return Outcome::kDone;
  if (app_.Set(leaf, edit.ids, text) != 0) return Fail(NC_DM_FAULT_CODE_OP_FAILED, leaf.name);
  *context_.accepted = true;
  if (node_ != nullptr) Stamp(&node_->leaf_src.at(leaf.name));
  result_ = 0;
  return Outcome::kDone;
}

ReferenceCommand::Outcome ReferenceCommand::DeleteLeaf(const EditElement& edit, const Schema& leaf,
                                                       const std::string& text) {
  if (!leaf.offers(kDelete)) return Fail(NC_DM_FAULT_CODE_OP_FAILED, leaf.name);
  const std::int64_t deleted = context_.Note(app_.DeleteLeaf(leaf, edit.ids, text));
  if (deleted == kMissing) {
    return edit.operation == Operation::kDelete ? Fail(NC_DM_FAULT_CODE_DATA_MISSING, leaf.name)
                                                : Outcome::kDone;
  }
  if (deleted < 0) return Fail(NC_DM_FAULT_CODE_OP_FAILED, leaf.name);
  if (node_ != nullptr) Stamp(&node_->leaf_src.at(leaf.name));
  result_ = deleted;
  return Outcome::kDone;
}

ReferenceCommand::Outcome ReferenceCommand::CreateElement(const EditElement& edit,
                                                          const Schema& leaf_list,
                                                          const std::string& text) {
  const std::string& name = leaf_list.name;
  bool existed = false;
  const std::int64_t id = context_.Note(app_.CreateElement(leaf_list, edit.ids, text, &existed));
  if (id < 0) return Fail(NC_DM_FAULT_CODE_OP_FAILED, name);
  if (existed && edit.operation == Operation::kCreate) {
    return Fail(NC_DM_FAULT_CODE_DATA_EXISTS, name);
  }
  if (ReferenceTree::Node* element = ReferenceTree::FindInstance(node_, name, id)) {
    Stamp(&element->src);
  } else if (id == 0) {
    return Fail(NC_DM_FAULT_CODE_OP_FAILED, name);
  } else {
    ReferenceTree::AddInstance(node_, &leaf_list, id, context_.src);
  }
  result_ = id;
  return Outcome::kDone;
}

ReferenceCommand::Outcome ReferenceCommand::DeleteElement(const EditElement& edit,
                                                          const Schema& leaf_list,
                                                          const std::string& text) {
  const std::string& name = leaf_list.name;
  const std::int64_t id = context_.Note(app_.DeleteElement(leaf_list, edit.ids, text));
  if (id == kMissing) {
    return edit.operation == Operation::kDelete ? Fail(NC_DM_FAULT_CODE_DATA_MISSING, name)
                                                : Outcome::kDone;
  }
  if (id < 0) return Fail(NC_DM_FAULT_CODE_OP_FAILED, name);
  ReferenceTree::RemoveInstance(node_, name, id);
  result_ = id;
  return Outcome::kDone;
}

}  // namespace ncdm_test
