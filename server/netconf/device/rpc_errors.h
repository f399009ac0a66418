// The errors that clients get (RFC 6241, Appendix A; RFC 7950, section 15).
#ifndef NCDM_SERVER_NETCONF_DEVICE_RPC_ERRORS_H_
#define NCDM_SERVER_NETCONF_DEVICE_RPC_ERRORS_H_

#include <libyang/libyang.h>

#include <exception>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "server/answer.h"
#include "server/netconf/operations.h"

namespace ncdm::netconf {

// Ends an operation with errors.
class OperationFailed : public std::exception {
 public:
  explicit OperationFailed(RpcError error) : errors_{std::move(error)} {}
  explicit OperationFailed(std::vector<RpcError> errors) : errors_(std::move(errors)) {}
  const std::vector<RpcError>& errors() const { return errors_; }
  const char* what() const noexcept override {
    return errors_.empty() ? "operation failed" : errors_.front().message.c_str();
  }

 private:
  std::vector<RpcError> errors_;
};

RpcError ApplicationError(std::string tag, std::string message);
RpcError ProtocolError(std::string tag, std::string message);
// About an element of the request: <bad-element> names it.
RpcError ElementError(std::string tag, std::string_view element, std::string message);

// An instance identifier, built from the top down.
class InstancePath {
 public:
  InstancePath() = default;
  // To a node that exists.
  explicit InstancePath(const lyd_node* node);

  // One step further: a container or leaf, a list entry with all its key values, a leaf-list's
  // value; without keys or value the list or leaf-list as a whole.
  void Enter(const lysc_node* node, const std::vector<std::string>& keys = {});

  bool empty() const { return text_.empty(); }
  void Into(RpcError* error) const;

 private:
  std::string Prefix(const lys_module* module);

  std::string text_;
  std::vector<PathPrefix> prefixes_;
};

RpcError At(RpcError error, const InstancePath& path);

// What an agent's refusal, silence or absence means to the client, without a path.
RpcError FailureError(const server::Answer& answer);
// The fault's own, bare name; empty without one.
std::string FaultName(const server::Answer& answer);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_RPC_ERRORS_H_
