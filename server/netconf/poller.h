// Waits for descriptors.
#ifndef NCDM_SERVER_NETCONF_POLLER_H_
#define NCDM_SERVER_NETCONF_POLLER_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>

#include "server/connection.h"

namespace ncdm::netconf {

class Poller {
 public:
  using Clock = std::chrono::steady_clock;
  using Handler = std::function<void()>;

  // Throws std::runtime_error.
  Poller();

  // Calls `handler` while one of the events (EPOLLIN, EPOLLOUT) is there, or an error.
  void Watch(int fd, std::uint32_t events, Handler handler);
  void Change(int fd, std::uint32_t events);
  // Before the descriptor is closed.
  void Forget(int fd);

  // Waits until there is something to handle, at most until `deadline`, and handles it.
  void Wait(std::optional<Clock::time_point> deadline);

 private:
  void Control(int operation, int fd, std::uint32_t events);

  server::Descriptor epoll_;
  // Shared, so that a handler may forget its own descriptor.
  std::unordered_map<int, std::shared_ptr<Handler>> handlers_;
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_POLLER_H_
