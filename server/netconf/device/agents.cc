#include "server/netconf/device/agents.h"

#include <algorithm>

namespace ncdm::netconf {
namespace {

using namespace std::chrono_literals;

// A client hears of a stopped agent within twice this.
constexpr server::Milliseconds kTimeout = 9s;
constexpr server::Milliseconds kTimeoutOfSilent = 1s;
// Rounds of the agents' sockets in one run, so that clients have their turn.
constexpr int kRoundsAtOnce = 16;

}  // namespace

bool NamesModule(const server::Agent& agent) {
  return std::ranges::any_of(agent.registry.yang_attributes(), [](const auto& attribute) {
    return attribute.type == NC_DM_YANG_ATTR_MODULE_NAME;
  });
}

Agents::Agents(const std::string& root) : server_({.root = root, .timeout = kTimeout}) {
  server_.set_agent_handler([this](const server::Agent& agent) { OnAgent(agent); });
  server_.set_done_handler([this](server::RequestId id) { OnDone(id); });
}

std::vector<const server::Agent*> Agents::Ready() const {
  std::vector<const server::Agent*> ready = server_.ConnectedAgents();
  std::erase_if(ready, [&](const server::Agent* agent) {
    const auto state = states_.find(agent->name);
    return state == states_.end() || !state->second.ready;
  });
  return ready;
}

Agents::PendingCall Agents::Call(const std::string& agent, server::Request request) {
  ++requests_sent_;
  const server::Milliseconds timeout = silent_.contains(agent) ? kTimeoutOfSilent : kTimeout;
  return {this, agent, server_.Start(agent, std::move(request), timeout)};
}

void Agents::Send(const std::string& agent, server::Request request) {
  server_.Take(server_.Start(agent, std::move(request), kTimeout));
}

void Agents::Run() {
  for (int round = 0; round < kRoundsAtOnce && server_.RunOnce(0ms); ++round) {
  }
}

void Agents::OnAgent(const server::Agent& agent) {
  ++version_;
  if (!agent.connected) {
    states_.erase(agent.name);
    silent_.erase(agent.name);
    return;
  }
  State& state = states_[agent.name];
  if (state.connection != agent.connections) {
    state = {.connection = agent.connections};
    silent_.erase(agent.name);
  }
  if (agent.registry.path_count() == 0) {
    state.ready = false;
  } else if (NamesModule(agent)) {
    state.ready = true;
  } else if (agent.complete && state.barrier == 0) {
    state.barrier = server_.Start(agent.name, server::Barrier(), kTimeout);
  }
}

void Agents::OnDone(server::RequestId id) {
  const auto waiting = waiting_.find(id);
  if (waiting != waiting_.end()) {
    const std::coroutine_handle<> handle = waiting->second;
    waiting_.erase(waiting);
    handle.resume();
    return;
  }
  const auto state =
      std::ranges::find_if(states_, [&](const auto& entry) { return entry.second.barrier == id; });
  if (state != states_.end()) {
    const auto answer = server_.Take(id);
    state->second.ready = state->second.ready || (answer && answer->ok());
    ++version_;
  }
}

server::Answer Agents::TakeAnswer(const std::string& name, server::RequestId id) {
  server::Answer answer = *server_.Take(id);
  if (answer.outcome == server::Outcome::kTimeout) {
    silent_.insert(name);
  } else {
    silent_.erase(name);
  }
  return answer;
}

}  // namespace ncdm::netconf
