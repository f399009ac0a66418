#include "server/console/agent_notices.h"

#include <gtest/gtest.h>

#include "server/console/trace_line.h"

namespace ncdm::console {
namespace {

class AgentNoticesTest : public testing::Test {
 protected:
  AgentNoticesTest() { agent_.name = "model"; }

  void Connect() {
    agent_.connected = true;
    ++agent_.connections;
  }

  AgentNotices notices_;
  server::Agent agent_;
};

TEST_F(AgentNoticesTest, ComingAndGoingIsSaidOnce) {
  Connect();
  EXPECT_EQ(notices_.Take(agent_), "agent 'model' has connected");
  EXPECT_EQ(notices_.Take(agent_), "");
  agent_.complete = true;
  EXPECT_EQ(notices_.Take(agent_), "");
  agent_.connected = false;
  EXPECT_EQ(notices_.Take(agent_), "agent 'model' is gone");
  EXPECT_EQ(notices_.Take(agent_), "");
  Connect();
  EXPECT_EQ(notices_.Take(agent_), "agent 'model' has connected");
}

TEST_F(AgentNoticesTest, WhatCameAndWentBetweenTwoLooksIsLeftOut) {
  Connect();
  agent_.connected = false;
  EXPECT_EQ(notices_.Take(agent_), "");
}

TEST_F(AgentNoticesTest, AnAgentThatReconnectedIsNotANewOne) {
  Connect();
  notices_.Take(agent_);
  Connect();
  EXPECT_EQ(notices_.Take(agent_), "agent 'model' has connected anew");
}

TEST_F(AgentNoticesTest, TwoAgentsOfOneNameAreSaidToBe) {
  Connect();
  notices_.Take(agent_);
  Connect();
  agent_.takeovers = 2;
  EXPECT_EQ(notices_.Take(agent_),
            "agent 'model': 2 times a new connection took the place of one that was open; do two "
            "applications use the name?");
}

TEST(TraceLineTest, HasTheTimeAndTheAgent) {
  setenv("TZ", "UTC", 1);
  tzset();
  const std::chrono::system_clock::time_point time{std::chrono::milliseconds(50607051)};
  EXPECT_EQ(TraceLine(time, "model", "> EDIT sid=1"), "14:03:27.051 model > EDIT sid=1");
  EXPECT_EQ(TraceLine(time, "", "< REG_NAME"), "14:03:27.051 ? < REG_NAME");
  EXPECT_EQ(TraceLine(time, "a\n", "* x\n"), "14:03:27.051 a\\n * x\\n");
}

}  // namespace
}  // namespace ncdm::console
