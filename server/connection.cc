#include "server/connection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

namespace ncdm::server {
namespace {

constexpr std::size_t kReceiveSize = std::size_t{64} * 1024;
// An agent announces its whole model in one go, without waiting when the socket is full: it is read
// out before any of it is handled. The bound keeps one agent from holding up the others.
constexpr int kMaxReceives = 64;

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
      written_ = 0;
      return;
    }
    written_ += static_cast<std::size_t>(count);
    if (written_ == piece.size()) {
      output_.pop_front();
      written_ = 0;
    }
  }
}

bool Connection::Receive() {
  static thread_local std::vector<char> buffer(kReceiveSize);
  for (int i = 0; i < kMaxReceives; ++i) {
    const ssize_t count = recv(fd(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count > 0) {
      reader_.Feed({buffer.data(), static_cast<std::size_t>(count)});
    } else if (count == 0 || errno != EINTR) {
      return count < 0 && errno == EAGAIN;
    }
  }
  return true;
}

}  // namespace ncdm::server
