#include "server/netconf/poller.h"

#include <sys/epoll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

namespace ncdm::netconf {
namespace {

constexpr std::size_t kEventsAtOnce = 64;

// Rounded up, so that a deadline has passed when the wait for it is over.
int ToTimeout(std::optional<Poller::Clock::time_point> deadline) {
  if (!deadline) {
    return -1;
  }
  using Milliseconds = std::chrono::milliseconds;
  const auto left = std::chrono::ceil<Milliseconds>(*deadline - Poller::Clock::now()).count();
  return static_cast<int>(std::clamp<Milliseconds::rep>(left, 0, std::numeric_limits<int>::max()));
}

}  // namespace

Poller::Poller() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {
  if (epoll_.get() < 0) {
    throw std::runtime_error(std::string("cannot create a poll descriptor: ") +
                             std::strerror(errno));
  }
}

void Poller::Watch(int fd, std::uint32_t events, Handler handler) {
  Control(EPOLL_CTL_ADD, fd, events);
  handlers_[fd] = std::make_shared<Handler>(std::move(handler));
}

void Poller::Change(int fd, std::uint32_t events) { Control(EPOLL_CTL_MOD, fd, events); }

void Poller::Forget(int fd) {
  if (handlers_.erase(fd) != 0) {
    epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, fd, nullptr);
  }
}

void Poller::Wait(std::optional<Clock::time_point> deadline) {
  std::array<epoll_event, kEventsAtOnce> events{};
  const int count =
      epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), ToTimeout(deadline));
  for (int i = 0; i < count; ++i) {
    const auto found = handlers_.find(events[static_cast<std::size_t>(i)].data.fd);
    if (found != handlers_.end()) {
      const std::shared_ptr<Handler> handler = found->second;
      (*handler)();
    }
  }
}

void Poller::Control(int operation, int fd, std::uint32_t events) {
  epoll_event event{};
  event.events = events;
  event.data.fd = fd;
  if (epoll_ctl(epoll_.get(), operation, fd, &event) != 0) {
    throw std::runtime_error(std::string("cannot watch a descriptor: ") + std::strerror(errno));
  }
}

}  // namespace ncdm::netconf
