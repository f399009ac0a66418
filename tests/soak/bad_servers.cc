#include "bad_servers.h"

#include <sys/socket.h>

#include <algorithm>
#include <utility>

namespace ncdm_test {

using namespace ncdm::server;  // NOLINT: requests and frames

const std::array<BadServers::Behaviour, 7> BadServers::kBehaviours = {{
    {"never reads", &BadServers::NeverReads},
    {"reads a byte a second", &BadServers::ReadsAByteASecond},
    {"closes at each byte of its frames", &BadServers::ClosesAtEachByteOfItsFrames},
    {"closes at each byte of the agent's", &BadServers::ClosesAtEachByteOfTheAgents},
    {"splits frames at each byte", &BadServers::SplitsFramesAtEachByte},
    {"floods", &BadServers::Floods},
    {"sends garbage", &BadServers::SendsGarbage},
}};

namespace {

constexpr std::size_t kAgentsFirstBytes = 400;

ReadElement AnyRead() { return {.name = "net"}; }

std::vector<std::string> SoundFrames() {
  std::vector<std::string> frames;
  const auto add = [&](const Request& request) {
    for (const Frame& frame : request.frames) frames.push_back(EncodeFrame(frame));
  };
  add(ReadValues({AnyRead(), {.name = "sys"}}));
  add(ReadOne({.name = "sys.name"}));
  add(FindIds({{.name = "net.user.name", .value = "n0"}}));
  add(BadServers::EditThatTheySend().Build());
  add(EditEntry({KeyElement("net.bogus.name", "n0")}));
  add(Commit());
  frames.push_back(EncodeFrame(RegistrationAnswer(0)));
  frames.push_back(EncodeFrame(RegistrationAnswer(-9, "sys.name")));
  return frames;
}

}  // namespace

BadServers::BadServers(ModelDevice* both, RandomRequests* random, std::function<void()> watch)
    : both_(*both), random_(*random), watch_(std::move(watch)), frames_(SoundFrames()) {}

ModelRequest BadServers::EditThatTheySend() {
  return {.kind = ModelRequest::Kind::kSubtree,
          .edits = {{.name = "sys.secret", .value = "the same"}}};
}

// ---- Turning and connecting ----

bool BadServers::Turn() {
  watch_();
  if (device().agent().RunOnce() > 0) return true;
  // The timer of the reconnection is not waited for, the others are.
  if (g_nc_dm_agent_manage.tt_reconnect != nullptr) device().agent().SkipTime();
  return device().agent().RunOnce(1) > 0;
}

void BadServers::TurnWhileBusy() {
  while (device().agent().RunOnce() > 0) watch_();
}

void BadServers::Accept() {
  unsent_.clear();
  ASSERT_TRUE(device().RunUntil([&] { return raw_->Accept(); }));
}

void BadServers::KeepConnection() {
  if (raw_->IsOpen() && !raw_->IsLeft()) return;
  if (raw_->IsOpen()) ++closed_by_agent_;
  raw_->Close();
  Accept();
}

void BadServers::CloseConnection() {
  ++(raw_->IsLeft() ? closed_by_agent_ : closed_by_server_);
  raw_->Close();
}

bool BadServers::Send(std::string_view bytes) {
  const ssize_t sent = send(raw_->fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  const std::size_t count = sent < 0 ? 0 : static_cast<std::size_t>(sent);
  unsent_ = bytes.substr(count);
  return unsent_.empty();
}

// Whole frames as far as this end can tell, so that the agent has no reason to give up.
void BadServers::SendAsMuchAsPossible() {
  if (!unsent_.empty() && !Send(std::exchange(unsent_, {}))) return;
  constexpr int kAtOnce = 64;
  for (int i = 0; i < kAtOnce; ++i) {
    if (!Send(frames_[next_frame_++ % frames_.size()])) return;
  }
}

std::pair<std::string_view, std::string_view> BadServers::NextCut(Cut* cut) const {
  const std::string_view frame = frames_[cut->frame % frames_.size()];
  const std::size_t byte = cut->byte++;
  if (cut->byte > frame.size()) *cut = {cut->frame + 1, 0};
  return {frame.substr(0, byte), frame.substr(byte)};
}

void BadServers::PlayUntil(SoakClock::time_point end, const std::function<void(RawServer*)>& step) {
  RawServer raw(device().dir().path());
  raw_ = &raw;
  while (SoakClock::now() < end && !testing::Test::HasFailure()) {
    KeepConnection();
    step(&raw);
    Turn();
  }
  raw_ = nullptr;
}

// ---- Behaviours ----

void BadServers::NeverReads(Time time) {
  PlayUntil(SoakClock::now() + time, [&](RawServer*) { SendAsMuchAsPossible(); });
}

void BadServers::ReadsAByteASecond(Time time) {
  // In a run of seconds the second is shorter, too.
  const auto second = std::min<SoakClock::duration>(std::chrono::seconds(1), time / 4);
  auto next = SoakClock::now();
  PlayUntil(SoakClock::now() + time, [&](RawServer* raw) {
    SendAsMuchAsPossible();
    if (SoakClock::now() < next) return;
    raw->ReadAway(1);
    next = SoakClock::now() + second;
  });
}

void BadServers::ClosesAtEachByteOfItsFrames(Time time) {
  PlayUntil(SoakClock::now() + time, [&](RawServer*) {
    Send(NextCut(&closing_at_).first);
    // The agent sees the bytes first, or the end together with them.
    if (random_.Chance(50)) TurnWhileBusy();
    CloseConnection();
  });
}

void BadServers::ClosesAtEachByteOfTheAgents(Time time) {
  PlayUntil(SoakClock::now() + time, [&](RawServer* raw) {
    SendAsMuchAsPossible();
    if (random_.Chance(50)) device().agent().SkipTime();
    TurnWhileBusy();
    if (reading_to_ > 0) raw->ReadAway(reading_to_);
    reading_to_ = (reading_to_ + 1) % kAgentsFirstBytes;
    CloseConnection();
  });
}

void BadServers::SplitsFramesAtEachByte(Time time) {
  PlayUntil(SoakClock::now() + time, [&](RawServer* raw) {
    const auto [first, second] = NextCut(&splitting_at_);
    Send(first);
    // The second part is there when the agent reads, or comes too late.
    if (random_.Chance(20)) TurnWhileBusy();
    Send(second);
    TurnWhileBusy();
    raw->ReadAway(std::size_t{1} << 16);
  });
}

void BadServers::Floods(Time time) {
  PlayUntil(SoakClock::now() + time, [&](RawServer* raw) {
    SendAsMuchAsPossible();
    raw->ReadAway(std::size_t{1} << 16);
  });
}

void BadServers::SendsGarbage(Time time) {
  PlayUntil(SoakClock::now() + time, [&](RawServer* raw) {
    std::string garbage(std::size_t{1} + static_cast<std::size_t>(random_.Below(5000)), '\0');
    for (char& byte : garbage) byte = static_cast<char>(random_.Below(256));
    if (random_.Chance(50)) {
      // A sound head with a body of nothing.
      constexpr std::array<std::int32_t, 4> kTypes = {NC_DM_MSG_TYPE_EDIT, NC_DM_MSG_TYPE_FILTER,
                                                      NC_DM_MSG_TYPE_GETID, NC_DM_MSG_TYPE_REG_RSP};
      Frame frame;
      frame.head.type = kTypes[static_cast<std::size_t>(random_.Below(kTypes.size()))];
      frame.head.entry_cnt = random_.Below(8) - 2;
      frame.head.flag = random_.Below(8);
      const std::string head = BodyWriter().Int32(random_.Below(13)).Take();
      frame.body = head + garbage.substr(0, garbage.size() % 2000);
      garbage = EncodeFrame(frame);
    }
    Send(garbage);
    TurnWhileBusy();
    raw->ReadAway(std::size_t{1} << 16);
    if (random_.Chance(20)) CloseConnection();
  });
}

}  // namespace ncdm_test
