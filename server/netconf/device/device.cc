#include "server/netconf/device/device.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <utility>

#include "server/netconf/device/rpc_errors.h"

namespace ncdm::netconf {

struct Device::OperationEntry {
  std::string_view name;
  std::string_view name_space;
  Handler handler;
};

const Device::OperationEntry Device::kOperations[] = {
    {"get", kBaseNamespace, &Device::Get},
    {"get-config", kBaseNamespace, &Device::GetConfig},
    {"edit-config", kBaseNamespace, &Device::EditConfig},
    {"copy-config", kBaseNamespace, &Device::CopyConfig},
    {"delete-config", kBaseNamespace, &Device::DeleteConfig},
    {"validate", kBaseNamespace, &Device::Validate},
    {"commit", kBaseNamespace, &Device::Commit},
    {"cancel-commit", kBaseNamespace, &Device::CancelCommit},
    {"discard-changes", kBaseNamespace, &Device::DiscardChanges},
    {"lock", kBaseNamespace, &Device::LockDatastore},
    {"unlock", kBaseNamespace, &Device::UnlockDatastore},
    {"get-schema", kMonitoringNamespace, &Device::GetSchema},
};

Device::Device(const DeviceOptions& options, const Sessions& sessions)
    : context_(options.yang),
      constraints_(context_),
      agents_(options.root),
      state_(context_, sessions),
      log_([this](const std::string& line) { Log(line); }) {}

// What is being carried out uses the rest.
Device::~Device() {
  turns_.Close();
  tasks_.clear();
}

std::unique_ptr<Operations> OpenDevice(const DeviceOptions& options, const Sessions& sessions) {
  return std::make_unique<Device>(options, sessions);
}

// Agents repeat themselves whenever they connect.
void Device::Log(const std::string& line) {
  constexpr std::size_t kRemembered = 1000;
  if (logged_.size() > kRemembered) {
    logged_.clear();
  }
  if (logged_.insert(line).second) {
    std::fprintf(stderr, "ncdm-netconf: %s\n", line.c_str());
  }
}

// ---- Sessions and requests ----

std::vector<std::string> Device::Capabilities() const { return state_.Capabilities(); }

void Device::SessionOpened(const Client&) {}

void Device::SessionEnded(const Client& client) {
  const auto holds = [&](const std::optional<Lock>& lock) {
    return lock && lock->session_id == client.session_id;
  };
  if (holds(datastores_.candidate_lock)) {
    datastores_.candidate_lock.reset();
    ForgetCandidate();
  }
  if (holds(datastores_.running_lock)) {
    datastores_.running_lock.reset();
  }
  const auto& confirmed = datastores_.confirmed;
  if (confirmed && !confirmed->persist && confirmed->session_id == client.session_id) {
    Background(RollBack(confirmed->number, IfItFails::kStands));
  }
}

void Device::Start(const Client& client, std::string rpc, DoneFunction done) {
  Background(Serve(client, std::move(rpc), std::move(done)));
}

void Device::Background(Task<> task) {
  const auto place = tasks_.insert(tasks_.end(), std::move(task));
  // It may be over at once, before anything else can free it.
  place->Start([this, place] { tasks_.erase(place); });
}

Task<> Device::Serve(Client client, std::string text, DoneFunction done) {
  Reply reply;
  try {
    Rpc rpc{client, Document(text), {}};
    text.clear();
    rpc.operation = rpc.document.root().Children().front();
    reply = co_await Dispatch(rpc);
  } catch (const OperationFailed& failed) {
    reply.errors = failed.errors();
  } catch (const std::exception& error) {
    reply.errors = {ApplicationError("operation-failed", error.what())};
  }
  done(std::move(reply));
}

Task<Reply> Device::Dispatch(const Rpc& rpc) {
  for (const OperationEntry& entry : kOperations) {
    if (rpc.operation.Is(entry.name, entry.name_space)) {
      return (this->*entry.handler)(rpc);
    }
  }
  throw OperationFailed(netconf::ProtocolError(
      "operation-not-supported", "there is no operation " + std::string(rpc.operation.name())));
}

std::optional<Operations::Clock::time_point> Device::NextDeadline() const {
  std::optional<Clock::time_point> next = agents_.NextDeadline();
  if (datastores_.confirmed && datastores_.confirmed->deadline) {
    next =
        std::min(next.value_or(*datastores_.confirmed->deadline), *datastores_.confirmed->deadline);
  }
  return next;
}

void Device::Run() {
  agents_.Run();
  if (!datastores_.confirmed) {
    return;
  }
  ConfirmedCommit& confirmed = *datastores_.confirmed;
  if (confirmed.deadline && *confirmed.deadline <= Clock::now()) {
    confirmed.deadline.reset();
    Background(RollBack(confirmed.number, IfItFails::kStands));
  }
}

// ---- Reading ----

std::shared_ptr<const Mapping> Device::CurrentMapping() {
  if (mapping_ == nullptr || mapped_version_ != agents_.version()) {
    mapped_version_ = agents_.version();
    mapping_ = std::make_shared<const Mapping>(context_, agents_.Ready(), log_);
    for (const auto& agent : mapping_->agents()) {
      for (const auto& [node, registered] : agent->registered) {
        known_.insert(node);
      }
    }
  }
  return mapping_;
}

Task<Tree> Device::ReadRunning(Wanted wanted, Content content) {
  ReadResult result = co_await Read(agents_, CurrentMapping(), std::move(wanted), content, log_);
  if (!result.failed.empty()) {
    throw OperationFailed(result.failed.begin()->second);
  }
  co_return std::move(result.tree);
}

namespace {

Reply DataReply(const Tree& tree) {
  Reply reply;
  reply.content = "<data xmlns=\"" + std::string(kBaseNamespace) + "\">" + tree.Xml() + "</data>";
  return reply;
}

Wanted WantEverything(const YangContext& context) {
  Wanted wanted;
  for (const lys_module* module : context.Modules()) {
    if (module->implemented != 0) {
      ForEachChild(nullptr, module, [&](const lysc_node* top) {
        wanted.children.push_back({.node = top, .whole = true});
      });
    }
  }
  return wanted;
}

}  // namespace

Task<Reply> Device::Get(const Rpc& rpc) {
  CheckParameters(rpc.operation, {"filter"}, true);
  const auto filter = MakeFilter(context_, rpc.operation.Child("filter", kBaseNamespace));
  Wanted wanted = filter ? filter->ToRead() : WantEverything(context_);
  Tree tree = co_await ReadRunning(wanted, Content::kAll);
  state_.Add(wanted, datastores_, &tree);
  if (filter) {
    filter->Apply(&tree);
  }
  co_return DataReply(tree);
}

Task<Reply> Device::GetConfig(const Rpc& rpc) {
  CheckParameters(rpc.operation, {"source", "filter"}, true);
  const Datastore source = ReadDatastore(rpc.operation, "source");
  const auto filter = MakeFilter(context_, rpc.operation.Child("filter", kBaseNamespace));
  Wanted wanted = filter ? filter->ToRead() : WantEverything(context_);
  Tree tree;
  if (source == Datastore::kCandidate && datastores_.candidate) {
    tree = co_await ReadCandidate(std::move(wanted));
    ReportDefaults(&tree);
  } else {
    tree = co_await ReadRunning(std::move(wanted), Content::kReportedConfig);
  }
  if (filter) {
    filter->Apply(&tree);
  }
  co_return DataReply(tree);
}

Task<Reply> Device::GetSchema(const Rpc& rpc) {
  CheckParameters(rpc.operation, {"identifier", "version", "format"});
  const auto parameter = [&](const char* name) {
    return rpc.operation.Child(name, kMonitoringNamespace);
  };
  const Element identifier = parameter("identifier");
  if (!identifier) {
    throw OperationFailed(ElementError("missing-element", "identifier", "no schema is named"));
  }
  const std::string format = parameter("format") ? parameter("format").Trimmed() : "yang";
  if (format.substr(format.find(':') + 1) != "yang") {
    throw OperationFailed(ApplicationError("invalid-value", "schemas are served as YANG alone"));
  }
  std::vector<const YangContext::SchemaText*> found;
  for (const YangContext::SchemaText& schema : context_.Schemas()) {
    if (schema.identifier == identifier.Trimmed() &&
        (!parameter("version") || schema.version == parameter("version").Trimmed())) {
      found.push_back(&schema);
    }
  }
  if (found.empty()) {
    throw OperationFailed(ApplicationError("invalid-value", "there is no such schema"));
  }
  if (found.size() > 1) {
    RpcError error = ApplicationError("operation-failed", "several schemas are meant");
    error.app_tag = "data-not-unique";
    throw OperationFailed(std::move(error));
  }
  Reply reply;
  reply.content = "<data xmlns=\"" + std::string(kMonitoringNamespace) + "\">" +
                  EscapedXml(found.front()->text) + "</data>";
  co_return reply;
}

// ---- Locks ----

void Device::CheckLock(Datastore datastore, const Client& client) const {
  const auto& lock =
      datastore == Datastore::kRunning ? datastores_.running_lock : datastores_.candidate_lock;
  if (lock && lock->session_id != client.session_id) {
    throw OperationFailed(ApplicationError(
        "in-use", "the datastore is locked by session " + std::to_string(lock->session_id)));
  }
}

namespace {

[[noreturn]] void DenyLock(std::uint32_t session_id, const std::string& why) {
  RpcError error = netconf::ProtocolError("lock-denied", why);
  error.info.push_back({"session-id", std::to_string(session_id)});
  throw OperationFailed(std::move(error));
}

}  // namespace

Task<Reply> Device::LockDatastore(const Rpc& rpc) {
  CheckParameters(rpc.operation, {"target"});
  const Datastore target = ReadDatastore(rpc.operation, "target");
  std::optional<Lock>& lock = datastores_.LockOf(target);
  if (lock) {
    DenyLock(lock->session_id, "the datastore is locked already");
  }
  if (target == Datastore::kCandidate && datastores_.candidate) {
    DenyLock(0, "the candidate has changes that are neither committed nor discarded");
  }
  const auto& confirmed = datastores_.confirmed;
  if (target == Datastore::kRunning && confirmed &&
      confirmed->session_id != rpc.client.session_id) {
    DenyLock(confirmed->session_id, "a commit waits to be confirmed");
  }
  lock = Lock{rpc.client.session_id, std::chrono::system_clock::now()};
  co_return Reply{};
}

Task<Reply> Device::UnlockDatastore(const Rpc& rpc) {
  CheckParameters(rpc.operation, {"target"});
  const Datastore target = ReadDatastore(rpc.operation, "target");
  std::optional<Lock>& lock = datastores_.LockOf(target);
  if (!lock || lock->session_id != rpc.client.session_id) {
    throw OperationFailed(ApplicationError("operation-failed", "this session holds no such lock"));
  }
  lock.reset();
  if (target == Datastore::kCandidate) {
    ForgetCandidate();
  }
  co_return Reply{};
}

Task<Reply> Device::DeleteConfig(const Rpc& rpc) {
  CheckParameters(rpc.operation, {"target"});
  ReadDatastore(rpc.operation, "target");
  throw OperationFailed(netconf::ProtocolError("operation-not-supported",
                                               "neither running nor candidate can be deleted"));
}

Task<Reply> Device::DiscardChanges(const Rpc& rpc) {
  CheckParameters(rpc.operation, {});
  CheckLock(Datastore::kCandidate, rpc.client);
  const auto turn = co_await turns_.TakeCandidate();
  ForgetCandidate();
  co_return Reply{};
}

}  // namespace ncdm::netconf
