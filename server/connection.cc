#include "server/connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

namespace ncdm::server {
namespace {

// What a piece of output takes beside its bytes: its string, its place in the queue, and what both
// cost to allocate.
constexpr std::size_t kPieceCost = sizeof(std::string) + 32;

std::size_t MemoryOf(const std::string& piece) { return piece.capacity() + kPieceCost; }

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(fd_, other.fd_);
  return *this;
}

Descriptor::~Descriptor() {
  if (fd_ >= 0) {
    close(fd_);
  }
}

int Descriptor::Release() { return std::exchange(fd_, -1); }

void Connection::Send(std::string bytes) {
  output_.push_back(std::move(bytes));
  output_size_ += MemoryOf(output_.back());
  Flush();
}

void Connection::Flush() {
  while (!output_.empty()) {
    const std::string& piece = output_.front();
    const ssize_t count =
        send(fd(), piece.data() + written_, piece.size() - written_, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0 && errno == EAGAIN) {
      return;
    }
    if (count < 0) {
      // The peer is gone; reading finds that out, and what it still sent is read first.
      output_.clear();
      output_size_ = 0;
      written_ = 0;
      return;
    }
    written_ += static_cast<std::size_t>(count);
    if (written_ == piece.size()) {
      output_size_ -= MemoryOf(piece);
      output_.pop_front();
      written_ = 0;
    }
  }
}

bool Connection::Receive() {
  static thread_local std::vector<char> buffer(kMaxTurn);
  for (std::size_t left = kMaxTurn; left > 0;) {
    const ssize_t count = recv(fd(), buffer.data(), left, MSG_DONTWAIT);
    if (count > 0) {
      reader_.Feed({buffer.data(), static_cast<std::size_t>(count)});
      left -= static_cast<std::size_t>(count);
    } else if (count == 0 || errno != EINTR) {
      return count < 0 && errno == EAGAIN;
    }
  }
  return true;
}

bool Connection::IsPeerGone() const {
  pollfd state{fd(), POLLRDHUP, 0};
  return poll(&state, 1, 0) > 0 && (state.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

}  // namespace ncdm::server
