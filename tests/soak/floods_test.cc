// Servers that send segment upon segment and never the message that would execute them: the agent
// keeps a bounded part, refuses what is more, and holds nothing of it once the next server is
// there.

#include <sys/socket.h>

#include <algorithm>

#include "integration/device_app.h"
#include "integration/harness.h"
#include "recording.h"
#include "server/request.h"

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: requests and frames

constexpr int kShortRun = 12;
// More elements than the agent collects, and fewer.
constexpr int kTooMany = 80000;
constexpr int kBelowTheLimit = 30000;
// With which the edits meet the limit of the heap first, and the others that of the elements.
constexpr std::size_t kLongValue = 200;
// The limit of a list, and room for what a connection takes beside it.
constexpr std::int64_t kMostHeap = std::int64_t{17} << 20;

std::vector<std::string> WithoutEnd(const Request& request) {
  std::vector<std::string> segments;
  for (const Frame& frame : request.frames) segments.push_back(EncodeFrame(frame));
  segments.pop_back();
  return segments;
}

struct Flood {
  std::vector<std::string> segments;
  bool is_too_much;
};

// Of each kind of request one that is too much and one that is kept.
std::vector<Flood> AllFloods() {
  std::vector<Flood> floods;
  for (const int count : {kTooMany, kBelowTheLimit}) {
    const auto elements = static_cast<std::size_t>(count);
    const bool is_too_much = count == kTooMany;
    floods.push_back({WithoutEnd(EditSubtree(std::vector<EditElement>(
                          elements, {.name = "sys.name", .value = std::string(kLongValue, 'f')}))),
                      is_too_much});
    floods.push_back(
        {WithoutEnd(ReadValues(std::vector<ReadElement>(elements, {.name = "net.user"}))),
         is_too_much});
    floods.push_back({WithoutEnd(FindIds(std::vector<ReadElement>(
                          elements, {.name = "net.user.name", .value = "root"}))),
                      is_too_much});
  }
  return floods;
}

class FloodsTest : public testing::Test {
 protected:
  // Waits for the next connection and for all that the agent announces on it.
  void Accept() {
    ASSERT_TRUE(device_.RunUntil([&] { return raw_.Accept(); }));
    ASSERT_TRUE(device_.RunUntil([&] {
      raw_.Read();
      return PendingRegistrations() == 0;
    }));
    raw_.Read();
  }

  // A segment is sent whole or not at all: the agent would take a part for a server out of step.
  void Send(const std::string& segment) {
    ASSERT_TRUE(device_.RunUntil([&] {
      const ssize_t sent = send(raw_.fd(), segment.data(), segment.size(), MSG_NOSIGNAL);
      return sent == static_cast<ssize_t>(segment.size());
    }));
  }

  void Play(const Flood& flood) {
    constexpr std::size_t kBetweenLooks = 32;
    const std::size_t announced = raw_.frames().size();
    for (std::size_t i = 0; i < flood.segments.size(); ++i) {
      ASSERT_NO_FATAL_FAILURE(Send(flood.segments[i]));
      if (i % kBetweenLooks == 0) LookAtHeap();
    }
    device_.Settle();
    LookAtHeap();
    raw_.Read();
    ASSERT_EQ(raw_.frames().size() - announced, flood.is_too_much ? 1U : 0U);
    if (flood.is_too_much) {
      EXPECT_EQ(DecodeFault(raw_.frames().back()).code, NC_DM_FAULT_CODE_MEM);
    }
    raw_.Close();
    ASSERT_NO_FATAL_FAILURE(Accept());
  }

  void LookAtHeap() {
    most_heap_ = std::max(most_heap_, ReadProcessFigures().heap_bytes - heap_at_start_);
  }

  const std::vector<Flood> floods_ = AllFloods();
  const int rounds_ = Rounds(kShortRun);
  Recording recording_{static_cast<std::size_t>(rounds_)};
  DeviceApp app_;
  Device device_;
  RawServer raw_{device_.dir().path()};
  std::int64_t heap_at_start_ = 0;
  std::int64_t most_heap_ = 0;
};

TEST_F(FloodsTest, WhatIsKeptIsBoundedAndGoesWithTheConnection) {
  ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
  ASSERT_NO_FATAL_FAILURE(Accept());
  heap_at_start_ = ReadProcessFigures().heap_bytes;
  for (int round = 0; round < rounds_; ++round) {
    SCOPED_TRACE(round);
    ASSERT_NO_FATAL_FAILURE(Play(floods_[static_cast<std::size_t>(round) % floods_.size()]));
    recording_.Sample();
  }
  recording_.ExpectFlat();
  EXPECT_LE(most_heap_, kMostHeap);
  printf("floods: %d of up to %d elements, at most %.1f MiB above the start; %s\n", rounds_,
         kTooMany, static_cast<double>(most_heap_) / (1 << 20), recording_.Line().c_str());
}

}  // namespace
}  // namespace ncdm_test
