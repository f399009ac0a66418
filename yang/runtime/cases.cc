#include "cases.h"

#include <optional>
#include <span>
#include <vector>

#include "record.h"

namespace ncdm::model {
namespace {

using Chosen = std::vector<ncdm_case_t>;

// The cases that are there once the node has this record.
Chosen ChosenBy(const ncdm_node_t& node, const Record& record) {
  Chosen chosen;
  for (const ncdm_leaf_t& leaf : Leaves(node)) {
    if (leaf.case_count == 0 || !HasValue(leaf, record.data())) continue;
    chosen.insert(chosen.end(), Cases(leaf).begin(), Cases(leaf).end());
  }
  // A container without a value is not there.
  const bool is_there = node.kind != NCDM_CONTAINER || record != Application::Defaults(node);
  if (is_there) chosen.insert(chosen.end(), Cases(node).begin(), Cases(node).end());
  return chosen;
}

// The chosen case that excludes one of `cases`, or null.
const ncdm_case_t* Excluding(const Chosen& chosen, std::span<const ncdm_case_t> cases) {
  for (const ncdm_case_t& mine : chosen) {
    for (const ncdm_case_t& theirs : cases) {
      if (Exclude(mine, theirs)) return &mine;
    }
  }
  return nullptr;
}

// Gives the record at `ids` another content.
template <typename ChangeRecord>
bool Edit(Application& application, const ncdm_node_t& node, const Ids& ids, ChangeRecord change) {
  Record before;
  if (const int result = application.Load(node, ids, before); result != 0) {
    return result == kNoSuchEntry;
  }
  Record after = before;
  change(after);
  return after == before || application.Change(node, ids, before, after) == 0;
}

bool EndEntry(Application& application, const ncdm_node_t& node, const Ids& ids) {
  const int result = application.Remove(node, ids);
  if (result == 0) application.Withdraw(node, ids);
  return result == 0 || result == kNoSuchEntry;
}

bool EndNode(Application& application, const ncdm_node_t& node, const Ids& place) {
  for (const Ids& ids : application.store().Below(node, place)) {
    const bool ended = node.kind == NCDM_CONTAINER
                           ? Edit(application, node, ids,
                                  [&](Record& record) { record = Application::Defaults(node); })
                           : EndEntry(application, node, ids);
    if (!ended) return false;
  }
  return true;
}

// The leaves of the record around the choice's other cases.
bool EndLeaves(Application& application, const ncdm_node_t& node, const Ids& place,
               const Chosen& chosen) {
  return Edit(application, node, place, [&](Record& record) {
    for (const ncdm_leaf_t& leaf : Leaves(node)) {
      if (Excluding(chosen, Cases(leaf)) != nullptr) Reset(leaf, record.data());
    }
  });
}

const ncdm_case_t* ExcludingLeaves(const Chosen& chosen, const ncdm_node_t& node) {
  for (const ncdm_leaf_t& leaf : Leaves(node)) {
    if (const ncdm_case_t* by = Excluding(chosen, Cases(leaf))) return by;
  }
  return nullptr;
}

// Nothing; or the place, when a case that stands there excludes something.
std::optional<Ids> PlaceOf(const ncdm_case_t* by, const Ids& ids) {
  if (by == nullptr || static_cast<size_t>(by->levels) > ids.size()) return std::nullopt;
  return Ids(ids.begin(), ids.begin() + by->levels);
}

}  // namespace

bool EndOtherCases(Application& application, const ncdm_node_t& node, const Ids& ids,
                   const Record& record) {
  const Chosen chosen = ChosenBy(node, record);
  if (chosen.empty()) return true;
  for (const ncdm_node_t* other : Nodes(*node.model)) {
    if (other == &node) continue;
    if (const auto place = PlaceOf(Excluding(chosen, Cases(*other)), ids)) {
      if (!EndNode(application, *other, *place)) return false;
    } else if (const auto around = PlaceOf(ExcludingLeaves(chosen, *other), ids)) {
      if (!EndLeaves(application, *other, *around, chosen)) return false;
    }
  }
  return true;
}

}  // namespace ncdm::model
