// Reading from the agents: no more than is wanted.
#ifndef NCDM_SERVER_NETCONF_DEVICE_READ_H_
#define NCDM_SERVER_NETCONF_DEVICE_READ_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "server/netconf/device/agents.h"
#include "server/netconf/device/mapping.h"
#include "server/netconf/device/task.h"
#include "server/netconf/device/tree.h"
#include "server/netconf/operations.h"

namespace ncdm::netconf {

// A part of the data.
struct Wanted {
  const lysc_node* node = nullptr;  // null at the root
  bool whole = false;               // everything below; else what `children` say
  // Of a list: canonical values of all keys, for that entry alone. Empty: every entry.
  std::vector<std::string> keys{};
  // Those of an entry need not name its keys: they always come.
  std::vector<Wanted> children{};

  // The child for a node, made when it is not there.
  Wanted& Child(const lysc_node* child, const std::vector<std::string>& child_keys = {});
  // Makes this want what `other` wants too.
  void Add(const Wanted& other);
};

// Everything of the device's modules.
Wanted WantAll(const YangContext& context);

enum class Content {
  kAll,             // for a client: state, too, and all defaults that the agents show
  kReportedConfig,  // the same without state
  kConfig,          // for a change: of leaf-lists that are at their defaults nothing
};

// The instance ids of the list entries that were read, for the requests that change them.
class InstanceIds {
 public:
  void Add(const lyd_node* entry, const AgentModel* agent, std::int64_t id) {
    ids_.emplace(Known{entry, agent}, id);
  }
  // Of the lists around and at `node`, as the agent knows them, outermost first. Nothing when it
  // does not have one of the entries.
  std::optional<server::Ids> Of(const lyd_node* node, const AgentModel* agent) const;

 private:
  struct Known {
    const lyd_node* entry;
    const AgentModel* agent;
    friend bool operator==(const Known&, const Known&) = default;
  };
  struct Hash {
    std::size_t operator()(const Known& known) const {
      constexpr std::size_t kOdd = 0x9e3779b97f4a7c15;  // spreads what pointers have in common
      return std::hash<const void*>()(known.entry) * kOdd + std::hash<const void*>()(known.agent);
    }
  };
  std::unordered_map<Known, std::int64_t, Hash> ids_;
};

struct ReadResult {
  Tree tree;
  InstanceIds ids;
  // By agent, whose data is left out then: those that went away meanwhile, and those that did not
  // answer or refused.
  std::map<std::string, RpcError> gone{};
  std::map<std::string, RpcError> failed{};
};

// Of the agents of these names; nothing: of all.
using AgentNames = std::optional<std::set<std::string>>;

// `log`: values that the model refuses, a line each.
Task<ReadResult> Read(Agents& agents, std::shared_ptr<const Mapping> mapping, Wanted wanted,
                      Content content, const Mapping::Log& log, AgentNames names = std::nullopt);

// The names of those that a read of this part asks, or may ask.
std::set<std::string> AgentsOf(const Mapping& mapping, const Wanted& wanted);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_READ_H_
