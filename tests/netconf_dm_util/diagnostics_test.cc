// The debug mask, the switch file, the dump of a frame, the time stamp.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <thread>

#include "netconf_dm_util.h"
#include "support/debug_mask.h"
#include "support/fake_platform.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kEverything = -1;

void Touch(const std::string& path) { std::ofstream(path) << ""; }

class DiagnosticsTest : public testing::Test {
 protected:
  DebugMask mask_{0};
  LogCapture& log_ = LogCapture::Get();
};

TEST_F(DiagnosticsTest, EachLevelHasItsPrefix) {
  g_nc_dm_agent_dbg = kEverything;
  nc_dm_agent_dbg_msg(NC_DM_DBG_ERROR, "lost %d of %s\n", 3, "seven");
  nc_dm_agent_dbg_msg(NC_DM_DBG_INFO, "text without newline");
  nc_dm_agent_dbg_msg(NC_DM_DBG_PACKET, "%s", "");
  EXPECT_THAT(log_.Texts(),
              ElementsAre("[Error: NETCONF-CLIENT] lost 3 of seven\n",
                          "[Info: NETCONF-CLIENT] text without newline", "[Pkt: NETCONF-CLIENT] "));
}

TEST_F(DiagnosticsTest, GoesToTheLogWithFixedArguments) {
  g_nc_dm_agent_dbg = NC_DM_DBG_ERROR;
  nc_dm_agent_dbg_msg(NC_DM_DBG_ERROR, "text");
  const std::vector<LogRecord> records = log_.Records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].level, 7);
  EXPECT_EQ(records[0].module, "UNKNOW_MODULE");
  EXPECT_EQ(records[0].kind, "DEBUG");
  EXPECT_EQ(records[0].type, LOG_TYPE_DEBUG);
}

TEST_F(DiagnosticsTest, ALevelNeedsItsOwnBit) {
  for (const int level : {NC_DM_DBG_ERROR, NC_DM_DBG_INFO, NC_DM_DBG_PACKET}) {
    g_nc_dm_agent_dbg = kEverything & ~level;
    nc_dm_agent_dbg_msg(level, "off");
    EXPECT_THAT(log_.Texts(), IsEmpty()) << level;
    g_nc_dm_agent_dbg = level;
    nc_dm_agent_dbg_msg(level, "on");
    EXPECT_EQ(log_.Texts().size(), 1u) << level;
    log_.Clear();
  }
}

TEST_F(DiagnosticsTest, OtherLevelsPrintNothing) {
  g_nc_dm_agent_dbg = kEverything;
  for (const int level : {0, 3, 4, 5, 9, 16, 32, -1}) nc_dm_agent_dbg_msg(level, "nothing");
  EXPECT_THAT(log_.Texts(), IsEmpty());
}

TEST_F(DiagnosticsTest, ATextIsCutBehind1023Characters) {
  g_nc_dm_agent_dbg = NC_DM_DBG_ERROR;
  nc_dm_agent_dbg_msg(NC_DM_DBG_ERROR, "%s", std::string(1023, 'x').c_str());
  nc_dm_agent_dbg_msg(NC_DM_DBG_ERROR, "%s", std::string(1024, 'x').c_str());
  const std::string longest = "[Error: NETCONF-CLIENT] " + std::string(1023, 'x');
  EXPECT_THAT(log_.Texts(), ElementsAre(longest, longest));
}

TEST_F(DiagnosticsTest, BitsAreSetAndCleared) {
  nc_dm_agent_dbg_set(NC_DM_DBG_TIMING | NC_DM_DBG_ERROR, true);
  EXPECT_EQ(g_nc_dm_agent_dbg, 17);
  nc_dm_agent_dbg_set(NC_DM_DBG_INFO, true);
  EXPECT_EQ(g_nc_dm_agent_dbg, 19);
  nc_dm_agent_dbg_set(NC_DM_DBG_TIMING | NC_DM_DBG_PACKET, false);
  EXPECT_EQ(g_nc_dm_agent_dbg, 3);
}

// Bits that one thread switches are not lost to what another switches at the same time.
TEST_F(DiagnosticsTest, BitsAreSwitchedFromSeveralThreads) {
  constexpr int kTimes = 20000;
  const auto switch_often = [](int bit) {
    for (int i = 0; i < kTimes; ++i) {
      nc_dm_agent_dbg_set(bit, true);
      nc_dm_agent_dbg_set(bit, false);
      nc_dm_agent_dbg_set(bit, true);
    }
  };
  std::thread other([&] { switch_often(64); });
  switch_often(32);
  other.join();
  EXPECT_EQ(g_nc_dm_agent_dbg & (32 | 64), 32 | 64);
}

class SwitchFileTest : public DiagnosticsTest {
 protected:
  const TempDir directory_;
};

TEST_F(SwitchFileTest, OpensAllButTiming) {
  SetFlashHome(directory_.path());
  Touch(directory_.path() + "/.nc-router-dbg");
  nc_dm_agent_dbg_check("router");
  EXPECT_EQ(g_nc_dm_agent_dbg, NC_DM_DBG_ERROR | NC_DM_DBG_INFO | NC_DM_DBG_PACKET);
}

TEST_F(SwitchFileTest, AddsToWhatIsOpen) {
  SetFlashHome(directory_.path());
  Touch(directory_.path() + "/.nc-router-dbg");
  g_nc_dm_agent_dbg = NC_DM_DBG_TIMING;
  nc_dm_agent_dbg_check("router");
  EXPECT_EQ(g_nc_dm_agent_dbg, 27);
}

TEST_F(SwitchFileTest, IsOfOneClientAlone) {
  SetFlashHome(directory_.path());
  Touch(directory_.path() + "/.nc-other-dbg");
  nc_dm_agent_dbg_check("router");
  nc_dm_agent_dbg_check(nullptr);
  EXPECT_EQ(g_nc_dm_agent_dbg, 0);
}

TEST_F(SwitchFileTest, AMissingFileClosesNothing) {
  SetFlashHome(directory_.path());
  g_nc_dm_agent_dbg = NC_DM_DBG_INFO;
  nc_dm_agent_dbg_check("router");
  EXPECT_EQ(g_nc_dm_agent_dbg, NC_DM_DBG_INFO);
}

TEST_F(SwitchFileTest, TheNameIsCutAt64Characters) {
  SetFlashHome(directory_.path());
  const std::string longest_whole(64 - strlen("/.nc--dbg"), 'n');
  Touch(directory_.path() + "/.nc-" + longest_whole + "-dbg");
  nc_dm_agent_dbg_check(longest_whole.c_str());
  EXPECT_EQ(g_nc_dm_agent_dbg, 11);

  g_nc_dm_agent_dbg = 0;
  const std::string longest_name(64, 'm');
  Touch(directory_.path() + ("/.nc-" + longest_name).substr(0, 64));
  nc_dm_agent_dbg_check(longest_name.c_str());
  EXPECT_EQ(g_nc_dm_agent_dbg, 11);
}

TEST_F(SwitchFileTest, ThePathHasAtMost128Characters) {
  const std::string file = "/.nc-a-dbg";
  const size_t padding = 128 - directory_.path().size() - file.size() - 1;
  const std::string fits = directory_.path() + "/" + std::string(padding, 'd');
  const std::string too_long = fits + "d";
  for (const std::string& home : {fits, too_long}) {
    std::filesystem::create_directory(home);
    Touch(home + file);
  }
  SetFlashHome(too_long);
  nc_dm_agent_dbg_check("a");
  EXPECT_EQ(g_nc_dm_agent_dbg, 0);
  SetFlashHome(fits);
  nc_dm_agent_dbg_check("a");
  EXPECT_EQ(g_nc_dm_agent_dbg, 11);
}

TEST_F(SwitchFileTest, StandsInDataWhereThereIsNoFlashHome) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(directory_.path());
  std::filesystem::create_directory("data");
  Touch("data/.nc-router-dbg");
  nc_dm_agent_dbg_check("router");
  std::filesystem::current_path(before);
  EXPECT_EQ(g_nc_dm_agent_dbg, 11);
}

class SentFrameTest : public DiagnosticsTest {
 protected:
  // A frame with that body.
  nc_dm_msg_t* Frame(const std::string& body) {
    auto* frame = nc_dm_agent_init_out_msg(buffer_, sizeof(buffer_));
    frame->head.type = NC_DM_MSG_TYPE_EDIT_RSP;
    frame->head.len = static_cast<nc_int32>(body.size());
    memcpy(frame->buf, body.data(), body.size());
    return frame;
  }

  alignas(nc_dm_msg_t) char buffer_[256];
};

TEST_F(SentFrameTest, IsNamedAtInfoLevel) {
  g_nc_dm_agent_dbg = kEverything & ~NC_DM_DBG_PACKET;
  nc_dm_agent_dbg_print_send_msg(Frame("abcde"));
  EXPECT_THAT(log_.Texts(), ElementsAre("[Info: NETCONF-CLIENT] Message type=14, len=5\n"));
}

TEST_F(SentFrameTest, IsDumpedByteByByteAtPacketLevel) {
  g_nc_dm_agent_dbg = NC_DM_DBG_PACKET;
  nc_dm_agent_dbg_print_send_msg(Frame(std::string("\x00\x0A\x7F\x80\xFF", 5)));
  EXPECT_THAT(log_.Texts(), ElementsAre("0 ", "A ", "7F ", "80 ", "|", "FF ", "\n\n"));
}

TEST_F(SentFrameTest, HasABarBehindEveryFourthByteAlsoTheLast) {
  g_nc_dm_agent_dbg = NC_DM_DBG_PACKET | NC_DM_DBG_INFO;
  nc_dm_agent_dbg_print_send_msg(Frame("\1\1\1\1\2\2\2\2"));
  EXPECT_EQ(log_.Joined(), "[Info: NETCONF-CLIENT] Message type=14, len=8\n1 1 1 1 |2 2 2 2 |\n\n");
}

TEST_F(SentFrameTest, MayBeEmpty) {
  g_nc_dm_agent_dbg = NC_DM_DBG_PACKET;
  nc_dm_agent_dbg_print_send_msg(Frame(""));
  nc_dm_msg_t* negative = Frame("");
  negative->head.len = -1;
  nc_dm_agent_dbg_print_send_msg(negative);
  nc_dm_agent_dbg_print_send_msg(nullptr);
  EXPECT_THAT(log_.Texts(), ElementsAre("\n\n", "\n\n"));
}

TEST_F(SentFrameTest, CostsNothingWhenNobodyListens) {
  nc_dm_agent_dbg_print_send_msg(Frame("abcd"));
  EXPECT_THAT(log_.Texts(), IsEmpty());
}

// ---- The time stamp ----

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

}  // namespace
}  // namespace ncdm_test
