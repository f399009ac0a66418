// The client's socket: how it is connected, and how its file is removed.
#ifndef NETCONF_DM_AGENT_CLIENT_SOCKET_H_
#define NETCONF_DM_AGENT_CLIENT_SOCKET_H_

namespace nc {

// Connects the socket to the server's. 0, or -1, which is logged. A non-blocking local socket never
// waits: a server whose backlog is full fails it.
int ConnectToServer(int fd);

// Removes the file that a socket of this library is bound to. Nothing happens for -1.
void RemoveSocketFile(int fd);

}  // namespace nc

#endif  // NETCONF_DM_AGENT_CLIENT_SOCKET_H_
