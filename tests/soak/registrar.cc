#include "registrar.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <thread>

#include "held_paths.h"
#include "netconf_dm_agent.h"
#include "server/registry.h"

namespace ncdm_test {
namespace {

constexpr int kCallsAtOnce = 20;
constexpr int kMostLeaves = 500;
constexpr int kLeavesOfContainer = 50;
constexpr int kIds = 30;
constexpr int kModules = 3;
constexpr unsigned kHashed = 10000;

constexpr const char* kLists[] = {"list", "hashed", "range"};

// A key reads as its entry's id.
int GetId(nc_dm_id_array_t* ids, char* value) {
  if (ids->cnt < 1) return -1;
  snprintf(value, NC_DM_VALUE_BUF_SIZE, "%lld", static_cast<long long>(ids->id[ids->cnt - 1]));
  return 0;
}

int GetText(nc_dm_id_array_t* /*ids*/, char* value) {
  snprintf(value, NC_DM_VALUE_BUF_SIZE, "text");
  return 0;
}

int Commit(char* /*text*/) { return 0; }

}  // namespace

Registrar::Registrar(int number)
    : root_("part" + std::to_string(number)), random_(static_cast<unsigned>(number)) {
  for (const char* list : kLists) instances_[root_ + "." + list + ".key"];
  RegisterLists();
}

void Registrar::Count(int result) {
  ++calls_;
  if (result != 0) ++failures_;
}

void Registrar::Run(const std::atomic<std::int64_t>& turns, const std::atomic<bool>& stop) {
  std::int64_t seen = -1;
  while (!stop) {
    // Else the queue would grow without end.
    if (turns == seen) {
      std::this_thread::sleep_for(std::chrono::microseconds(50));
      continue;
    }
    seen = turns;
    for (int i = Below(kCallsAtOnce); i >= 0; --i) Call();
  }
}

void Registrar::Call() {
  const int kind = Below(100);
  if (kind < 4) {
    NewLeaf();
  } else if (kind < 12) {
    KnownLeaf();
  } else if (kind < 16) {
    RegisterLists();
  } else if (kind < 22) {
    Range();
  } else if (kind < 56) {
    AddInstance();
  } else if (kind < 86) {
    RemoveInstance();
  } else if (kind < 94) {
    YangAttribute();
  } else if (kind < 98) {
    Count(nc_dm_agent_fun_reg(NC_DM_HOOK_FUN_DATA_COMMIT, Below(2) == 0 ? Commit : nullptr));
  } else {
    nc_dm_agent_mode_reg_cplt();
    ++calls_;
  }
}

void Registrar::RegisterLeaf(int leaf) {
  std::string path = root_ + ".container" + std::to_string(leaf / kLeavesOfContainer) + ".leaf" +
                     std::to_string(leaf);
  const int index = leaf % 2;
  Count(nc_dm_agent_mode_reg(path.data(), NC_DM_VAL_TYPE_STRING, 0, index, nullptr, GetText,
                             nullptr, nullptr, nullptr, nullptr, nullptr));
  paths_[path] = index != 0 ? ncdm::server::RegisteredPath::kSlot : 0;
}

void Registrar::NewLeaf() {
  if (leaves_ < kMostLeaves) RegisterLeaf(leaves_++);
}

void Registrar::KnownLeaf() {
  if (leaves_ > 0) RegisterLeaf(Below(leaves_));
}

void Registrar::RegisterLists() {
  for (const char* list : {"list", "hashed"}) {
    std::string path = root_ + "." + list + ".{i}.key";
    Count(nc_dm_agent_mode_reg(path.data(), NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_KEY, 0, nullptr,
                               GetId, nullptr, nullptr, nullptr, nullptr, nullptr));
    paths_[path] = NC_DM_FLAG_KEY;
  }
  // Also over instances that are there.
  Count(nc_dm_agent_reg_hash_tab((root_ + ".hashed.{i}").data(), kHashed));
}

void Registrar::Range() {
  const int low = 1 + Below(kIds);
  const int high = std::min(low + Below(4), kIds);
  std::string path =
      root_ + ".range.{" + std::to_string(low) + "-" + std::to_string(high) + "}.key";
  Count(nc_dm_agent_mul_reg(path.data(), NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_KEY, nullptr, GetId,
                            nullptr, nullptr, nullptr, nullptr));
  paths_[root_ + ".range.{i}.key"] = NC_DM_FLAG_KEY;
  for (int id = low; id <= high; ++id) instances_[root_ + ".range.key"].insert(id);
}

std::string Registrar::RandomList() {
  // The schema of the ranges comes with the first of them.
  const bool has_ranges = paths_.contains(root_ + ".range.{i}.key");
  return root_ + "." + kLists[Below(has_ranges ? 3 : 2)];
}

void Registrar::AddInstance() {
  const std::string list = RandomList();
  const int id = 1 + Below(kIds);
  std::string path = list + "." + std::to_string(id) + ".";
  Count(Below(2) == 0 ? nc_dm_agent_reg(path.data())
                      : nc_dm_agent_cli_reg(path.data(), NC_DM_NODE_SRC_CLI));
  instances_[list + ".key"].insert(id);
}

void Registrar::RemoveInstance() {
  const std::string list = RandomList();
  const int id = 1 + Below(kIds);
  std::string path = list + "." + std::to_string(id) + ".";
  Count(nc_dm_agent_unreg(path.data()));
  instances_[list + ".key"].erase(id);
}

void Registrar::YangAttribute() {
  const std::string module = root_ + "-" + std::to_string(Below(kModules));
  const std::string revision = "revision " + std::to_string(++revisions_);
  Count(nc_dm_agent_yang_attr_reg(module.c_str(), NC_DM_YANG_ATTR_REVISION, revision.c_str()));
  revisions_of_[module] = revision;
}

std::vector<std::string> Registrar::Announced() const {
  std::vector<std::string> lines;
  for (const auto& [path, attributes] : paths_) lines.push_back(PathLine(path, attributes));
  for (const auto& [module, revision] : revisions_of_) {
    lines.push_back(YangLine(module, NC_DM_YANG_ATTR_REVISION, revision));
  }
  return lines;
}

}  // namespace ncdm_test
