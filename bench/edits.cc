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

// Entries all over the list, the same in each step.
std::vector<std::int64_t> SomePortIds(const Model& model) {
  std::mt19937_64 random(2);
  std::uniform_int_distribution<std::int64_t> any(0, model.entries - 1);
  std::vector<std::int64_t> ids;
  for (int i = 0; i < kRequests; ++i) ids.push_back(Model::PortId(any(random)));
  return ids;
}

std::int64_t MissingBefore(std::int64_t port) { return port - 1; }

std::string StepName(const std::string& what, const Model& model) {
  return model.command ? what + "-command" : what;
}

}  // namespace

Step EntryCreateStep(const Model& model) {
  Step step{StepName("create-entry", model), {}};
  for (const std::int64_t port : SomePortIds(model)) {
    step.requests.push_back(EntryEdit(model, MissingBefore(port), Operation::kCreate));
  }
  return step;
}

Step EntryMergeStep(const Model& model) {
  Step step{StepName("merge-entry", model), {}};
  for (const std::int64_t port : SomePortIds(model)) {
    step.requests.push_back(EntryEdit(model, port, Operation::kMerge));
  }
  return step;
}

Step EntryDeleteStep(const Model& model) {
  Step step{StepName("delete-entry", model), {}};
  for (const std::int64_t port : SomePortIds(model)) {
    step.requests.push_back(EntryEdit(model, MissingBefore(port), Operation::kDelete));
  }
  return step;
}

Step SubtreeEditStep(const Model& model) {
  Step step{StepName("edit-subtree", model), {}};
  for (const std::int64_t port : SomePortIds(model)) {
    step.requests.push_back(SubtreeEdit(model, port));
  }
  return step;
}

void MeasureEntryEdits(AgentProcess* agent, const Settings& settings, Results* results) {
  const Model& model = agent->model();
  const std::vector<Step> steps = {EntryCreateStep(model), EntryMergeStep(model),
                                   EntryDeleteStep(model)};
  for (const Placement placement : settings.Placements(agent->model())) {
    AddFigures(results, *agent, placement,
               MeasureSteps(agent, steps, placement, settings.SmallBudget()));
  }
}

void MeasureSubtreeEdit(AgentProcess* agent, const Settings& settings, Results* results) {
  const Step step = SubtreeEditStep(agent->model());
  for (const Placement placement : settings.Placements(agent->model())) {
    AddFigures(results, *agent, placement,
               MeasureSteps(agent, {step}, placement, settings.SmallBudget()));
  }
}

}  // namespace bench
