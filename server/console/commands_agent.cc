// Commands about agents, and those that only send a short message.
#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "server/console/agent_notices.h"
#include "server/console/commands.h"
#include "server/names.h"

namespace ncdm::console {
namespace {

using server::Agent;

bool IsOn(const std::string& command, const std::string& state) {
  if (state != "on" && state != "off") {
    throw CommandError(command + " is switched on or off, not '" + state + "'");
  }
  return state == "on";
}

std::string StateText(const Agent& agent) {
  if (!agent.connected) {
    return "gone";
  }
  if (agent.unregistered) {
    return "unregistered";
  }
  return agent.complete && agent.registry.path_count() > 0 ? "ready" : "connected";
}

// The agent that a command about what is known of it means: it need not be connected any more.
const Agent& KnownAgent(Session& session, const Arguments& arguments) {
  const std::string* name = AgentOption(arguments);
  if (!arguments.positional.empty()) {
    if (name != nullptr) {
      throw CommandError("the agent is named twice");
    }
    name = &arguments.positional.front();
  }
  const Agent* gone = name == nullptr ? nullptr : session.server().FindAgent(*name);
  if (gone != nullptr && !gone->connected) {
    return *gone;
  }
  return *session.server().FindAgent(session.ReadyAgent(name));
}

Json WordList(const std::string& joined) {
  Json words = Json::array();
  std::size_t begin = 0;
  while (begin < joined.size()) {
    const std::size_t comma = std::min(joined.find(',', begin), joined.size());
    words.push_back(joined.substr(begin, comma - begin));
    begin = comma + 1;
  }
  return words;
}

// The announced modules as "name@revision", or as the name alone.
std::vector<std::string> ModuleNames(const server::Registry& registry) {
  std::vector<std::string> modules;
  std::unordered_map<std::string_view, std::size_t> places;
  for (const server::YangAttribute& attribute : registry.yang_attributes()) {
    const auto [place, is_new] = places.try_emplace(attribute.module, modules.size());
    if (is_new) {
      modules.push_back(attribute.module);
    }
    if (attribute.type == NC_DM_YANG_ATTR_REVISION) {
      modules[place->second] = attribute.module + "@" + attribute.value;
    }
  }
  return modules;
}

std::string Joined(const std::vector<std::string>& words) {
  std::string joined;
  for (const std::string& word : words) {
    joined += joined.empty() ? word : " " + word;
  }
  return joined;
}

std::vector<std::string> AgentRow(const Agent& agent) {
  const std::vector<std::string> modules = ModuleNames(agent.registry);
  return {agent.name, StateText(agent), std::to_string(agent.registry.path_count()),
          modules.empty() ? "-" : Joined(modules)};
}

void PrintAgents(Output& output, const std::vector<const Agent*>& agents) {
  output.Print(Table{{"agent", "state", "paths", "modules"}, agents.size(), [&](std::size_t row) {
                       return AgentRow(*agents[row]);
                     }});
  for (const Agent* agent : agents) {
    if (agent->takeovers > 0) {
      output.Line(TakeoverText(*agent));
    }
  }
}

}  // namespace

void RunAgents(Session& session, const Arguments& /*arguments*/) {
  session.server().RunOnce(server::Milliseconds(0));
  Json document = Json::array();
  const std::vector<const Agent*> agents = session.server().Agents();
  for (const Agent* agent : agents) {
    document.push_back({{"agent", agent->name},
                        {"state", StateText(*agent)},
                        {"restarted", agent->restarted},
                        {"connections", agent->connections},
                        {"paths", agent->registry.path_count()},
                        {"modules", ModuleNames(agent->registry)}});
    if (agent->takeovers > 0) {
      document.back()["takeovers"] = agent->takeovers;
    }
  }
  if (session.output().json()) {
    session.output().Print(document);
  } else if (agents.empty()) {
    session.output().Line("no agent has connected yet");
  } else {
    PrintAgents(session.output(), agents);
  }
}

void RunWait(Session& session, const Arguments& arguments) {
  const auto timeout = arguments.positional.size() > 1 ? ParseSeconds(arguments.positional[1])
                                                       : session.options().timeout;
  session.WaitUntilReady(arguments.positional.front(), timeout);
  PrintOk(session);
}

void RunUse(Session& session, const Arguments& arguments) {
  if (arguments.positional.empty()) {
    session.set_used_agent("");
  } else {
    session.set_used_agent(session.ConnectedAgent(&arguments.positional.front()));
  }
  PrintOk(session);
}

void RunPaths(Session& session, const Arguments& arguments) {
  Json document = Json::array();
  for (const server::RegisteredPath& path : KnownAgent(session, arguments).registry.Paths()) {
    const std::string attributes = server::PathAttributeNames(path.attributes);
    if (session.output().json()) {
      document.push_back({{"path", path.path}, {"attributes", WordList(attributes)}});
    } else {
      session.output().Line(attributes.empty() ? path.path : path.path + "  " + attributes);
    }
  }
  if (session.output().json()) {
    session.output().Print(document);
  }
}

void RunModules(Session& session, const Arguments& arguments) {
  Json document = Json::array();
  for (const server::YangAttribute& attribute :
       KnownAgent(session, arguments).registry.yang_attributes()) {
    const std::string kind = server::YangAttributeName(attribute.type);
    if (session.output().json()) {
      document.push_back(
          {{"module", attribute.module}, {"attribute", kind}, {"value", attribute.value}});
    } else {
      session.output().Line(attribute.module + "  " + kind + " = " + attribute.value);
    }
  }
  if (session.output().json()) {
    session.output().Print(document);
  }
}

void RunShow(Session& session, const Arguments& arguments) {
  session.Call(session.ConnectedAgent(AgentOption(arguments)),
               server::Confirmed(server::ShowTree()));
  PrintOk(session);
}

void RunDebug(Session& session, const Arguments& arguments) {
  const bool on = IsOn("debug", arguments.positional[0]);
  const auto bits = server::DebugBitsFromText(arguments.positional[1]);
  if (!bits) {
    throw CommandError("'" + arguments.positional[1] +
                       "' is no number and none of error, info, packet and timing");
  }
  session.Call(session.ConnectedAgent(AgentOption(arguments)),
               server::Confirmed(server::SwitchDebug(*bits, on)));
  PrintOk(session);
}

// Whether the agent's configuration lasts now is not answered: all that is known is that it was
// told.
void RunCommit(Session& session, const Arguments& arguments) {
  session.Call(session.ConnectedAgent(AgentOption(arguments)), server::Confirmed(server::Commit()));
  if (session.output().json()) {
    session.output().Print(Json{{"sent", true}});
  } else {
    session.output().Line("sent");
  }
}

void RunTrace(Session& session, const Arguments& arguments) {
  session.SwitchTrace(IsOn("trace", arguments.positional.front()));
  PrintOk(session);
}

}  // namespace ncdm::console
