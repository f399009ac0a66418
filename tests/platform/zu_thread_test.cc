// Tasks of the Linux port: what each of the seven operations promises.

#include "zu_thread.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits.h>

#include <chrono>
#include <memory>
#include <string>

#include "tests/platform/loop_fixture.h"

namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;

class ZuThreadTest : public LoopTest {
 protected:
  // The record that the task function saw.
  static int Remember(zu_thread* task) {
    static_cast<ZuThreadTest*>(task->arg)->seen_ = *task;
    return 0;
  }

  zu_thread seen_ = {};
};

TEST_F(ZuThreadTest, AnEventRunsOnceWithItsRecord) {
  zu_thread* task = zu_thread_add_event_withname(master_, Remember, this, 42, "tt-event");
  ASSERT_NE(task, nullptr);
  EXPECT_EQ(task->master, master_);
  EXPECT_EQ(task->value, 42);
  EXPECT_EQ(RunAll(), 1);
  EXPECT_EQ(seen_.master, master_);
  EXPECT_EQ(seen_.func, &Remember);
  EXPECT_EQ(seen_.arg, this);
  EXPECT_EQ(seen_.value, 42);
  EXPECT_STREQ(seen_.name, "tt-event");
}

TEST_F(ZuThreadTest, TimersAndDescriptorsHaveTheirRecordsToo) {
  const timeval now = {0, 0};
  const SocketPair sockets;

  zu_thread_add_timer(master_, Remember, this, 0);
  EXPECT_EQ(RunAll(), 1);
  EXPECT_EQ(seen_.arg, this);
  EXPECT_EQ(seen_.value, 0);
  EXPECT_EQ(seen_.name, nullptr);

  zu_thread_add_timer_withname(master_, Remember, this, 0, "tt-timer");
  EXPECT_EQ(RunAll(), 1);
  EXPECT_STREQ(seen_.name, "tt-timer");

  zu_thread_add_timer_timeval(master_, Remember, this, &now);
  EXPECT_EQ(RunAll(), 1);
  EXPECT_EQ(seen_.name, nullptr);

  zu_thread_add_write(master_, Remember, this, sockets.here());
  EXPECT_EQ(RunAll(), 1);
  EXPECT_EQ(seen_.value, sockets.here());
  EXPECT_EQ(seen_.name, nullptr);

  sockets.Send();
  zu_thread_add_read_withname(master_, Remember, this, sockets.here(), "tt-read");
  EXPECT_EQ(RunAll(), 1);
  EXPECT_EQ(seen_.value, sockets.here());
  EXPECT_STREQ(seen_.name, "tt-read");
}

TEST_F(ZuThreadTest, NothingIsScheduledWithoutMasterFunctionOrDelay) {
  const timeval now = {0, 0};
  EXPECT_EQ(zu_thread_add_event_withname(nullptr, Note, this, 0, nullptr), nullptr);
  EXPECT_EQ(zu_thread_add_timer(nullptr, Note, this, 0), nullptr);
  EXPECT_EQ(zu_thread_add_timer_withname(nullptr, Note, this, 0, nullptr), nullptr);
  EXPECT_EQ(zu_thread_add_timer_timeval(nullptr, Note, this, &now), nullptr);
  EXPECT_EQ(zu_thread_add_read_withname(nullptr, Note, this, -1, nullptr), nullptr);
  EXPECT_EQ(zu_thread_add_write(nullptr, Note, this, -1), nullptr);

  EXPECT_EQ(zu_thread_add_event_withname(master_, nullptr, this, 0, nullptr), nullptr);
  EXPECT_EQ(zu_thread_add_timer(master_, nullptr, this, 0), nullptr);
  EXPECT_EQ(zu_thread_add_timer_withname(master_, nullptr, this, 1, nullptr), nullptr);
  EXPECT_EQ(zu_thread_add_timer_timeval(master_, nullptr, this, &now), nullptr);
  EXPECT_EQ(zu_thread_add_read_withname(master_, nullptr, this, -1, nullptr), nullptr);
  EXPECT_EQ(zu_thread_add_write(master_, nullptr, this, -1), nullptr);

  EXPECT_EQ(zu_thread_add_timer_timeval(master_, Note, this, nullptr), nullptr);
  EXPECT_EQ(RunAll(), 0);
}

TEST_F(ZuThreadTest, TasksWithoutDelayRunInTheOrderOfScheduling) {
  const timeval now = {0, 0};
  std::vector<std::function<void(zu_thread*)>> actions;
  for (int i = 0; i < 8; ++i) {
    actions.emplace_back([this, i](zu_thread*) { ran_.push_back(i); });
  }
  Soon(actions[0]);
  zu_thread_add_timer(master_, Call, &actions[1], 0);
  Soon(actions[2]);
  zu_thread_add_timer_timeval(master_, Call, &actions[3], &now);
  zu_thread_add_timer_withname(master_, Call, &actions[4], 0, "timer");
  zu_thread_add_timer(master_, Call, &actions[5], -3);
  Soon(actions[6]);
  Soon(actions[7]);
  EXPECT_EQ(RunOnce(), 8);
  EXPECT_THAT(ran_, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
}

TEST_F(ZuThreadTest, ATaskNeverRunsFromInsideTheSchedulingCall) {
  std::function<void(zu_thread*)> outer = [this](zu_thread*) {
    Soon(2);
    ran_.push_back(1);
  };
  Soon(outer);
  EXPECT_THAT(ran_, IsEmpty());
  EXPECT_EQ(RunOnce(), 1);
  EXPECT_THAT(ran_, ElementsAre(1));
  EXPECT_EQ(RunOnce(), 1);
  EXPECT_THAT(ran_, ElementsAre(1, 2));
}

TEST_F(ZuThreadTest, TimersRunInTheOrderInWhichTheyBecomeDue) {
  std::vector<std::function<void(zu_thread*)>> actions;
  for (int i = 0; i < 4; ++i) {
    actions.emplace_back([this, i](zu_thread*) { ran_.push_back(i); });
  }
  const timeval delays[] = {{0, 30000}, {0, 10000}, {0, 20000}, {0, 1}};
  for (size_t i = 0; i < 4; ++i) {
    ASSERT_NE(zu_thread_add_timer_timeval(master_, Call, &actions[i], &delays[i]), nullptr);
  }
  // All become due before the loop looks: the order must not come from the waiting.
  const auto all_due = steady_clock::now() + microseconds(30000);
  while (steady_clock::now() < all_due) {
  }
  EXPECT_EQ(RunOnce(0), 4);
  EXPECT_THAT(ran_, ElementsAre(3, 1, 2, 0));
}

TEST_F(ZuThreadTest, ATimerKeepsToItsMicroseconds) {
  steady_clock::time_point ran;
  std::function<void(zu_thread*)> action = [&ran](zu_thread*) { ran = steady_clock::now(); };
  for (const int delay : {1, 999, 1500, 25001}) {
    const timeval tv = {0, delay};
    const auto start = steady_clock::now();
    ASSERT_NE(zu_thread_add_timer_timeval(master_, Call, &action, &tv), nullptr);
    ASSERT_EQ(RunOnce(), 1) << delay;
    EXPECT_GE(ran - start, microseconds(delay));
  }
}

TEST_F(ZuThreadTest, MicrosecondsAreCarriedIntoTheSeconds) {
  // A million and more: were the excess dropped, this would be due at once.
  const timeval late = {0, 1'800'000'000};
  const timeval late_with_borrow = {3601, -1'000'000};
  const timeval at_once = {1, -1'000'000};
  const timeval past = {-1, 999'999};
  zu_thread_add_timer_timeval(master_, Note, this, &late);
  zu_thread_add_timer_timeval(master_, Note, this, &late_with_borrow);
  EXPECT_EQ(RunOnce(0), 0);
  zu_thread_add_timer_timeval(master_, Note, this, &at_once);
  zu_thread_add_timer_timeval(master_, Note, this, &past);
  EXPECT_EQ(RunOnce(0), 2);
}

TEST_F(ZuThreadTest, TheLongestDelaysDoNotOverflow) {
  const timeval longest = {LONG_MAX, LONG_MAX};
  const timeval shortest = {LONG_MIN, LONG_MIN};
  EXPECT_NE(zu_thread_add_timer(master_, Note, this, LONG_MAX), nullptr);
  EXPECT_NE(zu_thread_add_timer_timeval(master_, Note, this, &longest), nullptr);
  EXPECT_EQ(RunOnce(1), 0);
  EXPECT_NE(zu_thread_add_timer(master_, Note, this, LONG_MIN), nullptr);
  EXPECT_NE(zu_thread_add_timer_timeval(master_, Note, this, &shortest), nullptr);
  EXPECT_EQ(RunOnce(0), 2);
}

TEST_F(ZuThreadTest, ATimerInSecondsIsNotDueAtOnce) {
  zu_thread_add_timer(master_, Note, this, 3600);
  zu_thread_add_timer_withname(master_, Note, this, 3600, "timer");
  EXPECT_EQ(RunAll(), 0);
  EXPECT_THAT(ran_, IsEmpty());
}

TEST_F(ZuThreadTest, ATimerOfOneSecondRunsAfterOneSecond) {
  const auto start = steady_clock::now();
  zu_thread_add_timer(master_, Note, this, 1);
  EXPECT_EQ(RunOnce(), 1);
  EXPECT_GE(steady_clock::now() - start, std::chrono::seconds(1));
}

TEST_F(ZuThreadTest, ACancelledTaskNeverRuns) {
  const SocketPair sockets;
  sockets.Send();
  const timeval soon = {0, 1};
  zu_thread_cancel(Soon(1));
  zu_thread_cancel(zu_thread_add_timer(master_, Note, this, 0));
  zu_thread_cancel(zu_thread_add_timer_timeval(master_, Note, this, &soon));
  zu_thread_cancel(zu_thread_add_read_withname(master_, Note, this, sockets.here(), nullptr));
  zu_thread_cancel(zu_thread_add_write(master_, Note, this, sockets.here()));
  zu_thread_cancel(nullptr);
  EXPECT_EQ(RunOnce(5), 0);
  EXPECT_THAT(ran_, IsEmpty());
}

TEST_F(ZuThreadTest, ATaskCancelsOthersThatAreDueInTheSameTurn) {
  const SocketPair sockets;
  sockets.Send();
  const timeval soon = {0, 1};
  std::vector<zu_thread*> victims;
  std::function<void(zu_thread*)> action = [&victims](zu_thread*) {
    for (zu_thread* victim : victims) zu_thread_cancel(victim);
  };
  Soon(action);
  victims = {
      Soon(1),
      zu_thread_add_timer_timeval(master_, Note, this, &soon),
      zu_thread_add_read_withname(master_, Note, this, sockets.here(), nullptr),
      zu_thread_add_write(master_, Note, this, sockets.there()),
  };
  Soon(7);
  const auto all_due = steady_clock::now() + microseconds(10);
  while (steady_clock::now() < all_due) {
  }
  EXPECT_EQ(RunOnce(0), 2);
  EXPECT_THAT(ran_, ElementsAre(7));
  EXPECT_EQ(RunAll(), 0);
}

TEST_F(ZuThreadTest, ATaskCancelsWhatItScheduled) {
  std::function<void(zu_thread*)> action = [this](zu_thread*) { zu_thread_cancel(Soon(1)); };
  Soon(action);
  EXPECT_EQ(RunAll(), 1);
  EXPECT_THAT(ran_, IsEmpty());
}

TEST_F(ZuThreadTest, ATaskThatCancelsItselfDoesNoHarm) {
  std::function<void(zu_thread*)> action = [this](zu_thread* task) {
    zu_thread_cancel(task);
    ran_.push_back(task->value);
  };
  zu_thread_add_event_withname(master_, Call, &action, 5, nullptr);
  Soon(6);
  EXPECT_EQ(RunAll(), 2);
  EXPECT_THAT(ran_, ElementsAre(5, 6));
}

TEST_F(ZuThreadTest, AReadTaskRunsOnceWhenThereIsSomethingToRead) {
  const SocketPair sockets;
  zu_thread_add_read_withname(master_, Note, this, sockets.here(), nullptr);
  EXPECT_EQ(RunOnce(1), 0);
  sockets.Send();
  EXPECT_EQ(RunOnce(), 1);
  EXPECT_THAT(ran_, ElementsAre(sockets.here()));
  // The byte is still there, but the task has had its run.
  EXPECT_EQ(RunOnce(1), 0);
  // A descriptor that is readable already is due at once.
  zu_thread_add_read_withname(master_, Note, this, sockets.here(), nullptr);
  EXPECT_EQ(RunOnce(0), 1);
}

TEST_F(ZuThreadTest, TheEndOfTheStreamIsReadable) {
  SocketPair sockets;
  zu_thread_add_read_withname(master_, Note, this, sockets.here(), nullptr);
  sockets.Close(1);
  EXPECT_EQ(RunOnce(), 1);
}

TEST_F(ZuThreadTest, AWriteTaskWaitsForRoom) {
  const SocketPair sockets;
  const std::string block(4096, 'x');
  while (write(sockets.here(), block.data(), block.size()) > 0) {
  }
  zu_thread_add_write(master_, Note, this, sockets.here());
  EXPECT_EQ(RunOnce(1), 0);
  std::string sink(65536, ' ');
  while (read(sockets.there(), sink.data(), sink.size()) > 0) {
  }
  EXPECT_EQ(RunOnce(), 1);
  EXPECT_EQ(RunOnce(0), 0);
}

TEST_F(ZuThreadTest, ReadAndWriteTasksShareADescriptor) {
  const SocketPair sockets;
  zu_thread_add_read_withname(master_, Note, this, sockets.here(), nullptr);
  zu_thread_add_write(master_, Note, this, sockets.here());
  EXPECT_EQ(RunOnce(), 1) << "only the write task is due";
  sockets.Send();
  EXPECT_EQ(RunOnce(), 1) << "the read task is still scheduled";
}

TEST_F(ZuThreadTest, DescriptorsThatAreReadyTogetherRunInTheOrderOfScheduling) {
  const SocketPair sockets[3];
  std::vector<int> expected;
  for (const SocketPair& pair : sockets) pair.Send();
  for (const int i : {2, 0, 1}) {
    zu_thread_add_read_withname(master_, Note, this, sockets[i].here(), nullptr);
    expected.push_back(sockets[i].here());
  }
  EXPECT_EQ(RunOnce(), 3);
  EXPECT_EQ(ran_, expected);
}

TEST_F(ZuThreadTest, ATaskOnANegativeDescriptorNeverRunsAndCanBeCancelled) {
  zu_thread* reader = zu_thread_add_read_withname(master_, Note, this, -1, "tt-read");
  zu_thread* writer = zu_thread_add_write(master_, Note, this, -7);
  ASSERT_NE(reader, nullptr);
  ASSERT_NE(writer, nullptr);
  EXPECT_EQ(reader->value, -1);
  EXPECT_EQ(writer->value, -7);
  EXPECT_EQ(RunOnce(1), 0);
  zu_thread_cancel(reader);
  zu_thread_cancel(writer);
  EXPECT_EQ(RunOnce(1), 0);
}

TEST_F(ZuThreadTest, ARegularFileIsAlwaysReady) {
  const int fd = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  EXPECT_NE(zu_thread_add_read_withname(master_, Note, this, fd, nullptr), nullptr);
  EXPECT_EQ(RunOnce(), 1);
  close(fd);
}

TEST_F(ZuThreadTest, ADescriptorMayBeClosedBeforeItsTaskIsCancelled) {
  SocketPair sockets;
  const int fd = sockets.here();
  zu_thread* task = zu_thread_add_read_withname(master_, Note, this, fd, nullptr);
  EXPECT_EQ(RunOnce(0), 0);
  sockets.Close(0);
  zu_thread_cancel(task);
  EXPECT_EQ(RunOnce(0), 0);
}

TEST_F(ZuThreadTest, ANumberThatIsUsedAgainBelongsToTheNewFile) {
  SocketPair old_sockets;
  const SocketPair new_sockets;
  const int fd = old_sockets.here();
  zu_thread* old_task = zu_thread_add_read_withname(master_, Note, this, fd, nullptr);
  EXPECT_EQ(RunOnce(0), 0);

  ASSERT_EQ(dup2(new_sockets.here(), fd), fd);
  int runs = 0;
  std::function<void(zu_thread*)> action = [&runs](zu_thread*) { ++runs; };
  zu_thread_add_read_withname(master_, Call, &action, fd, nullptr);
  zu_thread_cancel(old_task);
  EXPECT_EQ(RunOnce(0), 0);
  new_sockets.Send();
  EXPECT_EQ(RunOnce(), 1);
  EXPECT_EQ(runs, 1);
  EXPECT_THAT(ran_, IsEmpty());
}

TEST_F(ZuThreadTest, TasksThatKeepSchedulingDoNotStarveADescriptor) {
  const SocketPair sockets;
  sockets.Send();
  std::function<void(zu_thread*)> again = [this, &again](zu_thread*) { Soon(again); };
  Soon(again);
  zu_thread_add_read_withname(master_, Note, this, sockets.here(), nullptr);
  EXPECT_EQ(RunOnce(), 2);
  EXPECT_THAT(ran_, ElementsAre(sockets.here()));
}

TEST_F(ZuThreadTest, TheRecordIsReadableUntilItsFunctionReturns) {
  std::function<void(zu_thread*)> action = [this](zu_thread* task) {
    for (int i = 0; i < 100; ++i) Soon(i);
    EXPECT_EQ(task->master, master_);
    EXPECT_EQ(task->value, 77);
    EXPECT_STREQ(task->name, "busy");
  };
  zu_thread_add_event_withname(master_, Call, &action, 77, "busy");
  EXPECT_EQ(RunAll(), 101);
}

}  // namespace
