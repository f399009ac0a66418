// The calls of an application: its records, and the start of the agent with its model.
#include <cstdio>
#include <cstring>
#include <optional>
#include <span>

#include "application.h"
#include "data_file.h"
#include "default_elements.h"
#include "guard.h"
#include "instance_path.h"
#include "ncdm_model.h"
#include "record.h"
#include "value.h"
#include "whole_file.h"

namespace ncdm::model {
namespace {

const ncdm_model_t* g_model = nullptr;
zu_thread_master* g_master = nullptr;
std::string g_data_file;

Store& Kept() { return Application::Instance().store(); }

Ids EntryIds(const ncdm_node_t& node, const nc_int64* ids) { return Ids(ids, ids + node.levels); }

Ids OuterIds(const ncdm_node_t& node, const nc_int64* ids) {
  return Ids(ids, ids + node.levels - (node.kind == NCDM_CONTAINER ? 0 : 1));
}

// Fewer than this are found as fast without a hash table, and the agent refuses one.
constexpr unsigned kLeastHashed = 10000;

bool RegisterPaths(const ncdm_model_t& model) {
  for (const ncdm_path_t& path : std::span(model.paths, model.path_count)) {
    if (nc_dm_agent_mode_reg(const_cast<char*>(path.path), path.val_type, path.flag, path.slot,
                             path.set, path.get, path.create, path.remove, path.get_attr, nullptr,
                             path.exe_cmd) != 0) {
      return false;
    }
  }
  for (const ncdm_node_t* node : Nodes(model)) {
    if (node->expected_entries < kLeastHashed) continue;
    if (nc_dm_agent_reg_hash_tab(const_cast<char*>(node->path), node->expected_entries) != 0) {
      return false;
    }
  }
  return true;
}

// Outer lists stand before the inner ones.
bool RegisterEntries(const ncdm_model_t& model) {
  for (const ncdm_node_t* node : Nodes(model)) {
    if (node->kind == NCDM_CONTAINER) continue;
    for (const auto& [ids, record] : Kept().All(*node)) {
      if (nc_dm_agent_reg(InstancePath(*node, ids).data()) != 0) return false;
    }
  }
  return true;
}

int Commit(char*) {
  return Guarded(-1, [] {
    const int64_t result = g_model->commit();
    if (result != NCDM_NOT_REPLACED) return result < 0 ? -1 : 0;
    std::string error;
    if (g_data_file.empty() || WriteDataFile(*g_model, g_data_file, error)) return 0;
    fprintf(stderr, "%s: not saved: %s\n", g_model->name, error.c_str());
    return -1;
  });
}

int Register(const ncdm_model_t& model, zu_thread_master* master) {
  g_model = &model;
  // Before the start, so that the registration tells of them.
  AddDefaultElements(Application::Instance(), model);
  Application::Instance().Start(master);
  const bool done = RegisterPaths(model) && RegisterEntries(model) &&
                    nc_dm_agent_fun_reg(NC_DM_HOOK_FUN_DATA_COMMIT, Commit) == 0;
  return done ? 0 : -1;
}

// The one sign that schema and instances are complete, and so the last; still before the library
// tells the server that this was all.
int Announce(const ncdm_model_t& model) {
  const int result = nc_dm_agent_yang_attr_reg(model.name, NC_DM_YANG_ATTR_MODULE_NAME, model.name);
  if (result != 0 || model.revision == nullptr) return result;
  return nc_dm_agent_yang_attr_reg(model.name, NC_DM_YANG_ATTR_REVISION, model.revision);
}

int Start(const ncdm_model_t& model, const char* name, zu_thread_master* master,
          const char* data_file) {
  g_model = &model;
  g_data_file = data_file == nullptr ? "" : data_file;
  std::string error;
  if (!g_data_file.empty() && !ReadDataFile(model, g_data_file, error)) {
    fprintf(stderr, "%s: %s\n", name, error.c_str());
    return -1;
  }
  g_master = master;
  const auto register_model = [] {
    const int result = ncdm_model_register(g_model, g_master);
    return result != 0 ? result : Announce(*g_model);
  };
  return nc_dm_agent_init(name, master, register_model, nullptr);
}

// ---- Records ----

bool KeysAreValid(const ncdm_node_t& node, const void* record) {
  for (const ncdm_leaf_t& leaf : Leaves(node)) {
    char text[NCDM_TEXT_SIZE];
    alignas(8) char scratch[NCDM_TEXT_SIZE];
    if (IsKey(leaf) && !(WriteText(*leaf.type, Member(leaf, record), text) &&
                         ReadText(*leaf.type, text, scratch))) {
      return false;
    }
  }
  return true;
}

int64_t Put(const ncdm_node_t& node, const nc_int64* at, const void* record) {
  Application& application = Application::Instance();
  application.Forget();
  Ids ids = EntryIds(node, at);
  if (node.kind == NCDM_CONTAINER) {
    Kept().Put(node, ids, record);
    return 0;
  }
  if (!KeysAreValid(node, record) || ids.back() < 0) return -1;
  const Ids outer = OuterIds(node, at);
  const bool is_default = Kept().HasDefaults(node, outer);
  const int64_t known = is_default ? 0 : Kept().Find(node, outer, record);
  if (ids.back() == 0) ids.back() = known > 0 ? known : Kept().NewId(node, outer, record);
  if (known > 0 && known != ids.back()) return -1;
  EndDefaultElements(application, node, outer);
  const bool is_new = Kept().Get(node, ids) == nullptr;
  Kept().Put(node, ids, record);
  if (is_new && !application.Announce(node, ids)) {
    Kept().Drop(node, ids);
    return -1;
  }
  AddDefaultElementsOfEntry(application, node, ids);
  return ids.back();
}

int Drop(const ncdm_node_t& node, const nc_int64* at) {
  const Ids ids = EntryIds(node, at);
  Application::Instance().Forget();
  if (Kept().Get(node, ids) == nullptr) return kNoSuchEntry;
  Kept().Drop(node, ids);
  if (node.kind != NCDM_CONTAINER) Application::Instance().Withdraw(node, ids);
  return 0;
}

int GetKept(const ncdm_node_t& node, const nc_int64* at, void* record) {
  const Record* kept = Kept().Get(node, EntryIds(node, at));
  if (kept == nullptr) return kNoSuchEntry;
  memcpy(record, kept->data(), node.size);
  return 0;
}

int SetText(const ncdm_node_t& node, void* record, const char* name, const char* text) {
  const ncdm_leaf_t* leaf = LeafOfName(node, name);
  if (leaf == nullptr || !ReadText(*leaf->type, text, Member(*leaf, record))) return -1;
  SetHasValue(node, *leaf, record);
  return 0;
}

int GetText(const ncdm_node_t& node, const void* record, const char* name, char* text) {
  const ncdm_leaf_t* leaf = LeafOfName(node, name);
  if (leaf == nullptr) return -1;
  if (!HasValue(*leaf, record)) return kNoSuchEntry;
  return WriteText(*leaf->type, Member(*leaf, record), text) ? 0 : -1;
}

}  // namespace
}  // namespace ncdm::model

using ncdm::model::Guarded;

void ncdm_record_init(const ncdm_node_t* node, void* record) {
  memset(record, 0, node->size);
  for (const ncdm_leaf_t& leaf : ncdm::model::Leaves(*node)) ncdm::model::Reset(leaf, record);
}

int ncdm_record_set(const ncdm_node_t* node, void* record, const char* leaf, const char* text) {
  return Guarded(-1, [&] { return ncdm::model::SetText(*node, record, leaf, text); });
}

int ncdm_record_get(const ncdm_node_t* node, const void* record, const char* leaf,
                    char text[NCDM_TEXT_SIZE]) {
  return Guarded(-1, [&] { return ncdm::model::GetText(*node, record, leaf, text); });
}

nc_int64 ncdm_put(const ncdm_node_t* node, const nc_int64* ids, const void* record) {
  return Guarded(nc_int64{-1}, [&] { return ncdm::model::Put(*node, ids, record); });
}

int ncdm_get(const ncdm_node_t* node, const nc_int64* ids, void* record) {
  return Guarded(-1, [&] { return ncdm::model::GetKept(*node, ids, record); });
}

int ncdm_drop(const ncdm_node_t* node, const nc_int64* ids) {
  return Guarded(-1, [&] { return ncdm::model::Drop(*node, ids); });
}

nc_int64 ncdm_find(const ncdm_node_t* node, const nc_int64* ids, const void* record) {
  return Guarded(nc_int64{0}, [&] {
    return ncdm::model::Kept().Find(*node, ncdm::model::OuterIds(*node, ids), record);
  });
}

nc_int64 ncdm_next(const ncdm_node_t* node, const nc_int64* ids) {
  return Guarded(nc_int64{0}, [&] {
    return ncdm::model::Kept().Next(*node, ncdm::model::OuterIds(*node, ids),
                                    ids[node->levels - 1]);
  });
}

namespace {

int Reported(bool done, const std::string& problem, char* error, size_t size) {
  snprintf(error, size, "%s", problem.c_str());
  return done ? 0 : -1;
}

}  // namespace

int ncdm_data_read(const ncdm_model_t* model, const char* file, char* error, size_t size) {
  return Guarded(-1, [&] {
    std::string problem;
    return Reported(ncdm::model::ReadDataFile(*model, file, problem), problem, error, size);
  });
}

int ncdm_data_write(const ncdm_model_t* model, const char* file, char* error, size_t size) {
  return Guarded(-1, [&] {
    std::string problem;
    return Reported(ncdm::model::WriteDataFile(*model, file, problem), problem, error, size);
  });
}

int ncdm_file_write(const char* file, const char* text, char* error, size_t size) {
  return Guarded(-1, [&] {
    std::string problem;
    return Reported(ncdm::model::WriteWholeFile(file, text, problem), problem, error, size);
  });
}

int ncdm_model_register(const ncdm_model_t* model, zu_thread_master* master) {
  return Guarded(-1, [&] { return ncdm::model::Register(*model, master); });
}

int ncdm_model_start(const ncdm_model_t* model, const char* name, zu_thread_master* master,
                     const char* data_file) {
  return Guarded(-1, [&] { return ncdm::model::Start(*model, name, master, data_file); });
}
