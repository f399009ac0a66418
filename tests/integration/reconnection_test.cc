// The server lost in every state, and found again.

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>

#include "lifecycle_fixture.h"
#include "support/debug_mask.h"

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: requests and answers
using testing::ElementsAre;
using testing::IsEmpty;

using ReconnectionTest = LifecycleTest;

// ---- A server that comes late ----

TEST_F(ReconnectionTest, ServerThatComesLateIsFound) {
  device_.KeepTime();
  ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
  // A whole attempt fails before the server is there.
  ASSERT_TRUE(device_.RunUntil([] { return g_nc_dm_agent_manage.tt_read == nullptr; }));
  device_.StartServer();
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  // The name and the notice come at once, all of the model behind them.
  std::vector<std::string> announced = device_.announced();
  ASSERT_GE(announced.size(), 2U);
  EXPECT_EQ(announced[0], "NAME");
  EXPECT_EQ(announced[1], "CPLT");
  for (const std::string& announcement : ModelAnnouncements(true)) {
    EXPECT_THAT(announced, testing::Contains(announcement));
  }
  EXPECT_EQ(device_.server().FindAgent(Device::kName)->registry.path_count(),
            static_cast<std::size_t>(kLeafCount));
  ExpectServes();
}

TEST_F(ReconnectionTest, WithoutTmpdirTheAgentGoesOnTrying) {
  LogText log;
  const DebugMask mask(NC_DM_DBG_ERROR);
  std::optional<ScopedEnv> no_tmpdir(std::in_place, "TMPDIR", std::nullopt);
  ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
  EXPECT_TRUE(log.Contains("Get invalid socket path!\n"));
  EXPECT_TRUE(log.Contains("Failed to create dm client!\n"));
  no_tmpdir.reset();
  device_.StartServer();
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  ExpectServes();
}

// ---- Loss and return ----

TEST_F(ReconnectionTest, ReconnectionAnnouncesTheSameOnce) {
  StartBoth();
  const ncdm::server::Agent* agent = device_.server().FindAgent(Device::kName);
  const std::vector<std::string> paths = PathsOf(agent);
  const std::vector<YangAttribute> modules = agent->registry.yang_attributes();
  device_.Forget();
  ASSERT_NO_FATAL_FAILURE(device_.Reconnect());
  EXPECT_EQ(device_.announced(), Reregistration());
  EXPECT_EQ(PathsOf(agent), paths);
  EXPECT_EQ(agent->registry.yang_attributes(), modules);
  ExpectServes();
}

TEST_F(ReconnectionTest, IdleLossIsLoggedOnceAndMended) {
  StartBoth();
  device_.KeepTime();
  LogText log;
  const DebugMask mask(NC_DM_DBG_ERROR | NC_DM_DBG_INFO);
  device_.server().Disconnect(Device::kName);
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(device_.RunUntil([&] { return device_.IsConnected(); }));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
  EXPECT_EQ(log.Count("Disconnected with server and clear connect info.\n"), 1);
  EXPECT_EQ(log.Count("Dm agent reconnect ok.\n"), 1);
}

TEST_F(ReconnectionTest, ServerProcessThatIsReplacedIsFound) {
  StartBoth();
  device_.StopServer();
  ASSERT_TRUE(device_.RunUntil([] { return g_nc_dm_agent_manage.tt_reconnect != nullptr; }));
  device_.StartServer();
  device_.Forget();
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  EXPECT_EQ(device_.announced(), Reregistration());
  ExpectServes();
}

TEST_F(ReconnectionTest, ReconnectionsInARowLeaveNothingBehind) {
  StartBoth();
  for (int i = 0; i < 3; ++i) {
    device_.Forget();
    ASSERT_NO_FATAL_FAILURE(device_.Reconnect());
    EXPECT_EQ(device_.announced(), Reregistration()) << i;
    EXPECT_EQ(PendingRegistrations(), 0);
  }
  ExpectServes();
}

// The server takes connections and drops them before the registration task comes to its turn.
TEST_F(ReconnectionTest, ServerThatDropsEveryConnectionDoesNotGrowTheQueue) {
  StartBoth();
  device_.StopServer();
  {
    RawServer raw(device_.dir().path());
    // The timer of the registrations must not interfere: every attempt queues the whole model.
    zu_thread_cancel(std::exchange(g_nc_dm_agent_manage.tt_reg, nullptr));
    for (int attempt = 0; attempt < 4; ++attempt) {
      ASSERT_TRUE(device_.RunUntil([&] { return raw.Accept(); }));
      ASSERT_TRUE(device_.RunUntil([&] {
        raw.Read();
        return raw.frames().size() >= 2;
      }));
      EXPECT_THAT(raw.Descriptions(), ElementsAre("NAME", "CPLT"));
      EXPECT_EQ(PendingRegistrations(NC_DM_MSG_TYPE_REG), kLeafCount);
      EXPECT_EQ(PendingRegistrations(NC_DM_MSG_TYPE_REG_YANG_ATTR),
                static_cast<int>(std::size(kYangAttributes)));
      raw.Close();
    }
  }
  device_.StartServer();
  device_.Forget();
  nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, 1);
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  EXPECT_EQ(device_.announced(), Reregistration());
}

// Has the socket take as little as it can.
void ShrinkSocket() {
  const int least = 1;
  ASSERT_EQ(setsockopt(g_nc_dm_mng_info.agent_fd, SOL_SOCKET, SO_SNDBUF, &least, sizeof(least)), 0);
}

TEST_F(ReconnectionTest, LossInMidRegistrationIsMadeGood) {
  RawServer raw(device_.dir().path());
  ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
  ASSERT_TRUE(device_.RunUntil([&] { return raw.Accept(); }));
  ASSERT_NO_FATAL_FAILURE(ShrinkSocket());
  const int all = PendingRegistrations();
  ASSERT_TRUE(device_.RunUntil([&] { return PendingRegistrations() < all; }));
  device_.Settle();
  const int left = PendingRegistrations();
  EXPECT_GT(left, static_cast<int>(std::size(kYangAttributes)) + 1);
  raw.Read();
  EXPECT_GT(raw.frames().size(), 1U);
  EXPECT_LT(raw.frames().size(), static_cast<std::size_t>(kLeafCount));
  raw.Close();
  ASSERT_TRUE(device_.RunUntil([] { return g_nc_dm_agent_manage.tt_reconnect != nullptr; }));
  EXPECT_GE(PendingRegistrations(), left - 1);

  // The next connection gets the notice, what was left, and then the whole model anew.
  ASSERT_TRUE(device_.RunUntil([&] { return raw.Accept(); }));
  ASSERT_TRUE(device_.RunUntil([&] {
    raw.Read();
    return PendingRegistrations() == 0;
  }));
  raw.Read();
  const std::vector<std::string> descriptions = raw.Descriptions();
  ASSERT_GE(descriptions.size(), 2U);
  EXPECT_EQ(descriptions[0], "NAME");
  EXPECT_EQ(descriptions[1], "CPLT");
  EXPECT_EQ(std::ranges::count(descriptions, "CPLT"), 2) << "the queued notice is sent as well";
  for (const std::string& announcement : ModelAnnouncements(true)) {
    EXPECT_THAT(descriptions, testing::Contains(announcement));
  }
}

int RegisterThousands() {
  for (int i = 0; i < 3000; ++i) {
    std::string path = "bulk.leaf" + std::to_string(i);
    const int result = nc_dm_agent_mode_reg(path.data(), NC_DM_VAL_TYPE_STRING, 0, 0, nullptr,
                                            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    if (result != 0) return result;
  }
  return DeviceApp::RegisterModel();
}

// More than a socket holds, for a server that reads in small pieces.
TEST_F(ReconnectionTest, ThousandsOfPathsReachASlowServer) {
  RawServer raw(device_.dir().path());
  ASSERT_EQ(device_.StartAgent(RegisterThousands), 0);
  ASSERT_TRUE(device_.RunUntil([&] { return raw.Accept(); }));
  ASSERT_NO_FATAL_FAILURE(ShrinkSocket());
  ASSERT_TRUE(device_.RunUntil([&] {
    raw.Read(1000);
    return raw.frames().size() == 1U + 3000U + FirstRegistration().size() - 1U;
  }));
  const std::vector<std::string> descriptions = raw.Descriptions();
  EXPECT_EQ(raw.connections(), 1);
  EXPECT_EQ(descriptions[0], "NAME");
  for (int i = 0; i < 3000; ++i) {
    ASSERT_EQ(descriptions[static_cast<std::size_t>(i) + 1],
              "REG bulk.leaf" + std::to_string(i) + " 0");
  }
  EXPECT_EQ(descriptions.back(), "CPLT");
  EXPECT_EQ(PendingRegistrations(), 0);
}

// Nothing is skipped here: the agent has five seconds' patience with a server that takes nothing.
TEST_F(ReconnectionTest, ServerThatNeverReadsIsLeftForAnother) {
  LogText log;
  const DebugMask mask(NC_DM_DBG_ERROR);
  device_.KeepTime();
  RawServer deaf(device_.dir().path());
  ASSERT_EQ(device_.StartAgent(RegisterThousands), 0);
  ASSERT_TRUE(device_.RunUntil([&] { return deaf.Accept(); }));
  ASSERT_NO_FATAL_FAILURE(ShrinkSocket());
  app_.PutEntry("net.user", {7}, "behind");
  char path[] = "net.user.7.";
  ASSERT_EQ(nc_dm_agent_reg(path), 0);
  ASSERT_TRUE(device_.RunUntil([] { return g_nc_dm_agent_manage.tt_watch != nullptr; }));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_GT(PendingRegistrations(), 3000);

  deaf.StopListening();
  device_.StartServer();
  ASSERT_TRUE(device_.RunUntil([&] { return device_.IsConnected(); }));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  EXPECT_TRUE(deaf.IsLeft());
  EXPECT_EQ(log.Count("The server has taken nothing for 5 seconds, the connection is given up.\n"),
            1);
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  EXPECT_EQ(device_.server().FindAgent(Device::kName)->registry.path_count(),
            3000U + static_cast<std::size_t>(kLeafCount));
  EXPECT_THAT(Texts(device_.Call(ReadValues({{.name = "net.user.name", .ids = {7}}})).values),
              ElementsAre("net.user.7.name=behind"));
}

// The notice stays queued when its own message is the one that is lost.
TEST_F(ReconnectionTest, LostNoticeOfCompletionIsSentAgain) {
  RawServer raw(device_.dir().path());
  ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
  ASSERT_TRUE(device_.RunUntil([&] { return raw.Accept(); }));
  raw.StopReading();
  ASSERT_TRUE(device_.RunUntil([] { return g_nc_dm_agent_manage.tt_reconnect != nullptr; }));
  EXPECT_EQ(PendingRegistrations(NC_DM_MSG_TYPE_REG_CPLT), 1);
  ASSERT_TRUE(device_.RunUntil([&] { return raw.Accept(); }));
  ASSERT_TRUE(device_.RunUntil([&] {
    raw.Read();
    return PendingRegistrations() == 0;
  }));
  raw.Read();
  EXPECT_EQ(std::ranges::count(raw.Descriptions(), "CPLT"), 2);
}

TEST_F(ReconnectionTest, LossInTheMiddleOfARequest) {
  StartBoth();
  const std::string bytes = EncodeFrame(ShowTree().frames.at(0));
  for (const std::size_t part : {1UL, 23UL}) {
    ASSERT_TRUE(device_.server().SendBytes(Device::kName, bytes.substr(0, part)));
    ASSERT_NO_FATAL_FAILURE(device_.Reconnect());
  }
  Frame filter = ReadOne(Everything("sys")).frames.at(0);
  const std::string whole = EncodeFrame(filter);
  ASSERT_TRUE(device_.server().SendBytes(Device::kName, whole.substr(0, whole.size() - 1)));
  ASSERT_NO_FATAL_FAILURE(device_.Reconnect());
  ExpectServes();
}

TEST_F(ReconnectionTest, LossInTheMiddleOfAMessageOfTheAgents) {
  RawServer raw(device_.dir().path());
  ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
  ASSERT_TRUE(device_.RunUntil([&] { return raw.Accept(); }));
  ASSERT_TRUE(device_.RunUntil([&] { return raw.ReadAway(10) == 10; }));
  raw.Close();  // with the rest of the name unread
  ASSERT_TRUE(device_.RunUntil([&] { return raw.Accept(); }));
  ASSERT_TRUE(device_.RunUntil([&] {
    raw.Read();
    return raw.frames().size() > static_cast<std::size_t>(kLeafCount);
  }));
  EXPECT_EQ(raw.Descriptions().front(), "NAME");
}

TEST_F(ReconnectionTest, LossWithSegmentsPending) {
  PutManyUsers(500);
  StartBoth();
  device_.Forget();
  const RequestId read = device_.Start(ReadValues({Everything("net")}));
  // Some segments have come, and more are waiting.
  ASSERT_TRUE(device_.RunUntil([&] { return device_.frames().size() >= 2; }));
  EXPECT_GT(g_nc_dm_mng_info.param_list.cnt, 0);
  device_.server().Disconnect(Device::kName);
  EXPECT_EQ(device_.Finish(read).outcome, Outcome::kDisconnected);
  ASSERT_TRUE(device_.RunUntil([&] { return device_.IsConnected(); }));
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  // Nothing of the old answer gets into the new one.
  const Answer answer = device_.Call(ReadValues({Everything("sys")}));
  EXPECT_THAT(Texts(answer.values), ElementsAre("sys.name=router"));
  EXPECT_EQ(device_.Call(ReadValues({Everything("net.user.name")})).values.size(), 502U);
}

TEST_F(ReconnectionTest, LossWithIdsPending) {
  for (int i = 10; i < 1500; ++i) {
    app_.PutEntry("net.user", {i}, "user" + std::to_string(i));
    app_.PutValue("net.user.shell", {i}, "sh");
  }
  StartBoth();
  device_.Forget();
  const Request request = FindIds({{.name = "net.user.shell", .value = "sh"}});
  const RequestId lookup = device_.Start(request);
  ASSERT_TRUE(device_.RunUntil([&] { return device_.frames().size() >= 2; }));
  device_.server().Disconnect(Device::kName);
  EXPECT_EQ(device_.Finish(lookup).outcome, Outcome::kDisconnected);
  ASSERT_TRUE(device_.RunUntil([&] { return device_.IsConnected(); }));
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  EXPECT_EQ(device_.Call(request).ids.size(), 1490U);
}

// What was collected ends with the connection: nothing of it is carried out with what comes next.
TEST_F(ReconnectionTest, LossBetweenCollectingAndExecuting) {
  StartBoth();
  const Request edit = EditSubtree({{.name = "sys.name", .value = "changed"}});
  ASSERT_EQ(edit.frames.size(), 2U);
  ASSERT_TRUE(device_.server().SendFrame(Device::kName, edit.frames[0]));
  ASSERT_TRUE(device_.Call(Barrier()).ok());
  ASSERT_NO_FATAL_FAILURE(device_.Reconnect());
  EXPECT_EQ(app_.Contents().at("sys.name"), "router");
  app_.ForgetCalls();
  EXPECT_EQ(Summary(device_.Call(EditSubtree({{.name = "sys.limit", .value = "5"}}))), "ok 0");
  EXPECT_THAT(app_.calls(), ElementsAre("set sys.limit ids=[] src=0 value=5"));
  EXPECT_EQ(app_.Contents().at("sys.name"), "router");
}

TEST_F(ReconnectionTest, LossBeforeTheAnswerToAnEdit) {
  StartBoth();
  // The answer meets a closed socket: the application is not killed by it, and the edit is done.
  const Request edit = EditSubtree({{.name = "sys.name", .value = "changed"}});
  for (const Frame& frame : edit.frames) {
    ASSERT_TRUE(device_.server().SendFrame(Device::kName, frame));
  }
  ASSERT_NO_FATAL_FAILURE(device_.Reconnect());
  EXPECT_EQ(app_.Contents().at("sys.name"), "changed");
}

TEST_F(ReconnectionTest, InstancesAnnouncedWithoutAServerAreThereWhenItComes) {
  StartBoth();
  device_.StopServer();
  ASSERT_TRUE(device_.RunUntil([] { return g_nc_dm_agent_manage.tt_reconnect != nullptr; }));
  app_.PutEntry("net.user", {7}, "late");
  char path[] = "net.user.7.";
  ASSERT_EQ(nc_dm_agent_reg(path), 0);
  device_.StartServer();
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  EXPECT_THAT(Texts(device_.Call(ReadValues({{.name = "net.user.name", .ids = {7}}})).values),
              ElementsAre("net.user.7.name=late"));
  ASSERT_EQ(nc_dm_agent_unreg(path), 0);
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  EXPECT_THAT(device_.Call(ReadValues({{.name = "net.user.name", .ids = {7}}})).values, IsEmpty());
}

// ---- A client that registered nothing ----

TEST_F(ReconnectionTest, ClientWithoutPathsRetriesForEver) {
  device_.StartServer();
  ASSERT_EQ(device_.StartAgent(nullptr), 0);
  ASSERT_TRUE(device_.RunUntil([&] { return device_.IsConnected(); }));
  LogText log;
  const DebugMask mask(NC_DM_DBG_ERROR);
  device_.server().Disconnect(Device::kName);
  ASSERT_TRUE(device_.RunUntil(
      [&] { return device_.server().FindAgent(Device::kName)->connections >= 3; }));
  EXPECT_GE(log.Count("The register paths list got is empty.\n"), 2);
  EXPECT_GE(log.Count("Agent remote dm register unsuccessfully.\n"), 2);
  EXPECT_EQ(PendingRegistrations(), 0);
  EXPECT_THAT(device_.announced(), testing::Each("NAME"));
}

// ---- Restart ----

TEST_F(ReconnectionTest, RestartIsToldUntilTheFirstAnswer) {
  std::ofstream(device_.dir().ClientSocket(Device::kName)) << "left by a client that died";
  device_.StartServer(/*answer_registration=*/false);
  ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  EXPECT_EQ(device_.announced(), FirstRegistration("NAME restart"));
  EXPECT_TRUE(device_.server().FindAgent(Device::kName)->restarted);

  device_.Forget();
  ASSERT_NO_FATAL_FAILURE(device_.Reconnect());
  EXPECT_EQ(device_.announced(), Reregistration("NAME restart")) << "no answer has come yet";

  ASSERT_TRUE(device_.server().SendFrame(Device::kName, RegistrationAnswer(NC_DM_FAULT_CODE_OK)));
  ASSERT_TRUE(device_.Call(Barrier()).ok());
  device_.Forget();
  ASSERT_NO_FATAL_FAILURE(device_.Reconnect());
  EXPECT_EQ(device_.announced(), Reregistration("NAME"));
}

// Runs an agent in a process of its own, with the test's application, until it is killed.
class AgentProcess {
 public:
  AgentProcess() : pid_(fork()) {
    if (pid_ != 0) return;
    zu_thread_master* master = zu_thread_master_create();
    if (nc_dm_agent_init(Device::kName, master, DeviceApp::RegisterModel, nullptr) == 0) {
      zu_thread_master_run(master);
    }
    _exit(1);
  }
  ~AgentProcess() { Kill(); }
  AgentProcess(const AgentProcess&) = delete;
  AgentProcess& operator=(const AgentProcess&) = delete;

  void Kill() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = 0;
  }

 private:
  pid_t pid_;
};

TEST_F(ReconnectionTest, ProcessThatIsKilledComesBackAsARestart) {
  {
    // Before the server is there, so that the processes inherit none of its descriptors.
    AgentProcess first;
    device_.StartServer();
    ASSERT_TRUE(device_.server().WaitForAgent(Device::kName, kLimit));
    EXPECT_FALSE(device_.server().FindAgent(Device::kName)->restarted);
    EXPECT_EQ(device_.server().Call(Device::kName, ReadValues({Everything("net")})).values.size(),
              4U);
    first.Kill();
    ASSERT_TRUE(device_.server().RunUntil([&] { return !device_.IsConnected(); }, kLimit));
  }
  device_.StopServer();
  device_.Forget();
  AgentProcess second;
  device_.StartServer();
  ASSERT_TRUE(device_.server().WaitForAgent(Device::kName, kLimit));
  EXPECT_TRUE(device_.server().FindAgent(Device::kName)->restarted);
  EXPECT_EQ(device_.announced().front(), "NAME restart");
  EXPECT_EQ(device_.server().FindAgent(Device::kName)->registry.path_count(),
            static_cast<std::size_t>(kLeafCount));
}

}  // namespace
}  // namespace ncdm_test
