// The doubles that the other tests rely on.

#include "tests/support/fake_platform.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <limits.h>

#include <filesystem>

#include "flash_home.h"
#include "tests/support/temp_dir.h"

namespace ncdm_test {
namespace {

int g_runs = 0;

int ReturnsItsValue(zu_thread* task) {
  ++g_runs;
  return task->value;
}

int FindsItselfGone(zu_thread* task) { return FakePlatform::Get().IsPending(task) ? 1 : 0; }

TEST(FakePlatformTest, RecordsEachOperation) {
  FakePlatform& platform = FakePlatform::Get();
  zu_thread_master* master = FakePlatform::Master();
  const timeval delay = {3, 250};
  int arg = 0;
  zu_thread_add_event_withname(master, ReturnsItsValue, &arg, 5, "event");
  zu_thread_add_timer(master, ReturnsItsValue, nullptr, 7);
  zu_thread_add_timer_withname(master, ReturnsItsValue, nullptr, 8, "timer");
  zu_thread_add_timer_timeval(master, ReturnsItsValue, nullptr, &delay);
  zu_thread_add_read_withname(master, ReturnsItsValue, nullptr, -1, "read");
  zu_thread_add_write(master, ReturnsItsValue, nullptr, 9);

  const std::vector<FakeTask*> tasks = platform.Pending();
  ASSERT_EQ(tasks.size(), 6u);
  EXPECT_EQ(platform.scheduled(), 6);
  EXPECT_EQ(tasks[0]->kind, TaskKind::kEvent);
  EXPECT_EQ(tasks[0]->master, master);
  EXPECT_EQ(tasks[0]->func, &ReturnsItsValue);
  EXPECT_EQ(tasks[0]->arg, &arg);
  EXPECT_EQ(tasks[0]->value, 5);
  EXPECT_STREQ(tasks[0]->name, "event");
  EXPECT_EQ(tasks[1]->kind, TaskKind::kTimer);
  EXPECT_EQ(tasks[1]->sec, 7);
  EXPECT_EQ(tasks[1]->name, nullptr);
  EXPECT_EQ(tasks[2]->kind, TaskKind::kNamedTimer);
  EXPECT_EQ(tasks[2]->sec, 8);
  EXPECT_STREQ(tasks[2]->name, "timer");
  EXPECT_EQ(tasks[3]->kind, TaskKind::kTimevalTimer);
  EXPECT_EQ(tasks[3]->sec, 3);
  EXPECT_EQ(tasks[3]->usec, 250);
  EXPECT_EQ(tasks[4]->kind, TaskKind::kRead);
  EXPECT_EQ(tasks[4]->value, -1);
  EXPECT_EQ(tasks[5]->kind, TaskKind::kWrite);
  EXPECT_EQ(tasks[5]->value, 9);
  EXPECT_EQ(platform.Pending(TaskKind::kRead).size(), 1u);
}

TEST(FakePlatformTest, StartsEachTestEmpty) {
  EXPECT_TRUE(FakePlatform::Get().Pending().empty());
  EXPECT_TRUE(LogCapture::Get().Records().empty());
  char path[64];
  EXPECT_LT(fs_get_flash_home(path, sizeof(path)), 0);
}

TEST(FakePlatformTest, RunsTheFirstOfAKindOnce) {
  FakePlatform& platform = FakePlatform::Get();
  g_runs = 0;
  zu_thread_add_event_withname(FakePlatform::Master(), ReturnsItsValue, nullptr, 1, nullptr);
  zu_thread_add_event_withname(FakePlatform::Master(), ReturnsItsValue, nullptr, 2, nullptr);
  EXPECT_EQ(platform.RunNext(TaskKind::kEvent), 1);
  EXPECT_EQ(platform.RunNext(&ReturnsItsValue), 2);
  EXPECT_EQ(g_runs, 2);
  EXPECT_TRUE(platform.Pending().empty());
  int result = 0;
  EXPECT_NONFATAL_FAILURE(result = platform.RunNext(TaskKind::kEvent), "not pending");
  EXPECT_EQ(result, INT_MIN);
}

TEST(FakePlatformTest, ARunningTaskIsNoLongerPending) {
  zu_thread_add_timer(FakePlatform::Master(), FindsItselfGone, nullptr, 1);
  EXPECT_EQ(FakePlatform::Get().RunNext(TaskKind::kTimer), 0);
}

TEST(FakePlatformTest, CountsCancellationsAndRefusesASecondOne) {
  FakePlatform& platform = FakePlatform::Get();
  zu_thread* task = zu_thread_add_write(FakePlatform::Master(), ReturnsItsValue, nullptr, 1);
  EXPECT_TRUE(platform.IsPending(task));
  zu_thread_cancel(task);
  EXPECT_FALSE(platform.IsPending(task));
  EXPECT_EQ(platform.cancelled(), 1);
  EXPECT_EQ(platform.cancelled(TaskKind::kWrite), 1);
  EXPECT_EQ(platform.cancelled(TaskKind::kRead), 0);
  EXPECT_NONFATAL_FAILURE(zu_thread_cancel(task), "not pending");
  EXPECT_EQ(platform.cancelled(), 1);
}

TEST(FakePlatformTest, FailsAsOftenAsToldTo) {
  FakePlatform& platform = FakePlatform::Get();
  platform.FailNext(2);
  EXPECT_EQ(zu_thread_add_timer(FakePlatform::Master(), ReturnsItsValue, nullptr, 1), nullptr);
  EXPECT_EQ(zu_thread_add_write(FakePlatform::Master(), ReturnsItsValue, nullptr, 1), nullptr);
  EXPECT_NE(zu_thread_add_timer(FakePlatform::Master(), ReturnsItsValue, nullptr, 1), nullptr);
  EXPECT_EQ(platform.scheduled(), 1);
}

TEST(LogCaptureTest, KeepsRecords) {
  LogCapture& log = LogCapture::Get();
  printk_syslog_ext(7, "MODULE", "KIND", LOG_TYPE_DEBUG, "%s %s", kErrorPrefix.data(), "bad 5\n");
  printk_syslog_ext(6, "MODULE", "KIND", LOG_TYPE_SYSLOG, "%c", 0);
  const std::vector<LogRecord> records = log.Records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].level, 7);
  EXPECT_EQ(records[0].module, "MODULE");
  EXPECT_EQ(records[0].kind, "KIND");
  EXPECT_EQ(records[0].type, LOG_TYPE_DEBUG);
  EXPECT_EQ(records[1].text, std::string(1, '\0'));
  EXPECT_TRUE(log.ContainsError("bad 5\n"));
  EXPECT_FALSE(log.ContainsError("bad 5"));
  EXPECT_FALSE(log.ContainsInfo("bad 5\n"));
  EXPECT_FALSE(log.ContainsPacket("bad 5\n"));
  EXPECT_EQ(log.Count(kErrorPrefix, "bad 5\n"), 1);
  EXPECT_EQ(log.Texts()[0], "[Error: NETCONF-CLIENT] bad 5\n");
  EXPECT_EQ(log.Joined(), "[Error: NETCONF-CLIENT] bad 5\n" + std::string(1, '\0'));
  log.Clear();
  EXPECT_TRUE(log.Texts().empty());
}

TEST(FlashHomeDoubleTest, AnswersWhatItIsToldWhenThatFits) {
  SetFlashHome("/flash");
  char path[7];
  EXPECT_EQ(fs_get_flash_home(path, 7), 0);
  EXPECT_STREQ(path, "/flash");
  EXPECT_LT(fs_get_flash_home(path, 6), 0);
}

TEST(TempDirTest, LivesForAScopeAndLeavesRoomForTheLongestClientName) {
  const ScopedEnv outer("TMPDIR", "/outer");
  std::string path;
  {
    const TempDir directory;
    path = directory.path();
    EXPECT_EQ(getenv("TMPDIR"), path);
    EXPECT_TRUE(std::filesystem::is_directory(path + "/mng/netconf/netconf_client"));
    EXPECT_TRUE(std::filesystem::is_directory(path + "/mng/netconf/netconf_server"));
    EXPECT_LT(directory.ClientSocket(std::string(64, 'n')).size(), 108u);
  }
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_STREQ(getenv("TMPDIR"), "/outer");
}

}  // namespace
}  // namespace ncdm_test
