#include "flash_home.h"

#include <gtest/gtest.h>

#include "tests/support/scoped_env.h"

namespace {

using ncdm_test::ScopedEnv;

TEST(FlashHomeTest, AnswersTheEnvironment) {
  const ScopedEnv env("NC_DM_FLASH_HOME", "/mnt/flash");
  char path[64];
  EXPECT_EQ(fs_get_flash_home(path, sizeof(path)), 0);
  EXPECT_STREQ(path, "/mnt/flash");
}

TEST(FlashHomeTest, FailsWhenUnset) {
  const ScopedEnv env("NC_DM_FLASH_HOME", std::nullopt);
  char path[64] = "before";
  EXPECT_LT(fs_get_flash_home(path, sizeof(path)), 0);
  EXPECT_STREQ(path, "before");
}

TEST(FlashHomeTest, FailsWhenTheTextDoesNotFit) {
  const ScopedEnv env("NC_DM_FLASH_HOME", "/flash");
  char path[8] = "before";
  EXPECT_LT(fs_get_flash_home(path, 6), 0);
  EXPECT_STREQ(path, "before");
  EXPECT_EQ(fs_get_flash_home(path, 7), 0);
  EXPECT_STREQ(path, "/flash");
}

TEST(FlashHomeTest, FailsWithoutABuffer) {
  const ScopedEnv env("NC_DM_FLASH_HOME", "");
  char path[1] = {'x'};
  EXPECT_LT(fs_get_flash_home(nullptr, 64), 0);
  EXPECT_LT(fs_get_flash_home(path, 0), 0);
  EXPECT_LT(fs_get_flash_home(path, -1), 0);
  EXPECT_EQ(path[0], 'x');
  EXPECT_EQ(fs_get_flash_home(path, 1), 0);
  EXPECT_EQ(path[0], '\0');
}

}  // namespace
