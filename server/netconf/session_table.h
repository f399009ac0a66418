// The sessions that there are, and what is counted of them.
#ifndef NCDM_SERVER_NETCONF_SESSION_TABLE_H_
#define NCDM_SERVER_NETCONF_SESSION_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "server/netconf/operations.h"

namespace ncdm::netconf {

class Session;

class SessionTable : public Sessions {
 public:
  SessionTable();

  std::vector<SessionInfo> List() const override;
  Statistics Counters() const override { return statistics_; }

  // What the sessions count themselves.
  Statistics& counters() { return statistics_; }

  // ---- For sessions ----

  std::uint32_t NewId() { return ++last_id_; }
  // From the server's <hello>, which tells the client its id, to the session's end.
  void Add(Session* session);
  void Remove(const Session* session);
  // Ends another session. False when there is none of this id.
  bool Kill(std::uint32_t id);

  // Bytes of incomplete messages that all sessions hold together. False when a session must not
  // hold that many more.
  bool Reserve(std::size_t before, std::size_t now);

 private:
  std::map<std::uint32_t, Session*> sessions_;
  Statistics statistics_;
  std::uint32_t last_id_ = 0;
  std::size_t held_ = 0;
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_SESSION_TABLE_H_
