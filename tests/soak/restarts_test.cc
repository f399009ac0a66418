// The server restarted again and again, at any moment: the agent is always back, nothing that was
// registered or announced is lost, and the process does not grow.
//
// The timers of the agent, a second each, run out at once whenever there is nothing else to do.

#include "application_changes.h"
#include "held_paths.h"
#include "lost_servers.h"
#include "recording.h"

namespace ncdm_test {
namespace {

constexpr int kShortRun = kIsSanitized ? 160 : 640;
constexpr int kLapsOfShortRun = 16;
constexpr int kLongestLap = 100;

class RestartsTest : public ModelDevice, public testing::Test {
 protected:
  RestartsTest() : lap_(std::clamp(restarts_ / kLapsOfShortRun, 1, kLongestLap)) {}

  void Announce() {
    if (random_.Chance(30)) changes_.Several(1 + random_.Below(5));
    if (random_.Chance(5)) changes_.Schema();
    // More than one run of the registration task applies.
    if (random_.Chance(1)) changes_.Several(NC_DM_REG_OBJ_BATCH * 2);
  }

  void Restart() {
    const auto moment = static_cast<Moment>(random_.Below(static_cast<int>(kMomentNames.size())));
    SCOPED_TRACE(kMomentNames.at(static_cast<std::size_t>(moment)));
    Announce();
    ASSERT_NO_FATAL_FAILURE(lost_.Lose(moment));
    if (random_.Chance(20)) Announce();
    const auto start = SoakClock::now();
    ASSERT_NO_FATAL_FAILURE(lost_.Return());
    recording_.Add(Kind::kReconnect, SoakClock::now() - start);
    ++times_.at(static_cast<std::size_t>(moment));

    ASSERT_EQ(HeldModel(*device().server().FindAgent(Device::kName)), RegisteredModel());
    const ModelRequest request = random_.Next();
    ASSERT_EQ(Check(request), "") << request.Text();
  }

  void RunLap(int restarts) {
    for (int i = 0; i < restarts && !HasFailure(); ++i) {
      ASSERT_NO_FATAL_FAILURE(Restart());
      if (i % 10 == 0) CompareEverything();
    }
    CompareEverything();
    ASSERT_NO_FATAL_FAILURE(changes_.WithdrawEverything());
    CompareEverything();
    recording_.Sample();
    ASSERT_NO_FATAL_FAILURE(changes_.PutAgain());
  }

  std::string Moments() const {
    std::string text;
    for (std::size_t i = 0; i < times_.size(); ++i) {
      text += (i == 0 ? "" : ", ") + std::to_string(times_[i]) + " " + kMomentNames[i];
    }
    return text;
  }

  const int restarts_ = Restarts(kShortRun);
  const int lap_;
  Recording recording_{static_cast<std::size_t>(restarts_ / lap_) + 1};
  RandomRequests random_{Seed(), &model()};
  ApplicationChanges changes_{this, &random_};
  LostServers lost_{this, &random_};
  std::array<int, kMomentNames.size()> times_{};
};

TEST_F(RestartsTest, AgentIsAlwaysBackWithEverything) {
  SCOPED_TRACE("seed " + std::to_string(Seed()));
  Put();
  ASSERT_NO_FATAL_FAILURE(Start());
  for (int done = 0; done < restarts_; done += lap_) {
    ASSERT_NO_FATAL_FAILURE(RunLap(std::min(lap_, restarts_ - done)));
    ASSERT_FALSE(HasFailure()) << "within " << lap_ << " restarts behind " << done;
  }
  recording_.ExpectFlat();
  const LostServers::Counts& counts = lost_.counts();
  EXPECT_GT(counts.registrations_cut, 0);
  EXPECT_GT(counts.attempts_without_socket, 0);
  EXPECT_GT(counts.edits_carried_out, 0);
  EXPECT_LT(counts.edits_carried_out, counts.edits);
  printf(
      "restarts: %d (%s); %d cut registrations, %d attempts without a socket, "
      "%d of %d edits carried out; %s\n",
      restarts_, Moments().c_str(), counts.registrations_cut, counts.attempts_without_socket,
      counts.edits_carried_out, counts.edits, recording_.Line().c_str());
}

}  // namespace
}  // namespace ncdm_test
