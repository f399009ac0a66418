#include "server/netconf/session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/server/netconf/fake_operations.h"

namespace ncdm::netconf {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kClose[] = "<close-session/>";

std::string Rpc(const std::string& operation) {
  return std::string("<rpc xmlns=\"") + kBaseNamespace + "\" message-id=\"1\">" + operation +
         "</rpc>";
}

std::string Fake(const std::string& name, const std::string& text = "") {
  return "<" + name + " xmlns=\"urn:test\">" + text + "</" + name + ">";
}

std::string ClientHello(const std::string& version) {
  return std::string("<hello xmlns=\"") + kBaseNamespace +
         "\"><capabilities><capability>urn:ietf:params:netconf:base:" + version +
         "</capability></capabilities></hello>]]>]]>";
}

class SessionTest : public testing::Test {
 protected:
  std::unique_ptr<Session> NewSession() {
    return std::make_unique<Session>(operations_, table_, Peer{"admin", "192.0.2.1"},
                                     [this] { ++wakes_; });
  }
  std::unique_ptr<Session> OpenSession(const std::string& version = "1.1") {
    std::unique_ptr<Session> session = NewSession();
    session->Receive(ClientHello(version));
    TakeOutput(session.get());
    return session;
  }
  static std::string TakeOutput(Session* session) {
    std::string output;
    while (!session->output().empty()) {
      output.append(session->output());
      session->Written(session->output().size());
    }
    return output;
  }
  static void Ask(Session* session, const std::string& operation) {
    session->Receive(Framed(Framing::kChunked, Rpc(operation)));
  }
  static std::string Call(Session* session, const std::string& operation) {
    Ask(session, operation);
    return TakeOutput(session);
  }

  SessionTable table_;
  FakeOperations operations_{&table_};
  int wakes_ = 0;
};

TEST_F(SessionTest, ServerSaysHelloFirstAndTheSessionOpensWithTheClients) {
  const auto session = NewSession();
  EXPECT_THAT(std::string(session->output()),
              AllOf(HasSubstr("<session-id>1</session-id>"), testing::EndsWith("]]>]]>")));
  EXPECT_FALSE(session->is_open());
  session->Receive(ClientHello("1.1"));
  EXPECT_TRUE(session->is_open());
  EXPECT_THAT(operations_.events, ElementsAre("open 1 admin"));
}

TEST_F(SessionTest, FramingFollowsTheClientsVersion) {
  const auto session = OpenSession("1.0");
  session->Receive(Rpc(Fake("echo", "hi")) + "]]>]]>");
  EXPECT_THAT(TakeOutput(session.get()),
              AllOf(HasSubstr(">hi</text>"), testing::EndsWith("</rpc-reply>]]>]]>")));
  EXPECT_THAT(Call(OpenSession("1.1").get(), Fake("echo", "hi")),
              AllOf(testing::StartsWith("\n#"), testing::EndsWith("</rpc-reply>\n##\n")));
}

TEST_F(SessionTest, RequestsBehindTheHelloInOnePieceAreAnswered) {
  const auto session = NewSession();
  session->Receive(ClientHello("1.1") + Framed(Framing::kChunked, Rpc(Fake("echo", "one"))) +
                   Framed(Framing::kChunked, Rpc(Fake("echo", "two"))));
  EXPECT_THAT(TakeOutput(session.get()), testing::ContainsRegex("one.*\n.*two"));
}

TEST_F(SessionTest, OneRequestRunsAtATimeAndTheNextWaitsForItsAnswer) {
  const auto session = OpenSession();
  Ask(session.get(), Fake("never"));
  EXPECT_FALSE(session->wants_input());
  Ask(session.get(), Fake("echo", "next"));
  EXPECT_THAT(session->output(), IsEmpty());
  operations_.owed.at(0)({});
  EXPECT_THAT(TakeOutput(session.get()), testing::ContainsRegex("<ok/>.*\n.*next"));
  EXPECT_TRUE(session->wants_input());
  EXPECT_EQ(wakes_, 1);
}

TEST_F(SessionTest, SecondAnswerToARequestIsDropped) {
  const auto session = OpenSession();
  Ask(session.get(), Fake("never"));
  operations_.owed.at(0)({});
  TakeOutput(session.get());
  operations_.owed.at(0)({});
  EXPECT_THAT(session->output(), IsEmpty());
}

TEST_F(SessionTest, AnswerForASessionThatIsGoneIsDropped) {
  auto session = OpenSession();
  Ask(session.get(), Fake("never"));
  session.reset();
  EXPECT_THAT(operations_.events, ElementsAre("open 1 admin", "never", "end 1"));
  operations_.owed.at(0)({});
}

TEST_F(SessionTest, ExceptionOfAnOperationIsItsAnswer) {
  EXPECT_THAT(Call(OpenSession().get(), Fake("throw")),
              AllOf(HasSubstr("<error-tag>operation-failed<"), HasSubstr("half has failed")));
}

TEST_F(SessionTest, NoInputIsWantedWhileMuchOutputWaits) {
  const auto session = OpenSession();
  Ask(session.get(), Fake("big", std::to_string(Session::kMaxWaiting)));
  EXPECT_FALSE(session->wants_input());
  Ask(session.get(), Fake("echo"));
  EXPECT_THAT(operations_.events, ElementsAre("open 1 admin", "big"));
  session->Written(session->output().size() - Session::kMaxWaiting);
  EXPECT_THAT(operations_.events, ElementsAre("open 1 admin", "big", "echo"));
}

TEST_F(SessionTest, CloseSessionAnswersAndEnds) {
  const auto session = OpenSession();
  Ask(session.get(), kClose);
  EXPECT_FALSE(session->finished());
  EXPECT_FALSE(session->wants_input());
  EXPECT_THAT(TakeOutput(session.get()), HasSubstr("<ok/>"));
  EXPECT_TRUE(session->finished());
  EXPECT_TRUE(session->ended_well());
  EXPECT_EQ(table_.Counters().dropped_sessions, 0U);
  EXPECT_THAT(operations_.events, ElementsAre("open 1 admin", "end 1"));
}

TEST_F(SessionTest, CloseSessionTakesNoArguments) {
  const auto session = OpenSession();
  EXPECT_THAT(Call(session.get(), "<close-session><now/></close-session>"),
              AllOf(HasSubstr("unknown-element"), HasSubstr("<bad-element>now<")));
  EXPECT_TRUE(session->is_open());
}

TEST_F(SessionTest, KillSessionEndsAnotherSession) {
  const auto killer = OpenSession();
  const auto victim = OpenSession();
  Ask(victim.get(), Fake("never"));
  EXPECT_THAT(Call(killer.get(), "<kill-session><session-id> 2 </session-id></kill-session>"),
              HasSubstr("<ok/>"));
  EXPECT_TRUE(victim->finished());
  EXPECT_FALSE(victim->ended_well());
  EXPECT_EQ(operations_.events.back(), "end 2");
  EXPECT_EQ(table_.Counters().dropped_sessions, 0U);
  EXPECT_EQ(wakes_, 1);
}

TEST_F(SessionTest, KillSessionIsRefusedWithWhatIsWrong) {
  const auto session = OpenSession();
  const auto kill = [&](const std::string& content) {
    return Call(session.get(), "<kill-session>" + content + "</kill-session>");
  };
  for (const char* id : {"1", "2", "0", "-1", "x", "", "4294967296", "1 2"}) {
    EXPECT_THAT(kill(std::string("<session-id>") + id + "</session-id>"),
                AllOf(HasSubstr("<error-tag>invalid-value<"),
                      HasSubstr("<bad-element>session-id</bad-element>")))
        << id;
  }
  EXPECT_THAT(kill(""), AllOf(HasSubstr("missing-element"), HasSubstr("session-id")));
  EXPECT_THAT(kill("<who>1</who>"), AllOf(HasSubstr("unknown-element"), HasSubstr("who")));
  EXPECT_THAT(kill("<session-id xmlns='urn:x'>1</session-id>"),
              AllOf(HasSubstr("unknown-namespace"), HasSubstr("<bad-namespace>urn:x<")));
}

TEST_F(SessionTest, SessionWhoseHelloIsOnItsWayCanBeKilledAndIsNotListed) {
  const auto session = OpenSession();
  const auto silent = NewSession();
  TakeOutput(silent.get());
  EXPECT_THAT(table_.List(), testing::SizeIs(1));
  EXPECT_THAT(Call(session.get(), "<kill-session><session-id>2</session-id></kill-session>"),
              HasSubstr("<ok/>"));
  EXPECT_TRUE(silent->finished());
}

TEST_F(SessionTest, BadHelloEndsTheSessionWithoutAWord) {
  const auto session = NewSession();
  TakeOutput(session.get());
  session->Receive(ClientHello("1.2"));
  EXPECT_TRUE(session->finished());
  EXPECT_EQ(table_.Counters().in_bad_hellos, 1U);
  EXPECT_THAT(operations_.events, IsEmpty());
}

TEST_F(SessionTest, MalformedChunkEndsTheSession) {
  const auto session = OpenSession();
  session->Receive("\n#0\n");
  EXPECT_TRUE(session->finished());
  EXPECT_EQ(table_.Counters().dropped_sessions, 1U);
}

TEST_F(SessionTest, MessageThatIsTooBigIsSaidSo) {
  const auto session = OpenSession();
  session->Receive("\n#16777217\n");
  EXPECT_THAT(TakeOutput(session.get()), HasSubstr("<error-tag>too-big<"));
  EXPECT_TRUE(session->finished());
}

TEST_F(SessionTest, IncompleteMessagesOfAllSessionsAreBoundedTogether) {
  const std::string half = "\n#16777216\n" + std::string(kMaxMessageBytes - 1, 'x');
  std::vector<std::unique_ptr<Session>> sessions;
  for (int i = 0; i < 7; ++i) {
    sessions.push_back(OpenSession());
    sessions.back()->Receive(half);
  }
  for (int i = 0; i < 6; ++i) {
    EXPECT_TRUE(sessions[static_cast<std::size_t>(i)]->is_open());
  }
  EXPECT_FALSE(sessions[6]->is_open());
  sessions.clear();
  const auto session = OpenSession();
  session->Receive(half);
  EXPECT_TRUE(session->is_open());
}

TEST_F(SessionTest, MalformedXmlIsAnsweredAndTheSessionGoesOn) {
  const auto session = OpenSession();
  session->Receive(Framed(Framing::kChunked, "<rpc"));
  EXPECT_THAT(TakeOutput(session.get()), HasSubstr("<error-tag>malformed-message<"));
  EXPECT_THAT(Call(session.get(), Fake("echo", "on")), HasSubstr(">on<"));
}

TEST_F(SessionTest, EndOfInputEndsTheSessionOnceAllIsAnswered) {
  const auto session = OpenSession();
  Ask(session.get(), Fake("never"));
  Ask(session.get(), Fake("echo", "last"));
  session->EndInput();
  EXPECT_TRUE(session->is_open());
  operations_.owed.at(0)({});
  EXPECT_FALSE(session->is_open());
  EXPECT_THAT(TakeOutput(session.get()), HasSubstr("last"));
  EXPECT_TRUE(session->finished());
  EXPECT_EQ(table_.Counters().dropped_sessions, 1U);
}

TEST_F(SessionTest, StatisticsCountWhatMonitoringShows) {
  const auto session = OpenSession();
  session->Receive(Framed(Framing::kChunked, "<rpc/>"));
  Call(session.get(), Fake("refuse"));
  EXPECT_THAT(Call(session.get(), Fake("sessions")),
              AllOf(HasSubstr(">1 admin netconf-ssh 192.0.2.1 2 1 2</session>"),
                    HasSubstr(">0 1 0 2 1 2</counters>")));
}

}  // namespace
}  // namespace ncdm::netconf
