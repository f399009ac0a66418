#include <dlfcn.h>
#include <stdarg.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "agent_fixture.h"
#include "support/other_user.h"

// Calls of the system that a test makes fail. They stand before those of libc for the whole
// program.
namespace {
bool g_socket_fails = false;
bool g_ioctl_fails = false;
int g_mutex_inits_before_failure = -1;
int g_sends_before_failure = -1;
}  // namespace

extern "C" {

__attribute__((visibility("default"))) int socket(int domain, int type, int protocol) noexcept {
  if (g_socket_fails) {
    errno = EMFILE;
    return -1;
  }
  return static_cast<int>(syscall(SYS_socket, domain, type, protocol));
}

__attribute__((visibility("default"))) int ioctl(int fd, unsigned long request, ...) noexcept {
  if (g_ioctl_fails) {
    errno = ENOTTY;
    return -1;
  }
  va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}

__attribute__((visibility("default"))) ssize_t send(int fd, const void* data, size_t size,
                                                    int flags) {
  if (g_sends_before_failure >= 0 && g_sends_before_failure-- == 0) {
    errno = EPIPE;
    return -1;
  }
  return syscall(SYS_sendto, fd, data, size, flags, nullptr, 0);
}

__attribute__((visibility("default"))) int pthread_mutex_init(
    pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
  if (g_mutex_inits_before_failure >= 0 && g_mutex_inits_before_failure-- == 0) return EAGAIN;
  using Function = int (*)(pthread_mutex_t*, const pthread_mutexattr_t*);
  static const auto next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "pthread_mutex_init"));
  return next(mutex, attributes);
}

}  // extern "C"

namespace ncdm_test {
namespace {

int GetLeaf(nc_dm_id_array_t*, char* value) {
  value[0] = 1;
  return 0;
}

int RegisterNothing() { return 0; }

int RegisterLeaf(const char* path, int flag = 0) {
  return nc_dm_agent_mode_reg(const_cast<char*>(path), NC_DM_VAL_TYPE_BOOL, flag, 0, nullptr,
                              GetLeaf, nullptr, nullptr, nullptr, nullptr, nullptr);
}

int RegisterTwoLeaves() { return RegisterLeaf("sys.a") | RegisterLeaf("sys.b", 2); }

class ConnectionTest : public AgentTest {
 protected:
  ~ConnectionTest() override {
    g_socket_fails = false;
    g_ioctl_fails = false;
    g_mutex_inits_before_failure = -1;
    g_sends_before_failure = -1;
  }

  // The client's name, as the first message of a connection.
  static void ExpectName(const Frame& frame, int attr, const std::string& name = kName) {
    EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_REG_NAME);
    EXPECT_EQ(frame.head.sid, -1);
    EXPECT_EQ(frame.head.flag, NC_DM_MSG_FLAG_NAME);
    BodyReader body(frame.body);
    EXPECT_EQ(body.Int32(), attr);
    EXPECT_EQ(body.Text(), name);
    EXPECT_TRUE(body.AtEnd());
  }
  static void ExpectPath(const Frame& frame, const std::string& path, int attr = 0) {
    EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_REG);
    BodyReader body(frame.body);
    EXPECT_EQ(body.Int32(), attr);
    EXPECT_EQ(body.Text(), path);
  }
  static void ExpectCplt(const Frame& frame) {
    EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_REG_CPLT);
    EXPECT_EQ(frame.head.sid, -1);
    EXPECT_EQ(frame.body, "");
  }

  static int Reconnect() { return platform().RunNext(nc_dm_agent_reconnect); }

  static bool IsNonBlocking(int fd) { return (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0; }
};

// ---- Start ----

TEST_F(ConnectionTest, InitNeedsAMasterAndAName) {
  EXPECT_EQ(nc_dm_agent_init(nullptr, FakePlatform::Master(), nullptr, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_init("app", nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(log().Count(kErrorPrefix, "Input parameter master or name is invalid!\n"), 2);
  EXPECT_FALSE(info().agent_init);
}

TEST_F(ConnectionTest, ANameHas1To64CharactersAndNoSlash) {
  EXPECT_EQ(Init(nullptr, nullptr, ""), -1);
  EXPECT_TRUE(log().ContainsInfo("Module name: \n"));
  EXPECT_TRUE(log().ContainsError("The client's name can't be empty!\n"));

  const std::string too_long(65, 'n');
  EXPECT_EQ(Init(nullptr, nullptr, too_long.c_str()), -1);
  EXPECT_TRUE(log().ContainsInfo("Module name: " + too_long + "\n"));
  EXPECT_TRUE(log().ContainsError("The length of client's name is too long!\n"));
  EXPECT_FALSE(info().agent_init);
  EXPECT_EQ(platform().scheduled(), 0);

  for (const char* name : {"/", "a/b", "/../netconf_server/.serv"}) {
    log().Clear();
    EXPECT_EQ(Init(nullptr, nullptr, name), -1);
    EXPECT_TRUE(log().ContainsError("The client's name must not contain '/'!\n"));
  }
  EXPECT_FALSE(info().agent_init);
  EXPECT_EQ(platform().scheduled(), 0);

  const std::string longest(64, 'n');
  const Server server(dir());
  EXPECT_EQ(Init(nullptr, nullptr, longest.c_str()), 0);
  EXPECT_EQ(info().agent_name, longest);
  ExpectName(server.Accept().Receive(), 0, longest);
}

TEST_F(ConnectionTest, InitSendsTheNameAndArmsTheTasks) {
  const Server server(dir());
  EXPECT_EQ(Init(), 0);
  const Peer peer = server.Accept();
  ExpectName(peer.Receive(), 0);
  EXPECT_TRUE(peer.IsQuiet());

  EXPECT_TRUE(info().agent_init);
  EXPECT_TRUE(info().agent_tree_init);
  EXPECT_FALSE(info().agent_restart);
  EXPECT_FALSE(info().local_dm_reg_over);
  EXPECT_EQ(info().agent_pid, syscall(SYS_gettid));
  EXPECT_STREQ(info().agent_name, "app");
  EXPECT_EQ(tasks().master, FakePlatform::Master());
  EXPECT_TRUE(g_nc_agent_dm.registered);

  ASSERT_EQ(platform().Pending().size(), 2u);
  EXPECT_EQ(platform().Pending()[0]->func, nc_dm_agent_read);
  EXPECT_EQ(platform().Pending()[0]->value, agent_fd());
  EXPECT_EQ(platform().Pending()[1]->func, nc_dm_agent_reg_handler);
  EXPECT_EQ(platform().Pending()[1]->sec, 1);
  EXPECT_EQ(PendingTexts().size(), 0u);
}

TEST_F(ConnectionTest, InitForgetsWhatWasThere) {
  info().exe_time = 1;
  info().fault.fault_code = NC_DM_FAULT_CODE_MEM;
  info().local_dm_reg_over = true;
  tasks().tt_notify = reinterpret_cast<zu_thread*>(&tasks());
  EXPECT_EQ(Init(), 0);
  EXPECT_EQ(info().exe_time, 0);
  EXPECT_EQ(info().fault.fault_code, NC_DM_FAULT_CODE_OK);
  EXPECT_FALSE(info().local_dm_reg_over);
  EXPECT_EQ(tasks().tt_notify, nullptr);
  EXPECT_TRUE(nc::IsEmpty(&info().param_list.head));
  EXPECT_EQ(info().param_list.cnt, 0);
}

TEST_F(ConnectionTest, TheSwitchFileOpensTheDebugOutputOfItsClient) {
  const DebugMask silent(0);
  SetFlashHome(dir().path());
  std::ofstream(dir().path() + "/.nc-other-dbg").close();
  EXPECT_EQ(Init(), 0);
  EXPECT_EQ(g_nc_dm_agent_dbg, 0);
  close(agent_fd());

  std::ofstream(dir().path() + "/.nc-app-dbg").close();
  EXPECT_EQ(Init(), 0);
  EXPECT_EQ(g_nc_dm_agent_dbg, NC_DM_DBG_ERROR | NC_DM_DBG_INFO | NC_DM_DBG_PACKET);
}

TEST_F(ConnectionTest, TheSocketFileOfAnEarlierRunMarksARestart) {
  const Server server(dir());
  std::ofstream(dir().ClientSocket("app")).close();
  EXPECT_EQ(Init(), 0);
  EXPECT_TRUE(info().agent_restart);
  EXPECT_TRUE(log().ContainsInfo("The path '" + dir().ClientSocket("app") + "' already exist.\n"));
  ExpectName(server.Accept().Receive(), NC_DM_REG_ATTR_RESTART);
}

TEST_F(ConnectionTest, WithoutASocketFileThereIsNoRestart) {
  EXPECT_EQ(Init(), 0);
  EXPECT_FALSE(info().agent_restart);
  EXPECT_TRUE(log().ContainsInfo("The path '" + dir().ClientSocket("app") +
                                 "' doesn't exist, strerr: " + strerror(ENOENT) + ".\n"));
}

TEST_F(ConnectionTest, RestartAnswersForEachName) {
  std::ofstream(dir().ClientSocket("one")).close();
  char one[] = "one";
  char two[] = "two";
  EXPECT_TRUE(nc_dm_agent_restart(one));
  EXPECT_TRUE(info().agent_restart);
  EXPECT_FALSE(nc_dm_agent_restart(two));
  EXPECT_FALSE(info().agent_restart);
}

TEST_F(ConnectionTest, ARestartIsReportedUntilTheFirstRegistrationResponse) {
  const Server server(dir());
  std::ofstream(dir().ClientSocket("app")).close();
  ASSERT_EQ(Init(RegisterTwoLeaves), 0);
  {
    Peer peer = server.Accept();
    ExpectName(peer.Receive(), NC_DM_REG_ATTR_RESTART);
  }
  for (int attr : {NC_DM_REG_ATTR_RESTART, 0}) {
    ASSERT_EQ(platform().RunNext(nc_dm_agent_read), 0);
    ASSERT_EQ(Reconnect(), 0);
    Peer peer = server.Accept();
    // The file of the socket itself is there now, and changes nothing.
    ExpectName(peer.Receive(), attr);
    ExpectCplt(peer.Receive());
    peer.Send(NC_DM_MSG_TYPE_REG_RSP, Body().Int32(0));
    ASSERT_EQ(platform().RunNext(nc_dm_agent_read), 0);
    EXPECT_FALSE(info().agent_restart);
  }
}

TEST_F(ConnectionTest, WithoutAServerInitSucceedsAndTriesAgain) {
  EXPECT_EQ(Init(), 0);
  EXPECT_TRUE(info().agent_init);
  EXPECT_TRUE(log().ContainsError("Failed to connect server:" + dir().ServerSocket() + "!\n"));
  EXPECT_FALSE(log().ContainsError("Client remote dm register unsuccessfully!\n"))
      << "there is nobody to send the name to";

  ASSERT_EQ(platform().Pending().size(), 3u);
  EXPECT_EQ(platform().Pending()[0]->func, nc_dm_agent_reconnect);
  EXPECT_EQ(platform().Pending()[0]->sec, 1);
  // The descriptor as the failed attempt left it.
  EXPECT_EQ(platform().Pending()[1]->func, nc_dm_agent_read);
  EXPECT_EQ(platform().Pending()[1]->value, agent_fd());
  EXPECT_GE(agent_fd(), 0);
  EXPECT_EQ(platform().Pending()[2]->func, nc_dm_agent_reg_handler);
}

TEST_F(ConnectionTest, WithoutATmpdirThereIsNoSocket) {
  const ScopedEnv unset("TMPDIR", std::nullopt);
  EXPECT_EQ(Init(), 0);
  EXPECT_FALSE(info().agent_restart);
  EXPECT_TRUE(log().ContainsError("Get invalid socket path!\n"));
  EXPECT_TRUE(log().ContainsError("Failed to create dm client!\n"));
  EXPECT_EQ(agent_fd(), -1);
  ASSERT_NE(platform().Find(nc_dm_agent_read), nullptr);
  EXPECT_EQ(platform().Find(nc_dm_agent_read)->value, -1);
  EXPECT_NE(platform().Find(nc_dm_agent_reconnect), nullptr);

  EXPECT_EQ(Reconnect(), -1);
  EXPECT_NE(platform().Find(nc_dm_agent_reconnect), nullptr);
}

TEST_F(ConnectionTest, ANameThatCannotBeSentIsTriedAgain) {
  const Server server(dir());
  g_sends_before_failure = 0;
  EXPECT_EQ(Init(), 0);
  EXPECT_TRUE(log().ContainsError("app failed to send to server.\n"));
  EXPECT_TRUE(log().ContainsError("Client remote dm register unsuccessfully!\n"));
  EXPECT_FALSE(g_nc_agent_dm.registered);
  ASSERT_NE(platform().Find(nc_dm_agent_reconnect), nullptr);
  EXPECT_NE(platform().Find(nc_dm_agent_read), nullptr);
  EXPECT_TRUE(server.Accept().IsQuiet());
}

bool g_initialised_in_dm_reg;

TEST_F(ConnectionTest, TheApplicationRegistersWithinInit) {
  const Server server(dir());
  g_initialised_in_dm_reg = false;
  EXPECT_EQ(Init([] {
              g_initialised_in_dm_reg = g_nc_dm_mng_info.agent_init;
              return RegisterTwoLeaves();
            }),
            0);
  EXPECT_TRUE(g_initialised_in_dm_reg);
  EXPECT_TRUE(info().local_dm_reg_over);

  const Peer peer = server.Accept();
  ExpectName(peer.Receive(), 0);
  EXPECT_TRUE(peer.IsQuiet());
  EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  ExpectPath(peer.Receive(), "sys.a");
  ExpectPath(peer.Receive(), "sys.b", 2);
  ExpectCplt(peer.Receive());
  EXPECT_TRUE(peer.IsQuiet());
}

// ---- A registration function that fails ----

int RegisterAllAndFail() {
  char instance[] = "t.7.";
  EXPECT_EQ(RegisterTwoLeaves() | RegisterLeaf("t.{i}.name", 1), 0);
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("mod", NC_DM_YANG_ATTR_REVISION, "2024-01-01"), 0);
  EXPECT_EQ(nc_dm_agent_reg(instance), 0);
  EXPECT_EQ(nc_dm_agent_fun_reg(NC_DM_HOOK_FUN_DATA_COMMIT, [](char*) { return 0; }), 0);
  return 17;
}

void ExpectNothingKept() {
  EXPECT_EQ(g_nc_dm_mng_info.agent_fd, -1);
  EXPECT_FALSE(g_nc_dm_mng_info.agent_init);
  EXPECT_FALSE(g_nc_dm_mng_info.agent_tree_init);
  EXPECT_EQ(g_nc_dm_mng_info.data_commit, nullptr);
  EXPECT_TRUE(FakePlatform::Get().Pending().empty());
  EXPECT_TRUE(nc::IsEmpty(&g_nc_dm_reg_list.reg_list));
  EXPECT_TRUE(nc::IsEmpty(&g_nc_agent_dm.dm_root));
  EXPECT_TRUE(nc::IsEmpty(&g_nc_agent_dm.yang_attr_lst));
  EXPECT_EQ(g_nc_agent_dm.total_node, 0u);
}

TEST_F(ConnectionTest, ARegistrationThatFailsEndsTheStart) {
  const Server server(dir());
  EXPECT_EQ(Init([] { return 17; }), 17);
  EXPECT_TRUE(log().ContainsError("Failed to register dm!\n"));
  EXPECT_EQ(platform().scheduled(), 0);
  ExpectNothingKept();
  const Peer peer = server.Accept();
  ExpectName(peer.Receive(), 0);
  char byte;
  EXPECT_EQ(recv(peer.fd(), &byte, 1, 0), 0);
}

// The leak checker sees to the memory.
TEST_F(ConnectionTest, ARegistrationThatFailsLeavesNothingOfWhatItRegistered) {
  const Server server(dir());
  EXPECT_EQ(Init(RegisterAllAndFail), 17);
  ExpectNothingKept();
  EXPECT_FALSE(std::filesystem::exists(dir().ClientSocket(kName)));
  char path[] = "late.leaf";
  EXPECT_EQ(nc_dm_agent_reg(path), -1);
}

TEST_F(ConnectionTest, ARegistrationThatFailsWithoutAServerSchedulesNothing) {
  EXPECT_EQ(Init(RegisterAllAndFail), 17);
  ExpectNothingKept();
  EXPECT_FALSE(std::filesystem::exists(dir().ClientSocket(kName)));
}

TEST_F(ConnectionTest, AStartAfterARegistrationThatFailedIsLikeAFirst) {
  const Server server(dir());
  std::ofstream(dir().ClientSocket(kName)).close();  // of an earlier process
  EXPECT_EQ(Init(RegisterAllAndFail), 17);
  server.Accept();

  EXPECT_EQ(Init(RegisterTwoLeaves), 0);
  EXPECT_FALSE(info().agent_restart);
  const Peer peer = server.Accept();
  ExpectName(peer.Receive(), 0);
  EXPECT_EQ(platform().Pending().size(), 2u);
  EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  ExpectPath(peer.Receive(), "sys.a");
  ExpectPath(peer.Receive(), "sys.b", 2);
  ExpectCplt(peer.Receive());
  EXPECT_TRUE(peer.IsQuiet());
}

TEST_F(ConnectionTest, ARegistrationThatFailsLeavesAFileThatItsSocketIsNotBoundTo) {
  const std::string file = dir().ClientSocket(kName);
  std::filesystem::create_directory(file);  // which no socket can take the place of
  EXPECT_EQ(Init(RegisterAllAndFail), 17);
  EXPECT_TRUE(std::filesystem::is_directory(file));
}

bool g_named_in_dm_reg;

TEST_F(ConnectionTest, TheNameIsSentBeforeTheApplicationRegisters) {
  const Server server(dir());
  g_named_in_dm_reg = false;
  EXPECT_EQ(Init([] {
              g_named_in_dm_reg = g_nc_agent_dm.registered && g_nc_dm_mng_info.agent_fd >= 0;
              return 0;
            }),
            0);
  EXPECT_TRUE(g_named_in_dm_reg);
}

TEST_F(ConnectionTest, TheQueuesMutexIsAPlainOne) {
  ASSERT_EQ(Init(), 0);
  pthread_mutex_t* mutex = &g_nc_dm_reg_list.list_mutex;
  ASSERT_EQ(pthread_mutex_lock(mutex), 0);
  EXPECT_EQ(pthread_mutex_trylock(mutex), EBUSY);
  pthread_mutex_unlock(mutex);
}

TEST_F(ConnectionTest, AMutexThatCannotBeMadeFailsInit) {
  g_mutex_inits_before_failure = 0;
  EXPECT_EQ(Init(), -1);
  EXPECT_TRUE(log().ContainsError("reg list mutex init failed.\n"));
  EXPECT_EQ(platform().scheduled(), 0);
  EXPECT_FALSE(info().agent_init);
}

TEST_F(ConnectionTest, ATreeThatCannotBeMadeFailsInit) {
  g_mutex_inits_before_failure = 1;
  EXPECT_EQ(Init(), -1);
  EXPECT_EQ(platform().scheduled(), 0);
  EXPECT_FALSE(info().agent_init);
  EXPECT_FALSE(info().agent_tree_init);
}

// Leaves a filter and an edit with a key in the lists.
void CollectSomething() {
  auto* filter_node =
      static_cast<nc_dm_stub_filter_node_t*>(calloc(1, sizeof(nc_dm_stub_filter_node_t)));
  filter_node->filter = static_cast<nc_dm_stub_filter_t*>(calloc(1, sizeof(nc_dm_stub_filter_t)));
  filter_node->filter->name = nc_dm_copy_str("a");
  nc::PushBack(&g_nc_dm_filter_node_list.filter_head, &filter_node->lst);
  auto* edit_node = static_cast<nc_dm_stub_edit_node_t*>(calloc(1, sizeof(nc_dm_stub_edit_node_t)));
  edit_node->edit = static_cast<nc_dm_stub_edit_t*>(calloc(1, sizeof(nc_dm_stub_edit_t)));
  edit_node->edit->name = nc_dm_copy_str("a");
  nc::PushBack(&g_nc_dm_edit_node_list.edit_head, &edit_node->lst);
  nc::PushBack(&g_nc_dm_edit_node_list.key_head, &edit_node->ky_lst);
  g_nc_dm_edit_node_list.cnt = 1;
  g_nc_dm_filter_node_list.cnt = 1;
}

void ExpectNothingCollected() {
  EXPECT_TRUE(nc::IsEmpty(&g_nc_dm_filter_node_list.filter_head));
  EXPECT_TRUE(nc::IsEmpty(&g_nc_dm_edit_node_list.edit_head));
  EXPECT_TRUE(nc::IsEmpty(&g_nc_dm_edit_node_list.key_head));
  EXPECT_EQ(g_nc_dm_edit_node_list.cnt, 0);
  EXPECT_EQ(g_nc_dm_filter_node_list.cnt, 0);
}

TEST_F(ConnectionTest, OpDataInitReleasesWhatWasCollected) {
  CollectSomething();
  EXPECT_EQ(nc_dm_agent_op_data_init(), 0);
  ExpectNothingCollected();
}

TEST_F(ConnectionTest, InitReleasesWhatWasCollected) {
  CollectSomething();
  EXPECT_EQ(Init(), 0);
  ExpectNothingCollected();
}

// ---- Sockets ----

TEST_F(ConnectionTest, ASocketIsBoundToItsPath) {
  char suffix[] = "/mng/netconf/netconf_client/.one";
  const int fd = nc_dm_agent_create_socket(suffix, true);
  ASSERT_GE(fd, 0);
  EXPECT_TRUE(IsNonBlocking(fd));
  EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_TRUE(std::filesystem::is_socket(dir().ClientSocket("one")));
  sockaddr_un address = {};
  socklen_t len = sizeof(address);
  ASSERT_EQ(getsockname(fd, reinterpret_cast<sockaddr*>(&address), &len), 0);
  EXPECT_EQ(address.sun_path, dir().ClientSocket("one"));
  close(fd);
}

TEST_F(ConnectionTest, IsBlockFalseLeavesTheSocketBlocking) {
  char suffix[] = "/mng/netconf/netconf_client/.one";
  const int fd = nc_dm_agent_create_socket(suffix, false);
  ASSERT_GE(fd, 0);
  EXPECT_FALSE(IsNonBlocking(fd));
  close(fd);
}

TEST_F(ConnectionTest, AFileInTheSocketsPlaceIsRemoved) {
  std::ofstream(dir().ClientSocket("one")) << "text";
  char suffix[] = "/mng/netconf/netconf_client/.one";
  const int fd = nc_dm_agent_create_socket(suffix, true);
  ASSERT_GE(fd, 0);
  EXPECT_TRUE(std::filesystem::is_socket(dir().ClientSocket("one")));
  close(fd);
}

TEST_F(ConnectionTest, ALinkInTheSocketsPlaceIsLeftAlone) {
  const std::string target = dir().path() + "/target";
  std::ofstream(target) << "text";
  std::filesystem::create_symlink(target, dir().ClientSocket("one"));
  char suffix[] = "/mng/netconf/netconf_client/.one";
  EXPECT_EQ(nc_dm_agent_create_socket(suffix, true), -1);
  EXPECT_TRUE(log().ContainsError("'" + dir().ClientSocket("one") +
                                  "' on the way to the socket is a symbolic link, it is not "
                                  "followed!\n"));
  EXPECT_EQ(std::filesystem::file_size(target), 4u);
  EXPECT_TRUE(std::filesystem::is_symlink(dir().ClientSocket("one")));
}

// Another user who came first leads the sockets elsewhere: nothing is removed there, and nobody
// there is talked to.
TEST_F(ConnectionTest, ALinkOnTheWayToASocketIsNotFollowed) {
  const std::string elsewhere = dir().path() + "/elsewhere";
  std::filesystem::rename(dir().path() + "/mng", elsewhere);
  std::ofstream(elsewhere + "/netconf/netconf_client/.app") << "precious";
  std::filesystem::create_symlink(elsewhere, dir().path() + "/mng");
  const Server server(dir());
  EXPECT_EQ(Init(), 0);
  EXPECT_TRUE(log().ContainsError("'" + dir().path() +
                                  "/mng' on the way to the socket is a symbolic link, it is not "
                                  "followed!\n"));
  EXPECT_TRUE(log().ContainsError("Failed to create dm client!\n"));
  EXPECT_EQ(std::filesystem::file_size(elsewhere + "/netconf/netconf_client/.app"), 8u);
  EXPECT_FALSE(server.HasConnection());
  EXPECT_NE(tasks().tt_reconnect, nullptr);
}

TEST_F(ConnectionTest, AServerBehindALinkIsNotTalkedTo) {
  const Server server(dir());
  const std::string real = dir().path() + "/real";
  std::filesystem::rename(dir().ServerSocket(), real);
  std::filesystem::create_symlink(real, dir().ServerSocket());
  EXPECT_EQ(Init(), 0);
  EXPECT_TRUE(log().ContainsError("Failed to connect server:" + dir().ServerSocket() + "!\n"));
  EXPECT_FALSE(server.HasConnection());
}

TEST_F(ConnectionTest, TmpdirItselfMayBeALink) {
  const std::string link = dir().path() + "L";
  std::filesystem::create_symlink(dir().path(), link);
  const ScopedEnv tmpdir("TMPDIR", link);
  const Server server(dir());
  EXPECT_EQ(Init(), 0);
  EXPECT_TRUE(server.HasConnection());
  std::filesystem::remove(link);
}

class ForeignDirectoryTest : public ConnectionTest {
 protected:
  void SetUp() override {
    if (!CanActAsOtherUser()) GTEST_SKIP() << "only root can give a directory away";
  }
  void GiveAway(const std::string& path) const {
    ASSERT_EQ(chown((dir().path() + path).c_str(), kOtherUser, kOtherUser), 0);
  }
  void SetMode(const std::string& path, mode_t mode) const {
    ASSERT_EQ(chmod((dir().path() + path).c_str(), mode), 0);
  }
  bool Connects() {
    const Server server(dir());
    EXPECT_EQ(Init(), 0);
    const bool connects = server.HasConnection();
    if (info().agent_fd >= 0) close(info().agent_fd);
    info().agent_fd = -1;
    return connects;
  }
  void ExpectRefusal(const std::string& path) {
    EXPECT_TRUE(log().ContainsError("'" + dir().path() + path +
                                    "' on the way to the socket belongs to another user!\n"));
  }
};

TEST_F(ForeignDirectoryTest, WhereEverybodyMayWriteIsNotTrusted) {
  SetMode("", 01777);
  GiveAway("/mng");
  EXPECT_FALSE(Connects());
  ExpectRefusal("/mng");
}

TEST_F(ForeignDirectoryTest, WhereAGroupMayWriteIsNotTrusted) {
  SetMode("/mng", 0770);
  GiveAway("/mng/netconf");
  EXPECT_FALSE(Connects());
  ExpectRefusal("/mng/netconf");
}

TEST_F(ForeignDirectoryTest, WhereNobodyElseMayWriteIsTheAdministratorsWord) {
  SetMode("/mng/netconf", 0755);
  GiveAway("/mng/netconf/netconf_server");
  EXPECT_TRUE(Connects());
}

TEST_F(ForeignDirectoryTest, OurOwnAndRootsAreTrustedWhereEverybodyMayWrite) {
  for (const char* path : {"", "/mng", "/mng/netconf", "/mng/netconf/netconf_client"}) {
    SetMode(path, 01777);
  }
  EXPECT_TRUE(Connects());
}

TEST_F(ForeignDirectoryTest, AForeignServersSocketIsNotTrusted) {
  SetMode("/mng/netconf/netconf_server", 01777);
  const Server server(dir());
  GiveAway("/mng/netconf/netconf_server/.serv");
  EXPECT_EQ(Init(), 0);
  EXPECT_FALSE(server.HasConnection());
  ExpectRefusal("/mng/netconf/netconf_server/.serv");
}

TEST_F(ConnectionTest, TheClientsSocketIsForItsOwnerAloneWhateverTheMask) {
  const mode_t mask = umask(0);
  char suffix[] = "/mng/netconf/netconf_client/.one";
  const int fd = nc_dm_agent_create_socket(suffix, true);
  umask(mask);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(std::filesystem::status(dir().ClientSocket("one")).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  close(fd);
}

TEST_F(ConnectionTest, APathOf107CharactersFitsAnAddress) {
  // The suffix that makes the whole path that long.
  std::string suffix(107 - dir().path().size(), 'x');
  suffix[0] = '/';
  const int fd = nc_dm_agent_create_socket(suffix.data(), true);
  ASSERT_GE(fd, 0);
  EXPECT_TRUE(std::filesystem::is_socket(dir().path() + suffix));
  close(fd);
}

TEST_F(ConnectionTest, APathOf108CharactersIsRefused) {
  std::string suffix(108 - dir().path().size(), 'x');
  suffix[0] = '/';
  EXPECT_EQ(nc_dm_agent_create_socket(suffix.data(), true), -1);
  EXPECT_TRUE(log().ContainsError("Get invalid socket path!\n"));
}

TEST_F(ConnectionTest, ASocketThatCannotBeBoundIsClosed) {
  char suffix[] = "/no/such/directory";
  EXPECT_EQ(nc_dm_agent_create_socket(suffix, true), -1);
  EXPECT_TRUE(log().ContainsError("Failed to bind client socket, path:" + dir().path() +
                                  "/no/such/directory\n"));
}

TEST_F(ConnectionTest, ASocketThatCannotBeMadeIsLogged) {
  g_socket_fails = true;
  char suffix[] = "/mng/netconf/netconf_client/.one";
  EXPECT_EQ(nc_dm_agent_create_socket(suffix, true), -1);
  EXPECT_TRUE(log().ContainsError("Failed to create client socket, errno = " +
                                  std::to_string(EMFILE) + ", " + strerror(EMFILE) + "\n"));
}

TEST_F(ConnectionTest, ASocketThatStaysBlockingIsUsedAllTheSame) {
  g_ioctl_fails = true;
  char suffix[] = "/mng/netconf/netconf_client/.one";
  const int fd = nc_dm_agent_create_socket(suffix, true);
  EXPECT_GE(fd, 0);
  EXPECT_TRUE(log().ContainsError("Failed to set socket to non-blocking, errno = " +
                                  std::to_string(ENOTTY) + ", " + strerror(ENOTTY) + "\n"));
  close(fd);
}

TEST_F(ConnectionTest, CreateMakesTheSocketOfTheClient) {
  WriteText(info().agent_name, "one");
  const int fd = nc_dm_agent_create();
  ASSERT_GE(fd, 0);
  EXPECT_TRUE(IsNonBlocking(fd));
  EXPECT_TRUE(std::filesystem::is_socket(dir().ClientSocket("one")));
  close(fd);
}

// ---- Connecting ----

TEST_F(ConnectionTest, ConnectSocketConnectsOnce) {
  const Server server(dir());
  WriteText(info().agent_name, "one");
  EXPECT_EQ(nc_dm_agent_connect_socket(), 0);
  const int fd = agent_fd();
  EXPECT_TRUE(IsNonBlocking(fd));
  EXPECT_EQ(nc_dm_agent_connect_socket(), 0);
  EXPECT_EQ(agent_fd(), fd);
  EXPECT_TRUE(log().ContainsInfo("Dm agent connect already.\n"));
  server.Accept();
  EXPECT_FALSE(server.HasConnection());
}

TEST_F(ConnectionTest, Descriptor0IsNoConnection) {
  const Server server(dir());
  WriteText(info().agent_name, "one");
  info().agent_fd = 0;
  EXPECT_EQ(nc_dm_agent_connect_socket(), 0);
  EXPECT_GE(agent_fd(), 1);
  EXPECT_TRUE(server.Accept().IsOpen());
}

TEST_F(ConnectionTest, ConnectSocketWithoutAServerLeavesTheSocketOpen) {
  WriteText(info().agent_name, "one");
  EXPECT_EQ(nc_dm_agent_connect_socket(), -1);
  EXPECT_GE(agent_fd(), 0);
  EXPECT_TRUE(log().ContainsError("Failed to connect server:" + dir().ServerSocket() + "!\n"));
}

TEST_F(ConnectionTest, AServerPathThatFitsNoAddressIsNotConnected) {
  // The server's suffix is 33 characters, the shortest client's 30: one fits, the other does not.
  const std::string deep =
      dir().path() + "/" + std::string(108 - 33 - dir().path().size() - 1, 'd');
  std::filesystem::create_directories(deep + "/mng/netconf/netconf_client");
  const ScopedEnv tmpdir("TMPDIR", deep);
  WriteText(info().agent_name, "a");
  EXPECT_EQ(nc_dm_agent_connect_socket(), -1);
  EXPECT_GE(agent_fd(), 0);
  EXPECT_TRUE(log().ContainsError("Failed to connect server:" + deep +
                                  "/mng/netconf/netconf_server/.serv!\n"));
}

// A connect that waited for room would never return here: nobody accepts.
TEST_F(ConnectionTest, AFullBacklogFailsTheConnectAtOnce) {
  const Server server(dir(), 0);
  std::vector<Peer> others;
  for (int i = 0; i < 16; i++) {
    WriteText(info().agent_name, "c" + std::to_string(i));
    info().agent_fd = -1;
    const int result = nc_dm_agent_connect_socket();
    others.emplace_back(agent_fd());
    info().agent_fd = -1;
    if (result != 0) return;
  }
  FAIL() << "a backlog of 0 took 16 connections";
}

TEST_F(ConnectionTest, ClearConnectCancelsTheConnectionsTasks) {
  const Server server(dir());
  ASSERT_EQ(Init(), 0);
  for (nc_dm_event_t event :
       {NC_DM_EVENT_CONNECT, NC_DM_EVENT_RECONNECT, NC_DM_EVENT_READ, NC_DM_EVENT_FLTRSP_WRITE,
        NC_DM_EVENT_IDRSP_WRITE, NC_DM_EVENT_REG, NC_DM_EVENT_UNREG_CLIENT}) {
    nc_dm_agent_handle_event(event, 1, 1);
  }
  zu_thread notify = {};
  tasks().tt_notify = &notify;
  const int fd = agent_fd();

  nc_dm_agent_clear_connect();
  EXPECT_EQ(agent_fd(), -1);
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);
  EXPECT_FALSE(g_nc_agent_dm.registered);
  EXPECT_EQ(tasks().tt_connect, nullptr);
  EXPECT_EQ(tasks().tt_reconnect, nullptr);
  EXPECT_EQ(tasks().tt_read, nullptr);
  EXPECT_EQ(tasks().tt_fltrsp, nullptr);
  EXPECT_EQ(tasks().tt_idrsp, nullptr);
  EXPECT_EQ(tasks().tt_unreg_client, nullptr);
  EXPECT_EQ(tasks().tt_notify, &notify);
  ASSERT_EQ(platform().Pending().size(), 1u);
  EXPECT_EQ(platform().Pending()[0]->func, nc_dm_agent_reg_handler);
  EXPECT_EQ(tasks().tt_reg, platform().Pending()[0]);

  nc_dm_agent_clear_connect();
  EXPECT_EQ(platform().cancelled(), 6);
}

TEST_F(ConnectionTest, ClearConnectClosesDescriptor0Too) {
  ASSERT_EQ(Init(), 0);
  close(agent_fd());
  const int standard_input = dup(0);
  info().agent_fd = 0;
  nc_dm_agent_clear_connect();
  EXPECT_EQ(fcntl(0, F_GETFD), -1);
  EXPECT_EQ(agent_fd(), -1);
  EXPECT_EQ(dup2(standard_input, 0), 0);
  close(standard_input);
}

TEST_F(ConnectionTest, ClearConnectLeavesThePendingAnswer) {
  ASSERT_EQ(Init(), 0);
  auto* node = static_cast<nc_dm_id_array_node_t*>(calloc(1, sizeof(nc_dm_id_array_node_t)));
  nc::PushBack(&info().param_list.head, &node->lst);
  nc_dm_agent_clear_connect();
  EXPECT_EQ(info().param_list.head.next, &node->lst);
  nc_dm_agent_free_id_array_list(&info().param_list);
}

// ---- Reconnecting ----

TEST_F(ConnectionTest, AReconnectionTellsTheServerEverythingAgain) {
  ASSERT_EQ(Init([] {
              char module[] = "mod";
              return RegisterTwoLeaves() |
                     nc_dm_agent_yang_attr_reg(module, NC_DM_YANG_ATTR_REVISION, "2024-01-01");
            }),
            0);
  FreePendingRecords();
  const Server server(dir());
  log().Clear();
  EXPECT_EQ(Reconnect(), 0);
  EXPECT_TRUE(log().ContainsInfo("Dm agent reconnect...\n"));
  EXPECT_TRUE(log().ContainsInfo("Dm agent reconnect ok.\n"));

  const Peer peer = server.Accept();
  ExpectName(peer.Receive(), 0);
  ExpectCplt(peer.Receive());
  EXPECT_TRUE(peer.IsQuiet());
  ASSERT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  ExpectPath(peer.Receive(), "sys.a");
  ExpectPath(peer.Receive(), "sys.b", 2);
  const Frame yang = peer.Receive();
  EXPECT_EQ(yang.type(), NC_DM_MSG_TYPE_REG_YANG_ATTR);
  BodyReader body(yang.body);
  EXPECT_EQ(body.Int32(), NC_DM_YANG_ATTR_REVISION);
  EXPECT_EQ(body.Text(), "mod");
  EXPECT_EQ(body.Text(), "2024-01-01");
  EXPECT_TRUE(peer.IsQuiet());

  ASSERT_NE(platform().Find(nc_dm_agent_read), nullptr);
  EXPECT_EQ(platform().Find(nc_dm_agent_read)->value, agent_fd());
  EXPECT_EQ(platform().Find(nc_dm_agent_reconnect), nullptr);
}

// Below a list that has a schema of its own, wherever the number stands among its siblings.
TEST_F(ConnectionTest, AReconnectionTellsOfALeafRegisteredByANumber) {
  ASSERT_EQ(Init([] {
              return RegisterLeaf("t.l.{i}.a") | RegisterLeaf("t.x") | RegisterLeaf("t.l.2.b");
            }),
            0);
  for (const char* instance : {"t.l.1.", "t.l.3."}) {
    ASSERT_EQ(nc_dm_agent_reg(const_cast<char*>(instance)), 0);
  }
  platform().RunNext(nc_dm_agent_reg_handler);
  ASSERT_EQ(RegisterLeaf("t.l.4.c"), 0);
  FreePendingRecords();
  const Server server(dir());
  EXPECT_EQ(Reconnect(), 0);
  const Peer peer = server.Accept();
  ExpectName(peer.Receive(), 0);
  ExpectCplt(peer.Receive());
  ASSERT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  for (const char* path : {"t.l.{i}.a", "t.x", "t.l.{i}.b", "t.l.{i}.c"}) {
    ExpectPath(peer.Receive(), path);
  }
  EXPECT_TRUE(peer.IsQuiet());
}

// A request whose end comes from another server is nobody's.
TEST_F(ConnectionTest, WhatALostServerHasBegunIsReleasedByTheNextConnection) {
  ASSERT_EQ(Init(RegisterTwoLeaves), 0);
  CollectSomething();
  EXPECT_NE(Reconnect(), 0) << "there is no server yet";
  EXPECT_FALSE(nc::IsEmpty(&g_nc_dm_edit_node_list.edit_head));

  const Server server(dir());
  EXPECT_EQ(Reconnect(), 0);
  ExpectNothingCollected();
}

TEST_F(ConnectionTest, TheAnswerToALostServerIsReleasedByTheNextConnection) {
  const Server server(dir());
  ASSERT_EQ(Init(RegisterTwoLeaves), 0);
  Peer lost = server.Accept();
  lost.Receive();
  lost.Send(NC_DM_MSG_TYPE_FILTER, Body().Int32(NC_DM_PKT_TYPE_FILTER).Text("sys"), 1, 0,
            NC_DM_MSG_FLAG_NAME);
  EXPECT_EQ(nc_dm_agent_recv(agent_fd()), 0);
  EXPECT_FALSE(nc::IsEmpty(&info().param_list.head));
  lost.Close();

  nc_dm_agent_clear_connect();
  EXPECT_EQ(nc_dm_agent_connect_socket(), 0);
  EXPECT_TRUE(nc::IsEmpty(&info().param_list.head));
}

TEST_F(ConnectionTest, AReconnectionWithoutAServerIsTriedAgain) {
  ASSERT_EQ(Init(RegisterTwoLeaves), 0);
  for (int i = 0; i < 3; i++) {
    const int before = agent_fd();
    EXPECT_EQ(Reconnect(), -1);
    // The descriptor of the attempt before is closed, so that attempts do not pile up.
    EXPECT_EQ(agent_fd(), before);
    ASSERT_NE(platform().Find(nc_dm_agent_reconnect), nullptr);
    EXPECT_EQ(platform().Find(nc_dm_agent_reconnect)->sec, 1);
    EXPECT_EQ(platform().Find(nc_dm_agent_read), nullptr);
  }
}

TEST_F(ConnectionTest, AClientWithoutPathsRetriesForEver) {
  ASSERT_EQ(Init(), 0);
  const Server server(dir());
  for (int i = 0; i < 2; i++) {
    log().Clear();
    EXPECT_EQ(Reconnect(), -1);
    EXPECT_TRUE(log().ContainsError("The register paths list got is empty.\n"));
    EXPECT_TRUE(log().ContainsError("Agent remote dm register unsuccessfully.\n"));
    EXPECT_FALSE(log().ContainsInfo("Dm agent reconnect ok.\n"));
    ExpectName(server.Accept().Receive(), 0);
    EXPECT_NE(platform().Find(nc_dm_agent_reconnect), nullptr);
    EXPECT_EQ(platform().Find(nc_dm_agent_read), nullptr);
  }
}

TEST_F(ConnectionTest, YangAttributesThatCannotBeQueuedFailTheReconnection) {
  ASSERT_EQ(Init(RegisterTwoLeaves), 0);
  const Server server(dir());
  info().agent_tree_init = false;
  EXPECT_EQ(Reconnect(), -1);
  EXPECT_TRUE(log().ContainsError("Agent remote yang attribute register unsuccessfully.\n"));
  EXPECT_NE(platform().Find(nc_dm_agent_reconnect), nullptr);
  info().agent_tree_init = true;
  ExpectName(server.Accept().Receive(), 0);
}

TEST_F(ConnectionTest, ANameThatCannotBeSentFailsTheReconnection) {
  ASSERT_EQ(Init(RegisterTwoLeaves), 0);
  FreePendingRecords();
  const Server server(dir());
  g_sends_before_failure = 0;
  EXPECT_EQ(Reconnect(), -2);
  EXPECT_TRUE(log().ContainsError("Client remote dm register unsuccessfully.\n"));
  EXPECT_EQ(PendingTexts().size(), 0u);
  EXPECT_NE(platform().Find(nc_dm_agent_reconnect), nullptr);
  EXPECT_EQ(platform().Find(nc_dm_agent_read), nullptr);
}

TEST_F(ConnectionTest, ACompletionThatCannotBeSentFailsTheReconnection) {
  ASSERT_EQ(Init(RegisterTwoLeaves), 0);
  const Server server(dir());
  g_sends_before_failure = 1;
  EXPECT_EQ(Reconnect(), -2);
  EXPECT_TRUE(log().ContainsError("Failed to send 'mode register complete' to server.\n"));
  EXPECT_TRUE(log().ContainsError("Agent notify mode_reg_cplt unsuccessfully.\n"));
  EXPECT_FALSE(log().ContainsInfo("Dm agent reconnect ok.\n"));
  EXPECT_NE(platform().Find(nc_dm_agent_reconnect), nullptr);
  EXPECT_EQ(platform().Find(nc_dm_agent_read), nullptr);
}

TEST_F(ConnectionTest, ANameThatCannotBeSentFailsTheConnectTask) {
  ASSERT_EQ(Init(RegisterTwoLeaves), 0);
  nc_dm_agent_clear_connect();
  const Server server(dir());
  g_sends_before_failure = 0;
  EXPECT_EQ(nc_dm_agent_connect(nullptr), -2);
  EXPECT_TRUE(log().ContainsError("Client remote dm register unsuccessfully.\n"));
  EXPECT_FALSE(log().ContainsInfo("Dm agent connect successfully.\n"));
  EXPECT_NE(platform().Find(nc_dm_agent_reconnect), nullptr);
}

TEST_F(ConnectionTest, TheConnectTaskConnectsAndQueuesThePaths) {
  ASSERT_EQ(Init(RegisterTwoLeaves), 0);
  FreePendingRecords();
  nc_dm_agent_clear_connect();
  const Server server(dir());
  nc_dm_agent_handle_event(NC_DM_EVENT_CONNECT, 0, 0);
  EXPECT_EQ(platform().RunNext(nc_dm_agent_connect), 0);
  EXPECT_EQ(tasks().tt_connect, nullptr);
  EXPECT_TRUE(log().ContainsInfo("Dm client connect....\n"));
  EXPECT_TRUE(log().ContainsInfo("Dm agent connect successfully.\n"));
  const Peer peer = server.Accept();
  ExpectName(peer.Receive(), 0);
  EXPECT_TRUE(peer.IsQuiet());
  EXPECT_EQ(PendingTexts().size(), 2u);
  ASSERT_NE(platform().Find(nc_dm_agent_read), nullptr);
  EXPECT_EQ(platform().Find(nc_dm_agent_read)->value, agent_fd());
}

TEST_F(ConnectionTest, TheConnectTaskTriesAgainWithoutAServer) {
  ASSERT_EQ(Init(RegisterTwoLeaves), 0);
  nc_dm_agent_clear_connect();
  EXPECT_EQ(nc_dm_agent_connect(nullptr), -1);
  EXPECT_NE(platform().Find(nc_dm_agent_reconnect), nullptr);
  EXPECT_EQ(platform().Find(nc_dm_agent_read), nullptr);
}

TEST_F(ConnectionTest, TheConnectTaskFailsWithoutPaths) {
  ASSERT_EQ(Init(RegisterNothing), 0);
  nc_dm_agent_clear_connect();
  const Server server(dir());
  EXPECT_EQ(nc_dm_agent_connect(nullptr), -1);
  EXPECT_TRUE(log().ContainsError("Agent remote dm register unsuccessfully.\n"));
  EXPECT_NE(platform().Find(nc_dm_agent_reconnect), nullptr);
  ExpectName(server.Accept().Receive(), 0);
}

// ---- Reading ----

TEST_F(ConnectionTest, TheReadTaskHandlesOneFrameAndWaitsForTheNext) {
  InitWithPeer();
  nc_dm_agent_handle_event(NC_DM_EVENT_READ, agent_fd(), 0);
  peer().Send(NC_DM_MSG_TYPE_FILTER_RSP, "", 1);
  peer().Send(NC_DM_MSG_TYPE_FILTER_RSP, "", 2);
  log().Clear();
  EXPECT_EQ(platform().RunNext(nc_dm_agent_read), 0);
  EXPECT_EQ(log().Texts().front(), std::string(kInfoPrefix) + " Dm client read....\n");
  EXPECT_EQ(log().Texts().back(), std::string(kInfoPrefix) + " Dm client read ok.\n");
  ExpectFault(NC_DM_FAULT_CODE_MSGTYPE, 1);
  EXPECT_TRUE(peer().IsQuiet());

  ASSERT_NE(tasks().tt_read, nullptr);
  EXPECT_EQ(tasks().tt_read->value, agent_fd());
  EXPECT_EQ(platform().RunNext(nc_dm_agent_read), 0);
  ExpectFault(NC_DM_FAULT_CODE_MSGTYPE, 2);
}

TEST_F(ConnectionTest, ARefusedFrameDoesNotEndTheReading) {
  InitWithPeer();
  nc_dm_agent_handle_event(NC_DM_EVENT_READ, agent_fd(), 0);
  peer().Send(NC_DM_MSG_TYPE_EDIT_RSP, "");
  EXPECT_EQ(platform().RunNext(nc_dm_agent_read), 0);
  EXPECT_NE(tasks().tt_read, nullptr);
  EXPECT_EQ(tasks().tt_reconnect, nullptr);
}

TEST_F(ConnectionTest, TheReadTaskNeedsATask) {
  InitWithPeer();
  EXPECT_EQ(nc_dm_agent_read(nullptr), -1);
  EXPECT_TRUE(log().ContainsError("DM client read error!\n\n"));
  EXPECT_EQ(platform().scheduled(), 0);
}

TEST_F(ConnectionTest, AServerThatGoesAwayIsWaitedFor) {
  std::optional<Server> server(std::in_place, dir());
  ASSERT_EQ(Init(RegisterTwoLeaves), 0);
  {
    const Peer peer = server->Accept();
    ExpectName(peer.Receive(), 0);
    ASSERT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
    ExpectPath(peer.Receive(), "sys.a");
    ExpectPath(peer.Receive(), "sys.b", 2);
    ExpectCplt(peer.Receive());
  }
  log().Clear();
  EXPECT_EQ(platform().RunNext(nc_dm_agent_read), 0);
  EXPECT_EQ(log().Count(kErrorPrefix, "Disconnected with server and clear connect info.\n"), 1);
  EXPECT_TRUE(log().ContainsInfo("Dm client read ok.\n"));
  EXPECT_EQ(tasks().tt_read, nullptr);
  ASSERT_NE(tasks().tt_reconnect, nullptr);

  server.reset();
  EXPECT_EQ(Reconnect(), -1);
  server.emplace(dir());
  EXPECT_EQ(Reconnect(), 0);
  const Peer peer = server->Accept();
  ExpectName(peer.Receive(), 0);
  ExpectCplt(peer.Receive());
  EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  ExpectPath(peer.Receive(), "sys.a");
  ExpectPath(peer.Receive(), "sys.b", 2);
  EXPECT_TRUE(peer.IsQuiet());
}

}  // namespace
}  // namespace ncdm_test
