#ifndef TESTS_PLATFORM_LOOP_FIXTURE_H_
#define TESTS_PLATFORM_LOOP_FIXTURE_H_

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <utility>
#include <vector>

#include "zu_thread.h"

// A master of the Linux port, tasks that append their number to `ran`, and a function as a task.
class LoopTest : public testing::Test {
 protected:
  LoopTest() : master_(zu_thread_master_create()) {}
  ~LoopTest() override { zu_thread_master_destroy(master_); }

  void SetUp() override { ASSERT_NE(master_, nullptr); }

  // Long enough for any machine; a test that waits for it has failed.
  static constexpr int kLongMs = 60'000;

  // A task's function; `arg` is the test.
  static int Note(zu_thread* task) {
    static_cast<LoopTest*>(task->arg)->ran_.push_back(task->value);
    return 0;
  }

  // A task's function; `arg` is a std::function that outlives the task.
  static int Call(zu_thread* task) {
    (*static_cast<std::function<void(zu_thread*)>*>(task->arg))(task);
    return 0;
  }

  zu_thread* Soon(int value) {
    return zu_thread_add_event_withname(master_, Note, this, value, nullptr);
  }

  zu_thread* Soon(std::function<void(zu_thread*)>& action) {
    return zu_thread_add_event_withname(master_, Call, &action, 0, nullptr);
  }

  int RunOnce(int timeout_ms = kLongMs) { return zu_thread_master_run_once(master_, timeout_ms); }

  // Gives what is due, and what becomes due meanwhile, its turn, without waiting.
  int RunAll() {
    int total = 0;
    while (int count = RunOnce(0)) {
      if (count < 0) return count;
      total += count;
    }
    return total;
  }

  zu_thread_master* master_;
  std::vector<int> ran_;
};

// Two connected sockets.
class SocketPair {
 public:
  SocketPair() {
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, fds_) != 0) {
      ADD_FAILURE() << "no socket pair";
    }
  }
  SocketPair(const SocketPair&) = delete;
  SocketPair& operator=(const SocketPair&) = delete;
  ~SocketPair() {
    Close(0);
    Close(1);
  }

  int here() const { return fds_[0]; }
  int there() const { return fds_[1]; }

  void Close(int end) {
    if (const int fd = std::exchange(fds_[end], -1); fd >= 0) close(fd);
  }

  // Makes the near end readable.
  void Send() const { EXPECT_EQ(write(there(), "x", 1), 1); }

 private:
  int fds_[2] = {-1, -1};
};

#endif  // TESTS_PLATFORM_LOOP_FIXTURE_H_
