// Registration of many paths: how fast they go out at the start and after a reconnection, and how
// long another thread that registers meanwhile is held up.

#include <algorithm>
#include <string>
#include <string_view>
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

// One run of registrations as the server sees it.
struct Announced {
  std::int64_t first_ns = 0;
  std::int64_t last_ns = 0;
  std::vector<std::string> frames;
};

// Takes REG frames until there are `count`.
Announced ReceivePaths(Link* link, int count, bool keep) {
  Announced announced;
  int paths = 0;
  link->ReceiveWhile(
      [&](const nc_dm_msg_head_t& head, std::string_view frame) {
        if (head.type != NC_DM_MSG_TYPE_REG) return true;
        announced.last_ns = NowNs();
        if (paths == 0) announced.first_ns = announced.last_ns;
        if (keep) announced.frames.emplace_back(frame);
        return ++paths < count;
      },
      kTimeoutMs);
  return announced;
}

double DurationOf(const Announced& announced) {
  return static_cast<double>(announced.last_ns - announced.first_ns);
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
    bare.link().Send(recorded.request.bytes);
    samples.Add(DurationOf(ReceivePaths(&bare.link(), static_cast<int>(frames.size()), false)));
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
  Samples again_cpu;
  std::vector<std::string> frames;
  for (int i = 0; i < starts; ++i) {
    AgentProcess agent(ModelOf(false));
    const int count = RegisteredPaths(agent.model());
    Place(0, placement);
    Place(agent.pid(), placement);
    const Announced announced = ReceivePaths(&agent.link(), count, true);
    frames = announced.frames;
    const auto registration = static_cast<double>(agent.Reported("registration_ns"));
    calls.Add(registration);
    sent.Add(DurationOf(announced));
    with_calls.Add(registration + DurationOf(announced));
    for (int j = 0; j < reconnections && i == 0; ++j) {
      const std::int64_t cpu = agent.CpuNs();
      agent.Reconnect();
      again.Add(DurationOf(ReceivePaths(&agent.link(), count, false)));
      again_cpu.Add(static_cast<double>(agent.CpuNs() - cpu));
    }
    Place(0, Placement::kUnpinned);
  }
  const Samples floor = Floor(frames, placement, 15);
  results->Add(RegistrationFigure("register-calls", placement, calls, floor));
  results->Add(RegistrationFigure("register-send", placement, sent, floor));
  results->Add(RegistrationFigure("register", placement, with_calls, floor));
  results->Add(RegistrationFigure("reconnect-send", placement, again, floor));
  results->Add(RegistrationFigure("reconnect-cpu", placement, again_cpu, floor));
}

}  // namespace

void MeasureRegistration(const Settings& settings, Results* results) {
  if (!settings.Wants("register")) return;
  for (const Placement placement : kPlacements) {
    try {
      MeasureAt(placement, settings, results);
    } catch (const LinkError& error) {
      Place(0, Placement::kUnpinned);
      Figure failed;
      failed.name = "register";
      failed.n = kPaths;
      failed.placement = NameOf(placement);
      failed.variant = std::string("failed: ") + error.what();
      failed.unit = "us";
      results->Add(std::move(failed));
    }
  }
}

void MeasureHold(const Settings& settings, Results* results) {
  if (!settings.Wants("hold")) return;
  Samples held;
  Samples wall;
  for (int i = 0; i < (settings.quick ? 1 : 3); ++i) {
    AgentProcess agent(ModelOf(true));
    const int count = RegisteredPaths(agent.model());
    ReceivePaths(&agent.link(), count, false);
    agent.Reconnect();
    ReceivePaths(&agent.link(), count, false);
    agent.Stop();
    held.Add(static_cast<double>(agent.Reported("hold_ns")));
    wall.Add(static_cast<double>(agent.Reported("hold_wall_ns")));
  }
  for (const auto& [name, samples] : {std::pair{"hold", &held}, std::pair{"hold-wall", &wall}}) {
    Figure figure;
    figure.name = name;
    figure.n = kPaths;
    figure.placement = NameOf(Placement::kUnpinned);
    figure.unit = "us";
    figure.median = samples->Median() / kMicrosecond;
    figure.p99 = samples->P99() / kMicrosecond;
    results->Add(std::move(figure));
  }
}

}  // namespace bench
