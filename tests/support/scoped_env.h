#ifndef TESTS_SUPPORT_SCOPED_ENV_H_
#define TESTS_SUPPORT_SCOPED_ENV_H_

#include <stdlib.h>

#include <optional>
#include <string>

namespace ncdm_test {

// Sets an environment variable for a scope, or unsets it (std::nullopt).
class ScopedEnv {
 public:
  ScopedEnv(std::string name, const std::optional<std::string>& value) : name_(std::move(name)) {
    if (const char* before = getenv(name_.c_str())) before_ = before;
    Apply(value);
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;
  ~ScopedEnv() { Apply(before_); }

 private:
  void Apply(const std::optional<std::string>& value) const {
    if (value) {
      setenv(name_.c_str(), value->c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
  }

  const std::string name_;
  std::optional<std::string> before_;
};

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_SCOPED_ENV_H_
