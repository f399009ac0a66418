#include "server/netconf/device/read.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "server/data_tree.h"
#include "server/entry_keys.h"
#include "server/instance_path.h"
#include "server/netconf/device/rpc_errors.h"

namespace ncdm::netconf {
namespace {

using server::DataNode;
using server::Ids;
using server::ReadElement;
using server::SchemaNode;

// Entries of one list that are looked up one by one; of more than that the list is read.
constexpr std::size_t kMaxLookups = 16;
// Of one request: an agent collects no more than 65,536.
constexpr std::size_t kMaxElements = 16384;

// An agent's values are no longer.
constexpr std::size_t kMaxValue = 255;

// A request that an agent did not answer well.
struct ReadFailure {
  server::Answer answer;
};

// Reads what is wanted of one agent.
class AgentRead {
 public:
  AgentRead(Agents& agents, const AgentModel& model, Content content)
      : agents_(agents), model_(model), content_(content) {}

  Task<> Run(const Wanted& root) {
    co_await Children(root, {}, false);
    co_await ReadElements();
  }

  const std::vector<server::Value>& values() const { return values_; }

 private:
  bool IsWanted(const lysc_node* node) const { return content_ == Content::kAll || IsConfig(node); }

  // `in_every`: inside of a list whose entries are all read, so that there are no ids further on.
  Task<> Children(const Wanted& wanted, Ids ids, bool in_every) {
    std::unordered_map<const lysc_node*, std::size_t> entries;
    for (const Wanted& child : wanted.children) {
      entries[child.node] += child.keys.empty() ? kMaxLookups + 1 : 1;
    }
    std::unordered_set<const lysc_node*> done;
    for (const Wanted& child : wanted.children) {
      const SchemaNode* registered = model_.Registered(child.node);
      if (registered == nullptr || !IsWanted(child.node)) {
        continue;
      }
      if (!registered->is_list) {
        co_await Node(child, *registered, ids, in_every);
      } else if (!in_every && entries[child.node] <= kMaxLookups) {
        co_await Entry(child, *registered, ids);
      } else if (done.insert(child.node).second) {
        const Wanted every = EveryEntry(wanted, child.node);
        co_await Every(every, *registered, ids);
      }
    }
  }

  // What is wanted of any entry of a list.
  static Wanted EveryEntry(const Wanted& parent, const lysc_node* list) {
    Wanted every{.node = list};
    for (const Wanted& child : parent.children) {
      if (child.node == list) {
        every.Add(child);
      }
    }
    return every;
  }

  Task<> Node(const Wanted& wanted, const SchemaNode& registered, const Ids& ids, bool in_every) {
    if (registered.is_leaf) {
      AddElement(registered, ids);
    } else if (wanted.whole) {
      Whole(registered, ids);
    } else {
      co_await Children(wanted, ids, in_every);
    }
  }

  Task<> Every(const Wanted& wanted, const SchemaNode& list, const Ids& ids) {
    if (wanted.whole) {
      Whole(list, ids);
      co_return;
    }
    for (const lysc_node* key : KeysOf(wanted.node)) {
      if (const SchemaNode* registered = list.Child(key->name)) {
        AddElement(*registered, ids);
      }
    }
    co_await Children(WithoutKeys(wanted), ids, true);
  }

  static Wanted WithoutKeys(const Wanted& wanted) {
    Wanted rest{.node = wanted.node};
    for (const Wanted& child : wanted.children) {
      if (!IsKey(child.node)) {
        rest.children.push_back(child);
      }
    }
    return rest;
  }

  Task<> Entry(const Wanted& wanted, const SchemaNode& list, Ids ids) {
    std::vector<server::KeyValue> keys;
    std::size_t i = 0;
    for (const lysc_node* key : KeysOf(wanted.node)) {
      if (list.Child(key->name) != nullptr) {
        keys.push_back({key->name, wanted.keys[i]});
      }
      ++i;
    }
    if (keys.empty() || std::ranges::any_of(keys, [](const server::KeyValue& key) {
          return key.value.size() > kMaxValue;
        })) {
      co_return;  // no entry has them
    }
    server::EntryLookup lookup(list, keys, ids);
    while (auto request = lookup.Next()) {
      server::Answer answer = co_await Asked(std::move(*request));
      lookup.Take(std::move(answer.ids));
    }
    if (lookup.result() == server::EntryLookup::Result::kMissing) {
      co_return;
    }
    ids.push_back(lookup.id());
    // Known without being read.
    const std::string entry = server::PathWithIds(list, ids) + ".";
    for (const server::KeyValue& key : keys) {
      values_.push_back({entry + key.key, key.value});
    }
    if (wanted.whole) {
      Whole(list, ids);
    } else {
      co_await Children(WithoutKeys(wanted), ids, false);
    }
  }

  void AddElement(const SchemaNode& node, const Ids& ids) {
    elements_.push_back({.name = node.Path(), .ids = ids});
  }

  void Whole(const SchemaNode& node, const Ids& ids) {
    if (content_ == Content::kAll || IsAllConfig(node)) {
      AddElement(node, ids);
      return;
    }
    for (const SchemaNode* child : node.children) {
      const lysc_node* yang = model_.Yang(child);
      if (yang != nullptr && IsConfig(yang)) {
        Whole(*child, ids);
      }
    }
  }

  bool IsAllConfig(const SchemaNode& node) const {
    const lysc_node* yang = model_.Yang(&node);
    return yang == nullptr ||
           (IsConfig(yang) && std::ranges::all_of(node.children, [&](const SchemaNode* child) {
              return IsAllConfig(*child);
            }));
  }

  Task<> ReadElements() {
    for (std::size_t begin = 0; begin < elements_.size(); begin += kMaxElements) {
      const auto from = elements_.begin() + static_cast<std::ptrdiff_t>(begin);
      const auto count = std::min(kMaxElements, elements_.size() - begin);
      const std::vector<ReadElement> part(from, from + static_cast<std::ptrdiff_t>(count));
      server::Answer answer = co_await Asked(server::ReadValues(part));
      std::ranges::move(answer.values, std::back_inserter(values_));
    }
  }

  Task<server::Answer> Asked(server::Request request) {
    server::Answer answer = co_await agents_.Call(model_.name, std::move(request));
    if (!answer.ok()) {
      throw ReadFailure{std::move(answer)};
    }
    co_return answer;
  }

  Agents& agents_;
  const AgentModel& model_;
  Content content_;
  std::vector<ReadElement> elements_;
  std::vector<server::Value> values_;
};

// Turns what agents gave into nodes of the model.
class Builder {
 public:
  Builder(const Mapping& mapping, const AgentModel& model, Content content, ReadResult* result,
          const Mapping::Log& log)
      : mapping_(mapping), model_(model), content_(content), result_(result), log_(log) {}

  void Children(const DataNode& data, lyd_node* parent) {
    Seen seen;
    const auto at_default = LeafListsAtDefault(data);
    for (const DataNode* child : data.children) {
      const lysc_node* node = model_.Yang(child->schema);
      if (node != nullptr && !at_default.contains(node)) {
        One(*child, node, parent, &seen);
      }
    }
  }

 private:
  // An application shows a leaf-list's defaults as its values. They are reported, as all defaults
  // are, but a change knows nothing of them: who gives the leaf-list a value of its own does not
  // want them beside it.
  std::unordered_set<const lysc_node*> LeafListsAtDefault(const DataNode& data) const {
    if (content_ != Content::kConfig) {
      return {};
    }
    std::unordered_map<const lysc_node*, std::vector<std::string_view>> values;
    for (const DataNode* child : data.children) {
      const lysc_node* node = model_.Yang(child->schema);
      if (node != nullptr && IsConfig(node) && !DefaultsOf(node).empty()) {
        values[node].push_back(child->value);
      }
    }
    std::unordered_set<const lysc_node*> at_default;
    for (const auto& [node, present] : values) {
      if (std::ranges::is_permutation(present, DefaultsOf(node))) {
        at_default.insert(node);
      }
    }
    return at_default;
  }

  // Of a leaf-list, as the model writes them; of other nodes none.
  static std::vector<std::string_view> DefaultsOf(const lysc_node* node) {
    std::vector<std::string_view> texts;
    if (node->nodetype != LYS_LEAFLIST) {
      return texts;
    }
    const auto* leaf_list = reinterpret_cast<const lysc_node_leaflist*>(node);
    const std::size_t count = leaf_list->dflts == nullptr ? 0 : LY_ARRAY_COUNT(leaf_list->dflts);
    for (const lyd_value* value : std::span(leaf_list->dflts, count)) {
      texts.emplace_back(lyd_value_get_canonical(node->module->ctx, value));
    }
    return texts;
  }

  // Keys of the entries that are there, so that two with the same are found.
  using Seen = std::unordered_set<std::string>;

  void One(const DataNode& data, const lysc_node* node, lyd_node* parent, Seen* seen) {
    switch (node->nodetype) {
      case LYS_CONTAINER: {
        lyd_node* container = Find(Siblings(result_->tree, parent), node);
        Children(data,
                 container != nullptr ? container : NewContainer(&result_->tree, parent, node));
        break;
      }
      case LYS_LIST:
        Entry(data, node, parent, seen);
        break;
      case LYS_LEAFLIST:
        if (FindValue(Siblings(result_->tree, parent), node, data.value) == nullptr) {
          Term(data, node, parent);
        }
        break;
      default:
        if (!IsKey(node) || (DataParent(node)->flags & LYS_KEYLESS) != 0) {
          Term(data, node, parent);
        }
    }
  }

  void Term(const DataNode& data, const lysc_node* node, lyd_node* parent) {
    if (NewTerm(&result_->tree, parent, node, data.value) == nullptr) {
      LogRefused(*data.schema, data.value);
    }
  }

  void LogRefused(const SchemaNode& node, const std::string& value) {
    log_("agent '" + model_.name + "': " + node.Path() + ": the model refuses the value '" + value +
         "'");
  }

  void Entry(const DataNode& data, const lysc_node* list, lyd_node* parent, Seen* seen) {
    std::vector<std::string> keys;
    std::string all_keys(list->name);
    for (const lysc_node* key : KeysOf(list)) {
      const SchemaNode* registered = data.schema->Child(key->name);
      const DataNode* leaf = registered == nullptr ? nullptr : data.Leaf(*registered);
      if (leaf == nullptr) {
        return;  // it went away while it was read
      }
      keys.push_back(leaf->value);
      all_keys += '\0' + leaf->value;
    }
    if (!keys.empty() && !seen->insert(all_keys).second) {
      log_("agent '" + model_.name + "': " + data.schema->Path() +
           " has two entries with the same keys");
      return;
    }
    lyd_node* entry = nullptr;
    if (!keys.empty() && mapping_.ServersOf(list).size() > 1) {
      entry = FindEntry(Siblings(result_->tree, parent), list, keys);
    }
    if (entry == nullptr) {
      entry = NewEntry(&result_->tree, parent, list, keys);
    }
    if (entry == nullptr) {
      LogRefused(*data.schema, keys.front());
      return;
    }
    result_->ids.Add(entry, &model_, data.id);
    Children(data, entry);
  }

  const Mapping& mapping_;
  const AgentModel& model_;
  Content content_;
  ReadResult* result_;
  const Mapping::Log& log_;
};

// What came of reading one agent.
struct Part {
  std::vector<server::Value> values;
  std::optional<server::Answer> failure;
};

Task<> ReadPart(Agents& agents, const AgentModel& model, const Wanted& wanted, Content content,
                Part* part) {
  AgentRead read(agents, model, content);
  try {
    co_await read.Run(wanted);
    part->values = read.values();
  } catch (const ReadFailure& failure) {
    part->failure = failure.answer;
  }
}

}  // namespace

Wanted& Wanted::Child(const lysc_node* child, const std::vector<std::string>& child_keys) {
  const auto known = std::ranges::find_if(children, [&](const Wanted& candidate) {
    return candidate.node == child && candidate.keys == child_keys;
  });
  if (known != children.end()) {
    return *known;
  }
  return children.emplace_back(Wanted{.node = child, .keys = child_keys});
}

void Wanted::Add(const Wanted& other) {
  whole = whole || other.whole;
  if (whole) {
    children.clear();
    return;
  }
  for (const Wanted& child : other.children) {
    Child(child.node, child.keys).Add(child);
  }
}

Wanted WantAll(const YangContext& context) {
  Wanted all;
  for (const lys_module* module : context.Modules()) {
    if (module->implemented != 0 && context.IsDevice(module)) {
      ForEachChild(nullptr, module, [&](const lysc_node* top) {
        all.children.push_back({.node = top, .whole = true});
      });
    }
  }
  return all;
}

std::optional<server::Ids> InstanceIds::Of(const lyd_node* node, const AgentModel* agent) const {
  server::Ids ids;
  for (; node != nullptr; node = lyd_parent(node)) {
    if (node->schema->nodetype != LYS_LIST) {
      continue;
    }
    const auto own = ids_.find({node, agent});
    if (own == ids_.end()) {
      return std::nullopt;
    }
    ids.insert(ids.begin(), own->second);
  }
  return ids;
}

std::set<std::string> AgentsOf(const Mapping& mapping, const Wanted& wanted) {
  std::set<std::string> names;
  for (const Wanted& child : wanted.children) {
    // An entry is looked for by its keys before anything in it is read.
    if (child.whole || child.children.empty() || child.node->nodetype == LYS_LIST) {
      for (const AgentModel* agent : mapping.ServersOf(child.node)) {
        names.insert(agent->name);
      }
    } else {
      names.merge(AgentsOf(mapping, child));
    }
  }
  return names;
}

Task<ReadResult> Read(Agents& agents, std::shared_ptr<const Mapping> mapping, Wanted wanted,
                      Content content, const Mapping::Log& log, AgentNames names) {
  std::vector<const AgentModel*> models;
  for (const auto& model : mapping->agents()) {
    if (!names || names->contains(model->name)) {
      models.push_back(model.get());
    }
  }
  std::vector<Part> parts(models.size());
  std::vector<Task<>> tasks;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    tasks.push_back(ReadPart(agents, *models[i], wanted, content, &parts[i]));
  }
  co_await WhenAll(&tasks);
  ReadResult result;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    tasks[i].Take();
    const AgentModel& model = *models[i];
    if (!parts[i].failure) {
      server::DataTree data(model.schema);
      data.Add(std::move(parts[i].values));
      Builder(*mapping, model, content, &result, log).Children(data.root(), nullptr);
    } else if (parts[i].failure->outcome == server::Outcome::kTimeout ||
               parts[i].failure->outcome == server::Outcome::kFault) {
      result.failed[model.name] = FailureError(*parts[i].failure);
    } else {
      result.gone[model.name] = FailureError(*parts[i].failure);
    }
  }
  co_return result;
}

}  // namespace ncdm::netconf
