#include "tests/server/netconf/fake_operations.h"

#include <stdexcept>

#include "server/netconf/xml_text.h"

namespace ncdm::netconf {
namespace {

std::string Data(const std::string& content) {
  return std::string("<data xmlns=\"") + kBaseNamespace + "\">" + content + "</data>";
}

std::string TestElement(const std::string& name, const std::string& text) {
  return "<" + name + " xmlns=\"urn:test\">" + Escaped(text) + "</" + name + ">";
}

RpcError FullError() {
  RpcError error;
  error.type = "application";
  error.tag = "data-missing";
  error.app_tag = "instance-required";
  error.path = "/t:top/t:list[t:name='<a>']";
  error.prefixes = {{"t", "urn:test"}};
  error.message = "There is no \"<a>\".";
  error.info = {{"bad-element", "list"}, {"hint", "a & b", "urn:test"}};
  return error;
}

}  // namespace

std::vector<std::string> FakeOperations::Capabilities() const {
  return {"urn:ietf:params:netconf:base:1.0", "urn:ietf:params:netconf:base:1.1",
          "urn:test?module=test&revision=2026-01-01"};
}

void FakeOperations::SessionOpened(const Client& client) {
  events.push_back("open " + std::to_string(client.session_id) + " " + client.user);
}

void FakeOperations::SessionEnded(const Client& client) {
  events.push_back("end " + std::to_string(client.session_id));
}

void FakeOperations::Start(const Client& /*client*/, std::string rpc, DoneFunction done) {
  const XmlElement operation = ParseXmlTop(rpc).children.at(0);
  events.push_back(operation.name);
  if (operation.name == "never") {
    owed.push_back(std::move(done));
  } else if (operation.name == "later") {
    later_.emplace(Clock::now() + std::chrono::milliseconds(std::stol(operation.text)),
                   std::move(done));
  } else if (operation.name == "throw") {
    throw std::runtime_error("the device's half has failed");
  } else {
    done(Answer(operation));
  }
}

Reply FakeOperations::Answer(const XmlElement& operation) const {
  if (operation.name == "echo") {
    return {Data(TestElement("text", operation.text)), {}};
  }
  if (operation.name == "big") {
    return {Data(TestElement("text", std::string(std::stoul(operation.text), 'x'))), {}};
  }
  if (operation.name == "sessions") {
    return {Data(ListSessions()), {}};
  }
  if (operation.name == "refuse") {
    return {{}, {FullError()}};
  }
  return {Data(""), {}};
}

std::string FakeOperations::ListSessions() const {
  std::string xml;
  for (const SessionInfo& session : sessions_->List()) {
    xml += TestElement("session", std::to_string(session.client.session_id) + " " +
                                      session.client.user + " " + session.transport + " " +
                                      session.source_host + " " + std::to_string(session.in_rpcs) +
                                      " " + std::to_string(session.in_bad_rpcs) + " " +
                                      std::to_string(session.out_rpc_errors));
  }
  const Statistics counters = sessions_->Counters();
  return xml + TestElement("counters", std::to_string(counters.in_bad_hellos) + " " +
                                           std::to_string(counters.in_sessions) + " " +
                                           std::to_string(counters.dropped_sessions) + " " +
                                           std::to_string(counters.in_rpcs) + " " +
                                           std::to_string(counters.in_bad_rpcs) + " " +
                                           std::to_string(counters.out_rpc_errors));
}

std::optional<Operations::Clock::time_point> FakeOperations::NextDeadline() const {
  return later_.empty() ? std::nullopt : std::optional(later_.begin()->first);
}

void FakeOperations::Run() {
  while (!later_.empty() && later_.begin()->first <= Clock::now()) {
    const DoneFunction done = std::move(later_.extract(later_.begin()).mapped());
    done({});
  }
}

}  // namespace ncdm::netconf
