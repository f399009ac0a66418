// What is said of agents that come and go.
#ifndef NCDM_SERVER_CONSOLE_AGENT_NOTICES_H_
#define NCDM_SERVER_CONSOLE_AGENT_NOTICES_H_

#include <map>
#include <string>

#include "server/agent.h"

namespace ncdm::console {

// That another application may use the agent's name, and how often it was seen.
std::string TakeoverText(const server::Agent& agent);

// Remembers what was known of each agent.
class AgentNotices {
 public:
  // A line about what has happened to the agent since the last call; empty when it neither came nor
  // went.
  std::string Take(const server::Agent& agent);

 private:
  struct Known {
    bool connected = false;
    unsigned connections = 0;
    unsigned takeovers = 0;
  };
  std::map<std::string, Known> known_;  // those that are connected
};

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_AGENT_NOTICES_H_
