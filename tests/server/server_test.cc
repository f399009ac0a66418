#include "server/server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <memory>

#include "support/temp_dir.h"
#include "tests/server/fake_agent.h"

namespace ncdm::server {
namespace {

using namespace std::chrono_literals;
using ncdm_test::ConnectToServer;
using ncdm_test::FakeAgent;
using ncdm_test::I32;
using ncdm_test::I64;
using ncdm_test::Lv;
using ncdm_test::RawFrame;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr auto kTurnPatience = 20s;

// A server and agents in one thread: while the server waits, the agents work.
class ServerTest : public testing::Test {
 protected:
  ServerTest() { StartServer({}); }

  void StartServer(Server::Options options) {
    server_.reset();
    options.root = directory_.path();
    options.timeout = kTurnPatience;
    options.trace = [this](std::string_view agent, std::string_view line) {
      trace_.push_back(std::string(agent) + " " + std::string(line));
    };
    options.pump = [this] {
      const std::vector<FakeAgent*> agents = agents_;  // an agent's step may change it
      for (FakeAgent* agent : agents) {
        agent->Step();
      }
    };
    server_ = std::make_unique<Server>(std::move(options));
  }

  // An agent that works while the server waits.
  std::unique_ptr<FakeAgent> NewAgent(const std::string& name = "model",
                                      std::int32_t attributes = 0) {
    auto agent = std::make_unique<FakeAgent>(directory_.path(), name, attributes);
    agents_.push_back(agent.get());
    EXPECT_TRUE(server_->RunUntil([&] { return server_->IsConnected(name); }, kTurnPatience));
    return agent;
  }

  std::unique_ptr<FakeAgent> NewModelAgent(const std::string& name = "model") {
    auto agent = NewAgent(name);
    agent->AnnounceModel();
    EXPECT_TRUE(server_->WaitForAgent(name, kTurnPatience));
    return agent;
  }

  void Retire(FakeAgent* agent) {
    std::erase(agents_, agent);
    agent->Close();
  }

  bool RunUntil(const std::function<bool()>& done) {
    return server_->RunUntil(done, kTurnPatience);
  }

  static Request AnEdit() { return EditSubtree({EditElement{.name = "a.b", .value = "1"}}); }

  ncdm_test::TempDir directory_;
  std::vector<FakeAgent*> agents_;
  std::vector<std::string> trace_;
  std::unique_ptr<Server> server_;
};

// ---- Connections and announcements ----

TEST_F(ServerTest, KnowsAgentsByTheirNames) {
  EXPECT_THAT(server_->Agents(), IsEmpty());
  EXPECT_EQ(server_->FindAgent("model"), nullptr);
  const auto first = NewAgent("model");
  const auto second = NewAgent("other", 128);
  ASSERT_EQ(server_->Agents().size(), 2U);
  EXPECT_TRUE(server_->FindAgent("model")->connected);
  EXPECT_FALSE(server_->FindAgent("model")->restarted);
  EXPECT_TRUE(server_->FindAgent("other")->restarted);
}

TEST_F(ServerTest, KeepsWhatIsAnnounced) {
  const auto agent = NewAgent();
  agent->Register("a.{i}.b", 17);
  agent->Register("c", 0);
  agent->Module("m", 1, "2024");
  agent->Unregister("c");
  agent->Complete();
  ASSERT_TRUE(server_->WaitForAgent("model", kTurnPatience));
  const Registry& registry = server_->FindAgent("model")->registry;
  EXPECT_THAT(registry.Paths(), ElementsAre(RegisteredPath{"a.{i}.b", 17}));
  EXPECT_THAT(registry.yang_attributes(), ElementsAre(YangAttribute{1, "m", "2024"}));
}

TEST_F(ServerTest, AnswersEachCompletion) {
  const auto agent = NewAgent();
  agent->AnnounceModel();
  agent->Complete();
  ASSERT_TRUE(RunUntil([&] { return agent->messages().size() == 2; }));
  for (const auto& message : agent->messages()) {
    EXPECT_EQ(message.type, NC_DM_MSG_TYPE_REG_RSP);
    EXPECT_EQ(message.body, I32(0));
    EXPECT_EQ(message.flag, 0);
  }
}

TEST_F(ServerTest, AnswersUnregistrationAndForgets) {
  const auto agent = NewModelAgent();
  agent->UnregisterClient();
  ASSERT_TRUE(RunUntil([&] { return agent->messages().size() == 2; }));
  EXPECT_EQ(agent->messages()[1].type, NC_DM_MSG_TYPE_UNREG_CLIENT_RSP);
  EXPECT_EQ(agent->messages()[1].body, "");
  EXPECT_TRUE(server_->FindAgent("model")->unregistered);
  EXPECT_TRUE(server_->FindAgent("model")->connected);
  EXPECT_THAT(server_->FindAgent("model")->registry.Paths(), IsEmpty());

  agent->Register("new");
  ASSERT_TRUE(RunUntil([&] { return server_->FindAgent("model")->registry.path_count() == 1; }));
  EXPECT_FALSE(server_->FindAgent("model")->unregistered);
}

TEST_F(ServerTest, AnswersNothingWhenToldSo) {
  StartServer({.answer_registration = false, .answer_unregistration = false});
  const auto agent = NewModelAgent();
  agent->UnregisterClient();
  ASSERT_TRUE(RunUntil([&] { return server_->FindAgent("model")->unregistered; }));
  EXPECT_TRUE(server_->Call("model", Barrier()).ok());
  EXPECT_THAT(agent->messages(), IsEmpty());
  EXPECT_TRUE(server_->SendFrame("model", RegistrationAnswer(-7, "a")));
  ASSERT_TRUE(RunUntil([&] { return agent->messages().size() == 1; }));
  EXPECT_EQ(agent->messages()[0].body, I32(-7) + Lv("a"));
}

TEST_F(ServerTest, AgentThatComesBackStartsAfresh) {
  auto agent = NewModelAgent();
  const auto version = server_->FindAgent("model")->registry.version();
  Retire(agent.get());
  ASSERT_TRUE(RunUntil([&] { return !server_->IsConnected("model"); }));
  EXPECT_GT(server_->FindAgent("model")->registry.path_count(), 1U);  // still known

  agent = NewAgent();
  EXPECT_EQ(server_->FindAgent("model")->registry.path_count(), 0U);
  EXPECT_FALSE(server_->FindAgent("model")->complete);
  EXPECT_EQ(server_->FindAgent("model")->connections, 2U);
  // Back: complete first, and then the paths.
  agent->Complete();
  ASSERT_TRUE(RunUntil([&] { return server_->FindAgent("model")->complete; }));
  EXPECT_FALSE(server_->FindAgent("model")->settled);
  agent->Register("a");
  agent->Register("b");
  ASSERT_TRUE(server_->WaitForAgent("model", kTurnPatience));
  EXPECT_TRUE(server_->FindAgent("model")->settled);
  EXPECT_EQ(server_->FindAgent("model")->registry.path_count(), 2U);
  EXPECT_GT(server_->FindAgent("model")->registry.version(), version);
}

TEST_F(ServerTest, AgentThatAnnouncesMoreBeforeItAnswersIsNotSettledYet) {
  const auto agent = NewAgent();
  agent->Complete();
  agent->Register("a");
  int rounds = 0;
  server_->set_frame_handler([&](std::string_view, const Frame& frame) {
    // The socket took no more: the answer comes in the middle of the announcements.
    if (frame.head.type == NC_DM_MSG_TYPE_GETID_RSP && ++rounds < 3) {
      agent->Register("b" + std::to_string(rounds));
    }
  });
  ASSERT_TRUE(RunUntil([&] { return server_->FindAgent("model")->registry.path_count() == 1; }));
  agent->Register("b0");  // with the first Barrier
  ASSERT_TRUE(server_->WaitForAgent("model", kTurnPatience));
  EXPECT_EQ(rounds, 4);  // the last one alone had nothing before its answer
  EXPECT_EQ(server_->FindAgent("model")->registry.path_count(), 4U);
}

TEST_F(ServerTest, WaitingForAnAgentEndsInTime) {
  EXPECT_FALSE(server_->WaitForAgent("model", 10ms));
  const auto agent = NewAgent();
  EXPECT_FALSE(server_->WaitForAgent("model", 10ms));
  agent->Complete();  // without paths
  EXPECT_FALSE(server_->WaitForAgent("model", 10ms));
  agents_.clear();  // paths, but the agent does not answer the barrier
  agent->Register("a");
  ASSERT_TRUE(RunUntil([&] { return server_->FindAgent("model")->registry.path_count() == 1; }));
  EXPECT_FALSE(server_->WaitForAgent("model", 10ms));
}

TEST_F(ServerTest, SecondConnectionOfANameReplacesTheFirst) {
  const auto first = NewAgent();
  const auto id = server_->Start("model", AnEdit(), kTurnPatience);
  agents_.clear();
  const auto second = std::make_unique<FakeAgent>(directory_.path(), "model");
  ASSERT_TRUE(RunUntil([&] { return server_->FindAgent("model")->connections == 2; }));
  EXPECT_TRUE(server_->IsConnected("model"));
  const auto answer = server_->Take(id);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->error, "agent 'model' connected anew before it answered");
  first->Step();
  EXPECT_FALSE(first->Step());  // closed
}

TEST_F(ServerTest, AnnouncementsMayBeSplitAnywhere) {
  const auto agent = NewAgent();
  const std::string bytes =
      RawFrame(2, -1, 1, 0, 0, I32(17) + Lv("a.{i}.b")) + RawFrame(8, -1, 0, 0, 0, "");
  for (const char byte : bytes) {
    agent->Send(std::string(1, byte));
    server_->RunOnce(0ms);
  }
  ASSERT_TRUE(server_->WaitForAgent("model", kTurnPatience));
  EXPECT_THAT(server_->FindAgent("model")->registry.Paths(),
              ElementsAre(RegisteredPath{"a.{i}.b", 17}));
}

TEST_F(ServerTest, WholeModelInOneGoIsTaken) {
  constexpr std::size_t kPaths = 5000;
  const auto agent = NewAgent();
  std::string bytes;
  for (std::size_t i = 0; i < kPaths; ++i) {
    bytes += RawFrame(2, -1, 1, 0, 0, I32(0) + Lv("a.leaf" + std::to_string(i)));
  }
  bytes += RawFrame(8, -1, 0, 0, 0, "");
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t count = send(agent->fd(), bytes.data() + sent, bytes.size() - sent, MSG_DONTWAIT);
    sent += static_cast<std::size_t>(count > 0 ? count : 0);
    server_->RunOnce(0ms);
  }
  ASSERT_TRUE(server_->WaitForAgent("model", kTurnPatience));
  EXPECT_EQ(server_->FindAgent("model")->registry.path_count(), kPaths);
}

// ---- Requests ----

TEST_F(ServerTest, EditIsSentAndAnswered) {
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerEdit(request.sid, 42, 1);
  });
  const Answer answer = server_->Call("model", AnEdit());
  EXPECT_TRUE(answer.ok()) << answer.error;
  EXPECT_EQ(answer.instance, 42);
  EXPECT_EQ(answer.status, 1);
  ASSERT_EQ(agent->requests().size(), 1U);
  EXPECT_EQ(agent->requests()[0].packet_type, 10);
  EXPECT_THAT(agent->requests()[0].elements, ElementsAre("1 a.b=1"));
}

TEST_F(ServerTest, ReadIsPutTogetherFromItsSegments) {
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerValues(request.sid, {{"a", "1"}, {"b", "2"}});
    self.AnswerValues(request.sid, {{"c", "3"}});
    self.CloseValues(request.sid);
  });
  const Answer answer = server_->Call("model", ReadValues({{.name = "a"}}));
  EXPECT_TRUE(answer.ok()) << answer.error;
  EXPECT_THAT(answer.values, ElementsAre(Value{"a", "1"}, Value{"b", "2"}, Value{"c", "3"}));
  EXPECT_EQ(answer.messages, 3U);
}

TEST_F(ServerTest, LookupIsPutTogetherFromItsSegments) {
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerIds(request.sid, {{1}, {2, 3}});
    self.AnswerIds(request.sid, {{4}});
    self.CloseIds(request.sid);
  });
  const Answer answer = server_->Call("model", FindIds({{.name = "a", .value = "x"}}));
  EXPECT_THAT(answer.ids, ElementsAre(Ids{1}, Ids{2, 3}, Ids{4}));
}

TEST_F(ServerTest, FaultIsReported) {
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerFault(request.sid, -13, "mtu");
  });
  const Answer answer = server_->Call("model", AnEdit());
  EXPECT_EQ(answer.outcome, Outcome::kFault);
  EXPECT_EQ(answer.fault.code, NC_DM_FAULT_CODE_UNKNOWN_ELEM);
  EXPECT_EQ(answer.fault.path, "mtu");
  EXPECT_EQ(answer.error, "fault UNKNOWN_ELEM: mtu");
}

TEST_F(ServerTest, LargeRequestArrivesWhole) {
  const auto agent = NewModelAgent();
  std::vector<EditElement> elements;
  for (int i = 0; i < 5000; ++i) {
    elements.push_back({.name = "a.b", .value = std::string(100, 'v') + std::to_string(i)});
  }
  EXPECT_TRUE(server_->Call("model", EditSubtree(elements)).ok());
  ASSERT_EQ(agent->requests().size(), 1U);
  ASSERT_EQ(agent->requests()[0].elements.size(), 5000U);
  EXPECT_EQ(agent->requests()[0].elements[4999], "1 a.b=" + std::string(100, 'v') + "4999");
}

TEST_F(ServerTest, UnansweredRequestsEndWhenSentOrWhenConfirmed) {
  const auto agent = NewModelAgent();
  EXPECT_TRUE(server_->Call("model", ShowTree()).ok());
  EXPECT_TRUE(server_->Call("model", Confirmed(SwitchDebug(1, true))).ok());
  ASSERT_EQ(agent->messages().size(), 3U);  // behind the answer to the registration
  EXPECT_EQ(agent->messages()[1].type, NC_DM_MSG_TYPE_SHOW);
  EXPECT_EQ(agent->messages()[2].type, NC_DM_MSG_TYPE_DBG);
}

TEST_F(ServerTest, FaultOfAConfirmedRequestIsItsOutcome) {
  const auto agent = NewModelAgent();
  const RequestId id = server_->Start("model", Confirmed(ShowTree()), kTurnPatience);
  agents_.clear();
  agent->WaitAndStep();  // answers the barrier
  ASSERT_TRUE(RunUntil([&] { return server_->IsDone(id); }));
  EXPECT_TRUE(server_->Take(id)->ok());

  // Now the fault comes before the barrier's answer.
  const RequestId refused = server_->Start("model", Confirmed(ShowTree()), kTurnPatience);
  const std::int32_t sid = 1 + 2 + 0;  // the frames before were 1 (show) and 2 (barrier)
  agent->AnswerFault(sid, -6, "");
  agent->CloseIds(sid + 1);
  ASSERT_TRUE(RunUntil([&] { return server_->IsDone(refused); }));
  EXPECT_EQ(server_->Take(refused)->error, "fault INIT");
}

TEST_F(ServerTest, RequestsToOneAgentWaitTheirTurn) {
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent&, const FakeAgent::Request&) {});
  const RequestId first = server_->Start("model", AnEdit(), kTurnPatience);
  const RequestId second = server_->Start("model", ReadValues({{.name = "x"}}), kTurnPatience);
  ASSERT_TRUE(RunUntil([&] { return agent->requests().size() == 1; }));
  EXPECT_FALSE(server_->IsDone(first));
  agent->AnswerEdit(agent->requests()[0].sid, 1);
  ASSERT_TRUE(RunUntil([&] { return agent->requests().size() == 2; }));
  EXPECT_TRUE(server_->IsDone(first));
  EXPECT_FALSE(server_->IsDone(second));
  EXPECT_FALSE(server_->Take(second));
  agent->CloseValues(agent->requests()[1].sid);
  ASSERT_TRUE(RunUntil([&] { return server_->IsDone(second); }));
  EXPECT_TRUE(server_->Take(second)->ok());
  EXPECT_FALSE(server_->Take(second));  // once
}

TEST_F(ServerTest, AgentsWorkSideBySide) {
  const auto one = NewModelAgent("one");
  const auto two = NewModelAgent("two");
  one->set_answerer([](FakeAgent&, const FakeAgent::Request&) {});
  const RequestId slow = server_->Start("one", AnEdit(), kTurnPatience);
  EXPECT_TRUE(server_->Call("two", AnEdit()).ok());
  EXPECT_FALSE(server_->IsDone(slow));
  EXPECT_EQ(two->requests().size(), 1U);
}

TEST_F(ServerTest, SilentAgentRunsIntoTheTimeout) {
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent&, const FakeAgent::Request&) {});
  const Answer answer = server_->Call("model", AnEdit(), 20ms);
  EXPECT_EQ(answer.outcome, Outcome::kTimeout);
  EXPECT_EQ(answer.error, "agent 'model' did not answer in time");
  EXPECT_EQ(server_->Call("model", AnEdit(), 20ms).error,
            "agent 'model' did not answer an earlier request in time");
  // Once the late answer is there, work goes on.
  agent->AnswerEdit(agent->requests().at(0).sid, 99);
  agent->set_answerer({});
  const Answer next = server_->Call("model", AnEdit());
  EXPECT_TRUE(next.ok()) << next.error;
  EXPECT_EQ(next.instance, 0);
}

TEST_F(ServerTest, AgentThatIsNotThereIsAnErrorAtOnce) {
  const Answer answer = server_->Call("nobody", AnEdit());
  EXPECT_EQ(answer.outcome, Outcome::kDisconnected);
  EXPECT_EQ(answer.error, "agent 'nobody' is not connected");
  EXPECT_FALSE(server_->SendBytes("nobody", "x"));
  EXPECT_FALSE(server_->SendFrame("nobody", UnregistrationAnswer()));
}

TEST_F(ServerTest, AgentThatGoesAwayMeanwhileIsAnError) {
  const auto agent = NewModelAgent();
  agent->set_answerer([this](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerValues(request.sid, {{"a", "1"}});
    Retire(&self);
  });
  const RequestId id = server_->Start("model", ReadValues({{.name = "a"}}), kTurnPatience);
  const RequestId behind = server_->Start("model", AnEdit(), kTurnPatience);
  agents_.clear();
  agent->WaitAndStep();
  ASSERT_TRUE(RunUntil([&] { return server_->IsDone(id) && server_->IsDone(behind); }));
  EXPECT_EQ(server_->Take(id)->error, "agent 'model' went away before it answered");
  EXPECT_EQ(server_->Take(behind)->error, "agent 'model' went away before the request was sent");
  EXPECT_FALSE(server_->IsConnected("model"));
}

TEST_F(ServerTest, AnswerThatWasSentBeforeTheAgentWentAwayCounts) {
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerEdit(request.sid, 5);
    self.Close();
  });
  const RequestId id = server_->Start("model", AnEdit(), kTurnPatience);
  agents_.clear();
  agent->WaitAndStep();
  ASSERT_TRUE(RunUntil([&] { return server_->IsDone(id); }));
  EXPECT_EQ(server_->Take(id)->instance, 5);
}

TEST_F(ServerTest, AgentCutOffInMidMessageIsNamedSo) {
  const auto agent = NewModelAgent();
  const RequestId id = server_->Start("model", AnEdit(), kTurnPatience);
  agent->Send(RawFrame(14, 1, 0, 0, 0, "1234").substr(0, 26));
  Retire(agent.get());
  ASSERT_TRUE(RunUntil([&] { return server_->IsDone(id); }));
  EXPECT_EQ(server_->Take(id)->error,
            "agent 'model' went away in the middle of a message before it answered");
}

TEST_F(ServerTest, HandlersTellOfAgentsAndOfRequestsThatAreDone) {
  std::vector<std::string> agents;
  std::vector<RequestId> done;
  server_->set_agent_handler([&](const Agent& agent) {
    agents.push_back(agent.name + (agent.connected ? " " : " gone ") +
                     std::to_string(agent.registry.path_count()));
  });
  server_->set_done_handler([&](RequestId id) { done.push_back(id); });
  auto agent = NewAgent("b");
  EXPECT_THAT(agents, ElementsAre("b 0"));
  agent->Register("a.b");
  agent->Complete();
  ASSERT_TRUE(RunUntil([&] { return server_->FindAgent("b")->complete; }));
  EXPECT_EQ(agents.back(), "b 1");
  const RequestId request = server_->Start("b", AnEdit(), kTurnPatience);
  EXPECT_TRUE(server_->NextDeadline().has_value());
  ASSERT_TRUE(RunUntil([&] { return !done.empty(); }));
  EXPECT_THAT(done, ElementsAre(request));
  EXPECT_FALSE(server_->NextDeadline().has_value());
  Retire(agent.get());
  ASSERT_TRUE(RunUntil([&] { return agents.back() == "b gone 1"; }));
}

TEST_F(ServerTest, RequestThatIsDoneAtOnceIsToldByTheNextRun) {
  std::vector<RequestId> done;
  server_->set_done_handler([&](RequestId id) { done.push_back(id); });
  const RequestId request = server_->Start("nobody", AnEdit(), kTurnPatience);
  EXPECT_THAT(done, IsEmpty());
  const auto deadline = server_->NextDeadline();
  EXPECT_LE(deadline, Clock::now());
  server_->RunOnce(20s);
  EXPECT_THAT(done, ElementsAre(request));
}

TEST_F(ServerTest, TheAnswerOfAWaitingCallIsNotTakenAway) {
  const auto agent = NewModelAgent();
  std::vector<RequestId> done;
  server_->set_done_handler([&](RequestId id) {
    done.push_back(id);
    server_->Take(id);
  });
  EXPECT_TRUE(server_->Call("model", AnEdit()).ok());
  EXPECT_FALSE(server_->Call("nobody", AnEdit()).ok());
  server_->RunOnce(0ms);
  EXPECT_THAT(done, IsEmpty());
}

TEST_F(ServerTest, ConnectedAgentsComeInTheOrderOfTheirConnections) {
  auto first = NewAgent("b");
  auto second = NewAgent("a");
  const auto names = [&] {
    std::vector<std::string> connected;
    for (const Agent* agent : server_->ConnectedAgents()) {
      connected.push_back(agent->name);
    }
    return connected;
  };
  EXPECT_THAT(names(), ElementsAre("b", "a"));
  Retire(first.get());
  ASSERT_TRUE(RunUntil([&] { return !server_->IsConnected("b"); }));
  EXPECT_THAT(names(), ElementsAre("a"));
  first = NewAgent("b");
  EXPECT_THAT(names(), ElementsAre("a", "b"));
}

TEST_F(ServerTest, InterruptionEndsACall) {
  bool interrupted = false;
  StartServer({.interrupted = [&] { return interrupted; }});
  const auto agent = NewModelAgent();
  agent->set_answerer([&](FakeAgent&, const FakeAgent::Request&) { interrupted = true; });
  const Answer answer = server_->Call("model", AnEdit());
  EXPECT_EQ(answer.outcome, Outcome::kTimeout);
  EXPECT_EQ(answer.error, "interrupted");
  EXPECT_FALSE(server_->WaitForAgent("other", kTurnPatience));
}

TEST_F(ServerTest, DisconnectingAnAgentEndsItsRequests) {
  const auto agent = NewModelAgent();
  const RequestId id = server_->Start("model", AnEdit(), kTurnPatience);
  server_->Disconnect("model");
  EXPECT_EQ(server_->Take(id)->error, "agent 'model' was disconnected before it answered");
  EXPECT_FALSE(server_->IsConnected("model"));
  agents_.clear();
  agent->Step();
  EXPECT_FALSE(agent->Step());
  server_->Disconnect("model");  // again: nothing
}

// ---- Broken peers ----

struct BrokenMessage {
  const char* name;
  std::string bytes;
  std::string reason;
};

// For the names of the tests: the bytes say little there.
void PrintTo(const BrokenMessage& message, std::ostream* stream) { *stream << message.name; }

class BrokenPeerTest : public ServerTest, public testing::WithParamInterface<BrokenMessage> {};

TEST_P(BrokenPeerTest, IsClosedWithAReason) {
  const auto agent = NewModelAgent();
  const RequestId id = server_->Start("model", AnEdit(), kTurnPatience);
  agents_.clear();
  agent->Send(GetParam().bytes);
  ASSERT_TRUE(RunUntil([&] { return server_->IsDone(id); }));
  const auto answer = server_->Take(id);
  EXPECT_EQ(answer->outcome, Outcome::kProtocol);
  EXPECT_EQ(answer->error,
            "agent 'model' broke the protocol: " + GetParam().reason + " before it answered");
  EXPECT_FALSE(server_->IsConnected("model"));
}

INSTANTIATE_TEST_SUITE_P(
    All, BrokenPeerTest,
    testing::Values(
        BrokenMessage{"UnknownType", RawFrame(99, 0, 0, 0, 0, ""), "unknown message type 99"},
        BrokenMessage{"Request", RawFrame(13, 0, 0, 0, 0, ""),
                      "a message of type EDIT that agents do not send"},
        BrokenMessage{"ServersAnswer", RawFrame(3, 0, 0, 0, 0, ""),
                      "a message of type REG_RSP that agents do not send"},
        BrokenMessage{"SecondName", RawFrame(4, -1, 1, 0, 0, I32(0) + Lv("again")),
                      "a second name"},
        BrokenMessage{"PathIsMissing", RawFrame(2, -1, 0, 0, 0, I32(0)),
                      "a registration without a path"},
        BrokenMessage{"PathIsEmpty", RawFrame(9, -1, 1, 0, 0, I32(0) + Lv("")),
                      "a registration without a path"},
        BrokenMessage{"PathIsTooLong", RawFrame(2, -1, 1, 0, 0, I32(0) + Lv(std::string(257, 'a'))),
                      "a path of 257 characters"},
        BrokenMessage{"PathIsTooDeep",
                      RawFrame(2, -1, 1, 0, 0, I32(0) + Lv("a.a.a.a.a.a.a.a.a.a.a.a.a.a.a.a.a")),
                      "a path of 17 components"},
        BrokenMessage{"PathIsDots", RawFrame(2, -1, 1, 0, 0, I32(0) + Lv(std::string(256, '.'))),
                      "a path of 257 components"},
        BrokenMessage{"AnswerOfAnotherKind", RawFrame(18, 2, 0, 0, 0, I32(10)),
                      "an answer of type FILTER_RSP where EDIT_RSP was due"},
        BrokenMessage{"SpareByte", RawFrame(14, 2, 0, 0, 0, I32(3) + I64(0) + I32(0) + "x"),
                      "1 spare bytes behind the last field"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(ServerTest, NamelessPeersAreClosed) {
  for (const std::string& bytes :
       {RawFrame(8, -1, 0, 0, 0, ""), RawFrame(4, -1, 1, 0, 0, I32(0) + Lv("")),
        RawFrame(4, -1, 0, 0, 0, I32(0))}) {
    trace_.clear();
    const int fd = ConnectToServer(directory_.path());
    ASSERT_EQ(send(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    ASSERT_TRUE(RunUntil([&] { return !trace_.empty(); }));
    EXPECT_THAT(trace_.back(), HasSubstr(" * broke the protocol: "));
    char byte = 0;
    EXPECT_EQ(recv(fd, &byte, 1, 0), 0);
    close(fd);
  }
  EXPECT_THAT(server_->Agents(), IsEmpty());
}

// ---- Below requests, and around them ----

TEST_F(ServerTest, AnAgentThatGoesWhileItTakesAnothersPlaceIsGone) {
  const auto first = NewAgent("model");
  FakeAgent second(directory_.path(), "model");
  server_->set_trace([&](std::string_view, std::string_view line) {
    if (line == "* connected anew") {
      second.Close();
      server_->RunOnce(20s);
    }
  });
  ASSERT_TRUE(RunUntil([&] { return !server_->IsConnected("model"); }));
  server_->RunOnce(0ms);
  EXPECT_FALSE(server_->IsConnected("model"));
}

TEST_F(ServerTest, TheTraceMayDisconnectTheAgentThatIsSentSomething) {
  const std::vector<std::function<void()>> sends = {
      [this] { server_->SendBytes("model", "x"); },
      [this] { server_->SendFrame("model", UnregistrationAnswer()); },
      [this] { server_->Start("model", AnEdit(), kTurnPatience); },
      [this] { server_->Disconnect("model"); },
  };
  for (const auto& send : sends) {
    const auto agent = NewModelAgent();
    server_->set_trace([this](std::string_view name, std::string_view) {
      server_->Disconnect(name);
      server_->RunOnce(0ms);
    });
    send();
    EXPECT_FALSE(server_->IsConnected("model"));
    server_->set_trace({});
    Retire(agent.get());
  }
}

TEST_F(ServerTest, SendsRawBytesAsTheyAre) {
  const auto agent = NewAgent();
  const std::string frame = RawFrame(22, 5, 0, 0, 0, "abc");
  for (const char byte : frame) {
    EXPECT_TRUE(server_->SendBytes("model", std::string(1, byte)));
    agent->Step();
  }
  ASSERT_EQ(agent->messages().size(), 1U);
  EXPECT_EQ(agent->messages()[0].sid, 5);
  EXPECT_EQ(agent->messages()[0].body, "abc");
}

TEST_F(ServerTest, ShowsEveryFrameToItsHandlerAndTheTrace) {
  std::vector<std::int32_t> types;
  server_->set_frame_handler([&](std::string_view agent, const Frame& frame) {
    EXPECT_EQ(agent, "model");
    types.push_back(frame.head.type);
  });
  const auto agent = NewAgent();
  agent->Register("a.b", 16);
  agent->Complete();
  ASSERT_TRUE(server_->WaitForAgent("model", kTurnPatience));
  EXPECT_TRUE(server_->Call("model", AnEdit()).ok());
  EXPECT_THAT(types, ElementsAre(4, 2, 8, 14));
  EXPECT_THAT(trace_,
              ElementsAre("model < REG_NAME sid=-1 \"model\" attr=0",
                          "model < REG sid=-1 \"a.b\" attr=16(slot)", "model < REG_CPLT sid=-1",
                          "model > REG_RSP sid=0 OK",
                          "model > EDIT sid=1 ds=running segment entries=1: merge \"a.b\"=\"1\"",
                          "model > EDIT sid=2 ds=running end",
                          "model < EDIT_RSP sid=2 answer inst=0 status=0"));
}

TEST_F(ServerTest, HandlerMayCloseTheConnection) {
  const auto agent = NewAgent();
  server_->set_frame_handler(
      [&](std::string_view name, const Frame&) { server_->Disconnect(name); });
  agent->Register("a");
  agent->Register("b");
  agents_.clear();
  ASSERT_TRUE(RunUntil([&] { return !server_->IsConnected("model"); }));
  EXPECT_EQ(server_->FindAgent("model")->registry.path_count(), 0U);
}

TEST_F(ServerTest, PollDescriptorTellsWhenThereIsWork) {
  pollfd descriptor{server_->PollFd(), POLLIN, 0};
  EXPECT_EQ(poll(&descriptor, 1, 0), 0);
  FakeAgent agent(directory_.path());
  EXPECT_EQ(poll(&descriptor, 1, 0), 1);
  EXPECT_TRUE(server_->RunOnce(0ms));  // accepts
  EXPECT_TRUE(server_->RunOnce(0ms));  // reads the name
  EXPECT_TRUE(server_->IsConnected("model"));
  EXPECT_EQ(poll(&descriptor, 1, 0), 0);
  EXPECT_FALSE(server_->RunOnce(0ms));
}

TEST_F(ServerTest, EndOfTheServerClosesItsAgents) {
  const auto agent = NewAgent();
  server_.reset();
  EXPECT_FALSE(agent->Step());
}

}  // namespace
}  // namespace ncdm::server
