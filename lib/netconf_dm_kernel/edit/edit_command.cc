// Command execution: all edits of one entry in one go. Values of leaves with a slot are collected
// in the entry's data block and handed to `exe_cmd` at the end; other leaves, leaf-lists and
// containers are served at once through their own callbacks.

#include "netconf_dm_kernel/edit.h"
#include "netconf_dm_kernel/edit/made_way.h"
#include "netconf_dm_kernel/edit/operation.h"
#include "netconf_dm_kernel/indexes.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

// The result of one element.
enum class Outcome {
  kDone,
  kFailed,     // ends the run, unless the element says continue-on-error
  kNoCommand,  // ends the run without `exe_cmd`, whatever the element says
};

// An edit on its way, with the child of the entry that it addresses and what a callback is handed.
struct Element {
  const nc_dm_stub_edit_t& edit;
  nc_dm_agent_node_t* child;
  nc_dm_id_array_t* ids;
  char* value;
};

bool GoesOnAfterError(const nc_dm_stub_edit_t& edit) {
  return edit.erropt == NC_DM_ERROPT_CONTINUE;
}

void LogGoingOn(const nc_dm_stub_edit_t& edit, const char* name) {
  if (!GoesOnAfterError(edit)) return;
  NC_DM_LOG_INFO("The edit node '%s' error option is 'continue-on-error'.\n", nc::Printable(name));
}

// True if an edit may be about the node: a leaf, a leaf-list or a container. Entries of a list are
// not addressed by the list's name.
bool IsAddressable(const nc_dm_agent_node_t& node) {
  return nc::IsLeafKind(node) || node.node_type == NC_DM_NODE_TYPE_SINGLE_OBJECT;
}

// The child of an entry that an edit of that name is about, or null. A leaf may stand behind a list
// of its name: "a.b.{i}.c" and "a.b.5" can both be registered.
nc_dm_agent_node_t* FindAddressed(const nc_dm_agent_node_t* entry, const char* name) {
  if (name == nullptr) return nullptr;
  nc_dm_agent_node_t* first = nc::FindChild(&entry->sub_lst, name);
  if (first == nullptr || IsAddressable(*first)) return first;
  for (nc_dm_agent_node_t& child : nc::SchemaOf(&entry->sub_lst, name)) {
    if (IsAddressable(child)) return &child;
  }
  return nullptr;
}

class CommandRun {
 public:
  CommandRun(nc_dm_agent_node_t* entry, int cmd_op, nc_dm_fault_t* fault, nc_dm_node_src_t src)
      : entry_(entry), cmd_op_(cmd_op), fault_(fault), src_(src), padb_(entry, cmd_op) {}

  bool Begin(const nc_dm_stub_edit_t& first);
  nc_int64 Run(const nc_dm_stub_edit_node_list_t& edits);

 private:
  void Execute();
  void ExecuteFailed();
  nc_int64 End() const;

  Outcome Apply(const nc_dm_stub_edit_node_t& node);
  Outcome Apply(const Element& element);
  Outcome Fail(nc_dm_fault_code_t code, const Element& element);
  Outcome NoDelete(const Element& element);
  static nc_int64 CallDelete(const Element& element);

  Outcome ApplyToContainer(const Element& element);

  Outcome ApplyToLeaf(const Element& element);
  void StoreInSlot(const Element& element);
  Outcome SetLeaf(const Element& element);
  Outcome DeleteLeaf(const Element& element);

  Outcome ApplyToLeafList(const Element& element);
  Outcome CreateValue(const Element& element);
  Outcome MirrorValue(const Element& element, nc_int64 instid);
  Outcome DeleteValue(const Element& element);

  nc_dm_agent_node_t* entry_;
  int cmd_op_;
  nc_dm_fault_t* fault_;
  nc_dm_node_src_t src_;
  nc::ScopedDataBlock padb_;
  nc_int32 op_ = NC_DM_OP_NONE;  // of the last element that addressed a child, first of the first
  nc_int64 result_ = 0;
};

// ---- The whole entry ----

bool CommandRun::Begin(const nc_dm_stub_edit_t& first) {
  if (!padb_) return nc::Refuse(false, "Failed to malloc parent padb!\n");
  op_ = first.op;
  padb_->id_array.src = src_;
  nc_dm_id_array_cpy(&padb_->id_array, first.id_array);
  return true;
}

nc_int64 CommandRun::Run(const nc_dm_stub_edit_node_list_t& edits) {
  for (const auto& node : nc::Records<nc_dm_stub_edit_node_t>(&edits.edit_head)) {
    switch (Apply(node)) {
      case Outcome::kDone:
        break;
      case Outcome::kFailed:
        if (!GoesOnAfterError(*node.edit)) return -1;
        break;
      case Outcome::kNoCommand:
        return End();
    }
  }
  Execute();
  return End();
}

void CommandRun::Execute() {
  if (entry_->exe_cmd == nullptr) {
    NC_DM_LOG_INFO("The node '%s' exe_cmd is null.\n", entry_->node_name);
    return;
  }
  if (padb_->ulong_var_flag == 0 && padb_->string_var_flag == 0) {
    NC_DM_LOG_INFO("The node '%s' padb no var flag is set.\n", entry_->node_name);
    return;
  }
  result_ = nc::Timed(&nc::context.execute_time, [&] { return entry_->exe_cmd(padb_.get()); });
  if (result_ < 0) {
    ExecuteFailed();
    return;
  }
  // A creation gives an entry, and 0 is none.
  const bool is_creation = cmd_op_ == NC_DM_CMD_OP_CREATE || cmd_op_ == NC_DM_CMD_OP_MERGE;
  if (result_ > 0 || !is_creation) nc::NoteAccepted();
  nc_dm_agent_padb_update_src(entry_, src_);
  NC_DM_LOG_INFO("The 'exe_cmd' return value of parent node '%s' is %lld.\n", entry_->node_name,
                 nc::LongLong(result_));
  if (op_ == NC_DM_OP_CREATE && padb_->id_array.output.inst_exist == 1) {
    NC_DM_LOG_ERROR("Failed to create node '%s' instance for data existing!\n", entry_->node_name);
    nc_dm_agent_set_fault(fault_, NC_DM_FAULT_CODE_DATA_EXISTS, entry_->node_name);
  }
}

// A missing entry is a fault of a delete and a success of a remove; for other operations the caller
// is left to judge the result.
void CommandRun::ExecuteFailed() {
  NC_DM_LOG_ERROR("Failed to call 'exe_cmd' of parent node '%s', return %lld!\n", entry_->node_name,
                  nc::LongLong(result_));
  if (result_ != NC_DM_FAULT_CODE_OP_FAILED) {
    nc_dm_agent_set_fault(fault_, NC_DM_FAULT_CODE_OP_FAILED, entry_->node_name);
  } else if (op_ == NC_DM_OP_DELETE) {
    NC_DM_LOG_ERROR("Failed to delete node '%s' instance for data missing!\n", entry_->node_name);
    nc_dm_agent_set_fault(fault_, NC_DM_FAULT_CODE_DATA_MISSING, entry_->node_name);
  } else if (op_ == NC_DM_OP_REMOVE) {
    NC_DM_LOG_INFO("Failed to remove node '%s' instance for data missing, return ok.\n",
                   entry_->node_name);
    result_ = 0;
  }
}

// A fault on the way fails the whole, also one that continue-on-error has passed over.
nc_int64 CommandRun::End() const {
  if (!fault_->new_fault) return result_;
  return nc::Refuse("There is a new fault occurred!\n");
}

// ---- One element ----

Outcome CommandRun::Apply(const nc_dm_stub_edit_node_t& node) {
  if (node.edit == nullptr) return nc::Refuse(Outcome::kDone, "The edit_node->edit is null!\n");
  nc_dm_stub_edit_t& edit = *node.edit;
  nc_dm_agent_node_t* child = FindAddressed(entry_, node.tmpname);
  if (child == nullptr) {
    NC_DM_LOG_ERROR("Current parent node '%s' has no children match the edit node '%s'\n",
                    entry_->node_name, nc::Printable(node.tmpname));
    nc_dm_agent_set_fault(fault_, NC_DM_FAULT_CODE_UNKNOWN_ELEM, node.tmpname);
    LogGoingOn(edit, node.tmpname);
    return Outcome::kFailed;
  }
  op_ = edit.op;
  const nc::EditIds ids(edit);
  ids.get()->src = src_;
  nc::TypedValue value;
  if (edit.val != nullptr && value.Convert(edit.val, child->val_type) != 0) {
    NC_DM_LOG_ERROR("Failed to unserialize tmp node '%s' value!\n", child->node_name);
    nc_dm_agent_set_fault(fault_, NC_DM_FAULT_CODE_DATA_INVALID_VALUE, child->node_name);
    LogGoingOn(edit, child->node_name);
    return Outcome::kFailed;
  }
  return Apply(Element{edit, child, ids.get(), value.get()});
}

Outcome CommandRun::Apply(const Element& element) {
  switch (element.child->node_type) {
    case NC_DM_NODE_TYPE_SINGLE_OBJECT:
      return ApplyToContainer(element);
    case NC_DM_NODE_TYPE_LEAF:
      return ApplyToLeaf(element);
    default:
      return ApplyToLeafList(element);
  }
}

Outcome CommandRun::Fail(nc_dm_fault_code_t code, const Element& element) {
  nc_dm_agent_set_fault(fault_, code, element.child->node_name);
  return Outcome::kFailed;
}

Outcome CommandRun::NoDelete(const Element& element) {
  NC_DM_LOG_ERROR("The tmp node '%s' delete funtion is null.\n", element.child->node_name);
  return Fail(NC_DM_FAULT_CODE_OP_FAILED, element);
}

nc_int64 CommandRun::CallDelete(const Element& element) {
  return nc::Timed(&nc::context.delete_time,
                   [&] { return element.child->delete_(element.ids, element.value); });
}

// ---- Containers ----

Outcome CommandRun::ApplyToContainer(const Element& element) {
  if (nc::ActionOf(element.edit) != nc::EditAction::kDelete) return Outcome::kDone;

  NC_DM_LOG_INFO("Begin to delete single object node children.\n");
  const int failed = nc::Timed(&nc::context.delete_time, [&] {
    return nc_dm_agent_edit_delall_child(element.child, element.ids, fault_, element.edit.erropt);
  });
  if (failed == 0) return Outcome::kDone;
  NC_DM_LOG_ERROR("Failed to delete all children of node '%s'!\n", element.child->node_name);
  result_ = -1;
  return Outcome::kNoCommand;
}

// ---- Leaves ----

Outcome CommandRun::ApplyToLeaf(const Element& element) {
  const nc::EditAction action = nc::ActionOf(element.edit);
  if (element.child->index != 0) {
    // A slot cannot say that its value goes, so in a subtree edit such a leaf is deleted by itself.
    if (cmd_op_ != NC_DM_CMD_OP_EDIT || action != nc::EditAction::kDelete) {
      StoreInSlot(element);
      return Outcome::kDone;
    }
    padb_->op_flag = NC_DM_CMD_OP_DELETE;
  }
  switch (action) {
    case nc::EditAction::kMerge:
      return SetLeaf(element);
    case nc::EditAction::kDelete:
      return DeleteLeaf(element);
    default:
      return Outcome::kDone;
  }
}

void CommandRun::StoreInSlot(const Element& element) {
  const nc_dm_agent_node_t& leaf = *element.child;
  if (nc_dm_agent_padb_set_var(padb_.get(), leaf.index, leaf.val_type, element.value) != 0) {
    NC_DM_LOG_INFO("No need to set the node '%s' value to padb.\n", leaf.node_name);
  }
}

Outcome CommandRun::SetLeaf(const Element& element) {
  nc_dm_agent_node_t* leaf = element.child;
  if (leaf->set == nullptr) {
    NC_DM_LOG_INFO("The tmp node '%s' set funtion is null.\n", leaf->node_name);
    return Outcome::kDone;
  }
  const int refused =
      nc::Timed(&nc::context.set_time, [&] { return leaf->set(element.ids, element.value); });
  if (refused != 0) {
    NC_DM_LOG_ERROR("Failed to set the tmp node '%s' value!\n", leaf->node_name);
    return Fail(NC_DM_FAULT_CODE_OP_FAILED, element);
  }
  nc::NoteAccepted();
  nc::StampSource(leaf, src_, nc::Stamper::kLeafEdit);
  result_ = 0;
  return Outcome::kDone;
}

Outcome CommandRun::DeleteLeaf(const Element& element) {
  nc_dm_agent_node_t* leaf = element.child;
  if (leaf->delete_ == nullptr) return NoDelete(element);

  const nc_int64 deleted = CallDelete(element);
  if (deleted == NC_DM_FAULT_CODE_OP_FAILED) {
    if (element.edit.op == NC_DM_OP_REMOVE) return Outcome::kDone;
    NC_DM_LOG_ERROR("The tmp node '%s' value has already deleted.\n", leaf->node_name);
    return Fail(NC_DM_FAULT_CODE_DATA_MISSING, element);
  }
  if (deleted < 0) {
    NC_DM_LOG_ERROR("Failed to delete the tmp node '%s' value!\n", leaf->node_name);
    return Fail(NC_DM_FAULT_CODE_OP_FAILED, element);
  }
  nc::NoteAccepted();
  nc::StampSource(leaf, src_, nc::Stamper::kLeafEdit);
  result_ = deleted;
  return Outcome::kDone;
}

// ---- Leaf-lists ----

Outcome CommandRun::ApplyToLeafList(const Element& element) {
  switch (nc::ActionOf(element.edit)) {
    case nc::EditAction::kMerge:
      return CreateValue(element);
    case nc::EditAction::kDelete:
      return DeleteValue(element);
    default:
      return Outcome::kDone;
  }
}

Outcome CommandRun::CreateValue(const Element& element) {
  const nc_dm_agent_node_t& list = *element.child;
  if (list.create == nullptr) {
    NC_DM_LOG_INFO("The tmp node '%s' create funtion is null.\n", list.node_name);
    return Outcome::kDone;
  }
  const nc_int64 instid =
      nc::Timed(&nc::context.create_time, [&] { return list.create(element.ids, element.value); });
  if (instid < 0) {
    NC_DM_LOG_ERROR("Failed to create the tmp node '%s' value!\n", list.node_name);
    return Fail(NC_DM_FAULT_CODE_OP_FAILED, element);
  }
  nc::NoteAccepted();  // it has the value, be it that it had it before
  if (element.edit.op == NC_DM_OP_CREATE && element.ids->output.inst_exist == 1) {
    NC_DM_LOG_ERROR("The tmp node '%s' value '%s' already exists.\n", list.node_name,
                    nc::Printable(element.edit.val));
    return Fail(NC_DM_FAULT_CODE_DATA_EXISTS, element);
  }
  return MirrorValue(element, instid);
}

// Brings the tree into line with a value that the application has.
Outcome CommandRun::MirrorValue(const Element& element, nc_int64 instid) {
  nc_dm_agent_node_t* list = element.child;
  nc_dm_agent_node_t* value = nc_dm_agent_get_mode_node_inst(entry_, list->node_name, instid);
  if (value != nullptr) {
    NC_DM_LOG_INFO("The multi-leaf node '%s' instid %lld already exists.\n", list->node_name,
                   nc::LongLong(instid));
    nc::StampSource(value, src_, nc::Stamper::kLeafEdit);
  } else {
    NC_DM_LOG_INFO("Can't find the multi-leaf node '%s' instid %lld, create a new one.\n",
                   list->node_name, nc::LongLong(instid));
    if (nc_dm_agent_create_node(entry_, list, instid, NC_DM_NODE_TYPE_MULT_LEAF, src_) == nullptr) {
      return Fail(NC_DM_FAULT_CODE_OP_FAILED, element);
    }
  }
  result_ = instid;
  return Outcome::kDone;
}

Outcome CommandRun::DeleteValue(const Element& element) {
  const nc_dm_agent_node_t& list = *element.child;
  if (list.delete_ == nullptr) return NoDelete(element);

  const nc_int64 instid = CallDelete(element);
  if (instid < 0) {
    NC_DM_LOG_ERROR("Failed to delete the tmp node '%s' value!\n", list.node_name);
    if (instid != NC_DM_FAULT_CODE_OP_FAILED) return Fail(NC_DM_FAULT_CODE_OP_FAILED, element);
    if (element.edit.op != NC_DM_OP_DELETE) return Outcome::kDone;
    NC_DM_LOG_ERROR("The tmp node '%s' value '%s' doesn't exist.\n", list.node_name,
                    nc::Printable(element.edit.val));
    return Fail(NC_DM_FAULT_CODE_DATA_MISSING, element);
  }
  nc::NoteAccepted();
  result_ = instid;
  nc_dm_agent_node_t* value = nc_dm_agent_get_mode_node_inst(entry_, list.node_name, instid);
  if (value != nullptr) {
    NC_DM_LOG_INFO("Found the multi-leaf node '%s' instid %lld, delete.\n", list.node_name,
                   nc::LongLong(instid));
    nc_dm_agent_unreg_nodes(value);  // it may be the addressed child itself
  }
  return Outcome::kDone;
}

}  // namespace

nc_int64 nc_dm_agent_edit_execmd(nc_dm_agent_node_t* parent, nc_dm_stub_edit_node_list_t* edit_list,
                                 int cmd_op, nc_dm_fault_t* fault, nc_dm_node_src_t tmpsrc) {
  if (parent == nullptr) return nc::Refuse("The parent input is null!\n");
  if (edit_list == nullptr) return nc::Refuse("The edit list input is null!\n");
  if (nc::IsEmpty(&edit_list->edit_head)) return nc::Refuse("The edit list input is empty!\n");
  if (fault == nullptr) return nc::Refuse("The fault input is null!\n");
  fault->new_fault = false;

  const nc_dm_stub_edit_t* first =
      nc::Records<nc_dm_stub_edit_node_t>(&edit_list->edit_head).begin()->edit;
  if (first == nullptr) return nc::Refuse("The first edit_node->edit of list is null!\n");
  CommandRun run(parent, cmd_op, fault, tmpsrc);
  return run.Begin(*first) ? run.Run(*edit_list) : -1;
}
