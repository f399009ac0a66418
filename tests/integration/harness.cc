#include "harness.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "server/names.h"

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: all of it is about the server's side

constexpr Milliseconds kRequestLimit = kLimit;

template <typename Done>
bool RunWhile(Done done, const std::function<void()>& turn) {
  const auto deadline = std::chrono::steady_clock::now() + kLimit;
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    turn();
  }
  return true;
}

// The pending registrations, which the queue may give up on the way.
template <typename Visit>
void ForEachPending(Visit visit) {
  list_head* const head = &g_nc_dm_reg_list.reg_list;
  for (list_head* at = head->next; at != head;) {
    auto* record = reinterpret_cast<nc_dm_stub_reg_t*>(at);
    at = at->next;
    visit(record);
  }
}

void FreePending(nc_dm_stub_reg_t* record) {
  if (auto* attr = static_cast<nc_dm_yang_attr_t*>(record->other)) {
    nc_dm_agent_free_yang_attr(attr);
    free(attr);
  }
  nc_dm_agent_free_reg(record);
  free(record);
}

}  // namespace

// ---- The library's side ----

int Agent::Start(const std::string& name, int (*dm_reg)(), int (*dm_reg_rsp)()) {
  started_ = true;
  return nc_dm_agent_init(name.c_str(), master_, dm_reg, dm_reg_rsp);
}

Agent::~Agent() {
  if (started_) {
    // A lookup for nothing takes the place of an answer that is still pending, whatever its kind.
    alignas(nc_dm_msg_t) char buf[NC_DM_MSG_HEAD_SIZE + sizeof(nc_int32)] = {};
    nc_dm_msg_t* lookup = nc_dm_agent_init_out_msg(buf, sizeof(buf));
    lookup->head.type = NC_DM_MSG_TYPE_GETID;
    nc_dm_put_int32(lookup->buf, &lookup->head.len, NC_DM_PKT_TYPE_END);
    nc_dm_agent_op_data_init();
    nc_dm_agent_handle_msg(-1, lookup);

    nc_dm_agent_unreg_all(nullptr);
    nc_dm_agent_clear_connect();
    ForEachPending(FreePending);
    list_head* const head = &g_nc_dm_reg_list.reg_list;
    head->next = head->prev = head;
    zu_thread_cancel(std::exchange(g_nc_dm_agent_manage.tt_reg, nullptr));
  }
  zu_thread_master_destroy(master_);
}

void Agent::RunOut(zu_thread** timer) {
  // A task that waits for a descriptor is no timer.
  if (*timer == nullptr || (*timer)->value != 0) return;
  const zu_thread_func function = (*timer)->func;
  zu_thread_cancel(*timer);
  *timer = zu_thread_add_timer(master_, function, nullptr, 0);
}

void Agent::SkipTime() {
  RunOut(&g_nc_dm_agent_manage.tt_reconnect);
  RunOut(&g_nc_dm_agent_manage.tt_reg);
}

int PendingRegistrations() {
  int count = 0;
  ForEachPending([&](const nc_dm_stub_reg_t*) { ++count; });
  return count;
}

int PendingRegistrations(nc_dm_msg_type_t type) {
  int count = 0;
  ForEachPending([&](const nc_dm_stub_reg_t* record) { count += record->type == type ? 1 : 0; });
  return count;
}

// ---- The server's side ----

std::string Describe(const Frame& frame) {
  const auto named = [&](const char* word) {
    const Announcement announcement = DecodeAnnouncement(frame);
    return std::string(word) + " " + announcement.name.value_or("(none)") + " " +
           std::to_string(announcement.attributes);
  };
  switch (frame.head.type) {
    case NC_DM_MSG_TYPE_REG_NAME:
      return DecodeAnnouncement(frame).attributes == NC_DM_REG_ATTR_RESTART ? "NAME restart"
                                                                            : "NAME";
    case NC_DM_MSG_TYPE_REG:
      return named("REG");
    case NC_DM_MSG_TYPE_UNREG:
      return named("UNREG");
    case NC_DM_MSG_TYPE_REG_YANG_ATTR: {
      const YangAnnouncement yang = DecodeYangAnnouncement(frame);
      return "YANG " + yang.module + " " + std::to_string(yang.type) + " " + yang.value;
    }
    case NC_DM_MSG_TYPE_REG_CPLT:
      return "CPLT";
    case NC_DM_MSG_TYPE_UNREG_CLIENT:
      return "UNREG_CLIENT";
    default:
      return MessageTypeName(frame.head.type);
  }
}

RawServer::RawServer(const std::string& root) : listener_(std::in_place, root) {}

RawServer::~RawServer() { Close(); }

bool RawServer::Accept() {
  const int fd = accept4(listener_->fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (fd < 0) return false;
  Close();
  fd_ = fd;
  ++connections_;
  reader_ = FrameReader();
  frames_.clear();
  return true;
}

bool RawServer::Read(std::size_t most) {
  char buffer[4096];
  ssize_t count = 1;
  while (most > 0 && (count = recv(fd_, buffer, std::min(most, sizeof(buffer)), 0)) > 0) {
    most -= static_cast<std::size_t>(count);
    reader_.Feed({buffer, static_cast<std::size_t>(count)});
    while (auto frame = reader_.Next()) frames_.push_back(std::move(*frame));
  }
  return count > 0 || (count < 0 && errno == EAGAIN);
}

std::size_t RawServer::ReadAway(std::size_t count) const {
  std::string buffer(count, '\0');
  const ssize_t received = recv(fd_, buffer.data(), count, 0);
  return received < 0 ? 0 : static_cast<std::size_t>(received);
}

std::vector<std::string> RawServer::Descriptions() const {
  std::vector<std::string> descriptions;
  for (const Frame& frame : frames_) descriptions.push_back(Describe(frame));
  return descriptions;
}

void RawServer::Send(std::string_view bytes) const {
  const ssize_t sent = send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  EXPECT_EQ(sent, static_cast<ssize_t>(bytes.size()));
}

void RawServer::Send(const Request& request, std::int32_t first_sid) const {
  for (Frame frame : request.frames) {
    frame.head.sid = first_sid++;
    Send(EncodeFrame(frame));
  }
}

void RawServer::StopReading() const { EXPECT_EQ(shutdown(fd_, SHUT_RD), 0); }

bool RawServer::IsLeft() const {
  pollfd state = {fd_, 0, 0};
  return poll(&state, 1, 0) > 0 && (state.revents & (POLLHUP | POLLERR)) != 0;
}

void RawServer::Close() {
  if (fd_ >= 0) close(std::exchange(fd_, -1));
}

// ---- Both ----

void Device::StartServer(bool answer_registration) {
  server_ = std::make_unique<Server>(
      Server::Options{.root = dir_.path(), .answer_registration = answer_registration});
  server_->set_frame_handler([this](std::string_view, const Frame& frame) {
    frames_.push_back(frame);
    switch (frame.head.type) {
      case NC_DM_MSG_TYPE_FAULT:
      case NC_DM_MSG_TYPE_EDIT_RSP:
      case NC_DM_MSG_TYPE_FILTER_RSP:
      case NC_DM_MSG_TYPE_GETID_RSP:
        break;
      default:
        announced_.push_back(Describe(frame));
    }
  });
}

void Device::Forget() {
  announced_.clear();
  frames_.clear();
}

void Device::WaitUntilRegistered() {
  // Everything queued was sent by one run of the registration task; the barrier is behind it.
  ASSERT_TRUE(RunUntil([&] { return IsConnected() && PendingRegistrations() == 0; }));
  ASSERT_TRUE(Call(Barrier()).ok());
}

void Device::Reconnect() {
  const unsigned before = server_->FindAgent(kName)->connections;
  server_->Disconnect(kName);
  ASSERT_TRUE(RunUntil(
      [&] { return IsConnected() && server_->FindAgent(kName)->connections == before + 1; }));
  WaitUntilRegistered();
}

bool Device::Turn() {
  const bool ran = agent_.RunOnce() > 0;
  const bool served = server_ && server_->RunOnce(Milliseconds(0));
  return ran || served;
}

bool Device::RunUntil(const std::function<bool()>& done) {
  return RunWhile(done, [&] {
    if (Turn()) return;
    if (skips_time_) agent_.SkipTime();
    agent_.RunOnce(1);
  });
}

void Device::Settle() {
  while (Turn()) {
  }
}

RequestId Device::Start(Request request) {
  return server_->Start(kName, std::move(request), kRequestLimit);
}

Answer Device::Finish(RequestId id) {
  if (!RunUntil([&] { return server_->IsDone(id); })) {
    Answer answer;
    answer.outcome = Outcome::kTimeout;
    answer.error = "no answer";
    return answer;
  }
  return *server_->Take(id);
}

Answer Device::Call(Request request) { return Finish(Start(std::move(request))); }

// ---- The log ----

LogText::LogText()
    : file_(memfd_create("log", MFD_CLOEXEC)),
      standard_error_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
  fflush(stderr);
  dup2(file_, STDERR_FILENO);
}

LogText::~LogText() {
  const std::string text = testing::Test::HasFailure() ? Get() : std::string();
  fflush(stderr);
  dup2(standard_error_, STDERR_FILENO);
  close(standard_error_);
  close(file_);
  fputs(text.c_str(), stderr);
}

std::string LogText::Get() const {
  fflush(stderr);
  std::string text(static_cast<std::size_t>(lseek(file_, 0, SEEK_END)), '\0');
  const ssize_t count = pread(file_, text.data(), text.size(), 0);
  text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return text;
}

int LogText::Count(std::string_view text) const {
  const std::string log = Get();
  int count = 0;
  for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
    ++count;
  }
  return count;
}

// ---- Requests ----

std::string Summary(const Answer& answer) {
  if (!answer.ok()) return answer.error;
  if (!answer.values.empty()) return "values " + std::to_string(answer.values.size());
  if (!answer.ids.empty()) return "ids " + std::to_string(answer.ids.size());
  return "ok " + std::to_string(answer.instance);
}

std::vector<std::string> Texts(const std::vector<Value>& values) {
  std::vector<std::string> texts;
  for (const Value& value : values) texts.push_back(value.path + "=" + value.value);
  return texts;
}

std::size_t OpenDescriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace ncdm_test
