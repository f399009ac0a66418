// A device with a little data, and what it announces.
#ifndef TESTS_INTEGRATION_LIFECYCLE_FIXTURE_H_
#define TESTS_INTEGRATION_LIFECYCLE_FIXTURE_H_

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "device_app.h"
#include "gmock/gmock.h"
#include "harness.h"

namespace ncdm_test {

// What the model announces of paths and modules, in order. A leaf-list that has been given a hash
// table since its registration says so when it is announced again.
inline std::vector<std::string> ModelAnnouncements(bool again) {
  std::vector<std::string> all;
  for (const LeafDefinition& leaf : kLeaves) {
    int attributes = leaf.flag | (leaf.slot != 0 ? NC_DM_REG_ATTR_INDEX : 0);
    if (again && std::ranges::count(kHashed, std::string_view(leaf.path)) > 0) {
      attributes |= NC_DM_FLAG_HASH_TAB;
    }
    all.push_back(std::string("REG ") + leaf.path + " " + std::to_string(attributes));
  }
  for (const YangDefinition& yang : kYangAttributes) {
    all.push_back(std::string("YANG ") + yang.module + " " + std::to_string(yang.type) + " " +
                  yang.value);
  }
  return all;
}

inline std::vector<std::string> FirstRegistration(const std::string& name = "NAME") {
  std::vector<std::string> all = ModelAnnouncements(false);
  all.insert(all.begin(), name);
  all.emplace_back("CPLT");
  return all;
}

inline std::vector<std::string> Reregistration(const std::string& name = "NAME") {
  std::vector<std::string> all = ModelAnnouncements(true);
  all.insert(all.begin(), {name, "CPLT"});
  return all;
}

inline std::vector<std::string> PathsOf(const ncdm::server::Agent* agent) {
  std::vector<std::string> paths;
  for (const ncdm::server::RegisteredPath& path : agent->registry.Paths())
    paths.push_back(path.path);
  return paths;
}

inline ncdm::server::ReadElement Everything(const char* name) { return {.name = name}; }

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
    const ncdm::server::Answer answer =
        device_.Call(ncdm::server::ReadValues({Everything("sys"), Everything("net")}));
    EXPECT_EQ(Summary(answer), "values 5");
    EXPECT_THAT(Texts(answer.values),
                testing::ElementsAre("sys.name=router", "net.user.1.name=root", "net.user.1.uid=0",
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

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_LIFECYCLE_FIXTURE_H_
