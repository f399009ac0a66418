#include "bench/scenario.h"

#include <algorithm>
#include <vector>

namespace bench {
namespace {

constexpr std::int64_t kMillion = 1'000'000;

struct ListRun {
  Model model;
  bool leaf = false;
  bool list = false;
  bool getid = false;
  bool entry = false;
  bool subtree = false;
};

ListRun EverythingOn(bool hash, std::int64_t entries) {
  ListRun run;
  run.model.hash = hash;
  run.model.entries = entries;
  run.leaf = run.list = run.getid = run.entry = true;
  return run;
}

ListRun CommandOn(bool hash, std::int64_t entries) {
  ListRun run;
  run.model.hash = hash;
  run.model.entries = entries;
  run.model.command = true;
  run.entry = true;
  return run;
}

ListRun SecondListOn(bool hash, std::int64_t entries) {
  ListRun run = EverythingOn(hash, entries);
  run.model.second_list = true;
  return run;
}

ListRun DepthOn(bool hash, int depth, std::int64_t entries) {
  ListRun run;
  run.model.hash = hash;
  run.model.depth = depth;
  run.model.entries = entries;
  run.leaf = run.list = run.entry = true;
  return run;
}

ListRun LeavesOn(int leaves, std::int64_t entries) {
  ListRun run;
  run.model.leaves = leaves;
  run.model.entries = entries;
  run.list = true;
  return run;
}

ListRun SubtreeOn(bool command, std::int64_t entries) {
  ListRun run;
  run.model.leaves = 12;
  run.model.command = command;
  run.model.entries = entries;
  run.subtree = true;
  return run;
}

std::vector<ListRun> QuickRuns() {
  std::vector<ListRun> runs;
  for (const bool hash : {false, true}) {
    for (const std::int64_t n : {std::int64_t{100}, std::int64_t{10'000}, kMillion}) {
      runs.push_back(EverythingOn(hash, n));
    }
  }
  runs.push_back(CommandOn(false, 100));
  runs.push_back(CommandOn(false, kMillion));
  runs.push_back(SecondListOn(false, 100'000));
  for (const int depth : {1, 3}) runs.push_back(DepthOn(false, depth, 10'000));
  for (const int leaves : {1, 20}) runs.push_back(LeavesOn(leaves, 10'000));
  for (const bool command : {false, true}) runs.push_back(SubtreeOn(command, 10'000));
  return runs;
}

std::vector<ListRun> FullRuns() {
  std::vector<ListRun> runs;
  for (const bool hash : {false, true}) {
    for (std::int64_t n = 10; n <= kMillion; n *= 10) runs.push_back(EverythingOn(hash, n));
    for (const std::int64_t n : {std::int64_t{100}, std::int64_t{10'000}, kMillion}) {
      runs.push_back(CommandOn(hash, n));
      runs.push_back(SecondListOn(hash, n));
      runs.push_back(DepthOn(hash, 1, n));
      runs.push_back(DepthOn(hash, 3, n));
    }
  }
  for (const int leaves : {1, 20}) {
    for (const std::int64_t n : {std::int64_t{100}, std::int64_t{10'000}, std::int64_t{100'000}}) {
      runs.push_back(LeavesOn(leaves, n));
    }
  }
  for (const bool command : {false, true}) {
    for (const std::int64_t n : {std::int64_t{100}, std::int64_t{100'000}}) {
      runs.push_back(SubtreeOn(command, n));
    }
  }
  return runs;
}

// Leaves out of a run what is not asked for; false when nothing is left.
bool Restrict(ListRun* run, const Settings& settings) {
  run->leaf = run->leaf && settings.Wants("read-leaf");
  run->list = run->list && settings.Wants("read-list");
  run->getid = run->getid && settings.Wants("get-id");
  run->entry = run->entry && settings.Wants("entry");
  run->subtree = run->subtree && settings.Wants("edit-subtree");
  const bool shows_memory = run->model.entries == kMillion && settings.Wants("memory");
  return run->leaf || run->list || run->getid || run->entry || run->subtree || shows_memory;
}

void Measure(const ListRun& run, const Settings& settings, Results* results) {
  AgentProcess agent(run.model);
  if (run.model.entries == kMillion && settings.Wants("memory")) AddMemory(agent, results);
  if (run.leaf) MeasureLeafReads(&agent, settings, results);
  if (run.getid) MeasureGetId(&agent, settings, results);
  if (run.entry) MeasureEntryEdits(&agent, settings, results);
  if (run.subtree) MeasureSubtreeEdit(&agent, settings, results);
  // Last: the answer to a large list leaves the agent's memory in pieces.
  if (run.list) MeasureListRead(&agent, settings, results);
}

}  // namespace

Budget Settings::SmallBudget() const {
  return {quick ? std::chrono::milliseconds(200) : std::chrono::milliseconds(600), 20};
}

Budget Settings::LargeBudget() const {
  return {quick ? std::chrono::milliseconds(250) : std::chrono::milliseconds(800), quick ? 1 : 3};
}

void AddFigures(Results* results, const AgentProcess& agent, Placement placement,
                const std::vector<StepResult>& steps, double elements, const std::string& element) {
  constexpr double kMicrosecond = 1000;
  const double scale = elements > 0 ? elements : kMicrosecond;
  for (const StepResult& step : steps) {
    Figure figure = FigureOf(step.name, agent.model(), placement);
    figure.unit = elements > 0 ? "ns/" + element : "us";
    figure.median = step.agent.Median() / scale;
    figure.p99 = step.agent.P99() / scale;
    figure.floor = step.floor.Median() / scale;
    figure.floor_p99 = step.floor.P99() / scale;
    results->Add(std::move(figure));
  }
}

std::vector<Placement> Settings::Placements(const Model& model) const {
  if (quick && model.entries == kMillion) return {Placement::kOneCore};
  return {Placement::kOneCore, Placement::kUnpinned};
}

void MeasureLists(const Settings& settings, Results* results) {
  for (ListRun run : settings.quick ? QuickRuns() : FullRuns()) {
    if (Restrict(&run, settings)) Measure(run, settings, results);
  }
}

}  // namespace bench
