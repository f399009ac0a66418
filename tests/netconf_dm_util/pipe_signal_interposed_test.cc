// SIGPIPE around a write to what is no socket: only the signal that the write itself brought is
// taken off.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "netconf_dm_util.h"

namespace {

// While it lives, every write is followed by a SIGPIPE that somebody else raises in its midst.
class SignalInEachWrite {
 public:
  SignalInEachWrite() { armed_ = true; }
  SignalInEachWrite(const SignalInEachWrite&) = delete;
  SignalInEachWrite& operator=(const SignalInEachWrite&) = delete;
  ~SignalInEachWrite() { armed_ = false; }

  static bool IsArmed() { return armed_; }

 private:
  static inline bool armed_ = false;
};

// How often taking a signal off is interrupted first.
int g_interruptions = 0;

int g_writes = 0;

volatile sig_atomic_t g_signals = 0;

class PipeSignalTest : public testing::Test {
 protected:
  PipeSignalTest() {
    g_signals = 0;
    struct sigaction action = {};
    action.sa_handler = [](int) { g_signals = g_signals + 1; };
    sigaction(SIGPIPE, &action, &before_);
  }
  ~PipeSignalTest() override { sigaction(SIGPIPE, &before_, nullptr); }

 private:
  struct sigaction before_ = {};
};

}  // namespace

extern "C" {

// Stands in for that of libc, in the library as well.
__attribute__((visibility("default"))) ssize_t SignallingWrite(int fd, const void* data,
                                                               size_t size) __asm__("write");

__attribute__((visibility("default"))) int InterruptedWait(
    const sigset_t* set, siginfo_t* info, const timespec* timeout) __asm__("sigtimedwait");

ssize_t SignallingWrite(int fd, const void* data, size_t size) {
  ++g_writes;
  const auto written = static_cast<ssize_t>(syscall(SYS_write, fd, data, size));
  if (SignalInEachWrite::IsArmed()) {
    raise(SIGPIPE);
    // A call that succeeds leaves there what it likes.
    if (written >= 0) errno = EPIPE;
  }
  return written;
}

int InterruptedWait(const sigset_t* set, siginfo_t* info, const timespec* timeout) {
  if (g_interruptions > 0) {
    --g_interruptions;
    errno = EINTR;
    return -1;
  }
  return static_cast<int>(syscall(SYS_rt_sigtimedwait, set, info, timeout, _NSIG / 8));
}

}  // extern "C"

namespace {

TEST_F(PipeSignalTest, AnothersSignalDuringASuccessfulWriteIsDelivered) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  char data[] = "abc";
  {
    const SignalInEachWrite signals;
    EXPECT_EQ(nc_dm_write(ends[1], data, 3), 3);
  }
  EXPECT_EQ(g_signals, 1);
  close(ends[0]);
  close(ends[1]);
}

TEST_F(PipeSignalTest, OnesOwnSignalIsTakenOffAfterInterruptionsToo) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  char data[] = "abc";
  g_interruptions = 2;
  g_writes = 0;
  EXPECT_EQ(nc_dm_write(ends[1], data, 3), -1);
  EXPECT_EQ(errno, EPIPE);
  EXPECT_EQ(g_writes, 1) << "an interruption of the wait is none of the write";
  EXPECT_EQ(g_interruptions, 0);
  EXPECT_EQ(g_signals, 0);
  close(ends[1]);
}

TEST_F(PipeSignalTest, AnothersSignalDuringAFailureThatBringsNoneIsDelivered) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  char data[] = "abc";
  {
    const SignalInEachWrite signals;
    EXPECT_EQ(nc_dm_write(ends[0], data, 3), -1);
    EXPECT_EQ(errno, EBADF);
  }
  EXPECT_EQ(g_signals, 1);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
