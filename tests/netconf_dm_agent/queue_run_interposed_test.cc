// A registration run and the threads that register meanwhile. They wait for the queue, which the
// run holds, and get it between two messages; what they queue is for the next run.

#include <dlfcn.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <time.h>

#include <atomic>
#include <cstdarg>
#include <thread>

#include "agent_fixture.h"
#include "netconf_dm_util/sanitizers.h"

// The calls of the system by which a test sees where a run and a producer are. They stand before
// those of libc for the whole program.
namespace {

thread_local bool t_is_producer = false;
std::thread::id g_runner;
std::atomic<bool> g_producer_waits = false;
std::atomic<bool> g_producer_is_done = false;
void (*g_at_first_send)() = nullptr;
int g_sends = 0;
int g_sends_with_queue = 0;
int g_offers = 0;                // of the queue, by the runner
std::atomic<int> g_waiting = 0;  // producers that want the queue
int g_questions = 0;             // to the system about the socket
std::atomic<bool> g_runner_waits = false;
std::atomic<bool> g_runner_has_queue = false;
std::atomic<int> g_producer_yields = 0;
void (*g_at_producer_yield)() = nullptr;

// While it is not 0 the time that the runner is told, and each message takes 20 microseconds, in
// which a producer comes.
long g_now_ns = 0;
constexpr long kMessageNs = 20000;

}  // namespace

// The thread sanitizer has these two of its own.
#if !NCDM_THREAD_SANITIZER

namespace {

bool IsQueue(const pthread_mutex_t* mutex) { return mutex == &g_nc_dm_reg_list.list_mutex; }

template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static auto* const next = Next<int(pthread_mutex_t*)>("pthread_mutex_lock");
  if (t_is_producer && IsQueue(mutex)) g_producer_waits = true;
  const bool is_runner = std::this_thread::get_id() == g_runner;
  const int wants = IsQueue(mutex) && !is_runner ? 1 : 0;
  if (IsQueue(mutex) && is_runner) g_runner_waits = true;
  g_waiting += wants;
  const int result = next(mutex);
  g_waiting -= wants;
  if (IsQueue(mutex) && is_runner) g_runner_has_queue = true;
  return result;
}

// A run that lets go of the queue while a producer waits sees it served: how soon the kernel wakes
// the producer is not what is tested.
__attribute__((visibility("default"))) int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  static auto* const next = Next<int(pthread_mutex_t*)>("pthread_mutex_unlock");
  const int result = next(mutex);
  if (IsQueue(mutex) && std::this_thread::get_id() == g_runner) ++g_offers;
  if (IsQueue(mutex) && g_producer_waits && std::this_thread::get_id() == g_runner) {
    while (!g_producer_is_done) std::this_thread::yield();
  }
  return result;
}

__attribute__((visibility("default"))) int sched_yield() noexcept {
  if (t_is_producer) {
    ++g_producer_yields;
    if (auto* const action = std::exchange(g_at_producer_yield, nullptr)) action();
  }
  return static_cast<int>(syscall(SYS_sched_yield));
}

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* now) noexcept {
  static auto* const next = Next<int(clockid_t, timespec*)>("clock_gettime");
  if (g_now_ns == 0 || std::this_thread::get_id() != g_runner) return next(clock, now);
  *now = {0, g_now_ns};
  return 0;
}

}  // extern "C"

#endif

extern "C" {

__attribute__((visibility("default"))) ssize_t send(int fd, const void* data, size_t size,
                                                    int flags) {
  ++g_sends;
  if (pthread_mutex_trylock(&g_nc_dm_reg_list.list_mutex) == 0) {
    pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex);
  } else {
    ++g_sends_with_queue;
  }
  if (auto* const action = std::exchange(g_at_first_send, nullptr)) action();
  if (g_now_ns != 0) {
    g_now_ns += kMessageNs;
    while (g_waiting == 0) std::this_thread::yield();
  }
  return syscall(SYS_sendto, fd, data, size, flags, nullptr, 0);
}

__attribute__((visibility("default"))) int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  ++g_questions;
  return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}

}  // extern "C"

namespace ncdm_test {
namespace {

int QueuePath(const char* path) {
  nc_dm_stub_reg_t record = {};
  record.type = NC_DM_MSG_TYPE_REG;
  record.name = const_cast<char*>(path);
  return nc_dm_agent_reg_server(&record);
}

std::thread g_producer;

class QueueRunTest : public AgentTest {
 protected:
  void SetUp() override {
#if NCDM_THREAD_SANITIZER
    GTEST_SKIP() << "the thread sanitizer has its own mutexes";
#endif
    InitWithPeer();
    g_runner = std::this_thread::get_id();
    g_producer_waits = false;
    g_producer_is_done = false;
    g_sends = 0;
    g_sends_with_queue = 0;
    g_offers = 0;
    g_questions = 0;
    g_producer_yields = 0;
  }
  void TearDown() override {
    g_at_first_send = nullptr;
    g_at_producer_yield = nullptr;
    if (g_producer.joinable()) g_producer.join();
    g_producer_waits = false;
  }

  static int Run() {
    nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, 1);
    return platform().RunNext(nc_dm_agent_reg_handler);
  }

  static void QueueLate() {
    t_is_producer = true;
    EXPECT_EQ(QueuePath("late"), 0);
    g_producer_is_done = true;
  }

  // A run that comes while this thread holds the queue, and waits for it.
  static std::thread StartRunThatWaits() {
    g_runner = {};
    g_runner_waits = false;
    g_runner_has_queue = false;
    std::thread run([] {
      g_runner = std::this_thread::get_id();
      EXPECT_EQ(nc_dm_agent_reg_handler(nullptr), 0);
    });
    while (!g_runner_waits) std::this_thread::yield();
    return run;
  }

  std::string NextPath() {
    const Frame frame = peer().Receive();
    EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_REG);
    BodyReader body(frame.body);
    body.Int32();
    return body.Text();
  }
};

TEST_F(QueueRunTest, AProducerGetsTheQueueBetweenTwoMessages) {
  ASSERT_EQ(QueuePath("a.b"), 0);
  ASSERT_EQ(QueuePath("a.c"), 0);
  g_at_first_send = [] {
    g_producer = std::thread(QueueLate);
    while (!g_producer_waits) std::this_thread::yield();
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(g_sends, 2) << "a run takes what was queued when it began";
  EXPECT_EQ(g_sends_with_queue, 2) << "the run holds the queue while it sends";
  EXPECT_EQ(NextPath(), "a.b");
  EXPECT_EQ(NextPath(), "a.c");
  EXPECT_EQ(PendingTexts().size(), 1u);
  EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  EXPECT_EQ(NextPath(), "late");
  EXPECT_EQ(PendingTexts().size(), 0u);
}

// It waits for the queue all the time. A run that let it in behind each message would last as long
// as what the thread does.
TEST_F(QueueRunTest, AThreadThatRegistersWithoutPauseGetsTheQueueOnceAMillisecond) {
  constexpr int kMessages = 2000;
  const DebugMask silent(0);
  for (int i = 0; i < kMessages; ++i) ASSERT_EQ(QueuePath("a.b"), 0);
  std::atomic<bool> stop = false;
  std::thread producer([&stop] {
    while (!stop) EXPECT_EQ(nc_dm_agent_yang_attr_reg("m", NC_DM_YANG_ATTR_REVISION, "1"), 0);
  });
  g_offers = 0;
  g_now_ns = kMessageNs;
  EXPECT_EQ(Run(), 0);
  const long time_ns = g_now_ns;
  g_now_ns = 0;
  stop = true;
  producer.join();
  EXPECT_GT(g_sends, 50);
  EXPECT_LE(g_offers, time_ns / 1000000 + 2) << "and once when it ends";
}

// The mutex alone would go from one producer to the next.
TEST_F(QueueRunTest, AProducerGivesWayToARunThatWaitsForTheQueue) {
  ASSERT_EQ(QueuePath("a.b"), 0);
  pthread_mutex_lock(&g_nc_dm_reg_list.list_mutex);
  std::thread run = StartRunThatWaits();
  g_at_producer_yield = [] {
    while (!g_runner_has_queue) std::this_thread::yield();
  };
  g_producer = std::thread(QueueLate);
  while (g_producer_yields == 0 && !g_producer_waits) std::this_thread::yield();
  EXPECT_FALSE(g_producer_waits) << "it asks for the queue, and may get it first";
  pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex);
  run.join();
  g_producer.join();
  EXPECT_EQ(NextPath(), "a.b");
  EXPECT_TRUE(peer().IsQuiet()) << "the run had the queue first";
  EXPECT_THAT(PendingTexts(), testing::ElementsAre("REG late 0"));
}

TEST_F(QueueRunTest, AProducerDoesNotGiveWayForEver) {
  pthread_mutex_lock(&g_nc_dm_reg_list.list_mutex);
  std::thread run = StartRunThatWaits();
  g_producer = std::thread(QueueLate);
  while (!g_producer_waits) std::this_thread::yield();
  EXPECT_GT(g_producer_yields, 0);
  EXPECT_LE(g_producer_yields, 100);
  pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex);
  run.join();
}

TEST_F(QueueRunTest, ARunSeldomAsksWhetherTheSocketIsFull) {
  for (int i = 0; i < 100; ++i) ASSERT_EQ(QueuePath("a.b"), 0);
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(g_sends, 100);
  EXPECT_GT(g_questions, 0);
  EXPECT_LE(g_questions, 20);
}

TEST_F(QueueRunTest, WhatARunLeavesStandsInFrontOfWhatCameMeanwhile) {
  ASSERT_EQ(QueuePath("a.b"), 0);
  for (int i = 0; i < 600; ++i) {
    ASSERT_EQ(nc_dm_agent_unreg(const_cast<char*>("nowhere.")), 0);
  }
  ASSERT_EQ(QueuePath("a.c"), 0);
  g_at_first_send = [] {
    g_producer = std::thread(QueueLate);
    while (!g_producer_waits) std::this_thread::yield();
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(PendingTexts().size(), 2u) << "600 instances end a run";
  EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  EXPECT_EQ(NextPath(), "a.b");
  EXPECT_EQ(NextPath(), "a.c");
  EXPECT_EQ(NextPath(), "late");
}

// The records of the previous repetition are freed by the next one, also those that the run has
// taken already.
TEST_F(QueueRunTest, ARepetitionOfAnotherThreadTakesThePlaceOfOneThatIsBeingSent) {
  const DebugMask silent(0);
  for (const char* path : {"a.b", "a.c", "a.d"}) {
    ASSERT_EQ(nc_dm_agent_mode_reg(const_cast<char*>(path), NC_DM_VAL_TYPE_STRING, 0, 0, nullptr,
                                   nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              0);
  }
  FreePendingRecords();
  ASSERT_EQ(nc_dm_agent_re_reg_server(), 0);
  g_at_first_send = [] {
    g_producer = std::thread([] {
      t_is_producer = true;
      EXPECT_EQ(nc_dm_agent_re_reg_server(), 0);
      g_producer_is_done = true;
    });
    while (!g_producer_waits) std::this_thread::yield();
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(g_sends, 1) << "the rest has moved to the new repetition";
  EXPECT_EQ(PendingTexts().size(), 3u);
  EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  for (const char* path : {"a.b", "a.b", "a.c", "a.d"}) EXPECT_EQ(NextPath(), path);
  EXPECT_TRUE(peer().IsQuiet());
}

}  // namespace
}  // namespace ncdm_test
