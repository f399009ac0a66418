// The loop of the Linux port: running, waiting, stopping, and the end of a master.

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/platform/loop_fixture.h"
#include "zu_thread.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;

using ZuThreadLoopTest = LoopTest;

std::atomic<zu_thread_master*> g_signalled_master;

void StopOnSignal(int) { zu_thread_master_stop(g_signalled_master); }

TEST_F(ZuThreadLoopTest, RunOnceWithNothingToDoReturnsAfterItsTimeout) {
  const auto start = steady_clock::now();
  EXPECT_EQ(RunOnce(30), 0);
  EXPECT_GE(steady_clock::now() - start, milliseconds(30));
}

TEST_F(ZuThreadLoopTest, RunOnceWithoutTimeoutDoesNotWait) {
  zu_thread_add_timer(master_, Note, this, 3600);
  EXPECT_EQ(RunOnce(0), 0);
}

TEST_F(ZuThreadLoopTest, RunOnceReturnsAsSoonAsSomethingIsDue) {
  const auto start = steady_clock::now();
  const timeval soon = {0, 1000};
  zu_thread_add_timer_timeval(master_, Note, this, &soon);
  EXPECT_EQ(RunOnce(kLongMs), 1);
  EXPECT_LT(steady_clock::now() - start, milliseconds(kLongMs / 2));
}

TEST_F(ZuThreadLoopTest, RunOnceWithNegativeTimeoutWaitsForATask) {
  const timeval soon = {0, 1000};
  zu_thread_add_timer_timeval(master_, Note, this, &soon);
  EXPECT_EQ(RunOnce(-1), 1);
}

TEST_F(ZuThreadLoopTest, RunGoesOnUntilATaskStopsIt) {
  int rounds = 0;
  std::function<void(zu_thread*)> action = [&](zu_thread*) {
    if (++rounds == 3) {
      zu_thread_master_stop(master_);
    } else {
      Soon(action);
    }
  };
  Soon(action);
  EXPECT_EQ(zu_thread_master_run(master_), 0);
  EXPECT_EQ(rounds, 3);
}

TEST_F(ZuThreadLoopTest, AStopLeavesTheRestOfTheTurnForTheNextRun) {
  std::function<void(zu_thread*)> action = [this](zu_thread*) {
    Soon(3);
    zu_thread_master_stop(master_);
  };
  Soon(1);
  Soon(action);
  zu_thread* cancelled = Soon(9);
  Soon(2);
  EXPECT_EQ(zu_thread_master_run(master_), 0);
  EXPECT_THAT(ran_, ElementsAre(1));
  zu_thread_cancel(cancelled);
  EXPECT_EQ(RunAll(), 2);
  EXPECT_THAT(ran_, ElementsAre(1, 2, 3));
}

TEST_F(ZuThreadLoopTest, AStopBeforeTheRunEndsThatRunAndNoOther) {
  Soon(1);
  zu_thread_master_stop(master_);
  zu_thread_master_stop(master_);
  EXPECT_EQ(zu_thread_master_run(master_), 0);
  EXPECT_THAT(ran_, IsEmpty());
  EXPECT_EQ(RunOnce(0), 1);

  Soon(2);
  zu_thread_master_stop(master_);
  EXPECT_EQ(RunOnce(0), 0);
  EXPECT_EQ(RunOnce(0), 1);
  EXPECT_THAT(ran_, ElementsAre(1, 2));
}

TEST_F(ZuThreadLoopTest, AStopInRunOnceDoesNotReachTheNextRun) {
  std::function<void(zu_thread*)> stop = [this](zu_thread*) { zu_thread_master_stop(master_); };
  Soon(stop);
  EXPECT_EQ(RunOnce(0), 1);
  Soon(1);
  EXPECT_EQ(RunAll(), 1);
}

TEST_F(ZuThreadLoopTest, AnotherThreadStopsTheLoop) {
  std::atomic<bool> looping = false;
  std::function<void(zu_thread*)> action = [&looping](zu_thread*) { looping = true; };
  Soon(action);
  std::thread stopper([&] {
    while (!looping) std::this_thread::yield();
    zu_thread_master_stop(master_);
  });
  EXPECT_EQ(zu_thread_master_run(master_), 0);
  stopper.join();
}

TEST_F(ZuThreadLoopTest, AnotherThreadStopsRunOnce) {
  std::thread stopper([this] { zu_thread_master_stop(master_); });
  EXPECT_EQ(RunOnce(-1), 0);
  stopper.join();
}

TEST_F(ZuThreadLoopTest, ASignalHandlerStopsTheLoopAndKeepsErrno) {
  g_signalled_master = master_;
  struct sigaction stop = {};
  stop.sa_handler = &StopOnSignal;
  struct sigaction before;
  ASSERT_EQ(sigaction(SIGUSR1, &stop, &before), 0);

  std::atomic<bool> looping = false;
  std::function<void(zu_thread*)> action = [&looping](zu_thread*) { looping = true; };
  Soon(action);
  const pthread_t self = pthread_self();
  std::thread sender([&] {
    while (!looping) std::this_thread::yield();
    pthread_kill(self, SIGUSR1);
  });
  EXPECT_EQ(zu_thread_master_run(master_), 0);
  sender.join();

  errno = EXDEV;
  raise(SIGUSR1);
  EXPECT_EQ(errno, EXDEV);
  EXPECT_EQ(zu_thread_master_run(master_), 0);
  sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(ZuThreadLoopTest, ASignalThatStopsNothingDoesNotEndTheWait) {
  struct sigaction ignore = {};
  ignore.sa_handler = [](int) {};
  struct sigaction before;
  ASSERT_EQ(sigaction(SIGUSR1, &ignore, &before), 0);
  const pthread_t self = pthread_self();
  const timeval soon = {0, 20000};
  zu_thread_add_timer_timeval(master_, Note, this, &soon);
  std::thread sender([self] { pthread_kill(self, SIGUSR1); });
  EXPECT_EQ(RunOnce(), 1);
  sender.join();
  sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(ZuThreadLoopTest, AMasterDoesNotRunInsideItself) {
  int run = 0;
  int run_once = 0;
  std::function<void(zu_thread*)> action = [&](zu_thread* task) {
    run = zu_thread_master_run(task->master);
    run_once = zu_thread_master_run_once(task->master, 0);
  };
  Soon(action);
  EXPECT_EQ(RunOnce(), 1);
  EXPECT_EQ(run, -1);
  EXPECT_EQ(run_once, -1);
}

TEST_F(ZuThreadLoopTest, MastersAreIndependent) {
  zu_thread_master* other = zu_thread_master_create();
  ASSERT_NE(other, nullptr);
  Soon(1);
  zu_thread_add_event_withname(other, Note, this, 2, nullptr);
  EXPECT_EQ(zu_thread_master_run_once(other, 0), 1);
  EXPECT_THAT(ran_, ElementsAre(2));
  zu_thread_master_stop(other);
  EXPECT_EQ(RunOnce(0), 1);
  EXPECT_THAT(ran_, ElementsAre(2, 1));

  // One runs inside the task of another.
  std::function<void(zu_thread*)> action = [this, other](zu_thread*) {
    zu_thread_add_event_withname(other, Note, this, 3, nullptr);
    EXPECT_EQ(zu_thread_master_run_once(other, 0), 0) << "stopped before";
    EXPECT_EQ(zu_thread_master_run_once(other, 0), 1);
  };
  Soon(action);
  EXPECT_EQ(RunOnce(0), 1);
  EXPECT_THAT(ran_, ElementsAre(2, 1, 3));
  zu_thread_master_destroy(other);
}

TEST_F(ZuThreadLoopTest, DestroyReleasesPendingTasksAndKeepsTheirDescriptorsOpen) {
  // What is not released here, the leak checks of the sanitizer builds report.
  const SocketPair sockets;
  zu_thread_master* other = zu_thread_master_create();
  ASSERT_NE(other, nullptr);
  std::function<void(zu_thread*)> stop = [other](zu_thread*) { zu_thread_master_stop(other); };
  zu_thread_add_event_withname(other, Call, &stop, 0, nullptr);
  zu_thread_add_event_withname(other, Note, this, 0, nullptr);
  zu_thread_add_timer(other, Note, this, 3600);
  zu_thread_add_read_withname(other, Note, this, sockets.here(), nullptr);
  zu_thread_add_read_withname(other, Note, this, -1, nullptr);
  zu_thread_add_write(other, Note, this, sockets.here());
  EXPECT_EQ(zu_thread_master_run(other), 0);
  zu_thread_master_destroy(other);
  EXPECT_THAT(ran_, IsEmpty());
  EXPECT_EQ(write(sockets.here(), "x", 1), 1);
}

TEST(ZuThreadNullMasterTest, IsRefusedOrIgnored) {
  EXPECT_EQ(zu_thread_master_run(nullptr), -1);
  EXPECT_EQ(zu_thread_master_run_once(nullptr, 0), -1);
  zu_thread_master_stop(nullptr);
  zu_thread_master_destroy(nullptr);
}

}  // namespace
