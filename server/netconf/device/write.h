// Carrying changes out at the agents.
#ifndef NCDM_SERVER_NETCONF_DEVICE_WRITE_H_
#define NCDM_SERVER_NETCONF_DEVICE_WRITE_H_

#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "server/netconf/device/agents.h"
#include "server/netconf/device/difference.h"
#include "server/netconf/device/mapping.h"
#include "server/netconf/device/read.h"
#include "server/netconf/device/rpc_errors.h"
#include "server/netconf/device/task.h"

namespace ncdm::netconf {

class Writer {
 public:
  // `ids`: of the entries of the difference's old tree. All outlive the writer.
  Writer(Agents& agents, const Mapping& mapping, const Difference& difference,
         const InstanceIds& ids)
      : agents_(agents), mapping_(mapping), difference_(difference), ids_(ids) {}

  // Carries out the changes in their order, up to the first that an agent refuses, or past
  // refusals. Those that do not need each other may be under way together: what is refused may have
  // some of them behind it that are carried out.
  Task<> Run(bool go_on);
  // What was refused.
  const std::vector<RpcError>& errors() const { return errors_; }
  // Agents that have changed something; and those that left a request unanswered, which may have
  // been carried out or not.
  const std::set<std::string>& changed() const { return changed_; }
  const std::set<std::string>& lost() const { return lost_; }

  // Reads back what was written, because an agent accepts a leaf or a leaf-list that it cannot
  // change and does nothing. Adds an error for each that has kept its old value.
  Task<> Verify();

  // Leaves what belongs to these agents as it is.
  void Exclude(const std::set<std::string>& names) { excluded_ = names; }

 private:
  struct Written {
    std::string path;  // as the agent names it in answers, the ids of a leaf-list's values apart
    server::ReadElement element;
    const lyd_node* leaf;
    const lyd_node* old_leaf;  // null when it was not there
  };

  using ChangeIterator = std::vector<Change>::const_iterator;

  ChangeIterator EndOfBatch(ChangeIterator begin) const;
  Task<> Carry(const Change& change);
  Task<> DeleteEntry(const lyd_node* entry);
  Task<> CreateEntry(const Change& change);
  Task<> EditLeaves(const Change& change, server::Operation operation);
  Task<> DeleteLeaves(const AgentModel& agent, const Change& change);
  Task<> Send(const AgentModel& agent, server::Request request, const lyd_node* where,
              std::int64_t* instance);

  std::vector<const AgentModel*> AgentsOf(const lyd_node* entry,
                                          const std::vector<const lyd_node*>& leaves) const;
  using Part = std::pair<const AgentModel*, Change>;
  std::vector<Part> ByAgent(const Change& change) const;
  // Of the lists around and at `node`, which may be of either tree.
  server::Ids IdsOf(const lyd_node* node, const AgentModel& agent) const;
  Task<> SendLeaves(const AgentModel& agent, const Change& change, server::Operation operation);
  void NoteWritten(const AgentModel& agent, const lyd_node* leaf, const lyd_node* old_leaf,
                   const server::Ids& ids);
  Task<> VerifyPart(const AgentModel& agent, const std::vector<Written>& part);
  void CheckWritten(const std::vector<Written>& written, const std::vector<server::Value>& values);

  Agents& agents_;
  const Mapping& mapping_;
  const Difference& difference_;
  const InstanceIds& ids_;
  std::unordered_map<const lyd_node*, std::map<const AgentModel*, std::int64_t>> new_ids_;
  std::map<const AgentModel*, std::vector<Written>> written_;
  std::set<std::string> changed_;
  std::set<std::string> lost_;
  std::set<std::string> excluded_;
  std::vector<RpcError> errors_;
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_WRITE_H_
