// What is known of one agent.
#ifndef NCDM_SERVER_AGENT_H_
#define NCDM_SERVER_AGENT_H_

#include <cstdint>
#include <string>

#include "server/answer.h"
#include "server/registry.h"

namespace ncdm::server {

// Kept when the agent goes away; a new connection of the same name starts afresh.
struct Agent {
  std::string name;
  bool connected = false;
  bool restarted = false;  // it said that it has run before
  bool complete = false;   // it said on this connection that its registrations are complete
  bool settled = false;    // and they are: an agent that comes back says so before it announces any
  bool unregistered = false;  // it asked to be forgotten
  unsigned connections = 0;   // so far
  // How often a new connection took the place of one that was still open: when it goes on, two
  // applications use the name.
  unsigned takeovers = 0;
  std::uint64_t order = 0;  // of the present connection among all agents': smaller is earlier
  Registry registry;
};

// The agent of this name has connected.
void BeginConnection(Agent* agent, const Announcement& name);
// Its connection is gone.
void EndConnection(Agent* agent);
// Takes any other message that an agent sends of its own accord. Throws ProtocolError.
void TakeAnnouncement(Agent* agent, const Frame& frame);

}  // namespace ncdm::server

#endif  // NCDM_SERVER_AGENT_H_
