#include "attacked_app.h"

#include <cstdio>
#include <ctime>
#include <string>

#include "hold_judge.h"
#include "netconf_dm_agent.h"

namespace ncdm_test {
namespace {

std::int64_t g_sets = 0;
std::int64_t g_gets = 0;

std::int64_t Now() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

// Around each callback.
class Timed {
 public:
  Timed() = default;
  ~Timed() { HoldJudge::CallbackTook(Now() - start_); }
  Timed(const Timed&) = delete;
  Timed& operator=(const Timed&) = delete;

 private:
  const std::int64_t start_ = Now();
};

int SetName(nc_dm_id_array_t* /*ids*/, char* /*value*/) {
  const Timed timed;
  ++g_sets;
  return 0;
}

int GetName(nc_dm_id_array_t* /*ids*/, char* value) {
  const Timed timed;
  ++g_gets;
  snprintf(value, NC_DM_VALUE_BUF_SIZE, "attacked");
  return 0;
}

int GetKey(nc_dm_id_array_t* ids, char* value) {
  const Timed timed;
  ++g_gets;
  if (ids->cnt < 1) return -1;
  snprintf(value, NC_DM_VALUE_BUF_SIZE, "k%lld", static_cast<long long>(ids->id[ids->cnt - 1]));
  return 0;
}

nc_int64 CreateEntry(nc_dm_id_array_t* /*ids*/, char* /*value*/) {
  const Timed timed;
  return 1;
}

std::string InstancePath(std::int64_t id) {
  return std::string(AttackedApp::kList) + "." + std::to_string(id) + ".";
}

}  // namespace

int AttackedApp::Register() {
  char name[] = "sys.name";
  char up[] = "sys.up";
  char key[] = "box.table.{i}.name";
  const int results[] = {
      nc_dm_agent_mode_reg(name, NC_DM_VAL_TYPE_STRING, 0, 0, SetName, GetName, nullptr, nullptr,
                           nullptr, nullptr, nullptr),
      nc_dm_agent_mode_reg(up, NC_DM_VAL_TYPE_STRING, 0, 0, SetName, GetName, nullptr, nullptr,
                           nullptr, nullptr, nullptr),
      nc_dm_agent_mode_reg(key, NC_DM_VAL_TYPE_STRING, NC_DM_FLAG_KEY, 0, nullptr, GetKey,
                           CreateEntry, CreateEntry, nullptr, nullptr, nullptr)};
  for (const int result : results) {
    if (result != 0) return result;
  }
  SetRevision("first");
  return 0;
}

void AttackedApp::Announce(std::int64_t id) { nc_dm_agent_reg(InstancePath(id).data()); }

void AttackedApp::Withdraw(std::int64_t id) { nc_dm_agent_unreg(InstancePath(id).data()); }

void AttackedApp::SetRevision(const char* text) {
  nc_dm_agent_yang_attr_reg(kModule, NC_DM_YANG_ATTR_REVISION, text);
}

std::int64_t AttackedApp::sets() { return g_sets; }

std::int64_t AttackedApp::gets() { return g_gets; }

}  // namespace ncdm_test
