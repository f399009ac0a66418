#include "bench/profile.h"

#include <functional>
#include <stdexcept>
#include <vector>

#include "bench/agent_process.h"
#include "bench/scenario.h"

namespace bench {
namespace {

struct Profile {
  const char* name;
  std::vector<Step> (*steps)(const Model& model);
  // Of one round; null: one for each step.
  double (*operations)(const Model& model);
};

double LeavesOf(const Model& model) {
  return static_cast<double>(model.entries) * static_cast<double>(model.leaves);
}

double EntriesOf(const Model& model) { return static_cast<double>(model.entries); }

constexpr Profile kProfiles[] = {
    {"read-leaf", [](const Model& model) { return std::vector{LeafReadStep(model)}; }, nullptr},
    {"read-leaf-collected",
     [](const Model& model) { return std::vector{CollectedLeafReadStep(model)}; }, nullptr},
    {"read-list", [](const Model& model) { return std::vector{ListReadStep(model)}; }, LeavesOf},
    {"get-id", [](const Model& model) { return std::vector{GetIdStep(model)}; }, EntriesOf},
    // A created entry has to go before it can be created again.
    {"create-delete-entry",
     [](const Model& model) {
       return std::vector{EntryCreateStep(model), EntryDeleteStep(model)};
     },
     [](const Model& /*model*/) { return 1.0; }},
    {"merge-entry", [](const Model& model) { return std::vector{EntryMergeStep(model)}; }, nullptr},
    {"edit-subtree", [](const Model& model) { return std::vector{SubtreeEditStep(model)}; },
     nullptr},
};
constexpr const char* kRegister = "register";

void RunSteps(Link* link, const std::vector<Step>& steps, int rounds) {
  for (int i = 0; i < rounds; ++i) {
    for (const Step& step : steps) {
      const Bytes& request = step.requests[static_cast<std::size_t>(i) % step.requests.size()];
      link->Send(request.bytes);
      link->ReceiveAnswer();
    }
  }
}

double ProfileRegistration(Model model) {
  constexpr int kTimeoutMs = 120'000;
  if (model.paths == 0) model.paths = 5000;
  AgentProcess agent(model);
  int left = model.paths + model.leaves;
  agent.link().ReceiveWhile(
      [&](const nc_dm_msg_head_t& head, std::string_view /*frame*/) {
        return head.type != NC_DM_MSG_TYPE_REG || --left > 0;
      },
      kTimeoutMs);
  agent.Stop();
  return model.paths;
}

}  // namespace

std::string ProfileNames() {
  std::string names;
  for (const Profile& profile : kProfiles) names += std::string(profile.name) + " ";
  return names + kRegister;
}

double RunProfile(const std::string& name, const Model& model, int rounds) {
  if (name == kRegister) return ProfileRegistration(model);
  for (const Profile& profile : kProfiles) {
    if (name != profile.name) continue;
    const std::vector<Step> steps = profile.steps(model);
    AgentProcess agent(model);
    RunSteps(&agent.link(), steps, rounds);
    agent.Stop();
    const double of_round = profile.operations != nullptr ? profile.operations(model)
                                                          : static_cast<double>(steps.size());
    return rounds * of_round;
  }
  throw std::invalid_argument("nothing is called " + name + "; there is: " + ProfileNames());
}

}  // namespace bench
