// Agents that flood, lie, do not read and never end: the server's memory stays within what server.h
// states and is flat from round to round, none of its turns holds the loop, and an agent that
// behaves is served all the while.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "process_figures.h"
#include "run_options.h"
#include "server/server.h"
#include "support/temp_dir.h"
#include "tests/server/fake_agent.h"

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: requests

constexpr std::int64_t kMiB = std::int64_t{1} << 20;
constexpr std::size_t kMaxAnswer = 1 * kMiB;
constexpr std::size_t kMaxRegistry = kMiB / 2;
constexpr std::size_t kMaxOutput = kMiB / 4;
// One answer, one registry, those of the agents that are gone, what is not read; and the buffers.
constexpr std::int64_t kMostHeap =
    static_cast<std::int64_t>(kMaxAnswer + 2 * kMaxRegistry + kMaxOutput) + kMiB / 2;
constexpr std::int64_t kMostGrowth = 64 * 1024;

constexpr int kShortRounds = kIsSanitized ? 5 : 20;
constexpr int kLongRounds = 1000;
constexpr std::int64_t kLongestTurnNs = 10 * std::int64_t{1000000};
constexpr Milliseconds kNoWait{0};
constexpr Milliseconds kPatience{20000};

std::int64_t ThreadNs() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return time.tv_sec * std::int64_t{1000000000} + time.tv_nsec;
}

class HostileAgentsTest : public testing::Test {
 protected:
  HostileAgentsTest() {
    Server::Options options;
    options.root = directory_.path();
    options.max_answer = kMaxAnswer;
    options.max_registry = kMaxRegistry;
    options.max_output = kMaxOutput;
    server_ = std::make_unique<Server>(std::move(options));
    good_ = Connect("good");
    good_->AnnounceModel();
    heap_at_start_ = ReadProcessFigures().heap_bytes;
  }

  // ---- Turns ----

  void Turn() {
    const std::int64_t begin = ThreadNs();
    server_->RunOnce(kNoWait);
    longest_turn_ns_ = std::max(longest_turn_ns_, ThreadNs() - begin);
    good_->Step();
  }

  std::unique_ptr<FakeAgent> Connect(const std::string& name) {
    auto agent = std::make_unique<FakeAgent>(directory_.path(), name);
    EXPECT_TRUE(server_->RunUntil([&] { return server_->IsConnected(name); }, kPatience));
    return agent;
  }

  void LookAtHeap() {
    most_heap_ = std::max(most_heap_, ReadProcessFigures().heap_bytes - heap_at_start_);
  }

  // Sends as much as the socket takes and lets the server read, until that many bytes were sent or
  // it has hung up; true for the latter.
  bool Flood(FakeAgent* agent, const std::string& name, std::size_t most,
             const std::function<std::string(int)>& message) {
    std::string rest;
    int number = 0;
    for (std::size_t sent = 0; sent < most;) {
      while (rest.size() < 16384) {
        rest += message(number++);
      }
      const ssize_t count =
          send(agent->fd(), rest.data(), rest.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      if (count > 0) {
        sent += static_cast<std::size_t>(count);
        rest.erase(0, static_cast<std::size_t>(count));
      }
      Turn();
      if (number % 16 == 0) {
        LookAtHeap();
      }
      if (!server_->IsConnected(name)) {
        return true;
      }
    }
    LookAtHeap();
    return false;
  }

  static std::string Registration(const std::string& path) {
    return RawFrame(NC_DM_MSG_TYPE_REG, -1, NC_DM_MSG_FLAG_NAME, 0, 0, I32(0) + Lv(path));
  }

  static std::string ValuesSegment(std::int32_t sid) {
    return RawFrame(NC_DM_MSG_TYPE_FILTER_RSP, sid, 0, 1, 0,
                    I32(NC_DM_PKT_TYPE_SEGMENT) + Lv("a") + Lv(std::string(100, 'x')));
  }

  // Sends a read to an agent; the `sid` that its answer has to carry.
  std::int32_t StartRead(FakeAgent* agent, const std::string& name, Milliseconds timeout,
                         RequestId* id) {
    std::int32_t sid = 0;
    agent->set_answerer([&](FakeAgent&, const FakeAgent::Request& request) { sid = request.sid; });
    *id = server_->Start(name, ReadValues({{.name = "a"}}), timeout);
    while (sid == 0 && agent->WaitAndStep()) {
    }
    return sid;
  }

  // ---- Attackers ----

  void AnswersWithoutEnd() {
    const auto agent = Connect("endless");
    RequestId id = 0;
    const std::int32_t sid = StartRead(agent.get(), "endless", kPatience, &id);
    EXPECT_TRUE(
        Flood(agent.get(), "endless", 8 * kMaxAnswer, [&](int) { return ValuesSegment(sid); }));
    EXPECT_EQ(server_->Take(id)->outcome, Outcome::kProtocol);
  }

  void AnswersWithoutEndWhenItIsLate() {
    const auto agent = Connect("late");
    RequestId id = 0;
    const std::int32_t sid = StartRead(agent.get(), "late", kNoWait, &id);
    EXPECT_FALSE(
        Flood(agent.get(), "late", 2 * kMaxAnswer, [&](int) { return ValuesSegment(sid); }));
    EXPECT_EQ(server_->Take(id)->outcome, Outcome::kTimeout);
  }

  void NeverReads() {
    const auto agent = Connect("deaf");
    EXPECT_TRUE(Flood(agent.get(), "deaf", 8 * kMaxOutput,
                      [](int) { return RawFrame(NC_DM_MSG_TYPE_REG_CPLT, -1, 0, 0, 0, ""); }));
  }

  void RegistersWithoutEnd() {
    const auto agent = Connect("paths");
    EXPECT_TRUE(Flood(agent.get(), "paths", 8 * kMaxRegistry, [](int number) {
      return Registration("top" + std::to_string(number) + ".leaf");
    }));
  }

  void AnnouncesAttributesWithoutEnd() {
    const auto agent = Connect("modules");
    EXPECT_TRUE(Flood(agent.get(), "modules", 8 * kMaxRegistry, [](int number) {
      return RawFrame(NC_DM_MSG_TYPE_REG_YANG_ATTR, -1, 0, 0, 0,
                      I32(1) + Lv("m" + std::to_string(number)) + Lv("2024-01-01"));
    }));
  }

  void RegistersDots() {
    const auto agent = Connect("dots");
    EXPECT_TRUE(Flood(agent.get(), "dots", 1000000,
                      [](int) { return Registration(std::string(65000, '.')); }));
  }

  void SendsGarbage() {
    const auto agent = Connect("garbage");
    EXPECT_TRUE(Flood(agent.get(), "garbage", 1000000,
                      [](int number) { return std::string(1000, static_cast<char>(number | 1)); }));
  }

  void LeavesHalfAMessage() {
    const auto agent = Connect("half");
    const std::string frame =
        RawFrame(NC_DM_MSG_TYPE_FILTER_RSP, 1, 0, 1, 0, std::string(65000, 'x'));
    EXPECT_FALSE(
        Flood(agent.get(), "half", 16384, [&](int) { return frame.substr(0, frame.size() / 2); }));
  }

  void ComesUnderANewName(int round) {
    const std::string name = "name" + std::to_string(round);
    const auto agent = Connect(name);
    agent->Register("a.leaf");
    agent->Close();
    EXPECT_TRUE(server_->RunUntil([&] { return !server_->IsConnected(name); }, kPatience));
  }

  void TakeEachOthersPlace() {
    const auto first = Connect("twin");
    const auto second = std::make_unique<FakeAgent>(directory_.path(), "twin");
    const Agent* twin = server_->FindAgent("twin");
    const unsigned before = twin->connections;
    EXPECT_TRUE(server_->RunUntil([&] { return twin->connections > before; }, kPatience));
  }

  void Round(int round) {
    AnswersWithoutEnd();
    AnswersWithoutEndWhenItIsLate();
    NeverReads();
    RegistersWithoutEnd();
    AnnouncesAttributesWithoutEnd();
    RegistersDots();
    SendsGarbage();
    LeavesHalfAMessage();
    TakeEachOthersPlace();
    ComesUnderANewName(round);
    IsServed();
  }

  // The agent that behaves.
  void IsServed() {
    const RequestId id =
        server_->Start("good", EditSubtree({{.name = "a", .value = "1"}}), kPatience);
    while (!server_->IsDone(id)) {
      Turn();
    }
    EXPECT_TRUE(server_->Take(id)->ok());
    good_->ForgetRequests();  // what the agent remembers is not the server's
  }

  TempDir directory_;
  std::unique_ptr<Server> server_;
  std::unique_ptr<FakeAgent> good_;
  std::int64_t heap_at_start_ = 0;
  std::int64_t most_heap_ = 0;
  std::int64_t longest_turn_ns_ = 0;
};

TEST_F(HostileAgentsTest, MemoryStaysWithinTheLimitsAndIsFlat) {
  const auto run_time = RunTime(std::chrono::milliseconds(0));
  const bool is_long = run_time.count() > 0;
  const int rounds = is_long ? kLongRounds : kShortRounds;
  // As many as are remembered, so that what follows takes the place of what is forgotten.
  const int remembered = static_cast<int>(Server::kMaxGoneAgents) + 10;
  for (int i = 0; i < remembered; ++i) {
    ComesUnderANewName(i);
  }
  Round(remembered);
  Round(remembered + 1);
  ProcessFigures begin = ReadProcessFigures();
  const auto end = SoakClock::now() + run_time;
  int done = 0;
  while ((done < rounds || SoakClock::now() < end) && !HasFailure()) {
    Round(remembered + 2 + done++);
  }
  const ProcessFigures figures = ReadProcessFigures();
  const std::int64_t growth = figures.heap_bytes - begin.heap_bytes;
  std::printf(
      "hostile_agents: %d rounds of 10 attackers, longest turn %.1f ms, at most %.2f MiB above the "
      "start, heap %+.1f KiB, descriptors %+d\n",
      done, static_cast<double>(longest_turn_ns_) / 1e6,
      static_cast<double>(most_heap_) / static_cast<double>(kMiB),
      static_cast<double>(growth) / 1024,
      static_cast<int>(figures.descriptors - begin.descriptors));
  if (!kIsSanitized) {  // a sanitizer's allocator keeps what is freed
    EXPECT_LE(most_heap_, kMostHeap);
    EXPECT_LE(growth, kMostGrowth);
  }
  EXPECT_EQ(figures.descriptors, begin.descriptors);
  EXPECT_LE(server_->Agents().size(), Server::kMaxGoneAgents + 1);
  if (is_long && !kIsSanitized) {
    EXPECT_LE(longest_turn_ns_, kLongestTurnNs);
  }
}

}  // namespace
}  // namespace ncdm_test
