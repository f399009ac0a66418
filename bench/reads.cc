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
constexpr Placement kPlacements[] = {Placement::kOneCore, Placement::kUnpinned};

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

}  // namespace

void MeasureLeafReads(AgentProcess* agent, const Settings& settings, Results* results) {
  Step one{"read-leaf", {}};
  Step collected{"read-leaf-collected", {}};
  for (const std::int64_t port : SomePortIds(agent->model())) {
    const ReadElement leaf = LeafOf(agent->model(), port);
    one.requests.push_back(Encode(ReadOne(leaf)));
    collected.requests.push_back(Encode(ReadValues({leaf})));
  }
  for (const Placement placement : kPlacements) {
    AddFigures(results, *agent, placement,
               MeasureSteps(agent, {one}, placement, settings.SmallBudget()));
    AddFigures(results, *agent, placement,
               MeasureSteps(agent, {collected}, placement, settings.SmallBudget()));
  }
}

void MeasureListRead(AgentProcess* agent, const Settings& settings, Results* results) {
  const Model& model = agent->model();
  const Step step{"read-list", {Encode(ReadOne({model.PortName(), {}, model.OuterIds()}))}};
  const double leaves = static_cast<double>(model.entries) * model.leaves;
  for (const Placement placement : kPlacements) {
    AddFigures(results, *agent, placement,
               MeasureSteps(agent, {step}, placement, settings.LargeBudget()), leaves, "leaf");
  }
}

void MeasureGetId(AgentProcess* agent, const Settings& settings, Results* results) {
  const Model& model = agent->model();
  Step step{"get-id", {}};
  for (const std::int64_t port : SomePortIds(model)) {
    step.requests.push_back(Encode(FindIds(
        {{model.PortName() + "." + Model::LeafName(0), std::to_string(port), model.OuterIds()}})));
  }
  for (const Placement placement : kPlacements) {
    AddFigures(results, *agent, placement,
               MeasureSteps(agent, {step}, placement, settings.LargeBudget()),
               static_cast<double>(model.entries), "entry");
  }
}

}  // namespace bench
