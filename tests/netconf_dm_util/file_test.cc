// The content of a file, and the names in a directory.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "netconf_dm_util.h"
#include "netconf_dm_util/intrusive_list.h"
#include "support/debug_mask.h"
#include "support/failing_alloc.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class FileTest : public testing::Test {
 protected:
  std::string Write(const std::string& name, const std::string& content) const {
    std::string path = directory_.path() + "/" + name;
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }

  const DebugMask mask_;
  const TempDir directory_;
};

TEST_F(FileTest, IsReadAsAWhole) {
  const std::string content = "module demo {\n}\n" + std::string(100000, 'x');
  char* text = nc_dm_get_file_cont(Write("module", content).c_str());
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(text, content);
  free(text);
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(FileTest, MayContainNul) {
  const std::string content("a\0b", 3);
  char* text = nc_dm_get_file_cont(Write("binary", content).c_str());
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(std::string(text, 4), content + '\0');
  free(text);
}

TEST_F(FileTest, MayBeEmpty) {
  char* text = nc_dm_get_file_cont(Write("empty", "").c_str());
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(text, "");
  free(text);
}

TEST_F(FileTest, ThatIsNotThereIsReported) {
  const std::string path = directory_.path() + "/none";
  EXPECT_EQ(nc_dm_get_file_cont(path.c_str()), nullptr);
  EXPECT_EQ(nc_dm_get_file_cont(nullptr), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to call stat(" + path + ")!\n",
                                        "Failed to call stat((null))!\n"));
}

TEST_F(FileTest, ThatCannotBeOpenedIsReported) {
  const std::string path = directory_.path() + "/socket";
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof(address.sun_path));
  memcpy(address.sun_path, path.c_str(), path.size());
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  EXPECT_EQ(nc_dm_get_file_cont(path.c_str()), nullptr);
  close(fd);
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to open file(" + path + ")!\n"));
}

TEST_F(FileTest, ThatCannotBeReadIsReported) {
  // A directory opens like a file, but has no bytes to read.
  const std::string& path = directory_.path();
  EXPECT_EQ(nc_dm_get_file_cont(path.c_str()), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to read file(" + path + ")!\n"));
}

TEST_F(FileTest, ShortMemoryIsReported) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  const std::string path = Write("module", "text");
  {
    const FailingAlloc failing(0);
    EXPECT_EQ(nc_dm_get_file_cont(path.c_str()), nullptr);
  }
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to malloc memory for file content!\n"));
}

TEST(FileExtTest, IsAllBehindTheFirstDot) {
  const auto has = [](std::string name, std::string ext) {
    return nc_dm_is_file_ext(name.data(), ext.data());
  };
  EXPECT_TRUE(has("a.yang", "yang"));
  EXPECT_TRUE(has("a.b.yang", "b.yang"));
  EXPECT_FALSE(has("a.b.yang", "yang"));
  EXPECT_FALSE(has("a.yang", "yan"));
  EXPECT_FALSE(has("a.yan", "yang"));
  EXPECT_FALSE(has("a.YANG", "yang"));
  EXPECT_FALSE(has("yang", "yang"));
  EXPECT_FALSE(has("", ""));
  EXPECT_TRUE(has("a.", ""));
  EXPECT_TRUE(has(".yang", "yang"));
  EXPECT_TRUE(has(".", ""));
  EXPECT_TRUE(has("..", "."));
  char text[] = "a.b";
  EXPECT_FALSE(nc_dm_is_file_ext(nullptr, text));
  EXPECT_FALSE(nc_dm_is_file_ext(text, nullptr));
}

class DirectoryTest : public FileTest {
 protected:
  DirectoryTest() {
    path_ = directory_.path() + "/modules";
    std::filesystem::create_directory(path_);
    for (const char* name : {"modules/a.yang", "modules/b.yang", "modules/b.txt", "modules/c"}) {
      Write(name, "");
    }
    nc::InitList(&head_);
  }
  ~DirectoryTest() override {
    for (auto& entry : nc::RecordsSafely<nc_dm_dir_entname_t>(&head_)) {
      nc::Unlink(&entry.lst);
      free(&entry);
    }
  }

  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : nc::Records<nc_dm_dir_entname_t>(&head_)) names.push_back(entry.name);
    return names;
  }

  std::string path_;
  list_head head_ = {};
};

TEST_F(DirectoryTest, GivesEveryName) {
  EXPECT_EQ(nc_dm_get_dir_entnames(path_.c_str(), nullptr, &head_), 0);
  EXPECT_THAT(Names(), UnorderedElementsAre(".", "..", "a.yang", "b.yang", "b.txt", "c"));
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(DirectoryTest, TracesTheNamesInTheOrderOfTheResult) {
  EXPECT_EQ(nc_dm_get_dir_entnames(path_.c_str(), nullptr, &head_), 0);
  std::vector<std::string> lines;
  for (const std::string& name : Names()) lines.push_back("Current file name is " + name + "\n");
  EXPECT_EQ(InfoLines(), lines);
}

TEST_F(DirectoryTest, GivesTheNamesWithAnExtensionBehindWhatIsThere) {
  char ext[] = "yang";
  EXPECT_EQ(nc_dm_get_dir_entnames(path_.c_str(), ext, &head_), 0);
  EXPECT_THAT(Names(), UnorderedElementsAre("a.yang", "b.yang"));
  EXPECT_EQ(InfoLines().size(), 6u);
  char other[] = "txt";
  EXPECT_EQ(nc_dm_get_dir_entnames(path_.c_str(), other, &head_), 0);
  EXPECT_EQ(Names().size(), 3u);
  EXPECT_EQ(Names()[2], "b.txt");
}

TEST_F(DirectoryTest, TakesTheLongestNames) {
  const std::string name(255, 'n');
  Write("modules/" + name, "");
  EXPECT_EQ(nc_dm_get_dir_entnames(path_.c_str(), nullptr, &head_), 0);
  EXPECT_THAT(Names(), testing::Contains(name));
}

TEST_F(DirectoryTest, RefusesNullAndWhatIsNoDirectory) {
  const std::string file = path_ + "/c";
  EXPECT_EQ(nc_dm_get_dir_entnames(nullptr, nullptr, &head_), -1);
  EXPECT_EQ(nc_dm_get_dir_entnames(path_.c_str(), nullptr, nullptr), -1);
  EXPECT_EQ(nc_dm_get_dir_entnames(file.c_str(), nullptr, &head_), -1);
  EXPECT_THAT(ErrorLines(),
              ElementsAre("The dir_name input is null!\n", "The list head pointer input is null!\n",
                          "Failed to open dir(" + file + ")!\n"));
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(DirectoryTest, GoesOnWithoutANameThatFindsNoMemory) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  char ext[] = "yang";
  g_nc_dm_agent_dbg = NC_DM_DBG_ERROR;
  {
    const FailingAlloc failing(1);  // behind the directory's own
    EXPECT_EQ(nc_dm_get_dir_entnames(path_.c_str(), ext, &head_), 0);
  }
  ASSERT_EQ(Names().size(), 1u);
  const std::string lost = Names()[0] == "a.yang" ? "b.yang" : "a.yang";
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to malloc entry name: " + lost + "\n"));
}

}  // namespace
}  // namespace ncdm_test
