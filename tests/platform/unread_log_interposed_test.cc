// The log of the Linux port when nobody reads it: no text waits, none raises a signal, and who
// reads again learns how many are missing. The log daemon's socket is one of the test's own.

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "printk_syslog.h"
#include "tests/support/scoped_env.h"
#include "tests/support/temp_dir.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// Where a connection to the log daemon goes instead; empty: as it is.
std::string g_log_socket;

// What syslog(3) was given.
std::vector<std::string> g_records;

void Record(const char* format, va_list args) {
  char text[4096];
  vsnprintf(text, sizeof(text), format, args);
  g_records.emplace_back(text);
}

}  // namespace

// Stand in for those of libc, in the port as well; syslog under both names that it may be called
// by.
extern "C" {

__attribute__((visibility("default"))) void syslog(int, const char* format, ...) {
  va_list args;
  va_start(args, format);
  Record(format, args);
  va_end(args);
}

__attribute__((visibility("default"))) void __syslog_chk(int, int, const char* format, ...) {
  va_list args;
  va_start(args, format);
  Record(format, args);
  va_end(args);
}

__attribute__((visibility("default"))) int connect(int fd, const sockaddr* address,
                                                   socklen_t length) {
  sockaddr_un other = {};
  if (address->sa_family == AF_UNIX && !g_log_socket.empty()) {
    other.sun_family = AF_UNIX;
    g_log_socket.copy(other.sun_path, sizeof(other.sun_path) - 1);
    address = reinterpret_cast<const sockaddr*>(&other);
    length = sizeof(other);
  }
  return static_cast<int>(syscall(SYS_connect, fd, address, length));
}

}  // extern "C"

namespace {

// Standard error for a scope. The test prints nothing in it.
class StandardErrorIs {
 public:
  explicit StandardErrorIs(int fd) : before_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 10)) {
    dup2(fd, STDERR_FILENO);
  }
  StandardErrorIs(const StandardErrorIs&) = delete;
  StandardErrorIs& operator=(const StandardErrorIs&) = delete;
  ~StandardErrorIs() {
    dup2(before_, STDERR_FILENO);
    close(before_);
  }

 private:
  int before_;
};

void Log(const std::string& text) {
  printk_syslog_ext(7, "M", "K", LOG_TYPE_DEBUG, "%s", text.c_str());
}

// What can be read from `fd` without waiting.
std::string Drain(int fd) {
  std::string all;
  std::array<char, 65536> part;
  fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
  for (ssize_t size = 0; (size = read(fd, part.data(), part.size())) > 0;) {
    all.append(part.data(), static_cast<size_t>(size));
  }
  return all;
}

// Both ends of a pipe or of a connected pair of sockets: [0] reads.
class Ends {
 public:
  static constexpr int kPipe = 0;

  // `type` of the sockets, or kPipe.
  explicit Ends(int type) {
    const int made =
        type == kPipe ? pipe2(fds_, O_CLOEXEC) : socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, fds_);
    EXPECT_EQ(made, 0);
  }
  Ends(const Ends&) = delete;
  Ends& operator=(const Ends&) = delete;
  ~Ends() {
    CloseReader();
    close(fds_[1]);
  }
  int reader() const { return fds_[0]; }
  int writer() const { return fds_[1]; }
  void CloseReader() {
    if (const int fd = std::exchange(fds_[0], -1); fd >= 0) close(fd);
  }

 private:
  int fds_[2] = {-1, -1};
};

// What an earlier test lost is said before this one looks.
void ForgetLosses() {
  const ncdm_test::ScopedEnv env("NC_DM_LOG", "stderr");
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  {
    const StandardErrorIs taken(nowhere);
    Log("");
  }
  close(nowhere);
}

class UnreadLogTest : public testing::Test {
 protected:
  void SetUp() override { ForgetLosses(); }

  // More than any pipe or socket here holds.
  static constexpr int kFlood = 5000;
  const std::string line_ = std::string(99, 'x') + "\n";
  const ncdm_test::ScopedEnv env_{"NC_DM_LOG", "stderr"};

  struct Output {
    std::string flood;
    std::string after;
  };

  // Fills what stands behind `ends`, which is standard error, reads it, and goes on.
  Output FloodAndRead(const Ends& ends) const {
    Output output;
    for (int i = 0; i < kFlood; ++i) Log(line_);
    output.flood = Drain(ends.reader());
    Log("next\n");
    Log("and next\n");
    output.after = Drain(ends.reader());
    return output;
  }

  Output FloodAndReadAsStandardError(const Ends& ends) const {
    const StandardErrorIs unread(ends.writer());
    return FloodAndRead(ends);
  }

  // Every text of the flood arrived as a whole, or is counted by what is said in between.
  void ExpectLossCounted(const Output& output) const {
    const std::regex whole(line_ +
                           "|\\n\\[(\\d+) texts of the log were lost: it took nothing\\]\\n");
    const std::string end = "next\nand next\n";
    ASSERT_THAT(output.after, AllOf(StartsWith("\n["), EndsWith(end)));
    const std::string all = output.flood + output.after;
    size_t arrived = 0;
    size_t lost = 0;
    size_t size = end.size();
    for (std::sregex_iterator it(all.begin(), all.end(), whole), last; it != last; ++it) {
      size += static_cast<size_t>(it->length());
      if ((*it)[1].matched) {
        lost += std::stoul((*it)[1]);
      } else {
        ++arrived;
      }
    }
    EXPECT_EQ(size, all.size()) << "texts are whole";
    EXPECT_GT(arrived, 0u);
    EXPECT_GT(lost, 0u);
    EXPECT_EQ(arrived + lost, static_cast<size_t>(kFlood));
  }
};

TEST_F(UnreadLogTest, APipeTakesWhatItHoldsAndTheRestIsCounted) {
  ExpectLossCounted(FloodAndReadAsStandardError(Ends(Ends::kPipe)));
}

// It may take a part of the last text, which counts as lost.
TEST_F(UnreadLogTest, AStreamSocketToo) {
  const Output output = FloodAndReadAsStandardError(Ends(SOCK_STREAM));
  EXPECT_THAT(output.after, HasSubstr(" texts of the log were lost"));
  EXPECT_THAT(output.after, EndsWith("]\nnext\nand next\n"));
}

TEST_F(UnreadLogTest, ADatagramSocketToo) {
  ExpectLossCounted(FloodAndReadAsStandardError(Ends(SOCK_DGRAM)));
}

TEST_F(UnreadLogTest, TheDescriptorKeepsItsOwnFlags) {
  const Ends ends(Ends::kPipe);
  const int before = fcntl(ends.writer(), F_GETFL);
  {
    const StandardErrorIs unread(ends.writer());
    FloodAndRead(ends);
  }
  EXPECT_EQ(fcntl(ends.writer(), F_GETFL), before);
}

TEST_F(UnreadLogTest, AReaderThatIsGoneRaisesNoSignalAndKeepsErrno) {
  Ends pipe(Ends::kPipe);
  Ends sockets(SOCK_STREAM);
  for (Ends* ends : {&pipe, &sockets}) {
    ends->CloseReader();
    const StandardErrorIs unread(ends->writer());
    errno = EXDEV;
    Log("to nobody");
    EXPECT_EQ(errno, EXDEV);
  }
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

TEST_F(UnreadLogTest, AClosedDescriptorCountsToo) {
  const Ends ends(Ends::kPipe);
  std::string after;
  {
    const StandardErrorIs unread(ends.writer());
    close(STDERR_FILENO);
    Log("nowhere");
    dup2(ends.writer(), STDERR_FILENO);
    Log("next\n");
    after = Drain(ends.reader());
  }
  EXPECT_EQ(after, "\n[1 texts of the log were lost: it took nothing]\nnext\n");
}

// Leaves the process without a free descriptor for a scope.
class NoFreeDescriptor {
 public:
  NoFreeDescriptor() {
    getrlimit(RLIMIT_NOFILE, &before_);
    rlimit none = before_;
    none.rlim_cur = STDERR_FILENO + 1;
    setrlimit(RLIMIT_NOFILE, &none);
  }
  NoFreeDescriptor(const NoFreeDescriptor&) = delete;
  NoFreeDescriptor& operator=(const NoFreeDescriptor&) = delete;
  ~NoFreeDescriptor() { setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_;
};

TEST_F(UnreadLogTest, WithoutAFreeDescriptorThePipeIsAskedFirst) {
  const Ends ends(Ends::kPipe);
  Output output;
  {
    const StandardErrorIs unread(ends.writer());
    const NoFreeDescriptor none;
    output = FloodAndRead(ends);
  }
  ExpectLossCounted(output);
}

// A log daemon that has stopped reading: its queue is full.
class UnreadSyslogTest : public testing::Test {
 protected:
  void SetUp() override {
    ForgetLosses();
    g_records.clear();
    g_log_socket = directory_.path() + "/log";
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    g_log_socket.copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(daemon_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(connect(neighbour_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  }
  void TearDown() override {
    close(daemon_);
    close(neighbour_);
    g_log_socket.clear();
  }
  void FillQueue() const {
    while (send(neighbour_, "x", 1, MSG_DONTWAIT) == 1) {
    }
  }

  const ncdm_test::TempDir directory_;
  const ncdm_test::ScopedEnv env_{"NC_DM_LOG", std::nullopt};
  const int daemon_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const int neighbour_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

TEST_F(UnreadSyslogTest, ADaemonThatDoesNotReadIsNotWrittenTo) {
  Log("read");
  FillQueue();
  Log("lost");
  Log("lost too");
  EXPECT_THAT(g_records, ElementsAre("M/K: read"));
  Drain(daemon_);
  Log("next");
  EXPECT_THAT(
      g_records,
      ElementsAre("M/K: read", "M/K: 2 texts of the log were lost: it took nothing", "M/K: next"));
}

TEST_F(UnreadSyslogTest, WithoutADaemonSyslogDecides) {
  g_log_socket += "-missing";
  Log("text");
  EXPECT_THAT(g_records, ElementsAre("M/K: text"));
}

}  // namespace
