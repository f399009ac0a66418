#include "server/netconf/ssh_channel.h"

#include <algorithm>
#include <array>
#include <utility>

namespace ncdm::netconf {
namespace {

constexpr char kSubsystem[] = "netconf";

// What one step moves at most in each direction, so that a busy client leaves time for the others.
constexpr std::size_t kStepBytes = std::size_t{256} * 1024;
constexpr std::size_t kReadBytes = std::size_t{32} * 1024;

// libssh's receive window is smaller. It logs, but takes, what a client sends beyond it.
constexpr std::uint32_t kMaxBuffered = 4 * 1024 * 1024;

constexpr int kAccept = 0;
constexpr int kRefuse = 1;

SshChannel& ToChannel(void* data) { return *static_cast<SshChannel*>(data); }

}  // namespace

SshChannel::SshChannel(ssh_channel handle, OpenSession open_session)
    : handle_(handle), open_session_(std::move(open_session)) {
  callbacks_.userdata = this;
  callbacks_.channel_subsystem_request_function = OnSubsystem;
  callbacks_.channel_data_function = OnData;
  callbacks_.channel_eof_function = OnEof;
  callbacks_.channel_close_function = OnClose;
  ssh_callbacks_init(&callbacks_);
  ssh_set_channel_callbacks(handle_, &callbacks_);
}

SshChannel::~SshChannel() {
  session_.reset();
  ssh_remove_channel_callbacks(handle_, &callbacks_);
  ssh_channel_free(handle_);
}

// ---- Callbacks ----

int SshChannel::OnSubsystem(ssh_session /*session*/, ssh_channel /*channel*/, const char* name,
                            void* data) {
  SshChannel& channel = ToChannel(data);
  if (std::string_view(name) != kSubsystem || channel.wants_session_) {
    return kRefuse;
  }
  channel.wants_session_ = true;
  channel.has_news_ = true;
  return kAccept;
}

// Takes nothing: what arrives stays with libssh, which grants the client a new window only when it
// has been read.
int SshChannel::OnData(ssh_session /*session*/, ssh_channel /*channel*/, void* /*bytes*/,
                       std::uint32_t size, int /*is_stderr*/, void* data) {
  SshChannel& channel = ToChannel(data);
  channel.was_flooded_ = channel.was_flooded_ || size > kMaxBuffered;
  channel.has_news_ = true;
  return 0;
}

void SshChannel::OnEof(ssh_session /*session*/, ssh_channel /*channel*/, void* data) {
  ToChannel(data).has_news_ = true;
}

void SshChannel::OnClose(ssh_session /*session*/, ssh_channel /*channel*/, void* data) {
  SshChannel& channel = ToChannel(data);
  channel.client_closed_ = true;
  channel.has_news_ = true;
}

// ---- Steps ----

bool SshChannel::Step() {
  if (wants_session_ && session_ == nullptr && !server_closed_) {
    session_ = open_session_();
  }
  const bool more_input = session_ != nullptr && ReadInput();
  has_news_ = false;
  if (session_ == nullptr) {
    return false;
  }
  if (client_closed_) {
    session_->End(Session::Cause::kDropped);
    return false;
  }
  const bool more_output = WriteOutput();
  CloseWhenFinished();
  return more_input || more_output;
}

bool SshChannel::ReadInput() {
  std::array<char, kReadBytes> bytes;
  std::size_t taken = 0;
  while (session_->wants_input() && taken < kStepBytes) {
    const int count = ssh_channel_read_nonblocking(handle_, bytes.data(), kReadBytes, 0);
    if (count <= 0) {
      break;
    }
    taken += static_cast<std::size_t>(count);
    session_->Receive({bytes.data(), static_cast<std::size_t>(count)});
  }
  if (!input_ended_ && ssh_channel_is_eof(handle_) != 0) {
    input_ended_ = true;
    session_->EndInput();
  }
  return taken >= kStepBytes;
}

bool SshChannel::WriteOutput() {
  std::size_t written = 0;
  while (can_write() && written < kStepBytes) {
    const std::string_view output = session_->output();
    const std::size_t size =
        std::min<std::size_t>({output.size(), kReadBytes, ssh_channel_window_size(handle_)});
    const int count = ssh_channel_write(handle_, output.data(), static_cast<std::uint32_t>(size));
    if (count <= 0) {
      return false;  // the connection notices
    }
    written += static_cast<std::size_t>(count);
    if (session_->was_open()) {
      last_progress_ = Clock::now();
    }
    session_->Written(static_cast<std::size_t>(count));
  }
  return written >= kStepBytes;
}

bool SshChannel::can_write() const {
  return session_ != nullptr && !server_closed_ && !client_closed_ && !session_->output().empty() &&
         ssh_channel_window_size(handle_) > 0 &&
         (ssh_get_poll_flags(ssh_channel_get_session(handle_)) & SSH_WRITE_PENDING) == 0;
}

void SshChannel::CloseWhenFinished() {
  if (server_closed_ || !session_->finished()) {
    return;
  }
  server_closed_ = true;
  ssh_channel_request_send_exit_status(handle_, session_->ended_well() ? 0 : 1);
  ssh_channel_send_eof(handle_);
  ssh_channel_close(handle_);
}

void SshChannel::Abandon() {
  session_.reset();
  server_closed_ = true;
  ssh_channel_close(handle_);
}

std::optional<SshChannel::Clock::time_point> SshChannel::waiting_since() const {
  if (has_open_session() || server_closed_) {
    return std::nullopt;
  }
  return last_progress_.value_or(opened_);
}

bool SshChannel::is_closed() const {
  return client_closed_ && (session_ == nullptr || !session_->is_open());
}

}  // namespace ncdm::netconf
