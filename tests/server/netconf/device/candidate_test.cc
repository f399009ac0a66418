// The candidate, and commits of it, over several agents.
#include "tests/server/netconf/device/device_fixture.h"

namespace ncdm::netconf {
namespace {

constexpr char kCandidate[] = "candidate";

class CandidateTest : public DeviceTest {
 protected:
  CandidateTest() { first_->values() = {{"till.owner", "ann"}}; }

  static std::string Owner(const std::string& name) {
    return "<till xmlns=\"urn:shop\"><owner>" + name + "</owner></till>";
  }
  std::string Candidate(const std::string& filter = "") {
    return Call("<get-config><source><candidate/></source>" + filter + "</get-config>").content;
  }

  std::unique_ptr<StoreAgent> first_ = NewStore("first", {{"till.owner", 0}});
  std::unique_ptr<StoreAgent> second_ =
      NewStore("second", {{"shelf.item.{i}.name", NC_DM_FLAG_KEY}, {"till.open", 0}});
};

TEST_F(CandidateTest, AgentThatHangsDelaysNoEditAndNoCommitOfOthers) {
  second_->is_silent = true;
  Done(EditConfig(Owner("bob"), "", kCandidate));
  EXPECT_THAT(Candidate("<filter><till xmlns=\"urn:shop\"><owner/></till></filter>"),
              HasSubstr("<owner>bob</owner>"));
  Done("<commit/>");
  EXPECT_THAT(first_->values(), ElementsAre(Pair("till.owner", "bob")));
  EXPECT_THAT(second_->agent().requests(), IsEmpty());
}

TEST_F(CandidateTest, WhatAnAgentHasComesIntoTheCandidateWhenItIsNeeded) {
  second_->values() = {{"till.open", "true"}};
  Done(EditConfig(Owner("bob"), "", kCandidate));
  second_->values() = {{"till.open", "false"}};
  EXPECT_THAT(Candidate(), HasSubstr("<owner>bob</owner><open>false</open>"));
  Done(EditConfig("<till xmlns=\"urn:shop\"><open nc:operation=\"delete\"/></till>", "",
                  kCandidate));
  EXPECT_THAT(Candidate(), Not(HasSubstr("open")));
  Done("<commit/>");
  EXPECT_THAT(first_->values(), ElementsAre(Pair("till.owner", "bob")));
  EXPECT_THAT(second_->values(), IsEmpty());
}

TEST_F(CandidateTest, CommitLeavesAgentsAloneThatItDoesNotConcern) {
  Done(EditConfig(Owner("bob"), "", kCandidate));
  second_->values() = {{"till.open", "true"}};
  Done("<commit/>");
  EXPECT_THAT(second_->values(), ElementsAre(Pair("till.open", "true")));
}

TEST_F(CandidateTest, CopyIntoRunningLeavesNoCandidateBehind) {
  Done("<copy-config><target><running/></target><source><config>" + Owner("bob") +
       "</config></source></copy-config>");
  EXPECT_THAT(first_->values(), ElementsAre(Pair("till.owner", "bob")));
  EXPECT_THAT(Refused("<lock><target><candidate/></target></lock>"), IsEmpty());
  Done("<commit/>");
  EXPECT_THAT(first_->values(), ElementsAre(Pair("till.owner", "bob")));
}

TEST_F(CandidateTest, DefaultThatIsReportedCanBeDeletedAndNotCreated) {
  auto third =
      NewStore("third", {{"shelf.item.{i}.name", NC_DM_FLAG_KEY}, {"shelf.item.{i}.colour", 0}});
  const std::string begin = "<shelf xmlns=\"urn:shop\"><item><name>cup</name>";
  const std::string end = "</item></shelf>";
  Done(EditConfig(begin + end, "", kCandidate));
  EXPECT_THAT(Candidate(), HasSubstr("<colour>red</colour>"));
  Done(EditConfig(begin + "<colour nc:operation=\"delete\"/>" + end, "", kCandidate));
  EXPECT_THAT(Refused(EditConfig(begin + "<colour nc:operation=\"create\">red</colour>" + end, "",
                                 kCandidate)),
              ElementsAre("data-exists"));
  Done("<commit/>");
  EXPECT_THAT(third->Changes(), IsEmpty());  // the list is the second one's
  EXPECT_THAT(second_->Changes(), ElementsAre("3 key1 shelf.item.name=cup", "commit"));
}

TEST_F(CandidateTest, ConfirmedCommitIsTakenBackAtTheAgentThatChanged) {
  Done(EditConfig(Owner("bob"), "", kCandidate));
  Done("<commit><confirmed/></commit>");
  EXPECT_THAT(first_->values(), ElementsAre(Pair("till.owner", "bob")));
  second_->agent().Close();
  std::erase(playing_, &second_->agent());
  Settle();
  Done("<cancel-commit/>");  // which does not need the second one
  EXPECT_THAT(first_->values(), ElementsAre(Pair("till.owner", "ann")));
}

TEST_F(CandidateTest, AgentThatComesDuringAConfirmedCommitLosesNothingWhenItIsTakenBack) {
  Done(EditConfig(Owner("bob"), "", kCandidate));
  Done("<commit><confirmed/></commit>");
  auto third = NewStore(
      "third", {{"pairs.pair.{i}.left", NC_DM_FLAG_KEY}, {"pairs.pair.{i}.right", NC_DM_FLAG_KEY}});
  third->values() = {{"pairs.pair.1.left", "a"}, {"pairs.pair.1.right", "1"}};
  Done("<cancel-commit/>");
  EXPECT_THAT(first_->values(), ElementsAre(Pair("till.owner", "ann")));
  EXPECT_EQ(third->values().size(), 2U);
}

TEST_F(CandidateTest, CommitWhoseCancellationFailsWaitsOn) {
  Done(EditConfig(Owner("bob"), "", kCandidate));
  Done("<commit><confirmed/></commit>");
  first_->refuse = [](const std::string&) { return NC_DM_FAULT_CODE_MEM; };
  EXPECT_THAT(Refused("<cancel-commit/>"), ElementsAre("resource-denied"));
  EXPECT_THAT(first_->values(), ElementsAre(Pair("till.owner", "bob")));
  first_->refuse = nullptr;
  Done("<cancel-commit/>");
  EXPECT_THAT(first_->values(), ElementsAre(Pair("till.owner", "ann")));
}

TEST_F(CandidateTest, CommitThatCannotBeTakenBackWhenItsSessionEndsStands) {
  Done(EditConfig(Owner("bob"), "", kCandidate));
  Done("<commit><confirmed/></commit>");
  first_->refuse = [](const std::string&) { return NC_DM_FAULT_CODE_MEM; };
  device_->SessionEnded({1, "user"});
  Settle();
  first_->refuse = nullptr;
  EXPECT_THAT(Refused("<cancel-commit/>"), ElementsAre("operation-failed"));  // none waits
  EXPECT_THAT(first_->values(), ElementsAre(Pair("till.owner", "bob")));
}

TEST_F(CandidateTest, SecondConfirmedCommitIsTakenBackWithTheFirst) {
  Done(EditConfig(Owner("bob"), "", kCandidate));
  Done("<commit><confirmed/></commit>");
  Done(EditConfig("<till xmlns=\"urn:shop\"><open>true</open></till>", "", kCandidate));
  Done("<commit><confirmed/></commit>");
  Done("<cancel-commit/>");
  EXPECT_THAT(first_->values(), ElementsAre(Pair("till.owner", "ann")));
  EXPECT_THAT(second_->values(), IsEmpty());
}

TEST_F(CandidateTest, CommitThatIsConfirmedWhileItIsBeingTakenBackStays) {
  Done(EditConfig(Owner("bob"), "", kCandidate));
  Done("<commit><confirmed/></commit>");
  // A confirming commit is at work when the session ends: it came first.
  Done(EditConfig("<till xmlns=\"urn:shop\"><open>true</open></till>", "", kCandidate));
  second_->is_silent = true;
  second_->agent().ForgetRequests();
  std::optional<Reply> confirmed;
  device_->Start({1, "user"},
                 "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"1\">"
                 "<commit/></rpc>",
                 [&](Reply reply) { confirmed = std::move(reply); });
  Settle();
  ASSERT_FALSE(confirmed.has_value());
  device_->SessionEnded({1, "user"});
  second_->is_silent = false;
  second_->agent().CloseValues(second_->agent().requests().back().sid);
  Settle();
  ASSERT_TRUE(confirmed.has_value());
  EXPECT_THAT(confirmed->errors, IsEmpty());
  EXPECT_THAT(first_->values(), ElementsAre(Pair("till.owner", "bob")));
  EXPECT_THAT(second_->values(), ElementsAre(Pair("till.open", "true")));
}

}  // namespace
}  // namespace ncdm::netconf
