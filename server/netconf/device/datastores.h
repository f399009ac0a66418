// What the datastores are beside their data: locks, the candidate's changes, a commit that waits
// to be confirmed.
#ifndef NCDM_SERVER_NETCONF_DEVICE_DATASTORES_H_
#define NCDM_SERVER_NETCONF_DEVICE_DATASTORES_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "server/netconf/device/tree.h"
#include "server/netconf/operations.h"

namespace ncdm::netconf {

enum class Datastore { kRunning, kCandidate };

struct Lock {
  std::uint32_t session_id = 0;
  std::chrono::system_clock::time_point since{};
};

// The candidate once it is changed; before that it is what running is. What an agent has comes into
// it when it is first needed, and is what running has until then.
struct Candidate {
  Tree base;  // running as it was then
  Tree tree;
  std::set<std::string> agents{};  // whose data is in both
};

// A commit that is undone unless it is confirmed.
struct ConfirmedCommit {
  std::uint64_t number = 0;  // of each that begins to wait
  std::uint32_t session_id = 0;
  std::optional<std::string> persist{};
  Tree before;                     // what running goes back to
  Tree after;                      // what it was made
  std::set<std::string> agents{};  // whose data is in both
  // None once it is being undone.
  std::optional<std::chrono::steady_clock::time_point> deadline{};
};

struct Datastores {
  std::optional<Lock> running_lock{};
  std::optional<Lock> candidate_lock{};
  std::optional<Candidate> candidate{};
  std::optional<ConfirmedCommit> confirmed{};

  std::optional<Lock>& LockOf(Datastore datastore) {
    return datastore == Datastore::kRunning ? running_lock : candidate_lock;
  }
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_DATASTORES_H_
