#include "server/listener.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "support/temp_dir.h"
#include "tests/server/fake_agent.h"
#include "tests/server/no_descriptors.h"

namespace ncdm::server {
namespace {

using ncdm_test::TempDir;
using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(ListenerTest, CreatesTheDirectoriesOfBothEnds) {
  const TempDir directory;
  const std::string root = directory.path() + "/fresh";
  const Listener listener(root);
  EXPECT_EQ(listener.path(), root + "/mng/netconf/netconf_server/.serv");
  EXPECT_TRUE(std::filesystem::is_socket(listener.path()));
  EXPECT_TRUE(std::filesystem::is_directory(root + "/mng/netconf/netconf_client"));
}

TEST(ListenerTest, RemovesItsSocketAtTheEnd) {
  const TempDir directory;
  { const Listener listener(directory.path()); }
  EXPECT_FALSE(std::filesystem::exists(directory.ServerSocket()));
}

TEST(ListenerTest, AcceptsWithoutBlocking) {
  const TempDir directory;
  Listener listener(directory.path());
  EXPECT_FALSE(listener.Accept());
  const int fd = ncdm_test::ConnectToServer(directory.path());
  EXPECT_TRUE(listener.Accept());
  EXPECT_FALSE(listener.Accept());
  close(fd);
}

TEST(ListenerTest, ASecondServerIsRefused) {
  const TempDir directory;
  const Listener listener(directory.path());
  EXPECT_THAT(
      [&] { Listener second(directory.path()); },
      ThrowsMessage<std::runtime_error>("another server listens at " + directory.ServerSocket()));
  EXPECT_TRUE(std::filesystem::is_socket(directory.ServerSocket()));
}

// Even when its socket is not there yet, or not any more.
TEST(ListenerTest, TheLockDecidesBetweenServersThatStartAtOnce) {
  const TempDir directory;
  auto first = std::make_unique<Listener>(directory.path());
  unlink(directory.ServerSocket().c_str());
  EXPECT_THAT(
      [&] { Listener second(directory.path()); },
      ThrowsMessage<std::runtime_error>("another server listens at " + directory.ServerSocket()));
  first.reset();
  EXPECT_NO_THROW(Listener(directory.path()));
}

TEST(ListenerTest, TheLockIsNoLinkToAnotherFile) {
  const TempDir directory;
  { const Listener listener(directory.path()); }
  const std::string lock = directory.ServerSocket() + ".lock";
  unlink(lock.c_str());
  std::filesystem::create_symlink(directory.path() + "/elsewhere", lock);
  EXPECT_THAT([&] { Listener listener(directory.path()); },
              ThrowsMessage<std::runtime_error>(HasSubstr("cannot open " + lock + ": ")));
  EXPECT_FALSE(std::filesystem::exists(directory.path() + "/elsewhere"));
}

TEST(ListenerTest, SaysWhenThereAreNoDescriptors) {
  const TempDir directory;
  Listener listener(directory.path());
  const int fd = ncdm_test::ConnectToServer(directory.path());
  const ncdm_test::NoDescriptors none;
  EXPECT_FALSE(listener.Accept());
  EXPECT_TRUE(listener.is_exhausted());
  none.End();
  EXPECT_TRUE(listener.Accept());
  EXPECT_FALSE(listener.is_exhausted());
  EXPECT_FALSE(listener.Accept());
  EXPECT_FALSE(listener.is_exhausted());
  close(fd);
}

TEST(ListenerTest, WhatADeadServerLeftIsReplaced) {
  const TempDir directory;
  std::ofstream(directory.ServerSocket()) << "no socket";
  const Listener listener(directory.path());
  const int fd = ncdm_test::ConnectToServer(directory.path());
  EXPECT_GE(fd, 0);
  close(fd);
}

TEST(ListenerTest, ASocketThatReplacedOursStays) {
  const TempDir directory;
  {
    const Listener listener(directory.path());
    unlink(listener.path().c_str());
    std::ofstream(listener.path()) << "somebody else's";
  }
  EXPECT_TRUE(std::filesystem::exists(directory.ServerSocket()));
}

TEST(ListenerTest, APathMustFitASocketsAddress) {
  const TempDir directory;
  const std::size_t suffix = Listener::SocketPath("").size();
  const auto root = [&](std::size_t size) {
    std::string path = directory.path() + "/";
    path.append(size - suffix - path.size(), 'x');
    return path;
  };
  EXPECT_NO_THROW(Listener(root(107)));
  EXPECT_THAT([&] { Listener(root(108)); },
              ThrowsMessage<std::runtime_error>(HasSubstr("too long (108 characters)")));
}

TEST(ListenerTest, UnusableRootsAreNamed) {
  EXPECT_THAT([] { Listener(""); },
              ThrowsMessage<std::runtime_error>("no root directory is given"));
  const TempDir directory;
  const std::string file = directory.path() + "/file";
  std::ofstream(file) << "x";
  EXPECT_THAT([&] { Listener listener(file); },
              ThrowsMessage<std::runtime_error>(HasSubstr("cannot create " + file + ": ")));
}

}  // namespace
}  // namespace ncdm::server
