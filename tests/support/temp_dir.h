#ifndef TESTS_SUPPORT_TEMP_DIR_H_
#define TESTS_SUPPORT_TEMP_DIR_H_

#include <stdlib.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include "scoped_env.h"

namespace ncdm_test {

// A fresh directory that "TMPDIR" names for a scope, with the directories of the sockets in it.
// Its path is short on purpose: a client name of 64 characters still fits a socket address.
// NCDM_TEST_TMP names another place than /tmp: to make a socket on a disk waits for the disk, which
// a test of how long something takes cannot have.
class TempDir {
 public:
  TempDir() {
    const char* place = getenv("NCDM_TEST_TMP");
    path_ = std::string(place != nullptr ? place : "/tmp") + "/ncXXXXXX";
    if (!mkdtemp(path_.data())) throw std::runtime_error("mkdtemp failed");
    std::filesystem::create_directories(path_ + "/mng/netconf/netconf_client");
    std::filesystem::create_directories(path_ + "/mng/netconf/netconf_server");
    tmpdir_.emplace("TMPDIR", path_);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::string& path() const { return path_; }
  std::string ClientSocket(const std::string& name) const {
    return path_ + "/mng/netconf/netconf_client/." + name;
  }
  std::string ServerSocket() const { return path_ + "/mng/netconf/netconf_server/.serv"; }

 private:
  std::string path_;
  std::optional<ScopedEnv> tmpdir_;
};

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_TEMP_DIR_H_
