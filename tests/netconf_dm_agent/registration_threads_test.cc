// Threads that set YANG attributes and repeat registrations while the registration task runs.

#include <atomic>
#include <thread>
#include <vector>

#include "agent_fixture.h"

namespace ncdm_test {
namespace {

class RegistrationThreadsTest : public AgentTest {
 protected:
  void SetUp() override {
    InitWithPeer();
    for (const char* path : {"a.b", "a.c", "t.{i}.name"}) {
      ASSERT_EQ(nc_dm_agent_mode_reg(const_cast<char*>(path), NC_DM_VAL_TYPE_STRING, 0, 0, nullptr,
                                     nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                0);
    }
  }

  // One run; then what it has sent is taken.
  void RunOnce() {
    nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, 1);
    ASSERT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
    while (!peer().IsQuiet()) Take(peer().Receive());
  }
  void RunUntilNothingWaits() {
    do {
      RunOnce();
    } while (!PendingTexts().empty());
  }

  void Take(const Frame& frame) {
    ++messages_;
    if (frame.type() != NC_DM_MSG_TYPE_REG_YANG_ATTR) return;
    BodyReader body(frame.body);
    body.Int32();
    body.Text();
    last_value_ = body.Text();
  }

  // What the library does at a reconnection, but for the socket.
  static void Repeat() {
    EXPECT_EQ(nc_dm_agent_re_reg_server(), 0);
    EXPECT_EQ(nc_dm_agent_re_reg_yang_attr_server(), 0);
  }

  static std::string ValueInTree() {
    return nc_dm_agent_get_yang_attr("m", NC_DM_YANG_ATTR_REVISION)->attr;
  }

  DebugMask silent_{0};
  std::string last_value_;
  int messages_ = 0;
};

constexpr int kRounds = 40;
constexpr int kSettings = 50;

void SetAttribute(int thread, int round) {
  for (int i = 0; i < kSettings; ++i) {
    const std::string value = std::to_string(thread) + "-" + std::to_string(round * kSettings + i);
    nc_dm_agent_yang_attr_reg("m", NC_DM_YANG_ATTR_REVISION, value.c_str());
  }
}

// Whoever was last, and whatever was repeated in between: the server ends with what the tree holds.
TEST_F(RegistrationThreadsTest, TheLastValueOfAnAttributeIsTheLastThatIsSent) {
  for (int round = 0; round < kRounds; ++round) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) threads.emplace_back(SetAttribute, t, round);
    for (int i = 0; i < 5; ++i) {
      Repeat();
      RunOnce();
    }
    for (std::thread& thread : threads) thread.join();
    RunUntilNothingWaits();
    ASSERT_EQ(last_value_, ValueInTree()) << "round " << round;
  }
}

TEST_F(RegistrationThreadsTest, AnAttributeChangedBetweenARepetitionAndItsRunIsSentAsItIsNow) {
  SetAttribute(1, 1);
  Repeat();
  nc_dm_agent_yang_attr_reg("m", NC_DM_YANG_ATTR_REVISION, "new");
  RunUntilNothingWaits();
  EXPECT_EQ(last_value_, "new");
}

// A repetition frees what is left of the one before it, while a run lets the producers in.
TEST_F(RegistrationThreadsTest, RepetitionsOfOtherThreadsLoseNothing) {
  std::atomic<bool> stop = false;
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&stop] {
      while (!stop) Repeat();
    });
  }
  for (int i = 0; i < 200; ++i) RunOnce();
  stop = true;
  for (std::thread& thread : threads) thread.join();
  messages_ = 0;
  Repeat();
  RunUntilNothingWaits();
  EXPECT_GE(messages_, 3);
}

}  // namespace
}  // namespace ncdm_test
