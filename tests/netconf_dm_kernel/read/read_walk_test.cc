// Values of leaves: one, all below a node, all at a path, and writing one.

#include <string.h>
#include <time.h>

#include "netconf_dm_kernel/edit/failing_calls.h"
#include "netconf_dm_kernel/query_fixture.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class ValueAccessTest : public QueryTest {
 protected:
  int Read(const char* node, const char* path) {
    nc_dm_id_array_t ids = {};
    nc_dm_path_nodes_t nodes = PathOf(path);
    return nc_dm_agent_get_node_val(values.get(), NodeAt(node), &ids, &nodes);
  }
  int ReadSubtree(const char* node, const char* path) {
    nc_dm_path_nodes_t nodes = PathOf(path);
    return nc_dm_agent_get_nodes_vals(values.get(), &nodes, NodeAt(node));
  }
  nc_dm_agent_match_status_t Match(const char* path) {
    nc_dm_path_nodes_t nodes = PathOf(path);
    const auto status = nc_dm_agent_match_get_vals(values.get(), &g_nc_agent_dm.dm_root, &nodes, 0,
                                                   nodes.total_node - 1);
    EXPECT_THAT(nodes.instances, Each(0)) << "the path is not as it was";
    EXPECT_EQ(nodes.total_node, PathOf(path).total_node);
    return status;
  }
  std::string ReadAlone(const char* node) {
    nc_dm_id_array_t ids = {};
    char* text = nc_dm_agent_get_node_srlz_val(NodeAt(node), &ids);
    if (text == nullptr) return "(null)";
    const std::string result = text;
    free(text);
    return result;
  }

  Values values;
};

// ---- One leaf ----

TEST_F(ValueAccessTest, AppendsPathValueAndSource) {
  app.Register({.path = "a.b", .type = NC_DM_VAL_TYPE_INT, .callbacks = kGet});
  app.On(Callback::kGet, "b", Object<int32_t>(-7));
  NodeAt("a.b")->src = NC_DM_NODE_SRC_CLI;
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_EQ(Read("a.b", "a.3.b"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b=-7@2", "a.3.b=-7@2"));
  EXPECT_EQ(values.cnt(), 2);
  EXPECT_THAT(LogLines(), Contains("I Get node 'b' value.\n"));
}

TEST_F(ValueAccessTest, RefusesNullArguments) {
  RegisterReadable({"a.b"});
  nc_dm_id_array_t ids = {};
  nc_dm_path_nodes_t path = PathOf("a.b");
  nc_dm_agent_node_t* leaf = NodeAt("a.b");
  log().Clear();
  EXPECT_EQ(nc_dm_agent_get_node_val(nullptr, leaf, &ids, &path), -3);
  EXPECT_EQ(nc_dm_agent_get_node_val(values.get(), nullptr, &ids, &path), -3);
  EXPECT_EQ(nc_dm_agent_get_node_val(values.get(), leaf, nullptr, &path), -3);
  EXPECT_EQ(nc_dm_agent_get_node_val(values.get(), leaf, &ids, nullptr), -3);
  const char* line = "E Input parameter is invalid.\n";
  EXPECT_THAT(LogLines(), ElementsAre(line, line, line, line));
  EXPECT_THAT(app.calls(), IsEmpty());
}

TEST_F(ValueAccessTest, HandsAClearedBufferToEachCall) {
  app.Register({.path = "a.b", .callbacks = kGet});
  int dirty = 0;
  app.On(Callback::kGet, "b", [&](const ModelCall& call) {
    for (int i = 0; i < NC_DM_VALUE_BUF_SIZE; ++i) dirty += call.buffer[i] != 0;
    memset(call.buffer, 'x', 255);
    return 0;
  });
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_EQ(ReadAlone("a.b"), std::string(255, 'x'));
  EXPECT_EQ(ReadAlone("a.b"), std::string(255, 'x'));
  EXPECT_EQ(dirty, 0);
}

TEST_F(ValueAccessTest, TellsAMissingObjectFromAnotherFailure) {
  app.Register({.path = "a.b", .callbacks = kGet});
  app.On(Callback::kGet, "b", -7);
  EXPECT_EQ(Read("a.b", "a.b"), -7);
  EXPECT_THAT(
      ErrorLines(),
      ElementsAre("Failed to get val from app, some object non-existent, leaf node 'b'!\n"));
  log().Clear();
  for (const int result : {-1, -6, -8, 1, 7}) {
    app.On(Callback::kGet, "b", result);
    EXPECT_EQ(Read("a.b", "a.b"), result);
  }
  EXPECT_EQ(log().Count(kErrorPrefix, "Failed to get val from app, node 'b'!\n"), 5);
  EXPECT_THAT(values.Texts(), IsEmpty());
}

TEST_F(ValueAccessTest, NeedsAGetCallback) {
  app.Register({.path = "a.b"});
  EXPECT_EQ(Read("a.b", "a.b"), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("Node 'b' has no get-value method!\n"));
}

TEST_F(ValueAccessTest, TakesTextsUpTo255Characters) {
  app.Register({.path = "a.b", .callbacks = kGet});
  app.On(Callback::kGet, "b", Text(std::string(255, 'x')));
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_EQ(ReadAlone("a.b"), std::string(255, 'x'));
  EXPECT_THAT(ErrorLines(), IsEmpty());

  app.On(Callback::kGet, "b", Text(std::string(256, 'x')));
  EXPECT_EQ(Read("a.b", "a.b"), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("The length of dm val is too long.\n"));
  log().Clear();
  EXPECT_EQ(ReadAlone("a.b"), "(null)");
  EXPECT_THAT(ErrorLines(), ElementsAre("The length of dm val is too long!\n"));
}

TEST_F(ValueAccessTest, RefusesABufferWithoutAnEnd) {
  app.Register({.path = "a.b", .callbacks = kGet});
  app.On(Callback::kGet, "b", [](const ModelCall& call) {
    memset(call.buffer, 'x', NC_DM_VALUE_BUF_SIZE);
    return 0;
  });
  EXPECT_EQ(Read("a.b", "a.b"), -1);
  EXPECT_EQ(ReadAlone("a.b"), "(null)");
}

TEST_F(ValueAccessTest, TakesATextWithSomethingFarBehindItsEnd) {
  app.Register({.path = "a.b", .callbacks = kGet});
  app.On(Callback::kGet, "b", [](const ModelCall& call) {
    memcpy(call.buffer, "up", 3);
    memset(call.buffer + 250, 'x', NC_DM_VALUE_BUF_SIZE - 250);
    return 0;
  });
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_EQ(ReadAlone("a.b"), "up");
  EXPECT_THAT(values.Texts(), ElementsAre("a.b=up"));
}

TEST_F(ValueAccessTest, ReadsEveryType) {
  struct Case {
    nc_dm_val_type_t type;
    Answer answer;
    std::string text;
  };
  tm time = {};
  time.tm_year = 2024;
  time.tm_mon = 5;
  time.tm_mday = 6;
  const Case cases[] = {
      {NC_DM_VAL_TYPE_BOOL, Object<char>(1), "true"},
      {NC_DM_VAL_TYPE_SHORT, Object<int16_t>(-32768), "-32768"},
      {NC_DM_VAL_TYPE_USHORT, Object<uint16_t>(65535), "65535"},
      {NC_DM_VAL_TYPE_INT, Object<int32_t>(-5), "-5"},
      {NC_DM_VAL_TYPE_UINT, Object<uint32_t>(4294967295), "4294967295"},
      {NC_DM_VAL_TYPE_LONG, Object<int32_t>(-6), "-6"},
      {NC_DM_VAL_TYPE_ULONG, Object<uint32_t>(6), "6"},
      {NC_DM_VAL_TYPE_LONGLONG, Object<int64_t>(-1), "-1"},
      {NC_DM_VAL_TYPE_ULONGLONG, Object<uint64_t>(UINT64_MAX), "18446744073709551615"},
      {NC_DM_VAL_TYPE_STRING, Text("eth 0"), "eth 0"},
      {NC_DM_VAL_TYPE_STRING, Text(""), ""},
      {NC_DM_VAL_TYPE_DATATIME, Object(time), "2024-05-06T00:00:00"},
      {NC_DM_VAL_TYPE_BASE64, Text("YQ=="), "YQ=="},
      {NC_DM_VAL_TYPE_ANYSIMPLETYPE, Text("x"), "x"},
  };
  app.Register({.path = "a.b", .callbacks = kGet});
  for (const Case& c : cases) {
    SCOPED_TRACE(c.type);
    NodeAt("a.b")->val_type = c.type;
    app.On(Callback::kGet, "b", c.answer);
    Values one;
    nc_dm_id_array_t ids = {};
    nc_dm_path_nodes_t path = PathOf("a.b");
    EXPECT_EQ(nc_dm_agent_get_node_val(one.get(), NodeAt("a.b"), &ids, &path), 0);
    EXPECT_THAT(one.Texts(), ElementsAre("a.b=" + c.text));
    EXPECT_EQ(ReadAlone("a.b"), c.text);
  }
}

TEST_F(ValueAccessTest, GivesAnEntryWithoutValueForATypeWithoutValues) {
  app.Register({.path = "a.b", .type = NC_DM_VAL_TYPE_UNKNOWN, .callbacks = kGet});
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b=(null)"));
  EXPECT_EQ(ReadAlone("a.b"), "(null)");
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(ValueAccessTest, RefusesAPathTooLongToJoin) {
  RegisterReadable({"a.b"});
  nc_dm_path_nodes_t path = {};
  path.total_node = 4;
  for (int i = 0; i < 4; ++i) memset(path.nodes[i], 'x', 63);  // 255 characters with the dots
  nc_dm_id_array_t ids = {};
  EXPECT_EQ(nc_dm_agent_get_node_val(values.get(), NodeAt("a.b"), &ids, &path), 0);
  path.nodes[3][63] = 'x';  // 256
  EXPECT_EQ(nc_dm_agent_get_node_val(values.get(), NodeAt("a.b"), &ids, &path), 0);
  path.nodes[2][63] = 'x';  // 257
  EXPECT_EQ(nc_dm_agent_get_node_val(values.get(), NodeAt("a.b"), &ids, &path), -1);
  char value[] = "v";
  EXPECT_EQ(nc_dm_agent_add_path_reslist(values.get(), value, &path), -1);
  EXPECT_EQ(values.cnt(), 2);
}

TEST_F(ValueAccessTest, ShowsTheSdnDatastoreItsOwnLeavesAlone) {
  RegisterReadable({"a.b", "a.c", "a.d"});
  NodeAt("a.b")->src = NC_DM_NODE_SRC_SDN;
  NodeAt("a.c")->src = NC_DM_NODE_SRC_CLI;
  info().curr_dstype = NC_DM_DATASTORE_SDN;
  log().Clear();
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_EQ(Read("a.c", "a.c"), 0);
  EXPECT_EQ(Read("a.d", "a.d"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b=-@1"));
  EXPECT_THAT(app.CallTexts(), ElementsAre("get b ids=[]"));
  EXPECT_THAT(LogLines(), ElementsAre("I Get node 'b' value.\n",
                                      "I The node 'c' isn't created by netconf client, ignore.\n",
                                      "I The node 'd' isn't created by netconf client, ignore.\n"));
  EXPECT_EQ(ReadAlone("a.c"), "-") << "the single form knows no datastore";
}

TEST_F(ValueAccessTest, TimesGetOnRequest) {
  RegisterReadable({"a.b"});
  info().get_time = 0;
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_EQ(info().get_time, 0);
  app.On(Callback::kGet, "b", [](const ModelCall&) {
    const timespec pause = {0, 2000000};
    nanosleep(&pause, nullptr);
    return 0;
  });
  {
    const DebugMask timing(NC_DM_DBG_TIMING);
    EXPECT_EQ(Read("a.b", "a.b"), 0);
    EXPECT_GE(info().get_time, 0.002);
    const double once = info().get_time;
    ReadAlone("a.b");
    EXPECT_EQ(info().get_time, once) << "the single form is not timed";
    EXPECT_EQ(Read("a.b", "a.b"), 0);
    EXPECT_GE(info().get_time, once + 0.002);
  }
  info().get_time = 0;
}

TEST_F(ValueAccessTest, ReadsOneLeafAsText) {
  RegisterReadable({"a.b"});
  log().Clear();
  EXPECT_EQ(ReadAlone("a.b"), "-");
  EXPECT_THAT(LogLines(), ElementsAre("I Get node 'b' value.\n"));
}

TEST_F(ValueAccessTest, ReadsNoLeafAsTextOnFailure) {
  app.Register({.path = "a.b", .callbacks = kGet});
  app.Register({.path = "a.c"});
  nc_dm_id_array_t ids = {};
  log().Clear();
  EXPECT_EQ(nc_dm_agent_get_node_srlz_val(nullptr, &ids), nullptr);
  EXPECT_EQ(nc_dm_agent_get_node_srlz_val(NodeAt("a.b"), nullptr), nullptr);
  EXPECT_EQ(nc_dm_agent_get_node_srlz_val(NodeAt("a.c"), &ids), nullptr);
  app.On(Callback::kGet, "b", -7);
  EXPECT_EQ(nc_dm_agent_get_node_srlz_val(NodeAt("a.b"), &ids), nullptr);
  app.On(Callback::kGet, "b", -1);
  EXPECT_EQ(nc_dm_agent_get_node_srlz_val(NodeAt("a.b"), &ids), nullptr);
  EXPECT_THAT(
      LogLines(),
      ElementsAre("E The node input is null!\n", "E The id array input is null!\n",
                  "I Get node 'c' value.\n", "E Node 'c' has no get-value method!\n",
                  "I Get node 'b' value.\n",
                  "E Failed to get val from app, some object non-existent, leaf node 'b'!\n",
                  "I Get node 'b' value.\n", "E Failed to get val from app, node 'b'!\n"));
}

// The texts of an element are part of its memory or are owned, each for itself.
void Exchange(char** text, const char* other) {
  free(*text);
  *text = other != nullptr ? nc_dm_copy_str(other) : nullptr;
}

TEST_F(ValueAccessTest, TheTextsOfAnElementMayBeFreedSingly) {
  nc_dm_path_nodes_t nodes = PathOf("a.b");
  char value[] = "v";
  ASSERT_EQ(nc_dm_agent_add_path_reslist(values.get(), value, &nodes), 0);
  for (auto& node : nc::Records<nc_dm_val_node_t>(&values.get()->head)) {
    free(node.val_entry.dm_val);
    node.val_entry.dm_val = nullptr;
    free(node.val_entry.dm_name);
    node.val_entry.dm_name = nc_dm_copy_str("another");
  }
  EXPECT_EQ(nc_dm_agent_free_val_list(values.get()), 0);
}

TEST_F(ValueAccessTest, ReleasesElementsWhoseTextsWereExchanged) {
  for (const char* path : {"a", "ab", "abc", "abcd"}) {
    for (const char* given : {"", "1", "12", "123"}) {
      nc_dm_path_nodes_t nodes = PathOf(path);
      std::string value = given;
      ASSERT_EQ(nc_dm_agent_add_path_reslist(values.get(), value.data(), &nodes), 0);
    }
  }
  int number = 0;
  for (auto& node : nc::Records<nc_dm_val_node_t>(&values.get()->head)) {
    EXPECT_STREQ(node.val_entry.dm_val, std::string("123", number % 4).c_str());
    if ((number & 1) != 0) Exchange(&node.val_entry.dm_name, "another");
    if ((number & 2) != 0) Exchange(&node.val_entry.dm_val, "other");
    if (number == 12) Exchange(&node.val_entry.dm_name, nullptr);
    if (number == 13) Exchange(&node.val_entry.dm_val, nullptr);
    ++number;
  }
  EXPECT_EQ(number, 16);
  EXPECT_EQ(nc_dm_agent_free_val_list(values.get()), 0);
  EXPECT_EQ(values.cnt(), 0);
}

TEST_F(ValueAccessTest, AppendsAGivenValue) {
  nc_dm_path_nodes_t path = PathOf("a.3.b");
  char value[] = "given";
  EXPECT_EQ(nc_dm_agent_add_path_reslist(values.get(), value, &path), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.3.b=given"));
  EXPECT_EQ(values.cnt(), 1);
  EXPECT_EQ(nc_dm_agent_add_path_reslist(values.get(), value, nullptr), -1);
  EXPECT_EQ(values.cnt(), 1);
}

// ---- Subtrees ----

TEST_F(ValueAccessTest, WalksASubtreeInOrderOfItsChildren) {
  RegisterReadable({"a.x", "a.b.{i}.c", "a.b.{i}.o.d", "a.y"});
  AddInstance("a.b.5");
  AddInstance("a.b.2");
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.x=-", "a.y=-", "a.b.5.c=5", "a.b.5.o.d=5", "a.b.2.c=2",
                                          "a.b.2.o.d=2"));
}

TEST_F(ValueAccessTest, TracesTheWalk) {
  RegisterReadable({"a.b.{i}.c"});
  RegisterReadableLeafList("a.l");
  AddInstance("a.b.3");
  AddInstance("a.l.4");
  log().Clear();
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(LogLines(),
              ElementsAre("I Get multi-mode node 'b' values, ignore.\n",
                          "I Get multi-leaf mode node 'l' values, ignore.\n",
                          "I Get node 'b' values, instid 3.\n",
                          "I Get node 'c' values, instid 0.\n", "I Get node 'c' value.\n",
                          "I Get node 'l' values, instid 4.\n", "I Get node 'l' value.\n"));
}

TEST_F(ValueAccessTest, ReadsNestedLists) {
  RegisterReadable({"a.b.{i}.c.{i}.d.{i}.e", "a.b.{i}.f"});
  for (const char* path : {"a.b.1", "a.b.2", "a.b.1.c.10", "a.b.1.c.11", "a.b.1.c.11.d.100",
                           "a.b.2.c.10", "a.b.2.c.10.d.100", "a.b.2.c.10.d.101"}) {
    AddInstance(path);
  }
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(values.Texts(),
              ElementsAre("a.b.1.f=1", "a.b.1.c.11.d.100.e=1,11,100", "a.b.2.f=2",
                          "a.b.2.c.10.d.100.e=2,10,100", "a.b.2.c.10.d.101.e=2,10,101"));
}

TEST_F(ValueAccessTest, ReadsBelowOneEntry) {
  RegisterReadable({"a.b.{i}.c", "a.b.{i}.o.d", "a.b.{i}.n.{i}.e"});
  AddInstance("a.b.3");
  AddInstance("a.b.4");
  AddInstance("a.b.4.n.7");
  EXPECT_EQ(ReadSubtree("a.b.4", "a.b.4"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.4.c=4", "a.b.4.o.d=4", "a.b.4.n.7.e=4,7"));
}

TEST_F(ValueAccessTest, ReadsALeafByItsAncestors) {
  RegisterReadable({"a.b.{i}.c"});
  AddInstance("a.b.3");
  EXPECT_EQ(ReadSubtree("a.b.3.c", "a.b.3.c"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.c=3"));
  app.On(Callback::kGet, "c", -7);
  EXPECT_EQ(ReadSubtree("a.b.3.c", "a.b.3.c"), -7);
}

TEST_F(ValueAccessTest, ReadsTheElementsOfALeafList) {
  RegisterReadableLeafList("a.b.{i}.l");
  AddInstance("a.b.3");
  AddInstance("a.b.3.l.4");
  AddInstance("a.b.3.l.9");
  EXPECT_EQ(ReadSubtree("a.b.3.l", "a.b.3.l"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.l.4=3,4", "a.b.3.l.9=3,9"));
}

TEST_F(ValueAccessTest, ReadsTheElementsOfALeafListInAWalk) {
  RegisterReadableLeafList("a.b.{i}.l");
  AddInstance("a.b.3");
  AddInstance("a.b.3.l.4");
  AddInstance("a.b.3.l.9");
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.l.4=3,4", "a.b.3.l.9=3,9"));
}

TEST_F(ValueAccessTest, ReadsOneElementOfALeafList) {
  RegisterReadableLeafList("a.l");
  AddInstance("a.l.4");
  EXPECT_EQ(ReadSubtree("a.l.4", "a.l.4"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.l.4=4"));
}

TEST_F(ValueAccessTest, ReadsNothingWithoutItsIds) {
  RegisterReadable({"a.b"});
  RegisterReadableLeafList("a.l");
  AddInstance("a.l.4");
  for (const char* node : {"a.b", "a.l", "a.l.4"}) {
    const FailingCall failing(Step::kGetIds);
    EXPECT_EQ(ReadSubtree(node, node), -1) << node;
  }
  EXPECT_THAT(values.Texts(), IsEmpty());
  EXPECT_THAT(app.calls(), IsEmpty());
}

TEST_F(ValueAccessTest, CannotReadALeafListAtTheTopLevel) {
  RegisterReadableLeafList("l");
  EXPECT_EQ(ReadSubtree("l", "l"), -1);
  EXPECT_THAT(ErrorLines(),
              ElementsAre("The current node parent is null, can't get multiple child values!\n"));
}

TEST_F(ValueAccessTest, LeavesTheIdsAndThePathOfALeafListAsTheyWere) {
  RegisterReadableLeafList("a.l");
  AddInstance("a.l.4");
  char name[] = "l";
  nc_dm_path_nodes_t path = PathOf("a.l");
  nc_dm_id_array_t ids = IdArrayOf({7});
  EXPECT_EQ(nc_dm_agent_get_mul_child_vals(values.get(), NodeAt("a"), name, &ids, &path), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.l.4=7,4"));
  EXPECT_EQ(ids.cnt, 1);
  EXPECT_EQ(ids.id[0], 7);
  EXPECT_THAT(path.instances, Each(0));

  ids.cnt = -1;
  log().Clear();
  EXPECT_EQ(nc_dm_agent_get_mul_child_vals(values.get(), NodeAt("a"), name, &ids, &path), 0);
  EXPECT_THAT(ErrorLines(), ElementsAre("The current mult-leaf node id_array->cnt is 0!\n"));
  EXPECT_EQ(ids.cnt, -1);

  ids.cnt = 15;
  EXPECT_EQ(nc_dm_agent_get_mul_child_vals(values.get(), NodeAt("a"), name, &ids, &path), 0);
  EXPECT_EQ(values.cnt(), 3);
  EXPECT_EQ(ids.cnt, 15);
  ids.cnt = 16;
  EXPECT_EQ(nc_dm_agent_get_mul_child_vals(values.get(), NodeAt("a"), name, &ids, &path), 0);
  EXPECT_EQ(values.cnt(), 3) << "there is no room for an element's id";
  EXPECT_EQ(ids.cnt, 16);
}

TEST_F(ValueAccessTest, GoesOnAfterALeafThatFails) {
  RegisterReadable({"a.b", "a.c", "a.d"});
  app.On(Callback::kGet, "b", -7);
  app.On(Callback::kGet, "c", -1);
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.d=-"));
  EXPECT_THAT(ErrorLines(),
              ElementsAre("Failed to get val from app, some object non-existent, leaf node 'b'!\n",
                          "Failed to get val from app, node 'c'!\n"));
}

TEST_F(ValueAccessTest, RefusesNullArgumentsOfAWalk) {
  RegisterReadable({"a.b"});
  nc_dm_path_nodes_t path = PathOf("a");
  EXPECT_EQ(nc_dm_agent_get_nodes_vals(nullptr, &path, NodeAt("a")), -3);
  EXPECT_EQ(nc_dm_agent_get_nodes_vals(values.get(), nullptr, NodeAt("a")), -3);
  EXPECT_EQ(nc_dm_agent_get_nodes_vals(values.get(), &path, nullptr), -3);
  EXPECT_EQ(log().Count(kErrorPrefix, "Input parameter is invalid!\n"), 3);
}

TEST_F(ValueAccessTest, FiltersTheWalkByTheSdnDatastore) {
  RegisterReadable({"a.b.{i}.c", "a.b.{i}.d"});
  AddInstance("a.b.1", NC_DM_NODE_SRC_SDN);
  AddInstance("a.b.2");
  NodeAt("a.b.2.d")->src = NC_DM_NODE_SRC_SDN;
  info().curr_dstype = NC_DM_DATASTORE_SDN;
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.1.c=1@1", "a.b.1.d=1@1", "a.b.2.d=2@1"));
}

TEST_F(ValueAccessTest, ReadsTheInstancesOfAHashIndexedList) {
  RegisterReadable({"a.b.{i}.c"});
  char path[] = "a.b";
  info().agent_init = true;
  EXPECT_EQ(nc_dm_agent_reg_hash_tab(path, 10000), 0);
  AddInstance("a.b.3");
  AddInstance("a.b.9");
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.c=3", "a.b.9.c=9"));
  info().agent_init = false;
}

TEST_F(ValueAccessTest, HandsTheSameIdsToACallbackAsCollectingThemGives) {
  // As deep as the work path allows: ids up to the limit of the id array, and past it.
  RegisterReadable({"a.x"});
  RegisterReadableLeafList("a.l");
  nc_dm_agent_node_t* node = NodeAt("a");
  std::vector<nc_dm_agent_node_t*> chain = {node};
  // The top level and 16 lists below each other, each with a leaf and a leaf-list of one element.
  for (int depth = 1; depth <= 16; ++depth) {
    node = nc_dm_agent_create_node(node, NodeAt("a"), depth, NC_DM_NODE_TYPE_MULT_OBJECT,
                                   NC_DM_NODE_SRC_NONE);
    ASSERT_NE(node, nullptr);
    nc_dm_agent_node_t* leaf_list = nc_dm_agent_create_node(
        node, NodeAt("a.l"), 100 + depth, NC_DM_NODE_TYPE_MULT_LEAF, NC_DM_NODE_SRC_NONE);
    ASSERT_NE(leaf_list, nullptr);
    chain.push_back(node);
  }
  for (size_t depth = 1; depth < chain.size(); ++depth) {
    SCOPED_TRACE(depth);
    const DebugMask silent(0);
    app.Forget();
    nc_dm_path_nodes_t path = PathOf("a");
    path.total_node = 1;
    nc_dm_agent_get_nodes_vals(values.get(), &path, chain[depth]);
    std::vector<Ids> called;
    for (const ModelCall& call : app.calls()) called.push_back(call.ids);
    std::vector<Ids> expected;
    const std::function<void(nc_dm_agent_node_t*, int)> collect = [&](nc_dm_agent_node_t* parent,
                                                                      int level) {
      for (auto& child : nc::Records<nc_dm_agent_node_t>(&parent->sub_lst)) {
        if (level == NC_DM_MAX_DEPTH) return;
        if (child.node_type == NC_DM_NODE_TYPE_MULT_OBJECT) collect(&child, level + 1);
        if (child.node_type != NC_DM_NODE_TYPE_LEAF && child.node_type != NC_DM_NODE_TYPE_MULT_LEAF)
          continue;
        nc_dm_id_array_t ids = {};
        if (nc_dm_get_ids(&ids, &child) == 0) expected.emplace_back(ids.id, ids.id + ids.cnt);
      }
    };
    collect(chain[depth], 1);
    EXPECT_EQ(called, expected);
    EXPECT_FALSE(called.empty());
  }
}

TEST_F(ValueAccessTest, KeepsWhatACallbackDoesToItsIdsFromTheNext) {
  RegisterReadable({"a.b.{i}.c", "a.b.{i}.d"});
  AddInstance("a.b.3");
  app.On(Callback::kGet, "c", [](const ModelCall& call) {
    call.id_array->cnt = 0;
    call.id_array->id[0] = 99;
    call.id_array->src = NC_DM_NODE_SRC_CLI;
    return 0;
  });
  int src = -1;
  app.On(Callback::kGet, "d", [&](const ModelCall& call) {
    src = call.id_array->src;
    return IdsAsText(call);
  });
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.c=", "a.b.3.d=3"));
  EXPECT_EQ(src, NC_DM_NODE_SRC_NONE);
}

TEST_F(ValueAccessTest, EndsTheWalkWhereThePathEnds) {
  RegisterReadable({"a.x", "template.y"});
  nc_dm_agent_node_t* node = NodeAt("a");
  for (int depth = 1; depth <= 20; ++depth) {
    node = nc_dm_agent_create_node(node, NodeAt("template"), 0, NC_DM_NODE_TYPE_SINGLE_OBJECT,
                                   NC_DM_NODE_SRC_NONE);
    ASSERT_NE(node, nullptr);
  }
  EXPECT_EQ(ReadSubtree("a", "a"), 0);
  // a.x, and y in the containers of levels 2 to 15; level 16 has no room for what is in it.
  EXPECT_EQ(values.cnt(), 15);
  EXPECT_EQ(log().Count(kErrorPrefix, "The depth of path is too deep!\n"), 2);
}

// ---- Over all instances ----

TEST_F(ValueAccessTest, ReadsAPathOverAllInstances) {
  RegisterReadable({"a.b.{i}.c", "a.b.{i}.d"});
  AddInstance("a.b.3");
  AddInstance("a.b.1");
  log().Clear();
  EXPECT_EQ(Match("a.b.c"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.c=3", "a.b.1.c=1"))
      << "the list's schema has no entry to ask for";
  EXPECT_THAT(LogLines(),
              ElementsAre("I Match node 'a', instid 0, continue match descendants to get values.\n",
                          "I Match node 'b', instid 3, continue match descendants to get values.\n",
                          "I Match node 'c', instid 0, continue match descendants to get values.\n",
                          "I Get node 'c' value.\n",
                          "I Match node 'b', instid 1, continue match descendants to get values.\n",
                          "I Match node 'c', instid 0, continue match descendants to get values.\n",
                          "I Get node 'c' value.\n"));
}

TEST_F(ValueAccessTest, ReadsTheEntriesOfAList) {
  RegisterReadable({"a.b.{i}.c", "a.b.{i}.o.d"});
  AddInstance("a.b.3");
  EXPECT_EQ(Match("a.b"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.c=3", "a.b.3.o.d=3"));
}

TEST_F(ValueAccessTest, ReadsEachElementOfALeafListOnceWithItsId) {
  RegisterReadableLeafList("a.l");
  AddInstance("a.l.4");
  EXPECT_EQ(Match("a.l"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_THAT(values.Texts(), ElementsAre("a.l.4=4"));
}

TEST_F(ValueAccessTest, TakesTheIdOfAnElementTwiceBelowIt) {
  RegisterReadableLeafList("a.b.{i}.l");
  RegisterReadable({"a.x", "a.o.y"});
  AddInstance("a.b.3");
  AddInstance("a.b.3.l.4");
  for (const char* source : {"a.x", "a.o"}) {
    nc_dm_agent_node_t* node = NodeAt(source);
    ASSERT_NE(
        nc_dm_agent_create_node(NodeAt("a.b.3.l.4"), node, 0, node->node_type, NC_DM_NODE_SRC_NONE),
        nullptr);
  }
  EXPECT_EQ(ReadSubtree("a.b.3.l.4.x", "a.b.3.l.4.x"), 0);
  EXPECT_EQ(ReadSubtree("a.b.3.l.4.o", "a.b.3.l.4.o"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.3.l.4.x=3,4,4", "a.b.3.l.4.o.y=3,4,4"));
  app.Forget();
  EXPECT_EQ(Match("a.b.l.x"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_EQ(Match("a.b.l.o"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_THAT(app.CallTexts(), ElementsAre("get x ids=[3,4,4]", "get y ids=[3,4,4]"));
}

TEST_F(ValueAccessTest, MatchesNothingAsAnObject) {
  RegisterReadable({"a.b.{i}.c"});
  EXPECT_EQ(Match("x"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_EQ(Match("a.x"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_EQ(Match("a.b.c.x"), NC_DM_CLIENT_MATCH_STATUS_OBJECT);
  EXPECT_THAT(values.Texts(), IsEmpty());
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(ValueAccessTest, RefusesInvalidArgumentsOfAMatch) {
  nc_dm_path_nodes_t path = PathOf("a");
  list_head* root = &g_nc_agent_dm.dm_root;
  const auto kNone = NC_DM_CLIENT_MATCH_STATUS_NO_EXIST;
  EXPECT_EQ(nc_dm_agent_match_get_vals(nullptr, root, &path, 0, 0), kNone);
  EXPECT_EQ(nc_dm_agent_match_get_vals(values.get(), nullptr, &path, 0, 0), kNone);
  EXPECT_EQ(nc_dm_agent_match_get_vals(values.get(), root, nullptr, 0, 0), kNone);
  path.total_node = 0;
  EXPECT_EQ(nc_dm_agent_match_get_vals(values.get(), root, &path, 0, 0), kNone);
  EXPECT_EQ(log().Count(kErrorPrefix, "Input parameter is invalid!\n"), 4);
}

// ---- Short memory ----

// The recording application allocates itself.
int GetAValue(nc_dm_id_array_t*, char* value) {
  strcpy(value, "v");
  return 0;
}

class ShortMemoryTest : public ValueAccessTest {
 protected:
  ShortMemoryTest() {
    for (std::string path : {"a.b.{i}.c", "a.x"}) {
      EXPECT_EQ(nc_dm_agent_path_reg(path.data(), NC_DM_VAL_TYPE_STRING, 0, 0, nullptr, GetAValue,
                                     nullptr, nullptr, nullptr, nullptr, nullptr),
                0);
    }
    AddInstance("a.b.3");
    AddInstance("a.b.4");
    LogCapture::Get().Clear();
  }

  // The errors of a call whose allocation behind `successes` fails.
  template <typename Call>
  static std::vector<std::string> Failing(int successes, int expected, Call call) {
    const DebugMask errors(NC_DM_DBG_ERROR);
    LogCapture::Get().Clear();
    int result;
    int outstanding;
    {
      const FailingAlloc failing(successes);
      result = call();
      outstanding = FailingAlloc::Outstanding();
    }
    EXPECT_EQ(result, expected);
    if (LogLines().empty()) {
      EXPECT_EQ(outstanding, 0);  // the log keeps what it was given
    }
    return LogLines();
  }
};

TEST_F(ShortMemoryTest, NamesWhatItIsTooShortFor) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  nc_dm_agent_node_t* leaf = NodeAt("a.x");
  nc_dm_path_nodes_t path = PathOf("a.x");
  nc_dm_id_array_t ids = {};
  char value[] = "v";
  const auto get = [&] { return nc_dm_agent_get_node_val(values.get(), leaf, &ids, &path); };
  EXPECT_THAT(Failing(0, -1, get), ElementsAre("E Failed to malloc for val_node!\n"));
  EXPECT_THAT(Failing(1, -1, get), IsEmpty());
  EXPECT_THAT(Failing(2, -1, get), ElementsAre("E Failed to malloc for path_name!\n"));
  const auto add = [&] { return nc_dm_agent_add_path_reslist(values.get(), value, &path); };
  EXPECT_THAT(Failing(0, -1, add), ElementsAre("E Failed to malloc for val_node!\n"));
  EXPECT_THAT(Failing(1, -1, add), ElementsAre("E Failed to malloc for value of val_node!\n"));
  EXPECT_THAT(Failing(2, -1, add), ElementsAre("E Failed to malloc for path_name!\n"));
  const auto alone = [&] {
    char* text = nc_dm_agent_get_node_srlz_val(leaf, &ids);
    free(text);
    return text != nullptr ? 0 : -1;
  };
  EXPECT_THAT(Failing(0, -1, alone), ElementsAre("E Failed to serialize the node value!\n"));
  EXPECT_EQ(values.cnt(), 0);
}

TEST_F(ShortMemoryTest, LosesOneLeafAndLeaksNothing) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  const DebugMask silent(0);
  nc_dm_agent_node_t* node = NodeAt("a");
  const nc_dm_path_nodes_t path = PathOf("a");
  const int allocations = WithEachAllocationFailing([&] {
    nc_dm_list_t list = {};
    nc::InitList(&list.head);
    nc_dm_path_nodes_t work = path;
    if (nc_dm_agent_get_nodes_vals(&list, &work, node) != 0) abort();
    if (list.cnt != (FailingAlloc::HasFailed() ? 2 : 3)) abort();
    nc_dm_agent_free_val_list(&list);
  });
  EXPECT_EQ(allocations, 3 * 3);  // an element, its path, its value
}

// ---- Writing ----

TEST_F(ValueAccessTest, WritesATypedValue) {
  app.Register({.path = "a.b",
                .type = NC_DM_VAL_TYPE_INT,
                .callbacks = static_cast<unsigned>(Callback::kSet)});
  nc_dm_id_array_t ids = IdArrayOf({3});
  char value[] = " -12 ";
  log().Clear();
  EXPECT_EQ(nc_dm_agent_set_node_val(NodeAt("a.b"), &ids, value), 0);
  EXPECT_THAT(app.CallTexts(), ElementsAre("set b ids=[3] src=0 value=-12"));
  EXPECT_THAT(LogLines(), Contains("I Set node 'b' values.\n"));
}

TEST_F(ValueAccessTest, PassesOnWhatSetAnswers) {
  app.Register({.path = "a.b", .callbacks = static_cast<unsigned>(Callback::kSet)});
  nc_dm_id_array_t ids = {};
  char value[] = "x";
  app.On(Callback::kSet, "b", -7);
  EXPECT_EQ(nc_dm_agent_set_node_val(NodeAt("a.b"), &ids, value), -7);
  app.On(Callback::kSet, "b", 5);
  EXPECT_EQ(nc_dm_agent_set_node_val(NodeAt("a.b"), &ids, value), 5);
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to set node value, error = -7!\n",
                                        "Failed to set node value, error = 5!\n"));
}

TEST_F(ValueAccessTest, WritesNothingThatCannotBe) {
  app.Register({.path = "a.b",
                .type = NC_DM_VAL_TYPE_INT,
                .callbacks = static_cast<unsigned>(Callback::kSet)});
  app.Register({.path = "a.c"});
  nc_dm_id_array_t ids = {};
  char value[] = "abc";
  EXPECT_EQ(nc_dm_agent_set_node_val(nullptr, &ids, value), -3);
  EXPECT_EQ(nc_dm_agent_set_node_val(NodeAt("a.b"), &ids, nullptr), -3);
  EXPECT_EQ(nc_dm_agent_set_node_val(NodeAt("a.c"), &ids, value), -1);
  EXPECT_EQ(nc_dm_agent_set_node_val(NodeAt("a.b"), &ids, value), -1);
  EXPECT_THAT(app.calls(), IsEmpty());
  EXPECT_THAT(ErrorLines(),
              ElementsAre("Input parameter is invalid!\n", "Input parameter is invalid!\n",
                          "Node 'c' has no set-value method!\n",
                          "Failed to deserialize node, is not int32_t val!\n"));
}

}  // namespace
}  // namespace ncdm_test
