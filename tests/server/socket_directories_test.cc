// Who may talk: nobody but the server's user and root can put a socket where one of ours is
// expected, or connect to the server's.
#include "server/socket_directories.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "server/listener.h"
#include "support/other_user.h"
#include "support/temp_dir.h"

namespace ncdm::server {
namespace {

using ncdm_test::AsOtherUser;
using ncdm_test::CanActAsOtherUser;
using ncdm_test::kOtherUser;
using ncdm_test::TempDir;
using testing::ThrowsMessage;

mode_t ModeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

bool Connects(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  const bool connects =
      connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  const int error = errno;
  close(fd);
  errno = error;
  return connects;
}

bool CreatesFile(const std::string& path) {
  return open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY, S_IRUSR) >= 0;
}

class SocketDirectoriesTest : public testing::Test {
 protected:
  void SetUp() override {
    // Whoever may enter the root is stopped by what is below it.
    ASSERT_EQ(chmod(temp_.path().c_str(), 0755), 0);
    std::filesystem::create_directory(root_);
    ASSERT_EQ(chmod(root_.c_str(), 0755), 0);
  }

  std::string Below(const std::string& path) const { return root_ + path; }
  void Prepare() const { PrepareSocketDirectories(root_); }
  std::string Refusal(const std::string& path, const std::string& why) const {
    return "cannot keep sockets in " + Below(path) + ": " + why;
  }

  const TempDir temp_;
  const std::string root_ = temp_.path() + "/r";
};

TEST_F(SocketDirectoriesTest, AreCreatedForTheirOwnerAloneWhateverTheMask) {
  const mode_t mask = umask(0);
  Prepare();
  umask(mask);
  for (const char* path :
       {"/mng", "/mng/netconf", "/mng/netconf/netconf_server", "/mng/netconf/netconf_client"}) {
    EXPECT_EQ(ModeOf(Below(path)), 0700u) << path;
  }
}

TEST_F(SocketDirectoriesTest, ExistingOnesKeepTheirModeWithinReason) {
  Prepare();
  for (const mode_t mode : {0755u, 0770u, 0775u, 01777u}) {
    ASSERT_EQ(chmod(Below("/mng/netconf/netconf_client").c_str(), mode), 0);
    EXPECT_NO_THROW(Prepare()) << mode;
    EXPECT_EQ(ModeOf(Below("/mng/netconf/netconf_client")), mode);
  }
}

TEST_F(SocketDirectoriesTest, OneThatEveryUserMayWriteIsRefused) {
  Prepare();
  for (const char* path :
       {"/mng/netconf/netconf_client", "/mng/netconf/netconf_server", "/mng/netconf", "/mng", ""}) {
    ASSERT_EQ(chmod(Below(path).c_str(), 0777), 0);
    EXPECT_THAT([&] { Prepare(); },
                ThrowsMessage<std::runtime_error>(Refusal(path, "every user may write there")));
    ASSERT_EQ(chmod(Below(path).c_str(), 01777), 0);
    EXPECT_NO_THROW(Prepare()) << path;
  }
}

TEST_F(SocketDirectoriesTest, OneOfAnotherUserIsRefused) {
  if (!CanActAsOtherUser()) GTEST_SKIP() << "only root can give a directory away";
  Prepare();
  for (const char* path : {"/mng", "/mng/netconf", "/mng/netconf/netconf_server"}) {
    ASSERT_EQ(chown(Below(path).c_str(), kOtherUser, kOtherUser), 0);
    EXPECT_THAT([&] { Prepare(); },
                ThrowsMessage<std::runtime_error>(Refusal(path, "it belongs to user 65534")));
    ASSERT_EQ(chown(Below(path).c_str(), 0, 0), 0);
  }
  EXPECT_NO_THROW(Prepare());
}

TEST_F(SocketDirectoriesTest, ALinkOfAnotherUserIsRefused) {
  if (!CanActAsOtherUser()) GTEST_SKIP() << "only root can act as another user";
  const std::string elsewhere = temp_.path() + "/elsewhere";
  std::filesystem::create_directory(elsewhere);
  ASSERT_EQ(chmod(root_.c_str(), 01777), 0);
  const int result =
      AsOtherUser([&] { return symlink(elsewhere.c_str(), Below("/mng").c_str()) == 0; });
  ASSERT_EQ(result, 0);
  EXPECT_THAT([&] { Prepare(); }, ThrowsMessage<std::runtime_error>(
                                      Refusal("/mng", "it is a symbolic link of user 65534")));
  EXPECT_TRUE(std::filesystem::is_empty(elsewhere));
}

TEST_F(SocketDirectoriesTest, ALinkOfOurOwnIsFollowed) {
  const std::string elsewhere = temp_.path() + "/elsewhere";
  std::filesystem::create_directory(elsewhere);
  std::filesystem::create_symlink(elsewhere, Below("/mng"));
  EXPECT_NO_THROW(Prepare());
  EXPECT_TRUE(std::filesystem::is_directory(elsewhere + "/netconf/netconf_server"));
}

TEST_F(SocketDirectoriesTest, AFileInTheWayIsNamed) {
  std::ofstream(Below("/mng")) << "x";
  EXPECT_THAT([&] { Prepare(); }, ThrowsMessage<std::runtime_error>(
                                      "cannot create " + Below("/mng") + ": Not a directory"));
}

TEST_F(SocketDirectoriesTest, AnotherUserCanNeitherEnterNorAddASocket) {
  if (!CanActAsOtherUser()) GTEST_SKIP() << "only root can act as another user";
  const Listener listener(root_);
  EXPECT_TRUE(Connects(listener.path()));
  EXPECT_EQ(AsOtherUser([&] { return Connects(listener.path()); }), EACCES);
  EXPECT_EQ(AsOtherUser([&] { return CreatesFile(Below("/mng/netconf/netconf_client/.if")); }),
            EACCES);
  EXPECT_EQ(AsOtherUser([&] { return unlink(listener.path().c_str()) == 0; }), EACCES);
}

TEST_F(SocketDirectoriesTest, TheServersSocketIsItsOwnersWhereverItLies) {
  if (!CanActAsOtherUser()) GTEST_SKIP() << "only root can act as another user";
  for (const char* path : {"/mng", "/mng/netconf", "/mng/netconf/netconf_server"}) {
    std::filesystem::create_directory(Below(path));
    ASSERT_EQ(chmod(Below(path).c_str(), 0755), 0);
  }
  const mode_t mask = umask(0);
  const Listener listener(root_);
  umask(mask);
  EXPECT_EQ(ModeOf(listener.path()), 0600u);
  EXPECT_EQ(AsOtherUser([&] { return Connects(listener.path()); }), EACCES);
}

TEST_F(SocketDirectoriesTest, ALinkAtTheServersSocketIsReplacedNotFollowed) {
  const std::string target = temp_.path() + "/target";
  std::ofstream(target) << "text";
  Prepare();
  std::filesystem::create_symlink(target, Listener::SocketPath(root_));
  const Listener listener(root_);
  EXPECT_TRUE(std::filesystem::is_regular_file(target));
  EXPECT_EQ(std::filesystem::file_size(target), 4u);
  EXPECT_EQ(std::filesystem::symlink_status(listener.path()).type(),
            std::filesystem::file_type::socket);
}

}  // namespace
}  // namespace ncdm::server
