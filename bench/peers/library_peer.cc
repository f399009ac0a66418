#include "bench/peers/library_peer.h"

#include <chrono>
#include <stdexcept>
#include <utility>

namespace bench::peers {
namespace {

using namespace std::chrono_literals;
using ncdm::server::Answer;
using ncdm::server::EditElement;
using ncdm::server::EditSubtree;
using ncdm::server::ReadElement;
using ncdm::server::ReadOne;
using ncdm::server::Request;

constexpr const char* kAgent = "bench";
constexpr int kAliasLeaf = 3;

Model ListOf(std::int64_t entries) {
  Model model;
  model.depth = 1;
  model.entries = entries;
  model.leaves = kLeaves;
  return model;
}

std::vector<std::string> CommandOf(const Model& model) {
  std::vector<std::string> command = {BesideThis("bench-agent")};
  for (std::string& argument : model.ToArguments()) command.push_back(std::move(argument));
  return command;
}

}  // namespace

LibraryPeer::LibraryPeer(std::int64_t entries)
    : model_(ListOf(entries)),
      server_({.root = folder_.path(), .timeout = 120s}),
      application_(CommandOf(model_), {{"TMPDIR", folder_.path()}}, folder_.path() + "/log") {
  if (!server_.WaitForAgent(kAgent, 60s)) {
    application_.CheckRuns();
    throw std::runtime_error("bench-agent does not connect");
  }
  WaitUntilAnnounced();
  ReadList();
}

// Entries are announced by and by, once a second; what is measured shall not meet it.
void LibraryPeer::WaitUntilAnnounced() {
  std::uint64_t version = 0;
  while (version != server_.FindAgent(kAgent)->registry.version()) {
    version = server_.FindAgent(kAgent)->registry.version();
    server_.RunUntil([] { return false; }, 2500ms);
  }
}

Answer LibraryPeer::Ask(Request request) {
  Answer answer = server_.Call(kAgent, std::move(request));
  if (!answer.ok()) throw std::runtime_error("bench-agent: " + answer.error);
  return answer;
}

void LibraryPeer::ReadAlias(std::int64_t entry) {
  const Answer answer = Ask(
      ReadOne({model_.PortName() + "." + Model::LeafName(kAliasLeaf), {}, {Model::PortId(entry)}}));
  if (answer.values.size() != 1 || answer.values[0].value != kAlias) {
    throw std::runtime_error("bench-agent: another alias than expected");
  }
}

void LibraryPeer::WriteAlias(std::int64_t entry) {
  EditElement element;
  element.name = model_.PortName() + "." + Model::LeafName(kAliasLeaf);
  element.value = std::string(kAlias);
  element.ids = {Model::PortId(entry)};
  Ask(EditSubtree({element}));
}

void LibraryPeer::ReadList() {
  const Answer answer = Ask(ReadOne({model_.PortName(), {}, {}}));
  if (static_cast<std::int64_t>(answer.values.size()) != model_.entries * kLeaves) {
    throw std::runtime_error("bench-agent: " + std::to_string(answer.values.size()) +
                             " values in the list");
  }
}

}  // namespace bench::peers
