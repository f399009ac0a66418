// Four threads of the application that use every registration call, while the event loop edits,
// reads and reconnects: nothing stands still, no registration is lost, and nothing else changes.
// Built with the thread sanitizer it tells as well that no two of them touch the same thing.

#include <algorithm>
#include <memory>
#include <set>

#include "held_paths.h"
#include "integration/model_device.h"
#include "integration/random_requests.h"
#include "registrar.h"
#include "run_options.h"
#include "watchdog.h"

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: requests and answers
using std::chrono::milliseconds;

constexpr milliseconds kShortRun{3000};
constexpr milliseconds kLongestRound{1000};
constexpr int kRoundsOfShortRun = 6;
constexpr int kThreads = 4;

class ThreadsTest : public ModelDevice, public testing::Test {
 protected:
  ThreadsTest() : round_(std::min(kLongestRound, run_time_ / kRoundsOfShortRun)) {}

  void StartThreads() {
    stop_ = false;
    for (const auto& registrar : registrars_) {
      threads_.emplace_back([this, &registrar] { registrar->Run(turns_, stop_); });
    }
  }

  void JoinThreads() {
    stop_ = true;
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
  }

  // Without a look at the queue, which the threads are using.
  void LoseServer() {
    ++losses_;
    if (random_.Chance(50)) {
      device().server().Disconnect(Device::kName);
    } else {
      device().StopServer();
      device().StartServer();
    }
    ASSERT_TRUE(device().RunUntil([&] { return device().IsConnected(); }));
  }

  // Of the threads' own parts nobody knows at this moment what the answer should be.
  void ReadParts() {
    const std::string part = "part" + std::to_string(random_.Below(kThreads));
    EXPECT_TRUE(device().Call(ReadValues({{.name = part}})).ok());
    EXPECT_TRUE(device().Call(FindIds({{.name = part + ".list.key", .value = "7"}})).ok());
    EXPECT_TRUE(device().Call(Confirmed(Commit())).ok());
    // All threads look at the bits. This one prints nothing.
    constexpr int kUnusedBit = 4;
    EXPECT_TRUE(device().Call(Confirmed(SwitchDebug(kUnusedBit, random_.Chance(50)))).ok());
  }

  void Step() {
    ++turns_;
    device().agent().SkipTime();
    const int kind = random_.Below(1000);
    if (kind < 900) {
      const ModelRequest request = random_.Next();
      ASSERT_EQ(Check(request), "") << request.Text();
    } else if (kind < 990) {
      ReadParts();
    } else {
      ASSERT_NO_FATAL_FAILURE(LoseServer());
    }
  }

  void RunRound() {
    StartThreads();
    LoseServer();
    const auto end = SoakClock::now() + round_;
    while (SoakClock::now() < end && !HasFailure()) Step();
    JoinThreads();
    if (!HasFailure()) CompareAll();
  }

  void CompareAll() {
    ASSERT_NO_FATAL_FAILURE(device().WaitUntilRegistered());
    CompareData();
    std::vector<std::string> expected = RegisteredModel();
    for (const auto& registrar : registrars_) {
      EXPECT_EQ(registrar->failures(), 0);
      const std::vector<std::string> own = registrar->Announced();
      expected.insert(expected.end(), own.begin(), own.end());
      for (const auto& [key, ids] : registrar->instances()) EXPECT_EQ(IdsOf(key), ids) << key;
    }
    std::ranges::sort(expected);
    EXPECT_EQ(HeldModel(*device().server().FindAgent(Device::kName)), expected);
  }

  // By a read and by a lookup, which takes another way through the tree.
  std::set<std::int64_t> IdsOf(const std::string& key) {
    std::set<std::int64_t> ids;
    for (const Value& value : device().Call(ReadValues({{.name = key}})).values) {
      const std::int64_t id = std::stoll(value.value);
      EXPECT_TRUE(ids.insert(id).second) << "twice: " << value.path;
      const Answer found = device().Call(FindIds({{.name = key, .value = value.value}}));
      EXPECT_EQ(found.ids, std::vector<Ids>{Ids{id}});
    }
    return ids;
  }

  std::vector<Watchdog::Watched> WhatShouldGoOn() const {
    std::vector<Watchdog::Watched> watched = {{"the event loop", [this] { return turns_.load(); }}};
    for (const auto& registrar : registrars_) {
      watched.push_back({"a registering thread", [&registrar] { return registrar->calls(); }});
    }
    return watched;
  }

  const milliseconds run_time_ = RunTime(kShortRun);
  const milliseconds round_;
  RandomRequests random_{Seed(), &model()};
  std::vector<std::unique_ptr<Registrar>> registrars_;
  std::vector<std::thread> threads_;
  std::atomic<std::int64_t> turns_{0};
  std::atomic<bool> stop_{false};
  int losses_ = 0;
};

TEST_F(ThreadsTest, EveryRegistrationArrivesWhileTheLoopIsBusy) {
  SCOPED_TRACE("seed " + std::to_string(Seed()));
  Put();
  ASSERT_NO_FATAL_FAILURE(Start());
  for (int i = 0; i < kThreads; ++i) registrars_.push_back(std::make_unique<Registrar>(i));
  int rounds = 0;
  const Watchdog watchdog(WhatShouldGoOn());
  for (const auto end = SoakClock::now() + run_time_; SoakClock::now() < end; ++rounds) {
    ASSERT_NO_FATAL_FAILURE(RunRound());
    ASSERT_FALSE(HasFailure());
  }
  std::int64_t calls = 0;
  for (const auto& registrar : registrars_) calls += registrar->calls();
  printf(
      "threads: %d rounds of %d threads, %lld registration calls, %lld steps of the loop, "
      "%d losses of the server\n",
      rounds, kThreads, static_cast<long long>(calls), static_cast<long long>(turns_), losses_);
}

// The whole tree goes, again and again, while the threads put into it what they can.
TEST_F(ThreadsTest, TreeMayBeTakenAwayMeanwhile) {
  SCOPED_TRACE("seed " + std::to_string(Seed()));
  Put();
  ASSERT_NO_FATAL_FAILURE(Start());
  for (int i = 0; i < kThreads; ++i) registrars_.push_back(std::make_unique<Registrar>(i));
  StartThreads();
  for (const auto end = SoakClock::now() + round_ * 2; SoakClock::now() < end;) {
    ++turns_;
    device().agent().SkipTime();
    if (random_.Chance(5)) {
      EXPECT_EQ(nc_dm_agent_unreg_all(nullptr), 0);
    }
    if (random_.Chance(5)) {
      EXPECT_EQ(DeviceApp::RegisterModel(), 0);
    }
    const Outcome outcome = device().Call(random_.Next().Build()).outcome;
    EXPECT_TRUE(outcome == Outcome::kOk || outcome == Outcome::kFault);
    app().ForgetCalls();
    device().Forget();
  }
  JoinThreads();

  // What comes after the last time is all there is.
  ASSERT_NO_FATAL_FAILURE(device().WaitUntilRegistered());
  EXPECT_EQ(nc_dm_agent_unreg_all(nullptr), 0);
  EXPECT_EQ(g_nc_agent_dm.total_node, 0U);
  EXPECT_EQ(DeviceApp::RegisterModel(), 0);
  ASSERT_NO_FATAL_FAILURE(device().Reconnect());
  EXPECT_EQ(HeldModel(*device().server().FindAgent(Device::kName)), RegisteredModel());
}

}  // namespace
}  // namespace ncdm_test
