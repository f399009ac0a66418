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

std::set<std::string> Device::AgentsOf(const Mapping& mapping, const EditNode& edit) const {
  std::set<std::string> names;
  for (const auto& child : edit.children) {
    const auto below = AgentsOf(mapping, *child);
    if (below.empty()) {
      for (const AgentModel* agent : mapping.ServersOf(child->schema)) {
        names.insert(agent->name);
      }
    }
    names.insert(below.begin(), below.end());
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
  const auto turn = co_await turns_.Take(AgentsOf(*CurrentMapping(), edit));
  CheckLock(Datastore::kRunning, rpc.client);
  const auto mapping = CurrentMapping();
  CheckServed(*mapping, edit);
  Wanted part = ToRead(edit);
  ReadResult now = co_await ReadForChange(mapping, part);
  const bool go_on = parameters.on_error == OnError::kContinue;
  std::vector<RpcError> refused;
  Tree wanted = Edited(now.tree, edit, go_on ? &refused : nullptr);
  const Constraints::Affected affected =
      constraints_.AffectedBy(Compare(now.tree, wanted, kEverything));
  if (!affected.empty()) {
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
  co_await LoadCandidate();
  try {
    Tree wanted = datastores_.candidate->tree.Copy();
    ApplyEdit(edit, &wanted, parameters.on_error == OnError::kContinue ? errors : nullptr);
    if (parameters.test == Test::kTestThenSet || parameters.test == Test::kTestOnly) {
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
  for (const std::string& agent : writer.asked()) {
    agents_.Send(agent, server::Commit());
  }
}

Task<std::vector<RpcError>> Device::Undo(std::shared_ptr<const Mapping> mapping,
                                         const ReadResult& then, Wanted part, Compares compares,
                                         std::set<std::string> lost) {
  const ReadResult now = co_await Read(agents_, mapping, std::move(part), Content::kConfig, log_);
  for (const auto* failures : {&now.failed, &now.gone}) {
    for (const auto& [agent, error] : *failures) {
      lost.insert(agent);
    }
  }
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
  co_return errors;
}

Task<Tree> Device::ReplaceRunning(const Tree& wanted, const Tree* base,
                                  std::set<std::string> loaded) {
  const auto mapping = CurrentMapping();
  Wanted part = WantConfig(context_);
  ReadResult now = co_await Read(agents_, mapping, part, Content::kConfig, log_);
  // Agents whose data is not at hand are left alone, unless something of theirs is to change.
  std::set<std::string> usable;
  for (const auto& agent : mapping->agents()) {
    if (!now.failed.contains(agent->name) && !now.gone.contains(agent->name) &&
        loaded.contains(agent->name)) {
      usable.insert(agent->name);
    }
  }
  const Mapping& present = *mapping;
  const Compares compares = [&](const lysc_node* schema) {
    const auto servers = present.ServersOf(schema);
    return std::ranges::any_of(
        servers, [&](const AgentModel* agent) { return usable.contains(agent->name); });
  };
  const Compares others = [&](const lysc_node* schema) {
    return !compares(schema) || !IsTerm(schema);
  };
  const Tree none;
  const Difference missed = Compare(base == nullptr ? none : *base, wanted, others);
  for (const Change& change : missed.changes) {
    for (const lyd_node* leaf : change.leaves) {
      if (!compares(leaf->schema)) {
        ThrowFirst(now.failed);
        throw OperationFailed(NotServed(present, leaf->schema, InstancePath(leaf)));
      }
    }
    if (change.leaves.empty() && !compares(change.node->schema)) {
      ThrowFirst(now.failed);
      throw OperationFailed(NotServed(present, change.node->schema, InstancePath(change.node)));
    }
  }
  Tree checked = wanted.Copy();
  constraints_.Check(constraints_.AffectedBy(Compare(now.tree, checked, compares)), &checked,
                     ServedBy(mapping), [](const lyd_node*) { return false; });
  co_await ChangeRunning(mapping, now, checked, std::move(part), compares, nullptr);
  co_return std::move(now.tree);
}

// ---- The candidate ----

// Brings it to be, and what agents have that came since then.
Task<> Device::LoadCandidate() {
  auto mapping = CurrentMapping();
  std::set<std::string> loaded;
  if (datastores_.candidate) {
    loaded = datastores_.candidate->agents;
  }
  const bool has_new = std::ranges::any_of(
      mapping->agents(), [&](const auto& agent) { return !loaded.contains(agent->name); });
  if (datastores_.candidate && !has_new) {
    co_return;
  }
  ReadResult now = co_await Read(agents_, mapping, WantConfig(context_), Content::kConfig, log_);
  ThrowFirst(now.failed);
  if (!datastores_.candidate) {
    Candidate candidate;
    candidate.tree = now.tree.Copy();
    candidate.base = std::move(now.tree);
    datastores_.candidate = std::move(candidate);
  } else {
    Tree added = OnlyOfOthers(now.tree, *mapping, loaded);
    Tree tree = added.Copy();
    tree.Merge(std::move(datastores_.candidate->tree));
    datastores_.candidate->tree = std::move(tree);
    datastores_.candidate->base.Merge(std::move(added));
  }
  for (const auto& agent : mapping->agents()) {
    if (!now.gone.contains(agent->name)) {
      datastores_.candidate->agents.insert(agent->name);
    }
  }
}

Task<Tree> Device::ReadCandidate() {
  const auto turn = co_await turns_.TakeCandidate();
  if (!datastores_.candidate) {
    Wanted wanted = WantConfig(context_);
    co_return co_await ReadRunning(std::move(wanted), Content::kConfig);
  }
  co_await LoadCandidate();
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

Task<Reply> Device::Commit(const Rpc& rpc) {
  const CommitParameters parameters = ReadCommitParameters(rpc.operation);
  const auto turn = co_await turns_.TakeEverything();
  CheckLock(Datastore::kRunning, rpc.client);
  CheckLock(Datastore::kCandidate, rpc.client);
  CheckConfirming(rpc.client, parameters);
  Tree before;
  std::set<std::string> loaded;
  if (datastores_.candidate) {
    co_await LoadCandidate();
    loaded = datastores_.candidate->agents;
    before =
        co_await ReplaceRunning(datastores_.candidate->tree, &datastores_.candidate->base, loaded);
    ForgetCandidate();
  } else if (parameters.confirmed && !datastores_.confirmed) {
    Wanted wanted = WantConfig(context_);
    before = co_await ReadRunning(std::move(wanted), Content::kConfig);
    for (const auto& agent : CurrentMapping()->agents()) {
      loaded.insert(agent->name);
    }
  }
  if (!parameters.confirmed) {
    datastores_.confirmed.reset();
    co_return Reply{};
  }
  if (!datastores_.confirmed) {
    datastores_.confirmed = ConfirmedCommit{.before = std::move(before), .agents = loaded};
  }
  datastores_.confirmed->session_id = rpc.client.session_id;
  datastores_.confirmed->persist = parameters.persist;
  datastores_.confirmed->deadline = Clock::now() + parameters.timeout;
  co_return Reply{};
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
  co_await RollBack();
  co_return Reply{};
}

Task<> Device::RollBack() {
  if (!datastores_.confirmed) {
    co_return;
  }
  const ConfirmedCommit undone = std::move(*datastores_.confirmed);
  datastores_.confirmed.reset();
  const auto turn = co_await turns_.TakeEverything();
  try {
    co_await ReplaceRunning(undone.before, nullptr, undone.agents);
  } catch (const OperationFailed& failed) {
    Log("a commit that was not confirmed could not be undone: " + failed.errors().front().message);
    throw;
  }
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
      co_await LoadCandidate();
      datastores_.candidate->tree = std::move(config);
    }
    co_return Reply{};
  }
  if (!source.config && !datastores_.candidate) {
    co_return Reply{};  // they are the same
  }
  co_await LoadCandidate();
  const std::set<std::string> loaded = datastores_.candidate->agents;
  if (source.config) {
    co_await ReplaceRunning(config, nullptr, loaded);
  } else {
    co_await ReplaceRunning(datastores_.candidate->tree, &datastores_.candidate->base, loaded);
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
    tree = co_await ReadCandidate();
  } else {
    Wanted wanted = WantConfig(context_);
    tree = co_await ReadRunning(std::move(wanted), Content::kConfig);
  }
  CheckWhole(&tree, static_cast<bool>(source.config));
  co_return Reply{};
}

}  // namespace ncdm::netconf
