// Who may write: one after the other where they would meet.
#ifndef NCDM_SERVER_NETCONF_DEVICE_TURNS_H_
#define NCDM_SERVER_NETCONF_DEVICE_TURNS_H_

#include <coroutine>
#include <list>
#include <set>
#include <string>
#include <utility>

namespace ncdm::netconf {

// Turns are taken in the order in which they are asked for, except that one overtakes those that it
// shares no resource with: a writer that waits for a slow agent holds up that agent's writers
// alone.
class Turns {
  struct Place {
    bool everything;
    std::set<std::string> resources;
    bool active = false;
    std::coroutine_handle<> waiting{};
  };
  using Places = std::list<Place>;

 public:
  // Held while the turn lasts.
  class Turn {
   public:
    Turn(Turns* turns, Places::iterator place) : turns_(turns), place_(place) {}
    Turn(Turn&& other) noexcept
        : turns_(std::exchange(other.turns_, nullptr)), place_(other.place_) {}
    Turn& operator=(Turn&&) = delete;
    ~Turn() {
      if (turns_ != nullptr) {
        turns_->Leave(place_);
      }
    }

   private:
    Turns* turns_;
    Places::iterator place_;
  };

  class Awaiter {
   public:
    Awaiter(Turns* turns, Places::iterator place) : turn_(turns, place), place_(place) {}
    bool await_ready() const { return place_->active; }
    void await_suspend(std::coroutine_handle<> handle) { place_->waiting = handle; }
    Turn await_resume() { return std::move(turn_); }

   private:
    Turn turn_;  // given up when what waits is destroyed
    Places::iterator place_;
  };

  // From now on nobody who waits gets a turn.
  void Close() { closed_ = true; }
  // Awaited, each gives the turn. Who has one must not ask for another: two could wait for each
  // other. The candidate is a resource like the agents; no agent has its name, which would only
  // make one wait for the other.
  Awaiter Take(std::set<std::string> resources) { return Enter(false, std::move(resources)); }
  Awaiter TakeCandidate() { return TakeCandidateAnd({}); }
  Awaiter TakeCandidateAnd(std::set<std::string> resources) {
    resources.insert("candidate");
    return Enter(false, std::move(resources));
  }
  Awaiter TakeEverything() { return Enter(true, {}); }

 private:
  static bool Meet(const Place& one, const Place& other) {
    if (one.everything || other.everything) {
      return true;
    }
    for (const std::string& resource : one.resources) {
      if (other.resources.contains(resource)) {
        return true;
      }
    }
    return false;
  }

  bool IsFree(Places::const_iterator place) const {
    for (auto earlier = places_.begin(); earlier != place; ++earlier) {
      if (Meet(*earlier, *place)) {
        return false;
      }
    }
    return true;
  }

  Awaiter Enter(bool everything, std::set<std::string> resources) {
    const auto place = places_.insert(places_.end(), Place{everything, std::move(resources)});
    place->active = IsFree(place);
    return {this, place};
  }

  void Leave(Places::iterator place) {
    places_.erase(place);
    // One at a time: who goes on may leave, too, and change the list.
    while (!closed_ && ResumeOne()) {
    }
  }

  bool ResumeOne() {
    for (auto place = places_.begin(); place != places_.end(); ++place) {
      if (!place->active && place->waiting && IsFree(place)) {
        place->active = true;
        place->waiting.resume();
        return true;
      }
    }
    return false;
  }

  Places places_;
  bool closed_ = false;
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_TURNS_H_
