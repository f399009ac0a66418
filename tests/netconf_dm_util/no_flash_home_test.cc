// A platform that has no flash home directory at all: this program does not define
// fs_get_flash_home, and still links.

#include <gtest/gtest.h>

#include "netconf_dm_util.h"

namespace {

TEST(NoFlashHomeTest, GivesDataInstead) {
  char suffix[] = "/file";
  char path[32] = "";
  EXPECT_STREQ(nc_dm_make_flash_home(suffix, path, sizeof(path)), "./data/file");
}

}  // namespace
