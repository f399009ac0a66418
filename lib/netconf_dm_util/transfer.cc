// Exact transfers on the socket. It is non-blocking, so a transfer that finds it full or empty
// tries again at once, a bounded number of times, and then fails: the event loop must not wait.
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>

#include "netconf_dm_util.h"

namespace {

// write() has no flag that suppresses SIGPIPE. The signal is blocked for this thread meanwhile, and
// removed when the write has raised it. One that was pending before is the application's and stays.
ssize_t WriteWithoutSignal(int fd, const char* data, size_t size) {
  sigset_t pipe_signal;
  sigset_t pending;
  sigset_t mask;
  sigemptyset(&pipe_signal);
  sigaddset(&pipe_signal, SIGPIPE);
  sigpending(&pending);
  pthread_sigmask(SIG_BLOCK, &pipe_signal, &mask);
  const ssize_t written = write(fd, data, size);
  const int error = errno;
  if (written < 0 && error == EPIPE && sigismember(&pending, SIGPIPE) == 0) {
    const timespec at_once = {};
    while (sigtimedwait(&pipe_signal, nullptr, &at_once) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  errno = error;
  return written;
}

ssize_t Send(int fd, char* data, size_t size) {
  const ssize_t sent = send(fd, data, size, MSG_NOSIGNAL);
  if (sent < 0 && errno == ENOTSOCK) return WriteWithoutSignal(fd, data, size);
  return sent;
}

ssize_t Receive(int fd, char* data, size_t size) { return read(fd, data, size); }

bool IsWorthRetrying(int error) {
  return error == EINTR || error == EAGAIN || error == EWOULDBLOCK;
}

// The retries belong to the whole transfer: progress does not renew them.
int Transfer(ssize_t (*step)(int, char*, size_t), int fd, char* ptr, int nbytes) {
  if (ptr == nullptr) return -1;
  int remaining = nbytes;
  int retries = NC_DM_RW_RETRIES;
  while (remaining > 0) {
    const auto moved = static_cast<int>(step(fd, ptr, static_cast<size_t>(remaining)));
    if (moved == 0) return 0;
    if (moved > 0) {
      ptr += moved;
      remaining -= moved;
      continue;
    }
    if (!IsWorthRetrying(errno) || retries < 1) return moved;
    --retries;
  }
  return nbytes - remaining;
}

}  // namespace

int nc_dm_read(int fd, char* ptr, int nbytes) { return Transfer(Receive, fd, ptr, nbytes); }

int nc_dm_write(int fd, char* ptr, int nbytes) { return Transfer(Send, fd, ptr, nbytes); }
