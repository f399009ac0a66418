#include "server/netconf/device/rpc_errors.h"

#include <algorithm>
#include <array>

#include "server/netconf/device/tree.h"
#include "server/netconf/device/yang_context.h"

namespace ncdm::netconf {
namespace {

struct FaultTag {
  std::int32_t code;
  const char* tag;
  const char* message;
};

constexpr std::array kFaultTags = {
    FaultTag{NC_DM_FAULT_CODE_MEM, "resource-denied", "the application is short of memory"},
    FaultTag{NC_DM_FAULT_CODE_OP_NOT_SUPPORTED, "operation-not-supported",
             "the application does not support this"},
    FaultTag{NC_DM_FAULT_CODE_DATA_EXISTS, "data-exists", "the data exists already"},
    FaultTag{NC_DM_FAULT_CODE_DATA_MISSING, "data-missing", "the data does not exist"},
    FaultTag{NC_DM_FAULT_CODE_DATA_INVALID_VALUE, "invalid-value",
             "the application refuses the value"},
    FaultTag{NC_DM_FAULT_CODE_BAD_ELEM, "bad-element", "the application refuses the element"},
    FaultTag{NC_DM_FAULT_CODE_UNKNOWN_ELEM, "unknown-element",
             "the application does not know the element"},
};

RpcError FaultError(const server::Answer& answer) {
  const auto known = std::ranges::find(kFaultTags, answer.fault.code, &FaultTag::code);
  if (known == kFaultTags.end()) {
    return ApplicationError("operation-failed", "the application refused: " + answer.error);
  }
  RpcError error = ApplicationError(known->tag, known->message);
  if (error.tag == "bad-element" || error.tag == "unknown-element") {
    error.info.push_back({"bad-element", FaultName(answer)});
  }
  return error;
}

// In the quotes that it does not hold; XPath has no way to write one that holds both.
std::string Quoted(const std::string& value) {
  const char quote = value.find('\'') == std::string::npos ? '\'' : '"';
  return quote + value + quote;
}

}  // namespace

RpcError ApplicationError(std::string tag, std::string message) {
  RpcError error;
  error.tag = std::move(tag);
  error.message = std::move(message);
  return error;
}

RpcError ProtocolError(std::string tag, std::string message) {
  RpcError error = ApplicationError(std::move(tag), std::move(message));
  error.type = "protocol";
  return error;
}

RpcError ElementError(std::string tag, std::string_view element, std::string message) {
  RpcError error = ProtocolError(std::move(tag), std::move(message));
  error.info.push_back({"bad-element", std::string(element)});
  return error;
}

InstancePath::InstancePath(const lyd_node* node) {
  std::vector<const lyd_node*> way;
  for (; node != nullptr && node->schema != nullptr; node = lyd_parent(node)) {
    way.insert(way.begin(), node);
  }
  for (const lyd_node* step : way) {
    if (step->schema->nodetype == LYS_LIST) {
      Enter(step->schema, KeyValuesOf(step));
    } else if (step->schema->nodetype == LYS_LEAFLIST) {
      Enter(step->schema, {ValueOf(step)});
    } else {
      Enter(step->schema);
    }
  }
}

// The module's own prefix, unless another module on the way has the same.
std::string InstancePath::Prefix(const lys_module* module) {
  std::string prefix = module->prefix;
  for (;;) {
    const auto known = std::ranges::find(prefixes_, prefix, &PathPrefix::prefix);
    if (known == prefixes_.end()) {
      prefixes_.push_back({prefix, module->ns});
      return prefix;
    }
    if (known->name_space == module->ns) {
      return prefix;
    }
    prefix += "x";
  }
}

void InstancePath::Enter(const lysc_node* node, const std::vector<std::string>& keys) {
  const std::string prefix = Prefix(node->module) + ":";
  text_ += "/" + prefix + node->name;
  if (keys.empty()) {
    return;
  }
  if (node->nodetype == LYS_LEAFLIST) {
    text_ += "[.=" + Quoted(keys.front()) + "]";
    return;
  }
  std::size_t i = 0;
  for (const lysc_node* key : KeysOf(node)) {
    text_ += "[" + prefix + key->name + "=" + Quoted(keys[i++]) + "]";
  }
}

void InstancePath::Into(RpcError* error) const {
  error->path = text_;
  error->prefixes = prefixes_;
}

RpcError At(RpcError error, const InstancePath& path) {
  path.Into(&error);
  return error;
}

RpcError FailureError(const server::Answer& answer) {
  return answer.outcome == server::Outcome::kFault
             ? FaultError(answer)
             : ApplicationError("operation-failed", answer.error);
}

std::string FaultName(const server::Answer& answer) {
  const std::string& path = answer.fault.path;
  return path.substr(path.rfind('.') + 1);
}

}  // namespace ncdm::netconf
