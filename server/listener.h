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
  // replaced. A lock on a file beside the socket, which stays, decides between servers that start
  // at once. Throws std::runtime_error, also when another server listens there.
  explicit Listener(const std::string& root);
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  static std::string SocketPath(const std::string& root);

  int fd() const { return socket_.get(); }
  const std::string& path() const { return path_; }
  // The next waiting connection, without blocking.
  std::optional<Connection> Accept();
  // True if the last Accept() found the process or the system out of descriptors or memory: what
  // waits goes on waiting, so the socket stays readable.
  bool is_exhausted() const { return is_exhausted_; }

 private:
  std::string path_;
  Descriptor lock_;
  Descriptor socket_;
  bool is_exhausted_ = false;
  dev_t device_ = 0;  // of our socket's file, so that another server's is not removed
  ino_t inode_ = 0;
};

}  // namespace ncdm::server

#endif  // NCDM_SERVER_LISTENER_H_
