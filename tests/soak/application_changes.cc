#include "application_changes.h"

#include <algorithm>

namespace ncdm_test {
namespace {

bool IsLeafList(const Schema& schema) { return schema.kind == Schema::Kind::kLeafList; }

// What has instances outside other lists.
constexpr const char* kOutermost[] = {"sys.ntp.server", "sys.dns", "net.user", "net.port",
                                      "net.route"};

}  // namespace

// In the application and in the tree: where something can be announced in.
bool ApplicationChanges::IsThere(const ModelSchema* list, const Ids& ids) const {
  if (list == nullptr) return true;
  const std::vector<std::int64_t> there =
      both_.model().InstancesAt(*list, Prefix(ids, ids.size() - 1));
  return std::ranges::count(there, ids.back()) > 0 && both_.model().data().HasEntry(list, ids);
}

const ApplicationChanges::ModelSchema* ApplicationChanges::AnyListOrLeafList() {
  std::vector<const ModelSchema*> all = random_.lists();
  for (const LeafDefinition& leaf : kLeaves) {
    const ModelSchema* schema = both_.model().schema().FindPath(PlainPath(leaf.path));
    if (IsLeafList(*schema)) all.push_back(schema);
  }
  return random_.OneOf(all);
}

void ApplicationChanges::One() {
  const ModelSchema& schema = *AnyListOrLeafList();
  if (random_.Chance(45)) {
    WithdrawOne(schema);
  } else if (IsLeafList(schema)) {
    AnnounceElement(schema);
  } else {
    AnnounceEntry(schema);
  }
}

std::string ApplicationChanges::Keys(const ModelSchema& list) {
  std::string keys;
  for (const ModelSchema* key : list.keys) {
    const std::string text = random_.Key(*key);
    keys = keys.empty() ? text : JoinKeys(keys, text);
  }
  return keys;
}

nc_dm_node_src_t ApplicationChanges::Source() {
  return random_.OneOf<nc_dm_node_src_t>(
      {NC_DM_NODE_SRC_NONE, NC_DM_NODE_SRC_CLI, NC_DM_NODE_SRC_CLI_ALW});
}

void ApplicationChanges::AnnounceEntry(const ModelSchema& list) {
  const Ids parents = random_.InstanceIds(list.EnclosingList());
  if (!IsThere(list.EnclosingList(), parents)) return;
  const std::string keys = Keys(list);
  const std::int64_t known = both_.model().data().FindEntry(list, parents, keys);
  const Ids ids = Below(parents, known != 0 ? known : DeviceId(list.path, keys));
  const nc_dm_node_src_t src = Source();
  EXPECT_EQ(both_.app().AnnounceEntry(list.path, ids, keys, src), 0);
  both_.model().PutEntry(list.path, ids, keys, src);
}

// The id of the element with a text that is there, or what the device would give it.
std::int64_t ApplicationChanges::ElementId(const ModelSchema& leaf_list, const Ids& owner,
                                           const std::string& text) const {
  std::string stem = InstancePath(leaf_list, Below(owner, 0));
  stem.pop_back();
  for (const auto& [path, known] : both_.model().data().values()) {
    if (path.starts_with(stem) && known == text) return std::stoll(path.substr(stem.size()));
  }
  return DeviceId(leaf_list.path, text);
}

void ApplicationChanges::AnnounceElement(const ModelSchema& leaf_list) {
  const Ids owner = random_.InstanceIds(leaf_list.EnclosingList());
  if (!IsThere(leaf_list.EnclosingList(), owner)) return;
  const std::string text = random_.Key(leaf_list);
  const Ids ids = Below(owner, ElementId(leaf_list, owner, text));
  const nc_dm_node_src_t src = Source();
  EXPECT_EQ(both_.app().AnnounceElement(leaf_list.path, ids, text, src), 0);
  both_.model().PutElement(leaf_list.path, ids, text, src);
}

void ApplicationChanges::Withdraw(const ModelSchema& schema, const Ids& ids) {
  if (IsLeafList(schema)) {
    EXPECT_EQ(both_.app().WithdrawElement(schema.path, ids), 0);
    both_.model().TakeElement(schema.path, ids);
  } else {
    EXPECT_EQ(both_.app().WithdrawEntry(schema.path, ids), 0);
    both_.model().TakeEntry(schema.path, ids);
  }
}

void ApplicationChanges::WithdrawOne(const ModelSchema& schema) {
  const Ids owner = random_.InstanceIds(schema.EnclosingList());
  const std::vector<std::int64_t> there = both_.model().InstancesAt(schema, owner);
  if (!there.empty()) Withdraw(schema, Below(owner, random_.OneOf(there)));
}

void ApplicationChanges::Routes(int count) {
  for (int i = 0; i < count; ++i) {
    const std::string key = "many" + std::to_string(i);
    const Ids ids = {DeviceId("net.route", key)};
    EXPECT_EQ(both_.app().AnnounceEntry("net.route", ids, key), 0);
    both_.model().PutEntry("net.route", ids, key, NC_DM_NODE_SRC_NONE);
  }
}

void ApplicationChanges::Schema() { EXPECT_EQ(DeviceApp::RegisterPaths(), 0); }

void ApplicationChanges::WithdrawEverything() {
  for (const char* path : kOutermost) {
    const ModelSchema& schema = *both_.model().schema().FindPath(path);
    for (const std::int64_t id : both_.model().InstancesAt(schema, {})) {
      Withdraw(schema, {id});
    }
  }
  both_.app().ForgetEverything();
  both_.model().ForgetEverything();
  ASSERT_NO_FATAL_FAILURE(both_.device().WaitUntilRegistered());
  EXPECT_EQ(both_.model().total_entries() + both_.model().total_elements(), 0U);
}

void ApplicationChanges::PutAgain() {
  both_.Put();
  EXPECT_EQ(DeviceApp::RegisterInstances(), 0);
  ASSERT_NO_FATAL_FAILURE(both_.device().WaitUntilRegistered());
}

}  // namespace ncdm_test
