// The server's end of one connection, as thin as it can be: requests are bytes made beforehand, and
// of what comes back only the heads are looked at. So what is measured is the other end.
#ifndef BENCH_LINK_H_
#define BENCH_LINK_H_

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "server/connection.h"
#include "server/frame.h"

namespace bench {

// A request as it goes over the socket.
struct Bytes {
  std::string bytes;                     // all frames in a row
  std::vector<std::size_t> frame_sizes;  // of each of them
};

struct Received {
  std::size_t frames = 0;
  std::size_t bytes = 0;
};

class LinkError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Link {
 public:
  explicit Link(ncdm::server::Descriptor socket);

  int fd() const { return socket_.get(); }

  void Send(std::string_view bytes) const;

  // The frames up to the end of an answer. What the agent says of its own accord is skipped. A
  // fault is a LinkError.
  Received ReceiveAnswer();
  // The same, and keeps the answer's frames, as many as `limit` and the last one.
  Received ReceiveAnswer(std::vector<std::string>* frames, std::size_t limit);

  // Hands over frame by frame until `take` returns false, which leaves the frames behind unread.
  using TakeFrame = std::function<bool(const nc_dm_msg_head_t& head, std::string_view frame)>;
  void ReceiveWhile(const TakeFrame& take, int timeout_ms);

 private:
  // The next frame, valid until the next call.
  std::string_view NextFrame(int timeout_ms);
  void ReadMore(int timeout_ms);

  ncdm::server::Descriptor socket_;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;  // of what is not handed out yet
  std::size_t end_ = 0;
};

}  // namespace bench

#endif  // BENCH_LINK_H_
