#include "bench/replay.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace bench {
namespace {

void WaitFor(int fd, short events) {
  pollfd waiting{fd, events, 0};
  while (poll(&waiting, 1, -1) < 0 && errno == EINTR) {
  }
}

bool ReadFrame(int fd, char* buffer, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    WaitFor(fd, POLLIN);
    const ssize_t count = read(fd, buffer + done, size - done);
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

bool WriteFrame(int fd, const std::string& frame) {
  std::size_t done = 0;
  while (done < frame.size()) {
    WaitFor(fd, POLLOUT);
    const ssize_t count =
        send(fd, frame.data() + done, frame.size() - done, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0 && errno == EAGAIN) continue;
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

bool Answer(int fd, const Recorded& exchange) {
  const std::size_t kept = exchange.frames.size();
  for (std::size_t i = 0; i + 1 < exchange.frame_count; ++i) {
    if (!WriteFrame(fd, exchange.frames[i % (kept - 1)])) return false;
  }
  return WriteFrame(fd, exchange.frames.back());
}

bool Serve(int fd, const Recorded& exchange) {
  char buffer[NC_DM_RECV_BUF_SIZE];
  for (const std::size_t size : exchange.request.frame_sizes) {
    if (!ReadFrame(fd, buffer, size)) return false;
  }
  return exchange.frame_count == 0 || Answer(fd, exchange);
}

}  // namespace

int ReplayPeer::StartChild(const std::vector<Recorded>& exchanges, pid_t* pid) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    throw std::runtime_error("cannot make a pair of sockets");
  }
  *pid = fork();
  if (*pid < 0) throw std::runtime_error("cannot start a bare loop");
  if (*pid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    close(ends[0]);
    for (std::size_t i = 0; Serve(ends[1], exchanges[i % exchanges.size()]); ++i) {
    }
    _exit(0);
  }
  close(ends[1]);
  return ends[0];
}

ReplayPeer::ReplayPeer(const std::vector<Recorded>& exchanges)
    : link_(ncdm::server::Descriptor(StartChild(exchanges, &pid_))) {}

ReplayPeer::~ReplayPeer() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

}  // namespace bench
