// A master in a loop that the application had already: every loop runs the same tasks.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/platform/loop_fixture.h"
#include "tests/platform/outer_loops.h"
#include "zu_thread.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;

struct Kind {
  std::string name;
  std::unique_ptr<OuterLoop> (*create)();
};

class JoinedLoopTest : public testing::TestWithParam<Kind> {
 protected:
  using Action = std::function<void(zu_thread*)>;

  void SetUp() override { ASSERT_NE(master_, nullptr); }

  static int Note(zu_thread* task) {
    static_cast<JoinedLoopTest*>(task->arg)->ran_.push_back(task->value);
    return 0;
  }
  static int Call(zu_thread* task) {
    (*static_cast<Action*>(task->arg))(task);
    return 0;
  }

  zu_thread* Soon(int value) {
    return zu_thread_add_event_withname(master_, Note, this, value, nullptr);
  }
  zu_thread* Soon(Action& action) {
    return zu_thread_add_event_withname(master_, Call, &action, 0, nullptr);
  }
  zu_thread* In(milliseconds delay, Action& action) {
    const timeval tv = {0, static_cast<suseconds_t>(delay.count() * 1000)};
    return zu_thread_add_timer_timeval(master_, Call, &action, &tv);
  }
  zu_thread* OnReadable(int fd) {
    return zu_thread_add_read_withname(master_, Note, this, fd, nullptr);
  }

  // Gives the outer loop turns until `count` tasks have noted themselves.
  void RunUntil(size_t count) {
    const auto give_up = steady_clock::now() + std::chrono::seconds(30);
    while (ran_.size() < count && steady_clock::now() < give_up) loop_->Turn(1000);
  }

  // How often the master is woken within a while in which it has nothing to do.
  int WakesWithin(milliseconds span) {
    const int before = loop_->wakes();
    const auto end = steady_clock::now() + span;
    while (steady_clock::now() < end) loop_->Turn(5);
    return loop_->wakes() - before;
  }

  const std::unique_ptr<OuterLoop> loop_ = GetParam().create();
  zu_thread_master* const master_ = loop_->master();
  std::vector<int> ran_;
};

TEST_P(JoinedLoopTest, EventsRunInTheOrderOfScheduling) {
  for (int i = 1; i <= 5; ++i) ASSERT_NE(Soon(i), nullptr);
  EXPECT_THAT(ran_, IsEmpty());
  RunUntil(5);
  EXPECT_THAT(ran_, ElementsAre(1, 2, 3, 4, 5));
}

TEST_P(JoinedLoopTest, ATaskThatATaskSchedulesRunsInALaterTurn) {
  Action second = [this](zu_thread*) { ran_.push_back(2); };
  Action first = [&](zu_thread*) {
    Soon(second);
    ran_.push_back(1);
  };
  Soon(first);
  Soon(9);
  RunUntil(3);
  EXPECT_THAT(ran_, ElementsAre(1, 9, 2));
}

TEST_P(JoinedLoopTest, ACancelledTaskDoesNotRun) {
  zu_thread* cancelled = Soon(1);
  Soon(2);
  zu_thread_cancel(cancelled);
  RunUntil(1);
  EXPECT_THAT(ran_, ElementsAre(2));
}

TEST_P(JoinedLoopTest, TimersRunInTheirOrderAndNotBeforeTheyAreDue) {
  const auto start = steady_clock::now();
  auto first_ran = start;
  Action late = [this](zu_thread*) { ran_.push_back(2); };
  Action early = [&](zu_thread*) {
    first_ran = steady_clock::now();
    ran_.push_back(1);
  };
  In(milliseconds(40), late);
  In(milliseconds(20), early);
  RunUntil(2);
  EXPECT_THAT(ran_, ElementsAre(1, 2));
  EXPECT_GE(first_ran - start, milliseconds(20));
}

TEST_P(JoinedLoopTest, ATimerThatRepeatsItselfGoesOn) {
  Action tick = [&](zu_thread*) {
    ran_.push_back(0);
    if (ran_.size() < 5) In(milliseconds(3), tick);
  };
  In(milliseconds(3), tick);
  RunUntil(5);
  EXPECT_EQ(ran_.size(), 5u);
}

TEST_P(JoinedLoopTest, ADescriptorRunsItsTaskWhenItIsReady) {
  const SocketPair sockets;
  ASSERT_NE(OnReadable(sockets.here()), nullptr);
  WakesWithin(milliseconds(20));
  EXPECT_THAT(ran_, IsEmpty());
  sockets.Send();
  RunUntil(1);
  EXPECT_THAT(ran_, ElementsAre(sockets.here()));
}

TEST_P(JoinedLoopTest, AReadAndAWriteOfOneDescriptorAreTwoTasks) {
  const SocketPair sockets;
  OnReadable(sockets.here());
  Action written = [this](zu_thread*) { ran_.push_back(-1); };
  zu_thread_add_write(master_, Call, &written, sockets.here());
  RunUntil(1);
  EXPECT_THAT(ran_, ElementsAre(-1)) << "writable at once, readable not yet";
  sockets.Send();
  RunUntil(2);
  EXPECT_THAT(ran_, ElementsAre(-1, sockets.here()));
}

TEST_P(JoinedLoopTest, ATaskThatComesAgainForEverKeepsNobodyWaiting) {
  const SocketPair sockets;
  Action again = [&](zu_thread*) {
    if (ran_.empty()) Soon(again);
  };
  Soon(again);
  OnReadable(sockets.here());
  sockets.Send();
  RunUntil(1);
  EXPECT_THAT(ran_, ElementsAre(sockets.here()));
}

TEST_P(JoinedLoopTest, NothingToDoWakesNobody) {
  const SocketPair sockets;
  OnReadable(sockets.here());
  zu_thread_add_timer(master_, Note, this, 3600);
  WakesWithin(milliseconds(5));
  EXPECT_EQ(WakesWithin(milliseconds(40)), 0);
}

TEST_P(JoinedLoopTest, WhatIsCancelledWakesAtMostOnce) {
  const SocketPair sockets;
  sockets.Send();
  Action never = [this](zu_thread*) { ran_.push_back(0); };
  zu_thread* tasks[] = {OnReadable(sockets.here()), In(milliseconds(5), never), Soon(never)};
  for (zu_thread* task : tasks) zu_thread_cancel(task);
  WakesWithin(milliseconds(20));
  EXPECT_EQ(WakesWithin(milliseconds(20)), 0);
  EXPECT_THAT(ran_, IsEmpty());
}

// The agent closes a descriptor before it cancels the tasks on it.
TEST_P(JoinedLoopTest, ANumberThatIsUsedAgainIsWatchedAgain) {
  SocketPair old_pair;
  const int number = old_pair.here();
  zu_thread* old_task = OnReadable(number);
  old_pair.Close(0);
  zu_thread_cancel(old_task);
  const SocketPair new_pair;
  ASSERT_EQ(new_pair.here(), number);
  OnReadable(number);
  new_pair.Send();
  RunUntil(1);
  EXPECT_THAT(ran_, ElementsAre(number));
}

// A child process may hold a connection that this one has closed.
TEST_P(JoinedLoopTest, ADescriptorThatIsHeldElsewhereDoesNotKeepWaking) {
  SocketPair sockets;
  const int held = fcntl(sockets.here(), F_DUPFD_CLOEXEC, 100);
  zu_thread* task = OnReadable(sockets.here());
  sockets.Send();
  sockets.Close(0);
  zu_thread_cancel(task);
  WakesWithin(milliseconds(20));
  EXPECT_LE(WakesWithin(milliseconds(20)), 0);
  close(held);
}

TEST_P(JoinedLoopTest, MoreDescriptorsThanOneLookTakes) {
  std::vector<std::unique_ptr<SocketPair>> pairs;
  for (int i = 0; i < 150; ++i) {
    pairs.push_back(std::make_unique<SocketPair>());
    OnReadable(pairs.back()->here());
    pairs.back()->Send();
  }
  RunUntil(pairs.size());
  EXPECT_EQ(ran_.size(), pairs.size());
  WakesWithin(milliseconds(20));
  EXPECT_EQ(WakesWithin(milliseconds(20)), 0);
}

TEST_P(JoinedLoopTest, ATaskOnANegativeDescriptorNeverRuns) {
  zu_thread* task = OnReadable(-1);
  ASSERT_NE(task, nullptr);
  EXPECT_EQ(WakesWithin(milliseconds(10)), 0);
  zu_thread_cancel(task);
}

std::vector<Kind> Kinds() {
  return {{"Epoll", &NewEpollLoop},
          {"Poll", &NewPollLoop},
#ifdef NCDM_HAS_GLIB
          {"Glib", &NewGlibLoop},
#endif
#ifdef NCDM_HAS_LIBUV
          {"Libuv", &NewLibuvLoop},
#endif
          {"Libevent", &NewLibeventLoop}};
}

INSTANTIATE_TEST_SUITE_P(Loops, JoinedLoopTest, testing::ValuesIn(Kinds()),
                         [](const auto& info) { return info.param.name; });

// The descriptor by itself.
class MasterDescriptorTest : public LoopTest {
 protected:
  bool IsReadable(int timeout_ms = 0) {
    pollfd entry = {zu_thread_master_fd(master_), POLLIN, 0};
    return poll(&entry, 1, timeout_ms) == 1;
  }
};

TEST_F(MasterDescriptorTest, IsTheSameEachTimeAndNoneWithoutAMaster) {
  const int fd = zu_thread_master_fd(master_);
  EXPECT_GE(fd, 0);
  EXPECT_EQ(zu_thread_master_fd(master_), fd);
  EXPECT_EQ(zu_thread_master_fd(nullptr), -1);
}

TEST_F(MasterDescriptorTest, KnowsWhatWasScheduledBeforeItWasAskedFor) {
  Soon(1);
  EXPECT_TRUE(IsReadable());
  EXPECT_EQ(RunOnce(0), 1);
  EXPECT_FALSE(IsReadable());
}

TEST_F(MasterDescriptorTest, KnowsTheDescriptorsAndTimersFromBeforeToo) {
  const SocketPair sockets;
  const timeval soon = {0, 20000};
  zu_thread_add_timer_timeval(master_, Note, this, &soon);
  zu_thread_add_read_withname(master_, Note, this, sockets.here(), nullptr);
  EXPECT_FALSE(IsReadable());
  sockets.Send();
  EXPECT_TRUE(IsReadable());
  EXPECT_EQ(RunOnce(0), 1);
  EXPECT_TRUE(IsReadable(kLongMs));
  while (ran_.size() < 2) RunOnce(0);
  EXPECT_THAT(ran_, ElementsAre(sockets.here(), 0));
  EXPECT_FALSE(IsReadable());
}

TEST_F(MasterDescriptorTest, ADiskFileIsReadyAtOnce) {
  const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  ASSERT_GE(file, 0);
  EXPECT_FALSE(IsReadable());
  zu_thread_add_read_withname(master_, Note, this, file, nullptr);
  EXPECT_TRUE(IsReadable());
  EXPECT_EQ(RunOnce(0), 1);
  EXPECT_FALSE(IsReadable());
  close(file);
}

TEST_F(MasterDescriptorTest, AStopLeavesTheRestForTheNextTurn) {
  EXPECT_FALSE(IsReadable());
  std::function<void(zu_thread*)> stop = [this](zu_thread*) { zu_thread_master_stop(master_); };
  Soon(stop);
  Soon(2);
  EXPECT_EQ(RunOnce(0), 1);
  EXPECT_TRUE(IsReadable());
  EXPECT_EQ(RunOnce(0), 1);
  EXPECT_THAT(ran_, ElementsAre(2));
}

TEST_F(MasterDescriptorTest, FailsWithoutAFreeDescriptorAndSucceedsLater) {
  zu_thread_master* const master = master_;  // no sanitizer looks at `this` without a descriptor
  rlimit before;
  getrlimit(RLIMIT_NOFILE, &before);
  rlimit none = before;
  none.rlim_cur = 3;
  setrlimit(RLIMIT_NOFILE, &none);
  const int without = zu_thread_master_fd(master);
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(without, -1);
  EXPECT_GE(zu_thread_master_fd(master_), 0);
}

TEST(MasterOnABase, HasNoLoopAndNoDescriptorOfItsOwn) {
  const auto loop = NewLibeventLoop();
  EXPECT_EQ(zu_thread_master_run(loop->master()), -1);
  EXPECT_EQ(zu_thread_master_run_once(loop->master(), 0), -1);
  EXPECT_EQ(zu_thread_master_fd(loop->master()), -1);
  zu_thread_master_stop(loop->master());
  EXPECT_EQ(zu_thread_master_create_on(nullptr), nullptr);
}

TEST(MasterOnABase, IsReleasedWithTasksOfEveryKind) {
  const auto loop = NewLibeventLoop();
  const SocketPair sockets;
  const auto never = [](zu_thread*) { return 0; };
  zu_thread_add_event_withname(loop->master(), never, nullptr, 0, nullptr);
  zu_thread_add_timer(loop->master(), never, nullptr, 1);
  zu_thread_add_read_withname(loop->master(), never, nullptr, sockets.here(), nullptr);
}

}  // namespace
