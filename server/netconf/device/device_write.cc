// The operations that change a datastore.
#include <algorithm>
#include <functional>
#include <utility>

#include "server/netconf/device/constraints.h"
#include "server/netconf/device/device.h"
#include "server/netconf/device/rpc_errors.h"

namespace ncdm::netconf {
namespace {

using OnError = EditParameters::OnError;
using Test = EditParameters::Test;

void Append(std::vector<RpcError>* all, const std::vector<RpcError>& more) {
  all->insert(all->end(), more.begin(), more.end());
}

Wanted WantConfig(const YangContext& context) { return WantAll(context); }

// What agents have that are not among `names`.
Tree OnlyOfOthers(const Tree& tree, const Mapping& mapping, const std::set<std::string>& names) {
  Tree others = tree.Copy();
  const std::function<void(lyd_node*)> prune = [&](lyd_node* first) {
    ForEachSibling(first, [&](lyd_node* node) {
      const auto servers = mapping.ServersOf(node->schema);
      if (!IsKey(node->schema) && std::ranges::all_of(servers, [&](const AgentModel* agent) {
            return names.contains(agent->name);
          })) {
        others.Free(node);
      } else {
        prune(lyd_child(node));
      }
    });
  };
  prune(others.first());
  return others;
}

const Compares kEverything = [](const lysc_node*) { return true; };

std::set<std::string> Without(std::set<std::string> names, const std::set<std::string>& others) {
  std::erase_if(names, [&](const std::string& name) { return others.contains(name); });
  return names;
}

std::set<std::string> NamesIn(const std::map<std::string, RpcError>& failures) {
  std::set<std::string> names;
  for (const auto& [name, error] : failures) {
    names.insert(name);
  }
  return names;
}

Tree Edited(const Tree& tree, const EditNode& edit, std::vector<RpcError>* errors) {
  Tree edited = tree.Copy();
  ApplyEdit(edit, &edited, errors);
  return edited;
}

void ThrowFirst(const std::map<std::string, RpcError>& failures) {
  if (!failures.empty()) {
    throw OperationFailed(failures.begin()->second);
  }
}

}  // namespace

// ---- What can be served ----

RpcError Device::NotServed(const Mapping& mapping, const lysc_node* node,
                           const InstancePath& path) const {
  const bool module_is_served = std::ranges::any_of(mapping.agents(), [&](const auto& agent) {
    return std::ranges::any_of(
        agent->registered, [&](const auto& entry) { return entry.first->module == node->module; });
  });
  return module_is_served && !known_.contains(node)
             ? At(ApplicationError("operation-not-supported", "no application serves this"), path)
             : At(ApplicationError("operation-failed", "the application that serves this is away"),
                  path);
}

void Device::CheckServed(const Mapping& mapping, const EditNode& edit) {
  for (const auto& child : edit.children) {
    if (!mapping.IsServed(child->schema)) {
      throw OperationFailed(NotServed(mapping, child->schema, child->Path()));
    }
    CheckServed(mapping, *child);
  }
}

Wanted Device::PartOf(const EditNode& edit) const {
  return edit.operation == EditOperation::kReplace ? WantConfig(context_) : ToRead(edit);
}

std::set<std::string> Device::AllAgents() {
  std::set<std::string> names;
  const auto mapping = CurrentMapping();
  for (const auto& agent : mapping->agents()) {
    names.insert(agent->name);
  }
  return names;
}

// ---- edit-config ----

Task<Reply> Device::EditConfig(const Rpc& rpc) {
  const EditParameters parameters = ReadEditParameters(rpc.operation);
  CheckLock(parameters.target, rpc.client);
  const auto edit = ParseEdit(context_, parameters.config, parameters.default_operation);
  Reply reply;
  if (parameters.target == Datastore::kRunning) {
    co_await EditRunning(rpc, parameters, *edit, &reply.errors);
  } else {
    co_await EditCandidate(rpc, parameters, *edit, &reply.errors);
  }
  co_return reply;
}

Task<> Device::EditRunning(const Rpc& rpc, const EditParameters& parameters, const EditNode& edit,
                           std::vector<RpcError>* errors) {
  std::set<std::string> names = AgentsOf(*CurrentMapping(), PartOf(edit));
  for (bool is_done = false; !is_done;) {
    const auto turn = co_await turns_.Take(names);
    const std::size_t count = names.size();
    co_await EditInTurn(rpc, parameters, edit, &names, errors);
    is_done = names.size() == count;
  }
}

Task<> Device::EditInTurn(const Rpc& rpc, const EditParameters& parameters, const EditNode& edit,
                          std::set<std::string>* names, std::vector<RpcError>* errors) {
  CheckLock(Datastore::kRunning, rpc.client);
  const auto mapping = CurrentMapping();
  CheckServed(*mapping, edit);
  Wanted part = PartOf(edit);
  ReadResult now = co_await ReadForChange(mapping, part);
  const bool go_on = parameters.on_error == OnError::kContinue;
  std::vector<RpcError> refused;
  Tree wanted = Edited(now.tree, edit, go_on ? &refused : nullptr);
  const Constraints::Affected affected =
      constraints_.AffectedBy(Compare(now.tree, wanted, kEverything));
  if (!affected.empty()) {
    const auto more = Without(AgentsOf(*mapping, affected.to_read()), *names);
    if (!more.empty()) {
      names->insert(more.begin(), more.end());
      co_return;
    }
    part.Add(affected.to_read());
    now = co_await ReadForChange(mapping, part);
    refused.clear();
    wanted = Edited(now.tree, edit, go_on ? &refused : nullptr);
    constraints_.Check(affected, &wanted, ServedBy(mapping),
                       [&](const lyd_node* node) { return Sets(edit, node); });
  }
  *errors = refused;
  if (parameters.test != Test::kTestOnly) {
    co_await ChangeRunning(
        mapping, now, wanted, part, [](const lysc_node*) { return true; },
        go_on ? errors : nullptr);
  }
}

Task<ReadResult> Device::ReadForChange(std::shared_ptr<const Mapping> mapping, Wanted part) {
  ReadResult now =
      co_await Read(agents_, std::move(mapping), std::move(part), Content::kConfig, log_);
  ThrowFirst(now.failed);
  ThrowFirst(now.gone);
  co_return std::move(now);
}

IsServed Device::ServedBy(const std::shared_ptr<const Mapping>& mapping) const {
  return [mapping](const lysc_node* node) { return mapping->IsServed(node); };
}

void Device::CheckWhole(Tree* tree, bool is_given) {
  constraints_.Check(constraints_.All(), tree, ServedBy(CurrentMapping()),
                     [is_given](const lyd_node*) { return is_given; });
}

Task<> Device::EditCandidate(const Rpc& rpc, const EditParameters& parameters, const EditNode& edit,
                             std::vector<RpcError>* errors) {
  const auto turn = co_await turns_.TakeCandidate();
  CheckLock(Datastore::kCandidate, rpc.client);
  CheckServed(*CurrentMapping(), edit);
  const bool was_changed = datastores_.candidate.has_value();
  const bool is_tested =
      parameters.test == Test::kTestThenSet || parameters.test == Test::kTestOnly;
  std::set<std::string> names = is_tested ? AllAgents() : AgentsOf(*CurrentMapping(), PartOf(edit));
  co_await LoadCandidate(std::move(names));
  try {
    // A default that is reported can be deleted and cannot be created (RFC 6243, section 2.1).
    Tree wanted = datastores_.candidate->tree.Copy();
    ReportDefaults(&wanted);
    ApplyEdit(edit, &wanted, parameters.on_error == OnError::kContinue ? errors : nullptr);
    wanted.DropDefaults();
    if (is_tested) {
      CheckWhole(&wanted, false);
    }
    if (parameters.test != Test::kTestOnly) {
      datastores_.candidate->tree = std::move(wanted);
      co_return;
    }
  } catch (const OperationFailed&) {
    if (!was_changed) {
      ForgetCandidate();
    }
    throw;
  }
  if (!was_changed) {
    ForgetCandidate();
  }
}

// ---- Changing running ----

Task<> Device::ChangeRunning(std::shared_ptr<const Mapping> mapping, const ReadResult& now,
                             const Tree& wanted, Wanted part, Compares compares,
                             std::vector<RpcError>* errors) {
  const Difference difference = Compare(now.tree, wanted, compares);
  if (difference.changes.empty()) {
    co_return;
  }
  Writer writer(agents_, *mapping, difference, now.ids);
  co_await writer.Run(errors != nullptr);
  if (writer.errors().empty() || errors != nullptr) {
    co_await writer.Verify();
  }
  if (!writer.errors().empty() && errors == nullptr) {
    std::vector<RpcError> failures = writer.errors();
    Append(&failures, co_await Undo(mapping, now, std::move(part), compares, writer.lost()));
    throw OperationFailed(std::move(failures));
  }
  if (errors != nullptr) {
    Append(errors, writer.errors());
  }
  for (const std::string& agent : writer.changed()) {
    agents_.Send(agent, server::Commit());
  }
}

Task<std::vector<RpcError>> Device::Undo(std::shared_ptr<const Mapping> mapping,
                                         const ReadResult& then, Wanted part, Compares compares,
                                         std::set<std::string> lost) {
  const ReadResult now = co_await Read(agents_, mapping, part, Content::kConfig, log_);
  lost.merge(NamesIn(now.failed));
  lost.merge(NamesIn(now.gone));
  const Difference difference = Compare(now.tree, then.tree, compares);
  Writer writer(agents_, *mapping, difference, now.ids);
  writer.Exclude(lost);
  co_await writer.Run(true);
  std::vector<RpcError> errors;
  for (const std::string& agent : lost) {
    errors.push_back(ApplicationError(
        "rollback-failed", "what agent '" + agent + "' had done could not be taken back"));
  }
  for (const RpcError& refused : writer.errors()) {
    RpcError error = refused;
    error.tag = "rollback-failed";
    error.info.clear();
    errors.push_back(std::move(error));
  }
  if (errors.empty() && !difference.changes.empty()) {
    errors = co_await LeftBehind(std::move(mapping), then, std::move(part), std::move(compares));
  }
  co_return errors;
}

// An agent accepts what it does nothing for.
Task<std::vector<RpcError>> Device::LeftBehind(std::shared_ptr<const Mapping> mapping,
                                               const ReadResult& then, Wanted part,
                                               Compares compares) {
  const ReadResult now =
      co_await Read(agents_, std::move(mapping), std::move(part), Content::kConfig, log_);
  std::vector<RpcError> errors;
  const Difference difference = Compare(now.tree, then.tree, compares);
  for (const Change& change : difference.changes) {
    const lyd_node* node = change.leaves.empty() ? change.node : change.leaves.front();
    errors.push_back(At(ApplicationError("rollback-failed", "this could not be taken back"),
                        InstancePath(node)));
  }
  co_return errors;
}

void Device::CheckReachable(const Mapping& mapping, const Tree& base, const Tree& wanted,
                            const Compares& compares,
                            const std::map<std::string, RpcError>& failed) const {
  const Compares others = [&](const lysc_node* schema) {
    return !compares(schema) || !IsTerm(schema);
  };
  const Difference missed = Compare(base, wanted, others);
  for (const Change& change : missed.changes) {
    std::vector<const lyd_node*> nodes = change.leaves;
    if (nodes.empty()) {
      nodes.push_back(change.node);
    }
    for (const lyd_node* node : nodes) {
      if (!compares(node->schema)) {
        ThrowFirst(failed);
        throw OperationFailed(NotServed(mapping, node->schema, InstancePath(node)));
      }
    }
  }
}

Task<Device::Replaced> Device::ReplaceRunning(const Tree& wanted, const Tree* base,
                                              std::set<std::string> loaded) {
  const auto mapping = CurrentMapping();
  const Mapping& present = *mapping;
  Wanted part = WantConfig(context_);
  Tree checked = wanted.Copy();
  ReadResult now;
  Compares compares;
  Constraints::Affected affected;
  std::set<std::string> usable;
  for (bool is_enough = false; !is_enough;) {
    now = co_await Read(agents_, mapping, part, Content::kConfig, log_, loaded);
    // Agents whose data is not at hand are left alone, unless something of theirs is to change.
    usable = Without(Without(loaded, NamesIn(now.failed)), NamesIn(now.gone));
    compares = [&present, usable](const lysc_node* schema) {
      return std::ranges::any_of(present.ServersOf(schema), [&](const AgentModel* agent) {
        return usable.contains(agent->name);
      });
    };
    if (base == nullptr) {
      ThrowFirst(now.failed);
    }
    const Tree none;
    CheckReachable(present, base == nullptr ? none : *base, wanted, compares, now.failed);
    affected = constraints_.AffectedBy(Compare(now.tree, checked, compares));
    // What the constraints look at may be other agents'.
    const auto more = Without(AgentsOf(present, affected.to_read()), loaded);
    is_enough = more.empty();
    if (!is_enough) {
      ReadResult there = co_await Read(agents_, mapping, part, Content::kConfig, log_, more);
      ThrowFirst(there.failed);
      Tree tree = OnlyOfOthers(there.tree, present, loaded);
      tree.Merge(std::move(checked));
      checked = std::move(tree);
      loaded.insert(more.begin(), more.end());
    }
  }
  constraints_.Check(affected, &checked, ServedBy(mapping), [](const lyd_node*) { return false; });
  co_await ChangeRunning(mapping, now, checked, std::move(part), compares, nullptr);
  co_return Replaced{std::move(now.tree), std::move(checked), std::move(usable)};
}

// ---- The candidate ----

// Brings it to be, with what these agents have as far as it is not in it yet.
Task<> Device::LoadCandidate(std::set<std::string> names) {
  const auto mapping = CurrentMapping();
  std::set<std::string> loaded;
  if (datastores_.candidate) {
    loaded = datastores_.candidate->agents;
    names = Without(std::move(names), loaded);
    if (names.empty()) {
      co_return;
    }
  }
  ReadResult now =
      co_await Read(agents_, mapping, WantConfig(context_), Content::kConfig, log_, names);
  ThrowFirst(now.failed);
  if (!datastores_.candidate) {
    datastores_.candidate.emplace();
  }
  Candidate& candidate = *datastores_.candidate;
  Tree added = loaded.empty() ? std::move(now.tree) : OnlyOfOthers(now.tree, *mapping, loaded);
  Tree tree = added.Copy();
  tree.Merge(std::move(candidate.tree));
  candidate.tree = std::move(tree);
  candidate.base.Merge(std::move(added));
  for (const std::string& name : names) {
    if (!now.gone.contains(name)) {
      candidate.agents.insert(name);
    }
  }
}

Task<Tree> Device::ReadCandidate(Wanted wanted) {
  const auto turn = co_await turns_.TakeCandidate();
  std::set<std::string> names = AgentsOf(*CurrentMapping(), wanted);
  if (!datastores_.candidate) {
    co_return co_await ReadRunning(std::move(wanted), Content::kConfig);
  }
  co_await LoadCandidate(std::move(names));
  co_return datastores_.candidate->tree.Copy();
}

void Device::ReportDefaults(Tree* tree) {
  const auto mapping = CurrentMapping();
  tree->AddDefaults(context_.get());
  const std::function<void(lyd_node*)> prune = [&](lyd_node* first) {
    ForEachSibling(first, [&](lyd_node* node) {
      if ((node->flags & LYD_DEFAULT) != 0 && !mapping->IsServed(node->schema)) {
        tree->Free(node);
      } else {
        prune(lyd_child(node));
      }
    });
  };
  prune(tree->first());
}

// ---- commit ----

std::set<std::string> Device::AgentsOfCommit(bool is_confirmed) {
  // What a confirmed commit goes back to is all of running.
  if (is_confirmed || datastores_.confirmed) {
    return AllAgents();
  }
  if (!datastores_.candidate) {
    return {};
  }
  const Candidate& candidate = *datastores_.candidate;
  const Difference difference = Compare(candidate.base, candidate.tree, kEverything);
  std::set<std::string> names =
      AgentsOf(*CurrentMapping(), constraints_.AffectedBy(difference).to_read());
  names.insert(candidate.agents.begin(), candidate.agents.end());
  return names;
}

Task<Reply> Device::Commit(const Rpc& rpc) {
  const CommitParameters parameters = ReadCommitParameters(rpc.operation);
  for (;;) {
    const std::set<std::string> names = AgentsOfCommit(parameters.confirmed);
    const auto turn = co_await turns_.TakeCandidateAnd(names);
    // Others had their turns before.
    if (std::ranges::includes(names, AgentsOfCommit(parameters.confirmed))) {
      co_await CommitCandidate(rpc, parameters);
      co_return Reply{};
    }
  }
}

Task<> Device::CommitCandidate(const Rpc& rpc, const CommitParameters& parameters) {
  CheckLock(Datastore::kRunning, rpc.client);
  CheckLock(Datastore::kCandidate, rpc.client);
  CheckConfirming(rpc.client, parameters);
  Replaced replaced;
  if (datastores_.candidate) {
    if (parameters.confirmed) {
      co_await LoadCandidate(AllAgents());
    }
    const Candidate& candidate = *datastores_.candidate;
    replaced = co_await ReplaceRunning(candidate.tree, &candidate.base, candidate.agents);
    ForgetCandidate();
  } else if (parameters.confirmed && !datastores_.confirmed) {
    replaced.agents = AllAgents();
    ReadResult now =
        co_await Read(agents_, CurrentMapping(), WantConfig(context_), Content::kConfig, log_);
    ThrowFirst(now.failed);
    replaced.agents = Without(std::move(replaced.agents), NamesIn(now.gone));
    replaced.after = now.tree.Copy();
    replaced.before = std::move(now.tree);
  }
  if (parameters.confirmed) {
    NoteConfirmed(rpc, parameters, std::move(replaced));
  } else {
    datastores_.confirmed.reset();
  }
}

void Device::NoteConfirmed(const Rpc& rpc, const CommitParameters& parameters, Replaced replaced) {
  auto& confirmed = datastores_.confirmed;
  if (!confirmed) {
    confirmed = ConfirmedCommit{.number = ++confirmed_commits_,
                                .before = std::move(replaced.before),
                                .after = std::move(replaced.after),
                                .agents = std::move(replaced.agents)};
  } else if (!replaced.agents.empty()) {
    // Running goes back behind both.
    confirmed->before.Merge(OnlyOfOthers(replaced.before, *CurrentMapping(), confirmed->agents));
    confirmed->after = std::move(replaced.after);
    confirmed->agents.merge(replaced.agents);
  }
  confirmed->session_id = rpc.client.session_id;
  confirmed->persist = parameters.persist;
  confirmed->deadline = Clock::now() + parameters.timeout;
}

// One that waits is confirmed by its own session, or by who knows its <persist>.
void Device::CheckConfirming(const Client& client, const CommitParameters& parameters) const {
  const auto& confirmed = datastores_.confirmed;
  if (parameters.persist && !parameters.confirmed) {
    throw OperationFailed(
        ElementError("bad-element", "persist", "only a confirmed commit can persist"));
  }
  if (!confirmed || (parameters.persist_id && !confirmed->persist)) {
    if (parameters.persist_id) {
      throw OperationFailed(
          ElementError("invalid-value", "persist-id", "no commit with this id waits"));
    }
    return;
  }
  if (parameters.persist_id) {
    if (*parameters.persist_id != *confirmed->persist) {
      throw OperationFailed(
          ElementError("invalid-value", "persist-id", "no commit with this id waits"));
    }
  } else if (confirmed->persist) {
    throw OperationFailed(
        ElementError("invalid-value", "persist-id", "the commit that waits has an id"));
  } else if (confirmed->session_id != client.session_id) {
    throw OperationFailed(ApplicationError("in-use", "another session's commit waits"));
  }
}

Task<Reply> Device::CancelCommit(const Rpc& rpc) {
  CheckParameters(rpc.operation, {"persist-id"});
  CommitParameters parameters;
  if (const Element id = rpc.operation.Child("persist-id", kBaseNamespace)) {
    parameters.persist_id = id.Text();
  }
  if (!datastores_.confirmed) {
    throw OperationFailed(ApplicationError("operation-failed", "no commit waits"));
  }
  CheckConfirming(rpc.client, parameters);
  co_await RollBack(datastores_.confirmed->number, IfItFails::kWaitsOn);
  co_return Reply{};
}

Task<> Device::RollBack(std::uint64_t number, IfItFails then) {
  const auto turn = co_await turns_.TakeEverything();
  if (!datastores_.confirmed || datastores_.confirmed->number != number) {
    co_return;
  }
  const ConfirmedCommit& undone = *datastores_.confirmed;
  try {
    co_await ReplaceRunning(undone.before, &undone.after, undone.agents);
  } catch (const std::exception& error) {
    if (then == IfItFails::kStands) {
      Log(std::string("a commit that was not confirmed could not be undone, and stands: ") +
          error.what());
      datastores_.confirmed.reset();
    }
    throw;
  }
  datastores_.confirmed.reset();
}

// ---- copy-config, validate ----

Task<Reply> Device::CopyConfig(const Rpc& rpc) {
  CheckParameters(rpc.operation, {"target", "source"}, true);
  const Datastore target = ReadDatastore(rpc.operation, "target");
  const Location source = ReadLocation(rpc.operation, "source", true);
  if (source.datastore == target) {
    throw OperationFailed(netconf::ProtocolError("invalid-value", "source and target are one"));
  }
  CheckLock(target, rpc.client);
  Tree config;
  if (source.config) {
    const auto edit = ParseEdit(context_, source.config, EditOperation::kMerge);
    CheckServed(*CurrentMapping(), *edit);
    ApplyEdit(*edit, &config, nullptr);
  }
  const auto turn = co_await turns_.TakeEverything();
  CheckLock(target, rpc.client);
  if (target == Datastore::kCandidate) {
    ForgetCandidate();
    if (source.config) {
      co_await LoadCandidate(AllAgents());
      datastores_.candidate->tree = std::move(config);
    }
    co_return Reply{};
  }
  if (source.config) {
    co_await ReplaceRunning(config, nullptr, AllAgents());
  } else if (datastores_.candidate) {  // else they are the same
    const Candidate& candidate = *datastores_.candidate;
    co_await ReplaceRunning(candidate.tree, &candidate.base, candidate.agents);
  }
  co_return Reply{};
}

Task<Reply> Device::Validate(const Rpc& rpc) {
  CheckParameters(rpc.operation, {"source"});
  const Location source = ReadLocation(rpc.operation, "source", true);
  Tree tree;
  if (source.config) {
    const auto edit = ParseEdit(context_, source.config, EditOperation::kMerge);
    ApplyEdit(*edit, &tree, nullptr);
  } else if (source.datastore == Datastore::kCandidate && datastores_.candidate) {
    tree = co_await ReadCandidate(WantConfig(context_));
  } else {
    Wanted wanted = WantConfig(context_);
    tree = co_await ReadRunning(std::move(wanted), Content::kConfig);
  }
  CheckWhole(&tree, static_cast<bool>(source.config));
  co_return Reply{};
}

}  // namespace ncdm::netconf
