// Where the sockets of both ends lie.
#ifndef NCDM_SERVER_SOCKET_DIRECTORIES_H_
#define NCDM_SERVER_SOCKET_DIRECTORIES_H_

#include <string>

namespace ncdm::server {

// Creates the directories of the server's and the agents' sockets below a root, as far as they are
// missing, for their owner alone. Throws std::runtime_error when that fails, and when somebody
// other than root and this user could put a socket of their own in the place of one of ours: who
// may do that may pretend to be the server, or an agent.
void PrepareSocketDirectories(const std::string& root);

}  // namespace ncdm::server

#endif  // NCDM_SERVER_SOCKET_DIRECTORIES_H_
