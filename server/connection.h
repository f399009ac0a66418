// One accepted connection: bytes in and out without blocking, cut into frames.
#ifndef NCDM_SERVER_CONNECTION_H_
#define NCDM_SERVER_CONNECTION_H_

#include <deque>
#include <optional>
#include <string>
#include <string_view>

#include "server/frame.h"

namespace ncdm::server {

// Owns a descriptor.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor();

  int get() const { return fd_; }
  int Release();

 private:
  int fd_ = -1;
};

class Connection {
 public:
  // Bytes that are received at a time.
  static constexpr std::size_t kMaxTurn = std::size_t{64} * 1024;

  explicit Connection(Descriptor socket) : socket_(std::move(socket)) {}

  int fd() const { return socket_.get(); }

  // Appends to what is to be written, and writes what the socket takes. One piece is one write: an
  // agent that finds half a frame on its socket does not wait long for the rest.
  void Send(std::string bytes);
  void Flush();
  bool has_output() const { return !output_.empty(); }
  // Bytes of memory that wait to be written.
  std::size_t output_size() const { return output_size_; }

  // Reads what is there, at most kMaxTurn bytes: what one agent sends does not hold up the others.
  // False once the peer has closed, or the connection broke.
  bool Receive();
  // True if the peer has closed its end, whether or not all that it sent was read.
  bool IsPeerGone() const;
  // The next frame that was received; throws ProtocolError.
  std::optional<Frame> Next() { return reader_.Next(); }
  bool in_mid_frame() const { return reader_.pending() > 0; }

 private:
  Descriptor socket_;
  FrameReader reader_;
  std::deque<std::string> output_;
  std::size_t output_size_ = 0;
  std::size_t written_ = 0;  // bytes of the first piece that are written
};

}  // namespace ncdm::server

#endif  // NCDM_SERVER_CONNECTION_H_
