// An application that runs for days before its server: its instances come and go in the tree, what
// is for the server waits, and nothing grows. The server finds the instances that there are then.
//
// The timers of the agent, a second each, run out at once.

#include <algorithm>
#include <set>

#include "integration/device_app.h"
#include "integration/harness.h"
#include "recording.h"
#include "server/request.h"

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: requests

constexpr int kShortRun = kIsSanitized ? 5000 : 50000;
constexpr int kUsers = 1000;
// As many as the agent applies at once.
constexpr int kBatch = 500;
constexpr int kMostSamples = 200;

class WithoutServerTest : public testing::Test {
 protected:
  WithoutServerTest() {
    for (int id = 1; id <= kUsers; ++id) {
      app_.PutEntry("net.user", {id}, "user" + std::to_string(id));
      there_.insert(id);
    }
  }

  // Takes an instance back, or announces it.
  void ChangeOne() {
    const int id = 1 + static_cast<int>((changes_++ * 7919LL) % kUsers);
    std::string path = "net.user." + std::to_string(id) + ".";
    if (there_.erase(id) > 0) {
      ASSERT_EQ(nc_dm_agent_unreg(path.data()), 0);
    } else {
      there_.insert(id);
      ASSERT_EQ(nc_dm_agent_reg(path.data()), 0);
    }
  }

  void WaitUntilApplied() {
    ASSERT_TRUE(device_.RunUntil([] {
      return PendingRegistrations(NC_DM_MSG_TYPE_REG_OBJ) +
                 PendingRegistrations(NC_DM_MSG_TYPE_UNREG_OBJ) ==
             0;
    }));
  }

  std::set<std::int64_t> Found() {
    std::set<std::int64_t> ids;
    const Answer answer = device_.Call(ReadValues({{.name = "net.user.name"}}));
    EXPECT_TRUE(answer.ok()) << answer.error;
    for (const Value& value : answer.values) {
      ids.insert(std::stoll(value.path.substr(sizeof("net.user.") - 1)));
    }
    return ids;
  }

  const int all_ = Rounds(kShortRun);
  const int between_samples_ = std::max(all_ / kMostSamples / kBatch, 1) * kBatch;
  Recording recording_{static_cast<std::size_t>(all_ / between_samples_) + 1};
  DeviceApp app_;
  Device device_;
  std::set<std::int64_t> there_;
  std::int64_t changes_ = 0;
};

TEST_F(WithoutServerTest, InstancesComeAndGoAndNothingGrows) {
  ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
  ASSERT_NO_FATAL_FAILURE(WaitUntilApplied());
  const int waiting = PendingRegistrations();
  while (changes_ < all_) {
    for (int i = 0; i < kBatch; ++i) ASSERT_NO_FATAL_FAILURE(ChangeOne());
    ASSERT_NO_FATAL_FAILURE(WaitUntilApplied());
    ASSERT_EQ(PendingRegistrations(), waiting);
    if (changes_ % between_samples_ == 0) recording_.Sample();
  }
  recording_.ExpectFlat();
  printf("without_server: %lld changes, %d registrations wait; %s\n",
         static_cast<long long>(changes_), waiting, recording_.Line().c_str());

  device_.StartServer();
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  EXPECT_EQ(Found(), there_);
}

}  // namespace
}  // namespace ncdm_test
