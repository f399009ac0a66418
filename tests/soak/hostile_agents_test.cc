// Agents that flood, lie, do not read and never end: the server's memory stays within what server.h
// states and is flat from round to round, none of its turns holds the loop, and an agent that
// behaves is served all the while. What each of them made the server take is stated.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
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
constexpr int kSilent = 100;
constexpr std::chrono::milliseconds kBetweenLooks{1};
constexpr std::int64_t kLongestTurnNs = 10 * std::int64_t{1000000};
constexpr Milliseconds kNoWait{0};
constexpr Milliseconds kPatience{20000};

// Times are judged where somebody asked for a measurement.
bool IsMeasured() { return Rounds(kShortRounds) > kShortRounds; }

std::int64_t ThreadNs() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return time.tv_sec * std::int64_t{1000000000} + time.tv_nsec;
}

class HostileAgentsTest : public testing::Test {
 protected:
  explicit HostileAgentsTest(Server::Options options = SmallLimits()) {
    options.root = directory_.path();
    server_ = std::make_unique<Server>(std::move(options));
    good_ = Connect("good");
    good_->AnnounceModel();
    heap_at_start_ = ReadProcessFigures().heap_bytes;
  }

  static Server::Options SmallLimits() {
    Server::Options options;
    options.max_answer = kMaxAnswer;
    options.max_registry = kMaxRegistry;
    options.max_output = kMaxOutput;
    return options;
  }

  // ---- Turns ----

  void Turn() {
    const std::int64_t begin = ThreadNs();
    server_->RunOnce(kNoWait);
    current_->longest_turn_ns = std::max(current_->longest_turn_ns, ThreadNs() - begin);
    good_->Step();
  }

  std::unique_ptr<FakeAgent> Connect(const std::string& name) {
    auto agent = std::make_unique<FakeAgent>(directory_.path(), name);
    EXPECT_TRUE(server_->RunUntil([&] { return server_->IsConnected(name); }, kPatience));
    return agent;
  }

  void LookAtHeap() {
    current_->most_heap =
        std::max(current_->most_heap, ReadProcessFigures().heap_bytes - heap_at_start_);
  }

  // Sends as much as the socket takes and lets the server read, until that many bytes were sent or
  // it has hung up; true for the latter. `messages`, unless null, is how many they were.
  bool Flood(FakeAgent* agent, const std::string& name, std::size_t most,
             const std::function<std::string(int)>& message, int* messages = nullptr) {
    std::string rest;
    int unused = 0;
    int& number = messages == nullptr ? unused : *messages;
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
      if (SoakClock::now() >= next_look_) {
        next_look_ = SoakClock::now() + kBetweenLooks;
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

  void ComesUnderANewName() {
    const std::string name = "name" + std::to_string(++names_);
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

  // They have no name, so that nothing is kept of them but a descriptor.
  void SayNothing() {
    std::vector<int> connections;
    for (int i = 0; i < kSilent; ++i) {
      connections.push_back(ConnectWithoutName());
      Turn();
    }
    LookAtHeap();
    for (const int fd : connections) close(fd);
    for (int i = 0; i < kSilent; ++i) Turn();
  }

  int ConnectWithoutName() const {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    server_->socket_path().copy(address.sun_path, sizeof(address.sun_path) - 1);
    EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    return fd;
  }

  // ---- Rounds ----

  // What an attacker made the server take.
  struct Figures {
    std::int64_t longest_turn_ns = 0;
    std::int64_t most_heap = 0;
  };
  struct Attacker {
    const char* name;
    void (HostileAgentsTest::*attack)();
    Figures figures{};
  };

  void Play(Attacker* attacker) {
    current_ = &attacker->figures;
    (this->*attacker->attack)();
  }

  void Round() {
    for (Attacker& attacker : attackers_) Play(&attacker);
    current_ = &others_;
    IsServed();
  }

  static void Print(const Attacker& attacker) {
    std::printf("hostile_agents: %s: longest turn %.2f ms, at most %.2f MiB above the start\n",
                attacker.name, static_cast<double>(attacker.figures.longest_turn_ns) / 1e6,
                static_cast<double>(attacker.figures.most_heap) / static_cast<double>(kMiB));
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
  SoakClock::time_point next_look_{};
  int names_ = 0;
  Figures others_;  // of what no attacker does
  Figures* current_ = &others_;

  std::array<Attacker, 11> attackers_ = {{
      {"answers without an end", &HostileAgentsTest::AnswersWithoutEnd},
      {"answers without an end that come late", &HostileAgentsTest::AnswersWithoutEndWhenItIsLate},
      {"one that never reads", &HostileAgentsTest::NeverReads},
      {"paths without an end", &HostileAgentsTest::RegistersWithoutEnd},
      {"attributes without an end", &HostileAgentsTest::AnnouncesAttributesWithoutEnd},
      {"paths of dots", &HostileAgentsTest::RegistersDots},
      {"garbage", &HostileAgentsTest::SendsGarbage},
      {"half a message", &HostileAgentsTest::LeavesHalfAMessage},
      {"two of one name", &HostileAgentsTest::TakeEachOthersPlace},
      {"ever new names", &HostileAgentsTest::ComesUnderANewName},
      {"connections that say nothing", &HostileAgentsTest::SayNothing},
  }};
};

TEST_F(HostileAgentsTest, MemoryStaysWithinTheLimitsAndIsFlat) {
  const int rounds = Rounds(kShortRounds);
  // As many as are remembered, so that what follows takes the place of what is forgotten.
  for (std::size_t i = 0; i < Server::kMaxGoneAgents + 10; ++i) {
    ComesUnderANewName();
  }
  Round();
  Round();
  const ProcessFigures begin = ReadProcessFigures();
  for (int round = 0; round < rounds && !HasFailure(); ++round) Round();
  const ProcessFigures figures = ReadProcessFigures();
  const std::int64_t growth = figures.heap_bytes - begin.heap_bytes;
  for (const Attacker& attacker : attackers_) {
    Print(attacker);
    if (kIsSanitized) continue;  // a sanitizer's allocator keeps what is freed
    EXPECT_LE(attacker.figures.most_heap, kMostHeap) << attacker.name;
    if (!IsMeasured()) continue;
    EXPECT_LE(attacker.figures.longest_turn_ns, kLongestTurnNs) << attacker.name;
  }
  std::printf("hostile_agents: %d rounds of %zu attackers, heap %+.1f KiB, descriptors %+d\n",
              rounds, attackers_.size(), static_cast<double>(growth) / 1024,
              static_cast<int>(figures.descriptors - begin.descriptors));
  if (!kIsSanitized) {
    EXPECT_LE(growth, kMostGrowth);
  }
  EXPECT_EQ(figures.descriptors, begin.descriptors);
  EXPECT_LE(server_->Agents().size(), Server::kMaxGoneAgents + 1);
}

// With the limits that a server has when it is not told others. The turns in which a table of an
// agent's announcements grows, and the one that releases them, take the longer the more there are:
// no longer than that.
class HostileAgentsAtFullSizeTest : public HostileAgentsTest {
 protected:
  HostileAgentsAtFullSizeTest() : HostileAgentsTest(Server::Options{}) {}

  static constexpr std::size_t kFlood = kIsSanitized ? 4 * kMiB : 256 * kMiB;
  static constexpr std::int64_t kTurnNsPerMessage = 3000;

  void Fill(Attacker* attacker, const std::function<std::string(int)>& message) {
    current_ = &attacker->figures;
    int messages = 0;
    {
      const auto agent = Connect(attacker->name);
      EXPECT_EQ(Flood(agent.get(), attacker->name, kFlood, message, &messages), !kIsSanitized);
    }
    EXPECT_TRUE(
        server_->RunUntil([&] { return !server_->IsConnected(attacker->name); }, kPatience));
    Print(*attacker);
    std::printf("hostile_agents: %s: they were %d\n", attacker->name, messages);
    if (kIsSanitized) return;
    const auto most = static_cast<std::int64_t>(Server::Options{}.max_registry);
    EXPECT_GE(attacker->figures.most_heap, most / 2) << "it was not filled";
    // What those who are gone have announced may be as much again.
    EXPECT_LE(attacker->figures.most_heap, 2 * most + kMiB);
    if (IsMeasured()) {
      EXPECT_LE(attacker->figures.longest_turn_ns, kLongestTurnNs + messages * kTurnNsPerMessage);
    }
  }
};

TEST_F(HostileAgentsAtFullSizeTest, TurnsAreLinearInWhatIsAnnounced) {
  Attacker paths{"paths up to the limit", nullptr};
  Fill(&paths, [](int number) { return Registration("top" + std::to_string(number) + ".leaf"); });
  Attacker leaves{"leaves of one list up to the limit", nullptr};
  Fill(&leaves, [](int number) { return Registration("a.{i}.leaf" + std::to_string(number)); });
  Attacker attributes{"attributes up to the limit", nullptr};
  Fill(&attributes, [](int number) {
    return RawFrame(NC_DM_MSG_TYPE_REG_YANG_ATTR, -1, 0, 0, 0,
                    I32(1) + Lv("m" + std::to_string(number)) + Lv("2024-01-01"));
  });
  IsServed();
}

}  // namespace
}  // namespace ncdm_test
