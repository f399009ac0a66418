// The edits of one entry, or of what is beside each other in a container: what the agent asks of
// the application, makes of the tree and reports.
#ifndef TESTS_INTEGRATION_REFERENCE_COMMAND_H_
#define TESTS_INTEGRATION_REFERENCE_COMMAND_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "device_data.h"
#include "reference_tree.h"
#include "server/request.h"

namespace ncdm_test {

// What goes wrong in a request; the last one is reported.
struct ReferenceFault {
  std::int32_t code = 0;
  std::string path{};
  bool fresh = false;  // since the last command began

  // Without a path the one before is kept.
  void Set(std::int32_t new_code, std::optional<std::string> new_path = {});
  void SetUnlessSet(std::int32_t new_code, const std::string& new_path);
};

enum class ReferenceAction { kMerge, kDelete, kLookup };
ReferenceAction ActionOf(const ncdm::server::EditElement& edit);
inline bool GoesOn(const ncdm::server::EditElement& edit) {
  return edit.error_option == ncdm::server::ErrorOption::kContinue;
}

// What a request's edits work on.
struct ReferenceContext {
  ReferenceApplication* application;
  ReferenceTree* tree;
  int src;  // of the request's datastore
  ReferenceFault* fault;
  bool* accepted;  // has the application said yes to something

  // Notes an answer of the application, and passes it on. 0 is a yes unless it is no entry.
  std::int64_t Note(std::int64_t answer, bool zero_is_none = false) const {
    if (answer > 0 || (answer == 0 && !zero_is_none)) *accepted = true;
    return answer;
  }
  bool IsVisible(int node_src) const {
    return src != NC_DM_NODE_SRC_SDN || node_src == NC_DM_NODE_SRC_SDN;
  }
};

// Deletes everything below a container through the application. 0, or -1 with the fault set.
int DeleteBelow(const ReferenceContext& context, ReferenceTree::Node* container, const Ids& ids,
                bool goes_on);

class ReferenceCommand {
 public:
  // `node` is null where the entry is yet to be found by its keys.
  ReferenceCommand(const ReferenceContext& context, const Schema& entry, ReferenceTree::Node* node)
      : context_(context), app_(*context.application), entry_(entry), node_(node) {}

  // The command's result, or that of the last leaf; -1 with the fault set.
  std::int64_t Run(const std::vector<ncdm::server::EditElement>& edits, int cmd_op);

 private:
  using Element = ncdm::server::EditElement;
  enum class Outcome { kDone, kFailed, kNoCommand };

  Outcome Fail(std::int32_t code, const std::string& path);
  void Stamp(int* src) const;
  Outcome Apply(const Element& edit, int cmd_op);
  Outcome ApplyToLeaf(const Element& edit, const Schema& leaf, const std::string& text, int cmd_op);
  Outcome SetLeaf(const Element& edit, const Schema& leaf, const std::string& text);
  Outcome DeleteLeaf(const Element& edit, const Schema& leaf, const std::string& text);
  Outcome CreateElement(const Element& edit, const Schema& leaf_list, const std::string& text);
  Outcome DeleteElement(const Element& edit, const Schema& leaf_list, const std::string& text);
  void Execute(const Ids& ids);

  ReferenceContext context_;
  ReferenceApplication& app_;
  const Schema& entry_;
  ReferenceTree::Node* node_;
  ncdm::server::Operation operation_{};  // of the last edit that names something
  int op_flag_ = 0;
  ReferenceApplication::Slots slots_;
  std::int64_t result_ = 0;
};

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_REFERENCE_COMMAND_H_
