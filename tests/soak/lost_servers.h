// A server that is lost at a moment at random, and another one in its place.
#ifndef TESTS_SOAK_LOST_SERVERS_H_
#define TESTS_SOAK_LOST_SERVERS_H_

#include <array>
#include <optional>
#include <string>

#include "integration/model_device.h"
#include "integration/random_requests.h"

namespace ncdm_test {

// When the server is lost.
enum class Moment {
  kIdle,             // nothing is on its way
  kInRequests,       // requests are unanswered, or answered in part
  kInRequestFrame,   // a part of a request's frame is sent
  kInAgentFrame,     // a part of what the agent says first is read
  kInRegistrations,  // the agent's registrations are sent in part, into a socket that is full
  kOnAccept,         // each connection is taken and closed, several times
  kLongGone,         // several attempts of the agent find nobody
  kNoDescriptors,    // several attempts find that the process has no descriptor left
  kNoDirectory,      // several attempts find no directory for the agent's socket
};
inline constexpr std::array<const char*, 9> kMomentNames = {"idle",
                                                            "in requests",
                                                            "in a request's frame",
                                                            "in the agent's first frame",
                                                            "in the registrations",
                                                            "on accept",
                                                            "long gone",
                                                            "without descriptors",
                                                            "without a directory"};

class LostServers {
 public:
  LostServers(ModelDevice* both, RandomRequests* random) : both_(*both), random_(*random) {}

  // From a server to none, with all that the moment brings before that.
  void Lose(Moment moment);
  // A server again. The agent has come back when this returns, and holds nothing that the lost one
  // has sent in part; the model knows what the lost one's edit came to.
  void Return();

  // What became of it, which tells whether the moments were the ones that were meant.
  struct Counts {
    int edits = 0;                    // started
    int edits_carried_out = 0;        // the others were lost with the connection
    int attempts_without_socket = 0;  // of the agent, for want of a descriptor or a directory
    int registrations_cut = 0;        // the connection was lost with some sent and some not
  };
  const Counts& counts() const { return counts_; }

 private:
  void StartRequests();
  void StartEdit();
  void SendPartOfFrame();
  void LoseRawServer(Moment moment);
  void ReadRegistrations(RawServer* raw);
  void FailAttempts(Moment moment);
  void Turns(int most);
  void SettleEdit();

  Device& device() { return both_.device(); }

  ModelDevice& both_;
  RandomRequests& random_;
  std::optional<ModelRequest> edit_;  // started, and nobody knows whether it was carried out
  Counts counts_;
};

}  // namespace ncdm_test

#endif  // TESTS_SOAK_LOST_SERVERS_H_
