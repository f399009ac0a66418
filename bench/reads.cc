// Reads of one leaf, of a whole list, and of the ids of entries by their key.

#include <algorithm>
#include <random>

#include "bench/scenario.h"
#include "server/request.h"

namespace bench {
namespace {

using ncdm::server::FindIds;
using ncdm::server::Ids;
using ncdm::server::ReadElement;
using ncdm::server::ReadOne;
using ncdm::server::ReadValues;

constexpr int kRequests = 512;

// Entries all over the list.
std::vector<std::int64_t> SomePortIds(const Model& model) {
  std::mt19937_64 random(1);
  std::uniform_int_distribution<std::int64_t> any(0, model.entries - 1);
  std::vector<std::int64_t> ids;
  for (int i = 0; i < kRequests; ++i) ids.push_back(Model::PortId(any(random)));
  return ids;
}

ReadElement LeafOf(const Model& model, std::int64_t port) {
  ReadElement element;
  element.name = model.PortName() + "." + Model::LeafName(model.leaves > 1 ? 1 : 0);
  element.ids = model.OuterIds();
  element.ids.push_back(port);
  return element;
}

void MeasureStep(const Step& step, AgentProcess* agent, const Settings& settings,
                 const Budget& budget, Results* results, double elements = 0,
                 const std::string& element = "") {
  for (const Placement placement : settings.Placements(agent->model())) {
    AddFigures(results, *agent, placement, MeasureSteps(agent, {step}, placement, budget), elements,
               element);
  }
}

}  // namespace

Step LeafReadStep(const Model& model) {
  Step step{"read-leaf", {}};
  for (const std::int64_t port : SomePortIds(model)) {
    step.requests.push_back(Encode(ReadOne(LeafOf(model, port))));
  }
  return step;
}

Step CollectedLeafReadStep(const Model& model) {
  Step step{"read-leaf-collected", {}};
  for (const std::int64_t port : SomePortIds(model)) {
    step.requests.push_back(Encode(ReadValues({LeafOf(model, port)})));
  }
  return step;
}

Step ListReadStep(const Model& model) {
  return {"read-list", {Encode(ReadOne({model.PortName(), {}, model.OuterIds()}))}};
}

Step GetIdStep(const Model& model) {
  Step step{"get-id", {}};
  const std::string key = model.PortName() + "." + Model::LeafName(0);
  for (const std::int64_t port : SomePortIds(model)) {
    step.requests.push_back(Encode(FindIds({{key, std::to_string(port), model.OuterIds()}})));
  }
  return step;
}

void MeasureLeafReads(AgentProcess* agent, const Settings& settings, Results* results) {
  const Model& model = agent->model();
  MeasureStep(LeafReadStep(model), agent, settings, settings.SmallBudget(), results);
  MeasureStep(CollectedLeafReadStep(model), agent, settings, settings.SmallBudget(), results);
}

void MeasureListRead(AgentProcess* agent, const Settings& settings, Results* results) {
  const Model& model = agent->model();
  const double leaves = static_cast<double>(model.entries) * model.leaves;
  MeasureStep(ListReadStep(model), agent, settings, settings.LargeBudget(), results, leaves,
              "leaf");
}

void MeasureGetId(AgentProcess* agent, const Settings& settings, Results* results) {
  const Model& model = agent->model();
  MeasureStep(GetIdStep(model), agent, settings, settings.LargeBudget(), results,
              static_cast<double>(model.entries), "entry");
}

}  // namespace bench
