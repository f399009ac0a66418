#include "server/netconf/device/write.h"

#include <algorithm>
#include <iterator>
#include <unordered_set>

#include "server/instance_path.h"

namespace ncdm::netconf {
namespace {

using server::EditElement;
using server::Ids;
using server::Operation;
using server::SchemaNode;

// The values that were read, by path; of a leaf-list without its values' ids.
using Values = std::unordered_multimap<std::string, std::string>;

std::string WithoutElementId(const std::string& path) {
  const std::size_t dot = path.rfind('.');
  return server::IsNumber(std::string_view(path).substr(dot + 1)) ? path.substr(0, dot) : path;
}

}  // namespace

Task<> Writer::Run(bool go_on) {
  const std::vector<Change>& changes = difference_.changes;
  for (auto begin = changes.begin(); begin != changes.end();) {
    const auto end = EndOfBatch(begin);
    std::vector<Task<>> tasks;
    std::transform(begin, end, std::back_inserter(tasks),
                   [this](const Change& change) { return Carry(change); });
    co_await WhenAll(&tasks);
    for (Task<>& task : tasks) {
      try {
        task.Take();
      } catch (const OperationFailed& failed) {
        errors_.insert(errors_.end(), failed.errors().begin(), failed.errors().end());
        if (!go_on) {
          co_return;
        }
      }
    }
    begin = end;
  }
}

// Of new entries of one list, and of leaves in its entries, none needs another one's answer, and
// waiting for each costs more than carrying it out. Deletions go one by one: nothing is deleted
// behind one that is refused, because what comes back is another entry.
Writer::ChangeIterator Writer::EndOfBatch(ChangeIterator begin) const {
  const auto belongs = [&](const Change& change) {
    return change.kind == begin->kind && change.node != nullptr &&
           change.node->schema == begin->node->schema &&
           lyd_parent(change.node) == lyd_parent(begin->node);
  };
  auto end = std::next(begin);
  if (begin->deletes() || begin->node == nullptr) {
    return end;
  }
  while (end != difference_.changes.end() &&
         static_cast<std::size_t>(end - begin) < server::RequestQueue::kMaxPipelined &&
         belongs(*end)) {
    ++end;
  }
  return end;
}

Task<> Writer::Carry(const Change& change) {
  switch (change.kind) {
    case Change::Kind::kDeleteEntry:
      return DeleteEntry(change.node);
    case Change::Kind::kCreateEntry:
      return CreateEntry(change);
    case Change::Kind::kDeleteLeaves:
      return EditLeaves(change, Operation::kDelete);
    case Change::Kind::kWriteLeaves:
      break;
  }
  return EditLeaves(change, Operation::kMerge);
}

Ids Writer::IdsOf(const lyd_node* node, const AgentModel& agent) const {
  Ids ids;
  for (; node != nullptr; node = lyd_parent(node)) {
    if (node->schema->nodetype != LYS_LIST) {
      continue;
    }
    if (const auto created = new_ids_.find(node); created != new_ids_.end()) {
      const auto own = created->second.find(&agent);
      if (own != created->second.end()) {
        ids.insert(ids.begin(), own->second);
        continue;
      }
    }
    const auto old_entry = difference_.old_entries.find(node);
    const auto rest =
        ids_.Of(old_entry == difference_.old_entries.end() ? node : old_entry->second, &agent);
    if (!rest) {
      throw OperationFailed(
          At(ApplicationError("operation-failed", "the application does not have this entry"),
             InstancePath(node)));
    }
    ids.insert(ids.begin(), rest->begin(), rest->end());
    break;
  }
  return ids;
}

Task<> Writer::Send(const AgentModel& agent, server::Request request, const lyd_node* where,
                    std::int64_t* instance) {
  request.pipelined = true;
  const server::Answer answer = co_await agents_.Call(agent.name, std::move(request));
  if (answer.ok()) {
    changed_.insert(agent.name);
    if (instance != nullptr) {
      *instance = answer.instance;
    }
    co_return;
  }
  if (answer.outcome != server::Outcome::kFault) {
    lost_.insert(agent.name);
  }
  InstancePath path(where);
  const std::string name = FaultName(answer);
  const lysc_node* child = nullptr;
  if (!name.empty()) {
    ForEachChild(where == nullptr ? nullptr : where->schema,
                 where == nullptr ? nullptr : where->schema->module,
                 [&](const lysc_node* candidate) {
                   if (name == candidate->name) {
                     child = candidate;
                   }
                 });
  }
  if (child != nullptr) {
    path.Enter(child);
  }
  throw OperationFailed(At(FailureError(answer), path));
}

namespace {

// The elements that name an entry. Throws OperationFailed where the agent's keys are others than
// the model's.
std::vector<EditElement> KeyElements(const AgentModel& agent, const lyd_node* entry,
                                     const Ids& outer, Operation operation) {
  if (!HasKeysOfModel(agent, entry->schema)) {
    throw OperationFailed(
        At(ApplicationError("operation-not-supported",
                            "the application's entries have other keys than the model's"),
           InstancePath(entry)));
  }
  std::vector<EditElement> elements;
  for (const SchemaNode* key : agent.Registered(entry->schema)->Keys()) {
    elements.push_back({.name = key->Path(),
                        .value = ValueOf(Find(lyd_child(entry), agent.Yang(key))),
                        .ids = outer,
                        .key = key->key_flag(),
                        .operation = operation});
  }
  return elements;
}

}  // namespace

Task<> Writer::DeleteEntry(const lyd_node* entry) {
  for (const AgentModel* agent : mapping_.ServersOf(entry->schema)) {
    if (excluded_.contains(agent->name) || !ids_.Of(entry, agent)) {
      continue;
    }
    Ids outer = IdsOf(entry, *agent);
    outer.pop_back();
    const auto elements = KeyElements(*agent, entry, outer, Operation::kDelete);
    co_await Send(*agent, server::EditEntry(elements), entry, nullptr);
  }
}

// Those that the entry has to be created at: who owns its keys, and who has leaves in it.
std::vector<const AgentModel*> Writer::AgentsOf(const lyd_node* entry,
                                                const std::vector<const lyd_node*>& leaves) const {
  std::vector<const AgentModel*> agents;
  for (const AgentModel* agent : mapping_.ServersOf(entry->schema)) {
    const auto owns = [&](const lyd_node* leaf) { return mapping_.OwnerOf(leaf->schema) == agent; };
    const bool owns_keys = std::ranges::any_of(KeysOf(entry->schema), [&](const lysc_node* key) {
      return mapping_.OwnerOf(key) == agent;
    });
    if (owns_keys || std::ranges::any_of(leaves, owns)) {
      agents.push_back(agent);
    }
  }
  return agents;
}

Task<> Writer::CreateEntry(const Change& change) {
  for (const AgentModel* agent : AgentsOf(change.node, change.leaves)) {
    if (excluded_.contains(agent->name)) {
      continue;
    }
    const Ids outer = IdsOf(lyd_parent(change.node), *agent);
    auto elements = KeyElements(*agent, change.node, outer, Operation::kCreate);
    // The agent applies an entry's slotted leaves together with its keys; the others are written
    // to the instance once its id is known.
    Change later{.kind = Change::Kind::kWriteLeaves, .node = change.node};
    std::vector<const lyd_node*> together;
    for (const lyd_node* leaf : change.leaves) {
      const SchemaNode* registered = agent->Registered(leaf->schema);
      if (registered == nullptr) {
        continue;
      }
      if (registered->has_slot() && !registered->is_leaf_list()) {
        elements.push_back({.name = registered->Path(),
                            .value = ValueOf(leaf),
                            .ids = outer,
                            .operation = Operation::kCreate});
        together.push_back(leaf);
      } else {
        later.leaves.push_back(leaf);
      }
    }
    std::int64_t instance = 0;
    co_await Send(*agent, server::EditEntry(elements), change.node, &instance);
    new_ids_[change.node][agent] = instance;
    Ids ids = outer;
    ids.push_back(instance);
    for (const lyd_node* leaf : together) {
      NoteWritten(*agent, leaf, nullptr, ids);
    }
    if (!later.leaves.empty()) {
      co_await SendLeaves(*agent, later, Operation::kMerge);
    }
  }
}

std::vector<Writer::Part> Writer::ByAgent(const Change& change) const {
  std::vector<Part> parts;
  for (std::size_t i = 0; i < change.leaves.size(); ++i) {
    const AgentModel* owner = mapping_.OwnerOf(change.leaves[i]->schema);
    if (owner == nullptr) {
      throw OperationFailed(
          At(ApplicationError("operation-failed", "no application serves this now"),
             InstancePath(change.leaves[i])));
    }
    auto known = std::ranges::find(parts, owner, &Part::first);
    if (known == parts.end()) {
      known = parts.insert(known, {owner, Change{.kind = change.kind, .node = change.node}});
    }
    Change& part = known->second;
    part.leaves.push_back(change.leaves[i]);
    if (!change.old_leaves.empty()) {
      part.old_leaves.push_back(change.old_leaves[i]);
    }
  }
  return parts;
}

Task<> Writer::EditLeaves(const Change& change, Operation operation) {
  const auto parts = ByAgent(change);
  for (const auto& [agent, part] : parts) {
    if (excluded_.contains(agent->name)) {
      continue;
    }
    if (operation == Operation::kDelete) {
      co_await DeleteLeaves(*agent, part);
    } else {
      co_await SendLeaves(*agent, part, operation);
    }
  }
}

namespace {

std::string DefaultOf(const lysc_node* schema) {
  const auto* leaf = reinterpret_cast<const lysc_node_leaf*>(schema);
  return schema->nodetype != LYS_LEAF || leaf->dflt == nullptr
             ? std::string()
             : lyd_value_get_canonical(schema->module->ctx, leaf->dflt);
}

bool HasDefault(const lysc_node* schema) {
  return schema->nodetype == LYS_LEAF &&
         reinterpret_cast<const lysc_node_leaf*>(schema)->dflt != nullptr;
}

}  // namespace

// An application need not know how to delete a leaf that has a default: giving it that is the same.
Task<> Writer::DeleteLeaves(const AgentModel& agent, const Change& change) {
  Change others{.kind = change.kind, .node = change.node};
  Change defaulted = others;
  for (const lyd_node* leaf : change.leaves) {
    (HasDefault(leaf->schema) ? defaulted : others).leaves.push_back(leaf);
  }
  if (!defaulted.leaves.empty()) {
    bool refused = false;
    try {
      co_await SendLeaves(agent, defaulted, Operation::kDelete);
    } catch (const OperationFailed&) {
      if (lost_.contains(agent.name)) {
        throw;
      }
      refused = true;
    }
    if (refused) {
      std::vector<EditElement> elements;
      const Ids ids = IdsOf(change.node, agent);
      for (const lyd_node* leaf : defaulted.leaves) {
        elements.push_back({.name = agent.Registered(leaf->schema)->Path(),
                            .value = DefaultOf(leaf->schema),
                            .ids = ids});
      }
      co_await Send(agent, server::EditSubtree(elements), change.node, nullptr);
    }
  }
  if (!others.leaves.empty()) {
    co_await SendLeaves(agent, others, Operation::kDelete);
  }
}

Task<> Writer::SendLeaves(const AgentModel& agent, const Change& change, Operation operation) {
  const Ids ids = IdsOf(change.node, agent);
  std::vector<EditElement> elements;
  for (const lyd_node* leaf : change.leaves) {
    const SchemaNode* registered = agent.Registered(leaf->schema);
    EditElement element{.name = registered->Path(), .ids = ids, .operation = operation};
    if (operation != Operation::kDelete || registered->is_leaf_list()) {
      element.value = ValueOf(leaf);
    }
    elements.push_back(std::move(element));
  }
  co_await Send(agent, server::EditSubtree(elements), change.node, nullptr);
  if (operation != Operation::kDelete) {
    for (std::size_t i = 0; i < change.leaves.size(); ++i) {
      NoteWritten(agent, change.leaves[i],
                  change.old_leaves.empty() ? nullptr : change.old_leaves[i], ids);
    }
  }
}

void Writer::NoteWritten(const AgentModel& agent, const lyd_node* leaf, const lyd_node* old_leaf,
                         const Ids& ids) {
  const SchemaNode* registered = agent.Registered(leaf->schema);
  written_[&agent].push_back({server::PathWithIds(*registered, ids),
                              {.name = registered->Path(), .ids = ids},
                              leaf,
                              old_leaf});
}

Task<> Writer::Verify() {
  constexpr std::size_t kAtOnce = 16384;
  for (const auto& [agent, written] : written_) {
    for (std::size_t begin = 0; begin < written.size(); begin += kAtOnce) {
      const std::size_t end = std::min(begin + kAtOnce, written.size());
      const std::vector<Written> part(written.begin() + static_cast<std::ptrdiff_t>(begin),
                                      written.begin() + static_cast<std::ptrdiff_t>(end));
      co_await VerifyPart(*agent, part);
    }
  }
}

Task<> Writer::VerifyPart(const AgentModel& agent, const std::vector<Written>& part) {
  std::unordered_set<std::string> paths;  // a leaf-list is read once, whatever it got
  std::vector<server::ReadElement> elements;
  for (const Written& one : part) {
    if (paths.insert(one.path).second) {
      elements.push_back(one.element);
    }
  }
  const server::Answer answer = co_await agents_.Call(agent.name, server::ReadValues(elements));
  if (answer.ok()) {
    CheckWritten(part, answer.values);
  } else {
    lost_.insert(agent.name);
    errors_.push_back(FailureError(answer));
  }
}

void Writer::CheckWritten(const std::vector<Written>& written,
                          const std::vector<server::Value>& values) {
  Values by_path;
  for (const server::Value& value : values) {
    by_path.emplace(WithoutElementId(value.path), value.value);
  }
  const auto is_same = [](const lyd_node* leaf, const std::string& value) {
    return value == lyd_get_value(leaf) ||
           lyd_value_compare(reinterpret_cast<const lyd_node_term*>(leaf), value.c_str(),
                             value.size()) == LY_SUCCESS;
  };
  for (const Written& one : written) {
    const auto [begin, end] = by_path.equal_range(one.path);
    const bool has_changed =
        one.old_leaf == nullptr
            ? std::any_of(begin, end,
                          [&](const auto& value) { return is_same(one.leaf, value.second); })
            : begin != end && std::none_of(begin, end, [&](const auto& value) {
                return is_same(one.old_leaf, value.second);
              });
    if (!has_changed) {
      errors_.push_back(At(ApplicationError("operation-not-supported",
                                            "the application accepted this without effect"),
                           InstancePath(one.leaf)));
    }
  }
}

}  // namespace ncdm::netconf
