// The first connection, what the application does meanwhile, and leaving.

#include <atomic>
#include <thread>

#include "lifecycle_fixture.h"

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: requests and answers
using testing::ElementsAre;
using testing::IsEmpty;

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
