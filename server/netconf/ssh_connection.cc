#include "server/netconf/ssh_connection.h"

#include <poll.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "server/netconf/log.h"

namespace ncdm::netconf {
namespace {

// An agent offers each of its keys in turn.
constexpr unsigned kMaxRefusals = 20;
constexpr std::size_t kMaxChannels = 32;
constexpr std::size_t kMaxUserName = 64;

// How often one step looks for packets: each time libssh reads some kilobytes.
constexpr int kRounds = 16;

// So many rounds are answered while the client reads nothing.
constexpr unsigned kMaxRoundsUnsent = 256;

// True as well for one that is broken: a step finds that out.
bool IsWritable(int fd) {
  pollfd descriptor{fd, POLLOUT, 0};
  return poll(&descriptor, 1, 0) > 0;
}

// The name stands in XML and in the log.
bool IsUserName(std::string_view name) {
  return !name.empty() && name.size() <= kMaxUserName &&
         std::ranges::all_of(name, [](char c) { return c > ' ' && c < '\x7f'; });
}

}  // namespace

SshConnection::SshConnection(ssh_bind bind, Accepted accepted, SshService& service,
                             std::function<void()> wake)
    : service_(service),
      wake_(std::move(wake)),
      host_(std::move(accepted.host)),
      fd_(accepted.socket.get()),
      session_(ssh_new()) {
  if (session_ == nullptr ||
      ssh_bind_accept_fd(bind, session_.get(), accepted.socket.get()) != SSH_OK) {
    throw std::runtime_error(std::string("cannot serve a connection: ") + ssh_get_error(bind));
  }
  accepted.socket.Release();  // libssh closes it
  callbacks_.userdata = this;
  callbacks_.auth_pubkey_function = OnPublicKey;
  callbacks_.channel_open_request_session_function = OnOpenChannel;
  ssh_callbacks_init(&callbacks_);
  ssh_set_server_callbacks(session_.get(), &callbacks_);
  ssh_set_auth_methods(session_.get(), SSH_AUTH_METHOD_PUBLICKEY);
  ssh_set_blocking(session_.get(), 0);
}

SshConnection::~SshConnection() {
  channels_.clear();
  if (event_ != nullptr) {
    ssh_event_remove_session(event_.get(), session_.get());
  }
  ssh_disconnect(session_.get());
}

// ---- Logging in ----

int SshConnection::OnPublicKey(ssh_session /*session*/, const char* user, ssh_key_struct* key,
                               char state, void* data) {
  return static_cast<SshConnection*>(data)->AcceptUser(user, key, state);
}

int SshConnection::AcceptUser(const char* user, ssh_key key, char state) {
  const bool is_signed = state == SSH_PUBLICKEY_STATE_VALID;
  const bool is_accepted = (is_signed || state == SSH_PUBLICKEY_STATE_NONE) && IsUserName(user) &&
                           (service_.user.empty() || service_.user == user) &&
                           service_.keys.Accepts(key);
  if (!is_accepted) {
    ++refusals_;
    return SSH_AUTH_DENIED;
  }
  if (is_signed) {
    user_ = user;
  }
  return SSH_AUTH_SUCCESS;
}

// ---- Channels ----

ssh_channel SshConnection::OnOpenChannel(ssh_session /*session*/, void* data) {
  return static_cast<SshConnection*>(data)->OpenChannel();
}

ssh_channel SshConnection::OpenChannel() {
  if (!is_logged_in() || channels_.size() >= kMaxChannels) {
    return nullptr;
  }
  ssh_channel channel = ssh_channel_new(session_.get());
  if (channel != nullptr) {
    channels_.push_back(std::make_unique<SshChannel>(channel, [this] { return OpenSession(); }));
  }
  return channel;
}

std::unique_ptr<Session> SshConnection::OpenSession() {
  return std::make_unique<Session>(service_.operations, service_.table, Peer{user_, host_}, wake_);
}

bool SshConnection::HasOpenSession() const {
  return std::ranges::any_of(channels_,
                             [](const auto& channel) { return channel->has_open_session(); });
}

// ---- Steps ----

bool SshConnection::Step() {
  if (event_ == nullptr) {
    ExchangeKeys();
  }
  if (event_ == nullptr || is_closed_) {
    return false;
  }
  HandlePackets();
  const bool has_more = StepChannels();
  // Reading and writing a channel may find that the client has gone: libssh then closes the socket.
  is_closed_ = is_closed_ || ssh_is_connected(session_.get()) == 0;
  return has_more && !is_closed_;
}

void SshConnection::ExchangeKeys() {
  const int result = ssh_handle_key_exchange(session_.get());
  if (result == SSH_AGAIN) {
    return;
  }
  if (result != SSH_OK) {
    is_closed_ = true;
    return;
  }
  event_.reset(ssh_event_new());
  if (event_ == nullptr || ssh_event_add_session(event_.get(), session_.get()) != SSH_OK) {
    is_closed_ = true;
  }
}

void SshConnection::HandlePackets() {
  int result = SSH_OK;
  for (int i = 0; i < kRounds && result == SSH_OK; ++i) {
    // A round reads also where there is only something to write.
    if (!wants_to_read() && !IsWritable(fd_)) {
      break;
    }
    result = ssh_event_dopoll(event_.get(), 0);
    // libssh asks for writability as long as there is more to read, whether or not it has something
    // to write.
    const bool is_stuck = HasPendingOutput() && !IsWritable(fd_);
    rounds_unsent_ = is_stuck ? rounds_unsent_ + 1 : 0;
  }
  is_closed_ = is_closed_ || result == SSH_ERROR || refusals_ > kMaxRefusals;
}

bool SshConnection::StepChannels() {
  bool has_more = false;
  // Not by iterators: reading one channel may open another.
  std::size_t stepped = 0;
  while (stepped < channels_.size()) {
    SshChannel& channel = *channels_[stepped++];
    has_more = channel.Step() || has_more;
    is_closed_ = is_closed_ || channel.was_flooded();
  }
  NoteProgress();
  std::erase_if(channels_, [](const auto& channel) { return channel->is_closed(); });
  return has_more ||
         std::ranges::any_of(channels_, [](const auto& channel) { return channel->has_news(); });
}

void SshConnection::NoteProgress() {
  for (const auto& channel : channels_) {
    idle_since_ = std::max(idle_since_, channel->last_progress().value_or(idle_since_));
  }
  const bool had_open_session = std::exchange(has_open_session_, HasOpenSession());
  if (had_open_session && !has_open_session_) {
    idle_since_ = Clock::now();
  }
}

// ---- Time ----

std::optional<SshConnection::Clock::time_point> SshConnection::Deadline() const {
  std::optional<Clock::time_point> deadline;
  if (!has_open_session_) {
    deadline = idle_since_ + kPatience;
  }
  for (const auto& channel : channels_) {
    if (const auto since = channel->waiting_since()) {
      deadline = std::min(deadline.value_or(*since + kPatience), *since + kPatience);
    }
  }
  return deadline;
}

void SshConnection::Expire(Clock::time_point now) {
  for (const auto& channel : channels_) {
    const auto since = channel->waiting_since();
    if (since && *since + kPatience <= now) {
      channel->Abandon();
    }
  }
  if (!has_open_session_ && idle_since_ + kPatience <= now) {
    is_closed_ = true;
  }
}

bool SshConnection::HasPendingOutput() const {
  return (ssh_get_poll_flags(session_.get()) & SSH_WRITE_PENDING) != 0;
}

// The rounds alone are not enough: what was pending in the last one may have been written since, by
// a step of a channel, and then nothing else would wake the connection.
bool SshConnection::wants_to_read() const {
  return rounds_unsent_ < kMaxRoundsUnsent || !HasPendingOutput();
}

bool SshConnection::wants_to_write() const {
  return HasPendingOutput() ||
         std::ranges::any_of(channels_, [](const auto& channel) { return channel->can_write(); });
}

}  // namespace ncdm::netconf
