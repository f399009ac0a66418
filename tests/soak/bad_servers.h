// Servers that no agent should have to meet. Each plays for a time that it is given, and goes away;
// none of them changes the data.
#ifndef TESTS_SOAK_BAD_SERVERS_H_
#define TESTS_SOAK_BAD_SERVERS_H_

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "integration/model_device.h"
#include "integration/random_requests.h"
#include "run_options.h"

namespace ncdm_test {

class BadServers {
 public:
  using Time = std::chrono::milliseconds;
  struct Behaviour {
    const char* name;
    void (BadServers::*play)(Time);
  };
  static const std::array<Behaviour, 7> kBehaviours;

  // `watch` is called all the time.
  BadServers(ModelDevice* both, RandomRequests* random, std::function<void()> watch);

  // What the edits of these servers set, so that they change nothing.
  static ModelRequest EditThatTheySend();

  // Times at which the agent has had enough and closed.
  int closed_by_agent() const { return closed_by_agent_; }
  int closed_by_server() const { return closed_by_server_; }

 private:
  void NeverReads(Time time);
  void ReadsAByteASecond(Time time);
  void ClosesAtEachByteOfItsFrames(Time time);
  void ClosesAtEachByteOfTheAgents(Time time);
  void SplitsFramesAtEachByte(Time time);
  void Floods(Time time);
  void SendsGarbage(Time time);

  // One turn of the agent's loop. False when it had nothing to do.
  bool Turn();
  void TurnWhileBusy();
  // Waits until the agent has connected.
  void Accept();
  // A new connection in place of one that the agent has closed.
  void KeepConnection();
  void CloseConnection();
  // What the socket takes of it; false when that is less than all.
  bool Send(std::string_view bytes);
  void SendAsMuchAsPossible();
  void PlayUntil(SoakClock::time_point end, const std::function<void(RawServer*)>& step);

  // A place between two bytes of a frame; each use goes one further.
  struct Cut {
    std::size_t frame = 0;
    std::size_t byte = 0;
  };
  // The parts before and behind it.
  std::pair<std::string_view, std::string_view> NextCut(Cut* cut) const;

  Device& device() { return both_.device(); }

  ModelDevice& both_;
  RandomRequests& random_;
  std::function<void()> watch_;
  RawServer* raw_ = nullptr;
  std::vector<std::string> frames_;
  std::string unsent_;  // of a frame that the socket took in part
  std::size_t next_frame_ = 0;
  Cut closing_at_;
  std::size_t reading_to_ = 0;  // of the agent's first bytes
  Cut splitting_at_;
  int closed_by_agent_ = 0;
  int closed_by_server_ = 0;
};

}  // namespace ncdm_test

#endif  // TESTS_SOAK_BAD_SERVERS_H_
