// A descriptor that is shared with other processes cannot be made non-blocking for one of them: the
// flag belongs to the open file, and the others would find their writes failing. So a socket is
// asked not to wait with each message, and a pipe or a terminal is opened a second time for each
// text, with a flag of its own; nothing is kept that would hold a pipe open or miss that standard
// error was redirected. A disk file has no reader to wait for.

#include "log_output.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include "file_descriptor.h"

namespace zu {
namespace {

#ifndef _PATH_LOG
#define _PATH_LOG "/dev/log"
#endif

bool IsWritableNow(int fd) {
  pollfd entry = {fd, POLLOUT, 0};
  return poll(&entry, 1, 0) == 1 && (entry.revents & POLLOUT) != 0;
}

// Holds SIGPIPE back for this thread, and takes off the one that a write raised; one that was
// pending before is somebody else's.
class NoPipeSignal {
 public:
  NoPipeSignal() {
    sigset_t pending;
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &mask_);
  }
  NoPipeSignal(const NoPipeSignal&) = delete;
  NoPipeSignal& operator=(const NoPipeSignal&) = delete;
  ~NoPipeSignal() {
    const timespec at_once = {};
    if (raised_ && !was_pending_) {
      while (sigtimedwait(&pipe_, nullptr, &at_once) < 0 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
  }
  void Raised() { raised_ = true; }

 private:
  sigset_t pipe_;
  sigset_t mask_;
  bool was_pending_ = false;
  bool raised_ = false;
};

bool IsWhole(ssize_t written, std::string_view text) {
  return written >= 0 && static_cast<size_t>(written) == text.size();
}

bool WritePlainly(int fd, std::string_view text) {
  NoPipeSignal no_signal;
  const ssize_t written = write(fd, text.data(), text.size());
  if (written < 0 && errno == EPIPE) no_signal.Raised();
  return IsWhole(written, text);
}

bool WriteToSocket(int fd, std::string_view text) {
  return IsWhole(send(fd, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL), text);
}

// Where the second opening fails (no /proc, no descriptor left, another user's pipe) the descriptor
// is asked first. Threads take turns, so that none fills what another was promised.
bool AskAndWrite(int fd, std::string_view text) {
  static pthread_mutex_t turn = PTHREAD_MUTEX_INITIALIZER;
  pthread_mutex_lock(&turn);
  const bool is_written = IsWritableNow(fd) && WritePlainly(fd, text);
  pthread_mutex_unlock(&turn);
  return is_written;
}

bool WriteToReader(int fd, std::string_view text) {
  char path[32];
  snprintf(path, sizeof(path), "/proc/self/fd/%d", fd);
  const FileDescriptor own(open(path, O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
  if (own.get() >= 0) return WritePlainly(own.get(), text);
  const bool has_no_reader = errno == ENXIO;
  return !has_no_reader && AskAndWrite(fd, text);
}

}  // namespace

bool WriteAtOnce(int fd, std::string_view text) {
  struct stat status;
  if (fstat(fd, &status) != 0) return false;
  if (S_ISSOCK(status.st_mode)) return WriteToSocket(fd, text);
  if (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)) return WriteToReader(fd, text);
  return WritePlainly(fd, text);
}

// The record itself goes through syslog(3), which knows what the application said with openlog(3).
// A connected datagram socket is writable as long as its peer's queue has room.
bool SyslogTakesRecord() {
  const FileDescriptor probe(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  memcpy(address.sun_path, _PATH_LOG, sizeof(_PATH_LOG));
  if (probe.get() < 0) return false;
  const auto* peer = reinterpret_cast<const sockaddr*>(&address);
  // Without a daemon syslog(3) gives up by itself.
  if (connect(probe.get(), peer, sizeof(address)) != 0) return true;
  return IsWritableNow(probe.get());
}

}  // namespace zu
