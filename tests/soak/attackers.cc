#include "attackers.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "attacked_app.h"
#include "run_options.h"
#include "support/debug_mask.h"
#include "support/scoped_env.h"

namespace ncdm_test {

using namespace ncdm::server;  // NOLINT: requests and frames

const std::array<Attackers::Attack, 16> Attackers::kAttacks = {{
    {"edits without an end", &Attackers::FloodsOfEdits},
    {"filters without an end", &Attackers::FloodsOfFilters},
    {"lookups without an end", &Attackers::FloodsOfLookups},
    {"the largest edit", &Attackers::LargestEdit},
    {"the largest filter", &Attackers::LargestFilter},
    {"the largest lookup", &Attackers::LargestLookup},
    {"half an edit, then another server", &Attackers::HalfAnEdit},
    {"threads that register without pause", &Attackers::Registrations},
    {"attributes that change while much is queued", &Attackers::AttributesBehindAQueue},
    {"a log that nobody reads", &Attackers::LogThatNobodyReads},
    {"a server that never reads", &Attackers::NeverReads},
    {"farewells that nobody asked for", &Attackers::FarewellsUnasked},
    {"changes without a server", &Attackers::ChangesWithoutServer},
    {"reconnections while attributes change", &Attackers::ReconnectStorm},
    {"garbage", &Attackers::Garbage},
    {"connections that say nothing", &Attackers::SilentConnections},
}};

namespace {

// As the library bounds what it collects.
constexpr std::size_t kMostElements = 65536;
// A lookup with ids takes so much heap that fewer of them are as much as may be kept.
constexpr std::size_t kMostLookups = 45000;
constexpr std::size_t kMostHeap = std::size_t{16} << 20;
constexpr std::size_t kLongName = 2000;
constexpr int kThreads = 2;

template <typename Elements>
Elements Repeated(typename Elements::value_type element, std::size_t count) {
  return Elements(count, std::move(element));
}

// A thread of the application that shares locks with the loop.
class Producer {
 public:
  explicit Producer(std::function<void()> action)
      : thread_([this, action = std::move(action)] {
          const SchedTimes times;
          times_ = &times;
          while (!may_run_) std::this_thread::yield();
          action();
          is_done_ = true;
          // The judge may look until it is told not to.
          while (!may_end_) std::this_thread::sleep_for(std::chrono::microseconds(100));
        }) {
    while (times_ == nullptr) std::this_thread::yield();
  }
  ~Producer() {
    may_run_ = true;
    may_end_ = true;
    thread_.join();
  }
  Producer(const Producer&) = delete;
  Producer& operator=(const Producer&) = delete;

  const SchedTimes* times() const { return times_; }
  void Start() { may_run_ = true; }
  bool is_done() const { return is_done_; }

 private:
  std::atomic<const SchedTimes*> times_ = nullptr;
  std::atomic<bool> may_run_ = false;
  std::atomic<bool> is_done_ = false;
  std::atomic<bool> may_end_ = false;
  std::thread thread_;
};

// Threads that run at once, known to the judge for as long as they live.
class Producers {
 public:
  Producers(HoldJudge* judge, const std::function<void(int)>& action) : judge_(*judge) {
    std::vector<const SchedTimes*> times;
    for (int i = 0; i < kThreads; ++i) {
      producers_.push_back(std::make_unique<Producer>([action, i] { action(i); }));
      times.push_back(producers_.back()->times());
    }
    judge_.set_threads(std::move(times));
    for (const auto& producer : producers_) producer->Start();
  }
  ~Producers() { judge_.set_threads({}); }
  Producers(const Producers&) = delete;
  Producers& operator=(const Producers&) = delete;

  bool AreDone() const {
    return std::ranges::all_of(producers_,
                               [](const auto& producer) { return producer->is_done(); });
  }

 private:
  HoldJudge& judge_;
  std::vector<std::unique_ptr<Producer>> producers_;
};

// Standard error is a full pipe for a scope.
class UnreadStandardError {
 public:
  UnreadStandardError() : before_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 10)) {
    EXPECT_EQ(pipe2(pipe_, O_CLOEXEC | O_NONBLOCK), 0);
    const std::string page(4096, '.');
    while (write(pipe_[1], page.data(), page.size()) > 0) {
    }
    fcntl(pipe_[1], F_SETFL, 0);
    dup2(pipe_[1], STDERR_FILENO);
  }
  ~UnreadStandardError() {
    dup2(before_, STDERR_FILENO);
    for (const int fd : {before_, pipe_[0], pipe_[1]}) close(fd);
  }
  UnreadStandardError(const UnreadStandardError&) = delete;
  UnreadStandardError& operator=(const UnreadStandardError&) = delete;

 private:
  int before_;
  int pipe_[2] = {-1, -1};
};

// A leaf that is known is announced again.
void RegisterLeaf() {
  nc_dm_agent_mode_reg(const_cast<char*>(AttackedApp::kLeaf), NC_DM_VAL_TYPE_STRING, 0, 0, nullptr,
                       nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
}

// While other threads register.
int WaitingRegistrations(nc_dm_msg_type_t type) {
  pthread_mutex_lock(&g_nc_dm_reg_list.list_mutex);
  const int count = PendingRegistrations(type);
  pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex);
  return count;
}

int g_farewells = 0;

int CountFarewell() {
  ++g_farewells;
  return 0;
}

}  // namespace

// ---- The loop and the server ----

void Attackers::RegisterEverything() {
  EXPECT_EQ(AttackedApp::Register(), 0);
  for (int id = 1; id <= kEntries; ++id) AttackedApp::Announce(id);
}

bool Attackers::Turn() {
  look_(false);
  return device_.agent().RunOnce() > 0;
}

void Attackers::TurnWhileBusy() {
  while (Turn()) {
  }
}

void Attackers::Settle() {
  ASSERT_TRUE(device_.RunUntil([] {
    return PendingRegistrations(NC_DM_MSG_TYPE_REG_OBJ) == 0 &&
           PendingRegistrations(NC_DM_MSG_TYPE_UNREG_OBJ) == 0;
  }));
}

// A new server, which has been told all there is.
void Attackers::Accept(RawServer* raw) {
  ASSERT_TRUE(device_.RunUntil([&] { return raw->Accept(); }));
  ASSERT_TRUE(device_.RunUntil([&] {
    raw->Read();
    return PendingRegistrations() == 0;
  }));
}

// A message goes as a whole or not at all: it is shorter than what a socket takes at once.
void Attackers::Send(RawServer* raw, std::string_view frame) {
  while (send(raw->fd(), frame.data(), frame.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
    if (errno != EAGAIN) return;
    Turn();
  }
}

void Attackers::Send(RawServer* raw, std::string_view frame, std::size_t times) {
  while (times-- > 0) Send(raw, frame);
  TurnWhileBusy();
}

bool Attackers::HasAgentClosed(const RawServer& raw) const {
  pollfd state = {raw.fd(), 0, 0};
  return poll(&state, 1, 0) > 0 && (state.revents & (POLLHUP | POLLERR)) != 0;
}

int Attackers::Faults(const RawServer& raw) {
  return static_cast<int>(std::ranges::count_if(
      raw.frames(), [](const Frame& frame) { return frame.head.type == NC_DM_MSG_TYPE_FAULT; }));
}

// ---- Requests of any length ----

Attackers::Large Attackers::LargeRequest(const Request& full, std::size_t elements) {
  // The first message and what executes; between them there may be any number like the first.
  return {EncodeFrame(full.frames.front()), elements, EncodeFrame(full.frames.back())};
}

// As many elements as fit one message.
template <typename Element>
std::size_t Fitting(const Element& element) {
  constexpr std::size_t kBody = 2500;
  return std::max<std::size_t>(kBody / EncodedSize(element), 1);
}

Attackers::Large Attackers::Edits(std::string_view name) {
  const EditElement element{.name = std::string(name), .value = "v"};
  const std::size_t count = Fitting(element);
  return LargeRequest(EditSubtree(std::vector<EditElement>(count, element)), count);
}

Attackers::Large Attackers::Filters(std::string_view name) {
  const ReadElement element{.name = std::string(name)};
  const std::size_t count = Fitting(element);
  return LargeRequest(ReadValues(std::vector<ReadElement>(count, element)), count);
}

Attackers::Large Attackers::Lookups(std::string_view name) {
  const ReadElement element{.name = std::string(name), .value = "k1", .ids = {1}};
  const std::size_t count = Fitting(element);
  return LargeRequest(FindIds(std::vector<ReadElement>(count, element)), count);
}

// More than is collected, the end that is refused for it, and then as much again as may be kept,
// which the server leaves behind.
void Attackers::FloodWithoutEnd(const Large& request) {
  RawServer raw(device_.dir().path());
  ASSERT_NO_FATAL_FAILURE(Accept(&raw));
  const std::size_t of_heap = kMostHeap / (request.segment.size() / request.elements);
  const std::size_t messages = std::min(kMostElements, of_heap) / request.elements + 1;
  Send(&raw, request.segment, messages + 100);
  Send(&raw, request.end);
  TurnWhileBusy();
  raw.Read();
  EXPECT_EQ(Faults(raw), 2) << "one for the segment that was too much, one for the end";
  Send(&raw, request.segment, messages / 2);
  look_(true);
}

void Attackers::FloodsOfEdits() {
  FloodWithoutEnd(Edits(AttackedApp::kLeaf));
  FloodWithoutEnd(Edits(std::string(kLongName, 'n')));
}

void Attackers::FloodsOfFilters() {
  FloodWithoutEnd(Filters(AttackedApp::kLeaf));
  FloodWithoutEnd(Filters(std::string(kLongName, 'n')));
}

void Attackers::FloodsOfLookups() {
  FloodWithoutEnd(Lookups(AttackedApp::kKey));
  FloodWithoutEnd(Lookups(std::string(kLongName, 'n')));
}

std::int64_t Attackers::SendLargest(const Large& request, std::size_t elements) {
  RawServer raw(device_.dir().path());
  Accept(&raw);
  const std::size_t messages = elements / request.elements;
  Send(&raw, request.segment, messages);
  Send(&raw, request.end);
  do {
    Turn();
    raw.ReadAway(std::size_t{1} << 16);
    look_(g_nc_dm_mng_info.param_list.head.next != &g_nc_dm_mng_info.param_list.head);
  } while (g_nc_dm_agent_manage.tt_fltrsp != nullptr || g_nc_dm_agent_manage.tt_idrsp != nullptr ||
           g_nc_dm_edit_node_list.edit_head.next != &g_nc_dm_edit_node_list.edit_head);
  TurnWhileBusy();
  return static_cast<std::int64_t>(messages * request.elements);
}

// Each of the elements reaches the application.
void Attackers::LargestEdit() {
  const std::int64_t before = AttackedApp::sets();
  const std::int64_t sent = SendLargest(Edits(AttackedApp::kLeaf), kMostElements);
  EXPECT_EQ(AttackedApp::sets() - before, sent);
}

void Attackers::LargestFilter() {
  const std::int64_t before = AttackedApp::gets();
  const std::int64_t sent = SendLargest(Filters(AttackedApp::kLeaf), kMostElements);
  EXPECT_EQ(AttackedApp::gets() - before, sent);
}

void Attackers::LargestLookup() {
  const std::int64_t before = AttackedApp::gets();
  const std::int64_t sent = SendLargest(Lookups(AttackedApp::kKey), kMostLookups);
  EXPECT_EQ(AttackedApp::gets() - before, sent);
}

// ---- What a dead server leaves behind ----

void Attackers::HalfAnEdit() {
  const std::int64_t before = AttackedApp::sets();
  const Large edits = Edits(AttackedApp::kLeaf);
  for (int i = 0; i < 2; ++i) {
    RawServer dead(device_.dir().path());
    ASSERT_NO_FATAL_FAILURE(Accept(&dead));
    Send(&dead, edits.segment, 10);
    if (i == 0) Send(&dead, std::string_view(edits.segment).substr(0, edits.segment.size() / 2));
    TurnWhileBusy();
  }
  RawServer next(device_.dir().path());
  ASSERT_NO_FATAL_FAILURE(Accept(&next));
  Send(&next, edits.end);
  TurnWhileBusy();
  next.Read();
  ASSERT_FALSE(next.frames().empty());
  EXPECT_EQ(next.frames().back().head.type, NC_DM_MSG_TYPE_EDIT_RSP);
  EXPECT_EQ(AttackedApp::sets(), before) << "an edit of the dead server was executed";
}

// ---- The application ----

void Attackers::Registrations() {
  constexpr int kCalls = 1000;
  RawServer raw(device_.dir().path());
  ASSERT_NO_FATAL_FAILURE(Accept(&raw));
  const Producers producers(&judge_, [](int thread) {
    for (int i = 0; i < kCalls; ++i) {
      AttackedApp::SetRevision(std::to_string(i).c_str());
      RegisterLeaf();
      const std::int64_t id = 1000 + thread;
      i % 2 == 0 ? AttackedApp::Announce(id) : AttackedApp::Withdraw(id);
    }
  });
  while (!producers.AreDone() || PendingRegistrations() > 0) {
    if (!Turn()) device_.agent().SkipTime();
    raw.ReadAway(std::size_t{1} << 20);
  }
  look_(true);
}

// Whoever sets an attribute that waits already takes the queue to look for it.
void Attackers::AttributesBehindAQueue() {
  constexpr int kQueued = 10000;
  RawServer raw(device_.dir().path());
  ASSERT_NO_FATAL_FAILURE(Accept(&raw));
  for (int i = 0; i < kQueued; ++i) RegisterLeaf();
  std::atomic<bool> is_sent = false;
  const Producers producers(&judge_, [&is_sent](int thread) {
    for (int i = 0; !is_sent; ++i) AttackedApp::SetRevision(std::to_string(i + thread).c_str());
  });
  const auto end = SoakClock::now() + kLimit;
  while (WaitingRegistrations(NC_DM_MSG_TYPE_REG) > 0 && SoakClock::now() < end) {
    if (!Turn()) device_.agent().SkipTime();
    raw.ReadAway(std::size_t{1} << 20);
  }
  is_sent = true;
  EXPECT_LT(SoakClock::now(), end);
}

void Attackers::ChangesWithoutServer() {
  constexpr int kChanges = 1000;
  const std::uint32_t before = g_nc_agent_dm.total_node;
  for (int i = 0; i < kChanges / 2; ++i) {
    AttackedApp::Announce(2000 + i);
    AttackedApp::Withdraw(2000 + i);
    if (i % 50 != 0) continue;
    device_.agent().SkipTime();
    TurnWhileBusy();
  }
  ASSERT_NO_FATAL_FAILURE(Settle());
  EXPECT_EQ(g_nc_agent_dm.total_node, before);
}

void Attackers::ReconnectStorm() {
  constexpr int kChanges = 200;
  constexpr int kLosses = 5;
  const int round = NextNumber();
  {
    const Producers producers(&judge_, [round](int thread) {
      for (int i = 0; i < kChanges; ++i) {
        const int value = (round * kThreads + thread) * kChanges + i;
        AttackedApp::SetRevision(std::to_string(value).c_str());
      }
    });
    int losses = 0;
    while (losses < kLosses || !producers.AreDone()) {
      RawServer raw(device_.dir().path());
      ASSERT_TRUE(device_.RunUntil([&] { return raw.Accept(); }));
      for (int i = 0; i < 3; ++i) {
        device_.agent().SkipTime();
        TurnWhileBusy();
        raw.ReadAway(std::size_t{1} << 16);
      }
      ++losses;
    }
  }
  device_.StartServer();
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
  std::string told;
  for (const auto& yang : device_.server().FindAgent(Device::kName)->registry.yang_attributes()) {
    if (yang.module == AttackedApp::kModule) told = yang.value;
  }
  EXPECT_EQ(told, nc_dm_agent_get_yang_attr(AttackedApp::kModule, NC_DM_YANG_ATTR_REVISION)->attr);
  device_.Forget();
  device_.StopServer();
}

// ---- Neighbours ----

void Attackers::LogThatNobodyReads() {
  constexpr int kRequests = 200;
  RawServer raw(device_.dir().path());
  ASSERT_NO_FATAL_FAILURE(Accept(&raw));
  const Large unknown = Filters("no.such.path");
  {
    const ScopedEnv log("NC_DM_LOG", std::string("stderr"));
    const DebugMask everything(NC_DM_DBG_ERROR | NC_DM_DBG_INFO | NC_DM_DBG_PACKET);
    const UnreadStandardError unread;
    Send(&raw, EncodeFrame(ShowTree().frames.front()), 2);
    for (int i = 0; i < kRequests / 10; ++i) {
      Send(&raw, unknown.segment);
      Send(&raw, unknown.end);
      TurnWhileBusy();
      raw.ReadAway(std::size_t{1} << 16);
    }
  }
}

// An agent that cannot write has an answer and a registration to tell. The next server gets both.
void Attackers::NeverReads() {
  const std::int64_t late = 3000;
  {
    RawServer raw(device_.dir().path());
    ASSERT_NO_FATAL_FAILURE(Accept(&raw));
    const int least = 1;
    setsockopt(g_nc_dm_mng_info.agent_fd, SOL_SOCKET, SO_SNDBUF, &least, sizeof(least));
    const std::string read = EncodeFrame(ReadValues({{.name = AttackedApp::kList}}).frames.front());
    Send(&raw, read);
    Send(&raw, EncodeFrame(ReadValues({}).frames.back()));
    TurnWhileBusy();
    for (int i = 0; i < 20; ++i) AttackedApp::SetRevision(std::to_string(i).c_str());
    nc_dm_agent_mode_reg_cplt();
    AttackedApp::Announce(late);
    const auto end = SoakClock::now() + kLimit;
    while (!HasAgentClosed(raw)) {
      ASSERT_LT(SoakClock::now(), end) << "the agent stays with a server that takes nothing";
      if (Turn()) continue;
      device_.agent().SkipTime();
      device_.agent().SkipWatch();
    }
  }
  RawServer next(device_.dir().path());
  ASSERT_NO_FATAL_FAILURE(Accept(&next));
  EXPECT_EQ(PendingRegistrations(), 0);
  AttackedApp::Withdraw(late);
  ASSERT_NO_FATAL_FAILURE(Settle());
}

void Attackers::FarewellsUnasked() {
  constexpr int kFarewells = 1000;
  const std::string farewell = EncodeFrame(UnregistrationAnswer());
  RawServer raw(device_.dir().path());
  ASSERT_NO_FATAL_FAILURE(Accept(&raw));
  g_farewells = 0;
  Send(&raw, farewell, kFarewells);
  EXPECT_EQ(g_farewells, 0);
  EXPECT_EQ(nc_dm_agent_unreg_all(CountFarewell), 0);
  TurnWhileBusy();
  Send(&raw, farewell, 5);
  EXPECT_EQ(g_farewells, 1) << "once for a request";
  RegisterEverything();
  ASSERT_NO_FATAL_FAILURE(Settle());
}

void Attackers::Garbage() {
  constexpr int kPieces = 50;
  constexpr std::array<std::int32_t, 6> kTypes = {NC_DM_MSG_TYPE_EDIT,  NC_DM_MSG_TYPE_FILTER,
                                                  NC_DM_MSG_TYPE_GETID, NC_DM_MSG_TYPE_REG_RSP,
                                                  NC_DM_MSG_TYPE_DBG,   NC_DM_MSG_TYPE_FILTER_RSP};
  const DebugMask mask(0);  // as it was before, whatever they switch on
  std::mt19937 random(static_cast<unsigned>(NextNumber()));
  RawServer raw(device_.dir().path());
  ASSERT_NO_FATAL_FAILURE(Accept(&raw));
  for (int i = 0; i < kPieces; ++i) {
    std::string bytes(random() % 3000, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    if (i % 2 == 0) {
      // A sound head with a body of nothing, which begins like a packet.
      Frame frame;
      frame.head.type = kTypes[random() % kTypes.size()];
      frame.head.entry_cnt = static_cast<std::int32_t>(random() % 8) - 2;
      frame.head.flag = static_cast<std::int32_t>(random() % 8);
      const auto packet = static_cast<std::int32_t>(random() % 13);
      frame.body = BodyWriter().Int32(packet).Take() + bytes.substr(0, bytes.size() % 2000);
      bytes = EncodeFrame(frame);
    }
    Send(&raw, bytes);
    g_nc_dm_agent_dbg = 0;
    TurnWhileBusy();
    raw.ReadAway(std::size_t{1} << 16);
    if (HasAgentClosed(raw)) {
      ASSERT_TRUE(device_.RunUntil([&] { return raw.Accept(); }));
    }
  }
}

// A server that accepts and hangs up, or not even that, as fast as the agent comes back.
void Attackers::SilentConnections() {
  constexpr int kConnections = 20;
  RawServer raw(device_.dir().path());
  for (int i = 0; i < kConnections; ++i) {
    ASSERT_TRUE(device_.RunUntil([&] { return raw.Accept(); }));
    if (i % 2 == 0) TurnWhileBusy();
    raw.Close();
  }
}

}  // namespace ncdm_test
