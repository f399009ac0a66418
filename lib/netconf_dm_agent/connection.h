// The one connection to the server.
#ifndef NETCONF_DM_AGENT_CONNECTION_H_
#define NETCONF_DM_AGENT_CONNECTION_H_

namespace nc {

// Sends the client's name and whether it has run before. 0, or the send's result.
int SendClientName();

// Closes the socket, if there is one.
void CloseSocket();

}  // namespace nc

#endif  // NETCONF_DM_AGENT_CONNECTION_H_
