// Registration of many paths: how fast they go out at the start and after a reconnection, and how
// long another thread that registers meanwhile is held up.

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/clock.h"
#include "bench/replay.h"
#include "bench/scenario.h"

namespace bench {
namespace {

constexpr int kPaths = 5000;
constexpr int kTimeoutMs = 15'000;
constexpr Placement kPlacements[] = {Placement::kOneCore, Placement::kUnpinned};

Model ModelOf(bool hold_probe) {
  Model model;
  model.depth = 2;
  model.paths = kPaths;
  model.hold_probe = hold_probe;
  model.slow_start = true;
  return model;
}

// What registers one path each.
int RegisteredPaths(const Model& model) { return model.paths + model.leaves; }

// One run of registrations.
struct Announced {
  double duration_ns = 0;
  std::vector<std::string> frames;  // unless they are not kept
};

// The time that a run takes: from its first frame to the last or, where both ends share a core,
// what both use of it, as nobody else's use counts then.
class RunClock {
 public:
  RunClock(pid_t peer, Placement placement) : peer_(peer), placement_(placement), start_(Cpu()) {}

  void AtFrame() {
    last_ = NowNs();
    if (first_ == 0) first_ = last_;
  }
  double Duration() const {
    const bool shares_core = placement_ == Placement::kOneCore;
    return static_cast<double>(shares_core ? Cpu() - start_ : last_ - first_);
  }

 private:
  std::int64_t Cpu() const { return NanosecondsOf(CLOCK_PROCESS_CPUTIME_ID) + CpuNsOf(peer_); }

  pid_t peer_;
  Placement placement_;
  std::int64_t start_;
  std::int64_t first_ = 0;
  std::int64_t last_ = 0;
};

// Takes REG frames until there are `count`.
Announced ReceivePaths(Link* link, int count, bool keep, RunClock* clock) {
  Announced announced;
  int paths = 0;
  link->ReceiveWhile(
      [&](const nc_dm_msg_head_t& head, std::string_view frame) {
        if (head.type != NC_DM_MSG_TYPE_REG) return true;
        clock->AtFrame();
        if (keep) announced.frames.emplace_back(frame);
        return ++paths < count;
      },
      kTimeoutMs);
  announced.duration_ns = clock->Duration();
  return announced;
}

// The same frames from a bare loop.
Samples Floor(const std::vector<std::string>& frames, Placement placement, int rounds) {
  Recorded recorded;
  recorded.request.bytes = std::string(NC_DM_MSG_HEAD_SIZE, '\0');
  recorded.request.frame_sizes = {recorded.request.bytes.size()};
  recorded.frames = frames;
  recorded.frame_count = frames.size();
  ReplayPeer bare({recorded});
  Place(0, placement);
  Place(bare.pid(), placement);
  Samples samples;
  for (int i = 0; i < rounds; ++i) {
    RunClock clock(bare.pid(), placement);
    bare.link().Send(recorded.request.bytes);
    const auto count = static_cast<int>(frames.size());
    samples.Add(ReceivePaths(&bare.link(), count, false, &clock).duration_ns);
  }
  Place(0, Placement::kUnpinned);
  return samples;
}

constexpr double kMicrosecond = 1000;

Figure RegistrationFigure(const std::string& name, Placement placement, const Samples& agent,
                          const Samples& floor) {
  Figure figure;
  figure.name = name;
  figure.n = kPaths;
  figure.placement = NameOf(placement);
  figure.unit = "us";
  figure.median = agent.Median() / kMicrosecond;
  figure.p99 = agent.P99() / kMicrosecond;
  figure.floor = floor.Median() / kMicrosecond;
  figure.floor_p99 = floor.P99() / kMicrosecond;
  return figure;
}

void MeasureAt(Placement placement, const Settings& settings, Results* results) {
  const int starts = settings.quick ? 1 : 3;
  const int reconnections = settings.quick ? 1 : 3;
  Samples calls;
  Samples sent;
  Samples with_calls;
  Samples again;
  std::vector<std::string> frames;
  for (int i = 0; i < starts; ++i) {
    AgentProcess agent(ModelOf(false));
    const int count = RegisteredPaths(agent.model());
    Place(0, placement);
    Place(agent.pid(), placement);
    RunClock clock(agent.pid(), placement);
    const Announced announced = ReceivePaths(&agent.link(), count, i == 0, &clock);
    if (i == 0) frames = announced.frames;
    const auto registration = static_cast<double>(agent.Reported("registration_ns"));
    calls.Add(registration);
    sent.Add(announced.duration_ns);
    with_calls.Add(registration + announced.duration_ns);
    for (int j = 0; j < reconnections && i == 0; ++j) {
      RunClock clock_again(agent.pid(), placement);
      agent.Reconnect();
      again.Add(ReceivePaths(&agent.link(), count, false, &clock_again).duration_ns);
    }
    Place(0, Placement::kUnpinned);
  }
  const Samples floor = Floor(frames, placement, 15);
  results->Add(RegistrationFigure("register-calls", placement, calls, floor));
  results->Add(RegistrationFigure("register-send", placement, sent, floor));
  results->Add(RegistrationFigure("register", placement, with_calls, floor));
  results->Add(RegistrationFigure("reconnect", placement, again, floor));
}

void AddFailure(const std::string& name, Placement placement, const std::string& error,
                Results* results) {
  Place(0, Placement::kUnpinned);
  Figure failed;
  failed.name = name;
  failed.n = kPaths;
  failed.placement = NameOf(placement);
  failed.error = error;
  results->Add(std::move(failed));
}

// Nanoseconds: held by the library, and on the clock.
std::pair<double, double> LongestHold() {
  AgentProcess agent(ModelOf(true));
  const int count = RegisteredPaths(agent.model());
  RunClock clock(agent.pid(), Placement::kUnpinned);
  ReceivePaths(&agent.link(), count, false, &clock);
  agent.Reconnect();
  ReceivePaths(&agent.link(), count, false, &clock);
  agent.Stop();
  return {static_cast<double>(agent.Reported("hold_ns")),
          static_cast<double>(agent.Reported("hold_wall_ns"))};
}

void AddHold(const std::string& name, const Samples& samples, Results* results) {
  Figure figure;
  figure.name = name;
  figure.n = kPaths;
  figure.placement = NameOf(Placement::kUnpinned);
  figure.unit = "us";
  figure.median = samples.Median() / kMicrosecond;
  figure.p99 = samples.P99() / kMicrosecond;
  results->Add(std::move(figure));
}

}  // namespace

void MeasureRegistration(const Settings& settings, Results* results) {
  if (!settings.Wants("register")) return;
  for (const Placement placement : kPlacements) {
    try {
      MeasureAt(placement, settings, results);
    } catch (const LinkError& error) {
      AddFailure("register", placement, error.what(), results);
    }
  }
}

void MeasureHold(const Settings& settings, Results* results) {
  if (!settings.Wants("hold")) return;
  Samples held;
  Samples wall;
  try {
    for (int i = 0; i < (settings.quick ? 1 : 3); ++i) {
      const auto [held_ns, wall_ns] = LongestHold();
      held.Add(held_ns);
      wall.Add(wall_ns);
    }
  } catch (const LinkError& error) {
    AddFailure("hold", Placement::kUnpinned, error.what(), results);
    return;
  }
  AddHold("hold", held, results);
  AddHold("hold-wall", wall, results);
}

}  // namespace bench
