#include "server/netconf/ssh_server.h"

#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "server/netconf/log.h"

namespace ncdm::netconf {
namespace {

// Methods that cost the server little: an exchange over groups that the client chooses could hold
// up everybody.
constexpr char kKeyExchanges[] =
    "curve25519-sha256,curve25519-sha256@libssh.org,ecdh-sha2-nistp256,ecdh-sha2-nistp384,"
    "ecdh-sha2-nistp521,diffie-hellman-group14-sha256";

constexpr int kAcceptsAtOnce = 16;
constexpr std::chrono::seconds kPause{1};

SshKey LoadPrivateKey(const std::string& file) {
  ssh_key key = nullptr;
  // With an empty passphrase, so that nobody is asked for one.
  if (ssh_pki_import_privkey_file(file.c_str(), "", nullptr, nullptr, &key) != SSH_OK) {
    throw std::runtime_error("cannot read the host key '" + file +
                             "': it must be a private key without a passphrase");
  }
  return SshKey(key);
}

}  // namespace

SshBind LoadHostKeys(const std::vector<std::string>& files) {
  SshBind bind(ssh_bind_new());
  if (bind == nullptr) {
    throw std::bad_alloc();
  }
  bool process_config = false;
  ssh_bind_options_set(bind.get(), SSH_BIND_OPTIONS_PROCESS_CONFIG, &process_config);
  ssh_bind_options_set(bind.get(), SSH_BIND_OPTIONS_KEY_EXCHANGE, kKeyExchanges);
  for (const std::string& file : files) {
    SshKey key = LoadPrivateKey(file);
    if (ssh_bind_options_set(bind.get(), SSH_BIND_OPTIONS_IMPORT_KEY, key.get()) != 0) {
      throw std::runtime_error("cannot use the host key '" + file +
                               "': " + ssh_get_error(bind.get()));
    }
    static_cast<void>(key.release());  // it belongs to `bind` now
  }
  return bind;
}

SshServer::SshServer(Poller& poller, const TcpListener& listener, ssh_bind bind, SshService service)
    : poller_(poller), listener_(listener), bind_(bind), service_(std::move(service)) {
  poller_.Watch(listener_.fd(), EPOLLIN, [this] { AcceptAll(); });
}

SshServer::~SshServer() {
  poller_.Forget(listener_.fd());
  while (!connections_.empty()) {
    Remove(connections_.begin()->first);
  }
}

// ---- Connections come ----

void SshServer::AcceptAll() {
  for (int i = 0; i < kAcceptsAtOnce; ++i) {
    std::optional<Accepted> accepted = listener_.Accept();
    if (accepted) {
      Add(std::move(*accepted));
    } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
      MakeRoom();
      return;
    } else if (errno == EAGAIN) {
      return;
    }
  }
}

void SshServer::Add(Accepted accepted) {
  if (strangers_.size() >= kMaxStrangers) {
    Remove(*strangers_.begin());
  }
  const Id id = ++last_id_;
  try {
    Entry& entry = connections_[id];
    entry.connection = std::make_unique<SshConnection>(bind_, std::move(accepted), service_,
                                                       [this, id] { woken_.insert(id); });
    poller_.Watch(entry.connection->fd(), EPOLLIN, [this, id] { Step(id); });
    entry.events = EPOLLIN;
    strangers_.insert(id);
    Step(id);  // the server speaks first
  } catch (const std::runtime_error& error) {
    Log(error.what());
    connections_.erase(id);
  }
}

void SshServer::MakeRoom() {
  Log(std::string("cannot accept a connection: ") + std::strerror(errno));
  if (strangers_.empty()) {
    Pause();
  } else {
    Remove(*strangers_.begin());
  }
}

void SshServer::Pause() {
  poller_.Change(listener_.fd(), 0);
  paused_until_ = Clock::now() + kPause;
}

// ---- Connections live ----

template <typename Function>
void SshServer::Attempt(Id id, Function function) {
  const auto found = connections_.find(id);
  if (found == connections_.end()) {
    return;
  }
  try {
    function(&found->second);
  } catch (const std::exception& error) {
    Log(std::string("a connection is closed: ") + error.what());
    Remove(id);
  }
}

void SshServer::Step(Id id) {
  Attempt(id, [&](Entry* entry) {
    if (entry->connection->Step()) {
      woken_.insert(id);
    }
    Update(id, entry);
  });
}

void SshServer::Update(Id id, Entry* entry) {
  const SshConnection& connection = *entry->connection;
  if (connection.is_closed()) {
    Remove(id);
    return;
  }
  if (connection.is_logged_in()) {
    strangers_.erase(id);
  }
  const std::uint32_t events =
      (connection.wants_to_read() ? EPOLLIN : 0U) | (connection.wants_to_write() ? EPOLLOUT : 0U);
  if (events != entry->events) {
    poller_.Change(connection.fd(), events);
    entry->events = events;
  }
  UpdateDeadline(id, entry, connection.Deadline());
}

void SshServer::UpdateDeadline(Id id, Entry* entry, std::optional<Clock::time_point> deadline) {
  if (deadline == entry->deadline) {
    return;
  }
  if (entry->deadline) {
    deadlines_.erase({*entry->deadline, id});
  }
  if (deadline) {
    deadlines_.insert({*deadline, id});
  }
  entry->deadline = deadline;
}

void SshServer::Remove(Id id) {
  const auto found = connections_.find(id);
  if (found == connections_.end()) {
    return;
  }
  poller_.Forget(found->second.connection->fd());
  UpdateDeadline(id, &found->second, std::nullopt);
  strangers_.erase(id);
  connections_.erase(found);
  woken_.erase(id);
}

// ---- The loop ----

std::optional<SshServer::Clock::time_point> SshServer::NextDeadline() const {
  if (!woken_.empty()) {
    return Clock::time_point{};
  }
  std::optional<Clock::time_point> deadline = paused_until_;
  if (!deadlines_.empty()) {
    deadline = std::min(deadline.value_or(deadlines_.begin()->first), deadlines_.begin()->first);
  }
  return deadline;
}

void SshServer::Run() {
  for (const Id id : std::exchange(woken_, {})) {
    Step(id);
  }
  RunDue(Clock::now());
}

void SshServer::RunDue(Clock::time_point now) {
  if (paused_until_ && *paused_until_ <= now) {
    paused_until_.reset();
    poller_.Change(listener_.fd(), EPOLLIN);
  }
  while (!deadlines_.empty() && deadlines_.begin()->first <= now) {
    const Id id = deadlines_.begin()->second;
    Attempt(id, [&](Entry* entry) { entry->connection->Expire(now); });
    Step(id);
  }
}

}  // namespace ncdm::netconf
