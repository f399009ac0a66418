// The edits of one entry, or of what is beside each other in a container: what the agent asks of
// the application, makes of the tree and reports.
#ifndef TESTS_REFERENCE_REFERENCE_COMMAND_H_
#define TESTS_REFERENCE_REFERENCE_COMMAND_H_

#include <map>
#include <string>
#include <vector>

#include "reference/reference_request.h"
#include "reference/reference_tree.h"

namespace ncdm_test {

// An edit, and the components of its path.
struct ReferenceEdit {
  enum class Action { kLookUp, kMerge, kDelete };

  ModelEdit from;
  std::vector<std::string> names;  // none: it cannot be read

  explicit ReferenceEdit(const ModelEdit& edit);

  Action action() const;
  bool goes_on() const { return from.erropt == NC_DM_ERROPT_CONTINUE; }
  bool is_key() const { return (from.flag & NC_DM_EDIT_FLAG_KEYS) != 0; }
};

class ReferenceCommand {
 public:
  // `node`: an entry or a container, or a list whose entry is yet to be found by its keys.
  ReferenceCommand(ReferenceRequest* request, ReferenceTree::Node* node)
      : request_(request), node_(node) {}

  // The command's result, or that of the last leaf; -1 with a new fault.
  nc_int64 Run(const std::vector<ReferenceEdit>& group, int cmd_op);

  // Deletes everything below a container through the application. False when a failure has ended
  // it.
  static bool DeleteBelow(ReferenceRequest* request, const ReferenceTree::Node& container,
                          const Ids& ids, int src, bool goes_on);

 private:
  using Node = ReferenceTree::Node;
  enum class Step { kGoOn, kStop, kNoCommand };

  Step Fail(int code, const std::string& path) const;
  void Stamp(Node* node) const;
  ReferenceAnswer CallLeaf(Callback callback, const Node& leaf, const ReferenceEdit& edit,
                           const std::string& value) const;
  Step Apply(const ReferenceEdit& edit, Node* child);
  Step ApplyToLeaf(const ReferenceEdit& edit, Node* leaf, const std::string& value);
  Step SetLeaf(const ReferenceEdit& edit, Node* leaf, const std::string& value);
  Step DeleteLeaf(const ReferenceEdit& edit, Node* leaf, const std::string& value);
  Step CreateElement(const ReferenceEdit& edit, const Node& leaf_list, const std::string& value);
  Step DeleteElement(const ReferenceEdit& edit, const Node& leaf_list, const std::string& value);
  Step Missed(const ReferenceEdit& edit, nc_int64 result, const std::string& name) const;
  void Execute(const Ids& ids, nc_int32 op);

  ReferenceRequest* request_;
  Node* node_;
  bool is_edit_ = false;
  int op_flag_ = 0;
  std::map<int, ReferenceSlot> slots_;
  std::vector<Node*> slotted_;
  nc_int64 result_ = 0;
};

}  // namespace ncdm_test

#endif  // TESTS_REFERENCE_REFERENCE_COMMAND_H_
