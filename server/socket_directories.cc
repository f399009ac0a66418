#include "server/socket_directories.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace ncdm::server {
namespace {

constexpr const char* kBelowRoot[] = {"/mng", "/mng/netconf", "/mng/netconf/netconf_server",
                                      "/mng/netconf/netconf_client"};

[[noreturn]] void Refuse(const std::string& directory, const std::string& why) {
  throw std::runtime_error("cannot keep sockets in " + directory + ": " + why);
}

[[noreturn]] void FailToCreate(const std::string& directory, int error) {
  throw std::runtime_error("cannot create " + directory + ": " + std::strerror(error));
}

// Root may do anything anyway.
bool IsOurs(const struct stat& status) { return status.st_uid == 0 || status.st_uid == geteuid(); }

std::string OwnerOf(const struct stat& status) { return "user " + std::to_string(status.st_uid); }

// In a sticky directory others add files, but do not replace ours.
void CheckOthersMayNotReplace(const std::string& directory, const struct stat& status) {
  if ((status.st_mode & S_IWOTH) != 0 && (status.st_mode & S_ISVTX) == 0) {
    Refuse(directory, "every user may write there");
  }
}

struct stat StatusOf(const std::string& directory) {
  struct stat status {};
  if (stat(directory.c_str(), &status) != 0) {
    FailToCreate(directory, errno);
  }
  if (!S_ISDIR(status.st_mode)) {
    FailToCreate(directory, ENOTDIR);
  }
  return status;
}

// A link is as good as who made it; where it leads to is then checked like a directory.
void CheckLink(const std::string& directory) {
  struct stat status {};
  if (lstat(directory.c_str(), &status) == 0 && S_ISLNK(status.st_mode) && !IsOurs(status)) {
    Refuse(directory, "it is a symbolic link of " + OwnerOf(status));
  }
}

void PrepareDirectory(const std::string& directory) {
  if (mkdir(directory.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
    FailToCreate(directory, errno);
  }
  CheckLink(directory);
  const struct stat status = StatusOf(directory);
  if (!IsOurs(status)) {
    Refuse(directory, "it belongs to " + OwnerOf(status));
  }
  CheckOthersMayNotReplace(directory, status);
}

}  // namespace

void PrepareSocketDirectories(const std::string& root) {
  std::error_code error;
  std::filesystem::create_directories(root, error);
  if (error) {
    FailToCreate(root, error.value());
  }
  // Whoever owns the root is trusted by its being given.
  CheckOthersMayNotReplace(root, StatusOf(root));
  for (const char* directory : kBelowRoot) {
    PrepareDirectory(root + directory);
  }
}

}  // namespace ncdm::server
