// Servers that never read, close, split, flood and talk nonsense: the agent never holds the
// application's event loop, its memory and its descriptors stay, and the next server that behaves
// finds everything.

#include "application_changes.h"
#include "bad_servers.h"
#include "held_paths.h"
#include "recording.h"
#include "task_times.h"

namespace ncdm_test {
namespace {

using std::chrono::milliseconds;
using namespace ncdm::server;  // NOLINT: requests

constexpr int kServers = static_cast<int>(BadServers::kBehaviours.size());
constexpr milliseconds kShortRun{kIsSanitized ? 2000 : 4000};
constexpr int kRoundsOfShortRun = 8;
constexpr milliseconds kShortestTurn{20};
constexpr milliseconds kLongestTurn{5000};
// So that an answer is many messages. One request is read in one turn of the loop, however much it
// asks for.
constexpr int kRoutes = kIsSanitized ? 10 : 200;
constexpr milliseconds kBetweenLooks{20};

constexpr std::int64_t kLongestHoldNs = (kIsSanitized ? 100 : 10) * std::int64_t{1000000};
// What the agent may take for answers and registrations that wait for a server.
constexpr std::int64_t kMostHeap = std::int64_t{4} * 1024 * 1024;

class HostileServersTest : public ModelDevice, public testing::Test {
 protected:
  HostileServersTest()
      : turn_(std::clamp(run_time_ / (kRoundsOfShortRun * kServers), kShortestTurn, kLongestTurn)) {
    device().agent().set_before_turn([this] { times_.Attach(); });
  }

  void LookAtHeap() {
    const auto now = SoakClock::now();
    if (now < next_look_) return;
    next_look_ = now + kBetweenLooks;
    app().ForgetCalls();
    most_heap_ = std::max(most_heap_, ReadProcessFigures().heap_bytes - heap_at_start_);
  }

  // Whatever the last server has left behind.
  void ReturnOfAGoodServer() {
    device().StartServer();
    ASSERT_NO_FATAL_FAILURE(device().WaitUntilRegistered());
    // What was collected in halves goes with what executes next.
    device().Call(EditSubtree({}));
    EXPECT_TRUE(device().Call(ReadValues({})).ok());
    EXPECT_EQ(HeldModel(*device().server().FindAgent(Device::kName)), RegisteredModel());
    CompareEverything();
    for (int i = 0; i < 20; ++i) {
      const ModelRequest request = random_.Next();
      ASSERT_EQ(Check(request), "") << request.Text();
    }
  }

  void PlayRound() {
    changes_.Routes(kRoutes);
    ASSERT_NO_FATAL_FAILURE(device().WaitUntilRegistered());
    for (const BadServers::Behaviour& behaviour : BadServers::kBehaviours) {
      SCOPED_TRACE(behaviour.name);
      ASSERT_EQ(Check(BadServers::EditThatTheySend()), "");
      changes_.Several(10);
      device().StopServer();
      (bad_.*behaviour.play)(turn_);
      ASSERT_NO_FATAL_FAILURE(ReturnOfAGoodServer());
    }
    ASSERT_NO_FATAL_FAILURE(changes_.WithdrawEverything());
    recording_.Sample();
    ASSERT_NO_FATAL_FAILURE(changes_.PutAgain());
  }

  milliseconds RoundTime() const { return turn_ * kServers; }

  const milliseconds run_time_ = RunTime(kShortRun);
  const milliseconds turn_;
  TaskTimes times_;
  Recording recording_{static_cast<std::size_t>(run_time_ / kShortestTurn)};
  RandomRequests random_{Seed(), &model()};
  ApplicationChanges changes_{this, &random_};
  BadServers bad_{this, &random_, [this] { LookAtHeap(); }};
  SoakClock::time_point next_look_{};
  std::int64_t heap_at_start_ = 0;
  std::int64_t most_heap_ = 0;
};

TEST_F(HostileServersTest, LoopIsFreeAndEverythingIsThereAfterwards) {
  SCOPED_TRACE("seed " + std::to_string(Seed()));
  Put();
  ASSERT_NO_FATAL_FAILURE(Start());
  heap_at_start_ = ReadProcessFigures().heap_bytes;
  const int rounds = std::max(static_cast<int>(run_time_ / RoundTime()), kRoundsOfShortRun);
  for (int round = 0; round < rounds; ++round) {
    ASSERT_NO_FATAL_FAILURE(PlayRound());
    ASSERT_FALSE(HasFailure());
  }
  recording_.ExpectFlat();
  // A virtual machine that is stopped for a moment counts that as the thread's own time. So a time
  // is judged where somebody asked for a measurement, and not in the short run among the other
  // tests.
  if (run_time_ > kShortRun) {
    EXPECT_LE(times_.Longest().held, kLongestHoldNs);
  }
  EXPECT_LE(most_heap_, kMostHeap);
  EXPECT_GT(bad_.closed_by_agent(), 0);
  printf(
      "hostile: %d rounds of %d servers, %d connections closed by them, %d by the agent; "
      "at most %lld KiB above the start; %s; %s\n",
      rounds, kServers, bad_.closed_by_server(), bad_.closed_by_agent(),
      static_cast<long long>(most_heap_ / 1024), times_.Text().c_str(), recording_.Line().c_str());
}

}  // namespace
}  // namespace ncdm_test
