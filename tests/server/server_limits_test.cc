// What an agent sends, however much, is bounded in memory and in the time of one turn.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "server/server.h"
#include "support/temp_dir.h"
#include "tests/server/fake_agent.h"
#include "tests/server/no_descriptors.h"

namespace ncdm::server {
namespace {

using namespace std::chrono_literals;
using ncdm_test::FakeAgent;
using ncdm_test::I32;
using ncdm_test::Lv;
using ncdm_test::RawFrame;
using testing::HasSubstr;

constexpr auto kPatience = 20s;

std::string Registration(const std::string& path) {
  return RawFrame(2, -1, 1, 0, 0, I32(0) + Lv(path));
}

class ServerLimitsTest : public testing::Test {
 protected:
  ServerLimitsTest() { StartServer({}); }

  void StartServer(Server::Options options) {
    server_.reset();
    options.root = directory_.path();
    options.trace = [this](std::string_view, std::string_view line) {
      if (line.starts_with("*")) {
        ends_.emplace_back(line);
      }
    };
    server_ = std::make_unique<Server>(std::move(options));
  }

  std::unique_ptr<FakeAgent> Connect(const std::string& name) {
    auto agent = std::make_unique<FakeAgent>(directory_.path(), name);
    EXPECT_TRUE(server_->RunUntil([&] { return server_->IsConnected(name); }, kPatience));
    return agent;
  }

  // Connects, announces and goes.
  void Visit(const std::string& name, const std::vector<std::string>& paths) {
    const auto agent = Connect(name);
    for (const std::string& path : paths) {
      agent->Register(path);
      server_->RunOnce(0ms);
    }
    agent->Close();
    EXPECT_TRUE(server_->RunUntil([&] { return !server_->IsConnected(name); }, kPatience));
  }

  // Sends a message again and again without reading, until the server hangs up. False when it
  // takes this many.
  bool SendUntilClosed(const FakeAgent& agent, const std::string& name, const std::string& message,
                       std::size_t count) {
    std::string batch;
    while (batch.size() < 30000) {
      batch += message;
    }
    for (std::size_t sent = 0; sent < count; sent += batch.size() / message.size()) {
      if (send(agent.fd(), batch.data(), batch.size(), MSG_NOSIGNAL) < 0) {
        return true;
      }
      server_->RunOnce(0ms);
      if (!server_->IsConnected(name)) {
        return true;
      }
    }
    return false;
  }

  ncdm_test::TempDir directory_;
  std::vector<std::string> ends_;  // of connections, as the trace has them
  std::unique_ptr<Server> server_;
};

// ---- Memory ----

TEST_F(ServerLimitsTest, AnAgentThatDoesNotReadItsAnswersIsDisconnected) {
  StartServer({.max_output = 100000});
  const auto agent = Connect("model");
  EXPECT_TRUE(SendUntilClosed(*agent, "model", RawFrame(8, -1, 0, 0, 0, ""), 100000));
  ASSERT_EQ(ends_.size(), 1U);
  EXPECT_EQ(ends_.back(), "* does not read what it is sent");
}

TEST_F(ServerLimitsTest, NothingMoreIsSentToAnAgentThatDoesNotRead) {
  StartServer({.max_output = 100000});
  const auto agent = Connect("model");
  int sent = 0;
  while (server_->SendBytes("model", std::string(10000, 'x'))) {
    ASSERT_LT(++sent, 1000);
  }
  EXPECT_FALSE(server_->IsConnected("model"));
  EXPECT_FALSE(server_->SendFrame("model", UnregistrationAnswer()));
}

TEST_F(ServerLimitsTest, RequestsThatNobodyAnswersDoNotPileUp) {
  StartServer({.max_output = 100000});
  const auto agent = Connect("model");
  Answer last;
  for (int i = 0; i < 100000 && last.ok(); ++i) {
    last = *server_->Take(server_->Start("model", Commit(), kPatience));
  }
  EXPECT_EQ(last.error, "agent 'model' does not read what it is sent before the request was sent");
  EXPECT_FALSE(server_->IsConnected("model"));
}

TEST_F(ServerLimitsTest, AnAnswerBeyondTheLimitEndsTheConnection) {
  StartServer({.max_answer = 200000});
  const auto agent = Connect("model");
  const RequestId id = server_->Start("model", ReadValues({{.name = "a"}}), kPatience);
  const std::string segment =
      RawFrame(18, 2, 0, 1, 0, I32(9) + Lv("a") + Lv(std::string(1000, 'x')));
  EXPECT_TRUE(SendUntilClosed(*agent, "model", segment, 10000));
  const auto answer = server_->Take(id);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->outcome, Outcome::kProtocol);
  EXPECT_THAT(answer->error, HasSubstr("an answer that takes more than 200000 bytes"));
}

TEST_F(ServerLimitsTest, AnEndlessAnswerThatNobodyWaitsForIsDropped) {
  StartServer({.max_answer = 200000});
  const auto agent = Connect("model");
  EXPECT_EQ(server_->Call("model", ReadValues({{.name = "a"}}), 1ms).outcome, Outcome::kTimeout);
  const std::string segment =
      RawFrame(18, 2, 0, 1, 0, I32(9) + Lv("a") + Lv(std::string(1000, 'x')));
  EXPECT_FALSE(SendUntilClosed(*agent, "model", segment, 10000));
  EXPECT_TRUE(server_->IsConnected("model"));
}

TEST_F(ServerLimitsTest, AnnouncementsBeyondTheLimitEndTheConnection) {
  StartServer({.max_registry = 100000});
  const auto agent = Connect("model");
  for (int i = 0; i < 10000 && server_->IsConnected("model"); ++i) {
    agent->Send(Registration("a.leaf" + std::to_string(i)));
    server_->RunOnce(0ms);
  }
  ASSERT_EQ(ends_.size(), 1U);
  EXPECT_EQ(ends_.back(), "* broke the protocol: announcements that take more than 100000 bytes");
}

TEST_F(ServerLimitsTest, TheSamePathMayBeAnnouncedForEver) {
  StartServer({.max_registry = 100000});
  const auto agent = Connect("model");
  EXPECT_FALSE(SendUntilClosed(*agent, "model", Registration("a.leaf"), 100000));
  EXPECT_EQ(server_->FindAgent("model")->registry.path_count(), 1U);
}

TEST_F(ServerLimitsTest, TheOldestOfTooManyAgentsThatAreGoneIsForgotten) {
  for (std::size_t i = 0; i < Server::kMaxGoneAgents; ++i) {
    Visit("a" + std::to_string(i), {});
  }
  EXPECT_EQ(server_->Agents().size(), Server::kMaxGoneAgents);
  Visit("a0", {});  // is not the oldest any more
  EXPECT_EQ(server_->Agents().size(), Server::kMaxGoneAgents);
  Visit("one-more", {});
  EXPECT_EQ(server_->Agents().size(), Server::kMaxGoneAgents);
  EXPECT_NE(server_->FindAgent("a0"), nullptr);
  EXPECT_EQ(server_->FindAgent("a1"), nullptr);
  EXPECT_NE(server_->FindAgent("a2"), nullptr);
}

TEST_F(ServerLimitsTest, AgentsThatAreGoneHaveALimitTogether) {
  StartServer({.max_registry = 10000});
  std::vector<std::string> paths;
  for (int i = 0; i < 15; ++i) {
    paths.push_back("a.leaf" + std::to_string(i));
  }
  const auto stays = Connect("stays");
  for (int i = 0; i < 20; ++i) {
    Visit("a" + std::to_string(i), paths);
  }
  EXPECT_LT(server_->Agents().size(), 6U);
  EXPECT_GT(server_->Agents().size(), 2U);
  EXPECT_NE(server_->FindAgent("a19"), nullptr);
  EXPECT_TRUE(server_->IsConnected("stays"));
}

TEST_F(ServerLimitsTest, AgentsAreForgottenOnceTheirEndWasTold) {
  std::vector<std::string> ends;
  server_->set_agent_handler([&](const Agent& agent) {
    server_->RunOnce(0ms);  // a handler may run the loop; the agent stays until it returns
    if (!agent.connected) {
      ends.push_back(agent.name);
    }
  });
  std::vector<std::unique_ptr<FakeAgent>> agents;
  const std::size_t count = Server::kMaxGoneAgents + 10;
  for (std::size_t i = 0; i < count; ++i) {
    agents.push_back(Connect("a" + std::to_string(i)));
  }
  agents.clear();
  ASSERT_TRUE(server_->RunUntil([&] { return ends.size() == count; }, kPatience));
  ASSERT_TRUE(server_->RunUntil([&] { return server_->Agents().size() == Server::kMaxGoneAgents; },
                                kPatience));
}

TEST_F(ServerLimitsTest, ANameHasAtMost64Characters) {
  const auto agent = Connect(std::string(64, 'n'));
  const FakeAgent longer(directory_.path(), std::string(65, 'n'));
  ASSERT_TRUE(server_->RunUntil([&] { return !ends_.empty(); }, kPatience));
  EXPECT_EQ(ends_.back(), "* broke the protocol: a name of 65 characters");
  EXPECT_EQ(server_->Agents().size(), 1U);
}

TEST_F(ServerLimitsTest, PathsUpToTheLimitAreTaken) {
  const std::string deep = "a.{i}.a.{i}.a.{i}.a.{i}.a.a.a.a.a.a.a.a.a.a.a.a";
  const std::string longest(256, 'a');
  Visit("model", {deep, longest});
  EXPECT_EQ(server_->FindAgent("model")->registry.path_count(), 2U);
}

// ---- Turns ----

TEST_F(ServerLimitsTest, OneTurnHandlesAtMost64KiBOfAnAgent) {
  const auto agent = Connect("model");
  int buffer = 1 << 20;
  setsockopt(agent->fd(), SOL_SOCKET, SO_SNDBUF, &buffer, sizeof(buffer));
  std::string sent;
  for (int i = 0; sent.size() < 150000; ++i) {
    sent += Registration("a.leaf" + std::to_string(i));
  }
  const ssize_t count = send(agent->fd(), sent.data(), sent.size(), MSG_DONTWAIT);
  ASSERT_GT(count, 2 * 65536);
  std::size_t handled = 0;
  std::size_t turn = 0;
  server_->set_frame_handler([&](std::string_view, const Frame& frame) {
    turn += sizeof(frame.head) + frame.body.size();
  });
  while (handled + 100 < static_cast<std::size_t>(count)) {
    turn = 0;
    ASSERT_TRUE(server_->RunOnce(kPatience));
    EXPECT_LE(turn, 65536U + 100U);  // and what was left of a message before
    handled += turn;
  }
}

TEST_F(ServerLimitsTest, WithoutDescriptorsTheLoopDoesNotSpin) {
  const int fd = ncdm_test::ConnectToServer(directory_.path());
  const std::string name = RawFrame(4, -1, 1, 0, 0, I32(0) + Lv("late"));
  ASSERT_GT(send(fd, name.data(), name.size(), 0), 0);
  {
    const ncdm_test::NoDescriptors none;
    EXPECT_TRUE(server_->RunOnce(kPatience));
    EXPECT_TRUE(server_->NextDeadline().has_value());
    int turns = 0;
    for (const auto end = Clock::now() + 100ms; Clock::now() < end; ++turns) {
      server_->RunOnce(100ms);
    }
    EXPECT_LT(turns, 5);
  }
  EXPECT_TRUE(server_->RunUntil([&] { return server_->IsConnected("late"); }, kPatience));
  EXPECT_FALSE(server_->NextDeadline().has_value());
  close(fd);
}

// ---- Two agents of one name ----

TEST_F(ServerLimitsTest, TwoAgentsOfOneNameAreNoticed) {
  const auto first = Connect("model");
  const FakeAgent second(directory_.path(), "model");
  const Agent* agent = server_->FindAgent("model");
  ASSERT_TRUE(server_->RunUntil([&] { return agent->connections == 2; }, kPatience));
  EXPECT_EQ(agent->takeovers, 1U);
  const FakeAgent third(directory_.path(), "model");
  ASSERT_TRUE(server_->RunUntil([&] { return agent->connections == 3; }, kPatience));
  EXPECT_EQ(agent->takeovers, 2U);
}

TEST_F(ServerLimitsTest, AnAgentThatReconnectsTakesNobodysPlace) {
  const auto first = Connect("model");
  first->Send(Registration("a"));  // is still to be read when it has gone
  first->Close();
  const FakeAgent second(directory_.path(), "model");
  const Agent* agent = server_->FindAgent("model");
  ASSERT_TRUE(server_->RunUntil([&] { return agent->connections == 2; }, kPatience));
  EXPECT_EQ(agent->takeovers, 0U);
}

TEST_F(ServerLimitsTest, AFloodOfOneAgentLeavesTheOthersTheirTurns) {
  const auto flooder = Connect("flooder");
  const auto model = Connect("model");
  std::string batch;
  for (int i = 0; i < 500; ++i) {
    batch += Registration("a.b");
  }
  send(flooder->fd(), batch.data(), batch.size(), MSG_DONTWAIT);
  model->AnnounceModel();
  server_->RunOnce(kPatience);
  EXPECT_TRUE(server_->FindAgent("model")->complete);
}

}  // namespace
}  // namespace ncdm::server
