#include "reference/reference_subtree.h"

#include <algorithm>
#include <string>

namespace ncdm_test {
namespace {

using Kind = ReferenceTree::Kind;

// How an edit stands to the first of its group.
enum class Kinship { kSibling, kLater, kStranger, kNone };

// True if two paths of one length differ in nothing but the last component. Equal paths have the
// first component in common, whatever their length.
bool AreSiblings(const std::vector<std::string>& a, const std::vector<std::string>& b) {
  int common = 0;
  const auto differ = std::ranges::mismatch(a, b).in1;
  if (differ != a.end()) common = static_cast<int>(differ - a.begin()) - 1;
  return a.size() > 1 && common == static_cast<int>(a.size()) - 2;
}

Kinship Compare(const ReferenceEdit& edit, const ReferenceEdit& first) {
  const Ids& ids = edit.from.ids;
  const Ids& first_ids = first.from.ids;
  if (ids.size() < first_ids.size() ||
      !std::equal(first_ids.begin(), first_ids.end(), ids.begin())) {
    return Kinship::kStranger;
  }
  if (ids.size() > first_ids.size()) return Kinship::kLater;
  if (edit.names.empty()) return Kinship::kNone;
  if (edit.names.size() < first.names.size()) return Kinship::kStranger;
  if (edit.names.size() > first.names.size()) return Kinship::kLater;
  return AreSiblings(edit.names, first.names) ? Kinship::kSibling : Kinship::kStranger;
}

// Takes the first edit that can be read, and its siblings, out of a request.
std::vector<ReferenceEdit> TakeGroup(std::list<ReferenceEdit>* edits) {
  std::vector<ReferenceEdit> group;
  for (auto edit = edits->begin(); edit != edits->end();) {
    const Kinship kinship = !group.empty()        ? Compare(*edit, group[0])
                            : edit->names.empty() ? Kinship::kNone
                                                  : Kinship::kSibling;
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

nc_int64 ReferenceSubtree::Edit(std::list<ReferenceEdit>* edits) {
  nc_int64 result = 0;
  while (!edits->empty()) {
    const std::vector<ReferenceEdit> group = TakeGroup(edits);
    if (group.empty()) break;
    if (!RunGroup(group, &result)) return -1;
  }
  return result;
}

bool ReferenceSubtree::RunGroup(const std::vector<ReferenceEdit>& group, nc_int64* result) {
  const ReferenceEdit& first = group[0];
  const Ids& ids = first.from.ids;
  const bool is_delete = first.action() == ReferenceEdit::Action::kDelete;
  if (!is_delete) tree_->MakeWay(first.names, ids, request_->Source());
  const ReferenceTree::Way way = tree_->Follow(first.names, ids, true);
  const bool is_whole = way.ids == ids.size() && way.names == first.names.size();
  const bool is_object =
      way.last != nullptr && (way.last->kind == Kind::kContainer || way.last->kind == Kind::kEntry);
  if (way.last == nullptr || (is_object && !is_whole)) {
    request_->Fail(NC_DM_FAULT_CODE_UNKNOWN_ELEM, first.names.back());
    return first.goes_on();
  }
  ReferenceTree::Node* owner = way.last->parent;
  if (owner == nullptr) {
    if (!is_delete) return false;
    *result = 0;
    return ReferenceCommand::DeleteBelow(request_, *way.last, ids, 0, first.goes_on());
  }
  *result = ReferenceCommand(request_, owner).Run(group, NC_DM_CMD_OP_EDIT);
  if (*result >= 0) return true;
  request_->FailUnlessFailed(owner->name);
  return first.goes_on();
}

}  // namespace ncdm_test
