#include "server/console/agent_notices.h"

#include <utility>

namespace ncdm::console {

std::string TakeoverText(const server::Agent& agent) {
  return "agent '" + agent.name + "': " + std::to_string(agent.takeovers) +
         (agent.takeovers == 1 ? " time" : " times") +
         " a new connection took the place of one that was open; do two applications use the name?";
}

std::string AgentNotices::Take(const server::Agent& agent) {
  const auto place = known_.find(agent.name);
  const Known before = place == known_.end() ? Known{} : place->second;
  if (agent.connected) {
    known_[agent.name] = {true, agent.connections, agent.takeovers};
  } else if (place != known_.end()) {
    known_.erase(place);
  }
  const std::string title = "agent '" + agent.name + "'";
  if (agent.takeovers > before.takeovers && before.connected) {
    return TakeoverText(agent);
  }
  if (agent.connected == before.connected && agent.connections == before.connections) {
    return "";
  }
  if (!agent.connected) {
    return before.connected ? title + " is gone" : "";
  }
  return title + (before.connected ? " has connected anew" : " has connected");
}

}  // namespace ncdm::console
