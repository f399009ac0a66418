// Attackers against the agent, each for a number of rounds: how long the library held the event
// loop and how much memory it took is stated for each, and judged.

#include "attackers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "attacked_app.h"
#include "process_figures.h"
#include "recording.h"
#include "run_options.h"

namespace ncdm_test {
namespace {

constexpr int kShortRounds = kIsSanitized ? 1 : 2;
// A virtual machine that is stopped for a moment counts that as the thread's own time. So a round
// in which the loop was held for too long is played again: what the library does it does again.
constexpr int kTries = 3;
constexpr std::int64_t kMiB = std::int64_t{1} << 20;
constexpr std::int64_t kMostMemory = 64 * kMiB;
constexpr std::chrono::milliseconds kBetweenLooks{5};

class AttackersTest : public testing::TestWithParam<Attackers::Attack> {
 protected:
  void SetUp() override {
    device_.agent().set_before_turn([this] { times_.Attach(); });
    ASSERT_EQ(device_.StartAgent([] {
      Attackers::RegisterEverything();
      return 0;
    }),
              0);
    ASSERT_NO_FATAL_FAILURE(attackers_.Settle());
    ASSERT_GE(g_nc_agent_dm.total_node, static_cast<unsigned>(Attackers::kEntries));
    start_ = ReadProcessFigures();
  }

  void Look(bool at_once) {
    const auto now = SoakClock::now();
    if (!at_once && now < next_look_) return;
    next_look_ = now + kBetweenLooks;
    const ProcessFigures figures = ReadProcessFigures();
    most_heap_ = std::max(most_heap_, figures.heap_bytes - start_.heap_bytes);
    most_resident_ = std::max(most_resident_, figures.resident_bytes - start_.resident_bytes);
  }

  // False when the loop was held for too long.
  bool PlayOnce() {
    judge_.Forget();
    (attackers_.*GetParam().play)();
    const Hold& worst = judge_.worst();
    if (worst.share() > worst_.share() && !worst.IsTooLong()) worst_ = worst;
    if (judge_.longest().ns > longest_.ns && !worst.IsTooLong()) longest_ = judge_.longest();
    return !worst.IsTooLong();
  }

  void PlayRound() {
    for (int tries = 0; !PlayOnce(); ++tries) {
      if (HasFatalFailure()) return;
      ++played_again_;
      ASSERT_LT(tries, kTries - 1) << "the loop was held for too long: " << judge_.worst().Text();
    }
  }

  HoldJudge judge_;
  TaskTimes times_{&judge_};
  Device device_;
  Attackers attackers_{&device_, &judge_, [this](bool at_once) { Look(at_once); }};
  ProcessFigures start_;
  SoakClock::time_point next_look_{};
  std::int64_t most_heap_ = 0;
  std::int64_t most_resident_ = 0;
  Hold worst_;
  Hold longest_;
  int played_again_ = 0;
};

double MiB(std::int64_t bytes) { return static_cast<double>(bytes) / static_cast<double>(kMiB); }

TEST_P(AttackersTest, HoldNeitherTheLoopNorTheMemory) {
  const int rounds = Rounds(kShortRounds);
  const bool is_measured = rounds > kShortRounds && !kIsSanitized;
  Recording recording(static_cast<std::size_t>(rounds), "");
  for (int round = 0; round < rounds; ++round) {
    is_measured ? PlayRound() : static_cast<void>(PlayOnce());
    ASSERT_FALSE(HasFailure()) << "round " << round;
    recording.Sample();
  }
  if (is_measured) {
    recording.ExpectFlat();
    // One that is not the machine's comes more often.
    EXPECT_LE(played_again_, 3 + rounds / 50);
  }
  if (!kIsSanitized) {
    EXPECT_LE(most_heap_, kMostMemory);
    EXPECT_LE(most_resident_, kMostMemory);
  }
  printf(
      "attackers: %s: %d rounds; held longest: %s; nearest to its limit: %s; played again: %d; at "
      "most %.1f MiB of heap and %.1f resident above the start; %s\n",
      GetParam().name, rounds, longest_.Text().c_str(), worst_.Text().c_str(), played_again_,
      MiB(most_heap_), MiB(most_resident_), recording.Line().c_str());
}

INSTANTIATE_TEST_SUITE_P(Each, AttackersTest, testing::ValuesIn(Attackers::kAttacks),
                         [](const auto& param) {
                           std::string name = param.param.name;
                           std::erase_if(name, [](char c) { return !isalnum(c); });
                           return name;
                         });

// ---- The judge itself ----

TEST(HoldJudgeTest, TheLimitGrowsWithWhatATaskCarries) {
  Hold hold;
  hold.ns = kHoldNs;
  EXPECT_FALSE(hold.IsTooLong());
  ++hold.ns;
  EXPECT_TRUE(hold.IsTooLong());
  hold.elements = 1;
  EXPECT_FALSE(hold.IsTooLong());
}

TEST(HoldJudgeTest, CallbacksAreApart) {
  HoldJudge judge;
  TaskTime time;
  time.count = 1;
  time.wall = time.held = time.cpu = 3 * kHoldNs;
  judge.Before(LoopTask::kRead);
  judge.After(LoopTask::kRead, time);
  EXPECT_TRUE(judge.worst().IsTooLong());
  EXPECT_EQ(judge.worst().ns, 3 * kHoldNs);
  judge.Forget();
  judge.Before(LoopTask::kRead);
  HoldJudge::CallbackTook(2 * kHoldNs);
  judge.After(LoopTask::kRead, time);
  EXPECT_FALSE(judge.worst().IsTooLong());
  EXPECT_EQ(judge.longest().ns, kHoldNs);
}

TEST(HoldJudgeTest, SleepIsTheLibrarysWhileAThreadRuns) {
  TaskTime time;
  time.wall = time.held = 30;
  time.cpu = 10;
  EXPECT_EQ(HoldJudge::AsleepForNobody(time, {0, 0}), 20);
  EXPECT_EQ(HoldJudge::AsleepForNobody(time, {5, 0}), 15);
  EXPECT_EQ(HoldJudge::AsleepForNobody(time, {5, 15}), 0);
  EXPECT_EQ(HoldJudge::AsleepForNobody(time, {30, 30}), 0);
}

// A loaded machine lets the threads run for a slice each while the loop waits for its turn.
TEST(HoldJudgeTest, WhatAThreadDoesWhileTheLoopWaitsForAProcessorHoldsNothingUp) {
  TaskTime time;
  time.wall = 130;
  time.held = 30;
  time.cpu = 10;
  EXPECT_EQ(HoldJudge::AsleepForNobody(time, {40, 100}), 20);
  EXPECT_EQ(HoldJudge::AsleepForNobody(time, {40, 105}), 15);
}

}  // namespace
}  // namespace ncdm_test
