#include "server/console/session.h"

#include <algorithm>
#include <vector>

#include "server/instance_path.h"

namespace ncdm::console {
namespace {

using server::Agent;

std::string InQuotes(std::string_view text) { return "'" + std::string(text) + "'"; }

std::vector<std::string> ConnectedNames(const server::Server& server) {
  std::vector<std::string> names;
  for (const Agent* agent : server.Agents()) {
    if (agent->connected) {
      names.push_back(agent->name);
    }
  }
  return names;
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : ", ") + word;
  }
  return text;
}

std::string EntryText(const ListSelector& selector) {
  std::string text;
  for (const KeyValue& key : selector.keys) {
    text += (text.empty() ? "" : ",") + key.key + "=" + key.value;
  }
  return selector.list->Path() + "[" + text + "]";
}

}  // namespace

std::string Session::ChooseAgent(const std::string* name) {
  if (name != nullptr) {
    return *name;
  }
  if (!used_agent_.empty()) {
    return used_agent_;
  }
  server_.RunUntil([this] { return !ConnectedNames(server_).empty(); }, options_.wait);
  const std::vector<std::string> names = ConnectedNames(server_);
  if (names.empty()) {
    CheckInterrupted();
    throw CommandError("no agent is connected");
  }
  if (names.size() > 1) {
    throw CommandError("several agents are connected (" + Joined(names) +
                       "): name one with --agent or use");
  }
  return names.front();
}

std::string Session::ConnectedAgent(const std::string* name) {
  std::string agent = ChooseAgent(name);
  if (!server_.RunUntil([&] { return server_.IsConnected(agent); }, options_.wait)) {
    CheckInterrupted();
    throw CommandError("agent " + InQuotes(agent) + " is not connected");
  }
  return agent;
}

std::string Session::ReadyAgent(const std::string* name) {
  std::string agent = ChooseAgent(name);
  WaitUntilReady(agent, options_.wait);
  return agent;
}

void Session::CheckInterrupted() const {
  if (server_.IsInterrupted()) {
    throw CommandError("interrupted");
  }
}

void Session::WaitUntilReady(const std::string& name, server::Milliseconds timeout) {
  if (server_.WaitForAgent(name, timeout)) {
    return;
  }
  CheckInterrupted();
  throw CommandError(
      "agent " + InQuotes(name) +
      (server_.IsConnected(name) ? " has not announced its paths" : " is not connected"));
}

const Schema& Session::SchemaOf(const std::string& agent) {
  const server::Registry& registry = server_.FindAgent(agent)->registry;
  if (!schema_ || schema_->agent != agent || schema_->version != registry.version()) {
    schema_.emplace(CachedSchema{agent, registry.version(), Schema(registry.Paths())});
  }
  return schema_->schema;
}

const Schema* Session::CurrentSchema() {
  const std::vector<std::string> names = ConnectedNames(server_);
  if (!used_agent_.empty()) {
    return std::ranges::find(names, used_agent_) == names.end() ? nullptr : &SchemaOf(used_agent_);
  }
  return names.size() == 1 ? &SchemaOf(names.front()) : nullptr;
}

server::Answer Session::Call(const std::string& agent, server::Request request) {
  server::Answer answer = server_.Call(agent, std::move(request), options_.timeout);
  if (answer.outcome == server::Outcome::kFault) {
    throw CommandError(answer.error, answer.fault);
  }
  if (!answer.ok()) {
    throw CommandError(answer.error);
  }
  return answer;
}

server::Ids Session::FindIds(const std::string& agent, const ResolvedPath& path) {
  server::Ids ids;
  for (const ListSelector& selector : path.lists) {
    if (selector.id) {
      ids.push_back(*selector.id);
    } else if (!selector.keys.empty()) {
      ids.push_back(FindEntry(agent, selector, ids));
    } else {
      break;
    }
  }
  return ids;
}

std::int64_t Session::FindEntry(const std::string& agent, const ListSelector& selector,
                                const server::Ids& outer) {
  server::EntryLookup lookup(*selector.list, selector.keys, outer);
  while (auto request = lookup.Next()) {
    lookup.Take(Call(agent, std::move(*request)).ids);
  }
  if (lookup.result() == server::EntryLookup::Result::kMissing) {
    throw CommandError("there is no " + EntryText(selector));
  }
  if (lookup.result() == server::EntryLookup::Result::kSeveral) {
    throw CommandError("there are several " + EntryText(selector));
  }
  return lookup.id();
}

std::vector<KeyValue> Session::ReadKeys(const std::string& agent, const SchemaNode& list,
                                        const server::Ids& ids) {
  if (list.Keys().empty()) {
    throw CommandError("the list " + InQuotes(list.Path()) + " has no keys");
  }
  auto keys = server::KeysFrom(list, ids, Call(agent, server::ReadKeys(list, ids)).values);
  if (!keys) {
    throw CommandError("there is no " + server::PathWithIds(list, ids));
  }
  return std::move(*keys);
}

}  // namespace ncdm::console
