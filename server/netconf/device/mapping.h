// Which nodes of the YANG modules the agents serve.
//
// An agent registers dotted paths without prefixes or namespaces; the module that it names tells
// where they belong: a path's components are data nodes by local name from the top of that module.
// A mapping is made anew when an agent came, went or announced something; operations that began
// with an older one keep it.
#ifndef NCDM_SERVER_NETCONF_DEVICE_MAPPING_H_
#define NCDM_SERVER_NETCONF_DEVICE_MAPPING_H_

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "server/agent.h"
#include "server/netconf/device/yang_context.h"
#include "server/schema.h"

namespace ncdm::netconf {

// One agent's part.
struct AgentModel {
  explicit AgentModel(const server::Agent& agent)
      : name(agent.name), schema(agent.registry.Paths()) {}

  std::string name;
  server::Schema schema;
  // Containers, lists and leaves, both ways. A leaf that another agent registered first is not
  // among them, unless it is a key: each agent's entries are found by their keys.
  std::unordered_map<const lysc_node*, const server::SchemaNode*> registered{};
  std::unordered_map<const server::SchemaNode*, const lysc_node*> yang{};

  const server::SchemaNode* Registered(const lysc_node* node) const {
    const auto found = registered.find(node);
    return found == registered.end() ? nullptr : found->second;
  }
  const lysc_node* Yang(const server::SchemaNode* node) const {
    const auto found = yang.find(node);
    return found == yang.end() ? nullptr : found->second;
  }
};

// True if what the agent registered as keys of a list that it serves are the model's keys.
bool HasKeysOfModel(const AgentModel& agent, const lysc_node* list);

class Mapping {
 public:
  using Log = std::function<void(const std::string& line)>;

  // `log`: what could not be mapped, a line each.
  Mapping(const YangContext& context, const std::vector<const server::Agent*>& agents,
          const Log& log);

  // In the order of connection.
  const std::vector<std::unique_ptr<AgentModel>>& agents() const { return agents_; }
  // Those that have the node or something below it.
  std::vector<const AgentModel*> ServersOf(const lysc_node* node) const;
  bool IsServed(const lysc_node* node) const;
  // Null when nobody registered the leaf.
  const AgentModel* OwnerOf(const lysc_node* leaf) const;

 private:
  void Add(const YangContext& context, const server::Agent& agent, const Log& log);

  std::vector<std::unique_ptr<AgentModel>> agents_;
  std::unordered_map<const lysc_node*, const AgentModel*> owners_;
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_MAPPING_H_
