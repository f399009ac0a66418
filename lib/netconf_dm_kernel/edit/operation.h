// Shared by the files of the edit engine: the meaning of an edit's operation codes, the ids and the
// typed value that a callback is handed, and the scope of a data block.
#ifndef NETCONF_DM_KERNEL_EDIT_OPERATION_H_
#define NETCONF_DM_KERNEL_EDIT_OPERATION_H_

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <iterator>

#include "netconf_dm_kernel/call_timer.h"
#include "netconf_dm_kernel/edit.h"
#include "netconf_dm_kernel/tree/node_source.h"
#include "netconf_dm_util/malloc_ptr.h"

namespace nc {

// ---- Operations ----

// The action of an edit, from its own operation and the default operation.
enum class EditAction { kLookup, kMerge, kDelete };

namespace internal {

// NC_DM_OP_NONE leaves the choice to the default operation.
inline constexpr EditAction kActionOfOp[] = {
    EditAction::kLookup,  // NC_DM_OP_NONE
    EditAction::kMerge,   // NC_DM_OP_MERGE
    EditAction::kMerge,   // NC_DM_OP_REPLACE
    EditAction::kMerge,   // NC_DM_OP_CREATE
    EditAction::kDelete,  // NC_DM_OP_DELETE
    EditAction::kDelete,  // NC_DM_OP_REMOVE
};
inline constexpr EditAction kActionOfDefop[] = {
    EditAction::kMerge,   // NC_DM_DEFOP_UNSET
    EditAction::kMerge,   // NC_DM_DEFOP_MERGE
    EditAction::kMerge,   // NC_DM_DEFOP_REPLACE
    EditAction::kLookup,  // NC_DM_DEFOP_NONE
};

template <size_t kSize>
constexpr EditAction ActionAt(const EditAction (&table)[kSize], nc_int32 code) {
  return code >= 0 && static_cast<size_t>(code) < kSize ? table[code] : EditAction::kLookup;
}

}  // namespace internal

constexpr EditAction ActionOf(nc_int32 op, nc_int32 defop) {
  return op == NC_DM_OP_NONE ? internal::ActionAt(internal::kActionOfDefop, defop)
                             : internal::ActionAt(internal::kActionOfOp, op);
}

inline EditAction ActionOf(const nc_dm_stub_edit_t& edit) { return ActionOf(edit.op, edit.defop); }

// ---- Faults ----

// Leaves a fault that is there: the step that failed first knows more than its callers.
inline void SetFaultUnlessSet(nc_dm_fault_t* fault, nc_dm_fault_code_t code, char* path) {
  if (fault->fault_code == NC_DM_FAULT_CODE_OK) nc_dm_agent_set_fault(fault, code, path);
}

// For "%s" of a text that may be missing.
inline const char* Printable(const char* text) { return text != nullptr ? text : "(null)"; }

// ---- Arguments of callbacks ----

// The id array of an edit; that of an edit without one is all zero.
class EditIds {
 public:
  explicit EditIds(const nc_dm_stub_edit_t& edit)
      : ids_(edit.id_array != nullptr ? edit.id_array : &none_) {}
  EditIds(const EditIds&) = delete;
  EditIds& operator=(const EditIds&) = delete;

  nc_dm_id_array_t* get() const { return ids_; }

 private:
  nc_dm_id_array_t none_{};
  nc_dm_id_array_t* ids_;
};

// Converts the text of a value; 0, or the conversion's result. `*typed` stays null for a type that
// has no values. A conversion refuses every number while errno holds ERANGE, which a number that
// was refused before, or a callback, may have left there.
inline int ConvertText(char* text, nc_dm_val_type_t val_type, MallocPtr<char>* typed) {
  errno = 0;
  char* object = nullptr;
  const int result = nc_dm_unserialize_val(text, &object, val_type);
  typed->reset(object);
  return result;
}

// A value as a callback takes it: the typed object of a text or, before a text is converted, an
// empty buffer.
class TypedValue {
 public:
  TypedValue() = default;
  TypedValue(const TypedValue&) = delete;
  TypedValue& operator=(const TypedValue&) = delete;

  // 0, or the conversion's result.
  int Convert(char* text, nc_dm_val_type_t val_type) {
    return ConvertText(text, val_type, &typed_);
  }

  char* get() { return typed_ != nullptr ? typed_.get() : empty_; }

 private:
  MallocPtr<char> typed_;
  // A callback may read any type from it.
  alignas(std::max_align_t) char empty_[NC_DM_VALUE_BUF_SIZE] = {};
};

// ---- Data blocks ----

// A node's data block for one callback. The block is gone and the node's `padb` null when the scope
// ends, on every path; so is one that was left behind by another.
class ScopedDataBlock {
 public:
  ScopedDataBlock(nc_dm_agent_node_t* node, int op_flag) : node_(node) {
    Release();
    if (nc_dm_agent_create_padb(node, op_flag) != 0) Release();
  }
  ~ScopedDataBlock() { Release(); }
  ScopedDataBlock(const ScopedDataBlock&) = delete;
  ScopedDataBlock& operator=(const ScopedDataBlock&) = delete;

  explicit operator bool() const { return node_->padb != nullptr; }
  nc_dm_agent_data_block_t* get() const { return node_->padb; }
  nc_dm_agent_data_block_t* operator->() const { return node_->padb; }

 private:
  void Release() {
    free(node_->padb);
    node_->padb = nullptr;
  }

  nc_dm_agent_node_t* node_;
};

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_EDIT_OPERATION_H_
