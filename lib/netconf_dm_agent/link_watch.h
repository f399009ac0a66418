// The watch over a server that takes nothing.
#ifndef NETCONF_DM_AGENT_LINK_WATCH_H_
#define NETCONF_DM_AGENT_LINK_WATCH_H_

#include "netconf_dm_inter.h"

namespace nc {

// Watches the connection from now on, if a task waits until the server has taken what was sent.
// The registration task asks for it: when it has to wait itself, and each second for an answer.
void WatchWaitingTasks();

// The watch's task, once a second while somebody waits. -2 when the connection is given up.
int WatchLink(zu_thread* t);

// The bytes sent that the server has not taken yet, as the socket counts them; -1 when it is no
// socket.
int QueuedBytes(int fd);

}  // namespace nc

#endif  // NETCONF_DM_AGENT_LINK_WATCH_H_
