// The server's socket in the file system.
#ifndef NCDM_SERVER_LISTENER_H_
#define NCDM_SERVER_LISTENER_H_

#include <sys/types.h>

#include <optional>
#include <string>

#include "server/connection.h"

namespace ncdm::server {

class Listener {
 public:
  // Listens at SocketPath(root), for agents of the same user and of root, and prepares the
  // directories of both ends' sockets (socket_directories.h). A socket that a dead server left is
  // replaced. Throws std::runtime_error, also when another server listens there.
  explicit Listener(const std::string& root);
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  static std::string SocketPath(const std::string& root);

  int fd() const { return socket_.get(); }
  const std::string& path() const { return path_; }
  // The next waiting connection, without blocking.
  std::optional<Connection> Accept();

 private:
  std::string path_;
  Descriptor socket_;
  dev_t device_ = 0;  // of our socket's file, so that another server's is not removed
  ino_t inode_ = 0;
};

}  // namespace ncdm::server

#endif  // NCDM_SERVER_LISTENER_H_
