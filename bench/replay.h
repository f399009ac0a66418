// The floor of an exchange: the same frames between two bare loops. A child process waits in poll
// before each read of a request's frame and before each write of an answer's, as any event loop
// does, and does nothing else; the server's end is the same as in the measurement.
#ifndef BENCH_REPLAY_H_
#define BENCH_REPLAY_H_

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

#include "bench/link.h"

namespace bench {

// One request and what was answered.
struct Recorded {
  Bytes request;
  std::size_t frame_count = 0;      // of the answer
  std::vector<std::string> frames;  // the first ones, repeated for a longer answer, and the last
};

class ReplayPeer {
 public:
  // Answers the requests in this order, over and over.
  explicit ReplayPeer(const std::vector<Recorded>& exchanges);
  ~ReplayPeer();
  ReplayPeer(const ReplayPeer&) = delete;
  ReplayPeer& operator=(const ReplayPeer&) = delete;

  pid_t pid() const { return pid_; }
  Link& link() { return link_; }

 private:
  static int StartChild(const std::vector<Recorded>& exchanges, pid_t* pid);

  pid_t pid_ = -1;
  Link link_;
};

}  // namespace bench

#endif  // BENCH_REPLAY_H_
