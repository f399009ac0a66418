// The device's half of ncdm-netconf: operations on the agents' data.
#ifndef NCDM_SERVER_NETCONF_DEVICE_DEVICE_H_
#define NCDM_SERVER_NETCONF_DEVICE_DEVICE_H_

#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "server/netconf/device/agents.h"
#include "server/netconf/device/constraints.h"
#include "server/netconf/device/datastores.h"
#include "server/netconf/device/edit.h"
#include "server/netconf/device/filter.h"
#include "server/netconf/device/mapping.h"
#include "server/netconf/device/parameters.h"
#include "server/netconf/device/read.h"
#include "server/netconf/device/state_data.h"
#include "server/netconf/device/task.h"
#include "server/netconf/device/turns.h"
#include "server/netconf/device/write.h"
#include "server/netconf/device/yang_context.h"
#include "server/netconf/operations.h"

namespace ncdm::netconf {

class Device : public Operations {
 public:
  // Throws std::runtime_error. `sessions` outlives this.
  Device(const DeviceOptions& options, const Sessions& sessions);
  ~Device() override;

  std::vector<std::string> Capabilities() const override;
  void SessionOpened(const Client& client) override;
  void SessionEnded(const Client& client) override;
  void Start(const Client& client, std::string rpc, DoneFunction done) override;
  int PollFd() const override { return agents_.PollFd(); }
  std::optional<Clock::time_point> NextDeadline() const override;
  void Run() override;

  Agents& agents() { return agents_; }

 private:
  // One <rpc> while it is carried out.
  struct Rpc {
    Client client;
    Document document;
    Element operation;  // the element inside <rpc>
  };
  using Handler = Task<Reply> (Device::*)(const Rpc& rpc);
  struct OperationEntry;
  static const OperationEntry kOperations[];

  Task<> Serve(Client client, std::string text, DoneFunction done);
  Task<Reply> Dispatch(const Rpc& rpc);
  void Background(Task<> task);

  // ---- Operations ----
  Task<Reply> Get(const Rpc& rpc);
  Task<Reply> GetConfig(const Rpc& rpc);
  Task<Reply> EditConfig(const Rpc& rpc);
  Task<Reply> CopyConfig(const Rpc& rpc);
  Task<Reply> DeleteConfig(const Rpc& rpc);
  Task<Reply> Validate(const Rpc& rpc);
  Task<Reply> Commit(const Rpc& rpc);
  Task<Reply> CancelCommit(const Rpc& rpc);
  Task<Reply> DiscardChanges(const Rpc& rpc);
  Task<Reply> LockDatastore(const Rpc& rpc);
  Task<Reply> UnlockDatastore(const Rpc& rpc);
  Task<Reply> GetSchema(const Rpc& rpc);

  // ---- Reading ----
  std::shared_ptr<const Mapping> CurrentMapping();
  // Throws OperationFailed when an agent did not answer.
  Task<Tree> ReadRunning(Wanted wanted, Content content);
  // At least what is wanted.
  Task<Tree> ReadCandidate(Wanted wanted);
  // Adds the defaults of what can be served: all data is reported.
  void ReportDefaults(Tree* tree);

  // ---- Writing ----
  // Throws OperationFailed unless every node of the edit can be served now.
  void CheckServed(const Mapping& mapping, const EditNode& edit);
  RpcError NotServed(const Mapping& mapping, const lysc_node* node, const InstancePath& path) const;
  // What of a datastore decides what the edit does.
  Wanted PartOf(const EditNode& edit) const;
  // Reads for a change: an agent whose data is not at hand fails it.
  Task<ReadResult> ReadForChange(std::shared_ptr<const Mapping> mapping, Wanted part);
  Task<> EditRunning(const Rpc& rpc, const EditParameters& parameters, const EditNode& edit,
                     std::vector<RpcError>* errors);
  // In the turn of the agents of these names. When the constraints look at others', it adds those
  // and has done nothing: two edits that were checked beside each other could break them together.
  Task<> EditInTurn(const Rpc& rpc, const EditParameters& parameters, const EditNode& edit,
                    std::set<std::string>* names, std::vector<RpcError>* errors);
  Task<> EditCandidate(const Rpc& rpc, const EditParameters& parameters, const EditNode& edit,
                       std::vector<RpcError>* errors);
  // Makes running what `wanted` is, as far as `compares` says; all or nothing unless `errors` is
  // given. `now` is running as it was read for `part`.
  Task<> ChangeRunning(std::shared_ptr<const Mapping> mapping, const ReadResult& now,
                       const Tree& wanted, Wanted part, Compares compares,
                       std::vector<RpcError>* errors);
  Task<std::vector<RpcError>> Undo(std::shared_ptr<const Mapping> mapping, const ReadResult& then,
                                   Wanted part, Compares compares, std::set<std::string> lost);
  // An error for each part that is not what it was.
  Task<std::vector<RpcError>> LeftBehind(std::shared_ptr<const Mapping> mapping,
                                         const ReadResult& then, Wanted part, Compares compares);
  // Makes running what `wanted` is, at all agents whose data it was made from (`loaded`). What
  // others have stays; `base` is what `wanted` was before anything of it was changed, so that a
  // change that needs one of them is refused. Without a base everything needs all of `loaded`.
  // Returns what running was, at all that were looked at.
  struct Replaced {
    Tree before;
    Tree after;
    std::set<std::string> agents{};
  };
  Task<Replaced> ReplaceRunning(const Tree& wanted, const Tree* base, std::set<std::string> loaded);
  // Throws OperationFailed unless all that differs between the trees is among what is compared.
  void CheckReachable(const Mapping& mapping, const Tree& base, const Tree& wanted,
                      const Compares& compares,
                      const std::map<std::string, RpcError>& failed) const;
  Task<> LoadCandidate(std::set<std::string> names);

  void CheckLock(Datastore datastore, const Client& client) const;
  void CheckConfirming(const Client& client, const CommitParameters& parameters) const;
  // That a commit of the candidate, as it is now, has to do with.
  std::set<std::string> AgentsOfCommit(bool is_confirmed);
  Task<> CommitCandidate(const Rpc& rpc, const CommitParameters& parameters);
  void NoteConfirmed(const Rpc& rpc, const CommitParameters& parameters, Replaced replaced);
  // A commit that cannot be undone waits on when a client asked, who may try again. When its time
  // is over it stands: once the agent that is away is back, others may have built upon it.
  enum class IfItFails { kWaitsOn, kStands };
  // Undoes the confirmed commit of this number, unless that is confirmed or undone meanwhile.
  Task<> RollBack(std::uint64_t number, IfItFails then);
  void ForgetCandidate() { datastores_.candidate.reset(); }

  // Throws OperationFailed when the configuration breaks a constraint of the model.
  // Nodes whose `when` is false are refused if the client gave them itself (`is_given`), else they
  // do not count.
  void CheckWhole(Tree* tree, bool is_given);
  IsServed ServedBy(const std::shared_ptr<const Mapping>& mapping) const;
  std::set<std::string> AllAgents();

  void Log(const std::string& line);

  YangContext context_;
  Constraints constraints_;
  Agents agents_;
  StateData state_;
  std::shared_ptr<const Mapping> mapping_;
  std::uint64_t mapped_version_ = 0;
  std::set<const lysc_node*> known_;  // nodes that any agent has served
  std::uint64_t confirmed_commits_ = 0;
  Turns turns_;
  Datastores datastores_;
  std::set<std::string> logged_;
  Mapping::Log log_;
  std::list<Task<>> tasks_;  // what is being carried out
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_DEVICE_H_
