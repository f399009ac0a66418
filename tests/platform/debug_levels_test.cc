// NC_DM_DEBUG is read when a process starts, so each test asks a process of its own: this program
// again, which then prints its mask and nothing else.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>

#include "netconf_dm_util.h"
#include "tests/support/scoped_env.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr char kAskMask[] = "NCDM_TEST_ASK_MASK";

// Before main, and behind the port's own constructor.
const bool g_asked = [] {
  if (getenv(kAskMask) == nullptr) return false;
  printf("mask %d\n", g_nc_dm_agent_dbg);
  fflush(stdout);
  _exit(0);
}();

// What a process says that starts with NC_DM_DEBUG so.
std::string OutputWith(const std::optional<std::string>& levels) {
  const ncdm_test::ScopedEnv ask(kAskMask, "1");
  const ncdm_test::ScopedEnv log("NC_DM_LOG", "stderr");
  const ncdm_test::ScopedEnv debug("NC_DM_DEBUG", levels);
  const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
  FILE* process = popen(("'" + self + "' 2>&1").c_str(), "re");
  if (process == nullptr) return "no process";
  std::string output;
  for (int c = 0; (c = fgetc(process)) != EOF;) output += static_cast<char>(c);
  EXPECT_EQ(pclose(process), 0);
  return output;
}

struct Case {
  std::optional<std::string> levels;
  int mask;
};

class DebugLevelsTest : public testing::TestWithParam<Case> {};

TEST_P(DebugLevelsTest, OpensTheMaskBeforeMain) {
  EXPECT_EQ(OutputWith(GetParam().levels), "mask " + std::to_string(GetParam().mask) + "\n");
}

INSTANTIATE_TEST_SUITE_P(Levels, DebugLevelsTest,
                         testing::Values(Case{std::nullopt, 0}, Case{"", 0}, Case{",", 0},
                                         Case{"error", 1}, Case{"info", 2}, Case{"packet", 8},
                                         Case{"timing", 16}, Case{"error,info,packet,timing", 27},
                                         Case{"timing,error", 17}, Case{",info,,error,", 3},
                                         Case{"0", 0}, Case{"11", 11}, Case{"011", 11},
                                         Case{"8,error", 9}, Case{"2147483647", 2147483647}));

TEST(DebugLevelsText, AWordThatIsNoLevelIsSaidAndTheOthersCount) {
  for (const std::string word :
       {"errors", "ERROR", " info", "-1", "1x", "0x1", "2147483648", "99999999999999999999"}) {
    EXPECT_THAT(
        OutputWith(word + ",info"),
        AllOf(StartsWith("NC_DM_DEBUG: '" + word + "' is none of error, info, packet, timing"),
              EndsWith("\nmask 2\n")));
  }
}

TEST(DebugLevelsText, ALongWordIsCutInTheLog) {
  EXPECT_THAT(OutputWith(std::string(65, 'x')),
              AllOf(HasSubstr("'" + std::string(64, 'x') + "'"), EndsWith("\nmask 0\n")));
}

TEST(DebugLevelsText, NothingIsOpenWithoutTheVariable) {
  EXPECT_FALSE(g_asked);
  if (getenv("NC_DM_DEBUG") == nullptr) {
    EXPECT_EQ(g_nc_dm_agent_dbg, 0);
  }
}

}  // namespace
