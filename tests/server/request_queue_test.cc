#include "server/request_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <map>

#include "tests/server/fake_agent.h"

namespace ncdm::server {
namespace {

using namespace std::chrono_literals;
using ncdm_test::I32;
using ncdm_test::I64;
using ncdm_test::Lv;

class RequestQueueTest : public testing::Test {
 protected:
  void Add(RequestId id, Request request, Clock::duration timeout = 10s) {
    queue_.Add(id, std::move(request), now_ + timeout);
  }

  std::vector<Frame> TakeNext() { return queue_.TakeNext(&next_sid_); }

  void AcceptEdit(std::int32_t sid, std::int64_t instance) {
    Frame frame;
    frame.head.type = NC_DM_MSG_TYPE_EDIT_RSP;
    frame.head.sid = sid;
    frame.body = I32(3) + I64(instance) + I32(0);
    queue_.Accept(frame);
  }

  void AcceptFault(std::int32_t sid, std::int32_t code) {
    Frame frame;
    frame.head.type = NC_DM_MSG_TYPE_FAULT;
    frame.head.sid = sid;
    frame.body = I32(code) + Lv("");
    queue_.Accept(frame);
  }

  static Request APipelinedEdit() {
    Request request = AnEdit();
    request.pipelined = true;
    return request;
  }

  static Request AnEdit() { return EditSubtree({EditElement{.name = "a"}}); }

  std::map<RequestId, Answer> ended_;
  RequestQueue queue_{[this](RequestId id, Answer answer) {
    EXPECT_FALSE(ended_.contains(id));
    ended_[id] = std::move(answer);
  }};
  Clock::time_point now_ = Clock::now();
  std::int32_t next_sid_ = 1;
};

TEST_F(RequestQueueTest, FramesGetIdentifiersInARow) {
  Add(1, AnEdit());
  const std::vector<Frame> frames = TakeNext();
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_EQ(frames[0].head.sid, 1);
  EXPECT_EQ(frames[1].head.sid, 2);
  EXPECT_EQ(next_sid_, 3);
}

TEST_F(RequestQueueTest, IdentifiersStartAgainBeforeTheyOverflow) {
  next_sid_ = std::numeric_limits<std::int32_t>::max() - 1;
  Add(1, AnEdit());
  EXPECT_EQ(TakeNext()[1].head.sid, 2);
}

TEST_F(RequestQueueTest, OneRequestAtATime) {
  Add(1, AnEdit());
  Add(2, AnEdit());
  EXPECT_EQ(TakeNext().size(), 2U);
  EXPECT_TRUE(TakeNext().empty());
  AcceptEdit(2, 7);
  EXPECT_EQ(ended_.at(1).instance, 7);
  EXPECT_EQ(TakeNext().size(), 2U);
  EXPECT_FALSE(ended_.contains(2));
}

TEST_F(RequestQueueTest, PipelinedEditsDoNotWaitForEachOther) {
  Add(1, APipelinedEdit());
  Add(2, APipelinedEdit());
  EXPECT_EQ(TakeNext().size(), 2U);
  EXPECT_EQ(TakeNext().size(), 2U);
  AcceptFault(3, -4);  // of the second one's segment
  AcceptEdit(2, 7);
  AcceptFault(4, -7);
  EXPECT_EQ(ended_.at(1).instance, 7);
  EXPECT_EQ(ended_.at(2).fault.code, NC_DM_FAULT_CODE_PARSE);
}

TEST_F(RequestQueueTest, APipelinedEditWaitsForOtherRequestsAndTheyForIt) {
  Add(1, AnEdit());
  Add(2, APipelinedEdit());
  Add(3, ReadValues({{.name = "x"}}));
  TakeNext();
  EXPECT_TRUE(TakeNext().empty());
  AcceptEdit(2, 1);
  EXPECT_EQ(TakeNext().size(), 2U);
  EXPECT_TRUE(TakeNext().empty());
  AcceptEdit(4, 1);
  EXPECT_FALSE(TakeNext().empty());
}

TEST_F(RequestQueueTest, PipelinedEditsThatAreNotAnsweredAreBounded) {
  constexpr std::size_t kMore = RequestQueue::kMaxPipelined + 1;
  for (RequestId id = 1; id <= kMore; ++id) {
    Add(id, APipelinedEdit());
  }
  for (std::size_t i = 0; i < RequestQueue::kMaxPipelined; ++i) {
    EXPECT_FALSE(TakeNext().empty());
  }
  EXPECT_TRUE(TakeNext().empty());
  AcceptEdit(2, 1);
  EXPECT_FALSE(TakeNext().empty());
}

TEST_F(RequestQueueTest, NothingFollowsAPipelinedEditThatRanOutOfTime) {
  Add(1, APipelinedEdit(), 5s);
  Add(2, APipelinedEdit(), 6s);
  TakeNext();
  TakeNext();
  EXPECT_TRUE(queue_.Expire(now_ + 5s, "agent 'x'"));
  EXPECT_EQ(queue_.NextDeadline(), now_ + 6s);
  Add(3, APipelinedEdit(), 20s);
  EXPECT_TRUE(TakeNext().empty());
  AcceptEdit(2, 1);
  EXPECT_EQ(ended_.at(1).outcome, Outcome::kTimeout);
  EXPECT_FALSE(TakeNext().empty());
}

TEST_F(RequestQueueTest, AnswersOfOtherRequestsAreDropped) {
  AcceptEdit(2, 1);
  Add(1, AnEdit());
  TakeNext();
  AcceptEdit(1, 1);
  AcceptEdit(3, 1);
  AcceptFault(3, -7);
  EXPECT_TRUE(ended_.empty());
  AcceptEdit(2, 7);
  EXPECT_TRUE(ended_.at(1).ok());
}

TEST_F(RequestQueueTest, FaultOfASegmentIsKeptUntilTheExecutingMessageIsAnswered) {
  Add(1, AnEdit());
  TakeNext();
  AcceptFault(1, -4);
  EXPECT_TRUE(ended_.empty());
  AcceptFault(2, -7);
  EXPECT_EQ(ended_.at(1).fault.code, NC_DM_FAULT_CODE_PARSE);
}

TEST_F(RequestQueueTest, RequestWithoutAnswerEndsWhenItIsSentAndHoldsNothingUp) {
  Add(1, Commit());
  Add(2, AnEdit());
  EXPECT_EQ(TakeNext().size(), 1U);
  EXPECT_TRUE(ended_.at(1).ok());
  EXPECT_EQ(TakeNext().size(), 2U);
}

TEST_F(RequestQueueTest, TimesOutAndIsWaitedOut) {
  Add(1, AnEdit(), 5s);
  Add(2, AnEdit(), 20s);
  TakeNext();
  EXPECT_FALSE(queue_.Expire(now_ + 5s - 1ns, "agent 'x'"));
  EXPECT_EQ(queue_.NextDeadline(), now_ + 5s);
  EXPECT_TRUE(queue_.Expire(now_ + 5s, "agent 'x'"));
  EXPECT_EQ(ended_.at(1).outcome, Outcome::kTimeout);
  EXPECT_EQ(ended_.at(1).error, "agent 'x' did not answer in time");
  // The agent is still at it.
  EXPECT_TRUE(TakeNext().empty());
  EXPECT_EQ(queue_.NextDeadline(), now_ + 20s);
  AcceptEdit(2, 1);
  EXPECT_EQ(TakeNext().size(), 2U);
}

TEST_F(RequestQueueTest, ALateAnswerIsDroppedHoweverLongItIs) {
  RequestQueue queue([](RequestId, const Answer&) {}, 100000);
  queue.Add(1, ReadValues({{.name = "a"}}), now_);
  queue.TakeNext(&next_sid_);
  EXPECT_TRUE(queue.Expire(now_, "agent 'x'"));
  Frame segment;
  segment.head.type = NC_DM_MSG_TYPE_FILTER_RSP;
  segment.head.sid = 2;
  segment.head.entry_cnt = 1;
  segment.body = I32(9) + Lv("a") + Lv(std::string(50000, 'x'));
  for (int i = 0; i < 10; ++i) {
    queue.Accept(segment);
  }
}

TEST_F(RequestQueueTest, AnAnswerBeyondItsLimitBreaksTheProtocol) {
  RequestQueue queue([](RequestId, const Answer&) {}, 100000);
  queue.Add(1, ReadValues({{.name = "a"}}), now_ + 10s);
  queue.TakeNext(&next_sid_);
  Frame segment;
  segment.head.type = NC_DM_MSG_TYPE_FILTER_RSP;
  segment.head.sid = 2;
  segment.head.entry_cnt = 1;
  segment.body = I32(9) + Lv("a") + Lv(std::string(60000, 'x'));
  queue.Accept(segment);
  EXPECT_THROW(queue.Accept(segment), ProtocolError);
}

TEST_F(RequestQueueTest, RequestsBehindASilentAgentTimeOutToo) {
  Add(1, AnEdit(), 5s);
  Add(2, AnEdit(), 6s);
  Add(3, AnEdit(), 7s);
  TakeNext();
  EXPECT_TRUE(queue_.Expire(now_ + 6s, "agent 'x'"));
  EXPECT_EQ(ended_.at(2).error, "agent 'x' did not answer an earlier request in time");
  EXPECT_FALSE(ended_.contains(3));
  EXPECT_EQ(queue_.NextDeadline(), now_ + 7s);
  EXPECT_TRUE(queue_.Expire(now_ + 7s, "agent 'x'"));
  EXPECT_FALSE(queue_.NextDeadline());
}

TEST_F(RequestQueueTest, AbandonedRequestsEndAtOnce) {
  Add(1, AnEdit());
  Add(2, AnEdit());
  TakeNext();
  EXPECT_TRUE(queue_.Abandon(2, "interrupted"));
  EXPECT_TRUE(queue_.Abandon(1, "interrupted"));
  EXPECT_FALSE(queue_.Abandon(1, "interrupted"));
  EXPECT_EQ(ended_.at(1).error, "interrupted");
  EXPECT_EQ(ended_.at(2).error, "interrupted");
  AcceptEdit(2, 1);
  EXPECT_TRUE(TakeNext().empty());
}

TEST_F(RequestQueueTest, LostConnectionEndsAll) {
  Add(1, AnEdit());
  Add(2, AnEdit());
  TakeNext();
  queue_.EndAll(Outcome::kDisconnected, "agent 'x' went away");
  EXPECT_EQ(ended_.at(1).error, "agent 'x' went away before it answered");
  EXPECT_EQ(ended_.at(2).error, "agent 'x' went away before the request was sent");
  EXPECT_EQ(ended_.at(2).outcome, Outcome::kDisconnected);
  EXPECT_TRUE(TakeNext().empty());
}

}  // namespace
}  // namespace ncdm::server
