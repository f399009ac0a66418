#include "bench/exchange.h"

#include <algorithm>

#include "bench/clock.h"
#include "bench/replay.h"

namespace bench {
namespace {

constexpr std::size_t kRecordedRounds = 8;
constexpr std::size_t kRecordedFrames = 4096;
constexpr int kRoundsOfTurn = 50;

// Plays the rounds of one end of the comparison.
class Player {
 public:
  Player(Link* link, const std::vector<Step>& steps, std::size_t round_count)
      : link_(*link), steps_(steps), round_count_(round_count) {}

  void Play() {
    for (const Step& step : steps_) Exchange(step.requests[round_ % round_count_]);
    ++round_;
  }

  void Measure(std::vector<StepResult>* results, Samples StepResult::*samples) {
    for (std::size_t i = 0; i < steps_.size(); ++i) {
      const std::int64_t start = NowNs();
      Exchange(steps_[i].requests[round_ % round_count_]);
      ((*results)[i].*samples).Add(static_cast<double>(NowNs() - start));
    }
    ++round_;
  }

 private:
  void Exchange(const Bytes& request) {
    link_.Send(request.bytes);
    link_.ReceiveAnswer();
  }

  Link& link_;
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
  std::size_t rounds = 0;
  while (rounds < std::min(kRecordedRounds, steps[0].requests.size()) &&
         (rounds == 0 || NowNs() - start < budget.time.count() / 10)) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
      recorded.push_back(Record(&agent->link(), steps[i].requests[rounds], &results[i].answer));
    }
    ++rounds;
  }
  ReplayPeer bare(recorded);
  Place(0, placement);
  Place(agent->pid(), placement);
  Place(bare.pid(), placement);

  Player with_agent(&agent->link(), steps, steps[0].requests.size());
  Player with_bare(&bare.link(), steps, rounds);
  with_bare.Play();
  const std::int64_t deadline = NowNs() + budget.time.count();
  while (NowNs() < deadline || static_cast<int>(results[0].agent.size()) < budget.min_samples) {
    // In turns, so that both meet the same weather; the first exchange of a turn is not counted.
    const std::int64_t turn = NowNs();
    with_agent.Play();
    const std::int64_t long_turn = 20 * (NowNs() - turn);
    const int count = long_turn > budget.time.count() ? 1 : kRoundsOfTurn;
    for (int i = 0; i < count; ++i) with_agent.Measure(&results, &StepResult::agent);
    with_bare.Play();
    for (int i = 0; i < count; ++i) with_bare.Measure(&results, &StepResult::floor);
  }
  Place(0, Placement::kUnpinned);
  return results;
}

}  // namespace bench
