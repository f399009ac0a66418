#include "bench/exchange.h"

#include <algorithm>

#include "bench/clock.h"
#include "bench/replay.h"

namespace bench {
namespace {

constexpr std::size_t kRecordedRounds = 8;
constexpr std::size_t kRecordedFrames = 4096;
constexpr std::int64_t kMaxRoundsOfTurn = 50;
constexpr std::int64_t kLongExchangeNs = 1'000'000;

// Plays the rounds of one end of the comparison.
class Player {
 public:
  Player(Link* link, pid_t peer, const std::vector<Step>& steps, std::size_t round_count)
      : link_(*link), peer_(peer), steps_(steps), round_count_(round_count) {}

  // Where both ends share a core, an exchange takes what both use of it, unless others want the
  // core too. A long one, which they are sure to interrupt, is measured so.
  void CountCpuTime() { counts_cpu_time_ = true; }

  void Play() {
    for (const Step& step : steps_) Exchange(step.requests[round_ % round_count_]);
    ++round_;
  }

  void Measure(std::vector<StepResult>* results, Samples StepResult::*samples) {
    for (std::size_t i = 0; i < steps_.size(); ++i) {
      const std::int64_t start = Now();
      Exchange(steps_[i].requests[round_ % round_count_]);
      ((*results)[i].*samples).Add(static_cast<double>(Now() - start));
    }
    ++round_;
  }

 private:
  void Exchange(const Bytes& request) {
    link_.Send(request.bytes);
    link_.ReceiveAnswer();
  }

  std::int64_t Now() const {
    return counts_cpu_time_ ? NanosecondsOf(CLOCK_PROCESS_CPUTIME_ID) + CpuNsOf(peer_) : NowNs();
  }

  Link& link_;
  pid_t peer_;
  bool counts_cpu_time_ = false;
  const std::vector<Step>& steps_;
  std::size_t round_count_;
  std::size_t round_ = 0;
};

Recorded Record(Link* link, const Bytes& request, Received* answer) {
  Recorded recorded;
  recorded.request = request;
  link->Send(request.bytes);
  *answer = link->ReceiveAnswer(&recorded.frames, kRecordedFrames);
  recorded.frame_count = answer->frames;
  return recorded;
}

}  // namespace

Bytes Encode(const ncdm::server::Request& request) {
  Bytes encoded;
  nc_int32 sid = 1;
  for (ncdm::server::Frame frame : request.frames) {
    frame.head.sid = sid++;
    const std::string bytes = ncdm::server::EncodeFrame(frame);
    encoded.frame_sizes.push_back(bytes.size());
    encoded.bytes += bytes;
  }
  return encoded;
}

std::vector<StepResult> MeasureSteps(AgentProcess* agent, const std::vector<Step>& steps,
                                     Placement placement, const Budget& budget) {
  std::vector<StepResult> results(steps.size());
  for (std::size_t i = 0; i < steps.size(); ++i) results[i].name = steps[i].name;

  // Where one exchange takes long, one is enough for a model.
  std::vector<Recorded> recorded;
  const std::int64_t start = NowNs();
  std::int64_t round_ns = 0;
  std::size_t rounds = 0;
  while (rounds < std::min(kRecordedRounds, steps[0].requests.size()) &&
         (rounds == 0 || NowNs() - start < budget.time.count() / 10)) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
      recorded.push_back(Record(&agent->link(), steps[i].requests[rounds], &results[i].answer));
    }
    ++rounds;
    round_ns = (NowNs() - start) / static_cast<std::int64_t>(rounds);
  }
  ReplayPeer bare(recorded);
  Place(0, placement);
  Place(agent->pid(), placement);
  Place(bare.pid(), placement);

  Player with_agent(&agent->link(), agent->pid(), steps, steps[0].requests.size());
  Player with_bare(&bare.link(), bare.pid(), steps, rounds);
  if (placement == Placement::kOneCore && round_ns > kLongExchangeNs) {
    with_agent.CountCpuTime();
    with_bare.CountCpuTime();
  }
  const std::int64_t rounds_of_turn =
      std::clamp<std::int64_t>(budget.time.count() / 10 / round_ns, 1, kMaxRoundsOfTurn);

  const std::int64_t deadline = NowNs() + budget.time.count();
  while (NowNs() < deadline || static_cast<int>(results[0].agent.size()) < budget.min_samples) {
    // In turns, so that both meet the same weather. What a change of turns costs is not counted.
    if (rounds_of_turn > 1) with_agent.Play();
    for (int i = 0; i < rounds_of_turn; ++i) with_agent.Measure(&results, &StepResult::agent);
    with_bare.Play();
    for (int i = 0; i < rounds_of_turn; ++i) with_bare.Measure(&results, &StepResult::floor);
  }
  Place(0, Placement::kUnpinned);
  return results;
}

}  // namespace bench
