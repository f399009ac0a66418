// Edits of one entry, through its own callbacks or through exe_cmd, and of leaves of an entry.

#include <algorithm>
#include <random>

#include "bench/scenario.h"
#include "server/request.h"

namespace bench {
namespace {

using ncdm::server::EditElement;
using ncdm::server::EditEntry;
using ncdm::server::EditSubtree;
using ncdm::server::Operation;

constexpr int kRequests = 512;
constexpr int kEditedLeaves = 3;    // of an entry, with the key
constexpr int kSubtreeLeaves = 10;  // without it
constexpr Placement kPlacements[] = {Placement::kOneCore, Placement::kUnpinned};

EditElement Element(const Model& model, int leaf, Operation operation) {
  EditElement element;
  element.name = model.PortName() + "." + Model::LeafName(leaf);
  element.value = Model::LeafText(leaf);
  element.ids = model.OuterIds();
  element.operation = operation;
  return element;
}

Bytes EntryEdit(const Model& model, std::int64_t port, Operation operation) {
  std::vector<EditElement> elements;
  const int leaves = operation == Operation::kDelete ? 1 : kEditedLeaves;
  for (int leaf = 0; leaf < std::min(leaves, model.leaves); ++leaf) {
    elements.push_back(Element(model, leaf, operation));
  }
  elements[0].key = NC_DM_FLAG_KEY;
  elements[0].value = std::to_string(port);
  return Encode(EditEntry(elements));
}

Bytes SubtreeEdit(const Model& model, std::int64_t port) {
  std::vector<EditElement> elements;
  for (int leaf = 1; leaf <= kSubtreeLeaves; ++leaf) {
    elements.push_back(Element(model, leaf, Operation::kMerge));
    elements.back().ids.push_back(port);
  }
  return Encode(EditSubtree(elements));
}

}  // namespace

void MeasureEntryEdits(AgentProcess* agent, const Settings& settings, Results* results) {
  const Model& model = agent->model();
  const std::string how = model.command ? "-command" : "";
  Step create{"create-entry" + how, {}};
  Step merge{"merge-entry" + how, {}};
  Step remove{"delete-entry" + how, {}};
  std::mt19937_64 random(2);
  std::uniform_int_distribution<std::int64_t> any(0, model.entries - 1);
  for (int i = 0; i < kRequests; ++i) {
    const std::int64_t existing = Model::PortId(any(random));
    const std::int64_t missing = existing - 1;
    create.requests.push_back(EntryEdit(model, missing, Operation::kCreate));
    merge.requests.push_back(EntryEdit(model, existing, Operation::kMerge));
    remove.requests.push_back(EntryEdit(model, missing, Operation::kDelete));
  }
  for (const Placement placement : kPlacements) {
    AddFigures(results, *agent, placement,
               MeasureSteps(agent, {create, merge, remove}, placement, settings.SmallBudget()));
  }
}

void MeasureSubtreeEdit(AgentProcess* agent, const Settings& settings, Results* results) {
  const Model& model = agent->model();
  Step step{model.command ? "edit-subtree-command" : "edit-subtree", {}};
  std::mt19937_64 random(3);
  std::uniform_int_distribution<std::int64_t> any(0, model.entries - 1);
  for (int i = 0; i < kRequests; ++i) {
    step.requests.push_back(SubtreeEdit(model, Model::PortId(any(random))));
  }
  for (const Placement placement : kPlacements) {
    AddFigures(results, *agent, placement,
               MeasureSteps(agent, {step}, placement, settings.SmallBudget()));
  }
}

}  // namespace bench
