// Paths rooted at the temporary directory and at the flash home directory.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "netconf_dm_util.h"
#include "support/fake_platform.h"
#include "support/scoped_env.h"

namespace ncdm_test {
namespace {

// A null result as "<null>".
std::string MakePath(std::string suffix) {
  const char* path = nc_dm_make_path(suffix.data());
  return path == nullptr ? "<null>" : path;
}

TEST(MakePathTest, PutsTheSuffixBehindTheTemporaryDirectory) {
  const ScopedEnv tmpdir("TMPDIR", "/var/tmp");
  EXPECT_EQ(MakePath("/mng/file"), "/var/tmp/mng/file");
  EXPECT_EQ(MakePath(""), "/var/tmp");
}

TEST(MakePathTest, TakesAnEmptyDirectory) {
  const ScopedEnv tmpdir("TMPDIR", "");
  EXPECT_EQ(MakePath("/file"), "/file");
  EXPECT_EQ(MakePath(""), "");
}

TEST(MakePathTest, GivesNullWithoutATemporaryDirectory) {
  const ScopedEnv tmpdir("TMPDIR", std::nullopt);
  EXPECT_EQ(MakePath("/file"), "<null>");
}

TEST(MakePathTest, GivesNullWithoutASuffix) {
  const ScopedEnv tmpdir("TMPDIR", "/tmp");
  EXPECT_EQ(nc_dm_make_path(nullptr), nullptr);
}

TEST(MakePathTest, TheNextCallOverwritesTheResult) {
  const ScopedEnv tmpdir("TMPDIR", "/tmp");
  char first[] = "/first";
  char second[] = "/2";
  const char* path = nc_dm_make_path(first);
  EXPECT_EQ(nc_dm_make_path(second), path);
  EXPECT_EQ(std::string(path, 8), std::string("/tmp/2\0\0", 8));
}

TEST(MakePathTest, TakesPathsOf128Characters) {
  const ScopedEnv tmpdir("TMPDIR", "/tmp");
  const std::string fits(124, 's');
  EXPECT_EQ(MakePath(fits), "/tmp" + fits);
  EXPECT_EQ(MakePath(fits + "s"), "<null>");
  const ScopedEnv longer("TMPDIR", std::string(129, 't'));
  EXPECT_EQ(MakePath(""), "<null>");
}

class FlashHomePathTest : public testing::Test {
 protected:
  // A buffer of that size and not one byte more.
  std::string Make(std::string suffix, int size) {
    std::vector<char> buffer(static_cast<size_t>(size), 'x');
    const char* path = nc_dm_make_flash_home(suffix.data(), buffer.data(), size);
    if (path == nullptr) return "<null>";
    EXPECT_EQ(path, buffer.data());
    EXPECT_NE(memchr(buffer.data(), '\0', buffer.size()), nullptr);
    return path;
  }
};

TEST_F(FlashHomePathTest, PutsTheSuffixBehindTheHomeDirectory) {
  SetFlashHome("/flash");
  EXPECT_EQ(Make("/.file", 64), "/flash/.file");
  EXPECT_EQ(Make("", 64), "/flash");
}

TEST_F(FlashHomePathTest, TakesDataWhereThereIsNone) {
  EXPECT_EQ(Make("/.file", 64), "./data/.file");
}

TEST_F(FlashHomePathTest, GivesNullForWhatDoesNotFitWithItsNul) {
  SetFlashHome("/flash");
  EXPECT_EQ(Make("/abc", 11), "/flash/abc");
  EXPECT_EQ(Make("/abcd", 11), "<null>");
  EXPECT_EQ(Make("/abcde", 11), "<null>");
  EXPECT_EQ(Make("/a-long-suffix", 10), "<null>");
  SetFlashHome(std::nullopt);
  EXPECT_EQ(Make("/abc", 11), "./data/abc");
  EXPECT_EQ(Make("/abcd", 11), "<null>");
}

TEST_F(FlashHomePathTest, CutsDataAtTheBuffersSize) {
  EXPECT_EQ(Make("", 1), "");
  EXPECT_EQ(Make("", 4), "./d");
  EXPECT_EQ(Make("a", 4), "<null>");
}

TEST_F(FlashHomePathTest, GivesNullForNullAndForNoRoom) {
  char path[16] = "untouched";
  char suffix[] = "/a";
  EXPECT_EQ(nc_dm_make_flash_home(nullptr, path, sizeof(path)), nullptr);
  EXPECT_EQ(nc_dm_make_flash_home(suffix, nullptr, sizeof(path)), nullptr);
  EXPECT_EQ(nc_dm_make_flash_home(suffix, path, 0), nullptr);
  EXPECT_EQ(nc_dm_make_flash_home(suffix, path, -1), nullptr);
  EXPECT_STREQ(path, "untouched");
}

}  // namespace
}  // namespace ncdm_test
