#include "server/netconf/device/mapping.h"

#include <algorithm>
#include <optional>

#include "server/netconf/device/tree.h"

namespace ncdm::netconf {
namespace {

using server::SchemaNode;

const lysc_node* ChildNamed(const lysc_node* parent, const lys_module* module,
                            const std::string& name) {
  const lysc_node* found = nullptr;
  ForEachChild(parent, module, [&](const lysc_node* child) {
    // Of two with one local name the module's own comes before what another one augments in.
    if (name == child->name && (found == nullptr || child->module == module)) {
      found = child;
    }
  });
  return found;
}

// True if what was registered and the YANG node are of one kind.
bool IsSameKind(const SchemaNode& registered, const lysc_node* node) {
  if (registered.is_list) {
    return node->nodetype == LYS_LIST;
  }
  if (registered.is_leaf) {
    return node->nodetype == (registered.is_leaf_list() ? LYS_LEAFLIST : LYS_LEAF);
  }
  return node->nodetype == LYS_CONTAINER;
}

// Why a node of the right kind cannot be served; nothing when it can.
std::optional<std::string> WhyNot(const SchemaNode& registered, const lysc_node* node) {
  const bool has_instances = registered.has_instances();
  if (has_instances && DataParent(node) == nullptr) {
    return "a list at the top of a module";
  }
  if (has_instances && IsConfig(node) && lysc_is_userordered(node)) {
    return "ordered by the user";
  }
  if (registered.is_list && IsConfig(node) && (node->flags & LYS_KEYLESS) != 0) {
    return "a configuration list without keys";
  }
  if (registered.is_list && KeysOf(node).size() > kMaxKeys) {
    return "a list of more than " + std::to_string(kMaxKeys) + " keys";
  }
  return std::nullopt;
}

// Follows a whole registered schema down one module.
class Walk {
 public:
  Walk(AgentModel* model, const lys_module* module, const Mapping::Log& log)
      : model_(model), module_(module), log_(log) {}

  void Down(const SchemaNode& parent, const lysc_node* yang_parent) {
    for (const SchemaNode* child : parent.children) {
      const lysc_node* node =
          ChildNamed(yang_parent, yang_parent == nullptr ? module_ : nullptr, child->name);
      if (node == nullptr || !IsSameKind(*child, node)) {
        Log(*child, node == nullptr ? "no such node" : "another kind of node");
      } else if (const auto why = WhyNot(*child, node)) {
        Log(*child, *why);
      } else {
        model_->registered[node] = child;
        model_->yang[child] = node;
        Down(*child, node);
        if (child->is_list) {
          CheckKeys(*child, node);
        }
      }
    }
  }

 private:
  // An entry is read by the model's keys, and created and deleted by the agent's.
  void CheckKeys(const SchemaNode& list, const lysc_node* node) const {
    const auto is_registered = [&](const lysc_node* key) {
      return model_->Registered(key) != nullptr;
    };
    if (!std::ranges::all_of(KeysOf(node), is_registered)) {
      Log(list, "a list with keys that the agent has not got");
    } else if (IsConfig(node) && !HasKeysOfModel(*model_, node)) {
      log_("agent '" + model_->name + "': entries of " + list.Path() +
           " can be neither created nor deleted: the keys are others than in module " +
           module_->name);
    }
  }

  void Log(const SchemaNode& node, const std::string& why) const {
    log_("agent '" + model_->name + "': " + node.Path() + " is not served: in module " +
         module_->name + " it is " + why);
  }

  AgentModel* model_;
  const lys_module* module_;
  const Mapping::Log& log_;
};

// True if the module has every leaf below the registered node.
bool HasAll(const SchemaNode& registered, const lysc_node* node) {
  return IsSameKind(registered, node) &&
         std::ranges::all_of(registered.children, [&](const SchemaNode* child) {
           const lysc_node* below = ChildNamed(node, nullptr, child->name);
           return below != nullptr && HasAll(*child, below);
         });
}

// An agent that names no module: each of its top-level nodes goes to the one module that has it.
void MapWithoutModule(const YangContext& context, AgentModel* model, const Mapping::Log& log) {
  for (const SchemaNode* top : model->schema.root().children) {
    std::vector<const lys_module*> having;
    for (const lys_module* module : context.Modules()) {
      if (module->implemented != 0 && context.IsDevice(module)) {
        const lysc_node* node = ChildNamed(nullptr, module, top->name);
        if (node != nullptr && HasAll(*top, node)) {
          having.push_back(module);
        }
      }
    }
    if (having.size() != 1) {
      log("agent '" + model->name + "': " + top->Path() +
          " is not served: " + (having.empty() ? "no module has it" : "several modules have it") +
          ", and the agent names none");
      continue;
    }
    const lysc_node* node = ChildNamed(nullptr, having.front(), top->name);
    model->registered[node] = top;
    model->yang[top] = node;
    Walk(model, having.front(), log).Down(*top, node);
  }
}

std::optional<std::string> Revision(const server::Agent& agent, const std::string& module) {
  for (const server::YangAttribute& attribute : agent.registry.yang_attributes()) {
    if (attribute.module == module && attribute.type == NC_DM_YANG_ATTR_REVISION) {
      return attribute.value;
    }
  }
  return std::nullopt;
}

void MapModule(const YangContext& context, const server::Agent& agent, AgentModel* model,
               const std::string& name, const Mapping::Log& log) {
  const lys_module* module = context.Implemented(name);
  if (module == nullptr || !context.IsDevice(module)) {
    log("agent '" + agent.name + "' names the module " + name + ", which is not loaded");
    return;
  }
  const auto revision = Revision(agent, name);
  if (revision && module->revision != nullptr && *revision != module->revision) {
    log("agent '" + agent.name + "' has revision " + *revision + " of module " + name +
        "; loaded is " + module->revision);
  }
  Walk(model, module, log).Down(model->schema.root(), nullptr);
}

// With several modules a path is wrong only when none of them has it.
void LogUnmapped(const AgentModel& model, const SchemaNode& parent, const Mapping::Log& log) {
  for (const SchemaNode* child : parent.children) {
    if (model.Yang(child) == nullptr) {
      log("agent '" + model.name + "': " + child->Path() + " is not served: none of its modules " +
          "has it");
    } else {
      LogUnmapped(model, *child, log);
    }
  }
}

}  // namespace

bool HasKeysOfModel(const AgentModel& agent, const lysc_node* list) {
  const std::vector<const SchemaNode*> keys = agent.Registered(list)->Keys();
  return keys.size() == KeysOf(list).size() &&
         std::ranges::all_of(keys, [&](const SchemaNode* key) {
           const lysc_node* node = agent.Yang(key);
           return node != nullptr && IsKey(node);
         });
}

Mapping::Mapping(const YangContext& context, const std::vector<const server::Agent*>& agents,
                 const Log& log) {
  for (const server::Agent* agent : agents) {
    Add(context, *agent, log);
  }
}

void Mapping::Add(const YangContext& context, const server::Agent& agent, const Log& log) {
  auto model = std::make_unique<AgentModel>(agent);
  std::vector<std::string> modules;
  for (const server::YangAttribute& attribute : agent.registry.yang_attributes()) {
    if (attribute.type == NC_DM_YANG_ATTR_MODULE_NAME) {
      modules.push_back(attribute.value);
    }
  }
  if (modules.empty()) {
    MapWithoutModule(context, model.get(), log);
  } else if (modules.size() == 1) {
    MapModule(context, agent, model.get(), modules.front(), log);
  } else {
    for (const std::string& module : modules) {
      MapModule(context, agent, model.get(), module, [](const std::string&) {});
    }
    LogUnmapped(*model, model->schema.root(), log);
  }
  // The first one to connect keeps a leaf.
  std::vector<const lysc_node*> taken;
  for (const auto& [node, registered] : model->registered) {
    if (registered->is_leaf) {
      const auto [owner, is_new] = owners_.try_emplace(node, model.get());
      if (!is_new && !IsKey(node)) {
        log("agent '" + model->name + "': " + registered->Path() + " is served by agent '" +
            owner->second->name + "', which was there first");
        taken.push_back(node);
      }
    }
  }
  for (const lysc_node* node : taken) {
    model->yang.erase(model->registered[node]);
    model->registered.erase(node);
  }
  agents_.push_back(std::move(model));
}

std::vector<const AgentModel*> Mapping::ServersOf(const lysc_node* node) const {
  std::vector<const AgentModel*> servers;
  for (const auto& agent : agents_) {
    if (agent->Registered(node) != nullptr) {
      servers.push_back(agent.get());
    }
  }
  return servers;
}

bool Mapping::IsServed(const lysc_node* node) const {
  return std::ranges::any_of(agents_,
                             [&](const auto& agent) { return agent->Registered(node) != nullptr; });
}

const AgentModel* Mapping::OwnerOf(const lysc_node* leaf) const {
  const auto owner = owners_.find(leaf);
  return owner == owners_.end() ? nullptr : owner->second;
}

}  // namespace ncdm::netconf
