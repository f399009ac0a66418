// The connection from first to last: registration, loss of the server in every state, return.

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "device_app.h"
#include "gmock/gmock.h"
#include "harness.h"
#include "support/debug_mask.h"

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: requests and answers
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// What the model announces of paths and modules, in order. A leaf-list that has been given a hash
// table since its registration says so when it is announced again.
std::vector<std::string> ModelAnnouncements(bool again) {
  std::vector<std::string> all;
  for (const LeafSpec& leaf : kLeaves) {
    int attributes = leaf.flag | (leaf.slot != 0 ? NC_DM_REG_ATTR_INDEX : 0);
    if (again && std::ranges::count(kHashed, std::string_view(leaf.path)) > 0) {
      attributes |= NC_DM_FLAG_HASH_TAB;
    }
    all.push_back(std::string("REG ") + leaf.path + " " + std::to_string(attributes));
  }
  for (const YangSpec& yang : kYangAttributes) {
    all.push_back(std::string("YANG ") + yang.module + " " + std::to_string(yang.type) + " " +
                  yang.value);
  }
  return all;
}

std::vector<std::string> FirstRegistration(const std::string& name = "NAME") {
  std::vector<std::string> all = ModelAnnouncements(false);
  all.insert(all.begin(), name);
  all.emplace_back("CPLT");
  return all;
}

std::vector<std::string> Reregistration(const std::string& name = "NAME") {
  std::vector<std::string> all = ModelAnnouncements(true);
  all.insert(all.begin(), {name, "CPLT"});
  return all;
}

std::vector<std::string> PathsOf(const ncdm::server::Agent* agent) {
  std::vector<std::string> paths;
  for (const RegisteredPath& path : agent->registry.Paths()) paths.push_back(path.path);
  return paths;
}

ReadElement Everything(const char* name) { return {.name = name}; }

class LifecycleTest : public testing::Test {
 protected:
  LifecycleTest() {
    app_.PutEntry("net.user", {1}, "root");
    app_.PutValue("net.user.uid", {1}, "0");
    app_.PutEntry("net.user", {2}, "guest");
    app_.PutValue("net.user.uid", {2}, "1000");
    app_.PutValue("sys.name", {}, "router");
  }

  // A server, an agent with the model, and all of it registered.
  void StartBoth() {
    device_.StartServer();
    ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
    ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  }

  // The agent serves requests, and its data is what it was.
  void ExpectServes() {
    const Answer answer = device_.Call(ReadValues({Everything("sys"), Everything("net")}));
    EXPECT_EQ(Summary(answer), "values 5");
    EXPECT_THAT(Texts(answer.values),
                ElementsAre("sys.name=router", "net.user.1.name=root", "net.user.1.uid=0",
                            "net.user.2.name=guest", "net.user.2.uid=1000"));
  }

  // Puts in so many users that an answer takes many messages.
  void PutManyUsers(int count) {
    for (int i = 10; i < 10 + count; ++i) {
      app_.PutEntry("net.user", {i}, "user" + std::to_string(i));
    }
  }

  DeviceApp app_;
  Device device_;
};

// ---- The first connection ----

TEST_F(LifecycleTest, FirstConnectionRegistersInOrder) {
  StartBoth();
  EXPECT_EQ(device_.announced(), FirstRegistration());
  ExpectServes();
}

TEST_F(LifecycleTest, RegistryHoldsPathsAndModules) {
  StartBoth();
  const ncdm::server::Agent* agent = device_.server().FindAgent(Device::kName);
  ASSERT_NE(agent, nullptr);
  EXPECT_FALSE(agent->restarted);
  EXPECT_TRUE(agent->complete);
  EXPECT_EQ(agent->registry.path_count(), static_cast<std::size_t>(kLeafCount));
  const RegisteredPath* key = agent->registry.Find("net.port.{i}.acl.{i}.order");
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(key->attributes, NC_DM_FLAG_KEY_SETTABLE | NC_DM_REG_ATTR_INDEX);
  EXPECT_EQ(agent->registry.yang_attributes().size(), std::size(kYangAttributes));
}

TEST_F(LifecycleTest, NothingIsRegisteredBeforeTheFirstSecond) {
  device_.KeepTime();
  device_.StartServer();
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
  device_.Settle();
  if (std::chrono::steady_clock::now() - start < std::chrono::milliseconds(900)) {
    EXPECT_THAT(device_.announced(), ElementsAre("NAME"));
  }
  ASSERT_TRUE(device_.RunUntil([&] { return PendingRegistrations() == 0; }));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST_F(LifecycleTest, RegistrationLaterNeedsItsOwnNotice) {
  device_.StartServer();
  ASSERT_EQ(device_.StartAgent(nullptr), 0);
  device_.Settle();
  ASSERT_EQ(DeviceApp::RegisterModel(), 0);
  nc_dm_agent_mode_reg_cplt();
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  EXPECT_EQ(device_.announced(), FirstRegistration());
  ExpectServes();
}

int RegisterNothingAndFail() { return -5; }

TEST_F(LifecycleTest, FailedRegistrationFunctionEndsTheStart) {
  device_.StartServer();
  EXPECT_EQ(device_.StartAgent(RegisterNothingAndFail), -5);
  EXPECT_EQ(g_nc_dm_mng_info.agent_fd, -1);
  // The name came, then the end; and nothing ever follows.
  device_.Settle();
  EXPECT_THAT(device_.announced(), ElementsAre("NAME"));
  EXPECT_FALSE(device_.IsConnected());
  EXPECT_EQ(g_nc_dm_agent_manage.tt_reg, nullptr);
  EXPECT_EQ(g_nc_dm_agent_manage.tt_read, nullptr);
}

int g_refusals = 0;
int CountRefusal() { return ++g_refusals; }

TEST_F(LifecycleTest, RefusedRegistrationReachesTheApplication) {
  g_refusals = 0;
  device_.StartServer();
  ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel, CountRefusal), 0);
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  EXPECT_EQ(g_refusals, 0);
  ASSERT_TRUE(device_.server().SendFrame(
      Device::kName, RegistrationAnswer(NC_DM_FAULT_CODE_DATA_EXISTS, "sys.name")));
  ASSERT_TRUE(device_.Call(Barrier()).ok());
  EXPECT_EQ(g_refusals, 1);
}

// ---- A server that comes late ----

TEST_F(LifecycleTest, ServerThatComesLateIsFound) {
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

TEST_F(LifecycleTest, WithoutTmpdirTheAgentGoesOnTrying) {
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

TEST_F(LifecycleTest, ReconnectionAnnouncesTheSameOnce) {
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

TEST_F(LifecycleTest, IdleLossIsLoggedOnceAndMended) {
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

TEST_F(LifecycleTest, ServerProcessThatIsReplacedIsFound) {
  StartBoth();
  device_.StopServer();
  ASSERT_TRUE(device_.RunUntil([] { return g_nc_dm_agent_manage.tt_reconnect != nullptr; }));
  device_.StartServer();
  device_.Forget();
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  EXPECT_EQ(device_.announced(), Reregistration());
  ExpectServes();
}

TEST_F(LifecycleTest, ReconnectionsInARowLeaveNothingBehind) {
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
TEST_F(LifecycleTest, ServerThatDropsEveryConnectionDoesNotGrowTheQueue) {
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

TEST_F(LifecycleTest, LossInMidRegistrationIsMadeGood) {
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
TEST_F(LifecycleTest, ThousandsOfPathsReachASlowServer) {
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

// The notice stays queued when its own message is the one that is lost.
TEST_F(LifecycleTest, LostNoticeOfCompletionIsSentAgain) {
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

TEST_F(LifecycleTest, LossInTheMiddleOfARequest) {
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

TEST_F(LifecycleTest, LossInTheMiddleOfAMessageOfTheAgents) {
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

TEST_F(LifecycleTest, LossWithSegmentsPending) {
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

TEST_F(LifecycleTest, LossWithIdsPending) {
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

// What was collected outlives the connection: it is carried out with what executes next.
TEST_F(LifecycleTest, LossBetweenCollectingAndExecuting) {
  StartBoth();
  const Request edit = EditSubtree({{.name = "sys.name", .value = "changed"}});
  ASSERT_EQ(edit.frames.size(), 2U);
  ASSERT_TRUE(device_.server().SendFrame(Device::kName, edit.frames[0]));
  ASSERT_TRUE(device_.Call(Barrier()).ok());
  ASSERT_NO_FATAL_FAILURE(device_.Reconnect());
  EXPECT_EQ(app_.Contents().at("sys.name"), "router");
  EXPECT_EQ(Summary(device_.Call(EditSubtree({{.name = "sys.limit", .value = "5"}}))), "ok 0");
  EXPECT_EQ(app_.Contents().at("sys.name"), "changed");
  EXPECT_EQ(app_.Contents().at("sys.limit"), "5");
  // Once, not twice.
  app_.ForgetCalls();
  EXPECT_EQ(Summary(device_.Call(EditSubtree({{.name = "sys.limit", .value = "6"}}))), "ok 0");
  EXPECT_THAT(app_.calls(), ElementsAre("set sys.limit ids=[] src=0 value=6"));
}

TEST_F(LifecycleTest, LossBeforeTheAnswerToAnEdit) {
  StartBoth();
  // The answer meets a closed socket: the application is not killed by it, and the edit is done.
  const Request edit = EditSubtree({{.name = "sys.name", .value = "changed"}});
  for (const Frame& frame : edit.frames) {
    ASSERT_TRUE(device_.server().SendFrame(Device::kName, frame));
  }
  ASSERT_NO_FATAL_FAILURE(device_.Reconnect());
  EXPECT_EQ(app_.Contents().at("sys.name"), "changed");
}

TEST_F(LifecycleTest, InstancesAnnouncedWithoutAServerAreThereWhenItComes) {
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

TEST_F(LifecycleTest, ClientWithoutPathsRetriesForEver) {
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

TEST_F(LifecycleTest, RestartIsToldUntilTheFirstAnswer) {
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

TEST_F(LifecycleTest, ProcessThatIsKilledComesBackAsARestart) {
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

// ---- Leaving ----

int g_farewells = 0;
int CountFarewell() { return ++g_farewells; }

TEST_F(LifecycleTest, UnregisteredClientIsForgotten) {
  g_farewells = 0;
  StartBoth();
  device_.Forget();
  ASSERT_EQ(nc_dm_agent_unreg_all(CountFarewell), 0);
  ASSERT_TRUE(device_.RunUntil([] { return g_farewells > 0; }));
  EXPECT_EQ(g_farewells, 1);
  EXPECT_THAT(device_.announced(), ElementsAre("UNREG_CLIENT"));
  EXPECT_TRUE(device_.server().FindAgent(Device::kName)->unregistered);
  EXPECT_EQ(g_nc_agent_dm.total_node, 0U);
  EXPECT_THAT(device_.Call(ReadValues({Everything("net")})).values, IsEmpty());

  // It may begin anew on the same connection.
  device_.Forget();
  ASSERT_EQ(DeviceApp::RegisterModel(), 0);
  nc_dm_agent_mode_reg_cplt();
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  std::vector<std::string> expected = FirstRegistration();
  expected.erase(expected.begin());
  EXPECT_EQ(device_.announced(), expected);
  ExpectServes();
}

TEST_F(LifecycleTest, UnregisteringIsRefusedOnAnotherThread) {
  StartBoth();
  int result = 0;
  std::thread([&] { result = nc_dm_agent_unreg_all(CountFarewell); }).join();
  EXPECT_EQ(result, -1);
  ExpectServes();
}

// ---- Other threads ----

// An application that learns of its instances on another thread than that of the loop.
TEST_F(LifecycleTest, InstancesAreAnnouncedFromAnotherThread) {
  StartBoth();
  constexpr int kRounds = 2000;
  std::atomic<bool> done = false;
  std::thread announcer([&] {
    for (int i = 0; i < kRounds; ++i) {
      std::string path = "net.user." + std::to_string(100 + i % 50) + ".";
      nc_dm_agent_reg(path.data());
      if (i % 2 == 0) nc_dm_agent_unreg(path.data());
      if (i % 100 == 0) {
        nc_dm_agent_yang_attr_reg("device-net", NC_DM_YANG_ATTR_REVISION,
                                  std::to_string(i).c_str());
      }
    }
    done = true;
  });
  while (!done) {
    ASSERT_TRUE(device_.Call(ReadValues({Everything("net")})).ok());
    device_.agent().SkipTime();
  }
  announcer.join();
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  // Every other one is there in the end, and the application's two.
  EXPECT_EQ(g_nc_agent_dm.total_mobject, 25U + 2U);
  EXPECT_EQ(device_.server().FindAgent(Device::kName)->registry.yang_attributes().back(),
            (YangAttribute{NC_DM_YANG_ATTR_REVISION, "device-net", std::to_string(kRounds - 100)}));
  ExpectServes();
}

// ---- A server of its own speed ----

// The server runs on a thread of its own, so that its reads meet the agent's writes at any point.
TEST_F(LifecycleTest, IndependentServerDrivesTheAgent) {
  PutManyUsers(300);
  std::string failure;
  std::thread server_thread([&] {
    Server server({.root = device_.dir().path()});
    if (!server.WaitForAgent(Device::kName, kLimit)) {
      failure = "no agent";
    }
    for (int round = 0; failure.empty() && round < 200; ++round) {
      const std::string name = "name" + std::to_string(round);
      if (!server.Call(Device::kName, EditSubtree({{.name = "sys.name", .value = name}})).ok()) {
        failure = "edit " + name;
      }
      const Answer read = server.Call(Device::kName, ReadValues({{.name = "sys"}}));
      if (Texts(read.values) != std::vector{"sys.name=" + name}) failure = "read " + name;
      if (round % 20 == 0 &&
          server.Call(Device::kName, ReadValues({{.name = "net.user.name"}})).values.size() !=
              302) {
        failure = "read users";
      }
    }
    zu_thread_master_stop(device_.agent().master());
  });
  EXPECT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
  EXPECT_EQ(zu_thread_master_run(device_.agent().master()), 0);
  server_thread.join();
  EXPECT_EQ(failure, "");
}

}  // namespace
}  // namespace ncdm_test
