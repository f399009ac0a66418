#include "server/request_queue.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace ncdm::server {
namespace {

std::int32_t TakeSids(std::int32_t* next_sid, std::size_t count) {
  if (count > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max() - *next_sid)) {
    *next_sid = 1;
  }
  return std::exchange(*next_sid, *next_sid + static_cast<std::int32_t>(count));
}

}  // namespace

void RequestQueue::Add(RequestId id, Request request, Clock::time_point deadline) {
  waiting_.push_back({id, std::move(request), deadline});
}

bool RequestQueue::HasNext() const {
  if (active_.empty() || waiting_.empty()) {
    return !waiting_.empty();
  }
  return waiting_.front().request.pipelined && active_.size() < kMaxPipelined &&
         std::ranges::all_of(active_,
                             [](const Active& sent) { return sent.pipelined && sent.id != 0; });
}

std::vector<Frame> RequestQueue::TakeNext(std::int32_t* next_sid) {
  if (!HasNext()) {
    return {};
  }
  Waiting next = std::move(waiting_.front());
  waiting_.pop_front();
  const std::int32_t first_sid = TakeSids(next_sid, next.request.frames.size());
  std::int32_t sid = first_sid;
  for (Frame& frame : next.request.frames) {
    frame.head.sid = sid++;
  }
  if (next.request.answer == AnswerKind::kNothing) {
    Finish(next.id, Answer{});
  } else {
    active_.push_back(
        {next.id, first_sid, sid - 1, next.deadline, next.request.pipelined,
         AnswerAssembler(next.request.answer, std::move(next.request.id_prefixes), max_answer_)});
  }
  return std::move(next.request.frames);
}

void RequestQueue::Accept(const Frame& frame) {
  const auto asked = std::ranges::find_if(active_, [&](const Active& sent) {
    return frame.head.sid >= sent.first_sid && frame.head.sid <= sent.last_sid;
  });
  if (asked == active_.end()) {
    return;
  }
  if (frame.head.sid == asked->last_sid) {
    if (asked->assembler.Accept(frame)) {
      Active ended = std::move(*asked);
      active_.erase(asked);
      Finish(ended.id, std::move(ended.assembler.answer()));
    }
  } else if (frame.head.type == NC_DM_MSG_TYPE_FAULT) {
    asked->assembler.NoteFault(frame);
  }
}

bool RequestQueue::Expire(Clock::time_point now, const std::string& who) {
  bool expired = false;
  for (Active& sent : active_) {
    if (sent.id != 0 && sent.deadline <= now) {
      GiveUp(&sent, who + " did not answer in time");
      expired = true;
    }
  }
  const auto is_late = [&](const Waiting& request) { return request.deadline <= now; };
  for (const Waiting& request : waiting_) {
    if (is_late(request)) {
      Fail(request.id, Outcome::kTimeout, who + " did not answer an earlier request in time");
      expired = true;
    }
  }
  std::erase_if(waiting_, is_late);
  return expired;
}

std::optional<Clock::time_point> RequestQueue::NextDeadline() const {
  std::optional<Clock::time_point> next;
  const auto consider = [&](Clock::time_point deadline) {
    next = next ? std::min(*next, deadline) : deadline;
  };
  for (const Active& sent : active_) {
    if (sent.id != 0) {
      consider(sent.deadline);
    }
  }
  for (const Waiting& request : waiting_) {
    consider(request.deadline);
  }
  return next;
}

bool RequestQueue::Abandon(RequestId id, const std::string& why) {
  const auto sent = std::ranges::find(active_, id, &Active::id);
  if (sent != active_.end()) {
    GiveUp(&*sent, why);
    return true;
  }
  if (std::erase_if(waiting_, [&](const Waiting& request) { return request.id == id; }) > 0) {
    Fail(id, Outcome::kTimeout, why);
    return true;
  }
  return false;
}

void RequestQueue::EndAll(Outcome outcome, const std::string& error) {
  for (const Active& sent : std::exchange(active_, {})) {
    Fail(sent.id, outcome, error + " before it answered");
  }
  for (const Waiting& request : std::exchange(waiting_, {})) {
    Fail(request.id, outcome, error + " before the request was sent");
  }
}

void RequestQueue::GiveUp(Active* active, const std::string& error) {
  active->assembler.Discard();
  Fail(std::exchange(active->id, 0), Outcome::kTimeout, error);
}

void RequestQueue::Finish(RequestId id, Answer answer) {
  if (id != 0) {
    finish_(id, std::move(answer));
  }
}

void RequestQueue::Fail(RequestId id, Outcome outcome, std::string error) {
  Answer answer;
  answer.outcome = outcome;
  answer.error = std::move(error);
  Finish(id, std::move(answer));
}

}  // namespace ncdm::server
