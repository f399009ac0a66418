#include "whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace ncdm::model {
namespace {

bool Write(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(fd, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    text.remove_prefix(static_cast<size_t>(count));
  }
  return true;
}

// Closes also what failed, whose errno stays.
bool Close(int fd, bool done) {
  const int saved = errno;
  const bool closed = close(fd) == 0;
  if (!done) errno = saved;
  return done && closed;
}

bool WriteAndSync(const std::string& file, std::string_view text) {
  const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  return fd >= 0 && Close(fd, Write(fd, text) && fsync(fd) == 0);
}

// A name is on the disk once the folder that it stands in is.
bool SyncFolderOf(const std::string& file) {
  const size_t slash = file.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : file.substr(0, slash + 1);
  const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  return fd >= 0 && Close(fd, fsync(fd) == 0);
}

}  // namespace

bool WriteWholeFile(const std::string& file, std::string_view text, std::string& error) {
  const std::string draft = file + ".new";
  if (WriteAndSync(draft, text) && rename(draft.c_str(), file.c_str()) == 0 && SyncFolderOf(file)) {
    return true;
  }
  error = file + ": " + strerror(errno);
  unlink(draft.c_str());
  return false;
}

}  // namespace ncdm::model
