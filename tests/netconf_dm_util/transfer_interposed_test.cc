#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <deque>
#include <string>
#include <vector>

#include "netconf_dm_util.h"

namespace {

// What the system calls answer on one descriptor: a count of bytes, or a negative error. Every
// other descriptor is the system's. The functions below stand in for those of libc, in the library
// as well.
class ScriptedCalls {
 public:
  static constexpr int kDescriptor = 1 << 20;

  explicit ScriptedCalls(std::deque<int> answers) : answers_(std::move(answers)) {
    current_ = this;
  }
  ScriptedCalls(const ScriptedCalls&) = delete;
  ScriptedCalls& operator=(const ScriptedCalls&) = delete;
  ~ScriptedCalls() { current_ = nullptr; }

  static ScriptedCalls* Of(int fd) { return fd == kDescriptor ? current_ : nullptr; }

  ssize_t Answer(const void* data, size_t size) {
    calls_.push_back({data, size});
    if (answers_.empty()) {
      ADD_FAILURE() << "a call more than expected";
      errno = EIO;
      return -1;
    }
    const int answer = answers_.front();
    answers_.pop_front();
    if (answer >= 0) return answer;
    errno = -answer;
    return -1;
  }

  struct Call {
    const void* data;
    size_t size;
    bool operator==(const Call&) const = default;
  };
  const std::vector<Call>& calls() const { return calls_; }
  bool Done() const { return answers_.empty(); }

 private:
  static inline ScriptedCalls* current_ = nullptr;
  std::deque<int> answers_;
  std::vector<Call> calls_;
};

}  // namespace

extern "C" {

__attribute__((visibility("default"))) ssize_t ScriptedRead(int fd, void* data,
                                                            size_t size) __asm__("read");
__attribute__((visibility("default"))) ssize_t ScriptedSend(int fd, const void* data, size_t size,
                                                            int flags) __asm__("send");

ssize_t ScriptedRead(int fd, void* data, size_t size) {
  if (ScriptedCalls* script = ScriptedCalls::Of(fd)) return script->Answer(data, size);
  return static_cast<ssize_t>(syscall(SYS_read, fd, data, size));
}

ssize_t ScriptedSend(int fd, const void* data, size_t size, int flags) {
  if (ScriptedCalls* script = ScriptedCalls::Of(fd)) return script->Answer(data, size);
  return static_cast<ssize_t>(syscall(SYS_sendto, fd, data, size, flags, nullptr, 0));
}

}  // extern "C"

namespace {

using testing::SizeIs;

constexpr int kScripted = ScriptedCalls::kDescriptor;

// Reading and writing are the same loop.
class TransferTest : public testing::TestWithParam<int (*)(int, char*, int)> {
 protected:
  int Transfer(int fd, char* ptr, int nbytes) { return GetParam()(fd, ptr, nbytes); }

  std::deque<int> Repeat(int count, int answer) {
    return std::deque<int>(static_cast<size_t>(count), answer);
  }
  std::deque<int> Join(std::initializer_list<std::deque<int>> parts) {
    std::deque<int> all;
    for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
  }

  char data_[64] = {};
};

INSTANTIATE_TEST_SUITE_P(Both, TransferTest, testing::Values(nc_dm_read, nc_dm_write),
                         [](const auto& info) {
                           return info.param == nc_dm_read ? std::string("Read")
                                                           : std::string("Write");
                         });

TEST_P(TransferTest, NullIsRefused) { EXPECT_EQ(Transfer(kScripted, nullptr, 4), -1); }

TEST_P(TransferTest, NothingToMoveNeedsNoCall) {
  const ScriptedCalls calls({});
  EXPECT_EQ(Transfer(kScripted, data_, 0), 0);
  EXPECT_EQ(Transfer(kScripted, data_, -5), 0);
  EXPECT_THAT(calls.calls(), SizeIs(0));
}

TEST_P(TransferTest, GoesOnWhereTheLastCallStopped) {
  const ScriptedCalls calls({3, 1, 6});
  EXPECT_EQ(Transfer(kScripted, data_, 10), 10);
  const std::vector<ScriptedCalls::Call> expected = {{data_, 10}, {data_ + 3, 7}, {data_ + 4, 6}};
  EXPECT_EQ(calls.calls(), expected);
}

TEST_P(TransferTest, EndOfStreamIsZeroAlsoInTheMiddle) {
  const ScriptedCalls calls({3, 0});
  EXPECT_EQ(Transfer(kScripted, data_, 10), 0);
  EXPECT_TRUE(calls.Done());
}

TEST_P(TransferTest, AnotherErrorEndsItAtOnce) {
  const ScriptedCalls calls({3, -ECONNRESET});
  EXPECT_EQ(Transfer(kScripted, data_, 10), -1);
  EXPECT_EQ(errno, ECONNRESET);
  EXPECT_TRUE(calls.Done());
}

TEST_P(TransferTest, TwentyRetriesAreEnough) {
  const ScriptedCalls calls(Join({Repeat(20, -EAGAIN), {10}}));
  EXPECT_EQ(Transfer(kScripted, data_, 10), 10);
  EXPECT_THAT(calls.calls(), SizeIs(21));
}

TEST_P(TransferTest, TheTwentyFirstRefusalFails) {
  const ScriptedCalls calls(Repeat(21, -EAGAIN));
  EXPECT_EQ(Transfer(kScripted, data_, 10), -1);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_TRUE(calls.Done());
}

TEST_P(TransferTest, InterruptionsCountAsRefusals) {
  const ScriptedCalls calls(Join({Repeat(11, -EINTR), Repeat(10, -EAGAIN)}));
  EXPECT_EQ(Transfer(kScripted, data_, 10), -1);
  EXPECT_TRUE(calls.Done());
}

TEST_P(TransferTest, ProgressDoesNotRenewTheRetries) {
  {
    const ScriptedCalls calls(Join({Repeat(15, -EAGAIN), {4}, Repeat(5, -EINTR), {6}}));
    EXPECT_EQ(Transfer(kScripted, data_, 10), 10);
    EXPECT_TRUE(calls.Done());
  }
  const ScriptedCalls calls(Join({Repeat(15, -EAGAIN), {4}, Repeat(6, -EINTR)}));
  EXPECT_EQ(Transfer(kScripted, data_, 10), -1);
  EXPECT_TRUE(calls.Done());
}

TEST_P(TransferTest, EachTransferHasRetriesOfItsOwn) {
  const ScriptedCalls calls(Join({Repeat(20, -EAGAIN), {10}, Repeat(20, -EAGAIN), {10}}));
  EXPECT_EQ(Transfer(kScripted, data_, 10), 10);
  EXPECT_EQ(Transfer(kScripted, data_, 10), 10);
}

TEST_P(TransferTest, ABadDescriptorIsAnError) {
  EXPECT_EQ(Transfer(-1, data_, 4), -1);
  EXPECT_EQ(errno, EBADF);
}

volatile sig_atomic_t g_pipe_signals = 0;

// Counts SIGPIPE for a scope; the default would end the program.
class PipeSignals {
 public:
  PipeSignals() {
    g_pipe_signals = 0;
    struct sigaction action = {};
    action.sa_handler = [](int) { g_pipe_signals = g_pipe_signals + 1; };
    sigaction(SIGPIPE, &action, &before_);
  }
  PipeSignals(const PipeSignals&) = delete;
  PipeSignals& operator=(const PipeSignals&) = delete;
  ~PipeSignals() { sigaction(SIGPIPE, &before_, nullptr); }

 private:
  struct sigaction before_ = {};
};

// Both ends of a stream.
class Pair {
 public:
  enum Kind { kSocket, kNonBlockingSocket, kPipe };

  explicit Pair(Kind kind) {
    int ends[2] = {-1, -1};
    if (kind == kPipe) {
      EXPECT_EQ(pipe(ends), 0);
    } else {
      const int type = SOCK_STREAM | (kind == kNonBlockingSocket ? SOCK_NONBLOCK : 0);
      EXPECT_EQ(socketpair(AF_UNIX, type, 0, ends), 0);
    }
    reader = ends[0];
    writer = ends[1];
  }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;
  ~Pair() {
    Close(&reader);
    Close(&writer);
  }
  static void Close(int* end) {
    if (*end >= 0) close(*end);
    *end = -1;
  }

  int reader = -1;
  int writer = -1;
};

TEST(Sockets, WhatIsWrittenIsRead) {
  for (const auto kind : {Pair::kSocket, Pair::kNonBlockingSocket, Pair::kPipe}) {
    const Pair pair(kind);
    char out[] = "interfaces";
    char in[sizeof(out)] = {};
    EXPECT_EQ(nc_dm_write(pair.writer, out, sizeof(out)), static_cast<int>(sizeof(out)));
    EXPECT_EQ(nc_dm_read(pair.reader, in, sizeof(in)), static_cast<int>(sizeof(in)));
    EXPECT_STREQ(in, "interfaces");
  }
}

TEST(Sockets, ReadTakesNoMoreThanItWasAskedFor) {
  const Pair pair(Pair::kNonBlockingSocket);
  char out[] = "abcdef";
  char in[8] = ".......";
  ASSERT_EQ(nc_dm_write(pair.writer, out, 6), 6);
  EXPECT_EQ(nc_dm_read(pair.reader, in, 4), 4);
  EXPECT_STREQ(in, "abcd...");
}

TEST(Sockets, PeerThatClosesMidwayIsAnEnd) {
  Pair pair(Pair::kNonBlockingSocket);
  char out[] = "abc";
  char in[10] = {};
  ASSERT_EQ(nc_dm_write(pair.writer, out, 3), 3);
  Pair::Close(&pair.writer);
  EXPECT_EQ(nc_dm_read(pair.reader, in, 10), 0);
  EXPECT_STREQ(in, "abc");
}

TEST(Sockets, AnEmptyNonBlockingSocketIsAFailure) {
  const Pair pair(Pair::kNonBlockingSocket);
  char in[10] = {};
  EXPECT_EQ(nc_dm_read(pair.reader, in, 10), -1);
  EXPECT_TRUE(errno == EAGAIN || errno == EWOULDBLOCK);
}

TEST(Sockets, AFullNonBlockingSocketIsAFailure) {
  const Pair pair(Pair::kNonBlockingSocket);
  std::vector<char> out(size_t{16} << 20);
  EXPECT_EQ(nc_dm_write(pair.writer, out.data(), static_cast<int>(out.size())), -1);
  EXPECT_TRUE(errno == EAGAIN || errno == EWOULDBLOCK);
}

TEST(Sockets, WritingToAClosedPeerRaisesNoSignal) {
  const PipeSignals signals;
  for (const auto kind : {Pair::kSocket, Pair::kNonBlockingSocket, Pair::kPipe}) {
    Pair pair(kind);
    Pair::Close(&pair.reader);
    char out[] = "abc";
    EXPECT_EQ(nc_dm_write(pair.writer, out, 3), -1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(g_pipe_signals, 0);
  }
}

TEST(Sockets, WritingToAClosedPipeLeavesTheSignalMaskAlone) {
  const PipeSignals signals;
  Pair pair(Pair::kPipe);
  Pair::Close(&pair.reader);
  char out[] = "abc";
  ASSERT_EQ(nc_dm_write(pair.writer, out, 3), -1);
  raise(SIGPIPE);
  EXPECT_EQ(g_pipe_signals, 1);
}

TEST(Sockets, ASignalThatWasPendingBeforeStaysPending) {
  const PipeSignals signals;
  sigset_t pipe_signal;
  sigset_t before;
  sigemptyset(&pipe_signal);
  sigaddset(&pipe_signal, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe_signal, &before);
  raise(SIGPIPE);

  Pair pair(Pair::kPipe);
  Pair::Close(&pair.reader);
  char out[] = "abc";
  EXPECT_EQ(nc_dm_write(pair.writer, out, 3), -1);
  EXPECT_EQ(g_pipe_signals, 0);

  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(g_pipe_signals, 1);
}

}  // namespace
