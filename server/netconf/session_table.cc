#include "server/netconf/session_table.h"

#include "server/netconf/session.h"

namespace ncdm::netconf {
namespace {

// Six messages of the largest size may be on their way at once.
constexpr std::size_t kMaxHeld = 6 * kMaxMessageBytes;

}  // namespace

SessionTable::SessionTable() { statistics_.start_time = std::chrono::system_clock::now(); }

std::vector<SessionInfo> SessionTable::List() const {
  std::vector<SessionInfo> list;
  list.reserve(sessions_.size());
  for (const auto& [id, session] : sessions_) {
    if (session->is_open()) {
      list.push_back(session->info());
    }
  }
  return list;
}

void SessionTable::Add(Session* session) { sessions_[session->id()] = session; }

void SessionTable::Remove(const Session* session) { sessions_.erase(session->id()); }

bool SessionTable::Kill(std::uint32_t id) {
  const auto session = sessions_.find(id);
  if (session == sessions_.end()) {
    return false;
  }
  session->second->End(Session::Cause::kKilled);
  return true;
}

bool SessionTable::Reserve(std::size_t before, std::size_t now) {
  held_ = held_ - before + now;
  return held_ <= kMaxHeld || now <= before;
}

}  // namespace ncdm::netconf
