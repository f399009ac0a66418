// Random bytes, and sound messages with random changes: the agent ends in service.

#include <random>

#include "hostile_fixture.h"

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: requests and answers
using testing::AnyOf;
using testing::ElementsAre;

class GarbageTest : public HostileTest, public testing::WithParamInterface<unsigned> {};

TEST_P(GarbageTest, EndsInService) {
  std::mt19937 random(GetParam());
  const std::size_t before = OpenDescriptors();
  for (int round = 0; round < 30; ++round) {
    std::string garbage(1 + random() % 5000, '\0');
    for (char& byte : garbage) byte = static_cast<char>(random());
    ASSERT_TRUE(device_.server().SendBytes(Device::kName, garbage));
    device_.Settle();
    // It may have waited for more, so the connection is ended in any case.
    const unsigned connections = device_.server().FindAgent(Device::kName)->connections;
    device_.server().Disconnect(Device::kName);
    ASSERT_TRUE(device_.RunUntil([&] {
      return device_.IsConnected() &&
             device_.server().FindAgent(Device::kName)->connections > connections;
    }));
    ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
    ExpectServes();
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

INSTANTIATE_TEST_SUITE_P(Seed, GarbageTest, testing::Range(1U, 5U));

class MutationTest : public HostileTest, public testing::WithParamInterface<unsigned> {};

// Sound heads with bodies that are right but for a few bytes. The connection stays.
TEST_P(MutationTest, EndsInService) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  constexpr int kFrames = 1000;
#else
  constexpr int kFrames = 5000;
#endif
  const std::vector<EditElement> edits{
      {.name = "net.user.name", .value = "root", .ids = {}, .key = NC_DM_FLAG_KEY},
      {.name = "net.user.key.number", .value = "100", .ids = {1}, .key = NC_DM_FLAG_KEY},
      {.name = "sys.dns", .value = "dns8"}};
  const std::vector<ReadElement> reads{{.name = "net.user.name", .value = "root", .ids = {1}},
                                       {.name = "net.user.key", .ids = {1}},
                                       {.name = "sys"}};
  std::vector<Frame> sound;
  for (const Request& request : {EditEntry(edits), EditEntry(edits, true), EditSubtree(edits),
                                 ReadValues(reads), ReadOne(reads[0]), FindIds(reads), Commit()}) {
    sound.insert(sound.end(), request.frames.begin(), request.frames.end());
  }
  std::mt19937 random(GetParam());
  const std::size_t before = OpenDescriptors();
  for (int i = 0; i < kFrames; ++i) {
    Frame frame = sound[random() % sound.size()];
    frame.head.sid = 1000000 + i;
    for (unsigned changes = random() % 4; changes > 0; --changes) {
      switch (random() % 5) {
        case 0:
          frame.head.entry_cnt = static_cast<std::int32_t>(random() % 8) - 2;
          break;
        case 1:
          frame.head.flag = static_cast<std::int32_t>(random() % 8);
          break;
        case 2:
          frame.body.resize(frame.body.size() + random() % 16);
          break;
        default:
          frame.body[random() % frame.body.size()] = static_cast<char>(random());
      }
    }
    ASSERT_TRUE(device_.server().SendFrame(Device::kName, frame)) << i;
    if (i % 5 == 0) {
      ASSERT_TRUE(device_.Call(Barrier()).ok()) << i;
    }
  }
  ASSERT_TRUE(device_.Call(Barrier()).ok());
  EXPECT_EQ(device_.server().FindAgent(Device::kName)->connections, 1U);
  EXPECT_EQ(OpenDescriptors(), before);

  // Whatever was created and collected on the way: the rest works.
  nc_dm_agent_op_data_init();
  device_.Call(EditSubtree({{.name = "net", .operation = Operation::kDelete}}));
  EXPECT_EQ(Summary(device_.Call(EditEntry({KeyElement("net.user.name", "fresh")}))),
            "ok " + std::to_string(DeviceId("net.user", "fresh")));
  EXPECT_THAT(Texts(device_.Call(ReadValues({{.name = "sys.name"}})).values),
              ElementsAre("sys.name=router"));
}

INSTANTIATE_TEST_SUITE_P(Seed, MutationTest, testing::Range(1U, 5U));

}  // namespace
}  // namespace ncdm_test
