#include "server/netconf/program.h"

#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>

#include "server/netconf/authorized_keys.h"
#include "server/netconf/log.h"
#include "server/netconf/options.h"
#include "server/netconf/poller.h"
#include "server/netconf/session_table.h"
#include "server/netconf/ssh_server.h"
#include "server/netconf/tcp_listener.h"

namespace ncdm::netconf {
namespace {

constexpr int kSuccess = 0;
constexpr int kFailure = 1;
constexpr int kUsageError = 2;

// SIGTERM and SIGINT as a descriptor of the loop.
server::Descriptor CatchSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  server::Descriptor descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  if (descriptor.get() < 0) {
    throw std::runtime_error(std::string("cannot watch for signals: ") + std::strerror(errno));
  }
  return descriptor;
}

// Each connection takes a descriptor.
void RaiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

std::optional<Poller::Clock::time_point> Earlier(std::optional<Poller::Clock::time_point> one,
                                                 std::optional<Poller::Clock::time_point> other) {
  return one && other ? std::min(*one, *other) : (one ? one : other);
}

// Memory that is short in the middle of something must not end the sessions of everybody.
void RunOperations(Operations* operations) {
  try {
    operations->Run();
  } catch (const std::exception& error) {
    Log(std::string("something was left undone: ") + error.what());
  }
}

void Serve(const ProgramOptions& options, const DeviceFunction& open_device) {
  RaiseDescriptorLimit();
  const server::Descriptor signals = CatchSignals();
  const SshBind bind = LoadHostKeys(options.host_keys);
  AuthorizedKeys keys(options.authorized_keys);
  const TcpListener listener(options.address, options.port);
  SessionTable table;
  const std::unique_ptr<Operations> operations =
      open_device({.root = options.root, .yang = options.yang}, table);
  Poller poller;
  bool ends = false;
  poller.Watch(signals.get(), EPOLLIN, [&] { ends = true; });
  if (operations->PollFd() >= 0) {
    poller.Watch(operations->PollFd(), EPOLLIN, [&] { RunOperations(operations.get()); });
  }
  SshServer server(poller, listener, bind.get(), {keys, options.user, *operations, table});
  std::printf("listening on %s\n", listener.Title().c_str());
  std::fflush(stdout);
  while (!ends) {
    const auto deadline = operations->NextDeadline();
    poller.Wait(Earlier(deadline, server.NextDeadline()));
    if (deadline && *deadline <= Operations::Clock::now()) {
      RunOperations(operations.get());
    }
    server.Run();
  }
}

}  // namespace

int RunProgram(int argc, const char* const* argv, const DeviceFunction& open_device) {
  try {
    const ProgramOptions options = ParseOptions(argc, argv);
    if (!options.notice.empty()) {
      std::fputs(options.notice.c_str(), stdout);
      return kSuccess;
    }
    Serve(options, open_device);
    return kSuccess;
  } catch (const UsageError& error) {
    Log(error.what());
    return kUsageError;
  } catch (const std::exception& error) {
    Log(error.what());
    return kFailure;
  }
}

}  // namespace ncdm::netconf
