// Random requests, announcements of the application and losses of the server for as long as is
// wanted, beside the model: no answer differs, and the process does not grow.

#include "application_changes.h"
#include "held_paths.h"
#include "recording.h"

namespace ncdm_test {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kShortRun{kIsSanitized ? 3000 : 4000};
// A lap ends with nothing but the schema left, which is when memory is compared.
constexpr milliseconds kLongestLap{1000};
constexpr int kLapsOfShortRun = 16;

Kind KindOf(ModelRequest::Kind kind) {
  switch (kind) {
    case ModelRequest::Kind::kEntry:
      return Kind::kEditEntry;
    case ModelRequest::Kind::kSubtree:
      return Kind::kEditSubtree;
    case ModelRequest::Kind::kFind:
      return Kind::kFind;
    default:
      return Kind::kRead;
  }
}

class SoakTest : public ModelDevice, public testing::Test {
 protected:
  SoakTest() : lap_(std::min(kLongestLap, run_time_ / kLapsOfShortRun)) {}

  template <typename Action>
  void Time(Kind kind, Action action) {
    const auto start = SoakClock::now();
    action();
    recording_.Add(kind, SoakClock::now() - start);
  }

  void Request() {
    const ModelRequest request = random_.Next();
    ASSERT_EQ(Check(request), "") << request.Text();
    recording_.Add(KindOf(request.kind), last_duration());
  }

  void Announce() {
    changes_.Several(1 + random_.Below(20));
    if (random_.Chance(5)) changes_.Schema();
    Time(Kind::kAnnounce, [&] { device().WaitUntilRegistered(); });
  }

  // The connection is lost, or the server itself, with announcements in the queue or without.
  void LoseServer() {
    if (random_.Chance(50)) changes_.Several(random_.Below(20));
    Time(Kind::kReconnect, [&] {
      if (random_.Chance(50)) {
        device().Reconnect();
      } else {
        device().StopServer();
        device().StartServer();
        device().WaitUntilRegistered();
      }
    });
    EXPECT_EQ(HeldModel(*device().server().FindAgent(Device::kName)), RegisteredModel());
  }

  void Step() {
    const int kind = random_.Below(1000);
    if (kind < 965) {
      Request();
    } else if (kind < 995) {
      Announce();
    } else {
      LoseServer();
    }
  }

  void RunLap() {
    const auto end = SoakClock::now() + lap_;
    while (SoakClock::now() < end && !HasFailure()) {
      ASSERT_NO_FATAL_FAILURE(Step());
    }
    CompareEverything();
    ASSERT_NO_FATAL_FAILURE(changes_.WithdrawEverything());
    CompareEverything();
    recording_.Sample();
    ASSERT_NO_FATAL_FAILURE(changes_.PutAgain());
    CompareEverything();
  }

  const milliseconds run_time_ = RunTime(kShortRun);
  const milliseconds lap_;
  Recording recording_{static_cast<std::size_t>(run_time_ / lap_) + 1};
  RandomRequests random_{Seed(), &model()};
  ApplicationChanges changes_{this, &random_};
};

TEST_F(SoakTest, AgreesWithTheModelAndStaysFlat) {
  SCOPED_TRACE("seed " + std::to_string(Seed()));
  Put();
  ASSERT_NO_FATAL_FAILURE(Start());
  const auto end = SoakClock::now() + run_time_;
  while (SoakClock::now() < end) {
    ASSERT_NO_FATAL_FAILURE(RunLap());
    ASSERT_FALSE(HasFailure());
  }
  recording_.ExpectFlat();
  printf("soak: %s\n", recording_.Line().c_str());
}

}  // namespace
}  // namespace ncdm_test
