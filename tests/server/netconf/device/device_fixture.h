// A device's half with agents that the test plays, all in one thread.
#ifndef TESTS_SERVER_NETCONF_DEVICE_DEVICE_FIXTURE_H_
#define TESTS_SERVER_NETCONF_DEVICE_DEVICE_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "server/netconf/device/device.h"
#include "support/temp_dir.h"
#include "tests/server/fake_agent.h"
#include "tests/server/netconf/device/store_agent.h"

namespace ncdm::netconf {

// What the tests of this folder say of texts and lists.
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::UnorderedElementsAre;

inline constexpr char kShopModule[] = R"(module shop {
  yang-version 1.1; namespace "urn:shop"; prefix s;
  container shelf {
    list item {
      key "name";
      leaf name { type string; }
      leaf price { type uint32; }
      leaf colour { type string; default "red"; }
      leaf-list tag { type string; }
      leaf sold { config false; type uint32; }
    }
  }
  container pairs {
    list pair {
      key "left right";
      leaf left { type string; }
      leaf right { type uint8; }
      leaf value { type string; }
    }
  }
  container till {
    leaf owner { type string; }
    leaf open { type boolean; }
    leaf-list hour { type uint8; default "9"; default "17"; }
  }
})";

class NoSessions : public Sessions {
 public:
  std::vector<SessionInfo> List() const override { return {}; }
  Statistics Counters() const override { return {}; }
};

class DeviceTest : public testing::Test {
 protected:
  using FakeAgent = ncdm_test::FakeAgent;

  using Modules = std::vector<std::pair<std::string, std::string>>;  // names and texts
  using StoreAgent = ncdm_test::StoreAgent;

  explicit DeviceTest(const Modules& modules = {{"shop", kShopModule}}) {
    for (const auto& [name, text] : modules) {
      std::ofstream(yang_.path() + "/" + name + ".yang") << text;
    }
    device_ = std::make_unique<Device>(DeviceOptions{root_.path(), yang_.path()}, sessions_);
  }

  std::unique_ptr<StoreAgent> NewStore(const std::string& name, const StoreAgent::Paths& paths,
                                       const std::string& module = "shop") {
    auto store = std::make_unique<StoreAgent>(root_.path(), name, paths, module);
    playing_.push_back(&store->agent());
    Settle();
    return store;
  }

  // Registers the shop's paths and names the module.
  std::unique_ptr<FakeAgent> NewShop(const std::string& name = "shop",
                                     const std::string& module = "shop") {
    auto agent = NewAgent(name);
    for (const char* path : {"shelf.item.{i}.price", "shelf.item.{i}.colour", "shelf.item.{i}.sold",
                             "pairs.pair.{i}.value", "till.owner", "till.open"}) {
      agent->Register(path);
    }
    agent->Register("shelf.item.{i}.name", NC_DM_FLAG_KEY);
    agent->Register("shelf.item.{i}.tag", NC_DM_FLAG_LEAF_LIST);
    agent->Register("pairs.pair.{i}.left", NC_DM_FLAG_KEY);
    agent->Register("pairs.pair.{i}.right", NC_DM_FLAG_KEY);
    agent->Complete();
    agent->Module(module, NC_DM_YANG_ATTR_MODULE_NAME, module);
    Settle();
    return agent;
  }

  std::unique_ptr<FakeAgent> NewAgent(const std::string& name) {
    auto agent = std::make_unique<FakeAgent>(root_.path(), name);
    playing_.push_back(agent.get());
    return agent;
  }

  // Until nothing has happened for a while.
  void Settle() {
    for (int i = 0; i < 20; ++i) {
      Turn();
    }
  }

  void Turn() {
    device_->Run();
    for (FakeAgent* agent : playing_) {
      agent->Step();
    }
  }

  // Carries out one operation; the agents answer meanwhile.
  Reply Call(const std::string& operation, std::uint32_t session = 1) {
    std::optional<Reply> reply;
    device_->Start({session, "user"},
                   "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"1\">" +
                       operation + "</rpc>",
                   [&](Reply done) { reply = std::move(done); });
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!reply && std::chrono::steady_clock::now() < end) {
      Turn();
    }
    EXPECT_TRUE(reply.has_value());
    return reply.value_or(Reply{});
  }

  static std::string EditConfig(const std::string& config, const std::string& parameters = "",
                                const std::string& target = "running") {
    return "<edit-config xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><target><" + target +
           "/></target>" + parameters + "<config>" + config + "</config></edit-config>";
  }

  // Tags of the errors that the operation ends with.
  std::vector<std::string> Refused(const std::string& operation) {
    std::vector<std::string> tags;
    for (const RpcError& error : Call(operation).errors) {
      tags.push_back(error.tag);
    }
    return tags;
  }

  void Done(const std::string& operation) {
    const Reply reply = Call(operation);
    ASSERT_TRUE(reply.errors.empty())
        << operation << ": " << reply.errors.front().tag << ": " << reply.errors.front().message;
  }

  std::string Get(const std::string& filter) {
    const Reply reply = Call("<get><filter>" + filter + "</filter></get>");
    EXPECT_TRUE(reply.errors.empty()) << reply.errors.front().message;
    return reply.content;
  }

  ncdm_test::TempDir root_;
  ncdm_test::TempDir yang_;
  NoSessions sessions_;
  std::unique_ptr<Device> device_;
  std::vector<FakeAgent*> playing_;
};

}  // namespace ncdm::netconf

#endif  // TESTS_SERVER_NETCONF_DEVICE_DEVICE_FIXTURE_H_
