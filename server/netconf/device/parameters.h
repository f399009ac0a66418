// The parameters of operations, read from their XML.
#ifndef NCDM_SERVER_NETCONF_DEVICE_PARAMETERS_H_
#define NCDM_SERVER_NETCONF_DEVICE_PARAMETERS_H_

#include <chrono>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "server/netconf/device/datastores.h"
#include "server/netconf/device/edit.h"
#include "server/netconf/device/xml_document.h"

namespace ncdm::netconf {

inline constexpr char kMonitoringNamespace[] =
    "urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring";
inline constexpr char kWithDefaultsNamespace[] =
    "urn:ietf:params:xml:ns:yang:ietf-netconf-with-defaults";

// All of these throw OperationFailed.

// Every child is one of these, given once; <with-defaults> is allowed where `with_defaults`.
void CheckParameters(Element operation, std::initializer_list<std::string_view> names,
                     bool with_defaults = false);

// <source>, <target>: a datastore, or inline configuration where that is allowed.
struct Location {
  std::optional<Datastore> datastore{};
  Element config{};  // of inline configuration
};
Location ReadLocation(Element operation, const char* name, bool inline_config);
Datastore ReadDatastore(Element operation, const char* name);

struct EditParameters {
  enum class Test { kDefault, kTestThenSet, kSet, kTestOnly };
  enum class OnError { kStop, kContinue, kRollback };

  Datastore target = Datastore::kRunning;
  EditOperation default_operation = EditOperation::kMerge;
  Test test = Test::kDefault;
  OnError on_error = OnError::kStop;
  Element config{};
};
EditParameters ReadEditParameters(Element operation);

struct CommitParameters {
  bool confirmed = false;
  std::chrono::seconds timeout{600};
  std::optional<std::string> persist{};
  std::optional<std::string> persist_id{};
};
CommitParameters ReadCommitParameters(Element operation);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_PARAMETERS_H_
