// The requests to one agent: one at a time, the others in order behind it; but of pipelined edits
// several, which the agent carries out in their order and answers with one message each. (An agent
// that writes a longer answer must not be asked anything meanwhile.)
#ifndef NCDM_SERVER_REQUEST_QUEUE_H_
#define NCDM_SERVER_REQUEST_QUEUE_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/answer.h"
#include "server/request.h"

namespace ncdm::server {

using RequestId = std::uint64_t;
using Clock = std::chrono::steady_clock;

class RequestQueue {
 public:
  // Pipelined edits that are not answered yet. What an agent answers to so many fits into any
  // socket.
  static constexpr std::size_t kMaxPipelined = 32;

  // Receives the end of each request, once.
  using FinishFunction = std::function<void(RequestId, Answer)>;
  // `max_answer`: bytes of heap that an answer may take.
  explicit RequestQueue(FinishFunction finish, std::size_t max_answer = kDefaultMaxAnswer)
      : finish_(std::move(finish)), max_answer_(max_answer) {}

  void Add(RequestId id, Request request, Clock::time_point deadline);

  // True if a request may be sent now.
  bool HasNext() const;
  // The frames of the next request that may be sent now, with identifiers from `*next_sid` on;
  // empty when there is none. A request without an answer ends here.
  std::vector<Frame> TakeNext(std::int32_t* next_sid);

  // Takes an answer or a fault; one that belongs to no request in progress is dropped. Throws
  // ProtocolError.
  void Accept(const Frame& frame);

  // Ends what has run out of time; `who` begins the error's line. True when there was anything.
  bool Expire(Clock::time_point now, const std::string& who);
  // When Expire has something to do.
  std::optional<Clock::time_point> NextDeadline() const;

  // Ends one request early; false when it is not here.
  bool Abandon(RequestId id, const std::string& why);

  // The connection is gone: ends all.
  void EndAll(Outcome outcome, const std::string& error);

 private:
  struct Waiting {
    RequestId id = 0;
    Request request;
    Clock::time_point deadline;
  };
  struct Active {
    RequestId id;  // 0 once nobody waits for the answer any more: it is only waited out
    std::int32_t first_sid;
    std::int32_t last_sid;
    Clock::time_point deadline;
    bool pipelined;
    AnswerAssembler assembler;
  };

  void Finish(RequestId id, Answer answer);
  void Fail(RequestId id, Outcome outcome, std::string error);
  // Nobody waits for the answer to this request any more: what comes is dropped.
  void GiveUp(Active* active, const std::string& error);

  FinishFunction finish_;
  std::size_t max_answer_;
  std::list<Active> active_;  // in the order of sending
  std::deque<Waiting> waiting_;
};

}  // namespace ncdm::server

#endif  // NCDM_SERVER_REQUEST_QUEUE_H_
