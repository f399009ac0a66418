#include "application.h"

#include <algorithm>

#include "cases.h"
#include "default_elements.h"
#include "instance_path.h"
#include "record.h"
#include "zu_thread.h"

namespace ncdm::model {
namespace {

nc_dm_id_array_t ToArray(const Ids& ids) {
  nc_dm_id_array_t array{};
  array.cnt = static_cast<nc_int32>(std::min<size_t>(ids.size(), NC_DM_MAX_DEPTH));
  std::copy_n(ids.begin(), array.cnt, array.id);
  return array;
}

int ToResult(int64_t result) {
  if (result >= 0) return 0;
  return result == kNoSuchEntry ? kNoSuchEntry : kRefused;
}

}  // namespace

Application& Application::Instance() {
  static Application application;
  return application;
}

const Record& Application::Defaults(const ncdm_node_t& node) {
  Record& record = Instance().defaults_[&node];
  if (record.empty()) {
    Record fresh(node.size);
    for (const ncdm_leaf_t& leaf : Leaves(node)) Reset(leaf, fresh.data());
    record = std::move(fresh);
  }
  return record;
}

int Application::Load(const ncdm_node_t& node, const Ids& ids, Record& record) {
  if (read_node_ == &node && read_ids_ == ids) {
    record = read_record_;
    return 0;
  }
  record = Defaults(node);
  const nc_dm_id_array_t array = ToArray(ids);
  const int64_t result = node.load(&array, record.data());
  if (result != NCDM_NOT_REPLACED) {
    if (result >= 0) Remember(node, ids, record);
    return ToResult(result);
  }
  const Record* kept = store_.Get(node, ids);
  if (kept != nullptr) {
    record = *kept;
  } else if (node.kind != NCDM_CONTAINER) {
    return kNoSuchEntry;
  }
  return 0;
}

bool Application::HasPlace(const ncdm_node_t& node, const Ids& ids) {
  if (node.list == nullptr) return true;
  Record record;
  return Load(*node.list, Ids(ids.begin(), ids.begin() + node.list->levels), record) == 0;
}

void Application::Remember(const ncdm_node_t& node, const Ids& ids, const Record& record) {
  if (master_ == nullptr) return;
  if (!forget_scheduled_) {
    const auto forget = [](zu_thread*) {
      Instance().forget_scheduled_ = false;
      Instance().Forget();
      return 0;
    };
    forget_scheduled_ =
        zu_thread_add_event_withname(master_, forget, nullptr, 0, "ncdm-forget-record") != nullptr;
  }
  if (!forget_scheduled_) return;
  read_ids_ = ids;
  read_record_ = record;
  read_node_ = &node;
}

int Application::Change(const ncdm_node_t& node, const Ids& ids, const Record& before,
                        Record& after) {
  Forget();
  if (!EndOtherCases(*this, node, ids, after)) return kRefused;
  const nc_dm_id_array_t array = ToArray(ids);
  const int64_t result = node.apply(&array, before.data(), after.data());
  if (result < 0 && result != NCDM_NOT_REPLACED) return ToResult(result);
  store_.Put(node, ids, after.data());
  return 0;
}

int64_t Application::Create(const ncdm_node_t& node, const Ids& outer, Record& record) {
  Forget();
  if (!EndOtherCases(*this, node, outer, record)) return kRefused;
  const nc_dm_id_array_t array = ToArray(outer);
  int64_t id = node.apply(&array, nullptr, record.data());
  if (id == NCDM_NOT_REPLACED || id == 0) id = store_.NewId(node, outer, record.data());
  if (id <= 0) return kRefused;
  Ids ids = outer;
  ids.push_back(id);
  EndDefaultElements(*this, node, outer);
  store_.Put(node, ids, record.data());
  // The agent would take what it is still to be told of an older entry for this one's end.
  if (withdrawn_.contains({&node, ids})) Announce(node, ids);
  AddDefaultElementsOfEntry(*this, node, ids);
  return id;
}

bool Application::Announce(const ncdm_node_t& node, const Ids& ids) {
  withdrawn_.erase({&node, ids});
  return !started() || nc_dm_agent_reg(InstancePath(node, ids).data()) == 0;
}

void Application::Withdraw(const ncdm_node_t& node, const Ids& ids) {
  if (!started()) return;
  if (node.config) withdrawn_.emplace(&node, ids);
  nc_dm_agent_unreg(InstancePath(node, ids).data());
}

int Application::Remove(const ncdm_node_t& node, const Ids& ids) {
  Record record;
  if (const int result = Load(node, ids, record); result != 0) return result;
  Forget();
  const Ids outer(ids.begin(), ids.end() - 1);
  if (store_.HasDefaults(node, outer)) {
    Announce(node, ids);  // the agent takes the element for gone
    return 0;
  }
  const nc_dm_id_array_t array = ToArray(ids);
  const int64_t result = node.remove(&array, record.data());
  if (result < 0 && result != NCDM_NOT_REPLACED) return ToResult(result);
  store_.Drop(node, ids);
  AddDefaultElements(*this, node, outer);
  return 0;
}

int64_t Application::Find(const ncdm_node_t& node, const Ids& outer, const Record& record) {
  const nc_dm_id_array_t array = ToArray(outer);
  const int64_t id = node.find(&array, record.data());
  return id != NCDM_NOT_REPLACED ? std::max<int64_t>(id, 0)
                                 : store_.Find(node, outer, record.data());
}

}  // namespace ncdm::model
