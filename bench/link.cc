#include "bench/link.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "server/answer.h"

namespace bench {
namespace {

constexpr std::size_t kBufferSize = std::size_t{256} * 1024;
constexpr int kTimeoutMs = 120'000;

enum class Role { kOther, kSegment, kEnd, kFault };

Role RoleOf(const nc_dm_msg_head_t& head, std::string_view frame) {
  switch (head.type) {
    case NC_DM_MSG_TYPE_FAULT:
      return Role::kFault;
    case NC_DM_MSG_TYPE_EDIT_RSP:
      return Role::kEnd;
    case NC_DM_MSG_TYPE_FILTER_RSP:
    case NC_DM_MSG_TYPE_GETID_RSP:
      return get_int32(frame.data() + sizeof(head)) == NC_DM_PKT_TYPE_END ? Role::kEnd
                                                                          : Role::kSegment;
    default:
      return Role::kOther;
  }
}

nc_dm_msg_head_t HeadOf(std::string_view frame) {
  nc_dm_msg_head_t head;
  std::memcpy(&head, frame.data(), sizeof(head));
  return head;
}

[[noreturn]] void ThrowFault(const nc_dm_msg_head_t& head, std::string_view frame) {
  ncdm::server::Frame fault{head, std::string(frame.substr(sizeof(head)))};
  const ncdm::server::Fault decoded = ncdm::server::DecodeFault(fault);
  throw LinkError("the agent answered with fault " + std::to_string(decoded.code) + ": " +
                  decoded.path);
}

void WaitFor(int fd, short events, int timeout_ms) {
  pollfd waiting{fd, events, 0};
  int result = 0;
  do {
    result = poll(&waiting, 1, timeout_ms);
  } while (result < 0 && errno == EINTR);
  if (result == 0) throw LinkError("the agent says nothing any more");
}

}  // namespace

Link::Link(ncdm::server::Descriptor socket) : socket_(std::move(socket)), buffer_(kBufferSize) {}

void Link::Send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t sent = send(fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    } else if (errno == EAGAIN) {
      WaitFor(fd(), POLLOUT, kTimeoutMs);
    } else if (errno != EINTR) {
      throw LinkError(std::string("cannot send: ") + std::strerror(errno));
    }
  }
}

void Link::ReadMore(int timeout_ms) {
  if (end_ == buffer_.size()) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  WaitFor(fd(), POLLIN, timeout_ms);
  const ssize_t count = recv(fd(), buffer_.data() + end_, buffer_.size() - end_, 0);
  if (count == 0) throw LinkError("the agent closed the connection");
  if (count < 0 && errno != EINTR && errno != EAGAIN) {
    throw LinkError(std::string("cannot receive: ") + std::strerror(errno));
  }
  if (count > 0) end_ += static_cast<std::size_t>(count);
}

std::string_view Link::NextFrame(int timeout_ms) {
  while (true) {
    const std::string_view unread(buffer_.data() + begin_, end_ - begin_);
    if (unread.size() >= sizeof(nc_dm_msg_head_t)) {
      const std::size_t size =
          sizeof(nc_dm_msg_head_t) + static_cast<std::size_t>(HeadOf(unread).len);
      if (unread.size() >= size) {
        begin_ += size;
        if (begin_ == end_) begin_ = end_ = 0;
        return unread.substr(0, size);
      }
    }
    ReadMore(timeout_ms);
  }
}

Received Link::ReceiveAnswer() { return ReceiveAnswer(nullptr, 0); }

Received Link::ReceiveAnswer(std::vector<std::string>* frames, std::size_t limit) {
  Received received;
  while (true) {
    const std::string_view frame = NextFrame(kTimeoutMs);
    const nc_dm_msg_head_t head = HeadOf(frame);
    const Role role = RoleOf(head, frame);
    if (role == Role::kOther) continue;
    if (role == Role::kFault) ThrowFault(head, frame);
    ++received.frames;
    received.bytes += frame.size();
    if (frames != nullptr && (frames->size() < limit || role == Role::kEnd)) {
      frames->emplace_back(frame);
    }
    if (role == Role::kEnd) return received;
  }
}

void Link::ReceiveWhile(const TakeFrame& take, int timeout_ms) {
  while (true) {
    const std::string_view frame = NextFrame(timeout_ms);
    if (!take(HeadOf(frame), frame)) return;
  }
}

}  // namespace bench
