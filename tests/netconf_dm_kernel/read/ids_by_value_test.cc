// Instance ids by value.

#include <string.h>

#include "netconf_dm_kernel/query_fixture.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class InstanceLookupTest : public QueryTest {
 protected:
  // Answers `get` of a leaf by the last of the ids that it is called with.
  void Answer(const char* leaf, const std::map<nc_int64, std::string>& texts) {
    app.On(Callback::kGet, leaf, [texts](const ModelCall& call) {
      const auto found = texts.find(call.ids.empty() ? 0 : call.ids.back());
      return found == texts.end() ? -7 : Text(found->second)(call);
    });
  }

  std::vector<Ids> Find(std::string name, std::optional<std::string> value,
                        nc_dm_id_array_t* known = nullptr) {
    IdArrays found;
    EXPECT_EQ(nc_dm_agent_get_path_id_array_list(name.data(), value ? value->data() : nullptr,
                                                 known, found.get()),
              0);
    EXPECT_EQ(static_cast<size_t>(found.cnt()), found.All().size());
    return found.All();
  }

  void MakeList() {
    app.Register({.path = "a.b.{i}.name", .callbacks = kGet});
    app.Register({.path = "a.b.{i}.c.{i}.d", .callbacks = kGet});
    for (const char* path : {"a.b.1", "a.b.2", "a.b.3"}) AddInstance(path);
    Answer("name", {{1, "eth1"}, {2, "eth0"}, {3, "eth0"}});
    log().Clear();
  }
};

TEST_F(InstanceLookupTest, FindsTheEntriesWithAValueInTreeOrder) {
  MakeList();
  EXPECT_THAT(Find("a.b.{i}.name", "eth0"), ElementsAre(Ids{2}, Ids{3}));
  EXPECT_THAT(Find("a.b.name", "eth0"), ElementsAre(Ids{2}, Ids{3}));
  EXPECT_THAT(Find("a.b.name", "eth1"), ElementsAre(Ids{1}));
  EXPECT_THAT(Find("a.b.name", "eth"), IsEmpty());
  EXPECT_THAT(Find("a.b.name", "eth00"), IsEmpty());
  EXPECT_THAT(Find("a.b.name", ""), IsEmpty());
}

TEST_F(InstanceLookupTest, TracesTheWalk) {
  MakeList();
  Find("a.b.name", "eth1");
  EXPECT_THAT(LogLines(),
              ElementsAre("I Match node: a, instance: 0, match name continue match.\n",
                          "I Match node: b, instance: 1, match name continue match.\n",
                          "I Match node: name, instance: 0, match name continue match.\n",
                          "I Get node 'name' value.\n",
                          "I Match node: b, instance: 2, match name continue match.\n",
                          "I Match node: name, instance: 0, match name continue match.\n",
                          "I Get node 'name' value.\n",
                          "I Match node: b, instance: 3, match name continue match.\n",
                          "I Match node: name, instance: 0, match name continue match.\n",
                          "I Get node 'name' value.\n"));
}

TEST_F(InstanceLookupTest, DoesNotAskTheSchemaOfTheList) {
  MakeList();
  Answer("name", {{0, "any"}, {1, "any"}});
  EXPECT_THAT(Find("a.b.name", "any"), ElementsAre(Ids{1}));
}

TEST_F(InstanceLookupTest, FindsNothingWithoutAValueOrBeyondALeaf) {
  MakeList();
  EXPECT_THAT(Find("a.b.name", std::nullopt), IsEmpty());
  EXPECT_THAT(Find("a.b", "eth0"), IsEmpty());
  EXPECT_THAT(Find("a.b.name.x", "eth0"), IsEmpty());
  EXPECT_THAT(Find("a.x", "eth0"), IsEmpty());
  EXPECT_THAT(Find("x", "eth0"), IsEmpty());
  EXPECT_THAT(app.calls(), IsEmpty());
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(InstanceLookupTest, FindsATopLevelLeafWithoutIds) {
  app.Register({.path = "t", .callbacks = kGet});
  app.On(Callback::kGet, "t", Text("here"));
  EXPECT_THAT(Find("t", "here"), ElementsAre(Ids{}));
}

TEST_F(InstanceLookupTest, ComparesTypedValuesAsText) {
  app.Register({.path = "a.b.{i}.n", .type = NC_DM_VAL_TYPE_SHORT, .callbacks = kGet});
  AddInstance("a.b.4");
  app.On(Callback::kGet, "n", Object<int16_t>(-7));
  EXPECT_THAT(Find("a.b.n", "-7"), ElementsAre(Ids{4}));
  EXPECT_THAT(Find("a.b.n", "-07"), IsEmpty());
}

TEST_F(InstanceLookupTest, SkipsALeafThatCannotBeRead) {
  app.Register({.path = "a.b.{i}.n", .callbacks = kGet});
  app.Register({.path = "a.b.{i}.m"});
  for (const char* path : {"a.b.1", "a.b.2", "a.b.3", "a.b.4"}) AddInstance(path);
  app.On(Callback::kGet, "n", [](const ModelCall& call) {
    if (call.ids == Ids{1}) return static_cast<nc_int64>(-7);
    if (call.ids == Ids{2}) return static_cast<nc_int64>(-1);
    return Text(call.ids == Ids{3} ? std::string(256, 'x') : "x")(call);
  });
  log().Clear();
  EXPECT_THAT(Find("a.b.n", "x"), ElementsAre(Ids{4}));
  EXPECT_THAT(ErrorLines(),
              ElementsAre("Failed to get val from app, some object non-existent, leaf node 'n'!\n",
                          "Failed to get val from app, node 'n'!\n",
                          "The length of dm val is too long!\n"));
  log().Clear();
  EXPECT_THAT(Find("a.b.m", "x"), IsEmpty());
  EXPECT_THAT(ErrorLines(), Each("Node 'm' has no get-value method!\n"));
}

TEST_F(InstanceLookupTest, ComparesTextsOf255Characters) {
  app.Register({.path = "a.n", .callbacks = kGet});
  const std::string longest(255, 'x');
  app.On(Callback::kGet, "n", Text(longest));
  EXPECT_THAT(Find("a.n", longest), ElementsAre(Ids{}));
  EXPECT_THAT(Find("a.n", longest + "x"), IsEmpty());
}

TEST_F(InstanceLookupTest, LooksIntoTheKnownEntry) {
  app.Register({.path = "a.b.{i}.c.{i}.d", .callbacks = kGet});
  for (const char* path : {"a.b.4", "a.b.5", "a.b.4.c.1", "a.b.5.c.1", "a.b.5.c.2"}) {
    AddInstance(path);
  }
  app.On(Callback::kGet, "d", Text("v"));
  nc_dm_id_array_t known = IdArrayOf({5});
  log().Clear();
  EXPECT_THAT(Find("a.b.{i}.c.{i}.d", "v", &known), ElementsAre(Ids{5, 1}, Ids{5, 2}));
  EXPECT_EQ(known.match_cnt, 1);
  EXPECT_THAT(LogLines(),
              Contains("I Match node: b, instance: 5, math instance, continue match.\n"));

  known = IdArrayOf({5, 2});
  EXPECT_THAT(Find("a.b.{i}.c.{i}.d", "v", &known), ElementsAre(Ids{5, 2}));
  EXPECT_EQ(known.match_cnt, 2);

  known = IdArrayOf({6});
  EXPECT_THAT(Find("a.b.{i}.c.{i}.d", "v", &known), IsEmpty());
  EXPECT_EQ(known.match_cnt, 0);

  known = IdArrayOf({});
  EXPECT_EQ(Find("a.b.{i}.c.{i}.d", "v", &known).size(), 3u);
}

TEST_F(InstanceLookupTest, KnownIdsHoldForEveryEntryOfTheirList) {
  app.Register({.path = "a.b.{i}.d", .callbacks = kGet});
  for (const char* path : {"a.b.4", "a.b.5", "a.b.6"}) AddInstance(path);
  app.On(Callback::kGet, "d", Text("v"));
  nc_dm_id_array_t known = IdArrayOf({5});
  EXPECT_THAT(Find("a.b.{i}.d", "v", &known), ElementsAre(Ids{5}));
}

// A list of a million entries is not walked for one of them. That the index was asked shows when
// another entry has the id as well, which no index knows.
TEST_F(InstanceLookupTest, AsksTheIndexForTheKnownEntry) {
  app.Register({.path = "a.b.{i}.d", .callbacks = kGet});
  for (int id = 1; id <= 20; ++id) AddInstance("a.b." + std::to_string(id));
  app.On(Callback::kGet, "d", Text("v"));
  nc_int64* const another = &NodeAt("a.b.7")->instid;
  *another = 5;
  nc_dm_id_array_t known = IdArrayOf({5});
  const DebugMask errors(NC_DM_DBG_ERROR);
  EXPECT_THAT(Find("a.b.d", "v", &known), ElementsAre(Ids{5}));
  EXPECT_EQ(known.match_cnt, 1);
  known = IdArrayOf({21});
  EXPECT_THAT(Find("a.b.d", "v", &known), IsEmpty());
  EXPECT_EQ(known.match_cnt, 0);
  *another = 7;
}

TEST_F(InstanceLookupTest, TracesEveryEntryOnTheWayToTheKnownOne) {
  app.Register({.path = "a.b.{i}.d", .callbacks = kGet});
  for (int id = 1; id <= 20; ++id) AddInstance("a.b." + std::to_string(id));
  app.On(Callback::kGet, "d", Text("v"));
  nc_dm_id_array_t known = IdArrayOf({20});
  log().Clear();
  EXPECT_THAT(Find("a.b.d", "v", &known), ElementsAre(Ids{20}));
  // The container, every entry, the known one again, its leaf, and that this is read.
  EXPECT_EQ(LogLines().size(), 1U + 20U + 1U + 1U + 1U);
}

TEST_F(InstanceLookupTest, TakesNoMoreKnownIdsThanThereIsRoomFor) {
  app.Register({.path = "a.b.{i}.d", .callbacks = kGet});
  AddInstance("a.b.4");
  app.On(Callback::kGet, "d", Text("v"));
  nc_dm_id_array_t known = IdArrayOf(Ids(NC_DM_MAX_DEPTH, 1));
  known.cnt = 99;
  known.match_cnt = NC_DM_MAX_DEPTH;
  EXPECT_THAT(Find("a.b.d", "v", &known), ElementsAre(Ids{4}));
  EXPECT_EQ(known.match_cnt, NC_DM_MAX_DEPTH);
}

TEST_F(InstanceLookupTest, TakesANegativeCountOfUsedIdsForNone) {
  app.Register({.path = "a.b.{i}.d", .callbacks = kGet});
  for (const char* path : {"a.b.4", "a.b.5"}) AddInstance(path);
  app.On(Callback::kGet, "d", Text("v"));
  nc_dm_id_array_t known = IdArrayOf({4});
  known.match_cnt = -3;
  EXPECT_THAT(Find("a.b.d", "v", &known), ElementsAre(Ids{4}));
  EXPECT_EQ(known.match_cnt, 1);
}

TEST_F(InstanceLookupTest, FindsInNestedLists) {
  app.Register({.path = "a.b.{i}.c.{i}.d.{i}.e", .callbacks = kGet});
  for (const char* path : {"a.b.1", "a.b.2", "a.b.1.c.10", "a.b.1.c.10.d.100", "a.b.2.c.10",
                           "a.b.2.c.10.d.100", "a.b.2.c.10.d.101"}) {
    AddInstance(path);
  }
  app.On(Callback::kGet, "e",
         [](const ModelCall& call) { return call.ids.size() == 3 ? Text("v")(call) : -7; });
  EXPECT_THAT(Find("a.b.c.d.e", "v"),
              ElementsAre(Ids{1, 10, 100}, Ids{2, 10, 100}, Ids{2, 10, 101}));
}

TEST_F(InstanceLookupTest, FindsTheElementsOfALeafList) {
  app.Register({.path = "a.b.{i}.l", .flag = NC_DM_FLAG_LEAF_LIST, .callbacks = kGet});
  for (const char* path : {"a.b.3", "a.b.3.l.4", "a.b.3.l.9"}) AddInstance(path);
  app.On(Callback::kGet, "l", Text("v"));
  EXPECT_THAT(Find("a.b.{i}.l", "v"), ElementsAre(Ids{3, 4}, Ids{3, 9}));
}

TEST_F(InstanceLookupTest, FindsInAHashIndexedList) {
  MakeList();
  RegisterReadable({"a.h.{i}.k"});
  char path[] = "a.h";
  info().agent_init = true;
  ASSERT_EQ(nc_dm_agent_reg_hash_tab(path, 10000), 0);
  info().agent_init = false;
  AddInstance("a.h.12");
  AddInstance("a.h.13");
  EXPECT_THAT(Find("a.h.k", "13"), ElementsAre(Ids{13}));
}

TEST_F(InstanceLookupTest, ShowsTheSdnDatastoreItsOwn) {
  MakeList();
  NodeAt("a.b.3.name")->src = NC_DM_NODE_SRC_SDN;
  info().curr_dstype = NC_DM_DATASTORE_SDN;
  EXPECT_THAT(Find("a.b.name", "eth0"), ElementsAre(Ids{3}));
  EXPECT_EQ(
      log().Count(kInfoPrefix, "The node \"name\" isn't created by netconf client, ignore.\n"), 2);
  EXPECT_THAT(app.CallTexts(), ElementsAre("get name ids=[3]"));
}

TEST_F(InstanceLookupTest, RefusesAMalformedName) {
  IdArrays found;
  char name[] = "a..b";
  char value[] = "v";
  EXPECT_EQ(nc_dm_agent_get_path_id_array_list(name, value, nullptr, found.get()), -1);
  EXPECT_THAT(ErrorLines(),
              ElementsAre("The form of dm's path is error!\n", "Failed to parse the name:a..b!\n"));
  EXPECT_EQ(nc_dm_agent_get_path_id_array_list(nullptr, value, nullptr, found.get()), -1);
}

TEST_F(InstanceLookupTest, RefusesInvalidArguments) {
  IdArrays found;
  nc_dm_path_nodes_t path = PathOf("a");
  list_head* root = &g_nc_agent_dm.dm_root;
  char value[] = "v";
  const auto kNone = NC_DM_CLIENT_MATCH_STATUS_NO_EXIST;
  EXPECT_EQ(nc_dm_agent_match_get_id_arrays(nullptr, root, &path, value, nullptr, 0, 0), kNone);
  EXPECT_EQ(nc_dm_agent_match_get_id_arrays(found.get(), nullptr, &path, value, nullptr, 0, 0),
            kNone);
  EXPECT_EQ(nc_dm_agent_match_get_id_arrays(found.get(), root, nullptr, value, nullptr, 0, 0),
            kNone);
  path.total_node = 0;
  EXPECT_EQ(nc_dm_agent_match_get_id_arrays(found.get(), root, &path, value, nullptr, 0, 0), kNone);
  path.total_node = NC_DM_MAX_DEPTH + 1;
  EXPECT_EQ(nc_dm_agent_match_get_id_arrays(found.get(), root, &path, value, nullptr, 0, 0), kNone);
  path.total_node = 1;
  EXPECT_EQ(nc_dm_agent_match_get_id_arrays(found.get(), root, &path, value, nullptr, -1, 0),
            kNone);
  EXPECT_THAT(LogLines(), Each("E Input parameter is invalid!\n"));
  EXPECT_EQ(LogLines().size(), 6u);
  EXPECT_EQ(nc_dm_agent_match_get_id_arrays(found.get(), root, &path, value, nullptr, 0, 0),
            NC_DM_CLIENT_MATCH_STATUS_OBJECT)
      << "also when nothing matches";
}

int PlainGet(nc_dm_id_array_t* ids, char* value) {
  value[0] = ids->cnt > 0 ? 'v' : '-';
  return 0;
}

int SameGet(nc_dm_id_array_t* /*ids*/, char* value) {
  value[0] = 'v';
  return 0;
}

TEST_F(InstanceLookupTest, NothingIsReadThroughTheSchemaOfAList) {
  app.Register({.path = "a.b.{i}.d", .callbacks = kGet});
  AddInstance("a.b.4");
  nc_dm_agent_unreg_nodes(NodeAt("a.b"));
  nc_dm_path_nodes_t path = PathOf("a.b.{i}.d");
  path.match_cnt = 1;
  nc_dm_agent_node_t leaf = {};
  leaf.node_type = NC_DM_NODE_TYPE_LEAF;
  leaf.val_type = NC_DM_VAL_TYPE_STRING;
  leaf.get = SameGet;
  ASSERT_EQ(nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, &path, NodeAt("a"), &leaf), 0);
  NodeAt("a.b.4.d")->get = SameGet;
  EXPECT_THAT(Find("a.b.d", "v"), ElementsAre(Ids{4}));
}

TEST_F(InstanceLookupTest, LosesOneEntryWhenMemoryIsShort) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  char path[] = "a.b.{i}.n";
  ASSERT_EQ(nc_dm_agent_path_reg(path, NC_DM_VAL_TYPE_STRING, 0, 0, nullptr, PlainGet, nullptr,
                                 nullptr, nullptr, nullptr, nullptr),
            0);
  for (const char* entry : {"a.b.1", "a.b.2", "a.b.3"}) AddInstance(entry);
  const DebugMask errors(NC_DM_DBG_ERROR);
  log().Clear();
  IdArrays found;
  char value[] = "v";
  {
    const FailingAlloc failing(1);
    nc_dm_agent_get_path_id_array_list(path, value, nullptr, found.get());
  }
  EXPECT_THAT(found.All(), ElementsAre(Ids{1}, Ids{3}));
  EXPECT_EQ(found.cnt(), 2);
  EXPECT_THAT(LogLines(), ElementsAre("E Failed to malloc id array node!\n"));
}

TEST_F(InstanceLookupTest, LeavesThePathAsItWas) {
  MakeList();
  IdArrays found;
  nc_dm_path_nodes_t path = PathOf("a.b.name");
  char value[] = "eth0";
  EXPECT_EQ(nc_dm_agent_match_get_id_arrays(found.get(), &g_nc_agent_dm.dm_root, &path, value,
                                            nullptr, 0, 2),
            NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_THAT(found.All(), ElementsAre(Ids{2}, Ids{3}));
  EXPECT_THAT(path.instances, Each(0));
}

}  // namespace
}  // namespace ncdm_test
