// What is measured end to end. Each scenario starts its agent, or is handed one, and adds figures.
#ifndef BENCH_SCENARIO_H_
#define BENCH_SCENARIO_H_

#include <string>
#include <string_view>
#include <vector>

#include "bench/agent_process.h"
#include "bench/exchange.h"
#include "bench/results.h"

namespace bench {

struct Settings {
  bool quick = false;
  std::string only;  // names what is measured alone, or a part of it; "" for everything

  bool Wants(std::string_view name) const {
    return only.empty() || name.find(only) != std::string_view::npos ||
           only.find(name) != std::string::npos;
  }
  Budget SmallBudget() const;
  Budget LargeBudget() const;
  // Where to measure: a quick run spares large lists the one that tells less.
  std::vector<Placement> Placements(const Model& model) const;
};

// Adds the figures of steps: microseconds an exchange, or nanoseconds an element.
void AddFigures(Results* results, const AgentProcess& agent, Placement placement,
                const std::vector<StepResult>& steps, double elements = 0,
                const std::string& element = "");

// The requests of the scenarios below, in many variations each.
Step LeafReadStep(const Model& model);
Step CollectedLeafReadStep(const Model& model);
Step ListReadStep(const Model& model);
Step GetIdStep(const Model& model);
Step EntryCreateStep(const Model& model);
Step EntryMergeStep(const Model& model);
Step EntryDeleteStep(const Model& model);
Step SubtreeEditStep(const Model& model);

// Reads of the agent's list.
void MeasureLeafReads(AgentProcess* agent, const Settings& settings, Results* results);
void MeasureListRead(AgentProcess* agent, const Settings& settings, Results* results);
void MeasureGetId(AgentProcess* agent, const Settings& settings, Results* results);

// Edits of entries of the agent's list.
void MeasureEntryEdits(AgentProcess* agent, const Settings& settings, Results* results);
void MeasureSubtreeEdit(AgentProcess* agent, const Settings& settings, Results* results);

// Registration of 5,000 paths: at the start, after a reconnection, and beside another thread.
void MeasureRegistration(const Settings& settings, Results* results);
void MeasureHold(const Settings& settings, Results* results);

// Memory of the agent's entries, against the bytes of their records.
void AddMemory(const AgentProcess& agent, Results* results);

// In process: creation and removal of instances with 8 leaves; a callback alone.
void MeasureInstances(const Settings& settings, Results* results);
double CallbackNs();

// The lists of all kinds and sizes, with everything above that is measured on a list.
void MeasureLists(const Settings& settings, Results* results);

}  // namespace bench

#endif  // BENCH_SCENARIO_H_
