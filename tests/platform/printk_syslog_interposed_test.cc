// The log of the Linux port. This program stands in for syslog(3), so that nothing reaches the
// machine's log and the severity can be seen.

#include <errno.h>
#include <gtest/gtest.h>
#include <stdarg.h>
#include <stdio.h>

#include <string>
#include <thread>
#include <vector>

#include "printk_syslog.h"
#include "tests/support/scoped_env.h"

namespace {

struct Record {
  int priority;
  std::string text;
};

std::vector<Record> g_records;

void Append(int priority, const char* format, va_list args) {
  char text[4096];
  vsnprintf(text, sizeof(text), format, args);
  g_records.push_back({priority, text});
  errno = EBADF;  // as a syslog that fails to reach its daemon may leave it
}

}  // namespace

// Both names under which the port's call may have been compiled.
extern "C" {

__attribute__((visibility("default"))) void syslog(int priority, const char* format, ...) {
  va_list args;
  va_start(args, format);
  Append(priority, format, args);
  va_end(args);
}

__attribute__((visibility("default"))) void __syslog_chk(int priority, int, const char* format,
                                                         ...) {
  va_list args;
  va_start(args, format);
  Append(priority, format, args);
  va_end(args);
}

}  // extern "C"

namespace {

class PrintkSyslogTest : public testing::Test {
 protected:
  void SetUp() override { g_records.clear(); }
};

TEST_F(PrintkSyslogTest, WritesToSyslogWithModuleAndKind) {
  const ncdm_test::ScopedEnv env("NC_DM_LOG", std::nullopt);
  testing::internal::CaptureStderr();
  printk_syslog_ext(7, "UNKNOW_MODULE", "DEBUG", LOG_TYPE_DEBUG, "%s %s", "[Info]", "text 100%\n");
  printk_syslog_ext(3, "OTHER", "ALARM", LOG_TYPE_SYSLOG, "%d", 5);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  ASSERT_EQ(g_records.size(), 2u);
  EXPECT_EQ(g_records[0].priority, 7);
  EXPECT_EQ(g_records[0].text, "UNKNOW_MODULE/DEBUG: [Info] text 100%\n");
  EXPECT_EQ(g_records[1].priority, 3);
  EXPECT_EQ(g_records[1].text, "OTHER/ALARM: 5");
}

TEST_F(PrintkSyslogTest, AnyOtherDestinationIsSyslogToo) {
  for (const char* value : {"", "syslog", "STDERR", "stderr "}) {
    g_records.clear();
    const ncdm_test::ScopedEnv env("NC_DM_LOG", value);
    printk_syslog_ext(7, "M", "K", LOG_TYPE_DEBUG, "x");
    EXPECT_EQ(g_records.size(), 1u) << value;
  }
}

TEST_F(PrintkSyslogTest, WritesTheBareTextToStandardErrorOnDemand) {
  const ncdm_test::ScopedEnv env("NC_DM_LOG", "stderr");
  testing::internal::CaptureStderr();
  printk_syslog_ext(7, "UNKNOW_MODULE", "DEBUG", LOG_TYPE_DEBUG, "%s %s", "[Info]", "text\n");
  printk_syslog_ext(7, "UNKNOW_MODULE", "DEBUG", LOG_TYPE_DEBUG, "%X ", 0xAB);
  printk_syslog_ext(7, "UNKNOW_MODULE", "DEBUG", LOG_TYPE_DEBUG, "|");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "[Info] text\nAB |");
  EXPECT_TRUE(g_records.empty());
}

TEST_F(PrintkSyslogTest, CutsALongSyslogText) {
  const ncdm_test::ScopedEnv env("NC_DM_LOG", std::nullopt);
  const std::string prefix = "M/K: ";
  for (const size_t length : {2047u, 2048u, 3000u}) {
    g_records.clear();
    printk_syslog_ext(7, "M", "K", LOG_TYPE_DEBUG, "%s", std::string(length, 'x').c_str());
    ASSERT_EQ(g_records.size(), 1u);
    EXPECT_EQ(g_records[0].text, prefix + std::string(2047, 'x')) << length;
  }
}

TEST_F(PrintkSyslogTest, KeepsErrno) {
  {
    const ncdm_test::ScopedEnv env("NC_DM_LOG", std::nullopt);
    errno = EXDEV;
    printk_syslog_ext(7, "M", "K", LOG_TYPE_DEBUG, "x");
    EXPECT_EQ(errno, EXDEV);
    EXPECT_EQ(g_records.size(), 1u);
  }
  const ncdm_test::ScopedEnv env("NC_DM_LOG", "stderr");
  testing::internal::CaptureStderr();
  errno = EXDEV;
  printk_syslog_ext(7, "M", "K", LOG_TYPE_DEBUG, "x");
  EXPECT_EQ(errno, EXDEV);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "x");
}

TEST_F(PrintkSyslogTest, TextsOfSeveralThreadsStayWhole) {
  const ncdm_test::ScopedEnv env("NC_DM_LOG", "stderr");
  constexpr size_t kLines = 200;
  testing::internal::CaptureStderr();
  const auto speak = [](char letter) {
    const std::string line(40, letter);
    for (size_t i = 0; i < kLines; ++i) {
      printk_syslog_ext(7, "M", "K", LOG_TYPE_DEBUG, "%s %s\n", line.c_str(), line.c_str());
    }
  };
  std::thread a(speak, 'a');
  std::thread b(speak, 'b');
  a.join();
  b.join();
  const std::string output = testing::internal::GetCapturedStderr();
  const std::string lines[] = {std::string(40, 'a') + " " + std::string(40, 'a') + "\n",
                               std::string(40, 'b') + " " + std::string(40, 'b') + "\n"};
  ASSERT_EQ(output.size(), 2 * kLines * lines[0].size());
  for (size_t at = 0; at < output.size(); at += lines[0].size()) {
    const std::string line = output.substr(at, lines[0].size());
    ASSERT_TRUE(line == lines[0] || line == lines[1]) << line;
  }
}

}  // namespace
