#include "lost_servers.h"

#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

namespace ncdm_test {

using namespace ncdm::server;  // NOLINT: requests and answers

namespace {

// While it lives the process has no free descriptor.
class NoDescriptors {
 public:
  NoDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    rlimit few = before_;
    few.rlim_cur = kFew;
    setrlimit(RLIMIT_NOFILE, &few);
    for (int fd; (fd = dup(STDERR_FILENO)) >= 0;) taken_.push_back(fd);
  }
  ~NoDescriptors() {
    for (const int fd : taken_) close(fd);
    setrlimit(RLIMIT_NOFILE, &before_);
  }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  static constexpr rlim_t kFew = 64;
  rlimit before_{};
  std::vector<int> taken_;
};

// While it lives there is no place for the agent's socket.
class NoDirectory {
 public:
  explicit NoDirectory(const TempDir& dir)
      : place_(std::filesystem::path(dir.ClientSocket("")).parent_path()),
        away_(place_.string() + ".away") {
    std::filesystem::rename(place_, away_);
  }
  ~NoDirectory() { std::filesystem::rename(away_, place_); }
  NoDirectory(const NoDirectory&) = delete;
  NoDirectory& operator=(const NoDirectory&) = delete;

 private:
  std::filesystem::path place_;
  std::filesystem::path away_;
};

}  // namespace

void LostServers::Lose(Moment moment) {
  both_.app().ForgetCalls();
  switch (moment) {
    case Moment::kInRequests:
      StartRequests();
      Turns(12);
      break;
    case Moment::kInRequestFrame:
      SendPartOfFrame();
      Turns(4);
      break;
    default:
      break;
  }
  device().StopServer();
  if (moment == Moment::kInAgentFrame || moment == Moment::kInRegistrations ||
      moment == Moment::kOnAccept) {
    LoseRawServer(moment);
  }
  if (moment == Moment::kLongGone || moment == Moment::kNoDescriptors ||
      moment == Moment::kNoDirectory) {
    FailAttempts(moment);
  }
}

void LostServers::FailAttempts(Moment moment) {
  std::optional<NoDescriptors> no_descriptors;
  std::optional<NoDirectory> no_directory;
  if (moment == Moment::kNoDescriptors) no_descriptors.emplace();
  if (moment == Moment::kNoDirectory) no_directory.emplace(device().dir());
  for (int attempt = 1 + random_.Below(4); attempt > 0; --attempt) {
    device().agent().SkipTime();
    device().agent().RunOnce();
    counts_.attempts_without_socket += g_nc_dm_mng_info.agent_fd < 0 ? 1 : 0;
  }
}

// Both ends turned a number of times, in no order.
void LostServers::Turns(int most) {
  for (int turn = random_.Below(most); turn > 0; --turn) {
    if (random_.Chance(60)) {
      device().agent().RunOnce();
    } else {
      device().server().RunOnce(Milliseconds(0));
    }
  }
}

void LostServers::StartRequests() {
  const int edit_at = random_.Below(6);
  for (int i = 0; i < 4; ++i) {
    if (i == edit_at) StartEdit();
    if (random_.Chance(60)) {
      device().Start(ReadValues({{.name = random_.Chance(50) ? "net" : "sys"}}));
    } else {
      device().Start(FindIds({{.name = "net.user.name", .value = "n0"}}));
    }
  }
}

void LostServers::StartEdit() {
  const std::string value = "edit" + std::to_string(++counts_.edits);
  edit_ = {.kind = ModelRequest::Kind::kSubtree, .edits = {{.name = "sys.name", .value = value}}};
  device().Start(edit_->Build());
}

void LostServers::SendPartOfFrame() {
  const std::vector<std::string> frames = {
      EncodeFrame(ReadOne({.name = "sys.name"}).frames[0]),
      EncodeFrame(FindIds({{.name = "net.user.name", .value = "n1"}}).frames[0]),
      EncodeFrame(EditEntry({KeyElement("net.user.name", "part")}).frames[0]),
      EncodeFrame(ShowTree().frames[0]),
  };
  const std::string& whole = random_.OneOf(frames);
  // Never all of it.
  const auto part = 1 + random_.Below(static_cast<int>(whole.size()) - 1);
  device().server().SendBytes(Device::kName, whole.substr(0, static_cast<std::size_t>(part)));
}

void LostServers::LoseRawServer(Moment moment) {
  RawServer raw(device().dir().path());
  const int times = moment == Moment::kOnAccept ? 1 + random_.Below(5) : 1;
  for (int time = 0; time < times; ++time) {
    ASSERT_TRUE(device().RunUntil([&] { return raw.Accept(); }));
    if (moment == Moment::kInAgentFrame) {
      raw.ReadAway(std::size_t{1} + static_cast<std::size_t>(random_.Below(60)));
    }
    if (moment == Moment::kInRegistrations) ReadRegistrations(&raw);
    raw.Close();
  }
}

void LostServers::ReadRegistrations(RawServer* raw) {
  // As little room as there can be.
  const int least = 1;
  setsockopt(g_nc_dm_mng_info.agent_fd, SOL_SOCKET, SO_SNDBUF, &least, sizeof(least));
  // The first run may have been over before that.
  raw->Read();
  EXPECT_EQ(DeviceApp::RegisterPaths(), 0);
  const int before = PendingRegistrations(NC_DM_MSG_TYPE_REG);
  for (int turn = random_.Below(20); turn > 0; --turn) {
    if (random_.Chance(30)) {
      raw->ReadAway(std::size_t{1} + static_cast<std::size_t>(random_.Below(500)));
    }
    if (random_.Chance(20)) device().agent().SkipTime();
    device().agent().RunOnce();
  }
  const int after = PendingRegistrations(NC_DM_MSG_TYPE_REG);
  counts_.registrations_cut += after > 0 && after < before ? 1 : 0;
}

void LostServers::Return() {
  device().StartServer();
  ASSERT_NO_FATAL_FAILURE(device().WaitUntilRegistered());
  SettleEdit();
}

// What was collected of a request outlives the connection, and goes with the next one that
// executes.
void LostServers::SettleEdit() {
  EXPECT_TRUE(device().Call(EditSubtree({})).ok());
  EXPECT_TRUE(device().Call(ReadValues({})).ok());
  const bool was_carried_out = !both_.app().calls().empty();
  if (was_carried_out) {
    ASSERT_TRUE(edit_.has_value());
    EXPECT_EQ(both_.app().calls().size(), 1U);
    both_.model().Run(*edit_);
    ++counts_.edits_carried_out;
  }
  edit_.reset();
  both_.app().ForgetCalls();
  device().Forget();
}

}  // namespace ncdm_test
