#include "server/netconf/device/state_data.h"

#include <algorithm>
#include <array>
#include <ctime>

#include "server/netconf/device/xml_document.h"

namespace ncdm::netconf {
namespace {

constexpr char kMonitoringModule[] = "ietf-netconf-monitoring";

constexpr std::array kProtocolCapabilities = {
    "urn:ietf:params:netconf:base:1.0",
    "urn:ietf:params:netconf:base:1.1",
    "urn:ietf:params:netconf:capability:writable-running:1.0",
    "urn:ietf:params:netconf:capability:candidate:1.0",
    "urn:ietf:params:netconf:capability:confirmed-commit:1.1",
    "urn:ietf:params:netconf:capability:rollback-on-error:1.0",
    "urn:ietf:params:netconf:capability:validate:1.1",
    "urn:ietf:params:netconf:capability:xpath:1.0",
    "urn:ietf:params:netconf:capability:with-defaults:1.0?basic-mode=report-all",
};

std::string Leaf(const char* name, const std::string& text) {
  return std::string("<") + name + ">" + EscapedXml(text) + "</" + name + ">";
}

std::string Leaf(const char* name, std::uint32_t number) {
  return Leaf(name, std::to_string(number));
}

std::string Date(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text.data();
}

std::string DatastoreXml(const char* name, const std::optional<Lock>& lock) {
  std::string xml = "<datastore>" + Leaf("name", name);
  if (lock) {
    xml += "<locks><global-lock>" + Leaf("locked-by-session", lock->session_id) +
           Leaf("locked-time", Date(lock->since)) + "</global-lock></locks>";
  }
  return xml + "</datastore>";
}

std::string SessionXml(const SessionInfo& session) {
  std::string xml = "<session>" + Leaf("session-id", session.client.session_id) +
                    Leaf("transport", session.transport) + Leaf("username", session.client.user);
  if (!session.source_host.empty()) {
    xml += Leaf("source-host", session.source_host);
  }
  return xml + Leaf("login-time", Date(session.login_time)) + Leaf("in-rpcs", session.in_rpcs) +
         Leaf("in-bad-rpcs", session.in_bad_rpcs) + Leaf("out-rpc-errors", session.out_rpc_errors) +
         Leaf("out-notifications", 0U) + "</session>";
}

std::string StatisticsXml(const Statistics& statistics) {
  return "<statistics>" + Leaf("netconf-start-time", Date(statistics.start_time)) +
         Leaf("in-bad-hellos", statistics.in_bad_hellos) +
         Leaf("in-sessions", statistics.in_sessions) +
         Leaf("dropped-sessions", statistics.dropped_sessions) +
         Leaf("in-rpcs", statistics.in_rpcs) + Leaf("in-bad-rpcs", statistics.in_bad_rpcs) +
         Leaf("out-rpc-errors", statistics.out_rpc_errors) + Leaf("out-notifications", 0U) +
         "</statistics>";
}

std::string Features(const lys_module* module) {
  std::string features;
  std::uint32_t index = 0;
  const lysp_feature* feature = nullptr;
  while ((feature = lysp_feature_next(feature, module->parsed, &index)) != nullptr) {
    if ((feature->flags & LYS_FENABLED) != 0) {
      features += (features.empty() ? "" : ",") + std::string(feature->name);
    }
  }
  return features;
}

std::string Deviations(const lys_module* module) {
  std::string deviations;
  for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(module->deviated_by); ++i) {
    deviations += (deviations.empty() ? "" : ",") + std::string(module->deviated_by[i]->name);
  }
  return deviations;
}

std::string ModuleCapability(const lys_module* module) {
  std::string uri = std::string(module->ns) + "?module=" + module->name;
  if (module->revision != nullptr) {
    uri += std::string("&revision=") + module->revision;
  }
  if (const std::string features = Features(module); !features.empty()) {
    uri += "&features=" + features;
  }
  if (const std::string deviations = Deviations(module); !deviations.empty()) {
    uri += "&deviations=" + deviations;
  }
  return uri;
}

bool IsWanted(const Wanted& wanted, const std::string& module) {
  return std::ranges::any_of(
      wanted.children, [&](const Wanted& child) { return child.node->module->name == module; });
}

}  // namespace

StateData::StateData(const YangContext& context, const Sessions& sessions)
    : context_(context), sessions_(sessions) {
  lyd_node* library = nullptr;
  ly_ctx_get_yanglib_data(context.get(), &library, "%s", context.ContentId().c_str());
  // The schema is there, the datastores that have it are ours to name.
  lyd_node* root = library;
  while (root != nullptr && std::string_view(root->schema->name) != "yang-library") {
    root = root->next;
  }
  for (const char* name : {"running", "candidate", "operational"}) {
    lyd_node* datastore = nullptr;
    const std::string identity = std::string("ietf-datastores:") + name;
    if (root != nullptr &&
        lyd_new_list(root, nullptr, "datastore", 0, &datastore, identity.c_str()) == LY_SUCCESS) {
      lyd_new_term(datastore, nullptr, "schema", "complete", 0, nullptr);
    }
  }
  library_ = Tree(library == nullptr ? nullptr : lyd_first_sibling(library));
}

std::vector<std::string> StateData::Capabilities() const {
  std::vector<std::string> capabilities(kProtocolCapabilities.begin(), kProtocolCapabilities.end());
  const lys_module* library = context_.Implemented("ietf-yang-library");
  capabilities.push_back("urn:ietf:params:netconf:capability:yang-library:1.1?revision=" +
                         std::string(library->revision) + "&content-id=" + context_.ContentId());
  // Modules of version 1.1 are found in the library alone (RFC 7950, section 5.6.4).
  for (const lys_module* module : context_.Modules()) {
    if (module->implemented != 0 && module->parsed != nullptr &&
        module->parsed->version < LYS_VERSION_1_1) {
      capabilities.push_back(ModuleCapability(module));
    }
  }
  return capabilities;
}

void StateData::Add(const Wanted& wanted, const Datastores& datastores, Tree* tree) const {
  if (IsWanted(wanted, "ietf-yang-library")) {
    tree->Merge(library_.Copy());
  }
  if (IsWanted(wanted, kMonitoringModule)) {
    AddXml(Monitoring(datastores), tree);
  }
}

std::string StateData::Monitoring(const Datastores& datastores) const {
  std::string xml =
      "<netconf-state xmlns=\"urn:ietf:params:xml:ns:yang:" + std::string(kMonitoringModule) +
      "\"><capabilities>";
  for (const std::string& capability : Capabilities()) {
    xml += Leaf("capability", capability);
  }
  xml += "</capabilities><datastores>" + DatastoreXml("running", datastores.running_lock) +
         DatastoreXml("candidate", datastores.candidate_lock) + "</datastores><schemas>";
  for (const YangContext::SchemaText& schema : context_.Schemas()) {
    xml += "<schema>" + Leaf("identifier", schema.identifier) + Leaf("version", schema.version) +
           Leaf("format", "yang") + Leaf("namespace", schema.name_space) +
           Leaf("location", "NETCONF") + "</schema>";
  }
  xml += "</schemas><sessions>";
  for (const SessionInfo& session : sessions_.List()) {
    xml += SessionXml(session);
  }
  return xml + "</sessions>" + StatisticsXml(sessions_.Counters()) + "</netconf-state>";
}

void StateData::AddXml(const std::string& xml, Tree* tree) const {
  lyd_node* node = nullptr;
  if (lyd_parse_data_mem(context_.get(), xml.c_str(), LYD_XML, LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0,
                         &node) == LY_SUCCESS) {
    tree->Merge(Tree(node));
  }
}

}  // namespace ncdm::netconf
