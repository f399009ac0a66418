#include "model_request.h"

#include <algorithm>
#include <sstream>

#include "server/names.h"

namespace ncdm_test {

using namespace ncdm::server;  // NOLINT: requests and answers

Request ModelRequest::Build() const {
  switch (kind) {
    case Kind::kEntry:
      return ncdm::server::EditEntry(edits, as_command, datastore);
    case Kind::kSubtree:
      return ncdm::server::EditSubtree(edits, datastore);
    case Kind::kRead:
      return ReadValues(reads, datastore);
    case Kind::kReadOne:
      return ReadOne(reads.at(0), datastore);
    case Kind::kFind:
      return FindIds(reads, datastore);
  }
  return {};
}

std::string ModelRequest::Text() const {
  static constexpr const char* kNames[] = {"entry", "subtree", "read", "read-one", "find"};
  std::ostringstream text;
  text << kNames[static_cast<int>(kind)] << (as_command ? " as command" : "")
       << (datastore == NC_DM_DATASTORE_SDN ? " sdn" : "");
  for (const EditElement& edit : edits) {
    text << "\n  " << OperationName(static_cast<std::int32_t>(edit.operation)) << "/"
         << DefaultOperationName(static_cast<std::int32_t>(edit.default_operation)) << "/"
         << ErrorOptionName(static_cast<std::int32_t>(edit.error_option))
         << (edit.key != 0 ? " key " : " ") << edit.name;
    if (edit.value) text << "=" << *edit.value;
    text << " " << RenderIds(edit.ids);
  }
  for (const ReadElement& read : reads) {
    text << "\n  " << read.name;
    if (read.value) text << "=" << *read.value;
    text << " " << RenderIds(read.ids);
  }
  return text.str();
}

std::string Expectation::Compare(const Answer& answer) const {
  std::ostringstream difference;
  const auto fault_text = [](bool is_ok, std::int32_t code, const std::string& path) {
    return is_ok ? std::string("ok") : RenderFault(code, path);
  };
  const std::string expected = fault_text(ok, fault_code, fault_path);
  const std::string actual = answer.outcome == Outcome::kFault
                                 ? fault_text(false, answer.fault.code, answer.fault.path)
                             : answer.ok() ? "ok"
                                           : answer.error;
  if (expected != actual) {
    difference << "outcome: expected " << expected << ", got " << actual << "\n";
    return difference.str();
  }
  if (!ok) return {};
  if (instance != answer.instance || answer.status != 0) {
    difference << "instance: expected " << instance << ", got " << answer.instance << " (status "
               << answer.status << ")\n";
  }
  const auto render_value = [](const Value& value) { return value.path + "=" + value.value; };
  for (std::size_t i = 0; i < std::max(values.size(), answer.values.size()); ++i) {
    const std::string wanted = i < values.size() ? render_value(values[i]) : "(end)";
    const std::string got = i < answer.values.size() ? render_value(answer.values[i]) : "(end)";
    if (wanted != got) {
      difference << "value " << i << ": expected " << wanted << ", got " << got << "\n";
      break;
    }
  }
  for (std::size_t i = 0; i < std::max(ids.size(), answer.ids.size()); ++i) {
    const std::string wanted = i < ids.size() ? RenderIds(ids[i]) : "(end)";
    const std::string got = i < answer.ids.size() ? RenderIds(answer.ids[i]) : "(end)";
    if (wanted != got) {
      difference << "ids " << i << ": expected " << wanted << ", got " << got << "\n";
      break;
    }
  }
  return difference.str();
}

}  // namespace ncdm_test
