// The time stamp in the log, and the pseudo-random number.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "netconf_dm_util.h"
#include "support/debug_mask.h"
#include "support/fake_platform.h"

namespace ncdm_test {
namespace {

TEST(PrintTimeTest, NeedsTheTimingBit) {
  const DebugMask mask(~NC_DM_DBG_TIMING);
  char text[] = "begin";
  nc_dm_print_time(text);
  EXPECT_TRUE(LogCapture::Get().Texts().empty());
}

TEST(PrintTimeTest, WritesTheWallClock) {
  const DebugMask mask(NC_DM_DBG_TIMING);
  char text[] = "begin";
  const time_t before = time(nullptr);
  nc_dm_print_time(text);
  const time_t after = time(nullptr);
  const std::vector<LogRecord> records = LogCapture::Get().Records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].level, 7);
  EXPECT_EQ(records[0].module, "UNKNOW_MODULE");
  EXPECT_EQ(records[0].kind, "DEBUG");
  EXPECT_EQ(records[0].type, LOG_TYPE_DEBUG);
  long seconds = 0;
  long microseconds = -1;
  ASSERT_EQ(sscanf(records[0].text.c_str(), "begin current time sec: %ld, usec: %ld\n", &seconds,
                   &microseconds),
            2);
  EXPECT_EQ(records[0].text, "begin current time sec: " + std::to_string(seconds) +
                                 ", usec: " + std::to_string(microseconds) + "\n");
  // time() may lag behind by a tick.
  EXPECT_GE(seconds, before);
  EXPECT_LE(seconds, after + 1);
  EXPECT_GE(microseconds, 0);
  EXPECT_LT(microseconds, 1000000);
}

TEST(PrintTimeTest, TakesNoText) {
  const DebugMask mask(NC_DM_DBG_TIMING);
  nc_dm_print_time(nullptr);
  EXPECT_THAT(LogCapture::Get().Joined(), testing::StartsWith(" current time sec: "));
}

TEST(RandTest, SeedsTheGeneratorWithTheProcessorClock) {
  const clock_t before = clock();
  const int number = nc_dm_rand();
  const clock_t after = clock();
  bool is_seeded = false;
  for (clock_t seed = before; seed <= after && !is_seeded; ++seed) {
    srandom(static_cast<unsigned>(seed));
    is_seeded = random() == number;
  }
  EXPECT_TRUE(is_seeded);
}

}  // namespace
}  // namespace ncdm_test
