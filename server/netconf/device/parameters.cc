#include "server/netconf/device/parameters.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <set>

#include "server/netconf/device/rpc_errors.h"

namespace ncdm::netconf {
namespace {

Element Child(Element parent, const char* name) { return parent.Child(name, kBaseNamespace); }

Element Required(Element parent, const char* name) {
  const Element child = Child(parent, name);
  if (!child) {
    throw OperationFailed(ElementError("missing-element", name, "a parameter is missing"));
  }
  return child;
}

[[noreturn]] void BadValue(Element element) {
  throw OperationFailed(ElementError("invalid-value", element.name(),
                                     "'" + element.Trimmed() + "' is no value for this parameter"));
}

template <typename Value>
struct Word {
  std::string_view word;
  Value value;
};

template <typename Value, std::size_t kCount>
Value ReadWord(Element parent, const char* name, const Word<Value> (&words)[kCount],
               Value otherwise) {
  const Element element = Child(parent, name);
  if (!element) {
    return otherwise;
  }
  const std::string text = element.Trimmed();
  const auto known =
      std::ranges::find_if(words, [&](const auto& word) { return word.word == text; });
  if (known == std::end(words) || element.has_children()) {
    BadValue(element);
  }
  return known->value;
}

using Test = EditParameters::Test;
using OnError = EditParameters::OnError;

constexpr Word<EditOperation> kDefaultOperations[] = {{"merge", EditOperation::kMerge},
                                                      {"replace", EditOperation::kReplace},
                                                      {"none", EditOperation::kNone}};
constexpr Word<Test> kTests[] = {
    {"test-then-set", Test::kTestThenSet}, {"set", Test::kSet}, {"test-only", Test::kTestOnly}};
constexpr Word<OnError> kOnErrors[] = {{"stop-on-error", OnError::kStop},
                                       {"continue-on-error", OnError::kContinue},
                                       {"rollback-on-error", OnError::kRollback}};

void CheckWithDefaults(Element element) {
  if (element.Trimmed() != "report-all") {
    BadValue(element);
  }
}

}  // namespace

void CheckParameters(Element operation, std::initializer_list<std::string_view> names,
                     bool with_defaults) {
  std::set<std::string_view> seen;
  for (const Element child : operation.Children()) {
    const bool is_with_defaults =
        with_defaults && child.Is("with-defaults", kWithDefaultsNamespace);
    const bool is_known = child.name_space() == operation.name_space() &&
                          std::ranges::find(names, child.name()) != names.end();
    if (!is_known && !is_with_defaults) {
      throw OperationFailed(ElementError("unknown-element", child.name(), "no such parameter"));
    }
    if (!seen.insert(child.name()).second) {
      throw OperationFailed(ElementError("bad-element", child.name(), "given twice"));
    }
    if (is_with_defaults) {
      CheckWithDefaults(child);
    }
  }
}

Location ReadLocation(Element operation, const char* name, bool inline_config) {
  const Element parameter = Required(operation, name);
  const std::vector<Element> children = parameter.Children();
  if (children.empty()) {
    throw OperationFailed(ElementError("missing-element", name, "no datastore is named"));
  }
  if (children.size() > 1) {
    throw OperationFailed(ElementError("bad-element", name, "more than one datastore is named"));
  }
  const Element where = children.front();
  if (where.Is("running", kBaseNamespace)) {
    return {.datastore = Datastore::kRunning};
  }
  if (where.Is("candidate", kBaseNamespace)) {
    return {.datastore = Datastore::kCandidate};
  }
  if (inline_config && where.Is("config", kBaseNamespace)) {
    return {.config = where};
  }
  throw OperationFailed(
      ElementError("unknown-element", where.name(), "there is no such datastore here"));
}

Datastore ReadDatastore(Element operation, const char* name) {
  return *ReadLocation(operation, name, false).datastore;
}

EditParameters ReadEditParameters(Element operation) {
  CheckParameters(operation,
                  {"target", "default-operation", "test-option", "error-option", "config"});
  EditParameters parameters;
  parameters.target = ReadDatastore(operation, "target");
  parameters.default_operation =
      ReadWord(operation, "default-operation", kDefaultOperations, EditOperation::kMerge);
  parameters.test = ReadWord(operation, "test-option", kTests, Test::kDefault);
  parameters.on_error = ReadWord(operation, "error-option", kOnErrors, OnError::kStop);
  parameters.config = Required(operation, "config");
  return parameters;
}

CommitParameters ReadCommitParameters(Element operation) {
  CheckParameters(operation, {"confirmed", "confirm-timeout", "persist", "persist-id"});
  CommitParameters parameters;
  parameters.confirmed = static_cast<bool>(Child(operation, "confirmed"));
  if (const Element timeout = Child(operation, "confirm-timeout")) {
    const std::string text = timeout.Trimmed();
    std::uint32_t seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (error != std::errc() || end != text.data() + text.size() || seconds == 0) {
      BadValue(timeout);
    }
    parameters.timeout = std::chrono::seconds(seconds);
  }
  if (const Element persist = Child(operation, "persist")) {
    parameters.persist = persist.Text();
  }
  if (const Element persist_id = Child(operation, "persist-id")) {
    parameters.persist_id = persist_id.Text();
  }
  return parameters;
}

}  // namespace ncdm::netconf
