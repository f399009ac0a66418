// Why a command was not carried out.
#ifndef NCDM_SERVER_CONSOLE_ERROR_H_
#define NCDM_SERVER_CONSOLE_ERROR_H_

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "server/answer.h"

namespace ncdm::console {

// what() is one line for people, without a line end.
class CommandError : public std::runtime_error {
 public:
  explicit CommandError(const std::string& message, std::optional<server::Fault> fault = {})
      : std::runtime_error(message), fault_(std::move(fault)) {}

  // When the agent refused.
  const std::optional<server::Fault>& fault() const { return fault_; }

 private:
  std::optional<server::Fault> fault_;
};

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_ERROR_H_
